#include "engine/cheap_stretch.h"

#include <cmath>
#include <limits>

#include "engine/deck_block_store.h"
#include "engine/deck_interpolate.h"

namespace vantaro {
namespace {

constexpr int kReach = CheapStretch::kSearchRange + CheapStretch::kFineRange;

int Sign(double value) {
  return value > 0.0 ? 1 : value < 0.0 ? -1 : 0;
}

}  // namespace

void CheapStretch::Reset() {
  segmentPosition_ = 0;
  jump_ = 0;
  correction_ = 0;
}

void CheapStretch::Step(double& position, double speed, const DeckBlockStore& blocks,
                        std::int64_t total) {
  const int direction = Sign(speed);
  position += direction;
  if (++segmentPosition_ < kSegmentLength) return;
  position += jump_ * direction;
  segmentPosition_ = 0;
  // What the speed asks for over one segment, less what the last search
  // took away, so the jumps add up to the speed's distance.
  const int wanted = static_cast<int>(std::lrint((std::fabs(speed) - 1.0) * kSegmentLength));
  const int desired = wanted - correction_;
  jump_ = desired;
  searchBase_ = std::lrint(position) + kSegmentLength + kOverlapLength * Sign(desired);
  const int best = Search(blocks, total, desired);
  jump_ = -(correction_ + best) + wanted;
  correction_ = -best;
}

void CheapStretch::Frame(const DeckBlockStore& blocks, double position, double speed,
                         std::int64_t total, float& left, float& right) const {
  const auto at = static_cast<std::int64_t>(position);
  FetchOne(blocks, at, total, left, right);
  const int into = kOverlapLength + segmentPosition_ - kSegmentLength;
  if (into < 0 || jump_ == 0) return;
  float beyondLeft, beyondRight;
  FetchOne(blocks, at + static_cast<std::int64_t>(jump_) * Sign(speed), total, beyondLeft,
           beyondRight);
  const float angle = static_cast<float>(into) / kOverlapLength * static_cast<float>(M_PI) * 0.5f;
  const float keep = std::cos(angle) * std::cos(angle);  // cos² + sin² = 1: constant power
  left = left * keep + beyondLeft * (1.0f - keep);
  right = right * keep + beyondRight * (1.0f - keep);
}

bool CheapStretch::Fetch(const DeckBlockStore& blocks, std::int64_t total, std::int64_t first,
                         int count, float* out) {
  if (first < 0 || first + count > total) return false;
  for (int i = 0; i < count;) {
    const std::int16_t* samples = blocks.FramePointer(first + i);
    if (!samples) return false;
    // Frames up to the block's end are contiguous.
    const std::int64_t inBlock = kBlockFrames - (first + i) % kBlockFrames;
    const int run = static_cast<int>(std::min<std::int64_t>(inBlock, count - i));
    for (int j = 0; j < run * 2; ++j) out[i * 2 + j] = samples[j];
    i += run;
  }
  return true;
}

float CheapStretch::Correlation(int lag) const {
  if (!windowsRead_) return 0.0f;
  const float* candidate = span_ + (lag + kReach) * 2;
  float sum = 0.0f;
  for (int i = 0; i < kOverlapLength * 2; ++i) sum += base_[i] * candidate[i];
  return sum;
}

int CheapStretch::Search(const DeckBlockStore& blocks, std::int64_t total, int desired) {
  // Both windows are read once; every lag then correlates within them.
  windowsRead_ = Fetch(blocks, total, searchBase_, kOverlapLength, base_) &&
                 Fetch(blocks, total, searchBase_ - desired - kReach, kSpan, span_);
  float bestValue = -std::numeric_limits<float>::infinity();
  int best = 0;
  const int coarseFirst = -(kSearchRange / kCoarseStep) * kCoarseStep;
  for (int lag = coarseFirst; lag <= -coarseFirst; lag += kCoarseStep) {
    const float value = Correlation(lag);
    if (value > bestValue) bestValue = value, best = lag;
  }
  const int coarse = best;
  for (int lag = coarse - kFineRange; lag <= coarse + kFineRange; ++lag) {
    const float value = Correlation(lag);
    if (value > bestValue) bestValue = value, best = lag;
  }
  return best;
}

}  // namespace vantaro
