#pragma once
// DeckSync: a deck's beat. Before every block SyncPhase(0) finds where the
// position stands in its beat from the beat marks of the stripe, and
// SyncPhase(1) moves an armed deck onto the other deck's phase. Beat skips,
// the beat snap of the loop in point and the tempo match of two decks use
// the same beat.
//
// The beat distance is counted in frames, from the position to the mark's
// frame (stripe index × 100), not in whole stripes: two decks rounded to
// whole stripes could be 200 frames (4.5 ms) apart, which is heard as a flam.
//
// The render never takes the stripe lock: SyncPhase reads the marks, and
// writes a mark that completes the grid, as relaxed atomics on the stripe's
// floats (std::atomic_ref), inside the render bracket that an unload waits
// for. The analysis publishes its marks the same way, so it may fill the
// stripe while the deck plays.
//
// Threads: SyncPhase on the audio thread; the operations on the GUI thread;
// the readings (phase, beat number, on-beat) from any thread.
// Units: frames at 44100 Hz; beat lengths in frames; phases 0..1.

#include <atomic>
#include <cstdint>

#include "engine/deck_cue_words.h"

namespace vantaro {

class DeckStore;
class DeckTransport;

class DeckSync {
 public:
  static constexpr std::int32_t kPlainBeat = 22050;  // frames: a beat with no tempo known

  DeckSync(DeckTransport& transport, DeckStore& store, DeckLoopWords& loops);
  DeckSync(const DeckSync&) = delete;
  DeckSync& operator=(const DeckSync&) = delete;

  // Frames per beat: 2646000 / BPM, 22050 when the tempo is 1 or less, 0
  // with no song ready. Any thread.
  std::int32_t GetBeatLength() const;

  // Audio thread, once per block and phase: 0 the beat phase, 1 the beat
  // lock. Phase 2 does nothing.
  void SyncPhase(int phase);

  // GUI thread. The first beat mark within `range` frames of the position,
  // else the position rounded down.
  std::int32_t SnapToBeat(std::int32_t range) const;
  // Moves `beats` beats (negative: back) in the direction of play: wrapped
  // inside a loop, refused where it would leave the song. 0 when refused
  // (during a load or seek, an armed loop, a scratch, a loop shorter than
  // a beat).
  int SkipBeats(int beats);
  // The pitch that brings this deck to `other`'s tempo, in 1/10000; false
  // when either deck is not ready, either tempo is 0 or the change would
  // pass +-50 %.
  bool MatchingPitch(const DeckSync& other, int& pitch) const;
  // The next SyncPhase(1) moves this deck onto `other`'s phase, once the
  // speed has reached the requested one.
  void ArmLock(DeckSync* other);
  bool IsLockArmed() const { return beatLockArmed_.load(); }

  // The last SyncPhase(0)'s reading.
  float BeatPhase() const { return beatPhase_.load(std::memory_order_relaxed); }
  int BeatNumber() const { return beatNumber_.load(std::memory_order_relaxed); }
  std::int32_t BeatFrames() const { return beatFrames_.load(std::memory_order_relaxed); }
  // The beat light: on while playing in the middle of the beat.
  bool IsOnBeat() const;
  // `other`'s phase minus this deck's, wrapped to -0.5..0.5.
  float PhaseDifference(const DeckSync& other) const;

 private:
  void FindPhase();
  void Lock();

  DeckTransport& transport_;
  DeckStore& store_;
  DeckLoopWords& loops_;
  std::atomic<std::int32_t> beatPosition_{0}, beatFrames_{kPlainBeat};
  std::atomic<float> beatPhase_{0.0f};
  std::atomic<int> beatNumber_{-1};
  std::atomic<bool> beatLockArmed_{false};
  std::atomic<DeckSync*> beatLockDeck_{nullptr};
  // Audio thread: the next beat's stripe index as last found, and the
  // stripe the search began at.
  int lastMark_ = -1, lastSearch_ = 0;
};

}  // namespace vantaro
