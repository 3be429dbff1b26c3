// The FFmpeg reader inside the codec set: where it stands in the order, what
// reaches it, and the set's conversions on what it delivers.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "codecs/codec_set.h"
#include "tests/codecs/ffmpeg_fixtures.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::FFmpegFixture;
using test::kSignalFrames;

constexpr int kBlock = 44100;

// Makes `name` from `channels` channels of the 1000 Hz test signal (`seconds`
// long), piped through `tool` (a sox or ffmpeg command line that reads a WAV
// from stdin and ends in its output options); "" when a tool failed.
std::string MadeFile(const std::string& name, const std::string& tool, int channels = 2,
                     int seconds = 3) {
  const std::string path = test::FixtureScratchPath(name);
  const std::string command = "sox -D -n -r 44100 -c " + std::to_string(channels) +
                              " -b 16 -t wav - synth " + std::to_string(seconds) +
                              " sine 1000 vol 0.5 | " + tool + " '" + path + "'";
  return test::RunCommand(command) == 0 ? path : "";
}

struct SetCase {
  std::string path;
  const char* codec;  // the codec that must take the file
  int sourceChannels;
  int64_t frames;
  double leftHz = test::kSignalHz;
  double rightHz = test::kSignalHz;
  double toleranceDb = 0.5;
};

// Opens `c.path` through `set` as 44100 Hz float stereo and plays it to its
// end: the reported length is exact, the tones and level are kept.
void ExpectPlaysThroughSet(CCodecSet& set, const SetCase& c) {
  SCOPED_TRACE(c.path);
  ASSERT_FALSE(c.path.empty());
  TCodecFormat format{44100, 2, 32, 32, 0, 0};
  ASSERT_EQ(set.Open(c.path, format, kCodecRead, kBlock), 1);
  EXPECT_STREQ(set.CurrentCodecName(), c.codec);
  EXPECT_EQ(set.SourceFormat().sampleRate, 44100) << "the reader converts the rate itself";
  EXPECT_EQ(set.SourceFormat().channels, c.sourceChannels);
  EXPECT_EQ(format.frames, c.frames);
  const std::vector<float> all = test::ReadSetToEnd(set, 2, kBlock);
  EXPECT_EQ(static_cast<int64_t>(all.size()) / 2, c.frames);
  const std::vector<float> middle = test::Frames(all, 2, 22050, 44100);
  EXPECT_NEAR(test::ToneFrequency(middle, 2, 0), c.leftHz, 0.5);
  EXPECT_NEAR(test::ToneFrequency(middle, 2, 1), c.rightHz, 0.5);
  EXPECT_NEAR(test::LevelDb(middle, 2, 0), 0.0, c.toleranceDb);
  EXPECT_NEAR(test::LevelDb(middle, 2, 1), 0.0, c.toleranceDb);
  if (c.sourceChannels == 1) {
    for (size_t i = 0; i < all.size(); i += 2) ASSERT_EQ(all[i], all[i + 1]) << i / 2;
  }
  set.Close();
}

TEST(FFmpegInCodecSet, StandsLastAndTakesOnlyWhatOthersRefuse) {
  CCodecSet set(30);
  ASSERT_GE(set.CodecCount(), 1);
  EXPECT_STREQ(set.CodecAt(set.CodecCount() - 1)->GetName(), "ffmpeg-audio");
  // A plain 16-bit WAV stays with the native reader; what the native readers
  // refuse still plays.
  for (const SetCase& c : std::vector<SetCase>{
           {MadeFile("plain.wav", "sox -D -t wav - -b 16"), "wav", 2, kSignalFrames},
           {FFmpegFixture("ext24.wav"), "ffmpeg-audio", 2, kSignalFrames, 1000, 1000, 0.1},
           {MadeFile("mulaw.au", "sox -D -t wav - -e mu-law -b 8"), "ffmpeg-audio", 2,
            kSignalFrames, 1000, 1000, 0.2},
           {MadeFile("eight.aiff", "sox -D -t wav - -b 8"), "ffmpeg-audio", 2, kSignalFrames, 1000,
            1000, 0.3},
           {MadeFile("float.aif", "sox -D -t wav - -t aifc -e floating-point -b 32"),
            "ffmpeg-audio", 2, kSignalFrames, 1000, 1000, 0.1}})
    ExpectPlaysThroughSet(set, c);
}

// A 48 kHz file reaches the set as 44100 Hz, so the set's linear
// interpolation never runs; five channels reach the set and a stereo target
// keeps channels 1 and 2 (300 and 500 Hz); a mono MP3 carries the same
// samples on both sides.
TEST(FFmpegInCodecSet, RatesAndChannelLayoutsArriveFitted) {
  CCodecSet set(30);
  ExpectPlaysThroughSet(set, {FFmpegFixture("flac48.flac"), "ffmpeg-audio", 2, kSignalFrames});
  ExpectPlaysThroughSet(set,
                        {FFmpegFixture("five.m4a"), "ffmpeg-audio", 5, kSignalFrames, 300, 500});
  ExpectPlaysThroughSet(
      set, {MadeFile("mono.mp3",
                     "ffmpeg -nostdin -hide_banner -loglevel error -y -i - -c:a libmp3lame -b:a "
                     "128k",
                     1, 2),
            "ffmpeg-audio", 1, 88200});
}

// The end of the stream is a short read through the set as well.
TEST(FFmpegInCodecSet, LastReadIsShortAndLaterReadsAreEmpty) {
  const std::string path = FFmpegFixture("aac.m4a");
  ASSERT_FALSE(path.empty());
  CCodecSet set(30);
  TCodecFormat format{44100, 2, 32, 32, 0, 0};
  ASSERT_EQ(set.Open(path, format, kCodecRead, kBlock), 1);
  constexpr int kRead = 40000;
  std::vector<float> block(kRead * 2);
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(set.GetFloatSamples(block.data(), kRead, i * kRead), kRead) << i;
  EXPECT_EQ(set.GetFloatSamples(block.data(), kRead, 3 * kRead), kSignalFrames - 3 * kRead);
  EXPECT_EQ(set.GetFloatSamples(block.data(), kRead, 4 * kRead), 0);
  EXPECT_NEAR(set.GetSeconds(), 3.0f, 1e-4);
}

}  // namespace
}  // namespace vantaro
