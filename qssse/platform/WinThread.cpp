#include "qssse/platform/WinThread.h"

#include "qssse/platform/Event.h"

#include "qssse/platform/InvalidArgumentException.h"
#include <system_error>
#include <utility>

namespace {

std::function<void()> checked(std::function<void()> work) {
  if (!work) AfxThrowInvalidArgumentException("AfxBeginThread: no work to run");
  return work;
}

}  // namespace

CWinThread::CWinThread(std::function<void()> work, CEvent* finished)
    : m_thread([this, work = checked(std::move(work)), finished] {
        try {
          work();
        } catch (...) {
          m_error = std::current_exception();
        }
        if (finished != nullptr) finished->SetEvent();
      }) {}

CWinThread::~CWinThread() {
  if (m_thread.joinable()) {
    try {
      m_thread.join();
    } catch (const std::system_error&) {
      // Joining can only fail when misused from the worker itself; a destructor must not throw.
    }
  }
}

void CWinThread::Join() {
  if (m_thread.joinable()) m_thread.join();
  if (m_error) {
    std::exception_ptr error = std::exchange(m_error, nullptr);
    std::rethrow_exception(error);
  }
}

std::unique_ptr<CWinThread> AfxBeginThread(AFX_THREADPROC proc, void* param, CEvent* finished) {
  if (proc == nullptr) AfxThrowInvalidArgumentException("AfxBeginThread: null thread procedure");
  return std::make_unique<CWinThread>([proc, param] { proc(param); }, finished);
}

std::unique_ptr<CWinThread> AfxBeginThread(std::function<void()> work, CEvent* finished) {
  return std::make_unique<CWinThread>(std::move(work), finished);
}
