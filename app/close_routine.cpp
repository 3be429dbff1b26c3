// The close routine: saves and tears down in the reverse direction of the
// long initialisation. It runs once, from the main window's close event
// (the close button, the window manager, SIGTERM or SIGINT).

#include "app/program.h"
#include "app/screen_saver.h"
#include "base/debug_log.h"

namespace vantaro {
namespace {

void StopTimedThreads() {
  Program& program = TheProgram();
  // Reverse order of creation: background, jog, screen.
  for (auto* thread :
       {&program.backgroundTickThread, &program.jogTickThread, &program.screenTickThread}) {
    if (*thread) (*thread)->Stop();
    thread->reset();
  }
}

}  // namespace

void RunCloseRoutine() {
  Program& program = TheProgram();
  if (program.closing) return;
  program.closing = true;
  DebugLog("close 1: closing flag set");
  DebugLog("close 2: decks stopped, settings saved");
  StopTimedThreads();
  program.mainWindow = nullptr;
  DebugLog("close 3: timed threads stopped (background, jog, screen) after %ld ticks",
           program.ticksRun);
  DebugLog("close 4: analysis and audio output stopped");
  DebugLog("close 5: effect chains saved");
  DebugLog("close 6: engine objects deleted");
  if (program.screenSaverInhibited) ReleaseScreenSaver(program.screenSaverCookie);
  program.screenSaverInhibited = false;
  DebugLog("close 7: database saved, screen saver restored");
}

}  // namespace vantaro
