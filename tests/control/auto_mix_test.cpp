// Auto-mix on a fake program: end detection, the sweep and its length at
// two tick rates, beat matching, the choice of the next track, and the
// auto-mix list's first-item callback.

#include "control/auto_mix.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace vantaro {
namespace {

constexpr std::int64_t kSecond = 44100;

class FakeList : public AutoMixList {
 public:
  std::vector<std::string> rows;
  int nextCursor = -1;
  std::function<void()> onFirstChanged;  // as the real list's first-item callback

  int Count() const override { return static_cast<int>(rows.size()); }
  int NextCursor() const override { return nextCursor; }
  void SetNextCursor(int row) override { nextCursor = row; }
  std::string RowPath(int row) const override { return rows.at(row); }
  void TakeRow(int row) override {
    rows.erase(rows.begin() + row);
    nextCursor = rows.empty() ? -1 : 0;
    if (row == 0 && onFirstChanged) onFirstChanged();
  }
};

struct Loaded {
  int deck;
  std::string path;
  bool operator==(const Loaded&) const = default;
};

class FakeHost : public AutoMixHost {
 public:
  int crossfader = 64;
  AutoMixDeckReading decks[2];
  FakeList main, second, automix;
  bool mainShown = true;
  int random = 0;
  std::vector<Loaded> loads;
  std::vector<std::pair<int, int>> matches;
  std::vector<int> slowResets;
  std::vector<bool> published;

  int Crossfader() override { return crossfader; }
  void SetCrossfader(int value) override { crossfader = value; }
  AutoMixDeckReading ReadDeck(int deck) override { return decks[deck]; }
  void Play(int deck) override { decks[deck].playing = true; }
  void MatchBeats(int deck, int other) override { matches.emplace_back(deck, other); }
  void StartSlowPitchReset(int deck) override { slowResets.push_back(deck); }
  void LoadTrack(int deck, const std::string& path) override {
    loads.push_back({deck, path});
    decks[deck] = {};
    decks[deck].length = path == kEmptyDeckPath ? 0 : 60 * kSecond;
  }
  AutoMixList* FindList(AutoMixListRole role) override {
    if (role == AutoMixListRole::kAutomix) return &automix;
    if (!mainShown) return nullptr;
    return role == AutoMixListRole::kMainView ? &main : &second;
  }
  int Random() override { return random; }
  void PublishState(bool on) override { published.push_back(on); }
};

// A deck with a one-minute track at `position`.
AutoMixDeckReading Playing(std::int64_t position, std::int64_t cueOut = 0, bool cueOutOn = false,
                           bool playing = true) {
  return {60 * kSecond, position, playing, cueOutOn, cueOut};
}

TEST(AutoMix, MixOutPointTakesCueOutOnlyInTheSecondHalfBeforeTheEndWithTheFeatureOn) {
  struct Case {
    std::int64_t length, cueOut;
    bool on;
    std::int64_t expected;
  } cases[] = {
      {100, 80, true, 80},   {100, 80, false, 100}, {100, 50, true, 100},
      {100, 51, true, 51},   {100, 100, true, 100}, {100, 99, true, 99},
      {100, 150, true, 100}, {0, 80, true, 0},      {100, -1, true, 100},
  };
  for (const Case& c : cases) {
    AutoMixDeckReading deck;
    deck.length = c.length;
    deck.cueOut = c.cueOut;
    deck.cueOutOn = c.on;
    EXPECT_EQ(AutoMix::MixOutPoint(deck), c.expected) << c.length << " " << c.cueOut << " " << c.on;
  }
}

TEST(AutoMix, EndDetectionStartsAFadeTimeBeforeTheMixOutPointOnlyOnTheAudibleDeck) {
  const std::int64_t end = 60 * kSecond, cue = 40 * kSecond;
  struct Case {
    const char* what;
    int deck, crossfader;
    AutoMixDeckReading reading;
    bool autoMixOn, expectSweep;
  } cases[] = {
      {"A 4.99 s before the end", 0, 0, Playing(end - 5 * kSecond + 441), true, true},
      {"A exactly 5 s before the end", 0, 0, Playing(end - 5 * kSecond), true, false},
      {"A near the end at 63", 0, 63, Playing(end - kSecond), true, true},
      {"A near the end at 64: not audible", 0, 64, Playing(end - kSecond), true, false},
      {"B near the end at 64", 1, 64, Playing(end - kSecond), true, true},
      {"B near the end at 63: not audible", 1, 63, Playing(end - kSecond), true, false},
      {"cue_out at 40 s, at 35.1 s", 0, 0, Playing(cue - 5 * kSecond + 4410, cue, true), true,
       true},
      {"cue_out at 40 s, at 34.9 s", 0, 0, Playing(cue - 5 * kSecond - 4410, cue, true), true,
       false},
      {"cue_out in the first half is ignored", 0, 0, Playing(end - 6 * kSecond, 20 * kSecond, true),
       true, false},
      {"auto-mix off", 0, 0, Playing(end - kSecond), false, false},
      {"paused deck", 0, 0, Playing(end - kSecond, 0, false, false), true, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    FakeHost host;
    host.decks[0] = host.decks[1] = Playing(0);
    host.decks[c.deck] = c.reading;
    AutoMix mix(host);
    mix.options.fadeTime = 50;
    if (c.autoMixOn) mix.AutoMixToggled(true);
    host.crossfader = c.crossfader;
    mix.CheckDeckEnd(c.deck);
    EXPECT_EQ(mix.Fading(), c.expectSweep);
    if (c.expectSweep) {
      EXPECT_EQ(mix.Direction(), c.deck == 0 ? 1 : 0);
    }
  }
}

// Runs ticks at `periodMs` (+ `jitterMs` on every other tick) until the
// sweep ends; answers the time from the start to the end, ms.
std::int64_t SweepLength(AutoMix& mix, FakeHost& host, int periodMs, int jitterMs,
                         std::vector<int>* values = nullptr) {
  std::int64_t now = 1000;
  mix.FadeTick(now);  // the tick before the start
  const std::int64_t start = now + periodMs / 2;
  mix.FadeLeft();
  for (int tick = 1; mix.Fading() && tick < 10000; ++tick) {
    now += periodMs + (tick % 2 ? jitterMs : -jitterMs / 2);
    mix.FadeTick(now);
    if (values) values->push_back(host.crossfader);
  }
  return now - start;
}

TEST(AutoMix, ASweepLastsTheFadeTimeWithinOneTickAtAnyTickRateAndHandsOverAtItsEnd) {
  struct Case {
    int fadeTime, periodMs, jitterMs;
    bool slowReset;
  } cases[] = {{100, 38, 0, true},  {100, 80, 0, false}, {100, 38, 25, true},
               {100, 80, 40, true}, {10, 38, 15, true},  {300, 80, 0, true}};
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.periodMs) + " ms ticks, jitter " + std::to_string(c.jitterMs));
    FakeHost host;
    host.crossfader = 127;
    host.decks[0].length = host.decks[1].length = 60 * kSecond;
    host.automix.rows = {"next.wav"};
    AutoMix mix(host);
    mix.options.fadeTime = c.fadeTime;
    mix.options.slowReset = c.slowReset;
    std::vector<int> values;
    const std::int64_t length = SweepLength(mix, host, c.periodMs, c.jitterMs, &values);
    EXPECT_NEAR(length, c.fadeTime * 100, c.periodMs + c.jitterMs);
    EXPECT_TRUE(std::is_sorted(values.rbegin(), values.rend())) << "the sweep never turns back";
    EXPECT_EQ(values.back(), 0) << "exactly 0 at the end";
    // Deck A came in and stays alone; deck B, faded out, takes the next track.
    EXPECT_TRUE(host.decks[0].playing);
    EXPECT_EQ(host.slowResets, c.slowReset ? std::vector<int>{0} : std::vector<int>{});
    EXPECT_EQ(host.loads, (std::vector<Loaded>{{1, "next.wav"}}));
  }
}

TEST(AutoMix, BeatsAreMatchedOnlyInTheFirstThirdAndOnlyAboveThreeHundredths) {
  struct Case {
    float phaseA, phaseB;
    int crossfader, direction;
    bool bothPlaying, expectMatch;
  } cases[] = {
      {0.50f, 0.46f, 10, 1, true, true},   {0.50f, 0.47f, 10, 1, true, false},
      {0.50f, 0.46f, 41, 1, true, true},   {0.50f, 0.46f, 42, 1, true, false},
      {0.50f, 0.46f, 85, 0, true, true},   {0.50f, 0.46f, 84, 0, true, false},
      {0.98f, 0.02f, 10, 1, true, true},   {0.99f, 0.01f, 10, 1, true, false},
      {0.50f, 0.10f, 10, 1, false, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.phaseA << " " << c.phaseB << " at " << c.crossfader);
    FakeHost host;
    host.crossfader = c.crossfader;
    for (int deck = 0; deck < 2; ++deck) {
      host.decks[deck] = Playing(kSecond);
      host.decks[deck].hasBeat = true;
    }
    host.decks[0].beatPhase = c.phaseA;
    host.decks[1].beatPhase = c.phaseB;
    if (!c.bothPlaying) host.decks[1 - c.direction].playing = false;
    AutoMix mix(host);
    mix.options.fadeTime = 3000;  // steps too small to move the crossfader
    c.direction ? mix.FadeRight() : mix.FadeLeft();
    mix.FadeTick(0);
    const int incoming = c.direction;
    EXPECT_EQ(host.matches.size(), c.expectMatch ? 1u : 0u);
    if (c.expectMatch) {
      EXPECT_EQ(host.matches[0], std::make_pair(incoming, 1 - incoming));
    }
  }
}

enum Source { kNone, kScreen, kList };

TEST(AutoMix, TheNextTrackComesFromTheListOnScreenOrTheAutoMixListByTheRules) {
  struct Case {
    const char* what;
    bool allLists, on, fading, automixEmpty, screenShown, screenEmpty;
    int source;
    Source expected;
  } cases[] = {
      {"auto-mix on: its list", false, true, false, false, true, false, 0, kList},
      {"all lists: the screen", true, true, false, false, true, false, 0, kScreen},
      {"off, no sweep: the screen", false, false, false, false, true, false, 0, kScreen},
      {"off, sweeping: its list", false, false, true, false, true, false, 0, kList},
      {"its list empty: the screen", false, true, false, true, true, false, 0, kScreen},
      {"111 forces its list", true, false, false, false, true, false, 111, kList},
      {"no view: its list", true, false, false, false, false, false, 0, kList},
      {"both empty: nothing", false, true, false, true, true, true, 0, kNone},
      {"111, its list empty: nothing", false, true, false, true, true, false, 111, kNone},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    FakeHost host;
    host.crossfader = 0;
    host.decks[0] = host.decks[1] = Playing(0);  // loaded and running: no sweep of its own
    host.mainShown = c.screenShown;
    if (!c.screenEmpty) host.main.rows = {"screen.wav"};
    if (!c.automixEmpty) host.automix.rows = {"automix.wav"};
    host.second.rows = host.automix.rows;
    AutoMix mix(host);
    mix.options.allLists = c.allLists;
    if (c.on) mix.AutoMixToggled(true);
    if (c.fading) mix.FadeRight();
    host.loads.clear();
    const bool taken = mix.LoadNextTrack(c.source, 0);
    EXPECT_EQ(taken, c.expected != kNone);
    if (c.expected != kNone) {
      const char* path = c.expected == kScreen ? "screen.wav" : "automix.wav";
      EXPECT_EQ(host.loads, (std::vector<Loaded>{{0, path}}));
    }
  }
}

TEST(AutoMix, TheScreenListStaysWholeAndWrapsTheAutoMixListLosesEachRowTaken) {
  FakeHost host;
  host.main.rows = {"a", "b", "c"};
  AutoMix mix(host);  // off, no sweep: the list on screen
  for (const char* expected : {"a", "b", "c", "a"}) {
    mix.LoadNextTrack(0, 0);
    EXPECT_EQ(host.loads.back().path, expected);
  }
  EXPECT_EQ(host.main.Count(), 3);

  host.automix.rows = {"x", "y"};
  host.decks[0] = host.decks[1] = Playing(0);  // running: switching on starts no sweep
  mix.AutoMixToggled(true);
  mix.LoadNextTrack(0, 1);
  EXPECT_EQ(host.loads.back(), (Loaded{1, "x"}));
  EXPECT_EQ(host.automix.rows, std::vector<std::string>{"y"});
  EXPECT_EQ(host.automix.nextCursor, 0);
}

TEST(AutoMix, RandomRowsStayInTheListAndRespectTheFormulaBounds) {
  struct Case {
    int random, expectedRow;
  } cases[] = {{0, 0}, {32767, 3}, {16383, 1}, {24575, 2}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.random);
    FakeHost host;
    host.random = c.random;
    host.main.rows = {"r0", "r1", "r2", "r3"};
    host.automix.rows = host.main.rows;
    AutoMix mix(host);
    mix.options.random = true;
    mix.LoadNextTrack(0, 0);  // the screen: row at the cursor, a random next one
    EXPECT_EQ(host.main.nextCursor, c.expectedRow);
    EXPECT_EQ(host.main.Count(), 4);
    mix.LoadNextTrack(kSourceSecondView, 0);  // the auto-mix list: a random row goes
    EXPECT_EQ(host.loads.back().path, "r" + std::to_string(c.expectedRow));
    EXPECT_EQ(host.automix.Count(), 3);
  }
}

TEST(AutoMix, TheFirstItemCallbackFillsTheIdleDeckEmptiesItWithTheListAndWaitsWhileTaking) {
  FakeHost host;
  AutoMix mix(host);
  host.automix.onFirstChanged = [&] { mix.OnFirstItemChanged(); };
  host.automix.rows = {"one", "two"};
  struct Case {
    int crossfader, idleDeck;
  } cases[] = {{63, 1}, {64, 0}};
  for (const Case& c : cases) {
    host.crossfader = c.crossfader;
    host.loads.clear();
    mix.OnFirstItemChanged();
    EXPECT_EQ(host.loads, (std::vector<Loaded>{{c.idleDeck, "one"}}));
  }
  // Taking a row changes the first row: the callback is held back, so the
  // taken track alone is loaded.
  host.loads.clear();
  mix.LoadNextTrack(kSourceSecondView, 1);
  EXPECT_EQ(host.loads, (std::vector<Loaded>{{1, "one"}}));
  // The last row goes through the list itself: the idle deck is emptied.
  host.loads.clear();
  host.crossfader = 0;
  host.automix.TakeRow(0);
  EXPECT_EQ(host.loads, (std::vector<Loaded>{{1, kEmptyDeckPath}}));
}

TEST(AutoMix, SwitchingOnWithBothDecksStoppedStartsAtOnceAndOffLetsTheSweepFinish) {
  FakeHost host;
  host.automix.rows = {"first", "second"};
  AutoMix mix(host);
  mix.AutoMixToggled(true);
  EXPECT_TRUE(mix.Fading());
  EXPECT_EQ(mix.Direction(), 0) << "from 64, towards deck A";
  EXPECT_EQ(host.loads, (std::vector<Loaded>{{0, "first"}}));
  mix.AutoMixToggled(false);
  EXPECT_TRUE(mix.Fading());
  EXPECT_EQ(host.published, (std::vector<bool>{true, false}));

  FakeHost busy;
  busy.decks[1] = Playing(0);
  AutoMix other(busy);
  other.AutoMixToggled(true);
  EXPECT_FALSE(other.Fading()) << "a deck plays: wait for its end";
}

TEST(AutoMix, SweepButtonsRefuseNearTheirEndLoadOnlyAnEmptyDeckAndFadeTimeStaysInItsLimits) {
  struct Case {
    int crossfader;
    bool left, expectSweep;
  } cases[] = {{2, true, false}, {3, true, true}, {125, false, false}, {124, false, true}};
  for (const Case& c : cases) {
    FakeHost host;
    host.crossfader = c.crossfader;
    host.main.rows = {"t"};
    AutoMix mix(host);
    c.left ? mix.FadeLeft() : mix.FadeRight();
    EXPECT_EQ(mix.Fading(), c.expectSweep) << c.crossfader;
    EXPECT_EQ(host.loads.size(), c.expectSweep ? 1u : 0u);
  }
  FakeHost loaded;
  loaded.decks[0].length = kSecond;
  AutoMix mix(loaded);
  mix.FadeLeft();
  EXPECT_TRUE(loaded.loads.empty());
  // The fade time buttons stop at their limits.
  mix.options.fadeTime = kFadeTimeMax - 1;
  mix.StepFadeTime(+1);
  EXPECT_EQ(mix.options.fadeTime, kFadeTimeMax);
  mix.options.fadeTime = kFadeTimeMin + 2;
  mix.StepFadeTime(-1);
  EXPECT_EQ(mix.options.fadeTime, kFadeTimeMin);
}

}  // namespace
}  // namespace vantaro
