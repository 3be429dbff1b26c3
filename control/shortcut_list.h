#pragma once
// The bindings as the shortcuts dialog lists them: one row per key or MIDI
// binding, in action-id order, filtered by the kind of control (the kind
// labels of the control table; kind 0 lists all).
//
// Threads: GUI thread only.

#include <string>
#include <vector>

namespace vantaro {

struct BindingRow {
  int id = 0, deck = -1;
  bool midi = false;
  int code = 0, modifiers = 0;         // a key
  int channel = 0, number = 0;         // a MIDI binding
  bool isKey = false, toggle = false;  // note (else control change), toggle mode
  std::string control;                 // "deck_play_pause (A)"
  std::string binding;                 // "SHIFT+X", "MIDI note 36, channel 2, toggle"
};

std::vector<BindingRow> ListBindings(int kind);
// Removes the row's binding; false when it was gone already.
bool RemoveBinding(const BindingRow& row);

}  // namespace vantaro
