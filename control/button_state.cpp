#include "control/button_state.h"

#include "base/debug_log.h"

namespace vantaro {

void ButtonState::Call(ControlCallback callback) const {
  wiring_.Call(callback, switched_ ? 1 : 0);
}

void ButtonState::Press(int button) {
  if (button == kButtonRight)
    downRight_ = true;
  else
    downLeft_ = true;
  if (isSwitch_) switched_ = !switched_;
  Call(button == kButtonRight ? wiring_.callbacks.onRightDown : wiring_.callbacks.onLeftDown);
}

bool ButtonState::Release(int button) {
  bool& held = button == kButtonRight ? downRight_ : downLeft_;
  const bool wasHeld = held;
  held = false;
  if (wasHeld)
    Call(button == kButtonRight ? wiring_.callbacks.onRightUp : wiring_.callbacks.onLeftUp);
  return wasHeld;
}

ButtonState::Redraw ButtonState::OnEvent(const ControlEvent& event) {
  switch (event.kind) {
    case mt_DOWN:
      if (event.button != kButtonLeft && event.button != kButtonRight) return kRedrawNone;
      Press(event.button);
      return kRedrawAlways;
    case mt_UP:
      Release(event.button == kButtonRight ? kButtonRight : kButtonLeft);
      return kRedrawAlways;
    case mt_DBLCLICK:
      Call(wiring_.callbacks.onDoubleClick);
      return kRedrawNone;
    case mt_ENTER:
      if (!forcedOver_) over_ = true;
      return kRedrawIfOverLooks;
    case mt_LEAVE:
      // Dragging off a button counts as its release, once.
      if (!forcedOver_) over_ = false;
      if (downLeft_)
        Release(kButtonLeft);
      else if (downRight_)
        Release(kButtonRight);
      downLeft_ = downRight_ = false;
      return kRedrawAlways;
    case mt_CHAR:
      DebugLog("button mt_CHAR");
      return kRedrawNone;
    case mt_MIDI:
      if (event.status == kMidiNoteOn && event.value > 0) {
        Press(kButtonLeft);
      } else if (event.status == kMidiNoteOn || event.status == kMidiNoteOff) {
        Release(kButtonLeft);
      } else if (event.status == kMidiControl) {
        Call(wiring_.callbacks.onLeftDown);
        Call(wiring_.callbacks.onLeftUp);
        return kRedrawNone;
      } else {
        return kRedrawNone;
      }
      return kRedrawAlways;
    case mt_STEP:
      if (isSwitch_) switched_ = !switched_;
      Call(wiring_.callbacks.onLeftDown);
      Call(wiring_.callbacks.onLeftUp);
      return kRedrawAlways;
    default:
      return kRedrawNone;
  }
}

void ButtonState::SetSwitch(bool isSwitch) {
  isSwitch_ = isSwitch;
  switched_ = false;
}

void ButtonState::SetSwitched(bool on, bool ready) {
  if (!ready && !isSwitch_) return;
  switched_ = on;
}

void ButtonState::SetForcedOver(bool on) {
  forcedOver_ = on;
  over_ = on;
}

}  // namespace vantaro
