// Skins through real starts of the program under Xvfb with a private data
// root: a broken skin chosen by skinf1 never stops the start or the close,
// the default skin takes its place and a notice says why; a reload that
// fails keeps the running skin and says why in a box; files named on the
// command line go to the decks.
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>

#include "tests/app/app_process.h"
#include "tests/skin/test_skin_files.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

namespace fs = std::filesystem;
using test::AppProcess;
using test::SkinXml;
using test::TempDir;
using test::XvfbServer;
using test::XWindowTool;

constexpr const char* kTicking = "screen tick: first tick handled";

// The user's folders, a stand-in default skin in Skins (the program's own
// default skin, when built, is listed too and may be taken instead), and
// config.xml choosing `skinf1`.
std::string PrepareHome(const TempDir& home, const std::string& reloadButton = "") {
  const std::string root = home.Path() + "/Vantaro/";
  fs::create_directories(root + "Skins");
  fs::create_directories(root + "Settings");
  test::WriteSkin(root + "Skins", "vantaro-test",
                  SkinXml("<button action=\"deck_play_pause\" deck=\"0\" posx=\"100\" posy=\"100\" "
                          "width=\"60\" height=\"60\"/>\n" +
                              reloadButton,
                          2, "Vantaro", 1024, 600),
                  1024, 600);
  return root + "Skins/";
}

void ChooseSkin(const TempDir& home, const std::string& skinf1) {
  test::WriteFile(home.Path() + "/Vantaro/Settings/config.xml",
                  "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<settings version=\"100\">\n"
                  "<setting name=\"skinf1\" value=\"" +
                      skinf1 + "\" type=\"1\" />\n</settings>\n");
}

// What the loader refuses is its own tests' (tests/skin/skin_loader_test);
// here one refusal and one skip through the start.
TEST(SkinStart, ABrokenChosenSkinGivesWayToTheDefaultSkinAndTheCloseIsClean) {
  const std::string play = "<button action=\"deck_cue\" deck=\"0\" width=\"40\" height=\"40\"/>\n";
  std::string crowded = "<button action=\"deck_sync\" deck=\"0\"";  // past 100 attributes
  for (int i = 0; i < 101; ++i) crowded += " a" + std::to_string(i) + "=\"1\"";
  crowded += "/>\n";
  const struct {
    const char* what;
    std::string xml;
    const char* expect;
  } cases[] = {
      {"bad XML", "<skin skinname=\"Broken\">\n<window action=\"main\" <\n</skin>\n",
       "broken.xml, line 2: the XML is not well formed"},
      {"unknown controls",
       SkinXml("<button action=\"deck_warp\" deck=\"0\"/>\n<dial action=\"_knob\"/>\n"
               "<button action=\"deck_play_pause\" width=\"20\"/>\n" +  // no deck
               crowded +
               play + play),
       "notice: 5 elements of the skin broken.xml were skipped"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    XvfbServer x(1280, 800);
    TempDir home;
    const std::string skins = PrepareHome(home);
    const std::string broken = test::WriteSkin(skins, "broken", c.xml, 640, 400);
    ChooseSkin(home, broken);
    AppProcess app(x.Display(), home.Path(), home.File("out.txt"));
    ASSERT_TRUE(app.WaitForOutput(kTicking)) << app.Output();
    const std::string output = app.Output();
    EXPECT_NE(output.find(c.expect), std::string::npos) << output;
    const bool refused = std::string(c.what) != "unknown controls";
    if (refused) {
      EXPECT_NE(output.find("skin refused: " + broken), std::string::npos) << output;
      EXPECT_NE(output.find("(Vantaro, "), std::string::npos) << "the default skin runs\n"
                                                              << output;
      EXPECT_NE(output.find("notice: The skin could not be loaded (" + broken), std::string::npos)
          << output;
    }
    // One run closes through the window manager, the other by signal.
    if (refused)
      XWindowTool(x.Display(), "close", "Vantaro DJ");
    else
      app.Signal(SIGTERM);
    EXPECT_EQ(app.WaitForExit(), 0) << app.Output();
    EXPECT_NE(app.Output().find("close 7:"), std::string::npos);
  }
}

TEST(SkinStart, AFailedReloadKeepsTheSkinAndFilesOnTheCommandLineGoToTheDecks) {
  XvfbServer x(1280, 800);
  TempDir home;
  const std::string skins =
      PrepareHome(home,
                  "<button action=\"reload_skin\" posx=\"0\" posy=\"0\" width=\"80\" height=\"40\" "
                  "graphics_mode=\"1\"/>\n");
  ChooseSkin(home, skins + "vantaro-test.xml");
  const std::string track = home.File("tone.wav");
  ASSERT_EQ(test::RunCommand("sox -n -r 44100 -c 2 -b 16 " + track + " synth 2 sine 440"), 0);
  AppProcess app(x.Display(), home.Path(), home.File("out.txt"),
                 {track, home.File("gone.flac"), track, track});
  ASSERT_TRUE(app.WaitForOutput(kTicking)) << app.Output();
  std::string output = app.Output();
  EXPECT_NE(output.find("command line: " + track + " loading on deck A"), std::string::npos);
  EXPECT_NE(output.find("gone.flac not loaded: no such file"), std::string::npos);
  EXPECT_NE(output.find("command line: " + track + " loading on deck B"), std::string::npos);
  EXPECT_NE(output.find(track + " not loaded: two decks take two files"), std::string::npos);

  test::WriteFile(skins + "vantaro-test.xml", "<skin skinname=\"Vantaro\"><window");
  ASSERT_EQ(
      test::RunCommand("DISPLAY=" + x.Display() + " xdotool mousemove 40 20 sleep 0.1 click 1"), 0);
  ASSERT_TRUE(app.WaitForOutput("message: The skin could not be loaded (" + skins +
                                "vantaro-test.xml, line 1: the XML is not well formed). The "
                                "running skin stays."))
      << app.Output();
  ASSERT_TRUE(test::WaitForWindow(x.Display(), "Message"));
  XWindowTool(x.Display(), "close", "Message");
  app.Signal(SIGTERM);
  EXPECT_EQ(app.WaitForExit(), 0) << app.Output();
}

}  // namespace
}  // namespace vantaro
