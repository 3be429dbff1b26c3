// The mix as the program builds and wires it: the gain laws at their edges,
// every control's effect on the master and monitor buses and the meters,
// the gain ramp, the inputs and the setters' ranges, the external mix by
// input role, and the effect chain files read at start and written at close.
#include <gtest/gtest.h>

#include "effects/effect_registry.h"
#include "engine/audio_render.h"
#include "engine/engine_settings.h"
#include "engine/mixer_law.h"
#include "tests/engine/mixer_test_sources.h"

namespace vantaro {
namespace {

using test::kRampDone;
using test::MixerHarness;

constexpr double kHalfDb = -6.0205999;  // 20 log10(0.5)

TEST(MixerLaw, CheapLogarithmConversionsAndTheLawsBetweenTheirEnds) {
  // The cheap logarithm is heard through the meters (MixerSignal below).
  EXPECT_EQ(DbToLinear(-318.8), 0.0);
  EXPECT_GT(DbToLinear(-318.7), 0.0);
  // The fader rises all the way, from -85 dB and below just above the
  // bottom to a hair under unity one step below the top (its ends and the
  // crossfader's are heard below).
  const double base = FaderBase(128);
  EXPECT_LT(FaderLawDb(1, 128, base), -85.0);
  EXPECT_GT(FaderLawDb(126, 128, base), -0.05);
  for (int p = 1; p < 128; ++p)
    ASSERT_LT(FaderLawLinear(p - 1, 128, base), FaderLawLinear(p, 128, base)) << p;
  EXPECT_LT(CrossLawLinear(1, 128, 0, CrossBase(128, 0)), 1.0f) << "curve 0 falls at once";
}

// The controls of one case; the defaults are the mixer's own.
struct Controls {
  int faderA = 0, faderB = 0, cueA = 0, cueB = 0, curve = 50, crossfader = 0, cueMix = 0;
  bool aOffCrossfader = false, cueFullB = false, split = false, duck = false, micOn = false;
  double gainADb = 0, masterDb = 0, monitorDb = 0, micDb = 0;
  bool masterChain = false;  // halving
};

void Apply(const Controls& c, MixerHarness& h) {
  CMixer& m = h.mixer();
  m.SetFader(0, c.faderA);
  m.SetFader(1, c.faderB);
  m.SetCue(0, c.cueA);
  m.SetCue(1, c.cueB);
  m.SetCrossCurve(c.curve);
  if (c.aOffCrossfader) {
    m.SetCrossfader(127);
    m.SetCrossSide(-1, 0);
  }
  m.SetCrossfader(c.crossfader);
  m.SetCueMix(c.cueMix);
  m.SetCueFull(1, c.cueFullB);
  m.SetSplitCue(c.split);
  m.SetAuxDuck(c.duck);
  m.SetAuxOn(c.micOn);
  m.SetChannelGainDb(0, c.gainADb);
  m.SetMasterGainDb(c.masterDb);
  m.SetMonitorGainDb(c.monitorDb);
  m.SetAuxGainDb(c.micDb);
  if (c.masterChain)
    h.rig.masterChannel->Chain().Add(test::WetEntry(std::make_shared<test::ScaleEffect>(0.5f)));
}

TEST(MixerSignal, EachControlOnTheMasterAndMonitorBusesAndTheirMeters) {
  // Deck A 0.5 (left), deck B 0.25 (right), the mic 0.125.
  struct Case {
    Controls controls;
    float master, monitorLeft, monitorRight;
  };
  const float ducked = 0.5f * static_cast<float>(CMixer::kTalkoverFactor);
  const Case cases[] = {
      {{}, 0, 0, 0},
      {{.faderA = 127}, 0.5f, 0, 0},
      {{.faderA = 127, .faderB = 127}, 0.5f, 0, 0},                      // crossfader left
      {{.faderA = 127, .faderB = 127, .crossfader = 127}, 0.25f, 0, 0},  // right
      {{.faderA = 127, .faderB = 127, .curve = -1, .crossfader = 63}, 0.5f, 0, 0},  // hard cut
      {{.faderA = 127, .faderB = 127, .curve = -1, .crossfader = 64}, 0.25f, 0, 0},
      {{.faderA = 127, .faderB = 127, .curve = 100, .crossfader = 63}, 0.75f, 0, 0},
      {{.faderA = 127, .aOffCrossfader = true}, 0, 0, 0},  // keeps the cut it had
      {{.faderA = 127, .cueB = 127}, 0.5f, 0.25f, 0.25f},
      {{.faderA = 127, .cueB = 127, .cueMix = 127}, 0.5f, 0.5f, 0.5f},  // the master only
      {{.faderA = 127, .cueB = 127, .cueMix = 127, .cueFullB = true}, 0.5f, 0.75f, 0.75f},
      {{.faderA = 127, .cueMix = 127, .split = true}, 0.5f, 0.5f, 0.25f},  // A left, B right
      {{.cueB = 127, .monitorDb = -400}, 0, 0, 0},
      {{.faderA = 127, .cueA = 127, .gainADb = kHalfDb}, 0.25f, 0.25f, 0.25f},
      {{.faderA = 127, .masterDb = kHalfDb}, 0.25f, 0, 0},
      {{.faderA = 127, .duck = true}, ducked, 0, 0},  // talkover with the mic off
      {{.faderA = 127, .duck = true, .micOn = true}, ducked + 0.125f, 0.125f, 0.125f},
      {{.micOn = true, .micDb = kHalfDb}, 0.0625f, 0.0625f, 0.0625f},
      {{.faderA = 127, .cueMix = 127, .masterChain = true}, 0.25f, 0.25f, 0.25f},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "case " << (&c - cases));
    MixerHarness h;
    Apply(c.controls, h);
    h.Render(kRampDone);
    // The meters, read (and so reset), then read again over the last block:
    // master, monitor, deck A's input, the mic.
    float meter[4], unused;
    for (int pass = 0; pass < 2; ++pass) {
      if (pass) h.Render(256);
      h.mixer().ReadMasterVu(&meter[0], &unused);
      h.mixer().ReadMonitorVu(&meter[1], &unused);
      h.mixer().ReadInputVu(0, &meter[2], &unused);
      h.mixer().ReadAuxVu(&meter[3], &unused);
    }
    EXPECT_NEAR(h.bus[0][510], c.master, 1e-6);
    EXPECT_EQ(h.bus[0][511], h.bus[0][510]);
    EXPECT_NEAR(h.bus[1][510], c.monitorLeft, 1e-6);
    EXPECT_NEAR(h.bus[1][511], c.monitorRight, 1e-6);
    // On the cheap logarithm (within 0.1 dB and 0.5 % of the real one), or
    // at the floor for silence. The input meter adds the channel gain; the
    // mic is metered after its gain.
    const float mic = c.controls.micOn ? 0.125f * std::pow(10.0f, c.controls.micDb / 20) : 0;
    const float levels[4] = {c.master, c.monitorLeft, 0.5f, mic};
    for (int m = 0; m < 4; ++m) {
      float db = levels[m] > 0 ? 20 * std::log10(levels[m]) : static_cast<float>(kMeterFloorDb);
      if (m == 2) db += static_cast<float>(h.mixer().GetChannelGainDb(0));
      EXPECT_NEAR(meter[m], db, levels[m] > 0 ? 0.1 - db * 0.005 : 0.0) << "meter " << m;
    }
  }
}

TEST(MixerSignal, FaderChangesRampOver100FramesInSmallSteps) {
  MixerHarness h(0.0, 1.0f);  // DC 1.0: the master is the applied gain
  h.mixer().SetFader(0, 127);
  h.Render(512);
  const std::vector<float>& out = h.bus[0];
  // Per frame the gain + 1 grows by 2 ^ (1/100): the largest step is at the
  // top, 2 * (2 ^ 0.01 - 1).
  for (int i = 1; i < 512; ++i) {
    ASSERT_GE(out[i * 2], out[(i - 1) * 2]) << i;
    ASSERT_LE(out[i * 2] - out[(i - 1) * 2], 2.0 * (std::pow(2.0, 0.01) - 1.0) + 1e-6) << i;
  }
  EXPECT_EQ(out[99 * 2], 1.0f);  // the 100th frame stands at the target
  h.mixer().SetFader(0, 64);
  h.Render(kRampDone);
  EXPECT_FLOAT_EQ(out[2 * kRampDone - 2], h.mixer().FaderGain(0)) << "the law's gain, heard";
  h.mixer().SetFader(0, 0);
  h.Render(512);
  for (int i = 1; i < 512; ++i) ASSERT_LE(out[i * 2], out[(i - 1) * 2]) << i;
  EXPECT_GT(out[90 * 2], 0.0f);
  // Silent by frame 101 (rounding may leave the last step there); what is
  // left is the master channel's 1e-25 denormal guard.
  EXPECT_LT(out[101 * 2], 1e-24f);
}

TEST(MixerSignal, SixteenInputsPhasesInOrderBlocksInPiecesAndSetterRanges) {
  CMixer mixer(32);  // a capacity smaller than the block: four pieces of 100 frames
  std::vector<int> log;
  log.reserve(4 * 3 * 15);
  std::vector<std::unique_ptr<test::SignalSource>> sources;
  for (int i = 0; i < 16; ++i) {
    sources.push_back(std::make_unique<test::SignalSource>(0.0, 0.25f));
    sources.back()->id = i;
    sources.back()->syncLog = &log;
    ASSERT_EQ(mixer.AddInput(i == 1 ? nullptr : sources.back().get()), i);
  }
  EXPECT_EQ(mixer.AddInput(sources[0].get()), -1);
  mixer.SetFader(0, 127);
  mixer.SetFader(1, 127);  // no source: silent
  std::vector<float> master(100 * 2);
  mixer.RenderMix(master.data(), nullptr, 100);
  // Every input sees phase 0 before any sees phase 1, in input order, for
  // each piece.
  ASSERT_EQ(log.size(), 4u * 3 * 15);
  for (int phase = 0; phase < 3; ++phase)
    for (int i = 0; i < 15; ++i) EXPECT_EQ(log[phase * 15 + i], (i ? i + 1 : 0) * 10 + phase);
  for (auto& source : sources) source->syncLog = nullptr;
  mixer.RenderMix(master.data(), nullptr, 100);
  EXPECT_EQ(sources[0]->position_, 200);
  EXPECT_EQ(master[199], 0.25f);
  // Setters hold to their ranges; an input out of range does nothing.
  mixer.SetFader(0, 500);
  EXPECT_EQ(mixer.GetFader(0), 127);
  mixer.SetFader(16, 127);
  EXPECT_EQ(mixer.GetChannelGainDb(16), kOffDb);
  float left, right;
  mixer.ReadInputVu(16, &left, &right);
  EXPECT_EQ(left, static_cast<float>(kOffDb));
  EXPECT_FALSE(mixer.SetCrossCurve(-2));
  EXPECT_FALSE(mixer.SetCrossCurve(126));
  EXPECT_TRUE(mixer.SetCrossCurve(125));
  // Automatic gain: (perceived gain + 7.5) * 10 tenths of a dB, when on and
  // learnt.
  EngineSettings& settings = TheEngineSettings();
  const bool saved = settings.autoGain.exchange(true);
  EXPECT_FALSE(ApplyAutoGain(mixer, 0, false, -3.2f));
  EXPECT_TRUE(ApplyAutoGain(mixer, 0, true, -3.2f));
  EXPECT_NEAR(mixer.GetChannelGainDb(0), 4.3, 0.05);
  settings.autoGain = false;
  EXPECT_FALSE(ApplyAutoGain(mixer, 1, true, 2.0f));
  settings.autoGain = saved;
}

TEST(MixerSetup, TheExternalMixTakesInputsByRoleWithOrWithoutAPreview) {
  for (bool withPreview : {true, false}) {
    SCOPED_TRACE(withPreview ? "with a preview" : "without a preview");
    MixerHarness h(0.0, 0.5f, 0.0, 0.25f, withPreview, 8);
    CMixer& mixer = h.mixer();
    ASSERT_EQ(mixer.InputCount(), withPreview ? 11 : 10);
    h.rig.masterChannel->Chain().Add(test::WetEntry(std::make_shared<test::ScaleEffect>(0.5f)));
    for (int i = 0; i < mixer.InputCount(); ++i) mixer.SetFader(i, 127);
    mixer.SetCue(2, 127);  // the preview, or the first sampler
    mixer.SetCrossCurve(100);
    mixer.SetCrossfader(63);  // both decks full
    mixer.SetAuxOn(true);
    mixer.SetAuxDuck(true);
    // Deck A and deck B (no master chain, no talkover), the others (every
    // sampler, 255/8192 together, and the mic), the monitor (what is cued,
    // and the mic).
    h.RenderExternal(kRampDone);
    const float cued = withPreview ? 1.0f / 32 : 1.0f / 64;
    const float stems[4] = {0.5f, 0.25f, 255.0f / 8192 + 0.125f, cued + 0.125f};
    for (int stem = 0; stem < 4; ++stem)
      EXPECT_EQ(h.bus[stem][2 * kRampDone - 1], stems[stem]) << "stem " << stem;
    // dsblcf: the decks pass at their channel gain whatever the faders.
    mixer.SetFader(0, 0);
    EngineSettings settings;
    for (bool disabled : {true, false}) {
      settings.disableCrossfaderExternal = disabled;
      mixer.ApplySettings(settings);
      h.RenderExternal(kRampDone);
      EXPECT_EQ(h.bus[0][2 * kRampDone - 1], disabled ? 0.5f : 0.0f);
    }
    // Destroyed at close: the callback lets go of the mix object first.
    TheAudioRenderer().mix = &mixer;
    DestroyMixerObjects(h.rig);
    EXPECT_EQ(TheAudioRenderer().mix.load(), nullptr);
  }
}

TEST(MixerSetup, AsWiredAtStartBothDecksAreHeardAtFullLevel) {
  // A DJ who loads two tracks and presses play hears both before touching a
  // fader or the crossfader (the crossfader's middle is 1.2 dB down on each
  // side by its law; deck A alone would give 0.5).
  MixerHarness h(0.0, 0.5f, 0.0, 0.25f);
  EXPECT_GT(h.wiredMaster, 0.75f * DbToLinear(-1.5));
  EXPECT_LE(h.wiredMaster, 0.75f);
}

TEST(MixerSetup, ChainFilesRoundTripAndABrokenOneIsKeptAsBackup) {
  test::TempDir dir;
  const std::string broken = "<effects version=\"100\"><effect";
  test::WriteFile(dir.File("fx_mic.vfx"), broken);
  {
    MixerHarness h;
    EXPECT_EQ(LoadMixerEffectFiles(h.rig, dir.Path()), 0);
    EXPECT_TRUE(h.rig.brokenFile[3]) << "fx_mic.vfx";
    h.rig.deckChannel[1]->Chain().AddEffect(kEffectTypeEqualizerIIR, 1.0f)->SetParam(2, -9);
    h.rig.masterChannel->Chain().AddEffect(kEffectTypeEqualizerIIR, 0.5f);
    EXPECT_EQ(SaveMixerEffectChains(h.rig, dir.Path() + "/"), 5);
  }
  EXPECT_EQ(test::ReadFile(dir.File("fx_mic.vfx.bak")), broken);
  EXPECT_TRUE(test::ReadFile(dir.File("fx_deckA.vfx.bak")).empty()) << "only the broken one";
  MixerHarness again;
  EXPECT_EQ(LoadMixerEffectFiles(again.rig, dir.Path()), 5);
  EXPECT_EQ(again.rig.deckChannel[0]->Chain().Count(), 0);
  EXPECT_EQ(again.rig.deckChannel[1]->Chain().Entry(0)->effect->GetParam(2), -9);
  EXPECT_FLOAT_EQ(again.rig.masterChannel->Chain().Entry(0)->effect->GetDryWet(), 0.5f);
}

}  // namespace
}  // namespace vantaro
