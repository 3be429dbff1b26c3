#pragma once
// The texts of a deck, refreshed at tick step 6: elapsed and remaining
// time, the title (the song's name; while it loads, how far; for a few
// seconds after a refused drop, why), the tempo with the pitch applied and
// the pitch in percent. The formatting is apart from the controls so that
// it can be tested without a window.
//
// Units: frames at 44100 Hz; pitch in 1/10000 of the speed.
// Threads: GUI thread (the readings are the decks' any-thread getters).

#include <cstdint>
#include <string>

namespace vantaro {

class CSoundSource;
struct Program;

// "m:ss.t", tenths cut (not rounded) so that the text never runs ahead of
// the deck; negative counts as 0. Remaining time takes a leading '-'.
std::string FormatDeckTime(std::int64_t frames, bool remaining);
// Elapsed and remaining time of a deck at `position` of `length` frames.
// Remaining time rounds up, so it reads "-0:00.0" only at the very end.
void FormatDeckTimes(std::int64_t position, std::int64_t length, std::string* elapsed,
                     std::string* remaining);
// The tempo at `pitch`, two decimals; empty while the tempo is unknown.
std::string FormatDeckTempo(float songBpm, int pitch);
// "+8.00%", "0.00%", "-3.50%".
std::string FormatPitchPercent(int pitch);
// A language text with one "%d" (and "%%" for '%'), filled with `value`.
// Anything else after '%' stands as written: the text is never a format.
std::string FillPercentText(const std::string& text, int value);
// The name the title shows for a song key or path: the file name without
// its ending.
std::string SongTitleOf(const std::string& path);

// What the deck's title says: a notice first (counting one tick of it
// down), then "Loading..." while a load waits, the load's progress while
// blocks are still being decoded, then the song's name; empty with no song.
std::string DeckTitleText(CSoundSource& deck, int index);

// Tick step 6 for deck `deck`.
void RefreshDeckTexts(Program& program, int deck);

}  // namespace vantaro
