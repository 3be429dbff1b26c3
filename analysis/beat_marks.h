#pragma once
// Beat marks inside a stripe. A stripe sample below 50 is the band level of
// the track (with its sign); a mark adds a fixed amount that lifts the sample
// into a band of its own, so a reader can tell the kind and take it off.
//
// Threads: any; plain functions.

namespace vantaro {

inline constexpr float kMarkThreshold = 50.0f;  // above: a mark
inline constexpr float kBeatMark = 55.0f;       // a tracked beat: 50..60
inline constexpr float kLossMark = 65.0f;       // where the tracker lost the beat: 60..70
inline constexpr float kRegainedMark = 75.0f;   // a beat after a regained loss: 70..80

inline bool IsBeatMark(float value) {
  return value > kMarkThreshold;
}

// The level under a mark: the mark of the value's band taken off; a value
// outside the three bands stands as it is.
inline float Unmark(float value) {
  if (value > 50.0f && value < 60.0f) return value - kBeatMark;
  if (value > 60.0f && value < 70.0f) return value - kLossMark;
  if (value > 70.0f && value < 80.0f) return value - kRegainedMark;
  return value;
}

}  // namespace vantaro
