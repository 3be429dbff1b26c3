// The deck's store thread: load and unload, decoding blocks ahead of the
// play position, evicting them behind it in the streaming mode, and serving
// seeks. Everything here runs on the store thread (or on a test thread that
// calls StoreThreadRun while the store thread is not started).
#include <algorithm>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstring>
#include <thread>

#include "base/debug_log.h"
#include "engine/engine_settings.h"
#include "engine/sound_source.h"

namespace vantaro {
namespace {

constexpr int kStreamingWindow = 20;               // blocks decoded ahead in the streaming mode
constexpr int kScratchKeepBlocks = 30;             // blocks around a scratch kept from eviction
constexpr double kSlowSpeed = 0.1;                 // below this the deck counts as standing
constexpr int kBlockKB = kBlockFrames * 4 / 1024;  // 172 KB per block

void SleepMs(int ms) {
  std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

}  // namespace

void CSoundSource::StoreThreadRun() {
  if (threadBusy.exchange(true)) return;
  if (unloadRequest.exchange(false) && songLoaded.load()) {
    Unload();
    uiState.store(0);
  }
  if (loadRequest.load()) {
    std::string path;
    float databaseTempo;
    {
      std::lock_guard<std::mutex> hold(pendingMutex_);
      path = pendingPath_;
      songRecord_ = pendingRecord_;
      databaseTempo = pendingTempo_;
    }
    RunLoad(path, databaseTempo);
    loadRequest.store(false);
    if (autoPlay.load() && songReady.load()) Play(1);
  }
  if (songLoaded.load() && !closing.load()) {
    if (streamingMode.load())
      StreamingModeRun();
    else
      OrdinaryModeRun();
  }
  FreeRetiredBlocks();
  threadBusy.store(false);
}

int CSoundSource::CurrentBlock() const {
  const int count = blockCount.load();
  if (count <= 0) return 0;
  const double block = std::floor(playPosition.load(std::memory_order_relaxed) / kBlockFrames);
  return static_cast<int>(std::clamp(block, 0.0, static_cast<double>(count - 1)));
}

bool CSoundSource::StopWanted() const {
  return closing.load() || loadRequest.load() || seekRequest.load() || unloadRequest.load();
}

bool CSoundSource::NeighbourhoodPresent(int centre) const {
  const int count = blockCount.load();
  for (int b = std::max(0, centre - 1); b <= std::min(count - 1, centre + 1); ++b)
    if (b < kMaxBlocks && store_.State(b) != kBlockPresent) return false;
  return true;
}

void CSoundSource::EvictAllExceptAround(int keepCentre) {
  const int count = std::min(blockCount.load(), kMaxBlocks);
  for (int b = 1; b <= count - 4; ++b)
    if (b < keepCentre - 1 || b > keepCentre + 1) EvictBlock(b, false);
}

// A pending seek: decode the target's block and the next one in the
// direction of travel, move the position, then let the render see the new
// position (5 ms) before blocks far from it may go.
bool CSoundSource::ServeSeek() {
  if (!seekRequest.load() || scratching.load() || loadRequest.load() || !songReady.load())
    return false;
  const int count = blockCount.load();
  const double target = seekTarget.load();
  const int targetBlock =
      static_cast<int>(std::clamp(std::floor(target / kBlockFrames), 0.0, count - 1.0));
  DecodeBlock(targetBlock);
  if (closing.load()) return true;
  DecodeBlock(targetBlock + (speedRequested.load() > 0.0 ? 1 : -1));
  if (target >= 0.0 && target < totalFrames.load()) playPosition.store(target);
  seekRequest.store(false);
  SleepMs(5);
  if (count >= 5) EvictAllExceptAround(targetBlock);
  return true;
}

void CSoundSource::OrdinaryModeRun() {
  if (ServeSeek()) return;
  const int current = CurrentBlock();
  DecodeBlock(current);
  if (closing.load()) return;
  const double requested = speedRequested.load();
  const int ahead = requested >= 0.0 ? 1 : -1;
  if (std::fabs(requested) > kSlowSpeed && !loopOn.load()) EvictBlock(current - 2 * ahead, false);
  DecodeBlock(current + ahead);

  // The rest of the song, from the play position to the end, then from the
  // start; the playing neighbourhood keeps priority.
  const int count = std::min(blockCount.load(), kMaxBlocks);
  for (int step = 0; step < count; ++step) {
    const int block = (current + step) % count;
    if (store_.State(block) != kBlockNeverDecoded) continue;
    if (!DecodeBlock(block)) continue;
    if (StopWanted()) return;
    if (std::fabs(speedRequested.load()) > kSlowSpeed && playing.load()) {
      const int now = CurrentBlock();
      // With the cache flag set an ordinary eviction keeps every block, so
      // the sweep would only cost time.
      if (!cachePresent)
        for (int b = 0; b < count; ++b)
          if (b < now - 1 || b > now + 1) EvictBlock(b, false);
      if (!NeighbourhoodPresent(now)) break;
    }
  }

  if (!tempoReady_ && !loadRequest.load() && !seekRequest.load() && GetDecodedPercent() >= 100)
    OnSongFullyDecoded();
}

void CSoundSource::StreamingModeRun() {
  if (ServeSeek()) return;
  const int current = CurrentBlock();
  DecodeBlock(current);
  const bool forwards = speedRequested.load() > 0.0;
  const int ahead = forwards ? 1 : -1;
  if (!loopOn.load() && !(forwards && seekRequest.load()))
    EvictBlock(current - (kStreamingWindow + 1) * ahead, false);
  for (int i = 1; i <= kStreamingWindow; ++i) {
    DecodeBlock(current + i * ahead);
    if (StopWanted()) return;
  }
}

void CSoundSource::OnSongFullyDecoded() {
  if (songTempo.load() > 0.0f) {
    tempoReady_ = true;
    uiState.store(kUiAllDone);
    return;
  }
  if (tempoAnalysisStarted_) return;
  tempoAnalysisStarted_ = true;
  if (analysisFeed_.songDecoded) {
    uiState.store(kUiTempoAnalysis);
    analysisFeed_.songDecoded(*this, analysisFeed_.user);
  } else {
    uiState.store(kUiAllDone);  // nothing will analyse this song
  }
}

void CSoundSource::SetSongTempo(float bpm) {
  songTempo.store(bpm > 0.0f ? bpm : 0.0f);
  tempoKnown.store(bpm > 0.0f);
  if (bpm > 0.0f) uiState.store(kUiAllDone);
}

void CSoundSource::RunAnalysisFeed(int block, const DeckBlock& decoded) {
  // The gain filters, the stripe values at block * 100 and the key filter
  // are fed from here by the analysis chain.
  if (analysisFeed_.blockDecoded)
    analysisFeed_.blockDecoded(*this, block, decoded.samples, static_cast<int>(decoded.frames),
                               analysisFeed_.user);
}

int CSoundSource::DecodeBlock(int block) {
  const int count = blockCount.load();
  if (block < 0 || block >= count || block >= kMaxBlocks || store_.Block(block)) return 0;
  DeckBlock* decoded = DeckBlockStore::AllocateBlock();
  if (!decoded) {
    DebugLog("ERROR -- could not allocate block from pool or memory !");
    return 0;
  }
  const std::int64_t first = static_cast<std::int64_t>(block) * kBlockFrames;
  const int wanted =
      block == count - 1 ? static_cast<int>(totalFrames.load() - first) : kBlockFrames;
  const int previousState = store_.State(block);
  // The cache file is never used (a load always sets cachePresent), so every
  // block comes from the decoder.
  int got = decoder_ ? decoder_->Read(decoded->samples, wanted, first) : 0;
  got = std::clamp(got, 0, wanted);
  // A short read leaves silence behind it rather than stale memory.
  std::memset(decoded->samples + got * 2, 0, sizeof(std::int16_t) * 2 * (kBlockFrames - got));
  decoded->frames = static_cast<std::uint32_t>(got);
  const bool songTempoApplies = tempoKnown.load() && !streamingMode.load();
  decoded->tempoValid.store(songTempoApplies ? 1 : 0);
  decoded->tempo.store(songTempoApplies ? songTempo.load() : 0.0f);
  decoded->pinned = (block == 0 || block >= count - 2) ? 1 : 0;
  store_.Publish(block, decoded);

  if (previousState == kBlockNeverDecoded && !songTempoApplies) {
    RunAnalysisFeed(block, *decoded);
    if (streamingMode.load()) {
      store_.SetState(block, kBlockPresent);
      return 1;
    }
  }
  int expected = 0;
  uiState.compare_exchange_strong(expected, kUiStripesProgressing);
  store_.SetState(block, kBlockPresent);
  return 1;
}

bool CSoundSource::EvictBlock(int block, bool force) {
  if (block < 0 || block >= kMaxBlocks || block >= blockCount.load()) return false;
  if (seekRequest.load() || !store_.Block(block)) return false;
  if (!force) {
    if (IsBlockPinned(block)) return false;
    const int seekBlock = static_cast<int>(seekTarget.load() / kBlockFrames);
    if (scratching.load() && std::abs(block - seekBlock) <= kScratchKeepBlocks) return false;
  }
  if (streamingMode.load()) {
    store_.SetState(block, kBlockNeverDecoded);
    // Blank the stripes of the block so the display shows nothing there
    // until a later decode recomputes them.
    const int perBlock = static_cast<int>(std::lrint(kBlockFrames * 0.01));
    std::lock_guard<std::mutex> hold(stripeLock);
    for (int which : {0, 2}) {
      std::vector<float>& values = stripes[which];
      const std::size_t begin = static_cast<std::size_t>(block) * perBlock;
      if (begin >= values.size()) continue;
      const std::size_t end = std::min(values.size(), begin + perBlock);
      std::fill(values.begin() + begin, values.begin() + end, 0.0f);
    }
  } else if (!force) {
    if (cachePresent) return false;  // the block stays in RAM
    store_.SetState(block, kBlockInCacheFile);
  } else {
    store_.SetState(block, kBlockNeverDecoded);
  }
  if (DeckBlock* gone = store_.Unpublish(block)) retired_.push_back(gone);
  return true;
}

void CSoundSource::ResetSpeedState() {
  speedCurrent.store(0.0);
  speedTarget.store(0.0);
  speedStep.store(0.0);
  speedRequested.store(pitchSpeed.load());
  glideOn.store(false);
  stopNow.store(false);
  scratching.store(false);
  scratchExternal.store(false);
}

void CSoundSource::RunLoad(const std::string& path, float databaseTempo) {
  Unload();
  std::int64_t frames = 0;
  if (!decoder_ || !decoder_->Open(path, frames)) {
    DebugLog("deck %d: cannot open \"%s\"", deckIndex, path.c_str());
    uiState.store(kUiFailed);
    totalFrames.store(0);
    return;
  }
  if (frames <= 0) {
    DebugLog("deck %d: \"%s\" holds no audio", deckIndex, path.c_str());
    songLoaded.store(true);
    Unload();
    uiState.store(kUiFailed);
    return;
  }
  frames = std::min<std::int64_t>(frames, INT32_MAX);
  const int count = static_cast<int>((frames + kBlockFrames - 1) / kBlockFrames);
  totalFrames.store(static_cast<std::int32_t>(frames));
  blockCount.store(count);

  // Both decks must fit: a song may take half of the budget.
  const std::int64_t budgetBlocks = TheEngineSettings().availKB.load() / kBlockKB;
  streamingMode.store(!(2 * static_cast<std::int64_t>(count) < budgetBlocks));
  cachePresent = true;
  retired_.reserve(std::min(count, kMaxBlocks));

  const int stripeTotal = static_cast<int>(std::lrint(frames * 0.01));
  {
    std::lock_guard<std::mutex> hold(stripeLock);
    for (auto& values : stripes) values.assign(static_cast<std::size_t>(stripeTotal) + 1, 0.0f);
    stripeCount.store(stripeTotal);
  }
  cuePoint.store(-1);
  loopOn.store(false);
  tempoKnown.store(databaseTempo > 0.0f);
  songTempo.store(databaseTempo > 0.0f ? databaseTempo : 0.0f);
  tempoAnalysisStarted_ = false;
  tempoReady_ = false;
  for (int b = 0; b < std::min(count, kMaxBlocks); ++b) store_.SetState(b, kBlockNeverDecoded);
  playing.store(false);
  everPlayed.store(false);
  playPosition.store(0.0);
  ResetSpeedState();

  DecodeBlock(0);
  fadeCount.store(kFadeLength);
  songLoaded.store(true);
  songReady.store(true);
  uiState.store(kUiReady);
  if (streamingMode.load()) {
    SleepMs(100);
    uiState.store(kUiAllDone);
  }
  if (loadCallback_) loadCallback_(deckIndex, 1, loadUser_);
}

void CSoundSource::Unload() {
  loopOn.store(false);
  const bool wasLoaded = songLoaded.exchange(false);
  songReady.store(false);
  // From here no new render touches the song; wait out the one in flight.
  store_.WaitForRenderGrace();
  if (decoder_) decoder_->Close();
  seekRequest.store(false);
  const int count = std::min(blockCount.load(), kMaxBlocks);
  for (int b = 0; b < count; ++b) EvictBlock(b, true);
  FreeRetiredBlocks();
  blockCount.store(0);
  totalFrames.store(0);
  streamingMode.store(false);
  {
    std::lock_guard<std::mutex> hold(stripeLock);
    for (auto& values : stripes) std::vector<float>().swap(values);
    stripeCount.store(0);
  }
  if (wasLoaded && loadCallback_) loadCallback_(deckIndex, 0, loadUser_);
}

}  // namespace vantaro
