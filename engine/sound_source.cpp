#include "engine/sound_source.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "base/debug_log.h"
#include "base/realtime.h"
#include "base/thread_priority.h"
#include "engine/engine_settings.h"
#include "library/song_record.h"

namespace vantaro {
namespace {

std::string StoreThreadName(int deck) {
  char name[16];
  std::snprintf(name, sizeof name, "deck%d store", deck);
  return name;
}

}  // namespace

CSoundSource::CSoundSource(int deckIndex, std::string dataRoot)
    : deckIndex(deckIndex),
      dataRoot_(std::move(dataRoot)),
      decoder_(MakeCodecSetDeckDecoder(deckIndex)),
      storeThread_(StoreThreadName(deckIndex), kStoreThreadPeriodMs, kPriorityIdle,
                   [this] { StoreThreadRun(); }) {
  pitchSpeed.store(1.0);
  speedRequested.store(1.0);
}

CSoundSource::~CSoundSource() {
  AssertNotRealtime("CSoundSource::~CSoundSource");
  closing.store(true);
  storeThread_.Stop();
  // A load that never ran leaves nothing to undo; a loaded song is closed.
  Unload();
}

bool CSoundSource::StartStoreThread() {
  const bool started = storeThread_.Start();
  if (!started) DebugLog("deck %d: the store thread could not be started", deckIndex);
  return started;
}

void CSoundSource::StopStoreThread() {
  storeThread_.Stop();
}

void CSoundSource::UseDecoder(std::unique_ptr<DeckDecoder> decoder) {
  if (decoder) decoder_ = std::move(decoder);
}

void CSoundSource::SetPlayStateCallback(PlayStateCallback callback, void* user) {
  playStateCallback_ = callback;
  playStateUser_ = user;
}

void CSoundSource::SetLoadCallback(LoadCallback callback, void* user) {
  loadCallback_ = callback;
  loadUser_ = user;
}

int CSoundSource::LoadSong(const std::string& path, bool autoPlayAfter, const TZKSongRecord* record,
                           bool keepCue) {
  (void)keepCue;  // the cue table is restored from the record by the cue controls
  if (loadRequest.load()) return 0;
  Play(0);
  songReady.store(false);
  uiState.store(kUiLoading);
  {
    std::lock_guard<std::mutex> hold(pendingMutex_);
    pendingPath_ = path;
    pendingRecord_ = record;
    // Copied here, on the thread that owns the database.
    pendingTempo_ = record ? record->bpm : 0.0f;
  }
  autoPlay.store(autoPlayAfter);
  seekRequest.store(false);
  loadRequest.store(true);
  storeThread_.Wake();
  return 1;
}

void CSoundSource::RequestUnload() {
  unloadRequest.store(true);
  storeThread_.Wake();
}

void CSoundSource::SeekRequest(double target) {
  if (seekRequest.load() || scratching.load() || !songReady.load() || loadRequest.load()) return;
  seekTarget.store(target);
  seekRequest.store(true);
  storeThread_.Wake();
}

int CSoundSource::GetDecodedPercent() const {
  if (streamingMode.load()) return 100;
  return store_.DecodedPercent(blockCount.load());
}

bool CSoundSource::IsBlockPinned(int block) const {
  const DeckBlock* present = store_.Block(block);
  if (present && present->pinned) return true;
  const std::int32_t cue = cuePoint.load(std::memory_order_relaxed);
  if (cue < 0) return false;
  const int cueBlock = cue / kBlockFrames;
  return block >= cueBlock - 1 && block <= cueBlock + 1;
}

int CSoundSource::BlockFramesDecoded(int block) const {
  const DeckBlock* present = store_.Block(block);
  return present ? static_cast<int>(present->frames) : -1;
}

std::int16_t CSoundSource::GetSample16(std::int64_t frame, int channel) const {
  const std::int64_t total = totalFrames.load(std::memory_order_relaxed);
  if (total <= 0 || channel < 0 || channel > 1) return 0;
  frame %= total;
  if (frame < 0) frame += total;
  const std::int16_t* samples = store_.FramePointer(frame);
  return samples ? samples[channel] : 0;
}
// GetSample16 and GetSampleFloat are safe on the audio thread inside Render
// and on the store thread; other threads read through ReadFrames.

float CSoundSource::GetSampleFloat(std::int64_t frame, int channel) const {
  return GetSample16(frame, channel) * kSampleScale;
}

int CSoundSource::ReadFrames(std::int64_t first, int count, float* destination) const {
  AssertNotRealtime("CSoundSource::ReadFrames");
  if (!destination || count <= 0) return 0;
  const std::int64_t total = totalFrames.load(std::memory_order_relaxed);
  store_.EnterReader();
  for (int i = 0; i < count; ++i) {
    const std::int64_t frame = first + i;
    const std::int16_t* samples =
        (frame >= 0 && frame < total) ? store_.FramePointer(frame) : nullptr;
    destination[i * 2] = samples ? samples[0] * kSampleScale : 0.0f;
    destination[i * 2 + 1] = samples ? samples[1] * kSampleScale : 0.0f;
  }
  store_.LeaveReader();
  return count;
}

int CSoundSource::PitchRangeUnits(int pitchRangeSetting) {
  switch (pitchRangeSetting) {
    case 1:
      return 400;
    case 2:
      return 800;
    case 4:
      return 2400;
    case 5:
      return 3200;
    case 6:
      return 5000;
    default:
      return 1600;
  }
}

int CSoundSource::CurrentPitchRangeUnits() {
  return PitchRangeUnits(TheEngineSettings().pitchRange.load());
}

}  // namespace vantaro
