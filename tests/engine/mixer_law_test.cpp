// The gain arithmetic on its own: the cheap logarithm, dB conversions and
// the laws at their edges.
#include "engine/mixer_law.h"

#include <gtest/gtest.h>

#include <cmath>

namespace vantaro {
namespace {

TEST(MixerLaw, FastLog10IsExactAtPowersOfTwoUpToItsDivisor) {
  for (int k = -30; k <= 30; ++k) EXPECT_DOUBLE_EQ(FastLog10(std::ldexp(1.0f, k)), k / 3.3125) << k;
  // Between powers of two it stays within 0.01 of log2 / 3.3125.
  for (float x : {0.3f, 0.7f, 1.5f, 3.0f, 1000.0f})
    EXPECT_NEAR(FastLog10(x), std::log2(x) / 3.3125, 0.01) << x;
}

TEST(MixerLaw, ConversionsAndTheirSilenceEdges) {
  EXPECT_EQ(DbToLinear(-318.8), 0.0);
  EXPECT_GT(DbToLinear(-318.7), 0.0);
  EXPECT_DOUBLE_EQ(DbToLinear(-20.0), 0.1);
  EXPECT_EQ(LinearToDb(0.0), kSilenceDb);
  EXPECT_EQ(LinearToDb(-1.0), kSilenceDb);
  EXPECT_EQ(LinearToDb(1.0), 0.0);
}

TEST(MixerLaw, PowBySquaringMatchesPow) {
  const float base = static_cast<float>(FaderBase(128));
  for (int k : {0, 1, 2, 7, 64, 126})
    EXPECT_NEAR(PowBySquaring(base, k) / std::pow(double(base), k), 1.0, 1e-5) << k;
}

// The ends and the hard cut are heard in the mixer tests; these are the
// edges only the law itself shows.
TEST(MixerLaw, FaderAndCrossfaderEdges) {
  const double base = FaderBase(128);
  EXPECT_EQ(FaderLawDb(0, 128, base), kOffDb);
  for (int p = 1; p < 127; ++p)
    ASSERT_LT(FaderLawLinear(p - 1, 128, base), FaderLawLinear(p, 128, base)) << p;
  // Two steps: bottom and top only.
  EXPECT_EQ(FaderLawLinear(1, 2, FaderBase(2)), 1.0f);
  EXPECT_EQ(FaderLawLinear(0, 2, FaderBase(2)), 0.0f);
  // Curve 0: the fall starts at once.
  EXPECT_EQ(CrossLawLinear(0, 128, 0, CrossBase(128, 0)), 1.0f);
  EXPECT_LT(CrossLawLinear(1, 128, 0, CrossBase(128, 0)), 1.0f);
}

}  // namespace
}  // namespace vantaro
