#include "library/song_database.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <regex>
#include <thread>

#include "base/realtime.h"
#include "library/song_database_file.h"
#include "tests/library/song_db_test_support.h"

namespace vantaro {
namespace {

using test::DbFileWith;
using test::Song;
using test::SongDatabaseTest;

std::vector<std::string> FilesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

// Waits up to `seconds` for `condition`, polling.
template <typename Condition>
bool WaitFor(Condition condition, double seconds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (std::chrono::steady_clock::now() < end) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return condition();
}

TEST_F(SongDatabaseTest, TableOperationsReplaceWholeRecordsByExactKey) {
  EXPECT_FALSE(LoadSongDatabase(path)) << "a missing file gives 0 ...";
  EXPECT_EQ(TakeSongDatabaseMessage(), "") << "... silently";
  ASSERT_TRUE(StoreSong(Song("Track.mp3", 120)));
  ASSERT_TRUE(StoreSong(Song("track.mp3", 90)));
  EXPECT_FALSE(StoreSong(Song("", 1))) << "a record needs a name";
  EXPECT_EQ(SongCount(), 2u);

  TZKSongRecord replacement = Song("Track.mp3", 0);
  replacement.cue[3] = 1234;
  ASSERT_TRUE(StoreSong(replacement));
  TZKSongRecord out = Song("stale", 77);
  out.loop_in[2] = 5;
  ASSERT_TRUE(FindSong("Track.mp3", out));
  EXPECT_EQ(out, replacement) << "the whole record is copied out";
  ASSERT_TRUE(FindSong("track.mp3", out));
  EXPECT_EQ(out.bpm, 90);

  TZKSongRecord missing = Song("keep me", 3);
  EXPECT_FALSE(FindSong("TRACK.MP3", missing));
  EXPECT_EQ(missing, Song("keep me", 3)) << "untouched when absent";

  EXPECT_TRUE(RemoveSong("track.mp3"));
  EXPECT_FALSE(RemoveSong("track.mp3"));
  EXPECT_EQ(SongCount(), 1u);
  EXPECT_TRUE(ClearSongs());
  EXPECT_EQ(SongCount(), 0u);
  EXPECT_TRUE(StoreSong(Song("after-clear.mp3", 1))) << "clearing keeps the table";

  // The close save destroys the table: nothing is found or changed after it.
  EXPECT_TRUE(SaveSongDatabase(path));
  out = Song("untouched", 1);
  EXPECT_FALSE(FindSong("after-clear.mp3", out));
  EXPECT_EQ(out.name, "untouched");
  EXPECT_FALSE(StoreSong(Song("late.mp3", 1)));
  EXPECT_FALSE(RemoveSong("after-clear.mp3"));
  EXPECT_FALSE(ClearSongs());
  EXPECT_EQ(SongCount(), 0u);
  const std::string other = dir.File("other.vtx");
  EXPECT_FALSE(SaveSongDatabase(other));
  EXPECT_FALSE(std::filesystem::exists(other)) << "no table, no file";
}

TEST_F(SongDatabaseTest, ChangesReachTheFileWithoutAClose) {
  SetSongDatabaseSaveDelayMs(300);
  ASSERT_TRUE(LoadLines({"<song name=\"old.mp3\" bpm=\"100.0000\" />"}));
  const std::string before = test::ReadFile(path);
  EXPECT_FALSE(SongDatabaseHasUnsavedChanges());
  ASSERT_TRUE(StoreSong(Song("learnt.mp3", 128)));
  EXPECT_TRUE(SongDatabaseHasUnsavedChanges());
  ASSERT_TRUE(WaitFor([&] { return !SongDatabaseHasUnsavedChanges(); }, 10));

  // The table stays usable, and the file holds both records.
  EXPECT_EQ(SongCount(), 2u);
  std::map<std::string, float> onDisk;
  ASSERT_EQ(ReadSongDatabaseFile(path, [&](TZKSongRecord&& r) { onDisk[r.name] = r.bpm; }),
            SongFileStatus::kLoaded);
  EXPECT_EQ(onDisk, (std::map<std::string, float>{{"learnt.mp3", 128}, {"old.mp3", 100}}));
  EXPECT_EQ(test::ReadFile(path + ".bak"), before);

  // Nothing changed, nothing written: the file keeps its inode.
  struct stat first, second;
  stat(path.c_str(), &first);
  std::this_thread::sleep_for(std::chrono::milliseconds(700));
  stat(path.c_str(), &second);
  EXPECT_EQ(first.st_ino, second.st_ino);

  ASSERT_TRUE(RemoveSong("old.mp3"));
  ASSERT_TRUE(
      WaitFor([&] { return test::ReadFile(path).find("old.mp3") == std::string::npos; }, 10));
}

TEST_F(SongDatabaseTest, ABrokenFileIsMovedAsideAndTheUserToldOnce) {
  const std::string broken =
      DbFileWith({"<song name=\"precious.mp3\" bpm=\"120.0000\" />"}).substr(0, 150);
  test::WriteFile(path, broken);
  test::WriteFile(path + ".bak", DbFileWith({"<song name=\"precious.mp3\" />"}));
  EXPECT_FALSE(LoadSongDatabase(path));
  EXPECT_EQ(SongCount(), 0u);

  std::string asideName;
  for (const std::string& name : FilesIn(dir.Path()))
    if (std::regex_match(name, std::regex(R"(db\.vtx\.broken-\d{8}-\d{6})"))) asideName = name;
  ASSERT_NE(asideName, "") << "moved aside with a time stamp";
  EXPECT_EQ(test::ReadFile(dir.File(asideName)), broken) << "moved, not changed";
  EXPECT_FALSE(std::filesystem::exists(path));

  const std::string message = TakeSongDatabaseMessage();
  EXPECT_NE(message.find(dir.File(asideName)), std::string::npos) << message;
  EXPECT_NE(message.find(path + ".bak"), std::string::npos) << "the backup is named";
  EXPECT_EQ(TakeSongDatabaseMessage(), "") << "told once";

  // The next save writes a fresh file and leaves the broken one and the
  // backup alone.
  ASSERT_TRUE(StoreSong(Song("new.mp3", 1)));
  ASSERT_TRUE(SaveSongDatabase(path));
  EXPECT_NE(test::ReadFile(path).find("new.mp3"), std::string::npos);
  EXPECT_EQ(test::ReadFile(dir.File(asideName)), broken);
  EXPECT_NE(test::ReadFile(path + ".bak").find("precious.mp3"), std::string::npos);

  // An empty file is as broken as a torn one; a second broken file in the
  // same second gets its own name.
  test::WriteFile(path, "");
  EXPECT_FALSE(LoadSongDatabase(path));
  test::WriteFile(path, "not xml");
  EXPECT_FALSE(LoadSongDatabase(path));
  int asideCount = 0;
  for (const std::string& name : FilesIn(dir.Path()))
    asideCount += name.rfind("db.vtx.broken-", 0) == 0;
  EXPECT_EQ(asideCount, 3);
}

TEST_F(SongDatabaseTest, LeftoversOfAnInterruptedSaveAreRemovedAtLoad) {
  test::WriteFile(path, DbFileWith({"<song name=\"a.mp3\" />"}));
  test::WriteFile(path + ".tmp-Ab12Cd", "half a file");
  test::WriteFile(dir.File("other.tmp-Ab12Cd"), "someone else's");
  ASSERT_TRUE(LoadSongDatabase(path));
  EXPECT_EQ(FilesIn(dir.Path()), (std::vector<std::string>{"db.vtx", "other.tmp-Ab12Cd"}));
}

TEST_F(SongDatabaseTest, ReadersAndWritersOnManyThreadsSeeWholeRecords) {
  SetSongDatabaseSaveDelayMs(0);  // the saver snapshots on every tick
  ASSERT_FALSE(LoadSongDatabase(path));
  std::atomic<bool> torn{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &torn] {
      for (int i = 0; i < 3000; ++i) {
        // Every field of a record is derived from one number, so a torn
        // copy shows.
        TZKSongRecord record = Song("shared" + std::to_string(i % 50) + ".mp3", float(i));
        record.duration_ms = i;
        for (int& cue : record.cue) cue = i;
        if (t % 2 == 0) {
          StoreSong(record);
        } else {
          TZKSongRecord out;
          if (FindSong(record.name, out)) {
            for (int cue : out.cue)
              if (cue != out.duration_ms || float(cue) != out.bpm) torn = true;
          }
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_FALSE(torn.load());
  EXPECT_EQ(SongCount(), 50u);
  ASSERT_TRUE(SaveSongDatabase(path));
  int onDisk = 0;
  ReadSongDatabaseFile(path, [&](TZKSongRecord&&) { ++onDisk; });
  EXPECT_EQ(onDisk, 50);
}

TEST_F(SongDatabaseTest, TheAudioThreadNeverTakesTheTableLock) {
  if (!kRealtimeChecksBuilt) GTEST_SKIP() << "real-time checks are not built";
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // the periodic saver runs
  ASSERT_FALSE(LoadSongDatabase(path));
  EXPECT_DEATH(
      {
        RealtimeScope audioThread;
        TZKSongRecord out;
        FindSong("a.mp3", out);
      },
      "FindSong");
}

}  // namespace
}  // namespace vantaro
