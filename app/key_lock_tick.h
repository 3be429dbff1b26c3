#pragma once
// The key lock's side of the screen tick: the decks follow the settings
// (`hqtime`, and `keylk0`/`keylk1` once at the first tick), the settings
// follow the decks' key-lock buttons so the close writes what is live, and
// what a deck has to tell the user is told once: a key shift that needs
// high-quality time-stretch, and a deck whose finer stretcher could not
// keep up. Until the GUI sync ring and a deck title display exist, such a
// notice goes to the debug log and the status text.
//
// Threads: GUI thread (the screen tick).

namespace vantaro {

struct Program;

void KeyLockTick(Program& program);

}  // namespace vantaro
