// Actions and shortcuts through the real program under Xvfb, with the JACK
// dummy server: `vantaro --call/--get` as a user runs them, keys of the
// default map handed to the main window's key hook through the socket's
// "press" request (keys typed with xdotool do not reach GTK on a display
// without a window manager), a learn click with the real pointer, and a
// learned key across a restart.

#include <gtest/gtest.h>
#include <pwd.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include "control/script_actions.h"
#include "tests/analysis/test_tracks.h"
#include "tests/app/app_process.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::AppProcess;
using test::TempDir;
using test::XvfbServer;

constexpr const char* kListening = "remote: listening";

// A running program on its own display and data root.
struct Running {
  XvfbServer x{1280, 800};
  TempDir home;
  std::unique_ptr<AppProcess> app;

  void Start(const std::vector<std::string>& args = {}) {
    app = std::make_unique<AppProcess>(x.Display(), home.Path(), home.File("run.log"), args);
    ASSERT_TRUE(app->WaitForOutput(kListening, 120)) << app->Output();
  }
  void Stop() {
    app->Signal(SIGTERM);
    EXPECT_EQ(app->WaitForExit(120), 0) << app->Output();
    app.reset();
  }
};

struct Command {
  int status;
  std::string out;
};

Command Vantaro(const std::string& home, const std::string& args) {
  Command command;
  command.out.clear();
  command.status = test::RunCommand(
      "VANTARO_HOME='" + home + "' " VANTARO_BINARY_DIR "/vantaro " + args + " 2>/dev/null",
      &command.out);
  return command;
}

// One connection to the program's socket, many request lines.
class Socket {
 public:
  explicit Socket(const std::string& home) {
    const std::string path = home + "/XVT-" + getpwuid(geteuid())->pw_name + ".socket";
    fd_ = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
    connected_ = connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  }
  ~Socket() { close(fd_); }
  bool Connected() const { return connected_; }
  std::string Ask(const std::string& line) {
    const std::string out = line + "\n";
    if (send(fd_, out.data(), out.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(out.size()))
      return "(send failed)";
    std::string answer;
    char c = 0;
    while (recv(fd_, &c, 1, 0) == 1 && c != '\n') answer += c;
    return answer;
  }
  // A key of the map, as the toolkit hands it to the main window.
  std::string Press(int code) { return Ask("press " + std::to_string(code) + " 0"); }
  std::string Get(const std::string& what) { return Ask("get " + what); }
  // Polls until `what` reads `expected` (the tick takes a moment on a
  // loaded machine); returns the last reading.
  std::string WaitFor(const std::string& what, const std::string& expected) {
    std::string last = Get(what);
    for (int i = 0; i < 300 && last != expected; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      last = Get(what);
    }
    return last;
  }

 private:
  int fd_ = -1;
  bool connected_ = false;
};

TEST(RemoteProgram, DefaultKeysDriveTheEngineAndTheCommandsAnswerAsDocumented) {
  Running run;
  ASSERT_TRUE(
      test::WriteWav(run.home.File("track.wav"), test::MakeTrack({.bpm = 120, .seconds = 30})));
  run.Start({run.home.File("track.wav")});
  Socket socket(run.home.Path());
  ASSERT_TRUE(socket.Connected());
  ASSERT_EQ(socket.WaitFor("title 0", "ok track"), "ok track") << run.app->Output();

  // Play (X), the low kill (Q) and pitch up (S) / down (A) of deck A.
  EXPECT_EQ(socket.Get("play 0"), "ok 0");
  EXPECT_EQ(socket.Press('X'), "ok consumed");
  EXPECT_EQ(socket.WaitFor("play 0", "ok 1"), "ok 1");
  EXPECT_EQ(socket.Press('Q'), "ok consumed");
  EXPECT_EQ(socket.WaitFor("killLow 0", "ok 1"), "ok 1");
  EXPECT_EQ(socket.Get("killLow 1"), "ok 0") << "deck B's kill is P";
  EXPECT_EQ(socket.Get("pitch 0"), "ok 0.0000");
  socket.Press('S');
  const double up = std::stod(socket.Get("pitch 0").substr(3));
  EXPECT_GT(up, 0.0);
  socket.Press('A');
  socket.Press('A');
  EXPECT_LT(std::stod(socket.Get("pitch 0").substr(3)), up);
  EXPECT_EQ(socket.Press('Y'), "ok passed") << "a key of no binding goes on";

  // The commands as a user runs them.
  const Command get = Vantaro(run.home.Path(), "--get killLow 0");
  EXPECT_EQ(get.status, 0);
  EXPECT_EQ(get.out, "1\n");
  EXPECT_EQ(Vantaro(run.home.Path(), "--call deckEqLowKill 0").status, 0);
  EXPECT_EQ(socket.WaitFor("killLow 0", "ok 0"), "ok 0");
  const struct {
    const char* args;
    int status;
  } cases[] = {
      {"--get nosuchvalue 0", 3},      {"--call nosuchaction", 3}, {"--call deckPlayPause", 1},
      {"--call setCrossfader 1 2", 1}, {"--get play x", 1},        {"--call", 1},
      {"--call setDeckVolume 0", 1},
  };
  for (const auto& c : cases)
    EXPECT_EQ(Vantaro(run.home.Path(), c.args).status, c.status) << c.args;
  TempDir nobody;
  EXPECT_EQ(Vantaro(nobody.Path(), "--get play 0").status, 2);
  socket.Press('X');  // pause before the close
  EXPECT_EQ(socket.WaitFor("play 0", "ok 0"), "ok 0");
  run.Stop();
}

// Every action with -1, 0 and 127 on the running default skin, the close
// button's action last. `record` is left out: with no recording running it
// opens the save dialog, which waits for a person.
void CallEveryAction(Running& run, Socket& socket) {
  const int close = FindScriptAction("closeapp"), record = FindScriptAction("record");
  ASSERT_GE(record, 0);
  for (int index = 0; index < kScriptActionCount; ++index) {
    if (index == close || index == record) continue;
    const ScriptAction& action = ScriptActionRow(index);
    for (int value : {-1, 0, 127}) {
      const std::string line = std::string("call ") + action.name + " " +
                               (action.isGlobal ? "-1" : "0") + " " + std::to_string(value);
      ASSERT_EQ(socket.Ask(line), "ok") << line << "\n" << run.app->Output();
    }
  }
  EXPECT_TRUE(run.app->Running());
  EXPECT_EQ(socket.Ask("get play 0"), "ok 0");
  EXPECT_EQ(socket.Ask("call setCrossfader -1 0"), "ok");
  // The close button's action, as the button does (not wired yet: then
  // the signal closes).
  EXPECT_EQ(socket.Ask("call closeapp -1 -1"), "ok");
}

std::string MainWindowId(const std::string& display) {
  std::string out;
  test::RunCommand("DISPLAY=" + display + " xdotool search --name '^Vantaro DJ$' | head -1", &out);
  return out.substr(0, out.find('\n'));
}

// The restart then takes every action (CallEveryAction).
TEST(LearnProgram, AKeyLearnedWithARealClickSurvivesARestartAndEveryActionLeavesItRunning) {
  Running run;
  run.Start();
  {
    Socket socket(run.home.Path());
    ASSERT_TRUE(socket.Connected());
    EXPECT_EQ(socket.Press('`'), "ok consumed");  // learn on
    // The monitor button of deck A in the 1280 x 800 default skin.
    const std::string window = MainWindowId(run.x.Display());
    ASSERT_FALSE(window.empty());
    ASSERT_EQ(test::RunCommand("DISPLAY=" + run.x.Display() + " xdotool mousemove --window " +
                               window + " 410 422 click 1"),
              0);
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_EQ(socket.Press('M'), "ok consumed");
    EXPECT_EQ(socket.Press('`'), "ok consumed");  // learn off
    EXPECT_EQ(socket.Get("monitor 0"), "ok 0") << "learning clicks nothing";
    socket.Press('M');
    EXPECT_EQ(socket.WaitFor("monitor 0", "ok 1"), "ok 1");
  }
  run.Stop();
  const std::string saved = test::ReadFile(run.home.Path() + "/Vantaro/Settings/shortcuts_kb.xml");
  EXPECT_NE(saved.find("<shortcut_kb action=\"deck_monitor\" deck=\"0\" keys=\"1\">\n"
                       "\t\t<key code=\"77\" shift=\"0\" ch=\"77\" />"),
            std::string::npos)
      << saved;
  EXPECT_NE(saved.find("<shortcut_kb action=\"learn\" keys=\"1\">"), std::string::npos)
      << "the learn button keeps no keys; its key is saved from the map";
  run.Start();
  Socket again(run.home.Path());
  const std::string before = again.Get("monitor 0");
  again.Press('M');
  EXPECT_NE(again.WaitFor("monitor 0", before == "ok 1" ? "ok 0" : "ok 1"), before);
  CallEveryAction(run, again);
  run.Stop();
}

}  // namespace
}  // namespace vantaro
