// The global codec lock between decks: a long file whose reads are slow never
// holds it for longer than one step, so the other deck's blocks keep
// arriving. Runs under the thread sanitizer too. (That reads take the lock at
// all is proven by the audio-thread trap in codec_set_test.)

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "codecs/codec_set.h"
#include "codecs/ffmpeg_file_input.h"
#include "tests/codecs/codec_test_files.h"

namespace vantaro {
namespace {

using Clock = std::chrono::steady_clock;

// One deck opens a minute of MP3 whose every file read takes 10 ms (a slow
// disk or share: the length scan reads the whole file), while the other deck
// streams a 24-bit WAV in 100 ms blocks. The other deck's reads never wait
// for more than a fraction of the open, and the MP3's exact length is still
// known.
TEST(CodecLock, ASlowFileNeverStallsTheOtherDeck) {
  auto since = [](Clock::time_point t) {
    return std::chrono::duration<double, std::milli>(Clock::now() - t).count();
  };
  test::TempDir dir;
  const std::string mp3 = dir.File("long.mp3"), wav = dir.File("other.wav");
  ASSERT_EQ(test::RunCommand("sox -D -n -r 44100 -c 2 -b 16 -t wav - synth 60 sine 1000 | ffmpeg "
                             "-nostdin -loglevel error -i - -c:a libmp3lame -b:a 320k '" +
                             mp3 + "'"),
            0);
  // 24-bit samples go through the set's locked conversion (16-bit stereo at
  // 44100 Hz would be read straight, without the lock).
  ASSERT_TRUE(test::MakeSoxTone(wav, 44100, 2, "-b 24 -t wavpcm", 10));
  CCodecSet other(30), deck(30);
  TCodecFormat otherFormat{44100, 2, 16, 16, 0, 0}, format = otherFormat;
  ASSERT_EQ(other.Open(wav, otherFormat, kCodecRead, 4410), 1);

  std::atomic<bool> opening{true};
  double longestWait = 0;  // for one of the other deck's blocks, ms
  std::thread otherDeck([&] {
    std::vector<int16_t> block(4410 * 2);
    for (int64_t start = 0; opening; start = (start + 4410) % 400000) {
      const Clock::time_point asked = Clock::now();
      EXPECT_EQ(other.GetShortSamples(block.data(), 4410, start), 4410);
      longestWait = std::max(longestWait, since(asked));
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  });
  SetFFmpegFileReadHook([] { std::this_thread::sleep_for(std::chrono::milliseconds(10)); });
  const Clock::time_point begin = Clock::now();
  const int opened = deck.Open(mp3, format, kCodecRead, 44100);
  const double openMs = since(begin);
  SetFFmpegFileReadHook(nullptr);
  opening = false;
  otherDeck.join();

  ASSERT_EQ(opened, 1);
  EXPECT_EQ(format.frames, 60 * 44100);
  EXPECT_GT(openMs, 600) << "the reads were not slowed: the test proves nothing";
  EXPECT_LT(longestWait, openMs / 4) << "the other deck waited for the open of " << openMs << " ms";
}

}  // namespace
}  // namespace vantaro
