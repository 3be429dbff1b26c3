// The deck's transport heard through the audio callback and the offline
// device: interpolation one frame late, pitch and direction, the speed
// ramps, the envelope, the tail fade, the song's ends, missing blocks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "base/realtime.h"
#include "tests/engine/deck_test_rig.h"

namespace vantaro {
namespace {

// Renders straight from the deck, as the audio thread: Render16 for stored
// units.
template <typename Sample>
void RenderDirect(CSoundSource& deck, std::vector<Sample>& out) {
  RealtimeScope realtime;
  if constexpr (sizeof(Sample) == 2) deck.Render16(out.data(), out.size() / 2);
  if constexpr (sizeof(Sample) == 4) deck.Render(out.data(), out.size() / 2);
}

using DeckTransport = test::DeckTest;

TEST_F(DeckTransport, InterpolationPlaysTheFileOneFrameLate) {
  ASSERT_TRUE(Load(test::MakeSignal(64000, test::Ramp)));
  // The output frame k plays the song at start + k while the position has
  // moved to start + k + 1; between frames the spline follows the line.
  At(20000.75, true);
  const std::vector<float> out = rig.Render(1000);
  for (int k = 0; k < 2000; ++k)
    ASSERT_NEAR(out[k] / 3e-5, (20000.75 + k / 2) * (k % 2 ? -1 : 1), 0.02) << k;
  EXPECT_EQ(deck.GetPosition(), 21000) << "the frame being heard";
  // Render16 is the linear variant, in stored units.
  std::vector<std::int16_t> stored(2 * 100);
  RenderDirect(deck, stored);
  for (int k = 0; k < 100; ++k) ASSERT_NEAR(stored[k * 2], 21000.75 + k, 0.51) << k;
}

TEST_F(DeckTransport, PitchDirectionAndOutsideSpeedSetTheSpeedBelowSixTenthsTheLevel) {
  const double amplitude = 20000, fullRms = amplitude * 3e-5 / std::sqrt(2.0);
  ASSERT_TRUE(Load(test::MakeSine(30 * 44100, 1000, amplitude)));
  deck.Play(1);
  for (int units : {800, -3000, -5000, -7000}) {
    deck.SetPitch(units);
    rig.Render(4410);  // ramp
    const std::vector<float> out = rig.Render(44100);
    const double speed = 1 + units / 10000.0;
    EXPECT_NEAR(test::ToneFrequency(out, 2, 1), 1000.0 * speed, 0.5) << units;
    const double gain = speed > 0.6 ? 1.0 : std::lrint(speed * 441) / 441.0;
    EXPECT_NEAR(test::Rms(out, 2, 0) / fullRms, gain, 0.01) << units;
  }
  deck.SetPitch(800);
  deck.SetDirection(-1);
  EXPECT_DOUBLE_EQ(deck.GetRequestedSpeed(), -1.08);
  deck.SetExternalSpeed(true);
  deck.SetSpeed(-0.95);
  EXPECT_EQ(deck.GetPitch(), -500) << "read back from the outside speed";
  deck.SetExternalSpeed(false);
  EXPECT_DOUBLE_EQ(deck.GetRequestedSpeed(), -1.08);
  // A pitch change under the hand waits for the scratch to end.
  deck.BeginScratch(0, false);
  Tick();
  deck.SetPitch(-400);
  EXPECT_NEAR(deck.GetRequestedSpeed(), 0.0, 0.01) << "the hand keeps the speed";
  deck.EndScratch();
  Tick();
  EXPECT_DOUBLE_EQ(deck.GetRequestedSpeed(), -0.96);
}

TEST_F(DeckTransport, RampsTakeTheirLengths) {
  ASSERT_TRUE(Load(test::MakeSine(8 * 44100, 500, 8000)));
  At(1000, false);  // on the very first frame a ramp jumps: start inside the song
  const auto framesTo = [&](double speed) {
    return rig.FramesUntil(40000, [&] { return deck.GetSpeed() == speed; });
  };
  deck.Play(1);
  EXPECT_NEAR(framesTo(1.0), 2000, 50) << "start";
  deck.SetSpeed(0.0);
  EXPECT_NEAR(framesTo(0.0), 500, 50) << "stop";
  deck.SetSpeed(1.0);
  rig.Render(4000);
  deck.SetBrake(true);
  EXPECT_NEAR(rig.FramesUntil(40000, [&] { return deck.GetSpeed() <= 0.5; }), 31250, 50);
  EXPECT_NEAR(deck.GetEnvelopeGain(), 0.5, 0.01) << "a braking deck fades with its speed";
  EXPECT_NEAR(framesTo(0.0), 31250, 50) << "a brake stops in 62500 frames";
  // Released, the brake gives way to the ordinary ramp, not a glide.
  deck.SetBrake(false);
  EXPECT_NEAR(framesTo(1.0), 2000, 50);
}

TEST_F(DeckTransport, PauseEndsInATenMillisecondFadeWithoutAClick) {
  ASSERT_TRUE(Load(test::MakeSine(4 * 44100, 1000, 30000)));
  deck.Play(1);
  std::vector<float> out = rig.Render(10000 + 37);  // stop somewhere inside a cycle
  deck.Play(0);
  const std::vector<float> after = rig.Render(1000);
  const float held = out[out.size() - 2];
  out.insert(out.end(), after.begin(), after.end());
  // A 1 kHz sine at this level moves at most 2*pi*1000/44100*0.9 per frame.
  EXPECT_LT(test::LargestStep(test::LeftChannel(out, 9000), 1, 0), 0.13);
  for (int k = 0; k < 441; ++k) ASSERT_NEAR(after[k * 2], held * (441 - k) / 441.0f, 1e-5) << k;
  EXPECT_EQ(test::LeftPeak(after, 441), 0.0);
  EXPECT_EQ(deck.GetSpeed(), 0.0) << "a paused platter stands";
}

TEST_F(DeckTransport, AtTheSongsEndsItWrapsWithRepeatElseStopsInEitherDirection) {
  ASSERT_TRUE(Load(test::MakeSignal(64000, test::Ramp)));
  deck.SetRepeat(true);
  At(63000, true);
  rig.Render(2000);  // 1000 frames to the end, the wrap lands on 0, 1000 more
  EXPECT_DOUBLE_EQ(deck.GetExactPosition(), 1000);
  deck.SetRepeat(false);
  At(63000, true);
  rig.Render(3000);
  EXPECT_EQ(std::pair(deck.IsPlaying(), deck.GetExactPosition()), std::pair(false, 63999.0))
      << "stopped on the last frame";
  // Reverse: the ramp falls, one frame a frame; past frame 0 a tail fade,
  // the position on 0, stopped.
  deck.SetDirection(-1);
  deck.Play(1);
  const std::vector<float> out = test::LeftChannel(rig.Render(22050));
  EXPECT_EQ(std::adjacent_find(out.begin() + 2100, out.end(), std::less_equal<float>()), out.end());
  EXPECT_NEAR(out[2100] - out[22049], (22049 - 2100) * 3e-5, 1e-4) << "at speed -1";
  EXPECT_EQ(test::LeftPeak(rig.Render(88200), 44100), 0.0);
  EXPECT_EQ(std::pair(deck.IsPlaying(), deck.GetExactPosition()), std::pair(false, 0.0));
}

TEST_F(DeckTransport, MissingBlockOrOversizedRequestPlaysSilenceWithTheClockRight) {
  ASSERT_TRUE(Load(test::MakeSine(5 * 44100, 440, 20000)));
  At(1.5 * 44100, true);
  ASSERT_TRUE(deck.EvictBlock(2, true));
  const std::vector<float> out = rig.Render(2 * 44100);
  EXPECT_DOUBLE_EQ(deck.GetExactPosition(), 3.5 * 44100) << "the clock ran through the gap";
  // Silent from the buffer that could touch block 2 to the one past it.
  EXPECT_GT(test::LeftPeak(out, 0, 22050 - 882), 0.5);
  EXPECT_EQ(test::LeftPeak(out, 22050, 44100), 0.0);
  EXPECT_GT(test::LeftPeak(out, 66150 + 882, 20000), 0.5);
  // Above 4410 frames a request renders silence and the clock stands.
  for (int frames : {4411, 4410}) {
    std::vector<float> direct(2 * frames, 1.0f);
    RenderDirect(deck, direct);
    EXPECT_EQ(test::Peak(direct, 1, 0) > 0.5, frames == 4410) << frames;
  }
  EXPECT_DOUBLE_EQ(deck.GetExactPosition(), 3.5 * 44100 + 4410) << "only the second moved it";
}

}  // namespace
}  // namespace vantaro
