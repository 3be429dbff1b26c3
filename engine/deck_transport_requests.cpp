// The transport's requests from other threads: the speed the GUI and the
// hands ask for (pitch, direction, brake, an outside speed source), and
// skips of the position, which the render joins while playing.
#include <cmath>

#include "engine/deck_store.h"
#include "engine/deck_transport.h"

namespace vantaro {

std::int32_t DeckTransport::GetPosition() const {
  return static_cast<std::int32_t>(std::lrint(playPosition_.load(std::memory_order_relaxed) - 0.5));
}

// The GUI (slider) and the jog thread (bends) both set the pitch: each writer
// publishes again until the pitch and direction it derived the speed from are
// still the current ones, so the last of two racing writers leaves a
// consistent set.
void DeckTransport::PublishRestingSpeed() {
  for (;;) {
    const int units = pitch_.load(), dir = direction_.load();
    const double resting = dir + units / 10000.0 * dir;
    pitchSpeed_.store(resting);
    if (!IsScratching()) {
      speedRequested_.store(resting);
      glideOn_.store(false);
      stretchSpeedRequested_.store(resting);
    }
    if (pitch_.load() == units && direction_.load() == dir) return;
  }
}

void DeckTransport::SetPitch(int pitchUnits) {
  pitch_.store(pitchUnits);
  PublishRestingSpeed();
}

void DeckTransport::SetDirection(int newDirection) {
  direction_.store(newDirection < 0 ? -1 : 1);
  PublishRestingSpeed();
}

int DeckTransport::GetPitch() const {
  if (!externalSpeed_.load()) return pitch_.load();
  const double requested = speedRequested_.load();
  const double sign = requested < 0.0 ? -1.0 : 1.0;
  return static_cast<int>(std::lrint((requested - sign) * sign * 10000.0));
}

void DeckTransport::SetExternalSpeed(bool on) {
  externalSpeed_.store(on);
  if (!on) {
    speedRequested_.store(pitchSpeed_.load());
    stretchSpeedRequested_.store(pitchSpeed_.load());
  }
}

void DeckTransport::SetSpeed(double speed) {
  speedRequested_.store(speed);
  stretchSpeedRequested_.store(speed);
}

void DeckTransport::SetBrake(bool on) {
  brakeOn_.store(on);
  if (!on) {
    glideOn_.store(false);
    speedRequested_.store(pitchSpeed_.load());
  }
}

double DeckTransport::SkipTarget(double from, double frames) const {
  const DeckLoopWords& loops = marks_.loops;
  const double to = from + frames;
  const double in = loops.loopIn.load(), length = loops.loopLength.load();
  if (loops.loopOn.load() && !IsScratching() && length >= 1.0 && from >= in && from < in + length) {
    const double wrapped = std::fmod(to - in, length);
    return in + (wrapped < 0.0 ? wrapped + length : wrapped);
  }
  return (to < 0.0 || to >= store_.TotalFrames()) ? -1.0 : to;
}

bool DeckTransport::RequestSkip(double frames) {
  double position = playPosition_.load();
  if (SkipTarget(position, frames) < 0.0) return false;
  if (IsPlaying()) {
    skipRequest_.fetch_add(frames);
    return true;
  }
  for (;;) {
    const double to = SkipTarget(position, frames);
    if (to < 0.0) return false;
    if (playPosition_.compare_exchange_weak(position, to)) return true;
  }
}

}  // namespace vantaro
