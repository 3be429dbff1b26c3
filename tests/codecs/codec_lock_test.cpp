// The global codec lock between decks: a read waits for it, and a long file
// whose reads are slow never holds it for longer than one step, so the other
// deck's blocks keep arriving. Runs under the thread sanitizer too.

#include "codecs/codec_lock.h"

#include <gtest/gtest.h>

#include <algorithm>
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

double Milliseconds(Clock::duration d) {
  return std::chrono::duration<double, std::milli>(d).count();
}

TEST(CodecLock, ReadsWaitForTheLock) {
  test::TempDir dir;
  ASSERT_TRUE(test::MakeSoxTone(dir.File("tone.wav"), 44100, 2, "-b 16"));
  CCodecSet set(30);
  TCodecFormat format{44100, 2, 32, 32, 0, 0};
  ASSERT_EQ(set.Open(dir.File("tone.wav"), format, kCodecRead, 1024), 1);
  std::atomic<int> delivered{-1};
  std::vector<float> buffer(1024 * 2);
  GlobalCodecLock().lock();
  std::thread reader([&] { delivered = set.GetFloatSamples(buffer.data(), 1024, 0); });
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(delivered.load(), -1) << "the read ran while another thread held the lock";
  GlobalCodecLock().unlock();
  reader.join();
  EXPECT_EQ(delivered.load(), 1024);
}

// One deck opens a minute of MP3 whose every file read takes 10 ms (a slow
// disk or share: the length scan reads the whole file), while the other deck
// streams a 24-bit WAV in 100 ms blocks. The other deck's reads never wait for more
// than a fraction of the open, and the MP3's exact length is still known.
TEST(CodecLock, ASlowFileNeverStallsTheOtherDeck) {
  test::TempDir dir;
  const std::string mp3 = dir.File("long.mp3"), wav = dir.File("other.wav");
  ASSERT_EQ(test::RunCommand("sox -D -n -r 44100 -c 2 -b 16 -t wav - synth 60 sine 1000 | ffmpeg "
                             "-nostdin -loglevel error -y -i - -c:a libmp3lame -b:a 320k '" +
                             mp3 + "'"),
            0);
  // 24-bit samples go through the set's locked conversion (16-bit stereo at
  // 44100 Hz would be read straight, without the lock).
  ASSERT_TRUE(test::MakeSoxTone(wav, 44100, 2, "-b 24 -t wavpcm", 10));
  CCodecSet other(30);
  TCodecFormat otherFormat{44100, 2, 16, 16, 0, 0};
  ASSERT_EQ(other.Open(wav, otherFormat, kCodecRead, 4410), 1);

  std::atomic<bool> opening{true};
  std::vector<double> waits;  // between the other deck's blocks, ms
  std::thread otherDeck([&] {
    std::vector<int16_t> block(4410 * 2);
    Clock::time_point last = Clock::now();
    for (int64_t start = 0; opening; start = (start + 4410) % 400000) {
      EXPECT_EQ(other.GetShortSamples(block.data(), 4410, start), 4410);
      waits.push_back(Milliseconds(Clock::now() - last));
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
      last = Clock::now();
    }
  });
  SetFFmpegFileReadHook([] { std::this_thread::sleep_for(std::chrono::milliseconds(10)); });
  CCodecSet deck(30);
  TCodecFormat format{44100, 2, 16, 16, 0, 0};
  const Clock::time_point begin = Clock::now();
  const int opened = deck.Open(mp3, format, kCodecRead, 44100);
  const double openMs = Milliseconds(Clock::now() - begin);
  SetFFmpegFileReadHook(nullptr);
  opening = false;
  otherDeck.join();

  ASSERT_EQ(opened, 1);
  EXPECT_EQ(format.frames, 60 * 44100);
  EXPECT_GT(openMs, 600) << "the reads were not slowed: the test proves nothing";
  EXPECT_LT(*std::max_element(waits.begin(), waits.end()), openMs / 4)
      << "the other deck waited for the open of " << openMs << " ms";
}

}  // namespace
}  // namespace vantaro
