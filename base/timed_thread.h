#pragma once
// A thread that runs a routine every `periodMs` milliseconds, waiting on an
// auto-reset wake event with the period as time-out: Wake() runs the routine
// at once, and several wakes before the thread gets to run count as one.
//
// Threads: Start/Stop from one owning thread (not real-time). Wake() may be
// called from any thread, including the audio thread: it never blocks and
// never allocates. The routine runs on the timed thread only.

#include <semaphore.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>

namespace vantaro {

class TimedThread {
 public:
  using Routine = std::function<void()>;

  // `name` shows in debuggers and `top` (15 characters at most are kept).
  TimedThread(std::string name, int periodMs, int priority, Routine routine);
  ~TimedThread();  // stops the thread
  TimedThread(const TimedThread&) = delete;
  TimedThread& operator=(const TimedThread&) = delete;

  // Pre: not running. Returns false when the thread could not be created.
  bool Start();
  // Asks the routine loop to end, wakes it, and joins. The routine in flight
  // finishes first. Safe to call twice.
  void Stop();
  // Sets the wake event. Real-time safe.
  void Wake();

  bool IsRunning() const { return thread_.joinable(); }
  int PeriodMs() const { return periodMs_; }
  // Number of completed routine runs (for tests and diagnostics).
  long Runs() const { return runs_.load(std::memory_order_relaxed); }

 private:
  void Loop();
  bool WaitForWakeOrPeriod();

  std::string name_;
  int periodMs_;
  int priority_;
  Routine routine_;
  std::thread thread_;
  sem_t wakeSemaphore_;
  std::atomic<bool> wakePending_{false};
  std::atomic<bool> stopRequested_{false};
  std::atomic<long> runs_{0};
};

}  // namespace vantaro
