#pragma once
// The one global codec lock: serialises CCodecSet's Open, the whole of a
// sample read, and Close across every codec set of the process, so that only
// one decode runs at a time. It covers one block read at a time, never a scan
// of a whole file: such a scan lets it go (CodecLockRelease).
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

// Lets the global codec lock go for its scope when the calling thread holds
// it through a CodecLockGuard, and takes it back at the end; a no-op on a
// thread that does not hold it. For long work inside a locked call that
// touches no state another codec set could reach (a private scan of one
// file), so that the other decks' reads go on meanwhile.
class CodecLockRelease {
 public:
  CodecLockRelease();
  ~CodecLockRelease();
  CodecLockRelease(const CodecLockRelease&) = delete;
  CodecLockRelease& operator=(const CodecLockRelease&) = delete;

 private:
  bool released_;
};

}  // namespace vantaro
