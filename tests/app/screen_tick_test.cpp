#include "app/screen_tick.h"

#include <gtest/gtest.h>

#include <string>

#include "app/cpu_usage.h"
#include "app/memory_sizing.h"

namespace vantaro {
namespace {

// Records the steps as they run.
struct RecordedSteps : ScreenTickSteps {
  std::string calls;
  bool playing[2] = {};
  void ShowCpuFigures() override { calls += "cpu "; }
  void RunPendingRequests() override { calls += "requests "; }
  bool DeckPlaying(int deck) override { return playing[deck]; }
  void RefreshTransport(int deck) override { calls += "deck" + std::to_string(deck) + " "; }
  void WriteClock() override { calls += "clock "; }
  void AgeCueHolds() override { calls += "holds "; }
  void ReturnPitchSliders() override { calls += "pitch "; }
  void ReadMeters() override { calls += "meters "; }
  void RunDeckUpdates() override { calls += "updates "; }
  void ClearTickPending() override { calls += "clear"; }
};

TEST(ScreenTick, EachStepRunsOnItsCountsInOrder) {
  // Ticks 0-9 with deck 0 playing, ticks 10-19 with deck 1 playing; the
  // first tick is count 0.
  const char* const expected[20] = {
      "cpu requests deck0 meters updates clear",
      "requests deck0 deck1 meters updates clear",
      "requests deck0 pitch meters updates clear",
      "requests deck0 deck1 meters updates clear",
      "requests deck0 meters updates clear",
      "requests deck0 deck1 meters updates clear",
      "requests deck0 clock holds meters updates clear",
      "requests deck0 deck1 meters updates clear",
      "requests deck0 meters updates clear",
      "requests deck0 deck1 meters updates clear",
      "cpu requests deck0 deck1 meters updates clear",
      "requests deck1 meters updates clear",
      "requests deck0 deck1 pitch meters updates clear",
      "requests deck1 meters updates clear",
      "requests deck0 deck1 meters updates clear",
      "requests deck1 meters updates clear",
      "requests deck0 deck1 clock holds meters updates clear",
      "requests deck1 meters updates clear",
      "requests deck0 deck1 meters updates clear",
      "requests deck1 meters updates clear",
  };
  ScreenTickCounter counter;
  for (int tick = 0; tick < 20; ++tick) {
    RecordedSteps steps;
    steps.playing[tick / 10] = true;
    DispatchScreenTick(counter.Advance(), steps);
    EXPECT_EQ(steps.calls, expected[tick]) << "tick " << tick;
  }
}

TEST(CpuUsage, ProcStatLinesGiveTheBusyShare) {
  CpuTimes before, after;
  ASSERT_TRUE(ParseCpuLine("cpu  100 0 100 700 100 0 0 0 0 0", &before));
  ASSERT_TRUE(ParseCpuLine("cpu  150 10 140 750 150 0 0 0 20 0", &after));
  // Busy +100 of +200: iowait is idle, guest time is inside user already.
  EXPECT_DOUBLE_EQ(BusyFraction(before, after), 0.5);
  EXPECT_EQ(BusyFraction(after, after), 0) << "no time passed";
  EXPECT_FALSE(ParseCpuLine("cpu0 1 2 3 4", &before)) << "one core, not the machine";
}

TEST(MemorySizing, MeasuredFiguresAreDiagnosticOnly) {
  // 24 GB: the half does not fit 32 bits and is held at the top.
  MemoryFigures big = SizeMemory(24ull << 30);
  EXPECT_EQ(big.wsKB, 310080u);
  EXPECT_EQ(big.availKB, 310080u);
  EXPECT_EQ(big.minimumBytes, 0xFFFFFFFFu);
  // 100 MB: the minimum is raised to 70 MB (0x4600000), the maximum is four
  // thirds of it (93 MB).
  MemoryFigures small = SizeMemory(100ull << 20);
  EXPECT_EQ(small.availKB, 310080u);
  EXPECT_EQ(small.diagnostic,
            "WorkingSize=70Mb..93Mb; TotalAvailSize=100Mb, VTTotalRAMAvailableKB=90Mb")
      << "below 90 MB the working-set figure is raised to 92160 KB";
  EXPECT_GT(ReadAvailableMemory(), 0u);
}

}  // namespace
}  // namespace vantaro
