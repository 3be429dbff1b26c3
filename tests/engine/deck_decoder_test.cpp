// The deck's reads through the codec set: a compressed file, whose decoder
// only goes forwards, still gives every block its own audio when the deck
// asks out of order (a seek before the song is decoded, reverse play).
#include <gtest/gtest.h>

#include <cmath>

#include "tests/engine/deck_test_rig.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::TempDir;

// 0-25 s at 440 Hz, 25-35 s at 1000 Hz, then 2000 Hz to 60 s.
double SegmentHz(std::int64_t frame) {
  return frame < 25 * 44100 ? 440 : frame < 35 * 44100 ? 1000 : 2000;
}

double HeardHz(const CSoundSource& deck, std::int64_t first) {
  std::vector<float> frames(2 * 8820);
  deck.ReadFrames(first, 8820, frames.data());
  return test::ToneFrequency(frames, 2, 0);
}

TEST(DeckDecoder, OutOfOrderBlocksOfACompressedFileHoldTheirOwnAudio) {
  if (!test::HaveProgram("ffmpeg")) GTEST_SKIP() << "ffmpeg is needed to make the file";
  TempDir dir;
  double phase = 0;
  const auto samples = test::MakeSignal(60 * 44100, [&](std::int64_t i, int channel) {
    if (channel == 0) phase += SegmentHz(i) / 44100.0;
    return static_cast<std::int16_t>(std::lrint(12000 * std::sin(2 * M_PI * phase)));
  });
  ASSERT_TRUE(test::WriteStereoWav(dir.File("segments.wav"), samples));
  ASSERT_EQ(test::RunCommand("ffmpeg -v error -y -i '" + dir.File("segments.wav") + "' '" +
                             dir.File("segments.flac") + "'"),
            0);

  test::AvailKBOverride budget(0);  // streaming: only a window is decoded
  test::DeckRig rig;
  CSoundSource& deck = rig.AddDeck();
  ASSERT_TRUE(rig.Load(dir.File("segments.flac")));
  EXPECT_NEAR(deck.GetLength(), 60 * 44100, 2);
  EXPECT_NEAR(HeardHz(deck, 10 * 44100), 440, 2);
  EXPECT_FALSE(deck.IsBlockPresent(40));

  deck.SeekRequest(40 * 44100 + 100);  // far ahead of what is decoded
  deck.StoreThreadRun();
  ASSERT_TRUE(deck.IsBlockPresent(40));
  EXPECT_NEAR(HeardHz(deck, 40 * 44100 + 1000), 2000, 4);

  deck.SetDirection(-1);
  deck.SeekRequest(30 * 44100 + 100);  // behind the decoder: it must start over
  deck.StoreThreadRun();
  deck.StoreThreadRun();
  EXPECT_NEAR(HeardHz(deck, 30 * 44100 + 1000), 1000, 3);
  EXPECT_NEAR(HeardHz(deck, 20 * 44100 + 1000), 440, 2) << "the window pulled backwards";
}

}  // namespace
}  // namespace vantaro
