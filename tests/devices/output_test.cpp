// The output layer without a sound server: the device table (exclusions,
// the row limit, lookup by stored name), the selection rules of OpenAudio
// on tables filled here, and the callback side of an output (conversion to
// 16 bits, rendering in pieces, the silence rules, the real-time mark,
// callback timing).

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "base/realtime.h"
#include "devices/device_block.h"
#include "devices/output_selection.h"
#include "engine/audio_render.h"

namespace vantaro {
namespace {

TOutputDeviceRow Row(const std::string& name, int channels = 2, OutputHostApi api = kHostAlsa) {
  TOutputDeviceRow row;
  row.name = name;
  row.hostApi = api;
  row.maxOutputChannels = channels;
  return row;
}

TEST(DeviceTable, ControllerAudioIsNeverListedAndOneHundredRowsAtMost) {
  OutputDeviceTable table;
  for (const char* name : {"ALSA: BCD-2000 USB Audio (hw:1,0)", "ALSA: Behringer BCD2000",
                           "JACK Audio Connection Kit: BCD-3000", "ALSA: BCD3000 (hw:2,0)"})
    EXPECT_FALSE(table.Add(Row(name))) << name;
  for (const char* name :
       {"ALSA: BCD-200 (hw:0,0)", "ALSA: bcd2000", "JACK Audio Connection Kit: BCD 2000"})
    EXPECT_TRUE(table.Add(Row(name))) << "a near miss: " << name;
  for (int i = 3; i < 100; ++i) ASSERT_TRUE(table.Add(Row("ALSA: card " + std::to_string(i))));
  EXPECT_FALSE(table.Add(Row("ALSA: card 100")));
  // Lookup by the exact stored name; out of range is empty.
  EXPECT_EQ(table.Find("ALSA: bcd2000"), 1);
  EXPECT_EQ(table.Find("alsa: bcd2000"), -1);
  EXPECT_EQ(table.Find(""), -1);
  EXPECT_EQ(table.Name(100), "");
}

// Rows 0, 1: stereo ALSA cards; 2: an 8-channel ALSA card; 3: JACK, stereo;
// 4: JACK, 8 ports; 5: a mono headset; 6: a three-channel card.
OutputDeviceTable MakeTable() {
  OutputDeviceTable table;
  for (const TOutputDeviceRow& row :
       {Row("ALSA: USB Audio (hw:1,0)"), Row("ALSA: HDA Intel PCH (hw:0,0)"),
        Row("ALSA: Octa (hw:2,0)", 8), Row("JACK Audio Connection Kit: system", 2, kHostJack),
        Row("JACK Audio Connection Kit: octa", 8, kHostJack), Row("ALSA: mono headset", 1),
        Row("ALSA: Trio (hw:3,0)", 3)})
    table.Add(row);
  return table;
}

TEST(OutputSelection, RulesOnDevicesModesAndChannels) {
  struct Case {
    int first, second, mode, forced;  // what was asked
    int device0, device1, modeAfter, channels;
    bool multichannel, unavailable;
  };
  std::vector<Case> cases = {
      // A first device outside the table opens nothing.
      {-1, 1, 1, 0, -1, -1, 1, 2, false, false},
      {99, 1, 1, 0, -1, -1, 1, 2, false, false},
      // The same device twice, a second device outside the table or a mono
      // one: only the first opens, and the split mode the user chose stays.
      {1, 1, 1, 0, 1, -1, 1, 2, false, false},
      {0, 9, 1, 0, 0, -1, 1, 2, false, false},
      {0, 5, 1, 0, 0, -1, 1, 2, false, false},
      {3, -1, 1, 0, 3, -1, 1, 2, false, false},  // JACK rows keep the user's mode
      // Multichannel asks 4 channels, a forced count that many, never more
      // than the device has, and drops the second device.
      {2, -1, 2, 0, 2, -1, 2, 4, true, false},
      {4, 1, 0, 8, 4, -1, 2, 8, true, false},
      {4, -1, 2, 12, 4, -1, 2, 8, true, false},
      // Fewer than four channels would play silence: normal mode, and say so.
      {0, -1, 2, 0, 0, -1, 0, 2, false, true},
      {6, -1, 2, 0, 6, -1, 0, 2, false, true},
      {5, -1, 2, 0, 5, -1, 0, 1, false, true},
      {2, -1, 0, 2, 2, -1, 0, 2, false, true},
  };
  // A second device forces the normal mode, on ALSA and JACK rows alike.
  for (int mode : {0, 1, 2})
    for (auto [first, second] : {std::pair{0, 1}, std::pair{3, 0}, std::pair{4, 3}})
      cases.push_back({first, second, mode, 0, first, second, 0, 2, false, false});

  const OutputDeviceTable table = MakeTable();
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "asked " << c.first << "/" << c.second << " mode " << c.mode
                                    << " forced " << c.forced);
    TOutputSelection selection{c.first, c.second, c.mode, 2880, true};
    const TOutputPlan plan = PlanOutputs(table, selection, c.forced);
    EXPECT_EQ(plan.device[0], c.device0);
    EXPECT_EQ(plan.device[1], c.device1);
    EXPECT_EQ(selection.multichannelUnavailable, c.unavailable);
    if (c.device0 < 0) continue;
    EXPECT_EQ(selection.secondDevice, c.device1);
    EXPECT_EQ(selection.outputMode, c.modeAfter);
    EXPECT_EQ(plan.channels, c.channels);
    EXPECT_EQ(plan.multichannel, c.multichannel);
  }
}

TEST(OutputSelection, StoredNamesBecomeIndicesAndLatencyBlocks) {
  const OutputDeviceTable table = MakeTable();
  TOutputSelection selection = SelectionFromSettings(table, "JACK Audio Connection Kit: system",
                                                     "ALSA: HDA Intel PCH (hw:0,0)", 1, 4096);
  EXPECT_EQ(selection.firstDevice, 3);
  EXPECT_EQ(selection.secondDevice, 1);
  EXPECT_EQ(selection.outputMode, 1);
  // A card that went away: the main device falls back to the first row, an
  // unknown second device is simply absent; with no device at all nothing
  // opens.
  selection = SelectionFromSettings(table, "ALSA: unplugged (hw:3,0)", "", 0, 2880);
  EXPECT_EQ(selection.firstDevice, 0);
  EXPECT_EQ(selection.secondDevice, -1);
  selection = SelectionFromSettings(OutputDeviceTable(), "ALSA: default", "", 0, 2880);
  EXPECT_EQ(PlanOutputs(OutputDeviceTable(), selection, 0).device[0], -1);
  // Blocks of latency / 8 frames, rounded down, at most 4410 (a deck refuses
  // more); a latency that gives empty blocks opens nothing.
  const std::pair<int, int> blocks[] = {{2880, 360}, {2887, 360},   {8, 1},       {7, 0},
                                        {-80, 0},    {35280, 4410}, {35288, 4410}};
  for (auto [latency, frames] : blocks)
    EXPECT_EQ(BlockFramesForLatency(latency), frames) << latency;
  TOutputSelection tiny{0, -1, 0, 7};
  EXPECT_EQ(PlanOutputs(table, tiny, 0).device[0], -1);
}

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

// A ramp continuing over calls, 1/32000 a frame times (channel + 1), so that
// pieces can be checked for joins; answers `answer` frames (-1: all).
struct Ramp {
  float next = 0;
  std::vector<int> calls;
  int answer = -1;
  static int Callback(float* out, int frames, int channels, void* user) {
    auto* ramp = static_cast<Ramp*>(user);
    ramp->calls.push_back(frames);
    for (int i = 0; i < frames; ++i, ramp->next += 1.0f / 32000)
      for (int c = 0; c < channels; ++c) out[i * channels + c] = ramp->next * (c + 1);
    return ramp->answer < 0 ? frames : ramp->answer;
  }
};

TEST(OutputBlockFiller, RendersLargeRequestsInPiecesAndPlaysSilenceWhenItMust) {
  Ramp ramp;
  ramp.calls.reserve(8);
  OutputBlockFiller filler(&Ramp::Callback, &ramp, 3, 100);
  std::vector<std::int16_t> out(250 * 3, 77);
  filler.Fill(out.data(), 250);
  EXPECT_EQ(ramp.calls, (std::vector<int>{100, 100, 50}));
  for (int i = 0; i < 250; ++i) ASSERT_EQ(out[i * 3 + 2], 3 * i) << "no gap at a join: " << i;
  EXPECT_EQ(filler.callbacks.load(), 1);
  // Silence while stopped (without rendering), when the render refuses the
  // block, without a callback, and on the second device once its ring is
  // empty (not its last block again).
  auto silent = [&out](OutputBlockFiller& output) {
    std::fill(out.begin(), out.end(), 5);
    output.Fill(out.data(), 64);
    return std::all_of(out.begin(), out.begin() + 64 * output.Channels(),
                       [](std::int16_t s) { return s == 0; });
  };
  filler.stopped = true;
  EXPECT_TRUE(silent(filler));
  EXPECT_EQ(ramp.calls.size(), 3u);
  filler.stopped = false;
  ramp.answer = 0;
  EXPECT_TRUE(silent(filler));
  OutputBlockFiller without(nullptr, nullptr, 2, 64);
  EXPECT_TRUE(silent(without));
  AudioRenderer renderer;
  OutputBlockFiller second(&RenderSecondDeviceCallback, &renderer, 2, 64);
  const std::vector<float> block(64 * 2, 0.5f);
  renderer.MonitorRing().Write(block.data(), block.size() * sizeof(float));
  EXPECT_FALSE(silent(second));
  EXPECT_TRUE(silent(second));
}

TEST(OutputBlockFillerDeathTest, AllocationInTheCallbackAborts) {
  if (!kRealtimeChecksBuilt) GTEST_SKIP() << "real-time checks are not built in this build type";
  auto allocating = [](float* out, int frames, int, void*) {
    delete new std::vector<float>(static_cast<std::size_t>(frames));
    out[0] = 0;
    return frames;
  };
  OutputBlockFiller filler(allocating, nullptr, 2, 32);
  std::vector<std::int16_t> out(64);
  EXPECT_DEATH(filler.Fill(out.data(), 32), "real-time violation");
}

TEST(CallbackTiming, PercentilesOfRecordedDurations) {
  CallbackTiming timing;
  EXPECT_EQ(timing.PercentileMicros(0.999), 0);
  for (int i = 1; i <= 1000; ++i) timing.Record(static_cast<std::int64_t>(i) * 1000 + 999);
  EXPECT_NEAR(timing.TotalMicros(), 500500 + 999, 1e-6);
  EXPECT_EQ(timing.PercentileMicros(0.5), 500);
  timing.Record(-5);  // a clock step backwards counts as 0
  timing.Record(static_cast<std::int64_t>(CallbackTiming::kMaxMicros + 50) * 1000);
  EXPECT_EQ(timing.PercentileMicros(0.0), 0);
  EXPECT_EQ(timing.PercentileMicros(1.0), CallbackTiming::kMaxMicros + 1);
  EXPECT_EQ(timing.Count(), 1002u);
}

}  // namespace
}  // namespace vantaro
