// The `vantaro` executable: blocks the close signals before any thread
// exists, then runs the `--analyse` command or starts the signal watcher and
// runs the application.

#include <wx/app.h>

#include "app/analyse_command.h"
#include "app/program_audio_extras.h"
#include "app/remote_socket.h"
#include "app/signal_watcher.h"
#include "app/vantaro_app.h"
#include "base/debug_log.h"

wxIMPLEMENT_APP_NO_MAIN(vantaro::VantaroApp);

int main(int argc, char** argv) {
  vantaro::BlockCloseSignals();
  if (vantaro::IsAnalyseCommand(argc, argv)) return vantaro::RunAnalyseCommand(argc, argv);
  if (vantaro::IsRemoteCommand(argc, argv)) return vantaro::RunRemoteCommand(argc, argv);
  vantaro::TakeRecordOption(argc, argv);
  vantaro::StartSignalWatcher([](int signal) {
    // The watcher thread: log, then leave the close to the GUI thread.
    vantaro::DebugLog("signal %d: closing", signal);
    vantaro::PostCloseRequest();
  });
  const int result = wxEntry(argc, argv);
  vantaro::StopSignalWatcher();
  // A close asked for by signal is a clean end, even of a start that was
  // refused (a second instance, a screen too small).
  return result == 0 || vantaro::CloseRequested() ? 0 : 1;
}
