#pragma once
// The key lock's cheap path: a time-domain overlap method inside the frame
// loop. The position steps by one frame (in the direction of play) so the
// pitch stays put, and every kSegmentLength frames it jumps by the distance
// the speed asks for, corrected by the lag that best matches the audio
// (a correlation search of +-150 frames). The last kOverlapLength frames of
// each segment fade power-complementarily from the old place into the place
// after the coming jump, so the join does not click.
//
// Threads: the audio thread only (inside the render bracket); the state is
// the render's own. No allocation: the search windows are members.
// Units: frames at 44100 Hz; samples in stored 16-bit units.

#include <cstdint>

namespace vantaro {

class DeckBlockStore;

class CheapStretch {
 public:
  static constexpr int kSegmentLength = 3528;  // 80 ms
  static constexpr int kOverlapLength = 400;   // the fade at each segment's end
  static constexpr int kSearchRange = 150;     // lags searched, frames either way
  static constexpr int kCoarseStep = 4;
  static constexpr int kFineRange = 3;

  // A fresh start (the path was just taken): no jump pending.
  void Reset();
  // One frame's move of `position` at `speed` (signed; only its magnitude
  // sets the jumps). At a segment's end it jumps and searches the next jump.
  void Step(double& position, double speed, const DeckBlockStore& blocks, std::int64_t total);
  // The frame heard at `position`: the stored frame there (truncated), faded
  // into the frame beyond the coming jump over the segment's last frames.
  void Frame(const DeckBlockStore& blocks, double position, double speed, std::int64_t total,
             float& left, float& right) const;

  int Jump() const { return jump_; }
  int Correction() const { return correction_; }

 private:
  // The lag in [-kSearchRange - kFineRange, kSearchRange + kFineRange] whose
  // window, shifted by lag - `desired`, best matches the window at the search
  // base: a coarse pass over the multiples of kCoarseStep, then a fine one
  // around its best; a later equal value does not replace an earlier one.
  int Search(const DeckBlockStore& blocks, std::int64_t total, int desired);
  // Correlation of the base window with the candidate window at `lag`
  // frames into the candidate span; 0 when the span could not be read.
  float Correlation(int lag) const;
  // Copies `count` frames from `first` into `out`; false when they leave the
  // song or touch an absent block.
  static bool Fetch(const DeckBlockStore& blocks, std::int64_t total, std::int64_t first, int count,
                    float* out);

  static constexpr int kSpan = kOverlapLength + 2 * (kSearchRange + kFineRange) + 1;

  int segmentPosition_ = 0;  // output frames since the last jump
  int jump_ = 0;             // frames added at the next jump (signed)
  int correction_ = 0;       // the best lag of the last search, negated
  std::int64_t searchBase_ = 0;
  bool windowsRead_ = false;
  float base_[kOverlapLength * 2] = {};  // interleaved stereo, stored units
  float span_[kSpan * 2] = {};
};

}  // namespace vantaro
