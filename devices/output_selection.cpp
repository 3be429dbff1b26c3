#include "devices/output_selection.h"

#include <algorithm>

#include "base/debug_log.h"

namespace vantaro {

int BlockFramesForLatency(int latencyFrames) {
  if (latencyFrames < kBlockCount) return 0;
  return std::min(latencyFrames / kBlockCount, kMaxBlockFrames);
}

TOutputSelection SelectionFromSettings(const OutputDeviceTable& table, const std::string& audio0,
                                       const std::string& audio1, int audmod, int latncy) {
  TOutputSelection selection;
  selection.firstDevice = table.Find(audio0);
  if (selection.firstDevice < 0) selection.firstDevice = 0;
  selection.secondDevice = table.Find(audio1);
  selection.outputMode = audmod;
  selection.latencyFrames = latncy;
  return selection;
}

namespace {

// The second device after the rules that concern it alone.
int CheckedSecondDevice(const OutputDeviceTable& table, const TOutputSelection& selection) {
  const int second = selection.secondDevice;
  if (second < 0 || second == selection.firstDevice) return -1;
  const TOutputDeviceRow* row = table.Row(second);
  if (!row) return -1;
  if (row->maxOutputChannels < 2) {
    DebugLog("second output device %d has %d channel(s), not stereo: not used", second,
             row->maxOutputChannels);
    return -1;
  }
  return second;
}

}  // namespace

TOutputPlan PlanOutputs(const OutputDeviceTable& table, TOutputSelection& selection,
                        int forcedChannels) {
  TOutputPlan plan;
  selection.multichannelUnavailable = false;
  const TOutputDeviceRow* first = table.Row(selection.firstDevice);
  if (!first) return plan;

  int requestedChannels = 4;
  if (forcedChannels > 0) {
    requestedChannels = forcedChannels;
    selection.outputMode = 2;
    selection.secondDevice = -1;
  }
  selection.secondDevice = CheckedSecondDevice(table, selection);
  if (selection.secondDevice >= 0) selection.outputMode = 0;

  plan.blockFrames = BlockFramesForLatency(selection.latencyFrames);
  if (plan.blockFrames == 0) {
    DebugLog("latency of %d frames gives empty device blocks: audio not opened",
             selection.latencyFrames);
    return plan;
  }

  plan.multichannel = selection.outputMode > 1;
  plan.channels = plan.multichannel ? requestedChannels : 2;
  const int offered = first->maxOutputChannels;
  if (plan.channels > offered && offered > 0) {
    DebugLog("output device \"%s\" has %d channels, %d asked: using %d", first->name.c_str(),
             offered, plan.channels, offered);
    plan.channels = offered;
  }
  if (plan.multichannel && plan.channels < kMinMultichannelChannels) {
    DebugLog("multichannel mode needs %d channels, %d available on \"%s\": normal mode instead",
             kMinMultichannelChannels, plan.channels, first->name.c_str());
    selection.outputMode = 0;
    selection.multichannelUnavailable = true;
    plan.multichannel = false;
    plan.channels = offered > 0 && offered < 2 ? offered : 2;
  }
  if (plan.channels > 2) plan.multichannel = true;
  plan.device[0] = selection.firstDevice;
  plan.device[1] = selection.secondDevice;
  return plan;
}

}  // namespace vantaro
