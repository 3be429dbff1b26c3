#pragma once
// VantaroApp: the application object. OnInit checks for a second instance,
// builds the data folders, creates the main window and runs the long
// initialisation; OnExit frees the instance checker.
//
// Threads: GUI thread.

#include <wx/app.h>

#include <memory>

class wxSingleInstanceChecker;

namespace vantaro {

class VantaroApp : public wxApp {
 public:
  VantaroApp();
  ~VantaroApp() override;

  bool OnInit() override;
  int OnExit() override;
  void OnFatalException() override;

  // Asks the program to close as the close button would (used for SIGTERM
  // and SIGINT). GUI thread.
  void RequestClose();

 private:
  void BuildFolders();

  wxString instanceName_;
  std::unique_ptr<wxSingleInstanceChecker> instanceChecker_;
};

// A close signal that arrived before the application object existed; any
// thread.
void NoteEarlyCloseRequest();

// Shows a message box titled "Message" and logs its text.
void ShowMessage(const wxString& text);

}  // namespace vantaro
