// The cookbook designs by their responses at the points that define them,
// and RunBiquad's two code paths against each other.
#include "effects/biquad.h"

#include <gtest/gtest.h>

#include <complex>
#include <cstring>

#include "effects/processor_features.h"
#include "tests/effects/effect_test_signals.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

// |H| in dB of the designed coefficients at `hz`.
double ResponseDb(const TBiquad& f, double hz) {
  const std::complex<double> z1 = std::polar(1.0, -2.0 * M_PI * hz / 44100.0), z2 = z1 * z1;
  const auto h = (double(f.b0) + double(f.b1) * z1 + double(f.b2) * z2) /
                 (double(f.a0) + double(f.a1) * z1 + double(f.a2) * z2);
  return test::ToDb(std::abs(h));
}

TEST(Biquad, PassAndStopBandsOfEveryType) {
  TBiquad f;
  ASSERT_TRUE(DesignBiquad(f, 1000.0f, 0.0f, 0.70710677f, kBiquadLowPass));
  EXPECT_NEAR(ResponseDb(f, 1.0), 0.0, 0.01);
  EXPECT_NEAR(ResponseDb(f, 1000.0), -3.01, 0.05);
  EXPECT_LT(ResponseDb(f, 10000.0), -38.0);  // 12 dB per octave

  ASSERT_TRUE(DesignBiquad(f, 1000.0f, 0.0f, 0.70710677f, kBiquadHighPass));
  EXPECT_NEAR(ResponseDb(f, 22049.0), 0.0, 0.01);
  EXPECT_NEAR(ResponseDb(f, 1000.0), -3.01, 0.05);
  EXPECT_LT(ResponseDb(f, 100.0), -38.0);

  ASSERT_TRUE(DesignBiquad(f, 2000.0f, 0.0f, 4.0f, kBiquadBandPassSkirt));
  EXPECT_NEAR(ResponseDb(f, 2000.0), test::ToDb(4.0), 0.05);  // peak gain is q
  ASSERT_TRUE(DesignBiquad(f, 2000.0f, 0.0f, 4.0f, kBiquadBandPassPeak));
  EXPECT_NEAR(ResponseDb(f, 2000.0), 0.0, 0.01);
  EXPECT_LT(ResponseDb(f, 200.0), -25.0);

  ASSERT_TRUE(DesignBiquad(f, 3000.0f, 0.0f, 2.0f, kBiquadNotch));
  EXPECT_LT(ResponseDb(f, 3000.0), -100.0);
  EXPECT_NEAR(ResponseDb(f, 100.0), 0.0, 0.01);

  ASSERT_TRUE(DesignBiquad(f, 3000.0f, 0.0f, 0.7f, kBiquadAllPass));
  for (double hz : {50.0, 3000.0, 15000.0}) EXPECT_NEAR(ResponseDb(f, hz), 0.0, 0.001);

  ASSERT_TRUE(DesignBiquad(f, 1612.45f, -9.0f, 0.6f, kBiquadPeaking));
  EXPECT_NEAR(ResponseDb(f, 1612.45), -9.0, 0.01);
  EXPECT_NEAR(ResponseDb(f, 20.0), 0.0, 0.05);

  ASSERT_TRUE(DesignBiquad(f, 260.0f, 6.0f, 0.95f, kBiquadLowShelf));
  EXPECT_NEAR(ResponseDb(f, 1.0), 6.0, 0.01);
  EXPECT_NEAR(ResponseDb(f, 260.0), 3.0, 0.05);  // half the shelf at the corner
  EXPECT_NEAR(ResponseDb(f, 20000.0), 0.0, 0.05);

  ASSERT_TRUE(DesignBiquad(f, 6000.0f, -12.0f, 0.95f, kBiquadHighShelf));
  EXPECT_NEAR(ResponseDb(f, 22049.0), -12.0, 0.05);
  EXPECT_NEAR(ResponseDb(f, 6000.0), -6.0, 0.05);
  EXPECT_NEAR(ResponseDb(f, 10.0), 0.0, 0.01);
}

TEST(Biquad, UnknownTypeLeavesTheFilterAsItWas) {
  TBiquad f;
  ASSERT_TRUE(DesignBiquad(f, 500.0f, 0.0f, 0.7f, kBiquadLowPass));
  const TBiquad before = f;
  EXPECT_FALSE(DesignBiquad(f, 9000.0f, 3.0f, 2.0f, 0));
  EXPECT_FALSE(DesignBiquad(f, 9000.0f, 3.0f, 2.0f, 10));
  EXPECT_EQ(std::memcmp(&before, &f, sizeof f), 0);
}

TEST(Biquad, RunsOnOneChannelOfAnInterleavedBlock) {
  // A 5 kHz sine on both sides; low-pass at 500 Hz on the left only.
  std::vector<float> block = test::StereoSine(5000.0, 8820);
  const std::vector<float> original = block;
  TBiquad f;
  DesignBiquad(f, 500.0f, 0.0f, 0.70710677f, kBiquadLowPass);
  RunBiquad(f, block.data(), static_cast<int>(block.size()), 0, 2);
  const auto tail = test::FrameRange(block, 4410, 8820);
  const double expected = ResponseDb(f, 5000.0);  // about -40 dB
  EXPECT_NEAR(
      test::ToDb(test::Rms(tail, 2, 0) / test::Rms(test::FrameRange(original, 4410, 8820), 2, 0)),
      expected, 0.2);
  for (size_t i = 1; i < block.size(); i += 2) ASSERT_EQ(block[i], original[i]) << i;
}

TEST(Biquad, ScalarAndVectorPathsAgreeToTheBit) {
  DetectProcessorFeatures();
  std::vector<float> noise(4096 * 2);
  unsigned seed = 12345;
  for (float& v : noise) {
    seed = seed * 1103515245u + 12345u;
    v = static_cast<float>(static_cast<int>(seed >> 8) % 20000) / 20000.0f - 0.5f;
  }
  for (int type = kBiquadLowPass; type <= kBiquadHighShelf; ++type) {
    TBiquad a, b;
    DesignBiquad(a, 777.0f, 4.5f, 0.8f, type);
    b = a;
    std::vector<float> x = noise, y = noise;
    // Two calls each, so that the history carried between blocks is checked.
    RunBiquadScalar(a, x.data(), 4096, 1, 2);
    RunBiquadScalar(a, x.data() + 4096, 4096, 1, 2);
    RunBiquadVector(b, y.data(), 4096, 1, 2);
    RunBiquadVector(b, y.data() + 4096, 4096, 1, 2);
    ASSERT_EQ(std::memcmp(x.data(), y.data(), x.size() * sizeof(float)), 0) << "type " << type;
    EXPECT_NE(x, noise);
  }
}

TEST(Biquad, ResetClearsHistoryOnly) {
  TBiquad f;
  DesignBiquad(f, 300.0f, 0.0f, 0.7f, kBiquadLowPass);
  std::vector<float> block = test::StereoSine(100.0, 512);
  RunBiquad(f, block.data(), 1024, 0, 2);
  EXPECT_NE(f.y1, 0.0f);
  const float b0 = f.b0;
  ResetBiquad(f);
  EXPECT_EQ(f.x1, 0.0f);
  EXPECT_EQ(f.y2, 0.0f);
  EXPECT_EQ(f.b0, b0);
}

}  // namespace
}  // namespace vantaro
