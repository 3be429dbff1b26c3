#pragma once
// JackMidiInputs: the program's MIDI inputs on JACK, one JACK client with a
// port per controller slot ("in 00" ... "in 15"), each fed to its slot's
// MidiInputSink from JACK's process thread.
//
// RtMidi's own JACK input is not used for two faults measured with RtMidi
// 5.0: an event that starts a SysEx without its closing F7 makes it hold
// every later message as SysEx continuation until some event ends in F7 (a
// torn SysEx wedges the controller), and it copies each message into a
// growing vector on the process thread. Here the event's bytes go straight
// to the sink's parser, which drops a torn SysEx and allocates nothing.
//
// A slot's port is registered at its first connection and kept until the
// client closes, so the process thread never reads a port being removed; a
// closed slot is only disconnected. The client opens with JackNoStartServer
// and is opened again after the server went away.
//
// Threads: Connect, Disconnect and destruction on the GUI thread; the
// process callback on JACK's real-time thread (no allocation, no lock).

#include <jack/jack.h>

#include <array>
#include <atomic>
#include <string>

#include "control/midi_ports.h"
#include "devices/midi_input.h"

namespace vantaro {

class JackMidiInputs {
 public:
  using Sinks = std::array<MidiInputSink*, kControllerSlots>;
  // The sinks outlive this object.
  JackMidiInputs(std::string clientName, const Sinks& sinks);
  ~JackMidiInputs();
  JackMidiInputs(const JackMidiInputs&) = delete;
  JackMidiInputs& operator=(const JackMidiInputs&) = delete;

  // Connects the slot's port to the source port of that full JACK name. On
  // failure the reason goes to `error` and the slot stays closed.
  bool Connect(int slot, const std::string& sourcePort, std::string* error);
  void Disconnect(int slot);

 private:
  static int Process(jack_nframes_t frames, void* self);
  static void Shutdown(void* self);
  bool EnsureClient(std::string* error);
  void CloseClient();

  std::string clientName_;
  Sinks sinks_;
  jack_client_t* client_ = nullptr;
  std::atomic<bool> serverGone_{false};
  std::array<std::atomic<jack_port_t*>, kControllerSlots> ports_{};
  std::array<std::atomic<bool>, kControllerSlots> active_{};
};

}  // namespace vantaro
