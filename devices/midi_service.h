#pragma once
// RtMidiService: the program's MIDI ports on RtMidi, implementing the
// controller manager's MidiPorts. The ALSA sequencer when /dev/snd/seq is
// there, else JACK MIDI. It never starts a JACK server: RtMidi opens its
// JACK clients with JackNoStartServer. Without a server there are no
// ports; a rescan then retries at most every five seconds.
//
// Each slot's input and output is a client of its own (that is how RtMidi
// works); the ports of the program's clients are never listed. Port names
// are stable names (devices/midi_names.h).
//
// Input path: ALSA: RtMidi's reader thread and its callback; JACK: the
// program's own JACK client (devices/midi_jack_input.h says why not
// RtMidi's) on JACK's real-time thread. Then MidiInputSink (parse, the MIDI
// ring with owner slot + 1, the identity reply) -> MidiWaker -> the GUI
// drain. Listing and outputs use RtMidi on both.
//
// Threads: every call on the GUI thread (see MidiPorts).

#include <array>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "control/gui_sync.h"
#include "control/midi_ports.h"
#include "devices/midi_input.h"
#include "devices/midi_names.h"

class RtMidi;
class RtMidiIn;
class RtMidiOut;

namespace vantaro {

class JackMidiInputs;
class MidiWaker;

// The ALSA sequencer if the kernel offers one, else JACK.
MidiApi DefaultMidiApi();

class RtMidiService final : public MidiPorts {
 public:
  // `wake` posts the MIDI drain's event to the GUI thread (null: the screen
  // tick's drain alone). `clientName` names the program's clients.
  RtMidiService(MidiApi api, RingWake wake, std::string clientName = "vantaro-midi");
  ~RtMidiService() override;
  RtMidiService(const RtMidiService&) = delete;
  RtMidiService& operator=(const RtMidiService&) = delete;

  std::vector<std::string> InputNames() override;
  std::vector<std::string> OutputNames() override;
  bool OpenInput(int slot, const std::string& name) override;
  void CloseInput(int slot) override;
  bool OpenOutput(int slot, const std::string& name) override;
  void CloseOutput(int slot) override;
  void SendShort(int slot, int status, int data1, int data2) override;
  void SendSysex(int slot, const std::vector<std::uint8_t>& bytes) override;
  std::vector<std::uint8_t> TakeIdentityReply(int slot) override;

  MidiApi Api() const { return api_; }
  bool InputOpen(int slot) const;
  bool OutputOpen(int slot) const;
  // Malformed bytes an input dropped since it opened.
  int MalformedDropped(int slot) const;

  // RtMidi's error callback target; public for the callback only.
  void NoteError(const std::string& text);

 private:
  struct Input {
    std::unique_ptr<RtMidiIn> port;
    MidiInputSink sink;
    std::string serviceName;  // the name the service listed when opened
    bool open = false;
  };
  struct Output {
    std::unique_ptr<RtMidiOut> port;
    std::string name;
    std::string serviceName;
    bool open = false;
  };

  bool ServiceReachable();
  std::vector<std::string> StableNames(bool inputs);
  std::vector<std::string> ServiceNamesOf(bool inputs);
  int FindPort(bool inputs, RtMidi& port, const std::string& name, std::string* serviceName);
  bool OpenJackInput(int slot, const std::string& name, std::string* error);
  bool OpenRtMidiInput(int slot, const std::string& name, std::string* error);
  bool SendBytes(int slot, const unsigned char* bytes, std::size_t size);
  void ResetOutput(int slot);
  std::string TakeError();

  // Declared first: RtMidi objects may report through NoteError while they
  // are destroyed.
  std::string lastError_;
  MidiApi api_;
  std::string clientName_;
  std::unique_ptr<MidiWaker> waker_;
  std::unique_ptr<RtMidiIn> inputScanner_;
  std::unique_ptr<RtMidiOut> outputScanner_;
  std::array<Input, kControllerSlots> inputs_;
  std::unique_ptr<JackMidiInputs> jackInputs_;  // JACK: the inputs; ALSA: null
  std::array<Output, kControllerSlots> outputs_;
  std::chrono::steady_clock::time_point retryAt_{};
  bool unreachable_ = false;
};

}  // namespace vantaro
