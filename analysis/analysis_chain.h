#pragma once
// The signal chain shared by the file worker and a deck's first decode: one
// second of mono audio goes to the gain analyser (scaled to 16-bit units),
// through the 215 Hz low-pass and the 132 Hz high-pass, and is decimated to
// the 441 stripe samples of that second.
//
// Threads: one owner at a time (the analysis worker, or a deck's store
// thread). FeedSecond allocates nothing.

#include <cstdint>
#include <vector>

#include "analysis/beat_tracker.h"
#include "analysis/gain_analyser.h"
#include "analysis/six_pole_filter.h"

namespace vantaro {

inline constexpr int kAnalysisRate = 44100;
inline constexpr int kSecondFrames = 44100;  // one block: one second

// Stereo to mono for the chain: (L + R) * 0.5 of interleaved floats.
void MixToMono(const float* stereo, int frames, float* mono);
// A deck's stored 16-bit stereo to mono floats: (L + R) * 3e-5 * 0.5.
void MixToMono(const std::int16_t* stereo, int frames, float* mono);

class AnalysisChain {
 public:
  static constexpr float kGainScale = 32768.0f;  // float samples to 16-bit units
  static constexpr float kLowPassHz = 215.0f;
  static constexpr float kHighPassHz = 132.0f;

  AnalysisChain();

  // A new track: gain analyser and filter state cleared.
  void Start();

  // One second: `mono` holds kSecondFrames samples, of which the first
  // `frames` are the track's (the rest silence, for the track's last
  // second). The gain analyser takes those `frames`; the whole second is
  // band-passed in place and decimated into stripe[0..440].
  void FeedSecond(float* mono, int frames, float* stripe);

  // The track's gain in dB (see GainAnalyser::TrackGain).
  float TakeGain() { return gain_.TrackGain(); }

 private:
  SixPoleFilter lowPass_;
  SixPoleFilter highPass_;
  GainAnalyser gain_;
  std::vector<float> scaled_;  // the 16-bit-scale copy for the gain analyser
  std::vector<float> band_;    // the band-passed second, one spare sample for decimation
};

}  // namespace vantaro
