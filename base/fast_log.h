#pragma once
// FastLog10: the cheap log10 on a float's bits that the mixer's dB figures,
// its meters and the automatic cue rule are all defined with. It is not a
// real logarithm (off by up to about 0.004 decades), and the meters and cue
// levels the program shows are specified in its terms, so every caller must
// use this one.
//
// Threads: any, the audio thread included (no allocation, no branch on
// state).

#include <cstdint>
#include <cstring>

namespace vantaro {

// With the exponent byte e and the mantissa m in 1..2:
// (e - 128 + m (2 - m / 3) - 2 / 3) / 3.3125.
inline double FastLog10(float x) {
  std::uint32_t bits;
  std::memcpy(&bits, &x, sizeof bits);
  const int exponent = static_cast<int>((bits >> 23) & 0xff);
  const double mantissa = 1.0 + static_cast<double>(bits & 0x7fffff) / 8388608.0;
  // m * (2 - m / 3) - 2 / 3 written as (6m - m^2 - 2) / 3, which is exact
  // at m = 1 and m = 2: powers of two give whole numbers before the divisor.
  return (exponent - 128 + (6.0 * mantissa - mantissa * mantissa - 2.0) / 3.0) / 3.3125;
}

}  // namespace vantaro
