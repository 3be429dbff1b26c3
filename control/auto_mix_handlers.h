#pragma once
// The auto-mix buttons: the `autodj` switch, the sweeps to either side, the
// fade time steps, "mix next" and the `random` switch. They act on the
// program's AutoMix, registered once it exists; before that (and after
// close) they do nothing. control_handlers.cpp binds the first ones with
// the deck mark buttons, in the same form.
//
// Threads: GUI thread only.

#include "control/deck_mark_handlers.h"

namespace vantaro {

class AutoMix;
class ControlTable;

// `mix` null unregisters. The program owns it.
void SetProgramAutoMix(AutoMix* mix);
AutoMix* ProgramAutoMix();

// The bindings of the switch, sweep and fade time buttons, `count` of
// them, in a table that lives as long as the program.
const DeckMarkBinding* AutoMixBindings(int& count);

// "Mix next" and the random switch get their callbacks here, outside the
// binding table, as the default skin does not place them: the actions
// `mixNext` and `listRandom` still reach their hidden controls.
void WireAutoMixExtraButtons(ControlTable& table);

}  // namespace vantaro
