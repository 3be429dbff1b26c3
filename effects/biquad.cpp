#include "effects/biquad.h"

#include <algorithm>
#include <cmath>

#include "base/audio_signal_source.h"
#include "effects/glide.h"
#include "effects/processor_features.h"
#include "effects/stereo_frames.h"

namespace vantaro {

bool DesignBiquad(TBiquad& filter, float frequency, float gainDb, float q, int type) {
  if (type < kBiquadLowPass || type > kBiquadHighShelf) return false;
  const double w = 2.0 * M_PI * frequency / kSampleRate;
  const double cosw = std::cos(w), sinw = std::sin(w);
  const double alpha = sinw / (2.0 * q);
  const double a = std::pow(10.0, gainDb / 40.0);
  double b0 = 1, b1 = 0, b2 = 0, a0 = 1, a1 = 0, a2 = 0;
  switch (type) {
    case kBiquadLowPass:
      b0 = (1 - cosw) / 2, b1 = 1 - cosw, b2 = (1 - cosw) / 2;
      a0 = 1 + alpha, a1 = -2 * cosw, a2 = 1 - alpha;
      break;
    case kBiquadHighPass:
      b0 = (1 + cosw) / 2, b1 = -(1 + cosw), b2 = (1 + cosw) / 2;
      a0 = 1 + alpha, a1 = -2 * cosw, a2 = 1 - alpha;
      break;
    case kBiquadBandPassSkirt:
      b0 = sinw / 2, b1 = 0, b2 = -sinw / 2;
      a0 = 1 + alpha, a1 = -2 * cosw, a2 = 1 - alpha;
      break;
    case kBiquadBandPassPeak:
      b0 = alpha, b1 = 0, b2 = -alpha;
      a0 = 1 + alpha, a1 = -2 * cosw, a2 = 1 - alpha;
      break;
    case kBiquadNotch:
      b0 = 1, b1 = -2 * cosw, b2 = 1;
      a0 = 1 + alpha, a1 = -2 * cosw, a2 = 1 - alpha;
      break;
    case kBiquadAllPass:
      b0 = 1 - alpha, b1 = -2 * cosw, b2 = 1 + alpha;
      a0 = 1 + alpha, a1 = -2 * cosw, a2 = 1 - alpha;
      break;
    case kBiquadPeaking:
      b0 = 1 + alpha * a, b1 = -2 * cosw, b2 = 1 - alpha * a;
      a0 = 1 + alpha / a, a1 = -2 * cosw, a2 = 1 - alpha / a;
      break;
    case kBiquadLowShelf: {
      const double s = 2 * std::sqrt(a) * alpha;
      b0 = a * ((a + 1) - (a - 1) * cosw + s);
      b1 = 2 * a * ((a - 1) - (a + 1) * cosw);
      b2 = a * ((a + 1) - (a - 1) * cosw - s);
      a0 = (a + 1) + (a - 1) * cosw + s;
      a1 = -2 * ((a - 1) + (a + 1) * cosw);
      a2 = (a + 1) + (a - 1) * cosw - s;
      break;
    }
    case kBiquadHighShelf: {
      const double s = 2 * std::sqrt(a) * alpha;
      b0 = a * ((a + 1) + (a - 1) * cosw + s);
      b1 = -2 * a * ((a - 1) + (a + 1) * cosw);
      b2 = a * ((a + 1) + (a - 1) * cosw - s);
      a0 = (a + 1) - (a - 1) * cosw + s;
      a1 = 2 * ((a - 1) - (a + 1) * cosw);
      a2 = (a + 1) - (a - 1) * cosw - s;
      break;
    }
  }
  filter.type = type;
  filter.frequency = frequency;
  filter.gainDb = gainDb;
  filter.q = q;
  filter.a0 = static_cast<float>(a0), filter.a1 = static_cast<float>(a1);
  filter.a2 = static_cast<float>(a2), filter.b0 = static_cast<float>(b0);
  filter.b1 = static_cast<float>(b1), filter.b2 = static_cast<float>(b2);
  return true;
}

void ResetBiquad(TBiquad& filter) {
  filter.x1 = filter.x2 = filter.y1 = filter.y2 = 0.0;
}

namespace {

// Coefficients divided by a0, so the loops never divide.
struct Normalised {
  double b0, b1, b2, a1, a2;
};

Normalised Normalise(const TBiquad& f) {
  const double a0 = f.a0;
  return {f.b0 / a0, f.b1 / a0, f.b2 / a0, f.a1 / a0, f.a2 / a0};
}

// One step of one channel. Every path sums in this order,
// ((((b0 x + b1 x1) + b2 x2) - a2 y2) - a1 y1), so that they agree to the
// last bit; y1 comes last as it is the newest result the next step waits on.
inline double Step(const Normalised& c, TBiquad& f, double x) {
  const double y = c.b0 * x + c.b1 * f.x1 + c.b2 * f.x2 - c.a2 * f.y2 - c.a1 * f.y1;
  f.x2 = f.x1, f.x1 = x, f.y2 = f.y1, f.y1 = y;
  return y;
}

void FlushHistory(TBiquad& f) {
  f.x1 = FlushTiny(f.x1), f.x2 = FlushTiny(f.x2);
  f.y1 = FlushTiny(f.y1), f.y2 = FlushTiny(f.y2);
}

}  // namespace

void RunBiquadPairScalar(TBiquad* left, TBiquad* right, int sections, float* samples, int frames) {
  Normalised c[2][2];
  for (int s = 0; s < sections; ++s) c[0][s] = Normalise(left[s]), c[1][s] = Normalise(right[s]);
  TBiquad* sides[2] = {left, right};
  for (int done = 0; done < frames; done += kBiquadFlushFrames) {
    const int end = std::min(frames, done + kBiquadFlushFrames);
    for (int side = 0; side < 2; ++side) {
      for (int i = done; i < end; ++i) {
        double x = samples[i * 2 + side];
        for (int s = 0; s < sections; ++s) x = Step(c[side][s], sides[side][s], x);
        samples[i * 2 + side] = static_cast<float>(x);
      }
      for (int s = 0; s < sections; ++s) FlushHistory(sides[side][s]);
    }
  }
}

#if defined(__SSE2__)
namespace {

// Lanes: left, right.
struct PairSection {
  __m128d b0, b1, b2, a1, a2;
  __m128d x1, x2, y1, y2;
};

PairSection LoadPair(const TBiquad& l, const TBiquad& r) {
  const Normalised cl = Normalise(l), cr = Normalise(r);
  return {_mm_set_pd(cr.b0, cl.b0), _mm_set_pd(cr.b1, cl.b1), _mm_set_pd(cr.b2, cl.b2),
          _mm_set_pd(cr.a1, cl.a1), _mm_set_pd(cr.a2, cl.a2), _mm_set_pd(r.x1, l.x1),
          _mm_set_pd(r.x2, l.x2),   _mm_set_pd(r.y1, l.y1),   _mm_set_pd(r.y2, l.y2)};
}

void StorePair(const PairSection& p, TBiquad& l, TBiquad& r) {
  _mm_storel_pd(&l.x1, p.x1), _mm_storeh_pd(&r.x1, p.x1);
  _mm_storel_pd(&l.x2, p.x2), _mm_storeh_pd(&r.x2, p.x2);
  _mm_storel_pd(&l.y1, p.y1), _mm_storeh_pd(&r.y1, p.y1);
  _mm_storel_pd(&l.y2, p.y2), _mm_storeh_pd(&r.y2, p.y2);
}

inline __m128d StepPair(PairSection& p, __m128d x) {
  __m128d y = _mm_add_pd(_mm_mul_pd(p.b0, x), _mm_mul_pd(p.b1, p.x1));
  y = _mm_add_pd(y, _mm_mul_pd(p.b2, p.x2));
  y = _mm_sub_pd(y, _mm_mul_pd(p.a2, p.y2));
  y = _mm_sub_pd(y, _mm_mul_pd(p.a1, p.y1));
  p.x2 = p.x1, p.x1 = x, p.y2 = p.y1, p.y1 = y;
  return y;
}

// FlushTiny on both lanes of each word of the history.
inline void FlushPair(PairSection& p) {
  const __m128d tiny = _mm_set1_pd(1e-25),
                magnitude = _mm_castsi128_pd(_mm_set1_epi64x(~0ull >> 1));
  for (__m128d* v : {&p.x1, &p.x2, &p.y1, &p.y2})
    *v = _mm_andnot_pd(_mm_cmplt_pd(_mm_and_pd(*v, magnitude), tiny), *v);
}

// The section count fixed at compile time keeps the whole state in registers.
template <int kSections>
void RunPairs(TBiquad* left, TBiquad* right, float* samples, int frames) {
  PairSection p[kSections];
  for (int s = 0; s < kSections; ++s) p[s] = LoadPair(left[s], right[s]);
  for (int done = 0; done < frames; done += kBiquadFlushFrames) {
    const int end = std::min(frames, done + kBiquadFlushFrames);
    for (int i = done; i < end; ++i) {
      __m128d x = LoadStereoFrame(samples + i * 2);
      for (int s = 0; s < kSections; ++s) x = StepPair(p[s], x);
      StoreStereoFrame(samples + i * 2, x);
    }
    for (int s = 0; s < kSections; ++s) FlushPair(p[s]);
  }
  for (int s = 0; s < kSections; ++s) StorePair(p[s], left[s], right[s]);
}

}  // namespace
#endif

void RunBiquadPairVector(TBiquad* left, TBiquad* right, int sections, float* samples, int frames) {
#if defined(__SSE2__)
  if (sections == 2)
    RunPairs<2>(left, right, samples, frames);
  else
    RunPairs<1>(left, right, samples, frames);
#else
  RunBiquadPairScalar(left, right, sections, samples, frames);
#endif
}

void RunBiquadPair(TBiquad* left, TBiquad* right, int sections, float* samples, int frames) {
  sections = sections == 2 ? 2 : 1;
  if (TheProcessorFeatures().sse2)
    RunBiquadPairVector(left, right, sections, samples, frames);
  else
    RunBiquadPairScalar(left, right, sections, samples, frames);
}

}  // namespace vantaro
