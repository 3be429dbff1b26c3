#pragma once
// The key column's text and the song database's `pitch_key` code (1..12
// the minor keys, 13..24 the major keys, by their place on the wheel of
// fifths: A minor is 8A, code 8; C major is 8B, code 20).
//
// Threads: any; plain values.

#include <string>
#include <string_view>

namespace vantaro {

// "8A" for 8, "8B" for 20; empty outside 1..24.
std::string PitchKeyText(int code);

// The code of a key text: a wheel text ("8A", "12b") or a key name ("Am",
// "F#m", "Bbmin", "C", "Ebmaj"); 0 when it is neither.
int ParsePitchKey(std::string_view text);

}  // namespace vantaro
