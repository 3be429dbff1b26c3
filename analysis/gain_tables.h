#pragma once
// The equal-loudness filter coefficients of the ReplayGain reference.

namespace vantaro {

struct GainFilterRow {
  int rate;
  double yuleB[11];
  double yuleA[11];
  double butterB[3];
  double butterA[3];
};

inline constexpr int kGainFilterRateCount = 9;
extern const GainFilterRow kGainFilterRows[kGainFilterRateCount];

}  // namespace vantaro
