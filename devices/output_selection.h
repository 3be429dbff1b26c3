#pragma once
// The selection rules of OpenAudio, kept apart from PortAudio so that they
// can be checked on any device table.
//
// Threads: GUI thread.

#include <string>

#include "devices/output_device_table.h"

namespace vantaro {

// What the user chose (config.xml `audio0`, `audio1`, `audmod`, `latncy`),
// as indices into the device table. The rules may change the second device
// and the mode; the caller copies them back into its settings.
struct TOutputSelection {
  int firstDevice = -1;      // -1: no output at all
  int secondDevice = -1;     // -1: no headphone device
  int outputMode = 0;        // 0 normal, 1 split, 2 multichannel
  int latencyFrames = 2880;  // ring length, frames at 44100 Hz
  // Set by the rules when, this time, multichannel mode met a device of
  // fewer than kMinMultichannelChannels channels and normal mode replaced
  // it: the caller tells the user why. The mode it writes back is normal,
  // so the same selection opened again does not set it again.
  bool multichannelUnavailable = false;
};

// What OpenAudio will open.
struct TOutputPlan {
  int device[2] = {-1, -1};   // table rows of slot 0 and slot 1; -1: none
  int channels = 2;           // slot 0; slot 1 is always stereo
  bool multichannel = false;  // slot 0 carries more than the master pair
  int blockFrames = 0;        // frames per device callback
};

constexpr int kBlockCount = 8;         // blocks in the device ring
constexpr int kMaxBlockFrames = 4410;  // a deck refuses larger blocks
constexpr int kDefaultLatencyFrames = 2880;
// Multichannel mode puts the monitor on the second pair: with fewer channels
// the render would play silence.
constexpr int kMinMultichannelChannels = 4;

// Frames per device block for a ring of `latencyFrames`: latency / 8,
// rounded towards zero, at most kMaxBlockFrames. 0 for a latency below 8.
int BlockFramesForLatency(int latencyFrames);

// The settings as stored in config.xml (`audio0`, `audio1` by name, `audmod`,
// `latncy`) turned into a selection on `table`: an unknown or empty name
// gives -1, and a main device of -1 becomes row 0, so that a program whose
// card has gone plays on the first device there is (when there is one).
TOutputSelection SelectionFromSettings(const OutputDeviceTable& table, const std::string& audio0,
                                       const std::string& audio1, int audmod, int latncy);

// Applies the rules to `selection` (changing it where they say so) and
// answers what to open:
// - a first device outside the table opens nothing;
// - `forcedChannels` above 0 asks for that many channels and forces
//   multichannel mode with no second device; 0 asks for 4 channels, used
//   only when the mode is multichannel;
// - a second device equal to the first, or outside the table, is cleared;
// - a second device forces the normal mode: the headphones have their own
//   device then;
// - the channel count never exceeds what the device offers;
// - multichannel mode with fewer than kMinMultichannelChannels channels
//   (a stereo device, or a forced count below 4) becomes normal mode, and
//   `multichannelUnavailable` is set;
// - a latency that gives empty blocks opens nothing.
TOutputPlan PlanOutputs(const OutputDeviceTable& table, TOutputSelection& selection,
                        int forcedChannels);

}  // namespace vantaro
