// Tempo and beat marks: generated click tracks and drum loops read through
// the codec set (WAV and MP3) across each mode's range, the edges of the
// detector (breaks, silence, short tracks), the tracker's walks, the interim
// tempo and the deck's whole-track step.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "analysis/analyse_file.h"
#include "analysis/audible_range.h"
#include "analysis/beat_marks.h"
#include "analysis/bpm_detect.h"
#include "analysis/stripe_file.h"
#include "tests/analysis/test_tracks.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::Beat;
using test::TrackPlan;

// Analyses `plan` written as a file and returns its tempo; `stripe` gets
// the stripe file. One analysis set serves every call of a test process.
float AnalyseTrack(const TrackPlan& plan, int mode, std::vector<float>& stripe, bool mp3 = false) {
  test::TempDir dir;
  std::string path = dir.File("track.wav");
  if (!test::WriteWav(path, test::MakeTrack(plan))) return -100;
  const std::string mp3Path = path + ".mp3";
  if (mp3 && test::RunCommand("ffmpeg -v error -i '" + path + "' -b:a 128k '" + mp3Path + "'"))
    return -100;
  if (mp3) path = mp3Path;
  static AnalysisSet set;
  const AnalyseOptions options{mode, false, true, dir.Path() + "/"};
  const float bpm = AnalyseFile(set, path, options).bpm;
  stripe = test::ReadStripeFile(StripePath(options.stripesFolder, path));
  return bpm;
}

struct TempoCase {
  Beat beat;
  double bpm;
  int mode;
  bool mp3;
};

void PrintTo(const TempoCase& c, std::ostream* out) {
  *out << (c.mp3 ? "MP3 " : "") << (c.beat == Beat::kClick ? "clicks " : "drums ") << c.bpm
       << " BPM, mode " << c.mode;
}

class TempoTest : public ::testing::TestWithParam<TempoCase> {};

TEST_P(TempoTest, FoundWithinHalfABpmWithMarksOnTheBeats) {
  const TempoCase c = GetParam();
  const TrackPlan plan{.bpm = c.bpm, .seconds = 40, .beat = c.beat};
  std::vector<float> stripe;
  EXPECT_NEAR(AnalyseTrack(plan, c.mode, stripe, c.mp3), c.bpm, 0.5);
  const std::vector<int> marks = test::MarksIn(stripe, 50, 60);
  const size_t beats = test::BeatFrames(plan).size();
  EXPECT_GE(marks.size(), beats * 9 / 10);
  EXPECT_EQ(test::MarksOnBeats(plan, marks), static_cast<int>(marks.size()));
}

const TempoCase kTempoCases[] = {
    {Beat::kClick, 80, 0, false},   {Beat::kClick, 123, 0, false},  {Beat::kDrums, 149, 0, false},
    {Beat::kClick, 57, -1, false},  {Beat::kDrums, 97, -1, false},  {Beat::kClick, 102, -2, false},
    {Beat::kDrums, 156, -2, false}, {Beat::kClick, 192, -2, false}, {Beat::kDrums, 128, 128, false},
    {Beat::kClick, 120, 0, true},
};
INSTANTIATE_TEST_SUITE_P(Modes, TempoTest, ::testing::ValuesIn(kTempoCases));

// A 15 s break: the walk stops there with a loss mark, and the tracker
// starts again behind it. A second run gives the same tempo and marks: the
// tracker keeps nothing between runs and the sums run in a fixed order.
TEST(AnalysisTempo, BreakGetsALossMarkAndTrackingResumes) {
  const TrackPlan plan{
      .bpm = 120, .seconds = 75, .beat = Beat::kClick, .breakStart = 30, .breakSeconds = 15};
  std::vector<float> stripe, again;
  const float bpm = AnalyseTrack(plan, 0, stripe);
  EXPECT_NEAR(bpm, 120, 0.5);
  EXPECT_EQ(AnalyseTrack(plan, 0, again), bpm);
  EXPECT_EQ(again, stripe);
  const std::vector<int> losses = test::MarksIn(stripe, 60, 70);
  ASSERT_EQ(losses.size(), 1u);
  EXPECT_NEAR(losses[0], 30 * 441, 221) << "at the break's start";
  std::vector<int> behind;
  for (int mark : test::MarksIn(stripe, 50, 60))
    if (mark > 45 * 441) behind.push_back(mark);
  EXPECT_GE(behind.size(), 55u);
  EXPECT_EQ(MarksOnBeats(plan, behind), static_cast<int>(behind.size()));
}

// The edges of DetectBpm: under 10 s gives 0 and no marks; silence tracks
// nothing and keeps the refined tempo (the top of the range); a track of
// 30 to 38 s has no block to correlate, so its coarse tempo is the top too.
TEST(AnalysisTempo, ShortTracksAndSilence) {
  for (const auto& [seconds, gain, low, high] :
       {std::tuple{9, 1.0, 0.0, 0.0}, {20, 0.0, 149.0, 150.0}}) {
    std::vector<float> stripe;
    const float bpm =
        AnalyseTrack({.bpm = 100, .seconds = double(seconds), .gain = gain}, 0, stripe);
    EXPECT_TRUE(bpm >= low && bpm <= high) << seconds << " s: " << bpm;
    EXPECT_TRUE(test::MarksIn(stripe, 50, 1e9).empty()) << seconds << " s";
  }
  const std::vector<float> stripe = test::StripeOf(test::MakeTrack({.bpm = 100, .seconds = 45}));
  std::vector<float> onset(stripe.size());
  BeatTracker tracker;
  for (const auto& [seconds, coarse] : {std::pair{35, 150}, std::pair{45, 100}}) {
    const int length = seconds * kStripePerSecond;
    MakeOnset(tracker, stripe.data(), onset.data(), length, seconds, true);
    EXPECT_EQ(CoarseSearch(onset.data(), length, seconds, 0).bpm, coarse) << seconds << " s";
  }
}

// A walk measures a tempo (and adds it to the average) only from 21 beats
// on. Onsets every 200 samples; `to` decides whether the 21st beat fits.
TEST(AnalysisTempo, WalksUnder21BeatsAddNothing) {
  std::vector<float> onset(5000, 0.0f);
  for (int at = 10; at < 5000; at += 200) onset[at] = 1.0f;
  for (const auto& [to, counted] : {std::pair{4022, 0}, std::pair{4023, 1}}) {
    BeatTracker tracker;
    const BeatTracker::Walk walk = tracker.WalkForward(onset.data(), nullptr, 10, to, 132.3f, 1);
    EXPECT_EQ(tracker.tempoCount, counted) << "to " << to;
    EXPECT_NEAR(walk.tempo, counted ? 132.3 : -1, 0.05) << "to " << to;
  }
}

// Automatic cues on stripes of known level: the first sample above -10 dB
// in the first half, the last above -12 dB in the second, marks taken off;
// tracks under 60 s, and cues in force, keep 0 and the track's end.
TEST(AnalysisTempo, AutomaticCuesOnStripesOfKnownLevel) {
  constexpr int kCount = 60 * kStripePerSecond;
  const struct {
    int at;
    float value;
    int64_t frames;
    bool search;
    int64_t start, end;
  } cases[] = {
      {1000, 0.5f, 6000000, true, 100000, 6000000},  // -6 dB: a start, no end before it
      {20000, 0.5f, 6000000, true, 0, 2000000},      // in the second half: an end
      {1000, 0.28f, 6000000, true, 0, 6000000},      // -11 dB: not loud enough for a start
      {20000, 0.28f, 6000000, true, 0, 2000000},     // ... but for an end
      {1000, kBeatMark + 0.5f, 6000000, true, 100000, 6000000},  // a marked sample
      {1000, kBeatMark + 0.01f, 6000000, true, 0, 6000000},      // the mark alone is not a level
      {1000, -0.5f, 6000000, true, 100000, 6000000},             // the level's sign does not count
      {1000, 0.5f, 2645999, true, 0, 2645999},                   // under 60 s
      {1000, 0.5f, 6000000, false, 0, 6000000},                  // a cue in force: no search
  };
  for (const auto& c : cases) {
    std::vector<float> stripe(kCount, 0.01f);
    stripe[c.at] = c.value;
    const AudibleRange range =
        FindAudibleRange(stripe.data(), kCount, c.frames, c.search, c.search);
    EXPECT_EQ(range.start, c.start) << c.at << " " << c.value;
    EXPECT_EQ(range.end, c.end) << c.at << " " << c.value;
  }
}

}  // namespace
}  // namespace vantaro
