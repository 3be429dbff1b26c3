// The deck across its threads: the audio thread renders without pause while
// the store thread loads and unloads, the jog thread applies the hands'
// commands, and the test thread acts as the GUI. Run under the thread
// sanitizer (filter DeckThreads*) and under the address sanitizer, these
// prove that no block is read after it is freed, that no hand command or
// seek is lost, and that every shared word is properly ordered.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "base/thread_priority.h"
#include "base/timed_thread.h"
#include "library/song_record.h"
#include "tests/engine/deck_test_rig.h"

namespace vantaro {
namespace {

using namespace std::chrono_literals;

// Decks running their own store threads (stopped by the decks' destructors)
// and the audio thread: it renders 100 ms blocks through the offline device
// and, as the mixer channel does, asks each deck for its tempo after the
// block. Pauses of 0, 1 and 2 ms in turn let other threads meet it both
// inside and between renders.
class DeckThreads : public test::DeckTest {
 protected:
  DeckThreads() : DeckTest(4410) {}  // long renders: other threads meet them often
  void StartThreads(int decks) {
    for (int d = 0; d < decks; ++d) EXPECT_TRUE(rig.Deck(d).StartStoreThread());
    audio_ = std::thread([this, decks] {
      while (!stop_.load()) {
        const std::vector<float> out = rig.Render(4410);
        for (int d = 0; d < decks; ++d)
          if (const float bpm = rig.Deck(d).GetBPM(); bpm != 0.0f && bpm != 120.0f)
            oddTempo_.store(true);
        peak_.store(test::Peak(out, 2, 0));
        hz_.store(test::ToneFrequency(out, 2, 0));
        std::this_thread::sleep_for(1ms * (blocks_.fetch_add(1) % 3));
      }
    });
  }
  void TearDown() override {
    stop_.store(true);
    if (audio_.joinable()) audio_.join();
  }
  // True once a block rendered after this call satisfies `condition`.
  bool WaitForBlock(const std::function<bool()>& condition) {
    const long after = blocks_.load() + 1;
    return test::WaitFor([&] { return blocks_.load() > after && condition(); });
  }

  std::thread audio_;
  std::atomic<bool> stop_{false}, oddTempo_{false};
  std::atomic<double> peak_{0.0}, hz_{0.0};
  std::atomic<long> blocks_{0};
};

// Loads over a playing song and unloads, with the render and the tempo read
// that follows it running against the store thread that frees the blocks
// under them; the other deck decodes at the same time (through the one
// codec lock) and plays on throughout, quietly. Then seeks and jog steps.
TEST_F(DeckThreads, LoadsUnloadsSeeksAndJogStepsRaceTheRenderAndNoneIsLost) {
  const std::string songs[2] = {Song(test::MakeSine(4 * 44100, 440, 16000)),
                                Song(test::MakeSine(4 * 44100, 1000, 16000))};
  TZKSongRecord record;
  record.bpm = 120.0f;  // every block carries the tempo
  CSoundSource& other = rig.AddDeck(1);
  for (CSoundSource* d : {&deck, &other}) d->SetRepeat(true);
  StartThreads(2);
  ASSERT_EQ(other.LoadSong(Song(test::MakeSine(30 * 44100, 440, 400)), true, &record, false), 1);
  for (int round = 0; round < 50; ++round) {
    std::this_thread::sleep_for(1us * (round * 797 % 5000));  // anywhere in the loop's cycle
    ASSERT_TRUE(test::WaitFor([&] { return !deck.IsLoadPending(); }));
    ASSERT_EQ(deck.LoadSong(songs[round % 2], true, &record, false), 1);
    const double hz = round % 2 ? 1000 : 440;
    ASSERT_TRUE(WaitForBlock([&] { return std::abs(hz_ - hz) < 5 && peak_ > 0.4; })) << round;
    if (round % 2) continue;  // the next load goes over this song
    std::this_thread::sleep_for(1us * (round * 797 % 5000));
    deck.RequestUnload();
    ASSERT_TRUE(test::WaitFor([&] { return !deck.IsSongLoaded() && deck.BlockCount() == 0; }))
        << round;
    ASSERT_TRUE(WaitForBlock([&] { return peak_ < 0.2; })) << round;
  }
  EXPECT_FALSE(oddTempo_);

  // Seeks served while the render runs are not undone by it; then jog steps
  // from the GUI thread while the jog tick (woken by each command) and the
  // render run: none may be lost, so the steps and their opposite bring the
  // hand back to the exact frame it started from.
  for (int round = 0; round < 6; ++round) {
    const double target = round % 2 ? 88200 : 22050;
    deck.SeekRequest(target);
    ASSERT_TRUE(test::WaitFor([&] { return !deck.IsSeekPending(); }));
    std::this_thread::sleep_for(2ms);
    const double at = deck.GetExactPosition();
    EXPECT_TRUE(at >= target && at < target + 66150) << "the render undid the seek: " << at;
  }
  // A limit no test run reaches: the scratch must not end between steps.
  TimedThread jogTick("jog-tick", 25, kPriorityNormal, [&] { deck.ScratchTick(1 << 30); });
  ASSERT_TRUE(jogTick.Start());
  deck.SetJogTick(&jogTick);
  deck.Jog(0, 0, 0, true, 10);  // touch: the scratch starts where the deck stands
  ASSERT_TRUE(test::WaitFor([&] { return deck.IsScratching(); }));
  const double start = deck.GetScratchTarget();
  std::thread gui([&] {
    int sum = 0;
    for (int i = 0; i < 3000; ++i) {
      const int step = i % 2 ? 2 + i % 3 : -1 - i % 4;  // never 0, which moves 10 forwards
      deck.Jog(step, kJogRelativeStep, kJogRelative3, false, 10);
      sum += step;
    }
    deck.Jog(-sum, kJogRelativeStep, kJogRelative3, false, 10);
  });
  gui.join();
  EXPECT_TRUE(test::WaitFor([&] { return deck.GetScratchTarget() == start; }, 20000))
      << "the hand points at " << deck.GetScratchTarget() << ", not " << start;
  deck.SetJogTick(nullptr);
}

// The block table's hand-over: a block taken out of the table is freed only
// after every render or reader that could still hold its pointer has left.
TEST(DeckThreadsBlockStore, FreeWaitsForTheRenderOrReaderInFlight) {
  for (const bool render : {true, false}) {
    DeckBlockStore store;
    DeckBlock* block = DeckBlockStore::AllocateBlock();
    block->samples[10 * 2] = 1234;
    store.Publish(3, block);
    render ? store.EnterRender() : store.EnterReader();
    const std::int16_t* seen = store.FramePointer(3 * kBlockFrames + 10);
    std::atomic<bool> freed{false};
    std::thread retirement([&] {
      std::vector<DeckBlock*> retired{store.Unpublish(3)};
      store.FreeRetired(retired);
      freed.store(true);
    });
    EXPECT_TRUE(test::WaitFor([&] { return store.Block(3) == nullptr; })) << "cleared at once";
    std::this_thread::sleep_for(50ms);
    EXPECT_FALSE(freed.load()) << "freed under a " << (render ? "render" : "reader");
    EXPECT_EQ(*seen, 1234);
    render ? store.LeaveRender() : store.LeaveReader();
    EXPECT_TRUE(test::WaitFor([&] { return freed.load(); })) << "freed once it left";
    retirement.join();
  }
  // The table's edges, and a song longer than the table.
  DeckBlockStore store;
  for (int b = 0; b <= kMaxBlocks; ++b) store.SetState(b, kBlockPresent);  // the last is ignored
  EXPECT_EQ(store.State(kMaxBlocks), kBlockNeverDecoded);
  EXPECT_EQ(store.DecodedPercent(kMaxBlocks + 1000), 95) << "a song longer than the table";
  EXPECT_EQ(store.Block(-1), nullptr);
  EXPECT_EQ(store.FramePointer(static_cast<std::int64_t>(kMaxBlocks) * kBlockFrames), nullptr);
}

}  // namespace
}  // namespace vantaro
