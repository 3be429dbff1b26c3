// One compressed file played on a deck, end to end: loaded through the deck's
// codec set, decoded by its store run, rendered by the deck from the first
// frame to the real end of the file.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "engine/sound_source.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

// Three seconds of a 1000 Hz sine at 0.5, as a gapless MP3: the deck plays
// exactly the signal's 132300 frames at the deck's level (a stored sample
// times 3e-5) up to its last frames, and silence after its stop fade.
TEST(FFmpegOnDeck, Mp3PlaysFromStartToItsRealEnd) {
  test::TempDir dir;
  const std::string mp3 = dir.File("tone.mp3");
  ASSERT_EQ(test::RunCommand("sox -D -n -r 44100 -c 2 -b 16 -t wav - synth 3 sine 1000 vol 0.5 | "
                             "ffmpeg -nostdin -loglevel error -i - -c:a libmp3lame -b:a 192k '" +
                             mp3 + "'"),
            0);
  CSoundSource deck(0, dir.Path() + "/");
  ASSERT_TRUE(deck.LoadSong(mp3, true, nullptr, false));
  for (int run = 0; run < 20 && (run == 0 || deck.GetDecodedPercent() < 100); ++run)
    deck.StoreThreadRun();
  ASSERT_TRUE(deck.IsSongReady());
  ASSERT_EQ(deck.GetLength(), 132300);
  std::vector<float> out((132300 + 44100) * 2);
  for (size_t at = 0; at < out.size(); at += 441 * 2) deck.Render(out.data() + at, 441);

  auto frames = [&](int64_t first, int64_t count) {
    return std::vector<float>(out.begin() + first * 2, out.begin() + (first + count) * 2);
  };
  const double deckRms = 0.5 * 32768 * 3e-5 / std::sqrt(2.0);
  EXPECT_NEAR(test::ToneFrequency(frames(22050, 88200), 2, 1), 1000.0, 0.5);
  EXPECT_NEAR(test::Rms(frames(22050, 88200), 2, 1), deckRms, deckRms * 0.06);
  EXPECT_GT(test::Rms(frames(132300 - 1000, 1000), 2, 0), 0.9 * deckRms) << "cut short";
  EXPECT_LT(test::Peak(frames(132300 + 600, 44100 - 600), 2, 0), 1e-4) << "played past";
}

}  // namespace
}  // namespace vantaro
