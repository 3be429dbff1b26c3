#pragma once
// DeckCues: a deck's cue points. The table of twelve entries (five cue
// buttons, five more the song record keeps, the song's start and end), the
// active cue and the cue button in its modes, hold-to-clear, and the song
// record's memory of all of it.
//
// Cue modes: 0 the press jumps to the cue while playing and the release
// runs a queued press; 1 the press stops on the cue (and a pause sets the
// cue); 2 (the default) a press on the cue plays while held and the release
// returns, a press off it stops and returns to the cue, and after a scratch
// of the paused deck the next press stores the position.
//
// Memory: a load restores the table, the saved loops and the active index
// from the song record (RestoreMarks, store thread); the deck stores them
// back at unload and, so that a crash loses nothing, at once after every
// change (GUI thread) or at the next screen tick (a change the render made).
// Records are shared by file name: an entry that lies beyond this song's end
// is refused with one log line and kept in the record as it was.
//
// Threads: the operations on the GUI thread; RestoreMarks, StoreMarks and
// FollowAudibleRange where their comments say.
// Units: frames at 44100 Hz.

#include <cstdint>

#include "engine/deck_cue_words.h"

namespace vantaro {

class DeckLoops;
class DeckStore;
class DeckTransport;

class DeckCues {
 public:
  static constexpr int kHoldIdle = -1;
  static constexpr int kHoldTicks = 2;  // counts at tick 6 before a held button clears

  DeckCues(DeckMarks& marks, DeckTransport& transport, DeckStore& store, DeckLoops& loops);
  DeckCues(const DeckCues&) = delete;
  DeckCues& operator=(const DeckCues&) = delete;

  // The cue button. CueButtonDown queues the press in mode 0 with a cue set
  // (the release runs it); otherwise it is CuePress.
  void CueButtonDown();
  void CuePress();
  void CueRelease();
  void SetCueMode(int mode) { marks_.cues.cueMode.store(mode); }
  int GetCueMode() const { return marks_.cues.cueMode.load(); }

  void SetCueHere();
  // Entry `index` (0..11) becomes the active cue; the old one is kept in
  // the table.
  void SelectCue(int index);
  // A cue button (0..9): selects the entry; a set entry is gone to (a jump
  // while playing, a stop on it when paused), an unset one takes the
  // position.
  void CueButton(int index);
  // The song's start (10) or end (11) at the position.
  void SetCueEntry(int index);
  // -1 or the active index gives the active cue; 0 for a bad index.
  std::int32_t GetCue(int index) const;
  int GetCueIndex() const { return marks_.cues.cueIndex.load(); }
  void ClearCue();  // the active cue goes (the song's end for entry 11)

  // With autoCue the song's start is cue_in when it lies in the first
  // half, its end cue_out when in the second; otherwise 0 and the length.
  std::int32_t GetStart() const;
  std::int32_t GetEnd() const;
  void SetAutoCue(bool on) { marks_.cues.autoCue.store(on); }

  // The transport side of PlayFromCue and StopToStart; the deck reports the
  // play state.
  void PlayFromCue();
  void StopToStart();

  // Hold-to-clear: a held cue button (0..11) or saved-loop button (0..4)
  // counts screen ticks; AgeHolds at tick count 6. A hold that passes
  // kHoldTicks clears the active cue, or the saved loop.
  void HoldCue(int index, bool down);
  void HoldLoopSlot(int slot, bool down);
  void AgeHolds();

  // Stores the record now when something it remembers changed (GUI thread).
  void StoreIfChanged();

 private:
  bool Busy() const;  // a load or a seek, or no song ready
  void SetEntry(int index, std::int32_t frames);

  DeckMarks& marks_;
  DeckTransport& transport_;
  DeckStore& store_;
  DeckLoops& loops_;
  int cueHold_[DeckCueTable::kEntries];
  int loopHold_[DeckLoopWords::kSlots];
};

// Store thread, at load: the table, the saved loops and the active index
// from `record` (or cleared), for a song of `totalFrames`. With `keepCue`
// and autoCue the active cue is cue_in and the render goes there. Entries
// the song cannot use are refused, logged in one line, and remembered as
// refused.
void RestoreMarks(DeckMarks& marks, const TZKSongRecord& record, std::int32_t totalFrames,
                  bool keepCue, int deck);
// The load's and the unload's side (store thread): the same under the
// memory lock, and the table then belongs to the song, or to none (the
// unload also ends any loop). `loaded`: a song is there to store.
void RestoreMarksForLoad(DeckMarks& marks, const TZKSongRecord& record, std::int32_t totalFrames,
                         bool keepCue, bool autoCue, int deck);
void StoreMarksForUnload(DeckMarks& marks, const TZKSongRecord& live, std::int64_t totalFrames,
                         bool loaded);
// `live` with the deck's cues, current cue and saved loops written in
// (refused entries keep the record's values). Not the audio thread.
TZKSongRecord MarksToRecord(const DeckMarks& marks, TZKSongRecord live);
// Stores the record through the program's SongMemoryStore, when the table
// belongs to a loaded song. The caller holds marks.memoryLock.
void StoreMarks(DeckMarks& marks, const TZKSongRecord& live, std::int64_t totalFrames);
// The whole-track analysis found the audible range (`live`'s cue_in and
// cue_out): the song's start and end take it where the user set none.
// Analysis thread.
void FollowAudibleRange(DeckMarks& marks, const TZKSongRecord& live, std::int32_t totalFrames);

}  // namespace vantaro
