#pragma once
// Small effects with exactly known behaviour, for the framework tests, and
// the signals and responses the effect tests measure with.

#include <atomic>
#include <cmath>
#include <complex>
#include <memory>
#include <string>
#include <vector>

#include "effects/biquad.h"
#include "effects/effect.h"
#include "effects/effect_registry.h"

namespace vantaro::test {

// `seconds` of a sine of `hz` at `amplitude` on both sides, interleaved.
inline std::vector<float> Sine(double hz, double seconds, float amplitude) {
  std::vector<float> out(static_cast<size_t>(seconds * 44100) * 2);
  for (size_t i = 0; i < out.size() / 2; ++i)
    out[i * 2] = out[i * 2 + 1] =
        static_cast<float>(amplitude * std::sin(2 * M_PI * hz * i / 44100));
  return out;
}

// `frames` of white noise in -1..1, interleaved: the same on both sides, or
// each side its own.
inline std::vector<float> Noise(int frames, unsigned seed, bool sidesApart = false) {
  std::vector<float> out(static_cast<size_t>(frames) * 2);
  auto next = [&seed] {
    seed = seed * 1103515245u + 12345u;
    return static_cast<float>((seed >> 9) % 2001) / 1000.0f - 1.0f;
  };
  for (int i = 0; i < frames; ++i) {
    out[i * 2] = next();
    out[i * 2 + 1] = sidesApart ? next() : out[i * 2];
  }
  return out;
}

// One channel of frames [from, to) (seconds) of interleaved stereo.
inline std::vector<float> Part(const std::vector<float>& s, double from, double to,
                               int channel = 0) {
  std::vector<float> out;
  for (long i = static_cast<long>(from * 44100); i < static_cast<long>(to * 44100); ++i)
    out.push_back(s[i * 2 + channel]);
  return out;
}

// |H| in dB at `hz` of a biquad's designed coefficients.
inline double CookbookDb(const TBiquad& f, double hz) {
  const std::complex<double> z1 = std::polar(1.0, -2.0 * M_PI * hz / 44100.0), z2 = z1 * z1;
  const auto h = (double(f.b0) + double(f.b1) * z1 + double(f.b2) * z2) /
                 (double(f.a0) + double(f.a1) * z1 + double(f.a2) * z2);
  return 20.0 * std::log10(std::abs(h));
}

// Multiplies the block by parameter 0 in percent; counts Start/Reset calls
// and instances alive.
class GainEffect : public CEffect {
 public:
  static constexpr int kType = 900;
  static inline std::atomic<int> alive{0};
  GainEffect() { ++alive; }
  ~GainEffect() override { --alive; }
  void Prepare() override {}
  void Start() override {
    Reset();
    CEffect::Start();
    ++starts;
  }
  void Reset() override { ++resets; }
  void Process(float* buffer, int frames, float bpm) override {
    lastBpm = bpm;
    for (int i = 0; i < frames * 2; ++i) buffer[i] *= percent / 100.0f;
  }
  int GetParam(int id) override { return id == 0 ? percent : id == 1 ? other : 0; }
  void SetParam(int id, int value) override {
    if (id == 0) percent = value;
    if (id == 1) other = value;
  }
  int GetParamCount() override { return 2; }
  std::string GetParamName(int id) override { return id == 0 ? "Gain" : "Other <&>"; }
  std::string GetParamUnit(int id) override { return id == 0 ? "%" : ""; }
  std::string GetName() override { return "Test gain"; }
  void GetEditorPosition(int* x, int* y) override {
    *x = editorX;
    *y = editorY;
  }
  void SetEditorPosition(int x, int y) override {
    editorX = x;
    editorY = y;
  }

  int percent = 100;
  int other = 0;
  int starts = 0;
  int resets = 0;
  int editorX = 0, editorY = 0;
  float lastBpm = 0.0f;
};

inline void RegisterTestEffects() {
  RegisterEffectType(GainEffect::kType, "Test gain",
                     [] { return std::unique_ptr<CEffect>(new GainEffect); });
}

}  // namespace vantaro::test
