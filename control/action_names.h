#pragma once
// Deck letters in the action names of older skins. Skins made before
// `targetversion` 2 name a deck's control with the deck's letter inside the
// name ("decka_play_pause", "fx_b_sel", "label_loop_a") instead of a `deck`
// attribute. NormaliseActionName turns such a name into the action name of
// the control table and the deck it means.
//
// Threads: constant table, any thread.

#include <string>

namespace vantaro {

// Number of lettered families: each has an A and a B spelling.
inline constexpr int kLetteredActionFamilies = 155;

// Copies `in` to `out` and sets `deck` to -1; when `in` is the A or B
// spelling of a lettered family, `out` is the family's action name and
// `deck` 0 or 1. Names outside the families (including ones that merely look
// lettered) are copied unchanged.
void NormaliseActionName(const std::string& in, std::string* out, int* deck);

}  // namespace vantaro
