#include "library/deck_song_memory.h"

#include <sys/stat.h>

#include <cmath>

#include "library/song_database.h"

namespace vantaro {

bool RestoreDeckFromDatabase(const std::string& path, TZKSongRecord& liveCopy, DeckCueState& deck) {
  const std::string key = MakeSongKey(path);
  TZKSongRecord record;
  if (!FindSong(key, record)) {
    InitSongRecord(liveCopy);
    liveCopy.name = key;
    return false;
  }
  liveCopy = record;
  for (int i = 0; i < TZKSongRecord::kCueCount; ++i) deck.cue[i] = record.cue[i];
  for (int i = 0; i < TZKSongRecord::kLoopCount; ++i) {
    deck.loopIn[i] = record.loop_in[i];
    deck.loopOut[i] = record.loop_out[i];
  }
  deck.currentCue = record.currentcue > 9 ? 0 : record.currentcue;
  if (record.cue_in > 0) deck.cueIn = record.cue_in;
  if (record.cue_out > 0) deck.cueOut = record.cue_out;
  return true;
}

bool StoreDeckToDatabase(TZKSongRecord& liveCopy, const DeckCueState& deck,
                         std::int64_t trackFrames) {
  for (int i = 0; i < TZKSongRecord::kCueCount; ++i) liveCopy.cue[i] = deck.cue[i];
  liveCopy.currentcue = deck.currentCue > 9 ? 0 : deck.currentCue;
  for (int i = 0; i < TZKSongRecord::kLoopCount; ++i) {
    liveCopy.loop_in[i] = deck.loopIn[i];
    liveCopy.loop_out[i] = deck.loopOut[i];
  }
  liveCopy.cue_in = deck.cueIn;
  liveCopy.cue_out = deck.cueOut;
  liveCopy.duration_ms = FramesToMilliseconds(trackFrames);
  if (liveCopy.pitch_key < 0 || liveCopy.pitch_key > 24) liveCopy.pitch_key = 0;
  return StoreSong(liveCopy);
}

bool StoreDeckRecord(const TZKSongRecord& fromDeck, std::int64_t trackFrames) {
  DeckCueState deck;
  for (int i = 0; i < TZKSongRecord::kCueCount; ++i) deck.cue[i] = fromDeck.cue[i];
  for (int i = 0; i < TZKSongRecord::kLoopCount; ++i) {
    deck.loopIn[i] = fromDeck.loop_in[i];
    deck.loopOut[i] = fromDeck.loop_out[i];
  }
  deck.currentCue = fromDeck.currentcue;
  deck.cueIn = fromDeck.cue_in;
  deck.cueOut = fromDeck.cue_out;
  TZKSongRecord live = fromDeck;
  return StoreDeckToDatabase(live, deck, trackFrames);
}

void NoteDeckEqualiser(TZKSongRecord& liveCopy, bool trackLoaded, float low, float mid,
                       float high) {
  if (!trackLoaded) return;
  if (low > -100) liveCopy.eql = low;
  if (mid > -100) liveCopy.eqm = mid;
  if (high > -100) liveCopy.eqh = high;
}

void RememberedEqualiser(const TZKSongRecord& record, float& low, float& mid, float& high) {
  auto remembered = [](float value) { return value < 0 ? value / 3 : value; };
  low = remembered(record.eql);
  mid = remembered(record.eqm);
  high = remembered(record.eqh);
}

bool AutoGainControlValue(const TZKSongRecord& record, float referenceLevel, int& value) {
  if (!record.pgain_valid) return false;
  value = static_cast<int>(std::lround((record.pgain + 7.5 + referenceLevel) * 10));
  return true;
}

bool SongNeedsAnalysis(const std::string& path, const std::string& stripeFolder) {
  const std::string key = MakeSongKey(path);
  TZKSongRecord record;
  if (!FindSong(key, record) || !(record.bpm > 10)) return true;
  struct stat info;
  return stat((stripeFolder + key + ".vs2").c_str(), &info) != 0;
}

}  // namespace vantaro
