#pragma once
// The two ways from any thread to the GUI thread: a GuiSyncAction (a typed
// message whose meaning belongs to its sender) and a MIDI message (a short
// message of a controller or a MIDI input). Senders push into a ring and,
// when no drain is pending, wake the GUI thread with an event (id 128 for
// GUI sync, 64 for MIDI); the GUI thread drains the whole ring at that
// event.
//
// Senders never wait. A sender on a real-time thread (the audio callback)
// never posts the wake-up itself, because posting a toolkit event
// allocates; the screen tick drains what it left within one tick (38 ms).
// Overload is counted by the senders and written to the log by the drain:
// a sender never formats.
//
// Limits: 24 GUI sync messages (the ring holds four times that; past 24
// every message adds to the overload count, past 96 it is dropped), 250
// MIDI messages (the 251st is dropped).
//
// Threads: Send* from any thread; Drain*, the handlers and the wake-up set
// up on the GUI thread.

#include <cstddef>

namespace vantaro {

struct GuiSyncAction {
  int type = 0;
  int auxi0 = 0, auxi1 = 0, auxi2 = 0, auxi3 = 0;
  char auxs0[256] = {};
  char auxs1[256] = {};
  char auxs2[128] = {};
  char auxs3[128] = {};
};

struct MidiMessage {
  int owner = 0;  // controller that reads it, 0 for the skin map
  int kind = 0;   // source kind; 1..64 are the console's
  int status = 0, channel = 0, data1 = 0, data2 = 0;
  int time = 0;  // ms
};

inline constexpr int kMaxGuiSyncActionMessages = 24;
inline constexpr int kGuiSyncRingRecords = 4 * kMaxGuiSyncActionMessages;
inline constexpr int kMaxMidiMessages = 250;
inline constexpr int kGuiSyncEventId = 128;
inline constexpr int kMidiEventId = 64;

// Null texts are empty; longer texts are cut at their field. Returns false
// when the message was dropped.
bool SendGuiSyncAction(int type, int auxi0, int auxi1, int auxi2, int auxi3,
                       const char* auxs0 = nullptr, const char* auxs1 = nullptr,
                       const char* auxs2 = nullptr, const char* auxs3 = nullptr);
bool SendMidiMessage(int owner, int kind, int status, int channel, int data1, int data2, int time);

// Posts the wake-up event `eventId` to the main window; null (the default,
// and after close) sends none. Any thread but a real-time one calls it.
using RingWake = void (*)(int eventId);
void SetRingWake(RingWake wake);

// Each drains its whole ring and returns the number of messages handled.
// The GUI thread, at the wake-up event and on each screen tick.
int DrainGuiSync();
int DrainMidi();

// Receivers. A GUI sync type without a handler is only logged.
using GuiSyncHandler = void (*)(const GuiSyncAction& message);
// Types 0..kGuiSyncTypes-1; false for a type out of range.
inline constexpr int kGuiSyncTypes = 32;
bool SetGuiSyncHandler(int type, GuiSyncHandler handler);
using MidiHandler = void (*)(const MidiMessage& message);
// Messages with an owner (the controller scripts), and those without one
// whose kind is not the console's (the shortcut maps).
void SetMidiHandlers(MidiHandler owned, MidiHandler skin);

}  // namespace vantaro
