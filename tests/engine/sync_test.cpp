// Beat sync of two decks, measured in the output: deck 0's clicks on the
// left, deck 1's on the right; after MatchDeck their onsets lie together,
// and stay so 32 beats on. The refusals, the whole path through the real
// analysis, and the render, the stripe filling and the loop operations on
// their threads at once (filter SyncThreads*, also under the thread
// sanitizer).
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

#include "library/song_database.h"
#include "tests/analysis/test_tracks.h"
#include "tests/engine/marked_song.h"

namespace vantaro {
namespace {

using namespace std::chrono_literals;

class SyncTest : public test::MarkedSongTest {
 protected:
  // Deck 1 plays `other` from `otherAt` frames; deck 0 waits at `at`.
  void Prepare(const std::string& self, double at, const std::string& other, double otherAt) {
    ASSERT_TRUE(self.empty() || LoadOn(deck, self));
    ASSERT_TRUE(LoadOn(deck1, other));
    deck1.Play(1);
    rig.Render(4410);
    deck1.SeekRequest(otherAt);
    deck1.StoreThreadRun();
    At(at, false);
  }
  // Deck 0 syncs to deck 1; true once the lock is taken and settled.
  bool Lock() {
    return deck.MatchDeck(deck1) == 1 &&
           rig.FramesUntil(44100, [&] { return !deck.IsBeatLockArmed(); }) > 0 &&
           !rig.Render(4410).empty();
  }
  // The largest distance between the decks' onsets over the next `beats`
  // beats of `beatFrames` output frames.
  long OffsetOver(int beats, long beatFrames) {
    const std::vector<float> out = rig.Render(beats * beatFrames);
    const std::vector<long> left = Onsets(out, 0), right = Onsets(out, 1);
    EXPECT_GE(std::min(left.size(), right.size()), static_cast<size_t>(beats - 1));
    return LargestOffset(left, right);
  }
};

// 120 BPM onto 126 (pitch +5 %, marks half a stripe off every other beat)
// within 100 frames; 140 onto 126 (pitch exactly -10 %, every beat on a
// stripe boundary) within 10; both right after the lock and 32 beats later.
TEST_F(SyncTest, MatchDeckLocksOnsetsAndTheyStayLocked) {
  const std::string reference = Write({.bpm = 126, .seconds = 40, .clickChannel = 1}, "b126.wav");
  for (auto [bpm, pitch, within] : {std::tuple{120, 500, 100L}, {140, -1000, 10L}}) {
    const std::string self = Write({.bpm = double(bpm), .seconds = 40, .clickChannel = 0},
                                   "a" + std::to_string(bpm) + ".wav");
    // Deck 0's next mark is beat 5, a stripe index of 1102.5 at 120 BPM; the
    // decks lock where distances counted in whole stripes would put the
    // onsets 74 frames apart at 140 BPM.
    Prepare(self, 2.3 * 44100 + 30, reference, 5.3 * 44100);
    ASSERT_TRUE(Lock());
    EXPECT_EQ(deck.GetPitch(), pitch);
    const long atLock = OffsetOver(4, 21000);
    rig.Render(28 * 21000);
    const long later = OffsetOver(4, 21000);
    EXPECT_LE(atLock, within) << bpm;
    EXPECT_LE(later, within) << bpm;
    std::printf("%d onto 126 BPM: %ld frames at the lock, %ld 32 beats later\n", bpm, atLock,
                later);
    deck.Play(0);
    deck.SetPitch(0);
  }
}

// A sync with either tempo unknown, a match beyond 50 %, or one during a
// load returns 0 and changes nothing.
TEST_F(SyncTest, RefusedSyncsChangeNothing) {
  const std::string fast = Write({.bpm = 140, .seconds = 10}, "fast.wav");
  const std::string slow = Write({.bpm = 126, .seconds = 10}, "slow.wav");
  Prepare(fast, 1000, slow, 1000);
  CSoundSource& plain = rig.AddDeck(2);  // no analysis: its tempo stays unknown
  ASSERT_TRUE(LoadOn(plain, slow));
  deck1.SetPitch(-5000);  // 63 BPM: 140 would need -55 %
  // Other tempo 0, own tempo 0, beyond 50 %.
  for (auto [self, other] : {std::pair{&deck, &plain}, {&plain, &deck}, {&deck, &deck1}}) {
    EXPECT_EQ(self->MatchDeck(*other) + self->MatchPitch(*other), 0);
    EXPECT_TRUE(self->GetPitch() == 0 && !self->IsPlaying() && !self->IsBeatLockArmed());
  }
  deck1.SetPitch(0);
  ASSERT_TRUE(deck.LoadSong(fast, false, nullptr, false));
  EXPECT_EQ(deck.MatchDeck(deck1), 0) << "during a load";
}

// The whole path: a click track the deck analyses itself (left channel),
// locked onto a stored 120 BPM song (right): the analysis' marks put the
// onsets together within its own precision, 6 stripe values (600 frames).
TEST_F(SyncTest, AnalysedClickTrackLocksOntoAStoredOne) {
  const std::vector<float> mono = test::MakeTrack({.bpm = 120, .seconds = 62});
  const std::string path =
      Song(test::MakeSignal(static_cast<long>(mono.size()), [&](long i, int ch) {
        return static_cast<std::int16_t>(ch == 0 ? std::lrint(mono[i] * 30000) : 0);
      }));
  ASSERT_TRUE(LoadOn(deck, path));
  ASSERT_TRUE(test::WaitFor([&] { return deck.GetUiState() == kUiAllDone; }));
  Prepare("", 3.3 * 44100, Write({.bpm = 120, .seconds = 40, .clickChannel = 1}, "ref.wav"),
          7.1 * 44100);
  ASSERT_EQ(deck.GetBPM(), 120.0f);
  ASSERT_TRUE(Lock());
  const std::vector<float> out = rig.Render(8 * 22050);
  const long offset = LargestOffset(Onsets(out, 0, 0.05f), Onsets(out, 1));
  EXPECT_LE(offset, 600);
  std::printf("analysed track onto a stored one: %ld frames\n", offset);
}

// The render with its beat phase and loop steps, the store thread and the
// deck's analysis filling the stripe, and the GUI changing loops, skipping
// and syncing, all at once.
class SyncThreads : public test::MarkedSongTest {};

TEST_F(SyncThreads, RenderStripeFillingAndLoopChangesRaceCleanly) {
  const std::vector<float> mono = test::MakeTrack({.bpm = 126, .seconds = 25});
  ASSERT_TRUE(test::WriteWav(dir.File("race.wav"), mono));
  const std::string reference = Write({.bpm = 126, .seconds = 25}, "ref.wav");
  ASSERT_TRUE(LoadOn(deck1, reference));
  deck1.Play(1);
  std::atomic<bool> stop{false};
  std::thread audio([&] {
    while (!stop) rig.Render(256);
  });
  ASSERT_TRUE(deck.StartStoreThread());
  ASSERT_EQ(deck.LoadSong(dir.File("race.wav"), true, nullptr, false), 1);
  int done = 0;
  for (int round = 0; deck.GetUiState() != kUiAllDone || round < 200; ++round) {
    done += deck.LoopForward(16 << (round % 4)) + deck.ShiftLoop(round % 2 ? 100 : -100);
    done += deck.LoopSlot(round % 5) + deck.SkipBeats(round % 2 ? 1 : -1);
    done += deck.SnapToBeat(20000) > 0 ? 0 : deck.MatchDeck(deck1);
    if (round % 5 == 0) deck.StopLoop(round % 10 == 0);
    std::this_thread::sleep_for(2ms);
    ASSERT_LT(round, 30000) << "the analysis never ended";
  }
  stop = true;
  audio.join();
  deck.StopStoreThread();
  EXPECT_GT(done, 0);
  EXPECT_EQ(deck.GetBPM(), 126.0f);
}

}  // namespace
}  // namespace vantaro
