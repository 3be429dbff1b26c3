#include "analysis/deck_analysis.h"

#include <algorithm>
#include <cmath>

#include "analysis/bpm_detect.h"

namespace vantaro {

DeckAnalysis::DeckAnalysis()
    : mono_(kSecondFrames), paddedStripe_(2 * kInterimLength), paddedOnset_(2 * kInterimLength) {}

void DeckAnalysis::Start() {
  chain_.Start();
  tracker_.ClearTempo();
}

void DeckAnalysis::FeedBlock(const std::int16_t* samples, int frames, float* stripe) {
  frames = std::clamp(frames, 0, kSecondFrames);
  MixToMono(samples, frames, mono_.data());
  std::fill(mono_.begin() + frames, mono_.end(), 0.0f);
  chain_.FeedSecond(mono_.data(), frames, stripe);
}

float DeckAnalysis::InterimTempo(float* group, float* onset, int mode) {
  std::copy(group, group + kInterimLength, paddedStripe_.begin());
  std::fill(paddedStripe_.begin() + kInterimLength, paddedStripe_.end(), 0.0f);
  const float tempo =
      DetectBpmInterim(tracker_, paddedStripe_.data(), paddedOnset_.data(), kInterimLength, mode);
  std::copy(paddedStripe_.begin(), paddedStripe_.begin() + kInterimLength, group);
  std::copy(paddedOnset_.begin(), paddedOnset_.begin() + kInterimLength, onset);
  return tempo;
}

DeckAnalysis::WholeTrack DeckAnalysis::RunWholeTrack(float* stripe, float* onset, int length,
                                                     int seconds, int mode, std::int64_t frames,
                                                     bool findStartCue, bool findEndCue) {
  WholeTrack result;
  result.gainDb = chain_.TakeGain();
  const float bpm = DetectBpm(tracker_, length, stripe, onset, seconds, mode);
  result.bpm = bpm > 0 ? std::rint(bpm) : 0.0f;
  result.cues = FindAudibleRange(stripe, length, frames, findStartCue, findEndCue);
  return result;
}

}  // namespace vantaro
