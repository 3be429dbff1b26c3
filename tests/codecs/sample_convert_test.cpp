// The conversion steps of the codec set that files do not reach on their own:
// the finite-output guard, the ends of linear rate conversion, the edges of
// the frame-count rule. Widening, byte order, channel fitting and AIFF rates
// are proven through files (native_file_test).

#include "codecs/sample_convert.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "codecs/codec_set.h"

namespace vantaro {
namespace {

TEST(SampleConvert, FiniteGuardSilencesNaNAndHoldsTheRange) {
  std::vector<float> samples = {NAN, INFINITY, -INFINITY, 1e30f, -100.0f, 0.25f, -kLargestSample};
  KeepSamplesFinite(samples.data(), static_cast<int64_t>(samples.size()));
  EXPECT_EQ(samples,
            (std::vector<float>{0, 0, 0, kLargestSample, -kLargestSample, 0.25f, -kLargestSample}));
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

// Rounds to the nearest (919.67 up), refuses what is not positive, does not
// overflow 32 bits.
TEST(SampleConvert, FrameCountConversionRoundsAndRefusesNonPositive) {
  EXPECT_EQ(ConvertFrameCount(1001, 44100, 48000), 920);
  EXPECT_EQ(ConvertFrameCount(-10, 44100, 48000) + ConvertFrameCount(10, 0, 48000), 0);
  EXPECT_EQ(ConvertFrameCount(int64_t{1} << 40, 96000, 44100), 2393494699921);
}

}  // namespace
}  // namespace vantaro
