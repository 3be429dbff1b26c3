#include "base/timed_thread.h"

#include <pthread.h>

#include <cerrno>
#include <ctime>

#include "base/realtime.h"
#include "base/thread_priority.h"

namespace vantaro {

TimedThread::TimedThread(std::string name, int periodMs, int priority, Routine routine)
    : name_(std::move(name)),
      periodMs_(periodMs),
      priority_(priority),
      routine_(std::move(routine)) {
  sem_init(&wakeSemaphore_, 0, 0);
}

TimedThread::~TimedThread() {
  Stop();
  sem_destroy(&wakeSemaphore_);
}

bool TimedThread::Start() {
  if (thread_.joinable()) return false;
  stopRequested_.store(false);
  try {
    thread_ = std::thread([this] { Loop(); });
  } catch (const std::system_error&) {
    return false;
  }
  return true;
}

void TimedThread::Stop() {
  AssertNotRealtime("TimedThread::Stop");
  if (!thread_.joinable()) return;
  stopRequested_.store(true);
  Wake();
  thread_.join();
}

void TimedThread::Wake() {
  // Only the first wake after the thread consumed the event posts: the event
  // is auto-reset, not a counter.
  if (!wakePending_.exchange(true, std::memory_order_acq_rel)) sem_post(&wakeSemaphore_);
}

bool TimedThread::WaitForWakeOrPeriod() {
  timespec deadline{};
  clock_gettime(CLOCK_MONOTONIC, &deadline);
  deadline.tv_sec += periodMs_ / 1000;
  deadline.tv_nsec += static_cast<long>(periodMs_ % 1000) * 1000000L;
  if (deadline.tv_nsec >= 1000000000L) {
    deadline.tv_sec += 1;
    deadline.tv_nsec -= 1000000000L;
  }
  while (sem_clockwait(&wakeSemaphore_, CLOCK_MONOTONIC, &deadline) != 0) {
    if (errno == ETIMEDOUT) return false;
    // EINTR: a signal interrupted the wait; keep the same deadline.
  }
  wakePending_.store(false, std::memory_order_release);
  return true;
}

void TimedThread::Loop() {
  pthread_setname_np(pthread_self(), name_.substr(0, 15).c_str());
  SetCurrentThreadPriority(priority_);
  while (!stopRequested_.load()) {
    WaitForWakeOrPeriod();
    if (stopRequested_.load()) break;
    routine_();
    runs_.fetch_add(1, std::memory_order_relaxed);
  }
}

}  // namespace vantaro
