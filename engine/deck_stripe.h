#pragma once
// DeckStripe: a deck's stripe and the analysis that makes it. It holds the
// three stripe arrays under the stripe lock, the deck's live copy of its
// track's song record, and the one-shot thread of the whole-track step;
// the computing is the DeckAnalysisFeed's.
//
// The arrays, `StripeCount() + 1` floats each while a track is loaded:
//   0  the stripe the screen and beat sync read: band level, beat marks;
//   1  the onset signal of the last tempo analysis;
//   2  the band level without marks, kept so that a tempo analysis after a
//      reset starts from exactly the values the first one had.
// Every analysis marks a private copy and publishes it under the lock, so a
// reader never sees a stripe half marked.
//
// Threads: Load, Unload, FeedBlock, StartWholeTrack, Reset and Blank on
// the store thread; the whole-track step on its own thread, started by
// StartWholeTrack and joined by Unload, Reset and the destructor; the
// readers from any thread but the audio thread (they lock).

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "engine/deck_analysis_feed.h"
#include "engine/deck_block_store.h"

namespace vantaro {

class DeckStripe {
 public:
  // Called on the analysis thread when the whole-track step ends: the
  // tempo found, 0 when none.
  using TempoReport = std::function<void(float bpm)>;

  DeckStripe(DeckBlockStore& blocks, TempoReport report);
  ~DeckStripe();  // joins the analysis thread
  DeckStripe(const DeckStripe&) = delete;
  DeckStripe& operator=(const DeckStripe&) = delete;

  // Before the store thread starts.
  void SetFeed(std::unique_ptr<DeckAnalysisFeed> feed) { feed_ = std::move(feed); }
  bool HasFeed() const { return feed_ != nullptr; }

  // ---- store thread -------------------------------------------------------------
  // Load of `path`, `frames` long in `blockCount` blocks: the arrays, the
  // live record and the stored analysis. Returns the stored tempo in BPM,
  // 0 when the track must be analysed. Without a feed, `given` (the record
  // the load was asked with, or null) is the live record and its tempo
  // stands.
  float Load(const std::string& path, std::int64_t frames, int blockCount,
             const TZKSongRecord* given);
  // Waits for a whole-track step in flight: it reports nothing afterwards.
  void JoinAnalysis();
  void Unload();  // joins the analysis thread, frees the arrays, drops the record
  // The first decode of `block` while the tempo is unknown: its stripe,
  // and the interim tempo of its group of ten once all of them are in.
  void FeedBlock(int block, const DeckBlock& decoded);
  // Every block is in and the tempo unknown: starts the whole-track step.
  // False when there is nothing to analyse with, or it runs already.
  bool StartWholeTrack();
  // The BPM dialog's reset: the marks go, the blocks' tempos go, and the
  // next tempo analysis uses `mode` (0, -1, -2 or a manual BPM). In the
  // streaming mode the present groups get their interim tempos again.
  // False (and nothing changed) without a feed: nothing could analyse.
  bool Reset(int mode, bool streaming);
  // A streamed block that goes: its stripe shows nothing until refed.
  void Blank(int block);

  // ---- any thread but the audio thread -------------------------------------------
  std::mutex& Lock() { return lock_; }
  // Under Lock().
  const std::vector<float>& Values(int which) const { return arrays_[which]; }
  int Count() const { return count_.load(); }
  // Array 0 for the beat controls (see DeckStore::StripeMarks).
  float* Marks(int& size) const {
    size = marksSize_.load();
    return marks_.load();
  }
  TZKSongRecord Record() const;
  bool IsAnalysing() const { return analysing_.load(); }

 private:
  void FeedValues(int block, const DeckBlock& decoded);
  void RunInterim(int group);
  void RunWholeTrack(std::vector<float> stripe, std::vector<float> onset);
  void ApplyCues(const AutoCues& cues, TZKSongRecord& record) const;
  // Copies `count` values to array `which` from `at`, as far as it reaches.
  void Publish(int which, std::size_t at, const float* values, std::size_t count);

  DeckBlockStore& blocks_;
  const TempoReport report_;
  std::unique_ptr<DeckAnalysisFeed> feed_;
  std::mutex lock_;  // the stripe lock: the arrays
  std::vector<float> arrays_[3];
  std::atomic<int> count_{0};
  std::atomic<float*> marks_{nullptr};  // arrays_[0]'s values while loaded
  std::atomic<int> marksSize_{0};
  mutable std::mutex recordLock_;
  TZKSongRecord record_;  // the live copy, from load to unload

  // Store thread; read by the analysis thread, which starts after they are
  // written and is joined before they change.
  std::string path_;
  std::int64_t frames_ = 0;
  int blockCount_ = 0;
  bool levelsFed_ = false;    // array 2 holds the levels of every block
  bool gainPending_ = false;  // the feed's gain analyser holds the whole track
  bool findStartCue_ = false, findEndCue_ = false;
  std::atomic<int> mode_{0};  // tempo range of the next analysis
  std::vector<float> group_, groupOnset_;
  std::thread analysis_;
  std::atomic<bool> analysing_{false};
};

}  // namespace vantaro
