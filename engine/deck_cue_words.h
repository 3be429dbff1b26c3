#pragma once
// The words of a deck's marked places that the render obeys: the cue table
// and the cue button's state, and the loop in force with the one waiting
// behind it. The GUI operations (deck_cues.h, deck_loops.h) and the beat
// controls (deck_sync.h) write them; the render reads them once a frame.
//
// Threads: every word is an atomic, read and written without a lock by the
// GUI thread, the audio thread and the store thread (load and unload). The
// active loop fields are the render's: the GUI writes the `next` ones while a
// loop runs, and the render takes them over between two frames, so the GUI
// never changes what the render is in the middle of a pass through.
//
// Units: frames at 44100 Hz; loop sizes in 1/64 beats.

#include <atomic>
#include <cstdint>
#include <mutex>

#include "library/song_record.h"

namespace vantaro {

struct DeckCueTable {
  static constexpr int kEntries = 12;  // 0..4 buttons, 5..9 kept for the record
  static constexpr int kButtons = 5;
  static constexpr int kCueIn = 10;
  static constexpr int kCueOut = 11;

  std::atomic<std::int32_t> cueTable[kEntries] = {};  // 0: unset (11: the song's end)
  std::atomic<std::int32_t> cuePosition{0};           // the active cue; below 1: unset
  std::atomic<int> cueIndex{0};                       // active entry of cueTable
  std::atomic<bool> goToCue{false};                   // the render stops and jumps to the cue
  std::atomic<int> cueMode{2};
  std::atomic<bool> cueHeld{false};     // playing because the cue button is down
  std::atomic<bool> mustSetCue{false};  // the next press stores the position as cue
  std::atomic<int> cuePressQueued{-1};  // -1, or a press to run on release
  std::atomic<bool> autoCue{false};     // GetStart and GetEnd follow cue_in and cue_out
  std::atomic<bool> repeatOn{false};    // the render wraps at the song's ends
  // Something the song record remembers changed where it could not be
  // stored at once (the audio thread); the screen tick stores it.
  std::atomic<bool> memoryChanged{false};
};

struct DeckLoopWords {
  static constexpr int kSlots = 5;

  std::atomic<bool> loopOn{false};
  std::atomic<bool> loopArmed{false};  // the in point is set, the out point awaited
  std::atomic<std::int32_t> loopIn{0}, loopOut{0}, loopLength{0};
  std::atomic<std::int32_t> nextLoopIn{0}, nextLoopOut{0}, nextLoopLength{0};
  std::atomic<std::int32_t> lastLoopIn{0}, lastLoopOut{0}, lastLoopLength{0};
  std::atomic<bool> loopSync{false};         // a stop waits for the quantised end
  std::atomic<bool> loopStopPending{false};  // a stop is waiting
  std::atomic<std::int32_t> loopPasses{0};   // jumps back since the last change
  std::atomic<bool> loopChanged{false};      // read and cleared by the screen tick
  std::atomic<std::int32_t> savedIn[kSlots] = {-1, -1, -1, -1, -1};
  std::atomic<std::int32_t> savedOut[kSlots] = {-1, -1, -1, -1, -1};
  // Frames per beat, refreshed by every SyncPhase(0) and by the beat
  // operations; 22050 when the tempo is unknown, 0 with no song.
  std::atomic<std::int32_t> beatLength{0};

  // Loop size of `length` frames in 1/64 beats: a power of two, rounded in
  // the binary logarithm; 0 without a beat length, or for a length below 1
  // or below 1/128 beat.
  static int SizeOf(std::int32_t length, std::int32_t beatLength);
  // Ends a loop and an armed in point at once (a load, a cue jump).
  void Clear();
};

// Stores a deck's record (its cue and loop fields filled in by the deck) in
// the song database; `trackFrames` is the song's length. The program hands
// the deck one (library/deck_song_memory.h: StoreDeckRecord). Never called
// on the audio thread.
using SongMemoryStore = bool (*)(const TZKSongRecord& record, std::int64_t trackFrames);

// Everything a deck remembers of marked places, in one object the
// transport owns and the store, the cue, loop and beat controls reach.
struct DeckMarks {
  DeckCueTable cues;
  DeckLoopWords loops;
  // What the song record gave that this song cannot use (beyond its end, a
  // loop that ends before it begins): bits by cue entry and loop slot. Such
  // entries keep the record's value when the deck stores it.
  std::atomic<std::uint32_t> refusedCues{0}, refusedLoops{0};
  std::atomic<SongMemoryStore> memoryStore{nullptr};
  // Held while the record is restored, stored or given up (store thread,
  // GUI thread); `memoryLive` says the table belongs to the loaded song.
  std::mutex memoryLock;
  bool memoryLive = false;
};

}  // namespace vantaro
