// The deck's store: load and unload, decoding blocks ahead of the play
// position, evicting them behind it in the streaming mode, serving seeks,
// and the readers. Everything but the requests and the readers runs on the
// store thread (or on a test thread that calls Run while the store thread is
// not started).
#include "engine/deck_store.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <thread>

#include "base/debug_log.h"
#include "base/realtime.h"
#include "base/thread_priority.h"
#include "codecs/codec_lock.h"
#include "engine/deck_cues.h"
#include "engine/deck_transport.h"
#include "engine/engine_settings.h"

namespace vantaro {
namespace {

constexpr int kStreamingWindow = 20;               // blocks decoded ahead in the streaming mode
constexpr int kScratchKeepBlocks = 30;             // blocks around a scratch kept from eviction
constexpr double kSlowSpeed = 0.1;                 // below this the deck counts as standing
constexpr int kBlockKB = kBlockFrames * 4 / 1024;  // 172 KB per block

void SleepMs(int ms) {
  std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

std::string ThreadName(int deck) {
  char name[16];
  std::snprintf(name, sizeof name, "deck%d store", deck);
  return name;
}

// A read of block memory off the store thread: the unload waits for it.
class ReaderBracket {
 public:
  explicit ReaderBracket(const DeckBlockStore& blocks) : blocks_(blocks) { blocks_.EnterReader(); }
  ~ReaderBracket() { blocks_.LeaveReader(); }

 private:
  const DeckBlockStore& blocks_;
};

}  // namespace

DeckStore::DeckStore(int deckIndex, DeckTransport& transport)
    : transport_(transport),
      deckIndex_(deckIndex),
      decoder_(MakeCodecSetDeckDecoder(deckIndex)),
      stripe_(blocks_, [this](float bpm) { OnWholeTrackTempo(bpm); }),
      thread_(ThreadName(deckIndex), kThreadPeriodMs, kPriorityIdle, [this] { Run(); }) {}

DeckStore::~DeckStore() {
  AssertNotRealtime("DeckStore::~DeckStore");
  closing_.store(true);
  thread_.Stop();
  // A load that never ran leaves nothing to undo; a loaded song is closed.
  Unload();
}

bool DeckStore::StartThread() {
  const bool started = thread_.Start();
  if (!started) DebugLog("deck %d: the store thread could not be started", deckIndex_);
  return started;
}

void DeckStore::StopThread() {
  thread_.Stop();
}

void DeckStore::UseDecoder(std::unique_ptr<DeckDecoder> decoder) {
  if (decoder) decoder_ = std::move(decoder);
}

void DeckStore::SetLoadCallback(LoadCallback callback, void* user) {
  loadCallback_ = callback;
  loadUser_ = user;
}

int DeckStore::LoadSong(const std::string& path, bool autoPlay, const TZKSongRecord* record,
                        bool keepCue) {
  if (loadRequest_.load()) return 0;
  songReady_.store(false);
  uiState_.store(kUiLoading);
  {
    std::lock_guard<std::mutex> hold(pendingMutex_);
    pendingPath_ = path;
    pendingHasRecord_ = record != nullptr;
    pendingRecord_ = record ? *record : TZKSongRecord{};
    pendingKeepCue_ = keepCue;
  }
  autoPlay_.store(autoPlay);
  seekRequest_.store(false);
  loadRequest_.store(true);
  thread_.Wake();
  return 1;
}

void DeckStore::RequestUnload() {
  unloadRequest_.store(true);
  thread_.Wake();
}

void DeckStore::SeekRequest(double target) {
  if (seekRequest_.load() || transport_.IsScratching() || !songReady_.load() || loadRequest_.load())
    return;
  // The GUI and the hands may both ask: one of the two targets is served.
  seekTarget_.store(target);
  bool idle = false;
  if (seekRequest_.compare_exchange_strong(idle, true)) thread_.Wake();
}

void DeckStore::SetSongTempo(float bpm) {
  AssertNotRealtime("DeckStore::SetSongTempo");
  songTempo_.store(bpm > 0.0f ? bpm : 0.0f);
  tempoKnown_.store(bpm > 0.0f);
  if (bpm > 0.0f && !streamingMode_.load()) {
    ReaderBracket reading(blocks_);
    for (int b = 0; b < std::min(blockCount_.load(), kMaxBlocks); ++b) {
      if (DeckBlock* block = blocks_.Block(b)) {
        block->tempo.store(bpm);
        block->tempoValid.store(1);
      }
    }
  }
  transport_.PublishTempo(songTempo_.load());
  if (bpm > 0.0f && !loadRequest_.load()) uiState_.store(kUiAllDone);
}

void DeckStore::ResetTempoAnalysis(int mode) {
  resetMode_.store(mode);
  resetRequest_.store(true);
  thread_.Wake();
}

// The whole-track step ended (on its own thread). A step that found no
// tempo ends the analysis all the same.
void DeckStore::OnWholeTrackTempo(float bpm) {
  FollowAudibleRange(transport_.Marks(), stripe_.Record(), totalFrames_.load());
  if (bpm > 0.0f) {
    SetSongTempo(bpm);
    return;
  }
  int running = kUiTempoAnalysis;
  uiState_.compare_exchange_strong(running, kUiAllDone);
}

void DeckStore::RunReset() {
  if (!stripe_.Reset(resetMode_.load(), streamingMode_.load())) return;
  songTempo_.store(0.0f);
  tempoKnown_.store(false);
  transport_.PublishTempo(0.0f);
  tempoAnalysisStarted_ = false;
  tempoReady_ = false;
}

int DeckStore::GetDecodedPercent() const {
  if (streamingMode_.load()) return 100;
  return blocks_.DecodedPercent(blockCount_.load());
}

void DeckStore::Run() {
  if (threadBusy_.exchange(true)) return;
  if (unloadRequest_.exchange(false) && songLoaded_.load()) {
    Unload();
    uiState_.store(0);
  }
  if (loadRequest_.load()) {
    std::string path;
    bool hasRecord, keepCue;
    TZKSongRecord record;
    {
      std::lock_guard<std::mutex> hold(pendingMutex_);
      path = pendingPath_;
      hasRecord = pendingHasRecord_;
      record = pendingRecord_;
      keepCue = pendingKeepCue_;
    }
    resetRequest_.store(false);  // a reset was for the old song
    {
      CodecLoadWaiting waiting;  // the background analysis holds back until block 0
      RunLoad(path, hasRecord ? &record : nullptr, keepCue);
    }
    loadRequest_.store(false);
    if (autoPlay_.load() && songReady_.load()) transport_.Play(1);
  }
  if (resetRequest_.exchange(false) && songLoaded_.load()) RunReset();
  if (songLoaded_.load() && !closing_.load()) {
    if (streamingMode_.load())
      StreamingModeRun();
    else
      OrdinaryModeRun();
  }
  blocks_.FreeRetired(retired_);
  threadBusy_.store(false);
}

int DeckStore::CurrentBlock() const {
  const int count = blockCount_.load();
  if (count <= 0) return 0;
  const double block = std::floor(transport_.GetExactPosition() / kBlockFrames);
  return static_cast<int>(std::clamp(block, 0.0, static_cast<double>(count - 1)));
}

bool DeckStore::StopWanted() const {
  return closing_.load() || loadRequest_.load() || seekRequest_.load() || unloadRequest_.load();
}

bool DeckStore::NeighbourhoodPresent(int centre) const {
  const int count = blockCount_.load();
  for (int b = std::max(0, centre - 1); b <= std::min(count - 1, centre + 1); ++b)
    if (b < kMaxBlocks && blocks_.State(b) != kBlockPresent) return false;
  return true;
}

void DeckStore::EvictAllExceptAround(int keepCentre) {
  const int count = std::min(blockCount_.load(), kMaxBlocks);
  for (int b = 1; b <= count - 4; ++b)
    if (b < keepCentre - 1 || b > keepCentre + 1) EvictBlock(b, false);
}

// A pending seek: decode the target's block and the next one in the
// direction of travel, move the position, then let the render see the new
// position (5 ms) before blocks far from it may go.
bool DeckStore::ServeSeek() {
  if (!seekRequest_.load() || transport_.IsScratching() || loadRequest_.load() ||
      !songReady_.load())
    return false;
  const int count = blockCount_.load();
  const double target = seekTarget_.load();
  const int targetBlock =
      static_cast<int>(std::clamp(std::floor(target / kBlockFrames), 0.0, count - 1.0));
  DecodeBlock(targetBlock);
  if (closing_.load()) return true;
  DecodeBlock(targetBlock + (transport_.GetRequestedSpeed() > 0.0 ? 1 : -1));
  if (target >= 0.0 && target < totalFrames_.load()) transport_.SetPosition(target);
  seekRequest_.store(false);
  SleepMs(5);
  if (count >= 5) EvictAllExceptAround(targetBlock);
  return true;
}

void DeckStore::OrdinaryModeRun() {
  if (ServeSeek()) return;
  const int current = CurrentBlock();
  DecodeBlock(current);
  if (closing_.load()) return;
  const double requested = transport_.GetRequestedSpeed();
  const int ahead = requested >= 0.0 ? 1 : -1;
  if (std::fabs(requested) > kSlowSpeed && !transport_.Marks().loops.loopOn.load())
    EvictBlock(current - 2 * ahead, false);
  DecodeBlock(current + ahead);

  // The rest of the song, from the play position to the end, then from the
  // start; the playing neighbourhood keeps priority.
  const int count = std::min(blockCount_.load(), kMaxBlocks);
  for (int step = 0; step < count; ++step) {
    const int block = (current + step) % count;
    if (blocks_.State(block) != kBlockNeverDecoded) continue;
    if (!DecodeBlock(block)) continue;
    if (StopWanted()) return;
    if (std::fabs(transport_.GetRequestedSpeed()) > kSlowSpeed && transport_.IsPlaying()) {
      const int now = CurrentBlock();
      // With the cache flag set an ordinary eviction keeps every block, so
      // the sweep would only cost time.
      if (!cachePresent_)
        for (int b = 0; b < count; ++b)
          if (b < now - 1 || b > now + 1) EvictBlock(b, false);
      if (!NeighbourhoodPresent(now)) break;
    }
  }

  if (!tempoReady_ && !loadRequest_.load() && !seekRequest_.load() && GetDecodedPercent() >= 100)
    OnSongFullyDecoded();
}

void DeckStore::StreamingModeRun() {
  if (ServeSeek()) return;
  const int current = CurrentBlock();
  DecodeBlock(current);
  const bool forwards = transport_.GetRequestedSpeed() > 0.0;
  const int ahead = forwards ? 1 : -1;
  if (!transport_.Marks().loops.loopOn.load() && !(forwards && seekRequest_.load()))
    EvictBlock(current - (kStreamingWindow + 1) * ahead, false);
  for (int i = 1; i <= kStreamingWindow; ++i) {
    DecodeBlock(current + i * ahead);
    if (StopWanted()) return;
  }
}

void DeckStore::OnSongFullyDecoded() {
  if (songTempo_.load() > 0.0f) {
    tempoReady_ = true;
    uiState_.store(kUiAllDone);
    return;
  }
  if (tempoAnalysisStarted_) return;
  tempoAnalysisStarted_ = true;
  // Set first: the step may end before the call returns.
  uiState_.store(kUiTempoAnalysis);
  if (!stripe_.StartWholeTrack()) uiState_.store(kUiAllDone);  // nothing will analyse it
}

int DeckStore::DecodeBlock(int block) {
  const int count = blockCount_.load();
  if (block < 0 || block >= count || block >= kMaxBlocks || blocks_.Block(block)) return 0;
  DeckBlock* decoded = DeckBlockStore::AllocateBlock();
  if (!decoded) {
    DebugLog("ERROR -- could not allocate block from pool or memory !");
    return 0;
  }
  const std::int64_t first = static_cast<std::int64_t>(block) * kBlockFrames;
  const int wanted =
      block == count - 1 ? static_cast<int>(totalFrames_.load() - first) : kBlockFrames;
  const int previousState = blocks_.State(block);
  // The cache file is never used (a load always sets cachePresent), so every
  // block comes from the decoder.
  int got = decoder_ ? decoder_->Read(decoded->samples, wanted, first) : 0;
  got = std::clamp(got, 0, wanted);
  // A short read leaves silence behind it rather than stale memory.
  std::memset(decoded->samples + got * 2, 0, sizeof(std::int16_t) * 2 * (kBlockFrames - got));
  decoded->frames = static_cast<std::uint32_t>(got);
  const bool songTempoApplies = tempoKnown_.load() && !streamingMode_.load();
  decoded->tempoValid.store(songTempoApplies ? 1 : 0);
  decoded->tempo.store(songTempoApplies ? songTempo_.load() : 0.0f);
  decoded->pinned = (block == 0 || block >= count - 2) ? 1 : 0;
  blocks_.Publish(block, decoded);

  // The first decode of a block feeds the stripe and the gain analyser.
  if (previousState == kBlockNeverDecoded && !songTempoApplies) {
    stripe_.FeedBlock(block, *decoded);
    if (streamingMode_.load()) {
      blocks_.SetState(block, kBlockPresent);
      return 1;
    }
  }
  int expected = 0;
  uiState_.compare_exchange_strong(expected, kUiStripesProgressing);
  blocks_.SetState(block, kBlockPresent);
  return 1;
}

bool DeckStore::EvictBlock(int block, bool force) {
  if (block < 0 || block >= kMaxBlocks || block >= blockCount_.load()) return false;
  if (seekRequest_.load() || !blocks_.Block(block)) return false;
  if (!force) {
    if (IsBlockPinned(block)) return false;
    const int seekBlock = static_cast<int>(seekTarget_.load() / kBlockFrames);
    if (transport_.IsScratching() && std::abs(block - seekBlock) <= kScratchKeepBlocks)
      return false;
  }
  if (streamingMode_.load()) {
    blocks_.SetState(block, kBlockNeverDecoded);
    stripe_.Blank(block);  // shows nothing there until a later decode feeds it again
  } else if (!force) {
    if (cachePresent_) return false;  // the block stays in RAM
    blocks_.SetState(block, kBlockInCacheFile);
  } else {
    blocks_.SetState(block, kBlockNeverDecoded);
  }
  if (DeckBlock* gone = blocks_.Unpublish(block)) retired_.push_back(gone);
  return true;
}

void DeckStore::RunLoad(const std::string& path, const TZKSongRecord* record, bool keepCue) {
  Unload();
  std::int64_t frames = 0;
  if (!decoder_ || !decoder_->Open(path, frames)) {
    DebugLog("deck %d: cannot open \"%s\"", deckIndex_, path.c_str());
    uiState_.store(kUiFailed);
    totalFrames_.store(0);
    return;
  }
  if (frames <= 0) {
    DebugLog("deck %d: \"%s\" holds no audio", deckIndex_, path.c_str());
    songLoaded_.store(true);
    Unload();
    uiState_.store(kUiFailed);
    return;
  }
  frames = std::min<std::int64_t>(frames, INT32_MAX);
  const int count = static_cast<int>((frames + kBlockFrames - 1) / kBlockFrames);
  totalFrames_.store(static_cast<std::int32_t>(frames));
  blockCount_.store(count);

  // Both decks must fit: a song may take half of the budget.
  const std::int64_t budgetBlocks = TheEngineSettings().availKB.load() / kBlockKB;
  streamingMode_.store(!(2 * static_cast<std::int64_t>(count) < budgetBlocks));
  cachePresent_ = true;
  retired_.reserve(std::min(count, kMaxBlocks));

  // The stripe, the live record and the stored analysis (found on disk or
  // not); the cue table and the saved loops come from the live record.
  const float storedTempo = stripe_.Load(path, frames, count, record);
  RestoreMarksForLoad(transport_.Marks(), stripe_.Record(), static_cast<std::int32_t>(frames),
                      keepCue, !TheEngineSettings().disableAutoCue.load(), deckIndex_);
  tempoKnown_.store(storedTempo > 0.0f);
  songTempo_.store(storedTempo);
  tempoAnalysisStarted_ = false;
  tempoReady_ = false;
  for (int b = 0; b < std::min(count, kMaxBlocks); ++b) blocks_.SetState(b, kBlockNeverDecoded);
  transport_.ResetForLoad();

  DecodeBlock(0);
  songLoaded_.store(true);
  transport_.PublishTempo(TempoAt(0.0));
  songReady_.store(true);
  uiState_.store(kUiReady);
  if (streamingMode_.load()) {
    SleepMs(100);
    uiState_.store(kUiAllDone);
  }
  if (loadCallback_) loadCallback_(deckIndex_, 1, loadUser_);
}

void DeckStore::Unload() {
  stripe_.JoinAnalysis();  // nothing reports into the song from here on
  // The song's cues and loops go back to its record before it goes.
  StoreMarksForUnload(transport_.Marks(), stripe_.Record(), totalFrames_.load(),
                      songLoaded_.load());
  const bool wasLoaded = songLoaded_.exchange(false);
  songReady_.store(false);
  // From here no new render touches the song; wait out the one in flight.
  blocks_.WaitForRenderGrace();
  transport_.PublishTempo(0.0f);
  if (decoder_) decoder_->Close();
  seekRequest_.store(false);
  const int count = std::min(blockCount_.load(), kMaxBlocks);
  for (int b = 0; b < count; ++b) EvictBlock(b, true);
  blocks_.FreeRetired(retired_);
  blockCount_.store(0);
  totalFrames_.store(0);
  streamingMode_.store(false);
  stripe_.Unload();
  if (wasLoaded && loadCallback_) loadCallback_(deckIndex_, 0, loadUser_);
}

// ---- readers ------------------------------------------------------------------

float DeckStore::TempoAt(double position) const {
  if (!songLoaded_.load(std::memory_order_relaxed)) return 0.0f;
  const DeckBlock* block = blocks_.Block(static_cast<int>(std::max(0.0, position) / kBlockFrames));
  if (block && block->tempoValid.load(std::memory_order_relaxed))
    return block->tempo.load(std::memory_order_relaxed);
  // A block without a tempo of its own (a streamed block not yet analysed)
  // falls back on the song's tempo, 0 when unknown.
  return songTempo_.load(std::memory_order_relaxed);
}

bool DeckStore::IsBlockPinned(int block) const {
  {
    ReaderBracket reading(blocks_);
    const DeckBlock* present = blocks_.Block(block);
    if (present && present->pinned) return true;
  }
  const std::int32_t cue = transport_.Cues().cuePosition.load(std::memory_order_relaxed);
  if (cue < 1) return false;  // no cue set
  const int cueBlock = cue / kBlockFrames;
  return block >= cueBlock - 1 && block <= cueBlock + 1;
}

int DeckStore::BlockFramesDecoded(int block) const {
  ReaderBracket reading(blocks_);
  const DeckBlock* present = blocks_.Block(block);
  return present ? static_cast<int>(present->frames) : -1;
}

std::int16_t DeckStore::GetSample16(std::int64_t frame, int channel) const {
  const std::int64_t total = totalFrames_.load(std::memory_order_relaxed);
  if (total <= 0 || channel < 0 || channel > 1) return 0;
  frame %= total;
  if (frame < 0) frame += total;
  const std::int16_t* samples = blocks_.FramePointer(frame);
  return samples ? samples[channel] : 0;
}

int DeckStore::ReadFrames(std::int64_t first, int count, float* destination) const {
  AssertNotRealtime("DeckStore::ReadFrames");
  if (!destination || count <= 0) return 0;
  const std::int64_t total = totalFrames_.load(std::memory_order_relaxed);
  ReaderBracket reading(blocks_);
  for (int i = 0; i < count; ++i) {
    const std::int64_t frame = first + i;
    const std::int16_t* samples =
        (frame >= 0 && frame < total) ? blocks_.FramePointer(frame) : nullptr;
    destination[i * 2] = samples ? samples[0] * DeckTransport::kSampleScale : 0.0f;
    destination[i * 2 + 1] = samples ? samples[1] * DeckTransport::kSampleScale : 0.0f;
  }
  return count;
}

}  // namespace vantaro
