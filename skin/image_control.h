#pragma once
// CZKImage: a passive picture, the skin image's part at `posx`,`posy` (in
// colour mode a fill of `backcolor`). A click may be wired by the program.
//
// Threads: GUI thread only.

#include <wx/colour.h>

#include "skin/custom_control.h"

namespace vantaro {

class CZKImage : public ZKCustomControl {
 public:
  CZKImage(wxWindow* parent, int controlId, int deck);

  void ApplySkinAttributes(ZKAttributeList& attributes) override;
  void OnControlEvent(const ControlEvent& event) override;
  void DrawControl() override;

 private:
  int pictureX_ = 0, pictureY_ = 0;
  wxColour back_ = *wxBLACK;
};

}  // namespace vantaro
