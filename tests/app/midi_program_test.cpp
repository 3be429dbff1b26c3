// MIDI controllers through the real program under Xvfb, on the JACK dummy
// server: a JACK client of the test plays the controller, config.xml binds
// its port to the shipped two-deck script (midiin00 / midiscr00), and
// `vantaro --get` reads the engine. The script acts after an unplug and a
// replug; the program answers through a flood and a script that loops.

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

// A second controller whose timer never returns: stopped each time, then
// disabled, while the first plays on.
constexpr const char* kLoopScript = R"(
function getLanguageVersion() { return 1; }  function getFileVersion() { return 1; }
function getControllerUserFriendlyName() { return "loops"; }
function getControllerType() { return "midi"; }  function getSupportedMidiSysExIdString() { return ""; }
function getSupportedMidiDeviceNameForInput() { return ""; }
function getSupportedMidiDeviceNameForOutput() { return ""; }
function controllerInit(id) {}  function controllerDeinit(id) {}
function messageReceived(id, status, channel, data1, data2) { while (true) {} }
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

// The shipped two-deck script on the device's port, the looping one on the
// other's.
void WriteSetup(const std::string& home, const std::string& input, const std::string& looper) {
  const std::string root = test::WriteProgramSettings(home, {{"midiin00", input},
                                                             {"midiscr00", "generic-2deck.js"},
                                                             {"midiin01", looper},
                                                             {"midiscr01", "test-loop.js"}});
  fs::create_directories(root + "Controllers");
  test::WriteFile(root + "Controllers/test-loop.js", kLoopScript);
}

int Count(const std::string& text, const std::string& what) {
  int count = 0;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
    ++count;
  return count;
}

TEST(MidiProgram, AScriptedControllerPlaysAcrossAReplugAFloodAndALoopingScript) {
  test::JackMidiPeer device("midictl" + std::to_string(getpid()));
  test::JackMidiPeer looper("midiloop" + std::to_string(getpid()));
  ASSERT_TRUE(device.Ok() && looper.Ok()) << "no JACK server: the devices_jack fixture starts one";
  test::XvfbServer x(1280, 800);
  test::TempDir home;
  const std::string h = home.Path();
  WriteSetup(h, device.OutName(), looper.OutName());
  ASSERT_TRUE(test::WriteWav(home.File("track.wav"), test::MakeTrack({.bpm = 120, .seconds = 60})));
  test::AppProcess app(x.Display(), h, home.File("run.log"), {home.File("track.wav")});
  const std::string matched = "FSelfId=0 matched to script 'generic-2deck.js'";
  ASSERT_TRUE(app.WaitForOutput(matched, 120)) << app.Output();
  ASSERT_EQ(WaitForChange(h, "title 0", ""), "track") << app.Output();

  // Deck A: note 0B plays, CC 08 moves the pitch.
  const std::string pitchBefore = Get(h, "pitch 0");
  device.Send({{0x90, 0x0B, 0x7F}, {0x80, 0x0B, 0x00}, {0xB0, 0x08, 0x00}});
  EXPECT_EQ(WaitForChange(h, "play 0", "0"), "1");
  EXPECT_NE(WaitForChange(h, "pitch 0", pitchBefore), pitchBefore) << "the CC moved the pitch";

  // Unplugged: closed and the slot freed; back: matched again, and it plays.
  device.Close();
  ASSERT_TRUE(app.WaitForOutput("closed (input gone), slot freed", 30)) << app.Output();
  ASSERT_TRUE(device.Open());
  for (int i = 0; i < 300 && Count(app.Output(), matched) < 2; ++i)
    std::this_thread::sleep_for(100ms);
  ASSERT_EQ(Count(app.Output(), matched), 2) << app.Output();
  device.Send({{0x90, 0x0B, 0x7F}, {0x80, 0x0B, 0x00}});
  EXPECT_EQ(WaitForChange(h, "play 0", "1"), "0");

  // A flood the script reads and ignores, and the other script looping on
  // each message: the program answers throughout, and deck A still plays.
  device.Flood(10000);
  for (int i = 0; i < 12; ++i) {
    looper.Send({{0x90, 0x01, 0x7F}});
    EXPECT_EQ(Get(h, "play 0"), "0") << "during the flood and the loops";
  }
  device.Flood(0);
  EXPECT_TRUE(app.WaitForOutput("stopped in", 30)) << app.Output();
  // A dummy server on a loaded machine may drop an event right after the
  // flood ("client was not finished"): the DJ presses again. A controller
  // the flood had disabled would never play, however often pressed.
  std::string played = "0";
  for (int press = 0; press < 3 && played == "0"; ++press) {
    device.Send({{0x90, 0x0B, 0x7F}, {0x80, 0x0B, 0x00}});
    played = WaitForChange(h, "play 0", "0");
  }
  EXPECT_EQ(played, "1") << app.Output();

  app.Signal(SIGTERM);
  EXPECT_EQ(app.WaitForExit(120), 0) << app.Output();
  EXPECT_NE(test::ReadFile(h + "/Vantaro/Settings/config.xml").find("midiscr01"),
            std::string::npos);
}

}  // namespace
}  // namespace vantaro
