// Files made by sox in each supported variant are read through the codec set
// and compared with sox's own decoding of the same file.

#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <ostream>
#include <string>
#include <vector>

#include "codecs/codec_set.h"
#include "codecs/decoder_wav.h"
#include "tests/codecs/codec_test_files.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::LargestDifference;

struct TVariant {
  std::string extension;  // "wav", "aiff", "aif", "au"
  int rate;
  int channels;
  std::string soxFormat;
  int bits;  // stored bits, for the quantisation step
};

void PrintTo(const TVariant& v, std::ostream* out) {
  *out << v.extension << " " << v.rate << " Hz " << v.channels << " ch " << v.soxFormat;
}

class SoxFileTest : public ::testing::TestWithParam<TVariant> {};

// The file opens through its native reader as floats in its own rate and
// channel count, and every sample matches sox's decoding within one
// quantisation step of the file (never finer than float precision).
TEST_P(SoxFileTest, ReadsTheSamplesSoxReads) {
  const TVariant& v = GetParam();
  test::TempDir dir;
  const std::string made = dir.File("made." + v.extension);
  ASSERT_TRUE(test::MakeSoxTone(made, v.rate, v.channels, v.soxFormat));
  std::string path = made;
  // sox writes extensible headers for deep or many-channel WAV, which the
  // native reader refuses: read the same samples under a plain header.
  if (v.extension == "wav" && (v.bits > 16 || v.channels > 2)) {
    CDecoderWAV wav(30);
    TCodecFormat format{};
    EXPECT_EQ(wav.Open(made, format, kCodecRead), 0) << "extensible header read natively";
    path = dir.File("plain.wav");
    const bool isFloat = v.soxFormat.find("floating") != std::string::npos;
    ASSERT_TRUE(test::RewriteAsPlainWav(made, path, isFloat ? 3 : 1));
  }
  const std::vector<float> expected = test::SoxDecode(made);
  ASSERT_FALSE(expected.empty());
  CCodecSet set(30);
  TCodecFormat format{v.rate, v.channels, 32, 32, 0, 0};
  ASSERT_EQ(set.Open(path, format, kCodecRead, 4096), 1);
  EXPECT_STREQ(set.CurrentCodecName(), v.extension == "aif" ? "aiff" : v.extension.c_str());
  EXPECT_EQ(set.SourceFormat().sampleRate, v.rate);
  EXPECT_EQ(set.SourceFormat().channels, v.channels);
  EXPECT_EQ(set.SourceFormat().bitsPerSample, v.bits);
  EXPECT_EQ(set.SourceFormat().containerBits, v.bits);
  EXPECT_EQ(int64_t{format.frames} * v.channels, static_cast<int64_t>(expected.size()));
  const std::vector<float> decoded = test::ReadAllFloats(set, format, 4096);
  EXPECT_LE(LargestDifference(decoded, expected), std::max(std::ldexp(1.0, 1 - v.bits), 1.2e-7));
  // The tone must be there: a silent or constant decode would also be "close"
  // to a silent reference.
  EXPECT_GT(test::Rms(decoded, v.channels, 0), 0.4);
}

INSTANTIATE_TEST_SUITE_P(
    Variants, SoxFileTest,
    ::testing::Values(
        TVariant{"wav", 44100, 2, "-b 8", 8}, TVariant{"wav", 44100, 2, "-b 16", 16},
        TVariant{"wav", 44100, 2, "-b 24", 24},
        TVariant{"wav", 44100, 2, "-b 32 -e signed-integer", 32},
        TVariant{"wav", 44100, 2, "-b 32 -e floating-point", 32},
        TVariant{"wav", 22050, 1, "-b 16", 16}, TVariant{"wav", 48000, 1, "-b 8", 8},
        TVariant{"wav", 22050, 2, "-b 24", 24}, TVariant{"wav", 48000, 2, "-b 16", 16},
        TVariant{"wav", 44100, 5, "-b 16", 16},
        TVariant{"wav", 48000, 5, "-b 32 -e floating-point", 32},
        TVariant{"aiff", 11025, 2, "-b 16", 16}, TVariant{"aiff", 11025, 2, "-b 24", 24},
        TVariant{"aiff", 11025, 2, "-b 32", 32}, TVariant{"aiff", 44100, 2, "-b 16", 16},
        TVariant{"aiff", 44100, 2, "-b 24", 24}, TVariant{"aiff", 44100, 2, "-b 32", 32},
        TVariant{"aif", 44100, 1, "-b 16", 16},
        TVariant{"au", 44100, 2, "-b 8 -e signed-integer", 8},
        TVariant{"au", 44100, 2, "-b 16", 16}, TVariant{"au", 22050, 1, "-b 24", 24},
        TVariant{"au", 48000, 2, "-b 32 -e signed-integer", 32},
        TVariant{"au", 44100, 2, "-b 32 -e floating-point", 32}),
    [](const ::testing::TestParamInfo<TVariant>& info) {
      std::string name = info.param.extension + std::to_string(info.param.rate) + "_" +
                         std::to_string(info.param.channels) + "ch_" + info.param.soxFormat;
      for (char& ch : name)
        if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
      return name;
    });

// Opens a sox file made with `channels` channels at `rate` as `target`.
struct TOpened {
  std::vector<float> reference;
  std::vector<float> decoded;
  TCodecFormat format;
  int sourceFrames = 0;
};

TOpened OpenAs(const test::TempDir& dir, int rate, int channels, const std::string& soxFormat,
               TCodecFormat target, double seconds = 0.25) {
  TOpened result;
  const std::string made = dir.File("fit_made.wav");
  const std::string plain = dir.File("fit_plain.wav");
  EXPECT_TRUE(test::MakeSoxTone(made, rate, channels, soxFormat, seconds));
  EXPECT_TRUE(test::RewriteAsPlainWav(made, plain, 1));
  result.reference = test::SoxDecode(made);
  result.sourceFrames = static_cast<int>(result.reference.size() / channels);
  CCodecSet set(30);
  result.format = target;
  EXPECT_EQ(set.Open(plain, result.format, kCodecRead, 4096), 1);
  result.decoded = test::ReadAllFloats(set, result.format, 4096);
  return result;
}

// Mono is copied to both sides; more channels than the target keep the first
// ones, nothing mixed in.
TEST(ChannelFitting, MonoIsCopiedAndExtraChannelsAreDropped) {
  test::TempDir dir;
  for (auto [from, to] : {std::pair{1, 2}, std::pair{5, 2}, std::pair{2, 1}}) {
    SCOPED_TRACE(std::to_string(from) + " to " + std::to_string(to));
    TOpened r = OpenAs(dir, 44100, from, "-b 16", {44100, to, 32, 32, 0, 0});
    ASSERT_EQ(r.decoded.size(), r.reference.size() / from * to);
    for (int c = 0; c < to; ++c) {
      EXPECT_LE(LargestDifference(test::Channel(r.decoded, to, c),
                                  test::Channel(r.reference, from, std::min(c, from - 1))),
                1.0 / 32768)
          << c;
    }
    if (from == 1) {
      EXPECT_EQ(test::Channel(r.decoded, 2, 0), test::Channel(r.decoded, 2, 1));
    }
  }
}

TEST(RateConversion, LengthFollowsTheRoundingRule) {
  test::TempDir dir;
  for (int rate : {22050, 48000, 11025}) {
    SCOPED_TRACE(rate);
    TOpened r = OpenAs(dir, rate, 2, "-b 16", {44100, 2, 32, 32, 0, 0}, 0.3);
    const int64_t expected =
        std::llround(static_cast<double>(r.sourceFrames) * 44100.0 / static_cast<double>(rate));
    EXPECT_EQ(r.format.frames, expected);
    EXPECT_EQ(static_cast<int64_t>(r.decoded.size()), expected * 2);
    // The tone keeps its pitch and level through the conversion.
    EXPECT_NEAR(test::ToneFrequency(r.decoded, 2, 0), 300.0, 1.0);
    EXPECT_NEAR(test::ToneFrequency(r.decoded, 2, 1), 450.0, 1.5);
    EXPECT_NEAR(test::Rms(r.decoded, 2, 0), 0.7 / std::sqrt(2.0), 0.02);
  }
}

TEST(RateConversion, EachOutputIsTheLinearMixOfItsTwoNeighbours) {
  test::TempDir dir;
  const int block = 4096;
  TOpened r = OpenAs(dir, 48000, 2, "-b 16", {44100, 2, 32, 32, 0, 0}, 0.5);
  const int sourceBlock = static_cast<int>(std::llround(block * 48000.0 / 44100.0));
  ASSERT_GE(r.decoded.size(), static_cast<size_t>(block) * 2);
  const double step = static_cast<double>(sourceBlock) / block;
  double largest = 0;
  for (int i = 0; i + 1 < block; ++i) {
    const double position = i * step;
    const int p = static_cast<int>(position);
    const double f = position - p;
    for (int c = 0; c < 2; ++c) {
      const double want = r.reference[p * 2 + c] * (1 - f) + r.reference[(p + 1) * 2 + c] * f;
      largest = std::max(largest, std::fabs(want - r.decoded[i * 2 + c]));
    }
  }
  EXPECT_LE(largest, 1.0 / 32768);
  // The last frame of a block is the last source frame of that block.
  EXPECT_NEAR(r.decoded[(block - 1) * 2], r.reference[(sourceBlock - 1) * 2], 1.0 / 32768);
}

}  // namespace
}  // namespace vantaro
