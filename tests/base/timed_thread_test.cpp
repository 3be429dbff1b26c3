#include "base/timed_thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "base/thread_priority.h"
#include "tests/support/wait_for.h"

namespace vantaro {
namespace {

using namespace std::chrono_literals;
using test::WaitFor;

TEST(TimedThread, WakeRunsTheRoutineAtOnceAndCoalesces) {
  std::atomic<bool> release{false};
  // Period of an hour: any run seen here came from a wake.
  TimedThread thread("test-wake", 3600 * 1000, kPriorityNormal, [&] {
    while (!release) std::this_thread::sleep_for(1ms);
  });
  ASSERT_TRUE(thread.Start());
  thread.Wake();
  // The first run is now held inside the routine; ten wakes meanwhile set
  // the one auto-reset event.
  std::this_thread::sleep_for(50ms);
  for (int i = 0; i < 10; ++i) thread.Wake();
  release = true;
  EXPECT_TRUE(WaitFor([&] { return thread.Runs() == 2; }));
  std::this_thread::sleep_for(200ms);
  EXPECT_EQ(thread.Runs(), 2) << "ten wakes during one run give one more run, not ten";
  thread.Stop();
}

TEST(TimedThread, RunsEveryPeriodAndStopJoinsTheRunInFlight) {
  std::atomic<bool> slow{false}, inside{false}, finished{false};
  TimedThread thread("test-stop", 1, kPriorityNormal, [&] {
    if (!slow) return;
    inside = true;
    std::this_thread::sleep_for(100ms);
    finished = true;
  });
  ASSERT_TRUE(thread.Start());
  EXPECT_TRUE(WaitFor([&] { return thread.Runs() >= 5; })) << "runs every period without wakes";
  slow = true;
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
  // Lowering a thread's priority is always allowed.
  std::thread([] { EXPECT_TRUE(SetCurrentThreadPriority(kPriorityIdle)); }).join();
}

}  // namespace
}  // namespace vantaro
