// The block table's hand-over between the store thread and its readers: a
// block taken out of the table is freed only after every render (or reader)
// that could still hold its pointer has left.
#include "engine/deck_block_store.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace vantaro {
namespace {

// Frees one retired block on another thread; reports when it is done.
class Retirement {
 public:
  Retirement(DeckBlockStore& store, int index) {
    DeckBlock* block = store.Unpublish(index);
    EXPECT_NE(block, nullptr);
    thread_ = std::thread([this, &store, block] {
      std::vector<DeckBlock*> retired{block};
      store.FreeRetired(retired);
      done_.store(true);
    });
  }
  ~Retirement() { thread_.join(); }
  bool Done() const { return done_.load(); }

 private:
  std::thread thread_;
  std::atomic<bool> done_{false};
};

TEST(DeckThreadsBlockStore, FreeWaitsForTheRenderOrReaderInFlight) {
  for (const bool render : {true, false}) {
    DeckBlockStore store;
    DeckBlock* block = DeckBlockStore::AllocateBlock();
    ASSERT_NE(block, nullptr);
    block->samples[10 * 2] = 1234;
    store.Publish(3, block);
    render ? store.EnterRender() : store.EnterReader();
    const std::int16_t* seen =
        render ? &store.Block(3)->samples[10 * 2] : store.FramePointer(3 * kBlockFrames + 10);
    ASSERT_NE(seen, nullptr);
    Retirement retirement(store, 3);
    EXPECT_EQ(store.Block(3), nullptr) << "the slot is cleared at once";
    EXPECT_EQ(store.FramePointer(3 * kBlockFrames + 10), nullptr);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(retirement.Done())
        << "freed under a " << (render ? "render" : "reader") << " that still holds it";
    EXPECT_EQ(*seen, 1234);
    render ? store.LeaveRender() : store.LeaveReader();
  }
  // With nobody inside, a retirement does not wait.
  DeckBlockStore store;
  store.Publish(4, DeckBlockStore::AllocateBlock());
  Retirement quick(store, 4);
  for (int i = 0; i < 60000 && !quick.Done(); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  EXPECT_TRUE(quick.Done());
}

TEST(DeckBlockStore, StatesPercentAndTableEdges) {
  DeckBlockStore store;
  EXPECT_EQ(store.DecodedPercent(0), 0);
  for (int b = 0; b < 3; ++b) store.SetState(b, kBlockPresent);
  EXPECT_EQ(store.DecodedPercent(4), 75);
  EXPECT_EQ(store.DecodedPercent(3), 100);
  store.SetState(kMaxBlocks, kBlockPresent);  // ignored
  EXPECT_EQ(store.State(kMaxBlocks), kBlockNeverDecoded);
  EXPECT_EQ(store.Block(-1), nullptr);
  EXPECT_EQ(store.Block(kMaxBlocks), nullptr);
  EXPECT_EQ(store.FramePointer(static_cast<std::int64_t>(kMaxBlocks) * kBlockFrames), nullptr);
  // A song longer than the table never reaches 100 %.
  for (int b = 0; b < kMaxBlocks; ++b) store.SetState(b, kBlockPresent);
  EXPECT_EQ(store.DecodedPercent(kMaxBlocks + 1000), 95);
}

}  // namespace
}  // namespace vantaro
