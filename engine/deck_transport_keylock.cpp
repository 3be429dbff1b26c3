// The key lock's high-quality path in the render: which path a block takes,
// the 44-frame fade when that changes, and the copy from the stretcher's
// rings (deck_stretcher.h) with loops per buffer, the 88-frame fade when
// the stretcher switches rings, and the 2 ms join of a loop's wrap.
//
// Audio thread only: nothing here allocates, locks, logs or calls the
// stretcher; a miss is counted and wakes the stretch thread.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "engine/deck_loops.h"
#include "engine/deck_store.h"
#include "engine/deck_stretcher.h"
#include "engine/deck_transport.h"

namespace vantaro {
namespace {

constexpr int kPathFadeFrames = 44;  // a change of path
constexpr int kRingFadeFrames = 88;  // a switch of rings

// Over the first `samples` floats, `out` fades in over `from`.
void FadeInto(float* out, const float* from, int samples) {
  for (int i = 0; i < samples; ++i) {
    const float t = static_cast<float>(i) / samples;
    out[i] = from[i] * (1.0f - t) + out[i] * t;
  }
}

}  // namespace

// Hands, brakes, glides, an outside speed, reverse and cue jumps take the
// ordinary path. A skip waiting keeps the deck on the ordinary path (it is
// joined there), but not off the high-quality path, which takes it itself.
bool DeckTransport::WantsHighQuality() const {
  constexpr auto relaxed = std::memory_order_relaxed;
  return stretcher_->Usable(songSerial_.load(relaxed)) && keyLockOn_.load(relaxed) &&
         !IsScratching() && !stopNow_.load(relaxed) && !glideOn_.load(relaxed) &&
         !marks_.cues.goToCue.load(relaxed) && !brakeOn_.load(relaxed) &&
         !externalSpeed_.load(relaxed) && direction_.load(relaxed) != -1 &&
         (hqActive_ || skipRequest_.load(relaxed) == 0.0);
}

bool DeckTransport::RenderChoosingPath(float* out, int n) {
  if (n <= 0 || n > kMaxRenderFrames || !out) return RenderFrames<float, true>(out, n);
  const bool want = WantsHighQuality();
  bool wake = false;
  if (want == hqActive_ || !stretcher_->HQEnabled()) {
    if (want)
      RenderHighQuality(out, n, true);
    else
      wake = RenderFrames<float, true>(out, n);
  } else if (!want) {
    // Leaving: the ring is heard fading out where the ordinary path begins.
    RenderHighQuality(pathBuffer_, n, false);
    wake = RenderFrames<float, true>(out, n);
    FadeInto(out, pathBuffer_, std::min(n, kPathFadeFrames) * 2);
  } else {
    // Entering: the ordinary path renders for the fade, then the position
    // and speed go back to where it began.
    const double position = playPosition_.load(), current = speedCurrent_.load(),
                 target = speedTarget_.load(), step = speedStep_.load();
    const int fade = fadeCount_.load(), joinLeft = joinLeft_;
    const double joinPosition = joinPosition_;
    const CheapStretch cheap = cheap_;
    const bool cheapActive = cheapActive_;
    wake = RenderFrames<float, true>(pathBuffer_, n);
    playPosition_.store(position);
    speedCurrent_.store(current);
    speedTarget_.store(target);
    speedStep_.store(step);
    fadeCount_.store(fade);
    joinLeft_ = joinLeft;
    joinPosition_ = joinPosition;
    cheap_ = cheap;
    cheapActive_ = cheapActive;
    RenderHighQuality(out, n, true);
    FadeInto(out, pathBuffer_, std::min(n, kPathFadeFrames) * 2);
  }
  hqActive_ = want;
  hqActiveShown_.store(want, std::memory_order_relaxed);
  return wake;
}

void DeckTransport::RenderHighQuality(float* out, int n, bool advance) {
  const double total = store_.TotalFrames();
  const double startPosition = playPosition_.load();
  double position = startPosition;
  if (!store_.IsSongLoaded() || total < 1.0) {
    std::memset(out, 0, sizeof(float) * 2 * n);
    return;
  }
  bool atEnd = position >= total - 1.0;
  if (atEnd && advance && IsPlaying() && marks_.cues.repeatOn.load(std::memory_order_relaxed)) {
    // Repeat: the song starts over, the ring restarts there.
    position = 0.0;
    atEnd = false;
  }
  if (!IsPlaying() || atEnd) {
    if (!advance) {
      std::memset(out, 0, sizeof(float) * 2 * n);
      return;
    }
    if (atEnd) {
      // The end of the song stops the deck on its last frame.
      StopAtTheEnd();
      double expected = startPosition;
      playPosition_.compare_exchange_strong(expected, total - 1.0);
    }
    speedCurrent_.store(0.0);
    speedTarget_.store(0.0);
    speedStep_.store(0.0);
    FadeOut(out, 0, n);
    return;
  }
  const double ratio = stretcher_->Ring(stretcher_->ActiveRing()).Ratio();
  if (advance) {
    // The ordinary path takes over at the speed that is heard.
    const double speed = direction_.load(std::memory_order_relaxed) * ratio;
    speedTarget_.store(speed, std::memory_order_relaxed);
    speedCurrent_.store(speed, std::memory_order_relaxed);
    speedStep_.store(0.0, std::memory_order_relaxed);
    fadeCount_.store(kFadeLength, std::memory_order_relaxed);
  }
  const int savedJoin = ringJoinLeft_;
  const double savedJoinPosition = ringJoinPosition_;
  // A skip (the beat lock, a beat jump) is taken here, and joined like a
  // loop's wrap when the ring holds the new place.
  if (advance && skipRequest_.load(std::memory_order_relaxed) != 0.0) {
    const double to = SkipTarget(position, skipRequest_.exchange(0.0));
    if (to >= 0.0) {
      ringJoinLeft_ = kJoinFrames;
      ringJoinPosition_ = position;
      position = to;
    }
  }
  // Loops per buffer: the frames up to the out point, a wrap, the rest from
  // the in point.
  DeckLoopWords& loops = marks_.loops;
  for (int done = 0; done < n;) {
    int frames = n - done;
    const bool looping = loops.loopOn.load(std::memory_order_relaxed) && !IsScratching();
    const double loopEnd = loops.loopOut.load(std::memory_order_relaxed) + 1.0;
    if (looping && position < loopEnd)
      frames = std::clamp(static_cast<int>(std::ceil((loopEnd - position) / ratio)), 1, frames);
    ReadRings(out + done * 2, frames, position, ratio);
    position += frames * ratio;
    done += frames;
    if (!looping) continue;
    const double before = position;
    if (advance && StepLoop(loops, position)) {
      ringJoinLeft_ = kJoinFrames;
      ringJoinPosition_ = before;
    }
  }
  if (!advance) {
    // Listening only: the join belongs to the path that goes on.
    ringJoinLeft_ = savedJoin;
    ringJoinPosition_ = savedJoinPosition;
    return;
  }
  lastLeft_ = out[(n - 1) * 2];
  lastRight_ = out[(n - 1) * 2 + 1];
  double expected = startPosition;
  playPosition_.compare_exchange_strong(expected, std::min(position, total - 1.0));
}

void DeckTransport::ReadRings(float* out, int n, double position, double ratio) {
  const int active = stretcher_->ActiveRing();
  bool ok = stretcher_->Ring(active).Read(position, n, out);
  if (active != lastRing_) {
    const bool oldOk = stretcher_->Ring(lastRing_).Read(position, n, otherRing_);
    if (ok && oldOk)
      FadeInto(out, otherRing_, std::min(n, kRingFadeFrames) * 2);
    else if (oldOk)
      std::memcpy(out, otherRing_, sizeof(float) * 2 * n);  // the new one is not there yet
    if (ok) lastRing_ = active;
    ok = ok || oldOk;
  }
  if (!ok) {
    // Silence until the ring holds the position; the thread is woken. A
    // miss where the last read ended is an underrun, not a jump.
    std::memset(out, 0, sizeof(float) * 2 * n);
    stretcher_->NoteMiss(lastReadOk_ && std::fabs(position - readEnd_) < 1.0);
    lastReadOk_ = false;
    ringJoinLeft_ = 0;
    return;
  }
  lastReadOk_ = true;
  readEnd_ = position + n * ratio;
  if (ringJoinLeft_ <= 0) return;
  // After a loop's wrap the old place plays on, fading out over 2 ms.
  const int frames = std::min(n, ringJoinLeft_);
  if (stretcher_->Ring(active).Read(ringJoinPosition_, frames, otherRing_)) {
    for (int i = 0; i < frames; ++i) {
      const float share = static_cast<float>(ringJoinLeft_ - i) / (kJoinFrames + 1);
      out[i * 2] += (otherRing_[i * 2] - out[i * 2]) * share;
      out[i * 2 + 1] += (otherRing_[i * 2 + 1] - out[i * 2 + 1]) * share;
    }
  }
  ringJoinLeft_ -= frames;
  ringJoinPosition_ += frames * ratio;
}

}  // namespace vantaro
