// Feeds arbitrary bytes to CSSE3dPolygon::Serialize(CArchive&) over a memory file. A rejected archive
// must leave the polygon exactly as it was; an accepted one must store to bytes that load the same.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "LoaderFuzz.h"
#include "qssse/platform/Archive.h"
#include "qssse/platform/MemFile.h"
#include "qssse/polygon/SSE3dPolygon.h"

namespace {

std::vector<unsigned char> Image(CSSE3dPolygon& p) {
  CMemFile file;
  {
    CArchive ar(&file, CArchive::store);
    p.Serialize(ar);
    ar.Close();
  }
  std::vector<unsigned char> bytes = file.Detach();
  const SSEPoint corners[3] = {p.GetTopRight(), p.GetBottomLeft(), SSEPoint{}};
  const auto* raw = reinterpret_cast<const unsigned char*>(corners);
  bytes.insert(bytes.end(), raw, raw + 2 * sizeof(SSEPoint));
  bytes.push_back(p.IsBoundingBoxCalculated() ? 1 : 0);
  return bytes;
}

void Load(CSSE3dPolygon& p, std::vector<unsigned char> bytes) {
  CMemFile file(std::move(bytes));
  CArchive ar(&file, CArchive::load);
  p.Serialize(ar);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::UseFuzzMemoryLimit();
  CSSE3dPolygon p;
  p.Create(6);
  for (int i = 0; i < 6; ++i) p.SetPoint(i, static_cast<float>(i), 2.0f * static_cast<float>(i), -1.0f);
  p.CalcBoundingBox();
  const std::vector<unsigned char> before = Image(p);
  const std::vector<unsigned char> bytes(data, data + size);
  if (fuzz::Rejected([&] { Load(p, bytes); })) {
    fuzz::Check(Image(p) == before, "PolygonArchiveFuzz", "a rejected archive changed the polygon");
    return 0;
  }
  CSSE3dPolygon again;
  std::vector<unsigned char> stored = Image(p);
  stored.resize(stored.size() - 2 * sizeof(SSEPoint) - 1);
  Load(again, stored);
  fuzz::Check(again.GetNumPoints() == p.GetNumPoints(), "PolygonArchiveFuzz", "a stored polygon loaded differently");
  p.PointInLineInnerArea(1.0f, 1.0f, 1);
  return 0;
}
