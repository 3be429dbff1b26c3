// The mixer channel: source swaps at block boundaries, the equaliser kills
// as the channel drives them, the cut-off filter and the fixed slots.
#include <gtest/gtest.h>

#include <cmath>

#include "base/realtime.h"
#include "effects/equalizer_iir.h"
#include "tests/engine/mixer_test_sources.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::MixerHarness;
using test::SignalSource;

constexpr int kSettle = 22050;

// Level in dB of deck 0's channel alone at the master, fader full, once the
// filters have settled.
double ChannelLevelDb(MixerHarness& h) {
  return test::MasterLevelDb(h, kSettle, 22050);
}

// Asks its channel for another source while it renders, as a GUI call
// landing in the middle of a block would.
class SwappingSource : public SignalSource {
 public:
  SwappingSource(CZKMixerChannel** channel, CAudioSignalSource* next)
      : SignalSource(0.0, 0.5f), channel_(channel), next_(next) {}
  void Render(float* buffer, int frames) override {
    SignalSource::Render(buffer, frames);
    if (next_) (*channel_)->SetSource(next_);
    next_ = nullptr;
  }

 private:
  CZKMixerChannel** channel_;
  CAudioSignalSource* next_;
};

TEST(MixerChannel, SetSourceTakesEffectAtTheNextBlockOnly) {
  SignalSource second(0.0, 0.25f);
  CZKMixerChannel* channelPointer = nullptr;
  SwappingSource first(&channelPointer, &second);
  CZKMixerChannel channel(&first, false);
  channelPointer = &channel;
  float block[64 * 2];
  {
    RealtimeScope audio;
    channel.Render(block, 64);
  }
  for (float v : block) ASSERT_EQ(v, 0.5f);
  EXPECT_EQ(channel.Source(), &first);
  {
    RealtimeScope audio;
    channel.Render(block, 64);
  }
  for (float v : block) ASSERT_EQ(v, 0.25f);
  EXPECT_EQ(channel.Source(), &second);
  EXPECT_EQ(first.position_, 64);
  channel.SetSource(nullptr);
  channel.Render(block, 64);
  EXPECT_EQ(channel.GetLength(), 0);
}

TEST(MixerChannel, KillsThroughTheChannelAndRestoreOnRelease) {
  struct Probe {
    int band;
    double hz;
    double minDepthDb;  // the crossover design's depth at this frequency
  };
  for (const Probe& p : {Probe{1, 60.0, 47.3}, Probe{2, 1000.0, 24.6}, Probe{3, 14000.0, 19.4}}) {
    MixerHarness h(p.hz, 0.5f);
    h.mixer.SetFader(0, 127);
    EXPECT_EQ(h.channelA.Equalizer()->IsActive(), 0);
    h.channelA.SetEqBand(2, 0.0f);  // touching a band switches the equaliser on
    EXPECT_EQ(h.channelA.Equalizer()->IsActive(), 1);
    const double open = ChannelLevelDb(h);
    h.channelA.SetKill(p.band, true);
    EXPECT_TRUE(h.channelA.GetKill(p.band));
    const double killed = ChannelLevelDb(h);
    EXPECT_GE(open - killed, p.minDepthDb) << "band " << p.band;
    // Turned while killed: remembered, not heard.
    h.channelA.SetEqBand(p.band, -6.4f);
    EXPECT_EQ(h.channelA.Equalizer()->GetParam(p.band), -100);
    EXPECT_NEAR(ChannelLevelDb(h), killed, 0.5);
    h.channelA.SetKill(p.band, false);
    EXPECT_EQ(h.channelA.Equalizer()->GetParam(p.band), -6);  // rounded
    EXPECT_FLOAT_EQ(h.channelA.GetEqBand(p.band), -6.4f);
    double gains[3] = {1.0, 1.0, 1.0};
    gains[p.band - 1] = std::pow(10.0, -6.0 / 20.0);
    const double flat[3] = {1.0, 1.0, 1.0};
    const double expected =
        test::ToDb(EqualizerResponse(p.hz, gains) / EqualizerResponse(p.hz, flat));
    EXPECT_NEAR(ChannelLevelDb(h), open + expected, 0.1) << "band " << p.band;
    EXPECT_LT(expected, -5.0);
  }
}

TEST(MixerChannel, KillMovesWithoutAClick) {
  MixerHarness h(1000.0, 1.0f);
  h.mixer.SetFader(0, 127);
  h.channelA.SetEqBand(1, 0.0f);
  h.Render(kSettle);
  const double sineStep = test::LargestStep(h.Render(4410), 2, 0);
  h.channelA.SetKill(2, true);
  const std::vector<float> down = h.Render(4410);
  h.channelA.SetKill(2, false);
  const std::vector<float> up = h.Render(4410);
  EXPECT_LE(test::LargestStep(down, 2, 0), sineStep * 1.05);
  EXPECT_LE(test::LargestStep(up, 2, 0), sineStep * 1.05);
}

TEST(MixerChannel, CutoffFilterAndItsKnobRanges) {
  MixerHarness h(5000.0, 0.5f);
  h.mixer.SetFader(0, 127);
  h.channelA.SetFilterKnob(-64, 2);  // low-pass at 60 Hz
  EXPECT_TRUE(h.channelA.IsCutoffLowPass());
  EXPECT_NEAR(h.channelA.GetCutoffHz(), 60.0f, 0.01f);
  EXPECT_LT(ChannelLevelDb(h), -80.0);
  h.channelA.SetFilterKnob(63, 2);  // high-pass at 12 kHz
  EXPECT_FALSE(h.channelA.IsCutoffLowPass());
  EXPECT_LT(ChannelLevelDb(h), -15.0);
  h.channelA.SetFilterKnob(10, 2);  // high-pass far below 5 kHz
  EXPECT_NEAR(ChannelLevelDb(h), 0.0, 0.05);
  // Off: the block passes bit for bit again.
  h.channelA.SetFilterKnob(0, 2);
  EXPECT_EQ(h.channelA.GetCutoffHz(), CZKMixerChannel::kCutoffOff);
  test::ExpectMasterIs(h, h.sourceA, 512);
  // Mode 1 allows only the low-pass half, mode 3 only the high-pass half.
  h.channelA.SetFilterKnob(40, 1);
  EXPECT_EQ(h.channelA.GetCutoffHz(), CZKMixerChannel::kCutoffOff);
  h.channelA.SetFilterKnob(-40, 3);
  EXPECT_EQ(h.channelA.GetCutoffHz(), CZKMixerChannel::kCutoffOff);
  int low, high;
  FilterKnobRange(2, &low, &high);
  EXPECT_EQ(low, -64);
  EXPECT_EQ(high, 63);
}

// Remembers the first sample of the last block it was fed.
class FirstSampleAnalyser : public BlockAnalyser {
 public:
  void Feed(const float* buffer, int frames) override {
    first = buffer[0];
    fed += frames;
  }
  float first = 0.0f;
  long fed = 0;
};

TEST(MixerChannel, OrderIsCutoffSlotsAnalyserThenChain) {
  SignalSource source(0.0, 1.0f);
  CZKMixerChannel channel(&source, false);
  channel.SetSlot(0, std::make_unique<test::ScaleEffect>(0.5f));
  channel.SetEffectOn(0, true, true);
  channel.Chain().Add(test::WetEntry(std::make_shared<test::ScaleEffect>(0.25f)));
  FirstSampleAnalyser analyser;
  channel.SetAnalyser(&analyser);
  float block[16 * 2];
  {
    RealtimeScope audio;
    channel.Render(block, 16);
  }
  EXPECT_EQ(analyser.first, 0.5f);  // after the slots, before the chain
  EXPECT_EQ(analyser.fed, 16);
  EXPECT_EQ(block[0], 0.125f);
  channel.SetAnalyser(nullptr);
}

TEST(MixerChannel, FixedSlotsAndTheirPassThroughs) {
  SignalSource source(0.0, 0.5f);
  CZKMixerChannel channel(&source, false);
  ASSERT_NE(channel.Equalizer(), nullptr);
  for (int slot = 0; slot < CZKMixerChannel::kSlotCount; ++slot)
    EXPECT_EQ(channel.Slot(slot) != nullptr, slot == CZKMixerChannel::kEqualizerSlot) << slot;
  ASSERT_TRUE(channel.SetSlot(3, std::make_unique<test::ScaleEffect>(0.5f)));
  EXPECT_FALSE(channel.SetSlot(20, nullptr));
  float block[32 * 2];
  channel.Render(block, 32);
  EXPECT_EQ(block[0], 0.5f);  // dry/wet 0: the effect is off
  channel.SetEffectOn(3, true, true);
  channel.Render(block, 32);
  EXPECT_EQ(block[0], 0.25f);
  channel.SetEffectDryWet(3, 0.5f);
  channel.Render(block, 32);
  EXPECT_FLOAT_EQ(block[0], 0.375f);
  channel.SetEffectOn(3, false, true);
  channel.Render(block, 32);
  EXPECT_EQ(block[0], 0.5f);
  channel.SetEffectParam(11, 1, -12);
  EXPECT_EQ(channel.GetEffectParam(11, 1), -12);
  EXPECT_EQ(channel.GetEffectParam(5, 1), 0);  // empty slot
}

}  // namespace
}  // namespace vantaro
