// `vantaro --analyse` as a user runs it: the lines it prints, its exit
// status, one reason per file it skips, --no-store, --key, --skip-analysed,
// paths from standard input, the database and stripes it leaves, and its
// refusal beside a running program.

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <regex>
#include <string>
#include <thread>

#include "tests/analysis/test_tracks.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

namespace fs = std::filesystem;

struct Outcome {
  int status;
  std::string out, err;
};

class AnalyseCommand : public ::testing::Test {
 protected:
  // Runs `vantaro --analyse <args>` on the test's data root.
  Outcome Analyse(const std::string& args, const std::string& input = "") {
    Outcome run;
    const std::string err = dir.File("err" + std::to_string(++runs) + ".txt");
    const std::string command = "cd '" + dir.Path() + "' && " + input + "VANTARO_HOME='" +
                                dir.Path() + "' '" VANTARO_BINARY_DIR "/vantaro' --analyse " +
                                args + " 2>'" + err + "'";
    run.status = test::RunCommand(command, &run.out);
    run.err = test::ReadFile(err);
    return run;
  }
  std::string Data(const std::string& name) const { return dir.File("Vantaro/" + name); }
  test::TempDir dir;
  std::atomic<int> runs{0};
};

// Every kind of bad file gets its reason and the status 1; the good one its
// line, its stripe file and its record in db.vtx.
TEST_F(AnalyseCommand, LinesReasonsAndWhatItStores) {
  ASSERT_TRUE(test::WriteWav(dir.File("beat.wav"), test::MakeTrack({.bpm = 120, .seconds = 20})));
  ASSERT_TRUE(test::WriteWav(dir.File("empty.wav"), {}));
  ASSERT_TRUE(test::WriteWav(dir.File("long.wav"), std::vector<float>(1201000), 1000, 1));
  test::WriteFile(dir.File("text.wav"), "not a sound file");
  const Outcome run = Analyse("beat.wav empty.wav long.wav text.wav gone.wav");
  EXPECT_EQ(run.status, 1) << run.err;
  EXPECT_TRUE(
      std::regex_match(run.out, std::regex("beat\\.wav\\t(119\\.[5-9]|120\\.[0-5])\\t-?[0-9]+"
                                           "\\.[0-9]{2}\\t\\t0\\t20000\\n")))
      << run.out;
  for (const char* reason :
       {"[1/5] beat.wav\n", "empty.wav: no audio\n", "long.wav: longer than 20 minutes\n",
        "text.wav: cannot open\n", "gone.wav: cannot open\n"})
    EXPECT_NE(run.err.find(reason), std::string::npos) << reason << " in\n" << run.err;
  EXPECT_EQ(run.err.find("-- xvt:"), std::string::npos) << "debug lines go to the log only";
  EXPECT_EQ(fs::directory_iterator(Data("Stripes"))->path().filename(), "beat.wav.vs2");
  const std::string database = test::ReadFile(Data("Database/db.vtx"));
  EXPECT_TRUE(std::regex_search(database, std::regex("<song name=\"beat.wav\" bpm=\"1[12][90]\\.")))
      << database;

  const Outcome again = Analyse("--skip-analysed beat.wav");
  EXPECT_EQ(again.status, 0);
  EXPECT_EQ(again.out, "");
  EXPECT_NE(again.err.find("beat.wav: already analysed"), std::string::npos) << again.err;
}

// Paths from standard input, --key, a manual mode, and --no-store, which
// leaves neither stripes nor a database behind.
TEST_F(AnalyseCommand, KeyAndNoStoreWithPathsFromStandardInput) {
  ASSERT_EQ(test::RunCommand("sox -n -r 44100 -b 16 '" + dir.File("chord.wav") +
                             "' synth 12 sin C4 sin E4 sin G4 remix 1-3 channels 2 vol 0.3"),
            0);
  const Outcome run = Analyse("--no-store --key --mode 130 -", "printf 'chord.wav\\n' | ");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(std::regex_match(run.out, std::regex("chord\\.wav\\t1[23][0-9]\\.[0-9]\\t-?[0-9]+\\."
                                                   "[0-9]{2}\\tC\\t20\\t12000\\n")))
      << run.out;
  EXPECT_TRUE(fs::is_empty(Data("Stripes")));
  EXPECT_FALSE(fs::exists(Data("Database/db.vtx")));
}

// Usage errors, and a second writer of db.vtx beside a running one, end
// with status 2 before anything is analysed.
TEST_F(AnalyseCommand, UsageErrorsAndARunningProgram) {
  for (const char* args : {"", "--mode 300 a.wav", "--mode fast a.wav", "--loud a.wav"}) {
    const Outcome run = Analyse(args);
    EXPECT_EQ(run.status, 2) << args;
    EXPECT_NE(run.err.find("usage: vantaro --analyse"), std::string::npos) << args;
  }
  // The first command holds the instance lock while it waits for its paths.
  std::thread first([this] { Analyse("-", "sleep 4 | "); });
  for (int i = 0; i < 200 && !fs::exists(Data("")); ++i) usleep(50000);
  const Outcome second = Analyse("a.wav");
  first.join();
  EXPECT_EQ(second.status, 2);
  EXPECT_NE(second.err.find("is running"), std::string::npos) << second.err;
}

}  // namespace
}  // namespace vantaro
