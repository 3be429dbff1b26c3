// How an effect is switched (dry/wet path, switch requests, a chain entry's
// own switch, the fade over the switching block) and the chain's
// copy-on-write lists: the audio side runs in a real-time scope (allocation
// aborts), the GUI side changes the chain while a second thread renders it.
#include "effects/effect_chain.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <thread>

#include "base/realtime.h"
#include "tests/effects/test_effects.h"

namespace vantaro {
namespace {

using test::GainEffect;

TEST(EffectSwitch, DryWetPathSwitchRequestsAndFadesOver10Ms) {
  // Blocks of 1.0 through an effect that halves: the output is 1 - wet / 2.
  // A block is 441 frames, the length of the fade, so each fade ends on the
  // block's last frame.
  struct Step {
    float dryWet;
    EffectSwitch request;
    bool enabled;
    EffectMix mix;
    float first, last;  // the block's first and last frames
    int active;
  };
  constexpr auto kDry = EffectMix::kByDryWet, kWet = EffectMix::kFullyWet;
  const float fadeIn = 1.0f - 0.5f / 441;  // first frame of a fade from dry to fully wet
  const Step steps[] = {
      {0.02f, kSwitchByDryWet, true, kDry, 1.0f, 1.0f, 0},    // off: untouched
      {0.98f, kSwitchByDryWet, true, kDry, fadeIn, 0.5f, 1},  // starts, fades in
      {0.98f, kSwitchByDryWet, true, kDry, 0.5f, 0.5f, 1},    // fully wet
      {0.25f, kSwitchByDryWet, true, kDry, 0.5f + 0.375f / 441, 0.875f, 1},
      {0.25f, kSwitchByDryWet, true, kDry, 0.875f, 0.875f, 1},  // mixed
      {0.25f, kSwitchOff, true, kDry, 0.875f + 0.125f / 441, 1.0f, 0},
      {1.0f, kSwitchOff, true, kDry, 1.0f, 1.0f, 0},  // off whatever dry/wet
      {0.02f, kSwitchOn, true, kDry, 1.0f - 0.01f / 441, 0.99f, 1},
      {0.02f, kSwitchOn, true, kDry, 0.99f, 0.99f, 1},  // on whatever dry/wet
      {0.02f, kSwitchByDryWet, true, kDry, 0.99f + 0.01f / 441, 1.0f, 0},
      {1.0f, kSwitchByDryWet, false, kDry, 1.0f, 1.0f, 0},  // entry switched off
      {1.0f, kSwitchByDryWet, true, kDry, fadeIn, 0.5f, 1},
      {1.0f, kSwitchByDryWet, false, kDry, 0.5f + 0.5f / 441, 1.0f, 0},
      {0.0f, kSwitchByDryWet, true, kWet, 1.0f, 1.0f, 0},  // fully wet: stays off
      {0.0f, kSwitchOn, true, kWet, fadeIn, 0.5f, 1},      // ...until switched on
      {0.0f, kSwitchByDryWet, true, kWet, 0.5f, 0.5f, 1},  // ...and stays on
  };
  GainEffect effect;
  effect.percent = 50;
  float previous = 1.0f, largestStep = 0.0f;
  for (const Step& s : steps) {
    SCOPED_TRACE(testing::Message() << "step " << (&s - steps));
    effect.SetDryWet(s.dryWet);
    effect.RequestSwitch(s.request);
    std::vector<float> block(441 * 2, 1.0f);
    {
      RealtimeScope audio;
      effect.ProcessBlock(block.data(), 441, 120.0f, s.mix, s.enabled);
    }
    EXPECT_FLOAT_EQ(block[0], s.first);
    EXPECT_FLOAT_EQ(block[880], s.last);
    EXPECT_EQ(block[881], block[880]);
    EXPECT_EQ(effect.IsActive(), s.active);
    for (float v : block) {
      largestStep = std::max(largestStep, std::fabs(v - previous));
      previous = v;
    }
  }
  // No switch and no dry/wet change steps the signal: the largest move is
  // one frame of a fade from dry to fully wet.
  EXPECT_LE(largestStep, 0.5f / 441 * 1.001f);
  EXPECT_EQ(effect.starts, 4);
  EXPECT_EQ(effect.resets, 4 + 3) << "a reset at each start and after each stop";
}

TEST(EffectChain, EditsRunWithoutAllocatingAndFreeOnTheGuiSide) {
  test::RegisterTestEffects();
  const int aliveBefore = GainEffect::alive.load();
  {
    CEffectChain chain;
    auto* a = static_cast<GainEffect*>(chain.AddEffect(GainEffect::kType, 1.0f));
    auto* b = static_cast<GainEffect*>(chain.AddEffect(GainEffect::kType, 1.0f));
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(chain.AddEffect(12345, 1.0f), nullptr);  // unknown type
    EXPECT_EQ(GainEffect::alive.load(), aliveBefore + 2);
    a->percent = 50;
    b->percent = 10;
    // The last block of each setting: the first four fade the change in.
    auto run = [&chain](float bpm) {
      std::vector<float> block(128 * 2);
      RealtimeScope audio;
      for (int i = 0; i < 5; ++i) {
        std::fill(block.begin(), block.end(), 1.0f);
        chain.Process(block.data(), 128, bpm);
      }
      return block;
    };
    for (float v : run(133.0f)) ASSERT_FLOAT_EQ(v, 0.05f);
    EXPECT_FLOAT_EQ(b->lastBpm, 133.0f);
    chain.Entry(0)->enabled.store(false);
    for (float v : run(120.0f)) ASSERT_FLOAT_EQ(v, 0.1f);
    EXPECT_EQ(a->IsActive(), 0);

    EXPECT_TRUE(chain.Move(1, 0));
    EXPECT_EQ(chain.Entry(0)->effect.get(), b);
    EXPECT_FALSE(chain.Move(0, 2));
    EXPECT_FALSE(chain.Remove(2));
    // A copy held by the GUI keeps the entry alive across the removal.
    auto held = chain.Entry(0);
    EXPECT_TRUE(chain.Remove(0));
    EXPECT_EQ(chain.Entry(0)->effect.get(), a);
    EXPECT_EQ(chain.CollectRetired(), 0);
    EXPECT_EQ(GainEffect::alive.load(), aliveBefore + 2);
    held.reset();
    EXPECT_EQ(GainEffect::alive.load(), aliveBefore + 1);
  }
  EXPECT_EQ(GainEffect::alive.load(), aliveBefore);
}

TEST(EffectChain, ChangesWhileAnotherThreadRendersNeverTearTheList) {
  CEffectChain chain;
  std::atomic<bool> stop{false}, badBlock{false};
  std::atomic<long> blocks{0};
  std::thread audio([&] {
    RealtimeScope scope;
    float block[256 * 2];
    for (; !stop.load(); blocks.fetch_add(1)) {
      std::fill(std::begin(block), std::end(block), 1.0f);
      chain.Process(block, 256, 120.0f);
      // Every effect passes the signal as it is, faded or not: anything
      // else is an effect read after it was freed or a torn entry.
      if (std::any_of(std::begin(block), std::end(block), [](float v) { return v != 1.0f; }))
        badBlock.store(true);
    }
  });
  for (int round = 0; round < 300; ++round) {
    auto entry = std::make_shared<TEffectChainEntry>();
    entry->effect = std::make_shared<GainEffect>();
    entry->effect->SetDryWet(round % 2 ? 1.0f : 0.5f);
    chain.Add(std::move(entry));
    chain.Entry(0)->enabled.store(round % 3 != 0);
    if (chain.Count() > 4) chain.Remove(round % 3);
    if (round % 50 == 0) chain.Clear();
  }
  while (blocks.load() < 100) std::this_thread::yield();
  stop.store(true);
  audio.join();
  EXPECT_FALSE(badBlock.load());
  EXPECT_EQ(chain.CollectRetired(), 0);
}

}  // namespace
}  // namespace vantaro
