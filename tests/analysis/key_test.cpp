// The key detector: silence, a single tone, sox-made major and minor chords
// through detectKey, and a missing file.

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "analysis/key_detector.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

KeyResult DetectSamples(const std::vector<float>& mono) {
  KeyDetector detector;
  detector.Start(static_cast<std::int64_t>(mono.size()) * 4, 176400);
  detector.FeedFloat(mono.data(), static_cast<int>(mono.size()), 1);
  return detector.Finish();
}

TEST(AnalysisKey, SilenceHasNoKey) {
  const KeyResult result = DetectSamples(std::vector<float>(6 * 44100, 0.0f));
  EXPECT_FALSE(result.first.Known());
  EXPECT_DOUBLE_EQ(result.accuracy, 0.01);
  EXPECT_EQ(KeyResultText(result, true), "[key: NONE->NONE, accuracy: 0.010000]");
}

// A lone A scores highest on a key that has A as its root, third or fifth.
TEST(AnalysisKey, AToneGivesAKeyBuiltOnA) {
  std::vector<float> tone(6 * 44100);
  for (size_t i = 0; i < tone.size(); ++i) tone[i] = 0.5f * std::sin(2 * M_PI * 440.0 * i / 44100);
  const KeyResult result = DetectSamples(tone);
  ASSERT_TRUE(result.first.Known());
  const int step = (12 - result.first.root) % 12;  // A above the key's root, in semitones
  EXPECT_TRUE(step == 0 || step == 3 || step == 4 || step == 7) << KeyName(result.first);
  EXPECT_GT(result.accuracy, 0.5);
  EXPECT_LE(result.accuracy, 1.0);
}

// Chords made by sox, read raw by detectKey: C major is C (8B), A minor is
// Am (8A). A missing file answers nothing.
TEST(AnalysisKey, ChordsFromSoxAndAMissingFile) {
  test::TempDir dir;
  const struct {
    const char* notes;
    const char* name;
    int pitchKey;
  } cases[] = {{"sin C4 sin E4 sin G4", "C", 20}, {"sin A3 sin C4 sin E4", "Am", 8}};
  for (const auto& c : cases) {
    const std::string path = dir.File(std::string(c.name) + ".wav");
    ASSERT_EQ(test::RunCommand("sox -n -r 44100 -b 16 '" + path + "' synth 8 " + c.notes +
                               " remix 1-3 channels 2 vol 0.3"),
              0);
    const std::optional<KeyResult> result = detectKey(path);
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(KeyName(result->first), c.name);
    EXPECT_EQ(PitchKeyCode(result->first), c.pitchKey);
  }
  EXPECT_FALSE(detectKey(dir.File("missing.wav")).has_value());
}

}  // namespace
}  // namespace vantaro
