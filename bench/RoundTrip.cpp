// The central round trip as a host program writes it, for comparison with the same pipeline scripted
// through the Python module (python/bench/round_trip.py runs both and reports the ratio): a 1024 x 1024
// height field in a plain row-major float array -> CSSEMatrix -> mesh of the field -> maximum scan
// conversion -> a row-major float array again. The field is a formula that NumPy reproduces bit for bit,
// so both sides mesh the same triangles; the checksum counter lets the script confirm it.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "qssse/mesh/HTriangulation.h"
#include "qssse/raster/SSEMatrix.h"

namespace {

constexpr int kSize = 1024;
constexpr float kPixel = 0.05f;

// A dome over the whole field with an integer ripple: float arithmetic in the written order only.
std::vector<float> Field() {
  std::vector<float> h(static_cast<std::size_t>(kSize) * kSize);
  const float c = 0.5f * kSize;
  for (int y = 0; y < kSize; ++y) {
    for (int x = 0; x < kSize; ++x) {
      const float dx = (static_cast<float>(x) - c) / c, dy = (static_cast<float>(y) - c) / c;
      h[static_cast<std::size_t>(y) * kSize + x] =
          40.0f * (1.0f - dx * dx - dy * dy) + 0.05f * static_cast<float>((7 * x + 13 * y) % 17);
    }
  }
  return h;
}

// Four source rows into one SIMD row, as the Python module copies an array in.
void CopyIn(const std::vector<float>& h, CSSEMatrix& m) {
  m.Create(kSize, kSize);
  __m128** rows = m.GetMatrixDataDirectly();
  for (int y = 0; y < kSize; ++y) {
    float* out = reinterpret_cast<float*>(rows[y >> 2]) + (y & 3);
    const float* in = &h[static_cast<std::size_t>(y) * kSize];
    for (int x = 0; x < kSize; ++x) out[4 * x] = in[x];
  }
}

void CopyOut(const CSSEMatrix& m, std::vector<float>& out) {
  const int w = m.GetSizeX(), hgt = m.GetSizeY();
  out.resize(static_cast<std::size_t>(w) * hgt);
  __m128** rows = m.GetMatrixDataDirectly();
  for (int y = 0; y < hgt; ++y) {
    const float* in = reinterpret_cast<const float*>(rows[y >> 2]) + (y & 3);
    for (int x = 0; x < w; ++x) out[static_cast<std::size_t>(y) * w + x] = in[4 * x];
  }
}

double Checksum(const std::vector<float>& v) {
  double s = 0.0;
  for (float f : v) s += f;
  return s;
}

// Field in, heights out: what the Python script times.
void BM_RoundTrip(benchmark::State& state) {
  const std::vector<float> h = Field();
  std::vector<float> out;
  int triangles = 0;
  for (auto _ : state) {
    CSSEMatrix field;
    CopyIn(h, field);
    CHTriangulation mesh(&field, 0.0f, true, kPixel, kPixel, 1.0f, 1, 1);
    SSEPoint lo;
    mesh.GetMinPoint(lo);
    CSSEMatrix scan;
    mesh.ScanConvertTriangulationMax(&scan, lo.z);
    CopyOut(scan, out);
    triangles = mesh.GetNumTriangles();
    benchmark::DoNotOptimize(out.data());
  }
  state.counters["triangles"] = triangles;
  state.counters["checksum"] = Checksum(out);
}
BENCHMARK(BM_RoundTrip)->Unit(benchmark::kMillisecond);

// The library calls alone (the field already a matrix, the result left in one): the share of the copies.
void BM_RoundTripLibraryOnly(benchmark::State& state) {
  CSSEMatrix field;
  CopyIn(Field(), field);
  for (auto _ : state) {
    CHTriangulation mesh(&field, 0.0f, true, kPixel, kPixel, 1.0f, 1, 1);
    SSEPoint lo;
    mesh.GetMinPoint(lo);
    CSSEMatrix scan;
    mesh.ScanConvertTriangulationMax(&scan, lo.z);
    benchmark::DoNotOptimize(scan.GetMatrixDataDirectly());
  }
}
BENCHMARK(BM_RoundTripLibraryOnly)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
