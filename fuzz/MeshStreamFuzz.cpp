// Feeds arbitrary bytes to CHTriangulation::Serialize through binary streams (one that tells its length,
// one that does not) and through an archive. A rejected input must leave the mesh exactly as it was; an
// accepted one gives a mesh whose records point into its own arrays, on which the usual follow-up calls
// (neighbours, border triangles, bounding box) run.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "LoaderFuzz.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/Archive.h"
#include "qssse/platform/MemFile.h"
#include "qssse/platform/StreamWriteBinaryMemory.h"

namespace {

std::vector<unsigned char> Image(const CHTriangulation& m) {
  CbStreamWriteBinaryMemory stream;
  m.Serialize(stream);
  return stream.GetData();
}

void Prepare(CHTriangulation& m) {
  m.BaseInitialization(1.0f, 1.0f, 1.0f);
  m.CreateTriangulation(2);
  const float corners[2][3][3] = {{{0, 0, 0}, {1, 0, 0}, {0, 1, 1}}, {{1, 0, 0}, {1, 1, 2}, {0, 1, 1}}};
  for (int i = 0; i < 2; ++i)
    for (int k = 0; k < 3; ++k) *m.GetTriangle(i)->point[k] = qssse::MakeSSEPoint(corners[i][k][0], corners[i][k][1], corners[i][k][2]);
  m.CalcSTV();
  m.CalcBoundingBox();
}

void Use(CHTriangulation& m) {
  for (int i = 0; i < m.GetNumTriangles(); ++i) {
    const t_htriangle* t = m.GetTriangle(i);
    fuzz::Check(t->point[0] == &m.GetEdgeArray()[3 * i] && t->mainNormal == &m.GetMainNormalArray()[i],
                "MeshStreamFuzz", "a loaded record points outside its mesh");
  }
  m.CalcSTV();
  m.CalcBoundingBox();
  m.FindBorderTriangles();
}

template <class Stream>
void RunStream(const std::uint8_t* data, std::size_t size) {
  CHTriangulation m;
  Prepare(m);
  const std::vector<unsigned char> before = Image(m);
  if (fuzz::Rejected([&] {
        Stream s(data, size);
        m.Serialize(s);
      })) {
    fuzz::Check(Image(m) == before, "MeshStreamFuzz", "a rejected stream changed the mesh");
    return;
  }
  Use(m);
}

void RunArchive(const std::uint8_t* data, std::size_t size) {
  CHTriangulation m;
  Prepare(m);
  const std::vector<unsigned char> before = Image(m);
  if (fuzz::Rejected([&] {
        CMemFile file(std::vector<unsigned char>(data, data + size));
        CArchive ar(&file, CArchive::load);
        m.Serialize(ar);
      })) {
    fuzz::Check(Image(m) == before, "MeshStreamFuzz", "a rejected archive changed the mesh");
    return;
  }
  Use(m);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::UseFuzzMemoryLimit();
  RunStream<CbStreamReadBinaryMemory>(data, size);
  RunStream<fuzz::BlindStream>(data, size);
  RunArchive(data, size);
  return 0;
}
