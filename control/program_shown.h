#pragma once
// The controls that have no handler but still live: the program writes
// them on every screen tick (a deck's times, title and tempo, the meters,
// the record time) or they take something other than clicks (dropped
// files). A skin may place them; anything else without a handler and not a label is dead.
//
// Threads: constants, any thread.

namespace vantaro {

// Texts of each deck the screen tick fills, by action name.
inline constexpr const char* kDeckValueTexts[] = {"deck_songname", "deck_elapsed", "deck_remained",
                                                  "deck_bpm", "deck_pitch_tempo"};

// True for action `id` when the program shows values in it or it takes
// dropped files.
bool ProgramFillsControl(int id);

}  // namespace vantaro
