#include "engine/audio_render.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include "codecs/codec_set.h"
#include "devices/offline_device.h"
#include "effects/effect.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

// Distinguishable constant signals on every bus: the value tells which bus
// (and which side) reached a device channel.
constexpr float kMasterL = 0.10f, kMasterR = 0.30f;    // mono 0.20
constexpr float kMonitorL = 0.40f, kMonitorR = 0.60f;  // mono 0.50
constexpr float kDeckBL = 0.70f, kDeckBR = 0.90f;      // mono 0.80
constexpr float kOthersL = 0.05f, kOthersR = 0.15f;

class BusMix : public MixRenderer {
 public:
  void RenderMix(float* master, float* monitor, int frames) override {
    ++normalCalls;
    Fill(master, frames, kMasterL, kMasterR);
    if (monitor) Fill(monitor, frames, kMonitorL, kMonitorR);
  }
  void RenderExternal(float* deckA, float* deckB, float* others, float* monitor,
                      int frames) override {
    ++externalCalls;
    Fill(deckA, frames, kMasterL, kMasterR);
    Fill(deckB, frames, kDeckBL, kDeckBR);
    Fill(others, frames, kOthersL, kOthersR);
    Fill(monitor, frames, kMonitorL, kMonitorR);
  }
  static void Fill(float* buffer, int frames, float left, float right) {
    for (int i = 0; i < frames; ++i) {
      buffer[2 * i] = left;
      buffer[2 * i + 1] = right;
    }
  }
  int normalCalls = 0, externalCalls = 0;
};

struct Rig {
  Rig() : render(std::make_unique<AudioRenderer>()) { render->mix = &mix; }
  // Renders one block of `frames` on a device of `channels` and returns the
  // first frame's channel values (every frame is the same).
  std::vector<float> Frame(int channels, int frames = 64, int* answer = nullptr) {
    std::vector<float> out(static_cast<size_t>(frames) * channels, -9.0f);
    const int result = render->RenderDeviceBlock(out.data(), frames, channels);
    if (answer) *answer = result;
    for (int i = 1; i < frames; ++i)
      for (int c = 0; c < channels; ++c) EXPECT_EQ(out[i * channels + c], out[c]);
    return std::vector<float>(out.begin(), out.begin() + channels);
  }
  BusMix mix;
  std::unique_ptr<AudioRenderer> render;
};

constexpr float kMasterMono = (kMasterL + kMasterR) * 0.5f;
constexpr float kMonitorMono = (kMonitorL + kMonitorR) * 0.5f;
constexpr float kDeckBMono = (kDeckBL + kDeckBR) * 0.5f;

std::vector<float> Silence(int channels) {
  return std::vector<float>(channels, 0.0f);
}

TEST(AudioRender, NormalModeAssignsChannelsByTheTable) {
  Rig rig;
  rig.render->outputMode = kOutputNormal;
  EXPECT_EQ(rig.Frame(2), (std::vector<float>{kMasterL, kMasterR}));
  EXPECT_EQ(rig.Frame(6), (std::vector<float>{kMasterL, kMasterR, 0, 0, 0, 0}))
      << "normal mode: only pair 0 sounds";

  rig.render->outputMode = kOutputSplit;
  EXPECT_EQ(rig.Frame(2), (std::vector<float>{kMasterMono, kMonitorMono}));
  EXPECT_EQ(rig.Frame(4), (std::vector<float>{kMasterMono, kMonitorMono, 0, 0}));

  rig.render->outputMode = kOutputMultichannel;
  const float M[] = {kMasterL, kMasterR}, H[] = {kMonitorL, kMonitorR};
  for (int channels : {4, 5}) {
    std::vector<float> want{M[0], M[1], H[0], H[1]};
    want.resize(channels, 0.0f);
    EXPECT_EQ(rig.Frame(channels), want) << channels << " channels";
  }
  for (int channels : {6, 7}) {
    std::vector<float> want{M[0], M[1], H[0], H[1], H[0], H[1]};
    if (channels == 7) want.push_back(0);
    EXPECT_EQ(rig.Frame(channels), want) << channels << " channels";
  }
  for (int channels : {8, 10, 12}) {
    std::vector<float> want{M[0], M[1], H[0], H[1], H[0], H[1], H[0], H[1]};
    want.resize(channels, 0.0f);
    EXPECT_EQ(rig.Frame(channels), want) << channels << " channels: from 8 on silent";
  }
  for (int channels : {2, 3}) EXPECT_EQ(rig.Frame(channels), Silence(channels));
}

TEST(AudioRender, MultichannelOnFewerThanTwoChannelsAnswersZero) {
  Rig rig;
  rig.render->outputMode = kOutputMultichannel;
  int answer = -1;
  EXPECT_EQ(rig.Frame(1, 64, &answer), Silence(1));
  EXPECT_EQ(answer, 0);
  EXPECT_EQ(rig.mix.normalCalls, 0) << "the mix is not even asked";
  rig.Frame(2, 64, &answer);
  EXPECT_EQ(answer, 64) << "two channels: silence, but a normal answer";
}

TEST(AudioRender, ExternalMixerAssignsChannelsByExactCount) {
  Rig rig;
  rig.render->externalMixer = true;
  for (int mode : {kOutputNormal, kOutputSplit}) {
    rig.render->outputMode = mode;
    EXPECT_EQ(rig.Frame(2), (std::vector<float>{kMasterMono, kDeckBMono}));
    EXPECT_EQ(rig.Frame(4), (std::vector<float>{kMasterMono, kDeckBMono, 0, 0}));
  }
  rig.render->outputMode = kOutputMultichannel;
  const std::vector<float> A{kMasterL, kMasterR}, B{kDeckBL, kDeckBR}, O{kOthersL, kOthersR},
      H{kMonitorL, kMonitorR};
  auto pairs = [](std::initializer_list<std::vector<float>> list, int channels) {
    std::vector<float> out;
    for (auto& pair : list) out.insert(out.end(), pair.begin(), pair.end());
    out.resize(channels, 0.0f);
    return out;
  };
  EXPECT_EQ(rig.Frame(4), pairs({A, B}, 4));
  EXPECT_EQ(rig.Frame(5), pairs({A, B}, 5));
  EXPECT_EQ(rig.Frame(6), pairs({A, B, O}, 6));
  EXPECT_EQ(rig.Frame(7), pairs({A, B, O}, 7));
  EXPECT_EQ(rig.Frame(8), pairs({A, B, O, H}, 8));
  EXPECT_EQ(rig.Frame(10), pairs({A, B, O, H}, 10));
  EXPECT_EQ(rig.Frame(12), pairs({A, B, O, H}, 12));
  EXPECT_EQ(rig.Frame(14), pairs({A, B, O, H}, 14));
  for (int channels : {2, 3, 9, 11})
    EXPECT_EQ(rig.Frame(channels), Silence(channels)) << channels << " channels stay silent";
  EXPECT_EQ(rig.mix.normalCalls, 0);
  EXPECT_GT(rig.mix.externalCalls, 0);
}

// Marks what it processed so the test can see where the limiter and the
// recorder acted.
class MarkingLimiter : public CEffect {
 public:
  void Prepare() override {}
  void Reset() override {}
  void Process(float* buffer, int frames, float bpm) override {
    lastBpm = bpm;
    for (int i = 0; i < frames * 2; ++i) buffer[i] += 1.0f;
  }
  float lastBpm = -1;
};

class CapturingRecorder : public BlockRecorder {
 public:
  int WriteBlock(const float* buffer, int frames) override {
    first = buffer[0];
    ++blocks;
    return failing ? 0 : frames;
  }
  float first = 0;
  int blocks = 0;
  bool failing = false;
};

TEST(AudioRender, LimiterAndRecorderFollowTheMasterThroughTheSwap) {
  Rig rig;
  MarkingLimiter limiter;
  CapturingRecorder recorder;
  rig.render->limiter = &limiter;
  rig.render->recorder = &recorder;
  rig.render->outputMode = kOutputMultichannel;

  EXPECT_EQ(rig.Frame(4), (std::vector<float>{kMasterL + 1, kMasterR + 1, kMonitorL, kMonitorR}));
  EXPECT_FLOAT_EQ(recorder.first, kMasterL + 1) << "the recorder takes the limited master";
  EXPECT_EQ(limiter.lastBpm, 0.0f);

  rig.render->reverseMasterMonitor = true;
  // The master now goes to the monitor's place and the monitor to pair 0;
  // the limiter and the recorder still act on the master.
  EXPECT_EQ(rig.Frame(4), (std::vector<float>{kMonitorL, kMonitorR, kMasterL + 1, kMasterR + 1}));
  EXPECT_FLOAT_EQ(recorder.first, kMasterL + 1);
}

TEST(AudioRender, RecorderFailureRaisesTheFlagOnce) {
  Rig rig;
  CapturingRecorder recorder;
  rig.render->recorder = &recorder;
  rig.Frame(2);
  EXPECT_FALSE(rig.render->recorderFailed);
  recorder.failing = true;
  rig.Frame(2);
  EXPECT_TRUE(rig.render->recorderFailed);
  rig.render->recorderFailed = false;  // the screen tick took it
  recorder.failing = false;
  rig.Frame(2);
  EXPECT_FALSE(rig.render->recorderFailed);
}

TEST(AudioRender, CueIsMasterAndNoAudio) {
  Rig rig;
  rig.render->outputMode = kOutputSplit;
  rig.render->cueIsMaster = true;
  EXPECT_EQ(rig.Frame(2), (std::vector<float>{kMasterMono, kMasterMono}));

  CapturingRecorder recorder;
  rig.render->recorder = &recorder;
  rig.render->cueIsMaster = false;
  rig.render->noAudio = true;
  const int before = rig.mix.normalCalls;
  EXPECT_EQ(rig.Frame(8), Silence(8));
  EXPECT_EQ(rig.mix.normalCalls, before + 1) << "the mix still runs";
  EXPECT_EQ(recorder.blocks, 1) << "the recorder still writes";
}

TEST(AudioRender, NoMixLeavesTheDeviceSilent) {
  auto render = std::make_unique<AudioRenderer>();
  std::vector<float> out(128, 5.0f);
  EXPECT_EQ(render->RenderDeviceBlock(out.data(), 64, 2), 64);
  for (float v : out) ASSERT_EQ(v, 0.0f);
}

TEST(AudioRender, MonitorRingFeedsTheSecondDevice) {
  Rig rig;
  rig.render->secondDeviceActive = true;
  constexpr int kBlock = 256;
  std::vector<float> second(kBlock * 2, -1.0f);

  // Empty ring: the second device's buffer stays as it was.
  rig.render->RenderSecondDeviceBlock(second.data(), kBlock);
  EXPECT_EQ(second[0], -1.0f);

  rig.Frame(2, kBlock);
  rig.render->RenderSecondDeviceBlock(second.data(), kBlock);
  EXPECT_EQ(second[0], kMonitorL);
  EXPECT_EQ(second[1], kMonitorR);
  EXPECT_EQ(rig.render->MonitorRing().Available(), 0u);

  rig.render->noAudio = true;
  rig.Frame(2, kBlock);
  rig.render->RenderSecondDeviceBlock(second.data(), kBlock);
  EXPECT_EQ(second[0], 0.0f) << "no-audio silences the second device too";
}

TEST(AudioRender, MonitorRingDropsWholeBlocksWhenFullAndCatchesUp) {
  Rig rig;
  rig.render->secondDeviceActive = true;
  ByteRing& ring = rig.render->MonitorRing();
  constexpr int kBlock = 4000;  // 32000 bytes: four fit in 141120, the fifth does not
  for (int i = 0; i < 5; ++i) rig.Frame(2, kBlock);
  EXPECT_EQ(ring.Available(), 4u * kBlock * 8) << "the fifth write is dropped whole";

  // A slow second device: each read takes one block, and a second one while
  // more than a block is left, so the backlog shrinks by two per call.
  std::vector<float> second(kBlock * 2);
  rig.render->RenderSecondDeviceBlock(second.data(), kBlock);
  EXPECT_EQ(ring.Available(), 2u * kBlock * 8);
  rig.render->RenderSecondDeviceBlock(second.data(), kBlock);
  EXPECT_EQ(ring.Available(), 1u * kBlock * 8) << "exactly one block left: no second read";

  // Steady state with the second device one block behind: the delay does
  // not grow.
  for (int i = 0; i < 20; ++i) {
    rig.Frame(2, kBlock);
    if (i % 2 == 0) rig.Frame(2, kBlock);  // the first device runs ahead
    rig.render->RenderSecondDeviceBlock(second.data(), kBlock);
    ASSERT_LE(ring.Available(), 1u * kBlock * 8) << "round " << i;
  }
}

TEST(AudioRender, OfflineDeviceRendersWithinTheRealtimeRules) {
  auto render = std::make_unique<AudioRenderer>();
  BusMix mix;
  MarkingLimiter limiter;
  render->mix = &mix;
  render->limiter = &limiter;
  render->secondDeviceActive = true;
  OfflineDevice device(*render, 441, 2);
  // Any allocation or lock inside the callback aborts in checked builds.
  const std::vector<float> out = device.RenderToMemory(44100 + 7);
  ASSERT_EQ(out.size(), (44100u + 7) * 2);
  EXPECT_FLOAT_EQ(out.back(), kMasterR + 1);
  EXPECT_EQ(render->BlocksRendered(), 101) << "100 full blocks and one of 7 frames";
  EXPECT_EQ(FloatToDevice16(1.5f), 32767);
  EXPECT_EQ(FloatToDevice16(-1.5f), -32768);
  EXPECT_EQ(FloatToDevice16(0.5f), 16000);
  EXPECT_EQ(FloatToDevice16(1.0f / 64000.0f), 0) << "0.5 rounds to even";
}

TEST(AudioRender, OfflineDeviceWritesWhatADeviceWouldPlayToAWavFile) {
  auto render = std::make_unique<AudioRenderer>();
  BusMix mix;
  render->mix = &mix;
  render->outputMode = kOutputSplit;
  test::TempDir dir;
  OfflineDevice device(*render, 300, 2);
  ASSERT_TRUE(device.RenderToWav(1000, dir.File("out.wav")));

  CCodecSet reader(100);
  TCodecFormat format{44100, 2, 16, 16, 0, 0};
  ASSERT_EQ(reader.Open(dir.File("out.wav"), format, kCodecRead, 1000), 1);
  EXPECT_EQ(format.frames, 1000) << "every block, the short last one too";
  std::vector<std::int16_t> samples(2000);
  ASSERT_EQ(reader.GetShortSamples(samples.data(), 1000, 0), 1000);
  // Split mode: master mono left, monitor mono right, at the device's scale.
  EXPECT_EQ(samples[1998], std::nearbyint(kMasterMono * 32000));
  EXPECT_EQ(samples[1999], std::nearbyint(kMonitorMono * 32000));
  EXPECT_FALSE(device.RenderToWav(10, dir.File("no/such/folder.wav")));
}

}  // namespace
}  // namespace vantaro
