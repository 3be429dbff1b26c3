#include "control/slider_state.h"

#include <algorithm>
#include <cmath>

namespace vantaro {
namespace {

constexpr int kDefaultStep = 20;
constexpr int kDefaultRotation = 270;

int RoundToInt(double value) {
  return static_cast<int>(std::lround(value));
}

}  // namespace

void SliderState::SetShape(const Shape& shape) {
  shape_ = shape;
  if (shape_.step < 1) shape_.step = kDefaultStep;
  if (shape_.rotation <= 0) shape_.rotation = kDefaultRotation;
  Place(value_);
}

void SliderState::SetRange(int minValue, int maxValue) {
  min_ = std::min(minValue, maxValue);
  max_ = std::max(minValue, maxValue);
  value_ = std::clamp(value_, min_, max_);
  Place(value_);
}

int SliderState::TrackLength() const {
  const int track =
      Horizontal() ? shape_.width - shape_.cursorWidth : shape_.height - shape_.cursorHeight;
  return std::max(track, 0);
}

void SliderState::Place(int inside) {
  if (EmptyRange()) return;
  const double fraction = static_cast<double>(inside - min_) / (max_ - min_);
  if (shape_.knob) {
    angle_ = fraction * shape_.rotation;
    return;
  }
  // Vertical sliders have their maximum at the top.
  const double fromStart = Horizontal() ? fraction : 1.0 - fraction;
  cursorPos_ = RoundToInt(fromStart * TrackLength());
}

void SliderState::Notify(ControlCallback callback) const {
  wiring_.Call(callback, Value());
}

void SliderState::SetInside(int inside, bool notify) {
  value_ = inside;
  Place(inside);
  Notify(wiring_.callbacks.onLeftDown);
  if (notify) Notify(wiring_.callbacks.onLeftUp);
}

void SliderState::SetValue(int value, bool notify) {
  if (EmptyRange()) return;
  if (shape_.knob) {
    if (value < min_ || value > max_) return;
  } else {
    if (Dragging()) return;
    value = std::clamp(value, min_, max_);
  }
  SetInside(Outside(value), notify);
}

bool SliderState::ShowValue(int value) {
  if (Dragging() || EmptyRange()) return false;
  const int inside = Outside(std::clamp(value, min_, max_));
  if (inside == value_) return false;
  value_ = inside;
  Place(inside);
  return true;
}

bool SliderState::MoveCursorTo(int pointer) {
  const int track = TrackLength();
  const int position = std::clamp(pointer - dragOffset_, 0, track);
  const bool moved = position != cursorPos_;
  cursorPos_ = position;
  if (track == 0 || EmptyRange()) return moved;
  const int span = RoundToInt(static_cast<double>(max_ - min_) * position / track);
  const int inside = Horizontal() ? min_ + span : max_ - span;
  if (inside == value_) return moved;
  value_ = inside;
  changedInGesture_ = true;
  Notify(wiring_.callbacks.onLeftDown);
  return true;
}

bool SliderState::TurnKnob(int y) {
  const int rotation = shape_.rotation;
  const int lift = pressY_ - y;  // upwards turns right
  double angle;
  if (shape_.continuous) {
    angle = std::fmod(angle_ + lift, rotation);
    if (angle < 0) angle += rotation;
    pressY_ = y;
  } else {
    angle = std::clamp(angleAtDown_ + 2.0 * lift, 0.0, static_cast<double>(rotation));
  }
  const bool turned = angle != angle_;
  angle_ = angle;
  if (EmptyRange()) return turned;
  const int inside = min_ + RoundToInt((max_ - min_) * angle / rotation);
  if (inside != value_) {
    value_ = inside;
    changedInGesture_ = true;
    Notify(wiring_.callbacks.onLeftDown);
  }
  return turned;
}

bool SliderState::Press(const ControlEvent& event) {
  if (event.button != kButtonLeft && event.button != kButtonRight) return false;
  if (Dragging() || EmptyRange()) return false;
  changedInGesture_ = false;
  if (shape_.knob) {
    if (event.button == kButtonRight) {
      SetValue(std::clamp(0, min_, max_), true);
      return true;
    }
    dragButton_ = kButtonLeft;
    angleAtDown_ = angle_;
    pressY_ = event.y;
    return false;
  }
  valueAtDown_ = Value();
  dragButton_ = event.button;
  const int pointer = Horizontal() ? event.x : event.y;
  const int extent = Horizontal() ? shape_.cursorWidth : shape_.cursorHeight;
  const bool onCursor = pointer >= cursorPos_ && pointer < cursorPos_ + extent;
  dragOffset_ = onCursor ? pointer - cursorPos_ : extent / 2;
  MoveCursorTo(pointer);
  // A press applies at once, as a gesture of its own.
  if (!changedInGesture_) Notify(wiring_.callbacks.onLeftDown);
  Notify(wiring_.callbacks.onLeftUp);
  changedInGesture_ = false;
  return true;
}

bool SliderState::Drag(const ControlEvent& event) {
  if (!Dragging()) return false;
  if (shape_.knob) return TurnKnob(event.y);
  return MoveCursorTo(Horizontal() ? event.x : event.y);
}

bool SliderState::Release(const ControlEvent&) {
  if (!Dragging()) return false;
  const int button = dragButton_;
  dragButton_ = 0;
  if (!shape_.knob && button == kButtonRight) {
    // A right-button drag is a momentary move: back where it started.
    SetValue(valueAtDown_, true);
    Notify(wiring_.callbacks.onRightDown);
    return true;
  }
  if (changedInGesture_) Notify(wiring_.callbacks.onLeftUp);
  changedInGesture_ = false;
  return true;
}

void SliderState::MidiValue(int midi) {
  int value = RoundToInt((max_ - min_) * midi / 127.0) + min_;
  // A centred hardware fader sends 63 or 64: both reach the centre.
  if (max_ == -min_ && (midi == 63 || midi == 64)) value = 0;
  SetValue(value, false);
  Notify(wiring_.callbacks.onLeftUp);
}

void SliderState::MidiNoteJump() {
  // Stops: both ends, and the centre of a symmetric range between them.
  int stops[3] = {min_, max_, max_};
  int count = 2;
  if (max_ == -min_) {
    stops[1] = 0;
    count = 3;
  }
  const int value = Value();
  int at = -1, nearest = 0;
  for (int i = 0; i < count; ++i) {
    if (stops[i] == value) at = i;
    if (std::abs(stops[i] - value) < std::abs(stops[nearest] - value)) nearest = i;
  }
  if (at < 0) {
    SetValue(stops[nearest], true);
    return;
  }
  // From an end towards the other one.
  if (at == count - 1) jumpDirection_ = -1;
  if (at == 0) jumpDirection_ = 1;
  SetValue(stops[at + jumpDirection_], true);
}

bool SliderState::OnEvent(const ControlEvent& event) {
  switch (event.kind) {
    case mt_DOWN:
    case mt_DBLCLICK:
      return Press(event);
    case mt_MOVE:
      return Drag(event);
    case mt_UP:
      return Release(event);
    case mt_ENTER:
      over_ = true;
      return true;
    case mt_LEAVE:
      over_ = false;
      if (!shape_.knob && dragButton_ == kButtonRight) Release(event);
      return true;
    case mt_MIDI:
      if (EmptyRange()) return false;
      if (event.status == kMidiControl || event.status == kMidiBend)
        MidiValue(std::clamp(event.value, 0, 127));
      else if (event.status == kMidiNoteOn && event.value > 0)
        MidiNoteJump();
      else
        return false;
      return true;
    case mt_STEP: {
      if (EmptyRange()) return false;
      const int delta = std::max(1, RoundToInt(static_cast<double>(max_ - min_) / shape_.step));
      SetValue(std::clamp(Value() + (event.code == 0 ? -delta : delta), min_, max_), false);
      Notify(wiring_.callbacks.onLeftUp);
      return true;
    }
    default:
      return false;
  }
}

}  // namespace vantaro
