#include "engine/deck_stretcher.h"

#include <rubberband/RubberBandStretcher.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <string>

#include "base/debug_log.h"
#include "base/thread_priority.h"
#include "engine/deck_block_store.h"
#include "engine/deck_store.h"
#include "engine/deck_transport.h"
#include "engine/engine_settings.h"

namespace vantaro {
namespace {

using RubberBand::RubberBandStretcher;

// Real time, precise stretch, no threads of its own: 65553 and the engine.
constexpr RubberBandStretcher::Options kOptions = RubberBandStretcher::OptionProcessRealTime |
                                                  RubberBandStretcher::OptionStretchPrecise |
                                                  RubberBandStretcher::OptionThreadingNever;
constexpr int kMaxInput = 16384;    // frames handed to process at once
constexpr int kMaxOutput = 16384;   // frames taken from retrieve at once
constexpr int kFifoBytes = 352800;  // 44100 stereo float frames
constexpr int kFrameBytes = 2 * sizeof(float);
// Of a chunk, behind the position, when a change restarts the idle ring
// (the active one plays meanwhile). A ring the position left restarts at
// the position: the render is silent until the ring holds it, and every
// frame of lead-in would only lengthen that.
constexpr double kLeadIn = 0.25;
constexpr auto kFallBackWindow = std::chrono::seconds(10);
constexpr int kResetAll = 4;

}  // namespace

DeckStretcher::DeckStretcher(int deckIndex, const DeckStore& store, DeckTransport& transport)
    : deckIndex_(deckIndex),
      store_(store),
      transport_(transport),
      fifo_(kFifoBytes),
      input_(2 * kMaxInput),
      output_(2 * kMaxOutput),
      piece_(2 * kMaxOutput),
      thread_("stretch-" + std::to_string(deckIndex), kThreadPeriodMs, kPriorityHighest,
              [this] { Run(); }) {
  Build(TheEngineSettings().highQualityFine.load());
}

DeckStretcher::~DeckStretcher() {
  thread_.Stop();
}

bool DeckStretcher::StartThread() {
  return thread_.Start();
}

void DeckStretcher::Build(bool finer) {
  stretcher_.reset();
  engine_.store(0);
  const auto engine =
      finer ? RubberBandStretcher::OptionEngineFiner : RubberBandStretcher::OptionEngineFaster;
  try {
    stretcher_ = std::make_unique<RubberBandStretcher>(44100, 2, kOptions | engine, 1.0, 1.0);
    engine_.store(stretcher_->getEngineVersion());
  } catch (const std::exception& failure) {
    stretcher_.reset();
    DebugLog("key lock: deck %d has no stretcher (%s); key lock takes the cheap path", deckIndex_,
             failure.what());
  }
  builtFiner_ = finer;
  resetRequests_.fetch_or(kResetAll);
}

void DeckStretcher::SetHQ(bool on) {
  if (hqEnabled_.load() == on) return;
  hqEnabled_.store(on);
  if (on) Wake();
}

void DeckStretcher::SetKeyShift(int cents) {
  keyShiftCents_.store(cents);
  pitchScaleRequested_.store(std::pow(2.0, cents / 1200.0));
  if (!HQEnabled() && cents != 0 && !keyShiftNoticeShown_.exchange(true))
    notices_.fetch_or(kNoticeKeyShiftNeedsHQ);
  Wake();
}

void DeckStretcher::StretchReset(int ring) {
  resetRequests_.fetch_or(ring == 0 || ring == 1 ? 1 << ring : kResetAll);
  Wake();
}

void DeckStretcher::NoteMiss(bool steady) {
  misses_.fetch_add(1, std::memory_order_relaxed);
  if (steady) steadyMisses_.fetch_add(1, std::memory_order_relaxed);
  Wake();
}

void DeckStretcher::Run() {
  if (!HQEnabled()) return;
  const bool finer = TheEngineSettings().highQualityFine.load() && !fellBack_;
  if (finer != builtFiner_) Build(finer);
  if (!stretcher_ || !store_.IsSongReady() || store_.IsLoadPending()) return;
  // A new song: both rings start afresh before the render may use them.
  const std::uint64_t song = transport_.SongSerial();
  if (song != ringSong_.load()) resetRequests_.fetch_or(kResetAll);
  TakeResets();
  ringSong_.store(song, std::memory_order_release);
  WatchMisses();
  if (!stretcher_) return;

  const double position = transport_.GetExactPosition();
  double speed = std::fabs(transport_.StretchSpeedRequested());
  if (speed < kMinimumSpeed) {
    // The stretcher is never asked to go slower than half speed.
    speed = kMinimumSpeed;
    transport_.HoldStretchSpeed(kMinimumSpeed * transport_.GetDirection());
  }
  const double pitch = pitchScaleRequested_.load();
  const int active = ActiveRing();
  const bool change = speed != rings_[active].Ratio() || pitch != rings_[active].Pitch();
  const int target = change ? 1 - active : active;
  const StretchRing& ring = rings_[target];
  if (!change && ring.Holds(position) && position + kBlockFrames <= ring.SourceEnd()) return;
  if (change || ring.Fill() == 0 || position < ring.SourceStart() ||
      position > ring.SourceEnd() + kChunkFrames)
    Restart(target, position - (change ? speed * kChunkFrames * kLeadIn : 0.0), speed, pitch);
  Feed(target, kChunkFrames);
  if (change) activeRing_.store(target, std::memory_order_release);
}

void DeckStretcher::TakeResets() {
  const int requests = resetRequests_.exchange(0);
  if (requests & kResetAll) {
    for (StretchRing& ring : rings_) ring.Restart(0.0, 1.0, 1.0);
    activeRing_.store(0);
    if (stretcher_) {
      stretcher_->reset();
      stretcher_->setTimeRatio(1.0);
      stretcher_->setPitchScale(1.0);
    }
    return;
  }
  for (int i = 0; i < 2; ++i)
    if (requests & (1 << i)) rings_[i].Restart(0.0, rings_[i].Ratio(), rings_[i].Pitch());
}

// The render counts its misses; they are logged here, and three misses of
// steady play within 10 s on the finer engine send the deck to the faster
// one.
void DeckStretcher::WatchMisses() {
  const std::uint32_t misses = misses_.load(std::memory_order_relaxed);
  if (misses != missesSeen_) {
    DebugLog("dsp thread wake now (deck %d, %u reads missed)", deckIndex_, misses - missesSeen_);
    missesSeen_ = misses;
  }
  const std::uint32_t steady = steadyMisses_.load(std::memory_order_relaxed);
  const auto now = std::chrono::steady_clock::now();
  for (; steadySeen_ != steady; ++steadySeen_) {
    steadyTimes_[steadyNext_] = now;
    steadyNext_ = (steadyNext_ + 1) % 3;
  }
  const auto oldest = steadyTimes_[steadyNext_];
  if (engine_.load() != 3 || oldest == decltype(oldest){} || now - oldest > kFallBackWindow) return;
  fellBack_ = true;
  std::fill(std::begin(steadyTimes_), std::end(steadyTimes_), decltype(oldest){});
  DebugLog(
      "key lock: deck %d falls back to the faster stretcher until the next start (the finer "
      "one missed its ring 3 times in 10 s)",
      deckIndex_);
  notices_.fetch_or(kNoticeFellBackToFaster);
  Build(false);
  TakeResets();
}

void DeckStretcher::Restart(int ring, double start, double speed, double pitch) {
  stretcher_->reset();
  stretcher_->setTimeRatio(1.0 / speed);
  stretcher_->setPitchScale(pitch);
  start = std::floor(std::max(0.0, start));
  rings_[ring].Restart(start, speed, pitch);
  // The pad is song before the ring's first frame, the delay is dropped:
  // the ring's first frame is the song at `start`, stretched.
  feedPosition_ = start - static_cast<double>(stretcher_->getPreferredStartPad());
  dropFrames_ = static_cast<int>(stretcher_->getStartDelay());
  fifo_.Clear();
}

int DeckStretcher::Feed(int ring, int frames) {
  float* inputs[2] = {input_.data(), input_.data() + kMaxInput};
  float* outputs[2] = {output_.data(), output_.data() + kMaxOutput};
  int appended = 0;
  while (appended < frames) {
    const int required =
        static_cast<int>(std::min<std::size_t>(stretcher_->getSamplesRequired(), kMaxInput));
    if (required > 0) {
      store_.ReadFrames(static_cast<std::int64_t>(feedPosition_), required, piece_.data());
      for (int i = 0; i < required; ++i) {
        inputs[0][i] = piece_[i * 2];
        inputs[1][i] = piece_[i * 2 + 1];
      }
      stretcher_->process(inputs, required, false);
      feedPosition_ += required;
    }
    int retrieved = 0;
    for (int available = stretcher_->available(); available > 0;
         available = stretcher_->available()) {
      const int got =
          static_cast<int>(stretcher_->retrieve(outputs, std::min(available, kMaxOutput / 2)));
      const int skip = std::min(dropFrames_, got);
      dropFrames_ -= skip;
      for (int i = skip; i < got; ++i) {
        piece_[(i - skip) * 2] = outputs[0][i];
        piece_[(i - skip) * 2 + 1] = outputs[1][i];
      }
      if (got <= skip) continue;
      // The fifo holds at most a second; publish before it could overflow.
      if (fifo_.Free() < static_cast<std::size_t>((got - skip) * kFrameBytes))
        appended += MoveToRing(ring, 0);
      fifo_.Write(piece_.data(), static_cast<std::size_t>(got - skip) * kFrameBytes);
      retrieved += got;
    }
    // Published in pieces as they come: a restarted ring is heard at once.
    appended += MoveToRing(ring, kFirstPiece);
    if (required == 0 && retrieved == 0) break;  // the stretcher asks for nothing more
  }
  return appended + MoveToRing(ring, 0);
}

// Moves what the fifo holds into `ring` when it holds at least `least`
// frames. Returns the frames moved.
int DeckStretcher::MoveToRing(int ring, int least) {
  int held = static_cast<int>(fifo_.Available() / kFrameBytes);
  if (held == 0 || held < least) return 0;
  int moved = 0;
  while (held > 0) {
    const int count = std::min(held, kMaxOutput);
    fifo_.Read(output_.data(), static_cast<std::size_t>(count) * kFrameBytes);
    rings_[ring].Append(output_.data(), count);
    held -= count;
    moved += count;
  }
  return moved;
}

}  // namespace vantaro
