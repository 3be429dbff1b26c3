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

TCodecFormat FloatStereo() {
  TCodecFormat format;
  format.sampleRate = 44100;
  format.channels = 2;
  format.bitsPerSample = 32;
  format.containerBits = 32;
  return format;
}

// Makes `name` from the test signal with a sox command line ending in the
// output options; "" when sox failed.
std::string SoxFile(const std::string& name, const std::string& outputOptions,
                    const std::string& effects = "") {
  const std::string path = test::FixtureScratchPath(name);
  const std::string command =
      "sox -D -n -r 44100 -c 2 -b 16 -t wav - synth 3 sine 1000 vol 0.5 | sox -D -t wav - " +
      outputOptions + " '" + path + "' " + effects;
  return test::RunCommand(command) == 0 ? path : "";
}

TEST(FFmpegInCodecSet, StandsLastAndTakesOnlyWhatOthersRefuse) {
  CCodecSet set(30);
  ASSERT_GE(set.CodecCount(), 1);
  EXPECT_STREQ(set.CodecAt(set.CodecCount() - 1)->GetName(), "ffmpeg-audio");

  // A plain 16-bit WAV stays with the native reader.
  const std::string plain = SoxFile("plain.wav", "-b 16");
  ASSERT_FALSE(plain.empty());
  TCodecFormat format = FloatStereo();
  ASSERT_EQ(set.Open(plain, format, kCodecRead, kBlock), 1);
  EXPECT_STREQ(set.CurrentCodecName(), "wav");
  set.Close();

  // What the native readers refuse still plays.
  struct Refused {
    std::string path;
    double toleranceDb;
  };
  const std::vector<Refused> refused = {
      {FFmpegFixture("ext24.wav"), 0.1},
      {SoxFile("mulaw.au", "-e mu-law -b 8"), 0.2},
      {SoxFile("eight.aiff", "-b 8"), 0.3},
      {SoxFile("float.aif", "-t aifc -e floating-point -b 32"), 0.1},
  };
  for (const Refused& file : refused) {
    ASSERT_FALSE(file.path.empty());
    format = FloatStereo();
    ASSERT_EQ(set.Open(file.path, format, kCodecRead, kBlock), 1) << file.path;
    EXPECT_STREQ(set.CurrentCodecName(), "ffmpeg-audio") << file.path;
    EXPECT_EQ(format.frames, kSignalFrames) << file.path;
    const std::vector<float> all = test::ReadSetToEnd(set, 2, kBlock);
    EXPECT_EQ(static_cast<int64_t>(all.size()) / 2, kSignalFrames) << file.path;
    const std::vector<float> middle = test::Frames(all, 2, 22050, 88200);
    EXPECT_NEAR(test::LevelDb(middle, 2, 0), 0.0, file.toleranceDb) << file.path;
    EXPECT_NEAR(test::ToneFrequency(middle, 2, 1), test::kSignalHz, 0.5) << file.path;
    set.Close();
  }
}

// The set sees a 44100 Hz source for a 48 kHz file, so its linear
// interpolation never runs, and its reported length is exact.
TEST(FFmpegInCodecSet, FortyEightKilohertzArrivesConverted) {
  const std::string path = FFmpegFixture("flac48.flac");
  ASSERT_FALSE(path.empty());
  CCodecSet set(30);
  TCodecFormat format = FloatStereo();
  ASSERT_EQ(set.Open(path, format, kCodecRead, kBlock), 1);
  EXPECT_EQ(set.SourceFormat().sampleRate, 44100);
  EXPECT_EQ(set.SourceFormat().bitsPerSample, 16);
  EXPECT_EQ(format.frames, kSignalFrames);
  const std::vector<float> all = test::ReadSetToEnd(set, 2, kBlock);
  EXPECT_EQ(static_cast<int64_t>(all.size()) / 2, kSignalFrames);
}

// Five channels reach the set; a stereo target keeps channels 1 and 2.
TEST(FFmpegInCodecSet, FiveChannelAacKeepsTheFirstTwoChannels) {
  const std::string path = FFmpegFixture("five.m4a");
  ASSERT_FALSE(path.empty());
  CCodecSet set(30);
  TCodecFormat format = FloatStereo();
  ASSERT_EQ(set.Open(path, format, kCodecRead, kBlock), 1);
  EXPECT_EQ(set.SourceFormat().channels, 5);
  const std::vector<float> all = test::ReadSetToEnd(set, 2, kBlock);
  EXPECT_EQ(static_cast<int64_t>(all.size()) / 2, kSignalFrames);
  const std::vector<float> middle = test::Frames(all, 2, 22050, 88200);
  EXPECT_NEAR(test::ToneFrequency(middle, 2, 0), 300.0, 0.5);
  EXPECT_NEAR(test::ToneFrequency(middle, 2, 1), 500.0, 0.5);
  EXPECT_NEAR(test::LevelDb(middle, 2, 0), 0.0, 0.5);
}

// A mono MP3 read as stereo carries the same samples on both sides.
TEST(FFmpegInCodecSet, MonoMp3ReadAsStereoIsTheSameOnBothSides) {
  const std::string path = test::FixtureScratchPath("mono.mp3");
  ASSERT_EQ(
      test::RunCommand(
          "sox -D -n -r 44100 -c 1 -b 16 -t wav - synth 2 sine 1000 vol 0.5 | ffmpeg -nostdin "
          "-hide_banner -loglevel error -y -i - -c:a libmp3lame -b:a 128k '" +
          path + "'"),
      0);
  CCodecSet set(30);
  TCodecFormat format = FloatStereo();
  ASSERT_EQ(set.Open(path, format, kCodecRead, kBlock), 1);
  EXPECT_EQ(set.SourceFormat().channels, 1);
  EXPECT_EQ(format.frames, 88200);
  const std::vector<float> all = test::ReadSetToEnd(set, 2, kBlock);
  ASSERT_EQ(static_cast<int64_t>(all.size()) / 2, 88200);
  for (size_t i = 0; i < all.size(); i += 2) ASSERT_EQ(all[i], all[i + 1]) << i / 2;
  EXPECT_NEAR(test::LevelDb(test::Frames(all, 2, 22050, 44100), 2, 1), 0.0, 0.5);
}

// The end of the stream is a short read through the set as well.
TEST(FFmpegInCodecSet, LastReadIsShortAndLaterReadsAreEmpty) {
  const std::string path = FFmpegFixture("aac.m4a");
  ASSERT_FALSE(path.empty());
  CCodecSet set(30);
  TCodecFormat format = FloatStereo();
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
