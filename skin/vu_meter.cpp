#include "skin/vu_meter.h"

#include <algorithm>
#include <cmath>

#include "skin/attribute_list.h"
#include "skin/custom_panel.h"
#include "skin/skin_image.h"
#include "skin/skin_style.h"

namespace vantaro {
namespace {

constexpr double kMidFrom = 0.60, kHighFrom = 0.85;  // fractions of the bar

}  // namespace

void MeterBar::Configure(int length, int step) {
  length_ = std::max(length, 0);
  // A bar shorter than one step lights whole.
  step_ = std::clamp(step, 1, std::max(length_, 1));
  lit_ = peak_ = peakAge_ = 0;
}

bool MeterBar::Feed(float db) {
  if (length_ == 0) return false;
  double fraction = std::isnan(db) ? 0.0 : (db - kFloorDb) / (kTopDb - kFloorDb);
  fraction = std::clamp(fraction, 0.0, 1.0);
  const int level = static_cast<int>(fraction * length_) / step_ * step_;
  const int fall = std::max(step_, length_ / 20 / step_ * step_);
  const int lit = std::max(level, std::max(lit_ - fall, 0));
  int peak = peak_;
  if (lit >= peak) {
    peak = lit;
    peakAge_ = 0;
  } else if (++peakAge_ > kPeakHoldTicks) {
    peak = std::max(peak - fall, lit);
  }
  const bool moved = lit != lit_ || peak != peak_;
  lit_ = lit;
  peak_ = peak;
  return moved;
}

CZKVUMeter::CZKVUMeter(wxWindow* parent, int controlId, int deck)
    : ZKCustomControl(parent, controlId, deck) {}

void CZKVUMeter::ApplySkinAttributes(ZKAttributeList& attributes) {
  ZKCustomControl::ApplySkinAttributes(attributes);
  step_ = std::max(attributes.GetInt("activestepsize"), 1);
  transparent_ = attributes.GetBool("transparent");
  picture_ =
      wxPoint(std::max(attributes.GetInt("posx"), 0), std::max(attributes.GetInt("posy"), 0));
  hasLitPicture_ = attributes.Has("activeupx") && attributes.Has("activeupy");
  lit_ = wxPoint(attributes.GetInt("activeupx"), attributes.GetInt("activeupy"));
  low_ = SkinColour(attributes, "colorlow", wxColour(0x3D, 0xDC, 0x84));
  mid_ = SkinColour(attributes, "colormid", wxColour(0xFF, 0xC5, 0x3D));
  high_ = SkinColour(attributes, "colorhigh", wxColour(0xFF, 0x4D, 0x4D));
  backLow_ = SkinColour(attributes, "backcolorlow", wxColour(0x1F, 0x24, 0x2B));
  backMid_ = SkinColour(attributes, "backcolormid", backLow_);
  backHigh_ = SkinColour(attributes, "backcolorhigh", backMid_);
  bar_.Configure(Vertical() ? height : width, step_);
  ready = 1;
  Redraw();
}

void CZKVUMeter::FeedLevel(float db) {
  if (bar_.Feed(db)) Redraw();
}

wxRect CZKVUMeter::Run(int from, int count) const {
  if (Vertical()) return wxRect(0, height - from - count, width, count);
  return wxRect(from, 0, count, height);
}

void CZKVUMeter::DrawColourRun(int from, int count, bool lit) {
  wxDC& dc = Back();
  dc.SetPen(*wxTRANSPARENT_PEN);
  const int length = Vertical() ? height : width;
  // Step by step, so that each step takes its zone's colour and a gap of
  // one pixel parts the steps when they are large enough to show it.
  for (int at = from; at < from + count; at += step_) {
    const double fraction = length > 0 ? static_cast<double>(at) / length : 0.0;
    const wxColour& colour = fraction >= kHighFrom  ? (lit ? high_ : backHigh_)
                             : fraction >= kMidFrom ? (lit ? mid_ : backMid_)
                                                    : (lit ? low_ : backLow_);
    dc.SetBrush(wxBrush(colour));
    const int size = std::min(step_, from + count - at);
    dc.DrawRectangle(Run(at, step_ > 2 ? size - 1 : size));
  }
}

void CZKVUMeter::DrawControl() {
  if (!HasBackBuffer()) return;
  const int length = Vertical() ? height : width;
  const int lit = bar_.Lit(), peak = bar_.Peak();
  wxMemoryDC* skin = ColourMode() || !hasLitPicture_ ? nullptr : SkinImage::Get().Source();
  if (skin) {
    wxPoint behind = picture_;
    if (transparent_) SkinOriginOf(this, &behind);
    CopyFromSkin(behind.x, behind.y);
    const auto copyLit = [&](int from, int count) {
      const wxRect r = Run(from, count);
      Back().Blit(r.x, r.y, r.width, r.height, skin, lit_.x + r.x, lit_.y + r.y);
    };
    if (lit > 0) copyLit(0, lit);
    if (peak > lit) copyLit(peak - step_, step_);
    return;
  }
  Back().SetPen(*wxTRANSPARENT_PEN);
  Back().SetBrush(wxBrush(backLow_));
  Back().DrawRectangle(0, 0, width, height);
  DrawColourRun(0, length, false);
  DrawColourRun(0, lit, true);
  if (peak > lit) DrawColourRun(peak - step_, step_, true);
}

}  // namespace vantaro
