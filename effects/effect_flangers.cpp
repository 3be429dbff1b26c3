#include "effects/effect_flangers.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vantaro {
namespace {

struct FlangerPreset {
  float dry, wet, feedback, delayMs, depthMs, speed;
};
constexpr FlangerPreset kPresets[CEffectFlangers::kPresetCount] = {
    {0.6f, 0.5f, 0.3f, 2, 3.0f, 0.2f},    {0.6f, 0.5f, 0.6f, 1, 3.0f, 0.3f},
    {0.0f, 1.0f, 0.8f, 2, 3.0f, 0.3f},    {0.9f, 0.9f, 0.2f, 3, 0.5f, 6.1f},
    {0.0f, 1.0f, 0.0f, 1, 18.0f, 100.0f}, {0.6f, 0.6f, 0.0f, 20, 20.0f, 11.0f},
};
const char* const kPresetNames[] = {"Flanger", "Flanger Deep", "Flanger Jet",
                                    "Vibrato", "Sweep",        "Chorus Delay"};
const TEffectParamInfo kParams[] = {
    {"Preset", "", 0, CEffectFlangers::kPresetCount - 1, 0},
    {"Speed", "", 0, 1000, 500},
    {"Feedback", "", 0, 1000, 500},
};
constexpr int kMask = CEffectFlangers::kLineFrames - 1;

}  // namespace

CEffectFlangers::CEffectFlangers(int preset)
    : CBuiltinEffect(kPresetNames, kParams, 3, preset), line_(new float[kLineFrames * 2]()) {
  Reset();
}

void CEffectFlangers::ApplyPreset(int preset) {
  const FlangerPreset& p = kPresets[preset];
  dry_ = p.dry;
  wet_ = p.wet;
  maxDelay_ = kLineFrames - std::round(p.delayMs * 44.1) - 2.0;
  minDelay_ = std::max(0.0, maxDelay_ - 44100.0 * p.depthMs / 1000.0 - 0.5);
}

void CEffectFlangers::ResetState() {
  primed_ = false;
  write_ = 0;
  position_ = (minDelay_ + maxDelay_) * 0.5;
  direction_ = 1.0;
  feedback_.Jump(FeedbackTarget());
}

float CEffectFlangers::FeedbackTarget() const {
  const float v = Unit(2);
  switch (PresetInForce()) {
    case 0:
      return (v * 20 + 20) / 100;
    case 1:
      return (v * 60 + 30) / 100;
    case 2:
      return (v * 30 + 65) / 100;
    case 3:
      return (v * 20 + 10) / 100;
    default:
      return kPresets[PresetInForce()].feedback;
  }
}

double CEffectFlangers::SweepSpeed(float bpm) const {
  const int preset = PresetInForce();
  const float v = Unit(1);
  if (preset <= 2) {
    const double beatFrames = 2646000.0 / std::max(60.0f, bpm);
    return 2.0 * (maxDelay_ - minDelay_) / beatFrames / BeatsOf(v);
  }
  if (preset == 4) return (v * 120 + 30) * 0.001;
  return kPresets[preset].speed * 0.001;
}

void CEffectFlangers::Process(float* buffer, int frames, float bpm) {
  feedback_.Set(FeedbackTarget());
  const double speed = SweepSpeed(bpm > 0.0f ? bpm : 120.0f);
  float* lines[2] = {line_.get(), line_.get() + kLineFrames};
  if (!primed_ && frames > 0) {
    // A cleared line would start the delayed signal with a step when the
    // first sample reaches the read position; a line filled with that first
    // sample starts it from where the input stood.
    for (int side = 0; side < 2; ++side)
      std::fill(lines[side], lines[side] + kLineFrames, buffer[side]);
    primed_ = true;
  }
  for (int i = 0; i < frames; ++i) {
    const float feedback = feedback_.Next();
    const int whole = static_cast<int>(position_);
    const float fraction = static_cast<float>(position_ - whole);
    const int older = (write_ + whole) & kMask, newer = (older + 1) & kMask;
    for (int side = 0; side < 2; ++side) {
      float* line = lines[side];
      const float delayed = line[older] + (line[newer] - line[older]) * fraction;
      const float w = buffer[i * 2 + side] + delayed * feedback;
      line[write_] = FlushTiny(w);
      buffer[i * 2 + side] = w * dry_ + delayed * wet_;
    }
    position_ += speed * direction_;
    if (position_ >= maxDelay_) {
      position_ = maxDelay_;
      direction_ = -1.0;
    } else if (position_ <= minDelay_) {
      position_ = minDelay_;
      direction_ = 1.0;
    }
    write_ = (write_ + 1) & kMask;
  }
}

}  // namespace vantaro
