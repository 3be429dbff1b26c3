// The sampler slots' sub-bus: the slots are summed by their faders into one
// bus, the sampler chain runs once on that sum, and the bus joins the
// master (or the external mix's "others" pair) without touching the decks.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "tests/engine/mixer_test_sources.h"

namespace vantaro {
namespace {

using test::kRampDone;
using test::ScaleEffect;
using test::SignalSource;
using test::WetEntry;

constexpr int kFrames = 4096;
constexpr float kLevel = 0.4f;  // each slot alone stays under the clip below
constexpr float kClip = 0.5f;   // the sum of two slots passes it

// Not linear: a hard clip at `limit`. Clipping each slot alone would let
// the sum through untouched; clipping the sum flattens its peaks.
class ClipEffect : public CEffect {
 public:
  explicit ClipEffect(float limit) : limit_(limit) {}
  void Prepare() override {}
  void Reset() override {}
  void Process(float* buffer, int frames, float) override {
    for (int i = 0; i < frames * 2; ++i) buffer[i] = std::clamp(buffer[i], -limit_, limit_);
  }

 private:
  float limit_;
};

// One slot that plays two sines already summed: what the chain must see.
class SummedSource : public CAudioSignalSource {
 public:
  SummedSource(SignalSource& a, SignalSource& b) : a_(a), b_(b), scratch_(2 * 22050) {}
  void Render(float* buffer, int frames) override {
    a_.Render(buffer, frames);
    b_.Render(scratch_.data(), frames);
    for (int i = 0; i < frames * 2; ++i) buffer[i] += scratch_[i];
  }
  void Render16(std::int16_t*, int) override {}
  float GetBPM() override { return 0.0f; }
  std::int32_t GetPosition() override { return a_.GetPosition(); }
  std::int32_t GetLength() override { return 0x7fffffff; }
  void SyncPhase(int) override {}

 private:
  SignalSource &a_, &b_;
  std::vector<float> scratch_;  // sized here: Render never allocates
};

// The mixer wired as the program wires it: silent decks, the given slots
// with their faders full, `entry` (when any) in the sampler chain.
struct SlotMix {
  SlotMix(std::vector<CAudioSignalSource*> slots, std::shared_ptr<TEffectChainEntry> entry,
          CAudioSignalSource* deckA = nullptr) {
    CAudioSignalSource* decks[2] = {deckA, nullptr};
    EXPECT_TRUE(CreateMixerObjects(rig, decks, nullptr));
    EXPECT_TRUE(WireMixer(rig, nullptr, slots.data(), static_cast<int>(slots.size())));
    if (entry) rig.samplerChain.Add(std::move(entry));
    CMixer& mixer = *rig.mixer;
    for (int i = 0; i < mixer.InputCount(); ++i) mixer.SetFader(i, 127);
    mixer.SetCrossfader(0);  // deck A (left) full
    Render(kRampDone);
  }
  void Render(int frames) {
    RealtimeScope audio;
    rig.mixer->RenderMix(master.data(), monitor.data(), frames);
  }
  void RenderExternal(int frames) {
    RealtimeScope audio;
    rig.mixer->RenderExternal(stems[0].data(), stems[1].data(), stems[2].data(), stems[3].data(),
                              frames);
  }
  MixerRig rig;
  std::vector<float> master = std::vector<float>(2 * kFrames);
  std::vector<float> monitor = std::vector<float>(2 * kFrames);
  std::vector<float> stems[4] = {std::vector<float>(2 * kFrames), std::vector<float>(2 * kFrames),
                                 std::vector<float>(2 * kFrames), std::vector<float>(2 * kFrames)};
};

TEST(SamplerBus, TheChainActsOnceOnTheSumOfTheSlots) {
  struct Case {
    const char* name;
    std::function<std::shared_ptr<TEffectChainEntry>()> entry;
    std::function<float(float)> expected;  // of the slots' plain sum
  };
  const Case cases[] = {
      {"no chain", [] { return nullptr; }, [](float sum) { return sum; }},
      {"entry switched off",
       [] {
         auto entry = WetEntry(std::make_shared<ScaleEffect>(0.5f));
         entry->enabled = false;
         return entry;
       },
       [](float sum) { return sum; }},
      {"gain", [] { return WetEntry(std::make_shared<ScaleEffect>(0.5f)); },
       [](float sum) { return 0.5f * sum; }},
      {"clip", [] { return WetEntry(std::make_shared<ClipEffect>(kClip)); },
       [](float sum) { return std::clamp(sum, -kClip, kClip); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    // Two slots, and one slot playing their sum: the same master.
    SignalSource a(440.0, kLevel), b(660.0, kLevel), a1(440.0, kLevel), b1(660.0, kLevel);
    SummedSource summed(a1, b1);
    SlotMix two({&a, &b}, c.entry());
    SlotMix one({&summed}, c.entry());
    const long start = a.position_;
    ASSERT_EQ(start, a1.position_);
    two.Render(kFrames);
    one.Render(kFrames);
    float peak = 0.0f;
    for (int i = 0; i < kFrames; ++i) {
      const float sum = a.Sample(start + i) + b.Sample(start + i);
      peak = std::max(peak, std::fabs(sum));
      ASSERT_NEAR(two.master[2 * i], c.expected(sum), 1e-5f) << "frame " << i;
      ASSERT_NEAR(two.master[2 * i + 1], c.expected(sum), 1e-5f) << "frame " << i;
      ASSERT_NEAR(one.master[2 * i], two.master[2 * i], 1e-6f) << "frame " << i;
    }
    // The test has teeth: the sum passes the clip where no slot alone does.
    EXPECT_GT(peak, kClip + 0.1f);
  }
}

TEST(SamplerBus, TheChainLeavesTheDecksAloneInBothMixes) {
  // A chain that silences the sampler: deck A is heard in full beside it,
  // in the master and on its own pair; the slot is gone from both.
  SignalSource deck(0.0, 0.25f), slot(0.0, 0.125f);
  SlotMix mix({&slot}, WetEntry(std::make_shared<ScaleEffect>(0.0f)), &deck);
  mix.Render(kFrames);
  mix.RenderExternal(kFrames);
  for (int i = 0; i < 2 * kFrames; ++i) {
    ASSERT_NEAR(mix.master[i], 0.25f, 1e-6f) << i;
    ASSERT_NEAR(mix.stems[0][i], 0.25f, 1e-6f) << i;
    ASSERT_NEAR(mix.stems[2][i], 0.0f, 1e-6f) << i;
  }
  // The slot still meters what it plays: the chain acts after the fader.
  float left = 0, right = 0;
  mix.rig.mixer->ReadInputVu(2, &left, &right);
  EXPECT_NEAR(left, 20 * std::log10(0.125f), 0.5f);
}

}  // namespace
}  // namespace vantaro
