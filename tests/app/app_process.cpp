#include "tests/app/app_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>
#include <vector>

#include "tests/support/test_support.h"

namespace vantaro::test {
namespace {

using namespace std::chrono_literals;

template <typename F>
bool PollFor(int seconds, F done) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (std::chrono::steady_clock::now() < end) {
    if (done()) return true;
    std::this_thread::sleep_for(50ms);
  }
  return done();
}

}  // namespace

XvfbServer::XvfbServer(int width, int height) {
  int fds[2];
  if (pipe(fds) != 0) return;
  const std::string screen = std::to_string(width) + "x" + std::to_string(height) + "x24";
  pid_ = fork();
  if (pid_ == 0) {
    close(fds[0]);
    const int devnull = open("/dev/null", O_WRONLY);
    dup2(devnull, 1);
    dup2(devnull, 2);
    const std::string fd = std::to_string(fds[1]);
    execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", screen.c_str(), "-nolisten",
           "tcp", "-noreset", static_cast<char*>(nullptr));
    _exit(127);
  }
  close(fds[1]);
  // Xvfb writes the display number it took, then a newline, once it is ready.
  std::string number;
  char c;
  while (read(fds[0], &c, 1) == 1 && c != '\n') number += c;
  close(fds[0]);
  if (!number.empty()) display_ = std::atoi(number.c_str());
}

XvfbServer::~XvfbServer() {
  if (pid_ > 0) {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
  }
}

AppProcess::AppProcess(const std::string& display, const std::string& home,
                       const std::string& logPath, const std::vector<std::string>& args)
    : logPath_(logPath) {
  const std::string program = std::string(VANTARO_BINARY_DIR) + "/vantaro";
  std::vector<char*> argv{const_cast<char*>(program.c_str())};
  for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
  argv.push_back(nullptr);
  // Emptied here, not only in the child: a wait that polls the log at once
  // must not read an earlier run's lines from the same file.
  close(open(logPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644));
  pid_ = fork();
  if (pid_ == 0) {
    const int log = open(logPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(log, 1);
    dup2(log, 2);
    setenv("DISPLAY", display.c_str(), 1);
    setenv("VANTARO_HOME", home.c_str(), 1);
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
    execv(program.c_str(), argv.data());
    _exit(127);
  }
}

AppProcess::~AppProcess() {
  if (pid_ > 0 && !exited_) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
}

std::string AppProcess::Output() const {
  return ReadFile(logPath_);
}

bool AppProcess::WaitForOutput(const std::string& text, int seconds) const {
  return PollFor(seconds, [&] { return Output().find(text) != std::string::npos; });
}

bool AppProcess::Running() {
  if (exited_) return false;
  int status = 0;
  if (waitpid(pid_, &status, WNOHANG) == pid_) {
    exited_ = true;
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  return !exited_;
}

int AppProcess::WaitForExit(int seconds) {
  PollFor(seconds, [&] { return !Running(); });
  return exited_ ? status_ : -1;
}

void AppProcess::Signal(int signal) const {
  if (pid_ > 0 && !exited_) kill(pid_, signal);
}

std::string XWindowTool(const std::string& display, const std::string& verb,
                        const std::string& title) {
  std::string output;
  RunCommand("DISPLAY=" + display + " " + VANTARO_BINARY_DIR + "/x_window_tool " + verb + " '" +
                 title + "'",
             &output);
  while (!output.empty() && output.back() == '\n') output.pop_back();
  return output;
}

bool WaitForWindow(const std::string& display, const std::string& title, int seconds) {
  return PollFor(seconds, [&] { return XWindowTool(display, "count", title) != "0"; });
}

std::string WriteProgramSettings(const std::string& home,
                                 const std::vector<ProgramSetting>& settings) {
  const std::string root = home + "/Vantaro/";
  std::filesystem::create_directories(root + "Settings");
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<settings version=\"100\">\n";
  for (const ProgramSetting& s : settings)
    text += "<setting name=\"" + s.name + "\" value=\"" + s.value + "\" type=\"" +
            std::to_string(s.type) + "\" />\n";
  WriteFile(root + "Settings/config.xml", text + "</settings>\n");
  return root;
}

}  // namespace vantaro::test
