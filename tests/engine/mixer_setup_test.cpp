// The mixer as the program builds it at start and tears it down at close,
// and the effect chain files read and written on the way.
#include "engine/mixer_setup.h"

#include <gtest/gtest.h>

#include "effects/effect_registry.h"
#include "effects/equalizer_iir.h"
#include "engine/mixer.h"
#include "engine/mixer_channel.h"
#include "tests/engine/mixer_test_sources.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::SignalSource;

struct BuiltRig {
  BuiltRig() : deckA(0.0, 0.5f), deckB(0.0, 0.25f), mic(0.0, 0.125f), preview(0.0, 0.0625f) {
    CAudioSignalSource* decks[2] = {&deckA, &deckB};
    ok = CreateMixerObjects(rig, decks, &mic);
    for (int i = 0; i < 8; ++i) samplers.push_back(std::make_unique<SignalSource>(0.0, 0.0f));
    CAudioSignalSource* samplerPointers[8];
    for (int i = 0; i < 8; ++i) samplerPointers[i] = samplers[i].get();
    ok = WireMixer(rig, &preview, samplerPointers, 8) && ok;
  }
  SignalSource deckA, deckB, mic, preview;
  std::vector<std::unique_ptr<SignalSource>> samplers;
  MixerRig rig;
  bool ok = false;
};

TEST(MixerSetup, BuildsAndWiresAsTheProgramStarts) {
  BuiltRig built;
  ASSERT_TRUE(built.ok);
  CMixer& mixer = *built.rig.mixer;
  EXPECT_EQ(mixer.InputCount(), 11);  // two decks, the preview, eight samplers
  EXPECT_EQ(mixer.GetFaderSteps(), 128);
  EXPECT_EQ(mixer.GetCrossSteps(), 128);
  EXPECT_EQ(mixer.GetCrossCurve(), 50);
  EXPECT_EQ(mixer.GetCrossSide(0), 0);
  EXPECT_EQ(mixer.GetCrossSide(1), 1);
  EXPECT_EQ(mixer.GetCrossSide(2), -1);
  EXPECT_NE(built.rig.deckChannel[0]->Equalizer(), nullptr);
  EXPECT_NE(built.rig.micChannel->Equalizer(), nullptr);
  EXPECT_EQ(built.rig.masterChannel->Equalizer(), nullptr);
  EXPECT_TRUE(built.rig.masterChannel->IsMaster());

  // Heard through the callback: deck A up, the microphone on, the master
  // chain running (a halving effect in fx_master).
  auto renderer = std::make_unique<AudioRenderer>();
  renderer->mix = &mixer;
  OfflineDevice device(*renderer, 256, 2);
  built.rig.masterChannel->Chain().Add(test::WetEntry(std::make_shared<test::ScaleEffect>(0.5f)));
  mixer.SetFader(0, 127);
  mixer.SetAuxOn(true);
  device.RenderToMemory(1024);
  const std::vector<float> out = device.RenderToMemory(256);
  EXPECT_EQ(out[0], (0.5f + 0.125f) * 0.5f);
  EXPECT_GT(built.mic.position_, 0);
  renderer->mix = nullptr;
}

TEST(MixerSetup, DestroyingReleasesTheCallbacksPointer) {
  BuiltRig built;
  TheAudioRenderer().mix = built.rig.mixer.get();
  DestroyMixerObjects(built.rig);
  EXPECT_EQ(TheAudioRenderer().mix.load(), nullptr);
  EXPECT_EQ(built.rig.deckChannel[0], nullptr);
}

TEST(MixerSetup, ChainFilesRoundTripThroughTheSettingsFolder) {
  test::TempDir dir;
  {
    BuiltRig built;
    // First start: no files, nothing loaded, nothing broken.
    EXPECT_EQ(LoadMixerEffectFiles(built.rig, dir.Path()), 0);
    EXPECT_EQ(built.rig.deckChannel[0]->Chain().Count(), 0);
    auto* eq = static_cast<CEffectEqualizerIIR*>(
        built.rig.deckChannel[1]->Chain().AddEffect(kEffectTypeEqualizerIIR, 1.0f));
    ASSERT_NE(eq, nullptr);
    eq->SetParam(2, -9);
    built.rig.masterChannel->Chain().AddEffect(kEffectTypeEqualizerIIR, 0.5f);
    built.rig.scannedEffects.push_back({1, 0, "id", "/lib/x.so", "X"});
    EXPECT_TRUE(SaveScannedEffectList(built.rig, dir.Path()));
    EXPECT_EQ(SaveMixerEffectChains(built.rig, dir.Path() + "/"), 5);
  }
  for (const std::string& name : MixerChainFileNames())
    EXPECT_FALSE(test::ReadFile(dir.File(name)).empty()) << name;
  EXPECT_EQ(MixerChainFileNames()[0], "fx_deckA.vfx");
  EXPECT_EQ(MixerChainFileNames()[1], "fx_deckB.vfx");

  BuiltRig again;
  EXPECT_EQ(LoadMixerEffectFiles(again.rig, dir.Path()), 6);
  EXPECT_EQ(again.rig.deckChannel[0]->Chain().Count(), 0);
  ASSERT_EQ(again.rig.deckChannel[1]->Chain().Count(), 1);
  EXPECT_EQ(again.rig.deckChannel[1]->Chain().Entry(0)->effect->GetParam(2), -9);
  ASSERT_EQ(again.rig.masterChannel->Chain().Count(), 1);
  EXPECT_FLOAT_EQ(again.rig.masterChannel->Chain().Entry(0)->effect->GetDryWet(), 0.5f);
  ASSERT_EQ(again.rig.scannedEffects.size(), 1u);
  EXPECT_EQ(again.rig.scannedEffects[0].filename, "/lib/x.so");
}

TEST(MixerSetup, BrokenChainFileIsSkippedAndKeptAsBackupAtSave) {
  test::TempDir dir;
  test::WriteFile(dir.File("fx_mic.vfx"), "<effects version=\"100\"><effect");
  BuiltRig built;
  EXPECT_EQ(LoadMixerEffectFiles(built.rig, dir.Path()), 0);
  EXPECT_TRUE(built.rig.brokenFile[3]);
  EXPECT_FALSE(built.rig.brokenFile[0]);
  EXPECT_EQ(built.rig.micChannel->Chain().Count(), 0);
  EXPECT_EQ(SaveMixerEffectChains(built.rig, dir.Path()), 5);
  EXPECT_EQ(test::ReadFile(dir.File("fx_mic.vfx.bak")), "<effects version=\"100\"><effect");
  EXPECT_TRUE(test::ReadFile(dir.File("fx_deckA.vfx.bak")).empty());
}

}  // namespace
}  // namespace vantaro
