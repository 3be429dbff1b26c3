#pragma once
// CSoundSource: one deck. It is the store of one-second blocks that its own
// store thread decodes ahead of the play position (deck_store_thread.cpp), the
// transport that moves a double-precision position through them at a ramped
// speed and interpolates the output (deck_transport.cpp), and the scratch,
// jog, bend and hold-to-seek controls that steer that speed
// (deck_scratch.cpp).
//
// Threads:
//  - Render, Render16, SyncPhase: audio thread only; no allocation, no lock,
//    no wait. A missing block renders silence with the clock running and
//    wakes the store thread.
//  - LoadSong, SeekRequest, Play, SetPitch and the other requests: GUI,
//    script or jog thread. They only write atomic words that the render or
//    the store thread picks up.
//  - ScratchTick: the 25 ms jog thread. PeriodicUpdate: the screen tick.
//  - StoreThreadRun, DecodeBlock, EvictBlock: the store thread (tests call
//    StoreThreadRun directly instead of starting the thread).
// Positions and lengths are frames at 44100 Hz; pitch is in 1/10000; a stored
// sample times 3e-5 is the float sample (full scale 0.98304).
//
// Wiring by the application: construct with the deck number and the data
// root, StartStoreThread, hand the deck to its mixer channel; the jog tick
// calls ScratchTick(kJogIdleLimit), the screen tick PeriodicUpdate. At close,
// take the deck out of the audio path first (no Render may follow), then
// delete it: the destructor stops the store thread and unloads the song.

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "base/audio_signal_source.h"
#include "base/timed_thread.h"
#include "engine/deck_block_store.h"
#include "engine/deck_decoder.h"

namespace vantaro {

struct TZKSongRecord;    // the song database's record of one track
struct DeckRenderState;  // the render's working copy of the transport

// What the screen tick shows (`uiState`), bits.
enum DeckUiState {
  kUiLoading = 1,
  kUiReady = 2,
  kUiFailed = 4,
  kUiStripesProgressing = 8,
  kUiTempoAnalysis = 16,
  kUiAllDone = 32,
};

// Jog kinds of controllers (`Jog`'s `kind`); any other value is an absolute
// 7-bit wheel.
enum JogKind {
  kJogTicks = 2,
  kJogRelative3 = 32768,
  kJogRelative6 = 65536,
  kJogRelative6Alt = 1048576,
};
inline constexpr int kJogRelativeStep = -100;  // `previous` value: `value` is a signed step

class CSoundSource;

// Where the analysis chain (gain filters, stripe values, key filter, tempo)
// attaches to the store: both calls come on the deck's store thread.
struct DeckAnalysisFeed {
  // The first decode of `block`: `frames` stereo frames of stored samples.
  void (*blockDecoded)(CSoundSource& deck, int block, const std::int16_t* samples, int frames,
                       void* user) = nullptr;
  // Every block is decoded and the tempo is still unknown: start the tempo
  // analysis; it reports back through SetSongTempo.
  void (*songDecoded)(CSoundSource& deck, void* user) = nullptr;
  void* user = nullptr;
};

class CSoundSource : public CAudioSignalSource {
 public:
  // state: 0 paused, 1 playing, 2 playing for the first time since the load.
  using PlayStateCallback = void (*)(int deck, int state, void* user);
  // loaded: 1 after a load, 0 after an unload.
  using LoadCallback = void (*)(int deck, int loaded, void* user);

  static constexpr int kMaxRenderFrames = 4410;  // larger requests render silence
  static constexpr int kFadeLength = 441;        // 10 ms output envelope
  static constexpr float kSampleScale = 3e-5f;   // stored 16-bit sample to float
  static constexpr int kStoreThreadPeriodMs = 250;
  static constexpr int kJogIdleLimit = 7;  // ScratchTick's limit on the jog thread

  // `dataRoot` ends with a separator; it names where the deck's files live.
  CSoundSource(int deckIndex, std::string dataRoot);
  // Sets `closing`, stops the store thread, unloads. GUI thread.
  ~CSoundSource() override;
  CSoundSource(const CSoundSource&) = delete;
  CSoundSource& operator=(const CSoundSource&) = delete;

  // ---- lifecycle (GUI thread) --------------------------------------------
  bool StartStoreThread();                         // idle priority, 250 ms, woken by the render
  void StopStoreThread();                          // the run in flight finishes first
  void WakeStoreThread() { storeThread_.Wake(); }  // any thread, real-time safe
  // Replaces the decoder. Only while no store run can be in flight (before
  // StartStoreThread, or after StopStoreThread).
  void UseDecoder(std::unique_ptr<DeckDecoder> decoder);
  void SetPlayStateCallback(PlayStateCallback callback, void* user);
  // Called on the store thread after a load (1) or an unload (0).
  void SetLoadCallback(LoadCallback callback, void* user);
  // Before StartStoreThread.
  void SetAnalysisFeed(const DeckAnalysisFeed& feed) { analysisFeed_ = feed; }
  // The song's tempo became known (database or finished analysis), in BPM.
  void SetSongTempo(float bpm);

  // ---- block store ---------------------------------------------------------
  // GUI thread; no decoding here. Returns 0 while a load is already waiting.
  int LoadSong(const std::string& path, bool autoPlay, const TZKSongRecord* record, bool keepCue);
  // Asks the store thread to unload the song (close of a deck, eject).
  void RequestUnload();
  // Store thread. 1 when decoded now; 0 when present already, out of range
  // or out of memory.
  int DecodeBlock(int block);
  // Store thread. True when the block was freed (or marked for the cache).
  bool EvictBlock(int block, bool force);
  // One run of the store thread's routine.
  void StoreThreadRun();
  int GetDecodedPercent() const;
  // Percentage of background tempo analysis, 101 when none runs.
  int GetProgress() const { return 101; }
  // Any thread but the audio thread: `count` frames from `first` as
  // interleaved floats; absent blocks and frames outside the song read as 0.
  // Returns `count`.
  int ReadFrames(std::int64_t first, int count, float* destination) const;
  // Sample readers for analysis and correlation; the index wraps by the
  // song length. 0 when absent or no song.
  std::int16_t GetSample16(std::int64_t frame, int channel) const;
  float GetSampleFloat(std::int64_t frame, int channel) const;
  // Jump to `target` (frames) once its block is decoded. Ignored while a seek
  // waits, while scratching, before the song is ready or during a load.
  void SeekRequest(double target);

  int DeckIndex() const { return deckIndex; }
  bool IsSongLoaded() const { return songLoaded.load(); }
  bool IsSongReady() const { return songReady.load(); }
  bool IsStreaming() const { return streamingMode.load(); }
  bool IsLoadPending() const { return loadRequest.load(); }
  bool IsSeekPending() const { return seekRequest.load(); }
  int GetUiState() const { return uiState.load(); }
  int BlockCount() const { return blockCount.load(); }
  int BlockState(int block) const { return store_.State(block); }
  bool IsBlockPresent(int block) const { return store_.IsPresent(block); }
  // Pinned blocks: the first, the last two, and the three around the cue.
  bool IsBlockPinned(int block) const;
  // Frames decoded into a present block, -1 when absent.
  int BlockFramesDecoded(int block) const;
  int StripeCount() const { return stripeCount.load(); }
  // The stripe arrays, guarded by StripeLock(); each holds StripeCount() + 1
  // values while a song is loaded, none otherwise.
  std::mutex& StripeLock() { return stripeLock; }
  const std::vector<float>& Stripes(int which) const { return stripes[which]; }

  // ---- transport -------------------------------------------------------------
  void Render(float* buffer, int frames) override;
  void Render16(std::int16_t* buffer, int frames) override;  // linear, stored units
  float GetBPM() override;
  std::int32_t GetPosition() override;  // rint(position - 0.5): the render plays one frame late
  std::int32_t GetLength() override { return totalFrames.load(std::memory_order_relaxed); }
  void SyncPhase(int phase) override;

  void SetPitch(int pitchUnits);
  int GetPitch() const;
  void SetDirection(int newDirection);  // +1 or -1
  int GetDirection() const { return direction.load(); }
  void SetExternalSpeed(bool on);
  void SetSpeed(double speed);
  void SetBrake(bool on);
  void Play(int value);  // 1 play, 0 pause, -1 toggle
  bool IsPlaying() const { return playing.load(); }
  void SkipFrames(float frames);
  void SetRepeat(bool on) { repeatOn.store(on); }
  void SetKeyLock(bool on) { keyLockOn.store(on); }
  void SetJogTouch(bool on) { jogTouch.store(on); }
  void SetCuePoint(std::int32_t frame) { cuePoint.store(frame); }
  std::int32_t GetCuePoint() const { return cuePoint.load(); }
  void SetCueMode(int mode) { cueMode.store(mode); }

  // Speed applied to the last frame, the speed asked for, and the exact
  // position (display and tests).
  double GetSpeed() const { return speedCurrent.load(std::memory_order_relaxed); }
  double GetRequestedSpeed() const { return speedRequested.load(std::memory_order_relaxed); }
  double GetExactPosition() const { return playPosition.load(std::memory_order_relaxed); }
  bool IsScratching() const { return scratching.load(); }
  bool IsGliding() const { return glideOn.load(); }
  bool IsBraking() const { return brakeOn.load(); }
  // Output gain of the envelope, 0..1.
  float GetEnvelopeGain() const {
    return static_cast<float>(fadeCount.load(std::memory_order_relaxed)) / kFadeLength;
  }

  // Mouse and on-screen wheel.
  void BeginScratch(int wheel, bool relative);
  void MoveScratch(int wheel);
  void EndScratch();
  // Controller jog; `previous` kJogRelativeStep means `value` is a signed step.
  // `elapsedMs` is the time since the last message.
  void Jog(int value, int previous, int kind, bool forceScratch, int elapsedMs);
  // Jog thread, every 25 ms, with kJogIdleLimit.
  void ScratchTick(int idleLimit);
  // Screen tick: bends, hold-to-seek, play-state news.
  void PeriodicUpdate();
  // Actions: held bends, hold-to-seek buttons, pitch reset.
  void BendDown(bool pressed);
  void BendUp(bool pressed);
  void HoldSeekBack(bool pressed);
  void HoldSeekForward(bool pressed);
  void ResetPitch();
  // Screen tick, once in ten ticks (count 2): moves a slowly released pitch
  // one step of 10 towards 0; the last step clears the mark and the bends.
  void SlowPitchResetStep();
  bool IsSlowResetRunning() const { return slowResetMark.load(); }

  // Pitch slider limit (1/10000, symmetric) for a `ptchrg` value, and for
  // the present setting.
  static int PitchRangeUnits(int pitchRangeSetting);
  static int CurrentPitchRangeUnits();

 private:
  // deck_store_thread.cpp
  void RunLoad(const std::string& path, float databaseTempo);
  void Unload();
  void ResetSpeedState();
  void OrdinaryModeRun();
  void StreamingModeRun();
  bool ServeSeek();  // true when a seek was served (the run then ends)
  int CurrentBlock() const;
  bool StopWanted() const;
  void EvictAllExceptAround(int keepCentre);
  bool NeighbourhoodPresent(int centre) const;
  void FreeRetiredBlocks() { store_.FreeRetired(retired_); }
  void RunAnalysisFeed(int block, const DeckBlock& decoded);
  void OnSongFullyDecoded();

  // deck_transport.cpp
  template <typename Sample, bool kCubic>
  void RenderFrames(Sample* out, int frames);
  // 0 ready, 1 a block is missing, 2 a block lies beyond the table.
  int CheckBlocks(double position, double speed, int frames) const;
  void FollowCueUnderTheHand(double position);
  void StepSpeed(DeckRenderState& state);
  bool StayInsideTheSong(DeckRenderState& state, bool repeat);
  template <typename Sample>
  void TailFade(Sample* out, int from, int frames, DeckRenderState& state);
  int FadeCountFor(double speed) const;
  double RampStep(double difference, double target, double position) const;
  void NotifyPlayState(bool nowPlaying);

  // deck_scratch.cpp
  void TakeHoldForScratch();
  void UpdateMouseScratchSpeed();
  void UpdateJogScratchSpeed();
  void EndJogScratch();
  void StartBend(bool down);
  void EndBend(bool down);
  void RunBend();
  void RunHoldSeek();
  int JogDirectionAndMagnitude(int value, int previous, int kind, int elapsedMs, bool& backwards);

  // ---- store ----
  const int deckIndex;
  const int blockFrames = kBlockFrames;
  const std::string dataRoot_;
  std::atomic<std::int32_t> blockCount{0};
  std::atomic<std::int32_t> totalFrames{0};
  DeckBlockStore store_;  // blockTable and blockState
  std::atomic<bool> songLoaded{false};
  std::atomic<bool> songReady{false};
  std::atomic<bool> streamingMode{false};
  bool cachePresent = false;  // always set by a load: the cache file is never used
  std::atomic<bool> loadRequest{false};
  std::atomic<bool> autoPlay{false};
  std::atomic<bool> unloadRequest{false};
  std::atomic<bool> closing{false};
  std::atomic<bool> seekRequest{false};
  std::atomic<double> seekTarget{0.0};
  std::atomic<bool> threadBusy{false};
  std::atomic<int> uiState{0};
  std::atomic<bool> tempoKnown{false};  // from the database or a finished analysis
  std::atomic<float> songTempo{0.0f};   // BPM; 0 unknown
  std::atomic<std::int32_t> stripeCount{0};
  std::mutex stripeLock;
  std::vector<float> stripes[3];
  std::mutex pendingMutex_;  // GUI hands the path to the store thread
  std::string pendingPath_;
  const TZKSongRecord* pendingRecord_ = nullptr;
  float pendingTempo_ = 0.0f;                  // BPM the database knows for the pending song
  const TZKSongRecord* songRecord_ = nullptr;  // store thread
  std::unique_ptr<DeckDecoder> decoder_;
  std::vector<DeckBlock*> retired_;  // store thread: blocks waiting for a grace period
  DeckAnalysisFeed analysisFeed_;
  bool tempoAnalysisStarted_ = false;  // store thread
  bool tempoReady_ = false;            // store thread: the full decode's tempo step is done
  TimedThread storeThread_;

  // ---- transport ----
  std::atomic<double> playPosition{0.0};
  std::atomic<double> speedRequested{0.0};
  std::atomic<double> speedTarget{0.0};
  std::atomic<double> speedCurrent{0.0};
  std::atomic<double> speedStep{0.0};
  std::atomic<double> pitchSpeed{1.0};
  std::atomic<double> stretchSpeedRequested{1.0};  // taken by the key-lock path
  std::atomic<int> direction{1};
  std::atomic<int> pitch{0};
  std::atomic<bool> playing{false};
  std::atomic<bool> everPlayed{false};  // for the "first start" play-state news
  std::atomic<bool> brakeOn{false};
  std::atomic<bool> glideOn{false};
  std::atomic<bool> stopNow{false};
  std::atomic<bool> externalSpeed{false};
  std::atomic<int> fadeCount{kFadeLength};
  std::atomic<bool> repeatOn{false};
  std::atomic<bool> keyLockOn{false};
  std::atomic<bool> loopOn{false};  // owned by the loop controls
  std::atomic<bool> jogTouch{false};
  std::atomic<bool> cueHeld{false};
  std::atomic<bool> mustSetCue{false};
  std::atomic<std::int32_t> cuePoint{-1};
  std::atomic<int> cueMode{0};
  float lastLeft = 0.0f, lastRight = 0.0f;  // audio thread only

  // ---- scratch and jog ----
  std::atomic<bool> scratching{false};
  std::atomic<bool> scratchResume{false};
  std::atomic<bool> scratchRelative{false};
  std::atomic<bool> scratchExternal{false};
  std::atomic<std::int32_t> scratchStartPos{0};
  std::atomic<std::int32_t> scratchStartWheel{0};
  std::atomic<std::int32_t> scratchLastWheel{0};
  std::atomic<std::int32_t> scratchLastDelta{0};
  std::atomic<std::int32_t> scratchAccum{0};
  std::atomic<float> jogAccum{0.0f};
  std::atomic<float> jogStep{0.0f};
  std::atomic<int> jogIdle{0};
  std::atomic<int> jogLastDir{-1};  // 0 forwards, 1 backwards, -1 none
  std::atomic<int> jogLastMagnitude{0};

  // ---- bends, hold-to-seek, slow reset (screen tick) ----
  std::atomic<bool> bendDownOn{false}, bendUpOn{false}, bendMomentary{false};
  std::atomic<int> bendDownTicks{-1}, bendUpTicks{-1};
  int bendSavedPitch = 0, bendLimit = 0;
  float bendDelta = 0.0f;
  std::atomic<int> holdBackSeconds{-1}, holdForwardSeconds{-1};
  std::atomic<bool> slowResetMark{false};
  bool reportedPlaying_ = false;  // play state last told to the callback

  PlayStateCallback playStateCallback_ = nullptr;
  void* playStateUser_ = nullptr;
  LoadCallback loadCallback_ = nullptr;
  void* loadUser_ = nullptr;
};

}  // namespace vantaro
