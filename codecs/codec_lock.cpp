#include "codecs/codec_lock.h"

#include "base/realtime.h"

namespace vantaro {

std::mutex& GlobalCodecLock() {
  static std::mutex lock;
  return lock;
}

CodecLockGuard::CodecLockGuard() {
  AssertNotRealtime("global codec lock");
  GlobalCodecLock().lock();
}

CodecLockGuard::~CodecLockGuard() {
  GlobalCodecLock().unlock();
}

}  // namespace vantaro
