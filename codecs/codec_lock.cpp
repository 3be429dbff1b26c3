#include "codecs/codec_lock.h"

#include <chrono>
#include <thread>

#include "base/realtime.h"

namespace vantaro {

namespace {
// True while this thread holds the lock through a CodecLockGuard.
thread_local bool tHoldsCodecLock = false;
std::atomic<int> gLoadsWaiting{0};
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

CodecLoadWaiting::CodecLoadWaiting() {
  gLoadsWaiting.fetch_add(1);
}

CodecLoadWaiting::~CodecLoadWaiting() {
  gLoadsWaiting.fetch_sub(1);
}

void HoldBackForLoads(const std::atomic<bool>* stop) {
  while (gLoadsWaiting.load() > 0 && !(stop && stop->load()))
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

}  // namespace vantaro
