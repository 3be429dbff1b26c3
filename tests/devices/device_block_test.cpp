// The callback side of an output: conversion to 16 bits, silence rules,
// pieces, the real-time mark, callback timing, and a second device that
// runs slower than the first.

#include "devices/device_block.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/realtime.h"
#include "engine/audio_render.h"
#include "tests/devices/test_mix.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

TEST(DeviceConversion, ScaleRoundingAndClipping) {
  // Full scale is 32000, not 32767; half a step rounds to even; 1.4 and 1.6
  // steps are rounded, not truncated; beyond 16 bits clips (-32771 -> -32768).
  const std::pair<float, std::int16_t> cases[] = {
      {0.0f, 0},         {1.0f, 32000},      {-1.0f, -32000},    {0.5f, 16000},
      {1.0f / 64000, 0}, {-1.0f / 64000, 0}, {1.4f / 32000, 1},  {1.6f / 32000, 2},
      {1.0239f, 32765},  {1.05f, 32767},     {-1.0241f, -32768}, {-3.0f, -32768}};
  for (auto [in, expected] : cases) {
    std::int16_t out = 7;
    ConvertToDevice16(&in, &out, 1);
    EXPECT_EQ(out, expected) << in * 32000 << " steps";
  }
}

// Writes a ramp continuing over calls, so pieces can be checked for joins.
struct RampSource {
  float next = 0;
  std::vector<int> calls;
  int answer = -1;  // -1: answer the frame count
};

int RampCallback(float* out, int frames, int channels, void* user) {
  auto* ramp = static_cast<RampSource*>(user);
  ramp->calls.push_back(frames);
  for (int i = 0; i < frames; ++i) {
    for (int c = 0; c < channels; ++c) out[i * channels + c] = ramp->next * (c + 1);
    ramp->next += 1.0f / 32000;
  }
  return ramp->answer < 0 ? frames : ramp->answer;
}

TEST(OutputBlockFiller, LargeRequestsAreRenderedInPiecesWithoutAGap) {
  RampSource ramp;
  ramp.calls.reserve(8);
  OutputBlockFiller filler(&RampCallback, &ramp, 3, 100);
  std::vector<std::int16_t> out(250 * 3, 77);
  filler.Fill(out.data(), 250);
  EXPECT_EQ(ramp.calls, (std::vector<int>{100, 100, 50}));
  for (int i = 0; i < 250; ++i) {
    ASSERT_EQ(out[i * 3], i) << i;
    ASSERT_EQ(out[i * 3 + 2], 3 * i) << i;
  }
  EXPECT_EQ(filler.callbacks.load(), 1);
}

TEST(OutputBlockFiller, SilenceWhenStoppedRefusedOrWithoutCallback) {
  RampSource ramp;
  ramp.calls.reserve(8);
  OutputBlockFiller filler(&RampCallback, &ramp, 2, 64);
  OutputBlockFiller without(nullptr, nullptr, 2, 64);
  std::vector<std::int16_t> out(64 * 2);
  auto fillIsSilent = [&out](OutputBlockFiller& output) {
    std::fill(out.begin(), out.end(), 5);
    output.Fill(out.data(), 64);
    return std::all_of(out.begin(), out.end(), [](std::int16_t s) { return s == 0; });
  };
  ramp.next = 0.25f;
  filler.stopped = true;
  EXPECT_TRUE(fillIsSilent(filler));
  EXPECT_TRUE(ramp.calls.empty()) << "a stopped output must not render";
  filler.stopped = false;
  ramp.answer = 0;  // the render refuses the block
  EXPECT_TRUE(fillIsSilent(filler));
  EXPECT_EQ(ramp.calls.size(), 1u);
  EXPECT_TRUE(fillIsSilent(without));
  // The same filler plays again once the render answers.
  ramp.answer = -1;
  ramp.next = 0.25f;
  EXPECT_FALSE(fillIsSilent(filler));
  EXPECT_EQ(out[0], 8000);  // 0.25 * 32000
}

int AllocatingCallback(float* out, int frames, int channels, void*) {
  auto* leak = new std::vector<float>(static_cast<std::size_t>(frames) * channels);
  std::copy(leak->begin(), leak->end(), out);
  delete leak;
  return frames;
}

TEST(OutputBlockFillerDeathTest, AllocationInTheCallbackAborts) {
  if (!kRealtimeChecksBuilt) GTEST_SKIP() << "real-time checks are not built in this build type";
  OutputBlockFiller filler(&AllocatingCallback, nullptr, 2, 32);
  std::vector<std::int16_t> out(64);
  EXPECT_DEATH(filler.Fill(out.data(), 32), "real-time violation");
}

TEST(CallbackTiming, PercentilesOfRecordedDurations) {
  CallbackTiming timing;
  EXPECT_EQ(timing.PercentileMicros(0.999), 0);
  for (int i = 1; i <= 1000; ++i) timing.Record(static_cast<std::int64_t>(i) * 1000 + 999);
  EXPECT_EQ(timing.Count(), 1000u);
  EXPECT_NEAR(timing.TotalMicros(), 500500 + 999, 1e-6);
  EXPECT_EQ(timing.PercentileMicros(0.5), 500);
  EXPECT_EQ(timing.PercentileMicros(0.999), 999);
  EXPECT_EQ(timing.PercentileMicros(1.0), 1000);
  timing.Record(-5);  // a clock step backwards counts as 0
  timing.Record(static_cast<std::int64_t>(CallbackTiming::kMaxMicros + 50) * 1000);
  EXPECT_EQ(timing.PercentileMicros(0.0), 0);
  EXPECT_EQ(timing.PercentileMicros(1.0), CallbackTiming::kMaxMicros + 1);
  timing.Reset();
  EXPECT_EQ(timing.Count(), 0u);
  EXPECT_EQ(timing.TotalMicros(), 0.0);
}

// Drives both slots' fillers on one renderer: the first device calls
// `firstPerRound` times for every `secondPerRound` calls of the second.
// Returns the largest delay (in blocks) between the block the first device
// just rendered and the block the second plays; -1 when the second device
// ever played a block older than one it had already played.
int LargestSecondDeviceDelay(int firstPerRound, int secondPerRound, int rounds) {
  auto renderer = std::make_unique<AudioRenderer>();
  test::BlockNumberMix mix;
  renderer->mix = &mix;
  renderer->secondDeviceActive = true;
  constexpr int kFrames = 256;
  OutputBlockFiller first(&RenderFirstDeviceCallback, renderer.get(), 2, kFrames);
  OutputBlockFiller second(&RenderSecondDeviceCallback, renderer.get(), 2, kFrames);
  std::vector<std::int16_t> a(kFrames * 2), b(kFrames * 2);
  int largest = 0, lastPlayed = -1;
  for (int round = 0; round < rounds; ++round) {
    for (int i = 0; i < firstPerRound; ++i) first.Fill(a.data(), kFrames);
    for (int i = 0; i < secondPerRound; ++i) {
      second.Fill(b.data(), kFrames);
      const int played = test::BlockNumberMix::Decode(b[0] / 32000.0f);
      const long newest = (mix.Blocks() - 1) % 128;
      const int delay = static_cast<int>((newest - played + 128) % 128);
      if (round > 2) largest = std::max(largest, delay);
      // Block numbers only move forward (modulo 128), never back.
      if (lastPlayed >= 0 && ((played - lastPlayed + 128) % 128) > 64) return -1;
      lastPlayed = played;
    }
  }
  return largest;
}

TEST(SecondDevice, SlowerDeviceCatchesUpInsteadOfFallingBehind) {
  // The second device gets 3 callbacks for every 4 of the first: without
  // dropping a block when it is behind, its delay would grow by a block
  // every round until the ring overflows.
  const int delay = LargestSecondDeviceDelay(4, 3, 200);
  EXPECT_GE(delay, 0);
  EXPECT_LE(delay, 2);
  // Much slower still holds (one callback for two).
  const int slow = LargestSecondDeviceDelay(2, 1, 200);
  EXPECT_GE(slow, 0);
  EXPECT_LE(slow, 2);
}

TEST(SecondDevice, FollowsInStepAndPlaysSilenceBeforeTheFirstBlock) {
  auto renderer = std::make_unique<AudioRenderer>();
  test::ToneMix mix({1000, 0.5f, 0.5f}, {440, 0.25f, 0.25f});
  renderer->mix = &mix;
  renderer->secondDeviceActive = true;
  OutputBlockFiller first(&RenderFirstDeviceCallback, renderer.get(), 2, 128);
  OutputBlockFiller second(&RenderSecondDeviceCallback, renderer.get(), 2, 128);
  std::vector<std::int16_t> a(256), b(256, 99);
  second.Fill(b.data(), 128);  // nothing rendered yet
  for (std::int16_t s : b) ASSERT_EQ(s, 0);

  std::vector<float> heard;
  for (int i = 0; i < 100; ++i) {
    first.Fill(a.data(), 128);
    second.Fill(b.data(), 128);
    for (std::int16_t s : b) heard.push_back(s / 32000.0f);
  }
  // The monitor bus, continuous: its level and pitch, no gap at any join.
  EXPECT_NEAR(test::Rms(heard, 2, 0), 0.25 / std::sqrt(2.0), 0.002);
  EXPECT_NEAR(test::ToneFrequency(heard, 2, 1), 440.0, 0.5);
  EXPECT_LT(test::LargestStep(heard, 2, 0), 0.25 * 2 * M_PI * 440 / 44100 * 1.1);
}

}  // namespace
}  // namespace vantaro
