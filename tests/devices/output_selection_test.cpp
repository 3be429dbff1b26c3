// The selection rules of OpenAudio on device tables filled here.

#include "devices/output_selection.h"

#include <gtest/gtest.h>

namespace vantaro {
namespace {

// Rows 0, 1: stereo ALSA cards; 2: an 8-channel ALSA card; 3: JACK, stereo;
// 4: JACK, 8 ports.
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
  return table;
}

TEST(OutputSelection, NoFirstDeviceOpensNothing) {
  const OutputDeviceTable table = MakeTable();
  for (int first : {-1, 5, 99}) {
    TOutputSelection selection{first, 1, 1, 2880};
    const TOutputPlan plan = PlanOutputs(table, selection, 0);
    EXPECT_EQ(plan.device[0], -1) << first;
    EXPECT_EQ(plan.device[1], -1) << first;
  }
  OutputDeviceTable empty;
  TOutputSelection selection{0, -1, 0, 2880};
  EXPECT_EQ(PlanOutputs(empty, selection, 0).device[0], -1);
}

TEST(OutputSelection, SameDeviceTwiceOpensOnlyTheFirst) {
  const OutputDeviceTable table = MakeTable();
  TOutputSelection selection{1, 1, 1, 2880};
  const TOutputPlan plan = PlanOutputs(table, selection, 0);
  EXPECT_EQ(plan.device[0], 1);
  EXPECT_EQ(plan.device[1], -1);
  EXPECT_EQ(selection.secondDevice, -1);
  // No second device really opens, so the split mode the user chose stays.
  EXPECT_EQ(selection.outputMode, 1);
}

TEST(OutputSelection, SecondDeviceForcesNormalModeOnAlsaAndJackRows) {
  const OutputDeviceTable table = MakeTable();
  for (int mode : {0, 1, 2}) {
    for (auto [first, second] : {std::pair{0, 1}, std::pair{3, 0}, std::pair{4, 3}}) {
      TOutputSelection selection{first, second, mode, 2880};
      const TOutputPlan plan = PlanOutputs(table, selection, 0);
      EXPECT_EQ(plan.device[0], first);
      EXPECT_EQ(plan.device[1], second);
      EXPECT_EQ(selection.outputMode, 0) << "mode " << mode << " first " << first;
      EXPECT_EQ(plan.channels, 2);
      EXPECT_FALSE(plan.multichannel);
    }
  }
}

TEST(OutputSelection, SecondDeviceOutsideTheTableIsCleared) {
  const OutputDeviceTable table = MakeTable();
  TOutputSelection selection{0, 7, 1, 2880};
  const TOutputPlan plan = PlanOutputs(table, selection, 0);
  EXPECT_EQ(plan.device[1], -1);
  EXPECT_EQ(selection.secondDevice, -1);
  EXPECT_EQ(selection.outputMode, 1);
}

TEST(OutputSelection, JackRowsKeepTheUsersMode) {
  const OutputDeviceTable table = MakeTable();
  for (int mode : {0, 1}) {
    TOutputSelection selection{3, -1, mode, 2880};
    const TOutputPlan plan = PlanOutputs(table, selection, 0);
    EXPECT_EQ(plan.device[0], 3);
    EXPECT_EQ(selection.outputMode, mode);
    EXPECT_EQ(plan.channels, 2);
    EXPECT_FALSE(plan.multichannel);
  }
}

TEST(OutputSelection, ChannelCountOfTheModes) {
  const OutputDeviceTable table = MakeTable();
  {  // multichannel from the settings: four channels
    TOutputSelection selection{2, -1, 2, 2880};
    const TOutputPlan plan = PlanOutputs(table, selection, 0);
    EXPECT_EQ(plan.channels, 4);
    EXPECT_TRUE(plan.multichannel);
  }
  {  // forced channels: multichannel, no second device
    TOutputSelection selection{4, 1, 0, 2880};
    const TOutputPlan plan = PlanOutputs(table, selection, 8);
    EXPECT_EQ(plan.channels, 8);
    EXPECT_TRUE(plan.multichannel);
    EXPECT_EQ(plan.device[1], -1);
    EXPECT_EQ(selection.secondDevice, -1);
    EXPECT_EQ(selection.outputMode, 2);
  }
  {  // never more channels than the device has
    TOutputSelection selection{4, -1, 2, 2880};
    EXPECT_EQ(PlanOutputs(table, selection, 12).channels, 8);
  }
  {  // multichannel on a stereo card opens it with two channels (the render
     // then plays silence, as it does for any two-channel multichannel device)
    TOutputSelection selection{0, -1, 2, 2880};
    const TOutputPlan plan = PlanOutputs(table, selection, 0);
    EXPECT_EQ(plan.device[0], 0);
    EXPECT_EQ(plan.channels, 2);
    EXPECT_TRUE(plan.multichannel);
    EXPECT_EQ(selection.outputMode, 2);
  }
}

TEST(OutputSelection, MonoSecondDeviceIsNotUsed) {
  OutputDeviceTable table = MakeTable();
  TOutputDeviceRow mono;
  mono.name = "ALSA: mono headset";
  mono.maxOutputChannels = 1;
  table.Add(mono);
  TOutputSelection selection{0, 5, 1, 2880};
  const TOutputPlan plan = PlanOutputs(table, selection, 0);
  EXPECT_EQ(plan.device[1], -1);
  EXPECT_EQ(selection.outputMode, 1);
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
  selection = SelectionFromSettings(table, "ALSA: unplugged (hw:3,0)", "ALSA: gone", 0, 2880);
  EXPECT_EQ(selection.firstDevice, 0);
  EXPECT_EQ(selection.secondDevice, -1);
  selection = SelectionFromSettings(table, "", "", 0, 2880);
  EXPECT_EQ(selection.firstDevice, 0);
  EXPECT_EQ(selection.secondDevice, -1);

  // With no device at all the fallback row does not exist, and nothing opens.
  const OutputDeviceTable empty;
  selection = SelectionFromSettings(empty, "ALSA: default", "", 0, 2880);
  EXPECT_EQ(PlanOutputs(empty, selection, 0).device[0], -1);
}

TEST(OutputSelection, BlockFramesFromLatency) {
  EXPECT_EQ(BlockFramesForLatency(2880), 360);  // the default: 8 ms blocks
  EXPECT_EQ(BlockFramesForLatency(2887), 360);  // rounded towards zero
  EXPECT_EQ(BlockFramesForLatency(2048), 256);
  EXPECT_EQ(BlockFramesForLatency(8), 1);
  EXPECT_EQ(BlockFramesForLatency(7), 0);
  EXPECT_EQ(BlockFramesForLatency(0), 0);
  EXPECT_EQ(BlockFramesForLatency(-80), 0);
  EXPECT_EQ(BlockFramesForLatency(35280), 4410);  // the largest usable latency
  EXPECT_EQ(BlockFramesForLatency(35288), 4410);  // a deck refuses larger blocks
  EXPECT_EQ(BlockFramesForLatency(100000), 4410);

  const OutputDeviceTable table = MakeTable();
  TOutputSelection tiny{0, -1, 0, 7};
  EXPECT_EQ(PlanOutputs(table, tiny, 0).device[0], -1);
  TOutputSelection normal{0, -1, 0, 1024};
  EXPECT_EQ(PlanOutputs(table, normal, 0).blockFrames, 128);
}

}  // namespace
}  // namespace vantaro
