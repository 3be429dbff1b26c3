#include "engine/deck_block_store.h"

#include <chrono>
#include <new>
#include <thread>

#include "base/realtime.h"

namespace vantaro {

// Sequentially consistent order is used for the pair "clear the slot, then
// read the render sequence" and its mirror "advance the sequence, then read
// the slot": with weaker orders both sides could miss the other's write.
// Loads are plain moves on x86 either way.

DeckBlockStore::DeckBlockStore() {
  for (int i = 0; i < kMaxBlocks; ++i) {
    table_[i].store(nullptr, std::memory_order_relaxed);
    state_[i].store(kBlockNeverDecoded, std::memory_order_relaxed);
  }
}

DeckBlockStore::~DeckBlockStore() {
  for (auto& slot : table_) {
    DeckBlock* block = slot.exchange(nullptr);
    if (block) {
      block->~DeckBlock();
      ::operator delete(block, std::nothrow);
    }
  }
}

DeckBlock* DeckBlockStore::AllocateBlock() {
  AssertNotRealtime("DeckBlockStore::AllocateBlock");
  void* memory = ::operator new(sizeof(DeckBlock), std::nothrow);
  if (!memory) return nullptr;
  DeckBlock* block = new (memory) DeckBlock;
  block->frames = 0;
  block->pinned = 0;
  block->tempoValid.store(0, std::memory_order_relaxed);
  block->tempo.store(0.0f, std::memory_order_relaxed);
  return block;
}

void DeckBlockStore::Publish(int index, DeckBlock* block) {
  if (index < 0 || index >= kMaxBlocks) return;
  table_[index].store(block, std::memory_order_seq_cst);
}

DeckBlock* DeckBlockStore::Unpublish(int index) {
  if (index < 0 || index >= kMaxBlocks) return nullptr;
  return table_[index].exchange(nullptr, std::memory_order_seq_cst);
}

void DeckBlockStore::WaitForRenderGrace() {
  AssertNotRealtime("DeckBlockStore::WaitForRenderGrace");
  const std::uint64_t seen = renderSequence_.load(std::memory_order_seq_cst);
  // With no render inside, later renders see the cleared slots.
  if ((seen & 1) != 0) {
    while (renderSequence_.load(std::memory_order_seq_cst) == seen)
      std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
  while (readersInside_.load(std::memory_order_seq_cst) != 0)
    std::this_thread::sleep_for(std::chrono::microseconds(200));
}

void DeckBlockStore::FreeRetired(std::vector<DeckBlock*>& retired) {
  if (retired.empty()) return;
  WaitForRenderGrace();
  for (DeckBlock* block : retired) {
    block->~DeckBlock();
    ::operator delete(block, std::nothrow);
  }
  retired.clear();
}

void DeckBlockStore::SetState(int index, int state) {
  if (index < 0 || index >= kMaxBlocks) return;
  state_[index].store(state, std::memory_order_release);
}

int DeckBlockStore::State(int index) const {
  if (index < 0 || index >= kMaxBlocks) return kBlockNeverDecoded;
  return state_[index].load(std::memory_order_acquire);
}

bool DeckBlockStore::IsPresent(int index) const {
  return Block(index) != nullptr;
}

int DeckBlockStore::DecodedPercent(int blockCount) const {
  if (blockCount <= 0) return 0;
  const int counted = blockCount < kMaxBlocks ? blockCount : kMaxBlocks;
  int decoded = 0;
  for (int i = 0; i < counted; ++i)
    if (State(i) != kBlockNeverDecoded) ++decoded;
  return static_cast<int>(static_cast<std::int64_t>(decoded) * 100 / blockCount);
}

}  // namespace vantaro
