#pragma once
// DeckAnalysisFeed: what a deck asks of the track analysis. The deck
// (DeckStripe) keeps the stripe arrays and their lock, the blocks' tempo
// words, its live song record and the one-shot analysis thread; the feed
// keeps the filters, the gain analyser, the beat tracker, and reaches the
// song database and the stripe files. The engine does not link the analysis
// library: the program makes each deck a feed (analysis/deck_analysis.h)
// and hands it over before the store thread starts.
//
// Threads: LoadStored, StartTrack, FeedBlock and InterimTempo run on the
// deck's store thread; WholeTrack and StoreResult on the deck's analysis
// thread; FindCues on either. The analysis thread runs only while the store
// thread calls the feed not at all, so the feed needs no lock of its own.
//
// Units: stripes hold 441 samples per one-second block (one per 100
// frames); positions are frames at 44100 Hz; tempos BPM; gain dB.

#include <cstdint>
#include <string>

#include "library/song_record.h"

namespace vantaro {

inline constexpr int kStripePerBlock = 441;  // stripe samples of one block
inline constexpr int kInterimBlocks = 10;    // blocks of one interim tempo

// The automatic start and end cues (where the track becomes audible and
// falls silent). `searched` is false for tracks too short to search.
struct AutoCues {
  bool searched = false;
  std::int64_t start = 0;  // frames
  std::int64_t end = 0;    // frames
};

// What a load finds stored for its track.
struct StoredAnalysis {
  bool recordFound = false;  // `record` is the track's database record
  bool tempoKnown = false;   // the stripe was read: no analysis needed
  float bpm = 0;             // when tempoKnown
  TZKSongRecord record;
};

struct WholeTrackResult {
  float bpm = 0;  // whole BPM; 0 when none was found
  float gainDb = 0;
};

class DeckAnalysisFeed {
 public:
  virtual ~DeckAnalysisFeed() = default;

  // Load: the track's record and stripe file. Reads up to `count` samples
  // into `stripe` when the record says the track was analysed.
  virtual StoredAnalysis LoadStored(const std::string& path, float* stripe, int count) = 0;
  // A track that needs analysis begins: filters and gain analyser cleared.
  virtual void StartTrack() = 0;
  // The first decode of a block: `frames` stored 16-bit stereo frames in,
  // kStripePerBlock unmarked stripe samples out.
  virtual void FeedBlock(const std::int16_t* samples, int frames, float* stripe) = 0;
  // The tempo of kInterimBlocks blocks' stripe (`group`, marked in place),
  // in the 10-second range of `mode`; the group's onset signal goes to
  // `onset`. 0 when none was found.
  virtual float InterimTempo(float* group, float* onset, int mode) = 0;
  // The whole track: `length` samples of unmarked `stripe` (whole blocks),
  // `onset` scratch of the same length. Leaves the marks in `stripe`.
  virtual WholeTrackResult WholeTrack(float* stripe, float* onset, int length, int mode) = 0;
  // The automatic cues of a track of `frames` from its stripe (`count`
  // samples, marks allowed), each end only when asked for.
  virtual AutoCues FindCues(const float* stripe, int count, std::int64_t frames, bool findStart,
                            bool findEnd) = 0;
  // What the whole-track step learnt (`learnt` is the deck's live record
  // with the new tempo, gain and length) goes to the song database.
  virtual void StoreResult(const std::string& path, const TZKSongRecord& learnt) = 0;
};

}  // namespace vantaro
