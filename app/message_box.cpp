#include "app/message_box.h"

#include "app/vantaro_app.h"
#include "base/debug_log.h"

namespace vantaro {

void ShowMessage(const wxString& text) {
  DebugLog("message: %s", text.utf8_str().data());
  ShowMessage(text, "Message");
}

void ConnectMessageBoxesToClose() {
  SetMessageCloseHooks(&CloseRequested, &PostCloseRequest);
}

}  // namespace vantaro
