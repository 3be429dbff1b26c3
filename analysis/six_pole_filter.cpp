#include "analysis/six_pole_filter.h"

#include <cmath>

namespace vantaro {
namespace {

constexpr int kPoles = 6;
// epsilon^2 of a 0.5 percent ripple: (100 / 99.5)^2 - 1.
constexpr double kRippleEpsilonSquared = 0.010075503143859743;

}  // namespace

SixPoleFilter::SixPoleFilter(Kind kind, double cutoffHz, double rateHz)
    : kind_(kind), rateHz_(rateHz), cutoffHz_(cutoffHz) {
  Design();
}

void SixPoleFilter::SetCutoff(double cutoffHz) {
  if (cutoffHz == cutoffHz_) return;
  cutoffHz_ = cutoffHz;
  Design();
}

void SixPoleFilter::Reset() {
  for (Section& s : sections_) s.x1 = s.x2 = s.y1 = s.y2 = 0.0;
}

// One pole pair of the Chebyshev prototype, warped to the ripple, taken to z
// by the bilinear transform, then moved to the cut-off by the low-pass to
// low-pass (or low-pass to high-pass) mapping. Each section is scaled to unit
// gain at 0 Hz (low-pass) or at the Nyquist frequency (high-pass).
void SixPoleFilter::Design() {
  const double epsilon = std::sqrt(kRippleEpsilonSquared);
  const double vx = std::asinh(1.0 / epsilon) / kPoles;
  const double kx = std::cosh(std::acosh(1.0 / epsilon) / kPoles);
  const double w = 2.0 * M_PI * cutoffHz_ / rateHz_;
  const double t = 2.0 * std::tan(0.5);
  const double k = kind_ == kLowPass ? std::sin(0.5 - w / 2) / std::sin(0.5 + w / 2)
                                     : -std::cos(w / 2 + 0.5) / std::cos(w / 2 - 0.5);
  for (int p = 0; p < kPoles / 2; ++p) {
    const double angle = M_PI / (kPoles * 2) + p * M_PI / kPoles;
    const double rp = -std::cos(angle) * std::sinh(vx) / kx;
    const double ip = std::sin(angle) * std::cosh(vx) / kx;
    const double m = rp * rp + ip * ip;
    const double d = 4 - 4 * rp * t + m * t * t;
    const double x0 = t * t / d, x1 = 2 * t * t / d, x2 = t * t / d;
    const double y1 = (8 - 2 * m * t * t) / d;
    const double y2 = (-4 - 4 * rp * t - m * t * t) / d;
    const double dk = 1 + y1 * k - y2 * k * k;
    Section& s = sections_[p];
    s.a0 = (x0 - x1 * k + x2 * k * k) / dk;
    s.a1 = (-2 * x0 * k + x1 + x1 * k * k - 2 * x2 * k) / dk;
    s.a2 = (x0 * k * k - x1 * k + x2) / dk;
    s.b1 = (2 * k + y1 + y1 * k * k - 2 * y2 * k) / dk;
    s.b2 = (-k * k - y1 * k + y2) / dk;
    if (kind_ == kHighPass) {
      s.a1 = -s.a1;
      s.b1 = -s.b1;
    }
    const double sign = kind_ == kHighPass ? -1.0 : 1.0;
    const double gain = (s.a0 + sign * s.a1 + s.a2) / (1 - sign * s.b1 - s.b2);
    s.a0 /= gain;
    s.a1 /= gain;
    s.a2 /= gain;
  }
  Reset();
}

void SixPoleFilter::Process(float* samples, int count) {
  if (count <= 0) return;
  if (count > kMaxBlock) count = kMaxBlock;
  bool constant = true;
  for (int i = 1; i < count && constant; ++i) constant = samples[i] == samples[0];
  if (constant) return;
  for (int i = 0; i < count; ++i) {
    double value = samples[i];
    for (Section& s : sections_) {
      double y = s.a0 * value + s.a1 * s.x1 + s.a2 * s.x2 + s.b1 * s.y1 + s.b2 * s.y2;
      // Flushes what would decay into denormals after the sound stops.
      y += 1e-18;
      y -= 1e-18;
      s.x2 = s.x1;
      s.x1 = value;
      s.y2 = s.y1;
      s.y1 = y;
      value = y;
    }
    samples[i] = static_cast<float>(value * kOutputScale);
  }
}

}  // namespace vantaro
