// The selection rules of OpenAudio on device tables filled here.

#include "devices/output_selection.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace vantaro {
namespace {

// Rows 0, 1: stereo ALSA cards; 2: an 8-channel ALSA card; 3: JACK, stereo;
// 4: JACK, 8 ports; 5: a mono headset.
OutputDeviceTable MakeTable() {
  OutputDeviceTable table;
  auto add = [&table](const char* name, OutputHostApi api, int channels) {
    TOutputDeviceRow row;
    row.name = name;
    row.hostApi = api;
    row.maxOutputChannels = channels;
    table.Add(row);
  };
  add("ALSA: USB Audio (hw:1,0)", kHostAlsa, 2);
  add("ALSA: HDA Intel PCH (hw:0,0)", kHostAlsa, 2);
  add("ALSA: Octa (hw:2,0)", kHostAlsa, 8);
  add("JACK Audio Connection Kit: system", kHostJack, 2);
  add("JACK Audio Connection Kit: octa", kHostJack, 8);
  add("ALSA: mono headset", kHostAlsa, 1);
  return table;
}

TEST(OutputSelection, RulesOnDevicesModesAndChannels) {
  struct Case {
    int first, second, mode, forced;  // what was asked
    int device0, device1, secondAfter, modeAfter, channels;
    bool multichannel;
  };
  std::vector<Case> cases = {
      // A first device outside the table opens nothing.
      {-1, 1, 1, 0, -1, -1, -1, 1, 2, false},
      {6, 1, 1, 0, -1, -1, -1, 1, 2, false},
      {99, 1, 1, 0, -1, -1, -1, 1, 2, false},
      // The same device twice, a second device outside the table or a mono
      // one: only the first opens, and the split mode the user chose stays.
      {1, 1, 1, 0, 1, -1, -1, 1, 2, false},
      {0, 7, 1, 0, 0, -1, -1, 1, 2, false},
      {0, 5, 1, 0, 0, -1, -1, 1, 2, false},
      // JACK rows keep the user's mode.
      {3, -1, 0, 0, 3, -1, -1, 0, 2, false},
      {3, -1, 1, 0, 3, -1, -1, 1, 2, false},
      // Multichannel from the settings: four channels.
      {2, -1, 2, 0, 2, -1, -1, 2, 4, true},
      // Forced channels: multichannel, no second device.
      {4, 1, 0, 8, 4, -1, -1, 2, 8, true},
      // Never more channels than the device has.
      {4, -1, 2, 12, 4, -1, -1, 2, 8, true},
      // Multichannel on a stereo card opens it with two channels (the render
      // then plays silence, as for any two-channel multichannel device).
      {0, -1, 2, 0, 0, -1, -1, 2, 2, true},
  };
  // A second device forces the normal mode, on ALSA and JACK rows alike.
  for (int mode : {0, 1, 2})
    for (auto [first, second] : {std::pair{0, 1}, std::pair{3, 0}, std::pair{4, 3}})
      cases.push_back({first, second, mode, 0, first, second, second, 0, 2, false});

  const OutputDeviceTable table = MakeTable();
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "asked " << c.first << "/" << c.second << " mode " << c.mode
                                    << " forced " << c.forced);
    TOutputSelection selection{c.first, c.second, c.mode, 2880};
    const TOutputPlan plan = PlanOutputs(table, selection, c.forced);
    EXPECT_EQ(plan.device[0], c.device0);
    EXPECT_EQ(plan.device[1], c.device1);
    if (c.device0 < 0) continue;
    EXPECT_EQ(selection.secondDevice, c.secondAfter);
    EXPECT_EQ(selection.outputMode, c.modeAfter);
    EXPECT_EQ(plan.channels, c.channels);
    EXPECT_EQ(plan.multichannel, c.multichannel);
  }

  OutputDeviceTable empty;
  TOutputSelection selection{0, -1, 0, 2880};
  EXPECT_EQ(PlanOutputs(empty, selection, 0).device[0], -1);
}

TEST(OutputSelection, StoredNamesBecomeIndices) {
  const OutputDeviceTable table = MakeTable();
  TOutputSelection selection = SelectionFromSettings(table, "JACK Audio Connection Kit: system",
                                                     "ALSA: HDA Intel PCH (hw:0,0)", 1, 4096);
  EXPECT_EQ(selection.firstDevice, 3);
  EXPECT_EQ(selection.secondDevice, 1);
  EXPECT_EQ(selection.outputMode, 1);
  EXPECT_EQ(selection.latencyFrames, 4096);

  // A card that went away: the main device falls back to the first row, an
  // unknown second device is simply absent.
  for (const char* gone : {"ALSA: unplugged (hw:3,0)", ""}) {
    selection = SelectionFromSettings(table, gone, gone, 0, 2880);
    EXPECT_EQ(selection.firstDevice, 0) << gone;
    EXPECT_EQ(selection.secondDevice, -1) << gone;
  }

  // With no device at all the fallback row does not exist, and nothing opens.
  const OutputDeviceTable empty;
  selection = SelectionFromSettings(empty, "ALSA: default", "", 0, 2880);
  EXPECT_EQ(PlanOutputs(empty, selection, 0).device[0], -1);
}

TEST(OutputSelection, BlockFramesFromLatency) {
  // latency / 8 rounded towards zero; 2880 (the default) gives 8 ms blocks;
  // a deck refuses blocks over 4410 frames.
  const std::pair<int, int> cases[] = {{2880, 360},   {2887, 360},   {2048, 256}, {8, 1},
                                       {7, 0},        {0, 0},        {-80, 0},    {35280, 4410},
                                       {35288, 4410}, {100000, 4410}};
  for (auto [latency, frames] : cases) EXPECT_EQ(BlockFramesForLatency(latency), frames) << latency;

  const OutputDeviceTable table = MakeTable();
  TOutputSelection tiny{0, -1, 0, 7};
  EXPECT_EQ(PlanOutputs(table, tiny, 0).device[0], -1);
  TOutputSelection normal{0, -1, 0, 1024};
  EXPECT_EQ(PlanOutputs(table, normal, 0).blockFrames, 128);
}

}  // namespace
}  // namespace vantaro
