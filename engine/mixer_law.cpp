#include "engine/mixer_law.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace vantaro {

double FastLog10(float x) {
  std::uint32_t bits;
  std::memcpy(&bits, &x, sizeof bits);
  const int exponent = static_cast<int>((bits >> 23) & 0xff);
  const double mantissa = 1.0 + static_cast<double>(bits & 0x7fffff) / 8388608.0;
  // m * (2 - m / 3) - 2 / 3 written as (6m - m^2 - 2) / 3, which is exact
  // at m = 1 and m = 2: powers of two give whole numbers before the divisor.
  return (exponent - 128 + (6.0 * mantissa - mantissa * mantissa - 2.0) / 3.0) / 3.3125;
}

double DbToLinear(double db) {
  return db <= kSilenceDbLimit ? 0.0 : std::pow(10.0, db * 0.05);
}

double LinearToDb(double linear) {
  return linear > 0.0 ? 20.0 * FastLog10(static_cast<float>(linear)) : kSilenceDb;
}

float PowBySquaring(float base, int k) {
  float result = 1.0f;
  while (k > 0) {
    if (k & 1) result *= base;
    base *= base;
    k >>= 1;
  }
  return result;
}

double FaderBase(int steps) {
  return std::pow(91.0, 1.0 / (steps - 1));
}

double FaderLawDb(int position, int steps, double base) {
  if (position <= 0) return kOffDb;
  if (position >= steps - 1) return 0.0;
  return -(PowBySquaring(static_cast<float>(base), steps - position - 1) - 1.0f);
}

float FaderLawLinear(int position, int steps, double base) {
  if (position >= steps - 1) return 1.0f;
  return static_cast<float>(DbToLinear(FaderLawDb(position, steps, base)));
}

double CrossBase(int steps, int curve) {
  return std::pow(91.0, 1.0 / (steps - curve - 1));
}

float CrossLawLinear(int k, int steps, int curve, double crossBase) {
  if (curve == -1) return k < steps / 2 ? 1.0f : 0.0f;
  const int x = k < curve ? 0 : k - curve;
  if (x == 0) return 1.0f;
  if (k >= steps - 1) return 0.0f;
  const double db = -(PowBySquaring(static_cast<float>(crossBase), x) - 1.0f);
  return static_cast<float>(DbToLinear(db));
}

}  // namespace vantaro
