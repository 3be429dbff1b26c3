// The FFmpeg reader on its own: formats and channel layouts, lengths, the
// pending ring, leading silence, refusals. Files come from ffmpeg_fixtures
// (one 1000 Hz test signal encoded many ways).

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <ostream>
#include <vector>

#include "codecs/decoder_ffmpeg.h"
#include "tests/codecs/ffmpeg_fixtures.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::FFmpegFixture;
using test::kSignalFrames;
using test::OpenFixture;

struct FormatCase {
  const char* file;
  int sourceChannels;
  // Frames past the signal's 132300 the stream may carry: 0 where the file
  // says how much encoder delay and padding to drop; MP3 without an Info
  // header keeps its delay (576 + 529) and padding (under one 1152 packet),
  // raw ADTS AAC its priming (1024) and padding (under one 1024 packet).
  int extraFrames;
  // Channel c carries firstHz + c * stepHz (the many-channel files have a
  // tone of their own per channel, so a test can tell which landed where).
  double firstHz = test::kSignalHz;
  double stepHz = 0;
};

void PrintTo(const FormatCase& c, std::ostream* out) {
  *out << c.file;
}

// A decoder and the format its Open reports.
class FFmpegDecoderTest : public ::testing::Test {
 protected:
  CDecoderFFMpeg decoder{1};
  TCodecFormat format;
};
class FFmpegFormatTest : public FFmpegDecoderTest,
                         public ::testing::WithParamInterface<FormatCase> {};

// Each format plays from the first frame to its real end: the frame count
// reported at Open is the count delivered, every channel keeps its tone and
// level in its place, and a read past the end delivers nothing. Eight
// channels in one-second reads ask for more than the pending ring holds.
TEST_P(FFmpegFormatTest, PlaysWholeSignalWithToneAndLevelKept) {
  const FormatCase& c = GetParam();
  ASSERT_TRUE(OpenFixture(decoder, c.file, format));
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
  // Where the file names its encoder delay, the delay is dropped, not played
  // as silence.
  if (c.extraFrames == 0) {
    EXPECT_LT(test::FirstSoundFrame(all, format.channels, 0.01f), 20);
  }

  // The middle of the signal, away from codec edges.
  const std::vector<float> middle = test::Frames(all, format.channels, 22050, 88200);
  for (int channel = 0; channel < format.channels; ++channel) {
    const double hz = c.firstHz + channel * c.stepHz;
    EXPECT_NEAR(test::ToneFrequency(middle, format.channels, channel), hz, 0.5) << channel;
    EXPECT_NEAR(test::LevelDb(middle, format.channels, channel), 0.0, 0.5) << channel;
    // A sine at 0.5 moves at most 0.5 * 2 pi * hz / 44100 per sample (0.0712
    // at 1000 Hz): a larger step, past room for codec noise, is a click (a
    // lost or doubled block in the ring).
    EXPECT_LT(test::LargestStep(middle, format.channels, channel),
              std::max(0.085, M_PI * hz / 44100 * 1.2))
        << channel;
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
                      FormatCase{"flac48.flac", 2, 0}, FormatCase{"flac96.flac", 2, 0},
                      FormatCase{"adts.aac", 2, 2048}, FormatCase{"ext24.wav", 2, 0},
                      FormatCase{"five.m4a", 5, 0, 300, 200},
                      FormatCase{"eight.flac", 8, 0, 300, 200}),
    [](const ::testing::TestParamInfo<FormatCase>& info) {
      return test::FileTestName(info.param.file);
    });

TEST_F(FFmpegDecoderTest, PathsEndingsDecideAndTheKvSchemeIsDropped) {
  for (const char* path : {"a.mp3", "A.MP3", "b.m3e", "c.aac", "d.Ogg", "e.flac", "f.m4a", "g.opus",
                           "h.wma", "i.wav", "j.aif", "k.AIFF", "l.au", "plateau", "kv:/x/y.m3e"})
    EXPECT_TRUE(CDecoderFFMpeg::AcceptsPath(path)) << path;
  for (const char* path : {"a.mp4", "b.mkv", "c.fla", "d.mp3x", "e.cda", "", "mp", "f.avi"})
    EXPECT_FALSE(CDecoderFFMpeg::AcceptsPath(path)) << path;
  EXPECT_EQ(CDecoderFFMpeg::PlainPath("kv://music/a.m3e"), "/music/a.m3e");
  EXPECT_EQ(CDecoderFFMpeg::PlainPath("/music/kv:/a.mp3"), "/music/kv:/a.mp3");
  EXPECT_EQ(CDecoderFFMpeg::PlainPath("kv:"), "kv:");

  // A kv:/ path opens the plain file behind it.
  const std::string m3e = test::CutFixture("cbr.mp3", "song.m3e", 1.0);
  ASSERT_TRUE(OpenFixture(decoder, "kv:/" + m3e, format));
  EXPECT_EQ(format.frames, kSignalFrames);
  EXPECT_STREQ(decoder.GetName(), "ffmpeg-audio");
}

// Refusals leave the decoder closed and usable for the next file.
TEST_F(FFmpegDecoderTest, RefusalsVideoOnlyEmptyMissingWrongEndingAndSecondOpen) {
  const std::string video = FFmpegFixture("video.ogg");
  ASSERT_FALSE(video.empty());
  const std::string empty = test::FixtureScratchPath("empty.mp3");
  test::WriteFile(empty, "");
  const std::string text = test::FixtureScratchPath("text.flac");
  test::WriteFile(text, std::string(5000, 'x'));
  const std::string wrongEnding = test::CutFixture("cbr.mp3", "song.mp4", 1.0);
  for (const std::string& path :
       {video, empty, text, wrongEnding, test::FixtureScratchPath("missing.mp3")}) {
    EXPECT_EQ(decoder.Open(path, format, kCodecRead), 0) << path;
    EXPECT_EQ(decoder.opened, 0) << path;
    EXPECT_EQ(decoder.frameSize, 1) << path;
    EXPECT_EQ(decoder.GetSeconds(), 0.0f) << path;
    int16_t buffer[1024] = {};
    EXPECT_EQ(decoder.GetSamples(buffer, 256, 0), 0) << path;
  }
  ASSERT_TRUE(OpenFixture(decoder, "cbr.mp3", format));
  TCodecFormat second;
  EXPECT_EQ(decoder.Open(FFmpegFixture("cbr.mp3"), second, kCodecRead), 0);
  EXPECT_EQ(decoder.opened, 1);
  EXPECT_EQ(decoder.PutSamples(nullptr, 10), 0);
  EXPECT_EQ(test::ReadDecoderToEnd(decoder, 2, 44100).size(), size_t{kSignalFrames} * 2);
  decoder.Close();
  decoder.Close();
  EXPECT_EQ(decoder.opened, 0);
  EXPECT_EQ(decoder.GetSeconds(), 0.0f);
}

// A mu-law Au file (which only this reader takes) whose header claims a rate
// of 452 MHz or 200 channels is refused at once instead of making the
// resampler ask for gigabytes.
TEST_F(FFmpegDecoderTest, RefusalsImpossibleRatesAndChannelCountsInAHeader) {
  for (auto [rate, channels] :
       {std::pair{8000u, 1u}, std::pair{452000000u, 1u}, std::pair{8000u, 200u}}) {
    std::string file = ".snd";
    for (std::uint32_t word : {24u, 8000u, 1u /* mu-law */, rate, channels})
      for (int shift = 24; shift >= 0; shift -= 8) file += static_cast<char>(word >> shift);
    const std::string path = test::FixtureScratchPath("absurd.au");
    test::WriteFile(path, file + std::string(8000, '\x55'));
    const int sane = rate == 8000u && channels == 1u;
    EXPECT_EQ(decoder.Open(path, format, kCodecRead), sane) << rate << " Hz, " << channels;
    decoder.Close();
  }
}

// The pending ring hands decoded overshoot to the next read in order: any
// split of the reads gives the same samples, also through the rate converter
// (48 kHz) whose state runs across the joins.
TEST_F(FFmpegDecoderTest, RingReadSizesDoNotChangeTheSamples) {
  for (const char* file : {"vorbis.ogg", "flac48.flac"}) {
    std::vector<std::vector<float>> results;
    for (int block : {44100, 1000, 333, 777, 100000}) {
      CDecoderFFMpeg fresh(1);  // a new decoder for each block size
      ASSERT_TRUE(OpenFixture(fresh, file, format));
      int reads = 0;
      results.push_back(test::ReadDecoderToEnd(fresh, 2, block, &reads));
      EXPECT_EQ(reads, kSignalFrames / block + 1) << file << " " << block;
      EXPECT_EQ(fresh.framesDone, kSignalFrames) << file << " " << block;
    }
    for (size_t i = 1; i < results.size(); ++i)
      EXPECT_TRUE(results[i] == results[0]) << file << " " << i;
  }
}

// The decoder never seeks: a start frame other than 0 reads on from where the
// last read ended.
TEST_F(FFmpegDecoderTest, RingStartFrameIsIgnoredExceptZero) {
  CDecoderFFMpeg whole(1);
  ASSERT_TRUE(OpenFixture(whole, "flac.flac", format));
  const std::vector<float> expected =
      test::Frames(test::ReadDecoderToEnd(whole, 2, 44100), 2, 10000, 10000);
  ASSERT_TRUE(OpenFixture(decoder, "flac.flac", format));
  std::vector<int16_t> block(2 * 10000);
  ASSERT_EQ(decoder.GetSamples(block.data(), 10000, 0), 10000);
  ASSERT_EQ(decoder.GetSamples(block.data(), 10000, 90000), 10000);
  for (size_t i = 0; i < expected.size(); ++i) ASSERT_EQ(block[i] / 32768.0f, expected[i]) << i;
}

// Frames before the first sample above 0.01 in channel 0.
int64_t SilentFrames(const std::vector<float>& samples) {
  return test::FirstSoundFrame(samples, 2, 0.01f);
}

TEST_F(FFmpegDecoderTest, LeadingSilenceStartTimeBecomesSilenceOnEveryReadFromZero) {
  ASSERT_TRUE(OpenFixture(decoder, "late1.ogg", format));
  EXPECT_NEAR(format.frames, 44100 + kSignalFrames, 300);

  auto read60000FromZero = [&] {
    std::vector<int16_t> block(2 * 60000);
    EXPECT_EQ(decoder.GetSamples(block.data(), 60000, 0), 60000);
    std::vector<float> out(block.begin(), block.end());
    for (float& v : out) v /= 32768.0f;
    return out;
  };
  const std::vector<float> first = read60000FromZero();
  const int64_t lead = SilentFrames(first);
  EXPECT_NEAR(lead, 44100, 300);
  EXPECT_NEAR(test::ToneFrequency(test::Frames(first, 2, lead + 1000, 10000), 2, 0), 1000.0, 0.5);

  // A second read from 0 puts the silence in again, behind what the ring
  // still held: tone first, then a second second of silence, then tone.
  const std::vector<float> second = read60000FromZero();
  int64_t silent = 0;
  for (size_t i = 0; i < second.size(); i += 2)
    silent += second[i] == 0.0f && second[i + 1] == 0.0f;
  EXPECT_NEAR(silent, lead, 300);
  EXPECT_GT(test::Rms(test::Frames(second, 2, 0, 100), 2, 0), 0.2)
      << "the ring's tone must come first";
}

TEST_F(FFmpegDecoderTest, LeadingSilenceStopsAt441000Bytes) {
  ASSERT_TRUE(OpenFixture(decoder, "late5.ogg", format));
  const int64_t capFrames = CDecoderFFMpeg::kMaxLeadingSilenceBytes / 4;
  EXPECT_NEAR(format.frames, capFrames + kSignalFrames, 300);
  const std::vector<float> all = test::ReadDecoderToEnd(decoder, 2, 44100);
  const int64_t lead = SilentFrames(all);
  EXPECT_GE(lead, capFrames);
  EXPECT_LE(lead, capFrames + 10);
  EXPECT_EQ(static_cast<int64_t>(all.size()) / 2, decoder.GetFrames());
}

}  // namespace
}  // namespace vantaro
