// The equalisers and filters: the cookbook biquad designs by their
// responses at the points that define them, the vector paths against the
// plain ones, and the three-band equaliser measured
// with sines (the response with every band at 0 dB, the kill rule, the gain
// ramps; the depth of each kill is heard through the mixer, EqKill).
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "effects/biquad.h"
#include "effects/equalizer_iir.h"
#include "effects/processor_features.h"
#include "tests/effects/test_effects.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::Part;
using test::Sine;

TEST(Biquad, PassAndStopBandsOfEveryType) {
  struct Point {
    double hz, db, tolerance;
  };
  struct Design {
    int type;
    float hz, gainDb, q;
    Point points[3];
  };
  const Design designs[] = {
      // 12 dB an octave beyond the corner; a tolerance of 0 marks a bound.
      {kBiquadLowPass, 1000, 0, 0.7071f, {{1, 0, 0.01}, {1000, -3.01, 0.05}, {10000, -38, 0}}},
      {kBiquadHighPass, 1000, 0, 0.7071f, {{22049, 0, 0.01}, {1000, -3.01, 0.05}, {100, -38, 0}}},
      // Constant skirt: the peak gain is q.
      {kBiquadBandPassSkirt, 2000, 0, 4, {{2000, 12.04, 0.05}, {200, -19, 0}, {20000, -13, 0}}},
      {kBiquadBandPassPeak, 2000, 0, 4, {{2000, 0, 0.01}, {200, -30, 0}, {20000, -25, 0}}},
      {kBiquadNotch, 3000, 0, 2, {{3000, -100, 0}, {100, 0, 0.01}, {20000, 0, 0.05}}},
      {kBiquadAllPass, 3000, 0, 0.7f, {{50, 0, 0.001}, {3000, 0, 0.001}, {15000, 0, 0.001}}},
      {kBiquadPeaking, 1612.45f, -9, 0.6f, {{1612.45, -9, 0.01}, {20, 0, 0.05}, {20000, 0, 0.1}}},
      // Shelves: half the shelf at the corner.
      {kBiquadLowShelf, 260, 6, 0.95f, {{1, 6, 0.01}, {260, 3, 0.05}, {20000, 0, 0.05}}},
      {kBiquadHighShelf, 6000, -12, 0.95f, {{22049, -12, 0.05}, {6000, -6, 0.05}, {10, 0, 0.01}}},
  };
  for (const Design& d : designs) {
    TBiquad f;
    ASSERT_TRUE(DesignBiquad(f, d.hz, d.gainDb, d.q, d.type));
    // An unknown type leaves the filter as it was.
    const TBiquad before = f;
    EXPECT_FALSE(DesignBiquad(f, 9000.0f, 3.0f, 2.0f, d.type % 2 ? 0 : 10));
    EXPECT_EQ(std::memcmp(&before, &f, sizeof f), 0);
    for (const Point& p : d.points) {
      SCOPED_TRACE(testing::Message() << "type " << d.type << " at " << p.hz << " Hz");
      if (p.tolerance > 0)
        EXPECT_NEAR(test::CookbookDb(f, p.hz), p.db, p.tolerance);
      else
        EXPECT_LT(test::CookbookDb(f, p.hz), p.db);  // a stop band: `db` is a bound
    }
  }
}

void RunInBlocks(CEffectEqualizerIIR& eq, std::vector<float>& signal, int blockFrames = 441) {
  const int frames = static_cast<int>(signal.size() / 2);
  for (int done = 0; done < frames; done += blockFrames)
    eq.Process(signal.data() + done * 2, std::min(blockFrames, frames - done), 120.0f);
}

// The vector paths against the plain ones, to the bit: one and two sections
// of every type, the sides designed apart so that a swapped lane shows, over
// two calls so that the history carried between blocks counts; then the
// equaliser with a band ramping.
TEST(Biquad, VectorPathsAgreeWithThePlainOnesToTheBit) {
  DetectProcessorFeatures();
  const std::vector<float> noise = test::Noise(4096, 12345, /*sidesApart=*/true);
  for (int type = kBiquadLowPass; type <= kBiquadHighShelf; ++type) {
    for (int sections = 1; sections <= 2; ++sections) {
      TBiquad a[2][2], b[2][2];  // [side][section]
      for (int s = 0; s < 2; ++s) {
        DesignBiquad(a[0][s], 777.0f, 4.5f, 0.8f, type);
        DesignBiquad(a[1][s], 3100.0f, -6.0f, 2.0f, type);
      }
      std::memcpy(b, a, sizeof a);
      std::vector<float> x = noise, y = noise;
      for (int half = 0; half < 2; ++half) {
        RunBiquadPairScalar(a[0], a[1], sections, x.data() + half * 4096, 2048);
        RunBiquadPairVector(b[0], b[1], sections, y.data() + half * 4096, 2048);
      }
      ASSERT_EQ(x, y) << "type " << type << ", " << sections << " section(s)";
      EXPECT_NE(x[4097], noise[4097]);
    }
  }
  // Blocks of 441 and of one frame: the four-lane path fills and drains a
  // pipe in each block.
  auto equalise = [&](const ProcessorFeatures& cpu, int blockFrames) {
    UseProcessorFeaturesForTests(cpu);
    CEffectEqualizerIIR eq;
    eq.Start();
    eq.SetParam(1, 6);
    std::vector<float> out = noise;
    RunInBlocks(eq, out, blockFrames);
    return out;
  };
  const ProcessorFeatures plain, sse2{.sse2 = true}, all{true, true, true, true};
  for (int blockFrames : {441, 1}) {
    const std::vector<float> reference = equalise(plain, blockFrames);
    EXPECT_EQ(equalise(sse2, blockFrames), reference) << blockFrames;
    EXPECT_EQ(equalise(all, blockFrames), reference) << blockFrames;
  }
  DetectProcessorFeatures();
}

// Steady-state gain in dB at `hz` (left channel) of a started equaliser
// with `band` (1..3, or 0 for none) set to `db`.
double MeasureGainDb(double hz, int band = 0, int db = 0) {
  CEffectEqualizerIIR eq;
  eq.Start();
  eq.SetParam(band, db);
  std::vector<float> signal = Sine(hz, 1.0, 0.5f);
  RunInBlocks(eq, signal);
  return 20 * std::log10(test::Rms(Part(signal, 0.5, 1.0), 1, 0) / (0.5 / std::sqrt(2.0)));
}

TEST(Equalizer, AllBandsAtZeroAreFlatButForTheCrossings) {
  // Within 0.1 dB inside the bands; the dips of about 3 dB at the two
  // crossings (343 Hz, 8 kHz) belong to the design.
  const double points[][2] = {{60, 0}, {343, -3}, {1000, 0}, {3000, 0}, {8000, -3}, {16000, 0}};
  for (auto [hz, db] : points) EXPECT_NEAR(MeasureGainDb(hz), db, db ? 1.0 : 0.1) << hz << " Hz";
}

TEST(Equalizer, ValuesBelowMinus34MeanBandOutAndOtherBandsAreIgnored) {
  CEffectEqualizerIIR eq;
  eq.Start();
  const int values[][2] = {{1, -35}, {2, -34}, {3, 6}, {0, -20}, {4, -20}};
  for (auto [band, db] : values) eq.SetParam(band, db);
  const int expected[] = {0, -100, -34, 6, 0};
  for (int band = 0; band <= 4; ++band) EXPECT_EQ(eq.GetParam(band), expected[band]) << band;
  std::vector<float> signal = Sine(100.0, 0.1, 0.5f);
  RunInBlocks(eq, signal);
  EXPECT_NEAR(eq.GainValue(0), 1e-5, 1e-9);
  // The shelves follow the value, though they carry no audio.
  EXPECT_FLOAT_EQ(eq.Shelf(2, 1).gainDb, 6.0f);
}

TEST(Equalizer, BandChangesRampOver110FramesWithoutAClick) {
  CEffectEqualizerIIR eq;
  eq.Start();
  std::vector<float> signal = Sine(1000.0, 1.0, 1.0f);
  const double sineStep = test::LargestStep(Part(signal, 0, 0.1), 1, 0);
  int done = 0;
  auto run = [&](int frames) {
    eq.Process(signal.data() + done * 2, frames, 0.0f);
    done += frames;
  };
  run(11025);
  eq.SetParam(2, -100);  // mid out, as a kill does
  run(109);
  EXPECT_GT(eq.GainValue(1), 1e-5f) << "218 of 220 steps taken";
  run(2);
  EXPECT_FLOAT_EQ(eq.GainValue(1), 1e-5f);
  run(22050 - done);
  eq.SetParam(2, 0);
  run(50);
  // A new value during a ramp starts from where the ramp stands.
  const float midway = eq.GainValue(1);
  eq.SetParam(2, -100);
  run(1);
  EXPECT_LT(eq.GainValue(1), midway);
  EXPECT_GT(eq.GainValue(1), midway * 0.9f);
  run(44100 - done);
  // A full-scale sine through all of it: no step larger than the sine's own.
  for (int side = 0; side < 2; ++side)
    EXPECT_LE(test::LargestStep(Part(signal, 0.1, 1.0, side), 1, 0), sineStep * 1.05);
}

}  // namespace
}  // namespace vantaro
