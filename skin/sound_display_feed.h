#pragma once
// What a waveform display reads from its deck and what its hands do to it.
// The display asks once a tick for the deck's state and for the stripes of
// the columns it shows, nothing more, so its cost does not grow with the
// track. DeckWaveFeed is the program's: it reads the deck the control
// handlers hold (TheControlEngine), so a display outlives its deck safely;
// tests give a display stripe arrays of their own.
//
// Threads: GUI thread. CopyStripes takes the deck's stripe lock for the
// copy only.

#include <cstdint>
#include <memory>

#include "skin/sound_display_geometry.h"

namespace vantaro {

struct WaveDeckState {
  bool loaded = false;
  double position = 0;      // frames, exact
  std::int64_t length = 0;  // frames
  std::int32_t cue = 0;     // frames; below 1: none
  std::int32_t loopIn = 0, loopOut = 0;
  bool loopOpen = false;    // the in point is set, the out point awaited
  bool loopClosed = false;  // a loop runs between in and out
  bool playing = false;
  bool hasBeatDifference = false;  // both decks have a beat
  float beatDifference = 0;        // the other deck's phase less this one's, -0.5..0.5
};

class WaveFeed {
 public:
  virtual ~WaveFeed() = default;
  virtual WaveDeckState State() const = 0;
  // Fills `window.values` with stripes [span.from, span.to) as far as the
  // track has them and sets `window.first` and `window.arraySize`; with no
  // track the size is 0. Reuses the vector's memory.
  virtual void CopyStripes(StripeSpan span, StripeWindow& window) = 0;

  // The mouse's hands (the deck ignores them when it cannot follow).
  virtual void BeginScratch() = 0;
  // Relative scratch: the hand moved the track by `frames` (negative: back).
  virtual void MoveScratch(int frames) = 0;
  virtual void EndScratch() = 0;
  virtual void Seek(double frame) = 0;
};

// The feed of deck 0 or 1 of the running program.
std::unique_ptr<WaveFeed> MakeDeckWaveFeed(int deck);

}  // namespace vantaro
