#include "skin/custom_panel.h"

#include <wx/dcclient.h>

#include <algorithm>

#include "skin/attribute_list.h"
#include "skin/base_window.h"
#include "skin/skin_image.h"
#include "skin/skin_style.h"

namespace vantaro {

ZKCustomPanel::ZKCustomPanel(wxWindow* parent, int index) : index(index) {
  SetBackgroundStyle(wxBG_STYLE_PAINT);
  Hide();
  Create(parent, wxID_ANY, wxPoint(0, 0), wxSize(0, 0), wxBORDER_NONE | wxTAB_TRAVERSAL);
  Bind(wxEVT_PAINT, &ZKCustomPanel::OnPaint, this);
}

void ZKCustomPanel::ApplySkinAttributes(const ZKAttributeList& attributes) {
  width = std::max(attributes.GetInt("width"), 0);
  height = std::max(attributes.GetInt("height"), 0);
  SetSize(std::max(attributes.GetInt("posx"), 0), std::max(attributes.GetInt("posy"), 0), width,
          height);
  backcolor = ParseSkinColour(attributes.GetText("backcolor"));
  bordercolor = ParseSkinColour(attributes.GetText("bordercolor"));
  transparent = attributes.GetBool("transparent");
  upx = std::max(attributes.GetInt("upx"), 0);
  upy = std::max(attributes.GetInt("upy"), 0);
  Show();
  Refresh(false);
}

bool SkinOriginOf(const wxWindow* start, wxPoint* origin) {
  wxPoint offset;
  for (const wxWindow* window = start; window; window = window->GetParent()) {
    if (auto* panel = dynamic_cast<const ZKCustomPanel*>(window); panel && panel->transparent) {
      *origin = wxPoint(panel->upx, panel->upy) + offset;
      return true;
    }
    if (auto* skinned = dynamic_cast<const ZKBaseWindow*>(window)) {
      *origin = wxPoint(skinned->upx, skinned->upy) + offset;
      return true;
    }
    offset += window->GetPosition();
  }
  return false;
}

void ZKCustomPanel::OnPaint(wxPaintEvent&) {
  wxPaintDC dc(this);
  painted = true;
  if (backcolor.IsOk()) {
    dc.SetBrush(wxBrush(backcolor));
    dc.SetPen(bordercolor.IsOk() ? wxPen(bordercolor, 1) : *wxTRANSPARENT_PEN);
    dc.DrawRectangle(0, 0, width, height);
    return;
  }
  wxDC* skin = SkinImage::Get().Source();
  wxPoint origin;
  if (skin && SkinOriginOf(this, &origin)) dc.Blit(0, 0, width, height, skin, origin.x, origin.y);
}

ZKCustomGroup::ZKCustomGroup(wxWindow* parentWindow, const std::string& name)
    : name(name), parentWindow(parentWindow) {}

ZKCustomGroup::~ZKCustomGroup() {
  DestroyPanels();
}

void ZKCustomGroup::DestroyPanels() {
  for (int i = 0; i < count_; ++i) {
    if (panels_[i]) panels_[i]->Destroy();
    panels_[i] = nullptr;
  }
  count_ = 0;
  current_ = -1;
}

void ZKCustomGroup::ShowPanel(int index) {
  if (index < 0 || index >= count_ || !panels_[index]) return;
  if (current_ >= 0 && current_ != index && panels_[current_]) panels_[current_]->Hide();
  current_ = index;
  ZKCustomPanel* panel = panels_[index];
  panel->Raise();
  panel->Show();
  panel->SetFocus();
}

void ZKCustomGroup::ShowNextPanel() {
  if (count_ > 0) ShowPanel((current_ + 1) % count_);
}

void ZKCustomGroup::ShowPrevPanel() {
  if (count_ > 0) ShowPanel((current_ + count_ - 1) % count_);
}

ZKCustomPanel* ZKCustomGroup::GetPanel(int index) const {
  return index >= 0 && index < count_ ? panels_[index] : nullptr;
}

void ZKCustomGroup::AddPanel(ZKCustomPanel* panel) {
  if (!panel || count_ == kMaxPanels) return;
  panels_[count_++] = panel;
  if (count_ == 1)
    ShowPanel(0);
  else
    panel->Hide();
}

}  // namespace vantaro
