#include "app/screen_tick.h"

#include "app/program.h"
#include "base/debug_log.h"
#include "skin/main_window.h"

namespace vantaro {

void RunScreenTick() {
  Program& program = TheProgram();
  ZKMainWindow* window = program.mainWindow;
  if (!window || program.closing) return;  // a late tick after close began
  const int count = program.tickCounter.Advance();
  // 1 relayout, 2 script timers (odd counts), 3 controller poll and CPU
  // figures on a wrap, 4 overlay tick, 5 pending one-shot requests,
  // 6 transport displays, 7 clock at count 6, 8 pitch sliders at count 2,
  // 9 meters, 10 deck periodic updates, 11 controller displays: each runs
  // here once its subsystem exists.
  if (ScreenTickCounter::ReturnsPitchSliders(count))  // 8
    for (auto& deck : program.decks)
      if (deck) deck->SlowPitchResetStep();
  for (auto& deck : program.decks)  // 10
    if (deck) deck->PeriodicUpdate();
  if (++program.ticksRun == 1) DebugLog("screen tick: first tick handled");
  window->ClearTickPending();  // 12
}

Program& TheProgram() {
  static Program program;
  return program;
}

}  // namespace vantaro
