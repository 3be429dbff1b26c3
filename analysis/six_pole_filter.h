#pragma once
// The analysis band filters: a six-pole Chebyshev low-pass or high-pass with
// 0.5 percent pass-band ripple, three cascaded second-order sections designed
// by the bilinear method. The cut-off is the -3 dB point; the ripple holds
// below about 0.8 of it. The analysis chain runs a low-pass at 215 Hz and a
// high-pass at 132 Hz, which leaves the bass band that carries the beat.
//
// Output is the filtered signal times 1/6 (0.1666667): the band level of the
// stripes is defined with that scale.
//
// Threads: one owner at a time (the analysis worker, or one deck's store
// thread). Process allocates nothing.

namespace vantaro {

class SixPoleFilter {
 public:
  enum Kind { kLowPass, kHighPass };
  static constexpr int kMaxBlock = 8820;  // samples per Process call
  static constexpr float kOutputScale = 0.1666667f;

  SixPoleFilter(Kind kind, double cutoffHz, double rateHz = 44100.0);

  // Recomputes the coefficients only when the cut-off changes.
  void SetCutoff(double cutoffHz);
  double Cutoff() const { return cutoffHz_; }
  // Clears the state kept between blocks (a new track).
  void Reset();

  // Filters `count` (at most kMaxBlock) samples in place. A block whose
  // samples all equal the first passes untouched and leaves the state as it
  // was: silence and held values cost nothing.
  void Process(float* samples, int count);

 private:
  struct Section {
    double a0, a1, a2, b1, b2;  // y = a0 x + a1 x1 + a2 x2 + b1 y1 + b2 y2
    double x1, x2, y1, y2;
  };
  void Design();

  Kind kind_;
  double rateHz_;
  double cutoffHz_;
  Section sections_[3];
};

}  // namespace vantaro
