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

// The cosine at the piece's start (c, s) is turned by a rotation of `step`
// radians a frame. Four rotators a frame apart, each turned by four steps,
// so that no frame waits on the one before; (c, s) comes back turned by
// `frames` steps when that is a whole number of fours.
void CEffectAmplitudes::LevelPiece(float* block, int frames, const Turn& turn, double& c,
                                   double& s) const {
  const bool pan = PresetInForce() == kPan;
  // Right gain: l for the tremolo, 1 - l for the pan, without a branch.
  const float rightBase = pan ? 1.0f : 0.0f, rightSlope = pan ? -1.0f : 1.0f;
  double rc[4], rs[4];
  rc[0] = c, rs[0] = s;
  for (int j = 1; j < 4; ++j) {
    rc[j] = rc[j - 1] * turn.cos1 - rs[j - 1] * turn.sin1;
    rs[j] = rs[j - 1] * turn.cos1 + rc[j - 1] * turn.sin1;
  }
  // The levels first, then one loop that applies them and vectorises.
  float level[kPieceFrames];
  for (int i = 0; i < frames; i += 4) {
    for (int j = 0; j < 4; ++j) {
      level[i + j] = static_cast<float>(rc[j] * 0.5 + 0.5);
      const double nextC = rc[j] * turn.cos4 - rs[j] * turn.sin4;
      rs[j] = rs[j] * turn.cos4 + rc[j] * turn.sin4;
      rc[j] = nextC;
    }
  }
  for (int i = 0; i < frames; ++i) {
    block[i * 2] *= level[i];
    block[i * 2 + 1] *= rightBase + rightSlope * level[i];
  }
  c = rc[0], s = rs[0];
}

void CEffectAmplitudes::Process(float* buffer, int frames, float bpm) {
  if (bpm <= 0.0f) bpm = 120.0f;
  rate_.Set(RatePerBeat());
  const double perBeat = kRadiansPerFrame * bpm / 60.0;
  // The rate is taken per piece of 32 frames; the cosine afresh from the
  // phase once a block, so it never drifts.
  double c = std::cos(phase_), s = std::sin(phase_);
  for (int done = 0; done < frames; done += kPieceFrames) {
    const int n = frames - done < kPieceFrames ? frames - done : kPieceFrames;
    float rate = rate_.Value();
    for (int i = 0; i < n; ++i) rate = rate_.Next();
    const double step = perBeat * rate;
    if (step != turn_.step) {
      // Only while the rate glides or the tempo moves.
      turn_.step = step;
      turn_.cos1 = std::cos(step), turn_.sin1 = std::sin(step);
      turn_.cos4 = std::cos(step * 4), turn_.sin4 = std::sin(step * 4);
    }
    LevelPiece(buffer + done * 2, n, turn_, c, s);
    phase_ = std::fmod(phase_ + step * n, kTwoPi);
  }
}

}  // namespace vantaro
