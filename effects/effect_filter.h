#pragma once
// CEffectFilter: one filter for any chain. Parameter 0 picks the type: the
// nine cookbook biquads (1 low-pass, 2 high-pass, 3 band-pass with constant
// skirt, 4 band-pass with 0 dB peak, 5 notch, 6 all-pass, 7 peaking, 8 low
// shelf, 9 high shelf; one section a side), or the mixer's cut-off pair
// (10 low-pass, 11 high-pass: two sections in series). Parameters 1..3 are
// sliders 0..1000: frequency 20 Hz * 1000^(v / 1000) (20 Hz to 20 kHz), Q
// 0.1 * 100^(v / 1000) (0.1 to 10; 425 is about 0.71), gain (v - 500) *
// 0.048 dB (+-24 dB, types 7 to 9). They glide (swept_filter.h); a type
// change fades out and in like any preset.

#include "effects/builtin_effect.h"
#include "effects/swept_filter.h"

namespace vantaro {

class CEffectFilter : public CBuiltinEffect {
 public:
  static constexpr int kCutoffLowPass = 10;
  static constexpr int kCutoffHighPass = 11;
  explicit CEffectFilter(int type = kBiquadLowPass);

  void Process(float* buffer, int frames, float bpm) override;
  std::string GetParamText(int id) override;

  static float FrequencyOf(int value);
  static float QOf(int value);
  static float GainDbOf(int value);

 protected:
  void ResetState() override;

 private:
  void SetFilter();

  SweptFilter filter_;
};

}  // namespace vantaro
