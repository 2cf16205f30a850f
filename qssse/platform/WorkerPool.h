#pragma once
#include <functional>

#include "qssse/platform/Export.h"

namespace qssse {

// The start-and-collect of the library's threaded members. Runs work(0) .. work(count - 1) on count
// threads started with AfxBeginThread, each with its own event (reset before the start, set when its
// work ends, by returning or by throwing), and waits on the events in order without a time-out. After
// worker i's event, collect(i) (if given) runs on the caller's thread, in worker order, for every worker
// whose work returned.
//
// window > 0 bounds how many results wait to be collected: worker i starts its work only after collect
// has run (or been skipped) for worker i - window, so per-worker results that collect consumes are
// never more than window at once. window <= 0 starts every work at once.
//
// Returns when every worker has ended. The first exception in worker order, a work's or a collect's, is
// then rethrown (the others are dropped); after the first exception no further collect runs. If a thread
// cannot be started, the ones started are waited for and the start failure is thrown. count <= 0 does
// nothing.
QSSSE_API void RunWorkers(int count, const std::function<void(int)>& work,
                          const std::function<void(int)>& collect = {}, int window = 0);

}  // namespace qssse
