#include "qssse/platform/WorkerPool.h"

#include <climits>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <vector>

#include "qssse/platform/Event.h"
#include "qssse/platform/WinThread.h"

namespace qssse {
namespace {

// How many workers have been collected; worker i may start once it reaches i - window + 1.
class Gate {
 public:
  void WaitFor(int collected) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return collected_ >= collected; });
  }
  void Advance(int collected) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      collected_ = collected;
    }
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int collected_ = 0;
};

}  // namespace

void RunWorkers(int count, const std::function<void(int)>& work, const std::function<void(int)>& collect,
                int window) {
  if (count <= 0) return;
  Gate gate;
  std::vector<std::unique_ptr<CEvent>> events;
  events.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) events.push_back(std::make_unique<CEvent>());
  // Declared after the events and the gate: destroying a thread waits for it, so no worker outlives
  // what it uses.
  std::vector<std::unique_ptr<CWinThread>> threads;
  threads.reserve(static_cast<std::size_t>(count));
  try {
    for (int i = 0; i < count; ++i) {
      ResetEvent(*events[static_cast<std::size_t>(i)]);
      threads.push_back(AfxBeginThread(
          [&work, &gate, i, window] {
            if (window > 0 && i >= window) gate.WaitFor(i - window + 1);
            work(i);
          },
          events[static_cast<std::size_t>(i)].get()));
    }
  } catch (...) {
    gate.Advance(INT_MAX);  // the started ones may be waiting for results that will not be collected
    throw;                  // the threads' destructors wait for them
  }
  std::exception_ptr first;
  for (int i = 0; i < count; ++i) {
    WaitForSingleObject(*events[static_cast<std::size_t>(i)], CEvent::INFINITE_WAIT);
    try {
      threads[static_cast<std::size_t>(i)]->Join();
      if (collect && !first) collect(i);
    } catch (...) {
      if (!first) first = std::current_exception();
    }
    gate.Advance(i + 1);
  }
  if (first) std::rethrow_exception(first);
}

}  // namespace qssse
