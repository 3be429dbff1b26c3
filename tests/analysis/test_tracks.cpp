#include "tests/analysis/test_tracks.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>

#include "analysis/analysis_chain.h"
#include "codecs/codec_set.h"
#include "tests/support/test_support.h"

namespace vantaro::test {
namespace {

constexpr double kRate = 44100;

// Adds `seconds` of `wave(t)` fading as exp(-t / decay) from frame `at`.
template <typename Wave>
void AddBurst(std::vector<float>& out, long at, double seconds, double decay, Wave wave) {
  for (long i = 0; i < seconds * kRate && at + i < long(out.size()); ++i)
    out[at + i] += static_cast<float>(wave(i / kRate) * std::exp(-i / kRate / decay));
}

bool InBreak(const TrackPlan& plan, long frame) {
  const double t = frame / kRate;
  return plan.breakStart >= 0 && t >= plan.breakStart && t < plan.breakStart + plan.breakSeconds;
}

}  // namespace

std::vector<long> BeatFrames(const TrackPlan& plan) {
  std::vector<long> beats;
  const double period = 60.0 * kRate / plan.bpm;
  for (int k = 0; k * period < plan.seconds * kRate; ++k) {
    const long at = std::lround(k * period);
    if (!InBreak(plan, at)) beats.push_back(at);
  }
  return beats;
}

std::vector<float> MakeTrack(const TrackPlan& plan) {
  std::vector<float> out(static_cast<size_t>(std::lround(plan.seconds * kRate)), 0.0f);
  const long period = std::lround(60.0 * kRate / plan.bpm);
  std::minstd_rand random(12345);  // fully specified: every run makes the same files
  auto noise = [&random] { return 2.0 * random() / std::minstd_rand::max() - 1; };
  int beat = 0;
  for (long at : BeatFrames(plan)) {
    if (plan.beat == Beat::kClick) {
      AddBurst(out, at, 0.06, 0.02, [](double t) { return 0.8 * std::sin(2 * M_PI * 170 * t); });
      continue;
    }
    // A kick falling from 170 to 60 Hz, hats on the eighths, a snare on the
    // off beats.
    AddBurst(out, at, 0.15, 0.08, [](double t) {
      return 0.7 * std::sin(2 * M_PI * (60 * t + 4.4 * (1 - std::exp(-t / 0.04))));
    });
    for (long hat : {at, at + period / 2})
      AddBurst(out, hat, 0.02, 0.005, [&](double) { return 0.15 * noise(); });
    if (beat++ % 2) AddBurst(out, at, 0.1, 0.03, [&](double) { return 0.3 * noise(); });
  }
  for (float& v : out) v = static_cast<float>(std::clamp(v * plan.gain, -1.0, 1.0));
  return out;
}

bool WriteWav(const std::string& path, const std::vector<float>& mono, int rate, int channels) {
  std::vector<std::int16_t> samples;
  for (float v : mono)
    samples.insert(samples.end(), channels, std::int16_t(std::lround(v * 32767)));
  CCodecSet set(100);
  TCodecFormat format{rate, channels, 16, 16, 0, 0};
  if (!set.Open(path, format, kCodecWrite, 4096)) return false;
  for (long at = 0, frames = long(mono.size()); at < frames; at += 4096)
    set.PutSamples(samples.data() + at * channels, int(std::min(4096L, frames - at)));
  set.Close();
  return true;
}

std::vector<float> StripeOf(std::vector<float> mono) {
  AnalysisChain chain;
  const int seconds = static_cast<int>(mono.size() / kSecondFrames);
  std::vector<float> stripe(size_t(seconds) * kStripePerSecond + 1);
  for (int j = 0; j < seconds; ++j)
    chain.FeedSecond(mono.data() + size_t(j) * kSecondFrames, kSecondFrames,
                     stripe.data() + j * kStripePerSecond);
  stripe.pop_back();
  return stripe;
}

std::vector<float> ReadStripeFile(const std::string& path) {
  const std::string bytes = ReadFile(path);
  std::vector<float> stripe(bytes.size() / sizeof(float));
  if (!stripe.empty()) std::memcpy(stripe.data(), bytes.data(), stripe.size() * sizeof(float));
  return stripe;
}

std::vector<int> MarksIn(const std::vector<float>& stripe, float low, float high) {
  std::vector<int> marks;
  for (int i = 0; i < int(stripe.size()); ++i)
    if (stripe[i] > low && stripe[i] < high) marks.push_back(i);
  return marks;
}

int MarksOnBeats(const TrackPlan& plan, const std::vector<int>& marks) {
  const std::vector<long> beats = BeatFrames(plan);
  return static_cast<int>(std::count_if(marks.begin(), marks.end(), [&](int mark) {
    return std::any_of(beats.begin(), beats.end(),
                       [&](long beat) { return std::abs(mark - beat / 100.0) <= 6; });
  }));
}

}  // namespace vantaro::test
