// The file step's storage and its worker: stripe files (round trips, files
// too short, a quarter long or too long, one name in two folders), records
// that do not count as analysed, a folder that cannot be written, the
// 20-minute limit; the background worker's queue rules, its stop flag, and
// how it shares the codec lock with a deck load (a test codec logs reads).

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <mutex>
#include <numeric>
#include <thread>
#include <vector>

#include "analysis/analysis_worker.h"
#include "analysis/stripe_file.h"
#include "base/debug_log.h"
#include "codecs/decoder_wav.h"
#include "engine/sound_source.h"
#include "library/song_database.h"
#include "tests/analysis/test_tracks.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

// A temporary data folder with a Stripes folder and a loaded song database,
// saved and closed at the end of each test.
class StripeFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directory(Stripes());
    LoadSongDatabase(dir.File("db.vtx"));
  }
  void TearDown() override { SaveSongDatabase(dir.File("db.vtx")); }
  std::string Stripes() const { return dir.Path() + "/Stripes/"; }
  test::TempDir dir;
};

void StoreAnalysed(const std::string& key, float bpm, int gainValid = 1) {
  ASSERT_TRUE(StoreSong({.name = key, .bpm = bpm, .pgain_valid = gainValid}));
}

// A deck expecting 4410 samples; files of several lengths saved under one
// path and loaded under another. At least a quarter (in samples: the byte
// count is compared with the sample count) loads; nothing past the expected
// count is read; what the file does not cover keeps what it held.
TEST_F(StripeFiles, LengthsAndFolders) {
  constexpr int kExpected = 4410, kGuard = 8;
  const struct {
    int samples;
    const char* loadPath;
    bool loaded;
  } cases[] = {{kExpected, "/a/song.wav", true},
               {kExpected / 4 + 1, "/a/song.wav", true},
               {kExpected / 4 - 1, "/a/song.wav", false},
               {2 * kExpected, "/a/song.wav", true},
               {kExpected, "/b/song.wav", true}};
  StoreAnalysed("song.wav", 120);
  for (const auto& c : cases) {
    std::vector<float> saved(c.samples);
    std::iota(saved.begin(), saved.end(), 1.0f);
    ASSERT_TRUE(SaveStripes(Stripes(), "/a/song.wav", saved.data(), c.samples));
    std::vector<float> deck(kExpected + kGuard, -7.0f);
    const StripeLoad load = LoadStripes(Stripes(), c.loadPath, deck.data(), kExpected);
    EXPECT_EQ(load.loaded, c.loaded) << c.samples << " samples";
    if (!c.loaded) continue;
    EXPECT_EQ(load.bpm, 120.0f);
    const int covered = std::min(c.samples, kExpected);
    EXPECT_TRUE(std::equal(saved.begin(), saved.begin() + covered, deck.begin()));
    EXPECT_TRUE(std::all_of(deck.begin() + covered, deck.end(), [](float v) { return v == -7.0f; }))
        << c.samples << " samples";
  }
}

// Records that leave the deck to analyse: none, gain not measured, a tempo
// below 1 (0.5 counts as not analysed), no stripe file. A deck without
// stripes takes any stored tempo above 10 and reads no file.
TEST_F(StripeFiles, RecordsThatDoNotCount) {
  const struct {
    const char* track;
    float bpm;
    int gainValid;
    bool fileSaved, light, loaded;
  } cases[] = {
      {"none.wav", 0, 0, true, false, false},    {"gain.wav", 120, 0, true, false, false},
      {"half.wav", 0.5f, 1, true, false, false}, {"nofile.wav", 120, 1, false, false, false},
      {"light.wav", 120, 0, false, true, true},  {"slow.wav", 8, 1, true, true, false},
  };
  std::vector<float> stripe(441, 0.1f);
  for (const auto& c : cases) {
    if (c.bpm > 0) StoreAnalysed(c.track, c.bpm, c.gainValid);
    if (c.fileSaved) SaveStripes(Stripes(), c.track, stripe.data(), 441);
    EXPECT_EQ(LoadStripes(Stripes(), c.track, stripe.data(), 441, c.light).loaded, c.loaded)
        << c.track;
  }
}

// A stripe that cannot be written is logged; the record is stored all the
// same.
TEST_F(StripeFiles, UnwritableFolderStoresTheRest) {
  const std::string path = dir.File("beat.wav");
  ASSERT_TRUE(test::WriteWav(path, test::MakeTrack({.bpm = 120, .seconds = 12})));
  SetDebugLogFolder(dir.Path());
  AnalysisSet set;
  const AnalyseOutcome outcome = AnalyseFile(set, path, {0, false, true, dir.File("none/")});
  SetDebugLogFolder("");
  EXPECT_FALSE(outcome.stripeWritten);
  EXPECT_NE(test::ReadFile(dir.File("vantaro.log")).find("can not write stripe"),
            std::string::npos);
  TZKSongRecord record;
  ASSERT_TRUE(FindSong("beat.wav", record));
  EXPECT_GT(record.bpm, 10);
  EXPECT_EQ(record.pgain_valid, 1);
}

// 1200 s is analysed into 1200 * 441 samples, a frame more into a second
// more; 1201 s is not analysed and stores nothing. Low-rate mono files keep
// the test small.
TEST_F(StripeFiles, TwentyMinuteLimit) {
  constexpr int kRate = 1000;
  const struct {
    int seconds, extraFrames;
    AnalyseStatus status;
    size_t samples;
  } cases[] = {{1200, 0, AnalyseStatus::kAnalysed, 1200 * 441},
               {1200, 1, AnalyseStatus::kAnalysed, 1201 * 441},
               {1201, 0, AnalyseStatus::kTooLong, 0}};
  AnalysisSet set;
  for (const auto& c : cases) {
    const std::string path =
        dir.File(std::to_string(c.seconds) + "-" + std::to_string(c.extraFrames) + ".wav");
    ASSERT_TRUE(
        test::WriteWav(path, std::vector<float>(c.seconds * kRate + c.extraFrames), kRate, 1));
    EXPECT_EQ(AnalyseFile(set, path, {0, false, true, Stripes()}).status, c.status);
    EXPECT_EQ(test::ReadStripeFile(StripePath(Stripes(), path)).size(), c.samples);
    TZKSongRecord record;
    EXPECT_EQ(FindSong(MakeSongKey(path), record), c.samples > 0);
  }
}

std::mutex logLock;
std::string readLog;  // one letter per read, by reader
// Appends `reader` (when not 0) to the read log; returns the log.
std::string ReadLog(char reader = 0) {
  std::lock_guard<std::mutex> hold(logLock);
  if (reader) readLog += reader;
  return readLog;
}

// The WAV reader, for paths ending in "logged": each read is logged under
// its reader's letter, takes 20 ms more, then runs `hook`.
struct LoggedCodec : CDecoderWAV {
  LoggedCodec(
      char reader, std::function<void()> hook = [] {})
      : CDecoderWAV(99), reader(reader), hook(std::move(hook)) {}
  bool AcceptsPath(const std::string& path) const override { return path.ends_with("logged"); }
  int GetSamples(void* buffer, int frames, int64_t start) override {
    ReadLog(reader);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    hook();
    return CDecoderWAV::GetSamples(buffer, frames, start);
  }
  char reader;
  std::function<void()> hook;
};

// 20 s of silence at `name` (in `dir`), for the LoggedCodec.
void WriteLogged(const test::TempDir& dir, const std::string& name) {
  test::WriteWav(dir.File("silence.wav"), std::vector<float>(20 * 44100), 44100, 1);
  std::filesystem::rename(dir.File("silence.wav"), dir.File(name));
}

class AnalysisWorkerTest : public StripeFiles {
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
    StoreSong({.name = name, .bpm = bpm});
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
  WriteLogged(dir, "cut.logged");
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
  for (const char* name : {"long.logged", "deck.logged"}) WriteLogged(dir, name);
  worker.Set().codecs.AddCodec(std::make_unique<LoggedCodec>('W'));
  worker.QueueForAnalysis(dir.File("long.logged"));
  std::thread background([&] { worker.RunStep(); });
  while (ReadLog().size() < 3) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  {
    // This thread runs the deck's store routine; the mono file takes the
    // set's conversion, under the lock, like a compressed one.
    CSoundSource deck(0, dir.Path() + "/");
    deck.UseDecoder(MakeCodecSetDeckDecoder(0, std::make_unique<LoggedCodec>('D')));
    ReadLog('r');
    ASSERT_EQ(deck.LoadSong(dir.File("deck.logged"), false, nullptr, false), 1);
    deck.StoreThreadRun();
    EXPECT_TRUE(deck.IsSongReady());
  }
  background.join();
  const std::string log = ReadLog();
  const size_t request = log.find('r'), block0 = log.find('D');
  ASSERT_LT(request, block0) << log;
  const std::string between = log.substr(request, block0 - request);
  EXPECT_LE(std::count(between.begin(), between.end(), 'W'), 1) << log;
  EXPECT_EQ(results, std::vector<std::string>{dir.File("long.logged")});
}

}  // namespace
}  // namespace vantaro
