#pragma once
// CSoundSource: one deck, and the one face that the mixer, the program and
// the tests see. Inside it are three parts, each with its own header:
//  - DeckStore (deck_store.h): the block table, the store thread that decodes
//    one-second blocks ahead of the play position, load and unload, seeks;
//    inside it DeckStripe (deck_stripe.h), the stripe and the tempo analysis,
//    computed by the DeckAnalysisFeed the program hands the deck.
//  - DeckTransport (deck_transport.h): the position, the speed ramps, the
//    play word, the render with its interpolation and envelope.
//  - DeckHands (deck_hands.h): scratch, jog, bends and hold-to-seek, owned
//    by the jog thread and fed by commands through a ring.
//  - DeckCues, DeckLoops, DeckSync (deck_cues.h, deck_loops.h, deck_sync.h):
//    cue points, loops and the beat, over the words the transport owns
//    (DeckMarks, deck_cue_words.h), and the song record's memory of them.
// The key lock joins these parts where their headers say.
//
// Threads:
//  - Render, Render16, SyncPhase, GetBPM: the audio thread (GetBPM from any);
//    no allocation, no lock, no wait. A missing block renders silence with
//    the clock running and wakes the store thread.
//  - Play, LoadSong, PeriodicUpdate, SlowPitchResetStep, the hand operations
//    and the other requests: the GUI thread. The play-state callback runs
//    there too, inside Play, LoadSong or PeriodicUpdate: once for each change
//    of the play state, in order, wherever the change was made (a stop at
//    the song's end on the audio thread is reported by the next of them).
//  - ScratchTick: the jog thread (25 ms, woken by hand commands).
//  - StoreThreadRun, DecodeBlock, EvictBlock: the store thread (tests call
//    StoreThreadRun directly instead of starting the thread).
// Positions and lengths are frames at 44100 Hz; pitch is in 1/10000; a stored
// sample times 3e-5 is the float sample (full scale 0.98304).
//
// Wiring by the program: construct with the deck number and the data root,
// StartStoreThread, hand the deck to its mixer channel; give it the jog tick
// thread (SetJogTick), which calls ScratchTick(kJogIdleLimit); the screen
// tick calls PeriodicUpdate. At close, SetJogTick(nullptr) before the jog
// thread stops, take the deck out of the audio path (no Render may follow),
// then delete it: the destructor stops the store thread and unloads.

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "base/audio_signal_source.h"
#include "engine/deck_cues.h"
#include "engine/deck_hands.h"
#include "engine/deck_loops.h"
#include "engine/deck_store.h"
#include "engine/deck_sync.h"
#include "engine/deck_transport.h"
#include "library/song_record.h"

namespace vantaro {

class TimedThread;

class CSoundSource : public CAudioSignalSource {
 public:
  // state: 0 paused, 1 playing, 2 playing for the first time since the load.
  using PlayStateCallback = void (*)(int deck, int state, void* user);
  using LoadCallback = DeckStore::LoadCallback;

  static constexpr int kMaxRenderFrames = DeckTransport::kMaxRenderFrames;
  static constexpr int kFadeLength = DeckTransport::kFadeLength;
  static constexpr float kSampleScale = DeckTransport::kSampleScale;
  static constexpr int kStoreThreadPeriodMs = DeckStore::kThreadPeriodMs;
  static constexpr int kJogIdleLimit = DeckHands::kJogIdleLimit;

  // `dataRoot` ends with a separator; it names where the deck's files live.
  CSoundSource(int deckIndex, std::string dataRoot);
  ~CSoundSource() override = default;
  CSoundSource(const CSoundSource&) = delete;
  CSoundSource& operator=(const CSoundSource&) = delete;

  // ---- lifecycle (GUI thread) --------------------------------------------
  bool StartStoreThread() { return store_.StartThread(); }
  void StopStoreThread() { store_.StopThread(); }
  void WakeStoreThread() { store_.Wake(); }  // any thread, real-time safe
  // Replaces the decoder. Only while no store run can be in flight (before
  // StartStoreThread, or after StopStoreThread).
  void UseDecoder(std::unique_ptr<DeckDecoder> decoder) { store_.UseDecoder(std::move(decoder)); }
  void SetPlayStateCallback(PlayStateCallback callback, void* user);
  // Called on the store thread after a load (1) or an unload (0).
  void SetLoadCallback(LoadCallback callback, void* user) {
    store_.SetLoadCallback(callback, user);
  }
  // Before StartStoreThread. Without a feed the deck analyses nothing and
  // takes the tempo of the record it is loaded with.
  void SetAnalysisFeed(std::unique_ptr<DeckAnalysisFeed> feed) {
    store_.SetAnalysisFeed(std::move(feed));
  }
  // The song's tempo became known, in BPM (the deck's own analysis reports
  // here too).
  void SetSongTempo(float bpm) { store_.SetSongTempo(bpm); }
  // The BPM dialog's confirmation: the marks come off, the deck counts as
  // not analysed, and the tempo is found again with `mode` (0 automatic
  // 75-150, -1 below 100, -2 above 100, else a manual BPM). The store
  // thread does it at its next run.
  void ResetTempoAnalysis(int mode) { store_.ResetTempoAnalysis(mode); }
  // The live copy of the loaded song's record: cues from the database, the
  // learnt tempo and gain, automatic cue_in and cue_out. Not the audio thread.
  TZKSongRecord SongRecord() const { return store_.SongRecord(); }
  // The thread that calls ScratchTick, woken by each hand command; null
  // before it stops.
  void SetJogTick(TimedThread* jogTick) { hands_.SetWake(jogTick); }

  // ---- block store ---------------------------------------------------------
  // No decoding here. Returns 0 while a load is already waiting.
  int LoadSong(const std::string& path, bool autoPlay, const TZKSongRecord* record, bool keepCue);
  // Asks the store thread to unload the song (close of a deck, eject).
  void RequestUnload() { store_.RequestUnload(); }
  // Store thread. 1 when decoded now; 0 when present already, out of range
  // or out of memory.
  int DecodeBlock(int block) { return store_.DecodeBlock(block); }
  // Store thread. True when the block was freed (or marked for the cache).
  bool EvictBlock(int block, bool force) { return store_.EvictBlock(block, force); }
  // One run of the store thread's routine.
  void StoreThreadRun() { store_.Run(); }
  int GetDecodedPercent() const { return store_.GetDecodedPercent(); }
  // Percentage of the whole-track tempo step: 0 while it runs (it has no
  // steps to count), 101 when none runs.
  int GetProgress() const { return store_.IsTempoAnalysisRunning() ? 0 : 101; }
  // Any thread but the audio thread: `count` frames from `first` as
  // interleaved floats; absent blocks and frames outside the song read as 0.
  // Returns `count`.
  int ReadFrames(std::int64_t first, int count, float* destination) const {
    return store_.ReadFrames(first, count, destination);
  }
  // Sample readers for analysis and correlation, inside the render or on the
  // store thread; the index wraps by the song length. 0 when absent.
  std::int16_t GetSample16(std::int64_t frame, int channel) const {
    return store_.GetSample16(frame, channel);
  }
  float GetSampleFloat(std::int64_t frame, int channel) const {
    return GetSample16(frame, channel) * kSampleScale;
  }
  // Jump to `target` (frames) once its block is decoded. Ignored while a seek
  // waits, while scratching, before the song is ready or during a load.
  void SeekRequest(double target) { store_.SeekRequest(target); }

  int DeckIndex() const { return store_.DeckIndex(); }
  bool IsSongLoaded() const { return store_.IsSongLoaded(); }
  bool IsSongReady() const { return store_.IsSongReady(); }
  bool IsStreaming() const { return store_.IsStreaming(); }
  bool IsLoadPending() const { return store_.IsLoadPending(); }
  bool IsSeekPending() const { return store_.IsSeekPending(); }
  int GetUiState() const { return store_.GetUiState(); }
  int BlockCount() const { return store_.BlockCount(); }
  int BlockState(int block) const { return store_.Blocks().State(block); }
  bool IsBlockPresent(int block) const { return store_.Blocks().IsPresent(block); }
  // Pinned blocks: the first, the last two, and the three around the cue.
  bool IsBlockPinned(int block) const { return store_.IsBlockPinned(block); }
  // Frames decoded into a present block, -1 when absent.
  int BlockFramesDecoded(int block) const { return store_.BlockFramesDecoded(block); }
  int StripeCount() const { return store_.StripeCount(); }
  // The stripe arrays, guarded by StripeLock(); each holds StripeCount() + 1
  // values while a song is loaded, none otherwise.
  std::mutex& StripeLock() { return store_.StripeLock(); }
  const std::vector<float>& Stripes(int which) const { return store_.Stripes(which); }

  // ---- transport -------------------------------------------------------------
  void Render(float* buffer, int frames) override;
  void Render16(std::int16_t* buffer, int frames) override;  // linear, stored units
  // The tempo under the position, as the last render (or load) found it.
  float GetBPM() override { return transport_.GetBPM(); }
  // rint(position - 0.5): the render plays one frame late.
  std::int32_t GetPosition() override { return transport_.GetPosition(); }
  std::int32_t GetLength() override { return store_.TotalFrames(); }
  void SyncPhase(int phase) override;

  void SetPitch(int pitchUnits) { transport_.SetPitch(pitchUnits); }
  int GetPitch() const { return transport_.GetPitch(); }
  void SetDirection(int newDirection) { transport_.SetDirection(newDirection); }  // +1 or -1
  int GetDirection() const { return transport_.GetDirection(); }
  void SetExternalSpeed(bool on) { transport_.SetExternalSpeed(on); }
  void SetSpeed(double speed) { transport_.SetSpeed(speed); }
  void SetBrake(bool on) { transport_.SetBrake(on); }
  // 1 play, 0 pause, -1 toggle; under a held platter too (see deck_transport.h).
  void Play(int value);
  // The transport runs (under a hand: the platter turns).
  bool IsPlaying() const { return transport_.IsPlaying(); }
  void SkipFrames(float frames) { transport_.SkipFrames(frames); }
  void SetRepeat(bool on) { transport_.Cues().repeatOn.store(on); }
  void SetKeyLock(bool on) { transport_.SetKeyLock(on); }
  void SetJogTouch(bool on) { transport_.SetJogTouch(on); }
  // The active cue, frames (below 1: none).
  void SetCuePoint(std::int32_t frame) { transport_.Cues().cuePosition.store(frame); }
  std::int32_t GetCuePoint() const { return transport_.Cues().cuePosition.load(); }
  void SetCueMode(int mode) { cues_.SetCueMode(mode); }

  // Speed applied to the last frame, the speed asked for, and the exact
  // position (display and tests).
  double GetSpeed() const { return transport_.GetSpeed(); }
  double GetRequestedSpeed() const { return transport_.GetRequestedSpeed(); }
  double GetExactPosition() const { return transport_.GetExactPosition(); }
  bool IsScratching() const { return transport_.IsScratching(); }
  bool IsGliding() const { return transport_.IsGliding(); }
  bool IsBraking() const { return transport_.IsBraking(); }
  // Output gain of the envelope, 0..1.
  float GetEnvelopeGain() const { return transport_.GetEnvelopeGain(); }

  // ---- hands (GUI thread; applied on the jog thread) ---------------------------
  // Mouse and on-screen wheel.
  void BeginScratch(int wheel, bool relative) { hands_.BeginScratch(wheel, relative); }
  void MoveScratch(int wheel) { hands_.MoveScratch(wheel); }
  void EndScratch() { hands_.EndScratch(); }
  // Controller jog; `previous` kJogRelativeStep means `value` is a signed step.
  // `elapsedMs` is the time since the last message.
  void Jog(int value, int previous, int kind, bool forceScratch, int elapsedMs) {
    hands_.Jog(value, previous, kind, forceScratch, elapsedMs);
  }
  // Jog thread, every 25 ms and when woken, with kJogIdleLimit. `now` is
  // when the tick runs (tests give their own clock).
  void ScratchTick(int idleLimit, DeckClock::time_point now = DeckClock::now()) {
    hands_.Tick(idleLimit, now);
  }
  // The frame the hand points at during the last scratch (display, tests).
  double GetScratchTarget() const { return hands_.ScratchTarget(); }
  // Screen tick: a step of the bends and hold-to-seek; play-state news.
  void PeriodicUpdate();
  // Actions: held bends, hold-to-seek buttons, pitch reset.
  void BendDown(bool pressed) { hands_.BendDown(pressed); }
  void BendUp(bool pressed) { hands_.BendUp(pressed); }
  void HoldSeekBack(bool pressed) { hands_.HoldSeekBack(pressed); }
  void HoldSeekForward(bool pressed) { hands_.HoldSeekForward(pressed); }
  void ResetPitch();
  // Screen tick, once in ten ticks (count 2): moves a slowly released pitch
  // one step of 10 towards 0; the last step clears the mark and the bends.
  void SlowPitchResetStep();
  bool IsSlowResetRunning() const { return slowResetMark_.load(); }

  // ---- cues (GUI thread; see deck_cues.h) -------------------------------------
  // A change is stored in the song record at once (SetSongMemory).
  void CueButtonDown();
  void CuePress();
  void CueRelease();
  void SetCueHere();
  void SelectCue(int index);
  void CueButton(int index);
  void SetCueEntry(int index);
  void ClearCue();
  std::int32_t GetCue(int index) const { return cues_.GetCue(index); }
  int GetCueIndex() const { return cues_.GetCueIndex(); }
  std::int32_t GetStart() const { return cues_.GetStart(); }
  std::int32_t GetEnd() const { return cues_.GetEnd(); }
  void SetAutoCue(bool on) { cues_.SetAutoCue(on); }
  // Plays from the active cue; StopToStart stops at frame 0. Both end a loop.
  void PlayFromCue();
  void StopToStart();
  // Hold-to-clear: buttons held and released; AgeHolds at tick count 6.
  void HoldCue(int index, bool down) { cues_.HoldCue(index, down); }
  void HoldLoopSlot(int slot, bool down) { cues_.HoldLoopSlot(slot, down); }
  void AgeHolds();
  // Where the deck stores its record (before the first load).
  void SetSongMemory(SongMemoryStore store) { transport_.Marks().memoryStore.store(store); }

  // ---- loops (GUI thread; see deck_loops.h) ------------------------------------
  int LoopForward(int size) { return loops_.LoopForward(size); }
  int LoopHalves(int halfBeats) { return loops_.LoopHalves(halfBeats); }
  int LoopBackward(int size) { return loops_.LoopBackward(size); }
  int LoopInOut() { return loops_.LoopInOut(); }
  int ReLoop() { return loops_.ReLoop(); }
  void StopLoop(bool force) { loops_.StopLoop(force); }
  int ShiftLoop(std::int32_t delta) { return loops_.ShiftLoop(delta); }
  int SetLoopEnd(std::int32_t delta) { return loops_.SetLoopEnd(delta); }
  int LoopSlot(int index);
  void ClearLoopSlot(int index);
  bool LoopSlotEmpty(int index) const { return loops_.LoopSlotEmpty(index); }
  void SetLoopSync(bool on) { loops_.SetLoopSync(on); }
  int GetLoopSize(std::int32_t length) const { return loops_.GetLoopSize(length); }
  std::string GetLoopText() const { return loops_.GetLoopText(); }
  bool IsLooping() const { return loops_.IsLooping(); }
  bool TakeLoopChanged() { return loops_.TakeLoopChanged(); }
  // The loop the render obeys: in and out frames (display, tests).
  std::int32_t LoopIn() const { return transport_.Marks().loops.loopIn.load(); }
  std::int32_t LoopOut() const { return transport_.Marks().loops.loopOut.load(); }
  // The in point is set and the out point awaited (the wave's open loop mark).
  bool IsLoopArmed() const { return transport_.Marks().loops.loopArmed.load(); }

  // ---- beats (GUI thread; readings any thread; see deck_sync.h) -----------------
  std::int32_t GetBeatLength() const { return sync_.GetBeatLength(); }
  std::int32_t SnapToBeat(std::int32_t range) const { return sync_.SnapToBeat(range); }
  // One beat (or four) back (-1) or on (+1).
  int SkipBeats(int direction) { return sync_.SkipBeats(direction < 0 ? -1 : 1); }
  int SkipBeats4(int direction) { return sync_.SkipBeats(direction < 0 ? -4 : 4); }
  // This deck's pitch to `other`'s tempo: 1 when done, 0 when refused.
  int MatchPitch(CSoundSource& other);
  // The same, then the deck plays and its beat locks onto `other`'s at the
  // next block.
  int MatchDeck(CSoundSource& other);
  bool IsBeatLockArmed() const { return sync_.IsLockArmed(); }
  float GetBeatPhase() const { return sync_.BeatPhase(); }
  int GetBeatNumber() const { return sync_.BeatNumber(); }
  bool IsOnBeat() const { return sync_.IsOnBeat(); }
  float PhaseDifference(const CSoundSource& other) const {
    return sync_.PhaseDifference(other.sync_);
  }

  // Pitch slider limit (1/10000, symmetric) for a `ptchrg` value, and for
  // the present setting.
  static int PitchRangeUnits(int pitchRangeSetting);
  static int CurrentPitchRangeUnits();

 private:
  // Calls the play-state callback once for each change not yet reported.
  void ReportPlayNews();

  const std::string dataRoot_;  // where the cache file would live; never used
  DeckTransport transport_;
  DeckStore store_;
  DeckHands hands_;
  DeckSync sync_;
  DeckLoops loops_;
  DeckCues cues_;
  std::atomic<bool> slowResetMark_{false};
  std::uint64_t reportedChanges_ = 0;  // GUI thread
  PlayStateCallback playStateCallback_ = nullptr;
  void* playStateUser_ = nullptr;
};

}  // namespace vantaro
