#include "effects/effect.h"

#include <algorithm>
#include <cstdint>
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
    wetShare_.Jump(0.0f);
  }
  float target = 0.0f;
  if (on) target = mix == EffectMix::kFullyWet || dryWet > kFullyWetDryWet ? 1.0f : dryWet;
  if (on && PresetPending()) {
    // Out to dry first; the preset is taken where nothing of it is heard.
    if (wetShare_.Value() == 0.0f && !wetShare_.Moving())
      Reset();
    else
      target = 0.0f;
  }
  wetShare_.Set(target);
  if (wetShare_.Value() == 1.0f && !wetShare_.Moving())
    Process(buffer, frames, bpm);
  else
    ProcessCrossfaded(buffer, frames, bpm);
  if (!BlockIsFinite(buffer, frames)) RecoverFromNonFinite();
  if (!on && !wetShare_.Moving()) {
    Stop();
    Reset();
  }
}

void CEffect::ProcessCrossfaded(float* buffer, int frames, float bpm) {
  for (int done = 0; done < frames;) {
    const int n = std::min(frames - done, kMaxBlockFrames);
    float* block = buffer + static_cast<std::size_t>(done) * 2;
    std::memcpy(scratch_.get(), block, sizeof(float) * 2 * static_cast<std::size_t>(n));
    Process(scratch_.get(), n, bpm);
    for (int i = 0; i < n; ++i) {
      const float wet = wetShare_.Next();
      const float dry = 1.0f - wet;
      block[i * 2] = scratch_[i * 2] * wet + block[i * 2] * dry;
      block[i * 2 + 1] = scratch_[i * 2 + 1] * wet + block[i * 2 + 1] * dry;
    }
    done += n;
  }
}

bool BlockIsFinite(const float* buffer, int frames) {
  // A NaN or infinity has every exponent bit set. Integer tests on the bits
  // vectorise; a float sum would run one addition after another.
  constexpr std::uint32_t kExponent = 0x7f800000u;
  std::uint32_t bad = 0;
  for (int i = 0; i < frames * 2; ++i) {
    std::uint32_t bits;
    std::memcpy(&bits, &buffer[i], sizeof bits);
    bad |= (bits & kExponent) == kExponent;
  }
  return bad == 0;
}

}  // namespace vantaro
