// The audio callback: device channels by mode and exact channel count, the
// limiter and recorder wherever the swap puts the master, the monitor ring
// of a second device.
#include "engine/audio_render.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <string>
#include <vector>

#include "effects/effect.h"

namespace vantaro {
namespace {

// A distinct constant on each side of each bus (master, monitor, deck B,
// others), so that a device channel's value tells which bus and side it is.
constexpr float kLeft[4] = {0.10f, 0.40f, 0.70f, 0.05f};
constexpr float kRight[4] = {0.30f, 0.60f, 0.90f, 0.15f};

class BusMix : public MixRenderer {
 public:
  void RenderMix(float* master, float* monitor, int frames) override {
    ++normalCalls;
    Fill(master, 0, frames);
    Fill(monitor, 1, frames);
  }
  void RenderExternal(float* a, float* b, float* others, float* monitor, int frames) override {
    float* buses[4] = {a, monitor, b, others};
    for (int bus = 0; bus < 4; ++bus) Fill(buses[bus], bus, frames);
  }
  static void Fill(float* buffer, int bus, int frames) {
    for (int i = 0; buffer && i < frames * 2; ++i) buffer[i] = i % 2 ? kRight[bus] : kLeft[bus];
  }
  int normalCalls = 0;
};

// Adds 1 to the block: the test sees where it acted.
class MarkingLimiter : public CEffect {
 public:
  void Prepare() override {}
  void Reset() override {}
  void Process(float* buffer, int frames, float bpm) override {
    for (int i = 0; i < frames * 2; ++i) buffer[i] += 1.0f + bpm;
  }
};

class CapturingRecorder : public BlockRecorder {
 public:
  int WriteBlock(const float* buffer, int frames) override {
    first = buffer[0];
    return failing ? 0 : frames;
  }
  float first = 0;
  bool failing = false;
};

// Device channel `channel` for code `code`: L the limited master, M the
// master as it comes (deck A in the external mode), H the monitor, B deck
// B, O the others, as pairs (left on even channels); lower case their mono
// sums; 0 silence.
float Expected(char code, int channel) {
  if (code == '0') return 0.0f;
  const char upper = static_cast<char>(std::toupper(code));
  const int bus = upper == 'L' ? 0 : static_cast<int>(std::strchr("MHBO", upper) - "MHBO");
  const float mark = upper == 'L' ? 1.0f : 0.0f;
  if (std::islower(code)) return (kLeft[bus] + kRight[bus]) * 0.5f + mark;
  return (channel % 2 ? kRight[bus] : kLeft[bus]) + mark;
}

TEST(AudioRender, DeviceChannelsByModeAndExactCountAroundTheLimiterAndRecorder) {
  struct Case {
    bool external, swap, cueIsMaster, noAudio;
    int mode;
    std::string codes;  // one a device channel
  };
  const int normal = kOutputNormal, split = kOutputSplit, multi = kOutputMultichannel;
  const Case cases[] = {
      {false, false, false, false, normal, "LL"},
      {false, false, false, false, normal, "LL0000"},
      {false, false, false, false, split, "lh"},
      {false, false, false, false, split, "lh00"},
      {false, false, false, false, multi, "LLHH0"},
      {false, false, false, false, multi, "LLHHHH0"},
      {false, false, false, false, multi, "LLHHHHHH00"},  // from 8 on silent
      {false, false, false, false, multi, "000"},
      {false, true, false, false, multi, "HHLL"},  // the master at the monitor's place
      {false, false, true, false, split, "ll"},    // the monitor follows the master
      {false, false, false, true, multi, "0000"},  // no audio: the device only
      {true, false, false, false, normal, "mb"},
      {true, false, false, false, split, "mb00"},
      {true, false, false, false, multi, "MMBB0"},
      {true, false, false, false, multi, "MMBBOO0"},
      {true, false, false, false, multi, "MMBBOOHH"},
      {true, false, false, false, multi, "MMBBOOHH00"},  // 10: 8 and 9 written silent
      {true, false, false, false, multi, "MMBBOOHH0000"},
      {true, false, false, false, multi, "000000000"},  // 9 and 11 match no row
      {true, false, false, false, multi, "00000000000"},
      {true, false, false, false, multi, "000"},
  };
  for (const Case& c : cases) {
    const int channels = static_cast<int>(c.codes.size());
    SCOPED_TRACE(testing::Message() << "case " << (&c - cases));
    BusMix mix;
    MarkingLimiter limiter;
    {  // switched on, and past its 10 ms fade-in
      limiter.RequestSwitch(kSwitchOn);
      std::vector<float> warm(441 * 2);
      limiter.ProcessBlock(warm.data(), 441, 0.0f, EffectMix::kFullyWet, true);
    }
    CapturingRecorder recorder;
    AudioRenderer r;
    r.mix = &mix;
    r.limiter = &limiter;
    r.recorder = &recorder;
    r.externalMixer = c.external;
    r.reverseMasterMonitor = c.swap;
    r.cueIsMaster = c.cueIsMaster;
    r.noAudio = c.noAudio;
    r.outputMode = c.mode;
    std::vector<float> out(64 * channels, -9.0f);
    ASSERT_EQ(r.RenderDeviceBlock(out.data(), 64, channels), 64);
    for (int i = 0; i < 64 * channels; ++i)
      ASSERT_EQ(out[i], Expected(c.codes[i % channels], i % channels)) << "sample " << i;
    if (!c.external) {
      EXPECT_EQ(recorder.first, kLeft[0] + 1.0f) << "the limited master";
    }
  }
  // Multichannel on one channel: refused, silent, the mix not even asked.
  BusMix mix;
  AudioRenderer r;
  r.mix = &mix;
  r.outputMode = kOutputMultichannel;
  float one[64] = {5.0f};
  EXPECT_EQ(r.RenderDeviceBlock(one, 64, 1), 0);
  EXPECT_EQ(one[0], 0.0f);
  EXPECT_EQ(mix.normalCalls, 0);
  // A failing recorder raises the flag, which the screen tick clears.
  CapturingRecorder recorder;
  recorder.failing = true;
  r.recorder = &recorder;
  r.outputMode = kOutputNormal;
  r.RenderDeviceBlock(one, 32, 2);
  EXPECT_TRUE(r.recorderFailed.load());
}

TEST(AudioRender, MonitorRingFeedsTheSecondDeviceAndDropsWhatItCannotKeepUpWith) {
  BusMix mix;
  AudioRenderer r;
  r.mix = &mix;
  r.secondDeviceActive = true;
  ByteRing& ring = r.MonitorRing();
  constexpr int kBlock = 4000;  // 32000 bytes: four fit in the ring, the fifth does not
  std::vector<float> first(kBlock * 2), second(kBlock * 2, -1.0f);
  r.RenderSecondDeviceBlock(second.data(), kBlock);
  EXPECT_EQ(second[0], -1.0f) << "an empty ring leaves the buffer as it was";
  for (int i = 0; i < 5; ++i) r.RenderDeviceBlock(first.data(), kBlock, 2);
  EXPECT_EQ(ring.Available(), 4u * kBlock * 8) << "the fifth write is dropped whole";
  // Behind by more than a block, a read takes a second block.
  r.RenderSecondDeviceBlock(second.data(), kBlock);
  EXPECT_EQ(ring.Available(), 2u * kBlock * 8);
  EXPECT_EQ(second[1], kRight[1]);
  r.RenderSecondDeviceBlock(second.data(), kBlock);
  EXPECT_EQ(ring.Available(), 1u * kBlock * 8) << "one block left: no second read";
  r.noAudio = true;
  r.RenderSecondDeviceBlock(second.data(), kBlock);
  EXPECT_EQ(second[1], 0.0f) << "no-audio silences the second device too";
}

}  // namespace
}  // namespace vantaro
