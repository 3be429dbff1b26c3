// The whole program under a private Xvfb server and data root: start-up,
// folders, the single-instance rule, the screen-size rule, and the close
// through the window manager and by signal.
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>

#include "tests/app/app_process.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

namespace fs = std::filesystem;
using test::AppProcess;
using test::TempDir;
using test::WaitForWindow;
using test::XvfbServer;
using test::XWindowTool;

constexpr const char* kRunning = "start-up complete: running";
constexpr const char* kTicking = "screen tick: first tick handled";

// The close steps must appear once each, in this order, after the start,
// and leave the settings and the database written.
void ExpectOrderedClose(const std::string& output, const std::string& home) {
  size_t at = output.find(kRunning);
  ASSERT_NE(at, std::string::npos) << output;
  for (int step = 1; step <= 7; ++step) {
    const std::string line = "close " + std::to_string(step) + ":";
    const size_t next = output.find(line, at);
    ASSERT_NE(next, std::string::npos) << line << " missing or out of order in\n" << output;
    EXPECT_EQ(output.find(line, next + 1), std::string::npos) << line << " twice";
    at = next;
  }
  for (const char* file : {"Settings/config.xml", "Database/db.vtx"})
    EXPECT_TRUE(fs::exists(home + "/Vantaro/" + file)) << file;
}

TEST(Startup, PlaysOnTheJackRowAndClosesThroughTheWindowManager) {
  XvfbServer x(1280, 800);
  TempDir home;
  AppProcess app(x.Display(), home.Path(), home.File("out.txt"));
  ASSERT_TRUE(app.WaitForOutput(kTicking)) << app.Output();
  const std::string root = home.Path() + "/Vantaro/";
  EXPECT_TRUE(fs::exists(root + "Samples/README.txt")) << "Samples is seeded from the program";
  const std::string jack = "JACK Audio Connection Kit: system";
  EXPECT_NE(app.Output().find("init 16: audio output open on \"" + jack), std::string::npos);

  XWindowTool(x.Display(), "close", "Vantaro DJ");
  EXPECT_EQ(app.WaitForExit(), 0) << app.Output();
  ExpectOrderedClose(app.Output(), home.Path());
  EXPECT_NE(test::ReadFile(root + "vantaro.log").find("close 7:"), std::string::npos)
      << "the log file has the close steps too";
  EXPECT_NE(test::ReadFile(root + "Settings/config.xml")
                .find("name=\"audio0\" value=\"" + jack + "\" type=\"1\""),
            std::string::npos)
      << "the device that played is remembered";
}

std::string Replace(std::string text, const std::string& from, const std::string& to) {
  const size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  if (at != std::string::npos) text.replace(at, from.size(), to);
  return text;
}

// A crash or a power cut kills the program outright: the next start must
// not think it still runs, and must find what the files held; its close
// writes back what it read.
TEST(Startup, SettingsAndLearntTracksSurviveAKillAndARestart) {
  XvfbServer x(1280, 800);
  TempDir home;
  const std::string config = home.Path() + "/Vantaro/Settings/config.xml";
  const std::string database = home.Path() + "/Vantaro/Database/db.vtx";
  {
    AppProcess first(x.Display(), home.Path(), home.File("first.txt"));
    ASSERT_TRUE(first.WaitForOutput(kTicking)) << first.Output();
    first.Signal(SIGTERM);
    ASSERT_EQ(first.WaitForExit(), 0) << first.Output();
  }
  test::WriteFile(config, Replace(test::ReadFile(config), "name=\"latncy\" value=\"2880\"",
                                  "name=\"latncy\" value=\"1440\""));
  test::WriteFile(database, Replace(test::ReadFile(database), "</songdatabase>",
                                    "<song name=\"Kept.flac\" bpm=\"128.0000\" />\n"
                                    "</songdatabase>"));
  {
    AppProcess killed(x.Display(), home.Path(), home.File("killed.txt"));
    ASSERT_TRUE(killed.WaitForOutput(kTicking)) << killed.Output();
  }  // the object ends it with SIGKILL
  AppProcess again(x.Display(), home.Path(), home.File("again.txt"));
  ASSERT_TRUE(again.WaitForOutput(kTicking)) << "a stale lock?\n" << again.Output();
  EXPECT_NE(again.Output().find(": loaded, 1 tracks"), std::string::npos) << again.Output();
  again.Signal(SIGTERM);
  ASSERT_EQ(again.WaitForExit(), 0) << again.Output();
  EXPECT_NE(test::ReadFile(config).find("name=\"latncy\" value=\"1440\""), std::string::npos);
  EXPECT_NE(test::ReadFile(database).find("name=\"Kept.flac\" bpm=\"128.0000\""),
            std::string::npos);
}

// With no sound server and no card the start stops on the "no sound" box.
// A close signal then, or earlier in the start, ends any box and closes as
// the close button would, at once.
TEST(Startup, ACloseSignalDuringTheStartEndsTheBoxAndClosesCleanly) {
  // A server name nobody serves: PortAudio finds no JACK and this machine
  // has no sound card.
  setenv("JACK_DEFAULT_SERVER", "vantaro-no-such-server", 1);
  const std::string box = "message: No audio output device was found";
  struct Case {
    std::string signalAfter;
    int signal;
    bool homeMissing = false;  // nothing can be written: the toolkit must not show a box of its own
  };
  for (const Case& c : {Case{box, SIGTERM}, Case{box, SIGINT}, Case{"init 1:", SIGTERM},
                        Case{"cannot be created", SIGTERM, true}}) {
    XvfbServer x(1280, 800);
    TempDir home;
    const std::string root = c.homeMissing ? home.Path() + "/gone" : home.Path();
    AppProcess app(x.Display(), root, home.File("out.txt"));
    ASSERT_TRUE(app.WaitForOutput(c.signalAfter)) << app.Output();
    if (c.signalAfter == box) {
      ASSERT_TRUE(WaitForWindow(x.Display(), "Message")) << "no box for the message";
    }
    app.Signal(c.signal);
    EXPECT_EQ(app.WaitForExit(15), 0)
        << "after " << c.signalAfter << ", signal " << c.signal << ":\n"
        << app.Output();
    if (!c.homeMissing) ExpectOrderedClose(app.Output(), home.Path());
  }
}

TEST(Startup, ASecondInstanceShowsItsMessageAndEndsOnASignal) {
  XvfbServer x(1280, 800);
  TempDir home;
  AppProcess first(x.Display(), home.Path(), home.File("first.txt"));
  ASSERT_TRUE(first.WaitForOutput(kRunning)) << first.Output();

  AppProcess second(x.Display(), home.Path(), home.File("second.txt"));
  ASSERT_TRUE(second.WaitForOutput("message: The program is already running.")) << second.Output();
  ASSERT_TRUE(WaitForWindow(x.Display(), "Message")) << "no box for the message";
  second.Signal(SIGTERM);
  EXPECT_EQ(second.WaitForExit(15), 0) << second.Output();
  EXPECT_EQ(second.Output().find("close 1:"), std::string::npos) << "the files are the first's";

  EXPECT_TRUE(first.Running()) << "the first instance is untouched";
  first.Signal(SIGTERM);
  EXPECT_EQ(first.WaitForExit(), 0);
}

TEST(Startup, AScreenBelow900By600EndsTheStart) {
  for (int width : {899, 900}) {
    XvfbServer x(width, 600);
    TempDir home;
    AppProcess app(x.Display(), home.Path(), home.File("out.txt"));
    if (width == 900) {
      EXPECT_TRUE(app.WaitForOutput(kRunning)) << app.Output();
      continue;
    }
    ASSERT_TRUE(app.WaitForOutput("message: The screen resolution is too low")) << app.Output();
    // The user presses the box's close button.
    ASSERT_TRUE(WaitForWindow(x.Display(), "Message")) << "no box for the message";
    XWindowTool(x.Display(), "close", "Message");
    EXPECT_EQ(app.WaitForExit(), 1) << app.Output();
  }
}

}  // namespace
}  // namespace vantaro
