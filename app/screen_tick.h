#pragma once
// The screen tick: the 38 ms thread posts one tick event at a time to the
// main window, and the handler refreshes the screen from engine state. A
// counter runs 0..9 and many steps hang on it; DispatchScreenTick runs the
// steps of one count, in their fixed order, on a ScreenTickSteps.
//
// Threads: the counter, the dispatch and the steps live on the GUI thread.

namespace vantaro {

class ScreenTickCounter {
 public:
  // Moves to the next count (0..9, then 0 again) and returns it.
  int Advance() {
    count_ = (count_ + 1) % 10;
    return count_;
  }

 private:
  int count_ = 9;  // the first Advance gives 0
};

// The work of the steps whose subsystems exist; the program's own steps act
// on the program state, a test's record the calls.
class ScreenTickSteps {
 public:
  virtual ~ScreenTickSteps() = default;
  // Reads the two CPU figures and shows them as percentages (count 0).
  virtual void ShowCpuFigures() = 0;
  // Pending one-shot requests: a queued status text, a recorder failure.
  virtual void RunPendingRequests() = 0;
  virtual bool DeckPlaying(int deck) = 0;
  virtual void RefreshTransport(int deck) = 0;
  // The wall clock as "%I:%M%p" (count 6).
  virtual void WriteClock() = 0;
  // Held cue and saved-loop buttons count on; a long hold clears (count 6).
  virtual void AgeCueHolds() {}
  // Slowly released pitch sliders step back (count 2).
  virtual void ReturnPitchSliders() = 0;
  // Reads and resets the mixer meters.
  virtual void ReadMeters() = 0;
  virtual void RunDeckUpdates() = 0;
  // The last step: lets the tick thread post the next tick.
  virtual void ClearTickPending() = 0;
};

// Runs the steps of one tick at `count` (0..9).
void DispatchScreenTick(int count, ScreenTickSteps& steps);

// Runs one tick on the GUI thread (the main window's tick handler).
void RunScreenTick();

}  // namespace vantaro
