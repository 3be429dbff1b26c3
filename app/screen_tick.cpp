#include "app/screen_tick.h"

#include <ctime>
#include <utility>

#include "app/deck_texts.h"
#include "app/key_lock_tick.h"
#include "app/message_box.h"
#include "app/program.h"
#include "app/program_audio_extras.h"
#include "app/program_browser.h"
#include "app/program_actions.h"
#include "app/program_auto_mix.h"
#include "app/program_controls.h"
#include "app/program_controllers.h"
#include "app/record_time.h"
#include "base/debug_log.h"
#include "control/language.h"
#include "engine/audio_render.h"
#include "skin/main_window.h"
#include "skin/sound_display.h"

namespace vantaro {
namespace {

// The steps on the program's state. Steps whose subsystem is not built yet
// have their place in DispatchScreenTick, empty.
class ProgramTickSteps : public ScreenTickSteps {
 public:
  ProgramTickSteps(Program& program, ZKMainWindow& window) : program_(program), window_(window) {}

  void ShowCpuFigures() override {
    double machine = 0, own = 0;
    program_.cpuUsage.Read(&machine, &own);
    program_.readings.cpuPercent[0] = static_cast<float>(machine * 100);
    program_.readings.cpuPercent[1] = static_cast<float>(own * 100);
  }

  void RunPendingRequests() override {
    if (!program_.queuedStatusText.empty()) {
      program_.readings.statusText = std::move(program_.queuedStatusText);
      program_.queuedStatusText.clear();
    }
    // A background skin change finishes here once skins load.
    RunAudioExtrasTick();
  }

  bool DeckPlaying(int deck) override {
    return program_.decks[deck] && program_.decks[deck]->IsPlaying();
  }

  // The deck's texts; its waveform draws here too.
  void RefreshTransport(int deck) override {
    RefreshDeckTexts(program_, deck);
    RefreshSoundDisplays(deck);
  }

  void WriteClock() override {
    char text[16] = {};
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    std::strftime(text, sizeof text, "%I:%M%p", &local);
    program_.readings.clock = text;
  }

  void AgeCueHolds() override {
    for (auto& deck : program_.decks)
      if (deck) deck->AgeHolds();
  }

  void ReturnPitchSliders() override {
    for (auto& deck : program_.decks)
      if (deck) deck->SlowPitchResetStep();
  }

  void ReadMeters() override {
    CMixer* mixer = program_.mixerRig.mixer.get();
    if (!mixer) return;
    ScreenReadings& readings = program_.readings;
    mixer->ReadMasterVu(&readings.masterVu[0], &readings.masterVu[1]);
    mixer->ReadMonitorVu(&readings.monitorVu[0], &readings.monitorVu[1]);
    mixer->ReadAuxVu(&readings.auxVu[0], &readings.auxVu[1]);
    readings.inputCount = mixer->InputCount();
    for (int input = 0; input < readings.inputCount; ++input)
      mixer->ReadInputVu(input, &readings.inputVu[input][0], &readings.inputVu[input][1]);
    FeedMeters(program_);
    ShowRecordTime(TheRecorder());
  }

  // Then the controls show what the decks and the mixer now hold.
  void RunDeckUpdates() override {
    for (auto& deck : program_.decks)
      if (deck) deck->PeriodicUpdate();
    KeyLockTick(program_);
    RefreshControls(program_);
  }

  void ClearTickPending() override { window_.ClearTickPending(); }

 private:
  Program& program_;
  ZKMainWindow& window_;
};

}  // namespace

void DispatchScreenTick(int count, ScreenTickSteps& steps) {
  // 1. A pending relayout request of the skin loader joins here.
  // 2. The controller script host's timers join here (odd counts).
  if (count == 0) steps.ShowCpuFigures();  // 3, with the controller poll once it exists
  // 4. The overlay engine's tick joins here (its slow update at count 6).
  steps.RunPendingRequests();  // 5
  // 6. A playing deck refreshes every tick; stopped decks take turns, deck 0
  //    on even counts and deck 1 on odd ones.
  for (int deck = 0; deck < 2; ++deck)
    if (steps.DeckPlaying(deck) || count % 2 == deck) steps.RefreshTransport(deck);
  // 7. With the clock, held cue buttons age (a long hold clears) and, once
  //    those controls exist, the cue lists refresh.
  if (count == 6) {
    steps.WriteClock();
    steps.AgeCueHolds();
  }
  if (count == 2) steps.ReturnPitchSliders();  // 8
  // 9. The preview position (count 0) joins the meters with the preview
  //    player.
  steps.ReadMeters();
  steps.RunDeckUpdates();  // 10
  // 11. The controllers' displays refresh here once the controller layer
  //     exists.
  steps.ClearTickPending();  // 12
}

void RunScreenTick() {
  Program& program = TheProgram();
  ZKMainWindow* window = program.mainWindow;
  if (!window || program.closing) return;  // a late tick after close began
  ProgramTickSteps steps(program, *window);
  DispatchScreenTick(program.tickCounter.Advance(), steps);
  RunAutoMixTick();  // after the decks' updates: end detection, then the sweep
  RunActionTick();
  RunBrowserTick();
  // The decks' play state of this tick decides what joins the history.
  AddPlayedTracksToHistory();
  RunControllerTick();  // scripts' timers, identity replies, hot plug
  if (++program.ticksRun == 1) DebugLog("screen tick: first tick handled");
}

Program& TheProgram() {
  static Program program;
  return program;
}

}  // namespace vantaro
