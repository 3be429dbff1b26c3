#include "devices/midi_jack_input.h"

#include <jack/midiport.h>

#include <cerrno>
#include <cstdio>

namespace vantaro {

JackMidiInputs::JackMidiInputs(std::string clientName, const Sinks& sinks)
    : clientName_(std::move(clientName)), sinks_(sinks) {}

JackMidiInputs::~JackMidiInputs() {
  CloseClient();
}

void JackMidiInputs::CloseClient() {
  if (client_) jack_client_close(client_);  // stops the process thread first
  client_ = nullptr;
  for (auto& port : ports_) port.store(nullptr);
  for (auto& active : active_) active.store(false);
}

void JackMidiInputs::Shutdown(void* self) {
  static_cast<JackMidiInputs*>(self)->serverGone_.store(true);
}

bool JackMidiInputs::EnsureClient(std::string* error) {
  if (client_ && serverGone_.load()) CloseClient();
  if (client_) return true;
  serverGone_.store(false);
  jack_status_t status{};
  client_ = jack_client_open(clientName_.c_str(), JackNoStartServer, &status);
  if (!client_) {
    char text[64];
    std::snprintf(text, sizeof text, "no JACK server (status 0x%x)", static_cast<unsigned>(status));
    *error = text;
    return false;
  }
  jack_set_process_callback(client_, &JackMidiInputs::Process, this);
  jack_on_shutdown(client_, &JackMidiInputs::Shutdown, this);
  if (jack_activate(client_) != 0) {
    *error = "the JACK client could not be activated";
    jack_client_close(client_);
    client_ = nullptr;
    return false;
  }
  return true;
}

bool JackMidiInputs::Connect(int slot, const std::string& sourcePort, std::string* error) {
  if (slot < 0 || slot >= kControllerSlots) return false;
  Disconnect(slot);
  if (!EnsureClient(error)) return false;
  jack_port_t* port = ports_[slot].load();
  if (!port) {
    char name[16];
    std::snprintf(name, sizeof name, "in %02d", slot);
    port = jack_port_register(client_, name, JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
    if (!port) {
      *error = "a JACK port could not be made";
      return false;
    }
    ports_[slot].store(port);
  }
  sinks_[slot]->Open();
  const int result = jack_connect(client_, sourcePort.c_str(), jack_port_name(port));
  if (result != 0 && result != EEXIST) {
    *error = "JACK refused the connection";
    return false;
  }
  active_[slot].store(true);
  return true;
}

void JackMidiInputs::Disconnect(int slot) {
  if (slot < 0 || slot >= kControllerSlots) return;
  active_[slot].store(false);
  jack_port_t* port = ports_[slot].load();
  if (client_ && port && !serverGone_.load()) jack_port_disconnect(client_, port);
}

// JACK's process thread. The message time is the event's own frame on
// JACK's clock, in milliseconds.
int JackMidiInputs::Process(jack_nframes_t frames, void* self) {
  auto* inputs = static_cast<JackMidiInputs*>(self);
  const jack_nframes_t cycleStart = jack_last_frame_time(inputs->client_);
  for (int slot = 0; slot < kControllerSlots; ++slot) {
    jack_port_t* port = inputs->ports_[slot].load(std::memory_order_acquire);
    if (!port || !inputs->active_[slot].load(std::memory_order_acquire)) continue;
    void* buffer = jack_port_get_buffer(port, frames);
    const jack_nframes_t count = jack_midi_get_event_count(buffer);
    for (jack_nframes_t i = 0; i < count; ++i) {
      jack_midi_event_t event;
      if (jack_midi_event_get(&event, buffer, i) != 0) continue;
      const jack_time_t us = jack_frames_to_time(inputs->client_, cycleStart + event.time);
      inputs->sinks_[slot]->Receive(event.buffer, event.size,
                                    static_cast<int>((us / 1000) & 0x7FFFFFFF));
    }
  }
  return 0;
}

}  // namespace vantaro
