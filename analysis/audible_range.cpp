#include "analysis/audible_range.h"

#include <cmath>
#include <cstring>

#include "analysis/beat_marks.h"
#include "base/fast_log.h"

namespace vantaro {
namespace {

constexpr std::int64_t kShortestTrackFrames = 2646000;  // 60 s
constexpr double kStartLevelDb = -10.0;
constexpr double kEndLevelDb = -12.0;
constexpr std::int64_t kFramesPerStripe = 100;

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
