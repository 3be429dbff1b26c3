#include "devices/midi_service.h"

#include <rtmidi/RtMidi.h>
#include <unistd.h>

#include <cstdio>
#include <exception>

#include "base/debug_log.h"
#include "devices/midi_jack_input.h"
#include "devices/midi_waker.h"

namespace vantaro {
namespace {

constexpr auto kRetryUnreachable = std::chrono::seconds(5);
constexpr int kSysexMillisecondsPerByte = 5;

RtMidi::Api ToRtMidiApi(MidiApi api) {
  return api == MidiApi::kAlsa ? RtMidi::LINUX_ALSA : RtMidi::UNIX_JACK;
}

const char* ApiName(MidiApi api) {
  return api == MidiApi::kAlsa ? "ALSA sequencer" : "JACK";
}

void OnRtMidiError(RtMidiError::Type, const std::string& text, void* service) {
  static_cast<RtMidiService*>(service)->NoteError(text);
}

// Milliseconds of the steady clock, wrapping at 2^31.
int NowMilliseconds() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
  return static_cast<int>(ms & 0x7FFFFFFF);
}

// The input callback: RtMidi's reader thread, or JACK's process thread.
void OnInputBytes(double, std::vector<unsigned char>* message, void* sink) {
  if (!message || message->empty()) return;
  static_cast<MidiInputSink*>(sink)->Receive(message->data(), message->size(), NowMilliseconds());
}

std::string PortLabel(const char* direction, int slot) {
  char label[16];
  std::snprintf(label, sizeof label, "%s %02d", direction, slot);
  return label;
}

bool ValidSlot(int slot) {
  return slot >= 0 && slot < kControllerSlots;
}

}  // namespace

MidiApi DefaultMidiApi() {
  return access("/dev/snd/seq", R_OK | W_OK) == 0 ? MidiApi::kAlsa : MidiApi::kJack;
}

RtMidiService::RtMidiService(MidiApi api, RingWake wake, std::string clientName)
    : api_(api), clientName_(std::move(clientName)) {
  if (wake) waker_ = std::make_unique<MidiWaker>(wake);
  for (int slot = 0; slot < kControllerSlots; ++slot)
    inputs_[slot].sink.Attach(MidiOwnerOfSlot(slot), waker_.get());
  if (api_ == MidiApi::kJack) {
    std::array<MidiInputSink*, kControllerSlots> sinks;
    for (int slot = 0; slot < kControllerSlots; ++slot) sinks[slot] = &inputs_[slot].sink;
    jackInputs_ = std::make_unique<JackMidiInputs>(clientName_, sinks);
  }
  DebugLog("midi: using the %s", ApiName(api_));
}

RtMidiService::~RtMidiService() {
  for (int slot = 0; slot < kControllerSlots; ++slot) {
    CloseInput(slot);
    CloseOutput(slot);
  }
}

void RtMidiService::NoteError(const std::string& text) {
  lastError_ = text;
}

std::string RtMidiService::TakeError() {
  std::string error;
  error.swap(lastError_);
  return error;
}

// The scanners are made on first use and kept; without a reachable service
// (no JACK server) a rescan is tried again after a pause, with one log line
// when the service goes away and one when it comes back.
bool RtMidiService::ServiceReachable() {
  const auto now = std::chrono::steady_clock::now();
  if (unreachable_ && now < retryAt_) return false;
  try {
    if (!inputScanner_) {
      inputScanner_ = std::make_unique<RtMidiIn>(ToRtMidiApi(api_), clientName_);
      inputScanner_->setErrorCallback(&OnRtMidiError, this);
    }
    if (!outputScanner_) {
      outputScanner_ = std::make_unique<RtMidiOut>(ToRtMidiApi(api_), clientName_);
      outputScanner_->setErrorCallback(&OnRtMidiError, this);
    }
    TakeError();
    inputScanner_->getPortCount();  // JACK: connects, or reports why not
    const std::string error = TakeError();
    if (error.empty()) {
      if (unreachable_) DebugLog("midi: the %s is back", ApiName(api_));
      unreachable_ = false;
      return true;
    }
    if (!unreachable_) DebugLog("midi: the %s is not reachable: %s", ApiName(api_), error.c_str());
  } catch (const std::exception& e) {
    if (!unreachable_) DebugLog("midi: the %s is not reachable: %s", ApiName(api_), e.what());
    inputScanner_.reset();
    outputScanner_.reset();
  }
  unreachable_ = true;
  retryAt_ = now + kRetryUnreachable;
  return false;
}

std::vector<std::string> RtMidiService::ServiceNamesOf(bool inputs) {
  std::vector<std::string> names;
  RtMidi* scanner = inputs ? static_cast<RtMidi*>(inputScanner_.get()) : outputScanner_.get();
  if (!scanner) return names;
  try {
    const unsigned count = scanner->getPortCount();
    for (unsigned i = 0; i < count; ++i) names.push_back(scanner->getPortName(i));
  } catch (const std::exception& e) {
    DebugLog("midi: listing ports: %s", e.what());
  }
  TakeError();
  return names;
}

std::vector<std::string> RtMidiService::StableNames(bool inputs) {
  std::vector<std::string> names;
  if (!ServiceReachable()) return names;
  for (const std::string& serviceName : ServiceNamesOf(inputs)) {
    std::string name = StableMidiPortName(api_, serviceName);
    if (!IsOwnMidiPort(name, clientName_)) names.push_back(std::move(name));
  }
  return names;
}

std::vector<std::string> RtMidiService::InputNames() {
  return StableNames(true);
}

std::vector<std::string> RtMidiService::OutputNames() {
  return StableNames(false);
}

// The index of `name` in `port`'s own list, preferring a port no other slot
// holds (two devices of one model share a name); -1 when absent.
int RtMidiService::FindPort(bool inputs, RtMidi& port, const std::string& name,
                            std::string* serviceName) {
  int found = -1;
  const unsigned count = port.getPortCount();
  for (unsigned i = 0; i < count; ++i) {
    const std::string candidate = port.getPortName(i);
    if (StableMidiPortName(api_, candidate) != name) continue;
    bool held = false;
    for (int slot = 0; slot < kControllerSlots; ++slot) {
      held |= inputs ? (inputs_[slot].open && inputs_[slot].serviceName == candidate)
                     : (outputs_[slot].open && outputs_[slot].serviceName == candidate);
    }
    if (held && found >= 0) continue;
    found = static_cast<int>(i);
    *serviceName = candidate;
    if (!held) break;
  }
  return found;
}

bool RtMidiService::OpenInput(int slot, const std::string& name) {
  if (!ValidSlot(slot)) return false;
  CloseInput(slot);
  if (!ServiceReachable()) return false;
  Input& input = inputs_[slot];
  std::string error;
  try {
    const bool opened =
        jackInputs_ ? OpenJackInput(slot, name, &error) : OpenRtMidiInput(slot, name, &error);
    if (!opened) {
      DebugLog("midi: input '%s' not opened: %s", name.c_str(), error.c_str());
      return false;
    }
  } catch (const std::exception& e) {
    DebugLog("midi: input '%s' not opened: %s", name.c_str(), e.what());
    input.port.reset();
    return false;
  }
  input.open = true;
  DebugLog("midi: input %02d open: '%s'", slot, name.c_str());
  return true;
}

bool RtMidiService::OpenJackInput(int slot, const std::string& name, std::string* error) {
  std::string serviceName;
  if (FindPort(true, *inputScanner_, name, &serviceName) < 0) {
    *error = "not found";
    return false;
  }
  if (!jackInputs_->Connect(slot, serviceName, error)) return false;
  inputs_[slot].serviceName = serviceName;
  return true;
}

bool RtMidiService::OpenRtMidiInput(int slot, const std::string& name, std::string* error) {
  Input& input = inputs_[slot];
  if (!input.port) {
    input.port = std::make_unique<RtMidiIn>(ToRtMidiApi(api_), clientName_);
    input.port->setErrorCallback(&OnRtMidiError, this);
    // SysEx is wanted (identity replies); clock, time code and active
    // sensing never reach the callback.
    input.port->ignoreTypes(false, true, true);
    input.port->setCallback(&OnInputBytes, &input.sink);
  }
  std::string serviceName;
  const int index = FindPort(true, *input.port, name, &serviceName);
  if (index < 0) {
    *error = "not found";
    return false;
  }
  input.sink.Open();
  input.port->openPort(static_cast<unsigned>(index), PortLabel("in", slot));
  *error = TakeError();
  if (!error->empty() || !input.port->isPortOpen()) {
    input.port->closePort();
    return false;
  }
  input.serviceName = serviceName;
  return true;
}

void RtMidiService::CloseInput(int slot) {
  if (!ValidSlot(slot) || !inputs_[slot].open) return;
  Input& input = inputs_[slot];
  try {
    if (jackInputs_)
      jackInputs_->Disconnect(slot);
    else
      input.port->closePort();
  } catch (const std::exception& e) {
    DebugLog("midi: closing input %02d: %s", slot, e.what());
  }
  TakeError();
  input.open = false;
  DebugLog("midi: input %02d closed", slot);
}

bool RtMidiService::OpenOutput(int slot, const std::string& name) {
  if (!ValidSlot(slot)) return false;
  CloseOutput(slot);
  if (!ServiceReachable()) return false;
  Output& output = outputs_[slot];
  try {
    if (!output.port) {
      output.port = std::make_unique<RtMidiOut>(ToRtMidiApi(api_), clientName_);
      output.port->setErrorCallback(&OnRtMidiError, this);
    }
    std::string serviceName;
    const int index = FindPort(false, *output.port, name, &serviceName);
    if (index < 0) {
      DebugLog("midi: output '%s' not found", name.c_str());
      return false;
    }
    output.port->openPort(static_cast<unsigned>(index), PortLabel("out", slot));
    const std::string error = TakeError();
    if (!error.empty() || !output.port->isPortOpen()) {
      DebugLog("midi: output '%s' not opened: %s", name.c_str(), error.c_str());
      output.port->closePort();
      return false;
    }
    output.name = name;
    output.serviceName = serviceName;
    output.open = true;
    DebugLog("midi: output %02d open: '%s'", slot, name.c_str());
    return true;
  } catch (const std::exception& e) {
    DebugLog("midi: output '%s' not opened: %s", name.c_str(), e.what());
    output.port.reset();
    return false;
  }
}

void RtMidiService::CloseOutput(int slot) {
  if (!ValidSlot(slot) || !outputs_[slot].open) return;
  Output& output = outputs_[slot];
  try {
    output.port->closePort();
  } catch (const std::exception& e) {
    DebugLog("midi: closing output %02d: %s", slot, e.what());
  }
  TakeError();
  output.open = false;
  DebugLog("midi: output %02d closed", slot);
}

// Sends on an open output; a failure is logged and the output reset
// (closed and opened again by name), so a wedged port does not stay so.
bool RtMidiService::SendBytes(int slot, const unsigned char* bytes, std::size_t size) {
  Output& output = outputs_[slot];
  std::string error;
  try {
    output.port->sendMessage(bytes, size);
    error = TakeError();
  } catch (const std::exception& e) {
    error = e.what();
  }
  if (error.empty()) return true;
  DebugLog("midi: sending on output %02d: %s", slot, error.c_str());
  ResetOutput(slot);
  return false;
}

void RtMidiService::ResetOutput(int slot) {
  const std::string name = outputs_[slot].name;
  CloseOutput(slot);
  OpenOutput(slot, name);
}

void RtMidiService::SendShort(int slot, int status, int data1, int data2) {
  if (!OutputOpen(slot)) return;
  const unsigned char bytes[3] = {static_cast<unsigned char>(status | 0x80),
                                  static_cast<unsigned char>(data1 & 0x7F),
                                  static_cast<unsigned char>(data2 & 0x7F)};
  // Program change and channel pressure carry one data byte.
  const int kind = bytes[0] & 0xF0;
  SendBytes(slot, bytes, kind == 0xC0 || kind == 0xD0 ? 2 : 3);
}

// The service queues the bytes and returns; a send that takes longer than
// five milliseconds a byte counts as stuck.
void RtMidiService::SendSysex(int slot, const std::vector<std::uint8_t>& bytes) {
  if (!OutputOpen(slot) || bytes.empty()) return;
  const auto start = std::chrono::steady_clock::now();
  if (!SendBytes(slot, bytes.data(), bytes.size())) return;
  const auto limit = std::chrono::milliseconds(kSysexMillisecondsPerByte * bytes.size());
  if (std::chrono::steady_clock::now() - start <= limit) return;
  DebugLog("sending sysex: out of time.");
  ResetOutput(slot);
}

std::vector<std::uint8_t> RtMidiService::TakeIdentityReply(int slot) {
  if (!ValidSlot(slot)) return {};
  return inputs_[slot].sink.TakeIdentityReply();
}

bool RtMidiService::InputOpen(int slot) const {
  return ValidSlot(slot) && inputs_[slot].open;
}

bool RtMidiService::OutputOpen(int slot) const {
  return ValidSlot(slot) && outputs_[slot].open;
}

int RtMidiService::MalformedDropped(int slot) const {
  return ValidSlot(slot) ? inputs_[slot].sink.MalformedDropped() : 0;
}

}  // namespace vantaro
