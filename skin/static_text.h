#pragma once
// CZKStaticText: one line of text on a copied or filled background. The
// texts of `isLabel` rows come from the language file; others are set by
// the program (times, tempo, names) and redraw only when they change.
//
// Threads: GUI thread only.

#include <wx/colour.h>

#include "skin/custom_control.h"

namespace vantaro {

class CZKStaticText : public ZKCustomControl {
 public:
  CZKStaticText(wxWindow* parent, int controlId, int deck);

  void ApplySkinAttributes(ZKAttributeList& attributes) override;
  void OnControlEvent(const ControlEvent& event) override;
  void DrawControl() override;

  // Redraws only when `text` differs from the present one.
  void SetText(const wxString& text);
  wxString GetText() const { return text_; }

 private:
  wxString text_;
  bool transparent_ = false, borderVisible_ = false;
  int align_ = 0;
  wxColour back_ = *wxBLACK, fontColour_ = *wxWHITE, borderColour_ = *wxWHITE;
};

}  // namespace vantaro
