// Crash safety of db.vtx: a child process uses the database and is killed
// with SIGKILL; what it leaves on disk must be whole and must hold what the
// periodic saver promised.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "library/song_database.h"
#include "library/song_database_file.h"
#include "tests/library/song_db_test_support.h"

namespace vantaro {
namespace {

using test::DbFileWith;
using test::SongDatabaseTest;

// A running song_db_child whose standard output is read line by line; its
// first line is its process id. It is killed when the test ends early.
class Child {
 public:
  Child(const std::string& mode, const std::string& dbPath, const std::string& key)
      : output_(popen(
            ("exec '" SONG_DB_CHILD_PATH "' " + mode + " '" + dbPath + "' '" + key + "'").c_str(),
            "r")),
        pid_(std::atoi(ReadLine().c_str())) {}
  ~Child() {
    if (output_ && pid_ > 0) kill(pid_, SIGKILL);
    if (output_) pclose(output_);
  }
  bool Started() const { return pid_ > 0; }
  // The next line of output without its line end; empty at end of output.
  std::string ReadLine() {
    char line[4096];
    if (!output_ || !fgets(line, sizeof line, output_)) return {};
    std::string text(line);
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
  }
  void Kill() { kill(pid_, SIGKILL); }
  // Waits for the end of the process and answers its wait status.
  int Wait() {
    const int status = pclose(output_);
    output_ = nullptr;
    return status;
  }

 private:
  FILE* output_;
  pid_t pid_;
};

TEST_F(SongDatabaseTest, ProcessKilledHalfAMinuteAfterLearningLeavesTheRecordOnDisk) {
  test::WriteFile(path, DbFileWith({"<song name=\"known.mp3\" bpm=\"100.0000\" />"}));
  Child child("learn", path, "learnt in the crashed run.mp3");
  ASSERT_TRUE(child.Started());
  ASSERT_EQ(child.ReadLine(), "stored");
  std::this_thread::sleep_for(std::chrono::seconds(31));
  child.Kill();
  const int status = child.Wait();
  ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "it was still running";

  std::map<std::string, TZKSongRecord> records;
  ASSERT_EQ(ReadSongDatabaseFile(path, [&](TZKSongRecord&& r) { records[r.name] = r; }),
            SongFileStatus::kLoaded);
  ASSERT_EQ(records.count("learnt in the crashed run.mp3"), 1u);
  const TZKSongRecord& learnt = records.at("learnt in the crashed run.mp3");
  EXPECT_EQ(learnt.bpm, 126.5f);
  EXPECT_EQ(learnt.cue[0], 44100);
  EXPECT_EQ(learnt.pgain_valid, 1);
  EXPECT_EQ(records.count("known.mp3"), 1u) << "what was there before stays";
}

TEST_F(SongDatabaseTest, ProcessKilledInTheMiddleOfASaveLeavesThePreviousFile) {
  const std::string previous =
      DbFileWith({"<song name=\"known.mp3\" bpm=\"100.0000\" duration_ms=\"1000\" />"});
  test::WriteFile(path, previous);
  Child child("crash-save", path, "never saved.mp3");
  ASSERT_TRUE(child.Started());
  const std::string line = child.ReadLine();
  ASSERT_EQ(line.rfind("writing " + path + ".tmp-", 0), 0u) << line;
  const std::string temporary = line.substr(8);
  const int status = child.Wait();
  ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);

  EXPECT_EQ(test::ReadFile(path), previous) << "the old file is untouched";
  EXPECT_NE(test::ReadFile(temporary).find("never saved.mp3"), std::string::npos)
      << "the fault really hit after the new file was written";

  // The next start reads the old records and clears the leftover.
  ASSERT_TRUE(LoadSongDatabase(path));
  TZKSongRecord record;
  EXPECT_TRUE(FindSong("known.mp3", record));
  EXPECT_FALSE(FindSong("never saved.mp3", record));
  EXPECT_FALSE(std::filesystem::exists(temporary));
  EXPECT_EQ(TakeSongDatabaseMessage(), "") << "nothing was broken";
}

}  // namespace
}  // namespace vantaro
