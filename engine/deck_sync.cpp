#include "engine/deck_sync.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>

#include "engine/deck_store.h"
#include "engine/deck_transport.h"

namespace vantaro {
namespace {

constexpr double kBeatFramesPerBpm = 2646000.0;  // 60 s × 44100 frames
constexpr int kFramesPerStripe = 100;
constexpr float kMarkThreshold = 50.0f;  // a stripe value above it is a beat mark
constexpr float kBeatMark = 55.0f;       // what a tracked beat adds to the level
constexpr int kLargestMatch = 5000;      // 1/10000: a match never passes +-50 %
constexpr float kOnBeatFrom = 0.25f, kOnBeatTo = 0.9f;

// Stripe values are shared with the analysis, which publishes the same way.
inline float LoadValue(float* values, int i) {
  return std::atomic_ref<float>(values[i]).load(std::memory_order_relaxed);
}

// The first mark in [from, to) of a stripe of `size` values, -1 when none.
int FirstMark(float* values, int size, int from, int to) {
  for (int i = std::max(from, 0); i < std::min(to, size); ++i)
    if (LoadValue(values, i) > kMarkThreshold) return i;
  return -1;
}

// The audio thread's side of the block store's grace period.
class RenderBracket {
 public:
  explicit RenderBracket(const DeckBlockStore& blocks) : blocks_(blocks) { blocks_.EnterRender(); }
  ~RenderBracket() { blocks_.LeaveRender(); }

 private:
  const DeckBlockStore& blocks_;
};

}  // namespace

DeckSync::DeckSync(DeckTransport& transport, DeckStore& store, DeckLoopWords& loops)
    : transport_(transport), store_(store), loops_(loops) {}

std::int32_t DeckSync::GetBeatLength() const {
  if (!store_.IsSongReady()) return 0;
  const float bpm = transport_.GetBPM();
  return bpm > 1.0f ? static_cast<std::int32_t>(kBeatFramesPerBpm / bpm) : kPlainBeat;
}

void DeckSync::SyncPhase(int phase) {
  if (phase == 0) {
    RenderBracket bracket(store_.Blocks());
    FindPhase();
  } else if (phase == 1 && beatLockArmed_.load(std::memory_order_relaxed)) {
    Lock();
  }
}

// Inside the render bracket: the stripe cannot be freed meanwhile.
void DeckSync::FindPhase() {
  constexpr auto relaxed = std::memory_order_relaxed;
  if (!store_.IsSongLoaded() || !store_.IsSongReady()) {
    beatPosition_.store(0, relaxed);
    beatFrames_.store(kPlainBeat, relaxed);
    beatPhase_.store(0.0f, relaxed);
    beatNumber_.store(-1, relaxed);
    loops_.beatLength.store(0, relaxed);
    return;
  }
  const double position = transport_.GetExactPosition();
  const float bpm = store_.TempoAt(position);
  const std::int32_t frames =
      bpm > 0.0f ? static_cast<std::int32_t>(std::lrint(kBeatFramesPerBpm / bpm)) : kPlainBeat;
  beatPosition_.store(static_cast<std::int32_t>(std::lrint(position - 0.5)), relaxed);
  beatFrames_.store(frames, relaxed);
  loops_.beatLength.store(
      bpm > 1.0f ? static_cast<std::int32_t>(kBeatFramesPerBpm / bpm) : kPlainBeat, relaxed);

  // The distance to the next beat, in frames, from the marks.
  int size = 0;
  float* marks = store_.StripeMarks(size);
  const int n = store_.TotalFrames() / kFramesPerStripe;
  const int hop = frames / kFramesPerStripe;
  const int s = std::clamp(static_cast<int>(position / kFramesPerStripe), 0, n);
  const int w = hop * 4 / 3;
  double distance = 0.0;
  if (marks && hop > 0) {
    // The mark found last time, searched from no later than here, is still
    // the next one until the position passes it: no search.
    int m = lastMark_;
    if (s < lastSearch_ || m < s || m >= std::min(s + w, size) ||
        LoadValue(marks, m) <= kMarkThreshold) {
      m = FirstMark(marks, size, s, s + w);
      lastSearch_ = s;
    }
    lastMark_ = m;
    if (m >= 0) {
      distance = m * static_cast<double>(kFramesPerStripe) - position;
    } else if ((m = FirstMark(marks, size, s + w, s + 2 * w)) >= 0) {
      // The mark a beat earlier is missing: the grid gets it.
      const int missing = m - hop;
      if (missing >= 0 && missing < size) {
        std::atomic_ref<float> value(marks[missing]);
        const float old = value.load(relaxed);
        if (old <= kMarkThreshold) value.store(old + kBeatMark, relaxed);
      }
      distance = missing * static_cast<double>(kFramesPerStripe) - position;
    }
  }
  // A mark inside the present stripe already passed gives a small negative
  // distance: the beat has just begun.
  double beatPhase = 1.0 - distance / frames;
  if (beatPhase >= 1.0) beatPhase -= 1.0;
  beatPhase = std::clamp(beatPhase, 0.0, 1.0);
  if (transport_.GetRequestedSpeed() < 0.0) beatPhase = 1.0 - beatPhase;
  beatPhase_.store(static_cast<float>(beatPhase), relaxed);

  // The beat of the bar: the last beat's frame counted in beats from 0.
  const double lastBeat = position - frames * beatPhase;
  const long beat = std::lrint(lastBeat / frames);
  beatNumber_.store(static_cast<int>(((beat % 4) + 4) % 4), relaxed);
}

void DeckSync::Lock() {
  // The lock waits for the speed ramp: a shift taken mid-ramp would be lost
  // again by the time the ramp ends.
  const double requested = transport_.GetRequestedSpeed();
  if (requested != transport_.GetSpeed()) return;
  DeckSync* other = beatLockDeck_.load();
  beatLockArmed_.store(false);
  if (!other || !store_.IsSongReady()) return;
  const double difference = PhaseDifference(*other);
  const double shift = difference * beatFrames_.load() * (requested < 0.0 ? -1.0 : 1.0);
  transport_.RequestSkip(shift);
}

float DeckSync::PhaseDifference(const DeckSync& other) const {
  float difference = other.BeatPhase() - BeatPhase();
  if (difference > 0.5f) difference -= 1.0f;
  if (difference < -0.5f) difference += 1.0f;
  return difference;
}

bool DeckSync::IsOnBeat() const {
  const float phase = BeatPhase();
  return transport_.IsPlaying() && phase >= kOnBeatFrom && phase <= kOnBeatTo;
}

std::int32_t DeckSync::SnapToBeat(std::int32_t range) const {
  const std::int32_t position = transport_.GetPosition();
  if (transport_.GetBPM() <= 0.0f) return position;
  std::lock_guard<std::mutex> hold(store_.StripeLock());  // the unload frees the stripe under it
  int size = 0;
  float* marks = store_.StripeMarks(size);
  if (!marks) return position;
  const int m = FirstMark(marks, size, (position - range) / kFramesPerStripe,
                          (position + range) / kFramesPerStripe);
  if (m < 0) return position;
  return std::min(m * kFramesPerStripe, store_.TotalFrames() - 1);
}

int DeckSync::SkipBeats(int beats) {
  if (store_.IsLoadPending() || store_.IsSeekPending() || !store_.IsSongReady()) return 0;
  if (transport_.IsScratching() || loops_.loopArmed.load()) return 0;
  const std::int32_t beat = GetBeatLength();
  const bool looping = loops_.loopOn.load();
  if (looping && loops_.loopLength.load() < beat) return 0;
  const double direction = transport_.GetRequestedSpeed() < 0.0 ? -1.0 : 1.0;
  return transport_.RequestSkip(static_cast<double>(beats) * beat * direction) ? 1 : 0;
}

bool DeckSync::MatchingPitch(const DeckSync& other, int& pitch) const {
  if (!store_.IsSongReady() || !other.store_.IsSongReady()) return false;
  const double self = transport_.GetBPM(), theirs = other.transport_.GetBPM();
  if (self <= 0.0 || theirs <= 0.0) return false;
  const double target = theirs * (other.transport_.GetPitch() / 10000.0 + 1.0);
  const long p = std::lrint((target / self - 1.0) * 10000.0);
  if (std::labs(p) > kLargestMatch) return false;
  pitch = static_cast<int>(p);
  return true;
}

void DeckSync::ArmLock(DeckSync* other) {
  beatLockDeck_.store(other);
  beatLockArmed_.store(other != nullptr);
}

}  // namespace vantaro
