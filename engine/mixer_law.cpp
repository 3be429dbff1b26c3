#include "engine/mixer_law.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace vantaro {

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
