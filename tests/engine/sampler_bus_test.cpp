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
using test::MixerHarness;
using test::ScaleEffect;
using test::WetEntry;

// The harness's two slots play 1/64 and 1/128 (inputs 2 and 3): each alone
// stays under this clip, their sum passes it.
constexpr float kClip = 0.02f;
constexpr float kSlotSum = 3.0f / 128;

// Not linear: a hard clip at `limit`, so clipping each slot alone and
// clipping their sum give different masters.
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

TEST(SamplerBus, TheChainActsOnceOnTheSumOfTheSlotsAndNeverOnTheDecks) {
  const struct {
    const char* name;
    std::function<std::shared_ptr<TEffectChainEntry>()> entry;
    float slots;  // the slots' share of the master
  } cases[] = {
      {"no chain", [] { return nullptr; }, kSlotSum},
      {"entry switched off",
       [] {
         auto entry = WetEntry(std::make_shared<ScaleEffect>(0.5f));
         entry->enabled = false;
         return entry;
       },
       kSlotSum},
      {"gain", [] { return WetEntry(std::make_shared<ScaleEffect>(0.5f)); }, kSlotSum / 2},
      {"clip", [] { return WetEntry(std::make_shared<ClipEffect>(kClip)); }, kClip},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    MixerHarness h(0.0, 0.5f, 0.0, 0.25f, false, 2);
    if (auto entry = c.entry()) h.rig.samplerChain.Add(std::move(entry));
    for (int input : {0, 2, 3}) h.mixer().SetFader(input, 127);  // deck A and the slots
    const auto expect = [](const std::vector<float>& bus, float level, const char* what) {
      for (int i = 0; i < 2 * MixerHarness::kMaxFrames; ++i)
        ASSERT_NEAR(bus[i], level, 1e-6f) << what << ", sample " << i;
    };
    h.Render(kRampDone);
    h.Render(MixerHarness::kMaxFrames);
    expect(h.bus[0], 0.5f + c.slots, "master");
    h.RenderExternal(MixerHarness::kMaxFrames);
    expect(h.bus[0], 0.5f, "deck A's pair");
    expect(h.bus[2], c.slots, "others");
  }
}

}  // namespace
}  // namespace vantaro
