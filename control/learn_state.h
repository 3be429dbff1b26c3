#pragma once
// Learn mode: the user binds keys and MIDI messages to controls by clicking
// a control (the learn target) and then pressing the key or moving the
// MIDI control. This holds what a control can be bound to, the process-wide
// learn target, and the switch that puts every control into learn mode.
//
// Threads: GUI thread only.

namespace vantaro {

// The key and MIDI assignments one control holds (the learn overlay shows
// them; the shortcut files are written from them).
struct ControlBindings {
  static constexpr int kMaxKeys = 10;

  // Held to 0..1.
  void SetMidiCount(int count);
  // Negative becomes 0, more than kMaxKeys kMaxKeys; the key entries stay
  // as they are.
  void SetKeyCount(int count);
  int MidiCount() const { return midiCount_; }
  int KeyCount() const { return keyCount_; }
  // A control that can hold no binding never enters learn mode.
  bool CanLearn() const { return midiCount_ > 0 || keyCount_ > 0; }

  int midiChannel = -1;
  int midiIsKey = -1;
  int midiKeyOrCc = -1;  // note or controller number; negative: none
  int midiToggleMode = 0;
  // A code of 0 or less is an empty entry.
  int keyCode[kMaxKeys] = {};
  int keyShift[kMaxKeys] = {};
  char16_t keyChar[kMaxKeys] = {u' ', u' ', u' ', u' ', u' ', u' ', u' ', u' ', u' ', u' '};

 private:
  int midiCount_ = 0;
  int keyCount_ = 0;
};

struct LearnTarget {
  int id = -1;
  int deck = -1;
  bool operator==(const LearnTarget&) const = default;
};

// The present learn target; -1, -1 when there is none.
LearnTarget CurrentLearnTarget();
// Sets the target and ends a toggle capture in progress (the shortcut
// layer's hook).
void SetLearnTarget(LearnTarget target);
// Clears the target if it is `target`.
void ClearLearnTargetIf(LearnTarget target);
// Called whenever the target is set (the shortcut layer ends its capture of
// a toggle-mode note there). Null for none.
void SetLearnTargetHook(void (*hook)());

// Puts every control of the control table into learn mode or out of it;
// leaving clears the target.
void SetLearnMode(bool on);
bool LearnModeOn();

}  // namespace vantaro
