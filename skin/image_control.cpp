#include "skin/image_control.h"

#include <algorithm>

#include "skin/attribute_list.h"
#include "skin/skin_style.h"

namespace vantaro {

CZKImage::CZKImage(wxWindow* parent, int controlId, int deck)
    : ZKCustomControl(parent, controlId, deck) {}

void CZKImage::ApplySkinAttributes(ZKAttributeList& attributes) {
  ZKCustomControl::ApplySkinAttributes(attributes);
  pictureX_ = std::max(attributes.GetInt("posx"), 0);
  pictureY_ = std::max(attributes.GetInt("posy"), 0);
  back_ = SkinColour(attributes, "backcolor", *wxBLACK);
  ready = 1;
  Redraw();
}

void CZKImage::OnControlEvent(const ControlEvent& event) {
  if (event.kind == mt_DOWN) wiring.Call(wiring.callbacks.onLeftDown, 0);
}

void CZKImage::DrawControl() {
  if (!HasBackBuffer()) return;
  if (!ColourMode() && CopyFromSkin(pictureX_, pictureY_)) return;
  Back().SetPen(*wxTRANSPARENT_PEN);
  Back().SetBrush(wxBrush(back_));
  Back().DrawRectangle(0, 0, width, height);
}

}  // namespace vantaro
