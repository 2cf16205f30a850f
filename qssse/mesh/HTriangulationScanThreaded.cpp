// The scan conversion on ten worker threads: the triangle list, not the raster, is divided; each worker
// sweeps its chunk into a private matrix and the caller merges the ten afterwards.
#include <array>
#include <exception>
#include <memory>

#include "qssse/mesh/HTriangulation.h"
#include "qssse/mesh/ScanSweep.h"
#include "qssse/mesh/ScanWorkers.h"
#include "qssse/platform/Event.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/platform/WinThread.h"
#include "qssse/raster/SSEMatrix.h"

namespace qssse::scan {

Range WorkerRange(int count, int i) {
  if (count < 1 || i < 0 || i >= kWorkers) return {0, -1};
  // count / 10 + 0.5 truncated is count / 10 in integers: fewer than ten triangles all go to worker 9.
  const int c = count / kWorkers;
  if (i == kWorkers - 1) return {(kWorkers - 1) * c, count - 1};
  const int last = (i + 1) * c - 1;
  return {i * c, last < count - 1 ? last : count - 1};
}

void RunWorkers(const std::function<void(int)>& work) {
  std::array<CEvent, kWorkers> events;
  // Declared after the events: destroying a thread waits for it, so no worker outlives its event.
  std::array<std::unique_ptr<CWinThread>, kWorkers> threads;
  for (int i = 0; i < kWorkers; ++i) {
    ResetEvent(events[i]);
    threads[i] = AfxBeginThread([&work, i] { work(i); }, &events[i]);
  }
  for (int i = 0; i < kWorkers; ++i) WaitForSingleObject(events[i], CEvent::INFINITE_WAIT);
  std::exception_ptr first;
  for (auto& t : threads) {
    try {
      t->Join();
    } catch (...) {
      if (!first) first = std::current_exception();
    }
  }
  if (first) std::rethrow_exception(first);
}

}  // namespace qssse::scan

namespace {

namespace scan = qssse::scan;

// Folds a private matrix into the target: sentinel pixels are skipped, the others combined with the
// stamps' own rule (max: keep p if p > v; min: keep p if v > p), four pixels at a time.
void Merge(CSSEMatrix& m, const CSSEMatrix& part, float sentinel, bool keepMax) {
  __m128** dst = m.GetMatrixDataDirectly();
  __m128** src = part.GetMatrixDataDirectly();
  if (dst == nullptr || src == nullptr) return;
  const __m128 s = _mm_set1_ps(sentinel);
  for (int g = 0; g < m.GetSSESizeY(); ++g) {
    __m128* d = dst[g];
    const __m128* p = src[g];
    for (int x = 0; x < m.GetSSESizeX(); ++x) {
      const __m128 v = p[x];
      const __m128 combined = keepMax ? _mm_max_ps(d[x], v) : _mm_min_ps(d[x], v);
      d[x] = qssse::simd::select(_mm_cmpneq_ps(v, s), combined, d[x]);
    }
  }
}

void FastConvert(const CHTriangulation& t, CSSEMatrix* m, float zOffset, const SSEPoint& minP,
                 const SSEPoint& maxP, bool keepMax) {
  if (m == nullptr || t.GetNumTriangles() < 1 || t.GetEdgeArray() == nullptr) return;
  int w = 0, h = 0;
  if (!scan::SampledRasterSize(minP, maxP, t.GetScanResX(), t.GetScanResY(), w, h)) return;
  const float sentinel = keepMax ? scan::kMaxSentinel : scan::kMinSentinel;
  m->CreateNoClear(w, h);
  m->Fill(sentinel);

  // 1. ten workers, each sweeping its chunk into its own matrix (allocated and filled on the worker)
  std::array<CSSEMatrix, scan::kWorkers> parts;
  const int count = t.GetNumTriangles();
  scan::RunWorkers([&](int i) {
    const scan::Range r = scan::WorkerRange(count, i);
    if (r.last < r.first) return;
    CSSEMatrix& part = parts[static_cast<std::size_t>(i)];
    part.CreateNoClear(w, h);
    part.Fill(sentinel);
    scan::Job job = scan::MakeJob(t, minP, w, h, zOffset);
    job.first = r.first;
    job.last = r.last;
    if (keepMax) {
      scan::Sweep<scan::CrossMax>(job, part);
    } else {
      scan::Sweep<scan::CrossMin>(job, part);
    }
  });
  // 2. the merge, on the caller's thread, in worker order
  for (const CSSEMatrix& part : parts) Merge(*m, part, sentinel, keepMax);
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
