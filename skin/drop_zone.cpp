#include "skin/drop_zone.h"

#include "skin/attribute_list.h"
#include "skin/custom_panel.h"
#include "skin/file_drop.h"
#include "skin/playlist.h"
#include "skin/skin_style.h"

namespace vantaro {

CZKDropZone::CZKDropZone(wxWindow* parent, int controlId, int deck)
    : ZKCustomControl(parent, controlId, deck) {
  // A built-in zone takes its deck's files; a skin's own has no deck.
  if (deck == 0 || deck == 1) AcceptFileDrops(this, deck);
}

void CZKDropZone::ApplySkinAttributes(ZKAttributeList& attributes) {
  ZKCustomControl::ApplySkinAttributes(attributes);
  back_ = SkinColour(attributes, "backcolor", *wxBLACK);
  border_ = SkinColour(attributes, "bordercolor", wxColour(0x60, 0x60, 0x60));
  fontColour_ = SkinColour(attributes, "fontcolor", wxColour(0x90, 0x90, 0x90));
  ready = 1;
  Redraw();
}

void CZKDropZone::OnControlEvent(const ControlEvent& event) {
  // A click may be wired by the program (a file box to pick a track).
  if (event.kind == mt_DOWN) wiring.Call(wiring.callbacks.onLeftDown, 0);
}

bool CZKDropZone::DropRows(CZKAbstractList& source, const std::vector<int>& rows, wxPoint) {
  return DeliverRowsToDeck(deck, source, rows);
}

void CZKDropZone::SetHint(const wxString& hint) {
  if (hint == hint_) return;
  hint_ = hint;
  Redraw();
}

void CZKDropZone::DrawControl() {
  if (!HasBackBuffer()) return;
  wxDC& dc = Back();
  wxPoint behind;
  if (ColourMode() || !SkinOriginOf(this, &behind) || !CopyFromSkin(behind.x, behind.y)) {
    dc.SetPen(wxPen(border_, 1, wxPENSTYLE_SHORT_DASH));
    dc.SetBrush(wxBrush(back_));
    dc.DrawRectangle(0, 0, width, height);
  }
  if (hint_.empty()) return;
  dc.SetFont(font);
  dc.SetTextForeground(fontColour_);
  dc.SetBackgroundMode(wxBRUSHSTYLE_TRANSPARENT);
  dc.SetClippingRegion(0, 0, width, height);
  const wxSize extent = dc.GetTextExtent(hint_);
  dc.DrawText(hint_, (width - extent.x) / 2, (height - extent.y) / 2);
  dc.DestroyClippingRegion();
}

}  // namespace vantaro
