#pragma once
// CZKEditText: a text box of the platform (GTK's entry) placed as a skin
// control, with the skin's font and colours (`fontcolor`, `backcolor`).
// While it has the keyboard focus, keys belong to it: the shortcut layer
// asks ShortcutsBlocked() before it acts on a key, so typing a search
// never starts a deck. Enter calls the control's onLeftUp, each change its
// onLeftDown (both with userData and deck); Escape empties the box, which
// is a change too.
//
// Threads: GUI thread only.

#include <wx/colour.h>

#include "skin/custom_control.h"

class wxTextCtrl;
class wxCommandEvent;
class wxFocusEvent;
class wxKeyEvent;

namespace vantaro {

class CZKEditText : public ZKCustomControl {
 public:
  CZKEditText(wxWindow* parent, int controlId, int deck);
  ~CZKEditText() override;

  void ApplySkinAttributes(ZKAttributeList& attributes) override;
  void OnControlEvent(const ControlEvent& event) override;
  void DrawControl() override;

  wxString GetValue() const;
  // Sets the text without calling the change callback.
  void ChangeValue(const wxString& text);
  wxTextCtrl* Entry() const { return entry_; }

 private:
  void OnEntryFocus(wxFocusEvent& event);
  void OnEntryFocusLost(wxFocusEvent& event);
  void OnText(wxCommandEvent& event);
  void OnEnter(wxCommandEvent& event);
  void OnKeyDown(wxKeyEvent& event);

  wxTextCtrl* entry_ = nullptr;
  wxColour back_ = *wxWHITE, fontColour_ = *wxBLACK;
};

// True while a text box of the skin has the keyboard focus.
bool ShortcutsBlocked();
// A press on another control: the text box gives up the keys and `taker`
// takes the focus (the toolkit's own focus report may not come without a
// window manager, so the block ends here either way).
void EndTextEntry(wxWindow* taker);

}  // namespace vantaro
