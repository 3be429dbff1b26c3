#include "effects/biquad.h"

#include <cmath>

#include "base/audio_signal_source.h"
#include "effects/processor_features.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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
  filter.x1 = filter.x2 = filter.y1 = filter.y2 = 0.0f;
}

// Sum order of both paths: ((((b0 x + b1 x1) + b2 x2) - a1 y1) - a2 y2) / a0,
// so that they agree to the last bit.
void RunBiquadScalar(TBiquad& f, float* samples, int count, int firstChannel, int stride) {
  const double b0 = f.b0, b1 = f.b1, b2 = f.b2, a0 = f.a0, a1 = f.a1, a2 = f.a2;
  float x1 = f.x1, x2 = f.x2, y1 = f.y1, y2 = f.y2;
  for (int i = firstChannel; i < count; i += stride) {
    const float x = samples[i];
    const double sum = b0 * x + b1 * x1 + b2 * x2 - a1 * y1 - a2 * y2;
    const float y = static_cast<float>(sum / a0);
    x2 = x1, x1 = x, y2 = y1, y1 = y;
    samples[i] = y;
  }
  f.x1 = x1, f.x2 = x2, f.y1 = y1, f.y2 = y2;
}

void RunBiquadVector(TBiquad& f, float* samples, int count, int firstChannel, int stride) {
#if defined(__SSE2__)
  // The five products are formed two at a time; the additions keep the
  // scalar order.
  const __m128d coefFirst = _mm_set_pd(f.b1, f.b0);   // lanes: b0, b1
  const __m128d coefSecond = _mm_set_pd(f.a1, f.b2);  // lanes: b2, a1
  const double a2 = f.a2, a0 = f.a0;
  float x1 = f.x1, x2 = f.x2, y1 = f.y1, y2 = f.y2;
  alignas(16) double p[2], r[2];
  for (int i = firstChannel; i < count; i += stride) {
    const float x = samples[i];
    _mm_store_pd(p, _mm_mul_pd(coefFirst, _mm_set_pd(x1, x)));
    _mm_store_pd(r, _mm_mul_pd(coefSecond, _mm_set_pd(y1, x2)));
    const double sum = p[0] + p[1] + r[0] - r[1] - a2 * y2;
    const float y = static_cast<float>(sum / a0);
    x2 = x1, x1 = x, y2 = y1, y1 = y;
    samples[i] = y;
  }
  f.x1 = x1, f.x2 = x2, f.y1 = y1, f.y2 = y2;
#else
  RunBiquadScalar(f, samples, count, firstChannel, stride);
#endif
}

void RunBiquad(TBiquad& filter, float* samples, int count, int firstChannel, int stride) {
  if (stride <= 0 || firstChannel < 0) return;
  if (TheProcessorFeatures().sse2)
    RunBiquadVector(filter, samples, count, firstChannel, stride);
  else
    RunBiquadScalar(filter, samples, count, firstChannel, stride);
}

}  // namespace vantaro
