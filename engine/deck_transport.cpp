// The deck's transport: the frame loop that moves the position at a ramped
// speed and interpolates the output, the play word, and the requests (play,
// pitch, direction, brake, external speed) that steer it.
//
// The render works on local copies of the position and the speed state and
// publishes them at the end of the block. The position is published with a
// compare-and-swap against the value it started from, so a jump made by
// another thread during the block (a seek served by the store thread, a skip)
// wins over the render's own advance.
#include "engine/deck_transport.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "engine/deck_interpolate.h"
#include "engine/deck_loops.h"
#include "engine/deck_store.h"

namespace vantaro {
namespace {

constexpr double kGlideMaxSpeed = 4.0;
constexpr double kEnvelopeFullSpeed = 0.6;  // below this, loudness follows speed
constexpr double kGlideDone = 0.01;
constexpr int kBrakeRampFrames = 62500;
constexpr int kGlideRampFrames = 75000;
constexpr int kExternalRampFrames = 1000;
constexpr int kBlockCheckMargin = 10;  // frames beyond the block the check covers

template <typename Sample>
void ZeroFrames(Sample* out, int frames) {
  std::memset(out, 0, sizeof(Sample) * 2 * static_cast<std::size_t>(frames));
}

// A value in stored 16-bit units to the output sample type.
inline void Put(float& out, float stored) {
  out = stored * DeckTransport::kSampleScale;
}
inline void Put(std::int16_t& out, float stored) {
  const float rounded = std::nearbyint(stored);
  out = static_cast<std::int16_t>(std::clamp(rounded, -32768.0f, 32767.0f));
}

// Marks the audio thread's presence for the block store's grace period.
class RenderBracket {
 public:
  explicit RenderBracket(const DeckBlockStore& store) : store_(store) { store_.EnterRender(); }
  ~RenderBracket() { store_.LeaveRender(); }

 private:
  const DeckBlockStore& store_;
};

}  // namespace

// The render's working copy of the transport, published at the end of a
// block.
struct DeckRenderState {
  double position;
  double current;  // speed applied to the next frame
  double target;
  double step;
  int fade;  // envelope count, 0..kFadeLength
  float gain;
  bool wakeStore;  // the position wrapped: the store must look again
  void SetFade(int count) {
    fade = count;
    gain = static_cast<float>(count) / DeckTransport::kFadeLength;
  }
};

namespace {

struct StereoFrame {
  float left, right;
};

// One frame of a join: the old place, `oldShare` of it, fades out over the
// join, the new one in. Out of line: the frame loop stays small.
template <bool kCubic>
[[gnu::noinline]] StereoFrame MixJoin(const DeckBlockStore& blocks, std::int64_t total,
                                      double oldPosition, float oldShare, StereoFrame frame) {
  StereoFrame old;
  Interpolate<kCubic>(blocks, oldPosition, total, old.left, old.right);
  return {frame.left + (old.left - frame.left) * oldShare,
          frame.right + (old.right - frame.right) * oldShare};
}

}  // namespace

DeckTransport::DeckTransport(const DeckStore& store) : store_(store) {}

template <typename Change>
std::uint64_t DeckTransport::Transition(Change change) {
  std::uint64_t old = playWord_.load();
  for (;;) {
    std::uint64_t next = (old & ~kStateBits) | (change(old & kStateBits) & kStateBits);
    if (PlayState(next) != PlayState(old)) next += kOneChange;
    if (playWord_.compare_exchange_weak(old, next)) return old;
  }
}

std::uint64_t DeckTransport::PlayNews(bool& playState) const {
  const std::uint64_t word = playWord_.load();
  playState = PlayState(word);
  return word / kOneChange;
}

void DeckTransport::Play(int value) {
  DeckCueTable& cues = marks_.cues;
  if (cues.cueHeld.load() && IsPlaying()) {
    cues.cueHeld.store(false);
    return;
  }
  bool now = false;
  const std::uint64_t old = Transition([&](std::uint64_t bits) {
    now = value == -1 ? !PlayState(bits) : value != 0;
    // Under the hand the platter turns as the deck plays, and keeps doing
    // so when let go.
    if (bits & kScratching) bits = now ? (bits | kResume) : (bits & ~kResume);
    return now ? (bits | kPlaying) : (bits & ~kPlaying);
  });
  if (PlayState(old) && !now) {
    jogTouch_.store(false);
    if (cues.cueMode.load() == 1) {
      cues.cuePosition.store(GetPosition());
      cues.cueTable[std::clamp(cues.cueIndex.load(), 0, DeckCueTable::kEntries - 1)].store(
          GetPosition());
      cues.memoryChanged.store(true);
    }
  }
  if (now) cues.mustSetCue.store(false);
}

bool DeckTransport::TakeHold() {
  speedRequested_.store(0.0);
  const std::uint64_t old = Transition([](std::uint64_t bits) {
    const std::uint64_t resume = (bits & kPlaying) ? kResume : 0;
    return kPlaying | kScratching | resume;
  });
  const bool wasPlaying = (old & kPlaying) != 0;
  if (!wasPlaying) stopNow_.store(true);
  return wasPlaying;
}

void DeckTransport::LetGo(bool start) {
  speedRequested_.store(pitchSpeed_.load());
  Transition([start](std::uint64_t bits) {
    const bool resume = start || (bits & kResume);
    return resume ? kPlaying : 0;
  });
}

void DeckTransport::ResetForLoad() {
  Transition([](std::uint64_t) { return 0; });
  songSerial_.fetch_add(1);
  freshSong_.store(true);
  playPosition_.store(0.0);
  speedCurrent_.store(0.0);
  speedTarget_.store(0.0);
  speedStep_.store(0.0);
  speedRequested_.store(pitchSpeed_.load());
  glideOn_.store(false);
  stopNow_.store(false);
  fadeCount_.store(kFadeLength);
}

bool DeckTransport::Render(float* buffer, int frames) {
  if (stretcher_) return RenderChoosingPath(buffer, frames);
  return RenderFrames<float, true>(buffer, frames);
}

bool DeckTransport::Render16(std::int16_t* buffer, int frames) {
  return RenderFrames<std::int16_t, false>(buffer, frames);
}

int DeckTransport::FadeCountFor(double speed) const {
  const double magnitude = std::fabs(speed);
  if (!IsScratching() && !brakeOn_.load(std::memory_order_relaxed) &&
      magnitude > kEnvelopeFullSpeed && !externalSpeed_.load(std::memory_order_relaxed))
    return kFadeLength;
  return static_cast<int>(std::lrint(std::min(magnitude, 1.0) * kFadeLength));
}

// Per-frame increment of a ramp over `difference`, chosen by what asked for
// it. At the song's edges an ordinary or glide ramp jumps at once.
double DeckTransport::RampStep(double difference, double target, double position) const {
  if (externalSpeed_.load(std::memory_order_relaxed)) return difference / kExternalRampFrames;
  if (brakeOn_.load(std::memory_order_relaxed)) return difference / kBrakeRampFrames;
  const bool inside = position > 0.0 && position < store_.TotalFrames() - 1;
  if (!inside) return difference;
  if (glideOn_.load(std::memory_order_relaxed)) return difference / kGlideRampFrames;
  // 2000 frames for a start to speed 1, 500 for a stop.
  const double t = std::clamp(std::fabs(target) * 10.0, 2.0, 8.0);
  return difference / (t * 250.0);
}

int DeckTransport::CheckBlocks(double position, double speed, int n) const {
  const int count = store_.BlockCount();
  const double last = store_.TotalFrames() - 1.0;
  const double span = (n + kBlockCheckMargin) * std::fabs(speed);
  const double low = std::clamp(position - span, 0.0, last);
  const double high = std::clamp(position + span, 0.0, last);
  const int firstBlock = std::clamp(static_cast<int>(low / kBlockFrames), 0, count - 1);
  const int lastBlock = std::clamp(static_cast<int>(high / kBlockFrames), 0, count - 1);
  for (int b = firstBlock; b <= lastBlock; ++b) {
    if (b >= kMaxBlocks) return 2;
    if (store_.IsLoadPending() || !store_.Blocks().Block(b)) return 1;
  }
  return 0;
}

// A paused deck held by the hand drags its cue point along.
void DeckTransport::FollowCueUnderTheHand(double position) {
  if (!IsScratching() || ScratchResume()) return;
  DeckCueTable& cues = marks_.cues;
  if (cues.cueMode.load(std::memory_order_relaxed) == 2) {
    cues.mustSetCue.store(true, std::memory_order_relaxed);
    return;
  }
  const std::int32_t cue = cues.cuePosition.load(std::memory_order_relaxed);
  if (cue >= 0 && std::fabs(position - cue) < kBlockFrames) {
    const auto moved = static_cast<std::int32_t>(std::floor(position));
    cues.cuePosition.store(moved, std::memory_order_relaxed);
    const int index = std::clamp(cues.cueIndex.load(), 0, DeckCueTable::kEntries - 1);
    cues.cueTable[index].store(moved, std::memory_order_relaxed);
    cues.memoryChanged.store(true, std::memory_order_relaxed);  // stored by the screen tick
  }
}

// One frame's speed: an immediate stop, the glide clamp, the brake, a new
// ramp when the request moved, and one ramp step.
void DeckTransport::StepSpeed(DeckRenderState& s) {
  if (stopNow_.load(std::memory_order_relaxed)) {
    stopNow_.store(false, std::memory_order_relaxed);
    s.target = s.current = 0.0;
    s.SetFade(FadeCountFor(s.current));
  }
  const bool glide = glideOn_.load(std::memory_order_relaxed);
  if (glide) {
    s.current = std::clamp(s.current, -kGlideMaxSpeed, kGlideMaxSpeed);
    s.SetFade(FadeCountFor(s.current));
  }
  // A held brake asks for a standstill whatever else was requested.
  const bool braking =
      brakeOn_.load(std::memory_order_relaxed) && !externalSpeed_.load(std::memory_order_relaxed);
  if (braking && glide) glideOn_.store(false);
  const double requested = braking ? 0.0 : speedRequested_.load(std::memory_order_relaxed);
  if (requested != s.target) {
    s.target = requested;
    s.step = RampStep(s.target - s.current, s.target, s.position);
  }
  if (s.target == s.current) return;
  s.current += s.step;
  if ((s.step > 0.0 && s.current > s.target) || (s.step < 0.0 && s.current < s.target) ||
      s.step == 0.0)
    s.current = s.target;
  if (glideOn_.load(std::memory_order_relaxed) && std::fabs(s.target - s.current) < kGlideDone) {
    glideOn_.store(false, std::memory_order_relaxed);
    s.current = s.target;
  }
  s.SetFade(FadeCountFor(s.current));
}

// End of the song: false when the deck ran off an edge with repeat off
// (the position then rests on that edge); with repeat it wraps round.
bool DeckTransport::StayInsideTheSong(DeckRenderState& s, bool repeat) {
  if (marks_.loops.loopOn.load(std::memory_order_relaxed) && !IsScratching()) return true;
  const double last = store_.TotalFrames() - 1.0;
  if (s.position > last) {
    if (!repeat) {
      s.position = last;
      return false;
    }
    s.position = 0.0;
    s.wakeStore = true;
  } else if (s.position < 0.0) {
    if (!repeat) {
      s.position = 0.0;
      return false;
    }
    s.position = last;
    s.wakeStore = true;
  }
  return true;
}

// A stop ends in a 10 ms fade of the held last frame instead of a click.
template <typename Sample>
void DeckTransport::TailFade(Sample* out, int from, int n, DeckRenderState& s) {
  for (int j = from; j < n; ++j) {
    Put(out[j * 2], lastLeft_ * s.gain);
    Put(out[j * 2 + 1], lastRight_ * s.gain);
    if (s.fade > 0)
      s.SetFade(s.fade - 1);
    else
      lastLeft_ = lastRight_ = 0.0f;
  }
}

void DeckTransport::StopAtTheEnd() {
  Transition([](std::uint64_t bits) { return (bits & kScratching) ? bits : bits & ~kPlaying; });
}

void DeckTransport::FadeOut(float* out, int from, int n) {
  DeckRenderState s{};
  s.SetFade(fadeCount_.load(std::memory_order_relaxed));
  TailFade(out, from, n, s);
  fadeCount_.store(s.fade, std::memory_order_relaxed);
}

template <typename Sample, bool kCubic>
bool DeckTransport::RenderFrames(Sample* out, int n) {
  if (n <= 0 || !out) return false;
  const DeckBlockStore& blocks = store_.Blocks();
  RenderBracket bracket(blocks);
  double startPosition = playPosition_.load();
  // The mixer asks for the tempo after the render: it is read here, where
  // the block under the position cannot be freed.
  PublishTempo(store_.TempoAt(startPosition));
  if (n > kMaxRenderFrames || !store_.IsSongLoaded()) {
    ZeroFrames(out, n);
    return false;
  }
  // The key lock's high-quality path chooses itself here, before the
  // ordinary path runs.
  const std::int64_t total = store_.TotalFrames();
  DeckRenderState s{startPosition,
                    speedCurrent_.load(std::memory_order_relaxed),
                    speedTarget_.load(std::memory_order_relaxed),
                    speedStep_.load(std::memory_order_relaxed),
                    0,
                    0.0f,
                    false};
  s.SetFade(fadeCount_.load(std::memory_order_relaxed));
  if (TakeJumps(s)) {
    // Published now, so that a block that is missing still leaves the deck
    // at its new place; a jump by another thread meanwhile wins.
    double expected = startPosition;
    if (!playPosition_.compare_exchange_strong(expected, s.position)) s.position = expected;
    startPosition = s.position;
  }
  FollowCueUnderTheHand(s.position);

  if (const int missing = CheckBlocks(s.position, s.current, n)) {
    ZeroFrames(out, n);
    if (missing == 1) {
      lastLeft_ = lastRight_ = 0.0f;
      // The clock keeps running so the deck does not lag behind its timeline.
      if (IsPlaying() && store_.IsSongReady() && !store_.IsLoadPending() && !stopNow_.load()) {
        double expected = startPosition;
        playPosition_.compare_exchange_strong(expected, s.position + n * s.current);
      }
    }
    return true;
  }

  if (IsPlaying()) s.SetFade(FadeCountFor(s.current));
  const bool repeat = marks_.cues.repeatOn.load(std::memory_order_relaxed);
  DeckLoopWords& loops = marks_.loops;
  // A loop switched on or off during the block is taken at the next one.
  bool looping = loops.loopOn.load(std::memory_order_relaxed) && !IsScratching();
  // The loop step runs at the loop's ends, and on every frame while a
  // change or a stop waits; between them the frame only compares: the step
  // runs outside [loopStart, loopEnd).
  constexpr double kNever = std::numeric_limits<double>::infinity();
  double loopStart = -kNever, loopEnd = kNever;
  const auto readLoop = [&] {
    constexpr auto relaxed = std::memory_order_relaxed;
    const std::int32_t in = loops.loopIn.load(relaxed), out = loops.loopOut.load(relaxed);
    const bool busy = loops.nextLoopIn.load(relaxed) != in ||
                      loops.nextLoopOut.load(relaxed) != out || loops.loopStopPending.load(relaxed);
    loopStart = looping ? in : -kNever;
    loopEnd = !looping ? kNever : busy ? -kNever : out + 1.0;
  };
  readLoop();
  double joinPosition = joinPosition_;  // audio thread: a join may span blocks
  int joinLeft = joinLeft_;
  bool reachedEnd = false;
  int k = 0;
  // The key lock's cheap path (no hand, no brake) steps and reads the
  // frames its own way; taken afresh, it starts with no jump pending.
  const bool cheap = keyLockOn_.load(std::memory_order_relaxed) && !IsScratching() &&
                     !brakeOn_.load(std::memory_order_relaxed);
  if (cheap && !cheapActive_) cheap_.Reset();
  cheapActive_ = cheap;
  // The frame loop, built for each case: without a loop or a join it is the
  // plain loop, which the extra steps would slow by a fifth.
  auto frames = [&]<bool kMarks, bool kCheap>() {
    for (; k < n && IsPlaying(); ++k) {
      StepSpeed(s);
      if constexpr (kCheap)
        cheap_.Step(s.position, s.current, blocks, total);
      else
        s.position += s.current;
      if (!StayInsideTheSong(s, repeat)) {
        reachedEnd = true;
        break;
      }
      if constexpr (kMarks) {
        if (s.position >= loopEnd || s.position < loopStart) {
          double moved = s.position;  // a copy: the render state stays in registers
          if (StepLoop(loops, moved)) {
            joinPosition = s.position - s.current;  // the old place has made this frame's step
            joinLeft = kJoinFrames;
            s.position = moved;
          }
          looping = loops.loopOn.load(std::memory_order_relaxed);
          readLoop();
        }
      }
      float left, right;
      if constexpr (kCheap)
        cheap_.Frame(blocks, s.position, s.current, total, left, right);
      else
        Interpolate<kCubic>(blocks, s.position, total, left, right);
      if constexpr (kMarks) {
        if (joinLeft > 0) {
          joinPosition += s.current;
          const StereoFrame mixed =
              MixJoin<kCubic>(blocks, total, joinPosition,
                              static_cast<float>(joinLeft--) / (kJoinFrames + 1), {left, right});
          left = mixed.left;
          right = mixed.right;
        }
      }
      lastLeft_ = left * s.gain;
      lastRight_ = right * s.gain;
      Put(out[k * 2], lastLeft_);
      Put(out[k * 2 + 1], lastRight_);
    }
  };
  const bool marks = looping || joinLeft > 0;
  if (marks && cheap)
    frames.template operator()<true, true>();
  else if (marks)
    frames.template operator()<true, false>();
  else if (cheap)
    frames.template operator()<false, true>();
  else
    frames.template operator()<false, false>();
  TailFade(out, k, n, s);

  // At the end of the song the deck stops; a hand on the platter keeps it.
  // The change is counted in the play word and reported off this thread.
  if (reachedEnd) StopAtTheEnd();
  if (!IsPlaying()) s.current = s.target = s.step = 0.0;

  speedCurrent_.store(s.current, std::memory_order_relaxed);
  speedTarget_.store(s.target, std::memory_order_relaxed);
  speedStep_.store(s.step, std::memory_order_relaxed);
  fadeCount_.store(s.fade, std::memory_order_relaxed);
  joinLeft_ = joinLeft;
  joinPosition_ = joinPosition;
  double expected = startPosition;
  playPosition_.compare_exchange_strong(expected, s.position);
  return s.wakeStore;
}

bool DeckTransport::TakeJumps(DeckRenderState& s) {
  bool jumped = false;
  DeckCueTable& cues = marks_.cues;
  // Plain loads first: a locked exchange on every block costs more than the
  // rare jump it serves.
  if (cues.goToCue.load(std::memory_order_relaxed) && cues.goToCue.exchange(false)) {
    // The cue button stops the deck on its cue.
    Transition([](std::uint64_t bits) { return bits & ~(kPlaying | kResume); });
    jogTouch_.store(false, std::memory_order_relaxed);
    marks_.loops.loopArmed.store(false, std::memory_order_relaxed);
    const std::int32_t cue = cues.cuePosition.load(std::memory_order_relaxed);
    if (cue >= 0 && cue < store_.TotalFrames()) {
      s.position = cue;
      joinLeft_ = 0;
      jumped = s.wakeStore = true;
    }
  }
  const double skip = skipRequest_.load(std::memory_order_relaxed) != 0.0
                          ? skipRequest_.exchange(0.0, std::memory_order_relaxed)
                          : 0.0;
  if (skip != 0.0) {
    const double to = SkipTarget(s.position, skip);
    if (to >= 0.0) {
      if (IsPlaying()) StartJoin(s.position);
      s.position = to;
      jumped = s.wakeStore = true;
    }
  }
  return jumped;
}

void DeckTransport::StartJoin(double oldPosition) {
  joinPosition_ = oldPosition;
  joinLeft_ = kJoinFrames;
}

// The key lock's path choice (deck_transport_keylock.cpp) runs the ordinary
// path too.
template bool DeckTransport::RenderFrames<float, true>(float*, int);

}  // namespace vantaro
