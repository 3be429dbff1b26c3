#pragma once
// The one input entry of every built-in control. Mouse, wheel, keyboard,
// MIDI, key shortcuts and scripts all become a ControlEvent handed to
// OnControlEvent through PostControlEvent; the numbers of the kinds are
// fixed, because scripts and the action table send them as numbers.
//
// A ControlTarget is what the control table holds: the skin's controls
// implement it on the GUI thread, and headless tests implement it without
// a display.
//
// Threads: GUI thread only. Other threads post through the program's queues.

namespace vantaro {

enum ControlEventKind {
  mt_DOWN = 0,      // x, y, button (1 left, 2 middle, 3 right), modifiers
  mt_UP = 1,        // as mt_DOWN
  mt_DBLCLICK = 2,  // as mt_DOWN
  mt_ENTER = 3,     // x, y, modifiers
  mt_LEAVE = 4,     // x, y, modifiers
  mt_MOVE = 5,      // x, y, modifiers; also while dragging
  mt_WHEEL = 6,     // status = wheel rotation, x, y, button
  mt_CHAR = 9,      // code = key code, modifiers, ch = character
  mt_MIDI = 10,     // status, channel, note, value 0..127, modifiers
  mt_STEP = 11,     // code 0 one step down, 1 one step up
};

enum ControlModifier {
  kModControl = 1,
  kModAlt = 2,
  kModShift = 4,
  kModMeta = 8,
  kModRawControl = 16,
};

enum MidiStatus { kMidiNoteOff = 0x80, kMidiNoteOn = 0x90, kMidiControl = 0xB0, kMidiBend = 0xE0 };

enum MouseButton { kButtonLeft = 1, kButtonMiddle = 2, kButtonRight = 3 };

// Unused integer arguments are -1, `ch` is a blank.
struct ControlEvent {
  int kind = mt_MOVE;
  int status = -1;
  int x = -1;
  int y = -1;
  int button = -1;
  int code = -1;
  int modifiers = -1;
  int channel = -1;
  int note = -1;
  int value = -1;
  int ch = ' ';
  int deck = -1;

  static ControlEvent Mouse(int kind, int x, int y, int button, int modifiers) {
    ControlEvent e;
    e.kind = kind;
    e.x = x;
    e.y = y;
    e.button = button;
    e.modifiers = modifiers;
    return e;
  }
  static ControlEvent Midi(int status, int value) {
    ControlEvent e;
    e.kind = mt_MIDI;
    e.status = status;
    e.value = value;
    return e;
  }
  static ControlEvent Step(bool up) {
    ControlEvent e;
    e.kind = mt_STEP;
    e.code = up ? 1 : 0;
    return e;
  }
};

// A control callback: (value, userData, deck). For a switch the value is its
// state, for a slider its position; userData is the control's index in a row
// or its skin slot.
using ControlCallback = void (*)(int value, int userData, int deck);

struct ControlCallbacks {
  ControlCallback onLeftDown = nullptr;
  ControlCallback onLeftUp = nullptr;
  ControlCallback onRightDown = nullptr;
  ControlCallback onRightUp = nullptr;
  ControlCallback onDoubleClick = nullptr;
};

// Where a control's callbacks go: owned by the control, read by the state
// objects that fire them.
struct ControlWiring {
  ControlCallbacks callbacks;
  int userData = -1;
  int deck = -1;

  void Call(ControlCallback callback, int value) const {
    if (callback) callback(value, userData, deck);
  }
};

class ControlTarget {
 public:
  virtual ~ControlTarget() = default;
  virtual void OnControlEvent(const ControlEvent& event) = 0;

  // Learn mode (keys and MIDI are being bound). A control that can hold no
  // binding never enters it.
  virtual bool IsLearning() const = 0;
  virtual void SetLearning(bool on) = 0;
  // Takes the input focus, so that the control becomes the learn target.
  virtual void TakeLearnFocus() = 0;

  // Wiring of a built-in control to its handlers: the callbacks, and the
  // range of a slider (ignored by other kinds).
  virtual void SetCallbacks(const ControlCallbacks& callbacks) = 0;
  virtual void SetRange(int minValue, int maxValue) = 0;
  // Shows a state the engine holds without calling any callback: a switch's
  // state, a slider's position. Ignored while the user holds the control.
  virtual void ShowEngineValue(int value) = 0;
  virtual int Deck() const = 0;  // 0, 1, or -1 for none
};

// Delivers `event` to `control` as every caller outside the control must: a
// learning control takes the focus first on a press or double-click. Null is
// allowed (a slot the program could not fill) and does nothing.
void PostControlEvent(ControlTarget* control, const ControlEvent& event);

}  // namespace vantaro
