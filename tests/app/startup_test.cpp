// The whole program under a private Xvfb server and data root: start-up,
// folders, the single-instance rule, the screen-size rule, and the close
// through the window manager and by signal.
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <regex>

#include "tests/app/app_process.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

namespace fs = std::filesystem;
using test::AppProcess;
using test::TempDir;
using test::XvfbServer;
using test::XWindowTool;

constexpr const char* kRunning = "start-up complete: running";
constexpr const char* kTicking = "screen tick: first tick handled";

// Presses the close button of the program's message box once it is up
// (at most 10 s); returns 0 when one was closed.
int DismissMessageBox(const std::string& display) {
  int status = -1;
  for (int attempt = 0; attempt < 100 && status != 0; ++attempt) {
    XWindowTool(display, "close-dialog", "vantaro", &status);
    if (status != 0) usleep(100000);
  }
  return status;
}

// The close steps must appear once each, in this order, after the start.
void ExpectOrderedClose(const std::string& output) {
  size_t at = output.find(kRunning);
  ASSERT_NE(at, std::string::npos) << output;
  for (int step = 1; step <= 7; ++step) {
    const std::string line = "close " + std::to_string(step) + ":";
    const size_t next = output.find(line, at);
    ASSERT_NE(next, std::string::npos) << line << " missing or out of order in\n" << output;
    EXPECT_EQ(output.find(line, next + 1), std::string::npos) << line << " twice";
    at = next;
  }
  std::smatch ticks;
  ASSERT_TRUE(std::regex_search(output, ticks, std::regex("after (\\d+) ticks")));
  EXPECT_GT(std::stoi(ticks[1]), 0) << "the screen tick never ran";
  EXPECT_EQ(output.find("runtime error"), std::string::npos) << "sanitizer report:\n" << output;
  EXPECT_EQ(output.find("Sanitizer"), std::string::npos) << "sanitizer report:\n" << output;
}

TEST(Startup, BuildsTheFoldersAndClosesThroughTheWindowManager) {
  XvfbServer x(1280, 800);
  ASSERT_TRUE(x.Started());
  TempDir home;
  AppProcess app(x.Display(), home.Path(), home.File("out.txt"));
  ASSERT_TRUE(app.WaitForOutput(kTicking)) << app.Output();

  const std::string root = home.Path() + "/Vantaro/";
  for (const char* folder : {"Stripes", "Database", "Settings", "Playlists", "Skins", "Samples"})
    EXPECT_TRUE(fs::is_directory(root + folder)) << folder;
  EXPECT_FALSE(fs::exists(root + "Effects")) << "Effects is formed but not created at start";
  EXPECT_TRUE(fs::exists(root + "Samples/README.txt")) << "Samples is seeded from the program";
  EXPECT_TRUE(fs::exists(root + "vantaro.log"));
  EXPECT_EQ(XWindowTool(x.Display(), "count", "Vantaro DJ"), "1");

  int status = -1;
  XWindowTool(x.Display(), "close", "Vantaro DJ", &status);
  ASSERT_EQ(status, 0) << "no main window to close";
  EXPECT_EQ(app.WaitForExit(), 0) << app.Output();
  ExpectOrderedClose(app.Output());
  EXPECT_NE(test::ReadFile(root + "vantaro.log").find("close 7:"), std::string::npos)
      << "the log file has the close steps too";
}

// Runs the program once: start, wait for the first tick, close by SIGTERM.
void RunOnce(const std::string& display, const TempDir& home, const std::string& logName) {
  AppProcess app(display, home.Path(), home.File(logName));
  ASSERT_TRUE(app.WaitForOutput(kTicking)) << app.Output();
  app.Signal(SIGTERM);
  ASSERT_EQ(app.WaitForExit(), 0) << app.Output();
}

std::string Replace(std::string text, const std::string& from, const std::string& to) {
  const size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  if (at != std::string::npos) text.replace(at, from.size(), to);
  return text;
}

TEST(Startup, SettingsAndLearntTracksSurviveARestart) {
  XvfbServer x(1280, 800);
  ASSERT_TRUE(x.Started());
  TempDir home;
  RunOnce(x.Display(), home, "first.txt");
  const std::string config = home.Path() + "/Vantaro/Settings/config.xml";
  const std::string database = home.Path() + "/Vantaro/Database/db.vtx";
  std::string text = test::ReadFile(config);
  ASSERT_NE(text.find("<setting name=\"latncy\" value=\"2880\" type=\"0\""), std::string::npos)
      << "the first close writes the defaults:\n"
      << text;
  ASSERT_TRUE(fs::exists(database)) << "the first close writes the database";

  // The user's choices, a key this program does not know, one that never
  // survives a start, and a learnt track.
  text = Replace(text, "name=\"latncy\" value=\"2880\"", "name=\"latncy\" value=\"1440\"");
  text = Replace(text, "name=\"hqtime\" value=\"0\"", "name=\"hqtime\" value=\"1\"");
  text = Replace(text, "</settings>",
                 "<setting name=\"oldkey\" value=\"5\" type=\"0\"/>\n</settings>");
  test::WriteFile(config, text);
  std::string tracks = test::ReadFile(database);
  tracks = Replace(tracks, "</songdatabase>",
                   "<song name=\"Night Drive.mp3\" bpm=\"124.5000\" duration_ms=\"245000\" />\n"
                   "</songdatabase>");
  test::WriteFile(database, tracks);

  RunOnce(x.Display(), home, "second.txt");
  text = test::ReadFile(config);
  EXPECT_NE(text.find("name=\"latncy\" value=\"1440\""), std::string::npos) << text;
  EXPECT_NE(text.find("name=\"hqtime\" value=\"0\""), std::string::npos)
      << "high-quality time never survives a start";
  EXPECT_EQ(text.find("oldkey"), std::string::npos) << "an unknown key is dropped";
  tracks = test::ReadFile(database);
  EXPECT_NE(tracks.find("name=\"Night Drive.mp3\" bpm=\"124.5000\" duration_ms=\"245000\""),
            std::string::npos)
      << tracks;
}

TEST(Startup, AudioOpensOnTheJackRowAndItsNameIsRemembered) {
  XvfbServer x(1280, 800);
  ASSERT_TRUE(x.Started());
  TempDir home;
  AppProcess app(x.Display(), home.Path(), home.File("out.txt"));
  ASSERT_TRUE(app.WaitForOutput(kTicking)) << app.Output();
  EXPECT_NE(
      app.Output().find("init 16: audio output open on \"JACK Audio Connection Kit: system\""),
      std::string::npos)
      << app.Output();
  // The program's stream is a client of the server, connected to its
  // playback ports.
  std::string ports;
  ASSERT_EQ(test::RunCommand("jack_lsp -c 2>/dev/null", &ports), 0);
  // (Another program under test may hold the name "PortAudio" already;
  // JACK then numbers the next client.)
  EXPECT_TRUE(
      std::regex_search(ports, std::regex("PortAudio[^:\\n]*:out_0\\n   system:playback_1")))
      << ports;
  app.Signal(SIGTERM);
  ASSERT_EQ(app.WaitForExit(), 0) << app.Output();
  const std::string config = test::ReadFile(home.Path() + "/Vantaro/Settings/config.xml");
  EXPECT_NE(config.find("name=\"audio0\" value=\"JACK Audio Connection Kit: system\" type=\"1\""),
            std::string::npos)
      << config;
}

TEST(Startup, WithoutAnyOutputDeviceTheUserIsToldAndTheProgramRuns) {
  // A server name nobody serves: PortAudio finds no JACK and this machine
  // has no sound card.
  setenv("JACK_DEFAULT_SERVER", "vantaro-no-such-server", 1);
  XvfbServer x(1280, 800);
  ASSERT_TRUE(x.Started());
  TempDir home;
  AppProcess app(x.Display(), home.Path(), home.File("out.txt"));
  ASSERT_TRUE(app.WaitForOutput("message: No audio output device was found")) << app.Output();
  DismissMessageBox(x.Display());
  ASSERT_TRUE(app.WaitForOutput(kTicking)) << "start-up goes on after the message\n"
                                           << app.Output();
  EXPECT_NE(app.Output().find("init 16: audio output not open"), std::string::npos);
  app.Signal(SIGTERM);
  EXPECT_EQ(app.WaitForExit(), 0) << app.Output();
  ExpectOrderedClose(app.Output());
}

// A crash or a power cut: the program is killed outright. The next start
// must neither think it is still running nor lose what the files held.
TEST(Startup, AKilledProgramStartsAgainWithItsFilesIntact) {
  XvfbServer x(1280, 800);
  ASSERT_TRUE(x.Started());
  TempDir home;
  RunOnce(x.Display(), home, "first.txt");
  const std::string database = home.Path() + "/Vantaro/Database/db.vtx";
  std::string tracks = test::ReadFile(database);
  tracks = Replace(tracks, "</songdatabase>",
                   "<song name=\"Kept.flac\" bpm=\"128.0000\" duration_ms=\"1000\" />\n"
                   "</songdatabase>");
  test::WriteFile(database, tracks);
  const std::string config = test::ReadFile(home.Path() + "/Vantaro/Settings/config.xml");

  {
    AppProcess app(x.Display(), home.Path(), home.File("killed.txt"));
    ASSERT_TRUE(app.WaitForOutput(kTicking)) << app.Output();
    app.Signal(SIGKILL);
    EXPECT_EQ(app.WaitForExit(), -1) << "killed by the signal";
  }
  EXPECT_EQ(test::ReadFile(database), tracks);
  EXPECT_EQ(test::ReadFile(home.Path() + "/Vantaro/Settings/config.xml"), config);

  AppProcess again(x.Display(), home.Path(), home.File("again.txt"));
  ASSERT_TRUE(again.WaitForOutput(kTicking))
      << "the lock of the killed instance must not block the next start\n"
      << again.Output();
  EXPECT_NE(again.Output().find("song database " + database + ": loaded, 1 tracks"),
            std::string::npos)
      << again.Output();
  again.Signal(SIGTERM);
  ASSERT_EQ(again.WaitForExit(), 0) << again.Output();
  EXPECT_NE(test::ReadFile(database).find("name=\"Kept.flac\" bpm=\"128.0000\""),
            std::string::npos);
}

TEST(Startup, SamplesAreSeededOnlyWhenTheFolderIsNew) {
  XvfbServer x(1280, 800);
  ASSERT_TRUE(x.Started());
  TempDir home;
  const std::string samples = home.Path() + "/Vantaro/Samples";
  fs::create_directories(samples);
  AppProcess app(x.Display(), home.Path(), home.File("out.txt"));
  ASSERT_TRUE(app.WaitForOutput(kRunning)) << app.Output();
  EXPECT_FALSE(fs::exists(samples + "/README.txt")) << "an existing Samples folder is left alone";
  app.Signal(SIGTERM);
  EXPECT_EQ(app.WaitForExit(), 0);
}

TEST(Startup, SigtermAndSigintCloseAsCleanlyAsTheCloseButton) {
  for (int signal : {SIGTERM, SIGINT}) {
    XvfbServer x(1280, 800);
    ASSERT_TRUE(x.Started());
    TempDir home;
    AppProcess app(x.Display(), home.Path(), home.File("out.txt"));
    ASSERT_TRUE(app.WaitForOutput(kTicking)) << app.Output();
    app.Signal(signal);
    EXPECT_EQ(app.WaitForExit(), 0) << "signal " << signal << "\n" << app.Output();
    ExpectOrderedClose(app.Output());
  }
}

TEST(Startup, ASecondInstanceIsRefusedWithAMessage) {
  XvfbServer x(1280, 800);
  ASSERT_TRUE(x.Started());
  TempDir home;
  AppProcess first(x.Display(), home.Path(), home.File("first.txt"));
  ASSERT_TRUE(first.WaitForOutput(kRunning)) << first.Output();

  AppProcess second(x.Display(), home.Path(), home.File("second.txt"));
  ASSERT_TRUE(second.WaitForOutput("message: The program is already running.")) << second.Output();
  // The message box is up; the user presses its close button.
  const int status = DismissMessageBox(x.Display());
  EXPECT_EQ(status, 0) << "no message box was shown";
  EXPECT_EQ(second.WaitForExit(), 1) << second.Output();
  EXPECT_EQ(second.Output().find(kRunning), std::string::npos) << "the second one ran";
  EXPECT_EQ(XWindowTool(x.Display(), "count", "Vantaro DJ"), "1");

  EXPECT_TRUE(first.Running()) << "the first instance is untouched";
  first.Signal(SIGTERM);
  EXPECT_EQ(first.WaitForExit(), 0);
}

TEST(Startup, AScreenBelow900By600EndsTheStart) {
  {
    XvfbServer x(899, 600);
    ASSERT_TRUE(x.Started());
    TempDir home;
    AppProcess app(x.Display(), home.Path(), home.File("out.txt"));
    ASSERT_TRUE(app.WaitForOutput("message: The screen resolution is too low")) << app.Output();
    DismissMessageBox(x.Display());
    EXPECT_EQ(app.WaitForExit(), 1) << app.Output();
    EXPECT_EQ(app.Output().find(kRunning), std::string::npos);
  }
  {
    XvfbServer x(900, 600);
    ASSERT_TRUE(x.Started());
    TempDir home;
    AppProcess app(x.Display(), home.Path(), home.File("out.txt"));
    ASSERT_TRUE(app.WaitForOutput(kRunning)) << app.Output();
    app.Signal(SIGTERM);
    EXPECT_EQ(app.WaitForExit(), 0);
  }
}

}  // namespace
}  // namespace vantaro
