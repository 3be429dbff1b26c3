#pragma once
// CZKButton: a push button or a switch, drawn from colours or copied from
// the skin image, with an optional label. Its behaviour is a ButtonState;
// this class draws it and keeps the mouse capture out of its way.
//
// Threads: GUI thread only.

#include <wx/colour.h>

#include <string>
#include <vector>

#include "control/button_state.h"
#include "skin/custom_control.h"

namespace vantaro {

class CZKButton : public ZKCustomControl {
 public:
  CZKButton(wxWindow* parent, int controlId, int deck);

  void ApplySkinAttributes(ZKAttributeList& attributes) override;
  void OnControlEvent(const ControlEvent& event) override;
  void DrawControl() override;
  // Shows the engine's state as the switch state (the "selected" look of a
  // switch).
  void ShowEngineValue(int value) override;

  void SetSwitched(bool on);
  void SetIsSwitch(bool isSwitch);
  void SetForcedOver(bool on);
  void SetLabel(const wxString& label) override;
  wxString GetLabel() const override { return label_; }
  const ButtonState& State() const { return state_; }

 private:
  // Picture position and colours of one look.
  struct Look {
    wxPoint picture{-1, -1};
    wxColour back, border;
  };
  const Look& CurrentLook() const;
  void DrawLabel();
  // Splits the label into its lines and measures them, once per label and
  // skin: text measuring is most of a redraw's time.
  void LayOutLabel(wxDC& dc);

  ButtonState state_;
  wxString label_;
  bool showLabel_ = false;
  struct LabelLine {
    wxString text;
    int width;
  };
  std::vector<LabelLine> labelLines_;  // empty: not laid out yet
  int lineHeight_ = 0;
  // normal, over, down; then the same three when switched
  Look looks_[6];
  wxColour fontColour_ = *wxWHITE, fontColourPressed_ = *wxWHITE, fontColourSwitched_ = *wxWHITE;
};

}  // namespace vantaro
