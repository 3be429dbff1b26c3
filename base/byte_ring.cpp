#include "base/byte_ring.h"

#include <algorithm>
#include <cstring>

#include "base/realtime.h"

namespace vantaro {

ByteRing::ByteRing(std::size_t capacityBytes, bool useLock)
    : capacity_(capacityBytes),
      useLock_(useLock),
      storage_(new std::uint8_t[capacityBytes ? capacityBytes : 1]()) {}

std::size_t ByteRing::Available() const {
  const std::uint64_t read = read_.load(std::memory_order_acquire);
  const std::uint64_t written = written_.load(std::memory_order_acquire);
  return static_cast<std::size_t>(written - read);
}

bool ByteRing::Write(const void* data, std::size_t bytes) {
  if (!useLock_) return WriteUnlocked(data, bytes);
  AssertNotRealtime("locked ByteRing::Write");
  std::lock_guard<std::mutex> lock(mutex_);
  return WriteUnlocked(data, bytes);
}

bool ByteRing::Read(void* out, std::size_t bytes) {
  if (!useLock_) return ReadUnlocked(out, bytes);
  AssertNotRealtime("locked ByteRing::Read");
  std::lock_guard<std::mutex> lock(mutex_);
  return ReadUnlocked(out, bytes);
}

void ByteRing::Clear() {
  if (useLock_) {
    std::lock_guard<std::mutex> lock(mutex_);
    read_.store(written_.load(std::memory_order_acquire), std::memory_order_release);
    return;
  }
  read_.store(written_.load(std::memory_order_acquire), std::memory_order_release);
}

bool ByteRing::WriteUnlocked(const void* data, std::size_t bytes) {
  const std::uint64_t written = written_.load(std::memory_order_relaxed);
  const std::uint64_t read = read_.load(std::memory_order_acquire);
  if (bytes > capacity_ - static_cast<std::size_t>(written - read)) return false;
  const std::size_t start = static_cast<std::size_t>(written % capacity_);
  const std::size_t first = std::min(bytes, capacity_ - start);
  const auto* source = static_cast<const std::uint8_t*>(data);
  std::memcpy(storage_.get() + start, source, first);
  std::memcpy(storage_.get(), source + first, bytes - first);
  written_.store(written + bytes, std::memory_order_release);
  return true;
}

bool ByteRing::ReadUnlocked(void* out, std::size_t bytes) {
  const std::uint64_t read = read_.load(std::memory_order_relaxed);
  const std::uint64_t written = written_.load(std::memory_order_acquire);
  if (bytes > static_cast<std::size_t>(written - read)) return false;
  const std::size_t start = static_cast<std::size_t>(read % capacity_);
  const std::size_t first = std::min(bytes, capacity_ - start);
  auto* dest = static_cast<std::uint8_t*>(out);
  std::memcpy(dest, storage_.get() + start, first);
  std::memcpy(dest + first, storage_.get(), bytes - first);
  read_.store(read + bytes, std::memory_order_release);
  return true;
}

}  // namespace vantaro
