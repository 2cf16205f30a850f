#pragma once
#include "qssse/platform/Export.h"

#include <exception>
#include <functional>
#include <memory>
#include <thread>

class CEvent;

// A worker's entry point: receives the parameter given to AfxBeginThread; the result is ignored.
using AFX_THREADPROC = unsigned (*)(void*);

// One worker thread. An exception escaping the work is caught on the worker and rethrown by Join,
// so it reaches the caller instead of ending the process. Not copyable; use from one thread.
class QSSSE_API CWinThread {
 public:
  // Starts running work on a new thread. When work ends, by returning or by throwing, `finished`
  // (if not null) is set, so a caller waiting on it never hangs. Empty work throws
  // CInvalidArgumentException; a thread that cannot be started throws std::system_error. In both cases
  // nothing runs and `finished` is not set.
  explicit CWinThread(std::function<void()> work, CEvent* finished = nullptr);
  CWinThread(const CWinThread&) = delete;
  CWinThread& operator=(const CWinThread&) = delete;
  // Waits for the worker; an exception it threw and nobody collected with Join is dropped.
  ~CWinThread();

  // Waits for the worker to end and rethrows the exception it threw, if any (once: a second Join
  // returns normally). Must not be called from the worker itself.
  void Join();

 private:
  // Declared before m_thread: the worker may store into it as soon as the thread exists.
  std::exception_ptr m_error;
  std::thread m_thread;
};

// Starts proc(param) on a worker thread, as CWinThread does. A null proc throws CInvalidArgumentException.
QSSSE_API std::unique_ptr<CWinThread> AfxBeginThread(AFX_THREADPROC proc, void* param,
                                                     CEvent* finished = nullptr);
// Starts work on a worker thread, as CWinThread does.
QSSSE_API std::unique_ptr<CWinThread> AfxBeginThread(std::function<void()> work, CEvent* finished = nullptr);
