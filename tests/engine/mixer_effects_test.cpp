// The equaliser, the cut-off filter, the chain filter and the output limiter
// heard the way the user hears them: a generated sine through the deck's
// channel, the mixer and RenderDeviceBlock into the offline device.
#include <gtest/gtest.h>

#include <functional>

#include "devices/offline_device.h"
#include "effects/biquad.h"
#include "effects/effect_filter.h"
#include "effects/effect_registry.h"
#include "effects/equalizer_iir.h"
#include "engine/audio_render.h"
#include "tests/effects/test_effects.h"
#include "tests/engine/mixer_test_sources.h"

namespace vantaro {
namespace {

using Setup = std::function<void(test::MixerHarness&)>;
// Called every 256-frame block with the block's first frame.
using Steer = std::function<void(test::MixerHarness&, long frame)>;

// Left channel of the device output: deck A (`hz`, `level`) alone on the
// master through the program's path.
std::vector<float> Play(double hz, float level, double seconds, const Setup& setup,
                        const Steer& steer = nullptr) {
  test::MixerHarness h(hz, level, 0.0, 0.0f);
  h.mixer().SetFader(0, 127);
  setup(h);
  AudioRenderer renderer;
  renderer.mix = &h.mixer();
  renderer.limiter = h.rig.limiter.get();
  OfflineDevice device(renderer, 256, 2);
  std::vector<float> left;
  long frame = 0;
  device.Run(static_cast<long>(seconds * 44100), [&](const float* block, int frames, int) {
    for (int i = 0; i < frames; ++i) left.push_back(block[i * 2]);
    frame += frames;
    if (steer) steer(h, frame);
  });
  return left;
}

// Steady gain in dB of a 0.5 sine at `hz` (the last quarter second of 0.6).
double GainDb(double hz, const Setup& setup) {
  const std::vector<float> left = Play(hz, 0.5f, 0.6, setup);
  const std::vector<float> tail(left.end() - 11025, left.end());
  return 20 * std::log10(test::Rms(tail, 1, 0) / (0.5 / std::sqrt(2.0)));
}

TEST(EqKill, EachKillLowersItsBandByTheDesignDepthAndLeavesTheOthers) {
  const double flat[3] = {1, 1, 1};
  for (double hz : {100.0, 1000.0, 10000.0}) {
    const double reference = GainDb(hz, [](auto& h) { h.channelA().SetEqBand(1, 0.0f); });
    for (int band = 1; band <= 3; ++band) {
      double killed[3] = {1, 1, 1};
      killed[band - 1] = 1e-5;  // -40 dB is taken as -100 dB
      const double design = EqualizerResponse(hz, killed) - EqualizerResponse(hz, flat);
      const double depth = GainDb(hz, [band](auto& h) { h.channelA().SetKill(band, true); });
      EXPECT_NEAR(depth - reference, design, 1.0) << "band " << band << " at " << hz << " Hz";
    }
  }
}

TEST(FilterCutoff, SixDbDownPointWithinThreePercentLowAndHighPass) {
  for (bool lowPass : {true, false}) {
    for (double hz : {100.0, 1000.0, 10000.0}) {
      SCOPED_TRACE(testing::Message() << (lowPass ? "low" : "high") << "-pass at " << hz);
      auto at = [&](double f) {
        return GainDb(f, [&](auto& h) { h.channelA().SetCutoff(static_cast<float>(hz), lowPass); });
      };
      const double below = at(hz * 0.97), above = at(hz * 1.03);
      EXPECT_GT(lowPass ? below : above, -6.0206);
      EXPECT_LT(lowPass ? above : below, -6.0206);
    }
  }
}

TEST(FilterEffect, NineTypesFollowTheCookbookResponseAtFiveFrequencies) {
  const int frequencyValue = 600, qValue = 425, gainValue = 750;
  for (int type = kBiquadLowPass; type <= kBiquadHighShelf; ++type) {
    TBiquad design;
    DesignBiquad(design, CEffectFilter::FrequencyOf(frequencyValue),
                 CEffectFilter::GainDbOf(gainValue), CEffectFilter::QOf(qValue), type);
    for (double hz : {100.0, 700.0, 1800.0, 4000.0, 12000.0}) {
      const double measured = GainDb(hz, [&](auto& h) {
        CEffect* filter = h.channelA().Chain().AddEffect(kEffectTypeFilter, 1.0f);
        const int values[] = {type, frequencyValue, qValue, gainValue};
        for (int id = 0; id < 4; ++id) filter->SetParam(id, values[id]);
      });
      EXPECT_NEAR(measured, test::CookbookDb(design, hz), 0.5)
          << "type " << type << " at " << hz << " Hz";
    }
  }
}

TEST(EffectLimiter, OutputLimiterKeepsASixDbBurstUnderMinusOneDbfsOnlyWhenOn) {
  for (bool on : {true, false}) {
    const std::vector<float> left =
        Play(1000, 2.0f, 1.0, [on](auto& h) { SetLimiterOn(h.rig, on); });
    const std::vector<float> after(left.begin() + 2205, left.end());  // its 10 ms fade-in
    if (on)
      EXPECT_LT(test::Peak(after, 1, 0), std::pow(10.0, -1.0 / 20));
    else
      EXPECT_NEAR(test::Peak(after, 1, 0), 2.0, 0.01) << "bypassed";
  }
}

// Largest step of a 1 kHz sine over 2 s, with `at(k)` applied for step k of
// `steps` at equal spacing.
double LargestStepWhile(int steps, const std::function<void(test::MixerHarness&, int)>& at) {
  const long spacing = 88200 / steps;
  return test::LargestStep(Play(
                               1000, 0.5f, 2.0, [&](auto& h) { at(h, 0); },
                               [&](auto& h, long frame) {
                                 const int k = static_cast<int>(frame / spacing);
                                 if (k < steps && frame % spacing < 256) at(h, k);
                               }),
                           1, 0);
}

TEST(FilterZipper, EqBandAndFilterKnobSweepsAndSwitchesStayWithinTheirHeldEnds) {
  struct Sweep {
    const char* what;
    std::function<void(test::MixerHarness&, int)> at;  // k of 128
  };
  const Sweep sweeps[] = {
      {"knob low-pass", [](auto& h, int k) { h.channelA().SetFilterKnob(-1 - k * 63 / 127, 2); }},
      {"knob high-pass", [](auto& h, int k) { h.channelA().SetFilterKnob(1 + k * 62 / 127, 2); }},
      {"knob on and off", [](auto& h, int k) { h.channelA().SetFilterKnob(k % 2 ? -30 : 0, 2); }},
      {"low to high-pass", [](auto& h, int k) { h.channelA().SetFilterKnob(k % 2 ? -20 : 20, 2); }},
  };
  for (const Sweep& s : sweeps) {
    const double held = std::max(LargestStepWhile(1, [&](auto& h, int) { s.at(h, 0); }),
                                 LargestStepWhile(1, [&](auto& h, int) { s.at(h, 127); }));
    const double heldOther = LargestStepWhile(1, [&](auto& h, int) { s.at(h, 1); });
    EXPECT_LE(LargestStepWhile(128, s.at), std::max(held, heldOther) * 1.5) << s.what;
  }
}

}  // namespace
}  // namespace vantaro
