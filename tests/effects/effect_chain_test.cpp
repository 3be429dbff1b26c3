// The base effect's dry/wet mixing and the chain's copy-on-write lists: the
// audio side runs in a real-time scope (allocation aborts), the GUI side
// changes the chain while a second thread renders it.
#include "effects/effect_chain.h"

#include <gtest/gtest.h>

#include <cmath>
#include <thread>

#include "base/realtime.h"
#include "effects/equalizer_iir.h"
#include "tests/effects/test_effects.h"

namespace vantaro {
namespace {

using test::GainEffect;

std::vector<float> Block(int frames, float value) {
  return std::vector<float>(static_cast<size_t>(frames) * 2, value);
}

TEST(EffectProcessMixed, DryWetEdgesStartAndStopTheEffect) {
  GainEffect effect;
  effect.percent = 50;
  std::vector<float> block = Block(64, 1.0f);

  effect.SetDryWet(0.02f);  // at or below 0.025: dry, effect stays off
  effect.ProcessMixed(block.data(), 64, 120.0f);
  EXPECT_EQ(block, Block(64, 1.0f));
  EXPECT_EQ(effect.IsActive(), 0);
  EXPECT_EQ(effect.starts, 0);

  effect.SetDryWet(0.98f);  // above 0.975: fully wet, in place
  effect.ProcessMixed(block.data(), 64, 120.0f);
  EXPECT_EQ(block, Block(64, 0.5f));
  EXPECT_EQ(effect.IsActive(), 1);
  EXPECT_EQ(effect.starts, 1);

  effect.SetDryWet(0.25f);  // mixed: 0.5 * (0.25 * 0.5 + 0.75)
  effect.ProcessMixed(block.data(), 64, 120.0f);
  for (float v : block) ASSERT_FLOAT_EQ(v, 0.5f * 0.875f);
  EXPECT_EQ(effect.starts, 1);

  const int resetsBefore = effect.resets;
  effect.SetDryWet(0.02f);  // turning it down stops and resets it, the block passes dry
  std::vector<float> dry = Block(64, 0.3f);
  effect.ProcessMixed(dry.data(), 64, 120.0f);
  EXPECT_EQ(dry, Block(64, 0.3f));
  EXPECT_EQ(effect.IsActive(), 0);
  EXPECT_EQ(effect.resets, resetsBefore + 1);
}

TEST(EffectChain, RunsEnabledEffectsInListOrderWithoutAllocating) {
  test::RegisterTestEffects();
  CEffectChain chain;
  auto* a = static_cast<GainEffect*>(chain.AddEffect(GainEffect::kType, 1.0f));
  auto* b = static_cast<GainEffect*>(chain.AddEffect(GainEffect::kType, 1.0f));
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(chain.AddEffect(12345, 1.0f), nullptr);  // unknown type
  EXPECT_EQ(chain.Count(), 2);
  // The equaliser is a chain type of its own.
  CEffectChain eqChain;
  EXPECT_NE(dynamic_cast<CEffectEqualizerIIR*>(eqChain.AddEffect(kEffectTypeEqualizerIIR, 1.0f)),
            nullptr);
  EXPECT_EQ(eqChain.Entry(0)->name, "Equalizer");
  a->percent = 50;
  b->percent = 10;
  std::vector<float> block = Block(128, 1.0f);
  {
    RealtimeScope audio;
    chain.Process(block.data(), 128, 133.0f);
  }
  for (float v : block) ASSERT_FLOAT_EQ(v, 0.05f);
  EXPECT_FLOAT_EQ(b->lastBpm, 133.0f);

  chain.Entry(0)->enabled.store(false);
  block = Block(128, 1.0f);
  {
    RealtimeScope audio;
    chain.Process(block.data(), 128, 120.0f);
  }
  for (float v : block) ASSERT_FLOAT_EQ(v, 0.1f);

  EXPECT_TRUE(chain.Move(1, 0));
  EXPECT_EQ(chain.Entry(0)->effect.get(), b);
  EXPECT_FALSE(chain.Move(0, 2));
  EXPECT_FALSE(chain.Remove(2));
  EXPECT_TRUE(chain.Remove(0));
  EXPECT_EQ(chain.Entry(0)->effect.get(), a);
}

TEST(EffectChain, ARemovedEffectDiesOnTheGuiSideOnceTheAudioSideLetsGo) {
  test::RegisterTestEffects();
  const int aliveBefore = GainEffect::alive.load();
  {
    CEffectChain chain;
    chain.AddEffect(GainEffect::kType, 1.0f);
    chain.AddEffect(GainEffect::kType, 1.0f);
    EXPECT_EQ(GainEffect::alive.load(), aliveBefore + 2);
    // A copy held by the GUI keeps the entry alive across the removal.
    auto held = chain.Entry(0);
    chain.Remove(0);
    EXPECT_EQ(chain.CollectRetired(), 0);
    EXPECT_EQ(GainEffect::alive.load(), aliveBefore + 2);
    held.reset();
    EXPECT_EQ(GainEffect::alive.load(), aliveBefore + 1);
  }
  EXPECT_EQ(GainEffect::alive.load(), aliveBefore);
}

TEST(EffectChain, ChangesWhileAnotherThreadRendersNeverTearTheList) {
  test::RegisterTestEffects();
  CEffectChain chain;
  std::atomic<bool> stop{false};
  std::atomic<long> blocks{0};
  std::atomic<bool> badBlock{false};
  std::thread audio([&] {
    RealtimeScope scope;
    float block[256 * 2];
    while (!stop.load()) {
      for (float& v : block) v = 1.0f;
      chain.Process(block, 256, 120.0f);
      // Every effect halves: the result is a power of two, the same for
      // every sample of the block (no list change inside a block).
      const float first = block[0];
      for (float v : block)
        if (v != first) badBlock.store(true);
      int exponent;
      if (std::frexp(first, &exponent) != 0.5f) badBlock.store(true);
      blocks.fetch_add(1);
    }
  });
  for (int round = 0; round < 300; ++round) {
    auto effect = std::make_shared<GainEffect>();
    effect->percent = 50;
    effect->SetDryWet(1.0f);
    auto entry = std::make_shared<TEffectChainEntry>();
    entry->type = GainEffect::kType;
    entry->effect = std::move(effect);
    chain.Add(std::move(entry));
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
