// Tempo and beat marks: generated click tracks and drum loops read through
// the codec set (WAV and MP3) across each mode's range, the edges of the
// detector (breaks, silence, short tracks), the tracker's walks, the interim
// tempo and the deck's whole-track step.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "analysis/analyse_file.h"
#include "analysis/beat_marks.h"
#include "analysis/bpm_detect.h"
#include "analysis/deck_analysis.h"
#include "analysis/stripe_file.h"
#include "tests/analysis/test_tracks.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::Beat;
using test::TrackSpec;

// Analyses `spec` written as a file and returns its tempo; `stripe` gets
// the stripe file.
float AnalyseTrack(const TrackSpec& spec, int mode, std::vector<float>& stripe, bool mp3 = false) {
  test::TempDir dir;
  std::string path = dir.File("track.wav");
  if (!test::WriteWav(path, test::MakeTrack(spec))) return -100;
  if (mp3) {
    if (!test::EncodeMp3(path, dir.File("track.mp3"))) return -100;
    path = dir.File("track.mp3");
  }
  AnalysisSet set;
  const AnalyseOptions options{mode, false, true, dir.Path() + "/"};
  const float bpm = AnalyseFile(set, path, options).bpm;
  stripe = test::ReadStripeFile(StripePath(options.stripesFolder, path));
  return bpm;
}

// Marks that stand within 6 stripe samples (14 ms) of a beat of `spec`,
// among `marks`.
int MarksOnBeats(const TrackSpec& spec, const std::vector<int>& marks) {
  const std::vector<long> beats = test::BeatFrames(spec);
  return static_cast<int>(std::count_if(marks.begin(), marks.end(), [&](int mark) {
    return std::any_of(beats.begin(), beats.end(),
                       [&](long beat) { return std::abs(mark - beat / 100.0) <= 6; });
  }));
}

struct TempoCase {
  Beat beat;
  double bpm;
  int mode;
  bool mp3;
};

class TempoTest : public ::testing::TestWithParam<TempoCase> {};

TEST_P(TempoTest, FoundWithinHalfABpmWithMarksOnTheBeats) {
  const TempoCase c = GetParam();
  const TrackSpec spec{.bpm = c.bpm, .seconds = 40, .beat = c.beat};
  std::vector<float> stripe;
  EXPECT_NEAR(AnalyseTrack(spec, c.mode, stripe, c.mp3), c.bpm, 0.5);
  const std::vector<int> marks = test::MarksIn(stripe, 50, 60);
  const size_t beats = test::BeatFrames(spec).size();
  EXPECT_GE(marks.size(), beats * 9 / 10);
  EXPECT_EQ(MarksOnBeats(spec, marks), static_cast<int>(marks.size()));
}

INSTANTIATE_TEST_SUITE_P(Modes, TempoTest,
                         ::testing::Values(TempoCase{Beat::kClick, 80, 0, false},
                                           TempoCase{Beat::kClick, 123, 0, false},
                                           TempoCase{Beat::kDrums, 149, 0, false},
                                           TempoCase{Beat::kClick, 57, -1, false},
                                           TempoCase{Beat::kDrums, 97, -1, false},
                                           TempoCase{Beat::kClick, 102, -2, false},
                                           TempoCase{Beat::kDrums, 156, -2, false},
                                           TempoCase{Beat::kClick, 192, -2, false},
                                           TempoCase{Beat::kDrums, 128, 128, false},
                                           TempoCase{Beat::kClick, 120, 0, true}));

// A 15 s break: the walk stops there with a loss mark, and the tracker
// starts again behind it.
TEST(AnalysisTempo, BreakGetsALossMarkAndTrackingResumes) {
  const TrackSpec spec{
      .bpm = 120, .seconds = 75, .beat = Beat::kClick, .breakStart = 30, .breakSeconds = 15};
  std::vector<float> stripe;
  EXPECT_NEAR(AnalyseTrack(spec, 0, stripe), 120, 0.5);
  const std::vector<int> losses = test::MarksIn(stripe, 60, 70);
  ASSERT_EQ(losses.size(), 1u);
  EXPECT_NEAR(losses[0], 30 * 441, 221) << "at the break's start";
  std::vector<int> behind;
  for (int mark : test::MarksIn(stripe, 50, 60))
    if (mark > 45 * 441) behind.push_back(mark);
  EXPECT_GE(behind.size(), 55u);
  EXPECT_EQ(MarksOnBeats(spec, behind), static_cast<int>(behind.size()));
}

// The edges of DetectBpm: under 10 s gives 0 and no marks; silence tracks
// nothing and keeps the refined tempo (the top of the range); a track of
// 30 to 38 s has no block to correlate, so its coarse tempo is the top too.
TEST(AnalysisTempo, ShortTracksAndSilence) {
  BeatTracker tracker;
  const struct {
    double seconds;
    bool silent;
    float low, high;
  } cases[] = {{9, false, 0, 0}, {20, true, 149, 150}};
  for (const auto& c : cases) {
    const TrackSpec spec{.bpm = 100, .seconds = c.seconds, .gain = c.silent ? 0.0 : 1.0};
    std::vector<float> stripe = test::StripeOf(test::MakeTrack(spec));
    std::vector<float> onset(stripe.size());
    const float bpm = DetectBpm(tracker, static_cast<int>(stripe.size()), stripe.data(),
                                onset.data(), static_cast<int>(c.seconds), 0);
    EXPECT_GE(bpm, c.low) << c.seconds << " s";
    EXPECT_LE(bpm, c.high) << c.seconds << " s";
    EXPECT_TRUE(test::MarksIn(stripe, 50, 1e9).empty()) << c.seconds << " s";
  }
  for (const auto& [seconds, coarse] : {std::pair{35, 150}, std::pair{45, 100}}) {
    const std::vector<float> stripe = test::StripeOf(test::MakeTrack({.bpm = 100, .seconds = 45}));
    std::vector<float> onset(stripe.size());
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

// The tracker keeps nothing between runs and the sums run in a fixed
// order: a second run on the same stripe gives the same tempo and marks.
// Taking the marks off leaves no value in a mark band.
TEST(AnalysisTempo, SecondRunGivesTheSameResult) {
  const std::vector<float> original =
      test::StripeOf(test::MakeTrack({.bpm = 131, .seconds = 40, .beat = Beat::kDrums}));
  const int length = static_cast<int>(original.size());
  std::vector<float> onset(original.size());
  BeatTracker tracker;
  std::vector<float> runs[2] = {original, original};
  float tempos[2];
  for (int run = 0; run < 2; ++run)
    tempos[run] = DetectBpm(tracker, length, runs[run].data(), onset.data(), 40, 0);
  EXPECT_EQ(tempos[0], tempos[1]);
  EXPECT_EQ(runs[0], runs[1]);
  ClearBeatMarks(runs[0].data(), length);
  EXPECT_TRUE(test::MarksIn(runs[0], 50, 1e9).empty());
}

// The deck's chain: blocks in as the store decodes them, an interim tempo
// from the first ten, the whole-track step at the end (a whole BPM; music
// never reaches the automatic cue level).
TEST(AnalysisTempo, DeckChainInterimAndWholeTrack) {
  const TrackSpec spec{.bpm = 126, .seconds = 62, .beat = Beat::kDrums};
  const std::vector<float> mono = test::MakeTrack(spec);
  DeckAnalysis deck;
  deck.Start();
  std::vector<float> stripe(62 * kStripePerSecond), onset(stripe.size());
  std::vector<std::int16_t> block(2 * kSecondFrames);
  for (int b = 0; b < 62; ++b) {
    for (int i = 0; i < kSecondFrames; ++i)
      block[2 * i] = block[2 * i + 1] =
          static_cast<std::int16_t>(mono[b * kSecondFrames + i] * 32767);
    deck.FeedBlock(block.data(), kSecondFrames, stripe.data() + b * kStripePerSecond);
  }
  std::vector<float> group(stripe.begin(), stripe.begin() + DeckAnalysis::kInterimLength);
  std::vector<float> groupOnset(group.size());
  EXPECT_NEAR(deck.InterimTempo(group.data(), groupOnset.data(), 0), 126, 0.7);
  EXPECT_FALSE(test::MarksIn(group, 50, 60).empty());
  const int64_t frames = 62 * kSecondFrames;
  const DeckAnalysis::WholeTrack whole = deck.RunWholeTrack(
      stripe.data(), onset.data(), static_cast<int>(stripe.size()), 62, 0, frames, true, true);
  EXPECT_EQ(whole.bpm, 126.0f);
  EXPECT_GT(whole.gainDb, -15.0f);
  EXPECT_LT(whole.gainDb, 0.0f);
  EXPECT_EQ(whole.cues.start, 0);
  EXPECT_EQ(whole.cues.end, frames);
}

// Automatic cues on stripes of known level: the first sample above -10 dB
// in the first half, the last above -12 dB in the second, marks taken off;
// tracks under 60 s keep 0 and their end.
TEST(AnalysisTempo, AutomaticCuesOnStripesOfKnownLevel) {
  constexpr int kCount = 60 * kStripePerSecond;
  const struct {
    int at;
    float value;
    int64_t frames;
    int64_t start, end;
  } cases[] = {
      {1000, 0.5f, 6000000, 100000, 6000000},              // -6 dB: a start, no end before it
      {20000, 0.5f, 6000000, 0, 2000000},                  // in the second half: an end
      {1000, 0.28f, 6000000, 0, 6000000},                  // -11 dB: not loud enough for a start
      {20000, 0.28f, 6000000, 0, 2000000},                 // ... but for an end
      {1000, kBeatMark + 0.5f, 6000000, 100000, 6000000},  // a marked sample
      {1000, kBeatMark + 0.01f, 6000000, 0, 6000000},      // the mark alone is not a level
      {1000, -0.5f, 6000000, 100000, 6000000},             // the level's sign does not count
      {1000, 0.5f, 2645999, 0, 2645999},                   // under 60 s
  };
  for (const auto& c : cases) {
    std::vector<float> stripe(kCount, 0.01f);
    stripe[c.at] = c.value;
    const AudibleRange range = FindAudibleRange(stripe.data(), kCount, c.frames, true, true);
    EXPECT_EQ(range.start, c.start) << c.at << " " << c.value;
    EXPECT_EQ(range.end, c.end) << c.at << " " << c.value;
  }
  std::vector<float> stripe(kCount, 0.5f);
  const AudibleRange kept = FindAudibleRange(stripe.data(), kCount, 6000000, false, false);
  EXPECT_EQ(kept.start, 0);
  EXPECT_EQ(kept.end, 6000000);
}

}  // namespace
}  // namespace vantaro
