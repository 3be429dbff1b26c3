#pragma once
// CZKDropDownList: the chosen item of a short list drawn as a text with a
// small arrow; a press (mt_DOWN: a click, a mapped key) opens the list as a
// pop-up menu under the control, and choosing an item calls onLeftDown and
// then onLeftUp with its index. Items come from the program (SetItems) or
// from the skin's `items` attribute, separated by '|'. Font and colour
// attributes as a text's.
//
// Threads: GUI thread only.

#include <wx/colour.h>

#include <vector>

#include "skin/custom_control.h"

namespace vantaro {

class CZKDropDownList : public ZKCustomControl {
 public:
  CZKDropDownList(wxWindow* parent, int controlId, int deck);

  void ApplySkinAttributes(ZKAttributeList& attributes) override;
  void OnControlEvent(const ControlEvent& event) override;
  void DrawControl() override;

  // Keeps the selection when it is still an index of the new list, else
  // selects none (-1).
  void SetItems(const std::vector<wxString>& items);
  const std::vector<wxString>& Items() const { return items_; }
  // -1 selects none; other indexes outside the list are ignored. No call.
  void SetSelection(int index);
  int Selection() const { return selection_; }
  // What choosing `index` from the open list does (the menu's handler):
  // selects it and calls the callbacks. Ignored outside the list.
  void Choose(int index);

 private:
  void OpenList();

  std::vector<wxString> items_;
  int selection_ = -1;
  bool transparent_ = false;
  wxColour back_ = *wxBLACK, fontColour_ = *wxWHITE, border_ = *wxWHITE;
};

}  // namespace vantaro
