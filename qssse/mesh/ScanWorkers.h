#pragma once
#include <functional>

#include "qssse/platform/Export.h"

// The ten-worker scaffolding of CHTriangulation::FastScanConvertTriangulation, apart from the sweep so
// that its division of work and its error path can be exercised on their own.
namespace qssse::scan {

inline constexpr int kWorkers = 10;

// Inclusive triangle range of worker i (0..9) for count triangles: chunk c = count / 10 in integers,
// worker i < 9 takes i*c .. min((i+1)*c - 1, count - 1), worker 9 takes 9*c .. count - 1. With fewer than
// ten triangles c is 0 and worker 9 does all the work. An empty range has last < first.
struct Range {
  int first;
  int last;
};
QSSSE_API Range WorkerRange(int count, int i);

// Runs work(0) .. work(9) on ten threads started with AfxBeginThread, each with its own event (reset
// before the start, set when the work ends, by returning or throwing), and waits on the ten events in
// order without a time-out. Returns when all ten have ended; the first exception in worker order is then
// rethrown on the caller's thread (the others are dropped). If a thread cannot be started, the ones
// started are waited for and the start failure is thrown.
QSSSE_API void RunWorkers(const std::function<void(int)>& work);

}  // namespace qssse::scan
