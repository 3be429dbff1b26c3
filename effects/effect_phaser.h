#pragma once
// CEffectPhaser: delays the right channel against the left, by
// (v * 90 + 10) ms with v = parameter 0 / 1000 (10..100 ms), so the two
// sides comb when summed. When the delay is set, the gate opens: the right
// channel passes undelayed while the line fills, and once the read index has
// come round to the first sample written after the change (the delay later)
// the gate closes and the delayed signal takes the channel over. Gate moves
// crossfade over 10 ms: a new delay first fades the right channel back to
// direct, then starts the line afresh.
//
// Parameters: 0 delay 0..1000. Threads as builtin_effect.h.

#include <memory>

#include "effects/builtin_effect.h"

namespace vantaro {

class CEffectPhaser : public CBuiltinEffect {
 public:
  static constexpr int kLineFrames = 8192;  // above the longest delay, 4410 frames
  static constexpr int kChannel = 1;        // the delayed channel: right
  explicit CEffectPhaser(int preset = 0);

  void Process(float* buffer, int frames, float bpm) override;
  // Delay in frames of parameter value `value`.
  static int DelayFrames(int value);

 protected:
  void ResetState() override;

 private:
  void StartLine(int delay);

  std::unique_ptr<float[]> line_;
  int write_ = 0, read_ = 0;
  int delay_ = 0;       // frames, in force
  int gateFrames_ = 0;  // frames until the gate closes; 0 when closed
  bool reopening_ = false;
  LinearGlide delayedShare_;  // 0 direct, 1 delayed
};

}  // namespace vantaro
