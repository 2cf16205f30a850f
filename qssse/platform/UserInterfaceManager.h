#pragma once
#include "qssse/platform/Export.h"

#include <functional>

// Where the library's diagnostic messages go. By default they go nowhere: the library has no user
// interface of its own, and a host that wants to show them installs a handler.
class QSSSE_API QsCUserInterfaceManager {
 public:
  using Handler = std::function<int(const wchar_t* text, int type, int flags)>;

  // Passes the message to the handler and returns its answer; 0 from the default handler. A null
  // text is passed as L"". May be called from any thread; the handler runs on the calling thread,
  // outside the manager's lock, so it may itself show messages or replace the handler.
  static int ShowMessageBox(const wchar_t* text, int type, int flags);
  // Installs handler for all later messages; an empty handler restores the silent default.
  static void SetMessageHandler(Handler handler);
};
