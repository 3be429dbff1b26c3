#include "skin/message_helpers.h"

// The generic dialog's header needs the base class from msgdlg.h first.
// clang-format off
#include <wx/msgdlg.h>
#include <wx/generic/msgdlgg.h>
// clang-format on
#include <wx/button.h>
#include <wx/textdlg.h>

#include "control/language.h"

namespace vantaro {
namespace {

bool (*g_closeRequested)() = nullptr;
void (*g_postCloseRequest)() = nullptr;
// The box in its modal loop now; a box shown from inside another's loop
// hides the outer one until it ends.
wxDialog* g_openBox = nullptr;

bool Closing() {
  return g_closeRequested && g_closeRequested();
}

wxString Language(int id, const char* english) {
  const std::string& text = Text(id);
  return text.empty() ? wxString(english) : wxString::FromUTF8(text);
}

int RunBox(wxDialog& box) {
  wxDialog* const outer = g_openBox;
  g_openBox = &box;
  const int answer = box.ShowModal();
  g_openBox = outer;
  // A close request that ended this box left the close itself to us: it
  // must not run inside the loop of a box whose caller still goes on.
  if (Closing() && g_postCloseRequest) g_postCloseRequest();
  return answer;
}

}  // namespace

void SetMessageCloseHooks(bool (*closeRequested)(), void (*postCloseRequest)()) {
  g_closeRequested = closeRequested;
  g_postCloseRequest = postCloseRequest;
}

int ConfirmMessage(const wxString& text, const wxString& title) {
  if (Closing()) return 0;
  wxGenericMessageDialog box(nullptr, text, title.empty() ? wxString("Vantaro DJ") : title,
                             wxYES_NO | wxCENTRE);
  box.SetYesNoLabels(Language(txt_yes, "Yes"), Language(txt_no, "No"));
  const int answer = RunBox(box);
  return answer == wxID_OK || answer == wxID_YES;
}

void ShowMessage(const wxString& text, const wxString& title) {
  if (Closing()) return;
  wxGenericMessageDialog box(nullptr, text, title, wxOK | wxCENTRE);
  box.SetOKLabel(Language(txt_ok, "OK"));
  RunBox(box);
}

bool TextEntry(const wxString& message, const wxString& title, wxString* text) {
  if (Closing()) return false;
  wxTextEntryDialog box(nullptr, message, title, *text);
  if (auto* ok = dynamic_cast<wxButton*>(box.FindWindow(wxID_OK)))
    ok->SetLabel(Language(txt_ok, "OK"));
  if (auto* cancel = dynamic_cast<wxButton*>(box.FindWindow(wxID_CANCEL)))
    cancel->SetLabel(Language(txt_cancel, "Cancel"));
  if (RunBox(box) != wxID_OK) return false;
  *text = box.GetValue();
  return true;
}

bool EndOpenMessageBox() {
  if (!g_openBox || !g_openBox->IsModal()) return false;
  g_openBox->EndModal(wxID_CANCEL);
  return true;
}

}  // namespace vantaro
