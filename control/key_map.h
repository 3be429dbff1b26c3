#pragma once
// Shortcuts: keys and MIDI messages bound to built-in controls.
//
// The key map has a cell for each key code (0..7999) and modifier set
// (0..31), addressed code * 32 + modifiers; the two MIDI maps, one for notes
// and one for control changes, a cell for each number (0..127) and channel
// (0..15), addressed number * 16 + channel. A cell names the action id and
// deck of the control it drives; -1, -1 when free. Each control also keeps
// its own bindings (ControlBindings: the learn overlay shows them, the
// shortcut files are written from them); the maps are the fast way from an
// incoming key or message to the control, and the two always agree.
//
// Learning: with learn mode on, the user clicks a control (the learn
// target) and presses a key or moves a MIDI control; the binding moves to
// the target, and the key or message no longer drives what it drove.
//
// Threads: GUI thread only (MIDI arrives through the MIDI ring).

#include <cstdint>
#include <vector>

#include "control/control_event.h"
#include "control/learn_state.h"

namespace vantaro {

struct MapCell {
  std::int16_t action = -1;
  std::int8_t deck = -1;
  bool Free() const { return action < 0; }
  bool Is(int id, int d) const { return action == id && deck == d; }
};

struct MidiCell : MapCell {
  std::int8_t toggleMode = 0;  // 1: every note message is a full click
  std::int8_t toggleState = 0;
};

class ShortcutMaps {
 public:
  static constexpr int kKeyCodes = 8000;
  static constexpr int kModifierSets = 32;
  static constexpr int kMidiNumbers = 128;
  static constexpr int kMidiChannels = 16;

  ShortcutMaps();

  // Null for a code or modifier set out of range.
  MapCell* Key(int code, int modifiers);
  MidiCell* Note(int number, int channel);
  MidiCell* ControlChange(int number, int channel);
  void Clear();
  void ClearKeys();
  void ClearMidi();

  // Frees every cell of both MIDI maps that names (id, deck), but `keep`.
  void ClearMidiOf(int id, int deck, const MidiCell* keep);

 private:
  std::vector<MapCell> keys_;
  std::vector<MidiCell> notes_;
  std::vector<MidiCell> controlChanges_;
};

ShortcutMaps& TheShortcutMaps();

// How the layer reaches a control's own bindings: the skin's controls keep
// them, headless tests keep their own. Null until set: nothing is bound to
// any control then, only to the maps.
using BindingsLookup = ControlBindings* (*)(ControlTarget* control);
void SetBindingsLookup(BindingsLookup lookup);
ControlBindings* BindingsOf(int id, int deck);

// Enters a key or MIDI binding of (id, deck) into its map and, up to its
// capacity, into the control. Used by the file loader and the default map.
// False when the code, modifiers, number or channel are out of range.
bool BindKey(int id, int deck, int code, int modifiers, int character);
bool BindMidi(int id, int deck, int channel, bool isKey, int number, int toggleMode);
// Removes one binding from its map and from its control; false when the
// cell was free or out of range.
bool UnbindKey(int code, int modifiers);
bool UnbindMidi(bool isKey, int number, int channel);

// Empty the maps and the bindings of every control: all, the keys only, or
// the MIDI only.
void ClearAllBindings();
void ClearKeyBindings();
void ClearMidiBindings();

// One key press as the main window's key hook sees it.
struct KeyPress {
  int rawCode = 0;    // the toolkit's key code
  int character = 0;  // the 16-bit character
  int modifiers = 0;  // ControlModifier bits
  bool appActive = true;
  bool textFocus = false;  // a text box holds the focus
};

enum class KeyHookResult {
  kPass,     // not ours: the toolkit goes on with it
  kHandled,  // consumed (also: ignored while the program is inactive)
};

// The key hook, in this order: an inactive program swallows keys; a
// focused text box keeps them unless learning; the code is translated and
// upper-cased; out-of-range codes pass; learning binds the key to the
// target; otherwise a bound key steps its control once per matching entry
// of the control's key list (a slider's first key steps down, its second
// up; a button clicks on any).
KeyHookResult HandleKeyPress(const KeyPress& press);

// A MIDI message with no owner, from the MIDI drain: learned while learning,
// else delivered to the control its map cell names.
void HandleSkinMidi(int status, int channel, int data1, int data2, int time);

// Ends a toggle capture and restarts the round-robin slot: called whenever
// the learn target changes.
void ResetLearnCapture();

}  // namespace vantaro
