// Hands on the deck: mouse and on-screen wheel scratch, controller jog, and
// the screen-tick work (pitch bends, hold-to-seek, the slow pitch reset).
// A scratch never moves the position itself: it sets the requested speed so
// that the render chases a target frame, proportionally to the distance.
#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "engine/engine_settings.h"
#include "engine/sound_source.h"

namespace vantaro {
namespace {

constexpr int kMouseWheelFrames = 31;       // frames per absolute wheel unit
constexpr double kMouseChaseFrames = 2250;  // distance that gives speed 1
constexpr int kJogFrames = 41;              // frames per jog step unit
constexpr double kJogChaseFrames = 1890;
constexpr int kMomentaryBendTicks = 4;
constexpr int kMomentaryBendUnits = 200;
constexpr int kHeldBendTicks = 1 << 30;  // a held button: until released
constexpr int kSlowResetStep = 10;

}  // namespace

void CSoundSource::BeginScratch(int wheel, bool relative) {
  if (scratching.load() && scratchExternal.load()) return;
  if (loadRequest.load() || seekRequest.load()) return;
  scratchRelative.store(relative);
  scratchAccum.store(0);
  scratchStartWheel.store(wheel);
  scratchLastWheel.store(wheel);
  scratchLastDelta.store(0);
  scratchStartPos.store(static_cast<std::int32_t>(std::lrint(playPosition.load() - 0.5)));
  glideOn.store(false);
  TakeHoldForScratch();
}

// The hand (mouse or jog wheel) takes the transport: the deck runs under
// it, and remembers whether to play on when the hand lets go.
void CSoundSource::TakeHoldForScratch() {
  const bool wasPlaying = playing.load();
  scratchResume.store(wasPlaying);
  if (!wasPlaying) stopNow.store(true);
  speedRequested.store(0.0);
  scratching.store(true);
  playing.store(true);
}

void CSoundSource::UpdateMouseScratchSpeed() {
  double target;
  if (scratchRelative.load())
    target = scratchStartPos.load() + static_cast<double>(scratchAccum.load());
  else
    target =
        scratchStartPos.load() +
        static_cast<double>(scratchStartWheel.load() - scratchLastWheel.load()) * kMouseWheelFrames;
  target = std::clamp(target, 0.0, std::max(0.0, totalFrames.load() - 1.0));
  speedRequested.store((target - playPosition.load()) / kMouseChaseFrames);
}

void CSoundSource::MoveScratch(int wheel) {
  if (!scratching.load() || scratchExternal.load()) return;
  if (scratchRelative.load()) {
    scratchAccum.fetch_add(wheel);
  } else {
    scratchLastDelta.store(scratchLastWheel.load() - wheel);
    scratchLastWheel.store(wheel);
  }
  UpdateMouseScratchSpeed();
}

void CSoundSource::EndScratch() {
  if (!scratching.load() || scratchExternal.load()) return;
  const double requested = std::fabs(speedRequested.load());
  const int delta = std::abs(scratchLastDelta.load());
  const bool keyLock = keyLockOn.load();
  // A platter let go at speed keeps running and glides back to its pitch; a
  // paused one thrown hard enough starts.
  if (requested > 1.5 && scratchResume.load() && delta >= 15 && !keyLock) glideOn.store(true);
  if (requested > 0.25 && !scratchResume.load() && delta > 20) {
    if (!keyLock) glideOn.store(true);
    scratchResume.store(true);
  }
  speedRequested.store(pitchSpeed.load());
  scratching.store(false);
  playing.store(scratchResume.load());
}

int CSoundSource::JogDirectionAndMagnitude(int value, int previous, int kind, int elapsedMs,
                                           bool& backwards) {
  int magnitude = jogLastMagnitude.load();
  if (previous == kJogRelativeStep) {
    backwards = value < 0;
    if (kind == kJogRelative3)
      magnitude = std::abs(value) * 4;
    else
      magnitude = std::max(1, std::abs(value) * 22 * 88 / std::max(4, elapsedMs));
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
      backwards = jogLastDir.load() == 1;
    }
    if (difference >= 1 && difference <= 69) magnitude = difference * 6;
  }
  jogLastDir.store(backwards ? 1 : 0);
  jogLastMagnitude.store(magnitude);
  return magnitude;
}

void CSoundSource::UpdateJogScratchSpeed() {
  double target = std::lrint(jogAccum.load() * kJogFrames + scratchStartPos.load());
  target = std::clamp(target, 0.0, std::max(0.0, totalFrames.load() - 1.0));
  speedRequested.store((target - playPosition.load()) / kJogChaseFrames);
}

void CSoundSource::Jog(int value, int previous, int kind, bool forceScratch, int elapsedMs) {
  if (loadRequest.load() || seekRequest.load()) return;
  bool backwards = false;
  const int magnitude = JogDirectionAndMagnitude(value, previous, kind, elapsedMs, backwards);

  if (scratching.load() && scratchExternal.load()) {
    const float stepSize = magnitude != 0 ? static_cast<float>(magnitude) : 10.0f;
    jogStep.store(stepSize);
    jogAccum.store(jogAccum.load() + (backwards ? -stepSize : stepSize));
    UpdateJogScratchSpeed();
    jogIdle.store(previous == kJogRelativeStep ? 5 : 3);
  } else if (playing.load() && !forceScratch && !jogTouch.load()) {
    // A wheel turned on a playing deck nudges it: a short momentary bend.
    bendMomentary.store(true);
    std::atomic<int>& along = backwards ? bendDownTicks : bendUpTicks;
    std::atomic<int>& against = backwards ? bendUpTicks : bendDownTicks;
    along.store(kMomentaryBendTicks);
    if (against.load() > 1) against.store(1);
  } else {
    scratchExternal.store(true);
    jogIdle.store(0);
    scratchStartPos.store(static_cast<std::int32_t>(std::floor(playPosition.load())));
    jogAccum.store(0.0f);
    scratchLastDelta.store(0);
    TakeHoldForScratch();
    jogLastDir.store(-1);
    jogIdle.store(3);
  }
}

void CSoundSource::EndJogScratch() {
  speedRequested.store(pitchSpeed.load());
  scratching.store(false);
  scratchExternal.store(false);
  playing.store(scratchResume.load());
  jogAccum.store(0.0f);
  jogIdle.store(0);
}

void CSoundSource::ScratchTick(int idleLimit) {
  if (!scratching.load()) return;
  if (scratchExternal.load()) {
    UpdateJogScratchSpeed();
    if (jogIdle.fetch_add(1) + 1 > idleLimit) EndJogScratch();
  } else {
    UpdateMouseScratchSpeed();
  }
}

// ---- screen tick ------------------------------------------------------------

void CSoundSource::StartBend(bool down) {
  bendSavedPitch = pitch.load();
  bendLimit = down ? bendSavedPitch + 10000 : 10000 - bendSavedPitch;
  bendDelta = down ? -20.0f : 20.0f;
  (down ? bendDownOn : bendUpOn).store(true);
}

void CSoundSource::EndBend(bool down) {
  SetPitch(bendSavedPitch);
  bendMomentary.store(false);
  (down ? bendDownOn : bendUpOn).store(false);
}

void CSoundSource::RunBend() {
  const bool down = bendDownOn.load();
  if (down || bendUpOn.load()) {
    int bent;
    if (bendMomentary.load()) {
      bent = bendSavedPitch + (down ? -kMomentaryBendUnits : kMomentaryBendUnits);
    } else {
      // Slow at first, then faster: a held bend accelerates by 2 % a tick.
      const float sign = bendDelta < 0.0f ? -1.0f : 1.0f;
      if (std::fabs(bendDelta) <= bendLimit / 3.0f)
        bendDelta = bendDelta * 1.02f + 25.0f * sign;
      else
        bendDelta = bendDelta * 1.02f;
      bendDelta =
          std::clamp(bendDelta, -static_cast<float>(bendLimit), static_cast<float>(bendLimit));
      bent = bendSavedPitch + static_cast<int>(std::lrint(bendDelta));
    }
    SetPitch(bent);
  }
  for (bool isDown : {true, false}) {
    std::atomic<int>& ticks = isDown ? bendDownTicks : bendUpTicks;
    const int left = ticks.load();
    if (left == 0) {
      EndBend(isDown);
      ticks.store(-1);
    } else if (left > 0) {
      if (!bendDownOn.load() && !bendUpOn.load()) StartBend(isDown);
      ticks.store(left - 1);
    }
  }
}

void CSoundSource::RunHoldSeek() {
  const double position = playPosition.load();
  const double last = std::max(0.0, totalFrames.load() - 1.0);
  for (bool back : {true, false}) {
    std::atomic<int>& held = back ? holdBackSeconds : holdForwardSeconds;
    const int seconds = held.load();
    if (seconds == -1) continue;
    const double jump = std::clamp(seconds, 1, 300) * static_cast<double>(kBlockFrames);
    const double target = back ? std::max(0.0, position - jump) : std::min(last, position + jump);
    if (!seekRequest.load() && !scratching.load() && songReady.load() && !loadRequest.load())
      SeekRequest(target);
    held.store(seconds + std::max(1, seconds / 10));
  }
}

void CSoundSource::SlowPitchResetStep() {
  if (!slowResetMark.load()) return;
  const int now = pitch.load();
  if (std::abs(now) <= kSlowResetStep) {
    SetPitch(0);
    slowResetMark.store(false);
    bendDownOn.store(false);
    bendUpOn.store(false);
    bendMomentary.store(false);
    bendDownTicks.store(-1);
    bendUpTicks.store(-1);
  } else {
    SetPitch(now - (now > 0 ? kSlowResetStep : -kSlowResetStep));
  }
}

void CSoundSource::PeriodicUpdate() {
  RunBend();
  RunHoldSeek();
  // Play-state news for the screen and the controllers; a held platter
  // reports what it will do when let go.
  const bool effective = scratching.load() ? scratchResume.load() : playing.load();
  if (effective != reportedPlaying_) {
    reportedPlaying_ = effective;
    NotifyPlayState(effective);
  }
}

void CSoundSource::BendDown(bool pressed) {
  if (pressed) bendMomentary.store(false);
  bendDownTicks.store(pressed ? kHeldBendTicks : (bendDownTicks.load() >= 0 ? 0 : -1));
}

void CSoundSource::BendUp(bool pressed) {
  if (pressed) bendMomentary.store(false);
  bendUpTicks.store(pressed ? kHeldBendTicks : (bendUpTicks.load() >= 0 ? 0 : -1));
}

void CSoundSource::HoldSeekBack(bool pressed) {
  holdBackSeconds.store(pressed ? 0 : -1);
  if (pressed) holdForwardSeconds.store(-1);
}

void CSoundSource::HoldSeekForward(bool pressed) {
  holdForwardSeconds.store(pressed ? 0 : -1);
  if (pressed) holdBackSeconds.store(-1);
}

void CSoundSource::ResetPitch() {
  if (TheEngineSettings().slowReset.load() && !slowResetMark.load()) {
    slowResetMark.store(true);
    return;
  }
  SetPitch(0);
  slowResetMark.store(false);
}

}  // namespace vantaro
