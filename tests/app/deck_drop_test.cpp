// Files dropped on the decks of the real program under Xvfb, through a tool
// that plays the file manager's part of XDND on the program's window:
// escaped and non-ASCII names arrive as the files they name, several files
// load the first, a folder or a text file named .mp3 is refused without
// touching the deck, and a drop on a playing deck asks first.
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>

#include "tests/app/app_process.h"
#include "tests/app/skin_place.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

namespace fs = std::filesystem;
using test::AppProcess;
using test::SkinPlace;
using test::TempDir;
using test::XvfbServer;

constexpr const char* kTicking = "screen tick: first tick handled";

std::string Tone(const TempDir& dir, const std::string& name, int seconds) {
  const std::string path = dir.File(name);
  EXPECT_EQ(test::RunCommand("sox -n -r 44100 -c 2 -b 16 '" + path + "' synth " +
                             std::to_string(seconds) + " sine 440"),
            0);
  return path;
}

// Drops `files` at the centre of `place`; the tool's exit status.
int Drop(const std::string& display, const SkinPlace& place,
         const std::vector<std::string>& files) {
  std::string command = "DISPLAY=" + display + " " VANTARO_BINARY_DIR "/xdnd_drop_tool " +
                        std::to_string(place.CentreX()) + " " + std::to_string(place.CentreY());
  for (const std::string& file : files) command += " '" + file + "'";
  return test::RunCommand(command);
}

TEST(DeckDrop, DroppedFilesLoadTheFirstAndRefusedOnesLeaveTheDeckAsItWas) {
  XvfbServer x(1280, 800);
  TempDir home;
  fs::create_directories(home.Path() + "/Vantaro/Settings");
  TempDir music;
  const std::string odd = Tone(music, "Ünïcode mix 100%20 (live).wav", 30);
  const std::string first = Tone(music, "first.wav", 3);
  const std::string second = Tone(music, "second.wav", 3);
  const std::string folder = music.File("crate");
  fs::create_directories(folder);
  const std::string fake = music.File("notes.mp3");
  test::WriteFile(fake, "not a song, only words\n");

  const std::string skin = test::DefaultSkin1280();
  const SkinPlace zoneA = test::FindSkinPlace(skin, "dz_deck", 0);
  const SkinPlace zoneB = test::FindSkinPlace(skin, "dz_deck", 1);
  const SkinPlace playA = test::FindSkinPlace(skin, "deck_play_pause", 0);
  ASSERT_TRUE(zoneA.Found() && zoneB.Found() && playA.Found());

  AppProcess app(x.Display(), home.Path(), home.File("out.txt"));
  ASSERT_TRUE(app.WaitForOutput(kTicking)) << app.Output();

  const struct {
    const char* what;
    const SkinPlace& zone;
    std::vector<std::string> files;
    std::string expect;  // a line of the log the drop must leave
    std::string absent;  // and one it must not
  } cases[] = {
      {"spaces, an escape and UTF-8", zoneA, {odd}, "deck A: loading " + odd, ""},
      {"several files",
       zoneB,
       {first, second},
       "deck B: loading " + first,
       "deck B: loading " + second},
      {"a folder",
       zoneA,
       {folder},
       folder + " not loaded: a folder, not a track",
       "deck A: loading " + folder},
      {"a text file named .mp3",
       zoneB,
       {fake},
       fake + " not loaded: not audio Vantaro DJ can play",
       "deck B: loading " + fake},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    ASSERT_EQ(Drop(x.Display(), c.zone, c.files), 0) << app.Output();
    EXPECT_TRUE(app.WaitForOutput(c.expect, 20)) << app.Output();
    if (!c.absent.empty()) {
      EXPECT_EQ(app.Output().find(c.absent), std::string::npos);
    }
  }
  // The refused files left both decks with what they had: nothing unloaded.
  EXPECT_EQ(app.Output().find("cannot open"), std::string::npos) << app.Output();

  // Deck A plays its track; a drop there asks first, and closing the box
  // (No) keeps it playing.
  ASSERT_EQ(test::RunCommand("DISPLAY=" + x.Display() + " xdotool mousemove " +
                             std::to_string(playA.CentreX()) + " " +
                             std::to_string(playA.CentreY()) + " sleep 0.2 click 1"),
            0);
  ASSERT_EQ(Drop(x.Display(), zoneA, {first}), 0);
  ASSERT_TRUE(test::WaitForWindow(x.Display(), "Load", 20)) << app.Output();
  test::XWindowTool(x.Display(), "close", "Load");
  EXPECT_TRUE(app.WaitForOutput("drop on deck A: " + first + " refused by the user", 20))
      << app.Output();
  EXPECT_EQ(app.Output().find("deck A: loading " + first), std::string::npos);

  app.Signal(SIGTERM);
  EXPECT_EQ(app.WaitForExit(), 0) << app.Output();
}

}  // namespace
}  // namespace vantaro
