#include "engine/deck_loops.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "engine/deck_store.h"
#include "engine/deck_sync.h"
#include "engine/deck_transport.h"

namespace vantaro {
namespace {

constexpr int kWholeBeat = 64;                // sizes are in 1/64 beats
constexpr std::int32_t kShortestReloop = 44;  // frames: a 1 ms loop is no loop
constexpr int kSmallestEndSize = 4;           // SetLoopEnd keeps at least 4/64 beat
constexpr std::int32_t kFarJumpMargin = 50;   // frames

// A loop shorter than a beat changes and stops only when its passes fill
// whole beats.
bool WaitsForBeat(const DeckLoopWords& w) {
  const int size = DeckLoopWords::SizeOf(w.loopLength.load(std::memory_order_relaxed),
                                         w.beatLength.load(std::memory_order_relaxed));
  if (size < 1 || size >= kWholeBeat) return false;
  return w.loopPasses.load(std::memory_order_relaxed) % (kWholeBeat / size) != 0;
}

}  // namespace

int DeckLoopWords::SizeOf(std::int32_t length, std::int32_t beatLength) {
  if (beatLength <= 0 || length < 1) return 0;
  const long exponent =
      std::lrint(std::log2(static_cast<double>(length) / beatLength)) + 6;  // 64 = 1 beat
  if (exponent < 0) return 0;
  return 1 << std::min(exponent, 20L);
}

void DeckLoopWords::Clear() {
  loopOn.store(false);
  loopArmed.store(false);
  loopStopPending.store(false);
  loopPasses.store(0);
  nextLoopOut.store(0);
}

bool StepLoop(DeckLoopWords& w, double& position) {
  constexpr auto relaxed = std::memory_order_relaxed;
  // Lengths follow from the ends: a length read in the middle of a change
  // by the GUI can never disagree with them.
  std::int32_t in = w.loopIn.load(relaxed), out = w.loopOut.load(relaxed);
  std::int32_t length = out - in + 1;
  const std::int32_t nextIn = w.nextLoopIn.load(relaxed), nextOut = w.nextLoopOut.load(relaxed);
  if ((nextIn != in || nextOut != out) && nextOut > nextIn && !WaitsForBeat(w)) {
    w.loopPasses.store(0, relaxed);
    const bool insideNext = position >= nextIn && position < nextOut + 1.0;
    const bool outsideActive = position < in || position >= out + 1.0;
    if (insideNext || (std::abs(nextIn - in) > length - kFarJumpMargin && outsideActive)) {
      in = nextIn;
      out = nextOut;
      length = out - in + 1;
      w.loopIn.store(in, relaxed);
      w.loopOut.store(out, relaxed);
      w.loopLength.store(length, relaxed);
      w.loopChanged.store(true, relaxed);
    }
  }
  if (w.loopStopPending.load(relaxed) && !WaitsForBeat(w)) {
    // A loop of a beat or more runs to its end first.
    const bool subBeat = DeckLoopWords::SizeOf(length, w.beatLength.load(relaxed)) < kWholeBeat;
    if (subBeat || position >= out + 1.0) {
      w.nextLoopOut.store(0, relaxed);
      w.loopOn.store(false, relaxed);
      w.loopArmed.store(false, relaxed);
      w.loopStopPending.store(false, relaxed);
      w.loopChanged.store(true, relaxed);
      return false;
    }
  }
  if (length < 1) return false;
  if (position >= out + 1.0) {
    const double over = position - (out + 1.0);
    position = over < length ? in + over : in;
  } else if (position < in) {
    const double under = in - position;
    position = under <= length ? out + 1.0 - under : out;
  } else {
    return false;
  }
  w.loopPasses.fetch_add(1, relaxed);
  return true;
}

DeckLoops::DeckLoops(DeckMarks& marks, DeckTransport& transport, const DeckStore& store,
                     DeckSync& sync)
    : marks_(marks), transport_(transport), store_(store), sync_(sync) {}

bool DeckLoops::Busy() const {
  return store_.IsLoadPending() || store_.IsSeekPending() || !store_.IsSongReady();
}

int DeckLoops::GetLoopSize(std::int32_t length) const {
  return DeckLoopWords::SizeOf(length, sync_.GetBeatLength());
}

void DeckLoops::TakeNextAsActive() {
  DeckLoopWords& w = marks_.loops;
  w.loopIn.store(w.nextLoopIn.load());
  w.loopOut.store(w.nextLoopOut.load());
  w.loopLength.store(w.nextLoopLength.load());
}

// Active and next become [in, out] at once, and the loop runs.
void DeckLoops::StartAt(std::int32_t in, std::int32_t out) {
  DeckLoopWords& w = marks_.loops;
  w.loopOn.store(false);  // the render skips the loop while its ends change
  for (auto* field : {&w.loopIn, &w.nextLoopIn}) field->store(in);
  for (auto* field : {&w.loopOut, &w.nextLoopOut}) field->store(out);
  for (auto* field : {&w.loopLength, &w.nextLoopLength}) field->store(out - in + 1);
  w.loopPasses.store(0);
  w.loopArmed.store(false);
  w.loopStopPending.store(false);
  w.loopOn.store(true);
  w.loopChanged.store(true);
}

int DeckLoops::LoopForward(int size) {
  if (Busy()) return 0;
  DeckLoopWords& w = marks_.loops;
  const std::int32_t beat = sync_.GetBeatLength();
  const bool running = w.loopOn.load();
  if (running && GetLoopSize(w.loopLength.load()) == size) {
    StopLoop(false);
    return 1;
  }
  if (size < 1) return 0;
  w.loopArmed.store(false);
  const double length = static_cast<double>(beat) * size / kWholeBeat;
  const std::int32_t in = running ? w.nextLoopIn.load() : transport_.GetPosition();
  if (in + length > store_.TotalFrames()) {
    if (!running) w.nextLoopOut.store(0);
    return 0;
  }
  const auto out = static_cast<std::int32_t>(std::lrint(in + length - 1));
  if (!running) {
    StartAt(in, out);
    return 1;
  }
  w.nextLoopOut.store(out);
  w.nextLoopLength.store(out - in + 1);
  w.loopStopPending.store(false);
  return 1;
}

int DeckLoops::LoopBackward(int size) {
  if (Busy() || size < 1) return 0;
  const double length = static_cast<double>(sync_.GetBeatLength()) * size / kWholeBeat;
  const std::int32_t out = transport_.GetPosition();
  const std::int32_t in = std::max<std::int32_t>(0, out + 1 - std::lrint(length));
  if (out <= in) return 0;
  StartAt(in, out);
  return 1;
}

int DeckLoops::LoopInOut() {
  if (store_.IsLoadPending() || store_.IsSeekPending() || !store_.IsSongReady()) return 0;
  DeckLoopWords& w = marks_.loops;
  const std::int32_t beat = sync_.GetBeatLength();
  if (w.loopOn.load()) return SetLoopEnd(-w.loopLength.load() / 2);
  if (!w.loopArmed.load()) {
    w.loopPasses.store(0);
    const std::int32_t in = sync_.SnapToBeat(beat * 3 / 4);
    w.loopIn.store(in);
    w.nextLoopIn.store(in);
    w.loopArmed.store(true);
    return 1;
  }
  w.loopArmed.store(false);
  const std::int32_t in = w.nextLoopIn.load();
  const double beats = static_cast<double>(transport_.GetPosition() - in) / beat;
  const long power = beats > 0 ? std::clamp(std::lrint(std::log2(beats)), 0L, 3L) : 0;
  const std::int32_t length = beat << power;
  if (in + length > store_.TotalFrames()) {
    w.nextLoopOut.store(0);
    return 0;
  }
  StartAt(in, in + length - 1);
  return 1;
}

int DeckLoops::ReLoop() {
  DeckLoopWords& w = marks_.loops;
  if (Busy() || w.lastLoopLength.load() < kShortestReloop) return 0;
  StartAt(w.lastLoopIn.load(), w.lastLoopOut.load());
  return 1;
}

void DeckLoops::StopLoop(bool force) {
  DeckLoopWords& w = marks_.loops;
  const bool running = w.loopOn.load(), armed = w.loopArmed.load();
  if (!running && !armed) return;
  if (running) {
    w.lastLoopIn.store(w.loopIn.load());
    w.lastLoopOut.store(w.loopOut.load());
    w.lastLoopLength.store(w.loopLength.load());
  }
  if (!force && running && !armed) {
    const int size = GetLoopSize(w.loopLength.load());
    const bool subBeat = size >= 1 && size < kWholeBeat;
    if (w.loopSync.load() || (subBeat && w.loopPasses.load() % (kWholeBeat / size) != 0)) {
      w.loopStopPending.store(true);
      return;
    }
  }
  w.Clear();
  w.loopChanged.store(true);
}

int DeckLoops::SetLoopEnd(std::int32_t delta) {
  DeckLoopWords& w = marks_.loops;
  if (Busy() || !w.loopOn.load()) return 0;
  const std::int32_t in = w.nextLoopIn.load();
  const std::int32_t out = w.nextLoopOut.load() + delta;
  const std::int32_t length = out - in + 1;
  if (length < sync_.GetBeatLength() * kSmallestEndSize / kWholeBeat) return 0;
  if (out >= store_.TotalFrames()) return 0;
  w.nextLoopOut.store(out);
  w.nextLoopLength.store(length);
  const std::int32_t position = transport_.GetPosition();
  if (!transport_.IsPlaying() && position >= in && position <= out) TakeNextAsActive();
  return 1;
}

int DeckLoops::ShiftLoop(std::int32_t delta) {
  DeckLoopWords& w = marks_.loops;
  if (Busy() || !w.loopOn.load()) return 0;
  const std::int32_t in = w.nextLoopIn.load(), out = w.nextLoopOut.load();
  if (in != w.loopIn.load() || out != w.loopOut.load()) return 0;
  if (in + delta < 0 || out + delta >= store_.TotalFrames()) return 0;
  w.nextLoopIn.store(in + delta);
  w.nextLoopOut.store(out + delta);
  const std::int32_t position = transport_.GetPosition();
  if (!transport_.IsPlaying() && position >= in + delta && position <= out + delta)
    TakeNextAsActive();
  return 1;
}

bool DeckLoops::LoopSlotEmpty(int index) const {
  if (index < 0 || index >= DeckLoopWords::kSlots) return true;
  return marks_.loops.savedIn[index].load() < 0 || marks_.loops.savedOut[index].load() < 0;
}

int DeckLoops::LoopSlot(int index) {
  if (Busy() || index < 0 || index >= DeckLoopWords::kSlots) return 0;
  DeckLoopWords& w = marks_.loops;
  if (!LoopSlotEmpty(index)) {
    const std::int32_t in = w.savedIn[index].load(), out = w.savedOut[index].load();
    if (out <= in || out >= store_.TotalFrames()) return 0;
    StartAt(in, out);
    transport_.Play(1);
    return 1;
  }
  if (!w.loopOn.load()) return 0;
  w.savedIn[index].store(w.loopIn.load());
  w.savedOut[index].store(w.loopOut.load());
  marks_.refusedLoops.fetch_and(~(1u << index));
  return 1;
}

void DeckLoops::ClearLoopSlot(int index) {
  if (index < 0 || index >= DeckLoopWords::kSlots || store_.IsLoadPending()) return;
  marks_.loops.savedIn[index].store(-1);
  marks_.loops.savedOut[index].store(-1);
  marks_.refusedLoops.fetch_and(~(1u << index));
}

std::string DeckLoops::GetLoopText() const {
  const DeckLoopWords& w = marks_.loops;
  if (!w.loopOn.load()) return {};
  const int size = GetLoopSize(w.loopLength.load());
  char text[32];
  if (size >= kWholeBeat)
    std::snprintf(text, sizeof text, "%d  #%d", size / kWholeBeat, w.loopPasses.load());
  else
    std::snprintf(text, sizeof text, "1/%d  #%d", size > 0 ? kWholeBeat / size : 0,
                  w.loopPasses.load());
  return text;
}

}  // namespace vantaro
