#pragma once
// The output layer: the device table filled from PortAudio, opening and
// closing the program's output streams, and the latency figure.
//
// The program calls, on the GUI thread:
//   at start-up   EnumerateOutputs(); if it answers 0, show
//                 kNoOutputDeviceText and go on; after config.xml, turn the
//                 stored names into a selection with
//                 SelectionFromSettings(TheOutputDeviceTable(), audio0,
//                 audio1, audmod, latncy); later OpenAudio(selection), and
//                 copy selection.secondDevice and .outputMode back; when
//                 selection.multichannelUnavailable is set, tell the user
//                 why the mode went back to normal.
//   on a change of device, latency or mode: OpenAudio(selection) again.
//   at close      CloseAudio(true).
// Audio that fails to open leaves the program running silently; the reason
// is in the debug log.
//
// Threads: every function here runs on the GUI thread only (never on the
// audio thread: they block and allocate).

#include <string>

#include "devices/output_device_table.h"
#include "devices/output_selection.h"
#include "devices/portaudio_stream.h"

namespace vantaro {

class AudioRenderer;

// Shown once at start-up when enumeration finds no output device at all.
inline constexpr const char* kNoOutputDeviceText =
    "No audio output device was found. Vantaro DJ will run without sound.";

// (Re)initialises PortAudio and fills the device table: ALSA rows, then
// JACK rows. Returns the number of rows. Refused (answering the current
// count) while audio is open, because re-initialising PortAudio would pull
// the streams from under their callbacks. Never starts a JACK server.
int EnumerateOutputs();

// The table EnumerateOutputs fills.
OutputDeviceTable& TheOutputDeviceTable();
int GetDeviceCount();
std::string GetDeviceName(int index);  // empty when out of range
// Row index of a device name as stored in config.xml; -1 when unknown.
int FindOutputDevice(const std::string& name);

// Closes what is open, applies the selection rules (writing back the second
// device and the mode they change) and opens slot 0, and slot 1 when a
// second device is chosen. `forcedChannels` above 0 asks for a multichannel
// stream of that many channels. The renderer's output mode and second-device
// flag follow what opened. Returns true when slot 0 plays.
bool OpenAudio(TOutputSelection& selection, int forcedChannels = 0);
bool OpenAudio(TOutputSelection& selection, int forcedChannels, AudioRenderer& renderer);

// Stops and closes slot 1, then slot 0, waiting for their callbacks to end.
// With `freeNames` also empties the device table and releases PortAudio
// (program end).
void CloseAudio(bool freeNames);

// The ring length of slot 0 in frames (latency rounded down to whole
// blocks); 0 when no output is open.
int GetLatencyFrames();

int GetOpenOutputCount();
// The open output of slot 0 or 1, null when none (diagnostics, tests).
TDSoutput* GetOpenOutput(int slot);

}  // namespace vantaro
