#include "skin/button.h"

#include <wx/tokenzr.h>

#include "skin/attribute_list.h"
#include "skin/skin_style.h"

namespace vantaro {
namespace {

enum LookIndex { kNormal = 0, kOver = 1, kDown = 2, kSelected = 3 };

// Space the label keeps from the sides, pixels.
constexpr int kLabelMargin = 6;

wxPoint PointOr(const ZKAttributeList& attributes, const char* x, const char* y,
                const wxPoint& fallback) {
  const wxPoint point(attributes.GetInt(x), attributes.GetInt(y));
  return point.x == -1 && point.y == -1 ? fallback : point;
}

}  // namespace

CZKButton::CZKButton(wxWindow* parent, int controlId, int deck)
    : ZKCustomControl(parent, controlId, deck), state_(wiring) {
  bindings.SetMidiCount(1);
  bindings.SetKeyCount(2);
  for (Look& look : looks_) look.back = *wxBLACK;
}

void CZKButton::ApplySkinAttributes(ZKAttributeList& attributes) {
  ZKCustomControl::ApplySkinAttributes(attributes);
  state_.SetSwitch(attributes.GetBool("isswitch"));
  // Each look falls back on the one before: over on normal, down on over;
  // the switched trio starts from sel, which falls back on normal.
  const wxPoint normal = PointOr(attributes, "posx", "posy", wxPoint(0, 0));
  const wxPoint over = PointOr(attributes, "overx", "overy", normal);
  const wxPoint selected = PointOr(attributes, "selx", "sely", normal);
  const wxPoint overSelected = PointOr(attributes, "overselx", "oversely", selected);
  const wxPoint pictures[6] = {
      normal,   over,         PointOr(attributes, "downx", "downy", over),
      selected, overSelected, PointOr(attributes, "downselx", "downsely", overSelected)};
  static const char* const kSuffix[6] = {"", "over", "down", "sel", "oversel", "downsel"};
  for (int i = 0; i < 6; ++i) {
    looks_[i].picture = pictures[i];
    const wxColour fallbackBack = i == 0 ? *wxBLACK : looks_[i % 3 == 0 ? 0 : i - 1].back;
    looks_[i].back =
        SkinColour(attributes, ("backcolor" + std::string(kSuffix[i])).c_str(), fallbackBack);
    looks_[i].border =
        SkinColour(attributes, ("bordercolor" + std::string(kSuffix[i])).c_str(), looks_[i].back);
  }
  fontColour_ = SkinColour(attributes, "fontcolor", *wxWHITE);
  fontColourPressed_ = SkinColour(attributes, "fontcolorpressed", fontColour_);
  fontColourSwitched_ = SkinColour(attributes, "fontcolorswitched", fontColour_);
  showLabel_ = attributes.GetBool("showlabel");
  labelLines_.clear();  // a new font or width
  ready = 1;
  Redraw();
}

void CZKButton::OnControlEvent(const ControlEvent& event) {
  // A hidden button still takes events: actions, keys and MIDI reach it.
  const ButtonState::Redraw redraw = state_.OnEvent(event);
  if (redraw == ButtonState::kRedrawAlways ||
      (redraw == ButtonState::kRedrawIfOverLooks &&
       (ColourMode() || looks_[kOver].picture != looks_[kNormal].picture)))
    Redraw();
}

const CZKButton::Look& CZKButton::CurrentLook() const {
  const int family = state_.IsSwitch() && state_.Switched() ? kSelected : kNormal;
  const int look = state_.Pressed() ? kDown : state_.Over() ? kOver : kNormal;
  return looks_[family + look];
}

void CZKButton::DrawControl() {
  if (!HasBackBuffer()) return;
  const Look& look = CurrentLook();
  if (ColourMode()) {
    Back().SetBrush(wxBrush(look.back));
    Back().SetPen(wxPen(look.border, 1));
    Back().DrawRectangle(0, 0, width, height);
  } else if (!CopyFromSkin(look.picture.x, look.picture.y)) {
    return;  // no skin image: the old face stays
  }
  if (showLabel_ && !label_.empty()) DrawLabel();
}

void CZKButton::LayOutLabel(wxDC& dc) {
  wxArrayString lines = wxStringTokenize(label_, "\n", wxTOKEN_RET_EMPTY_ALL);
  // One line wider than the button breaks at its first blank.
  if (lines.size() == 1 && dc.GetTextExtent(label_).x > width - kLabelMargin &&
      label_.Find(' ') != wxNOT_FOUND) {
    const int blank = label_.Find(' ');
    lines.clear();
    lines.Add(label_.Left(blank));
    lines.Add(label_.Mid(blank + 1));
  }
  labelLines_.clear();
  for (const wxString& line : lines) labelLines_.push_back({line, dc.GetTextExtent(line).x});
  lineHeight_ = dc.GetCharHeight();
}

void CZKButton::DrawLabel() {
  wxDC& dc = Back();
  dc.SetFont(font);
  if (labelLines_.empty()) LayOutLabel(dc);
  const bool on = state_.IsSwitch() && state_.Switched();
  dc.SetTextForeground(on                 ? fontColourSwitched_
                       : state_.Pressed() ? fontColourPressed_
                                          : fontColour_);
  dc.SetBackgroundMode(wxBRUSHSTYLE_TRANSPARENT);
  const int pressed = state_.Pressed() ? 1 : 0;
  int y = (height - lineHeight_ * static_cast<int>(labelLines_.size())) / 2 + pressed;
  for (const LabelLine& line : labelLines_) {
    dc.DrawText(line.text, (width - line.width) / 2 + pressed, y);
    y += lineHeight_;
  }
}

void CZKButton::ShowEngineValue(int value) {
  if (state_.Switched() == (value != 0)) return;
  state_.SetSwitched(value != 0, true);
  Redraw();
}

void CZKButton::SetSwitched(bool on) {
  state_.SetSwitched(on, ready != 0);
  Redraw();
}

void CZKButton::SetIsSwitch(bool isSwitch) {
  state_.SetSwitch(isSwitch);
  Redraw();
}

void CZKButton::SetForcedOver(bool on) {
  state_.SetForcedOver(on);
  Redraw();
}

void CZKButton::SetLabel(const wxString& label) {
  label_ = label;
  labelLines_.clear();
  Redraw();
}

}  // namespace vantaro
