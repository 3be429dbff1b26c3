#include "skin/dropdown_list.h"

#include <wx/menu.h>

#include "skin/attribute_list.h"
#include "skin/custom_panel.h"
#include "skin/skin_style.h"

namespace vantaro {
namespace {

constexpr int kArrowRoom = 14;  // pixels at the right kept for the arrow
constexpr int kMargin = 3;

std::vector<wxString> SplitItems(const std::string& text) {
  std::vector<wxString> items;
  if (text.empty()) return items;
  size_t start = 0;
  while (true) {
    const size_t bar = text.find('|', start);
    items.push_back(wxString::FromUTF8(text.substr(start, bar - start)));
    if (bar == std::string::npos) break;
    start = bar + 1;
  }
  return items;
}

}  // namespace

CZKDropDownList::CZKDropDownList(wxWindow* parent, int controlId, int deck)
    : ZKCustomControl(parent, controlId, deck) {}

void CZKDropDownList::ApplySkinAttributes(ZKAttributeList& attributes) {
  ZKCustomControl::ApplySkinAttributes(attributes);
  transparent_ = attributes.GetBool("transparent");
  back_ = SkinColour(attributes, "backcolor", *wxBLACK);
  fontColour_ = SkinColour(attributes, "fontcolor", *wxWHITE);
  border_ = SkinColour(attributes, "bordercolor", fontColour_);
  if (attributes.Has("items")) SetItems(SplitItems(attributes.GetText("items")));
  ready = 1;
  Redraw();
}

void CZKDropDownList::OnControlEvent(const ControlEvent& event) {
  if (event.kind == mt_DOWN && event.button != kButtonRight) OpenList();
}

void CZKDropDownList::SetItems(const std::vector<wxString>& items) {
  items_ = items;
  if (selection_ >= static_cast<int>(items_.size())) selection_ = -1;
  Redraw();
}

void CZKDropDownList::SetSelection(int index) {
  if (index < -1 || index >= static_cast<int>(items_.size()) || index == selection_) return;
  selection_ = index;
  Redraw();
}

void CZKDropDownList::Choose(int index) {
  if (index < 0 || index >= static_cast<int>(items_.size())) return;
  SetSelection(index);
  wiring.Call(wiring.callbacks.onLeftDown, index);
  wiring.Call(wiring.callbacks.onLeftUp, index);
}

void CZKDropDownList::OpenList() {
  if (items_.empty() || !IsShown()) return;
  wxMenu menu;
  for (size_t i = 0; i < items_.size(); ++i) {
    wxMenuItem* item = menu.AppendCheckItem(static_cast<int>(i) + 1, items_[i]);
    item->Check(static_cast<int>(i) == selection_);
  }
  // The menu runs its own loop; the choice arrives as a command with the
  // item's id (index + 1), or none when the list was dismissed.
  const int chosen = GetPopupMenuSelectionFromUser(menu, wxPoint(0, height));
  if (chosen != wxID_NONE) Choose(chosen - 1);
}

void CZKDropDownList::DrawControl() {
  if (!HasBackBuffer()) return;
  wxDC& dc = Back();
  wxPoint behind;
  if (!(transparent_ && SkinOriginOf(this, &behind) && CopyFromSkin(behind.x, behind.y))) {
    dc.SetPen(wxPen(border_, 1));
    dc.SetBrush(wxBrush(back_));
    dc.DrawRectangle(0, 0, width, height);
  }
  // The arrow: a small triangle pointing down at the right.
  const int ax = width - kArrowRoom / 2 - 1, ay = height / 2 + 2;
  const wxPoint arrow[3] = {wxPoint(ax - 4, ay - 3), wxPoint(ax + 4, ay - 3), wxPoint(ax, ay + 2)};
  dc.SetPen(*wxTRANSPARENT_PEN);
  dc.SetBrush(wxBrush(fontColour_));
  dc.DrawPolygon(3, arrow);
  if (selection_ < 0) return;
  dc.SetFont(font);
  dc.SetTextForeground(fontColour_);
  dc.SetBackgroundMode(wxBRUSHSTYLE_TRANSPARENT);
  dc.SetClippingRegion(0, 0, width - kArrowRoom, height);
  const wxSize extent = dc.GetTextExtent(items_[selection_]);
  dc.DrawText(items_[selection_], kMargin, (height - extent.y) / 2);
  dc.DestroyClippingRegion();
}

}  // namespace vantaro
