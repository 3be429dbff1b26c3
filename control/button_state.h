#pragma once
// What a button is, apart from how it looks: the pointer flags, the switch
// state and the callbacks, driven by control events. CZKButton draws it; the
// action table, keys and MIDI drive it through the same events.
//
// Threads: GUI thread only.

#include "control/control_event.h"

namespace vantaro {

class ButtonState {
 public:
  // What a handled event asks of the drawing side.
  enum Redraw {
    kRedrawNone = 0,
    kRedrawAlways = 1,
    kRedrawIfOverLooks = 2,  // only when the "over" look differs from the normal one
  };

  // `wiring` belongs to the control and outlives the state.
  explicit ButtonState(const ControlWiring& wiring) : wiring_(wiring) {}

  Redraw OnEvent(const ControlEvent& event);

  // A switch keeps a state that flips on each press.
  void SetSwitch(bool isSwitch);  // clears the state
  bool IsSwitch() const { return isSwitch_; }
  // Ignored before `ready` unless the button is a switch.
  void SetSwitched(bool on, bool ready);
  bool Switched() const { return switched_; }
  // Fixes the pointer-over look from outside (a highlighted row, a cue).
  void SetForcedOver(bool on);
  bool Over() const { return over_; }
  bool Pressed() const { return downLeft_ || downRight_; }

 private:
  void Press(int button);
  bool Release(int button);  // true when the button was held
  void Call(ControlCallback callback) const;

  bool isSwitch_ = false;
  bool switched_ = false;
  bool downLeft_ = false;
  bool downRight_ = false;
  bool over_ = false;
  bool forcedOver_ = false;
  const ControlWiring& wiring_;
};

}  // namespace vantaro
