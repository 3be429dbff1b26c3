// The three-band equaliser measured with sines: the response with every band
// at 0 dB, the depth of each kill, the kill rule and the gain ramps.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "effects/equalizer_iir.h"
#include "tests/effects/effect_test_signals.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

constexpr int kSettleFrames = 22050;  // let filters and ramps settle
constexpr int kMeasureFrames = 22050;

void RunInBlocks(CEffectEqualizerIIR& eq, std::vector<float>& signal, int blockFrames = 441) {
  const int frames = static_cast<int>(signal.size() / 2);
  for (int done = 0; done < frames; done += blockFrames) {
    const int n = std::min(blockFrames, frames - done);
    eq.Process(signal.data() + done * 2, n, 120.0f);
  }
}

// Steady-state gain in dB of the equaliser at `hz` (left channel).
double MeasureGainDb(CEffectEqualizerIIR& eq, double hz) {
  std::vector<float> signal = test::StereoSine(hz, kSettleFrames + kMeasureFrames);
  const std::vector<float> input = signal;
  RunInBlocks(eq, signal);
  const auto out = test::FrameRange(signal, kSettleFrames, kSettleFrames + kMeasureFrames);
  const auto in = test::FrameRange(input, kSettleFrames, kSettleFrames + kMeasureFrames);
  return test::ToDb(test::Rms(out, 2, 0) / test::Rms(in, 2, 0));
}

double DesignDb(double hz, double low, double mid, double high) {
  const double gains[3] = {low, mid, high};
  return test::ToDb(EqualizerResponse(hz, gains));
}

TEST(Equalizer, CrossoverTableHasItsPublishedCorners) {
  // Each crossover alone: -3 dB at its corner, unity deep inside its band.
  EXPECT_NEAR(DesignDb(343.0, 1, 0, 0), -3.0, 0.5);
  EXPECT_NEAR(DesignDb(40.0, 1, 0, 0), 0.0, 0.05);
  EXPECT_NEAR(DesignDb(8000.0, 0, 0, 1), -3.0, 0.5);
  EXPECT_NEAR(DesignDb(20000.0, 0, 0, 1), 0.0, 0.1);
  EXPECT_NEAR(DesignDb(1650.0, 0, 1, 0), 0.0, 0.2);
  EXPECT_LT(DesignDb(40.0, 0, 1, 0), -50.0);
}

TEST(Equalizer, AllBandsAtZeroFollowTheCrossoverSum) {
  // The sum of the three bands is flat within 0.1 dB inside the bands and
  // dips by about 3 dB at the two crossings (343 Hz, 8 kHz), which belongs
  // to the design: the measured response must match it everywhere.
  for (double hz : {40.0, 60.0, 100.0, 150.0, 343.0, 700.0, 1000.0, 3000.0, 8000.0, 12000.0,
                    14000.0, 16000.0}) {
    CEffectEqualizerIIR eq;
    eq.Start();
    const double measured = MeasureGainDb(eq, hz);
    EXPECT_NEAR(measured, DesignDb(hz, 1, 1, 1), 0.1) << hz << " Hz";
    if (hz <= 150.0 || (hz >= 1000.0 && hz <= 3000.0) || hz >= 14000.0) {
      EXPECT_NEAR(measured, 0.0, 0.1) << hz << " Hz";
    }
  }
}

TEST(Equalizer, SwitchedOffPassesTheBlockUntouched) {
  CEffectEqualizerIIR eq;
  std::vector<float> signal = test::StereoSine(440.0, 4410);
  const std::vector<float> input = signal;
  RunInBlocks(eq, signal);
  EXPECT_EQ(signal, input);
}

// How far a kill of `band` lowers a sine of `hz` against a flat equaliser.
double KillDepthDb(int band, double hz) {
  CEffectEqualizerIIR flat, killed;
  flat.Start();
  killed.Start();
  killed.SetParam(band, -40);
  return MeasureGainDb(flat, hz) - MeasureGainDb(killed, hz);
}

TEST(Equalizer, EachKillLowersItsBandByTheDesignDepth) {
  const double probes[3] = {60.0, 1000.0, 8000.0};
  for (int band = 1; band <= 3; ++band) {
    for (int p = 0; p < 3; ++p) {
      const double depth = KillDepthDb(band, probes[p]);
      if (p != band - 1) {
        EXPECT_LT(std::fabs(depth), 1.0) << "band " << band << " at " << probes[p] << " Hz";
        continue;
      }
      double gains[3] = {1, 1, 1};
      gains[band - 1] = 1e-5;
      const double design =
          DesignDb(probes[p], 1, 1, 1) - DesignDb(probes[p], gains[0], gains[1], gains[2]);
      std::printf("kill of band %d at %.0f Hz: %.2f dB (design %.2f dB)\n", band, probes[p], depth,
                  design);
      EXPECT_GE(depth, design - 0.05) << "band " << band;
    }
  }
  // Inside the high band, away from the 8 kHz crossing, the kill is deep.
  EXPECT_GT(KillDepthDb(3, 14000.0), 19.0);
}

TEST(Equalizer, ValuesBelowMinus34MeanBandOut) {
  CEffectEqualizerIIR eq;
  eq.Start();
  eq.SetParam(1, -35);
  eq.SetParam(2, -34);
  eq.SetParam(3, 6);
  EXPECT_EQ(eq.GetParam(1), -100);
  EXPECT_EQ(eq.GetParam(2), -34);
  EXPECT_EQ(eq.GetParam(3), 6);
  std::vector<float> signal = test::StereoSine(100.0, 4410);
  RunInBlocks(eq, signal);
  EXPECT_NEAR(eq.GainValue(0), 1e-5, 1e-9);
  EXPECT_NEAR(eq.GainValue(1), std::pow(10.0, -34 * 0.05), 1e-6);
  EXPECT_NEAR(eq.GainValue(2), std::pow(10.0, 6 * 0.05), 1e-5);
  // Bands outside 1..3 are ignored.
  eq.SetParam(0, -20);
  eq.SetParam(4, -20);
  EXPECT_EQ(eq.GetParam(0), 0);
  EXPECT_EQ(eq.GetParam(4), 0);
  // The shelves follow the value but carry no audio.
  EXPECT_EQ(eq.Shelf(2, 0).type, kBiquadHighShelf);
  EXPECT_FLOAT_EQ(eq.Shelf(2, 1).gainDb, 6.0f);
  EXPECT_NEAR(eq.Shelf(1, 0).frequency, 1612.45f, 0.01f);
}

TEST(Equalizer, BandChangeRampsOver110FramesWithoutAClick) {
  CEffectEqualizerIIR eq;
  eq.Start();
  std::vector<float> settle = test::StereoSine(1000.0, 4410);
  RunInBlocks(eq, settle);
  ASSERT_FLOAT_EQ(eq.GainValue(1), 1.0f);
  eq.SetParam(2, -100);  // mid out, as a kill does
  std::vector<float> frames109(109 * 2, 0.25f), frames2(2 * 2, 0.25f);
  eq.Process(frames109.data(), 109, 0.0f);
  EXPECT_GT(eq.GainValue(1), 1e-5f);  // 218 of 220 steps taken
  eq.Process(frames2.data(), 2, 0.0f);
  EXPECT_FLOAT_EQ(eq.GainValue(1), 1e-5f);

  // A full-scale 1 kHz sine through a kill and its release: no sample step
  // larger than the sine's own.
  CEffectEqualizerIIR eq2;
  eq2.Start();
  std::vector<float> signal = test::StereoSine(1000.0, 44100, 1.0f);
  const double sineStep = test::LargestStep(test::FrameRange(signal, 0, 4410), 2, 0);
  const int frames = 44100;
  for (int done = 0; done < frames; done += 256) {
    if (done == 11264) eq2.SetParam(2, -100);
    if (done == 22528) eq2.SetParam(2, 0);
    eq2.Process(signal.data() + done * 2, std::min(256, frames - done), 0.0f);
  }
  const auto after = test::FrameRange(signal, 4410, frames);
  EXPECT_LE(test::LargestStep(after, 2, 0), sineStep * 1.05);
  EXPECT_LE(test::LargestStep(after, 2, 1), sineStep * 1.05);
}

TEST(Equalizer, NewValueDuringARampStartsWhereTheRampStands) {
  CEffectEqualizerIIR eq;
  eq.Start();
  std::vector<float> settle(4410 * 2, 0.1f);
  RunInBlocks(eq, settle);
  eq.SetParam(1, -100);
  std::vector<float> block(50 * 2, 0.1f);
  eq.Process(block.data(), 50, 0.0f);
  const float midway = eq.GainValue(0);
  ASSERT_GT(midway, 0.01f);
  ASSERT_LT(midway, 0.9f);
  eq.SetParam(1, 0);
  std::vector<float> one(2, 0.1f);
  eq.Process(one.data(), 1, 0.0f);
  const float next = eq.GainValue(0);
  EXPECT_GT(next, midway);                         // turned back up
  EXPECT_LT(next - midway, (1.0f - midway) / 50);  // one step of 220 from there, twice
}

}  // namespace
}  // namespace vantaro
