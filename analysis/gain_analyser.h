#pragma once
// Perceptual gain of a track by the published ReplayGain method: the
// equal-loudness filter (a 10th-order Yule-Walker section, then a 2nd-order
// Butterworth high-pass), the mean square of 50 ms windows counted into a
// histogram of 1/100 dB steps, and the 95th percentile of that histogram
// against the pink-noise reference of 64.82 dB.
//
// Samples are floats in 16-bit scale (a full-scale sine peaks at 32767).
//
// Threads: one owner at a time. Analyse allocates nothing once Init ran.

#include <cstdint>
#include <vector>

namespace vantaro {

class GainAnalyser {
 public:
  static constexpr int kOrder = 10;              // history of the Yule-Walker stage
  static constexpr int kHistogramSize = 12000;   // 120 dB in 1/100 dB steps
  static constexpr float kReferenceDb = 64.82f;  // level of the reference pink noise
  static constexpr float kNotEnoughSamples = -24601.0f;

  GainAnalyser();

  // Clears the state and both histograms and selects the filters of `rate`.
  // 1, or 0 for a rate without filter tables (the rates are 48000, 44100,
  // 32000, 24000, 22050, 16000, 12000, 11025 and 8000).
  int Init(int rate);

  // Feeds `count` samples of each channel. `channels` 1 reads `left` alone
  // (as both channels). 1, or 0 for a channel count other than 1 or 2 or
  // before a successful Init; a count of 0 is accepted and does nothing.
  int Analyse(const float* left, const float* right, int64_t count, int channels);

  // The track's gain in dB (kNotEnoughSamples when not one 50 ms window was
  // filled), then the histogram moves to the album total and the filter
  // state clears for the next track.
  float TrackGain();

  int WindowSize() const { return windowSize_; }

 private:
  struct Channel {
    // Each buffer holds kOrder samples of history, then the present window.
    std::vector<double> input, yule, output;
    double sum = 0;  // squares of the present window
  };
  void FilterRun(Channel& channel, const float* samples, int count);
  void CloseWindow();
  void ClearFilters();

  const double* yuleB_ = nullptr;    // 11 coefficients
  const double* yuleA_ = nullptr;    // 11, a[0] = 1
  const double* butterB_ = nullptr;  // 3
  const double* butterA_ = nullptr;  // 3, a[0] = 1
  int windowSize_ = 0;
  int filled_ = 0;  // samples of the present window
  Channel channels_[2];
  std::vector<std::uint32_t> track_, album_;
};

}  // namespace vantaro
