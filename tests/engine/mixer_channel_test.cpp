// The mixer channel: source swaps at block boundaries, the equaliser kills
// as the channel drives them, the cut-off filter, and the fixed slots as the
// controls switch them.
#include <gtest/gtest.h>

#include <utility>

#include "base/realtime.h"
#include "effects/equalizer_iir.h"
#include "tests/engine/mixer_test_sources.h"

namespace vantaro {
namespace {

using test::SignalSource;

// Renders two blocks of 32 frames and answers the second's first sample:
// the first block may still fade a switch or a dry/wet change.
float SteadyLevel(CZKMixerChannel& channel) {
  float block[32 * 2];
  RealtimeScope audio;
  channel.Render(block, 32);
  channel.Render(block, 32);
  return block[0];
}

// Asks its channel for another source in the middle of its own render, as a
// GUI call landing inside a block would.
class SwappingSource : public SignalSource {
 public:
  using SignalSource::SignalSource;
  void Render(float* buffer, int frames) override {
    SignalSource::Render(buffer, frames);
    if (next) channel->SetSource(std::exchange(next, nullptr));
  }
  CZKMixerChannel* channel = nullptr;
  CAudioSignalSource* next = nullptr;
};

TEST(MixerChannel, SetSourceTakesEffectAtTheNextBlockOnly) {
  SwappingSource first(0.0, 0.5f);
  SignalSource second(0.0, 0.25f);
  CZKMixerChannel channel(&first, false);
  first.channel = &channel;
  first.next = &second;
  float block[64 * 2];
  for (float expected : {0.5f, 0.25f}) {
    {
      RealtimeScope audio;
      channel.Render(block, 64);
    }
    for (float v : block) ASSERT_EQ(v, expected);
  }
  EXPECT_EQ(channel.Source(), &second);
  EXPECT_EQ(first.position_, 64);
  channel.SetSource(nullptr);
  channel.Render(block, 64);
  EXPECT_EQ(channel.GetLength(), 0);
}

TEST(MixerChannel, KillsSwitchTheEqualizerOnAndRestoreTheBandOnRelease) {
  for (int band = 1; band <= 3; ++band) {
    SignalSource source(0.0, 0.5f);
    CZKMixerChannel channel(&source, false);
    CEffectEqualizerIIR* eq = channel.Equalizer();
    channel.SetKill(band, true);
    EXPECT_EQ(eq->IsActive(), 0) << "switched on by the audio thread, at its next block";
    SteadyLevel(channel);
    EXPECT_EQ(eq->IsActive(), 1);
    EXPECT_TRUE(channel.GetKill(band));
    EXPECT_EQ(eq->GetParam(band), CEffectEqualizerIIR::kKilledDb);
    // Turned while killed: remembered, not applied.
    channel.SetEqBand(band, -6.4f);
    EXPECT_EQ(eq->GetParam(band), CEffectEqualizerIIR::kKilledDb);
    channel.SetKill(band, false);
    EXPECT_EQ(eq->GetParam(band), -6) << "restored, rounded";
    EXPECT_FLOAT_EQ(channel.GetEqBand(band), -6.4f);
  }
}

TEST(MixerChannel, CutoffFilterAndItsKnobRanges) {
  test::MixerHarness h(5000.0, 0.5f);
  h.mixer.SetFader(0, 127);
  h.channelA.SetFilterKnob(-64, 2);  // low-pass at 60 Hz
  EXPECT_TRUE(h.channelA.IsCutoffLowPass());
  EXPECT_NEAR(h.channelA.GetCutoffHz(), 60.0f, 0.01f);
  EXPECT_LT(test::MasterLevelDb(h, 22050, 22050), -80.0);
  h.channelA.SetFilterKnob(63, 2);  // high-pass at 12 kHz
  EXPECT_FALSE(h.channelA.IsCutoffLowPass());
  EXPECT_LT(test::MasterLevelDb(h, 22050, 22050), -15.0);
  h.channelA.SetFilterKnob(10, 2);  // high-pass far below 5 kHz
  EXPECT_NEAR(test::MasterLevelDb(h, 22050, 22050), 0.0, 0.05);
  // Off: the block passes bit for bit again.
  h.channelA.SetFilterKnob(0, 2);
  EXPECT_EQ(h.channelA.GetCutoffHz(), CZKMixerChannel::kCutoffOff);
  test::ExpectMasterIs(h, h.sourceA, 512);
  // Mode 1 allows only the low-pass half, mode 3 only the high-pass half.
  h.channelA.SetFilterKnob(40, 1);
  EXPECT_EQ(h.channelA.GetCutoffHz(), CZKMixerChannel::kCutoffOff);
  h.channelA.SetFilterKnob(-40, 3);
  EXPECT_EQ(h.channelA.GetCutoffHz(), CZKMixerChannel::kCutoffOff);
}

// Remembers the first sample of the last block it was fed.
class FirstSampleAnalyser : public BlockAnalyser {
 public:
  void Feed(const float* buffer, int) override { first = buffer[0]; }
  float first = 0.0f;
};

TEST(MixerChannel, FixedSlotsSwitchAsAskedAndRunBeforeTheAnalyserAndChain) {
  SignalSource source(0.0, 1.0f);
  CZKMixerChannel channel(&source, false);
  for (int slot = 0; slot < CZKMixerChannel::kSlotCount; ++slot)
    EXPECT_EQ(channel.Slot(slot) != nullptr, slot == CZKMixerChannel::kEqualizerSlot) << slot;
  ASSERT_TRUE(channel.SetSlot(3, std::make_unique<test::ScaleEffect>(0.5f)));
  EXPECT_FALSE(channel.SetSlot(20, nullptr));
  // A control's call, then the level heard and whether the effect runs.
  struct Call {
    bool on, direct;
    float dryWet;  // set after the call; below 0: left alone
    float level;
    int active;
  };
  const Call calls[] = {
      {false, true, -1, 1.0f, 0},    // dry/wet 0: off
      {true, true, -1, 0.5f, 1},     // direct: dry/wet 1
      {true, true, 0.5f, 0.75f, 1},  // the knob mixes
      {false, false, -1, 1.0f, 0},   // switched off with dry/wet 0.5: stays off
      {false, false, 1.0f, 1.0f, 0},
      {true, false, 0.0f, 1.0f, 1},  // switched on with dry/wet 0: runs, inaudibly
      {true, false, 1.0f, 0.5f, 1},
      {false, true, -1, 1.0f, 0},  // direct off: back to the dry/wet path
  };
  for (const Call& c : calls) {
    channel.SetEffectOn(3, c.on, c.direct);
    if (c.dryWet >= 0) channel.SetEffectDryWet(3, c.dryWet);
    EXPECT_EQ(SteadyLevel(channel), c.level) << "call " << (&c - calls);
    EXPECT_EQ(channel.Slot(3)->IsActive(), c.active) << "call " << (&c - calls);
  }
  // Order: cut-off, slots, analyser, user chain.
  channel.SetEffectOn(3, true, true);
  channel.Chain().Add(test::WetEntry(std::make_shared<test::ScaleEffect>(0.25f)));
  FirstSampleAnalyser analyser;
  channel.SetAnalyser(&analyser);
  EXPECT_EQ(SteadyLevel(channel), 0.125f);
  EXPECT_EQ(analyser.first, 0.5f);
  channel.SetAnalyser(nullptr);
  channel.SetEffectParam(11, 1, -12);
  EXPECT_EQ(channel.GetEffectParam(11, 1), -12);
  EXPECT_EQ(channel.GetEffectParam(5, 1), 0);  // empty slot
}

}  // namespace
}  // namespace vantaro
