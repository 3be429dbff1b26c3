#include "effects/effect_phaser.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vantaro {
namespace {

const char* const kPresetNames[] = {"Phaser"};
const TEffectParamInfo kParams[] = {
    {"Delay", "", 0, 1000, 500},
};
constexpr int kMask = CEffectPhaser::kLineFrames - 1;

}  // namespace

CEffectPhaser::CEffectPhaser(int /*preset*/)
    : CBuiltinEffect(kPresetNames, kParams, 1, 0), line_(new float[kLineFrames]()) {
  Reset();
}

int CEffectPhaser::DelayFrames(int value) {
  const double ms = value * 0.001 * 90.0 + 10.0;
  return static_cast<int>(std::lround(std::min(ms, 100.0) * 44.1));
}

void CEffectPhaser::StartLine(int delay) {
  delay_ = delay;
  read_ = (write_ - delay_) & kMask;
  gateFrames_ = delay_;
  reopening_ = false;
}

void CEffectPhaser::ResetState() {
  std::memset(line_.get(), 0, sizeof(float) * kLineFrames);
  write_ = 0;
  StartLine(DelayFrames(Param(0)));
  delayedShare_.Jump(0.0f);
}

void CEffectPhaser::Process(float* buffer, int frames, float /*bpm*/) {
  const int wanted = DelayFrames(Param(0));
  if (wanted != delay_ && !reopening_) {
    reopening_ = true;
    delayedShare_.Set(0.0f);
  }
  for (int i = 0; i < frames; ++i) {
    if (reopening_ && !delayedShare_.Moving()) StartLine(DelayFrames(Param(0)));
    float& sample = buffer[i * 2 + kChannel];
    line_[write_] = sample;
    const float delayed = line_[read_];
    write_ = (write_ + 1) & kMask;
    read_ = (read_ + 1) & kMask;
    // The read index has reached what was written after the line started.
    if (gateFrames_ > 0 && --gateFrames_ == 0) delayedShare_.Set(1.0f);
    const float share = delayedShare_.Next();
    sample += (delayed - sample) * share;
  }
}

}  // namespace vantaro
