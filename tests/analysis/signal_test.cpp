// The band filters, the gain analyser and the key detector: pass band,
// cut-offs and stop bands measured with sines; the gain's edges and its
// agreement with ffmpeg's ReplayGain scanner on the same file; keys of
// silence, a tone and sox-made chords.

#include <gtest/gtest.h>

#include <cmath>
#include <regex>
#include <tuple>
#include <utility>
#include <vector>

#include "analysis/analyse_file.h"
#include "analysis/gain_analyser.h"
#include "analysis/key_detector.h"
#include "analysis/six_pole_filter.h"
#include "tests/analysis/test_tracks.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

// Steady-state gain of `filter` at `hz`, with the output's 1/6 taken off.
double SineGain(SixPoleFilter& filter, double hz) {
  std::vector<float> x(3 * SixPoleFilter::kMaxBlock);
  for (size_t i = 0; i < x.size(); ++i) x[i] = 0.5f * std::sin(2 * M_PI * hz * i / 44100.0);
  for (size_t at = 0; at < x.size(); at += SixPoleFilter::kMaxBlock)
    filter.Process(x.data() + at, SixPoleFilter::kMaxBlock);
  const std::vector<float> tail(x.end() - SixPoleFilter::kMaxBlock, x.end());
  return test::Rms(tail, 1, 0) / (0.5 / std::sqrt(2.0)) * 6.0;
}

struct FilterCase {
  SixPoleFilter::Kind kind;
  double cutoff, hz, low, high;  // gain bounds at hz
};

// The pass band stays within the 0.5 % ripple; the cut-off is the -3 dB
// point; an octave past it the sixth order has taken 40 dB off.
TEST(AnalysisFilters, RippleCutOffAndStopBand) {
  const FilterCase cases[] = {
      {SixPoleFilter::kLowPass, 215, 150, 0.999, 1.0051},
      {SixPoleFilter::kLowPass, 215, 215, 0.68, 0.74},
      {SixPoleFilter::kLowPass, 215, 430, 0, 0.01},
      {SixPoleFilter::kHighPass, 132, 200, 0.999, 1.0051},
      {SixPoleFilter::kHighPass, 132, 132, 0.68, 0.74},
      {SixPoleFilter::kHighPass, 132, 66, 0, 0.01},
  };
  for (const FilterCase& c : cases) {
    SixPoleFilter filter(c.kind, c.cutoff);
    const double gain = SineGain(filter, c.hz);
    EXPECT_TRUE(gain >= c.low && gain <= c.high) << c.cutoff << " Hz at " << c.hz << ": " << gain;
  }
  SixPoleFilter moved(SixPoleFilter::kLowPass, 215);
  moved.SetCutoff(860);
  EXPECT_GT(SineGain(moved, 430), 0.999) << "a new cut-off designs new coefficients";
}

// A block of one repeated value passes untouched and leaves the state as it
// was: what follows comes out as if the block had never been there.
TEST(AnalysisFilters, ConstantBlocksPassUntouched) {
  SixPoleFilter with(SixPoleFilter::kHighPass, 132), without(SixPoleFilter::kHighPass, 132);
  std::vector<float> a(1000), b(1000), held(800, 0.25f);
  for (size_t i = 0; i < a.size(); ++i) a[i] = b[i] = std::sin(i * 0.05f);
  with.Process(a.data(), 500);
  without.Process(b.data(), 500);
  with.Process(held.data(), 800);
  EXPECT_EQ(held, std::vector<float>(800, 0.25f));
  with.Process(a.data() + 500, 500);
  without.Process(b.data() + 500, 500);
  EXPECT_EQ(a, b);
}

// Silence reads as the reference level; fewer samples than one 50 ms window
// read as "not enough"; a rate without tables and a bad channel count fail.
TEST(AnalysisGain, EdgesOfTheHistogram) {
  GainAnalyser gain;
  EXPECT_EQ(gain.Init(44000), 0);
  ASSERT_EQ(gain.Init(44100), 1);
  EXPECT_EQ(gain.Analyse(nullptr, nullptr, 10, 3), 0);
  const std::vector<float> silence(2 * 44100, 0.0f);
  for (const auto& [samples, expected] :
       {std::pair{2204, GainAnalyser::kNotEnoughSamples}, {2205, 64.82f}, {88200, 64.82f}}) {
    ASSERT_EQ(gain.Analyse(silence.data(), nullptr, samples, 1), 1);
    EXPECT_FLOAT_EQ(gain.TrackGain(), expected) << samples << " samples";
  }
}

// ffmpeg's "track_gain = ... dB" for a file.
double FFmpegTrackGain(const std::string& path) {
  std::string output;
  test::RunCommand("ffmpeg -hide_banner -nostats -i '" + path + "' -af replaygain -f null - 2>&1",
                   &output);
  std::smatch m;
  return std::regex_search(output, m, std::regex("track_gain = ([-+0-9.]+) dB")) ? std::stod(m[1])
                                                                                 : NAN;
}

// The gain of a drum loop through the whole file chain agrees with ffmpeg's
// scanner, and the same loop 6 dB quieter reads 6 dB higher.
TEST(AnalysisGain, MatchesFFmpegAndFollowsTheLevel) {
  test::TempDir dir;
  AnalysisSet set;
  const AnalyseOptions options{.store = false, .stripesFolder = {}};
  double gains[2];
  for (int quiet = 0; quiet < 2; ++quiet) {
    const test::TrackPlan plan{
        .bpm = 124, .seconds = 20, .beat = test::Beat::kDrums, .gain = quiet ? 0.501187 : 1.0};
    const std::string path = dir.File("loop" + std::to_string(quiet) + ".wav");
    ASSERT_TRUE(test::WriteWav(path, test::MakeTrack(plan)));
    gains[quiet] = AnalyseFile(set, path, options).gainDb;
    EXPECT_NEAR(gains[quiet], FFmpegTrackGain(path), 0.1) << path;
  }
  EXPECT_NEAR(gains[1] - gains[0], 6.0, 0.02);
}

KeyResult DetectSamples(const std::vector<float>& mono) {
  KeyDetector detector;
  detector.Start(static_cast<std::int64_t>(mono.size()) * 4, 176400);
  detector.FeedFloat(mono.data(), static_cast<int>(mono.size()), 1);
  return detector.Finish();
}

// Silence has no key (accuracy 0.01); a lone A scores highest on a key that
// has A as its root, third or fifth.
TEST(AnalysisKey, SilenceAndATone) {
  const KeyResult none = DetectSamples(std::vector<float>(6 * 44100, 0.0f));
  EXPECT_EQ(KeyResultText(none, true), "[key: NONE->NONE, accuracy: 0.010000]");
  std::vector<float> tone(6 * 44100);
  for (size_t i = 0; i < tone.size(); ++i) tone[i] = 0.5f * std::sin(2 * M_PI * 440.0 * i / 44100);
  const KeyResult result = DetectSamples(tone);
  ASSERT_TRUE(result.first.Known());
  const int step = (12 - result.first.root) % 12;  // A above the key's root, in semitones
  EXPECT_TRUE(step == 0 || step == 3 || step == 4 || step == 7) << KeyName(result.first);
  EXPECT_TRUE(result.accuracy > 0.5 && result.accuracy <= 1.0) << result.accuracy;
}

// Chords made by sox, read raw by detectKey: C major is C (8B), A minor is
// Am (8A). A missing file answers nothing.
TEST(AnalysisKey, ChordsFromSoxAndAMissingFile) {
  test::TempDir dir;
  for (const auto& [notes, name, pitchKey] :
       {std::tuple{"sin C4 sin E4 sin G4", "C", 20}, {"sin A3 sin C4 sin E4", "Am", 8}}) {
    const std::string path = dir.File(std::string(name) + ".wav");
    ASSERT_EQ(test::RunCommand("sox -n -r 44100 -b 16 '" + path + "' synth 8 " + notes +
                               " remix 1-3 channels 2 vol 0.3"),
              0);
    const std::optional<KeyResult> result = detectKey(path);
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(KeyName(result->first), name);
    EXPECT_EQ(PitchKeyCode(result->first), pitchKey);
  }
  EXPECT_FALSE(detectKey(dir.File("missing.wav")).has_value());
}

}  // namespace
}  // namespace vantaro
