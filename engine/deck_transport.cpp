// The deck's transport: the frame loop that moves the position at a ramped
// speed and interpolates the output, and the requests (play, pitch,
// direction, brake, external speed) that steer it.
//
// The render works on local copies of the position and the speed state and
// publishes them at the end of the block. The position is published with a
// compare-and-swap against the value it started from, so a jump made by
// another thread during the block (a seek served by the store thread, a skip)
// wins over the render's own advance.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "engine/sound_source.h"

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
  out = stored * CSoundSource::kSampleScale;
}
inline void Put(std::int16_t& out, float stored) {
  const float rounded = std::nearbyint(stored);
  out = static_cast<std::int16_t>(std::clamp(rounded, -32768.0f, 32767.0f));
}

// Frames i-2, i-1, i and i+1 of the song as stored-unit floats, left and
// right interleaved. Frames of absent blocks read as zero; near the song's
// edges the index wraps by the song length.
inline void FetchFour(const DeckBlockStore& store, std::int64_t i, std::int64_t total, float y[8]) {
  const std::int64_t first = i - 2;
  if (first >= 0 && i + 1 < total) {
    const std::int64_t block = first / kBlockFrames;
    const std::int64_t offset = first - block * kBlockFrames;
    if (offset <= kBlockFrames - 4) {
      const DeckBlock* present = store.Block(static_cast<int>(block));
      if (!present) {
        std::fill(y, y + 8, 0.0f);
        return;
      }
      const std::int16_t* samples = present->samples + offset * 2;
      for (int j = 0; j < 8; ++j) y[j] = samples[j];
      return;
    }
  }
  for (int j = 0; j < 4; ++j) {
    std::int64_t index = first + j;
    if (index < 0 || index >= total) index = ((index % total) + total) % total;
    const std::int16_t* samples = store.FramePointer(index);
    y[j * 2] = samples ? samples[0] : 0.0f;
    y[j * 2 + 1] = samples ? samples[1] : 0.0f;
  }
}

// The cubic Hermite spline between y1 and y2 (frames i-1 and i).
inline float Hermite(float f, float y0, float y1, float y2, float y3) {
  const float f2 = f * f, f3 = f2 * f;
  return (2 * f3 - 3 * f2 + 1) * y1 + (3 * f2 - 2 * f3) * y2 +
         (f3 - 2 * f2 + f) * (y2 - y0) * 0.5f + (f3 - f2) * (y3 - y1) * 0.5f;
}

// Marks the audio thread's presence for the block store's grace period.
class RenderBracket {
 public:
  explicit RenderBracket(DeckBlockStore& store) : store_(store) { store_.EnterRender(); }
  ~RenderBracket() { store_.LeaveRender(); }

 private:
  DeckBlockStore& store_;
};

}  // namespace

void CSoundSource::Render(float* buffer, int frames) {
  RenderFrames<float, true>(buffer, frames);
}

void CSoundSource::Render16(std::int16_t* buffer, int frames) {
  RenderFrames<std::int16_t, false>(buffer, frames);
}

int CSoundSource::FadeCountFor(double speed) const {
  const double magnitude = std::fabs(speed);
  if (!scratching.load(std::memory_order_relaxed) && !brakeOn.load(std::memory_order_relaxed) &&
      magnitude > kEnvelopeFullSpeed && !externalSpeed.load(std::memory_order_relaxed))
    return kFadeLength;
  return static_cast<int>(std::lrint(std::min(magnitude, 1.0) * kFadeLength));
}

// Per-frame increment of a ramp over `difference`, chosen by what asked for
// it. At the song's edges an ordinary or glide ramp jumps at once.
double CSoundSource::RampStep(double difference, double target, double position) const {
  if (externalSpeed.load(std::memory_order_relaxed)) return difference / kExternalRampFrames;
  if (brakeOn.load(std::memory_order_relaxed)) return difference / kBrakeRampFrames;
  const bool inside = position > 0.0 && position < totalFrames.load(std::memory_order_relaxed) - 1;
  if (!inside) return difference;
  if (glideOn.load(std::memory_order_relaxed)) return difference / kGlideRampFrames;
  // 2000 frames for a start to speed 1, 500 for a stop.
  const double t = std::clamp(std::fabs(target) * 10.0, 2.0, 8.0);
  return difference / (t * 250.0);
}

// The render's working copy of the transport, published at the end of a
// block.
struct DeckRenderState {
  double position;
  double current;  // speed applied to the next frame
  double target;
  double step;
  int fade;  // envelope count, 0..kFadeLength
  float gain;
  void SetFade(int count) {
    fade = count;
    gain = static_cast<float>(count) / CSoundSource::kFadeLength;
  }
};

int CSoundSource::CheckBlocks(double position, double speed, int n) const {
  const int count = blockCount.load(std::memory_order_relaxed);
  const double last = totalFrames.load(std::memory_order_relaxed) - 1.0;
  const double span = (n + kBlockCheckMargin) * std::fabs(speed);
  const double low = std::clamp(position - span, 0.0, last);
  const double high = std::clamp(position + span, 0.0, last);
  const int firstBlock = std::clamp(static_cast<int>(low / kBlockFrames), 0, count - 1);
  const int lastBlock = std::clamp(static_cast<int>(high / kBlockFrames), 0, count - 1);
  for (int b = firstBlock; b <= lastBlock; ++b) {
    if (b >= kMaxBlocks) return 2;
    if (loadRequest.load(std::memory_order_relaxed) || !store_.Block(b)) return 1;
  }
  return 0;
}

// A paused deck held by the hand drags its cue point along.
void CSoundSource::FollowCueUnderTheHand(double position) {
  if (!scratching.load() || scratchResume.load()) return;
  if (cueMode.load() == 2) {
    mustSetCue.store(true);
    return;
  }
  const std::int32_t cue = cuePoint.load();
  if (cue >= 0 && std::fabs(position - cue) < kBlockFrames)
    cuePoint.store(static_cast<std::int32_t>(std::floor(position)));
}

// One frame's speed: an immediate stop, the glide clamp, the brake, a new
// ramp when the request moved, and one ramp step.
void CSoundSource::StepSpeed(DeckRenderState& s) {
  if (stopNow.load(std::memory_order_relaxed)) {
    stopNow.store(false, std::memory_order_relaxed);
    s.target = s.current = 0.0;
    s.SetFade(FadeCountFor(s.current));
  }
  const bool glide = glideOn.load(std::memory_order_relaxed);
  if (glide) {
    s.current = std::clamp(s.current, -kGlideMaxSpeed, kGlideMaxSpeed);
    s.SetFade(FadeCountFor(s.current));
  }
  // A held brake asks for a standstill whatever else was requested.
  const bool braking =
      brakeOn.load(std::memory_order_relaxed) && !externalSpeed.load(std::memory_order_relaxed);
  if (braking && glide) glideOn.store(false);
  const double requested = braking ? 0.0 : speedRequested.load(std::memory_order_relaxed);
  if (requested != s.target) {
    s.target = requested;
    s.step = RampStep(s.target - s.current, s.target, s.position);
  }
  if (s.target == s.current) return;
  s.current += s.step;
  if ((s.step > 0.0 && s.current > s.target) || (s.step < 0.0 && s.current < s.target) ||
      s.step == 0.0)
    s.current = s.target;
  if (glideOn.load(std::memory_order_relaxed) && std::fabs(s.target - s.current) < kGlideDone) {
    glideOn.store(false, std::memory_order_relaxed);
    s.current = s.target;
  }
  s.SetFade(FadeCountFor(s.current));
}

// End of the song: false when the deck ran off an edge with repeat off
// (the position then rests on that edge); with repeat it wraps round.
bool CSoundSource::StayInsideTheSong(DeckRenderState& s, bool repeat) {
  if (loopOn.load(std::memory_order_relaxed) && !scratching.load(std::memory_order_relaxed))
    return true;
  const double last = totalFrames.load(std::memory_order_relaxed) - 1.0;
  if (s.position > last) {
    if (!repeat) {
      s.position = last;
      return false;
    }
    s.position = 0.0;
    storeThread_.Wake();
  } else if (s.position < 0.0) {
    if (!repeat) {
      s.position = 0.0;
      return false;
    }
    s.position = last;
    storeThread_.Wake();
  }
  return true;
}

// A stop ends in a 10 ms fade of the held last frame instead of a click.
template <typename Sample>
void CSoundSource::TailFade(Sample* out, int from, int n, DeckRenderState& s) {
  for (int j = from; j < n; ++j) {
    Put(out[j * 2], lastLeft * s.gain);
    Put(out[j * 2 + 1], lastRight * s.gain);
    if (s.fade > 0)
      s.SetFade(s.fade - 1);
    else
      lastLeft = lastRight = 0.0f;
  }
}

template <typename Sample, bool kCubic>
void CSoundSource::RenderFrames(Sample* out, int n) {
  if (n <= 0 || !out) return;
  RenderBracket bracket(store_);
  if (n > kMaxRenderFrames || !songLoaded.load()) {
    ZeroFrames(out, n);
    return;
  }
  const std::int64_t total = totalFrames.load(std::memory_order_relaxed);
  const double startPosition = playPosition.load();
  DeckRenderState s{startPosition,
                    speedCurrent.load(std::memory_order_relaxed),
                    speedTarget.load(std::memory_order_relaxed),
                    speedStep.load(std::memory_order_relaxed),
                    0,
                    0.0f};
  s.SetFade(fadeCount.load(std::memory_order_relaxed));
  FollowCueUnderTheHand(s.position);

  if (const int missing = CheckBlocks(s.position, s.current, n)) {
    ZeroFrames(out, n);
    if (missing == 1) {
      lastLeft = lastRight = 0.0f;
      // The clock keeps running so the deck does not lag behind its timeline.
      if (playing.load() && songReady.load() && !loadRequest.load() && !stopNow.load()) {
        double expected = startPosition;
        playPosition.compare_exchange_strong(expected, s.position + n * s.current);
      }
    }
    storeThread_.Wake();
    return;
  }

  if (playing.load()) s.SetFade(FadeCountFor(s.current));
  const bool repeat = repeatOn.load(std::memory_order_relaxed);
  bool reachedEnd = false;
  int k = 0;
  for (; k < n && playing.load(std::memory_order_relaxed); ++k) {
    StepSpeed(s);
    s.position += s.current;
    if (!StayInsideTheSong(s, repeat)) {
      reachedEnd = true;
      break;
    }
    const double whole = std::floor(s.position);
    const float fraction = static_cast<float>(s.position - whole);
    float y[8];
    FetchFour(store_, static_cast<std::int64_t>(whole), total, y);
    float left, right;
    if constexpr (kCubic) {
      left = Hermite(fraction, y[0], y[2], y[4], y[6]);
      right = Hermite(fraction, y[1], y[3], y[5], y[7]);
    } else {
      left = y[2] + fraction * (y[4] - y[2]);
      right = y[3] + fraction * (y[5] - y[3]);
    }
    lastLeft = left * s.gain;
    lastRight = right * s.gain;
    Put(out[k * 2], lastLeft);
    Put(out[k * 2 + 1], lastRight);
  }
  TailFade(out, k, n, s);

  // At the end of the song the deck stops; a hand on the platter keeps it.
  if (reachedEnd && !scratching.load(std::memory_order_relaxed))
    playing.store(false, std::memory_order_relaxed);
  if (!playing.load(std::memory_order_relaxed)) s.current = s.target = s.step = 0.0;

  speedCurrent.store(s.current, std::memory_order_relaxed);
  speedTarget.store(s.target, std::memory_order_relaxed);
  speedStep.store(s.step, std::memory_order_relaxed);
  fadeCount.store(s.fade, std::memory_order_relaxed);
  double expected = startPosition;
  playPosition.compare_exchange_strong(expected, s.position);
}

template void CSoundSource::RenderFrames<float, true>(float*, int);
template void CSoundSource::RenderFrames<std::int16_t, false>(std::int16_t*, int);

float CSoundSource::GetBPM() {
  if (!songLoaded.load(std::memory_order_relaxed)) return 0.0f;
  const double position = playPosition.load(std::memory_order_relaxed);
  const DeckBlock* block = store_.Block(static_cast<int>(std::max(0.0, position) / kBlockFrames));
  if (block && block->tempoValid.load(std::memory_order_relaxed))
    return block->tempo.load(std::memory_order_relaxed);
  // A block without a tempo of its own (a streamed block not yet analysed)
  // falls back on the song's tempo, 0 when unknown.
  return songTempo.load(std::memory_order_relaxed);
}

std::int32_t CSoundSource::GetPosition() {
  return static_cast<std::int32_t>(std::lrint(playPosition.load(std::memory_order_relaxed) - 0.5));
}

void CSoundSource::SyncPhase(int phase) {
  // Beat phase (0) and beat lock (1) belong to the beat controls; a deck
  // without them has nothing to refresh.
  (void)phase;
}

void CSoundSource::SetPitch(int pitchUnits) {
  pitch.store(pitchUnits);
  const int dir = direction.load();
  const double resting = dir + pitchUnits / 10000.0 * dir;
  pitchSpeed.store(resting);
  if (!scratching.load()) {
    speedRequested.store(resting);
    glideOn.store(false);
    stretchSpeedRequested.store(resting);
  }
}

void CSoundSource::SetDirection(int newDirection) {
  direction.store(newDirection < 0 ? -1 : 1);
  SetPitch(pitch.load());
}

int CSoundSource::GetPitch() const {
  if (!externalSpeed.load()) return pitch.load();
  const double requested = speedRequested.load();
  const double sign = requested < 0.0 ? -1.0 : 1.0;
  return static_cast<int>(std::lrint((requested - sign) * sign * 10000.0));
}

void CSoundSource::SetExternalSpeed(bool on) {
  externalSpeed.store(on);
  if (!on) {
    speedRequested.store(pitchSpeed.load());
    stretchSpeedRequested.store(pitchSpeed.load());
  }
}

void CSoundSource::SetSpeed(double speed) {
  speedRequested.store(speed);
  stretchSpeedRequested.store(speed);
}

void CSoundSource::SetBrake(bool on) {
  brakeOn.store(on);
  if (!on) {
    glideOn.store(false);
    speedRequested.store(pitchSpeed.load());
  }
}

void CSoundSource::Play(int value) {
  if (cueHeld.load() && playing.load()) {
    cueHeld.store(false);
    return;
  }
  // While a hand holds the platter the deck must keep turning under it:
  // play and pause decide what happens when the scratch ends.
  if (scratching.load()) {
    const bool old = scratchResume.load();
    scratchResume.store(value == -1 ? !old : value != 0);
    return;
  }
  const bool old = playing.load();
  const bool now = value == -1 ? !old : value != 0;
  if (old && !now) {
    jogTouch.store(false);
    if (cueMode.load() == 1) cuePoint.store(GetPosition());
  }
  if (now) mustSetCue.store(false);
  playing.store(now);
}

void CSoundSource::NotifyPlayState(bool nowPlaying) {
  int state = 0;
  if (nowPlaying) state = everPlayed.exchange(true) ? 1 : 2;
  if (playStateCallback_) playStateCallback_(deckIndex, state, playStateUser_);
}

void CSoundSource::SkipFrames(float frames) {
  const double total = totalFrames.load();
  double position = playPosition.load();
  for (;;) {
    const double moved = position + frames;
    if (moved < 0.0 || moved >= total) return;  // would leave the song
    if (playPosition.compare_exchange_weak(position, moved)) return;
  }
}

}  // namespace vantaro
