#include "qssse/platform/UserInterfaceManager.h"

#include <mutex>
#include <utility>

namespace {

struct HandlerSlot {
  std::mutex mutex;
  QsCUserInterfaceManager::Handler handler;
};

// Built on first use, so messages shown during static initialisation of a host still find it.
HandlerSlot& slot() {
  static HandlerSlot instance;
  return instance;
}

}  // namespace

int QsCUserInterfaceManager::ShowMessageBox(const wchar_t* text, int type, int flags) {
  Handler handler;
  {
    std::lock_guard<std::mutex> lock(slot().mutex);
    handler = slot().handler;
  }
  if (!handler) return 0;
  return handler(text != nullptr ? text : L"", type, flags);
}

void QsCUserInterfaceManager::SetMessageHandler(Handler handler) {
  // The old handler is destroyed outside the lock: its destructor may run arbitrary code.
  std::lock_guard<std::mutex> lock(slot().mutex);
  std::swap(slot().handler, handler);
}
