#pragma once
// DeckTransport: how a deck's position moves and what is heard there. The
// position is a double in frames; every output frame advances it by the
// current speed, which ramps towards the requested speed. The render reads
// the store's blocks at the position with cubic (Render) or linear (Render16)
// interpolation, shapes the output with a 10 ms envelope, and ends a stop in
// a fade of the last frame.
//
// The play word. `playing`, `scratching` and `scratchResume` live in one
// atomic word, changed only by compare-and-swap, together with a count of the
// changes of the deck's play state. The play state is `playing`, except while
// a hand holds the platter: then it is what the deck does when let go
// (`scratchResume`), and `playing` only says whether the platter turns under
// the hand. So the GUI (Play), the jog thread (scratch), the store thread
// (load, auto-play) and the audio thread (the end of the song) never lose
// one another's changes, and the screen tick can report each change in order.
//
// Threads:
//  - Render, Render16: the audio thread only; no allocation, no lock, no
//    wait. Every read of block memory happens inside the block store's
//    render bracket.
//  - Play, SetPitch, SetDirection, SetBrake, SetSpeed, SetExternalSpeed and
//    the other setters: GUI thread. SetPitch also on the jog thread (bends).
//  - TakeHold, LetGo, RequestSpeed, SetGlide: the hands, on the jog thread.
//  - SetPosition, ResetForLoad, Play(1) after a load: the store thread.
//    PublishTempo: the store thread, and whoever reports the song's tempo.
//  - Getters: any thread.
//
// Where the others join: the transport owns the cue table and the loop
// words (DeckMarks, deck_cue_words.h) that the cue, loop and beat controls
// write; the render runs the go-to-cue step and takes a requested skip at
// the start of a block, and the loop step after each frame's move. A loop
// wrap and a skip while playing are joined by a 2 ms crossfade from where
// the old place would have gone on into the new place. The key lock chooses
// its path at the start of the render and replaces the position step and
// the interpolated frame (marked there).
//
// Units: frames at 44100 Hz; speed 1.0 is normal, negative is reverse; pitch
// in 1/10000.

#include <atomic>
#include <cstdint>

#include "engine/cheap_stretch.h"
#include "engine/deck_cue_words.h"

namespace vantaro {

class DeckStore;
class DeckStretcher;
struct DeckRenderState;  // the render's working copy of the speed state

class DeckTransport {
 public:
  static constexpr int kMaxRenderFrames = 4410;  // larger requests render silence
  static constexpr int kFadeLength = 441;        // 10 ms output envelope
  static constexpr float kSampleScale = 3e-5f;   // stored 16-bit sample to float
  static constexpr int kJoinFrames = 88;         // 2 ms crossfade of a loop wrap or a skip

  explicit DeckTransport(const DeckStore& store);
  DeckTransport(const DeckTransport&) = delete;
  DeckTransport& operator=(const DeckTransport&) = delete;

  // ---- audio thread ----------------------------------------------------------
  // Returns true when a block was missing and the store thread must run.
  // With a stretcher attached, the key lock's high-quality path may take
  // the block (deck_transport_keylock.cpp).
  bool Render(float* buffer, int frames);
  bool Render16(std::int16_t* buffer, int frames);  // linear, stored units

  // ---- play state -------------------------------------------------------------
  // 1 play, 0 pause, -1 toggle the play state (see above).
  void Play(int value);
  bool IsPlaying() const { return (Word() & kPlaying) != 0; }
  bool IsScratching() const { return (Word() & kScratching) != 0; }
  bool ScratchResume() const { return (Word() & kResume) != 0; }
  // The play state and the number of its changes so far (wraps).
  std::uint64_t PlayNews(bool& playState) const;
  // True once for the first start since the load (the news says 2 then).
  bool TakeFirstStart() { return freshSong_.exchange(false); }

  // ---- hands (jog thread) -----------------------------------------------------
  // The hand takes the platter: it turns under the hand at requested speed 0,
  // and remembers whether to play on when let go. Returns the old `playing`.
  bool TakeHold();
  // The hand lets go: the speed returns to the pitch, and the deck plays when
  // it played before, or when `start` (a paused platter thrown hard).
  void LetGo(bool start);
  void RequestSpeed(double speed) { speedRequested_.store(speed, std::memory_order_relaxed); }
  void SetGlide(bool on) { glideOn_.store(on); }

  // ---- speed requests (GUI) ---------------------------------------------------
  void SetPitch(int pitchUnits);
  int GetPitch() const;  // from the requested speed while an outside source drives it
  int PitchSetting() const { return pitch_.load(); }  // the slider's value, always
  void SetDirection(int newDirection);
  int GetDirection() const { return direction_.load(); }
  void SetExternalSpeed(bool on);
  void SetSpeed(double speed);
  void SetBrake(bool on);
  void SetKeyLock(bool on) { keyLockOn_.store(on); }
  bool IsKeyLocked() const { return keyLockOn_.load(); }
  // The deck's stretcher, before the first render; it outlives the renders.
  void AttachStretcher(DeckStretcher* stretcher) { stretcher_ = stretcher; }
  // The last render took the high-quality path.
  bool IsHighQualityActive() const { return hqActiveShown_.load(std::memory_order_relaxed); }
  // The signed speed the stretcher is asked for; the stretch thread holds it
  // at half speed when it was asked for less.
  double StretchSpeedRequested() const { return stretchSpeedRequested_.load(); }
  void HoldStretchSpeed(double speed) { stretchSpeedRequested_.store(speed); }
  // Counts the loads: the stretcher starts afresh on a new song.
  std::uint64_t SongSerial() const { return songSerial_.load(); }
  void SetJogTouch(bool on) { jogTouch_.store(on); }
  bool IsJogTouched() const { return jogTouch_.load(); }
  // Moves the position by `frames`: wrapped inside a running loop, refused
  // (false) where it would leave the song. While playing the render takes
  // it at its next block, crossfaded; otherwise it applies at once. Any
  // thread (the beat lock asks on the audio thread).
  bool RequestSkip(double frames);
  void SkipFrames(float frames) { RequestSkip(frames); }
  // A jump to `frames` at once, without a join (cue jumps). GUI thread.
  void JumpTo(double frames) { playPosition_.store(frames); }

  // ---- store thread -----------------------------------------------------------
  void SetPosition(double frames) { playPosition_.store(frames); }
  // A new song: stopped at 0 with the speed state at rest and a full envelope.
  void ResetForLoad();
  void PublishTempo(float bpm) { renderTempo_.store(bpm, std::memory_order_relaxed); }

  // ---- any thread -------------------------------------------------------------
  // The tempo under the position at the last render (or load), BPM; 0 unknown.
  float GetBPM() const { return renderTempo_.load(std::memory_order_relaxed); }
  double GetExactPosition() const { return playPosition_.load(std::memory_order_relaxed); }
  std::int32_t GetPosition() const;  // rint(position - 0.5): the render plays one frame late
  double GetSpeed() const { return speedCurrent_.load(std::memory_order_relaxed); }
  double GetRequestedSpeed() const { return speedRequested_.load(std::memory_order_relaxed); }
  double PitchSpeed() const { return pitchSpeed_.load(std::memory_order_relaxed); }
  bool IsGliding() const { return glideOn_.load(); }
  bool IsBraking() const { return brakeOn_.load(); }
  float GetEnvelopeGain() const {
    return static_cast<float>(fadeCount_.load(std::memory_order_relaxed)) / kFadeLength;
  }
  DeckMarks& Marks() { return marks_; }
  const DeckMarks& Marks() const { return marks_; }
  DeckCueTable& Cues() { return marks_.cues; }
  const DeckCueTable& Cues() const { return marks_.cues; }

 private:
  static constexpr std::uint64_t kPlaying = 1, kScratching = 2, kResume = 4, kStateBits = 7;
  static constexpr std::uint64_t kOneChange = 8;  // the change count sits above the state bits

  std::uint64_t Word() const { return playWord_.load(std::memory_order_relaxed); }
  static bool PlayState(std::uint64_t word) {
    return (word & ((word & kScratching) ? kResume : kPlaying)) != 0;
  }
  // One compare-and-swap of the state bits through `change`; counts a change
  // of the play state. Returns the word before. Lock-free (audio thread too).
  template <typename Change>
  std::uint64_t Transition(Change change);
  void PublishRestingSpeed();

  template <typename Sample, bool kCubic>
  bool RenderFrames(Sample* out, int frames);
  // The key lock's choice of path for one block, with the 44-frame fade
  // when it changes (deck_transport_keylock.cpp).
  bool RenderChoosingPath(float* out, int frames);
  bool WantsHighQuality() const;
  // The high-quality path: copies from the stretcher's rings; loops run
  // per buffer. With `advance` the position moves and the speed follows
  // the ring's ratio; without, it only listens (the fade of a change).
  void RenderHighQuality(float* out, int frames, bool advance);
  // `frames` frames heard from `position` into `out`, faded from the old
  // ring when the stretcher switched rings, and from the old place after a
  // loop's wrap; silence and a wake of the stretch thread on a miss.
  void ReadRings(float* out, int frames, double position, double ratio);
  // 0 ready, 1 a block is missing, 2 a block lies beyond the table.
  int CheckBlocks(double position, double speed, int frames) const;
  void FollowCueUnderTheHand(double position);
  // Where a skip of `frames` from `from` lands; -1 when it would leave the song.
  double SkipTarget(double from, double frames) const;
  // The block's start: the go-to-cue step and a requested skip. True when
  // the position jumped.
  bool TakeJumps(DeckRenderState& state);
  // A join begins at the block's start: `oldPosition` is where the old
  // place stands before the first frame's step.
  void StartJoin(double oldPosition);
  void StepSpeed(DeckRenderState& state);
  bool StayInsideTheSong(DeckRenderState& state, bool repeat);
  // The tail fade from the last frame over frames [from, n), outside the
  // frame loop (the high-quality path's stop).
  void FadeOut(float* out, int from, int n);
  // The end of the song stops the deck; a hand on the platter keeps it.
  // The change is counted in the play word and reported off this thread.
  void StopAtTheEnd();
  template <typename Sample>
  void TailFade(Sample* out, int from, int frames, DeckRenderState& state);
  int FadeCountFor(double speed) const;
  double RampStep(double difference, double target, double position) const;

  const DeckStore& store_;
  std::atomic<std::uint64_t> playWord_{0};
  std::atomic<bool> freshSong_{true};  // no start since the load yet
  std::atomic<double> playPosition_{0.0};
  std::atomic<double> speedRequested_{1.0};
  std::atomic<double> speedTarget_{0.0};
  std::atomic<double> speedCurrent_{0.0};
  std::atomic<double> speedStep_{0.0};
  std::atomic<double> pitchSpeed_{1.0};
  std::atomic<double> stretchSpeedRequested_{1.0};  // taken by the key-lock path
  std::atomic<int> direction_{1};
  std::atomic<int> pitch_{0};
  std::atomic<bool> brakeOn_{false};
  std::atomic<bool> glideOn_{false};
  std::atomic<bool> stopNow_{false};
  std::atomic<bool> externalSpeed_{false};
  std::atomic<bool> keyLockOn_{false};
  std::atomic<bool> jogTouch_{false};
  std::atomic<int> fadeCount_{kFadeLength};
  std::atomic<float> renderTempo_{0.0f};
  std::atomic<double> skipRequest_{0.0};  // frames, taken by the next render
  DeckMarks marks_;
  float lastLeft_ = 0.0f, lastRight_ = 0.0f;  // audio thread only
  double joinPosition_ = 0.0;  // audio thread: where the old place of a join plays on
  int joinLeft_ = 0;           // audio thread: frames of the join still to mix
  CheapStretch cheap_;         // audio thread: the key lock's cheap path
  bool cheapActive_ = false;   // audio thread: the last block took the cheap path
  std::atomic<std::uint64_t> songSerial_{0};
  // ---- the high-quality path (audio thread, but hqActiveShown_) ----
  DeckStretcher* stretcher_ = nullptr;
  bool hqActive_ = false;
  std::atomic<bool> hqActiveShown_{false};
  int lastRing_ = 0;
  bool lastReadOk_ = false;
  double readEnd_ = -1.0;  // where the last successful read ended
  int ringJoinLeft_ = 0;   // frames of a loop join still to fade
  double ringJoinPosition_ = 0.0;
  float pathBuffer_[kMaxRenderFrames * 2] = {};  // the other path, for a fade
  float otherRing_[kMaxRenderFrames * 2] = {};   // the old ring, or the old place
};

}  // namespace vantaro
