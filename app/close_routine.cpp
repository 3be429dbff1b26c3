// The close routine: saves and tears down in the reverse direction of the
// long initialisation. It runs once, from the main window's close event
// (the close button, the window manager, SIGTERM or SIGINT).

#include "app/message_box.h"
#include "app/program.h"
#include "app/program_audio_extras.h"
#include "app/program_browser.h"
#include "app/program_actions.h"
#include "app/program_controls.h"
#include "app/program_controllers.h"
#include "app/program_lists.h"
#include "app/screen_saver.h"
#include "app/settings.h"
#include "base/debug_log.h"
#include "devices/output_devices.h"
#include "library/song_database.h"

namespace vantaro {
namespace {

void StopTimedThreads() {
  Program& program = TheProgram();
  for (auto& deck : program.decks)
    if (deck) deck->SetJogTick(nullptr);
  // Reverse order of creation: background, jog, screen. A file in analysis
  // stops at its next second.
  if (program.analysisWorker) program.analysisWorker->RequestStop();
  for (auto* thread :
       {&program.backgroundTickThread, &program.jogTickThread, &program.screenTickThread}) {
    if (*thread) (*thread)->Stop();
    thread->reset();
  }
}

void StopDecks() {
  for (auto& deck : TheProgram().decks)
    if (deck) deck->Play(0);
}

void SaveAllSettings() {
  std::string message;
  const bool saved = SaveSettings(TheProgram().folders.settings, &message);
  DebugLog("close 2: decks stopped, settings %s", saved ? "saved" : "not saved");
  if (!saved) ShowMessage(wxString::FromUTF8(message));
  SaveScannedEffectList(TheProgram().mixerRig, TheProgram().folders.settings);
}

void DeleteEngineObjects() {
  Program& program = TheProgram();
  // The mix object goes before the channels, the channels before the decks
  // they pull from. A deck unloads its song as it goes, storing the song's
  // cues and loops in the database, which is saved only after this.
  DestroyMixerObjects(program.mixerRig);
  for (auto& deck : program.decks) deck.reset();
}

}  // namespace

void RunCloseRoutine() {
  Program& program = TheProgram();
  if (program.closing) return;
  program.closing = true;
  DebugLog("close 1: closing flag set");
  StopActionRouting();
  StopControllers();
  StopDecks();
  CloseProgramBrowser();  // the tree refers to the lists
  SaveProgramLists();  // before config.xml
  SaveAllSettings();
  SaveProgramShortcuts();
  StopTimedThreads();
  program.mainWindow = nullptr;
  DebugLog("close 3: timed threads stopped (background, jog, screen) after %ld ticks",
           program.ticksRun);
  // Audio stops before the engine objects it renders are deleted, and the
  // controls let go of them first.
  DisconnectControlsFromEngine();
  CloseAudio(true);
  DeleteAudioExtras();
  DebugLog("close 4: analysis and audio output stopped");
  const int chains = SaveMixerEffectChains(program.mixerRig, program.folders.settings);
  DebugLog("close 5: %d effect chains saved", chains);
  DeleteEngineObjects();
  DebugLog("close 6: engine objects deleted");
  if (program.screenSaverInhibited) ReleaseScreenSaver(program.screenSaverCookie);
  program.screenSaverInhibited = false;
  const std::string database = program.folders.database + "db.vtx";
  const bool saved = SaveSongDatabase(database);
  DebugLog("close 7: database %s, screen saver restored", saved ? "saved" : "not saved");
}

}  // namespace vantaro
