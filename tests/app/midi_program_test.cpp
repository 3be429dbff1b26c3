// MIDI controllers through the real program under Xvfb, on the JACK dummy
// server: a JACK client of the test plays the controller, config.xml binds
// its port to a two-deck script (midiin00 / midiscr00), and the remote
// socket reads the engine. The script acts after an unplug and replug, and
// the program keeps answering through a flood and a script that loops.

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

#include "tests/analysis/test_tracks.h"
#include "tests/app/app_process.h"
#include "tests/devices/jack_midi_peer.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// Note 0x10 plays or pauses the deck of its channel, CC 0x11 sets its pitch
// slider, note 0x7E never returns.
constexpr const char* kScript = R"(
function getLanguageVersion() { return 1; }
function getFileVersion() { return 1; }
function getControllerUserFriendlyName() { return "test two decks"; }
function getControllerType() { return "midi"; }
function getSupportedMidiSysExIdString() { return ""; }
function getSupportedMidiDeviceNameForInput() { return ""; }
function getSupportedMidiDeviceNameForOutput() { return ""; }
function getSupportedHidDeviceVID() { return 0; }
function getSupportedHidDevicePID() { return 0; }
function getSupportedHidDeviceName() { return ""; }
function controllerInit(id) { debug("two decks init " + id); }
function controllerDeinit(id) { debug("two decks deinit " + id); }
function messageReceived(id, status, channel, data1, data2) {
  if (status == 0x90 && data1 == 0x10 && data2 > 0) call("deckPlayPause", channel);
  if (status == 0xB0 && data1 == 0x11) call("setDeckPitch", channel, data2);
  if (status == 0x90 && data1 == 0x7E) { while (true) {} }
}
function notificationReceived(id, name, deck, i, d, t) {}
function timerTick(id) {}
)";

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
  std::string Get(const std::string& what) {
    const std::string out = "get " + what + "\n";
    if (send(fd_, out.data(), out.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(out.size()))
      return "(send failed)";
    std::string answer;
    char c = 0;
    while (recv(fd_, &c, 1, 0) == 1 && c != '\n') answer += c;
    return answer;
  }
  // Polls until `what` reads `expected` (30 s at most); the last reading.
  std::string WaitFor(const std::string& what, const std::string& expected) {
    std::string last = Get(what);
    for (int i = 0; i < 300 && last != expected; ++i) {
      std::this_thread::sleep_for(100ms);
      last = Get(what);
    }
    return last;
  }

 private:
  int fd_ = -1;
  bool connected_ = false;
};

void WriteSetup(const std::string& home, const std::string& input) {
  const std::string root = home + "/Vantaro/";
  fs::create_directories(root + "Settings");
  fs::create_directories(root + "Controllers");
  test::WriteFile(root + "Controllers/test-two-decks.js", kScript);
  test::WriteFile(root + "Settings/config.xml",
                  "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<settings version=\"100\">\n"
                  "<setting name=\"midiin00\" value=\"" +
                      input +
                      "\" type=\"1\" />\n"
                      "<setting name=\"midiscr00\" value=\"test-two-decks.js\" type=\"1\" />\n"
                      "</settings>\n");
}

int Count(const std::string& text, const std::string& what) {
  int count = 0;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
    ++count;
  return count;
}

TEST(MidiProgram, AScriptedControllerPlaysAcrossAReplugAFloodAndALoopingScript) {
  test::JackMidiPeer device("midictl" + std::to_string(getpid()));
  ASSERT_TRUE(device.Ok()) << "no JACK server: the devices_jack fixture starts one";
  test::XvfbServer x(1280, 800);
  test::TempDir home;
  WriteSetup(home.Path(), device.OutName());
  ASSERT_TRUE(test::WriteWav(home.File("track.wav"), test::MakeTrack({.bpm = 120, .seconds = 60})));
  test::AppProcess app(x.Display(), home.Path(), home.File("run.log"), {home.File("track.wav")});
  ASSERT_TRUE(app.WaitForOutput("js debug 'two decks init 0'", 120)) << app.Output();
  Socket socket(home.Path());
  ASSERT_TRUE(socket.Connected());
  ASSERT_EQ(socket.WaitFor("title 0", "ok track"), "ok track") << app.Output();

  const std::string pitchBefore = socket.Get("pitch 0");
  device.Send({{0x90, 0x10, 0x7F}, {0x80, 0x10, 0x00}, {0xB0, 0x11, 0x00}});
  EXPECT_EQ(socket.WaitFor("play 0", "ok 1"), "ok 1");
  for (int i = 0; i < 300 && socket.Get("pitch 0") == pitchBefore; ++i)
    std::this_thread::sleep_for(100ms);
  EXPECT_NE(socket.Get("pitch 0"), pitchBefore) << "the CC moved the pitch slider";

  // Unplugged: deinit and the slot freed; back: init again, and it plays.
  device.Close();
  ASSERT_TRUE(app.WaitForOutput("js debug 'two decks deinit 0'", 30)) << app.Output();
  ASSERT_TRUE(device.Open());
  const auto inits = [&] { return Count(app.Output(), "js debug 'two decks init 0'"); };
  for (int i = 0; i < 300 && inits() < 2; ++i) std::this_thread::sleep_for(100ms);
  ASSERT_EQ(inits(), 2) << app.Output();
  device.Send({{0x90, 0x10, 0x7F}});
  EXPECT_EQ(socket.WaitFor("play 0", "ok 0"), "ok 0");
  device.Send({{0x90, 0x10, 0x7F}});
  EXPECT_EQ(socket.WaitFor("play 0", "ok 1"), "ok 1");

  // A flood of messages the script ignores: the program still answers.
  device.Flood(10000);
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(socket.Get("play 0"), "ok 1") << "during the flood";
    std::this_thread::sleep_for(150ms);
  }
  device.Flood(0);

  // A handler that never returns is stopped; the program answers meanwhile.
  device.Send({{0x90, 0x7E, 0x7F}});
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(socket.Get("play 0"), "ok 1") << "while the script loops";
    std::this_thread::sleep_for(50ms);
  }
  EXPECT_TRUE(app.WaitForOutput("stopped in", 30)) << app.Output();
  device.Send({{0x90, 0x10, 0x7F}});
  EXPECT_EQ(socket.WaitFor("play 0", "ok 0"), "ok 0") << "one bad handler leaves the rest";

  app.Signal(SIGTERM);
  EXPECT_EQ(app.WaitForExit(120), 0) << app.Output();
  EXPECT_NE(test::ReadFile(home.Path() + "/Vantaro/Settings/config.xml").find("midiscr00"),
            std::string::npos);
}

}  // namespace
}  // namespace vantaro
