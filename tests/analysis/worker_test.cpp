// The background worker: which queued paths it passes over, what it hands
// on, the stop flag, and how it shares the codec lock with a deck load (a
// test codec logs every read).

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "analysis/analysis_worker.h"
#include "analysis/stripe_file.h"
#include "codecs/base_codec.h"
#include "library/song_database.h"
#include "tests/analysis/analysis_folder.h"
#include "tests/analysis/test_tracks.h"

namespace vantaro {
namespace {

// 20 s of 16-bit stereo silence for paths ending in "logged". Each read
// logs its reader's tag, takes 20 ms, and may run a hook (after the log).
class LoggedCodec : public CBaseCodec {
 public:
  static std::mutex logLock;
  static std::string log;

  LoggedCodec(char tag, std::function<void()> hook = nullptr)
      : CBaseCodec(99), tag_(tag), hook_(std::move(hook)) {}
  int Open(const std::string& path, TCodecFormat& format, int) override {
    if (!path.ends_with("logged")) return 0;
    format = {44100, 2, 16, 16, 0, 20 * 44100};
    frameSize = 4;
    return opened = 1;
  }
  int GetSamples(void* buffer, int frames, int64_t start) override {
    Log(tag_);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    std::memset(buffer, 0, size_t(frames) * 4);
    if (hook_) hook_();
    return static_cast<int>(std::min<int64_t>(frames, 20 * 44100 - start));
  }
  int PutSamples(const void*, int) override { return 0; }
  int IsBigEndian() override { return 0; }
  float GetSeconds() override { return 20; }
  void Close() override { opened = 0; }
  static void Log(char c) {
    std::lock_guard<std::mutex> hold(logLock);
    log += c;
  }
  static std::string Logged() {
    std::lock_guard<std::mutex> hold(logLock);
    return log;
  }

 private:
  char tag_;
  std::function<void()> hook_;
};
std::mutex LoggedCodec::logLock;
std::string LoggedCodec::log;

class AnalysisWorkerTest : public test::AnalysisFolder {
 protected:
  AnalysisWorker worker{Stripes(), [this](const AnalysisMessage& m) { results.push_back(m.path); },
                        [this](const std::string& text) { statuses.push_back(text); }};
  std::vector<std::string> results, statuses;
};

// Deleted files and tracks with a tempo above 10 and a stripe file are
// passed over; a CD track ("$") counts as present; a track analysed with a
// tempo of 10 or less is analysed again. One analysis per step.
TEST_F(AnalysisWorkerTest, PassesOverWhatNeedsNoAnalysis) {
  const std::vector<float> clicks = test::MakeTrack({.bpm = 120, .seconds = 11});
  std::vector<float> stripe(441, 0.0f);
  for (const auto& [name, bpm] : {std::pair{"done.wav", 120.0f}, std::pair{"slow.wav", 8.0f}}) {
    ASSERT_TRUE(test::WriteWav(dir.File(name), clicks));
    TZKSongRecord record;
    record.name = name;
    record.bpm = bpm;
    StoreSong(record);
    SaveStripes(Stripes(), name, stripe.data(), 441);
  }
  ASSERT_TRUE(test::WriteWav(dir.File("new.wav"), clicks));
  for (const std::string& path :
       {dir.File("gone.wav"), dir.File("done.wav"), std::string("/dev/sr0/Track01.cda$"),
        dir.File("slow.wav"), dir.File("new.wav")})
    worker.QueueForAnalysis(path);
  for (int step = 0; step < 4; ++step) worker.RunStep();
  EXPECT_EQ(results, (std::vector<std::string>{dir.File("slow.wav"), dir.File("new.wav")}));
  EXPECT_EQ(statuses, (std::vector<std::string>{"/dev/sr0/Track01.cda$ [ 2 ]",
                                                dir.File("slow.wav") + " [ 1 ]",
                                                dir.File("new.wav") + " [ 0 ]", ""}));
  TZKSongRecord record;
  ASSERT_TRUE(FindSong("slow.wav", record));
  EXPECT_GT(record.bpm, 10);
  EXPECT_FALSE(NeedsAnalysis(Stripes(), dir.File("new.wav")));
}

// Close stops a file between two seconds: nothing is stored, nothing handed
// on, and later steps return at once.
TEST_F(AnalysisWorkerTest, StopCutsAFileOffWithoutATrace) {
  int reads = 0;
  worker.Set().codecs.AddCodec(std::make_unique<LoggedCodec>('W', [&] {
    if (++reads == 3) worker.RequestStop();
  }));
  worker.QueueForAnalysis(dir.File("cut.logged"));
  test::WriteFile(dir.File("cut.logged"), "");
  worker.RunStep();
  worker.QueueForAnalysis(dir.File("cut.logged"));
  worker.RunStep();
  EXPECT_EQ(reads, 3);
  EXPECT_TRUE(results.empty());
  TZKSongRecord record;
  EXPECT_FALSE(FindSong("cut.logged", record));
  EXPECT_FALSE(std::filesystem::exists(StripePath(Stripes(), "cut.logged")));
  EXPECT_EQ(worker.QueuedCount(), 1u);
}

// A deck load while the worker analyses: the worker holds the codec lock
// for one read at a time, so at most one worker read ('W') comes between
// the deck's request ('r') and its block 0 ('D'). Also run under the thread
// sanitizer.
TEST_F(AnalysisWorkerTest, AnalysisThreadsDeckLoadWaitsForOneReadAtMost) {
  for (const char* name : {"long.logged", "deck.logged"}) test::WriteFile(dir.File(name), "");
  worker.Set().codecs.AddCodec(std::make_unique<LoggedCodec>('W'));
  worker.QueueForAnalysis(dir.File("long.logged"));
  std::thread background([&] { worker.RunStep(); });
  while (LoggedCodec::Logged().size() < 3)
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  {
    // A deck reads as it would a compressed file: through the float path,
    // under the lock.
    CCodecSet deck(100);
    deck.AddCodec(std::make_unique<LoggedCodec>('D'));
    TCodecFormat format{44100, 2, 32, 32, 0, 0};
    LoggedCodec::Log('r');
    ASSERT_EQ(deck.Open(dir.File("deck.logged"), format, kCodecRead, 44100), 1);
    std::vector<float> block(2 * 44100);
    EXPECT_EQ(deck.GetFloatSamples(block.data(), 44100, 0), 44100);
  }
  background.join();
  const std::string log = LoggedCodec::Logged();
  const size_t request = log.find('r'), block0 = log.find('D');
  ASSERT_LT(request, block0) << log;
  const std::string between = log.substr(request, block0 - request);
  EXPECT_LE(std::count(between.begin(), between.end(), 'W'), 1) << log;
  EXPECT_EQ(results, std::vector<std::string>{dir.File("long.logged")});
}

}  // namespace
}  // namespace vantaro
