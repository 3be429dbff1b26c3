#include "engine/sampler_player.h"

#include <algorithm>
#include <cmath>

#include "codecs/codec_set.h"
#include "engine/sound_source.h"

namespace vantaro {
namespace {

constexpr double kFrameScale = 3.0517578125e-5;  // 1/32768
constexpr double kTempoFrames = 2646000.0;       // 60 s * 44100: BPM <-> frames per beat
constexpr int kReadRun = 44100;
constexpr int kMinRead = 256;
constexpr int kSamplerCodecId = 60;  // no video decoder: sounds only

double Wrap01(double phase) {
  phase -= std::floor(phase);
  return phase >= 1.0 ? 0.0 : phase;
}

}  // namespace

int ReferenceDeck(int crossfader, bool deck0Playing, bool deck1Playing) {
  if (crossfader >= 64) return deck1Playing ? 1 : deck0Playing ? 0 : 1;
  return deck0Playing ? 0 : deck1Playing ? 1 : 0;
}

CSamplerPlayer::CSamplerPlayer(int slotIndex) : slotIndex_(slotIndex) {}

CSamplerPlayer::~CSamplerPlayer() {
  // The mixer no longer pulls this slot: nothing reads the sample.
  delete sample_.exchange(nullptr);
}

double CSamplerPlayer::SpeedFor(int pitch) const {
  // The magnitude only: the render multiplies by the direction, so a
  // reversed slot plays backwards at its pitch.
  return 1.0 + pitch / 10000.0;
}

void CSamplerPlayer::SetPitch(int pitch) {
  pitch_ = pitch;
  speedRequested_ = SpeedFor(pitch);
}

void CSamplerPlayer::Publish(std::unique_ptr<SamplerSample> sample) {
  playing_ = false;
  syncArmed_ = false;
  syncDeck_ = nullptr;
  if (sample) {
    pitch_ = 0;
    direction_ = 1;
    speedRequested_ = 1.0;
    rewind_ = true;
  }
  SamplerSample* old = sample_.exchange(sample.release());
  if (old) retired_.emplace_back(old, blocks_.load());
  CollectRetired();
}

void CSamplerPlayer::CollectRetired() {
  // A block that read a retired pointer set `rendering_` before and counts
  // `blocks_` after: once it is not rendering, or a block has ended since
  // the swap, no block holds the old sample.
  const bool idle = !rendering_.load();
  const long blocks = blocks_.load();
  std::erase_if(retired_, [&](const auto& entry) { return idle || blocks > entry.second; });
}

int CSamplerPlayer::LoadSample(const std::string& path, const SavedLoopLookup& savedLoop) {
  filePath_ = path;
  // A slot that held a sample forgets its beats; a fresh one keeps what the
  // sampler file set before the load.
  if (IsLoaded()) beats_ = 0;
  Publish(nullptr);
  CCodecSet decoder(kSamplerCodecId);
  TCodecFormat format{44100, 2, 16, 16, 0, 0};
  if (!decoder.Open(path, format, kCodecRead, kReadRun)) return 0;
  std::int32_t start = 0, length = format.frames;
  std::int32_t loopIn = 0, loopOut = 0;
  if (savedLoop && savedLoop(path, loopIn, loopOut) && loopIn > 0 && loopOut > loopIn &&
      loopOut < length) {
    start = loopIn;
    length = loopOut - loopIn + 1;
  }
  if (length < 1 || length > kMaxFrames) return 0;
  auto sample = std::make_unique<SamplerSample>();
  // The decoder reads no fewer than kMinRead frames a call: room for a
  // tail read past the sample's end.
  sample->frames =
      std::make_unique<std::int16_t[]>((static_cast<std::size_t>(length) + kMinRead) * 2);
  sample->length = length;
  std::int32_t done = 0;
  while (done < length) {
    const int want = std::max(kMinRead, std::min(kReadRun, length - done));
    const int got = decoder.GetShortSamples(
        sample->frames.get() + static_cast<std::ptrdiff_t>(done) * 2, want, start + done);
    if (got <= 0) break;
    done += got;
    if (got < want) break;
  }
  // A short read leaves the rest silent (zeroed by make_unique).
  Publish(std::move(sample));
  return 1;
}

bool CSamplerPlayer::TakeSample(std::vector<std::int16_t> frames, const std::string& path) {
  const auto length = static_cast<std::int64_t>(frames.size() / 2);
  if (length < 1 || length > kMaxFrames) return false;
  filePath_ = path;
  auto sample = std::make_unique<SamplerSample>();
  sample->frames = std::make_unique<std::int16_t[]>(frames.size());
  std::copy(frames.begin(), frames.end(), sample->frames.get());
  sample->length = static_cast<std::int32_t>(length);
  Publish(std::move(sample));
  return true;
}

void CSamplerPlayer::Unload() {
  Publish(nullptr);
  beats_ = 0;
}

void CSamplerPlayer::Play(int flag, CSoundSource* reference) {
  if (!IsLoaded()) return;
  if (!flag || !looping_) rewind_ = true;
  if (flag && autosync_ && reference) SyncToDeck(reference);
  playing_ = flag != 0;
}

bool CSamplerPlayer::SyncToDeck(CSoundSource* deck) {
  if (!deck || !IsLoaded()) return false;
  playing_ = true;
  const double slotTempo = GetBPM();
  const double deckTempo = deck->GetBPM();
  if (slotTempo <= 0.0 || deckTempo <= 0.0) return false;
  const double ratio = (deck->GetPitch() / 10000.0 + 1.0) * deckTempo / slotTempo;
  const int p = static_cast<int>(std::lrint((ratio - 1.0) * 10000.0));
  if (std::abs(p) > kMaxPitch) return false;
  syncDeck_ = deck;
  SetPitch(p);
  syncArmed_ = true;
  return true;
}

float CSamplerPlayer::GetBPM() {
  const SamplerSample* s = sample_.load();
  const int beats = beats_.load();
  if (!s || beats < 1) return 0.0f;
  return static_cast<float>(kTempoFrames / (static_cast<double>(s->length) / beats));
}

std::int32_t CSamplerPlayer::GetPosition() {
  return IsLoaded() ? shownPosition_.load(std::memory_order_relaxed) : 0;
}

std::int32_t CSamplerPlayer::GetLength() {
  const SamplerSample* s = sample_.load();
  return s ? s->length : 0;
}

CSamplerPlayer::BeatInfo CSamplerPlayer::GetBeatInfo() {
  BeatInfo info;
  info.position = position_;
  const float bpm = GetBPM();
  info.beatLength = bpm > 0 ? static_cast<std::int32_t>(std::lrint(kTempoFrames / bpm)) : 22050;
  info.phase = Wrap01(position_ / info.beatLength);
  return info;
}

void CSamplerPlayer::SkipFrames(double frames) {
  const SamplerSample* s = sample_.load();
  if (!s || GetBeatInfo().beatLength <= 0) return;
  const double moved = position_ + frames;
  if (moved >= 0 && moved < s->length) {
    position_ = moved;
  } else if (looping_) {
    position_ = moved - std::floor(moved / s->length) * s->length;
  }
}

void CSamplerPlayer::SyncPhase(int phase) {
  if (phase != 1 || !syncArmed_.load(std::memory_order_relaxed)) return;
  CSoundSource* deck = syncDeck_.load();
  if (!deck || !IsLoaded()) return;
  const BeatInfo slot = GetBeatInfo();
  const double deckBeat = deck->GetBeatLength();
  if (deckBeat <= 0) return;
  // Both phases belong to this block's first frame: the deck's from its
  // SyncPhase(0), the slot's from its position.
  const double deckPhase = Wrap01(deck->GetBeatPhase() + kSyncLeadFrames / deckBeat);
  double d = slot.phase - deckPhase;
  d -= std::round(d);
  const double sign = direction_.load(std::memory_order_relaxed) < 0 ? -1.0 : 1.0;
  SkipFrames(-d * sign * slot.beatLength);
  syncArmed_ = false;
}

bool CSamplerPlayer::RenderFrame(const SamplerSample& s, float* out) {
  const double last = s.length - 1;
  position_ += direction_.load(std::memory_order_relaxed) * speedCurrent_;
  if (position_ > last || position_ < 0) {
    const bool forward = position_ > last;
    if (!looping_.load(std::memory_order_relaxed)) {
      out[0] = out[1] = 0.0f;
      position_ = forward ? 0 : last;
      playing_ = false;
      ended_ = true;
      if (onEnd_) onEnd_(0, slotIndex_, -1);
      return false;
    }
    position_ = forward ? 0 : last;
  }
  const auto i = static_cast<std::int32_t>(position_);
  const auto f = static_cast<float>(position_ - i);
  const std::int32_t next = i + 1 < s.length ? i + 1 : 0;
  for (int c = 0; c < 2; ++c) {
    const float a = static_cast<float>(s.frames[i * 2 + c] * kFrameScale);
    const float b = static_cast<float>(s.frames[next * 2 + c] * kFrameScale);
    out[c] = a + (b - a) * f;
  }
  return true;
}

void CSamplerPlayer::Render(float* buffer, int frames) {
  rendering_.store(true);
  const SamplerSample* s = sample_.load();
  int done = 0;
  if (s) {
    if (rewind_.exchange(false)) position_ = 0.0;
    // No ramp on a sampler: the speed takes the request at once.
    speedCurrent_ = speedRequested_.load(std::memory_order_relaxed);
    while (done < frames && playing_.load(std::memory_order_relaxed)) {
      const bool more = RenderFrame(*s, buffer + static_cast<std::ptrdiff_t>(done) * 2);
      ++done;
      if (!more) break;
    }
    shownPosition_.store(static_cast<std::int32_t>(std::lrint(position_)),
                         std::memory_order_relaxed);
  }
  std::fill(buffer + static_cast<std::ptrdiff_t>(done) * 2,
            buffer + static_cast<std::ptrdiff_t>(frames) * 2, 0.0f);
  blocks_.fetch_add(1);
  rendering_.store(false);
}

}  // namespace vantaro
