#include "tests/analysis/test_tracks.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>

#include "analysis/analysis_chain.h"
#include "codecs/codec_set.h"
#include "tests/support/test_support.h"

namespace vantaro::test {
namespace {

constexpr double kRate = 44100;

// A small fixed noise source, so that every run makes the same files.
struct Noise {
  std::uint32_t state = 12345;
  float Next() {
    state = state * 1664525u + 1013904223u;
    return static_cast<float>(state >> 8) / 8388608.0f - 1.0f;
  }
};

void AddClick(std::vector<float>& out, long at) {
  for (long i = 0; i < 0.06 * kRate && at + i < long(out.size()); ++i) {
    const double t = i / kRate;
    out[at + i] += static_cast<float>(0.8 * std::sin(2 * M_PI * 170 * t) * std::exp(-t / 0.02));
  }
}

void AddDrums(std::vector<float>& out, long at, int beat, long period, Noise& noise) {
  double phase = 0;
  for (long i = 0; i < 0.15 * kRate && at + i < long(out.size()); ++i) {
    const double t = i / kRate;
    phase += 2 * M_PI * (60 + 110 * std::exp(-t / 0.04)) / kRate;
    out[at + i] += static_cast<float>(0.7 * std::sin(phase) * std::exp(-t / 0.08));
  }
  for (int half = 0; half < 2; ++half) {
    const long hat = at + half * period / 2;
    for (long i = 0; i < 0.02 * kRate && hat + i < long(out.size()); ++i)
      out[hat + i] += 0.15f * noise.Next() * static_cast<float>(std::exp(-i / (0.005 * kRate)));
  }
  if (beat % 2 == 1) {
    for (long i = 0; i < 0.1 * kRate && at + i < long(out.size()); ++i)
      out[at + i] += 0.3f * noise.Next() * static_cast<float>(std::exp(-i / (0.03 * kRate)));
  }
}

bool InBreak(const TrackSpec& spec, long frame) {
  const double t = frame / kRate;
  return spec.breakStart >= 0 && t >= spec.breakStart && t < spec.breakStart + spec.breakSeconds;
}

}  // namespace

std::vector<long> BeatFrames(const TrackSpec& spec) {
  std::vector<long> beats;
  const double period = 60.0 * kRate / spec.bpm;
  for (int k = 0; k * period < spec.seconds * kRate; ++k) {
    const long at = std::lround(k * period);
    if (!InBreak(spec, at)) beats.push_back(at);
  }
  return beats;
}

std::vector<float> MakeTrack(const TrackSpec& spec) {
  std::vector<float> out(static_cast<size_t>(std::lround(spec.seconds * kRate)), 0.0f);
  const long period = std::lround(60.0 * kRate / spec.bpm);
  Noise noise;
  int beat = 0;
  for (long at : BeatFrames(spec)) {
    if (spec.beat == Beat::kClick)
      AddClick(out, at);
    else
      AddDrums(out, at, beat++, period, noise);
  }
  for (float& v : out) v = static_cast<float>(std::clamp(v * spec.gain, -1.0, 1.0));
  return out;
}

bool WriteWav(const std::string& path, const std::vector<float>& mono, int rate, int channels,
              int bits) {
  CCodecSet set(100);
  TCodecFormat format{rate, channels, bits, bits, 0, 0};
  if (!set.Open(path, format, kCodecWrite, 4096)) return false;
  std::string bytes;
  bytes.reserve(mono.size() * channels * bits / 8);
  for (float v : mono) {
    const long q = std::lround(v * (bits == 8 ? 127.0 : 32767.0));
    for (int c = 0; c < channels; ++c) {
      if (bits == 8) {
        bytes += static_cast<char>(q + 128);
      } else {
        bytes += static_cast<char>(q & 0xff);
        bytes += static_cast<char>((q >> 8) & 0xff);
      }
    }
  }
  const int frameBytes = channels * bits / 8;
  const long frames = static_cast<long>(mono.size());
  for (long at = 0; at < frames; at += 4096)
    set.PutSamples(bytes.data() + at * frameBytes, static_cast<int>(std::min(4096L, frames - at)));
  set.Close();
  return true;
}

bool WriteSilentWav(const std::string& path, int seconds, int extraFrames, int rate) {
  return WriteWav(path, std::vector<float>(size_t(seconds) * rate + extraFrames, 0.0f), rate, 1, 8);
}

std::vector<float> StripeOf(const std::vector<float>& mono) {
  AnalysisChain chain;
  const int seconds = static_cast<int>((mono.size() + kSecondFrames - 1) / kSecondFrames);
  std::vector<float> stripe(size_t(seconds) * kStripePerSecond + 1, 0.0f);
  std::vector<float> second(kSecondFrames);
  for (int j = 0; j < seconds; ++j) {
    const size_t first = size_t(j) * kSecondFrames;
    const size_t count = std::min<size_t>(kSecondFrames, mono.size() - first);
    std::fill(second.begin(), second.end(), 0.0f);
    std::copy(mono.begin() + first, mono.begin() + first + count, second.begin());
    chain.FeedSecond(second.data(), static_cast<int>(count), stripe.data() + j * kStripePerSecond);
  }
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
  for (size_t i = 0; i < stripe.size(); ++i)
    if (stripe[i] > low && stripe[i] < high) marks.push_back(static_cast<int>(i));
  return marks;
}

bool EncodeMp3(const std::string& wav, const std::string& mp3) {
  return RunCommand("ffmpeg -v error -y -i '" + wav + "' -codec:a libmp3lame -b:a 128k '" + mp3 +
                    "'") == 0;
}

}  // namespace vantaro::test
