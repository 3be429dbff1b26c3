#pragma once
// DeckLoops: a deck's loops. Quantised loops of 1/64 to 32 beats started at
// the position (LoopForward) or ending there (LoopBackward), the in/out
// button, reloop, moving and resizing a running loop, and five saved loops
// that the song record keeps.
//
// A change to a running loop goes into the `next` fields; the render takes
// it over between two frames (StepLoop), and a loop shorter than a beat
// changes only on a beat: when its pass count is a multiple of the passes
// in one beat. A wrap keeps the overshoot, so a loop lasts exactly its
// length at any speed; the render crossfades the join (deck_transport.cpp).
//
// Threads: the operations on the GUI thread; StepLoop on the audio thread.
// Units: frames at 44100 Hz; sizes in 1/64 beats.

#include <cstdint>
#include <string>

#include "engine/deck_cue_words.h"

namespace vantaro {

class DeckStore;
class DeckSync;
class DeckTransport;

class DeckLoops {
 public:
  DeckLoops(DeckMarks& marks, DeckTransport& transport, const DeckStore& store, DeckSync& sync);
  DeckLoops(const DeckLoops&) = delete;
  DeckLoops& operator=(const DeckLoops&) = delete;

  // Each returns 1 when it changed the loop, 0 when refused (during a load
  // or seek, before the song is ready, a size below 1/64 beat, an end
  // beyond the song's).
  // A loop of `size` 1/64 beats from the position; the same size again
  // stops it. While a loop runs, the new size waits for the render.
  int LoopForward(int size);
  int LoopHalves(int halfBeats) { return LoopForward(halfBeats * 32); }
  // A loop of `size` 1/64 beats ending at the position, at once.
  int LoopBackward(int size);
  // First press: the in point, snapped to a beat within 3/4 beat. Second:
  // the out point, the power of two (1 to 8 beats) nearest the distance.
  // On a running loop it halves the loop.
  int LoopInOut();
  int ReLoop();  // the last loop again, when it was at least 44 frames
  // Ends the loop (and an armed in point). Without `force` a loop shorter
  // than a beat ends on a beat, and with `loopSync` any loop at its end.
  void StopLoop(bool force);
  int ShiftLoop(std::int32_t delta);   // moves both ends
  int SetLoopEnd(std::int32_t delta);  // moves the out point; at least 4/64 beat
  // A saved loop plays (the deck starts); an empty slot takes the running
  // loop. 1 when something happened.
  int LoopSlot(int index);
  void ClearLoopSlot(int index);
  bool LoopSlotEmpty(int index) const;
  void SetLoopSync(bool on) { marks_.loops.loopSync.store(on); }

  // Size of a loop of `length` frames in 1/64 beats, 0 without a beat.
  int GetLoopSize(std::int32_t length) const;
  // "4  #3" (beats, passes) from 1 beat up, "1/8  #3" below; empty when no
  // loop runs.
  std::string GetLoopText() const;
  bool IsLooping() const { return marks_.loops.loopOn.load(); }
  // True once after each change a screen should show (screen tick).
  bool TakeLoopChanged() { return marks_.loops.loopChanged.exchange(false); }

 private:
  bool Busy() const;  // a load or a seek, or no song ready
  void TakeNextAsActive();
  void StartAt(std::int32_t in, std::int32_t out);

  DeckMarks& marks_;
  DeckTransport& transport_;
  const DeckStore& store_;
  DeckSync& sync_;
};

// The render's loop step for one frame, after the position moved (audio
// thread). Takes a waiting change or stop when it may, and wraps the
// position at the loop's ends, keeping the overshoot. Returns true when the
// position jumped.
bool StepLoop(DeckLoopWords& loops, double& position);

}  // namespace vantaro
