#include "base/realtime.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

#include "base/byte_ring.h"

namespace vantaro {
namespace {

TEST(Realtime, ScopeMarksOnlyItsThreadAndNests) {
  EXPECT_FALSE(IsRealtimeThread());
  {
    RealtimeScope outer;
    EXPECT_TRUE(IsRealtimeThread());
    {
      RealtimeScope inner;
      EXPECT_TRUE(IsRealtimeThread());
    }
    EXPECT_TRUE(IsRealtimeThread()) << "leaving an inner scope keeps the outer mark";
  }
  EXPECT_FALSE(IsRealtimeThread());

  // The mark is per thread: another thread started while this one is marked
  // is not real-time.
  std::atomic<bool> otherMarked{true};
  std::atomic<bool> go{false};
  std::thread other([&] {
    while (!go) std::this_thread::yield();
    otherMarked = IsRealtimeThread();
  });
  {
    RealtimeScope scope;
    go = true;
    while (otherMarked) std::this_thread::yield();
  }
  other.join();
  EXPECT_FALSE(otherMarked);
}

TEST(Realtime, LockFreeRingIsAllowedOnTheAudioThread) {
  ByteRing ring(64);
  RealtimeScope realtime;
  char data[8] = {};
  EXPECT_TRUE(ring.Write(data, 8));
  EXPECT_TRUE(ring.Read(data, 8));
}

using RealtimeDeathTest = ::testing::Test;

TEST_F(RealtimeDeathTest, AllocationOrBlockingOnTheAudioThreadAborts) {
  if (!kRealtimeChecksBuilt) GTEST_SKIP() << "release build: checks are compiled out";
  EXPECT_DEATH(
      {
        RealtimeScope realtime;
        auto leaked = std::make_unique<int[]>(100);
        leaked[0] = 1;
      },
      "real-time violation: operator new");
  EXPECT_DEATH(
      {
        ByteRing locked(64, true);
        RealtimeScope realtime;
        char data[4] = {};
        locked.Write(data, 4);
      },
      "real-time violation: locked ByteRing::Write");
}

}  // namespace
}  // namespace vantaro
