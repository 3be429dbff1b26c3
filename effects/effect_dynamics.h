#pragma once
// CEffectDynamics: three gain computers on one frame loop.
//
//   preset 0, limiter with hold: above the threshold the gain brings the
//     level to the limit level; below it, the gain stays where it stands
//     for `hold` frames, then returns to unity. (A slow leveller: +6 dB in, -42 dB
//     threshold, -12 dB out.)
//   preset 1, compressor: above the threshold the level becomes
//     threshold + (level - threshold) / ratio; make-up gain brings 0 dBFS
//     back to 0 dBFS.
//   preset 2, peak limiter (the output limiter): the compressor's curve at
//     ratio 500, no make-up, on the peak of the next 12 frames of the block;
//     no sample leaves above the curve, whatever the attack.
//
// Presets 0 and 1 detect 0.5 * |L + R| (attack 0.25 a frame, 50 ms decay).
// The gain moves in dB as the multiplicative rule (target / current)^(1 /
// (time * 44.1)) does: by 1 / (time * 44.1) of the way a frame, with the
// attack time when it falls and the release time when it rises. With a
// release below 5 ms a gain change waits for a zero crossing of the left
// channel.
//
// Parameters (integers): 0 preset; 1 attack and 2 release in 0.1 ms; 3 input
// gain in 0.1 dB (-3188 and below: silence); 4 threshold in 0.1 dB; 5 ratio
// in tenths; 6 limit level in 0.1 dB; 7 hold in frames. A preset sets 1..7.
// Input gain, threshold, limit level, ratio and make-up glide over 10 ms.

#include "effects/builtin_effect.h"

namespace vantaro {

class CEffectDynamics : public CBuiltinEffect {
 public:
  enum Preset { kLimiterWithHold = 0, kCompressor = 1, kPeakLimiter = 2 };
  static constexpr int kLookAheadFrames = 12;
  explicit CEffectDynamics(int preset = kCompressor);

  void Process(float* buffer, int frames, float bpm) override;

 protected:
  void ApplyPreset(int preset) override;
  void ResetState() override;

 private:
  struct Targets {
    float inputGain, thresholdDb, limitDb, inverseRatio, makeUp;
  };
  Targets ReadTargets() const;
  Targets GlideToTargets(bool jump);
  // Gain (dB) the curve asks for a detected `level` (linear).
  float CurveGainDb(float level, float thresholdDb, float limitDb, float inverseRatio);
  // Frames whose look-ahead peaks are taken at once.
  static constexpr int kPeakChunk = 256;
  // peak[j]: the largest magnitude of either side over frames first + j to
  // first + j + kLookAheadFrames - 1 (none past `frames`); count <= kPeakChunk.
  static void PeaksAhead(const float* block, int first, int count, int frames, float* peak);

  LinearGlide inputGain_, thresholdDb_, limitDb_, inverseRatio_, makeUp_;
  float thresholdLinear_ = 1.0f;
  float level_ = 0.0f;       // detector, linear
  float targetDb_ = 0.0f;    // the curve's last answer
  float gainDb_ = 0.0f;      // where the gain stands
  float gainLinear_ = 1.0f;  // 10^(gainDb_ / 20), kept in step
  float appliedGain_ = 1.0f;
  float lastLeft_ = 0.0f;
  long holdCount_ = 0;
};

}  // namespace vantaro
