#include "skin/edit_text.h"

#include <wx/textctrl.h>

#include "skin/attribute_list.h"
#include "skin/skin_style.h"

namespace vantaro {
namespace {

// The text box holding the focus, null when none does. One at a time: the
// focus belongs to one window.
const CZKEditText* focusedEntry = nullptr;

}  // namespace

bool ShortcutsBlocked() {
  return focusedEntry != nullptr;
}

void EndTextEntry(wxWindow* taker) {
  focusedEntry = nullptr;
  if (taker) taker->SetFocus();
}

CZKEditText::CZKEditText(wxWindow* parent, int controlId, int deck)
    : ZKCustomControl(parent, controlId, deck) {
  entry_ = new wxTextCtrl(this, wxID_ANY, wxEmptyString, wxPoint(0, 0), wxSize(0, 0),
                          wxBORDER_NONE | wxTE_PROCESS_ENTER);
  entry_->Bind(wxEVT_SET_FOCUS, &CZKEditText::OnEntryFocus, this);
  entry_->Bind(wxEVT_KILL_FOCUS, &CZKEditText::OnEntryFocusLost, this);
  entry_->Bind(wxEVT_TEXT, &CZKEditText::OnText, this);
  entry_->Bind(wxEVT_TEXT_ENTER, &CZKEditText::OnEnter, this);
  entry_->Bind(wxEVT_KEY_DOWN, &CZKEditText::OnKeyDown, this);
}

CZKEditText::~CZKEditText() {
  if (focusedEntry == this) focusedEntry = nullptr;
}

void CZKEditText::ApplySkinAttributes(ZKAttributeList& attributes) {
  ZKCustomControl::ApplySkinAttributes(attributes);
  back_ = SkinColour(attributes, "backcolor", *wxWHITE);
  fontColour_ = SkinColour(attributes, "fontcolor", *wxBLACK);
  entry_->SetSize(0, 0, width, height);
  entry_->SetFont(font);
  entry_->SetBackgroundColour(back_);
  entry_->SetForegroundColour(fontColour_);
  ready = 1;
  Redraw();
}

void CZKEditText::OnControlEvent(const ControlEvent& event) {
  // A click, a mapped key or a controller gives the box the focus.
  if (event.kind == mt_DOWN || event.kind == mt_STEP) entry_->SetFocus();
}

void CZKEditText::DrawControl() {
  // The entry covers the control; the buffer shows only around it.
  if (!HasBackBuffer()) return;
  Back().SetPen(*wxTRANSPARENT_PEN);
  Back().SetBrush(wxBrush(back_));
  Back().DrawRectangle(0, 0, width, height);
}

wxString CZKEditText::GetValue() const {
  return entry_->GetValue();
}

void CZKEditText::ChangeValue(const wxString& text) {
  entry_->ChangeValue(text);
}

void CZKEditText::OnEntryFocus(wxFocusEvent& event) {
  focusedEntry = this;
  event.Skip();
}

void CZKEditText::OnEntryFocusLost(wxFocusEvent& event) {
  if (focusedEntry == this) focusedEntry = nullptr;
  event.Skip();
}

void CZKEditText::OnText(wxCommandEvent&) {
  wiring.Call(wiring.callbacks.onLeftDown, 0);
}

void CZKEditText::OnKeyDown(wxKeyEvent& event) {
  // Escape empties the box; the change callback hears of it like a typed
  // change (a search ends).
  if (event.GetKeyCode() == WXK_ESCAPE && !entry_->IsEmpty()) {
    entry_->SetValue(wxEmptyString);
    return;
  }
  event.Skip();
}

void CZKEditText::OnEnter(wxCommandEvent&) {
  wiring.Call(wiring.callbacks.onLeftUp, 0);
}

}  // namespace vantaro
