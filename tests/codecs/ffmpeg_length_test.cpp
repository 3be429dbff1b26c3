// Lengths the deck can rely on: MP3 without a Xing/Info header, damaged
// files, files whose rate is converted; and the channels of a five-channel
// stream.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "base/debug_log.h"
#include "codecs/decoder_ffmpeg.h"
#include "codecs/ffmpeg_audio_stream.h"
#include "tests/codecs/ffmpeg_fixtures.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::FFmpegFixture;
using test::kSignalFrames;

// The container's own idea of the length, in frames, as ffprobe reports it.
int64_t ContainerEstimateFrames(const std::string& path) {
  std::string out;
  test::RunCommand("ffprobe -v error -show_entries format=duration -of csv=p=0 '" + path + "'",
                   &out);
  return std::llround(std::atof(out.c_str()) * 44100.0);
}

// A VBR MP3 without a Xing header has only a bit-rate estimate of its length,
// and that estimate is wrong by thousands of frames. The count made at Open
// must still be the frames the file really plays.
TEST(FFmpegLength, Mp3WithoutInfoHeaderReportsItsRealLength) {
  const std::string path = FFmpegFixture("vbr_noxing.mp3");
  ASSERT_FALSE(path.empty());
  FFmpegAudioStream stream;
  std::string error;
  ASSERT_TRUE(stream.Open(path, error)) << error;
  EXPECT_TRUE(stream.CountedPackets());
  const int64_t estimate = ContainerEstimateFrames(path);
  ASSERT_GT(estimate, 0);

  CDecoderFFMpeg decoder(1);
  TCodecFormat format;
  ASSERT_EQ(decoder.Open(path, format, kCodecRead), 1);
  EXPECT_EQ(format.frames, stream.ExpectedFrames());
  const int64_t delivered =
      static_cast<int64_t>(test::ReadDecoderToEnd(decoder, 2, 44100).size()) / 2;
  EXPECT_GT(std::llabs(estimate - delivered), 1000)
      << "the file should be one whose header length is wrong";
  EXPECT_EQ(format.frames, delivered);
  // Whole MP3 packets of 1152 frames: the delay and padding are not known.
  EXPECT_EQ(delivered % 1152, 0);
}

struct Damage {
  int64_t keptFrames;
  std::vector<float> samples;
  TCodecFormat openFormat;
};

Damage PlayDamaged(const std::string& path) {
  Damage result;
  CDecoderFFMpeg decoder(1);
  if (decoder.Open(path, result.openFormat, kCodecRead) != 1) return result;
  result.samples = test::ReadDecoderToEnd(decoder, 2, 44100);
  result.keptFrames = static_cast<int64_t>(result.samples.size()) / 2;
  EXPECT_EQ(decoder.GetFrames(), result.keptFrames) << "length not corrected at the real end";
  int16_t after[2 * 512];
  EXPECT_EQ(decoder.GetSamples(after, 512, kContinueFrame), 0);
  return result;
}

// An MP3 cut at 60 % of its bytes plays up to where it breaks, then stops.
TEST(FFmpegLength, TruncatedMp3PlaysToTheBreakAndStops) {
  for (const char* name : {"cbr.mp3", "vbr_noxing.mp3"}) {
    const std::string full = FFmpegFixture(name);
    ASSERT_FALSE(full.empty());
    const std::string data = test::ReadFile(full);
    const std::string cut = test::FixtureScratchPath(std::string("cut_") + name);
    test::WriteFile(cut, data.substr(0, data.size() * 6 / 10));
    const Damage damaged = PlayDamaged(cut);
    ASSERT_GT(damaged.keptFrames, 0) << name;
    // The packets counted at Open end at the break; a cut packet counted
    // there but not decodable is taken off at the end.
    EXPECT_GE(damaged.openFormat.frames, damaged.keptFrames) << name;
    EXPECT_LE(damaged.openFormat.frames, damaged.keptFrames + 1152) << name;
    EXPECT_NEAR(damaged.keptFrames, kSignalFrames * 0.6, 0.05 * kSignalFrames) << name;
    const std::vector<float> middle = test::Frames(damaged.samples, 2, 22050, 44100);
    EXPECT_NEAR(test::ToneFrequency(middle, 2, 0), test::kSignalHz, 0.5) << name;
  }
}

// Garbage in the middle of an MP3 costs at most the packets it hit.
TEST(FFmpegLength, CorruptMiddleOfMp3IsSkippedNotFatal) {
  const std::string full = FFmpegFixture("cbr.mp3");
  ASSERT_FALSE(full.empty());
  std::string data = test::ReadFile(full);
  unsigned seed = 12345;
  for (size_t i = data.size() / 2; i < data.size() / 2 + 3000; ++i) {
    seed = seed * 1103515245u + 12345u;
    data[i] = static_cast<char>(seed >> 16);
  }
  const std::string broken = test::FixtureScratchPath("broken.mp3");
  test::WriteFile(broken, data);
  test::TempDir logFolder;
  SetDebugLogFolder(logFolder.Path());
  const Damage damaged = PlayDamaged(broken);
  const std::string log = test::ReadFile(DebugLogPath());
  SetDebugLogFolder("");
  // One line for the file says what was lost.
  EXPECT_NE(log.find("broken.mp3 ends at frame " + std::to_string(damaged.keptFrames)),
            std::string::npos)
      << log;
  EXPECT_NE(log.find("damaged packets skipped)"), std::string::npos) << log;
  EXPECT_GT(damaged.keptFrames, kSignalFrames * 0.8);
  EXPECT_LE(damaged.keptFrames, kSignalFrames);
  EXPECT_NEAR(test::ToneFrequency(test::Frames(damaged.samples, 2, 4410, 44100), 2, 0),
              test::kSignalHz, 0.5);
}

// A file that holds only a header and the first packets.
TEST(FFmpegLength, FlacCutAfterItsHeaderEndsEarlyWithLengthCorrected) {
  const std::string full = FFmpegFixture("flac.flac");
  ASSERT_FALSE(full.empty());
  const std::string data = test::ReadFile(full);
  const std::string cut = test::FixtureScratchPath("cut.flac");
  test::WriteFile(cut, data.substr(0, data.size() / 3));
  const Damage damaged = PlayDamaged(cut);
  EXPECT_EQ(damaged.openFormat.frames, kSignalFrames) << "the header states the whole length";
  EXPECT_GT(damaged.keptFrames, 0);
  EXPECT_LT(damaged.keptFrames, kSignalFrames / 2);
}

// Rate conversion: a 48 kHz file reports and delivers the 44100 Hz length to
// the frame, and reads in any block size give the same samples.
TEST(FFmpegLength, ConvertedRateKeepsExactLengthAndNoClickAtBlockJoins) {
  const std::string path = FFmpegFixture("flac48.flac");
  ASSERT_FALSE(path.empty());
  std::vector<float> reference;
  for (int block : {44100, 4410, 777}) {
    CDecoderFFMpeg decoder(1);
    TCodecFormat format;
    ASSERT_EQ(decoder.Open(path, format, kCodecRead), 1);
    EXPECT_EQ(format.sampleRate, 44100);
    EXPECT_EQ(format.frames, kSignalFrames);
    const std::vector<float> all = test::ReadDecoderToEnd(decoder, 2, block);
    EXPECT_EQ(static_cast<int64_t>(all.size()) / 2, kSignalFrames) << block;
    EXPECT_LT(test::LargestStep(test::Frames(all, 2, 1000, kSignalFrames - 2000), 2, 0), 0.085)
        << block;
    if (reference.empty())
      reference = all;
    else
      EXPECT_TRUE(all == reference) << block;
  }
}

// A filter that passes the top octave: a 15 kHz tone at 48 kHz arrives at
// 44100 Hz with its level (a linear interpolator loses about 1.5 dB here and
// adds images).
TEST(FFmpegLength, HighToneKeepsItsLevelThroughRateConversion) {
  const std::string path = test::FixtureScratchPath("high48.flac");
  ASSERT_EQ(
      test::RunCommand("sox -D -n -r 48000 -c 2 -b 16 '" + path + "' synth 2 sine 15000 vol 0.5"),
      0);
  CDecoderFFMpeg decoder(1);
  TCodecFormat format;
  ASSERT_EQ(decoder.Open(path, format, kCodecRead), 1);
  const std::vector<float> all = test::ReadDecoderToEnd(decoder, 2, 44100);
  EXPECT_EQ(static_cast<int64_t>(all.size()) / 2, 88200);
  const std::vector<float> middle = test::Frames(all, 2, 4410, 44100);
  EXPECT_NEAR(test::LevelDb(middle, 2, 0), 0.0, 0.2);
  EXPECT_NEAR(test::ToneFrequency(middle, 2, 0), 15000.0, 2.0);
}

// Five channels stay five, each in its place.
TEST(FFmpegChannels, FiveChannelAacKeepsEveryChannel) {
  const std::string path = FFmpegFixture("five.m4a");
  ASSERT_FALSE(path.empty());
  CDecoderFFMpeg decoder(1);
  TCodecFormat format;
  ASSERT_EQ(decoder.Open(path, format, kCodecRead), 1);
  ASSERT_EQ(format.channels, 5);
  EXPECT_EQ(decoder.frameSize, 10);
  const std::vector<float> all = test::ReadDecoderToEnd(decoder, 5, 44100);
  EXPECT_EQ(static_cast<int64_t>(all.size()) / 5, kSignalFrames);
  const std::vector<float> middle = test::Frames(all, 5, 22050, 88200);
  const double tones[] = {300, 500, 700, 900, 1100};
  for (int channel = 0; channel < 5; ++channel) {
    EXPECT_NEAR(test::ToneFrequency(middle, 5, channel), tones[channel], 0.5) << channel;
    EXPECT_NEAR(test::LevelDb(middle, 5, channel), 0.0, 0.5) << channel;
  }
}

// Eight channels in one-second reads ask for 705,600 bytes at a time, more
// than the pending ring holds: decoded samples go straight to the caller and
// only the overshoot waits, so nothing is dropped.
TEST(FFmpegChannels, EightChannelsInOneSecondReadsLoseNothing) {
  const std::string path = FFmpegFixture("eight.flac");
  ASSERT_FALSE(path.empty());
  CDecoderFFMpeg decoder(1);
  TCodecFormat format;
  ASSERT_EQ(decoder.Open(path, format, kCodecRead), 1);
  ASSERT_EQ(format.channels, 8);
  ASSERT_GT(44100 * decoder.frameSize, CDecoderFFMpeg::kPendingBytes);
  const std::vector<float> all = test::ReadDecoderToEnd(decoder, 8, 44100);
  EXPECT_EQ(static_cast<int64_t>(all.size()) / 8, kSignalFrames);
  for (int channel = 0; channel < 8; ++channel) {
    EXPECT_NEAR(test::ToneFrequency(all, 8, channel), 300.0 + 200 * channel, 0.5) << channel;
    EXPECT_LT(test::LargestStep(all, 8, channel),
              0.5 * 2 * M_PI * (300.0 + 200 * channel) / 44100 * 1.05)
        << channel;
  }
}

// WMA states a length its decoder does not deliver (the codec's delay is
// nowhere in the file): the reader plays what there is, ends with a short
// read, and the length is corrected to the frames delivered.
TEST(FFmpegLength, WmaLengthIsCorrectedAtItsRealEnd) {
  const std::string path = FFmpegFixture("wma.wma");
  ASSERT_FALSE(path.empty());
  CDecoderFFMpeg decoder(1);
  TCodecFormat format;
  ASSERT_EQ(decoder.Open(path, format, kCodecRead), 1);
  const std::vector<float> all = test::ReadDecoderToEnd(decoder, 2, 44100);
  const int64_t delivered = static_cast<int64_t>(all.size()) / 2;
  EXPECT_NEAR(delivered, kSignalFrames, 4096);
  EXPECT_NEAR(format.frames, kSignalFrames, 4096);
  EXPECT_EQ(decoder.GetFrames(), delivered);
  EXPECT_NEAR(decoder.GetSeconds(), delivered / 44100.0, 1e-4);
  const std::vector<float> middle = test::Frames(all, 2, 22050, 88200);
  EXPECT_NEAR(test::ToneFrequency(middle, 2, 0), test::kSignalHz, 0.5);
  EXPECT_NEAR(test::LevelDb(middle, 2, 0), 0.0, 0.5);
}

}  // namespace
}  // namespace vantaro
