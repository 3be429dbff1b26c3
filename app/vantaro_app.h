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

  // Closes the program as the close button would. An open message box is
  // ended first (its ShowMessage asks again once the box is down); during
  // start-up the request waits for the end of OnInit. GUI thread.
  void RequestClose();

 private:
  void BuildFolders();

  wxString instanceName_;
  std::unique_ptr<wxSingleInstanceChecker> instanceChecker_;
  bool running_ = false;  // start-up is done: a close may tear down
};

// Asks for the ordinary close on the GUI thread (SIGTERM, SIGINT). Any
// thread, at any moment of the process: before OnInit has begun or once the
// application object is gone the request is only noted, and OnInit honours
// it.
void PostCloseRequest();

// True once a close has been requested through PostCloseRequest; the
// process then ends with status 0 whatever start-up answered. Any thread.
bool CloseRequested();

}  // namespace vantaro
