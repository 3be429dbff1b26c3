#pragma once
// The controller manager: 16 controller slots, each one attached MIDI
// input served by one script. It opens the inputs named in config.xml
// (midiin%02d) or by a script's device name, matches each to a script (a
// midiscr%02d binding of the same number first, then the device's identity
// reply against the scripts' sysex ids, then after a second the device name),
// forwards the device's messages, the timer and the value changes to the
// script, and follows devices and script files as they come and go.
//
// A controller whose script throws while loading or in controllerInit, or
// has ten calls stopped within ten seconds, is disabled: no more calls, and
// its status text says why. It comes back when its script file changes.
//
// Threads: GUI thread only (the screen tick, the MIDI drain, the value
// refresh). Clock: milliseconds of any steady clock.

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "control/gui_sync.h"
#include "control/midi_ports.h"
#include "control/script_files.h"
#include "control/script_host.h"

namespace vantaro {

struct ValueEntry;

// One attached device. `uniqueId` is its slot, the id scripts see.
struct CZKHardwareController {
  int uniqueId = 0;
  int midiInput = -1;   // index of its input in the list when it opened
  int midiOutput = -1;  // index of its output, -1 for none
  int hidId = -1;       // HID devices are not attached yet
  bool initialised = false;
  int script = -1;            // matched script, -1 none
  std::int64_t openedMs = 0;  // time of opening, for the device-name match
  bool matchPending = false;  // the one device-name attempt is still due

  std::string inputName, outputName;
  std::string sysexId;  // from the identity reply; kept for rematches after a reload
  bool busy = false;    // inside a script call: a message arriving now is not forwarded
  bool disabled = false;
  std::string status;
  std::deque<std::int64_t> stoppedAt;  // stopped calls of the last ten seconds
};

struct ControllerSetup {
  // Script folders, lowest priority first: the program's controllers/,
  // then the user's Controllers in the data root.
  std::vector<std::string> scriptFolders;
  // midiin%02d: number -> device name; midiscr%02d: number -> script file.
  std::map<int, std::string> configuredInputs;
  std::map<int, std::string> boundScripts;
  // Steady milliseconds; the default reads the system's steady clock.
  std::function<std::int64_t()> clockMs;
};

// A row of the controller list, for the preferences and the log.
struct ControllerStatus {
  int uniqueId = 0;
  std::string inputName;
  std::string script;  // file name, empty when none matched
  bool running = false;
  std::string status;
};

class ControllerManager : public ScriptOutput {
 public:
  ControllerManager(MidiPorts& ports, ControllerSetup setup);
  ~ControllerManager() override;
  ControllerManager(const ControllerManager&) = delete;
  ControllerManager& operator=(const ControllerManager&) = delete;

  // Loads the scripts, opens the wanted inputs, listens to value changes.
  // The script engine must be running.
  void Start();
  // controllerDeinit for every controller, ports closed, scripts unloaded.
  void Stop();

  // A message whose owner is a controller slot (MidiOwnerOfSlot).
  void OnMidi(const MidiMessage& message);
  // Every screen tick: identity replies, the device-name match, timerTick
  // (a MIDI controller on even counts), and once a second the device and
  // script-file polls.
  void Tick();
  // The two polls, also callable on their own: vanished and arrived inputs;
  // changed, added and removed script files.
  void PollDevices();
  void PollScripts();

  std::vector<ControllerStatus> Controllers() const;
  // Names of the inputs open now, for midiin%02d at close.
  std::vector<std::string> OpenInputs() const;
  const ScriptHost& Host() const { return host_; }
  ScriptHost& Host() { return host_; }

  void SendShort(int uniqueId, int status, int data1, int data2) override;

 private:
  CZKHardwareController* Slot(int uniqueId);
  void Open(const std::string& name, const std::vector<std::string>& inputs);
  void Close(CZKHardwareController& controller, const char* why);
  void TakeIdentityReply(CZKHardwareController& controller);
  void MatchNow(CZKHardwareController& controller);
  void Bind(CZKHardwareController& controller, int script, const char* how);
  void Unbind(CZKHardwareController& controller);
  bool Track(CZKHardwareController& controller, ScriptHost::Result result);
  void Disable(CZKHardwareController& controller, const std::string& why);
  bool Callable(const CZKHardwareController& controller) const;
  int BoundScriptNumber(const std::string& inputName) const;
  void ReloadScript(const std::string& name, const std::string& path);
  static void OnValue(const ValueEntry& entry, void* user);

  MidiPorts& ports_;
  ControllerSetup setup_;
  ScriptHost host_;
  CZKHardwareController slots_[kControllerSlots];
  bool used_[kControllerSlots] = {};
  std::map<std::string, ScriptFileStamp> files_;
  std::vector<std::string> refused_;  // inputs that failed to open, until they vanish
  int tickCount_ = 0;
  std::int64_t lastPollMs_ = 0;
  bool started_ = false;
};

// Routes owned MIDI messages (gui_sync.h SetMidiHandlers) to the manager
// set here; null drops them. GUI thread.
void SetActiveControllerManager(ControllerManager* manager);
void ControllerMidiHandler(const MidiMessage& message);

// The index in `outputs` of the output of the device whose input is
// `input`, -1 when none is certain: the same name (ALSA lists both
// directions of a port under one name), the bridge's "(playback)" twin of a
// "(capture)" port, or else the only output of the input's own JACK client
// ("client:port" names; a client with several outputs is ambiguous).
int PairedMidiOutput(const std::vector<std::string>& outputs, const std::string& input);

}  // namespace vantaro
