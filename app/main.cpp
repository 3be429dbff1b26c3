// The `vantaro` executable: blocks the close signals before any thread
// exists, then runs the `--analyse` command or starts the signal watcher and
// runs the application.

#include <wx/app.h>

#include <atomic>

#include "app/analyse_command.h"
#include "app/signal_watcher.h"
#include "app/vantaro_app.h"
#include "base/debug_log.h"

wxIMPLEMENT_APP_NO_MAIN(vantaro::VantaroApp);

int main(int argc, char** argv) {
  vantaro::BlockCloseSignals();
  if (vantaro::IsAnalyseCommand(argc, argv)) return vantaro::RunAnalyseCommand(argc, argv);
  vantaro::StartSignalWatcher([](int signal) {
    // Runs on the watcher thread: only queue work for the GUI thread.
    // Before the application object exists, the request waits for the end
    // of start-up (VantaroApp::OnInit honours it).
    if (!wxTheApp) {
      vantaro::NoteEarlyCloseRequest();
      return;
    }
    wxTheApp->CallAfter([signal] {
      vantaro::DebugLog("signal %d: closing", signal);
      wxGetApp().RequestClose();
    });
  });
  const int result = wxEntry(argc, argv);
  vantaro::StopSignalWatcher();
  return result == 0 ? 0 : 1;
}
