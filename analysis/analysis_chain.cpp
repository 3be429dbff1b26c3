#include "analysis/analysis_chain.h"

#include <algorithm>

#include "codecs/sample_convert.h"

namespace vantaro {
namespace {

// A deck stores samples as 16-bit words read back by times 3e-5; the
// constant is as the deck's float readers use it, in 64-bit arithmetic.
constexpr double kStoredSampleScale = 2.9999999e-5;

}  // namespace

void MixToMono(const float* stereo, int frames, float* mono) {
  for (int i = 0; i < frames; ++i) mono[i] = (stereo[2 * i] + stereo[2 * i + 1]) * 0.5f;
}

void MixToMono(const std::int16_t* stereo, int frames, float* mono) {
  for (int i = 0; i < frames; ++i) {
    const double sum = double(stereo[2 * i]) + stereo[2 * i + 1];
    mono[i] = static_cast<float>(sum * kStoredSampleScale * 0.5);
  }
}

AnalysisChain::AnalysisChain()
    : lowPass_(SixPoleFilter::kLowPass, kLowPassHz, kAnalysisRate),
      highPass_(SixPoleFilter::kHighPass, kHighPassHz, kAnalysisRate),
      scaled_(kSecondFrames),
      band_(kSecondFrames + 1) {
  Start();
}

void AnalysisChain::Start() {
  gain_.Init(kAnalysisRate);
  lowPass_.Reset();
  highPass_.Reset();
}

void AnalysisChain::FeedSecond(float* mono, int frames, float* stripe) {
  frames = std::clamp(frames, 0, kSecondFrames);
  for (int i = 0; i < frames; ++i) scaled_[i] = mono[i] * kGainScale;
  gain_.Analyse(scaled_.data(), nullptr, frames, 1);
  for (int at = 0; at < kSecondFrames; at += SixPoleFilter::kMaxBlock) {
    lowPass_.Process(mono + at, SixPoleFilter::kMaxBlock);
    highPass_.Process(mono + at, SixPoleFilter::kMaxBlock);
  }
  std::copy(mono, mono + kSecondFrames, band_.begin());
  band_[kSecondFrames] = mono[kSecondFrames - 1];
  ResampleLinear(band_.data(), kSecondFrames, stripe, kStripePerSecond, 1);
}

}  // namespace vantaro
