// The long initialisation: every engine object is built here, once, in a
// fixed order, before the first tick. Each step is a function named after
// what it does; steps of subsystems that are not part of the program yet
// are listed where they will run.

#include <wx/app.h>
#include <wx/display.h>
#include <wx/image.h>

#include <cstdlib>
#include <ctime>

#include "analysis/deck_analysis.h"
#include "app/memory_sizing.h"
#include "app/message_box.h"
#include "app/program.h"
#include "app/program_actions.h"
#include "app/program_audio_extras.h"
#include "app/program_auto_mix.h"
#include "app/program_browser.h"
#include "app/program_controllers.h"
#include "app/program_controls.h"
#include "app/program_lists.h"
#include "app/program_skin.h"
#include "app/screen_saver.h"
#include "app/settings.h"
#include "base/debug_log.h"
#include "base/thread_priority.h"
#include "codecs/unpacked_archive.h"
#include "control/language.h"
#include "devices/output_devices.h"
#include "effects/processor_features.h"
#include "engine/audio_render.h"
#include "engine/engine_settings.h"
#include "engine/mixer.h"
#include "library/deck_song_memory.h"
#include "library/song_database.h"
#include "skin/edit_text.h"
#include "skin/list_views.h"
#include "skin/main_window.h"

namespace vantaro {
namespace {

constexpr int kMinimumScreenWidth = 900;
constexpr int kMinimumScreenHeight = 600;

void DetectProcessor() {
  const ProcessorFeatures& cpu = DetectProcessorFeatures();
  DebugLog("init 1: cpu sse2=%d sse3=%d sse4.1=%d", cpu.sse2, cpu.sse3, cpu.sse41);
}

void ZeroEngineGlobals() {
  AudioRenderer& render = TheAudioRenderer();
  render.mix = nullptr;
  render.limiter = nullptr;
  render.recorder = nullptr;
  render.secondDeviceActive = false;
  render.recorderFailed = false;
  DebugLog("init 2: engine globals cleared");
}

void SizeMemoryForDecks() {
  const MemoryFigures figures = SizeMemory(ReadAvailableMemory());
  EngineSettings& settings = TheEngineSettings();
  settings.wsKB = figures.wsKB;
  settings.availKB = figures.availKB;
  DebugLog("init 3: %s", figures.diagnostic.c_str());
}

void StartImageToolkit(ZKMainWindow* mainWindow) {
  wxInitAllImageHandlers();
  TheProgram().mainWindow = mainWindow;
  DebugLog("init 4: image handlers ready");
}

bool ScreenIsLargeEnough() {
  const wxRect screen = wxDisplay(0u).GetGeometry();
  DebugLog("init 6: screen %dx%d", screen.width, screen.height);
  return screen.width >= kMinimumScreenWidth && screen.height >= kMinimumScreenHeight;
}

void LoadDatabaseAndQuietScreenSaver() {
  Program& program = TheProgram();
  const std::string database = program.folders.database + "db.vtx";
  const bool loaded = LoadSongDatabase(database);
  DebugLog("init 7: song database %s: %s, %zu tracks", database.c_str(),
           loaded ? "loaded" : "not loaded", SongCount());
  // A broken file was moved aside: say so once the window is up.
  const std::string message = TakeSongDatabaseMessage();
  if (!message.empty())
    wxTheApp->CallAfter([message] { ShowMessage(wxString::FromUTF8(message)); });
  program.screenSaverInhibited = InhibitScreenSaver(&program.screenSaverCookie);
  DebugLog("init 7: screen saver %s", program.screenSaverInhibited ? "inhibited" : "left alone");
  SweepUnpackLeftovers();
}

// A track a deck analysed goes to the worker, which writes its stripe file
// (a deck's analysis thread; the worker exists before any track loads).
void QueueDeckTrackForWorker(const std::string& path) {
  if (TheProgram().analysisWorker) TheProgram().analysisWorker->QueueForAnalysis(path);
}

void CreateAudioObjects() {
  Program& program = TheProgram();
  // The limiter is built with the mixer objects; the recorder, live inputs
  // and the microphone source join here when they are built.
  for (int deck = 0; deck < 2; ++deck) {
    program.decks[deck] = std::make_unique<CSoundSource>(deck, program.folders.dataRoot);
    program.decks[deck]->SetAnalysisFeed(
        std::make_unique<DeckAnalysis>(program.folders.stripes, &QueueDeckTrackForWorker));
    program.decks[deck]->SetSongMemory(&StoreDeckRecord);
    program.decks[deck]->StartStoreThread();
  }
  CAudioSignalSource* const decks[2] = {program.decks[0].get(), program.decks[1].get()};
  const bool mixerBuilt = CreateMixerObjects(program.mixerRig, decks, nullptr);
  DebugLog("init 9: decks and mixer %s", mixerBuilt ? "built" : "built in part");
}

void WireTheMixer() {
  Program& program = TheProgram();
  // With the preview player and the eight sampler slots.
  WireMixerWithExtras(program.mixerRig);
  TheAudioRenderer().mix = program.mixerRig.mixer.get();
  TheAudioRenderer().limiter = program.mixerRig.limiter.get();
  ConnectControlsToEngine(program);
  DebugLog("init 10: mixer wired, controls connected");
}

void EnumerateOutputDevices() {
  const int devices = EnumerateOutputs();
  DebugLog("init 12: %d output devices", devices);
  if (devices == 0) ShowMessage(wxString::FromUTF8(Text(txt_no_audio)));
}

void ReadSettings() {
  const SettingsFileStatus status = LoadSettings(TheProgram().folders.settings);
  DebugLog("init 13: config.xml %s", status == SettingsFileStatus::kLoaded ? "read"
                                     : status == SettingsFileStatus::kMissing
                                         ? "absent: defaults"
                                         : "unusable: defaults");
  if (CMixer* mixer = TheProgram().mixerRig.mixer.get()) mixer->ApplySettings(TheEngineSettings());
  ApplyControlSettings();
  DebugLog("init 14: settings applied, deck RAM allowance %u KB",
           TheEngineSettings().availKB.load());
}

void OpenAudioOutput() {
  Settings& settings = TheSettings();
  TOutputSelection selection = SelectionFromSettings(
      TheOutputDeviceTable(), settings.audio0, settings.audio1, settings.audmod, settings.latncy);
  const bool opened = OpenAudio(selection);
  // The selection rules may have dropped the second device or forced the
  // mode; what is saved at close is what plays.
  settings.audmod = selection.outputMode;
  settings.audio0 = selection.firstDevice >= 0 ? GetDeviceName(selection.firstDevice) : "";
  settings.audio1 = selection.secondDevice >= 0 ? GetDeviceName(selection.secondDevice) : "";
  // Saved as normal mode, so the reason is given once, when the window is up.
  if (selection.multichannelUnavailable)
    wxTheApp->CallAfter(
        [] { ShowMessage(wxString::FromUTF8(Text(txt_multichannel_unavailable))); });
  DebugLog("init 16: audio output %s on \"%s\", mode %d, latency %d frames",
           opened ? "open" : "not open", settings.audio0.c_str(), settings.audmod,
           GetLatencyFrames());
}

void LoadEffectChains() {
  Program& program = TheProgram();
  const int read = LoadMixerEffectFiles(program.mixerRig, program.folders.settings);
  DebugLog("init 19: %d effect files read", read);
}

// Hand-off of the analysis worker's results (background tick thread): the
// GuiSyncAction ring to the GUI thread joins here once it exists; until then
// results reach the song database and the log only.
void PostAnalysisResultToGui(const AnalysisMessage& message) {
  DebugLog("analysis: %s %.1f BPM, %d ms", message.path.c_str(), message.bpm, message.durationMs);
}

void CreateTimedThreads(ZKMainWindow* mainWindow) {
  Program& program = TheProgram();
  // The window outlives the tick thread: the close routine stops the thread
  // before the window is destroyed.
  program.screenTickThread = std::make_unique<TimedThread>(
      "screen-tick", kScreenTickMs, kPriorityNormal, [mainWindow] { mainWindow->PostTick(); });
  program.jogTickThread =
      std::make_unique<TimedThread>("jog-tick", kJogTickMs, kPriorityAboveNormal, [&program] {
        for (auto& deck : program.decks)
          if (deck) deck->ScratchTick(CSoundSource::kJogIdleLimit);
      });
  // A hand command wakes the jog tick at once.
  for (auto& deck : program.decks)
    if (deck) deck->SetJogTick(program.jogTickThread.get());
  program.analysisWorker =
      std::make_unique<AnalysisWorker>(program.folders.stripes, &PostAnalysisResultToGui, nullptr);
  program.backgroundTickThread =
      std::make_unique<TimedThread>("background-tick", kBackgroundTickMs, kPriorityIdle,
                                    [&program] { program.analysisWorker->RunStep(); });
  program.screenTickThread->Start();
  program.jogTickThread->Start();
  program.backgroundTickThread->Start();
  DebugLog("init 20: timed threads started (screen %d ms, jog %d ms, background %d ms)",
           kScreenTickMs, kJogTickMs, kBackgroundTickMs);
}

void ShowMainWindow(ZKMainWindow* mainWindow) {
  mainWindow->SetTickHandler(&RunScreenTick);
  mainWindow->Show(true);
  // The toolkit hands the focus to the first text box it finds (the
  // search box), which would hold every key shortcut until the user
  // clicked elsewhere: give the keys to the main track list, else the
  // window, once the window is up.
  mainWindow->CallAfter([mainWindow] {
    auto* list = dynamic_cast<wxWindow*>(FindListView(ListViewRole::kMain));
    EndTextEntry(list ? list : mainWindow);
  });
  DebugLog("init 21: main window shown");
}

}  // namespace

bool RunLongInitialisation(ZKMainWindow* mainWindow) {
  DetectProcessor();                                      // 1
  ZeroEngineGlobals();                                    // 2
  SizeMemoryForDecks();                                   // 3
  StartImageToolkit(mainWindow);                          // 4
  std::srand(static_cast<unsigned>(std::time(nullptr)));  // 5
  if (!ScreenIsLargeEnough()) {                           // 6
    ShowMessage(wxString::FromUTF8(Text(txt_screenres_low)));
    TheProgram().mainWindow = nullptr;
    return false;
  }
  LoadDatabaseAndQuietScreenSaver();  // 7
  WireControls();                     // 8
  CreateAudioObjects();               // 9
  CreateAudioExtras();                // 9
  WireTheMixer();                     // 10
  // 11 effect ranges to the control tables
  EnumerateOutputDevices();  // 12
  ReadSettings();            // 13, 14
  LoadProgramShortcuts();    // 13: shortcut files
  ScanProgramSkins();        // 15
  OpenAudioOutput();         // 16 (controllers, analysis driver: none yet)
  // --record PATH starts here, once audio is open.
  StartCommandLineRecording();
  // 17 work queues
  LoadStartupSkin(mainWindow);     // 18
  LoadProgramLists();              // 18: lists, after the skin
  BuildProgramBrowser();           // 18: the browser's tree over the lists
  StartProgramAutoMix();           // 18: auto-mix, once its list is there
  LoadEffectChains();              // 19
  CreateTimedThreads(mainWindow);  // 20
  ShowMainWindow(mainWindow);      // 21
  StartActionRouting(mainWindow);  // rings, key hook, remote requests
  StartControllers(mainWindow);    // MIDI ports, scripts, controllers
  return true;
}

}  // namespace vantaro
