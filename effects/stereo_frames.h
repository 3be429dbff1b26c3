#pragma once
// One interleaved stereo frame of floats to and from the two double lanes of
// an SSE2 register (lanes: left, right), for the effects' vector paths.
// Audio thread; header-only, nothing allocates.

#if defined(__SSE2__)
#include <emmintrin.h>

namespace vantaro {

inline __m128d LoadStereoFrame(const float* frame) {
  return _mm_cvtps_pd(_mm_castpd_ps(_mm_load_sd(reinterpret_cast<const double*>(frame))));
}

inline void StoreStereoFrame(float* frame, __m128d value) {
  _mm_store_sd(reinterpret_cast<double*>(frame), _mm_castps_pd(_mm_cvtpd_ps(value)));
}

}  // namespace vantaro
#endif
