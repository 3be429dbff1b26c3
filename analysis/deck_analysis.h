#pragma once
// The analysis a deck runs while it decodes a track that has none stored:
// each one-second block through the shared chain into the deck's stripe, an
// interim tempo for each group of ten blocks, and the whole-track step once
// every block is in. The deck owns the stripe arrays and its locks; this
// object owns the filters, the gain analyser, the tracker and the scratch.
//
// Threads: the deck's store thread for FeedBlock and InterimTempo; the
// deck's one-shot analysis thread for WholeTrack, while the store thread
// leaves the stripe alone.

#include <cstdint>
#include <vector>

#include "analysis/analysis_chain.h"
#include "analysis/audible_range.h"
#include "analysis/beat_tracker.h"

namespace vantaro {

class DeckAnalysis {
 public:
  static constexpr int kInterimBlocks = 10;
  static constexpr int kInterimLength = kInterimBlocks * kStripePerSecond;

  DeckAnalysis();

  // A new track: filters, gain analyser and tracker cleared.
  void Start();

  // The first decode of one block: `frames` stored 16-bit stereo frames.
  // Writes the block's 441 stripe samples to `stripe` (the deck's stripe
  // at block * 441).
  void FeedBlock(const std::int16_t* samples, int frames, float* stripe);

  // The tempo of ten blocks' stripe (`group`, kInterimLength samples), in
  // the 10-second range of `mode`. The group comes back marked, and its
  // onset signal is left in `onset` (kInterimLength samples).
  float InterimTempo(float* group, float* onset, int mode);

  struct WholeTrack {
    float bpm = 0;  // whole BPM; 0 when none was found
    float gainDb = 0;
    AudibleRange cues;
  };
  // The whole-track step over the deck's `stripe` and `onset` (`length`
  // samples each, `seconds` whole seconds of a track of `frames`): gain,
  // tempo rounded to a whole BPM with the marks left in `stripe`, and the
  // automatic start and end cues where the deck has none in force.
  WholeTrack RunWholeTrack(float* stripe, float* onset, int length, int seconds, int mode,
                           std::int64_t frames, bool findStartCue, bool findEndCue);

 private:
  AnalysisChain chain_;
  BeatTracker tracker_;
  std::vector<float> mono_;          // one block, mixed down
  std::vector<float> paddedStripe_;  // interim copy, twice the group's length
  std::vector<float> paddedOnset_;
};

}  // namespace vantaro
