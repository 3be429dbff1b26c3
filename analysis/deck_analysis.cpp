#include "analysis/deck_analysis.h"

#include <algorithm>
#include <cmath>

#include "analysis/audible_range.h"
#include "analysis/bpm_detect.h"
#include "analysis/stripe_file.h"
#include "library/song_database.h"

namespace vantaro {

static_assert(kStripePerBlock == kStripePerSecond, "a deck block is one second");

DeckAnalysis::DeckAnalysis(std::string stripesFolder, QueueForWorker queue)
    : stripesFolder_(std::move(stripesFolder)),
      queue_(std::move(queue)),
      mono_(kSecondFrames),
      paddedStripe_(2 * kInterimLength),
      paddedOnset_(2 * kInterimLength) {}

StoredAnalysis DeckAnalysis::LoadStored(const std::string& path, float* stripe, int count) {
  const StripeLoad load = LoadStripes(stripesFolder_, path, stripe, count);
  StoredAnalysis stored;
  stored.recordFound = load.recordFound;
  stored.tempoKnown = load.loaded;
  stored.bpm = load.bpm;
  stored.record = load.record;
  return stored;
}

void DeckAnalysis::StartTrack() {
  chain_.Start();
  tracker_.ClearTempo();
}

void DeckAnalysis::FeedBlock(const std::int16_t* samples, int frames, float* stripe) {
  frames = std::clamp(frames, 0, kSecondFrames);
  MixToMono(samples, frames, mono_.data());
  std::fill(mono_.begin() + frames, mono_.end(), 0.0f);
  chain_.FeedSecond(mono_.data(), frames, stripe);
}

float DeckAnalysis::InterimTempo(float* group, float* onset, int mode) {
  std::copy(group, group + kInterimLength, paddedStripe_.begin());
  std::fill(paddedStripe_.begin() + kInterimLength, paddedStripe_.end(), 0.0f);
  const float tempo =
      DetectBpmInterim(tracker_, paddedStripe_.data(), paddedOnset_.data(), kInterimLength, mode);
  std::copy(paddedStripe_.begin(), paddedStripe_.begin() + kInterimLength, group);
  std::copy(paddedOnset_.begin(), paddedOnset_.begin() + kInterimLength, onset);
  return tempo;
}

WholeTrackResult DeckAnalysis::WholeTrack(float* stripe, float* onset, int length, int mode) {
  WholeTrackResult result;
  result.gainDb = chain_.TakeGain();
  const float bpm = DetectBpm(tracker_, length, stripe, onset, length / kStripePerSecond, mode);
  result.bpm = bpm > 0 ? std::rint(bpm) : 0.0f;
  return result;
}

AutoCues DeckAnalysis::FindCues(const float* stripe, int count, std::int64_t frames, bool findStart,
                                bool findEnd) {
  const AudibleRange range = FindAudibleRange(stripe, count, frames, findStart, findEnd);
  return {range.searched, range.start, range.end};
}

void DeckAnalysis::StoreResult(const std::string& path, const TZKSongRecord& learnt) {
  TZKSongRecord record;
  if (!FindSong(MakeSongKey(path), record)) {
    InitSongRecord(record);
    record.name = MakeSongKey(path);
  }
  record.bpm = learnt.bpm;
  record.pgain = learnt.pgain;
  record.pgain_valid = learnt.pgain_valid;
  record.duration_ms = learnt.duration_ms;
  StoreSong(record);
  if (queue_) queue_(path);
}

}  // namespace vantaro
