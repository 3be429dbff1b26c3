#pragma once
// FlushDenormalsScope: for its lifetime the calling thread's floating-point
// unit flushes subnormal results to zero and reads subnormal inputs as zero
// (SSE FTZ and DAZ), then the previous mode comes back. Every audio thread
// entry (device callbacks, the offline device) holds one, so a decaying
// recursion in an effect never falls into the slow subnormal range; the
// effects guard their own state as well, for threads that do not.
//
// Threads: any; it changes only the calling thread's mode. No allocation.

#if defined(__SSE__)
#include <xmmintrin.h>
#endif

namespace vantaro {

class FlushDenormalsScope {
 public:
  FlushDenormalsScope() {
#if defined(__SSE__)
    saved_ = _mm_getcsr();
    _mm_setcsr(saved_ | kFlushToZero | kDenormalsAreZero);
#endif
  }
  ~FlushDenormalsScope() {
#if defined(__SSE__)
    _mm_setcsr(saved_);
#endif
  }
  FlushDenormalsScope(const FlushDenormalsScope&) = delete;
  FlushDenormalsScope& operator=(const FlushDenormalsScope&) = delete;

 private:
  static constexpr unsigned kFlushToZero = 0x8000;
  static constexpr unsigned kDenormalsAreZero = 0x0040;
  unsigned saved_ = 0;
};

}  // namespace vantaro
