#include "effects/effect_reverbs.h"

#include <algorithm>
#include <cstring>

namespace vantaro {
namespace {

struct Tap {
  float ms, gain;
};
struct ReverbPreset {
  int taps;
  Tap side[2][CEffectReverbs::kMaxTaps];
  float gain, crossfeed, feedback, direct;
};
constexpr ReverbPreset kPresets[CEffectReverbs::kPresetCount] = {
    {6,
     {{{23.3f, 0.16f},
       {29.1f, 0.15f},
       {31.7f, 0.14f},
       {37.9f, 0.14f},
       {41.3f, 0.13f},
       {47.9f, 0.12f}},
      {{24.1f, 0.16f},
       {28.3f, 0.15f},
       {33.1f, 0.14f},
       {36.7f, 0.14f},
       {43.1f, 0.13f},
       {46.3f, 0.12f}}},
     0.7f,
     0.15f,
     0.9f,
     0.8f},
    {1, {{{300.0f, 0.85f}}, {{300.0f, 0.85f}}}, 0.8f, 0.2f, 0.7f, 0.8f},
};
const char* const kPresetNames[] = {"Reverb", "Echo"};
const TEffectParamInfo kParams[] = {
    {"Preset", "", 0, CEffectReverbs::kPresetCount - 1, 0},
    {"Feedback", "", 0, 1000, 900},
};
constexpr int kMask = CEffectReverbs::kRingFrames - 1;

float Clamp1(float v) {
  return v < -1.0f ? -1.0f : v > 1.0f ? 1.0f : v;
}

}  // namespace

CEffectReverbs::CEffectReverbs(int preset)
    : CBuiltinEffect(kPresetNames, kParams, 2, preset), ring_(new float[kRingFrames * 2]()) {
  Reset();
}

void CEffectReverbs::ApplyPreset(int preset) {
  StoreParam(1, static_cast<int>(kPresets[preset].feedback * 1000.0f + 0.5f));
}

void CEffectReverbs::ResetState() {
  std::memset(ring_.get(), 0, sizeof(float) * kRingFrames * 2);
  write_ = 0;
  acc_[0] = acc_[1] = 0.0f;
  feedback_.Jump(Unit(1));
}

void CEffectReverbs::Process(float* buffer, int frames, float /*bpm*/) {
  const ReverbPreset& p = kPresets[PresetInForce()];
  int tapFrames[2][kMaxTaps];
  for (int side = 0; side < 2; ++side)
    for (int t = 0; t < p.taps; ++t)
      tapFrames[side][t] = static_cast<int>(p.side[side][t].ms * 44.1f + 0.5f);
  feedback_.Set(Unit(1));
  float* rings[2] = {ring_.get(), ring_.get() + kRingFrames};
  for (int i = 0; i < frames; ++i) {
    const float feedback = feedback_.Next();
    const float in[2] = {buffer[i * 2], buffer[i * 2 + 1]};
    for (int side = 0; side < 2; ++side) {
      const float* ring = rings[side];
      float wet = 0.0f;
      for (int t = 0; t < p.taps; ++t)
        wet += ring[(write_ - tapFrames[side][t]) & kMask] * p.side[side][t].gain;
      acc_[side] = FlushTiny((acc_[side] + wet) * 0.5f);
      buffer[i * 2 + side] = Clamp1(in[side] * p.gain + acc_[side] * p.direct);
    }
    for (int side = 0; side < 2; ++side)
      rings[side][write_] =
          FlushTiny(Clamp1(in[side] * p.gain + in[1 - side] * p.crossfeed + acc_[side] * feedback));
    write_ = (write_ + 1) & kMask;
  }
}

}  // namespace vantaro
