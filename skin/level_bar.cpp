#include "skin/level_bar.h"

#include <algorithm>
#include <cmath>

namespace vantaro {
namespace {

// Fills pixels [from, to) with dB values running from `low` to `high`.
void Span(std::vector<float>& table, int from, int to, float low, float high) {
  const int count = to - from;
  for (int i = 0; i < count; ++i)
    table[from + i] = count > 1 ? low + (high - low) * i / (count - 1) : high;
}

}  // namespace

void LevelBar::Configure(int length, float granularity) {
  length = std::max(length, 0);
  dbAtPixel_.assign(length, 0.0f);
  const int third = length / 3, sixth = length / 6;
  Span(dbAtPixel_, 0, third, -45.0f, -10.0f);
  Span(dbAtPixel_, third, third + sixth, -8.5f, -4.0f);
  Span(dbAtPixel_, third + sixth, 2 * third + sixth, -3.0f, 4.0f);
  Span(dbAtPixel_, 2 * third + sixth, length, 5.5f, 10.0f);
  granularity_ = granularity < 1.0f ? 1.0f : granularity;
  lit_ = peak_ = peakAge_ = 0;
}

int LevelBar::PixelsFor(float db) const {
  // The table rises: the lit pixels are those at or below the level.
  return static_cast<int>(std::upper_bound(dbAtPixel_.begin(), dbAtPixel_.end(), db) -
                          dbAtPixel_.begin());
}

bool LevelBar::Feed(float db) {
  const int length = Length();
  if (length == 0) return false;
  int level = PixelsFor(db);
  level = static_cast<int>(std::floor(level / granularity_) * granularity_);
  const int fall = std::max(1, length / 35);
  const int lit = std::max(level, lit_ - fall);
  int peak = peak_;
  if (lit >= peak) {
    peak = lit;
    peakAge_ = 0;
  } else if (++peakAge_ > kPeakHoldFrames) {
    peak = std::max(peak - 1, lit);
  }
  const bool moved = lit != lit_ || peak != peak_;
  lit_ = std::max(lit, 0);
  peak_ = peak;
  return moved;
}

}  // namespace vantaro
