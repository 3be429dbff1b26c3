// Fader and crossfader laws heard through the whole callback: exact unity
// and silence at the ends, the law's dB between, and ramped changes.
#include <gtest/gtest.h>

#include <cmath>

#include "engine/engine_settings.h"
#include "engine/mixer_law.h"
#include "tests/engine/mixer_test_sources.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::kRampDone;
using test::MixerHarness;

// The law as the user sees it: -(91 ^ ((steps - p - 1) / (steps - 1)) - 1) dB.
double LawDb(int position, int steps = 128) {
  return -(std::pow(91.0, double(steps - position - 1) / (steps - 1)) - 1.0);
}

TEST(MixerFader, TopIsBitExactUnityAndBottomIsExactSilence) {
  MixerHarness h;
  h.mixer.SetFader(0, 127);
  test::ExpectMasterIs(h, h.sourceA, 4096);
  h.mixer.SetFader(0, 0);
  h.Render(kRampDone);
  for (float v : h.Render(4096)) ASSERT_EQ(v, 0.0f);
}

TEST(MixerFader, MiddlePositionsFollowTheLawWithin001Db) {
  for (int position : {1, 20, 64, 100, 126}) {
    MixerHarness h(440.0, 0.5f);
    h.mixer.SetFader(0, position);
    EXPECT_NEAR(test::MasterLevelDb(h), LawDb(position), 0.01) << "position " << position;
  }
  // One step below the top is a hair under unity, not unity.
  MixerHarness h;
  h.mixer.SetFader(0, 126);
  EXPECT_LT(h.mixer.FaderGain(0), 1.0f);
  EXPECT_GT(h.mixer.FaderGain(0), 0.99f);
}

TEST(MixerFader, ChangeRampsOver100FramesInSmallSteps) {
  MixerHarness h(0.0, 1.0f);  // DC 1.0: the output is the applied gain
  h.Render(512);              // fader at 0: silence
  h.mixer.SetFader(0, 127);
  const std::vector<float> up = h.Render(512);
  // Per frame the gain + 1 grows by 2 ^ (1/100): the largest step is at the
  // top, 2 * (2 ^ 0.01 - 1).
  const double maxStep = 2.0 * (std::pow(2.0, 0.01) - 1.0) + 1e-6;
  for (int i = 1; i < 512; ++i) {
    ASSERT_GE(up[i * 2], up[(i - 1) * 2]) << i;
    ASSERT_LE(up[i * 2] - up[(i - 1) * 2], maxStep) << i;
  }
  EXPECT_GT(up[0], 0.0f);
  EXPECT_LT(up[90 * 2], 0.99f);
  EXPECT_EQ(up[99 * 2], 1.0f);  // the 100th frame stands at the target
  EXPECT_EQ(up[511 * 2], 1.0f);
  // Down again, to exact silence, over the same length.
  h.mixer.SetFader(0, 0);
  const std::vector<float> down = h.Render(512);
  for (int i = 1; i < 512; ++i) ASSERT_LE(down[i * 2], down[(i - 1) * 2]) << i;
  EXPECT_GT(down[90 * 2], 0.0f);
  EXPECT_LT(down[99 * 2], 1e-6f);  // rounding may leave the last step to frame 101
  EXPECT_EQ(down[100 * 2], 0.0f);
}

TEST(MixerCrossfader, EndsSilenceOneSideAndLeaveTheOtherAtUnity) {
  MixerHarness h(440.0, 0.4f, 1000.0, 0.3f);
  h.mixer.SetFader(0, 127);
  h.mixer.SetFader(1, 127);
  h.mixer.SetCrossfader(127);
  test::ExpectMasterIs(h, h.sourceB, 2048);
  h.mixer.SetCrossfader(0);
  test::ExpectMasterIs(h, h.sourceA, 2048);
}

TEST(MixerCrossfader, CurveSetsTheFlatRangeAndMinusOneIsAHardCut) {
  MixerHarness h;
  // Curve 50: the left side is full up to position 50, then falls by the law.
  h.mixer.SetCrossfader(50);
  EXPECT_EQ(h.mixer.CrossGain(0), 1.0f);
  h.mixer.SetCrossfader(51);
  const double crossDb = -(std::pow(91.0, 1.0 / 77.0) - 1.0);
  EXPECT_NEAR(test::ToDb(h.mixer.CrossGain(0)), crossDb, 0.001);
  h.mixer.SetCrossfader(126);
  EXPECT_NEAR(test::ToDb(h.mixer.CrossGain(0)), -(std::pow(91.0, 76.0 / 77.0) - 1.0), 0.01);
  EXPECT_EQ(h.mixer.CrossGain(1), 1.0f);

  EXPECT_TRUE(h.mixer.SetCrossCurve(-1));
  h.mixer.SetCrossfader(63);
  EXPECT_EQ(h.mixer.CrossGain(0), 1.0f);
  EXPECT_EQ(h.mixer.CrossGain(1), 0.0f);
  h.mixer.SetCrossfader(64);
  EXPECT_EQ(h.mixer.CrossGain(0), 0.0f);
  EXPECT_EQ(h.mixer.CrossGain(1), 1.0f);

  // Heard: with the hard cut at 64 only deck B plays.
  h.mixer.SetFader(0, 127);
  h.mixer.SetFader(1, 127);
  test::ExpectMasterIs(h, h.sourceB, 1024);

  EXPECT_FALSE(h.mixer.SetCrossCurve(-2));
  EXPECT_FALSE(h.mixer.SetCrossCurve(126));
  EXPECT_TRUE(h.mixer.SetCrossCurve(125));
}

TEST(MixerCrossfader, InputOffTheCrossfaderKeepsItsGain) {
  MixerHarness h;
  h.mixer.SetCrossfader(127);  // deck 0 (left) silenced
  EXPECT_EQ(h.mixer.CrossGain(0), 0.0f);
  h.mixer.SetCrossSide(-1, 0);
  h.mixer.SetCrossfader(0);
  EXPECT_EQ(h.mixer.CrossGain(0), 0.0f);  // kept, not recomputed
  h.mixer.SetCrossSide(0, 0);
  EXPECT_EQ(h.mixer.CrossGain(0), 1.0f);
}

TEST(MixerGains, DbSettersAndOutOfRangeInputs) {
  MixerHarness h;
  h.mixer.SetChannelGainDb(0, -6.0);
  EXPECT_NEAR(h.mixer.GetChannelGainDb(0), -6.0, 0.05);  // read through FastLog10
  h.mixer.SetMasterGainDb(-400.0);
  EXPECT_EQ(h.mixer.GetMasterGainDb(), kSilenceDb);
  EXPECT_EQ(h.mixer.GetChannelGainDb(2), kOffDb);
  EXPECT_EQ(h.mixer.GetChannelGainDb(-1), kOffDb);
  h.mixer.SetFader(5, 127);  // ignored
  EXPECT_EQ(h.mixer.FaderGain(5), 0.0f);
  // Master gain -6 dB halves (about) the bus.
  h.mixer.SetChannelGainDb(0, 0.0);
  h.mixer.SetMasterGainDb(-6.0);
  h.mixer.SetFader(0, 127);
  EXPECT_NEAR(test::MasterLevelDb(h), -6.0, 0.01);
}

TEST(MixerGains, AutomaticGainFromThePerceivedGain) {
  MixerHarness h;
  EngineSettings& settings = TheEngineSettings();
  const bool saved = settings.autoGain.load();
  EXPECT_EQ(AutoGainSliderValue(-3.2f), 43);  // (-3.2 + 7.5) * 10
  EXPECT_EQ(AutoGainSliderValue(-7.5f), 0);
  settings.autoGain = true;
  EXPECT_FALSE(ApplyAutoGain(h.mixer, 0, false, -3.2f));  // no gain learnt yet
  EXPECT_NEAR(h.mixer.GetChannelGainDb(0), 0.0, 1e-9);
  EXPECT_TRUE(ApplyAutoGain(h.mixer, 0, true, -3.2f));
  EXPECT_NEAR(h.mixer.GetChannelGainDb(0), 4.3, 0.05);  // read back through FastLog10
  settings.autoGain = false;
  EXPECT_FALSE(ApplyAutoGain(h.mixer, 1, true, 2.0f));
  EXPECT_NEAR(h.mixer.GetChannelGainDb(1), 0.0, 1e-9);
  settings.autoGain = saved;
}

TEST(MixerInputs, SixteenInputsAtMostAndPhasesInOrder) {
  CMixer mixer(64);
  int log[64], count = 0;
  std::vector<std::unique_ptr<test::SignalSource>> sources;
  for (int i = 0; i < 16; ++i) {
    sources.push_back(std::make_unique<test::SignalSource>(0.0, 0.0f));
    sources.back()->id = i;
    sources.back()->syncLog = log;
    sources.back()->syncCount = &count;
    ASSERT_EQ(mixer.AddInput(sources.back().get()), i);
  }
  test::SignalSource extra(0.0, 0.0f);
  EXPECT_EQ(mixer.AddInput(&extra), -1);
  EXPECT_EQ(mixer.InputCount(), 16);
  // Every input sees phase 0 before any sees phase 1, in input order.
  float master[64 * 2], monitor[64 * 2];
  mixer.RenderMix(master, monitor, 64);
  ASSERT_EQ(count, 48);
  for (int phase = 0; phase < 3; ++phase)
    for (int i = 0; i < 16; ++i) EXPECT_EQ(log[phase * 16 + i], i * 10 + phase);
}

TEST(MixerInputs, AnInputWithoutSourceIsSilent) {
  CMixer mixer(64);
  test::SignalSource source(0.0, 0.5f);
  ASSERT_EQ(mixer.AddInput(nullptr), 0);
  ASSERT_EQ(mixer.AddInput(&source), 1);
  mixer.SetFader(0, 127);
  mixer.SetFader(1, 127);
  float master[64 * 2], monitor[64 * 2];
  for (int block = 0; block < 3; ++block) mixer.RenderMix(master, monitor, 64);
  EXPECT_EQ(master[127], 0.5f);
}

TEST(MixerInputs, BlocksLargerThanTheCapacityAreServedInPieces) {
  test::SignalSource source(0.0, 0.25f);
  CMixer mixer(32);
  mixer.AddInput(&source);
  mixer.SetFaderSteps(128);
  mixer.SetFader(0, 127);
  std::vector<float> master(1000 * 2), monitor(1000 * 2);
  mixer.RenderMix(master.data(), monitor.data(), 1000);
  EXPECT_EQ(source.position_, 1000);
  EXPECT_EQ(master[999 * 2], 0.25f);
}

}  // namespace
}  // namespace vantaro
