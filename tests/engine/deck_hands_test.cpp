// Hands on the deck, driven through the jog side's tick: letting go of a
// scratch (glide and throw), play and pause under a held platter and the
// play-state news, the hand's target, the controller jog, the jog idle end
// in time, bends, hold-to-seek and the slow pitch reset.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <tuple>

#include "base/realtime.h"
#include "tests/engine/deck_test_rig.h"

namespace vantaro {
namespace {

class DeckHands : public test::DeckTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(Load(test::MakeSine(20 * 44100, 440, 16000)));
    deck.SetPlayStateCallback(
        [](int, int state, void* news) {
          EXPECT_FALSE(IsRealtimeThread()) << "news on the audio thread";
          static_cast<std::vector<int>*>(news)->push_back(state);
        },
        &news_);
  }
  // `n` screen, jog and store ticks, each after `frames` rendered frames;
  // returns what was heard, and keeps the pitch and the second after each.
  std::vector<float> Ticks(int n, long frames = 0) {
    std::vector<float> heard;
    pitches_.clear();
    seconds_.clear();
    for (int i = 0; i < n; ++i) {
      for (const float sample : rig.Render(frames)) heard.push_back(sample);
      deck.PeriodicUpdate();
      Tick();
      deck.StoreThreadRun();
      pitches_.push_back(deck.GetPitch());
      seconds_.push_back(deck.GetExactPosition() / 44100);
    }
    return heard;
  }

  std::vector<int> news_, pitches_;
  std::vector<double> seconds_;
};

TEST_F(DeckHands, LettingGoGlidesBackOrThrowsAPausedPlatter) {
  // The last wheel position sets the speed at release (-116: 1.6, -22: 0.3);
  // the last change of the wheel, the play state and the key lock decide.
  const std::tuple<bool, int, int, bool, bool, bool> cases[] = {
      {true, -116, 15, false, true, true},   {true, -116, 14, false, true, false},
      {true, -116, 15, true, true, false},   {false, -22, 21, false, true, true},
      {false, -22, 20, false, false, false}, {false, -22, 21, true, true, false}};
  for (auto [playing, wheel, lastChange, keyLock, playsAfter, glides] : cases) {
    At(88200, playing);
    deck.SetKeyLock(keyLock);
    deck.BeginScratch(0, false);
    deck.MoveScratch(wheel + lastChange);
    deck.MoveScratch(wheel);
    Tick();
    EXPECT_GT(deck.GetScratchTarget(), 88200) << "a wheel turned down goes forwards";
    rig.Render(2500);
    deck.EndScratch();
    Tick();
    EXPECT_EQ(std::pair(deck.IsPlaying(), deck.IsGliding()), std::pair(playsAfter, glides))
        << wheel << " " << lastChange << keyLock;
    // A glide is a straight line from 1.6 to 1.0 over 75000 frames, cut
    // 0.01 short; otherwise the ordinary ramp.
    const long reached = rig.FramesUntil(80000, [&] { return deck.GetSpeed() == 1.0; });
    EXPECT_TRUE(!playing || std::abs(reached - (glides ? 73750 : 2000)) < (glides ? 800 : 60))
        << reached;
    deck.Play(0);
  }
}

TEST_F(DeckHands, ThePlatterFollowsTheHandAndPlayTakesEffectUnderItAndEachChangeIsNews) {
  deck.Play(1);
  deck.Play(0);  // two changes within one screen tick
  deck.Play(-1);
  deck.PeriodicUpdate();
  EXPECT_EQ(news_, (std::vector<int>{2, 0, 1}));
  const std::tuple<bool, int, bool, bool, std::vector<int>> cases[] = {
      {true, 0, false, false, {0}},
      {false, 0, false, false, {}},
      {true, -1, false, false, {0}},
      {false, -1, true, true, {1}},
      {false, 1, true, true, {1}}};
  for (const auto& [playingBefore, play, heard, playingAfter, news] : cases) {
    At(88200, playingBefore);
    news_.clear();
    deck.BeginScratch(0, true);
    Tick();
    deck.Play(play);
    deck.MoveScratch(4000);  // relative steps are frames, added up
    deck.MoveScratch(-1000);
    EXPECT_EQ(test::LeftPeak(Ticks(40, 1100), 2205) > 0.1, heard) << play;
    EXPECT_EQ(deck.GetScratchTarget(), 88200 + 3000);
    // A turning platter comes to rest on the frame the hand points at.
    EXPECT_TRUE(!heard || std::abs(deck.GetExactPosition() - (88200 + 3000)) < 1) << play;
    deck.EndScratch();
    Tick();
    EXPECT_EQ(deck.IsPlaying(), playingAfter) << play;
    EXPECT_EQ(news_, news) << play;
    deck.Play(0);
  }
  // The render stops the deck at the song's end; the screen tick says so.
  At(20 * 44100 - 1000, true);
  news_.clear();
  rig.Render(6000);
  EXPECT_TRUE(news_.empty());
  deck.PeriodicUpdate();
  deck.PeriodicUpdate();
  EXPECT_EQ(news_, (std::vector<int>{0}));
}

TEST_F(DeckHands, JogTableGivesTheDirection) {
  At(44100, false);
  deck.Jog(0, 0, 0, true, 10);  // a paused deck: the first touch starts a scratch
  // A relative step (previous -100, kind 32768); kind 2 around 64 (64 itself
  // moves 10 forwards); an absolute wheel standing at 64, 65 or elsewhere
  // (the last direction), turning by 96 and wrapping by 97.
  const std::tuple<int, int, int, int> cases[] = {
      {-3, -100, 32768, -1}, {60, 0, 2, -1}, {64, 0, 2, 1},   {64, 64, 0, -1}, {65, 65, 0, 1},
      {30, 30, 0, 1},        {99, 3, 0, 1},  {100, 3, 0, -1}, {3, 99, 0, -1},  {3, 100, 0, 1}};
  for (auto [value, previous, kind, direction] : cases) {
    Tick();
    const double before = deck.GetScratchTarget();
    deck.Jog(value, previous, kind, false, 10);
    Tick();
    EXPECT_EQ(deck.GetScratchTarget() > before ? 1 : -1, direction) << value << " " << previous;
  }
}

TEST_F(DeckHands, JogScratchEndsAfterItsIdlePeriodsWhateverWakesTheTick) {
  At(44100, false);
  const DeckClock::time_point t0 = DeckClock::now();
  deck.Jog(0, 0, 0, true, 10);
  // A touch ends after five counted periods of 25 ms, a relative step
  // after three; wake-ups in between count nothing.
  enum { kNone, kTouch, kStep };
  const std::tuple<int, int, bool> steps[] = {
      {0, kNone, true},   {5, kNone, true},   {24, kNone, true},   {25, kNone, true},
      {60, kNone, true},  {99, kNone, true},  {100, kNone, false}, {110, kTouch, true},
      {120, kStep, true}, {149, kNone, true}, {174, kNone, true},  {175, kNone, false}};
  for (auto [atMs, action, scratching] : steps) {
    if (action == kTouch) deck.Jog(0, 0, 0, true, 10);
    if (action == kStep) deck.Jog(1, kJogRelativeStep, kJogRelative3, false, 10);
    deck.ScratchTick(CSoundSource::kJogIdleLimit, t0 + std::chrono::milliseconds(atMs));
    EXPECT_EQ(deck.IsScratching(), scratching) << atMs << " ms";
  }
}

TEST_F(DeckHands, BendsMomentaryFromTheJogAndHeldFromButtons) {
  deck.SetPitch(300);
  At(44100, true);
  for (int value : {70, 60}) {  // a wheel turned on a playing deck, forwards and back
    deck.Jog(value, 0, kJogRelative3, false, 10);
    Ticks(6);
    const int bent = value > 64 ? 500 : 100;
    EXPECT_EQ(pitches_, (std::vector<int>{300, bent, bent, bent, 300, 300}));
  }
  for (int sign : {1, -1}) {
    sign > 0 ? deck.BendUp(true) : deck.BendDown(true);
    Ticks(400);
    for (size_t i = 3; i < 40; ++i)
      EXPECT_GT((pitches_[i] - pitches_[i - 1]) * sign, (pitches_[2] - pitches_[1]) * sign) << i;
    EXPECT_EQ(pitches_.back(), 10000 * sign) << "bounded at 100 %";
    sign > 0 ? deck.BendUp(false) : deck.BendDown(false);
    Ticks(1);
    EXPECT_EQ(pitches_.back(), 300);
  }
}

TEST_F(DeckHands, HoldToSeekJumpsFurtherTheLongerItIsHeldAndThePitchReturnsSlowly) {
  At(15 * 44100, false);
  for (bool back : {true, false}) {
    back ? deck.HoldSeekBack(true) : deck.HoldSeekForward(true);
    Ticks(7);
    EXPECT_EQ(seconds_,
              (back ? std::vector<double>{14, 13, 11, 8, 4, 0, 0}
                    : std::vector<double>{1, 2, 4, 7, 11, 16, (20 * 44100 - 1) / 44100.0}));
  }
  deck.HoldSeekForward(false);
  At(10 * 44100, false);
  Ticks(2);
  EXPECT_EQ(seconds_, (std::vector<double>{10, 10})) << "released, it stays";

  // The slow pitch reset steps by ten to zero, then ends the bends.
  deck.SetPitch(35);
  deck.BendUp(true);
  Ticks(1);  // a bend is running
  deck.ResetPitch();
  std::vector<int> pitches;
  for (int step = 0; step < 4; ++step) {
    deck.SlowPitchResetStep();
    pitches.push_back(deck.GetPitch());
  }
  EXPECT_EQ(pitches, (std::vector<int>{25, 15, 5, 0}));
  EXPECT_FALSE(deck.IsSlowResetRunning());
  Ticks(2);
  EXPECT_EQ(pitches_, (std::vector<int>{0, 0})) << "the bend ended with the reset";
  for (bool slow : {true, false}) {
    TheEngineSettings().slowReset.store(slow);
    deck.SetPitch(-700);
    deck.ResetPitch();
    if (slow) deck.ResetPitch();  // a second press: at once
    EXPECT_EQ(deck.GetPitch(), 0) << slow;
  }
  TheEngineSettings().slowReset.store(true);
}

}  // namespace
}  // namespace vantaro
