// Hands on the deck, driven through the jog side's tick: mouse scratch with
// its glide and throw rules, play and pause under a held platter and the
// play-state news, the controller jog, the jog idle end in time, bends,
// hold-to-seek and the slow pitch reset.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <utility>

#include "base/realtime.h"
#include "engine/engine_settings.h"
#include "tests/engine/deck_test_rig.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using std::chrono::milliseconds;
using test::DeckRig;
using test::TempDir;

class DeckHands : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(test::WriteStereoWav(dir_.File("s.wav"), test::MakeSine(20 * 44100, 440, 16000)));
    deck_ = &rig_.AddDeck();
    ASSERT_TRUE(rig_.Load(dir_.File("s.wav")));
    deck_->SetPlayStateCallback(
        [](int, int state, void* user) {
          EXPECT_FALSE(IsRealtimeThread()) << "news on the audio thread";
          static_cast<std::vector<int>*>(user)->push_back(state);
        },
        &news_);
  }

  void Tick() { deck_->ScratchTick(CSoundSource::kJogIdleLimit); }

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

  // `ticks` jog ticks, each after 1100 rendered frames; returns what was heard.
  std::vector<float> ScratchTicks(int ticks) {
    std::vector<float> heard;
    for (int tick = 0; tick < ticks; ++tick) {
      const std::vector<float> out = rig_.Render(1100);
      heard.insert(heard.end(), out.begin(), out.end());
      Tick();
    }
    return heard;
  }

  // The pitch after each of `ticks` screen ticks.
  std::vector<int> PitchTicks(int ticks) {
    std::vector<int> pitches;
    for (int tick = 0; tick < ticks; ++tick) {
      deck_->PeriodicUpdate();
      Tick();
      pitches.push_back(deck_->GetPitch());
    }
    return pitches;
  }

  TempDir dir_;
  DeckRig rig_{50};
  CSoundSource* deck_ = nullptr;
  std::vector<int> news_;
};

TEST_F(DeckHands, ReleasedFastFromAPlayingDeckItGlidesBackOver75000Frames) {
  // A last change of 15 wheel units glides; 14, or key lock on, does not.
  for (auto [delta, keyLock] : {std::pair{15, false}, {14, false}, {15, true}}) {
    deck_->SetKeyLock(keyLock);
    PlayingSteadily();
    deck_->BeginScratch(0, false);
    deck_->MoveScratch(-116 + delta);
    deck_->MoveScratch(-116);  // last change: `delta` wheel units
    Tick();
    rig_.Render(2500);
    ASSERT_NEAR(deck_->GetSpeed(), 1.6, 0.01);
    deck_->EndScratch();
    Tick();
    EXPECT_TRUE(deck_->IsPlaying());
    const bool glides = delta == 15 && !keyLock;
    EXPECT_EQ(deck_->IsGliding(), glides) << delta << keyLock;
    double midway = 0;
    long reached = -1;
    rig_.RenderWatching(80000, [&](long frames) {
      if (frames == 37500) midway = deck_->GetSpeed();
      if (reached < 0 && deck_->GetSpeed() == 1.0) reached = frames;
    });
    if (glides) {
      // A straight line from 1.6 to 1.0 over 75000 frames, cut 0.01 short.
      EXPECT_NEAR(reached, 75000 * (0.59 / 0.6), 800);
      EXPECT_NEAR(midway, 1.3, 0.01);
    } else {
      EXPECT_NEAR(reached, 2000, 60) << "the ordinary ramp";
    }
  }
}

TEST_F(DeckHands, APausedDeckThrownHardEnoughStarts) {
  for (int delta : {21, 20}) {
    PausedAt(44100);
    deck_->BeginScratch(0, false);
    deck_->MoveScratch(-22 + delta);
    deck_->MoveScratch(-22);  // a speed of about 0.3
    Tick();
    rig_.Render(1000);
    deck_->EndScratch();
    Tick();
    EXPECT_EQ(deck_->IsPlaying(), delta == 21);
    EXPECT_EQ(deck_->IsGliding(), delta == 21) << "it glides up, slowly";
    deck_->Play(0);
    rig_.Render(500);
  }
}

TEST_F(DeckHands, PlayPauseAndToggleTakeEffectUnderAHeldPlatter) {
  PlayingSteadily();  // the song's first start is behind
  struct Case {
    bool playingBefore;
    int play;
    bool heard, playingAfter;
    std::vector<int> news;
  } cases[] = {
      {true, 0, false, false, {0}}, {false, 0, false, false, {}}, {true, -1, false, false, {0}},
      {false, -1, true, true, {1}}, {false, 1, true, true, {1}},
  };
  for (const Case& c : cases) {
    if (c.playingBefore) PlayingSteadily();
    PausedAt(88200);
    news_.clear();
    deck_->BeginScratch(0, true);
    Tick();
    deck_->Play(c.play);
    deck_->MoveScratch(3000);  // the hand moves the song forwards
    const std::vector<float> heard = ScratchTicks(10);
    EXPECT_EQ(test::Peak(test::LeftChannel(heard, 2205), 1, 0) > 0.1, c.heard) << c.play;
    deck_->EndScratch();
    Tick();
    EXPECT_EQ(deck_->IsPlaying(), c.playingAfter) << c.play;
    deck_->PeriodicUpdate();
    EXPECT_EQ(news_, c.news) << c.play;
    deck_->Play(0);
  }
}

TEST_F(DeckHands, EveryPlayStateChangeIsReportedOnceAndNeverOnTheAudioThread) {
  deck_->PeriodicUpdate();
  deck_->Play(1);
  deck_->Play(0);  // two changes within one screen tick
  deck_->Play(-1);
  deck_->PeriodicUpdate();
  EXPECT_EQ(news_, (std::vector<int>{2, 0, 1}));
  // The render stops the deck at the song's end; the screen tick says so.
  PausedAt(20 * 44100 - 1000);
  rig_.Render(6000);
  EXPECT_FALSE(deck_->IsPlaying());
  EXPECT_EQ(news_.size(), 3u);
  deck_->PeriodicUpdate();
  deck_->PeriodicUpdate();
  EXPECT_EQ(news_, (std::vector<int>{2, 0, 1, 0}));
}

TEST_F(DeckHands, MouseScratchChasesTheHandAndComesToRestOnIt) {
  PausedAt(88200);
  deck_->BeginScratch(100, false);
  deck_->MoveScratch(90);
  Tick();
  EXPECT_GT(deck_->GetScratchTarget(), 88200) << "a wheel turned down goes forwards";
  const std::vector<float> heard = ScratchTicks(40);
  EXPECT_NEAR(deck_->GetExactPosition(), deck_->GetScratchTarget(), 1.0);
  EXPECT_GT(test::Peak(heard, 2, 0), 0.02) << "the moving platter is heard";
  deck_->MoveScratch(110);
  Tick();
  EXPECT_LT(deck_->GetScratchTarget(), 88200);
  ScratchTicks(40);
  EXPECT_NEAR(deck_->GetExactPosition(), deck_->GetScratchTarget(), 1.0);
  deck_->EndScratch();

  // Relative steps are frames, added up from the start.
  const double start = std::lrint(deck_->GetExactPosition() - 0.5);
  deck_->BeginScratch(0, true);
  deck_->MoveScratch(500);
  deck_->MoveScratch(-200);
  ScratchTicks(40);
  EXPECT_EQ(deck_->GetScratchTarget(), start + 300);
  EXPECT_NEAR(deck_->GetExactPosition(), start + 300, 1.0);
  deck_->EndScratch();
  Tick();
  EXPECT_FALSE(deck_->IsPlaying());
}

TEST_F(DeckHands, JogTableGivesTheDirection) {
  PausedAt(44100);
  deck_->Jog(0, 0, 0, true, 10);  // a paused deck: the first touch starts a scratch
  Tick();
  ASSERT_TRUE(deck_->IsScratching());
  struct Case {
    int value, previous, kind, direction;
    const char* what;
  } cases[] = {
      {-3, kJogRelativeStep, kJogRelative3, -1, "relative step, kind 32768"},
      {2, kJogRelativeStep, 0, 1, "relative step"},
      {60, 0, kJogTicks, -1, "kind 2: below 64 is backwards"},
      {64, 0, kJogTicks, 1, "kind 2: 64 is a zero step, which moves 10 forwards"},
      {70, 0, kJogRelative3, 1, "kind 32768"},
      {62, 0, kJogRelative6Alt, -1, "kind 1048576"},
      {20, 10, 0, 1, "absolute wheel forwards"},
      {10, 20, 0, -1, "absolute wheel backwards"},
      {64, 64, 0, -1, "64 standing: backwards"},
      {65, 65, 0, 1, "65 standing: forwards"},
      {30, 30, 0, 1, "standing elsewhere keeps the last direction"},
      {99, 3, 0, 1, "a jump of 96 is a turn forwards"},
      {100, 3, 0, -1, "a jump of 97 is a wrap backwards"},
      {3, 99, 0, -1, "96 down is a turn backwards"},
      {3, 100, 0, 1, "97 down is a wrap forwards"},
  };
  for (const Case& c : cases) {
    const double before = deck_->GetScratchTarget();
    deck_->Jog(c.value, c.previous, c.kind, false, 10);
    Tick();
    const double moved = deck_->GetScratchTarget() - before;
    EXPECT_EQ((moved > 0) - (moved < 0), c.direction) << c.what;
  }
}

TEST_F(DeckHands, JogScratchEndsAfterItsIdlePeriodsWhateverWakesTheTick) {
  PausedAt(44100);
  const DeckClock::time_point t0 = DeckClock::now();
  deck_->Jog(0, 0, 0, true, 10);
  // A touch ends after five counted periods of 25 ms, a relative step
  // after three; wake-ups in between count nothing.
  enum { kNone, kTouch, kStep };
  struct Step {
    int atMs, action;
    bool scratching;
  } steps[] = {{0, kNone, true},   {5, kNone, true},   {24, kNone, true},   {25, kNone, true},
               {60, kNone, true},  {99, kNone, true},  {100, kNone, false}, {110, kTouch, true},
               {120, kStep, true}, {149, kNone, true}, {174, kNone, true},  {175, kNone, false}};
  for (const Step& step : steps) {
    if (step.action == kTouch) deck_->Jog(0, 0, 0, true, 10);
    if (step.action == kStep) deck_->Jog(1, kJogRelativeStep, kJogRelative3, false, 10);
    deck_->ScratchTick(CSoundSource::kJogIdleLimit, t0 + milliseconds(step.atMs));
    EXPECT_EQ(deck_->IsScratching(), step.scratching) << step.atMs << " ms";
  }
  EXPECT_FALSE(deck_->IsPlaying()) << "it was paused before";
}

TEST_F(DeckHands, JogOnAPlayingDeckIsAMomentaryBend) {
  deck_->SetPitch(300);
  PlayingSteadily();
  deck_->Jog(70, 0, kJogRelative3, false, 10);
  EXPECT_EQ(PitchTicks(6), (std::vector<int>{300, 500, 500, 500, 300, 300}));
  EXPECT_FALSE(deck_->IsScratching());
  deck_->Jog(60, 0, kJogRelative3, false, 10);  // backwards bends down
  EXPECT_EQ(PitchTicks(6), (std::vector<int>{300, 100, 100, 100, 300, 300}));
  deck_->Jog(70, 0, kJogRelative3, true, 10);
  Tick();
  EXPECT_TRUE(deck_->IsScratching()) << "forced, the jog scratches";
}

TEST_F(DeckHands, HeldBendAcceleratesWithinItsLimitAndReturns) {
  deck_->SetPitch(500);
  for (int sign : {1, -1}) {
    sign > 0 ? deck_->BendUp(true) : deck_->BendDown(true);
    const std::vector<int> pitches = PitchTicks(400);
    EXPECT_EQ(pitches[0], 500) << "the first tick starts the bend";
    for (size_t i = 3; i < 40; ++i)
      EXPECT_GT((pitches[i] - pitches[i - 1]) * sign, (pitches[2] - pitches[1]) * sign) << i;
    EXPECT_EQ(pitches.back(), 10000 * sign) << "bounded at 100 %";
    sign > 0 ? deck_->BendUp(false) : deck_->BendDown(false);
    EXPECT_EQ(PitchTicks(1).back(), 500);
  }
}

TEST_F(DeckHands, HoldToSeekJumpsFurtherTheLongerItIsHeld) {
  PausedAt(15 * 44100);
  deck_->HoldSeekBack(true);
  std::vector<double> seconds;
  for (int tick = 0; tick < 6; ++tick) {
    PitchTicks(1);
    deck_->StoreThreadRun();
    seconds.push_back(deck_->GetExactPosition() / 44100);
  }
  EXPECT_EQ(seconds, (std::vector<double>{14, 13, 11, 8, 4, 0}));
  deck_->HoldSeekBack(false);
  PitchTicks(1);
  EXPECT_FALSE(deck_->IsSeekPending());

  deck_->HoldSeekForward(true);
  for (int tick = 0; tick < 8; ++tick) {
    PitchTicks(1);
    deck_->StoreThreadRun();
  }
  EXPECT_DOUBLE_EQ(deck_->GetExactPosition(), 20 * 44100 - 1) << "bounded by the last frame";
}

TEST_F(DeckHands, SlowPitchResetStepsByTenToZeroAndEndsTheBends) {
  deck_->SetPitch(35);
  deck_->BendUp(true);
  PitchTicks(1);  // a bend is running
  deck_->SetPitch(35);
  deck_->ResetPitch();
  std::vector<int> pitches;
  for (int step = 0; step < 5; ++step) {
    deck_->SlowPitchResetStep();
    pitches.push_back(deck_->GetPitch());
  }
  EXPECT_EQ(pitches, (std::vector<int>{25, 15, 5, 0, 0}));
  EXPECT_FALSE(deck_->IsSlowResetRunning());
  EXPECT_EQ(PitchTicks(3), (std::vector<int>{0, 0, 0})) << "the bend ended with the reset";

  deck_->SetPitch(-700);
  deck_->ResetPitch();
  deck_->ResetPitch();  // a second press: at once
  EXPECT_EQ(deck_->GetPitch(), 0);
  TheEngineSettings().slowReset.store(false);
  deck_->SetPitch(-700);
  deck_->ResetPitch();
  TheEngineSettings().slowReset.store(true);
  EXPECT_EQ(deck_->GetPitch(), 0);
}

TEST_F(DeckHands, PitchDirectionAndExternalSpeed) {
  deck_->SetPitch(800);
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
  Tick();
  deck_->SetPitch(-400);
  EXPECT_DOUBLE_EQ(deck_->GetRequestedSpeed(), 0.0);
  deck_->EndScratch();
  Tick();
  EXPECT_DOUBLE_EQ(deck_->GetRequestedSpeed(), 0.96);
}

}  // namespace
}  // namespace vantaro
