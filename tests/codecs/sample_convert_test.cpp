// The conversion steps of the codec set that no file reaches on its own: the
// finite-output guard, channel fitting in place, linear rate conversion, the
// frame-count rule and the extended float of AIFF rates. Widening and byte
// order are proven through files of every depth (native_file_test).

#include "codecs/sample_convert.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "codecs/byte_order.h"
#include "codecs/codec_set.h"

namespace vantaro {
namespace {

TEST(SampleConvert, FiniteGuardSilencesNaNAndHoldsTheRange) {
  std::vector<float> samples = {NAN, INFINITY, -INFINITY, 1e30f, -100.0f, 0.25f, -kLargestSample};
  KeepSamplesFinite(samples.data(), static_cast<int64_t>(samples.size()));
  EXPECT_EQ(samples,
            (std::vector<float>{0, 0, 0, kLargestSample, -kLargestSample, 0.25f, -kLargestSample}));
}

TEST(SampleConvert, FittingChannelsInPlace) {
  // Mono to three channels: every channel is the mono sample.
  std::vector<float> up = {1, 2, 3, 0, 0, 0, 0, 0, 0};
  FitChannels(up.data(), 3, 1, 3);
  EXPECT_EQ(up, (std::vector<float>{1, 1, 1, 2, 2, 2, 3, 3, 3}));
  // Stereo to four: channels 2 and 3 repeat the last source channel.
  std::vector<float> stereo = {1, 2, 3, 4, 0, 0, 0, 0};
  FitChannels(stereo.data(), 2, 2, 4);
  EXPECT_EQ(stereo, (std::vector<float>{1, 2, 2, 2, 3, 4, 4, 4}));
  // Five to two: the first two kept, nothing mixed in.
  std::vector<float> five = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  FitChannels(five.data(), 2, 5, 2);
  EXPECT_EQ(std::vector<float>(five.begin(), five.begin() + 4), (std::vector<float>{1, 2, 6, 7}));
}

// A ramp stays a ramp: output i sits at i * (in / out) input frames, held at
// the last input frame, which is also the last output. The input has no
// frame more than it says (the sanitizer sees a read past it).
TEST(SampleConvert, LinearResamplingOfARampAndItsEnds) {
  const int inFrames = 100;
  std::vector<float> in(inFrames * 2);
  for (int i = 0; i < inFrames; ++i) {
    in[i * 2] = static_cast<float>(i);
    in[i * 2 + 1] = static_cast<float>(-2 * i);
  }
  for (int outFrames : {147, 400, 50}) {
    std::vector<float> out(outFrames * 2, -99.0f);
    ResampleLinear(in.data(), inFrames, out.data(), outFrames, 2);
    const double step = static_cast<double>(inFrames) / outFrames;
    for (int i = 0; i < outFrames; ++i) {
      const double want = i + 1 < outFrames ? std::min(i * step, inFrames - 1.0) : inFrames - 1;
      ASSERT_NEAR(out[i * 2], want, 1e-4) << outFrames << ": " << i;
      ASSERT_NEAR(out[i * 2 + 1], -2 * want, 2e-4) << outFrames << ": " << i;
    }
  }
}

TEST(SampleConvert, FrameCountConversionRoundsAndRefusesNonPositive) {
  const struct {
    int64_t a, b, c, want;
  } cases[] = {{1000, 44100, 22050, 2000},
               {1001, 44100, 48000, 920},  // 919.67 rounds up
               {3, 1, 2, 2},               // 1.5 rounds away from zero
               {0, 44100, 48000, 0},
               {10, 0, 48000, 0},
               {10, 44100, 0, 0},
               {-10, 44100, 48000, 0},
               {int64_t{1} << 40, 96000, 44100, 2393494699921},  // no 32-bit overflow
               {INT64_MAX, INT64_MAX, 1, INT64_MAX}};            // saturates
  for (const auto& c : cases)
    EXPECT_EQ(ConvertFrameCount(c.a, c.b, c.c), c.want) << c.a << " * " << c.b << " / " << c.c;
}

TEST(ByteOrder, ExtendedFloatRates) {
  for (uint32_t rate : {1u, 11025u, 44100u, 96000u, 192000u}) {
    uint8_t bytes[10];
    WriteExtended80(bytes, rate);
    EXPECT_EQ(ReadExtended80(bytes), static_cast<double>(rate)) << rate;
  }
  const struct {
    uint8_t bytes[10];
    double want;
  } known[] = {{{0x40, 0x0E, 0xAC, 0x44}, 44100.0},
               {{0xC0, 0x0E, 0xAC, 0x44}, -44100.0},
               {{}, 0.0},
               {{0x7f, 0xff, 0x80}, -1.0}};  // infinity is no rate
  for (const auto& k : known) EXPECT_EQ(ReadExtended80(k.bytes), k.want) << k.want;
}

}  // namespace
}  // namespace vantaro
