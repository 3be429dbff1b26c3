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
  const float dryWet = dryWet_.load(std::memory_order_relaxed);
  if (dryWet > 0.025f) {
    if (!active_) Start();
    if (dryWet > 0.975f) {
      Process(buffer, frames, bpm);
      return;
    }
    frames = std::min(frames, kMaxBlockFrames);
    const int samples = frames * 2;
    std::memcpy(scratch_.get(), buffer, sizeof(float) * samples);
    Process(scratch_.get(), frames, bpm);
    const float wet = dryWet, dry = 1.0f - dryWet;
    for (int i = 0; i < samples; ++i) buffer[i] = scratch_[i] * wet + buffer[i] * dry;
    return;
  }
  if (active_) {
    Stop();
    Reset();
  }
}

}  // namespace vantaro
