#pragma once
// Test rig for the whole program: a private Xvfb server and the `vantaro`
// executable started on it with a private data root.

#include <sys/types.h>

#include <string>
#include <vector>

namespace vantaro::test {

// An Xvfb server on a free display number, stopped when the object goes.
class XvfbServer {
 public:
  XvfbServer(int width, int height);
  ~XvfbServer();
  XvfbServer(const XvfbServer&) = delete;
  XvfbServer& operator=(const XvfbServer&) = delete;
  std::string Display() const { return ":" + std::to_string(display_); }

 private:
  pid_t pid_ = -1;
  int display_ = -1;
};

// One run of the program, with `args` on its command line. Its standard
// output and error go to `logPath`.
class AppProcess {
 public:
  AppProcess(const std::string& display, const std::string& home, const std::string& logPath,
             const std::vector<std::string>& args = {});
  ~AppProcess();  // kills the program if it still runs
  AppProcess(const AppProcess&) = delete;
  AppProcess& operator=(const AppProcess&) = delete;

  // Waits until the output holds `text` (at most `seconds`).
  bool WaitForOutput(const std::string& text, int seconds = 60) const;
  // Waits for the end; returns the exit status, or -1 on a time-out or a
  // death by signal.
  int WaitForExit(int seconds = 60);
  void Signal(int signal) const;
  bool Running();
  std::string Output() const;

 private:
  pid_t pid_ = -1;
  int status_ = -1;
  bool exited_ = false;
  std::string logPath_;
};

// One line of config.xml: `type` 0 for a number, 1 for a text.
struct ProgramSetting {
  std::string name, value;
  int type = 1;
};
// Makes `<home>/Vantaro/Settings/` and writes config.xml holding
// `settings`; returns the data root, "<home>/Vantaro/".
std::string WriteProgramSettings(const std::string& home,
                                 const std::vector<ProgramSetting>& settings);

// Runs the X tool ("count"/"close") on a title; returns its output.
std::string XWindowTool(const std::string& display, const std::string& verb,
                        const std::string& title);
// Waits until a window of this title is on screen (at most `seconds`).
bool WaitForWindow(const std::string& display, const std::string& title, int seconds = 10);

}  // namespace vantaro::test
