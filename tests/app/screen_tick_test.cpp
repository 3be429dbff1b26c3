#include "app/screen_tick.h"

#include <gtest/gtest.h>

#include "app/memory_sizing.h"

namespace vantaro {
namespace {

TEST(ScreenTick, CounterRunsZeroToNineAndTheStepsHangOnIt) {
  ScreenTickCounter counter;
  int wraps = 0, timers = 0, slow = 0, pitch = 0, preview = 0;
  for (int tick = 0; tick < 30; ++tick) {
    const int count = counter.Advance();
    ASSERT_EQ(count, tick % 10);
    wraps += counter.Wrapped();
    timers += ScreenTickCounter::UpdatesScriptTimers(count);
    slow += ScreenTickCounter::RunsSlowTasks(count);
    pitch += ScreenTickCounter::ReturnsPitchSliders(count);
    preview += ScreenTickCounter::ShowsPreviewPosition(count);
  }
  EXPECT_EQ(wraps, 3);
  EXPECT_EQ(timers, 15) << "odd counts";
  EXPECT_EQ(slow, 3);
  EXPECT_EQ(pitch, 3);
  EXPECT_EQ(preview, 3);
}

TEST(ScreenTick, StoppedDecksTakeTurnsAndPlayingDecksRefreshEveryTick) {
  for (int count = 0; count < 10; ++count) {
    EXPECT_TRUE(ScreenTickCounter::RefreshesDeck(0, true, count));
    EXPECT_TRUE(ScreenTickCounter::RefreshesDeck(1, true, count));
    EXPECT_EQ(ScreenTickCounter::RefreshesDeck(0, false, count), count % 2 == 0);
    EXPECT_EQ(ScreenTickCounter::RefreshesDeck(1, false, count), count % 2 == 1);
    EXPECT_NE(ScreenTickCounter::RefreshesDeck(0, false, count),
              ScreenTickCounter::RefreshesDeck(1, false, count))
        << "exactly one stopped deck per tick";
  }
}

TEST(MemorySizing, MeasuredFiguresAreDiagnosticOnly) {
  // 24 GB: the half does not fit 32 bits and is held at the top.
  MemoryFigures big = SizeMemory(24ull << 30);
  EXPECT_EQ(big.wsKB, 310080u);
  EXPECT_EQ(big.availKB, 310080u);
  EXPECT_EQ(big.minimumBytes, 0xFFFFFFFFu);
  // 100 MB: the minimum is raised to 70 MB (0x4600000), the maximum is four
  // thirds of it by integer arithmetic.
  MemoryFigures small = SizeMemory(100ull << 20);
  EXPECT_EQ(small.minimumBytes, 0x4600000u);
  EXPECT_EQ(small.maximumBytes, 0x4600000u / 3 * 4 + (0x4600000u % 3) * 4 / 3);
  EXPECT_EQ(small.availKB, 310080u);
  EXPECT_EQ(small.diagnostic,
            "WorkingSize=70Mb..93Mb; TotalAvailSize=100Mb, VTTotalRAMAvailableKB=90Mb")
      << "below 90 MB the working-set figure is raised to 92160 KB";
  EXPECT_GT(ReadAvailableMemory(), 0u);
}

}  // namespace
}  // namespace vantaro
