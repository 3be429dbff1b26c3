#pragma once
// The one global codec lock: serialises CCodecSet's Open, the whole of a
// sample read, and Close across every codec set of the process, so that only
// one decode runs at a time. It covers one block read at a time, never a scan
// of a whole file: such a scan lets it go (CodecLockRelease).
//
// Threads: any thread but the audio thread (it blocks; the accessor asserts so
// in checked builds).

#include <atomic>
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

// A deck load waiting for its first block, for the scope of the object (the
// deck's store thread, from the start of a load to its block 0). The mutex
// is not fair: a background reader that takes it again right after a read
// could hold a load up for several reads on a busy machine.
class CodecLoadWaiting {
 public:
  CodecLoadWaiting();
  ~CodecLoadWaiting();
  CodecLoadWaiting(const CodecLoadWaiting&) = delete;
  CodecLoadWaiting& operator=(const CodecLoadWaiting&) = delete;
};

// Background readers (the analysis worker) call this before each read,
// outside the lock: it returns at once when no load waits, else sleeps in
// 1 ms steps until none does or `stop` is set. A load thereby waits for the
// one read in flight at most.
void HoldBackForLoads(const std::atomic<bool>* stop = nullptr);

}  // namespace vantaro
