#include "skin/slider.h"

#include <wx/dcgraph.h>

#include <algorithm>
#include <cmath>

#include "skin/attribute_list.h"
#include "skin/bitmap_helpers.h"
#include "skin/skin_image.h"
#include "skin/skin_style.h"

namespace vantaro {
namespace {

constexpr int kDefaultCursorLength = 10;  // pixels along the track
constexpr int kDefaultStep = 20;          // keyboard steps across the range
constexpr int kDefaultRotation = 270;     // degrees

int IntOr(const ZKAttributeList& attributes, const char* name, int fallback) {
  return attributes.Has(name) ? attributes.GetInt(name) : fallback;
}

wxPoint PointOr(const ZKAttributeList& attributes, const char* x, const char* y,
                const wxPoint& fallback) {
  if (!attributes.Has(x) && !attributes.Has(y)) return fallback;
  return wxPoint(attributes.GetInt(x), attributes.GetInt(y));
}

}  // namespace

CZKSlider::CZKSlider(wxWindow* parent, int controlId, int deck)
    : ZKCustomControl(parent, controlId, deck), state_(wiring) {
  bindings.SetMidiCount(1);
  bindings.SetKeyCount(2);
}

void CZKSlider::ApplySkinAttributes(ZKAttributeList& attributes) {
  // A knob's size is its width and height, written before the base reads
  // them.
  const int size = attributes.GetInt("size");
  if (size > 0) {
    attributes.SetInt("width", size);
    attributes.SetInt("height", size);
  }
  ZKCustomControl::ApplySkinAttributes(attributes);
  SliderState::Shape shape;
  shape.width = width;
  shape.height = height;
  shape.knob = size > 0 || attributes.GetBool("isknob");
  const bool horizontal = height < width;
  shape.cursorWidth = IntOr(attributes, "cursorwidth", horizontal ? kDefaultCursorLength : width);
  shape.cursorHeight =
      IntOr(attributes, "cursorheight", horizontal ? height : kDefaultCursorLength);
  shape.rotation = IntOr(attributes, "rotation", kDefaultRotation);
  shape.continuous = attributes.GetBool("continuous");
  shape.reversed = attributes.GetBool("reversed");
  shape.step = IntOr(attributes, "step", kDefaultStep);
  state_.SetShape(shape);

  track_ = PointOr(attributes, "posx", "posy", wxPoint(0, 0));
  trackOver_ = PointOr(attributes, "overx", "overy", track_);
  cursor_ = PointOr(attributes, "cursorupx", "cursorupy", wxPoint(0, 0));
  cursorOver_ = PointOr(attributes, "cursoroverx", "cursorovery", cursor_);
  cursorAlpha_ = IntOr(attributes, "cursoralpha", 255);

  back_ = SkinColour(attributes, "backcolor", wxColour(0x33, 0x33, 0x33));
  backOver_ = SkinColour(attributes, "backcolorover", back_);
  slider_ = SkinColour(attributes, "slidercolor", wxColour(0xAA, 0xAA, 0xAA));
  sliderOver_ = SkinColour(attributes, "slidercolorover", slider_);
  marker_ = SkinColour(attributes, "markercolor", slider_);

  useLine_ = attributes.GetBool("useline");
  aliasing_ = attributes.GetBool("aliasing");
  lineWidth_ = std::max(IntOr(attributes, "linewidth", 1), 1);
  radius_ = IntOr(attributes, "radius", std::min(width, height) / 2 - 1);
  cursorSize_ = std::max(IntOr(attributes, "cursorsize", 0), 0);
  positions_ = std::max(IntOr(attributes, "positions", 1), 1);
  spaceBetweenPositions_ = std::max(IntOr(attributes, "spacebetweenpositions", 0), 0);
  cursorColour_ = SkinColour(attributes, "cursorcolor", *wxWHITE);
  focusedCursorColour_ = SkinColour(attributes, "focusedcursorcolor", cursorColour_);

  levelsOn_ = attributes.GetBool("vu_enabled") && !shape.knob;
  levelPicture_ = PointOr(attributes, "vu_upx", "vu_upy", track_);
  levelOffsetBegin_ = std::max(IntOr(attributes, "vu_offsetbegin", 0), 0);
  levelOffsetEnd_ = std::max(IntOr(attributes, "vu_offsetend", 0), 0);
  const float granularity = attributes.GetFloat("vu_granularity");
  const int length = (horizontal ? width : height) - levelOffsetBegin_ - levelOffsetEnd_;
  for (LevelBar& bar : levels_) bar.Configure(levelsOn_ ? length : 0, granularity);
  ready = 1;
  Redraw();
}

void CZKSlider::OnControlEvent(const ControlEvent& event) {
  // A hidden slider still takes events: actions, keys and MIDI reach it.
  const bool wasDragging = state_.Dragging();
  const bool changed = state_.OnEvent(event);
  if (!wasDragging && state_.Dragging() && IsShown() && !HasCapture()) CaptureMouse();
  if (wasDragging && !state_.Dragging() && HasCapture()) ReleaseMouse();
  if (changed) Redraw();
}

void CZKSlider::OnCaptureLost() {
  // The drag ends where it stands, as a release would end it.
  ControlEvent release = ControlEvent::Mouse(mt_UP, -1, -1, kButtonLeft, 0);
  if (state_.OnEvent(release)) Redraw();
}

void CZKSlider::SetRange(int minValue, int maxValue) {
  state_.SetRange(minValue, maxValue);
  Redraw();
}

void CZKSlider::ShowEngineValue(int value) {
  if (state_.ShowValue(value)) Redraw();
}

void CZKSlider::SetValue(int value, bool notify) {
  state_.SetValue(value, notify);
  Redraw();
}

void CZKSlider::SetMarkers(std::vector<Marker> markers) {
  markers_ = std::move(markers);
  Redraw();
}

void CZKSlider::FeedLevels(float leftDb, float rightDb) {
  if (!levelsOn_) return;
  const bool left = levels_[0].Feed(leftDb);
  const bool right = levels_[1].Feed(rightDb);
  if (left || right) Redraw();
}

void CZKSlider::DrawControl() {
  if (!HasBackBuffer()) return;
  const bool hot = state_.Over() || state_.Dragging();
  if (IsKnob()) {
    DrawKnob(hot);
    return;
  }
  if (!DrawFaderBackground(hot)) return;
  if (levelsOn_) DrawLevels();
  DrawMarkers();
  DrawFaderCursor(hot);
}

wxRect CZKSlider::CursorRect() const {
  const SliderState::Shape& shape = state_.GetShape();
  if (state_.Horizontal()) {
    const int h = shape.cursorHeight > 0 ? shape.cursorHeight : height;
    return wxRect(state_.CursorPos(), (height - h) / 2, shape.cursorWidth, h);
  }
  const int w = shape.cursorWidth > 0 ? shape.cursorWidth : width;
  return wxRect((width - w) / 2, state_.CursorPos(), w, shape.cursorHeight);
}

bool CZKSlider::DrawFaderBackground(bool hot) {
  if (!ColourMode()) {
    const wxPoint& picture = hot ? trackOver_ : track_;
    return CopyFromSkin(picture.x, picture.y);
  }
  wxDC& dc = Back();
  dc.SetPen(*wxTRANSPARENT_PEN);
  dc.SetBrush(wxBrush(hot ? backOver_ : back_));
  dc.DrawRectangle(0, 0, width, height);
  // The groove the cursor runs in.
  const wxRect cursor = CursorRect();
  dc.SetPen(wxPen(slider_, 1));
  if (state_.Horizontal())
    dc.DrawLine(cursor.width / 2, height / 2, width - cursor.width / 2, height / 2);
  else
    dc.DrawLine(width / 2, cursor.height / 2, width / 2, height - cursor.height / 2);
  return true;
}

void CZKSlider::DrawFaderCursor(bool hot) {
  const wxRect cursor = CursorRect();
  if (ColourMode()) {
    Back().SetPen(*wxTRANSPARENT_PEN);
    Back().SetBrush(wxBrush(hot ? sliderOver_ : slider_));
    Back().DrawRectangle(cursor);
    return;
  }
  if (wxMemoryDC* skin = SkinImage::Get().Source()) {
    const wxPoint& picture = hot ? cursorOver_ : cursor_;
    AlphaBlit(Back(), cursor.x, cursor.y, cursor.width, cursor.height, *skin, picture.x, picture.y,
              cursorAlpha_);
  }
}

void CZKSlider::DrawLevels() {
  const bool horizontal = state_.Horizontal();
  wxMemoryDC* skin = ColourMode() ? nullptr : SkinImage::Get().Source();
  wxDC& dc = Back();
  for (int channel = 0; channel < 2; ++channel) {
    // Two bars side by side, each half of the slider's breadth.
    const int breadth = (horizontal ? height : width) / 2;
    const int across = channel * breadth;
    for (int part = 0; part < 2; ++part) {
      // Part 0 is the lit run from the bar's start, part 1 the peak pixel.
      const int lit = levels_[channel].Lit(), peak = levels_[channel].Peak();
      const int from = part == 0 ? 0 : peak - 1;
      const int run = part == 0 ? lit : (peak > lit ? 1 : 0);
      if (run <= 0) continue;
      wxRect rect = horizontal
                        ? wxRect(levelOffsetBegin_ + from, across, run, breadth)
                        : wxRect(across, height - levelOffsetBegin_ - from - run, breadth, run);
      if (skin) {
        dc.Blit(rect.x, rect.y, rect.width, rect.height, skin, levelPicture_.x + rect.x,
                levelPicture_.y + rect.y);
      } else {
        dc.SetPen(*wxTRANSPARENT_PEN);
        dc.SetBrush(wxBrush(marker_));
        dc.DrawRectangle(rect);
      }
    }
  }
}

void CZKSlider::DrawMarkers() {
  const SliderState::Shape& shape = state_.GetShape();
  const int track = state_.TrackLength();
  wxDC& dc = Back();
  for (const Marker& marker : markers_) {
    if (marker.type & kHiddenMarkerTypes) continue;
    dc.SetPen(wxPen(marker.colour.IsOk() ? marker.colour : marker_, marker.penWidth));
    const double at = std::clamp(marker.position, 0.0, 1.0);
    if (state_.Horizontal()) {
      const int x = shape.cursorWidth / 2 + static_cast<int>(std::lround(at * track));
      dc.DrawLine(x, 0, x, height);
    } else {
      const int y = shape.cursorHeight / 2 + static_cast<int>(std::lround((1.0 - at) * track));
      dc.DrawLine(0, y, width, y);
    }
  }
}

bool CZKSlider::KnobFrameOrigin(int frame, wxPoint* origin) const {
  // Frames run right from the knob's picture and wrap to the next row where
  // a row of the skin image ends.
  const int imageWidth = SkinImage::Get().Width();
  const int stepX = width + spaceBetweenPositions_, stepY = height + spaceBetweenPositions_;
  wxPoint at = track_;
  for (int i = 0; i < frame; ++i) {
    at.x += stepX;
    if (at.x + width > imageWidth) {
      at.x = track_.x;
      at.y += stepY;
    }
  }
  *origin = at;
  return imageWidth > 0;
}

void CZKSlider::DrawKnob(bool hot) {
  const SliderState::Shape& shape = state_.GetShape();
  const wxPoint centre(width / 2, height / 2);
  if (ColourMode()) {
    wxDC& dc = Back();
    dc.SetPen(*wxTRANSPARENT_PEN);
    dc.SetBrush(wxBrush(back_));
    dc.DrawRectangle(0, 0, width, height);
    dc.SetBrush(wxBrush(hot ? sliderOver_ : slider_));
    dc.DrawCircle(centre, std::max(radius_, 1));
    DrawKnobPointer(centre, hot);
    return;
  }
  wxPoint picture = hot ? trackOver_ : track_;
  if (positions_ > 1) {
    const int frame =
        static_cast<int>(std::lround(state_.KnobAngle() / shape.rotation * (positions_ - 1))) %
        positions_;
    if (!KnobFrameOrigin(frame, &picture)) return;
  }
  if (!CopyFromSkin(picture.x, picture.y)) return;
  if (useLine_ || cursorSize_ > 0) DrawKnobPointer(centre, hot);
}

void CZKSlider::DrawKnobPointer(const wxPoint& centre, bool hot) {
  const SliderState::Shape& shape = state_.GetShape();
  // Degrees clockwise from straight up: the middle of the range points up.
  const double radians = (state_.KnobAngle() - shape.rotation / 2.0) * M_PI / 180.0;
  const double dx = std::sin(radians), dy = -std::cos(radians);
  const wxColour colour = hot ? focusedCursorColour_ : cursorColour_;
  wxGCDC smooth;
  wxDC* dc = &Back();
  if (aliasing_) {
    smooth.SetGraphicsContext(wxGraphicsContext::Create(Back()));
    dc = &smooth;
  }
  const auto along = [&](double distance) {
    return wxPoint(centre.x + static_cast<int>(std::lround(dx * distance)),
                   centre.y + static_cast<int>(std::lround(dy * distance)));
  };
  if (useLine_ || cursorSize_ == 0 || ColourMode()) {
    const int inner = cursorSize_ > 0 ? radius_ - cursorSize_ : radius_ / 3;
    dc->SetPen(wxPen(colour, lineWidth_));
    dc->DrawLine(along(inner), along(radius_));
  } else {
    dc->SetPen(*wxTRANSPARENT_PEN);
    dc->SetBrush(wxBrush(colour));
    dc->DrawCircle(along(radius_ - cursorSize_ / 2.0), cursorSize_ / 2);
  }
}

}  // namespace vantaro
