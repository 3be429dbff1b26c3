#pragma once
// What a deck reads from and writes to its track's song record: cue points,
// loops, cue-in and cue-out at load and unload, the equaliser as last left,
// and the automatic gain. The deck keeps a live copy of the record from load
// to unload; these functions are the only way it goes in and out of the
// database.
//
// Threads: the deck's loader thread or the GUI thread, never the audio
// thread (the database is locked).

#include <cstdint>
#include <string>

#include "library/song_record.h"

namespace vantaro {

// The part of a deck's state that is remembered per track. Positions in
// frames at 44100 Hz.
struct DeckCueState {
  std::int32_t cue[TZKSongRecord::kCueCount] = {};  // 0: unset
  std::int32_t currentCue = 0;                      // 0..9
  std::int32_t cueIn = 0;                           // 0: start of the track
  std::int32_t cueOut = 0;                          // 0 or less: end of the track
  std::int32_t loopIn[TZKSongRecord::kLoopCount] = {-1, -1, -1, -1, -1};   // negative: unset
  std::int32_t loopOut[TZKSongRecord::kLoopCount] = {-1, -1, -1, -1, -1};  // negative: unset
};

// Deck load of `path`. When the track has a record: `liveCopy` becomes it,
// the cues, loops and current cue (0 when above 9) go into `deck`, and its
// cue-in and cue-out replace the deck's only when above 0; returns true.
// Otherwise `liveCopy` becomes a new record named by the key, `deck` is left
// as it is, and the result is false (the caller then analyses the track).
bool RestoreDeckFromDatabase(const std::string& path, TZKSongRecord& liveCopy, DeckCueState& deck);

// Deck unload (or an explicit store): copies the deck's cues, current cue
// (0 when above 9), loops, cue-in and cue-out into `liveCopy`, sets its
// length from `trackFrames`, turns a key outside 0..24 into 0, and stores
// the record. Returns false when there is no database or no name.
bool StoreDeckToDatabase(TZKSongRecord& liveCopy, const DeckCueState& deck,
                         std::int64_t trackFrames);

// The deck's store of its record (the program hands it to each deck):
// `fromDeck` is the deck's live copy with its cue points, current cue and
// saved loops written in; they go through StoreDeckToDatabase.
bool StoreDeckRecord(const TZKSongRecord& fromDeck, std::int64_t trackFrames);

// Equaliser handlers: records a band of the deck's equaliser in the live
// copy, only while a track is loaded and only for values above -100 (a
// lower value means that the band did not change).
void NoteDeckEqualiser(TZKSongRecord& liveCopy, bool trackLoaded, float low, float mid, float high);

// `rmbreq`: the equaliser values to put on the deck's controls after a load;
// a negative stored value is divided by 3. The caller checks the setting.
void RememberedEqualiser(const TZKSongRecord& record, float& low, float& mid, float& high);

// `apgain`: the deck gain control value after a load, the rounded
// (pgain + 7.5 + referenceLevel) * 10, dB units of the control. False when
// the track's gain was never measured (leave the control as it is).
bool AutoGainControlValue(const TZKSongRecord& record, float referenceLevel, int& value);

// True when a queued track must be analysed: it has no record, its tempo is
// 10 BPM or less, or its stripe file <stripeFolder><key>.vs2 is missing.
// `stripeFolder` ends in "/".
bool SongNeedsAnalysis(const std::string& path, const std::string& stripeFolder);

}  // namespace vantaro
