#include "base/timed_thread.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "base/thread_priority.h"

namespace vantaro {
namespace {

using namespace std::chrono_literals;

// Waits (at most 10 s) until `done` holds; the limit only stops a broken
// build from hanging, the tests never depend on how fast it holds.
template <typename F>
bool WaitFor(F done) {
  for (int i = 0; i < 1000; ++i) {
    if (done()) return true;
    std::this_thread::sleep_for(10ms);
  }
  return done();
}

TEST(TimedThread, RunsEveryPeriodWithoutWakes) {
  TimedThread thread("test-period", 5, kPriorityNormal, [] {});
  ASSERT_TRUE(thread.Start());
  EXPECT_TRUE(WaitFor([&] { return thread.Runs() >= 5; }));
  thread.Stop();
}

TEST(TimedThread, WakeRunsTheRoutineAtOnceAndCoalesces) {
  std::mutex mutex;
  std::condition_variable released;
  bool release = false;
  bool blockNext = true;
  // Period of an hour: any run seen here came from a wake.
  TimedThread thread("test-wake", 3600 * 1000, kPriorityNormal, [&] {
    std::unique_lock<std::mutex> lock(mutex);
    if (blockNext) released.wait(lock, [&] { return release; });
    blockNext = false;
  });
  ASSERT_TRUE(thread.Start());
  thread.Wake();
  // The first run is now blocked inside the routine; ten wakes meanwhile
  // set the one auto-reset event.
  std::this_thread::sleep_for(50ms);
  for (int i = 0; i < 10; ++i) thread.Wake();
  {
    std::lock_guard<std::mutex> lock(mutex);
    release = true;
  }
  released.notify_all();
  EXPECT_TRUE(WaitFor([&] { return thread.Runs() == 2; }));
  std::this_thread::sleep_for(200ms);
  EXPECT_EQ(thread.Runs(), 2) << "ten wakes during one run give one more run, not ten";
  thread.Stop();
}

TEST(TimedThread, StopJoinsAfterTheRunInFlightAndIsIdempotent) {
  std::atomic<bool> inside{false};
  std::atomic<bool> finished{false};
  TimedThread thread("test-stop", 1, kPriorityNormal, [&] {
    inside = true;
    std::this_thread::sleep_for(100ms);
    finished = true;
  });
  ASSERT_TRUE(thread.Start());
  ASSERT_TRUE(WaitFor([&] { return inside.load(); }));
  thread.Stop();
  EXPECT_TRUE(finished) << "Stop returned before the routine in flight ended";
  EXPECT_FALSE(thread.IsRunning());
  const long runs = thread.Runs();
  std::this_thread::sleep_for(30ms);
  EXPECT_EQ(thread.Runs(), runs);
  thread.Stop();
  EXPECT_TRUE(thread.Start()) << "a stopped thread can start again";
  thread.Stop();
}

TEST(ThreadPriority, ScaleMapsToNiceValues) {
  EXPECT_EQ(NiceForPriority(kPriorityIdle), 19);
  EXPECT_EQ(NiceForPriority(kPriorityLowest), 10);
  EXPECT_EQ(NiceForPriority(kPriorityBelowNormal), 5);
  EXPECT_EQ(NiceForPriority(kPriorityNormal), 0);
  EXPECT_EQ(NiceForPriority(kPriorityAboveNormal), -5);
  EXPECT_EQ(NiceForPriority(-3), 19) << "below the scale clamps to idle";
  EXPECT_EQ(NiceForPriority(99), -5) << "above the scale clamps to time critical";
  // Lowering a thread's priority is always allowed.
  std::thread([] { EXPECT_TRUE(SetCurrentThreadPriority(kPriorityIdle)); }).join();
}

}  // namespace
}  // namespace vantaro
