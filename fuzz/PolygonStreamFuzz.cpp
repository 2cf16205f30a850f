// Feeds arbitrary bytes to CSSE3dPolygon::Serialize through binary streams, one that tells its length
// and one that does not. A rejected stream must leave the polygon exactly as it was (points, normalized
// points, stored box and centre, flag); an accepted one must write back to a stream that reads the same.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "LoaderFuzz.h"
#include "qssse/platform/StreamWriteBinaryMemory.h"
#include "qssse/polygon/SSE3dPolygon.h"

namespace {

std::vector<unsigned char> Image(const CSSE3dPolygon& p) {
  CbStreamWriteBinaryMemory stream;
  p.Serialize(stream);
  std::vector<unsigned char> bytes = stream.GetData();
  const SSEPoint corners[2] = {p.GetTopRight(), p.GetBottomLeft()};
  const auto* raw = reinterpret_cast<const unsigned char*>(corners);
  bytes.insert(bytes.end(), raw, raw + sizeof corners);
  return bytes;
}

void Prepare(CSSE3dPolygon& p) {
  p.Create(5);
  for (int i = 0; i < 5; ++i) p.SetPoint(i, static_cast<float>(i), static_cast<float>(i * i), 1.5f);
  p.CalcBoundingBox();
  p.CalcGeometricCenter();
}

template <class Stream>
void Run(const std::uint8_t* data, std::size_t size) {
  CSSE3dPolygon p;
  Prepare(p);
  const std::vector<unsigned char> before = Image(p);
  if (fuzz::Rejected([&] {
        Stream s(data, size);
        p.Serialize(s);
      })) {
    fuzz::Check(Image(p) == before, "PolygonStreamFuzz", "a rejected stream changed the polygon");
    return;
  }
  CbStreamWriteBinaryMemory out;
  p.Serialize(out);
  CSSE3dPolygon again;
  CbStreamReadBinaryMemory in(out.GetData());
  again.Serialize(in);
  fuzz::Check(again.GetNumPoints() == p.GetNumPoints(), "PolygonStreamFuzz", "a written polygon read back differently");
  float x0 = 0, y0 = 0, x1 = 1, y1 = 1;
  if (p.GetNumPoints() > 0) {
    p.GetPointXY(0, x0, y0);
    again.GetPointXY(0, x1, y1);
    fuzz::Check(std::memcmp(&x0, &x1, 4) == 0 && std::memcmp(&y0, &y1, 4) == 0, "PolygonStreamFuzz",
                "a written polygon read back differently");
  }
  // What every caller does next with a loaded outline: the fill rule trusts a stored box.
  p.PointInLineInnerArea(0.5f, 0.5f, 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::UseFuzzMemoryLimit();
  Run<CbStreamReadBinaryMemory>(data, size);
  Run<fuzz::BlindStream>(data, size);
  return 0;
}
