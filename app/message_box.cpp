#include "app/message_box.h"

// The generic dialog's header needs the base class from msgdlg.h first.
// clang-format off
#include <wx/msgdlg.h>
#include <wx/generic/msgdlgg.h>
// clang-format on

#include "app/vantaro_app.h"
#include "base/debug_log.h"

namespace vantaro {
namespace {

// The box in its modal loop now; a box shown from inside another's loop
// hides the outer one until it ends.
wxGenericMessageDialog* g_openBox = nullptr;

}  // namespace

void ShowMessage(const wxString& text) {
  DebugLog("message: %s", text.utf8_str().data());
  if (CloseRequested()) return;
  wxGenericMessageDialog box(nullptr, text, "Message", wxOK | wxCENTRE);
  wxGenericMessageDialog* const outer = g_openBox;
  g_openBox = &box;
  box.ShowModal();
  g_openBox = outer;
  // A close request that ended this box left the close itself to us: it
  // must not run inside the loop of a box whose caller still goes on.
  if (CloseRequested()) PostCloseRequest();
}

bool EndOpenMessageBox() {
  if (!g_openBox || !g_openBox->IsModal()) return false;
  g_openBox->EndModal(wxID_CANCEL);
  return true;
}

}  // namespace vantaro
