#include "engine/deck_stripe.h"

#include <algorithm>
#include <cmath>

#include "base/realtime.h"
#include "base/thread_priority.h"

namespace vantaro {
namespace {

// A cue stored at 10 frames or more is the user's and is kept; below that
// the automatic cue takes its place.
constexpr std::int32_t kCueInForce = 10;

}  // namespace

DeckStripe::DeckStripe(DeckBlockStore& blocks, TempoReport report)
    : blocks_(blocks),
      report_(std::move(report)),
      group_(kInterimBlocks * kStripePerBlock),
      groupOnset_(kInterimBlocks * kStripePerBlock) {}

DeckStripe::~DeckStripe() {
  JoinAnalysis();
}

void DeckStripe::JoinAnalysis() {
  if (analysis_.joinable()) analysis_.join();
}

TZKSongRecord DeckStripe::Record() const {
  std::lock_guard<std::mutex> hold(recordLock_);
  return record_;
}

void DeckStripe::Publish(int which, std::size_t at, const float* values, std::size_t count) {
  std::vector<float>& array = arrays_[which];
  if (at >= array.size()) return;
  count = std::min(count, array.size() - at);
  if (which != 0) {
    std::copy(values, values + count, array.begin() + at);
    return;
  }
  // The render reads (and completes) the marks of array 0 without the lock.
  for (std::size_t i = 0; i < count; ++i)
    std::atomic_ref<float>(array[at + i]).store(values[i], std::memory_order_relaxed);
}

// The automatic cues replace the record's where it has none in force.
void DeckStripe::ApplyCues(const AutoCues& cues, TZKSongRecord& record) const {
  if (!cues.searched) return;
  if (findStartCue_) record.cue_in = static_cast<std::int32_t>(cues.start);
  if (findEndCue_) record.cue_out = static_cast<std::int32_t>(cues.end);
}

float DeckStripe::Load(const std::string& path, std::int64_t frames, int blockCount,
                       const TZKSongRecord* given) {
  AssertNotRealtime("DeckStripe::Load");
  const int count = static_cast<int>(std::lrint(frames * 0.01));
  std::vector<float> stored(static_cast<std::size_t>(count) + 1, 0.0f);
  TZKSongRecord record = given && !feed_ ? *given : TZKSongRecord{};
  float tempo = given && !feed_ ? std::max(given->bpm, 0.0f) : 0.0f;
  if (feed_) {
    // The file is read outside the lock: the screen tick never waits for
    // the disk.
    StoredAnalysis found = feed_->LoadStored(path, stored.data(), count);
    if (found.recordFound) record = found.record;
    tempo = found.tempoKnown ? found.bpm : 0.0f;
    feed_->StartTrack();
  }
  if (record.name.empty()) record.name = MakeSongKey(path);
  path_ = path;
  frames_ = frames;
  blockCount_ = std::min(blockCount, kMaxBlocks);
  levelsFed_ = tempo <= 0.0f;
  gainPending_ = levelsFed_;
  findStartCue_ = record.cue_in < kCueInForce;
  findEndCue_ = record.cue_out < kCueInForce;
  if (feed_ && tempo > 0.0f) {
    const AutoCues cues = feed_->FindCues(stored.data(), count, frames, findStartCue_, findEndCue_);
    ApplyCues(cues, record);
  }
  {
    std::lock_guard<std::mutex> hold(lock_);
    arrays_[0].swap(stored);
    for (int which : {1, 2}) arrays_[which].assign(static_cast<std::size_t>(count) + 1, 0.0f);
    count_.store(count);
    // No render reads the marks during a load: the song is not loaded yet.
    marks_.store(arrays_[0].data());
    marksSize_.store(static_cast<int>(arrays_[0].size()));
  }
  std::lock_guard<std::mutex> hold(recordLock_);
  record_ = record;
  return tempo;
}

void DeckStripe::Unload() {
  JoinAnalysis();
  {
    std::lock_guard<std::mutex> hold(lock_);
    // The unload waited for the render's grace period: no render reads them.
    marks_.store(nullptr);
    marksSize_.store(0);
    for (auto& values : arrays_) std::vector<float>().swap(values);
    count_.store(0);
  }
  std::lock_guard<std::mutex> hold(recordLock_);
  record_ = TZKSongRecord{};
}

void DeckStripe::FeedValues(int block, const DeckBlock& decoded) {
  float values[kStripePerBlock];
  feed_->FeedBlock(decoded.samples, static_cast<int>(decoded.frames), values);
  const std::size_t at = static_cast<std::size_t>(block) * kStripePerBlock;
  std::lock_guard<std::mutex> hold(lock_);
  Publish(2, at, values, kStripePerBlock);
  Publish(0, at, values, kStripePerBlock);
}

void DeckStripe::FeedBlock(int block, const DeckBlock& decoded) {
  if (!feed_) return;
  FeedValues(block, decoded);
  RunInterim(block / kInterimBlocks);
}

// Ten blocks in, none with a tempo: their tempo, and their marks, from a
// copy of their levels.
void DeckStripe::RunInterim(int group) {
  const int first = group * kInterimBlocks;
  if (first + kInterimBlocks > blockCount_) return;  // the last, partial group has none
  for (int b = first; b < first + kInterimBlocks; ++b) {
    const DeckBlock* block = blocks_.Block(b);
    if (!block || block->tempoValid.load()) return;
  }
  const std::size_t at = static_cast<std::size_t>(first) * kStripePerBlock;
  {
    std::lock_guard<std::mutex> hold(lock_);
    const std::vector<float>& levels = arrays_[2];
    const std::size_t n = std::min(group_.size(), levels.size() - std::min(at, levels.size()));
    std::fill(std::copy_n(levels.begin() + at, n, group_.begin()), group_.end(), 0.0f);
  }
  const float tempo = feed_->InterimTempo(group_.data(), groupOnset_.data(), mode_.load());
  {
    std::lock_guard<std::mutex> hold(lock_);
    Publish(0, at, group_.data(), group_.size());
    Publish(1, at, groupOnset_.data(), groupOnset_.size());
  }
  for (int b = first; b < first + kInterimBlocks; ++b) {
    DeckBlock* block = blocks_.Block(b);
    block->tempo.store(tempo);
    block->tempoValid.store(1);
  }
}

bool DeckStripe::StartWholeTrack() {
  if (!feed_ || analysing_.load()) return false;
  JoinAnalysis();  // the last run's thread has ended; release it
  // Whole blocks of levels: the track's last second is padded with silence.
  const std::size_t length = static_cast<std::size_t>(blockCount_) * kStripePerBlock;
  std::vector<float> stripe(length, 0.0f), onset(length, 0.0f);
  {
    std::lock_guard<std::mutex> hold(lock_);
    std::copy_n(arrays_[2].begin(), std::min(length, arrays_[2].size()), stripe.begin());
  }
  analysing_.store(true);
  analysis_ = std::thread([this, s = std::move(stripe), o = std::move(onset)]() mutable {
    RunWholeTrack(std::move(s), std::move(o));
  });
  return true;
}

void DeckStripe::RunWholeTrack(std::vector<float> stripe, std::vector<float> onset) {
  SetCurrentThreadPriority(kPriorityIdle);
  const int length = static_cast<int>(stripe.size());
  const WholeTrackResult result =
      feed_->WholeTrack(stripe.data(), onset.data(), length, mode_.exchange(0));
  const AutoCues cues = feed_->FindCues(stripe.data(), length, frames_, findStartCue_, findEndCue_);
  {
    std::lock_guard<std::mutex> hold(lock_);
    Publish(0, 0, stripe.data(), stripe.size());
    Publish(1, 0, onset.data(), onset.size());
  }
  TZKSongRecord learnt;
  {
    std::lock_guard<std::mutex> hold(recordLock_);
    record_.bpm = result.bpm;
    record_.duration_ms = FramesToMilliseconds(frames_);
    if (gainPending_) {
      record_.pgain = result.gainDb;
      record_.pgain_valid = 1;
    }
    ApplyCues(cues, record_);
    learnt = record_;
  }
  gainPending_ = false;  // the analyser gave its histogram away
  feed_->StoreResult(path_, learnt);
  report_(result.bpm);
  analysing_.store(false);
}

bool DeckStripe::Reset(int mode, bool streaming) {
  AssertNotRealtime("DeckStripe::Reset");
  if (!feed_) return false;
  JoinAnalysis();
  mode_.store(mode);
  if (!levelsFed_) {
    // The stripe came from its file, marked: the blocks, all in memory,
    // give the levels (and the gain) again.
    feed_->StartTrack();
    for (int b = 0; b < blockCount_; ++b)
      if (const DeckBlock* block = blocks_.Block(b)) FeedValues(b, *block);
    levelsFed_ = gainPending_ = true;
  }
  {
    std::lock_guard<std::mutex> hold(lock_);
    Publish(0, 0, arrays_[2].data(), arrays_[2].size());
    std::fill(arrays_[1].begin(), arrays_[1].end(), 0.0f);
  }
  for (int b = 0; b < blockCount_; ++b) {
    if (DeckBlock* block = blocks_.Block(b)) {
      block->tempoValid.store(0);
      block->tempo.store(0.0f);
    }
  }
  if (streaming)
    for (int group = 0; group * kInterimBlocks < blockCount_; ++group) RunInterim(group);
  return true;
}

void DeckStripe::Blank(int block) {
  const std::size_t at = static_cast<std::size_t>(block) * kStripePerBlock;
  const float zeros[kStripePerBlock] = {};
  std::lock_guard<std::mutex> hold(lock_);
  Publish(0, at, zeros, kStripePerBlock);
  Publish(2, at, zeros, kStripePerBlock);
}

}  // namespace vantaro
