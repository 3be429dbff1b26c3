#pragma once
// The screen tick: the 38 ms thread posts one tick event at a time to the
// main window, and the handler refreshes the screen from engine state. A
// counter runs 0..9 and many tasks hang on it; ScreenTickCounter holds the
// rules of which task runs on which count.
//
// Threads: the counter and the handler live on the GUI thread.

namespace vantaro {

class ScreenTickCounter {
 public:
  // Moves to the next count (0..9, then 0 again) and returns it.
  int Advance() {
    count_ = (count_ + 1) % 10;
    return count_;
  }
  int Count() const { return count_; }
  bool Wrapped() const { return count_ == 0; }

  // Script-visible timers update on odd counts.
  static bool UpdatesScriptTimers(int count) { return count % 2 == 1; }
  // Slow overlay update, wall clock and cue highlights at count 6.
  static bool RunsSlowTasks(int count) { return count == 6; }
  // Slowly released pitch sliders step back at count 2.
  static bool ReturnsPitchSliders(int count) { return count == 2; }
  // The preview position shows at count 0.
  static bool ShowsPreviewPosition(int count) { return count == 0; }
  // A playing deck refreshes every tick; a stopped one on alternate ticks,
  // deck 0 on even counts and deck 1 on odd ones.
  static bool RefreshesDeck(int deck, bool playing, int count) {
    return playing || count % 2 == deck % 2;
  }

 private:
  int count_ = 9;  // the first Advance gives 0
};

// Runs one tick on the GUI thread (the main window's tick handler).
void RunScreenTick();

}  // namespace vantaro
