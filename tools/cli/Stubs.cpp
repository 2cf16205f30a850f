// Subcommands whose library capability has not landed in this build yet.
#include "cli/Commands.h"
#include "cli/Error.h"

namespace qssse::tool {

int RunMesh(const MeshOptions&) { throw Unavailable("building meshes from height fields"); }
int RunScan(const ScanOptions&) { throw Unavailable("scan conversion of meshes"); }
int RunFill(const FillOptions&) { throw Unavailable("filling outlines into rasters"); }

}  // namespace qssse::tool
