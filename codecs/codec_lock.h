#pragma once
// The one global codec lock: serialises CCodecSet's Open, the whole of a
// sample read, and Close across every codec set of the process, so that only
// one decode runs at a time.
//
// Threads: any thread but the audio thread (it blocks; the accessor asserts so
// in checked builds).

#include <mutex>

namespace vantaro {

std::mutex& GlobalCodecLock();

// Scoped holder of the global codec lock.
class CodecLockGuard {
 public:
  CodecLockGuard();
  ~CodecLockGuard();
  CodecLockGuard(const CodecLockGuard&) = delete;
  CodecLockGuard& operator=(const CodecLockGuard&) = delete;
};

}  // namespace vantaro
