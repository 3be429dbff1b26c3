#include "effects/effect_amplitudes.h"

#include <cmath>

namespace vantaro {
namespace {

const char* const kPresetNames[] = {"Tremolo", "Auto Pan"};
const TEffectParamInfo kParams[] = {
    {"Mode", "", 0, 1, 0},
    {"Speed", "", 0, 1000, 500},
};
constexpr double kTwoPi = 6.283185307179586;
constexpr double kRadiansPerFrame = kTwoPi / 44100.0;

}  // namespace

CEffectAmplitudes::CEffectAmplitudes(int preset)
    : CBuiltinEffect(kPresetNames, kParams, 2, preset) {
  Reset();
}

float CEffectAmplitudes::RatePerBeat() const {
  const float beats = BeatsOf(Unit(1));
  return PresetInForce() == kPan ? 1.0f / beats : beats;
}

void CEffectAmplitudes::ResetState() {
  phase_ = 0.0;
  rate_.Jump(RatePerBeat());
}

void CEffectAmplitudes::Process(float* buffer, int frames, float bpm) {
  if (bpm <= 0.0f) bpm = 120.0f;
  rate_.Set(RatePerBeat());
  const bool pan = PresetInForce() == kPan;
  const double perBeat = kRadiansPerFrame * bpm / 60.0;
  // The cosine is turned by a rotation within pieces of 32 frames and taken
  // afresh from the phase at each piece: no cosine per frame, no drift.
  constexpr int kPiece = 32;
  for (int done = 0; done < frames; done += kPiece) {
    const int n = frames - done < kPiece ? frames - done : kPiece;
    float rate = rate_.Value();
    for (int i = 0; i < n; ++i) rate = rate_.Next();
    const double step = perBeat * rate;
    const double turnCos = std::cos(step), turnSin = std::sin(step);
    double c = std::cos(phase_), s = std::sin(phase_);
    float* block = buffer + done * 2;
    for (int i = 0; i < n; ++i) {
      const float level = static_cast<float>(c * 0.5 + 0.5);
      block[i * 2] *= level;
      block[i * 2 + 1] *= pan ? 1.0f - level : level;
      const double nextC = c * turnCos - s * turnSin;
      s = s * turnCos + c * turnSin;
      c = nextC;
    }
    phase_ = std::fmod(phase_ + step * n, kTwoPi);
  }
}

}  // namespace vantaro
