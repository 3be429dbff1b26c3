// The built-in effects on their own, by what they promise: rates and sweeps
// that follow the tempo, the dynamics curves and times, the phaser's delay,
// the reverbs' decay; no parameter, dry/wet or switch that steps the signal;
// no subnormal after a burst, and no NaN that sticks.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "effects/effect_dynamics.h"
#include "effects/effect_phaser.h"
#include "effects/effect_registry.h"
#include "effects/effect_reverbs.h"
#include "tests/effects/test_effects.h"
#include "tests/support/test_support.h"

#if defined(__SSE__)
#include <xmmintrin.h>
#endif

namespace vantaro {
namespace {

constexpr int kBlock = 256;

// Runs `effect`, switched on, over `signal` (interleaved stereo) in blocks,
// fully wet (after its 10 ms fade-in).
void RunOn(CEffect& effect, std::vector<float>& signal, float bpm = 120.0f) {
  effect.RequestSwitch(kSwitchOn);
  const long frames = static_cast<long>(signal.size() / 2);
  for (long done = 0; done < frames; done += kBlock)
    effect.ProcessBlock(signal.data() + done * 2,
                        static_cast<int>(std::min<long>(kBlock, frames - done)), bpm,
                        EffectMix::kFullyWet, true);
}

using test::Part;
using test::Sine;

double PeakDb(const std::vector<float>& mono) {
  return 20 * std::log10(test::Peak(mono, 1, 0));
}

TEST(EffectAmplitudes, RateFollowsTempoAndSpeedAndATempoChangeBendsButNeverSteps) {
  struct Case {
    int type, speed;
    float bpm;
    double hz;  // of the level's cycle
  };
  const Case cases[] = {
      {kEffectTypeTremolo, 500, 120, 4.0},  // beats(0.5) = 2 cycles a beat
      {kEffectTypeTremolo, 500, 90, 3.0},
      {kEffectTypeAutoPan, 500, 120, 1.0},  // one cycle over 2 beats
      {kEffectTypeAutoPan, 250, 90, 3.0},   // beats(0.25) = 1/2
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "type " << c.type << " at " << c.bpm);
    auto effect = CreateEffectOfType(c.type);
    effect->SetParam(1, c.speed);
    std::vector<float> dc(44100 * 4 * 2, 1.0f);
    RunOn(*effect, dc, c.bpm);
    std::vector<float> level = Part(dc, 0.1, 4.0), right = Part(dc, 0.1, 4.0, 1);
    for (size_t i = 0; i < level.size(); ++i) {
      ASSERT_NEAR(right[i], c.type == kEffectTypeAutoPan ? 1 - level[i] : level[i], 1e-5);
      level[i] -= 0.5f;
    }
    EXPECT_NEAR(test::ToneFrequency(level, 1, 0), c.hz, c.hz * 0.01);
  }
  // 120 BPM, then 160: the level carries on from where it stood.
  auto tremolo = CreateEffectOfType(kEffectTypeTremolo);
  std::vector<float> dc(44100 * 2 * 2, 1.0f);
  RunOn(*tremolo, dc, 120.0f);
  std::vector<float> fast(44100 * 2, 1.0f);
  RunOn(*tremolo, fast, 160.0f);
  dc.insert(dc.end(), fast.begin(), fast.end());
  EXPECT_LE(test::LargestStep(Part(dc, 0.1, 3.0), 1, 0),
            test::LargestStep(Part(dc, 2.1, 3.0), 1, 0) * 1.01);
}

TEST(EffectDynamics, CompressorCurveWithMakeUpAndTheLimiterHoldingThenReleasing) {
  // Threshold -9 dB, ratio 9, make-up 8 dB: 0 dBFS stays 0 dBFS.
  for (double inDb : {-30.0, -15.0, -9.0, -3.0, 0.0}) {
    CEffectDynamics compressor(CEffectDynamics::kCompressor);
    std::vector<float> s = Sine(1000, 1.0, static_cast<float>(std::pow(10, inDb / 20)));
    RunOn(compressor, s);
    const double expected = (inDb <= -9 ? inDb : -9 + (inDb + 9) / 9) + 8;
    EXPECT_NEAR(PeakDb(Part(s, 0.75, 1.0)), expected, 0.5) << inDb << " dBFS";
  }
  // The leveller takes -20 dBFS (+6 in) to -12: it rises 2 dB over the
  // input gain with the release time constant (0.5 s). After it goes quiet
  // the gain holds 0.5 s, then falls back to the input gain's 6 dB with the
  // attack time (the detector needs ~0.16 s to fall below -42 dB, so the
  // hold runs from about 1.16 s to 1.66 s).
  CEffectDynamics leveller(CEffectDynamics::kLimiterWithHold);
  leveller.SetParam(1, 100);    // attack 10 ms
  leveller.SetParam(2, 5000);   // release 0.5 s
  leveller.SetParam(7, 22050);  // hold 0.5 s
  std::vector<float> s = Sine(1000, 1.0, 0.1f);
  const std::vector<float> quiet = Sine(1000, 3.0, 0.001f);
  s.insert(s.end(), quiet.begin(), quiet.end());
  RunOn(leveller, s);
  auto gainDb = [&](double at, double inDb) { return PeakDb(Part(s, at, at + 0.05)) - inDb; };
  EXPECT_NEAR(gainDb(0.5, -20), 6.0 + 2.0 * (1 - 1 / M_E), 0.3) << "a time constant up";
  EXPECT_NEAR(gainDb(0.9, -20), 8.0, 0.4);
  const double held = gainDb(1.2, -60);
  EXPECT_GT(held, 8.0);
  EXPECT_NEAR(gainDb(1.55, -60), held, 0.05) << "held";
  EXPECT_NEAR(gainDb(1.8, -60), 6.0, 0.15) << "back to unity";
}

TEST(FlangerSweep, PeriodFollowsTheTempoFormula) {
  struct Case {
    int preset, speed;
    float bpm;
    double periodFrames;  // beats(speed / 1000) beats
  };
  const Case cases[] = {{0, 500, 120, 2 * 22050.0},
                        {1, 250, 90, 0.5 * 29400.0},
                        {0, 375, 40, 44100.0}};  // below 60 BPM counts as 60
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "preset " << c.preset << " at " << c.bpm);
    auto flanger = CreateEffectOfType(kEffectTypeFlanger + c.preset);
    flanger->SetParam(1, c.speed);
    flanger->SetParam(2, 0);  // least feedback: one clear echo
    constexpr int kSpacing = 1024;
    std::vector<float> impulses(static_cast<size_t>(c.periodFrames * 6) * 2);
    for (size_t i = 0; i < impulses.size() / 2; i += kSpacing) impulses[i * 2] = 1.0f;
    RunOn(*flanger, impulses, c.bpm);
    // The delay of the first echo after each impulse, traced over time.
    std::vector<float> delays;
    for (size_t at = 2 * kSpacing; at + kSpacing < impulses.size() / 2; at += kSpacing) {
      size_t k = at + 1;
      while (std::fabs(impulses[k * 2]) < 0.01f) ++k;
      const float a = std::fabs(impulses[k * 2]), b = std::fabs(impulses[k * 2 + 2]);
      delays.push_back(static_cast<float>(k - at) + b / (a + b));
    }
    double mean = 0;
    for (float d : delays) mean += d / delays.size();
    for (float& d : delays) d -= static_cast<float>(mean);
    const double period = 44100.0 / test::ToneFrequency(delays, 1, 0) * kSpacing;
    EXPECT_NEAR(period, c.periodFrames, c.periodFrames * 0.02);
  }
}

TEST(EffectPhaser, DelaysTheRightChannelByTheSetTimeWithinAFrame) {
  for (int value : {0, 500, 1000}) {
    CEffectPhaser phaser;
    phaser.SetParam(0, value);
    const int delay = static_cast<int>(std::lround((value * 0.09 + 10) * 44.1));
    std::vector<float> s = test::Noise(44100, 7);
    RunOn(phaser, s);
    int best = 0;
    double bestError = 1e30;
    for (int lag = delay - 5; lag <= delay + 5; ++lag) {
      double error = 0;
      for (int i = 20000; i < 44100; ++i) error += std::fabs(s[i * 2 + 1] - s[(i - lag) * 2]);
      if (error < bestError) bestError = error, best = lag;
    }
    EXPECT_NEAR(best, delay, 1) << value;
    EXPECT_LT(bestError, 1e-3) << "the delayed channel takes over whole";
  }
}

// RT60 from the Schroeder decay of `mono` after `start` seconds: three
// times the span from -5 to -25 dB.
double DecaySeconds(const std::vector<float>& mono, double start) {
  std::vector<double> energy(mono.size() + 1, 0.0);
  for (size_t i = mono.size(); i-- > 0;) energy[i] = energy[i + 1] + double(mono[i]) * mono[i];
  const size_t from = static_cast<size_t>(start * 44100);
  double t5 = -1, t25 = -1;
  for (size_t i = from; i < mono.size() && t25 < 0; ++i) {
    const double db = 10 * std::log10(energy[i] / energy[from]);
    if (t5 < 0 && db <= -5) t5 = i / 44100.0;
    if (db <= -25) t25 = i / 44100.0;
  }
  return 3 * (t25 - t5);
}

TEST(EffectReverb, DecayWithinAFifthOfItsStatedFigureAndDiesAwayAtFullFeedback) {
  for (int preset = 0; preset < CEffectReverbs::kPresetCount; ++preset) {
    for (int feedback : {-1, 1000}) {
      SCOPED_TRACE(testing::Message() << "preset " << preset << " feedback " << feedback);
      CEffectReverbs reverb(preset);
      if (feedback >= 0) reverb.SetParam(1, feedback);
      std::vector<float> s = Sine(200, 0.5, 0.5f);
      s.resize(44100 * 40 * 2, 0.0f);
      RunOn(reverb, s);
      const std::vector<float> left = Part(s, 0, 40);
      if (feedback < 0) {
        const double stated = CEffectReverbs::kDecaySeconds[preset];
        EXPECT_NEAR(DecaySeconds(left, 0.5), stated, stated * 0.2);
      } else {
        EXPECT_LT(test::Peak(Part(s, 39, 40), 1, 0), test::Peak(Part(s, 0.5, 1.5), 1, 0) * 1e-3);
      }
    }
  }
}

// Largest sample step over 2 s of a 1 kHz sine through `effect` (dry/wet
// 1), with `apply(k)` called for k = 0..steps-1 at equal spacing.
double StepWhile(int type, int steps, const std::function<void(CEffect&, int)>& apply) {
  auto effect = CreateEffectOfType(type);
  effect->SetDryWet(1.0f);
  std::vector<float> s = Sine(1000, 2.0, 0.5f);
  const long spacing = static_cast<long>(s.size() / 2) / steps;
  int next = 0;
  for (long done = 0; done < static_cast<long>(s.size() / 2); done += kBlock) {
    while (next < steps && next * spacing <= done) apply(*effect, next++);
    effect->ProcessMixed(s.data() + done * 2,
                         static_cast<int>(std::min<long>(kBlock, s.size() / 2 - done)), 120.0f);
  }
  return std::max(test::LargestStep(s, 2, 0), test::LargestStep(s, 2, 1));
}

TEST(EffectZipper, EveryParameterDryWetAndSwitchMoveWithoutSteppingTheSignal) {
  int count;
  const int* types = BuiltInEffectTypes(&count);
  for (int t = 0; t < count; ++t) {
    auto probe = CreateEffectOfType(types[t]);
    for (int i = 0; i < probe->GetParamCount(); ++i) {
      const int id = probe->GetParamId(i);
      int low = -40, high = 0;  // the equaliser's bands: to a kill
      probe->GetParamRange(id, &low, &high);
      auto at = [&](int k) { return low + static_cast<int>((high - low) * int64_t{k} / 127); };
      auto set = [&](CEffect& e, int k) { e.SetParam(id, at(k)); };
      // Held at either end; a preset (a few values) held at each of them.
      const bool preset = id == 0 && high - low < 16;
      double held = 0;
      for (int k = 0; k < 128; k += preset || k == 127 ? 1 : 127)
        if (!preset || at(k) != at(k - 1) || k == 0)
          held = std::max(held, StepWhile(types[t], 1, [&](CEffect& e, int) { set(e, k); }));
      EXPECT_LE(StepWhile(types[t], 128, set), held * 1.5) << "type " << types[t] << " id " << id;
    }
    // Dry/wet 0 to 1, and on/off 128 times.
    const double wet = StepWhile(types[t], 1, [](CEffect&, int) {});
    auto dry = [](CEffect& e, int) { e.SetDryWet(0.0f); };
    const double held = std::max(wet, StepWhile(types[t], 1, dry));
    EXPECT_LE(StepWhile(types[t], 128, [](CEffect& e, int k) { e.SetDryWet(k / 127.0f); }),
              held * 1.5)
        << "type " << types[t] << " dry/wet";
    EXPECT_LE(StepWhile(types[t], 128, [](CEffect& e, int k) { e.SetDryWet(k % 2 ? 1.0f : 0.0f); }),
              held * 1.5)
        << "type " << types[t] << " on/off";
  }
}

TEST(EffectDenormals, SilenceAfterABurstStaysNormalAndANaNDoesNotStick) {
#if defined(__SSE__)
  const unsigned mode = _mm_getcsr();
  _mm_setcsr(mode & ~0x8040u);  // flush-to-zero and denormals-are-zero off
#endif
  int count;
  const int* types = BuiltInEffectTypes(&count);
  for (int t = 0; t < count; ++t) {
    SCOPED_TRACE(testing::Message() << "type " << types[t]);
    auto effect = CreateEffectOfType(types[t]);
    std::vector<float> s = Sine(150, 0.5, 0.9f);
    s.resize(44100 * 60 * 2 + s.size(), 0.0f);
    RunOn(*effect, s);
    long subnormal = 0;
    for (float v : s) subnormal += std::fpclassify(v) == FP_SUBNORMAL;
    EXPECT_EQ(subnormal, 0);
    std::vector<float> block = Sine(440, 2 * kBlock / 44100.0, 0.5f);
    block[10] = NAN;
    block[kBlock * 2 + 20] = INFINITY;
    RunOn(*effect, block);  // the NaN block, then the infinite one
    block = Sine(440, kBlock / 44100.0, 0.5f);
    RunOn(*effect, block);
    for (float v : block) ASSERT_TRUE(std::isfinite(v));
  }
#if defined(__SSE__)
  _mm_setcsr(mode);
#endif
}

}  // namespace
}  // namespace vantaro
