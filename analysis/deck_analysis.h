#pragma once
// DeckAnalysis: the analysis a deck runs while it decodes a track that has
// none stored, and the stored analysis it takes instead when there is one.
// Each one-second block goes through the shared chain into the deck's
// stripe, each group of ten blocks gets an interim tempo, and the
// whole-track step runs once every block is in. The deck (DeckStripe) owns
// the stripe arrays, their lock and the threads; this object owns the
// filters, the gain analyser, the tracker and the scratch, and reads and
// writes the song database and the stripe files.
//
// The program makes one per deck and hands it over (SetAnalysisFeed).
// Threads: see engine/deck_analysis_feed.h.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "analysis/analysis_chain.h"
#include "analysis/beat_tracker.h"
#include "engine/deck_analysis_feed.h"

namespace vantaro {

class DeckAnalysis : public DeckAnalysisFeed {
 public:
  static constexpr int kInterimLength = kInterimBlocks * kStripePerSecond;
  // Hands a path to the background worker (any thread).
  using QueueForWorker = std::function<void(const std::string& path)>;

  // `stripesFolder` ends with a separator. A track the deck analysed is
  // queued for the worker, which writes its stripe file: a deck's own
  // analysis is not saved, so the next load finds the file only once the
  // worker has run. A null `queue` drops it.
  explicit DeckAnalysis(std::string stripesFolder = "", QueueForWorker queue = nullptr);

  // LoadStripes: the record, and the stripe file when the record counts as
  // analysed.
  StoredAnalysis LoadStored(const std::string& path, float* stripe, int count) override;
  void StartTrack() override;
  void FeedBlock(const std::int16_t* samples, int frames, float* stripe) override;
  // The group comes back marked, and its onset signal is left in `onset`
  // (kInterimLength samples each).
  float InterimTempo(float* group, float* onset, int mode) override;
  // Gain, and the tempo rounded to a whole BPM with the marks left in
  // `stripe`; `length` is whole seconds of stripe.
  WholeTrackResult WholeTrack(float* stripe, float* onset, int length, int mode) override;
  AutoCues FindCues(const float* stripe, int count, std::int64_t frames, bool findStart,
                    bool findEnd) override;
  // The record gets the tempo, the gain and the length (its cues and key
  // stay), and the path goes to the worker.
  void StoreResult(const std::string& path, const TZKSongRecord& learnt) override;

 private:
  std::string stripesFolder_;
  QueueForWorker queue_;
  AnalysisChain chain_;
  BeatTracker tracker_;
  std::vector<float> mono_;          // one block, mixed down
  std::vector<float> paddedStripe_;  // interim copy, twice the group's length
  std::vector<float> paddedOnset_;
};

}  // namespace vantaro
