#include "control/hardware_controller.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string_view>

#include "base/debug_log.h"
#include "control/value_entries.h"

namespace vantaro {
namespace {

// The device-name match waits this long for an identity reply (ms).
constexpr std::int64_t kNameMatchDelayMs = 1000;
// Device and script-file polls (ms): a change takes effect within 2 s.
constexpr std::int64_t kPollPeriodMs = 1000;
// Ten stopped calls within ten seconds disable a controller.
constexpr std::size_t kStopsToDisable = 10;
constexpr std::int64_t kStopWindowMs = 10000;

const std::vector<std::uint8_t> kIdentityRequest = {0xF0, 0x7E, 0x7F, 0x06, 0x01, 0xF7};

std::int64_t SteadyMs() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

int IndexOf(const std::vector<std::string>& names, const std::string& name) {
  const auto at = std::find(names.begin(), names.end(), name);
  return at == names.end() ? -1 : static_cast<int>(at - names.begin());
}

std::string Hex(const std::vector<std::uint8_t>& bytes, std::size_t from, std::size_t count) {
  std::string text;
  char byte[4];
  for (std::size_t i = from; i < from + count && i < bytes.size(); ++i) {
    std::snprintf(byte, sizeof byte, "%02X", bytes[i]);
    text += byte;
  }
  return text;
}

ControllerManager* g_active = nullptr;

}  // namespace

ControllerManager::ControllerManager(MidiPorts& ports, ControllerSetup setup)
    : ports_(ports), setup_(std::move(setup)), host_(this) {
  if (!setup_.clockMs) setup_.clockMs = SteadyMs;
  for (int slot = 0; slot < kControllerSlots; ++slot) slots_[slot].uniqueId = slot;
}

ControllerManager::~ControllerManager() {
  Stop();
  if (g_active == this) g_active = nullptr;
}

void ControllerManager::Start() {
  if (started_) return;
  started_ = true;
  for (const ScriptFileStamp& file : ListScriptFiles(setup_.scriptFolders)) {
    files_[file.name] = file;
    host_.Load(file.path);
  }
  AddValueListener(&ControllerManager::OnValue, this);
  lastPollMs_ = setup_.clockMs();
  PollDevices();
}

void ControllerManager::Stop() {
  if (!started_) return;
  started_ = false;
  RemoveValueListener(&ControllerManager::OnValue, this);
  for (int slot = 0; slot < kControllerSlots; ++slot)
    if (used_[slot]) Close(slots_[slot], "closing");
  for (int index : host_.Indexes()) host_.Unload(index);
  files_.clear();
}

CZKHardwareController* ControllerManager::Slot(int uniqueId) {
  if (uniqueId < 0 || uniqueId >= kControllerSlots || !used_[uniqueId]) return nullptr;
  return &slots_[uniqueId];
}

bool ControllerManager::Callable(const CZKHardwareController& controller) const {
  return controller.script >= 0 && controller.initialised && !controller.disabled &&
         !controller.busy;
}

int ControllerManager::BoundScriptNumber(const std::string& inputName) const {
  for (const auto& [number, name] : setup_.configuredInputs)
    if (name == inputName && setup_.boundScripts.count(number)) return number;
  return -1;
}

// ---- devices ----------------------------------------------------------------------------

void ControllerManager::PollDevices() {
  const std::vector<std::string> inputs = ports_.InputNames();
  for (int slot = 0; slot < kControllerSlots; ++slot)
    if (used_[slot] && IndexOf(inputs, slots_[slot].inputName) < 0)
      Close(slots_[slot], "input gone");
  std::vector<std::string> wanted;
  for (const auto& [number, name] : setup_.configuredInputs) wanted.push_back(name);
  for (int index : host_.Indexes())
    if (host_.Info(index).loaded && !host_.Info(index).midiInput.empty())
      wanted.push_back(host_.Info(index).midiInput);
  // An input that would not open is tried again only once it was gone.
  std::erase_if(refused_, [&](const std::string& name) { return IndexOf(inputs, name) < 0; });
  for (const std::string& name : wanted) {
    const std::vector<std::string> open = OpenInputs();
    if (IndexOf(inputs, name) >= 0 && IndexOf(open, name) < 0 && IndexOf(refused_, name) < 0)
      Open(name, inputs);
  }
}

void ControllerManager::Open(const std::string& name, const std::vector<std::string>& inputs) {
  const auto free = std::find(used_, used_ + kControllerSlots, false);
  if (free == used_ + kControllerSlots) {
    DebugLog("controller: no free slot for input '%s'", name.c_str());
    return;
  }
  const int slot = static_cast<int>(free - used_);
  if (!ports_.OpenInput(slot, name)) {
    refused_.push_back(name);
    return;
  }
  CZKHardwareController& controller = slots_[slot];
  controller = CZKHardwareController();
  controller.uniqueId = slot;
  controller.inputName = name;
  controller.midiInput = IndexOf(inputs, name);
  const std::vector<std::string> outputs = ports_.OutputNames();
  controller.midiOutput = PairedMidiOutput(outputs, name);
  if (controller.midiOutput >= 0 && ports_.OpenOutput(slot, outputs[controller.midiOutput])) {
    controller.outputName = outputs[controller.midiOutput];
    ports_.SendSysex(slot, kIdentityRequest);
  } else {
    controller.midiOutput = -1;
  }
  used_[slot] = true;
  DebugLog("CZKHardwareController constructor in:%d, out:%d", controller.midiInput,
           controller.midiOutput);
  controller.openedMs = setup_.clockMs();
  controller.matchPending = true;
  controller.status = "waiting for a match";
  // A user's explicit binding needs no identification.
  if (const int number = BoundScriptNumber(name); number >= 0) MatchNow(controller);
}

void ControllerManager::Close(CZKHardwareController& controller, const char* why) {
  Unbind(controller);
  ports_.CloseInput(controller.uniqueId);
  ports_.CloseOutput(controller.uniqueId);
  used_[controller.uniqueId] = false;
  DebugLog("controller [%X] FSelfId=%d input '%s' closed (%s), slot freed",
           static_cast<unsigned>(controller.midiInput), controller.uniqueId,
           controller.inputName.c_str(), why);
}

// ---- matching ---------------------------------------------------------------------------

void ControllerManager::TakeIdentityReply(CZKHardwareController& controller) {
  const std::vector<std::uint8_t> reply = ports_.TakeIdentityReply(controller.uniqueId);
  if (reply.empty()) return;
  DebugLog("SysEx (size:%d) '%s'", static_cast<int>(reply.size()),
           Hex(reply, 0, reply.size()).c_str());
  if (reply.size() <= 9 || reply[0] != 0xF0 || reply[1] != 0x7E || reply[3] != 0x06 ||
      reply[4] != 0x02)
    return;
  controller.sysexId = Hex(reply, 5, 5);
  if (controller.script >= 0 || controller.disabled) return;
  for (int index : host_.Indexes()) {
    if (host_.Info(index).loaded && host_.Info(index).sysexId == controller.sysexId) {
      Bind(controller, index, "sysex id");
      return;
    }
  }
}

// The binding, then a known sysex id, then the device name: the order of
// a fresh match, used at once (a midiscr binding, a rematch after reload).
void ControllerManager::MatchNow(CZKHardwareController& controller) {
  controller.matchPending = false;
  if (const int number = BoundScriptNumber(controller.inputName); number >= 0) {
    const std::string& file = setup_.boundScripts.at(number);
    const int index = host_.Find(file);
    if (index >= 0 && host_.Info(index).loaded) {
      Bind(controller, index, "midiscr");
    } else {
      controller.disabled = true;
      controller.status =
          "disabled: script '" + file + "' " +
          (index < 0 ? std::string("not found") : "NOT loaded: " + host_.Info(index).status);
      DebugLog("controller [%X] FSelfId=%d %s", static_cast<unsigned>(controller.midiInput),
               controller.uniqueId, controller.status.c_str());
    }
    return;
  }
  for (int pass = 0; pass < 2; ++pass) {
    for (int index : host_.Indexes()) {
      const ScriptInfo& info = host_.Info(index);
      if (!info.loaded) continue;
      const bool match = pass == 0
                             ? !controller.sysexId.empty() && info.sysexId == controller.sysexId
                             : info.midiInput == controller.inputName;
      if (match) {
        Bind(controller, index, pass == 0 ? "sysex id" : "device name");
        return;
      }
    }
  }
  controller.status = "no script matched";
}

void ControllerManager::Bind(CZKHardwareController& controller, int script, const char* how) {
  const ScriptInfo& info = host_.Info(script);
  controller.script = script;
  controller.matchPending = false;
  controller.disabled = false;
  controller.stoppedAt.clear();
  DebugLog("controller%s [%X] FSelfId=%d matched to script '%s' [using %s]",
           std::string(how) == "device name" ? " MIDI" : "",
           static_cast<unsigned>(controller.midiInput), controller.uniqueId, info.name.c_str(),
           how);
  // The script may name an output of its own.
  if (controller.outputName.empty() && !info.midiOutput.empty()) {
    const std::vector<std::string> outputs = ports_.OutputNames();
    controller.midiOutput = IndexOf(outputs, info.midiOutput);
    if (controller.midiOutput >= 0 && ports_.OpenOutput(controller.uniqueId, info.midiOutput))
      controller.outputName = info.midiOutput;
  }
  controller.busy = true;
  const ScriptHost::Result result = host_.ControllerInit(script, controller.uniqueId);
  controller.busy = false;
  if (result == ScriptHost::Result::kStopped) {
    const ScriptFailure& failure = host_.LastFailure();
    Disable(controller, "error in controllerInit, line " + std::to_string(failure.line) + ": " +
                            failure.reason);
    return;
  }
  controller.initialised = true;
  controller.status = "running '" + info.name + "'";
}

void ControllerManager::Unbind(CZKHardwareController& controller) {
  if (Callable(controller)) {
    controller.busy = true;
    host_.ControllerDeinit(controller.script, controller.uniqueId);
    controller.busy = false;
  }
  controller.script = -1;
  controller.initialised = false;
  controller.disabled = false;
  controller.stoppedAt.clear();
  controller.status = "no script matched";
}

void ControllerManager::Disable(CZKHardwareController& controller, const std::string& why) {
  controller.disabled = true;
  controller.status = "disabled: " + why;
  DebugLog("controller [%X] FSelfId=%d script '%s' %s", static_cast<unsigned>(controller.midiInput),
           controller.uniqueId, host_.Info(controller.script).name.c_str(),
           controller.status.c_str());
}

// After a call: counts a stop; false when the controller is now disabled.
bool ControllerManager::Track(CZKHardwareController& controller, ScriptHost::Result result) {
  if (result != ScriptHost::Result::kStopped) return true;
  const std::int64_t now = setup_.clockMs();
  controller.stoppedAt.push_back(now);
  while (!controller.stoppedAt.empty() && now - controller.stoppedAt.front() >= kStopWindowMs)
    controller.stoppedAt.pop_front();
  if (controller.stoppedAt.size() < kStopsToDisable) return true;
  Disable(controller,
          std::to_string(kStopsToDisable) + " calls stopped within 10 s, last at line " +
              std::to_string(host_.LastFailure().line) + ": " + host_.LastFailure().reason);
  return false;
}

// ---- input from the program -------------------------------------------------------------

void ControllerManager::OnMidi(const MidiMessage& message) {
  CZKHardwareController* controller = Slot(SlotOfMidiOwner(message.owner));
  if (!controller || !Callable(*controller)) return;
  controller->busy = true;
  const ScriptHost::Result result =
      host_.MessageReceived(controller->script, controller->uniqueId, message.status,
                            message.channel, message.data1, message.data2);
  controller->busy = false;
  Track(*controller, result);
}

void ControllerManager::OnValue(const ValueEntry& entry, void* user) {
  auto* self = static_cast<ControllerManager*>(user);
  for (int slot = 0; slot < kControllerSlots; ++slot) {
    CZKHardwareController* controller = self->Slot(slot);
    if (!controller || !self->Callable(*controller)) continue;
    controller->busy = true;
    const ScriptHost::Result result =
        self->host_.NotificationReceived(controller->script, slot, entry.name, entry.deck,
                                         entry.intValue, entry.doubleValue, entry.text);
    controller->busy = false;
    self->Track(*controller, result);
  }
}

void ControllerManager::Tick() {
  const std::int64_t now = setup_.clockMs();
  const int count = tickCount_;
  tickCount_ = (tickCount_ + 1) & 15;
  for (int slot = 0; slot < kControllerSlots; ++slot) {
    CZKHardwareController* controller = Slot(slot);
    if (!controller) continue;
    TakeIdentityReply(*controller);
    if (count & 1) continue;  // every controller is MIDI so far
    if (controller->matchPending && now - controller->openedMs > kNameMatchDelayMs)
      MatchNow(*controller);
    if (!Callable(*controller)) continue;
    controller->busy = true;
    const ScriptHost::Result result = host_.TimerTick(controller->script, slot);
    controller->busy = false;
    Track(*controller, result);
  }
  if (now - lastPollMs_ >= kPollPeriodMs) {
    lastPollMs_ = now;
    PollScripts();
    PollDevices();
  }
}

// ---- script files -----------------------------------------------------------------------

void ControllerManager::PollScripts() {
  std::map<std::string, ScriptFileStamp> now;
  for (const ScriptFileStamp& file : ListScriptFiles(setup_.scriptFolders)) now[file.name] = file;
  bool changed = false;
  for (const auto& [name, stamp] : files_) {
    if (!now.count(name)) {
      ReloadScript(name, "");
      changed = true;
    }
  }
  for (const auto& [name, stamp] : now) {
    const auto old = files_.find(name);
    if (old == files_.end() || !(old->second == stamp)) {
      ReloadScript(name, stamp.path);
      changed = true;
    }
  }
  files_ = std::move(now);
  if (!changed) return;
  for (int slot = 0; slot < kControllerSlots; ++slot) {
    CZKHardwareController* controller = Slot(slot);
    if (controller && controller->script < 0 && !controller->matchPending) MatchNow(*controller);
  }
}

// Deinit of every controller on the old script, a new realm for the new
// file (none when `path` is empty: the file is gone).
void ControllerManager::ReloadScript(const std::string& name, const std::string& path) {
  const int old = host_.Find(name);
  for (int slot = 0; slot < kControllerSlots; ++slot) {
    CZKHardwareController* controller = Slot(slot);
    if (!controller) continue;
    const bool onOld = old >= 0 && controller->script == old;
    // A controller bound by midiscr to this file was disabled while it was broken.
    const int number = BoundScriptNumber(controller->inputName);
    const bool boundHere = number >= 0 && setup_.boundScripts.at(number) == name;
    if (onOld || (boundHere && controller->script < 0)) Unbind(*controller);
  }
  if (old >= 0) host_.Unload(old);
  DebugLog("script '%s' %s", name.c_str(), path.empty() ? "removed" : "changed, reloading");
  if (!path.empty()) host_.Load(path);
}

// ---- outputs and lists ------------------------------------------------------------------

void ControllerManager::SendShort(int uniqueId, int status, int data1, int data2) {
  if (Slot(uniqueId)) ports_.SendShort(uniqueId, status, data1, data2);
}

std::vector<ControllerStatus> ControllerManager::Controllers() const {
  std::vector<ControllerStatus> list;
  for (int slot = 0; slot < kControllerSlots; ++slot) {
    if (!used_[slot]) continue;
    const CZKHardwareController& controller = slots_[slot];
    ControllerStatus row;
    row.uniqueId = slot;
    row.inputName = controller.inputName;
    row.script = controller.script >= 0 ? host_.Info(controller.script).name : "";
    row.running = controller.script >= 0 && controller.initialised && !controller.disabled;
    row.status = controller.status;
    list.push_back(row);
  }
  return list;
}

std::vector<std::string> ControllerManager::OpenInputs() const {
  std::vector<std::string> names;
  for (int slot = 0; slot < kControllerSlots; ++slot)
    if (used_[slot]) names.push_back(slots_[slot].inputName);
  return names;
}

void SetActiveControllerManager(ControllerManager* manager) {
  g_active = manager;
}

void ControllerMidiHandler(const MidiMessage& message) {
  if (g_active) g_active->OnMidi(message);
}

int PairedMidiOutput(const std::vector<std::string>& outputs, const std::string& input) {
  if (const int same = IndexOf(outputs, input); same >= 0) return same;
  static constexpr std::string_view kCapture = " (capture)", kPlayback = " (playback)";
  if (const auto at = input.find(kCapture); at != std::string::npos) {
    std::string twin = input;
    twin.replace(at, kCapture.size(), kPlayback);
    if (const int index = IndexOf(outputs, twin); index >= 0) return index;
  }
  const auto colon = input.find(':');
  if (colon == std::string::npos) return -1;
  const std::string_view client(input.data(), colon + 1);
  int found = -1;
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    if (!outputs[i].starts_with(client)) continue;
    if (found >= 0) return -1;
    found = static_cast<int>(i);
  }
  return found;
}

}  // namespace vantaro
