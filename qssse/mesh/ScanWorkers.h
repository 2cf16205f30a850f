#pragma once
#include "qssse/platform/Export.h"

// The division of work of CHTriangulation::FastScanConvertTriangulation, apart from the sweep so that it
// can be exercised on its own (the threads are qssse::RunWorkers').
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

}  // namespace qssse::scan
