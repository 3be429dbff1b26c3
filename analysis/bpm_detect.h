#pragma once
// Tempo detection on the 441 Hz stripe signal of a track: an onset signal,
// autocorrelation at whole BPM values with rhythm multiples, refinement of
// the period by whole samples, and the beat tracker, whose walks measure the
// fractions of a BPM and leave the beat marks in the stripe.
//
// Modes choose the whole BPM values tried: 0 automatic 75-150, -1 below 100,
// -2 above 100, any other value m a manual tempo (m - 1 to m + 1).
//
// Threads: any, one call per BeatTracker at a time. DetectBpm allocates only
// its score table.

#include <cstdint>

#include "analysis/beat_tracker.h"

namespace vantaro {

struct BpmRange {
  int low = 0;   // whole BPM, inclusive
  int high = 0;  // inclusive
};
// The BPM values of `mode` for a whole track and for a 10-second stretch.
BpmRange WholeTrackRange(int mode);
BpmRange InterimRange(int mode);

// The onset signal of `stripe` over its first `seconds` - 1 seconds
// (`onset` beyond that is cleared, up to `length`): rectified, smoothed by
// the tracker's table, differentiated forwards, half-wave rectified. With
// `normalise`, divided by its largest value when that exceeds 0.5.
void MakeOnset(const BeatTracker& tracker, const float* stripe, float* onset, int length,
               int seconds, bool normalise);

// Sum of a[i] * b[i] over `count` samples in a fixed order (eight running
// lanes, then the lanes pairwise): the same inputs always give the same sum,
// and the loop vectorises.
float Correlate(const float* a, const float* b, int count);

// The coarse search: the whole BPM of `mode`'s range whose period best
// correlates the onset with itself at 1, 4 and 8 periods, and the multiple
// that scored highest there (16 when none scored). `bpm` is 0 when the range
// holds no value that can be tried.
struct CoarseTempo {
  int bpm = 0;
  int multiple = 16;
};
CoarseTempo CoarseSearch(const float* onset, int length, int seconds, int mode);

// The whole period (stripe samples) around `coarse` whose correlation at
// `coarse.multiple` periods is highest.
int RefinePeriod(const float* onset, int length, int seconds, const CoarseTempo& coarse);

// Moves every mark 33 samples back to where its onset began (the smoothing
// table's delay); the mark leaves its own place, the sample it lands on is
// replaced.
void ShiftMarks(float* stripe, int length);

// The whole-track detector. `stripe` holds `length` samples (seconds * 441)
// of band level without marks; `onset` is scratch of the same length.
// Returns the tempo in BPM and leaves the beat marks in `stripe`; 0 for a
// track under 10 seconds (no marks), -1 when the mode's range holds nothing
// to try.
float DetectBpm(BeatTracker& tracker, int length, float* stripe, float* onset, int seconds,
                int mode);

// The tempo of a 10-second stretch while a deck loads (`length` 4410
// samples). `stripe` and `onset` hold 2 * `length` floats, the stripe copy
// padded with zeros. Candidates are scored by the energy of a comb filter
// at their period; the tracker then marks the stretch. Returns the tempo of
// the best period.
float DetectBpmInterim(BeatTracker& tracker, float* stripe, float* onset, int length, int mode);

}  // namespace vantaro
