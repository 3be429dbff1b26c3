#pragma once
// The beat tracker: walks the onset signal of a track beat by beat, forwards
// and backwards from its strongest onset, follows the period as it drifts,
// marks the beats in the stripe, and averages the tempos its walks measured.
//
// Everything counts in samples of the 441 Hz stripe signal; a tempo of b BPM
// has a period of 26460 / b samples.
//
// Threads: one BeatTracker per analysis worker and per deck, used by one
// thread at a time.

#include <array>

namespace vantaro {

inline constexpr int kStripePerSecond = 441;      // stripe samples a second of track
inline constexpr float kPeriodPerBpm = 26460.0f;  // 441 * 60
inline constexpr int kSmoothingTaps = 66;

class BeatTracker {
 public:
  // What one walk found. `tempo` is -1 when the walk measured none (fewer
  // than 21 beats, a loss, or no room to walk); `loss` is where a marking
  // walk lost the beat, or kNoLoss.
  struct Walk {
    double score = 0;
    float tempo = -1;
    int loss = kNoLoss;
  };
  static constexpr int kNoLoss = -1;

  BeatTracker();

  // The smoothing table of the onset signal: rising as 1.145^t to tap 33,
  // then falling back to 1.145^1 at tap 65. Its peak delays an onset by 33
  // samples, which the mark shift undoes.
  const std::array<double, kSmoothingTaps>& Taps() const { return taps_; }

  // Runs of the tracker add the tempos of their complete walks here.
  double tempoSum = 0;
  int tempoCount = 0;
  void ClearTempo() {
    tempoSum = 0;
    tempoCount = 0;
  }

  // Tracks the beat in [from, to) of `signal` at `tempo` BPM, marking
  // `stripe` (same indexing). Walks behind a loss are tracked again. The
  // top-level call (from below 10) lets the forward pass correct `tempo`.
  void Track(const float* signal, float* stripe, int from, int to, float tempo);

  // One walk from `start` up to `to` (forwards) or down to `limit`
  // (backwards). `stripe` null makes a trial walk, which marks nothing and
  // walks through losses. `peak` is the strongest onset of the range.
  Walk WalkForward(const float* signal, float* stripe, double start, int to, float tempo,
                   float peak);
  Walk WalkBackward(const float* signal, float* stripe, double start, int limit, float tempo,
                    float peak);

 private:
  struct Pass {
    double start = 0;
    Walk walk;
  };
  Pass BestPass(const float* signal, float* stripe, bool forwards, double seed, float step,
                int bound, float tempo, float peak);

  std::array<double, kSmoothingTaps> taps_;
};

}  // namespace vantaro
