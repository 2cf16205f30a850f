// Subcommands whose library capability has not landed in this build yet.
#include "cli/Commands.h"
#include "cli/Error.h"

namespace qssse::tool {

int RunScan(const ScanOptions&) { throw Unavailable("scan conversion of meshes"); }

}  // namespace qssse::tool
