// qssse: the command-line program through which a person first meets the library.
#include "cli/Commands.h"

int main(int argc, char** argv) { return qssse::tool::RunProgram(argc, argv); }
