// Lengths the deck can rely on: MP3 without a Xing/Info header, damaged
// files, WMA, and a high tone through the rate converter.

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

using test::kSignalFrames;

struct Played {
  TCodecFormat openFormat;
  std::vector<float> samples;  // stereo
  int64_t frames = 0;
};

// Plays fixture `name` (or the file `name`) to its end; the length the
// decoder gives afterwards must be the frames delivered, and a read after
// the end must deliver nothing.
Played PlayToEnd(const std::string& name) {
  Played result;
  CDecoderFFMpeg decoder(1);
  EXPECT_TRUE(test::OpenFixture(decoder, name, result.openFormat));
  if (!decoder.opened) return result;
  result.samples = test::ReadDecoderToEnd(decoder, 2, 44100);
  result.frames = static_cast<int64_t>(result.samples.size()) / 2;
  EXPECT_EQ(decoder.GetFrames(), result.frames) << "length not corrected at the real end";
  EXPECT_NEAR(decoder.GetSeconds(), result.frames / 44100.0, 1e-4);
  int16_t after[2 * 512];
  EXPECT_EQ(decoder.GetSamples(after, 512, kContinueFrame), 0);
  return result;
}

// A VBR MP3 without a Xing header has only a bit-rate estimate of its length,
// and that estimate is wrong by thousands of frames. The count made at Open
// must still be the frames the file really plays.
TEST(FFmpegLength, Mp3WithoutInfoHeaderReportsItsRealLength) {
  const std::string path = test::FFmpegFixture("vbr_noxing.mp3");
  ASSERT_FALSE(path.empty());
  FFmpegAudioStream stream;
  std::string error;
  ASSERT_TRUE(stream.Open(path, error)) << error;
  EXPECT_TRUE(stream.CountedPackets());
  // The container's own idea of the length, as ffprobe reports it.
  std::string seconds;
  test::RunCommand("ffprobe -v error -show_entries format=duration -of csv=p=0 '" + path + "'",
                   &seconds);
  const int64_t estimate = std::llround(std::atof(seconds.c_str()) * 44100.0);
  ASSERT_GT(estimate, 0);

  const Played played = PlayToEnd(path);
  EXPECT_EQ(played.openFormat.frames, stream.ExpectedFrames());
  EXPECT_GT(std::llabs(estimate - played.frames), 1000)
      << "the file should be one whose header length is wrong";
  EXPECT_EQ(played.openFormat.frames, played.frames);
  // Whole MP3 packets of 1152 frames: the delay and padding are not known.
  EXPECT_EQ(played.frames % 1152, 0);
}

// An MP3 cut at 60 % of its bytes plays up to where it breaks, then stops; a
// FLAC cut at a third states the whole length in its header and is corrected
// at its early end.
TEST(FFmpegLength, TruncatedFilesPlayToTheBreakAndStop) {
  for (const char* name : {"cbr.mp3", "vbr_noxing.mp3"}) {
    const Played cut = PlayToEnd(test::CutFixture(name, std::string("cut_") + name, 0.6));
    ASSERT_GT(cut.frames, 0) << name;
    // The packets counted at Open end at the break; a cut packet counted
    // there but not decodable is taken off at the end.
    EXPECT_GE(cut.openFormat.frames, cut.frames) << name;
    EXPECT_LE(cut.openFormat.frames, cut.frames + 1152) << name;
    EXPECT_NEAR(cut.frames, kSignalFrames * 0.6, 0.05 * kSignalFrames) << name;
    EXPECT_NEAR(test::ToneFrequency(test::Frames(cut.samples, 2, 22050, 44100), 2, 0),
                test::kSignalHz, 0.5)
        << name;
  }
  const Played flac = PlayToEnd(test::CutFixture("flac.flac", "cut.flac", 1.0 / 3));
  EXPECT_EQ(flac.openFormat.frames, kSignalFrames) << "the header states the whole length";
  EXPECT_GT(flac.frames, 0);
  EXPECT_LT(flac.frames, kSignalFrames / 2);
}

// Garbage in the middle of an MP3 costs at most the packets it hit.
TEST(FFmpegLength, CorruptMiddleOfMp3IsSkippedNotFatal) {
  const std::string full = test::FFmpegFixture("cbr.mp3");
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
  const Played damaged = PlayToEnd(broken);
  const std::string log = test::ReadFile(DebugLogPath());
  SetDebugLogFolder("");
  // One line for the file says what was lost.
  EXPECT_NE(log.find("broken.mp3 ends at frame " + std::to_string(damaged.frames)),
            std::string::npos)
      << log;
  EXPECT_NE(log.find("damaged packets skipped)"), std::string::npos) << log;
  EXPECT_GT(damaged.frames, kSignalFrames * 0.8);
  EXPECT_LE(damaged.frames, kSignalFrames);
  EXPECT_NEAR(test::ToneFrequency(test::Frames(damaged.samples, 2, 4410, 44100), 2, 0),
              test::kSignalHz, 0.5);
}

// A filter that passes the top octave: a 15 kHz tone at 48 kHz arrives at
// 44100 Hz with its level (a linear interpolator loses about 1.5 dB here and
// adds images).
TEST(FFmpegLength, HighToneKeepsItsLevelThroughRateConversion) {
  const std::string path = test::FixtureScratchPath("high48.flac");
  ASSERT_EQ(
      test::RunCommand("sox -D -n -r 48000 -c 2 -b 16 '" + path + "' synth 2 sine 15000 vol 0.5"),
      0);
  const Played played = PlayToEnd(path);
  EXPECT_EQ(played.frames, 88200);
  const std::vector<float> middle = test::Frames(played.samples, 2, 4410, 44100);
  EXPECT_NEAR(test::LevelDb(middle, 2, 0), 0.0, 0.2);
  EXPECT_NEAR(test::ToneFrequency(middle, 2, 0), 15000.0, 2.0);
}

// WMA states a length its decoder does not deliver (the codec's delay is
// nowhere in the file): the reader plays what there is, ends with a short
// read, and the length is corrected to the frames delivered.
TEST(FFmpegLength, WmaLengthIsCorrectedAtItsRealEnd) {
  const Played played = PlayToEnd("wma.wma");
  EXPECT_NEAR(played.frames, kSignalFrames, 4096);
  EXPECT_NEAR(played.openFormat.frames, kSignalFrames, 4096);
  const std::vector<float> middle = test::Frames(played.samples, 2, 22050, 88200);
  EXPECT_NEAR(test::ToneFrequency(middle, 2, 0), test::kSignalHz, 0.5);
  EXPECT_NEAR(test::LevelDb(middle, 2, 0), 0.0, 0.5);
}

}  // namespace
}  // namespace vantaro
