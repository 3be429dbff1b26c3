#pragma once
// CEffectReverbs: two banks of taps, left and right, on two rings. Per frame
// and side: wet = the sum of the taps times their gains; acc = (acc + wet) *
// 0.5, a one-pole low-pass; out = in * gain + acc * direct; the ring takes
// in * gain + other side's in * crossfeed + acc * feedback. Both are held
// to -1..1, so the loop can never run away; with the tap gains summing below
// one it also dies away at full feedback.
//
// Presets (parameter 0): 0 "Reverb", a small room of six taps a side
// (23..48 ms); 1 "Echo", one tap a side at 300 ms. Parameter 1 is the
// feedback, 0..1000 for 0..1, glided over 10 ms; each preset sets its own.
// kDecaySeconds gives each preset's decay (60 dB, at the preset's feedback,
// for a low tone).

#include <memory>

#include "effects/builtin_effect.h"

namespace vantaro {

class CEffectReverbs : public CBuiltinEffect {
 public:
  static constexpr int kPresetCount = 2;
  static constexpr int kMaxTaps = 6;
  static constexpr int kRingFrames = 32768;  // 0.74 s
  static constexpr float kDecaySeconds[kPresetCount] = {0.35f, 4.0f};
  explicit CEffectReverbs(int preset = 0);

  void Process(float* buffer, int frames, float bpm) override;

 protected:
  void ApplyPreset(int preset) override;
  void ResetState() override;

 private:
  std::unique_ptr<float[]> ring_;  // left ring, then right ring
  int write_ = 0;
  float acc_[2] = {0.0f, 0.0f};
  LinearGlide feedback_;
};

}  // namespace vantaro
