#include "skin/static_text.h"

#include "skin/attribute_list.h"
#include "skin/custom_panel.h"
#include "skin/skin_style.h"

namespace vantaro {
namespace {

constexpr int kTextMargin = 2;  // pixels kept from a left or right edge

}  // namespace

CZKStaticText::CZKStaticText(wxWindow* parent, int controlId, int deck)
    : ZKCustomControl(parent, controlId, deck) {}

void CZKStaticText::ApplySkinAttributes(ZKAttributeList& attributes) {
  ZKCustomControl::ApplySkinAttributes(attributes);
  transparent_ = attributes.GetBool("transparent");
  borderVisible_ = attributes.GetBool("bordervisible");
  align_ = SkinTextAlign(attributes.GetText("fontalign"));
  back_ = SkinColour(attributes, "backcolor", *wxBLACK);
  fontColour_ = SkinColour(attributes, "fontcolor", *wxWHITE);
  borderColour_ = SkinColour(attributes, "bordercolor", fontColour_);
  ready = 1;
  Redraw();
}

void CZKStaticText::OnControlEvent(const ControlEvent& event) {
  // A text takes clicks only for what its program wires (the time display
  // switching between elapsed and remaining time).
  if (event.kind == mt_DOWN) wiring.Call(wiring.callbacks.onLeftDown, 0);
}

void CZKStaticText::SetText(const wxString& text) {
  if (text == text_) return;
  text_ = text;
  Redraw();
}

void CZKStaticText::DrawControl() {
  if (!HasBackBuffer()) return;
  wxDC& dc = Back();
  // A transparent text shows the skin behind it; without a skin image it is
  // filled like any other.
  wxPoint behind;
  if (!(transparent_ && SkinOriginOf(this, &behind) && CopyFromSkin(behind.x, behind.y))) {
    dc.SetPen(*wxTRANSPARENT_PEN);
    dc.SetBrush(wxBrush(back_));
    dc.DrawRectangle(0, 0, width, height);
  }
  if (borderVisible_) {
    dc.SetPen(wxPen(borderColour_, 1));
    dc.SetBrush(*wxTRANSPARENT_BRUSH);
    dc.DrawRectangle(0, 0, width, height);
  }
  if (text_.empty()) return;
  dc.SetFont(font);
  dc.SetTextForeground(fontColour_);
  dc.SetBackgroundMode(wxBRUSHSTYLE_TRANSPARENT);
  dc.SetClippingRegion(0, 0, width, height);
  const wxSize extent = dc.GetMultiLineTextExtent(text_);
  int x = kTextMargin;
  if (align_ == kAlignCenter) x = (width - extent.x) / 2;
  if (align_ == kAlignRight) x = width - extent.x - kTextMargin;
  dc.DrawText(text_, x, (height - extent.y) / 2);
  dc.DestroyClippingRegion();
}

}  // namespace vantaro
