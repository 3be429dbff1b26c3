#pragma once
// A byte ring for one writer and one reader. Writes and reads are
// all-or-nothing: a write that does not fit is dropped whole, a read of more
// bytes than the ring holds delivers nothing.
//
// Without the lock (the default) the two sides never wait for each other:
// each moves its own counter with release/acquire ordering, so the audio
// thread may be either side. With `useLock` set, both sides take a mutex,
// which allows more than one writer or reader but makes every call blocking;
// a locked ring is never touched by the audio thread (checked in debug
// builds).
//
// The storage is allocated once, in the constructor.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>

namespace vantaro {

class ByteRing {
 public:
  explicit ByteRing(std::size_t capacityBytes, bool useLock = false);
  ByteRing(const ByteRing&) = delete;
  ByteRing& operator=(const ByteRing&) = delete;

  // Appends `bytes` bytes, or nothing when they do not fit. Writer side.
  bool Write(const void* data, std::size_t bytes);
  // Takes `bytes` bytes, or nothing when fewer are held. Reader side.
  bool Read(void* out, std::size_t bytes);
  // Drops everything held. Only while neither side is active, or by the
  // reader (it then discards what the writer has published so far).
  void Clear();

  std::size_t Capacity() const { return capacity_; }
  // Bytes held; exact on the reader side, a lower bound on the writer side.
  std::size_t Available() const;
  // Bytes free; exact on the writer side, a lower bound on the reader side.
  std::size_t Free() const { return capacity_ - Available(); }

 private:
  bool WriteUnlocked(const void* data, std::size_t bytes);
  bool ReadUnlocked(void* out, std::size_t bytes);

  const std::size_t capacity_;
  const bool useLock_;
  std::unique_ptr<std::uint8_t[]> storage_;
  // Monotonic byte counters; position in the storage is counter % capacity.
  std::atomic<std::uint64_t> written_{0};
  std::atomic<std::uint64_t> read_{0};
  std::mutex mutex_;
};

}  // namespace vantaro
