// Hands on the deck: the commands from the GUI thread, and what the jog
// thread does with them (scratch, jog, bends, hold-to-seek).
#include "engine/deck_hands.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <thread>

#include "base/debug_log.h"
#include "base/timed_thread.h"
#include "engine/deck_store.h"
#include "engine/deck_transport.h"

namespace vantaro {
namespace {

constexpr int kMouseWheelFrames = 31;       // frames per absolute wheel unit
constexpr double kMouseChaseFrames = 2250;  // distance that gives speed 1
constexpr int kJogFrames = 41;              // frames per jog step unit
constexpr double kJogChaseFrames = 1890;
constexpr int kMomentaryBendTicks = 4;
constexpr int kMomentaryBendUnits = 200;
constexpr int kHeldBendTicks = 1 << 30;  // a held button: until released
constexpr int kFullWaitMs = 1000;        // longest wait of a command for room in the ring

}  // namespace

DeckHands::DeckHands(DeckTransport& transport, DeckStore& store)
    : transport_(transport), store_(store), ring_(kRingCommands * sizeof(Command)) {}

// ---- GUI thread: commands ---------------------------------------------------------

void DeckHands::Post(const Command& command) {
  TimedThread* jog = wake_.load();
  for (int waited = 0; !ring_.Write(&command, sizeof command); ++waited) {
    if (!jog || waited >= kFullWaitMs) {
      if (!dropLogged_) DebugLog("deck hands: commands dropped, the jog thread does not take them");
      dropLogged_ = true;
      return;
    }
    jog->Wake();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  if (jog) jog->Wake();
}

void DeckHands::BeginScratch(int wheel, bool relative) {
  Post({Kind::kBeginScratch, wheel, 0, 0, 0, relative});
}
void DeckHands::MoveScratch(int wheel) {
  Post({Kind::kMoveScratch, wheel, 0, 0, 0, false});
}
void DeckHands::EndScratch() {
  Post({Kind::kEndScratch, 0, 0, 0, 0, false});
}
void DeckHands::Jog(int value, int previous, int kind, bool forceScratch, int elapsedMs) {
  Post({Kind::kJog, value, previous, kind, elapsedMs, forceScratch});
}
void DeckHands::BendDown(bool pressed) {
  Post({Kind::kBendDown, 0, 0, 0, 0, pressed});
}
void DeckHands::BendUp(bool pressed) {
  Post({Kind::kBendUp, 0, 0, 0, 0, pressed});
}
void DeckHands::HoldSeekBack(bool pressed) {
  Post({Kind::kHoldBack, 0, 0, 0, 0, pressed});
}
void DeckHands::HoldSeekForward(bool pressed) {
  Post({Kind::kHoldForward, 0, 0, 0, 0, pressed});
}
void DeckHands::ScreenTick() {
  Post({Kind::kScreenTick, 0, 0, 0, 0, false});
}
void DeckHands::EndBends() {
  Post({Kind::kEndBends, 0, 0, 0, 0, false});
}

// ---- jog thread ----------------------------------------------------------------------

void DeckHands::Tick(int idleLimit, DeckClock::time_point now) {
  Command command;
  while (ring_.Read(&command, sizeof command)) Apply(command);
  const int periods = CountPeriods(now);
  if (!transport_.IsScratching()) return;
  if (scratchExternal_) {
    UpdateJogScratchSpeed();
    jogIdle_ += periods;
    if (jogIdle_ > idleLimit) EndJogScratch();
  } else {
    UpdateMouseScratchSpeed();
  }
}

// Whole jog periods since the last counted one; the first tick counts one.
int DeckHands::CountPeriods(DeckClock::time_point now) {
  if (!periodsStarted_) {
    periodsStarted_ = true;
    periodStart_ = now;
    return 1;
  }
  const auto periods = (now - periodStart_) / kJogPeriod;
  if (periods <= 0) return 0;
  periodStart_ += periods * kJogPeriod;
  return static_cast<int>(std::min<decltype(periods)>(periods, 1000));
}

void DeckHands::Apply(const Command& c) {
  switch (c.kind) {
    case Kind::kBeginScratch:
      return ApplyBeginScratch(c.value, c.flag);
    case Kind::kMoveScratch:
      return ApplyMoveScratch(c.value);
    case Kind::kEndScratch:
      return ApplyEndScratch();
    case Kind::kJog:
      return ApplyJog(c);
    case Kind::kBendDown:
      return ApplyHeldBend(bendDownTicks_, c.flag);
    case Kind::kBendUp:
      return ApplyHeldBend(bendUpTicks_, c.flag);
    case Kind::kHoldBack:
      return ApplyHoldSeek(holdBackSeconds_, holdForwardSeconds_, c.flag);
    case Kind::kHoldForward:
      return ApplyHoldSeek(holdForwardSeconds_, holdBackSeconds_, c.flag);
    case Kind::kScreenTick:
      RunBend();
      return RunHoldSeek();
    case Kind::kEndBends:
      bendDownOn_ = bendUpOn_ = bendMomentary_ = false;
      bendDownTicks_ = bendUpTicks_ = -1;
      return;
  }
}

void DeckHands::ApplyBeginScratch(int wheel, bool relative) {
  if (transport_.IsScratching() && scratchExternal_) return;
  if (store_.IsLoadPending() || store_.IsSeekPending()) return;
  scratchExternal_ = false;
  scratchRelative_ = relative;
  scratchAccum_ = 0;
  scratchStartWheel_ = scratchLastWheel_ = wheel;
  scratchLastDelta_ = 0;
  scratchStartPos_ = static_cast<std::int32_t>(std::lrint(transport_.GetExactPosition() - 0.5));
  target_.store(scratchStartPos_);
  transport_.SetGlide(false);
  transport_.TakeHold();
}

void DeckHands::ChaseTarget(double target, double chaseFrames) {
  target = std::clamp(target, 0.0, std::max(0.0, store_.TotalFrames() - 1.0));
  target_.store(target, std::memory_order_relaxed);
  transport_.RequestSpeed((target - transport_.GetExactPosition()) / chaseFrames);
}

void DeckHands::UpdateMouseScratchSpeed() {
  const double offset =
      scratchRelative_
          ? static_cast<double>(scratchAccum_)
          : static_cast<double>(scratchStartWheel_ - scratchLastWheel_) * kMouseWheelFrames;
  ChaseTarget(scratchStartPos_ + offset, kMouseChaseFrames);
}

void DeckHands::ApplyMoveScratch(int wheel) {
  if (!transport_.IsScratching() || scratchExternal_) return;
  if (scratchRelative_) {
    scratchAccum_ += wheel;
  } else {
    scratchLastDelta_ = scratchLastWheel_ - wheel;
    scratchLastWheel_ = wheel;
  }
  UpdateMouseScratchSpeed();
}

void DeckHands::ApplyEndScratch() {
  if (!transport_.IsScratching() || scratchExternal_) return;
  const double requested = std::fabs(transport_.GetRequestedSpeed());
  const int delta = std::abs(scratchLastDelta_);
  const bool keyLock = transport_.IsKeyLocked();
  const bool resume = transport_.ScratchResume();
  // A platter let go at speed keeps running and glides back to its pitch; a
  // paused one thrown hard enough starts.
  if (requested > 1.5 && resume && delta >= 15 && !keyLock) transport_.SetGlide(true);
  const bool thrown = requested > 0.25 && !resume && delta > 20;
  if (thrown && !keyLock) transport_.SetGlide(true);
  transport_.LetGo(thrown);
}

int DeckHands::JogDirectionAndMagnitude(const Command& jog, bool& backwards) {
  const int value = jog.value, previous = jog.previous, kind = jog.jogKind;
  int magnitude = jogLastMagnitude_;
  if (previous == kJogRelativeStep) {
    backwards = value < 0;
    if (kind == kJogRelative3)
      magnitude = std::abs(value) * 4;
    else
      magnitude = std::max(1, std::abs(value) * 22 * 88 / std::max(4, jog.elapsedMs));
  } else if (kind == kJogTicks || kind == kJogRelative3 || kind == kJogRelative6 ||
             kind == kJogRelative6Alt) {
    backwards = value < 64;
    const int factor = kind == kJogTicks ? 10 : kind == kJogRelative3 ? 3 : 6;
    magnitude = std::abs(value - 64) * factor;
  } else {
    // An absolute 7-bit wheel: a jump of more than 96 is a wrap the other way.
    const int difference = std::abs(value - previous);
    if (value > previous) {
      backwards = difference > 96;
    } else if (value < previous) {
      backwards = difference <= 96;
    } else if (value == 64 || value == 65) {
      backwards = value == 64;
      magnitude = 10;
    } else {
      backwards = jogLastDir_ == 1;
    }
    if (difference >= 1 && difference <= 69) magnitude = difference * 6;
  }
  jogLastDir_ = backwards ? 1 : 0;
  jogLastMagnitude_ = magnitude;
  return magnitude;
}

void DeckHands::UpdateJogScratchSpeed() {
  ChaseTarget(std::lrint(jogAccum_ * kJogFrames + scratchStartPos_), kJogChaseFrames);
}

void DeckHands::ApplyJog(const Command& jog) {
  if (store_.IsLoadPending() || store_.IsSeekPending()) return;
  bool backwards = false;
  const int magnitude = JogDirectionAndMagnitude(jog, backwards);

  if (transport_.IsScratching() && scratchExternal_) {
    const float stepSize = magnitude != 0 ? static_cast<float>(magnitude) : 10.0f;
    jogAccum_ += backwards ? -stepSize : stepSize;
    UpdateJogScratchSpeed();
    jogIdle_ = jog.previous == kJogRelativeStep ? 5 : 3;
  } else if (transport_.IsPlaying() && !jog.flag && !transport_.IsJogTouched()) {
    // A wheel turned on a playing deck nudges it: a short momentary bend.
    bendMomentary_ = true;
    int& along = backwards ? bendDownTicks_ : bendUpTicks_;
    int& against = backwards ? bendUpTicks_ : bendDownTicks_;
    along = kMomentaryBendTicks;
    if (against > 1) against = 1;
  } else {
    scratchExternal_ = true;
    scratchStartPos_ = static_cast<std::int32_t>(std::floor(transport_.GetExactPosition()));
    target_.store(scratchStartPos_);
    jogAccum_ = 0.0f;
    scratchLastDelta_ = 0;
    transport_.TakeHold();
    jogLastDir_ = -1;
    jogIdle_ = 3;
  }
}

void DeckHands::EndJogScratch() {
  transport_.LetGo(false);
  scratchExternal_ = false;
  jogAccum_ = 0.0f;
  jogIdle_ = 0;
}

// ---- bends and hold-to-seek, one step per screen tick ------------------------------

void DeckHands::ApplyHeldBend(int& ticks, bool pressed) {
  if (pressed) bendMomentary_ = false;
  ticks = pressed ? kHeldBendTicks : (ticks >= 0 ? 0 : -1);
}

void DeckHands::ApplyHoldSeek(int& seconds, int& other, bool pressed) {
  seconds = pressed ? 0 : -1;
  if (pressed) other = -1;
}

void DeckHands::StartBend(bool down) {
  bendSavedPitch_ = transport_.PitchSetting();
  bendLimit_ = down ? bendSavedPitch_ + 10000 : 10000 - bendSavedPitch_;
  bendDelta_ = down ? -20.0f : 20.0f;
  (down ? bendDownOn_ : bendUpOn_) = true;
}

void DeckHands::EndBend(bool down) {
  transport_.SetPitch(bendSavedPitch_);
  bendMomentary_ = false;
  (down ? bendDownOn_ : bendUpOn_) = false;
}

void DeckHands::RunBend() {
  const bool down = bendDownOn_;
  if (down || bendUpOn_) {
    int bent;
    if (bendMomentary_) {
      bent = bendSavedPitch_ + (down ? -kMomentaryBendUnits : kMomentaryBendUnits);
    } else {
      // Slow at first, then faster: a held bend accelerates by 2 % a tick.
      const float sign = bendDelta_ < 0.0f ? -1.0f : 1.0f;
      if (std::fabs(bendDelta_) <= bendLimit_ / 3.0f)
        bendDelta_ = bendDelta_ * 1.02f + 25.0f * sign;
      else
        bendDelta_ = bendDelta_ * 1.02f;
      const float limit = static_cast<float>(bendLimit_);
      bendDelta_ = std::clamp(bendDelta_, -limit, limit);
      bent = bendSavedPitch_ + static_cast<int>(std::lrint(bendDelta_));
    }
    transport_.SetPitch(bent);
  }
  for (bool isDown : {true, false}) {
    int& ticks = isDown ? bendDownTicks_ : bendUpTicks_;
    if (ticks == 0) {
      EndBend(isDown);
      ticks = -1;
    } else if (ticks > 0) {
      if (!bendDownOn_ && !bendUpOn_) StartBend(isDown);
      --ticks;
    }
  }
}

void DeckHands::RunHoldSeek() {
  const double position = transport_.GetExactPosition();
  const double last = std::max(0.0, store_.TotalFrames() - 1.0);
  for (bool back : {true, false}) {
    int& held = back ? holdBackSeconds_ : holdForwardSeconds_;
    if (held == -1) continue;
    const double jump = std::clamp(held, 1, 300) * static_cast<double>(kBlockFrames);
    store_.SeekRequest(back ? std::max(0.0, position - jump) : std::min(last, position + jump));
    held += std::max(1, held / 10);
  }
}

}  // namespace vantaro
