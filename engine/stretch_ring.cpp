#include "engine/stretch_ring.h"

#include <algorithm>
#include <cmath>

namespace vantaro {

StretchRing::StretchRing() : data_(std::make_unique<std::atomic<float>[]>(2 * kRingFrames)) {}

void StretchRing::BeginShrink() {
  generation_.store(generation_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  // Every store after this (the region, then the frames) is ordered after
  // the odd generation: a reader that sees any of them sees the change.
  std::atomic_thread_fence(std::memory_order_release);
}

void StretchRing::EndShrink() {
  generation_.store(generation_.load(std::memory_order_relaxed) + 1, std::memory_order_release);
  std::atomic_thread_fence(std::memory_order_release);
}

void StretchRing::Restart(double sourceStart, double ratio, double pitch) {
  BeginShrink();
  fill_.store(0, std::memory_order_relaxed);
  head_.store(0, std::memory_order_relaxed);
  sourceStart_.store(sourceStart, std::memory_order_relaxed);
  sourceEnd_.store(sourceStart, std::memory_order_relaxed);
  ratio_.store(ratio, std::memory_order_relaxed);
  pitch_.store(pitch, std::memory_order_relaxed);
  EndShrink();
}

void StretchRing::Append(const float* stereo, int frames) {
  frames = std::clamp(frames, 0, kRingFrames);
  if (frames == 0) return;
  const double ratio = ratio_.load(std::memory_order_relaxed);
  int head = head_.load(std::memory_order_relaxed);
  int fill = fill_.load(std::memory_order_relaxed);
  const int overflow = fill + frames - kRingFrames;
  if (overflow > 0) {
    // The oldest frames leave the region before they are overwritten.
    BeginShrink();
    head = (head + overflow) % kRingFrames;
    fill -= overflow;
    head_.store(head, std::memory_order_relaxed);
    fill_.store(fill, std::memory_order_relaxed);
    sourceStart_.store(sourceStart_.load(std::memory_order_relaxed) + overflow * ratio,
                       std::memory_order_relaxed);
    EndShrink();
  }
  int at = (head + fill) % kRingFrames;
  for (int i = 0; i < frames; ++i) {
    data_[at * 2].store(stereo[i * 2], std::memory_order_relaxed);
    data_[at * 2 + 1].store(stereo[i * 2 + 1], std::memory_order_relaxed);
    if (++at == kRingFrames) at = 0;
  }
  sourceEnd_.store(sourceEnd_.load(std::memory_order_relaxed) + frames * ratio,
                   std::memory_order_release);
  fill_.store(fill + frames, std::memory_order_release);
}

bool StretchRing::Read(double position, int frames, float* stereo) const {
  const std::uint32_t generation = generation_.load(std::memory_order_acquire);
  if (generation & 1) return false;
  const int fill = fill_.load(std::memory_order_acquire);
  const int head = head_.load(std::memory_order_relaxed);
  const double start = sourceStart_.load(std::memory_order_relaxed);
  const double ratio = ratio_.load(std::memory_order_relaxed);
  // A position advanced by whole buffers lands on a whole frame but for
  // rounding: the tolerance keeps such a read from taking the frame before.
  const double offset = std::floor((position - start) / ratio + 1e-6);
  if (frames <= 0 || offset < 0.0 || offset + frames > fill) return false;
  int at = (head + static_cast<int>(offset)) % kRingFrames;
  for (int i = 0; i < frames; ++i) {
    stereo[i * 2] = data_[at * 2].load(std::memory_order_relaxed);
    stereo[i * 2 + 1] = data_[at * 2 + 1].load(std::memory_order_relaxed);
    if (++at == kRingFrames) at = 0;
  }
  std::atomic_thread_fence(std::memory_order_acquire);
  return generation_.load(std::memory_order_relaxed) == generation;
}

}  // namespace vantaro
