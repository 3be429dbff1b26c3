#include "app/vantaro_app.h"

#include <wx/filename.h>
#include <wx/log.h>
#include <wx/snglinst.h>
#include <wx/stdpaths.h>
#include <wx/utils.h>

#include <atomic>
#include <cstdlib>
#include <mutex>

#include "app/data_folders.h"
#include "app/message_box.h"
#include "app/program.h"
#include "app/program_controls.h"
#include "app/program_skin.h"
#include "base/debug_log.h"
#include "control/language.h"
#include "skin/main_window.h"

namespace vantaro {
namespace {

// VANTARO_HOME replaces the documents root (tests, portable installs).
wxString DocumentsRoot() {
  if (const char* home = std::getenv("VANTARO_HOME"); home && *home)
    return wxString::FromUTF8(home);
  return wxStandardPaths::Get().GetDocumentsDir();
}

void ReportDataRootFailure() {
  ShowMessage(kDataRootFailureText);
}

std::atomic<bool> g_closeRequested{false};
// The application object while it takes posted work: from the start of
// OnInit to its destruction. The lock keeps a posting thread from meeting
// an object being destroyed.
std::mutex g_appLock;
VantaroApp* g_app = nullptr;

}  // namespace

void PostCloseRequest() {
  g_closeRequested = true;
  std::lock_guard<std::mutex> lock(g_appLock);
  if (VantaroApp* app = g_app) app->CallAfter([app] { app->RequestClose(); });
}

bool CloseRequested() {
  return g_closeRequested;
}

VantaroApp::VantaroApp() = default;

VantaroApp::~VantaroApp() {
  std::lock_guard<std::mutex> lock(g_appLock);
  g_app = nullptr;
}

bool VantaroApp::OnInit() {
  {
    std::lock_guard<std::mutex> lock(g_appLock);
    g_app = this;
  }
  // The toolkit's own log stays silent from the first call on; the program
  // logs for itself. Its log would show a box of the toolkit's own (a lock
  // file that cannot be made, say) that no close request can end.
  wxLog::EnableLogging(false);
  // 1. Sockets need no start-up on this platform.
  // 2. One instance per user, or per data root when VANTARO_HOME is set.
  instanceName_ = "XVT-" + wxGetUserId();
  wxString lockFolder;
  if (const char* home = std::getenv("VANTARO_HOME"); home && *home)
    lockFolder = wxString::FromUTF8(home);
  instanceChecker_ = std::make_unique<wxSingleInstanceChecker>();
  instanceChecker_->Create(instanceName_, lockFolder);
  // 3. Every box of the program ends on a close request.
  ConnectMessageBoxesToClose();
  // 4. Data folders.
  BuildFolders();
  // 5. Language selection. It never fails: the English texts are compiled
  //    in for a start with no usable file.
  SelectLanguage(TheProgram().folders.executable, TheProgram().folders.settings);
  // 6. A second instance tells the user and ends (at once on a close
  //    request: the files belong to the first).
  if (instanceChecker_->IsAnotherRunning()) {
    ShowMessage(wxString::FromUTF8(Text(txt_app_already_started)));
    return false;
  }
  // 7. The main window with its built-in controls, then the long
  //    initialisation.
  auto* window =
      new ZKMainWindow(wxPoint(100, 100), wxSize(400, 400), "Vantaro DJ", &RunCloseRoutine);
  SetTopWindow(window);
  BuildProgramControls(window);
  if (!RunLongInitialisation(window)) {
    window->Destroy();
    return false;
  }
  running_ = true;
  DebugLog("start-up complete: running");
  std::vector<std::string> files;
  for (int i = 1; i < argc; ++i) files.push_back(argv[i].utf8_string());
  LoadCommandLineFiles(files);
  // A request noted during start-up closes now, through the main loop.
  if (CloseRequested()) CallAfter([this] { RequestClose(); });
  return true;
}

void VantaroApp::BuildFolders() {
  PlatformFolders platform;
  platform.executable =
      wxFileName(wxStandardPaths::Get().GetExecutablePath()).GetPath().utf8_string();
  platform.documents = DocumentsRoot().utf8_string();
  platform.userData = wxStandardPaths::Get().GetUserDataDir().utf8_string();
  platform.temporary = wxFileName::GetTempDir().utf8_string();
  Program& program = TheProgram();
  // The log goes to the data root from the start, once it is known.
  program.folders = BuildDataFolders(platform, &ReportDataRootFailure);
  if (program.folders.dataRootUsable) SetDebugLogFolder(program.folders.dataRoot);
  DebugLog("data root %s", program.folders.dataRoot.c_str());
}

int VantaroApp::OnExit() {
  instanceChecker_.reset();
  return wxApp::OnExit();
}

void VantaroApp::OnFatalException() {
  // No crash reporter is built: leave a line where the user's log is.
  DebugLog("fatal exception");
}

void VantaroApp::RequestClose() {
  if (EndOpenMessageBox() || !running_) return;
  Program& program = TheProgram();
  if (program.closing) return;
  if (program.mainWindow)
    program.mainWindow->Close(true);
  else
    ExitMainLoop();
}

}  // namespace vantaro
