#include "app/program_actions.h"

#include <wx/event.h>

#include <mutex>

#include "app/key_hook.h"
#include "app/program.h"
#include "app/remote_socket.h"
#include "app/shortcuts_dialog.h"
#include "base/debug_log.h"
#include "control/control_action.h"
#include "control/control_table.h"
#include "control/gui_sync.h"
#include "control/key_map.h"
#include "control/shortcut_files.h"
#include "control/value_entries.h"
#include "skin/custom_control.h"
#include "skin/main_window.h"

namespace vantaro {
namespace {

// Keys a control can hold: a button clicks on any of its keys; a slider's
// first key steps down and its second up. Both take one MIDI binding.
constexpr int kButtonKeys = 2;
constexpr int kSliderKeys = 2;

// The window the rings wake; null before start and after close. Guarded:
// a sender may be posting while the close clears it.
std::mutex g_wakeLock;
ZKMainWindow* g_wakeWindow = nullptr;

void PostWake(int eventId) {
  std::lock_guard<std::mutex> guard(g_wakeLock);
  if (g_wakeWindow) wxQueueEvent(g_wakeWindow, new wxThreadEvent(wxEVT_THREAD, eventId));
}

ControlBindings* SkinBindings(ControlTarget* control) {
  auto* skinned = dynamic_cast<ZKCustomControl*>(control);
  return skinned ? &skinned->bindings : nullptr;
}

void GiveBindingCapacities() {
  TheControlTable().ForEach([](ControlTarget* target) {
    auto* control = dynamic_cast<ZKCustomControl*>(target);
    if (!control || control->controlId <= 0 || control->controlId >= kLastAction) return;
    const int kind = ControlActionRow(control->controlId).kind;
    // The learn button never learns: its click must end learning.
    const bool learn = control->controlId == Actions().learn;
    const bool button = kind == kKindButton && !learn, slider = kind == kKindSlider;
    control->bindings.SetKeyCount(button ? kButtonKeys : slider ? kSliderKeys : 0);
    control->bindings.SetMidiCount(button || slider ? 1 : 0);
  });
}

// Set once the files were read: a close during the start (a signal before
// step 13) must not write empty maps over the user's files.
bool g_shortcutsLoaded = false;

void SkinMidi(const MidiMessage& message) {
  HandleSkinMidi(message.status, message.channel, message.data1, message.data2, message.time);
}

}  // namespace

void LoadProgramShortcuts() {
  SetBindingsLookup(&SkinBindings);
  SetLearnTargetHook(&ResetLearnCapture);
  GiveBindingCapacities();
  const DataFolders& folders = TheProgram().folders;
  const std::string defaults = folders.executable + "controllers/" + kDefaultKeyMapFile;
  const ShortcutStartup startup = LoadShortcutFiles(folders.settings, defaults);
  g_shortcutsLoaded = true;
  DebugLog("init 13: shortcuts: %d keys, %d MIDI bindings%s", startup.keys.bound,
           startup.midi.bound, startup.defaultKeysUsed ? " (default key map)" : "");
}

void StartActionRouting(ZKMainWindow* mainWindow) {
  SetMidiHandlers(nullptr, &SkinMidi);
  mainWindow->Bind(
      wxEVT_THREAD, [](wxThreadEvent&) { DrainGuiSync(); }, kGuiSyncEventId);
  mainWindow->Bind(
      wxEVT_THREAD, [](wxThreadEvent&) { DrainMidi(); }, kMidiEventId);
  {
    std::lock_guard<std::mutex> guard(g_wakeLock);
    g_wakeWindow = mainWindow;
  }
  SetRingWake(&PostWake);
  InstallKeyHook(mainWindow);
  AttachShortcutsDialog();
  StartRemoteListener();
}

void RunActionTick() {
  // What real-time senders left, and any wake-up that was lost.
  DrainGuiSync();
  DrainMidi();
  RefreshValueEntries();
}

void StopActionRouting() {
  StopRemoteListener();
  SetRingWake(nullptr);
  std::lock_guard<std::mutex> guard(g_wakeLock);
  g_wakeWindow = nullptr;
}

void SaveProgramShortcuts() {
  if (!g_shortcutsLoaded) return;
  const bool saved = SaveShortcutFiles(TheProgram().folders.settings);
  DebugLog("shortcuts: files %s at close", saved ? "saved" : "not saved");
}

}  // namespace vantaro
