// MIDI controllers through the real program under Xvfb, on the JACK dummy
// server: a JACK client of the test plays the controller, config.xml binds
// its port to a two-deck script (midiin00 / midiscr00), and the remote
// socket reads the engine. The script acts after an unplug and replug, and
// the program keeps answering through a flood and a script that loops.

#include <gtest/gtest.h>
#include <signal.h>
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
function getLanguageVersion() { return 1; }  function getFileVersion() { return 1; }
function getControllerUserFriendlyName() { return "test two decks"; }
function getControllerType() { return "midi"; }  function getSupportedMidiSysExIdString() { return ""; }
function getSupportedMidiDeviceNameForInput() { return ""; }
function getSupportedMidiDeviceNameForOutput() { return ""; }
function controllerInit(id) { debug("two decks init " + id); }
function controllerDeinit(id) { debug("two decks deinit " + id); }
function messageReceived(id, status, channel, data1, data2) {
  if (status == 0x90 && data1 == 0x10 && data2 > 0) call("deckPlayPause", channel);
  if (status == 0xB0 && data1 == 0x11) call("setDeckPitch", channel, data2);
  if (status == 0x90 && data1 == 0x7E) { while (true) {} }
}
)";

// `vantaro --get <what>` as a user runs it: its answer without the newline.
std::string Get(const std::string& home, const std::string& what) {
  std::string out;
  test::RunCommand(
      "VANTARO_HOME='" + home + "' " VANTARO_BINARY_DIR "/vantaro --get " + what + " 2>/dev/null",
      &out);
  return out.empty() ? out : out.substr(0, out.size() - 1);
}

// Polls until `what` reads other than `not` (30 s at most); the last reading.
std::string WaitForChange(const std::string& home, const std::string& what,
                          const std::string& not_) {
  std::string last = Get(home, what);
  for (int i = 0; i < 300 && last == not_; ++i) {
    std::this_thread::sleep_for(100ms);
    last = Get(home, what);
  }
  return last;
}

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
  const std::string h = home.Path();
  WriteSetup(h, device.OutName());
  ASSERT_TRUE(test::WriteWav(home.File("track.wav"), test::MakeTrack({.bpm = 120, .seconds = 60})));
  test::AppProcess app(x.Display(), h, home.File("run.log"), {home.File("track.wav")});
  ASSERT_TRUE(app.WaitForOutput("js debug 'two decks init 0'", 120)) << app.Output();
  ASSERT_EQ(WaitForChange(h, "title 0", ""), "track") << app.Output();

  const std::string pitchBefore = Get(h, "pitch 0");
  device.Send({{0x90, 0x10, 0x7F}, {0x80, 0x10, 0x00}, {0xB0, 0x11, 0x00}});
  EXPECT_EQ(WaitForChange(h, "play 0", "0"), "1");
  EXPECT_NE(WaitForChange(h, "pitch 0", pitchBefore), pitchBefore) << "the CC moved the pitch";

  // Unplugged: deinit and the slot freed; back: init again, and it plays.
  device.Close();
  ASSERT_TRUE(app.WaitForOutput("js debug 'two decks deinit 0'", 30)) << app.Output();
  ASSERT_TRUE(device.Open());
  const auto inits = [&] { return Count(app.Output(), "js debug 'two decks init 0'"); };
  for (int i = 0; i < 300 && inits() < 2; ++i) std::this_thread::sleep_for(100ms);
  ASSERT_EQ(inits(), 2) << app.Output();
  device.Send({{0x90, 0x10, 0x7F}});
  EXPECT_EQ(WaitForChange(h, "play 0", "1"), "0");
  device.Send({{0x90, 0x10, 0x7F}});
  EXPECT_EQ(WaitForChange(h, "play 0", "0"), "1");

  // A flood the script ignores, then a handler that never returns: the
  // program answers throughout, and the stopped handler leaves the rest.
  device.Flood(10000);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(Get(h, "play 0"), "1") << "during the flood";
  device.Flood(0);
  device.Send({{0x90, 0x7E, 0x7F}});
  for (int i = 0; i < 5; ++i) EXPECT_EQ(Get(h, "play 0"), "1") << "while the script loops";
  EXPECT_TRUE(app.WaitForOutput("stopped in", 30)) << app.Output();
  device.Send({{0x90, 0x10, 0x7F}});
  EXPECT_EQ(WaitForChange(h, "play 0", "1"), "0");

  app.Signal(SIGTERM);
  EXPECT_EQ(app.WaitForExit(120), 0) << app.Output();
  EXPECT_NE(test::ReadFile(h + "/Vantaro/Settings/config.xml").find("midiscr00"),
            std::string::npos);
}

}  // namespace
}  // namespace vantaro
