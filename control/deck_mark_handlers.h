#pragma once
// The handlers of a deck's cue, loop and beat buttons: the cue button and
// the cue-point buttons (held to clear), the loop sizes, moves and saved
// loops (held to clear), beat skips and the sync of the deck to the other.
// control_handlers.cpp binds them with the rest.
//
// Threads: GUI thread only.

#include "control/control_event.h"

namespace vantaro {

struct DeckMarkBinding {
  const char* action;
  ControlCallback press;
  ControlCallback release;  // null for a plain press
  // The engine's present switch state (0 or 1); null when none is shown.
  bool (*read)(int deck, int* value) = nullptr;
};

// The bindings, `count` of them, in a table that lives as long as the
// program.
const DeckMarkBinding* DeckMarkBindings(int& count);

}  // namespace vantaro
