#include "app/program_controls.h"

#include <algorithm>

#include "app/deck_load.h"
#include "app/message_box.h"
#include "app/program.h"
#include "app/program_skin.h"
#include "app/settings.h"
#include "base/debug_log.h"
#include "control/control_action.h"
#include "control/control_handlers.h"
#include "control/control_table.h"
#include "control/language.h"
#include "engine/mixer.h"
#include "engine/mixer_channel.h"
#include "skin/builtin_controls.h"
#include "skin/file_drop.h"
#include "skin/main_window.h"
#include "skin/slider.h"
#include "skin/sound_display.h"
#include "skin/vu_meter.h"

namespace vantaro {
namespace {

// A close the user may still refuse is confirmed while a deck plays.
bool ConfirmCloseWhilePlaying() {
  Program& program = TheProgram();
  bool playing = false;
  for (auto& deck : program.decks) playing = playing || (deck && deck->IsPlaying());
  if (!playing) return true;
  return ConfirmMessage(wxString::FromUTF8(Text(txt_confirm_exit)), "") != 0;
}

}  // namespace

void SelectLanguage(const std::string& executableFolder, const std::string& settingsFolder) {
  // config.xml is read whole at step 13; only its langf1 matters here.
  Settings early;
  ReadSettingsFile(settingsFolder + "config.xml", early);
  LoadLanguage(executableFolder + "languages", early.langf1, UserMessageLocale(), TheLanguage());
}

void BuildProgramControls(ZKMainWindow* mainWindow) {
  ControlTable& table = TheControlTable();
  const int built = BuildBuiltInControls(mainWindow, table);
  ApplyLanguageToControls(table, TheLanguage());
  mainWindow->SetCloseQuery(&ConfirmCloseWhilePlaying);
  DebugLog("main window: %d built-in controls (the learn button reads \"%s\")", built,
           TheLanguage().Label(Actions().learn).c_str());
}

void WireControls() {
  WireControlHandlers(TheControlTable());
  WireSkinButtons();
  SetFileDropHandler(&LoadDroppedFiles);
  // A track dropped on a deck's wave loads there too.
  for (const char* wave : {"sd_deck", "sd_deck_alt"})
    for (int deck = 0; deck < 2; ++deck)
      if (auto* control =
              dynamic_cast<wxWindow*>(TheControlTable().Find(FindControlAction(wave), deck)))
        AcceptFileDrops(control, deck);
  DebugLog("init 8: %d control actions wired to the engine", BoundActionCount());
}

void ConnectControlsToEngine(Program& program) {
  ControlEngine& engine = TheControlEngine();
  for (int deck = 0; deck < 2; ++deck) {
    engine.decks[deck] = program.decks[deck].get();
    engine.deckChannels[deck] = program.mixerRig.deckChannel[deck].get();
  }
  engine.mixer = program.mixerRig.mixer.get();
}

void ApplyControlSettings() {
  ApplyControlRanges(TheControlTable());
  ShowHints(TheSettings().dhints != 0);
  ShowRemainingOnSoundDisplays(TheSettings().remain != 0);
  SyncControlsFromEngine(TheControlTable());
}

void DisconnectControlsFromEngine() {
  TheControlEngine() = ControlEngine{};
}

void FeedMeters(Program& program) {
  ControlTable& table = TheControlTable();
  static const int kDeckMeters[3] = {FindControlAction("vm_deck"), FindControlAction("vm_deckl"),
                                     FindControlAction("vm_deckr")};
  static const int kMasterMeters[2] = {FindControlAction("vm_masterl"),
                                       FindControlAction("vm_masterr")};
  const auto feed = [&table](int id, int deck, float db) {
    if (auto* meter = dynamic_cast<CZKVUMeter*>(table.Find(id, deck))) meter->FeedLevel(db);
  };
  const ScreenReadings& readings = program.readings;
  feed(kMasterMeters[0], -1, readings.masterVu[0]);
  feed(kMasterMeters[1], -1, readings.masterVu[1]);
  CMixer* mixer = program.mixerRig.mixer.get();
  if (!mixer) return;
  for (int input = 0; input < readings.inputCount; ++input) {
    const MixerInputRole role = mixer->GetInputRole(input);
    if (role != kInputDeckA && role != kInputDeckB) continue;
    const int deck = role == kInputDeckA ? 0 : 1;
    const float left = readings.inputVu[input][0], right = readings.inputVu[input][1];
    feed(kDeckMeters[0], deck, std::max(left, right));
    feed(kDeckMeters[1], deck, left);
    feed(kDeckMeters[2], deck, right);
  }
}

void RefreshControls(Program& program) {
  ControlTable& table = TheControlTable();
  SyncControlsFromEngine(table);
  CMixer* mixer = program.mixerRig.mixer.get();
  if (!mixer) return;
  const ScreenReadings& readings = program.readings;
  for (int input = 0; input < readings.inputCount; ++input) {
    const MixerInputRole role = mixer->GetInputRole(input);
    if (role != kInputDeckA && role != kInputDeckB) continue;
    const int deck = role == kInputDeckA ? 0 : 1;
    if (auto* fader = dynamic_cast<CZKSlider*>(table.Find(Actions().deckVolume, deck)))
      fader->FeedLevels(readings.inputVu[input][0], readings.inputVu[input][1]);
  }
}

}  // namespace vantaro
