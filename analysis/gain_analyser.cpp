#include "analysis/gain_analyser.h"

#include <algorithm>
#include <cmath>

#include "analysis/gain_tables.h"

namespace vantaro {
namespace {

constexpr double kWindowSeconds = 0.05;
constexpr double kStepsPerBel = 1000.0;  // 100 steps a dB, 10 dB a bel
constexpr double kQuietLevel = 1e-37;    // keeps log10 finite in silence
// Added to the Yule-Walker output so that silence never decays into
// denormals; the Butterworth high-pass takes it off again.
constexpr double kDenormalGuard = 1e-10;

}  // namespace

GainAnalyser::GainAnalyser() : track_(kHistogramSize, 0), album_(kHistogramSize, 0) {}

int GainAnalyser::Init(int rate) {
  const GainFilterRow* row = nullptr;
  for (const GainFilterRow& candidate : kGainFilterRows)
    if (candidate.rate == rate) row = &candidate;
  if (!row) return 0;
  yuleB_ = row->yuleB;
  yuleA_ = row->yuleA;
  butterB_ = row->butterB;
  butterA_ = row->butterA;
  windowSize_ = static_cast<int>(std::ceil(rate * kWindowSeconds));
  for (Channel& c : channels_) {
    c.input.assign(kOrder + windowSize_, 0.0);
    c.yule.assign(kOrder + windowSize_, 0.0);
    c.output.assign(kOrder + windowSize_, 0.0);
  }
  ClearFilters();
  std::fill(track_.begin(), track_.end(), 0u);
  std::fill(album_.begin(), album_.end(), 0u);
  return 1;
}

void GainAnalyser::ClearFilters() {
  for (Channel& c : channels_) {
    std::fill(c.input.begin(), c.input.end(), 0.0);
    std::fill(c.yule.begin(), c.yule.end(), 0.0);
    std::fill(c.output.begin(), c.output.end(), 0.0);
    c.sum = 0;
  }
  filled_ = 0;
}

// Runs `count` samples, which fit in the present window, through both
// stages and adds their squares to the channel's sum.
void GainAnalyser::FilterRun(Channel& channel, const float* samples, int count) {
  double* in = channel.input.data() + kOrder + filled_;
  double* yule = channel.yule.data() + kOrder + filled_;
  double* out = channel.output.data() + kOrder + filled_;
  for (int i = 0; i < count; ++i) in[i] = samples[i];
  double sum = 0;
  for (int i = 0; i < count; ++i) {
    double y = kDenormalGuard + in[i] * yuleB_[0];
    for (int k = 1; k <= kOrder; ++k) y += in[i - k] * yuleB_[k] - yule[i - k] * yuleA_[k];
    yule[i] = y;
    const double z = yule[i] * butterB_[0] + yule[i - 1] * butterB_[1] + yule[i - 2] * butterB_[2] -
                     out[i - 1] * butterA_[1] - out[i - 2] * butterA_[2];
    out[i] = z;
    sum += z * z;
  }
  channel.sum += sum;
}

void GainAnalyser::CloseWindow() {
  const double level = (channels_[0].sum + channels_[1].sum) / windowSize_ * 0.5 + kQuietLevel;
  const int step =
      std::clamp(static_cast<int>(std::log10(level) * kStepsPerBel), 0, kHistogramSize - 1);
  ++track_[step];
  for (Channel& c : channels_) {
    c.sum = 0;
    // The window's last kOrder values become the next window's history.
    for (std::vector<double>* buffer : {&c.input, &c.yule, &c.output})
      std::copy(buffer->end() - kOrder, buffer->end(), buffer->begin());
  }
  filled_ = 0;
}

int GainAnalyser::Analyse(const float* left, const float* right, int64_t count, int channels) {
  if (channels != 1 && channels != 2) return 0;
  if (windowSize_ == 0) return 0;
  if (count <= 0) return 1;
  if (channels == 1) right = left;
  int64_t done = 0;
  while (done < count) {
    const int run = static_cast<int>(std::min<int64_t>(count - done, windowSize_ - filled_));
    FilterRun(channels_[0], left + done, run);
    if (channels == 2) {
      FilterRun(channels_[1], right + done, run);
    } else {
      // Mono counts as two equal channels: the left sums stand for both.
      channels_[1].sum = channels_[0].sum;
    }
    filled_ += run;
    done += run;
    if (filled_ == windowSize_) CloseWindow();
  }
  return 1;
}

float GainAnalyser::TrackGain() {
  std::uint64_t total = 0;
  for (std::uint32_t count : track_) total += count;
  float gain = kNotEnoughSamples;
  if (total > 0) {
    int64_t upper = static_cast<int64_t>(std::ceil(total * 0.05));
    int step = kHistogramSize - 1;
    for (; step > 0; --step) {
      upper -= track_[step];
      if (upper <= 0) break;
    }
    gain = static_cast<float>(kReferenceDb - step / 100.0);
  }
  for (int i = 0; i < kHistogramSize; ++i) {
    album_[i] += track_[i];
    track_[i] = 0;
  }
  ClearFilters();
  return gain;
}

}  // namespace vantaro
