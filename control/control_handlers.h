#pragma once
// The handlers of the built-in controls: one set of callbacks per action id,
// which is all that writes engine words on behalf of a control. Skin
// controls, keys, MIDI, HID and scripts all end in these handlers, through
// the control that the control table holds for the action.
//
// Units: sliders of gains and equaliser bands run in tenths of a dB; faders,
// the crossfader and the cue mix in mixer steps (0..127); the pitch slider in
// 1/10000; the filter knob in its own steps (the mode decides the range).
//
// Threads: GUI thread only. The engine objects are written through their own
// thread-safe setters.

#include "control/control_event.h"

namespace vantaro {

class CSoundSource;
class CMixer;
class CZKMixerChannel;
class ControlTable;

// The engine objects the handlers reach. The program fills it once the
// decks and the mixer exist, and empties it before they are deleted; every
// handler tests its object for null.
struct ControlEngine {
  CSoundSource* decks[2] = {};
  CMixer* mixer = nullptr;
  CZKMixerChannel* deckChannels[2] = {};
  // The record button: starts (the program asks for a file) or stops a
  // recording. Null until the recorder exists.
  void (*toggleRecording)() = nullptr;
  bool (*isRecording)() = nullptr;
};
ControlEngine& TheControlEngine();

struct ControlBinding {
  ControlCallbacks callbacks;
  // Slider range for the present settings; null for a button.
  void (*range)(int* minValue, int* maxValue) = nullptr;
  // The engine's present value for the control (a slider position, a
  // switch state 0 or 1); false when there is nothing to read. Null when
  // the engine keeps no readable value.
  bool (*read)(int deck, int* value) = nullptr;
};

// The binding of action `id`; null when the action has no engine operation
// yet (its control still exists and takes events).
const ControlBinding* FindControlBinding(int id);

// Gives every control of `table` that has a binding its callbacks and range.
// Runs once the controls exist (at start-up, before the engine does).
void WireControlHandlers(ControlTable& table);
// Re-reads the ranges that depend on settings (pitch range, filter mode).
void ApplyControlRanges(ControlTable& table);
// Shows the engine's values on the bound controls (the screen tick, and
// after a handler changed a state the control shows).
void SyncControlsFromEngine(ControlTable& table);

// Bound actions with the engine objects they need (for the program's
// start-up log and its tests): how many ids have a binding.
int BoundActionCount();

}  // namespace vantaro
