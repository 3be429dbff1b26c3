#pragma once
// Auto-mix (control/auto_mix.h) on the program's decks, crossfader, lists
// and load procedure.
//
// Order: StartProgramAutoMix once the lists are loaded (start-up step 18):
// the auto-mix list's first-item callback, the fade time, the random and
// auto-mix switches from config.xml (auto-mix left on starts at once when
// both decks are stopped). RunAutoMixTick on every screen tick, after the
// decks' updates. The settings mixtim, mixaut and random follow the live
// state on every tick, so the close saves what the user last set.
//
// Without a track list control on screen, the next track comes from the
// auto-mix list.
//
// Threads: GUI thread only.

namespace vantaro {

void StartProgramAutoMix();
void RunAutoMixTick();

}  // namespace vantaro
