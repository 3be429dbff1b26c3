#pragma once
// Where a track becomes audible and where it falls silent, read from its
// stripe: the automatic start and end cues. One routine for the deck's
// whole-track step and for the cue points of a loaded track.
//
// Threads: any; a plain function over a stripe the caller holds.

#include <cstdint>

namespace vantaro {

struct AudibleRange {
  bool searched = false;   // the track is long enough to search
  std::int64_t start = 0;  // frames
  std::int64_t end = 0;    // frames; the track's length when nothing was found
};

// Tracks of at least 60 s (2,646,000 frames) only. With `findStart`, the
// first stripe sample of the first half whose level, 20 * fastLog10 of its
// magnitude with any beat mark taken off, is above -10 dB gives the start,
// at index * 100 frames; with `findEnd`, the last one of the second half
// above -12 dB gives the end. Unfound or unsearched: 0 and `totalFrames`.
// fastLog10 is the mixer's cheap log10 on the float's bits, which the cue
// levels are defined with. Music stays far below these levels (the band filters scale by 1/36); a
// stripe that reaches them is a loud click or a test signal.
AudibleRange FindAudibleRange(const float* stripe, int count, std::int64_t totalFrames,
                              bool findStart, bool findEnd);

}  // namespace vantaro
