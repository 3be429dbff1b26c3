#include "effects/effect.h"

#include <algorithm>
#include <cstring>

#include "base/audio_signal_source.h"

namespace vantaro {

CEffect::CEffect() : scratch_(new float[kMaxBlockFrames * 2]()) {}
CEffect::~CEffect() = default;

float CEffect::SourceBpm() const {
  const float bpm = tempoSource_ ? tempoSource_->GetBPM() : 0.0f;
  return bpm > 0.0f ? bpm : 120.0f;
}

void CEffect::ProcessMixed(float* buffer, int frames, float bpm) {
  ProcessBlock(buffer, frames, bpm, EffectMix::kByDryWet, true);
}

void CEffect::ProcessBlock(float* buffer, int frames, float bpm, EffectMix mix, bool enabled) {
  const EffectSwitch request = switch_.load(std::memory_order_acquire);
  const float dryWet = dryWet_.load(std::memory_order_relaxed);
  const bool wasOn = active_.load(std::memory_order_relaxed) != 0;
  bool on = wasOn;
  if (!enabled || request == kSwitchOff)
    on = false;
  else if (request == kSwitchOn)
    on = true;
  else if (mix == EffectMix::kByDryWet)
    on = dryWet > kStartDryWet;
  if (!on && !wasOn) return;
  if (on && !wasOn) {
    Start();
    wetShare_ = 0.0f;
  }
  float target = 0.0f;
  if (on) target = mix == EffectMix::kFullyWet || dryWet > kFullyWetDryWet ? 1.0f : dryWet;
  if (wetShare_ == 1.0f && target == 1.0f)
    Process(buffer, frames, bpm);
  else
    ProcessCrossfaded(buffer, frames, bpm, wetShare_, target);
  wetShare_ = target;
  if (!on) {
    Stop();
    Reset();
  }
}

void CEffect::ProcessCrossfaded(float* buffer, int frames, float bpm, float fromWet, float toWet) {
  const float step = frames > 0 ? (toWet - fromWet) / static_cast<float>(frames) : 0.0f;
  for (int done = 0; done < frames;) {
    const int n = std::min(frames - done, kMaxBlockFrames);
    float* block = buffer + static_cast<std::size_t>(done) * 2;
    std::memcpy(scratch_.get(), block, sizeof(float) * 2 * static_cast<std::size_t>(n));
    Process(scratch_.get(), n, bpm);
    for (int i = 0; i < n; ++i) {
      // The last frame of the block stands at `toWet`.
      const float wet =
          i + done + 1 == frames ? toWet : fromWet + step * static_cast<float>(done + i + 1);
      const float dry = 1.0f - wet;
      block[i * 2] = scratch_[i * 2] * wet + block[i * 2] * dry;
      block[i * 2 + 1] = scratch_[i * 2 + 1] * wet + block[i * 2 + 1] * dry;
    }
    done += n;
  }
}

}  // namespace vantaro
