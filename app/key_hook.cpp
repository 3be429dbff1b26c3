#include "app/key_hook.h"

#include <wx/app.h>
#include <wx/textentry.h>
#include <wx/window.h>

#include "control/key_map.h"
#include "control/key_names.h"
#include "skin/custom_control.h"
#include "skin/edit_text.h"

namespace vantaro {
namespace {

// Any toolkit text box with the focus, or a skin text box the user is
// typing in (it keeps the keys until another control is pressed).
bool TextBoxHasFocus() {
  return dynamic_cast<wxTextEntry*>(wxWindow::FindFocus()) != nullptr || ShortcutsBlocked();
}

void OnCharHook(wxKeyEvent& event) {
  KeyPress press;
  press.rawCode = event.GetKeyCode();
  press.character = static_cast<int>(event.GetUnicodeKey());
  press.modifiers = ControlModifiers(event);
  press.appActive = wxTheApp && wxTheApp->IsActive();
  press.textFocus = TextBoxHasFocus();
  if (HandleKeyPress(press) == KeyHookResult::kPass) event.Skip();
}

}  // namespace

void InstallKeyHook(wxWindow* mainWindow) {
  mainWindow->Bind(wxEVT_CHAR_HOOK, &OnCharHook);
}

bool DeliverKeyToHook(wxWindow* mainWindow, int code, int modifiers) {
  wxKeyEvent event(wxEVT_CHAR_HOOK);
  event.SetEventObject(mainWindow);
  event.m_keyCode = code;
  event.m_uniChar = code < kKeyNamedFirst ? static_cast<wxChar>(code) : 0;
  event.SetControlDown(modifiers & kModControl);
  event.SetAltDown(modifiers & kModAlt);
  event.SetShiftDown(modifiers & kModShift);
  event.SetMetaDown(modifiers & kModMeta);
  // Skipped (not consumed) when the hook let the key pass.
  return mainWindow->GetEventHandler()->ProcessEvent(event) && !event.GetSkipped();
}

}  // namespace vantaro
