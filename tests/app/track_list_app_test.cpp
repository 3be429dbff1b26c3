// Loading from the track list in the real program under Xvfb, with the
// real pointer (xdotool) and a list the program reads from its own
// Playlists folder: a row dragged onto deck A's drop zone loads there; a
// double-click loads the idle deck; a row whose file has gone leaves the
// deck as it was; a row dragged onto the playing deck A asks first, and No
// keeps it playing. End to end: a folder of tones found in the browser's
// tree with the pointer, a row of it dragged onto deck A and played is heard
// on the JACK port and lands in the history once.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <regex>
#include <string>

#include "tests/app/app_process.h"
#include "tests/app/skin_place.h"
#include "tests/devices/jack_sink.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

namespace fs = std::filesystem;
using test::SkinPlace;

std::string At(int x, int y) {
  return std::to_string(x) + " " + std::to_string(y);
}

// xdotool words that press on `from`, leave the list upwards (so the drag
// starts) and let go on the middle of `zone`.
std::string DragTo(const std::string& from, const SkinPlace& list, const SkinPlace& zone) {
  return "mousemove " + from + " sleep 0.2 mousedown 1 sleep 0.1 mousemove " +
         At(list.x + 40, list.y - 40) + " sleep 0.1 mousemove " +
         At(zone.CentreX(), zone.CentreY()) + " sleep 0.2 mouseup 1";
}

int Xdotool(const std::string& display, const std::string& args) {
  return test::RunCommand("DISPLAY=" + display + " xdotool " + args);
}

std::string ListFile(const std::vector<std::string>& paths) {
  std::string text =
      "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- test -->\n"
      "<list version=\"100\" name=\"set\" imgfile=\"img\" overrideduration=\"3600\" "
      "shuffleonload=\"0\" count=\"" +
      std::to_string(paths.size()) + "\">\n";
  for (size_t i = 0; i < paths.size(); ++i)
    text += "<song numb=\"" + std::to_string(i + 1) + "\" titl=\"Track " + std::to_string(i + 1) +
            "\" arti=\"Test\" fnam=\"" + paths[i] + "\" duration_ms=\"20000\" />\n";
  return text + "</list>\n";
}

// A private data root whose sound goes to `sink`; answers the root.
std::string MakeDataRoot(const test::TempDir& home, const test::JackSink& sink) {
  const std::string root = test::WriteProgramSettings(home.Path(), {{"audio0", sink.RowName()}});
  fs::create_directories(root + "Playlists");
  return root;
}

// The skin's `lineheight` of an action's list; 0 when it has none.
int SkinLineHeight(const std::string& skin, const std::string& action) {
  std::smatch match;
  const std::regex lineHeight("action=\"" + action + "\"[^>]*lineheight=\"([0-9]+)\"");
  const std::string skinText = test::ReadFile(skin);
  return std::regex_search(skinText, match, lineHeight) ? std::stoi(match[1]) : 0;
}

TEST(TrackListProgram, RowsLoadByDragAndDoubleClickAndAPlayingDeckAsksFirst) {
  test::JackSink sink("list", 2);
  ASSERT_TRUE(sink.Ok()) << "no JACK server: the devices_jack fixture starts one";
  test::XvfbServer x(1280, 800);
  test::TempDir home;
  const std::string root = MakeDataRoot(home, sink);
  std::vector<std::string> tracks;
  for (int i = 1; i <= 2; ++i) {
    tracks.push_back(home.File("tone " + std::to_string(i) + ".wav"));
    ASSERT_EQ(test::RunCommand("sox -n -r 44100 -c 2 -b 16 '" + tracks.back() + "' synth 60 sine " +
                               std::to_string(300 * i) + " vol 0.2"),
              0);
  }
  tracks.push_back(home.File("gone.wav"));  // never made
  test::WriteFile(root + "Playlists/set.vtl", ListFile(tracks));

  const std::string skin = test::DefaultSkin1280();
  const SkinPlace list = test::FindSkinPlace(skin, "playlist", -1);
  const SkinPlace zoneA = test::FindSkinPlace(skin, "dz_deck", 0);
  const SkinPlace playA = test::FindSkinPlace(skin, "deck_play_pause", 0);
  ASSERT_TRUE(list.Found() && zoneA.Found() && playA.Found());
  const int line = SkinLineHeight(skin, "playlist");
  ASSERT_GT(line, 0);
  // Below the header (one row and two pixels high), in the title column.
  const auto rowAt = [&](int row) {
    return At(list.x + 80, list.y + line + 2 + row * line + line / 2);
  };

  test::AppProcess app(x.Display(), home.Path(), home.File("out.txt"));
  ASSERT_TRUE(app.WaitForOutput("screen tick: first tick handled")) << app.Output();

  // Dragged onto deck A's drop zone.
  ASSERT_EQ(Xdotool(x.Display(), DragTo(rowAt(0), list, zoneA)), 0);
  ASSERT_TRUE(app.WaitForOutput("deck A: loading " + tracks[0], 20)) << app.Output();

  // Both decks stopped, A holds a track: a double-click loads B.
  ASSERT_EQ(
      Xdotool(x.Display(), "mousemove " + rowAt(1) + " sleep 0.2 click --repeat 2 --delay 80 1"),
      0);
  ASSERT_TRUE(app.WaitForOutput("deck B: loading " + tracks[1], 20)) << app.Output();

  // A row whose file has gone: a log line, no load.
  ASSERT_EQ(Xdotool(x.Display(),
                    "sleep 0.6 mousemove " + rowAt(2) + " sleep 0.2 click --repeat 2 --delay 80 1"),
            0);
  ASSERT_TRUE(app.WaitForOutput(tracks[2] + " is gone", 20)) << app.Output();
  EXPECT_EQ(app.Output().find("loading " + tracks[2]), std::string::npos);

  // A file from the file manager joins the list as its fourth row; both
  // decks stopped and loaded, a double-click on it loads deck A.
  const std::string dropped = home.File("tone 3.wav");
  ASSERT_EQ(test::RunCommand("sox -n -r 44100 -c 2 -b 16 '" + dropped + "' synth 60 sine 900"), 0);
  ASSERT_EQ(
      test::RunCommand("DISPLAY=" + x.Display() + " " VANTARO_BINARY_DIR "/xdnd_drop_tool " +
                       At(list.CentreX(), list.y + list.height - 2 * line) + " '" + dropped + "'"),
      0);
  ASSERT_TRUE(app.WaitForOutput("dropped files or folders join list", 20)) << app.Output();
  ASSERT_EQ(Xdotool(x.Display(),
                    "sleep 1 mousemove " + rowAt(3) + " sleep 0.2 click --repeat 2 --delay 80 1"),
            0);
  ASSERT_TRUE(app.WaitForOutput("deck A: loading " + dropped, 20)) << app.Output();

  // Deck A plays, the crossfader in the middle: a row dropped there asks,
  // and No keeps A playing its track.
  ASSERT_EQ(Xdotool(x.Display(), "sleep 1 mousemove " + At(playA.CentreX(), playA.CentreY()) +
                                     " sleep 0.2 click 1"),
            0);
  ASSERT_EQ(Xdotool(x.Display(), "sleep 0.6 " + DragTo(rowAt(1), list, zoneA)), 0);
  ASSERT_TRUE(test::WaitForWindow(x.Display(), "Load", 20)) << app.Output();
  test::XWindowTool(x.Display(), "close", "Load");
  EXPECT_TRUE(app.WaitForOutput("drop on deck A: " + tracks[1] + " refused by the user", 20))
      << app.Output();
  EXPECT_EQ(app.Output().find("deck A: loading " + tracks[1]), std::string::npos);

  app.Signal(SIGTERM);
  EXPECT_EQ(app.WaitForExit(), 0) << app.Output();
}

// Sets HOME for the programs started while it lives (the browser's home
// disk is the user's home folder); the old value comes back after.
class HomeFolder {
 public:
  explicit HomeFolder(const std::string& path) {
    if (const char* old = getenv("HOME")) old_ = old;
    setenv("HOME", path.c_str(), 1);
  }
  ~HomeFolder() { setenv("HOME", old_.c_str(), 1); }

 private:
  std::string old_;
};

TEST(TrackListProgram, AFolderBrowsedInTheTreePlaysOnDeckAAndGoesToTheHistoryOnce) {
  test::JackSink sink("browse", 2);
  ASSERT_TRUE(sink.Ok()) << "no JACK server: the devices_jack fixture starts one";
  test::XvfbServer x(1280, 800);
  test::TempDir home;
  const std::string root = MakeDataRoot(home, sink);
  HomeFolder homeFolder(home.Path());
  // "Tones" sorts before "Vantaro", the only other folder shown in the
  // home folder (hidden ones are not).
  const std::string folder = home.Path() + "/Tones/";
  fs::create_directories(folder);
  const std::vector<int> hertz = {330, 550, 770};
  for (size_t i = 0; i < hertz.size(); ++i)
    ASSERT_EQ(
        test::RunCommand("sox -n -r 44100 -c 2 -b 16 '" + folder + "tone " + std::to_string(i + 1) +
                         ".wav' synth 30 sine " + std::to_string(hertz[i]) + " vol 0.2"),
        0);

  const std::string skin = test::DefaultSkin1280();
  const SkinPlace tree = test::FindSkinPlace(skin, "browser", -1);
  const SkinPlace list = test::FindSkinPlace(skin, "playlist", -1);
  const SkinPlace zoneA = test::FindSkinPlace(skin, "dz_deck", 0);
  const SkinPlace playA = test::FindSkinPlace(skin, "deck_play_pause", 0);
  ASSERT_TRUE(tree.Found() && list.Found() && zoneA.Found() && playA.Found());
  const int line = SkinLineHeight(skin, "playlist");
  ASSERT_GT(line, 0);

  test::AppProcess app(x.Display(), home.Path(), home.File("out.txt"));
  ASSERT_TRUE(app.WaitForOutput("screen tick: first tick handled")) << app.Output();
  // The tree's row height follows its font; the program says it.
  std::smatch match;
  const std::string out = app.Output();
  ASSERT_TRUE(
      std::regex_search(out, match, std::regex("tree built, [0-9]+ rows shown, ([0-9]+) px")))
      << out;
  const int treeRow = std::stoi(match[1]);
  ASSERT_GT(treeRow, 0);
  // Rows: 0 Computer (open), 1 the home folder; 14 pixels of indent a level,
  // the expand sign in the indent cell of its own level.
  const auto treeRowY = [&](int row) { return tree.y + row * treeRow + treeRow / 2; };
  ASSERT_EQ(Xdotool(x.Display(),
                    "mousemove " + At(tree.x + 14 + 6, treeRowY(1)) + " sleep 0.2 click 1 sleep 3"),
            0);
  // The folder's rows arrive in the background after each read: on a slow
  // machine the first try may find the tree or the list not yet filled, so
  // select and drag again (a drag from an empty list loads nothing).
  const std::string loading = "deck A: loading " + folder + "tone ";
  bool loadedOne = false;
  for (int attempt = 0; attempt < 4 && !loadedOne; ++attempt) {
    ASSERT_EQ(Xdotool(x.Display(),
                      "mousemove " + At(tree.x + 3 * 14 + 30, treeRowY(2)) +
                          " sleep 0.2 click 1 sleep 2 " +
                          DragTo(At(list.x + 80, list.y + line + 2 + line / 2), list, zoneA)),
              0);
    loadedOne = app.WaitForOutput(loading, 8);
  }
  ASSERT_TRUE(loadedOne) << app.Output();
  const std::string log = app.Output();
  const size_t at = log.find(loading) + 16;
  const std::string loaded = log.substr(at, log.find('\n', at) - at);
  const int index = loaded[folder.size() + 5] - '1';
  ASSERT_TRUE(index >= 0 && index < 3) << loaded;
  sleep(2);  // the first blocks decode

  // Play, pause, play: one load heard twice is one play in the history.
  const std::string play =
      "mousemove " + At(playA.CentreX(), playA.CentreY()) + " sleep 0.2 click 1";
  ASSERT_EQ(Xdotool(x.Display(), play + " sleep 1 click 1 sleep 0.6 click 1"), 0);
  sleep(1);
  const std::vector<float> heard = sink.Record(44100);
  ASSERT_EQ(heard.size(), 2u * 44100) << app.Output();
  const double found = test::ToneFrequency(heard, 2, 0);
  std::printf("deck A plays %s: %.1f Hz heard (tone of %d Hz), peak %.3f\n", loaded.c_str(), found,
              hertz[index], test::Peak(heard, 2, 0));
  EXPECT_NEAR(found, hertz[index], 5.0);
  EXPECT_TRUE(app.WaitForOutput("history: " + loaded + " played, added", 10)) << app.Output();

  app.Signal(SIGTERM);
  ASSERT_EQ(app.WaitForExit(), 0) << app.Output();
  const std::string history = test::ReadFile(root + "Database/history.vtl");
  const std::string row = "fnam=\"" + loaded + "\"";
  size_t count = 0;
  for (size_t p = history.find(row); p != std::string::npos; p = history.find(row, p + 1)) ++count;
  EXPECT_EQ(count, 1u) << history;
}

}  // namespace
}  // namespace vantaro
