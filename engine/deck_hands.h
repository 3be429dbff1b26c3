#pragma once
// DeckHands: the hands on a deck. The mouse and on-screen wheel scratch, the
// controller jog, the pitch bends and hold-to-seek. A scratch never moves the
// position itself: it sets the requested speed so that the render chases the
// frame the hand points at, at a speed proportional to the distance.
//
// The hand state belongs to the jog thread alone. The GUI's calls are
// commands written into a bounded one-writer/one-reader ring; Tick applies
// them on the jog thread, which each command wakes at once, so a scratch
// answers within the thread's wake-up time, not at the next 25 ms tick.
// The jog idle count measures time (25 ms periods), not wake-ups.
//
// Threads:
//  - BeginScratch ... ScreenTick, EndBends, SetWake: the GUI thread, the
//    ring's one writer. A command that finds the ring full waits for the jog
//    thread (at most a second); with no jog thread to wait for it is dropped,
//    and the first drop is logged.
//  - Tick: the jog thread, the ring's one reader (tests call it directly).
//  - ScratchTarget: any thread.
//
// Units: wheel values as the control sends them; frames at 44100 Hz; pitch
// in 1/10000.

#include <atomic>
#include <chrono>
#include <cstdint>

#include "base/byte_ring.h"

namespace vantaro {

class DeckStore;
class DeckTransport;
class TimedThread;

using DeckClock = std::chrono::steady_clock;

// Jog kinds of controllers (`Jog`'s `kind`); any other value is an absolute
// 7-bit wheel.
enum JogKind {
  kJogTicks = 2,
  kJogRelative3 = 32768,
  kJogRelative6 = 65536,
  kJogRelative6Alt = 1048576,
};
inline constexpr int kJogRelativeStep = -100;  // `previous` value: `value` is a signed step

class DeckHands {
 public:
  static constexpr int kJogIdleLimit = 7;  // jog periods without a message end a jog scratch
  static constexpr DeckClock::duration kJogPeriod = std::chrono::milliseconds(25);
  static constexpr int kRingCommands = 256;

  DeckHands(DeckTransport& transport, DeckStore& store);
  DeckHands(const DeckHands&) = delete;
  DeckHands& operator=(const DeckHands&) = delete;

  // ---- GUI thread --------------------------------------------------------------
  void BeginScratch(int wheel, bool relative);
  void MoveScratch(int wheel);
  void EndScratch();
  // Controller jog; `previous` kJogRelativeStep means `value` is a signed
  // step. `elapsedMs` is the time since the last message.
  void Jog(int value, int previous, int kind, bool forceScratch, int elapsedMs);
  void BendDown(bool pressed);
  void BendUp(bool pressed);
  void HoldSeekBack(bool pressed);
  void HoldSeekForward(bool pressed);
  // One screen tick: a step of the bends and of hold-to-seek.
  void ScreenTick();
  // The slow pitch reset reached 0: the bends end where they are.
  void EndBends();
  // The thread that runs Tick, woken by each command; null before it starts
  // and before it stops.
  void SetWake(TimedThread* jogThread) { wake_.store(jogThread); }

  // ---- jog thread --------------------------------------------------------------
  // Applies the waiting commands, then steers a held scratch towards its
  // target; a jog scratch ends after more than `idleLimit` periods of
  // `kJogPeriod` without a jog message.
  void Tick(int idleLimit, DeckClock::time_point now);

  // ---- any thread --------------------------------------------------------------
  // The frame the hand points at during the last scratch.
  double ScratchTarget() const { return target_.load(std::memory_order_relaxed); }

 private:
  enum class Kind : std::int32_t {
    kBeginScratch,
    kMoveScratch,
    kEndScratch,
    kJog,
    kBendDown,
    kBendUp,
    kHoldBack,
    kHoldForward,
    kScreenTick,
    kEndBends,
  };
  struct Command {
    Kind kind;
    std::int32_t value, previous, jogKind, elapsedMs;
    bool flag;
  };

  void Post(const Command& command);
  void Apply(const Command& command);
  void ApplyBeginScratch(int wheel, bool relative);
  void ApplyMoveScratch(int wheel);
  void ApplyEndScratch();
  void ApplyJog(const Command& jog);
  void ApplyHeldBend(int& ticks, bool pressed);
  void ApplyHoldSeek(int& seconds, int& other, bool pressed);
  int JogDirectionAndMagnitude(const Command& jog, bool& backwards);
  void ChaseTarget(double target, double chaseFrames);
  void UpdateMouseScratchSpeed();
  void UpdateJogScratchSpeed();
  void EndJogScratch();
  int CountPeriods(DeckClock::time_point now);
  void StartBend(bool down);
  void EndBend(bool down);
  void RunBend();
  void RunHoldSeek();

  DeckTransport& transport_;
  DeckStore& store_;
  ByteRing ring_;
  std::atomic<TimedThread*> wake_{nullptr};
  std::atomic<double> target_{0.0};
  bool dropLogged_ = false;  // GUI thread: a full ring is reported once

  // Jog thread only.
  bool scratchRelative_ = false, scratchExternal_ = false;
  std::int32_t scratchStartPos_ = 0, scratchStartWheel_ = 0, scratchLastWheel_ = 0;
  std::int32_t scratchLastDelta_ = 0, scratchAccum_ = 0;
  float jogAccum_ = 0.0f;
  int jogIdle_ = 0;
  int jogLastDir_ = -1;  // 0 forwards, 1 backwards, -1 none
  int jogLastMagnitude_ = 0;
  bool periodsStarted_ = false;
  DeckClock::time_point periodStart_{};
  bool bendDownOn_ = false, bendUpOn_ = false, bendMomentary_ = false;
  int bendDownTicks_ = -1, bendUpTicks_ = -1;
  int bendSavedPitch_ = 0, bendLimit_ = 0;
  float bendDelta_ = 0.0f;
  int holdBackSeconds_ = -1, holdForwardSeconds_ = -1;
};

}  // namespace vantaro
