// Stripe files and the track length rules of the file step: round trips,
// files too short, a quarter long or too long, one name in two folders,
// records that do not count as analysed, a folder that cannot be written,
// and the 20-minute limit.

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "analysis/analyse_file.h"
#include "analysis/stripe_file.h"
#include "base/debug_log.h"
#include "library/song_database.h"
#include "tests/analysis/analysis_folder.h"
#include "tests/analysis/test_tracks.h"

namespace vantaro {
namespace {

using StripeFiles = test::AnalysisFolder;

void StoreAnalysed(const std::string& key, float bpm, int gainValid = 1) {
  TZKSongRecord record;
  record.name = key;
  record.bpm = bpm;
  record.pgain_valid = gainValid;
  ASSERT_TRUE(StoreSong(record));
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
    for (int i = 0; i < c.samples; ++i) saved[i] = 0.001f * (i % 97);
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
// same, and no stray file is left behind.
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
  EXPECT_EQ(record.duration_ms, 12000);
}

// 1200 s is analysed into 1200 * 441 samples, a frame more into a second
// more; 1201 s is not analysed and stores nothing. Low-rate 8-bit mono
// files keep the test small.
TEST_F(StripeFiles, TwentyMinuteLimit) {
  constexpr int kRate = 2000;
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
    ASSERT_TRUE(test::WriteSilentWav(path, c.seconds, c.extraFrames, kRate));
    EXPECT_EQ(AnalyseFile(set, path, {0, false, true, Stripes()}).status, c.status);
    EXPECT_EQ(test::ReadStripeFile(StripePath(Stripes(), path)).size(), c.samples);
    TZKSongRecord record;
    EXPECT_EQ(FindSong(MakeSongKey(path), record), c.samples > 0);
  }
}

}  // namespace
}  // namespace vantaro
