#include "app/program_controllers.h"

#include <wx/event.h>

#include <algorithm>
#include <memory>
#include <mutex>

#include "app/program.h"
#include "app/settings.h"
#include "base/debug_log.h"
#include "control/gui_sync.h"
#include "control/hardware_controller.h"
#include "control/key_map.h"
#include "control/script_engine.h"
#include "devices/midi_service.h"
#include "skin/main_window.h"

namespace vantaro {
namespace {

std::unique_ptr<RtMidiService> g_ports;
std::unique_ptr<ControllerManager> g_manager;
bool g_engineStarted = false;
// Slots whose messages a script takes, refreshed each tick from the manager.
bool g_scripted[kControllerSlots] = {};

std::mutex g_wakeLock;
ZKMainWindow* g_wakeWindow = nullptr;

// The MIDI waker's thread: wakes the drain for the real-time input thread.
void PostMidiWake(int eventId) {
  std::lock_guard<std::mutex> guard(g_wakeLock);
  if (g_wakeWindow) wxQueueEvent(g_wakeWindow, new wxThreadEvent(wxEVT_THREAD, eventId));
}

void SkinMidi(const MidiMessage& message) {
  HandleSkinMidi(message.status, message.channel, message.data1, message.data2, message.time);
}

void OwnedMidi(const MidiMessage& message) {
  const int slot = SlotOfMidiOwner(message.owner);
  if (g_manager && slot >= 0 && slot < kControllerSlots && g_scripted[slot])
    g_manager->OnMidi(message);
  else
    SkinMidi(message);
}

void RefreshScripted() {
  std::fill(std::begin(g_scripted), std::end(g_scripted), false);
  if (!g_manager) return;
  for (const ControllerStatus& row : g_manager->Controllers())
    if (row.uniqueId >= 0 && row.uniqueId < kControllerSlots)
      g_scripted[row.uniqueId] = row.running && !row.script.empty();
}

ControllerSetup SetupFromSettings() {
  const DataFolders& folders = TheProgram().folders;
  const MidiBindings bindings = ReadMidiBindings(TheSettings());
  ControllerSetup setup;
  // Lowest priority first: a user's file overrides a shipped one.
  setup.scriptFolders = {folders.executable + "controllers/", folders.dataRoot + "Controllers/"};
  setup.configuredInputs = bindings.inputs;
  setup.boundScripts = bindings.scripts;
  return setup;
}

// Names opened now that config.xml does not list yet take the first free
// numbers; listed ones keep theirs, so midiscr%02d stays with its input.
void RecordOpenInputs(const std::vector<std::string>& open) {
  std::vector<std::string>& inputs = TheSettings().midiInputs;
  for (const std::string& name : open) {
    if (std::find(inputs.begin(), inputs.end(), name) != inputs.end()) continue;
    const auto gap = std::find(inputs.begin(), inputs.end(), std::string());
    if (gap != inputs.end())
      *gap = name;
    else
      inputs.push_back(name);
  }
}

}  // namespace

void StartControllers(ZKMainWindow* mainWindow) {
  {
    std::lock_guard<std::mutex> guard(g_wakeLock);
    g_wakeWindow = mainWindow;
  }
  g_ports = std::make_unique<RtMidiService>(DefaultMidiApi(), &PostMidiWake);
  SetMidiHandlers(&OwnedMidi, &SkinMidi);
  g_engineStarted = StartScriptEngine();
  if (!g_engineStarted) {
    DebugLog("controllers: no script engine, MIDI goes to the shortcut map only");
    return;
  }
  g_manager = std::make_unique<ControllerManager>(*g_ports, SetupFromSettings());
  SetActiveControllerManager(g_manager.get());
  g_manager->Start();
  RefreshScripted();
  DebugLog("controllers: %zu scripts, %zu inputs open", g_manager->Host().Indexes().size(),
           g_manager->OpenInputs().size());
}

void RunControllerTick() {
  if (!g_manager) return;
  g_manager->Tick();
  RefreshScripted();
}

void StopControllers() {
  if (g_manager) {
    RecordOpenInputs(g_manager->OpenInputs());
    SetActiveControllerManager(nullptr);
    g_manager->Stop();
    g_manager.reset();
  }
  std::fill(std::begin(g_scripted), std::end(g_scripted), false);
  if (g_engineStarted) StopScriptEngine();
  g_engineStarted = false;
  {
    std::lock_guard<std::mutex> guard(g_wakeLock);
    g_wakeWindow = nullptr;
  }
  g_ports.reset();
  DebugLog("controllers: stopped");
}

}  // namespace vantaro
