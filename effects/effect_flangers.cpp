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

namespace {

// Left and right as one value: both sides take the same steps in one
// instruction where the processor has vectors, one after the other where not.
typedef float Stereo __attribute__((vector_size(8)));

inline Stereo LoadFrame(const float* frame) {
  Stereo v;
  std::memcpy(&v, frame, sizeof v);
  return v;
}

inline void StoreFrame(float* frame, Stereo v) {
  std::memcpy(frame, &v, sizeof v);
}

}  // namespace

void CEffectFlangers::Process(float* buffer, int frames, float bpm) {
  feedback_.Set(FeedbackTarget());
  const double speed = SweepSpeed(bpm > 0.0f ? bpm : 120.0f);
  float* line = line_.get();
  if (!primed_ && frames > 0) {
    // A cleared line would start the delayed signal with a step when the
    // first sample reaches the read position; a line filled with that first
    // sample starts it from where the input stood.
    for (int n = 0; n < kLineFrames; ++n) std::memcpy(line + n * 2, buffer, sizeof(float) * 2);
    primed_ = true;
  }
  const Stereo dry = {dry_, dry_}, wet = {wet_, wet_}, tiny = {1e-18f, 1e-18f};
  // The moving state in locals: the frame stores may alias any member, so
  // members would be read back from memory every frame.
  LinearGlide feedback = feedback_;
  double position = position_, direction = direction_;
  const double minDelay = minDelay_, maxDelay = maxDelay_;
  int write = write_;
  for (int i = 0; i < frames; ++i) {
    const float gain = feedback.Next();
    const int whole = static_cast<int>(position);
    const float fraction = static_cast<float>(position - whole);
    const int older = (write + whole) & kMask, newer = (older + 1) & kMask;
    const Stereo a = LoadFrame(line + older * 2), b = LoadFrame(line + newer * 2);
    const Stereo delayed = a + (b - a) * fraction;
    const Stereo w = LoadFrame(buffer + i * 2) + delayed * gain;
    StoreFrame(line + write * 2, (w + tiny) - tiny);  // glide.h FlushTiny
    StoreFrame(buffer + i * 2, w * dry + delayed * wet);
    position += speed * direction;
    if (position >= maxDelay) {
      position = maxDelay;
      direction = -1.0;
    } else if (position <= minDelay) {
      position = minDelay;
      direction = 1.0;
    }
    write = (write + 1) & kMask;
  }
  feedback_ = feedback;
  position_ = position, direction_ = direction;
  write_ = write;
}

}  // namespace vantaro
