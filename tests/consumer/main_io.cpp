// A host program outside the library's build: it loads a mesh through the installed I/O library and
// hands it to the library's mesh class. Run with a mesh file; an OFF file written here without one.
#include <cstdio>
#include <string>

#include <qssse/qssse.h>
#include <qssse/qssse_io.h>

int main(int argc, char** argv) {
  std::string path = argc > 1 ? argv[1] : "consumer-square.off";
  if (argc < 2) {
    qssse::io::WriteFileBytes(path, "OFF\n4 1 0\n0 0 0\n2 0 0\n2 2 1\n0 2 1\n4 0 1 2 3\n");
  }
  try {
    const qssse::io::MeshData data = qssse::io::ReadMesh(path);  // STL, PLY, OBJ or OFF, told by content
    CHTriangulation mesh;
    qssse::io::CopyToTriangulation(data, mesh);
    SSEPoint lo, hi;
    mesh.GetMinPoint(lo);
    mesh.GetMaxPoint(hi);
    std::printf("%d triangles (%zu polygons split), z %g .. %g\n", mesh.GetNumTriangles(), data.splitPolygons,
                lo.z, hi.z);
    const bool ok = argc > 1 || (mesh.GetNumTriangles() == 2 && data.splitPolygons == 1 && hi.z == 1.0f);
    std::printf(ok ? "consumer io ok\n" : "consumer io FAILED\n");
    return ok ? 0 : 1;
  } catch (const CException& e) {
    std::fprintf(stderr, "%s\n", e.what());
    return 1;
  }
}
