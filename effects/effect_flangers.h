#pragma once
// CEffectFlangers: a swept delay with feedback, one line a side. A
// fractional read position p moves between minDelay and maxDelay and turns
// at the ends; the line delays by (length - p) frames. Per frame, with d the
// interpolated delayed sample: w = in + d * feedback goes into the line, and
// out = w * dry + d * wet.
//
// Presets (parameter 0), dry %, wet %, feedback %, delay ms, depth ms, speed:
//   0 60 50 30 2 3.0 0.2 | 1 60 50 60 1 3.0 0.3 | 2 0 100 80 2 3.0 0.3
//   3 90 90 20 3 0.5 6.1 | 4 0 100 0 1 18.0 100.0 | 5 60 60 0 20 20.0 11.0
// Parameter 1 (v = value / 1000) sets the sweep: presets 0..2 go there and
// back in beats(v) beats (BPM below 60 counts as 60), preset 4 moves
// (v * 120 + 30) / 1000 frames a frame, the others the preset's speed / 1000.
// Parameter 2 sets the feedback of presets 0..3 (presets 4 and 5 keep
// theirs); it glides over 10 ms.

#include <memory>

#include "effects/builtin_effect.h"

namespace vantaro {

class CEffectFlangers : public CBuiltinEffect {
 public:
  static constexpr int kPresetCount = 6;
  static constexpr int kLineFrames = 4096;  // 92 ms, above the deepest preset
  explicit CEffectFlangers(int preset = 0);

  void Process(float* buffer, int frames, float bpm) override;

  // Frames between the two turning points for the preset in force, and the
  // sweep speed (frames per frame) at `bpm`: what the tests measure against.
  double SweepRange() const { return maxDelay_ - minDelay_; }
  double SweepSpeed(float bpm) const;

 protected:
  void ApplyPreset(int preset) override;
  void ResetState() override;

 private:
  float FeedbackTarget() const;

  std::unique_ptr<float[]> line_;  // kLineFrames interleaved stereo frames
  int write_ = 0;
  bool primed_ = false;    // the line holds the first sample after Reset
  double position_ = 0.0;  // p
  double direction_ = 1.0;
  double minDelay_ = 0.0, maxDelay_ = 0.0;
  float dry_ = 0.0f, wet_ = 0.0f;
  LinearGlide feedback_;
};

}  // namespace vantaro
