// The table and its life around db.vtx: operations, the periodic saver, a
// damaged, hostile, linked or interrupted file, and threads.
#include "library/song_database.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <regex>
#include <thread>
#include <tuple>

#include "base/realtime.h"
#include "tests/fuzz/hostile_files.h"
#include "tests/library/song_db_test_support.h"

namespace vantaro {
namespace {

namespace fs = std::filesystem;
using test::DbFileWith;
using test::Song;
using test::SongDatabaseTest;

// Waits up to `seconds` for `condition`, polling.
template <typename Condition>
bool WaitFor(Condition condition, double seconds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (std::chrono::steady_clock::now() < end && !condition())
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  return condition();
}

std::map<std::string, float> TempoOnDisk(const std::string& path) {
  std::map<std::string, float> tempo;
  ReadSongDatabaseFile(path, [&](TZKSongRecord&& r) { tempo[r.name] = r.bpm; });
  return tempo;
}

TEST_F(SongDatabaseTest, TableOperationsReplaceWholeRecordsByExactKey) {
  EXPECT_FALSE(LoadSongDatabase(path)) << "a missing file gives 0 ...";
  EXPECT_EQ(TakeSongDatabaseMessage(), "") << "... silently";
  TZKSongRecord replacement = Song("Track.mp3", 0);
  replacement.cue[3] = 1234;
  for (const auto& record : {Song("Track.mp3", 120), Song("track.mp3", 90), replacement})
    ASSERT_TRUE(StoreSong(record));
  EXPECT_FALSE(StoreSong(Song("", 1))) << "a record needs a name";
  EXPECT_EQ(Find("Track.mp3"), replacement) << "the whole record is replaced and copied out";
  EXPECT_EQ(Find("track.mp3").bpm, 90);
  EXPECT_EQ(Find("TRACK.MP3").name, "<not found>") << "exact keys; untouched when absent";
  EXPECT_TRUE(RemoveSong("track.mp3") && !RemoveSong("track.mp3") && SongCount() == 1);
  EXPECT_TRUE(ClearSongs() && SongCount() == 0);
  EXPECT_TRUE(StoreSong(Song("after-clear.mp3", 1))) << "clearing keeps the table";

  // The close save destroys the table: nothing is found or changed after it.
  EXPECT_TRUE(SaveSongDatabase(path));
  EXPECT_EQ(Find("after-clear.mp3").name, "<not found>");
  EXPECT_FALSE(StoreSong(Song("late.mp3", 1)) || RemoveSong("after-clear.mp3") || ClearSongs());
  EXPECT_EQ(SongCount(), 0u);
  EXPECT_FALSE(SaveSongDatabase(dir.File("other.vtx")));
  EXPECT_FALSE(fs::exists(dir.File("other.vtx"))) << "no table, no file";
}

// The periodic saver, on a db.vtx in a synced folder reached by a link: a
// change is on disk within 30 s (a crash loses no more), the link stays, the
// target is written with its backup beside it, and the leftover of a save cut
// short there (a killed process) is cleared at load.
TEST_F(SongDatabaseTest, ChangesReachTheLinkedFileWithinHalfAMinute) {
  const std::string target = dir.File("synced/db.vtx");
  fs::create_directory(dir.File("synced"));
  test::WriteFile(target, DbFileWith({"<song name=\"old.mp3\" bpm=\"100.0000\" />"}));
  test::WriteFile(target + ".tmp-Ab12Cd", "half a file");
  test::WriteFile(dir.File("synced/other.tmp-Ab12Cd"), "someone else's");
  fs::create_symlink("synced/db.vtx", path);
  const std::string before = test::ReadFile(target);
  ASSERT_TRUE(LoadSongDatabase(path));
  EXPECT_EQ(test::FilesStartingWith(dir.File("synced"), "").size(), 2u) << "ours cleared only";
  EXPECT_FALSE(SongDatabaseHasUnsavedChanges());
  ASSERT_TRUE(StoreSong(Song("learnt.mp3", 128)));
  EXPECT_TRUE(SongDatabaseHasUnsavedChanges());
  ASSERT_TRUE(WaitFor([&] { return !SongDatabaseHasUnsavedChanges(); }, 30));
  EXPECT_TRUE(fs::is_symlink(path));
  EXPECT_EQ(TempoOnDisk(target),
            (std::map<std::string, float>{{"learnt.mp3", 128}, {"old.mp3", 100}}));
  EXPECT_EQ(test::ReadFile(target + ".bak"), before);

  // Nothing changed, nothing written: the file keeps its inode.
  SetSongDatabaseSaveDelayMs(300);
  struct stat first, second;
  stat(target.c_str(), &first);
  std::this_thread::sleep_for(std::chrono::milliseconds(700));
  stat(target.c_str(), &second);
  EXPECT_EQ(first.st_ino, second.st_ino);
  ASSERT_TRUE(RemoveSong("old.mp3"));
  ASSERT_TRUE(WaitFor([&] { return TempoOnDisk(target).count("old.mp3") == 0; }, 10));
}

// Whatever state db.vtx is in, every record that can be read is kept, the
// user's file is moved aside before anything replaces it, the log says why,
// and the user is told once.
TEST_F(SongDatabaseTest, ADamagedOrHostileFileKeepsWhatCanBeReadAndTheOriginal) {
  const std::string a = "<song name=\"a.mp3\" bpm=\"120.0000\" />";
  const std::string c = "<song name=\"c.mp3\" bpm=\"90.0000\" />";
  const std::string whole = DbFileWith({a, c});
  const std::string counted = "2 tracks read, 1 damaged place skipped";
  std::vector<std::tuple<test::HostileFile, std::size_t, std::string>> cases = {
      {{"torn tail", whole.substr(0, whole.rfind("</")) + "<song name=\"t.mp3\" bp"}, 2, counted},
      {{"one bad attribute", DbFileWith({a, "<song name=\"b.mp3\" bpm=120 />", c})}, 2, counted},
      {{"garbage after the root", whole + "\x01garbage<<"}, 2, counted},
      {{"torn before the root", whole.substr(0, 90)}, 0, "XML not parsed successfully"},
      {{"foreign root", "<settings>" + a + "</settings>"}, 0, "root node is NOT 'songdatabase'"}};
  for (auto& hostile : test::HostileFiles("songdatabase", "<song name=\"&big;\" />"))
    cases.emplace_back(hostile, 0, path + " refused");
  test::WriteFile(path + ".bak", DbFileWith({"<song name=\"precious.mp3\" />"}));
  for (const auto& [file, kept, logged] : cases) {
    SCOPED_TRACE(file.what);
    ASSERT_TRUE(test::WriteHostileFile(path, file));
    const auto size = fs::file_size(path);
    testing::internal::CaptureStderr();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(LoadSongDatabase(path), kept > 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_NE(testing::internal::GetCapturedStderr().find(logged), std::string::npos);
    EXPECT_EQ(SongCount(), kept);
    EXPECT_TRUE(!kept || Find("a.mp3").bpm + Find("c.mp3").bpm == 210);
    std::smatch aside;
    const std::string message = TakeSongDatabaseMessage();
    ASSERT_TRUE(std::regex_search(message, aside, std::regex("moved to (\\S+) and"))) << message;
    EXPECT_NE(message.find(path + ".bak"), std::string::npos) << "the backup is named";
    EXPECT_EQ(TakeSongDatabaseMessage(), "") << "told once";
    EXPECT_TRUE(size > 1000 ? fs::file_size(aside[1].str()) == size
                            : test::ReadFile(aside[1]) == file.text)
        << "moved, not changed";
  }
  const auto aside = test::FilesStartingWith(dir.Path(), "db.vtx.broken-");
  EXPECT_EQ(aside.size(), cases.size()) << "each has its own name, even within one second";
  EXPECT_TRUE(std::regex_match(aside[0], std::regex(R"(.*/db\.vtx\.broken-\d{8}-\d{6})")));
  // The next save writes a fresh file and leaves the others alone.
  ASSERT_TRUE(StoreSong(Song("new.mp3", 1)));
  ASSERT_TRUE(SaveSongDatabase(path));
  EXPECT_EQ(TempoOnDisk(path).count("new.mp3"), 1u);
  EXPECT_EQ(TempoOnDisk(path + ".bak").count("precious.mp3"), 1u);
  EXPECT_EQ(test::FilesStartingWith(dir.Path(), "db.vtx.broken-"), aside);
}

// Readers, writers and the saver at once; the thread sanitizer watches too.
TEST_F(SongDatabaseTest, ReadersAndWritersOnManyThreadsSeeWholeRecords) {
  SetSongDatabaseSaveDelayMs(0);  // the saver snapshots on every tick
  ASSERT_FALSE(LoadSongDatabase(path));
  std::atomic<bool> torn{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &torn] {
      for (int i = 0; i < 3000; ++i) {
        // Every field is derived from one number, so a torn copy shows.
        TZKSongRecord record{"shared" + std::to_string(i % 50), i, 0, float(i)}, out;
        if (t % 2 == 0)
          StoreSong(record);
        else if (FindSong(record.name, out))
          torn = torn || out.bpm != float(out.duration_ms);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_FALSE(torn.load());
  ASSERT_TRUE(SaveSongDatabase(path));
  EXPECT_EQ(TempoOnDisk(path).size(), 50u);
}

TEST_F(SongDatabaseTest, TheAudioThreadNeverTakesTheTableLock) {
  if (!kRealtimeChecksBuilt) GTEST_SKIP() << "real-time checks are not built";
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // the periodic saver runs
  ASSERT_FALSE(LoadSongDatabase(path));
  EXPECT_DEATH(
      {
        RealtimeScope audioThread;
        Find("a.mp3");
      },
      "FindSong");
}

}  // namespace
}  // namespace vantaro
