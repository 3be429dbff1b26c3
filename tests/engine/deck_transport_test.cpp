// The deck's transport heard through the audio callback and the offline
// device: exactness at speed 1, pitch, reverse, the speed ramps, the
// envelope, the tail fade, the end of the song, and missing blocks.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <type_traits>
#include <utility>

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

class DeckTransport : public ::testing::Test {
 protected:
  // Writes `samples` as the song and loads it on a deck whose device pulls
  // `blockFrames` frames a block.
  bool Load(const std::vector<std::int16_t>& samples, int blockFrames = 441) {
    rig_ = std::make_unique<DeckRig>(blockFrames);
    deck_ = &rig_->AddDeck();
    return test::WriteStereoWav(dir_.File("song.wav"), samples) &&
           rig_->Load(dir_.File("song.wav"));
  }

  // Plays until the start ramp is over, then jumps to `position` exactly.
  void PlaySteadyFrom(double position) {
    deck_->Play(1);
    rig_->Render(4410);
    ASSERT_DOUBLE_EQ(deck_->GetSpeed(), deck_->GetRequestedSpeed());
    deck_->SeekRequest(position);
    deck_->StoreThreadRun();
    ASSERT_DOUBLE_EQ(deck_->GetExactPosition(), position);
  }

  // Frames rendered until `done` holds, probing after every device block.
  long FramesUntil(long limit, const std::function<bool()>& done) {
    long reached = -1;
    rig_->RenderWatching(limit, [&](long frames) {
      if (reached < 0 && done()) reached = frames;
    });
    return reached;
  }

  // Renders `frames` straight from the deck (Render16 for stored units)
  // inside a real-time scope.
  template <typename Sample>
  void RenderDirect(std::vector<Sample>& out, int frames) {
    RealtimeScope realtime;
    if constexpr (std::is_same_v<Sample, float>)
      deck_->Render(out.data(), frames);
    else
      deck_->Render16(out.data(), frames);
  }

  TempDir dir_;
  std::unique_ptr<DeckRig> rig_;
  CSoundSource* deck_ = nullptr;
};

TEST_F(DeckTransport, SpeedOnePlaysTheFileSampleExactOneFrameLate) {
  ASSERT_TRUE(Load(test::MakeSignal(4 * 44100, Noise), 256));
  const std::int64_t start = 2 * 44100;
  PlaySteadyFrom(start);
  const std::vector<float> out = rig_->Render(4410);
  int mismatches = 0;
  for (int k = 0; k < 4410; ++k) {
    // The output frame k plays frame start + k while the position has
    // already moved to start + k + 1: the spline runs one frame behind.
    if (std::fabs(out[k * 2] - Noise(start + k, 0) * 3e-5f) > 1e-7f) ++mismatches;
    if (std::fabs(out[k * 2 + 1] - Noise(start + k, 1) * 3e-5f) > 1e-7f) ++mismatches;
  }
  EXPECT_EQ(mismatches, 0);
  EXPECT_DOUBLE_EQ(deck_->GetExactPosition(), start + 4410.0);
  EXPECT_EQ(deck_->GetPosition(), static_cast<std::int32_t>(std::lrint(start + 4410 - 0.5)));
}

TEST_F(DeckTransport, CubicInterpolationFollowsALineBetweenFrames) {
  // A straight line: the spline must reproduce it at any fraction.
  ASSERT_TRUE(Load(
      test::MakeSignal(64000, [](std::int64_t i, int c) { return std::int16_t((i - 32000) >> c); }),
      100));
  const double start = 20000.75;
  PlaySteadyFrom(start);
  const std::vector<float> out = rig_->Render(1000);
  for (int k = 0; k < 1000; ++k) {
    // Played one frame late: the value at start + k.
    ASSERT_NEAR(out[k * 2] / 3e-5, start + k - 32000, 0.02) << k;
  }
  // The position shown is the frame being heard.
  EXPECT_EQ(deck_->GetPosition(), 21000);
  EXPECT_DOUBLE_EQ(deck_->GetExactPosition(), start + 1000);
}

TEST_F(DeckTransport, Render16IsTheLinearVariantInStoredUnits) {
  ASSERT_TRUE(Load(test::MakeSignal(3 * 44100, Noise)));
  PlaySteadyFrom(44100);
  std::vector<std::int16_t> out(2 * 1000);
  RenderDirect(out, 1000);
  for (int k = 0; k < 1000; ++k) ASSERT_EQ(out[k * 2], Noise(44100 + k, 0)) << k;

  // Halfway between two frames the linear variant gives their mean.
  deck_->SeekRequest(44100.0 + 0.5);
  deck_->StoreThreadRun();
  RenderDirect(out, 10);
  for (int k = 0; k < 10; ++k) {
    const double mean = (Noise(44100 + k, 1) + Noise(44101 + k, 1)) / 2.0;
    EXPECT_NEAR(out[k * 2 + 1], mean, 0.51) << k;
  }
}

TEST_F(DeckTransport, PitchMovesTheToneByItsPercentage) {
  ASSERT_TRUE(Load(test::MakeSine(4 * 44100, 1000, 16000)));
  for (int units : {800, -800, 0}) {
    deck_->SetPitch(units);
    deck_->Play(1);
    rig_->Render(4410);  // ramp
    const std::vector<float> out = rig_->Render(22050);
    EXPECT_NEAR(test::ToneFrequency(out, 2, 0), 1000.0 * (1 + units / 10000.0), 0.5) << units;
    EXPECT_NEAR(test::ToneFrequency(out, 2, 1), 1000.0 * (1 + units / 10000.0), 0.5) << units;
    deck_->Play(0);
    rig_->Render(441);
  }
  // Range settings 1..6; values outside fall back to 3.
  for (auto [range, units] : {std::pair{1, 400},
                              {2, 800},
                              {3, 1600},
                              {4, 2400},
                              {5, 3200},
                              {6, 5000},
                              {0, 1600},
                              {9, 1600}})
    EXPECT_EQ(CSoundSource::PitchRangeUnits(range), units) << range;
  const int saved = TheEngineSettings().pitchRange.load();
  TheEngineSettings().pitchRange.store(6);
  EXPECT_EQ(CSoundSource::CurrentPitchRangeUnits(), 5000);
  TheEngineSettings().pitchRange.store(saved);
}

TEST_F(DeckTransport, ReversePlaysBackwardsAndStopsAtTheStart) {
  // Left rises by one every frame: its slope tells the direction.
  ASSERT_TRUE(
      Load(test::MakeSignal(64000, [](std::int64_t i, int) { return std::int16_t(i - 32000); })));
  deck_->SeekRequest(60000);
  deck_->StoreThreadRun();
  deck_->SetDirection(-1);
  EXPECT_DOUBLE_EQ(deck_->GetRequestedSpeed(), -1.0);
  deck_->Play(1);
  const std::vector<float> out = rig_->Render(22050);
  EXPECT_DOUBLE_EQ(deck_->GetSpeed(), -1.0);
  int rises = 0;
  for (int k = 2100; k < 22050; ++k)
    if (out[k * 2] >= out[(k - 1) * 2]) ++rises;
  EXPECT_EQ(rises, 0);
  EXPECT_NEAR(out[2100 * 2] - out[22049 * 2], (22049 - 2100) * 3e-5, 1e-4);

  // Past frame 0 with repeat off: a tail fade, the position on 0, stopped.
  const std::vector<float> end = rig_->Render(88200);
  EXPECT_FALSE(deck_->IsPlaying());
  EXPECT_DOUBLE_EQ(deck_->GetExactPosition(), 0.0);
  EXPECT_EQ(test::Peak(test::LeftChannel(end, 44100), 1, 0), 0.0);
}

TEST_F(DeckTransport, RampsTakeTheirLengths) {
  ASSERT_TRUE(Load(test::MakeSine(8 * 44100, 500, 8000), 50));
  // On the very first frame a ramp jumps: start inside the song.
  deck_->SeekRequest(1000);
  deck_->StoreThreadRun();
  deck_->Play(1);
  EXPECT_NEAR(FramesUntil(4000, [&] { return deck_->GetSpeed() == 1.0; }), 2000, 50) << "start";
  deck_->SetSpeed(0.0);
  EXPECT_NEAR(FramesUntil(4000, [&] { return deck_->GetSpeed() == 0.0; }), 500, 50) << "stop";
  deck_->SetSpeed(1.0);
  rig_->Render(4000);
  deck_->SetBrake(true);
  double halfway = -1;
  const long braked = FramesUntil(80000, [&] {
    if (halfway < 0 && deck_->GetSpeed() <= 0.5) halfway = deck_->GetEnvelopeGain();
    return deck_->GetSpeed() == 0.0;
  });
  EXPECT_NEAR(braked, 62500, 50) << "brake";
  EXPECT_NEAR(halfway, 0.5, 0.01) << "a braking deck fades with its speed";
  EXPECT_TRUE(deck_->IsPlaying());

  // Released, the brake gives way to the ordinary ramp, not a glide.
  deck_->SetBrake(false);
  EXPECT_NEAR(FramesUntil(4000, [&] { return deck_->GetSpeed() == 1.0; }), 2000, 50)
      << "after the brake";
  EXPECT_FALSE(deck_->IsGliding());
}

TEST_F(DeckTransport, BelowSixTenthsLoudnessFollowsSpeed) {
  const double amplitude = 20000;
  ASSERT_TRUE(Load(test::MakeSine(20 * 44100, 2000, amplitude)));
  const double fullRms = amplitude * 3e-5 / std::sqrt(2.0);
  deck_->Play(1);
  for (int units : {-3000, -5000, -7000}) {
    deck_->SetPitch(units);
    rig_->Render(4410);
    const std::vector<float> out = rig_->Render(44100);
    const double speed = 1 + units / 10000.0;
    const double gain = speed > 0.6 ? 1.0 : std::lrint(speed * 441) / 441.0;
    EXPECT_NEAR(test::Rms(out, 2, 0) / fullRms, gain, 0.01) << units;
  }
}

TEST_F(DeckTransport, PauseEndsInATenMillisecondFadeWithoutAClick) {
  ASSERT_TRUE(Load(test::MakeSine(4 * 44100, 1000, 30000), 100));
  deck_->Play(1);
  std::vector<float> out = rig_->Render(10000 + 37);  // stop somewhere inside a cycle
  deck_->Play(0);
  const std::vector<float> after = rig_->Render(1000);
  const float held = out[out.size() - 2];
  out.insert(out.end(), after.begin(), after.end());
  const std::vector<float> left = test::LeftChannel(out, 9000);

  // A 1 kHz sine at this level moves at most 2*pi*1000/44100*0.9 per frame.
  EXPECT_LT(test::LargestStep(left, 1, 0), 0.13);
  for (int k = 0; k < 441; ++k) EXPECT_NEAR(after[k * 2], held * (441 - k) / 441.0f, 1e-5) << k;
  for (int k = 441; k < 1000; ++k) ASSERT_EQ(after[k * 2], 0.0f) << k;
  EXPECT_FALSE(deck_->IsPlaying());
  EXPECT_EQ(deck_->GetSpeed(), 0.0) << "a paused platter stands";
}

TEST_F(DeckTransport, EndOfSongStopsOrWrapsWithRepeat) {
  // One click at frame 100 of an otherwise silent file.
  const std::int64_t frames = 3 * 44100;
  ASSERT_TRUE(Load(test::MakeSignal(
      frames, [](std::int64_t i, int) { return std::int16_t(i == 100 ? 30000 : 0); })));

  deck_->SetRepeat(true);
  PlaySteadyFrom(frames - 1000);
  std::vector<float> out = rig_->Render(2000);
  long loudest = 0;
  for (long k = 0; k < 2000; ++k)
    if (std::fabs(out[k * 2]) > std::fabs(out[loudest * 2])) loudest = k;
  // 999 frames reach the end, the wrap lands on 0, the click plays at 101.
  EXPECT_EQ(loudest, 999 + 101);
  EXPECT_NEAR(out[loudest * 2], 30000 * 3e-5, 1e-4);
  EXPECT_TRUE(deck_->IsPlaying());

  deck_->SetRepeat(false);
  PlaySteadyFrom(frames - 1000);
  out = rig_->Render(3000);
  EXPECT_EQ(test::Peak(out, 2, 0), 0.0) << "no wrap, so no click";
  EXPECT_FALSE(deck_->IsPlaying());
  EXPECT_DOUBLE_EQ(deck_->GetExactPosition(), frames - 1.0);

  // Play pressed on the last frame: silence, and the position stays.
  deck_->Play(1);
  out = rig_->Render(2000);
  EXPECT_EQ(test::Peak(out, 2, 0), 0.0);
  EXPECT_DOUBLE_EQ(deck_->GetExactPosition(), frames - 1.0);
  EXPECT_FALSE(deck_->IsPlaying());
}

TEST_F(DeckTransport, OversizedRequestRendersSilenceAndKeepsThePosition) {
  ASSERT_TRUE(Load(test::MakeSine(2 * 44100, 440, 20000)));
  deck_->Play(1);
  rig_->Render(4410);
  std::vector<float> out(2 * 4411, 1.0f);
  const double before = deck_->GetExactPosition();
  RenderDirect(out, 4411);
  EXPECT_EQ(test::Peak(out, 2, 0), 0.0);
  EXPECT_EQ(test::Peak(out, 2, 1), 0.0);
  EXPECT_EQ(deck_->GetExactPosition(), before);
  RenderDirect(out, 4410);
  EXPECT_GT(test::Peak(out, 2, 0), 0.5);
  EXPECT_DOUBLE_EQ(deck_->GetExactPosition(), before + 4410);
}

TEST_F(DeckTransport, MissingBlockPlaysSilenceWithTheClockRunning) {
  ASSERT_TRUE(Load(test::MakeSine(5 * 44100, 440, 20000)));
  PlaySteadyFrom(1.5 * 44100);
  ASSERT_TRUE(deck_->EvictBlock(2, true));
  const std::vector<float> out = rig_->Render(2 * 44100);
  EXPECT_DOUBLE_EQ(deck_->GetExactPosition(), 3.5 * 44100) << "the clock ran through the gap";
  // Silent from the buffer that could touch block 2 to the one past it.
  const std::vector<float> left = test::LeftChannel(out);
  EXPECT_GT(test::Peak(test::LeftChannel(out, 0, 22050 - 882), 1, 0), 0.5);
  EXPECT_EQ(test::Peak(test::LeftChannel(out, 22050, 44100), 1, 0), 0.0);
  EXPECT_GT(test::Peak(test::LeftChannel(out, 66150 + 882, 20000), 1, 0), 0.5);
  EXPECT_TRUE(deck_->IsPlaying());
  // The store thread brings the block back.
  deck_->StoreThreadRun();
  EXPECT_TRUE(deck_->IsBlockPresent(2));
}

}  // namespace
}  // namespace vantaro
