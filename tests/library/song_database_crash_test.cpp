// Crash safety of db.vtx: a child process uses the database and is killed
// with SIGKILL; what it leaves on disk must be whole and must hold what the
// periodic saver promised.

#include <fcntl.h>
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

// A running song_db_child whose standard output is read line by line.
class Child {
 public:
  Child(const std::string& mode, const std::string& dbPath, const std::string& key) {
    int pipeEnds[2];
    if (pipe(pipeEnds) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      dup2(pipeEnds[1], STDOUT_FILENO);
      close(pipeEnds[0]);
      close(pipeEnds[1]);
      execl(SONG_DB_CHILD_PATH, SONG_DB_CHILD_PATH, mode.c_str(), dbPath.c_str(), key.c_str(),
            static_cast<char*>(nullptr));
      _exit(127);
    }
    close(pipeEnds[1]);
    output_ = fdopen(pipeEnds[0], "r");
  }
  ~Child() {
    if (pid_ > 0 && !reaped_) {
      kill(pid_, SIGKILL);
      Wait();
    }
    if (output_) fclose(output_);
  }
  // The next line of output without its line end; empty at end of output.
  std::string ReadLine() {
    char line[4096];
    if (!output_ || !fgets(line, sizeof line, output_)) return {};
    std::string text(line);
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
  }
  void Kill() { kill(pid_, SIGKILL); }
  // The wait status.
  int Wait() {
    int status = 0;
    waitpid(pid_, &status, 0);
    reaped_ = true;
    return status;
  }
  bool Started() const { return pid_ > 0 && output_; }

 private:
  pid_t pid_ = -1;
  FILE* output_ = nullptr;
  bool reaped_ = false;
};

std::map<std::string, TZKSongRecord> RecordsOnDisk(const std::string& path,
                                                   SongFileStatus* status) {
  std::map<std::string, TZKSongRecord> records;
  *status = ReadSongDatabaseFile(path, [&](TZKSongRecord&& r) { records[r.name] = r; });
  return records;
}

TEST_F(SongDatabaseTest, ProcessKilledHalfAMinuteAfterLearningLeavesTheRecordOnDisk) {
  test::WriteFile(path, DbFileWith({"<song name=\"known.mp3\" bpm=\"100.0000\" />"}));
  Child child("learn", path, "learnt in the crashed run.mp3");
  ASSERT_TRUE(child.Started());
  ASSERT_EQ(child.ReadLine(), "stored");
  std::this_thread::sleep_for(std::chrono::seconds(31));
  child.Kill();
  const int status = child.Wait();
  ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "it was still running";

  SongFileStatus readStatus;
  const auto records = RecordsOnDisk(path, &readStatus);
  ASSERT_EQ(readStatus, SongFileStatus::kLoaded);
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
