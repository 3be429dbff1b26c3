#pragma once
// DeckBlockStore: the table of one-second blocks of decoded 16-bit stereo
// that a deck plays from, and the lock-free hand-over of blocks between the
// store thread (the only thread that allocates, publishes and frees blocks)
// and the audio thread (which only reads).
//
// Publication: a block is filled completely, then its pointer is stored with
// release order. Retirement: the pointer is cleared first, then the store
// thread waits until every render that might have loaded the old pointer has
// left (the render brackets itself with EnterRender/LeaveRender), and only
// then frees the memory. The render therefore never waits, and never sees a
// freed block; a block that vanished under it reads as silence.
//
// Units: frames at 44100 Hz; one block holds kBlockFrames frames.

#include <atomic>
#include <cstdint>
#include <vector>

namespace vantaro {

inline constexpr int kBlockFrames = 44100;  // frames per block, one second
inline constexpr int kMaxBlocks = 20000;    // table size; later blocks read as silence

// Block states.
inline constexpr int kBlockNeverDecoded = 0;
inline constexpr int kBlockPresent = 1;
inline constexpr int kBlockInCacheFile = 2;  // never arises: the cache file is not used

// One allocation of 176416 bytes: the samples, then four 32-bit words.
struct DeckBlock {
  std::int16_t samples[kBlockFrames * 2];
  std::uint32_t frames;                   // frames actually decoded into this block
  std::uint32_t pinned;                   // must not be evicted without force
  std::atomic<std::uint32_t> tempoValid;  // written by the store thread, read by any
  std::atomic<float> tempo;               // BPM at this block
};
static_assert(sizeof(DeckBlock) == 176416, "a block is 176400 sample bytes and four words");

class DeckBlockStore {
 public:
  DeckBlockStore();
  ~DeckBlockStore();  // frees every block (no render may run any more)
  DeckBlockStore(const DeckBlockStore&) = delete;
  DeckBlockStore& operator=(const DeckBlockStore&) = delete;

  // --- store thread only ---------------------------------------------------
  // Allocates an unpublished block, or null when memory is short.
  static DeckBlock* AllocateBlock();
  // Makes a filled block visible to the render. Pre: the slot is empty.
  void Publish(int index, DeckBlock* block);
  // Clears slot `index` and returns what it held (null when empty). The
  // caller passes the result to FreeRetired, after a grace period.
  DeckBlock* Unpublish(int index);
  // Waits until no render that started before this call is still running,
  // then frees the blocks. Never call from the audio thread.
  void FreeRetired(std::vector<DeckBlock*>& retired);
  // Waits for the grace period alone (used when shared state other than the
  // table must not be seen half-changed by a render in flight).
  void WaitForRenderGrace();
  void SetState(int index, int state);

  // --- any thread ------------------------------------------------------------
  int State(int index) const;
  bool IsPresent(int index) const;
  // Percentage (0..100) of the first `blockCount` blocks with a non-zero state.
  int DecodedPercent(int blockCount) const;

  // --- audio thread (and readers on other threads) ----------------------------
  // The block at `index`, or null when absent or out of the table.
  DeckBlock* Block(int index) const {
    if (index < 0 || index >= kMaxBlocks) return nullptr;
    return table_[index].load(std::memory_order_seq_cst);
  }
  // Pointer to the stereo frame `frame` (0 <= frame), or null when its block
  // is absent. The block may vanish after the call unless the caller is a
  // render bracketed by EnterRender/LeaveRender.
  const std::int16_t* FramePointer(std::int64_t frame) const {
    const std::int64_t index = frame / kBlockFrames;
    DeckBlock* block = Block(static_cast<int>(index < kMaxBlocks ? index : kMaxBlocks));
    if (!block) return nullptr;
    return block->samples + (frame - index * kBlockFrames) * 2;
  }
  // Brackets one render call. Real-time safe (two atomic increments).
  void EnterRender() const { renderSequence_.fetch_add(1, std::memory_order_seq_cst); }
  void LeaveRender() const { renderSequence_.fetch_add(1, std::memory_order_release); }
  // Brackets a read by another thread (stretch or analysis reader).
  void EnterReader() const { readersInside_.fetch_add(1, std::memory_order_seq_cst); }
  void LeaveReader() const { readersInside_.fetch_sub(1, std::memory_order_release); }

 private:
  std::atomic<DeckBlock*> table_[kMaxBlocks];
  std::atomic<std::int32_t> state_[kMaxBlocks];
  // Odd while a render is inside; advanced twice per render.
  mutable std::atomic<std::uint64_t> renderSequence_{0};
  mutable std::atomic<int> readersInside_{0};
};

}  // namespace vantaro
