#include "base/realtime.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

#include "base/byte_ring.h"

namespace vantaro {
namespace {

TEST(Realtime, ScopeMarksOnlyItsThreadAndNests) {
  ByteRing ring(64);
  {
    RealtimeScope outer;
    EXPECT_TRUE(IsRealtimeThread());
    char data[8] = {};  // the lock-free ring is allowed on the audio thread
    EXPECT_TRUE(ring.Write(data, 8) && ring.Read(data, 8));
    { RealtimeScope inner; }
    EXPECT_TRUE(IsRealtimeThread()) << "leaving an inner scope keeps the outer mark";
  }
  EXPECT_FALSE(IsRealtimeThread());

  // The mark is per thread.
  std::atomic<bool> marked{false}, done{false};
  std::thread other([&] {
    RealtimeScope scope;
    marked = true;
    while (!done) std::this_thread::yield();
  });
  while (!marked) std::this_thread::yield();
  EXPECT_FALSE(IsRealtimeThread());
  done = true;
  other.join();
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
