#pragma once
// What a slider or knob is, apart from how it looks: its range, value,
// cursor position or angle, the drag in progress and the callbacks, driven
// by control events. CZKSlider draws it; the action table, keys and MIDI
// drive it through the same events.
//
// Values: `Value()` and the callbacks speak the outside value, which a
// `reversed` slider mirrors (min + max - v). Positions are pixels from the
// top (vertical) or the left (horizontal); angles are degrees from the
// minimum.
//
// Threads: GUI thread only.

#include "control/control_event.h"

namespace vantaro {

class SliderState {
 public:
  struct Shape {
    int width = 0, height = 0;  // pixels
    int cursorWidth = 0, cursorHeight = 0;
    bool knob = false;
    int rotation = 270;  // degrees a knob turns from minimum to maximum
    bool continuous = false;
    bool reversed = false;
    int step = 20;  // keyboard steps across the range
  };

  // `wiring` belongs to the control and outlives the state.
  explicit SliderState(const ControlWiring& wiring) : wiring_(wiring) {}

  // Both keep the present value inside the range and re-place the cursor.
  void SetShape(const Shape& shape);
  void SetRange(int minValue, int maxValue);

  // Returns true when the look changed.
  bool OnEvent(const ControlEvent& event);

  // Knob: ignored outside the range. Slider: dropped while the user drags,
  // else held to the range. Calls onLeftDown, and onLeftUp when `notify`.
  void SetValue(int value, bool notify);
  // The engine's value, shown without callbacks; ignored while dragging.
  // Returns true when the look changed.
  bool ShowValue(int value);

  int Value() const { return Outside(value_); }
  int MinValue() const { return min_; }
  int MaxValue() const { return max_; }
  const Shape& GetShape() const { return shape_; }
  bool Horizontal() const { return shape_.height < shape_.width; }
  int CursorPos() const { return cursorPos_; }
  int TrackLength() const;
  double KnobAngle() const { return angle_; }
  bool Over() const { return over_; }
  bool Dragging() const { return dragButton_ != 0; }

 private:
  int Outside(int inside) const { return shape_.reversed ? min_ + max_ - inside : inside; }
  bool EmptyRange() const { return min_ == max_; }
  void Place(int inside);  // cursor or angle for an inside value
  void Notify(ControlCallback callback) const;
  void SetInside(int inside, bool notify);
  bool Press(const ControlEvent& event);
  bool Drag(const ControlEvent& event);
  bool Release(const ControlEvent& event);
  bool MoveCursorTo(int pointer);
  bool TurnKnob(int y);
  void MidiValue(int midi);
  void MidiNoteJump();

  Shape shape_;
  int min_ = 0, max_ = 127;
  int value_ = 0;  // inside value
  int cursorPos_ = 0;
  double angle_ = 0;
  int dragButton_ = 0;  // 0 none, else the mouse button that drags
  int dragOffset_ = 0;
  int pressY_ = 0;
  double angleAtDown_ = 0;
  int valueAtDown_ = 0;  // outside value, restored after a right-button drag
  bool changedInGesture_ = false;
  int jumpDirection_ = 1;  // note-on jumps: +1 towards the maximum
  bool over_ = false;
  const ControlWiring& wiring_;
};

}  // namespace vantaro
