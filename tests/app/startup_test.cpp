// The whole program under a private Xvfb server and data root: start-up,
// folders, the single-instance rule, the screen-size rule, and the close
// through the window manager and by signal.
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>

#include "library/list_file.h"
#include "library/song_database.h"
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

  EXPECT_NE(app.Output().find("lang: English from "), std::string::npos) << "by default";
  EXPECT_TRUE(app.WaitForOutput("the learn button reads \"LEARN\"")) << app.Output();

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

const std::string kTornLists =
    "\xEF\xBB\xBF<?xml version=\"1.0\"?>\n<lists version=\"100\">\n<list na";

// Track names as Linux file systems hold them: bytes, not always UTF-8.
const std::string kTrackNames[] = {
    "Caf\xE9 del Mar.mp3",  // Latin-1 from an old disk
    "torn \xC3\x28 overlong \xC0\xAF surrogate \xED\xA0\x80 end \xF0\x9F\x8E",  // not UTF-8
    "tab\t lf\n cr\r bell\x07 escape\x1B \xEF\xBF\xBE.wav",        // control characters, U+FFFE
    "A & B \"C\" 'D' <E> ]]> &amp;.flac",                          // XML's special characters
    "Bj\xC3\xB6rk \xE2\x80\x93 J\xC3\xB3ga \xF0\x9F\x8E\xB5.ogg",  // plain UTF-8
};

// A torn lists.vtx, and an extended M3U in Playlists naming two tracks of
// ffmpeg's with tags, one by a relative path, and one missing entry.
std::string WriteListsToImport(const TempDir& home) {
  const std::string root = home.Path() + "/Vantaro/";
  fs::create_directories(home.Path() + "/music");
  const std::string accented = home.Path() + "/music/Ærø Ünïcødé Śong.flac";
  for (const auto& [path, tags] :
       {std::pair{home.Path() + "/music/plain.mp3", "-metadata title=First -metadata artist=Alpha"},
        std::pair{accented, "-metadata title='Żółw' -metadata artist='Ёж'"}})
    EXPECT_EQ(test::RunCommand("ffmpeg -nostdin -loglevel error -y -f lavfi -i sine=d=1 " +
                               std::string(tags) + " '" + path + "'"),
              0);
  test::WriteFile(root + "Database/lists.vtx", kTornLists);
  test::WriteFile(root + "Playlists/Friday.m3u",
                  "#EXTM3U\n#EXTINF:1,Alpha - First\n../../music/plain.mp3\n"
                  "#EXTINF:1,Nobody - Gone\n/nowhere/missing.mp3\n" +
                      accented + "\n");
  return accented;
}

// After a start and a close: the torn index kept byte for byte, the M3U a
// list saved as .vtl with its tracks' tags and exact paths, the missing
// entry named in the log.
void ExpectListsImported(const TempDir& home, const std::string& accented,
                         const std::string& output) {
  const std::string root = home.Path() + "/Vantaro/";
  EXPECT_NE(output.find("missing entry /nowhere/missing.mp3"), std::string::npos) << output;
  std::string aside;
  for (const auto& entry : fs::directory_iterator(root + "Database"))
    if (entry.path().filename().string().rfind("lists.vtx.broken-", 0) == 0) aside = entry.path();
  ASSERT_FALSE(aside.empty());
  EXPECT_EQ(test::ReadFile(aside), kTornLists);
  EXPECT_NE(test::ReadFile(root + "Database/lists.vtx").find("name=\"Friday\" type=\"0\""),
            std::string::npos);
  const ListFileContents list = ReadListFile(root + "Playlists/Friday.vtl");
  ASSERT_EQ(list.status, ListFileStatus::kLoaded);
  ASSERT_EQ(list.rows.size(), 2u);
  EXPECT_EQ(list.rows[0].column[kColPath], root + "Playlists/../../music/plain.mp3");
  EXPECT_EQ(list.rows[0].column[kColTitle], "First");
  EXPECT_EQ(list.rows[1].column[kColPath], accented);
  EXPECT_EQ(list.rows[1].column[kColTitle], "Żółw");
  EXPECT_EQ(list.rows[1].column[kColArtist], "Ёж");
}

// A crash or a power cut kills the program outright: the next start must
// not think it still runs, and must find what the files held, track names
// of any bytes included; its close writes back what it read. That start
// also meets a torn list index and a playlist to import.
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
  ASSERT_TRUE(LoadSongDatabase(database));
  for (std::size_t i = 0; i < std::size(kTrackNames); ++i) {
    TZKSongRecord record;
    record.name = kTrackNames[i];
    record.bpm = 100.0f + i;
    record.cue[0] = 1 + i;
    ASSERT_TRUE(StoreSong(record));
  }
  ASSERT_TRUE(SaveSongDatabase(database));
  {
    AppProcess killed(x.Display(), home.Path(), home.File("killed.txt"));
    ASSERT_TRUE(killed.WaitForOutput(kTicking)) << killed.Output();
  }  // the object ends it with SIGKILL
  const std::string accented = WriteListsToImport(home);
  AppProcess again(x.Display(), home.Path(), home.File("again.txt"));
  ASSERT_TRUE(again.WaitForOutput(kTicking)) << "a stale lock?\n" << again.Output();
  EXPECT_NE(again.Output().find(": loaded, 5 tracks"), std::string::npos) << again.Output();
  again.Signal(SIGTERM);
  ASSERT_EQ(again.WaitForExit(), 0) << again.Output();
  ExpectListsImported(home, accented, again.Output());
  EXPECT_NE(test::ReadFile(config).find("name=\"latncy\" value=\"1440\""), std::string::npos);
  ASSERT_TRUE(LoadSongDatabase(database));
  EXPECT_EQ(SongCount(), std::size(kTrackNames));
  for (std::size_t i = 0; i < std::size(kTrackNames); ++i) {
    TZKSongRecord record;
    EXPECT_TRUE(FindSong(kTrackNames[i], record)) << i;
    EXPECT_EQ(record.bpm, 100.0f + i) << i;
    EXPECT_EQ(record.cue[0], int(1 + i)) << i;
  }
  SaveSongDatabase(home.File("unused.vtx"));  // the table goes; the home stays untouched
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

// The language file the setting langf1 names speaks from the very first
// message on: a second start's, which ends on a signal and leaves the
// first's files alone. The first runs on the smallest screen allowed.
TEST(Startup, ASecondInstanceShowsItsMessageInTheChosenLanguageAndEndsOnASignal) {
  XvfbServer x(900, 600);
  TempDir home;
  const std::string german = home.File("deutsch.xml");
  test::WriteFile(
      german,
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<languagestrings language=\"Deutsch\" english=\"German\" locale=\"de\" "
      "targetversion=\"250\">\n"
      "<string action=\"txt_app_already_started\" value=\"Das Programm läuft schon.\"/>\n"
      "<label action=\"learn\" value=\"LERNEN\"/>\n"
      "</languagestrings>\n");
  fs::create_directories(home.Path() + "/Vantaro/Settings");
  test::WriteFile(home.Path() + "/Vantaro/Settings/config.xml",
                  "<settings version=\"100\">\n<setting name=\"langf1\" value=\"" + german +
                      "\" type=\"1\" />\n</settings>\n");
  AppProcess first(x.Display(), home.Path(), home.File("first.txt"));
  ASSERT_TRUE(first.WaitForOutput(kRunning)) << first.Output();
  EXPECT_NE(first.Output().find("lang: Deutsch from " + german), std::string::npos)
      << first.Output();
  EXPECT_TRUE(first.WaitForOutput("the learn button reads \"LERNEN\"")) << first.Output();

  AppProcess second(x.Display(), home.Path(), home.File("second.txt"));
  ASSERT_TRUE(second.WaitForOutput("message: Das Programm läuft schon.")) << second.Output();
  ASSERT_TRUE(WaitForWindow(x.Display(), "Message")) << "no box for the message";
  second.Signal(SIGTERM);
  EXPECT_EQ(second.WaitForExit(15), 0) << second.Output();
  EXPECT_EQ(second.Output().find("close 1:"), std::string::npos) << "the files are the first's";

  EXPECT_TRUE(first.Running()) << "the first instance is untouched";
  first.Signal(SIGTERM);
  EXPECT_EQ(first.WaitForExit(), 0);
}

// 900 by 600 itself runs: the second-instance test starts there.
TEST(Startup, AScreenBelow900By600EndsTheStart) {
  XvfbServer x(899, 600);
  TempDir home;
  AppProcess app(x.Display(), home.Path(), home.File("out.txt"));
  ASSERT_TRUE(app.WaitForOutput("message: The screen resolution is too low")) << app.Output();
  // The user presses the box's close button.
  ASSERT_TRUE(WaitForWindow(x.Display(), "Message")) << "no box for the message";
  XWindowTool(x.Display(), "close", "Message");
  EXPECT_EQ(app.WaitForExit(), 1) << app.Output();
}

}  // namespace
}  // namespace vantaro
