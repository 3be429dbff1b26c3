#include "analysis/audible_range.h"

#include <cmath>
#include <cstring>

#include "analysis/beat_marks.h"

namespace vantaro {
namespace {

constexpr std::int64_t kShortestTrackFrames = 2646000;  // 60 s
constexpr double kStartLevelDb = -10.0;
constexpr double kEndLevelDb = -12.0;
constexpr std::int64_t kFramesPerStripe = 100;

// The mixer's fastLog10 (engine/mixer_law), repeated here because analysis
// sits below the engine: the exponent byte e and the mantissa m in 1..2 give
// (e - 128 + m (2 - m / 3) - 2 / 3) / 3.3125.
double FastLog10(float x) {
  std::uint32_t bits;
  std::memcpy(&bits, &x, sizeof bits);
  const int exponent = static_cast<int>((bits >> 23) & 0xff);
  const double mantissa = 1.0 + static_cast<double>(bits & 0x7fffff) / 8388608.0;
  // m * (2 - m / 3) - 2 / 3 written as (6m - m^2 - 2) / 3: exact at m = 1
  // and m = 2, so powers of two give whole numbers before the divisor.
  return (exponent - 128 + (6.0 * mantissa - mantissa * mantissa - 2.0) / 3.0) / 3.3125;
}

bool Audible(float value, double thresholdDb) {
  const float level = std::fabs(Unmark(value));
  return level > 0 && 20.0 * FastLog10(level) > thresholdDb;
}

}  // namespace

AudibleRange FindAudibleRange(const float* stripe, int count, std::int64_t totalFrames,
                              bool findStart, bool findEnd) {
  AudibleRange range{false, 0, totalFrames};
  if (totalFrames < kShortestTrackFrames || count <= 0) return range;
  range.searched = true;
  const int middle = count / 2;
  if (findStart) {
    for (int i = 0; i < middle; ++i) {
      if (Audible(stripe[i], kStartLevelDb)) {
        range.start = i * kFramesPerStripe;
        break;
      }
    }
  }
  if (findEnd) {
    for (int i = count - 1; i >= middle; --i) {
      if (Audible(stripe[i], kEndLevelDb)) {
        range.end = i * kFramesPerStripe;
        break;
      }
    }
  }
  return range;
}

}  // namespace vantaro
