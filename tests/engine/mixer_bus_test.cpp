// The buses around the faders: meters, talkover, the master chain, the
// monitor (cue, cue mix, split headphones) and the external-mixer mode.
#include <gtest/gtest.h>

#include <cmath>
#include <utility>

#include "engine/engine_settings.h"
#include "engine/mixer_law.h"
#include "tests/engine/mixer_test_sources.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::kRampDone;
using test::MixerHarness;
using test::ScaleEffect;
using test::SignalSource;

// The meter's reading of a full-scale sine: mean square 0.5, whose float has
// exponent byte 126 and mantissa 1, so FastLog10 gives (126 - 128 + 1 * (2 -
// 1/3) - 2/3) / 3.3125 = -1 / 3.3125, and the meter 20 * that * 0.5.
constexpr double kFullScaleSineDb = 10.0 * (-1.0 / 3.3125);
constexpr int kMasterMeter = -1, kMonitorMeter = -2, kAuxMeter = -3;

// Each meter read as (left, right); a read also resets it.
std::pair<float, float> Meter(CMixer& mixer, int input) {
  float left, right;
  if (input == kMasterMeter)
    mixer.ReadMasterVu(&left, &right);
  else if (input == kMonitorMeter)
    mixer.ReadMonitorVu(&left, &right);
  else if (input == kAuxMeter)
    mixer.ReadAuxVu(&left, &right);
  else
    mixer.ReadInputVu(input, &left, &right);
  return {left, right};
}

TEST(MixerMeters, FullScaleSineAndSilence) {
  MixerHarness h(441.0, 1.0f, 0.0, 0.0f);  // 100 frames a period; deck B silent
  h.mixer.SetFader(0, 127);
  h.Render(kRampDone);
  for (int meter : {kMasterMeter, 0, kMonitorMeter}) Meter(h.mixer, meter);
  h.Render(44100);
  const auto [masterLeft, masterRight] = Meter(h.mixer, kMasterMeter);
  EXPECT_NEAR(masterLeft, kFullScaleSineDb, 0.001);
  EXPECT_NEAR(masterRight, kFullScaleSineDb, 0.001);
  EXPECT_NEAR(Meter(h.mixer, 0).first, kFullScaleSineDb, 0.001);
  // The input meter adds the channel gain; deck B's input is silent.
  h.mixer.SetChannelGainDb(0, -6.0);
  h.Render(44100);
  EXPECT_NEAR(Meter(h.mixer, 0).first, kFullScaleSineDb + h.mixer.GetChannelGainDb(0), 0.001);
  EXPECT_NEAR(Meter(h.mixer, kMasterMeter).first, kFullScaleSineDb - 6.0, 0.05);
  // A read resets: nothing rendered since reads the floor.
  const float floor = static_cast<float>(kMeterFloorDb);
  EXPECT_EQ(Meter(h.mixer, kMasterMeter), std::make_pair(floor, floor));
  // Silence rendered reads the floor too, on every meter.
  h.mixer.SetFader(0, 0);
  h.Render(kRampDone);
  for (int meter : {kMasterMeter, kMonitorMeter}) Meter(h.mixer, meter);
  h.Render(4410);
  for (int meter : {kMasterMeter, kMonitorMeter, kAuxMeter, 1})
    EXPECT_EQ(Meter(h.mixer, meter).first, floor) << meter;
  EXPECT_EQ(Meter(h.mixer, 7).first, static_cast<float>(kOffDb)) << "no such input";
}

TEST(MixerAux, TalkoverDucksTheMasterBy12DbEvenWithTheMicOff) {
  MixerHarness h(440.0, 0.5f);
  SignalSource mic(300.0, 0.2f);
  CZKMixerChannel micChannel(&mic, false);
  ASSERT_TRUE(h.mixer.SetAux(&micChannel));
  h.mixer.SetFader(0, 127);
  h.Render(kRampDone);
  const double open = test::Rms(h.Render(44100), 2, 0);
  h.mixer.SetAuxDuck(true);
  EXPECT_FALSE(h.mixer.GetAuxOn());
  const double ducked = test::Rms(h.Render(44100), 2, 0);
  EXPECT_NEAR(test::ToDb(ducked / open), -12.0, 0.01);
  EXPECT_EQ(mic.position_, 0);  // the microphone was not pulled
  // Mic on: the ducked music plus the mic at its gain, metered on the aux.
  h.mixer.SetAuxOn(true);
  h.mixer.SetAuxGainDb(-6.0);
  Meter(h.mixer, kAuxMeter);
  const std::vector<float> both = h.Render(44100);
  const double expected = std::sqrt(ducked * ducked + std::pow(0.2 * std::pow(10.0, -0.3), 2) / 2);
  EXPECT_NEAR(test::ToDb(test::Rms(both, 2, 0) / expected), 0.0, 0.02);
  EXPECT_NEAR(Meter(h.mixer, kAuxMeter).first, 10.0 * std::log10(0.02 * std::pow(10.0, -0.6)), 0.3);
  // Talkover off again: the full level is back.
  h.mixer.SetAuxDuck(false);
  h.mixer.SetAuxOn(false);
  EXPECT_NEAR(test::ToDb(test::Rms(h.Render(44100), 2, 0) / open), 0.0, 0.01);
}

TEST(MixerExternal, NoMasterChainAndThePreviewReachesOnlyTheMonitor) {
  // Levels are powers of two, so every sum is exact.
  MixerHarness h(0.0, 0.5f, 0.0, 0.25f, 256, 8);
  CZKMixerChannel master(nullptr, true);
  EXPECT_EQ(master.Equalizer(), nullptr);  // the master channel has no fixed slots
  master.Chain().Add(test::WetEntry(std::make_shared<ScaleEffect>(0.5f)));
  h.mixer.SetMasterChain(&master);
  h.mixer.SetFader(0, 127);
  h.Render(kRampDone);
  EXPECT_EQ(h.Render(256)[0], 0.25f) << "normal mode: 0.5 through the chain's halving";

  SignalSource preview(0.0, 0.125f), sampler(0.0, 0.0625f);
  ASSERT_EQ(h.mixer.AddInput(&preview), 2);
  ASSERT_EQ(h.mixer.AddInput(&sampler), 3);
  for (int i = 0; i < 4; ++i) h.mixer.SetFader(i, 127);
  h.mixer.SetCue(2, 127);      // the preview is cued
  h.mixer.SetCueMix(0);        // the monitor hears the cue only
  h.mixer.SetCrossCurve(100);  // both sides flat around the middle
  h.mixer.SetCrossfader(63);
  h.renderer->externalMixer = true;
  h.renderer->outputMode = kOutputMultichannel;
  h.Render(kRampDone);
  const std::vector<float> out = h.Render(512);
  for (int f = 0; f < 512; ++f) {
    const float* frame = &out[f * 8];
    ASSERT_EQ(frame[0], 0.5f) << f;  // pair 0: deck 0, no master chain
    ASSERT_EQ(frame[1], 0.5f) << f;
    ASSERT_EQ(frame[2], 0.25f) << f;    // pair 1: deck 1
    ASSERT_EQ(frame[4], 0.0625f) << f;  // pair 2: the sampler, no preview
    ASSERT_EQ(frame[6], 0.125f) << f;   // pair 3: the monitor with the preview
  }
  // dsblcf: faders no longer act on the decks in this mode.
  h.mixer.SetFader(0, 0);
  h.mixer.SetUseFaderForExternal(false);
  h.mixer.SetChannelGainDb(0, -6.0);
  const std::vector<float> unfaded = h.Render(256);
  EXPECT_NEAR(unfaded[8 * 100], 0.5 * std::pow(10.0, -0.3), 1e-6);
  EngineSettings settings;
  settings.disableCrossfaderExternal = false;
  h.mixer.ApplySettings(settings);
  h.Render(kRampDone);
  EXPECT_EQ(h.Render(256)[0], 0.0f);
}

TEST(MixerMonitor, CueSendCueMixAndSplitHeadphones) {
  MixerHarness h(0.0, 0.5f, 0.0, 0.25f);
  h.mixer.SetFader(0, 127);
  h.mixer.SetFader(1, 127);
  h.mixer.SetCrossfader(0);  // master: deck 0 only
  h.mixer.SetCue(1, 127);    // deck 1 cued
  h.mixer.SetCueMix(0);
  EXPECT_EQ(h.mixer.CueOffLevel(), 1.0f);
  EXPECT_EQ(h.mixer.MasterToCue(), 0.0f);
  h.renderer->reverseMasterMonitor = true;  // the device plays the monitor
  h.Render(kRampDone);
  EXPECT_EQ(h.Render(256)[10], 0.25f);
  // Cue mix at the other end: the monitor is the master.
  h.mixer.SetCueMix(127);
  EXPECT_EQ(h.mixer.CueOffLevel(), 0.0f);
  EXPECT_EQ(h.mixer.MasterToCue(), 1.0f);
  EXPECT_EQ(h.Render(256)[10], 0.5f);
  // A channel with cueFull ignores the cue mix.
  h.mixer.SetCueFull(1, true);
  EXPECT_EQ(h.Render(256)[10], 0.75f);
  // Split: deck 0 (left) in the left ear, deck 1 (right) in the right, each
  // as a mono sum, with no master.
  h.mixer.SetSplitCue(true);
  const std::vector<float> split = h.Render(256);
  EXPECT_EQ(split[10], 0.5f);
  EXPECT_EQ(split[11], 0.25f);
  // Monitor gain.
  h.mixer.SetSplitCue(false);
  h.mixer.SetCueFull(1, false);
  h.mixer.SetMonitorGainDb(-400.0);
  EXPECT_EQ(h.Render(256)[10], 0.0f);
}

TEST(MixerMonitor, CueLevelsFollowTheCrossfaderLaw) {
  MixerHarness h;
  h.mixer.SetCue(0, 0);
  EXPECT_EQ(h.mixer.CueGain(0), 0.0f);
  h.mixer.SetCue(0, 127);
  EXPECT_EQ(h.mixer.CueGain(0), 1.0f);
  h.mixer.SetCue(0, 127 - 60);  // 60 from the top: 10 past the flat range of 50
  EXPECT_NEAR(test::ToDb(h.mixer.CueGain(0)), -(std::pow(91.0, 10.0 / 77.0) - 1.0), 0.001);
  h.mixer.SetCueMix(64);
  EXPECT_NEAR(test::ToDb(h.mixer.CueOffLevel()), -(std::pow(91.0, 14.0 / 77.0) - 1.0), 0.001);
  EXPECT_NEAR(test::ToDb(h.mixer.MasterToCue()), -(std::pow(91.0, 13.0 / 77.0) - 1.0), 0.001);
}

}  // namespace
}  // namespace vantaro
