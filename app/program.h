#pragma once
// The program's long-lived singletons: created in the long initialisation,
// in a fixed order, and destroyed only by the close routine. Nothing on the
// audio path is created while playing.
//
// Threads: owned by the GUI thread. Engine objects are read by the audio
// and store threads through the pointers handed to them at start-up.

#include <memory>
#include <string>

#include "analysis/analysis_worker.h"
#include "app/cpu_usage.h"
#include "app/data_folders.h"
#include "app/screen_tick.h"
#include "base/timed_thread.h"
#include "engine/mixer.h"
#include "engine/mixer_setup.h"
#include "engine/sound_source.h"

class wxSingleInstanceChecker;

namespace vantaro {

class ZKMainWindow;

// What the screen tick last read, kept for the displays that show it: the
// skin's meters, CPU gauges, clock and status text take their values here.
struct ScreenReadings {
  // Meter levels, dB, left and right, since the previous tick.
  float masterVu[2] = {};
  float monitorVu[2] = {};
  float auxVu[2] = {};
  float inputVu[CMixer::kMaxInputs][2] = {};
  int inputCount = 0;
  // Machine and program CPU use, percent, refreshed once in ten ticks.
  float cpuPercent[2] = {};
  std::string clock;  // "%I:%M%p", refreshed once in ten ticks
  std::string statusText;
};

struct Program {
  DataFolders folders;
  // Null once the close routine has begun: a late tick then does nothing.
  ZKMainWindow* mainWindow = nullptr;
  bool closing = false;

  // The two decks and the mixer (channels, mix object, effect chains).
  std::unique_ptr<CSoundSource> decks[2];
  MixerRig mixerRig;

  // The file analysis worker, run by the background tick (declared first:
  // it outlives the thread).
  std::unique_ptr<AnalysisWorker> analysisWorker;
  // Timed worker threads, created last in the long initialisation.
  std::unique_ptr<TimedThread> screenTickThread;
  std::unique_ptr<TimedThread> jogTickThread;
  std::unique_ptr<TimedThread> backgroundTickThread;
  ScreenTickCounter tickCounter;
  long ticksRun = 0;
  CpuUsage cpuUsage;
  ScreenReadings readings;
  // A status text any GUI code may queue; the next tick shows it.
  std::string queuedStatusText;

  // Screen-saver inhibition taken at start and released at close.
  unsigned screenSaverCookie = 0;
  bool screenSaverInhibited = false;
};

// The process's one program state.
Program& TheProgram();

// Periods (ms) and priorities of the three timed threads.
inline constexpr int kScreenTickMs = 38;
inline constexpr int kJogTickMs = 25;
inline constexpr int kBackgroundTickMs = 950;

// Runs the long initialisation. Returns false when the program must end
// (the screen is too small).
bool RunLongInitialisation(ZKMainWindow* mainWindow);

// The close routine: runs once, from the main window's close event.
void RunCloseRoutine();

}  // namespace vantaro
