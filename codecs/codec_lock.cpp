#include "codecs/codec_lock.h"

#include "base/realtime.h"

namespace vantaro {

namespace {
// True while this thread holds the lock through a CodecLockGuard.
thread_local bool tHoldsCodecLock = false;
}  // namespace

std::mutex& GlobalCodecLock() {
  static std::mutex lock;
  return lock;
}

CodecLockGuard::CodecLockGuard() {
  AssertNotRealtime("global codec lock");
  GlobalCodecLock().lock();
  tHoldsCodecLock = true;
}

CodecLockGuard::~CodecLockGuard() {
  tHoldsCodecLock = false;
  GlobalCodecLock().unlock();
}

CodecLockRelease::CodecLockRelease() : released_(tHoldsCodecLock) {
  if (!released_) return;
  tHoldsCodecLock = false;
  GlobalCodecLock().unlock();
}

CodecLockRelease::~CodecLockRelease() {
  if (!released_) return;
  GlobalCodecLock().lock();
  tHoldsCodecLock = true;
}

}  // namespace vantaro
