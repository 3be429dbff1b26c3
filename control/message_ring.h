#pragma once
// MessageRing: a bounded ring of fixed records for many writers and one
// reader. A writer never waits and never allocates: it claims a slot with
// one compare-and-swap and publishes it with a release store, so the audio
// thread, a driver callback and worker threads may all push at once. Each
// writer's records come out in the order it pushed them. A push into a full
// ring fails and the record is lost; the caller counts it.
//
// Each slot carries a sequence number (the bounded queue of D. Vyukov):
// equal to the write position when free, position + 1 once written, and
// position + capacity once read, so the capacity need not be a power of two.
//
// The slots live inside the object: nothing is allocated, ever.
//
// Threads: Push from any thread, Pop from one thread only.

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace vantaro {

template <typename Record, std::size_t kCapacity>
class MessageRing {
 public:
  MessageRing() {
    for (std::size_t i = 0; i < kCapacity; ++i) slots_[i].sequence.store(i);
  }
  MessageRing(const MessageRing&) = delete;
  MessageRing& operator=(const MessageRing&) = delete;

  // False (and nothing written) when the ring is full. Any thread.
  bool Push(const Record& record) {
    std::uint64_t position = write_.load(std::memory_order_relaxed);
    for (;;) {
      Slot& slot = slots_[position % kCapacity];
      const std::uint64_t sequence = slot.sequence.load(std::memory_order_acquire);
      const auto lag = static_cast<std::int64_t>(sequence - position);
      if (lag == 0) {
        if (write_.compare_exchange_weak(position, position + 1, std::memory_order_relaxed)) {
          slot.record = record;
          slot.sequence.store(position + 1, std::memory_order_release);
          return true;
        }
      } else if (lag < 0) {
        return false;  // the slot still holds an unread record: full
      } else {
        position = write_.load(std::memory_order_relaxed);
      }
    }
  }

  // False when nothing is ready. The reader thread only.
  bool Pop(Record* out) {
    Slot& slot = slots_[read_ % kCapacity];
    if (slot.sequence.load(std::memory_order_acquire) != read_ + 1) return false;
    *out = slot.record;
    slot.sequence.store(read_ + kCapacity, std::memory_order_release);
    ++read_;
    readPublished_.store(read_, std::memory_order_release);
    return true;
  }

  // Records claimed but not yet read; may count a record being written.
  // Any thread.
  std::size_t Held() const {
    const std::uint64_t written = write_.load(std::memory_order_acquire);
    const std::uint64_t read = readPublished_.load(std::memory_order_acquire);
    return written > read ? static_cast<std::size_t>(written - read) : 0;
  }
  static constexpr std::size_t Capacity() { return kCapacity; }

 private:
  struct Slot {
    std::atomic<std::uint64_t> sequence{0};
    Record record{};
  };

  std::array<Slot, kCapacity> slots_;
  alignas(64) std::atomic<std::uint64_t> write_{0};
  alignas(64) std::uint64_t read_ = 0;  // the reader's own
  std::atomic<std::uint64_t> readPublished_{0};
};

}  // namespace vantaro
