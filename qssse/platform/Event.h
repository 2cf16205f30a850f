#pragma once
#include "qssse/platform/Export.h"

#include <condition_variable>
#include <mutex>

// A signal one thread sets and others wait for. An auto-reset event (the default) lets exactly one
// waiter through per SetEvent and is reset by that wait; a manual-reset event stays set, letting
// every waiter through, until ResetEvent. Safe to use from any thread; not copyable.
class QSSSE_API CEvent {
 public:
  // Timeout meaning "wait as long as it takes".
  static constexpr unsigned INFINITE_WAIT = 0xFFFFFFFFu;

  // initiallyOwn true starts the event set.
  explicit CEvent(bool initiallyOwn = false, bool manualReset = false);
  CEvent(const CEvent&) = delete;
  CEvent& operator=(const CEvent&) = delete;
  ~CEvent();

  // Sets the event and wakes the waiters it lets through. Always returns true.
  bool SetEvent();
  // Clears the event. Always returns true.
  bool ResetEvent();
  // Waits until the event is set or timeoutMs milliseconds have passed (0 only tests it); returns
  // true when the event was taken, false on time-out. An auto-reset event is reset by the wait.
  bool Lock(unsigned timeoutMs = INFINITE_WAIT);

 private:
  std::mutex m_mutex;
  std::condition_variable m_changed;
  bool m_set;
  const bool m_manualReset;
};

// event.SetEvent(), for loops that read better with free functions.
QSSSE_API bool SetEvent(CEvent& event);
// event.ResetEvent().
QSSSE_API bool ResetEvent(CEvent& event);
// event.Lock(timeoutMs): true when the event was taken, false on time-out.
QSSSE_API bool WaitForSingleObject(CEvent& event, unsigned timeoutMs);
