#pragma once
// Reading the deck's stored frames inside the render: the four frames around
// a position and the cubic Hermite (or linear) spline between them, and a
// single frame. Shared by the ordinary frame loop and the key lock's cheap
// path.
//
// Threads: the audio thread inside the block store's render bracket (or any
// reader that holds the blocks). Values are in stored 16-bit units.

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "engine/deck_block_store.h"

namespace vantaro {

// Frames i-2, i-1, i and i+1 of the song as stored-unit floats, left and
// right interleaved. Frames of absent blocks read as zero; near the song's
// edges the index wraps by the song length. Inside the render bracket only.
inline void FetchFour(const DeckBlockStore& store, std::int64_t i, std::int64_t total, float y[8]) {
  const std::int64_t first = i - 2;
  if (first >= 0 && i + 1 < total) {
    const std::int64_t block = first / kBlockFrames;
    const std::int64_t offset = first - block * kBlockFrames;
    if (offset <= kBlockFrames - 4) {
      const DeckBlock* present = store.Block(static_cast<int>(block));
      if (!present) {
        std::fill(y, y + 8, 0.0f);
        return;
      }
      const std::int16_t* samples = present->samples + offset * 2;
      for (int j = 0; j < 8; ++j) y[j] = samples[j];
      return;
    }
  }
  for (int j = 0; j < 4; ++j) {
    std::int64_t index = first + j;
    if (index < 0 || index >= total) index = ((index % total) + total) % total;
    const std::int16_t* samples = store.FramePointer(index);
    y[j * 2] = samples ? samples[0] : 0.0f;
    y[j * 2 + 1] = samples ? samples[1] : 0.0f;
  }
}

// The cubic Hermite spline between y1 and y2 (frames i-1 and i).
inline float Hermite(float f, float y0, float y1, float y2, float y3) {
  const float f2 = f * f, f3 = f2 * f;
  return (2 * f3 - 3 * f2 + 1) * y1 + (3 * f2 - 2 * f3) * y2 +
         (f3 - 2 * f2 + f) * (y2 - y0) * 0.5f + (f3 - f2) * (y3 - y1) * 0.5f;
}

// The frame heard at `position` (one frame late, see GetPosition), in
// stored units.
template <bool kCubic>
[[gnu::always_inline]] inline void Interpolate(const DeckBlockStore& blocks, double position,
                                               std::int64_t total, float& left, float& right) {
  const double whole = std::floor(position);
  const float fraction = static_cast<float>(position - whole);
  float y[8];
  FetchFour(blocks, static_cast<std::int64_t>(whole), total, y);
  if constexpr (kCubic) {
    left = Hermite(fraction, y[0], y[2], y[4], y[6]);
    right = Hermite(fraction, y[1], y[3], y[5], y[7]);
  } else {
    left = y[2] + fraction * (y[4] - y[2]);
    right = y[3] + fraction * (y[5] - y[3]);
  }
}

// The stored frame `index`, wrapped by the song length `total`; an absent
// block reads as zero.
inline void FetchOne(const DeckBlockStore& store, std::int64_t index, std::int64_t total,
                     float& left, float& right) {
  if (index < 0 || index >= total) index = ((index % total) + total) % total;
  const std::int16_t* samples = store.FramePointer(index);
  left = samples ? samples[0] : 0.0f;
  right = samples ? samples[1] : 0.0f;
}

}  // namespace vantaro
