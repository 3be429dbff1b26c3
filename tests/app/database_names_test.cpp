// Track names as Linux file systems hold them (bytes, not always UTF-8)
// through the library's save, a start and a close of the real program: every
// record comes back byte for byte.
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>

#include "library/song_database.h"
#include "tests/app/app_process.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

TEST(DatabaseNames, EveryByteSequenceOfAFileNameSurvivesARestart) {
  const std::string names[] = {
      "Caf\xE9 del Mar.mp3",  // Latin-1 from an old disk
      "torn \xC3\x28 overlong \xC0\xAF surrogate \xED\xA0\x80 end \xF0\x9F\x8E",  // not UTF-8
      "tab\t lf\n cr\r bell\x07 escape\x1B \xEF\xBF\xBE.wav",        // control characters, U+FFFE
      "A & B \"C\" 'D' <E> ]]> &amp;.flac",                          // XML's special characters
      "Bj\xC3\xB6rk \xE2\x80\x93 J\xC3\xB3ga \xF0\x9F\x8E\xB5.ogg",  // plain UTF-8
  };
  test::TempDir home;
  const std::string database = home.Path() + "/Vantaro/Database/db.vtx";
  std::filesystem::create_directories(home.Path() + "/Vantaro/Database");
  LoadSongDatabase(database);
  for (std::size_t i = 0; i < std::size(names); ++i) {
    TZKSongRecord record;
    record.name = names[i];
    record.bpm = 100.0f + i;
    record.cue[0] = 1 + i;
    ASSERT_TRUE(StoreSong(record));
  }
  ASSERT_TRUE(SaveSongDatabase(database));

  test::XvfbServer x(1280, 800);
  test::AppProcess app(x.Display(), home.Path(), home.File("out.txt"));
  ASSERT_TRUE(app.WaitForOutput("screen tick: first tick handled")) << app.Output();
  app.Signal(SIGTERM);
  ASSERT_EQ(app.WaitForExit(), 0) << app.Output();
  EXPECT_NE(app.Output().find("loaded, 5 tracks"), std::string::npos) << app.Output();

  ASSERT_TRUE(LoadSongDatabase(database));
  EXPECT_EQ(SongCount(), std::size(names));
  for (std::size_t i = 0; i < std::size(names); ++i) {
    TZKSongRecord record;
    EXPECT_TRUE(FindSong(names[i], record)) << i;
    EXPECT_EQ(record.bpm, 100.0f + i) << i;
    EXPECT_EQ(record.cue[0], int(1 + i)) << i;
  }
  SaveSongDatabase(home.File("unused.vtx"));
}

}  // namespace
}  // namespace vantaro
