// The scan conversion on ten worker threads: the triangle list, not the raster, is divided; each worker
// sweeps its chunk into a private matrix covering only the pixels its chunk can reach, and the caller
// merges each private matrix into the target as soon as its worker is done, in worker order.
#include <algorithm>
#include <array>
#include <memory>

#include "qssse/mesh/HTriangulation.h"
#include "qssse/mesh/ScanFresh.h"
#include "qssse/mesh/ScanSweep.h"
#include "qssse/mesh/ScanWorkers.h"
#include "qssse/platform/CPU.h"
#include "qssse/platform/WorkerPool.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/vector/SimdOps.h"

namespace qssse::scan {

Range WorkerRange(int count, int i) {
  if (count < 1 || i < 0 || i >= kWorkers) return {0, -1};
  // count / 10 + 0.5 truncated is count / 10 in integers: fewer than ten triangles all go to worker 9.
  const int c = count / kWorkers;
  if (i == kWorkers - 1) return {(kWorkers - 1) * c, count - 1};
  const int last = (i + 1) * c - 1;
  return {i * c, last < count - 1 ? last : count - 1};
}

}  // namespace qssse::scan

namespace {

namespace scan = qssse::scan;
namespace simd = qssse::simd;

// One worker's matrix: the raster's pixels x0.., y0.. (y0 a multiple of four, so that its SIMD rows are
// the target's).
struct Part {
  CSSEMatrix matrix;
  int x0 = 0, y0 = 0;
};

// Folds a part into the target: sentinel pixels are skipped, the others combined with the stamps' own
// rule (max: keep p if p > v; min: keep p if v > p), four pixels at a time.
void Merge(CSSEMatrix& m, const Part& part, float sentinel, bool keepMax) {
  __m128** dst = m.GetMatrixDataDirectly();
  __m128** src = part.matrix.GetMatrixDataDirectly();
  if (dst == nullptr || src == nullptr) return;
  const simd::f4 s = simd::splat(sentinel);
  for (int g = 0; g < part.matrix.GetSSESizeY(); ++g) {
    __m128* d = dst[(part.y0 >> 2) + g] + part.x0;
    const __m128* p = src[g];
    for (int x = 0; x < part.matrix.GetSSESizeX(); ++x) {
      const simd::f4 v = p[x];
      const simd::f4 combined = keepMax ? simd::max(d[x], v) : simd::min(d[x], v);
      d[x] = simd::select(simd::neq(v, s), combined, d[x]);
    }
  }
}

void FastConvert(const CHTriangulation& t, CSSEMatrix* m, float zOffset, const SSEPoint& minP,
                 const SSEPoint& maxP, bool keepMax) {
  scan::Job whole;
  if (!scan::StartSampledConversion(t, m, minP, maxP, keepMax, zOffset, 1.0f, "scan conversion", whole)) return;
  const float sentinel = keepMax ? scan::kMaxSentinel : scan::kMinSentinel;

  // Ten workers, at most one per processor between sweeping and being merged, so that at most that many
  // private matrices exist at once; each is allocated and filled on its worker.
  std::array<Part, scan::kWorkers> parts;
  const int count = t.GetNumTriangles();
  qssse::RunWorkers(
      scan::kWorkers,
      [&](int i) {
        scan::Job job = whole;
        const scan::Range r = scan::WorkerRange(count, i);
        job.first = r.first;
        job.last = r.last;
        int x0, x1, y0, y1;
        if (!scan::StampBox(job, x0, x1, y0, y1)) return;
        y0 &= ~3;
        Part& part = parts[static_cast<std::size_t>(i)];
        part.matrix.CreateNoClear(x1 - x0 + 1, y1 - y0 + 1);
        part.matrix.Fill(sentinel);
        part.x0 = job.offsetX = x0;
        part.y0 = job.offsetY = y0;
        if (keepMax) {
          scan::SweepFresh<qssse::raster::KeepMax>(job, part.matrix, sentinel);
        } else {
          scan::SweepFresh<qssse::raster::KeepMin>(job, part.matrix, sentinel);
        }
      },
      [&](int i) {
        Part& part = parts[static_cast<std::size_t>(i)];
        Merge(*m, part, sentinel, keepMax);
        part.matrix.Free();
      },
      std::min(CbCPU::GetCount(), scan::kWorkers));
  m->ReplaceValueWithValue(sentinel, 0.0f, 1.0f);
}

}  // namespace

void CHTriangulation::FastScanConvertTriangulation(CSSEMatrix* m, float zOffset, bool keepMax) {
  if (minPoint == nullptr) return;
  FastConvert(*this, m, zOffset, *minPoint, *maxPoint, keepMax);
}

void CHTriangulation::FastScanConvertTriangulation_MinMaxPoint(CSSEMatrix* m, float zOffset, SSEPoint& minP,
                                                               SSEPoint& maxP, bool keepMax) {
  FastConvert(*this, m, zOffset, minP, maxP, keepMax);
}
