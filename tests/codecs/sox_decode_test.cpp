// Files made by sox in each supported variant are read through the codec set
// and compared with sox's own decoding of the same file.

#include <gtest/gtest.h>

#include <cmath>
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
  std::string extension;  // "wav", "aiff", "au"
  int rate;
  int channels;
  std::string soxFormat;
  int bits;            // stored bits, for the quantisation step
  bool floatSamples;   // 32-bit float file
  bool needsPlainWav;  // sox writes this one with an extensible header
};

std::string Describe(const TVariant& v) {
  return v.extension + " " + std::to_string(v.rate) + " Hz " + std::to_string(v.channels) + " ch " +
         v.soxFormat;
}

// Opens `path` as floats in its own rate and channel count and checks every
// sample against sox's decoding of `reference`.
void ExpectSameAsSox(const std::string& path, const std::string& reference, const TVariant& v,
                     const char* codecName) {
  const std::vector<float> expected = test::SoxDecode(reference);
  ASSERT_FALSE(expected.empty());
  CCodecSet set(30);
  TCodecFormat format{v.rate, v.channels, 32, 32, 0, 0};
  ASSERT_EQ(set.Open(path, format, kCodecRead, 4096), 1);
  EXPECT_STREQ(set.CurrentCodecName(), codecName);
  EXPECT_EQ(set.SourceFormat().sampleRate, v.rate);
  EXPECT_EQ(set.SourceFormat().channels, v.channels);
  EXPECT_EQ(set.SourceFormat().bitsPerSample, v.bits);
  EXPECT_EQ(set.SourceFormat().containerBits, v.bits);
  EXPECT_EQ(int64_t{format.frames} * v.channels, static_cast<int64_t>(expected.size()));
  const std::vector<float> decoded = test::ReadAllFloats(set, format, 4096);
  // One quantisation step of the file, but never finer than float precision.
  const double step = std::max(std::ldexp(1.0, -(v.bits - 1)), 1.2e-7);
  EXPECT_LE(LargestDifference(decoded, expected), step);
  // The tone must be there: a silent or constant decode would also be "close"
  // to a silent reference.
  EXPECT_GT(test::Rms(decoded, v.channels, 0), 0.4);
}

void CheckVariants(const std::vector<TVariant>& variants, const char* codecName) {
  test::TempDir dir;
  for (const TVariant& v : variants) {
    SCOPED_TRACE(Describe(v));
    const std::string made = dir.File("made." + v.extension);
    ASSERT_TRUE(test::MakeSoxTone(made, v.rate, v.channels, v.soxFormat));
    std::string path = made;
    if (v.needsPlainWav) {
      path = dir.File("plain.wav");
      ASSERT_TRUE(test::RewriteAsPlainWav(made, path, v.floatSamples ? 3 : 1));
      CDecoderWAV wav(30);
      TCodecFormat format{};
      EXPECT_EQ(wav.Open(made, format, kCodecRead), 0)
          << "sox's extensible header is not read natively";
    }
    ExpectSameAsSox(path, made, v, codecName);
  }
}

TEST(SoxFiles, WavIntegerAndFloatDepths) {
  CheckVariants({{"wav", 44100, 2, "-b 8", 8, false, false},
                 {"wav", 44100, 2, "-b 16", 16, false, false},
                 {"wav", 44100, 2, "-b 24", 24, false, true},
                 {"wav", 44100, 2, "-b 32 -e signed-integer", 32, false, true},
                 {"wav", 44100, 2, "-b 32 -e floating-point", 32, true, true}},
                "wav");
}

TEST(SoxFiles, WavChannelCountsAndRates) {
  CheckVariants({{"wav", 22050, 1, "-b 16", 16, false, false},
                 {"wav", 48000, 1, "-b 8", 8, false, false},
                 {"wav", 22050, 2, "-b 24", 24, false, true},
                 {"wav", 48000, 2, "-b 16", 16, false, false},
                 {"wav", 44100, 5, "-b 16", 16, false, true},
                 {"wav", 48000, 5, "-b 32 -e floating-point", 32, true, true}},
                "wav");
}

TEST(SoxFiles, AiffDepthsAt11025And44100) {
  std::vector<TVariant> variants;
  for (int rate : {11025, 44100}) {
    for (int bits : {16, 24, 32}) {
      variants.push_back({"aiff", rate, 2, "-b " + std::to_string(bits), bits, false, false});
    }
  }
  variants.push_back({"aif", 44100, 1, "-b 16", 16, false, false});
  CheckVariants(variants, "aiff");
}

TEST(SoxFiles, AuDepths) {
  CheckVariants({{"au", 44100, 2, "-b 8 -e signed-integer", 8, false, false},
                 {"au", 44100, 2, "-b 16", 16, false, false},
                 {"au", 22050, 1, "-b 24", 24, false, false},
                 {"au", 48000, 2, "-b 32 -e signed-integer", 32, false, false},
                 {"au", 44100, 2, "-b 32 -e floating-point", 32, true, false}},
                "au");
}

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
