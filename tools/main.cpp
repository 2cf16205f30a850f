// qssse: the command-line program that runs the library's main job.
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "Commands.h"

namespace {

void PrintUsage(std::FILE* out) {
  std::fprintf(out,
               "usage: qssse <command> [options]\n"
               "\n"
               "commands:\n"
               "  demo [--out DIR] [--size N]   run the library's round trip on a synthetic height field\n"
               "\n"
               "Run 'qssse <command> --help' for the options of a command.\n");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    PrintUsage(stderr);
    return 2;
  }
  const std::string command = argv[1];
  const std::vector<std::string> args(argv + 2, argv + argc);
  try {
    if (command == "demo") return qssse::tool::RunDemo(args);
    if (command == "--help" || command == "-h" || command == "help") {
      PrintUsage(stdout);
      return 0;
    }
    std::fprintf(stderr, "qssse: unknown command '%s' (try 'qssse --help')\n", command.c_str());
    return 2;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "qssse %s: %s\n", command.c_str(), e.what());
    return 1;
  }
}
