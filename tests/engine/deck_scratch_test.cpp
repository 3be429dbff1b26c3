// Hands on the deck: mouse scratch with its glide and throw rules, play and
// pause under the hand, the controller jog table, the jog idle end, bends,
// hold-to-seek, the slow pitch reset and the play-state news.
#include <gtest/gtest.h>

#include <cmath>
#include <utility>

#include "engine/engine_settings.h"
#include "tests/engine/deck_test_rig.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::DeckRig;
using test::TempDir;

class DeckHands : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(test::WriteStereoWav(dir_.File("s.wav"), test::MakeSine(20 * 44100, 440, 16000)));
    deck_ = &rig_.AddDeck();
    ASSERT_TRUE(rig_.Load(dir_.File("s.wav")));
  }

  // Paused at `position` exactly.
  void PausedAt(double position) {
    deck_->SeekRequest(position);
    deck_->StoreThreadRun();
    ASSERT_DOUBLE_EQ(deck_->GetExactPosition(), position);
  }

  void PlayingSteadily() {
    deck_->Play(1);
    rig_.Render(4410);
    ASSERT_DOUBLE_EQ(deck_->GetSpeed(), deck_->GetRequestedSpeed());
  }

  long FramesUntilSpeed(double speed, long limit) {
    long reached = -1;
    rig_.RenderWatching(limit, [&](long frames) {
      if (reached < 0 && deck_->GetSpeed() == speed) reached = frames;
    });
    return reached;
  }

  // `ticks` jog ticks, each after 1100 rendered frames; returns what was heard.
  std::vector<float> ScratchTicks(int ticks) {
    std::vector<float> heard;
    for (int tick = 0; tick < ticks; ++tick) {
      const std::vector<float> out = rig_.Render(1100);
      heard.insert(heard.end(), out.begin(), out.end());
      deck_->ScratchTick(CSoundSource::kJogIdleLimit);
    }
    return heard;
  }

  // The pitch after each of `ticks` screen ticks.
  std::vector<int> PitchTicks(int ticks) {
    std::vector<int> pitches;
    for (int tick = 0; tick < ticks; ++tick) {
      deck_->PeriodicUpdate();
      pitches.push_back(deck_->GetPitch());
    }
    return pitches;
  }

  // The controller jog's step sum, read back from the speed it asks for:
  // target = start + sum * 41, speed = (target - position) / 1890.
  double JogSum(double start) {
    return std::lrint((deck_->GetRequestedSpeed() * 1890 + deck_->GetExactPosition() - start)) /
           41.0;
  }

  TempDir dir_;
  DeckRig rig_{50};
  CSoundSource* deck_ = nullptr;
};

TEST_F(DeckHands, ReleasedFastFromAPlayingDeckItGlidesBackOver75000Frames) {
  // A last change of 15 wheel units glides; 14, or key lock on, does not.
  for (auto [delta, keyLock] : {std::pair{15, false}, {14, false}, {15, true}}) {
    deck_->SetKeyLock(keyLock);
    PlayingSteadily();
    deck_->BeginScratch(0, false);
    deck_->MoveScratch(-116 + delta);
    deck_->MoveScratch(-116);  // last change: `delta` wheel units
    rig_.Render(2500);
    ASSERT_NEAR(deck_->GetSpeed(), 1.6, 0.01);
    deck_->EndScratch();
    EXPECT_TRUE(deck_->IsPlaying());
    if (keyLock) {
      EXPECT_FALSE(deck_->IsGliding()) << "key lock";
    } else if (delta == 15) {
      EXPECT_TRUE(deck_->IsGliding());
      double midway = 0;
      long reached = -1;
      rig_.RenderWatching(80000, [&](long frames) {
        if (frames == 37500) midway = deck_->GetSpeed();
        if (reached < 0 && deck_->GetSpeed() == 1.0) reached = frames;
      });
      // A straight line from 1.6 to 1.0 over 75000 frames, cut 0.01 short.
      EXPECT_NEAR(reached, 75000 * (0.59 / 0.6), 800);
      EXPECT_NEAR(midway, 1.3, 0.01);
      EXPECT_FALSE(deck_->IsGliding());
    } else {
      EXPECT_FALSE(deck_->IsGliding());
      EXPECT_NEAR(FramesUntilSpeed(1.0, 4000), 2000, 60) << "the ordinary ramp";
    }
  }
}

TEST_F(DeckHands, APausedDeckThrownHardEnoughStarts) {
  for (int delta : {21, 20}) {
    PausedAt(44100);
    deck_->BeginScratch(0, false);
    deck_->MoveScratch(-22 + delta);
    deck_->MoveScratch(-22);  // speed (22 * 31 - 0.5) / 2250, about 0.3
    ASSERT_NEAR(deck_->GetRequestedSpeed(), 0.303, 0.001);
    rig_.Render(1000);
    deck_->EndScratch();
    if (delta == 21) {
      EXPECT_TRUE(deck_->IsPlaying());
      EXPECT_TRUE(deck_->IsGliding());
      rig_.Render(20000);
      EXPECT_GT(deck_->GetSpeed(), 0.3);
      EXPECT_LT(deck_->GetSpeed(), 1.0) << "it glides up, slowly";
      deck_->Play(0);
      rig_.Render(500);
    } else {
      EXPECT_FALSE(deck_->IsPlaying());
    }
  }
}

TEST_F(DeckHands, PlayAndPauseUnderTheHandDecideWhatFollowsTheScratch) {
  // Stop during a scratch with the deck paused before: it ends paused.
  PausedAt(44100);
  deck_->BeginScratch(0, false);
  EXPECT_TRUE(deck_->IsPlaying()) << "the platter turns under the hand";
  deck_->MoveScratch(-5);
  rig_.Render(1000);
  deck_->Play(0);
  EXPECT_TRUE(deck_->IsPlaying());
  deck_->EndScratch();
  EXPECT_FALSE(deck_->IsPlaying());

  // Stopped while held after playing: paused at the end.
  PlayingSteadily();
  deck_->BeginScratch(0, false);
  deck_->Play(0);
  deck_->EndScratch();
  EXPECT_FALSE(deck_->IsPlaying());

  // Started while held: playing at the end.
  deck_->BeginScratch(0, false);
  deck_->Play(-1);
  deck_->EndScratch();
  EXPECT_TRUE(deck_->IsPlaying());
}

TEST_F(DeckHands, MouseScratchChasesTheHandAndComesToRestOnIt) {
  PausedAt(88200);
  deck_->BeginScratch(100, false);
  deck_->MoveScratch(90);  // ten units forwards: 310 frames
  const std::vector<float> heard = ScratchTicks(40);
  EXPECT_NEAR(deck_->GetExactPosition(), 88200 + 310, 1.0);
  EXPECT_GT(test::Peak(heard, 2, 0), 0.02) << "the moving platter is heard";
  deck_->MoveScratch(110);  // ten units back from the start
  ScratchTicks(40);
  EXPECT_NEAR(deck_->GetExactPosition(), 88200 - 310, 1.0);
  deck_->EndScratch();

  // Relative steps add up from the start.
  const double start = std::lrint(deck_->GetExactPosition() - 0.5);
  deck_->BeginScratch(0, true);
  deck_->MoveScratch(500);
  deck_->MoveScratch(-200);
  ScratchTicks(40);
  EXPECT_NEAR(deck_->GetExactPosition(), start + 300, 1.0);
  deck_->EndScratch();
  EXPECT_FALSE(deck_->IsPlaying());
}

TEST_F(DeckHands, JogTableGivesDirectionAndMagnitude) {
  PausedAt(44100);
  deck_->Jog(0, 0, 0, true, 10);  // a paused deck: the first touch starts a scratch
  ASSERT_TRUE(deck_->IsScratching());
  struct Case {
    int value, previous, kind, elapsed;
    double step;
    const char* what;
  } cases[] = {
      {-3, kJogRelativeStep, kJogRelative3, 10, -12, "relative, kind 32768: times 4"},
      {2, kJogRelativeStep, 0, 10, 387, "relative: 2 * 22 * 88 / 10"},
      {2, kJogRelativeStep, 0, 1, 968, "relative: elapsed at least 4"},
      {60, 0, kJogTicks, 0, -40, "kind 2: below 64 is backwards, times 10"},
      {70, 0, kJogRelative3, 0, 18, "kind 32768: times 3"},
      {66, 0, kJogRelative6, 0, 12, "kind 65536: times 6"},
      {62, 0, kJogRelative6Alt, 0, -12, "kind 1048576: times 6"},
      {20, 10, 0, 0, 60, "absolute wheel forwards"},
      {10, 20, 0, 0, -60, "absolute wheel backwards"},
      {5, 120, 0, 0, 60, "a wrap forwards keeps the last magnitude"},
      {120, 5, 0, 0, -60, "a wrap backwards"},
      {64, 64, 0, 0, -10, "64 standing: backwards 10"},
      {65, 65, 0, 0, 10, "65 standing: forwards 10"},
      {30, 30, 0, 0, 10, "standing elsewhere keeps the last direction"},
      {64, 0, kJogTicks, 0, 10, "a zero magnitude steps 10"},
      {99, 3, 0, 0, 10, "a jump of 96 is a turn forwards"},
      {100, 3, 0, 0, -10, "a jump of 97 is a wrap backwards"},
      {3, 99, 0, 0, -10, "96 down is a turn backwards"},
      {3, 100, 0, 0, 10, "97 down is a wrap forwards"},
  };
  const double start = 44100;
  double sum = 0;
  for (const Case& c : cases) {
    deck_->Jog(c.value, c.previous, c.kind, false, c.elapsed);
    sum += c.step;
    EXPECT_NEAR(JogSum(start), sum, 0.01) << c.what;
  }
}

TEST_F(DeckHands, JogScratchEndsAfterTheIdleLimit) {
  PausedAt(44100);
  deck_->Jog(0, 0, 0, true, 10);
  for (int tick = 1; tick <= 4; ++tick) {
    deck_->ScratchTick(CSoundSource::kJogIdleLimit);
    EXPECT_TRUE(deck_->IsScratching()) << tick;
  }
  deck_->ScratchTick(CSoundSource::kJogIdleLimit);
  EXPECT_FALSE(deck_->IsScratching());
  EXPECT_FALSE(deck_->IsPlaying()) << "it was paused before";

  // A relative step leaves fewer ticks before the end.
  deck_->Jog(0, 0, 0, true, 10);
  deck_->Jog(1, kJogRelativeStep, kJogRelative3, false, 10);
  deck_->ScratchTick(CSoundSource::kJogIdleLimit);
  deck_->ScratchTick(CSoundSource::kJogIdleLimit);
  EXPECT_TRUE(deck_->IsScratching());
  deck_->ScratchTick(CSoundSource::kJogIdleLimit);
  EXPECT_FALSE(deck_->IsScratching());
}

TEST_F(DeckHands, JogOnAPlayingDeckIsAMomentaryBend) {
  deck_->SetPitch(300);
  PlayingSteadily();
  deck_->Jog(70, 0, kJogRelative3, false, 10);
  EXPECT_FALSE(deck_->IsScratching());
  EXPECT_EQ(PitchTicks(6), (std::vector<int>{300, 500, 500, 500, 300, 300}));
  EXPECT_NEAR(deck_->GetRequestedSpeed(), 1.03, 1e-9);
  deck_->Jog(60, 0, kJogRelative3, false, 10);  // backwards bends down
  EXPECT_EQ(PitchTicks(6), (std::vector<int>{300, 100, 100, 100, 300, 300}));

  deck_->Jog(70, 0, kJogRelative3, true, 10);
  EXPECT_TRUE(deck_->IsScratching()) << "forced, the jog scratches";
}

TEST_F(DeckHands, HeldBendAcceleratesWithinItsLimitAndReturns) {
  deck_->SetPitch(500);
  deck_->BendUp(true);
  const std::vector<int> pitches = PitchTicks(400);
  EXPECT_EQ(pitches[0], 500) << "the first tick starts the bend";
  EXPECT_EQ(pitches[1], 500 + 45);
  EXPECT_EQ(pitches[2], 500 + 71);
  for (size_t i = 3; i < 40; ++i) EXPECT_GT(pitches[i] - pitches[i - 1], pitches[2] - pitches[1]);
  EXPECT_EQ(pitches.back(), 10000) << "bounded at +100 %";
  deck_->BendUp(false);
  deck_->PeriodicUpdate();
  EXPECT_EQ(deck_->GetPitch(), 500);

  deck_->BendDown(true);
  EXPECT_EQ(PitchTicks(400).back(), -10000) << "bounded at -100 %";
  deck_->BendDown(false);
  deck_->PeriodicUpdate();
  EXPECT_EQ(deck_->GetPitch(), 500);
}

TEST_F(DeckHands, HoldToSeekJumpsFurtherTheLongerItIsHeld) {
  PausedAt(15 * 44100);
  deck_->HoldSeekBack(true);
  std::vector<double> seconds;
  for (int tick = 0; tick < 6; ++tick) {
    deck_->PeriodicUpdate();
    deck_->StoreThreadRun();
    seconds.push_back(deck_->GetExactPosition() / 44100);
  }
  EXPECT_EQ(seconds, (std::vector<double>{14, 13, 11, 8, 4, 0}));
  deck_->HoldSeekBack(false);
  deck_->PeriodicUpdate();
  EXPECT_FALSE(deck_->IsSeekPending());

  deck_->HoldSeekForward(true);
  for (int tick = 0; tick < 8; ++tick) {
    deck_->PeriodicUpdate();
    deck_->StoreThreadRun();
  }
  EXPECT_DOUBLE_EQ(deck_->GetExactPosition(), 20 * 44100 - 1) << "bounded by the last frame";
  deck_->HoldSeekForward(false);
}

TEST_F(DeckHands, SlowPitchResetStepsByTenToZero) {
  deck_->SetPitch(35);
  deck_->ResetPitch();
  EXPECT_TRUE(deck_->IsSlowResetRunning());
  EXPECT_EQ(PitchTicks(3), (std::vector<int>{35, 35, 35})) << "only the tick's step moves it";
  std::vector<int> pitches;
  for (int step = 0; step < 5; ++step) {
    deck_->SlowPitchResetStep();
    pitches.push_back(deck_->GetPitch());
  }
  EXPECT_EQ(pitches, (std::vector<int>{25, 15, 5, 0, 0}));
  EXPECT_FALSE(deck_->IsSlowResetRunning());

  deck_->SetPitch(-700);
  deck_->ResetPitch();
  deck_->ResetPitch();  // a second press: at once
  EXPECT_EQ(deck_->GetPitch(), 0);
  EXPECT_FALSE(deck_->IsSlowResetRunning());

  TheEngineSettings().slowReset.store(false);
  deck_->SetPitch(-700);
  deck_->ResetPitch();
  TheEngineSettings().slowReset.store(true);
  EXPECT_EQ(deck_->GetPitch(), 0);
}

TEST_F(DeckHands, PitchDirectionAndExternalSpeed) {
  deck_->SetPitch(800);
  EXPECT_DOUBLE_EQ(deck_->GetRequestedSpeed(), 1.08);
  deck_->SetDirection(-1);
  EXPECT_DOUBLE_EQ(deck_->GetRequestedSpeed(), -1.08);
  EXPECT_EQ(deck_->GetPitch(), 800);
  deck_->SetExternalSpeed(true);
  deck_->SetSpeed(-0.95);
  EXPECT_EQ(deck_->GetPitch(), -500);
  deck_->SetExternalSpeed(false);
  EXPECT_DOUBLE_EQ(deck_->GetRequestedSpeed(), -1.08);
  deck_->SetDirection(1);

  // A pitch change under the hand waits for the scratch to end.
  deck_->BeginScratch(0, false);
  deck_->SetPitch(-400);
  EXPECT_DOUBLE_EQ(deck_->GetRequestedSpeed(), 0.0);
  deck_->EndScratch();
  EXPECT_DOUBLE_EQ(deck_->GetRequestedSpeed(), 0.96);
}

TEST_F(DeckHands, PlayStateNewsComesWithTheScreenTick) {
  std::vector<int> states;
  deck_->SetPlayStateCallback(
      [](int, int state, void* user) { static_cast<std::vector<int>*>(user)->push_back(state); },
      &states);
  deck_->PeriodicUpdate();
  deck_->Play(1);
  deck_->PeriodicUpdate();
  deck_->Play(0);
  deck_->PeriodicUpdate();
  deck_->Play(-1);
  deck_->PeriodicUpdate();
  deck_->PeriodicUpdate();
  EXPECT_EQ(states, (std::vector<int>{2, 0, 1}));
}

}  // namespace
}  // namespace vantaro
