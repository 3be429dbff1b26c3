// The deck's transport heard through the audio callback and the offline
// device: exactness at speed 1, pitch, reverse, the speed ramps, the
// envelope, the tail fade, the end of the song, and missing blocks.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "base/realtime.h"
#include "engine/engine_settings.h"
#include "tests/engine/deck_test_rig.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::DeckRig;
using test::TempDir;

// Values that differ from frame to frame and between channels.
std::int16_t Noise(std::int64_t frame, int channel) {
  std::uint32_t x = static_cast<std::uint32_t>(frame * 2 + channel) * 2654435761u;
  x ^= x >> 15;
  return static_cast<std::int16_t>(static_cast<int>(x % 40001) - 20000);
}

// Plays until the start ramp is over, then jumps to `position` exactly.
void PlaySteadyFrom(DeckRig& rig, CSoundSource& deck, double position) {
  deck.Play(1);
  rig.Render(4410);
  ASSERT_DOUBLE_EQ(deck.GetSpeed(), deck.GetRequestedSpeed());
  deck.SeekRequest(position);
  deck.StoreThreadRun();
  ASSERT_DOUBLE_EQ(deck.GetExactPosition(), position);
}

// Frames rendered until `done` holds, probing after every device block.
long FramesUntil(DeckRig& rig, long limit, const std::function<bool()>& done) {
  long reached = -1;
  rig.RenderWatching(limit, [&](long frames) {
    if (reached < 0 && done()) reached = frames;
  });
  return reached;
}

TEST(DeckTransport, SpeedOnePlaysTheFileSampleExactOneFrameLate) {
  TempDir dir;
  ASSERT_TRUE(test::WriteStereoWav(dir.File("n.wav"), test::MakeSignal(4 * 44100, Noise)));
  DeckRig rig(256);
  CSoundSource& deck = rig.AddDeck();
  ASSERT_TRUE(rig.Load(dir.File("n.wav")));
  const std::int64_t start = 2 * 44100;
  PlaySteadyFrom(rig, deck, start);
  const std::vector<float> out = rig.Render(4410);
  int mismatches = 0;
  for (int k = 0; k < 4410; ++k) {
    // The output frame k plays frame start + k while the position has
    // already moved to start + k + 1: the spline runs one frame behind.
    if (std::fabs(out[k * 2] - Noise(start + k, 0) * 3e-5f) > 1e-7f) ++mismatches;
    if (std::fabs(out[k * 2 + 1] - Noise(start + k, 1) * 3e-5f) > 1e-7f) ++mismatches;
  }
  EXPECT_EQ(mismatches, 0);
  EXPECT_DOUBLE_EQ(deck.GetExactPosition(), start + 4410.0);
  EXPECT_EQ(deck.GetPosition(), static_cast<std::int32_t>(std::lrint(start + 4410 - 0.5)));
}

TEST(DeckTransport, CubicInterpolationFollowsALineBetweenFrames) {
  TempDir dir;
  // A straight line: the spline must reproduce it at any fraction.
  ASSERT_TRUE(
      test::WriteStereoWav(dir.File("line.wav"), test::MakeSignal(64000, [](std::int64_t i, int c) {
                             return std::int16_t((i - 32000) >> c);
                           })));
  DeckRig rig(100);
  CSoundSource& deck = rig.AddDeck();
  ASSERT_TRUE(rig.Load(dir.File("line.wav")));
  const double start = 20000.75;
  PlaySteadyFrom(rig, deck, start);
  const std::vector<float> out = rig.Render(1000);
  for (int k = 0; k < 1000; ++k) {
    // Played one frame late: the value at start + k.
    ASSERT_NEAR(out[k * 2] / 3e-5, start + k - 32000, 0.02) << k;
  }
  // The position shown is the frame being heard.
  EXPECT_EQ(deck.GetPosition(), 21000);
  EXPECT_DOUBLE_EQ(deck.GetExactPosition(), start + 1000);
}

TEST(DeckTransport, Render16IsTheLinearVariantInStoredUnits) {
  TempDir dir;
  ASSERT_TRUE(test::WriteStereoWav(dir.File("n.wav"), test::MakeSignal(3 * 44100, Noise)));
  DeckRig rig;
  CSoundSource& deck = rig.AddDeck();
  ASSERT_TRUE(rig.Load(dir.File("n.wav")));
  PlaySteadyFrom(rig, deck, 44100);
  std::vector<std::int16_t> out(2 * 1000);
  {
    RealtimeScope realtime;
    deck.Render16(out.data(), 1000);
  }
  for (int k = 0; k < 1000; ++k) ASSERT_EQ(out[k * 2], Noise(44100 + k, 0)) << k;

  // Halfway between two frames the linear variant gives their mean.
  deck.SeekRequest(44100.0 + 0.5);
  deck.StoreThreadRun();
  {
    RealtimeScope realtime;
    deck.Render16(out.data(), 10);
  }
  for (int k = 0; k < 10; ++k) {
    const double mean = (Noise(44100 + k, 1) + Noise(44101 + k, 1)) / 2.0;
    EXPECT_NEAR(out[k * 2 + 1], mean, 0.51) << k;
  }
}

TEST(DeckTransport, PitchMovesTheToneByItsPercentage) {
  TempDir dir;
  ASSERT_TRUE(test::WriteStereoWav(dir.File("s.wav"), test::MakeSine(4 * 44100, 1000, 16000)));
  DeckRig rig;
  CSoundSource& deck = rig.AddDeck();
  ASSERT_TRUE(rig.Load(dir.File("s.wav")));
  for (int units : {800, -800, 0}) {
    deck.SetPitch(units);
    deck.Play(1);
    rig.Render(4410);  // ramp
    const std::vector<float> out = rig.Render(22050);
    EXPECT_NEAR(test::ToneFrequency(out, 2, 0), 1000.0 * (1 + units / 10000.0), 0.5) << units;
    EXPECT_NEAR(test::ToneFrequency(out, 2, 1), 1000.0 * (1 + units / 10000.0), 0.5) << units;
    deck.Play(0);
    rig.Render(441);
  }
  EXPECT_EQ(CSoundSource::PitchRangeUnits(1), 400);
  EXPECT_EQ(CSoundSource::PitchRangeUnits(2), 800);
  EXPECT_EQ(CSoundSource::PitchRangeUnits(3), 1600);
  EXPECT_EQ(CSoundSource::PitchRangeUnits(4), 2400);
  EXPECT_EQ(CSoundSource::PitchRangeUnits(5), 3200);
  EXPECT_EQ(CSoundSource::PitchRangeUnits(6), 5000);
  EXPECT_EQ(CSoundSource::PitchRangeUnits(0), 1600);
  EXPECT_EQ(CSoundSource::PitchRangeUnits(9), 1600);
  const int saved = TheEngineSettings().pitchRange.load();
  TheEngineSettings().pitchRange.store(6);
  EXPECT_EQ(CSoundSource::CurrentPitchRangeUnits(), 5000);
  TheEngineSettings().pitchRange.store(saved);
}

TEST(DeckTransport, ReversePlaysBackwardsAndStopsAtTheStart) {
  TempDir dir;
  // Left rises by one every frame: its slope tells the direction.
  ASSERT_TRUE(test::WriteStereoWav(
      dir.File("ramp.wav"),
      test::MakeSignal(64000, [](std::int64_t i, int) { return std::int16_t(i - 32000); })));
  DeckRig rig;
  CSoundSource& deck = rig.AddDeck();
  ASSERT_TRUE(rig.Load(dir.File("ramp.wav")));
  deck.SeekRequest(60000);
  deck.StoreThreadRun();
  deck.SetDirection(-1);
  EXPECT_DOUBLE_EQ(deck.GetRequestedSpeed(), -1.0);
  deck.Play(1);
  const std::vector<float> out = rig.Render(22050);
  EXPECT_DOUBLE_EQ(deck.GetSpeed(), -1.0);
  int rises = 0;
  for (int k = 2100; k < 22050; ++k)
    if (out[k * 2] >= out[(k - 1) * 2]) ++rises;
  EXPECT_EQ(rises, 0);
  EXPECT_NEAR(out[2100 * 2] - out[22049 * 2], (22049 - 2100) * 3e-5, 1e-4);

  // Past frame 0 with repeat off: a tail fade, the position on 0, stopped.
  const std::vector<float> end = rig.Render(88200);
  EXPECT_FALSE(deck.IsPlaying());
  EXPECT_DOUBLE_EQ(deck.GetExactPosition(), 0.0);
  EXPECT_EQ(test::Peak(test::LeftChannel(end, 44100), 1, 0), 0.0);
}

TEST(DeckTransport, RampsTakeTheirLengths) {
  TempDir dir;
  ASSERT_TRUE(test::WriteStereoWav(dir.File("s.wav"), test::MakeSine(8 * 44100, 500, 8000)));
  DeckRig rig(50);
  CSoundSource& deck = rig.AddDeck();
  ASSERT_TRUE(rig.Load(dir.File("s.wav")));
  // On the very first frame a ramp jumps: start inside the song.
  deck.SeekRequest(1000);
  deck.StoreThreadRun();
  deck.Play(1);
  EXPECT_NEAR(FramesUntil(rig, 4000, [&] { return deck.GetSpeed() == 1.0; }), 2000, 50) << "start";
  deck.SetSpeed(0.0);
  EXPECT_NEAR(FramesUntil(rig, 4000, [&] { return deck.GetSpeed() == 0.0; }), 500, 50) << "stop";
  deck.SetSpeed(1.0);
  rig.Render(4000);
  deck.SetBrake(true);
  double halfway = -1;
  const long braked = FramesUntil(rig, 80000, [&] {
    if (halfway < 0 && deck.GetSpeed() <= 0.5) halfway = deck.GetEnvelopeGain();
    return deck.GetSpeed() == 0.0;
  });
  EXPECT_NEAR(braked, 62500, 50) << "brake";
  EXPECT_NEAR(halfway, 0.5, 0.01) << "a braking deck fades with its speed";
  EXPECT_TRUE(deck.IsPlaying());

  // Released, the brake gives way to the ordinary ramp, not a glide.
  deck.SetBrake(false);
  EXPECT_NEAR(FramesUntil(rig, 4000, [&] { return deck.GetSpeed() == 1.0; }), 2000, 50)
      << "after the brake";
  EXPECT_FALSE(deck.IsGliding());
}

TEST(DeckTransport, BelowSixTenthsLoudnessFollowsSpeed) {
  TempDir dir;
  const double amplitude = 20000;
  ASSERT_TRUE(test::WriteStereoWav(dir.File("s.wav"), test::MakeSine(20 * 44100, 2000, amplitude)));
  DeckRig rig;
  CSoundSource& deck = rig.AddDeck();
  ASSERT_TRUE(rig.Load(dir.File("s.wav")));
  const double fullRms = amplitude * 3e-5 / std::sqrt(2.0);
  deck.Play(1);
  for (int units : {-3000, -5000, -7000}) {
    deck.SetPitch(units);
    rig.Render(4410);
    const std::vector<float> out = rig.Render(44100);
    const double speed = 1 + units / 10000.0;
    const double gain = speed > 0.6 ? 1.0 : std::lrint(speed * 441) / 441.0;
    EXPECT_NEAR(test::Rms(out, 2, 0) / fullRms, gain, 0.01) << units;
  }
}

TEST(DeckTransport, PauseEndsInATenMillisecondFadeWithoutAClick) {
  TempDir dir;
  ASSERT_TRUE(test::WriteStereoWav(dir.File("s.wav"), test::MakeSine(4 * 44100, 1000, 30000)));
  DeckRig rig(100);
  CSoundSource& deck = rig.AddDeck();
  ASSERT_TRUE(rig.Load(dir.File("s.wav")));
  deck.Play(1);
  std::vector<float> out = rig.Render(10000 + 37);  // stop somewhere inside a cycle
  deck.Play(0);
  const std::vector<float> after = rig.Render(1000);
  const float held = out[out.size() - 2];
  out.insert(out.end(), after.begin(), after.end());
  const std::vector<float> left = test::LeftChannel(out, 9000);

  // A 1 kHz sine at this level moves at most 2*pi*1000/44100*0.9 per frame.
  EXPECT_LT(test::LargestStep(left, 1, 0), 0.13);
  for (int k = 0; k < 441; ++k) EXPECT_NEAR(after[k * 2], held * (441 - k) / 441.0f, 1e-5) << k;
  for (int k = 441; k < 1000; ++k) ASSERT_EQ(after[k * 2], 0.0f) << k;
  EXPECT_FALSE(deck.IsPlaying());
  EXPECT_EQ(deck.GetSpeed(), 0.0) << "a paused platter stands";
}

TEST(DeckTransport, EndOfSongStopsOrWrapsWithRepeat) {
  TempDir dir;
  // One click at frame 100 of an otherwise silent file.
  const std::int64_t frames = 3 * 44100;
  ASSERT_TRUE(
      test::WriteStereoWav(dir.File("c.wav"), test::MakeSignal(frames, [](std::int64_t i, int) {
                             return std::int16_t(i == 100 ? 30000 : 0);
                           })));
  DeckRig rig;
  CSoundSource& deck = rig.AddDeck();
  ASSERT_TRUE(rig.Load(dir.File("c.wav")));

  deck.SetRepeat(true);
  PlaySteadyFrom(rig, deck, frames - 1000);
  std::vector<float> out = rig.Render(2000);
  long loudest = 0;
  for (long k = 0; k < 2000; ++k)
    if (std::fabs(out[k * 2]) > std::fabs(out[loudest * 2])) loudest = k;
  // 999 frames reach the end, the wrap lands on 0, the click plays at 101.
  EXPECT_EQ(loudest, 999 + 101);
  EXPECT_NEAR(out[loudest * 2], 30000 * 3e-5, 1e-4);
  EXPECT_TRUE(deck.IsPlaying());

  deck.SetRepeat(false);
  PlaySteadyFrom(rig, deck, frames - 1000);
  out = rig.Render(3000);
  EXPECT_EQ(test::Peak(out, 2, 0), 0.0) << "no wrap, so no click";
  EXPECT_FALSE(deck.IsPlaying());
  EXPECT_DOUBLE_EQ(deck.GetExactPosition(), frames - 1.0);

  // Play pressed on the last frame: silence, and the position stays.
  deck.Play(1);
  out = rig.Render(2000);
  EXPECT_EQ(test::Peak(out, 2, 0), 0.0);
  EXPECT_DOUBLE_EQ(deck.GetExactPosition(), frames - 1.0);
  EXPECT_FALSE(deck.IsPlaying());
}

TEST(DeckTransport, OversizedRequestRendersSilenceAndKeepsThePosition) {
  TempDir dir;
  ASSERT_TRUE(test::WriteStereoWav(dir.File("s.wav"), test::MakeSine(2 * 44100, 440, 20000)));
  DeckRig rig;
  CSoundSource& deck = rig.AddDeck();
  ASSERT_TRUE(rig.Load(dir.File("s.wav")));
  deck.Play(1);
  rig.Render(4410);
  std::vector<float> out(2 * 4411, 1.0f);
  const double before = deck.GetExactPosition();
  {
    RealtimeScope realtime;
    deck.Render(out.data(), 4411);
  }
  EXPECT_EQ(test::Peak(out, 2, 0), 0.0);
  EXPECT_EQ(test::Peak(out, 2, 1), 0.0);
  EXPECT_EQ(deck.GetExactPosition(), before);
  {
    RealtimeScope realtime;
    deck.Render(out.data(), 4410);
  }
  EXPECT_GT(test::Peak(out, 2, 0), 0.5);
  EXPECT_DOUBLE_EQ(deck.GetExactPosition(), before + 4410);
}

TEST(DeckTransport, MissingBlockPlaysSilenceWithTheClockRunning) {
  TempDir dir;
  ASSERT_TRUE(test::WriteStereoWav(dir.File("s.wav"), test::MakeSine(5 * 44100, 440, 20000)));
  DeckRig rig(441);
  CSoundSource& deck = rig.AddDeck();
  ASSERT_TRUE(rig.Load(dir.File("s.wav")));
  PlaySteadyFrom(rig, deck, 1.5 * 44100);
  ASSERT_TRUE(deck.EvictBlock(2, true));
  const std::vector<float> out = rig.Render(2 * 44100);
  EXPECT_DOUBLE_EQ(deck.GetExactPosition(), 3.5 * 44100) << "the clock ran through the gap";
  // Silent from the buffer that could touch block 2 to the one past it.
  const std::vector<float> left = test::LeftChannel(out);
  EXPECT_GT(test::Peak(test::LeftChannel(out, 0, 22050 - 882), 1, 0), 0.5);
  EXPECT_EQ(test::Peak(test::LeftChannel(out, 22050, 44100), 1, 0), 0.0);
  EXPECT_GT(test::Peak(test::LeftChannel(out, 66150 + 882, 20000), 1, 0), 0.5);
  EXPECT_TRUE(deck.IsPlaying());
  // The store thread brings the block back.
  deck.StoreThreadRun();
  EXPECT_TRUE(deck.IsBlockPresent(2));
}

}  // namespace
}  // namespace vantaro
