// The FFmpeg reader on its own: formats, lengths, the pending ring, leading
// silence, refusals. Files come from ffmpeg_fixtures (one 1000 Hz test signal
// encoded many ways).

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "codecs/decoder_ffmpeg.h"
#include "tests/codecs/ffmpeg_fixtures.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::FFmpegFixture;
using test::kSignalFrames;

struct FormatCase {
  const char* file;
  int sourceChannels;
  // Frames past the signal's 132300 the stream may carry: 0 where the file
  // says how much encoder delay and padding to drop; MP3 without an Info
  // header keeps its delay (576 + 529) and padding (under one 1152 packet).
  int extraFrames;
};

class FFmpegFormatTest : public ::testing::TestWithParam<FormatCase> {};

// Each format plays from the first frame to its real end: the frame count
// reported at Open is the count delivered, the tone keeps its frequency and
// level, and a read past the end delivers nothing.
TEST_P(FFmpegFormatTest, PlaysWholeSignalWithToneAndLevelKept) {
  const FormatCase& c = GetParam();
  const std::string path = FFmpegFixture(c.file);
  ASSERT_FALSE(path.empty()) << "could not make " << c.file;
  CDecoderFFMpeg decoder(1);
  TCodecFormat format;
  ASSERT_EQ(decoder.Open(path, format, kCodecRead), 1);
  EXPECT_EQ(format.sampleRate, 44100);
  EXPECT_EQ(format.channels, c.sourceChannels);
  EXPECT_EQ(format.bitsPerSample, 16);
  EXPECT_EQ(format.containerBits, 16);
  EXPECT_EQ(format.flags, 0);
  EXPECT_EQ(decoder.frameSize, 2 * c.sourceChannels);

  const std::vector<float> all = test::ReadDecoderToEnd(decoder, format.channels, 44100);
  const int64_t delivered = static_cast<int64_t>(all.size()) / format.channels;
  EXPECT_EQ(delivered, format.frames) << "reported length is not the real length";
  EXPECT_GE(delivered, kSignalFrames);
  EXPECT_LE(delivered, kSignalFrames + c.extraFrames);
  EXPECT_TRUE(decoder.ReachedEnd());
  EXPECT_EQ(decoder.GetFrames(), delivered);
  EXPECT_NEAR(decoder.GetSeconds(), delivered / 44100.0, 1e-4);

  // The middle of the signal, away from codec edges.
  const std::vector<float> middle = test::Frames(all, format.channels, 22050, 88200);
  for (int channel = 0; channel < std::min(2, format.channels); ++channel) {
    EXPECT_NEAR(test::ToneFrequency(middle, format.channels, channel), test::kSignalHz, 0.5)
        << channel;
    EXPECT_NEAR(test::LevelDb(middle, format.channels, channel), 0.0, 0.5) << channel;
    // A sine of 1000 Hz at 0.5 moves at most 0.0712 per sample: a larger
    // step is a click (a lost or doubled block in the ring).
    EXPECT_LT(test::LargestStep(middle, format.channels, channel), 0.085) << channel;
  }

  std::vector<int16_t> after(4096 * format.channels, 7);
  EXPECT_EQ(decoder.GetSamples(after.data(), 4096, kContinueFrame), 0);
  EXPECT_EQ(after[0], 7) << "a read past the end wrote into the buffer";
}

INSTANTIATE_TEST_SUITE_P(
    Formats, FFmpegFormatTest,
    ::testing::Values(FormatCase{"cbr.mp3", 2, 0}, FormatCase{"vbr.mp3", 2, 0},
                      FormatCase{"cbr_noxing.mp3", 2, 2300}, FormatCase{"vbr_noxing.mp3", 2, 2300},
                      FormatCase{"aac.m4a", 2, 0}, FormatCase{"vorbis.ogg", 2, 0},
                      FormatCase{"opus.opus", 2, 0}, FormatCase{"flac.flac", 2, 0},
                      FormatCase{"flac48.flac", 2, 0}, FormatCase{"ext24.wav", 2, 0}),
    [](const ::testing::TestParamInfo<FormatCase>& info) {
      std::string name = info.param.file;
      for (char& ch : name)
        if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
      return name;
    });

}  // namespace
}  // namespace vantaro
