#include "effects/effect_dynamics.h"

#include <algorithm>
#include <cmath>

namespace vantaro {
namespace {

const char* const kPresetNames[] = {"Leveller", "Compressor", "Peak Limiter"};
const TEffectParamInfo kParams[] = {
    {"Preset", "", 0, 2, 1},
    {"Attack", "0.1 ms", 1, 100000, 10},
    {"Release", "0.1 ms", 1, 1000000, 3000},
    {"Input gain", "0.1 dB", -3200, 240, 0},
    {"Threshold", "0.1 dB", -600, 0, -90},
    {"Ratio", "0.1", 10, 10000, 90},
    {"Limit level", "0.1 dB", -600, 0, -90},
    {"Hold", "frames", 0, 1000000, 176401},
};
// Attack, release, input gain, threshold, ratio, limit level, hold.
constexpr int kPresetValues[3][7] = {
    {50000, 350000, 60, -420, 150, -120, 176401},
    {10, 3000, 0, -90, 90, -90, 176401},
    {3, 1000, 0, -15, 5000, -15, 176401},
};
constexpr float kDetectorAttack = 0.25f;
const float kDetectorDecay = static_cast<float>(std::exp(-1.0 / 2205.0));  // 50 ms
constexpr float kSilenceDb = -318.7f;
constexpr int kZeroCrossingRelease = 50;  // 5 ms in 0.1 ms

float DbToGain(float db) {
  return db <= -318.8f ? 0.0f : std::pow(10.0f, db * 0.05f);
}

// Share of the way a frame for a time in 0.1 ms: 1 / (ms * 44.1).
float StepOfTime(int tenthsMs) {
  return std::min(1.0f, 1.0f / (static_cast<float>(tenthsMs) * 4.41f));
}

}  // namespace

CEffectDynamics::CEffectDynamics(int preset) : CBuiltinEffect(kPresetNames, kParams, 8, preset) {
  Reset();
}

void CEffectDynamics::ApplyPreset(int preset) {
  for (int i = 0; i < 7; ++i) StoreParam(i + 1, kPresetValues[preset][i]);
}

CEffectDynamics::Targets CEffectDynamics::ReadTargets() const {
  Targets t;
  t.inputGain = DbToGain(static_cast<float>(Param(3)) * 0.1f);
  t.thresholdDb = static_cast<float>(Param(4)) * 0.1f;
  t.limitDb = static_cast<float>(Param(6)) * 0.1f;
  t.inverseRatio = 10.0f / static_cast<float>(Param(5));
  const float atZero = t.thresholdDb + (0.0f - t.thresholdDb) * t.inverseRatio;
  t.makeUp = PresetInForce() == kCompressor ? DbToGain(-atZero) : 1.0f;
  return t;
}

// Points every glide at the parameters' present targets: at once after a
// reset, over the glide time while playing. Returns the targets.
CEffectDynamics::Targets CEffectDynamics::GlideToTargets(bool jump) {
  const Targets t = ReadTargets();
  LinearGlide* glides[] = {&inputGain_, &thresholdDb_, &limitDb_, &inverseRatio_, &makeUp_};
  const float values[] = {t.inputGain, t.thresholdDb, t.limitDb, t.inverseRatio, t.makeUp};
  for (int i = 0; i < 5; ++i) {
    if (jump)
      glides[i]->Jump(values[i]);
    else
      glides[i]->Set(values[i]);
  }
  return t;
}

void CEffectDynamics::ResetState() {
  GlideToTargets(/*jump=*/true);
  level_ = targetDb_ = gainDb_ = lastLeft_ = 0.0f;
  gainLinear_ = appliedGain_ = 1.0f;
  holdCount_ = 0;
}

float CEffectDynamics::CurveGainDb(float level, float thresholdDb, float limitDb,
                                   float inverseRatio) {
  // The logarithm only above the threshold: below it the curve is flat.
  const bool above = level > thresholdLinear_;
  const float levelDb = above ? 20.0f * std::log10(level) : kSilenceDb;
  if (PresetInForce() != kLimiterWithHold)
    return above ? thresholdDb + (levelDb - thresholdDb) * inverseRatio - levelDb : 0.0f;
  if (above) {
    holdCount_ = 0;
    return limitDb - levelDb;
  }
  // Below the threshold: the gain stays where it stands through the hold,
  // then returns to unity.
  return ++holdCount_ > Param(7) ? 0.0f : gainDb_;
}

void CEffectDynamics::PeaksAhead(const float* block, int first, int count, int frames,
                                 float* peak) {
  // Frames past the block count as silence: a window never looks beyond it.
  float frameMax[kPeakChunk + kLookAheadFrames - 1];
  const int span = count + kLookAheadFrames - 1;
  for (int j = 0; j < span; ++j) {
    const int i = first + j;
    frameMax[j] =
        i < frames ? std::max(std::fabs(block[i * 2]), std::fabs(block[i * 2 + 1])) : 0.0f;
  }
  for (int j = 0; j < count; ++j) peak[j] = frameMax[j];
  for (int k = 1; k < kLookAheadFrames; ++k)
    for (int j = 0; j < count; ++j) {
      // Both read first, so the loop vectorises to a maximum, not a branch.
      const float now = peak[j], next = frameMax[j + k];
      peak[j] = now < next ? next : now;
    }
}

void CEffectDynamics::Process(float* buffer, int frames, float /*bpm*/) {
  const Targets t = GlideToTargets(/*jump=*/false);
  const float attack = StepOfTime(Param(1)), release = StepOfTime(Param(2));
  const bool waitForZero = Param(2) < kZeroCrossingRelease;
  const bool peakStyle = PresetInForce() == kPeakLimiter;
  // Per block: a threshold on its glide is compared a little early.
  thresholdLinear_ = DbToGain(t.thresholdDb);
  float peak[kPeakChunk];
  for (int i = 0; i < frames; ++i) {
    // The peak limiter's look-ahead for a chunk at once, from samples the
    // loop has not reached yet.
    if (peakStyle && i % kPeakChunk == 0)
      PeaksAhead(buffer, i, std::min(kPeakChunk, frames - i), frames, peak);
    float& left = buffer[i * 2];
    float& right = buffer[i * 2 + 1];
    const float inGain = inputGain_.Next();
    const float thresholdDb = thresholdDb_.Next(), limitDb = limitDb_.Next();
    const float inverseRatio = inverseRatio_.Next(), makeUp = makeUp_.Next();
    if (peakStyle) {
      level_ = peak[i % kPeakChunk] * inGain;
    } else {
      const float rectified = 0.5f * std::fabs(left + right) * inGain;
      level_ = rectified > level_ ? level_ + (rectified - level_) * kDetectorAttack
                                  : FlushTiny(level_ * kDetectorDecay);
    }
    targetDb_ = CurveGainDb(level_, thresholdDb, limitDb, inverseRatio);
    const float distance = targetDb_ - gainDb_;
    if (distance != 0.0f) {
      gainDb_ = std::fabs(distance) < 1e-4f
                    ? targetDb_
                    : gainDb_ + distance * (distance < 0.0f ? attack : release);
      gainLinear_ = DbToGain(gainDb_);
    }
    left *= inGain;
    right *= inGain;
    float gain = gainLinear_;
    // The peak limiter lets nothing through above its curve: its own
    // sample's need wins over a gain still on its way down.
    if (peakStyle) {
      const float own = std::max(std::fabs(left), std::fabs(right));
      if (own * gain > thresholdLinear_)
        gain = std::min(gain, DbToGain(CurveGainDb(own, thresholdDb, limitDb, inverseRatio)));
    }
    if (!waitForZero || (left >= 0.0f) != (lastLeft_ >= 0.0f)) appliedGain_ = gain;
    lastLeft_ = left;
    left *= appliedGain_ * makeUp;
    right *= appliedGain_ * makeUp;
  }
}

}  // namespace vantaro
