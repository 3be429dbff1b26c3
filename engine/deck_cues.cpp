#include "engine/deck_cues.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "base/debug_log.h"
#include "engine/deck_loops.h"
#include "engine/deck_store.h"
#include "engine/deck_transport.h"

namespace vantaro {
namespace {

constexpr std::int32_t kUserCue = 10;     // frames: a song start or end below it was never set
constexpr double kReleaseDistance = 4.0;  // frames from the cue before a release returns
constexpr int kRecordCues = TZKSongRecord::kCueCount;

bool OnTheCue(double position, std::int32_t cue) {
  return std::fabs(position - cue) < 1.0;
}

}  // namespace

DeckCues::DeckCues(DeckMarks& marks, DeckTransport& transport, DeckStore& store, DeckLoops& loops)
    : marks_(marks), transport_(transport), store_(store), loops_(loops) {
  std::fill(std::begin(cueHold_), std::end(cueHold_), kHoldIdle);
  std::fill(std::begin(loopHold_), std::end(loopHold_), kHoldIdle);
}

bool DeckCues::Busy() const {
  return store_.IsLoadPending() || store_.IsSeekPending() || !store_.IsSongReady();
}

// The entry and, when it is the active one, the active cue.
void DeckCues::SetEntry(int index, std::int32_t frames) {
  DeckCueTable& cues = marks_.cues;
  cues.cueTable[index].store(frames);
  if (cues.cueIndex.load() == index) cues.cuePosition.store(frames);
  marks_.refusedCues.fetch_and(~(1u << index));
  cues.memoryChanged.store(true);
}

void DeckCues::CueButtonDown() {
  DeckCueTable& cues = marks_.cues;
  if (cues.cueMode.load() == 0 && cues.cuePosition.load() >= 1) {
    cues.cuePressQueued.store(0);
    return;
  }
  CuePress();
}

void DeckCues::CuePress() {
  if (store_.IsLoadPending() || store_.IsSeekPending()) return;
  DeckCueTable& cues = marks_.cues;
  const int mode = cues.cueMode.load();
  const double position = transport_.GetExactPosition();
  const auto here = static_cast<std::int32_t>(std::floor(position));
  if (mode < 1) {
    if (cues.cuePosition.load() < 1) {
      SetEntry(std::clamp(cues.cueIndex.load(), 0, DeckCueTable::kEntries - 1), here);
      return;
    }
    if (transport_.IsScratching()) return;
    if (transport_.IsPlaying()) {
      loops_.StopLoop(true);
      transport_.JumpTo(cues.cuePosition.load());
      store_.Wake();
      cues.goToCue.store(false);
      return;
    }
  }
  if (!store_.IsSongReady()) return;
  if (mode <= 1) {
    cues.goToCue.store(true);
    return;
  }
  const std::int32_t cue = cues.cuePosition.load();
  const bool playing = transport_.IsPlaying();
  if (!OnTheCue(position, cue)) {
    if (!playing && cues.mustSetCue.load()) {
      SetEntry(std::clamp(cues.cueIndex.load(), 0, DeckCueTable::kEntries - 1), here);
      cues.mustSetCue.store(false);
      return;
    }
    cues.mustSetCue.store(false);
    cues.cueHeld.store(false);
    cues.goToCue.store(true);
  } else if (!playing) {
    transport_.Play(1);
    cues.cueHeld.store(true);
  }
}

void DeckCues::CueRelease() {
  DeckCueTable& cues = marks_.cues;
  const int mode = cues.cueMode.load();
  if (mode < 1) {
    const int queued = cues.cuePressQueued.exchange(-1);
    if (queued >= 0 && queued <= 2) CuePress();
  } else if (mode == 2 && cues.cueHeld.load() &&
             std::fabs(transport_.GetExactPosition() - cues.cuePosition.load()) >=
                 kReleaseDistance) {
    CuePress();
  }
}

void DeckCues::SetCueHere() {
  if (Busy()) return;
  marks_.cues.mustSetCue.store(false);
  SetEntry(std::clamp(marks_.cues.cueIndex.load(), 0, DeckCueTable::kEntries - 1),
           static_cast<std::int32_t>(std::floor(transport_.GetExactPosition())));
}

void DeckCues::SelectCue(int index) {
  if (index < 0 || index >= DeckCueTable::kEntries || store_.IsLoadPending()) return;
  DeckCueTable& cues = marks_.cues;
  const int old = std::clamp(cues.cueIndex.load(), 0, DeckCueTable::kEntries - 1);
  cues.cueTable[old].store(cues.cuePosition.load());
  cues.cueIndex.store(index);
  cues.cuePosition.store(cues.cueTable[index].load());
  cues.memoryChanged.store(true);
}

void DeckCues::CueButton(int index) {
  if (Busy() || index < 0 || index >= kRecordCues) return;
  SelectCue(index);
  DeckCueTable& cues = marks_.cues;
  const std::int32_t cue = cues.cuePosition.load();
  if (cue < 1) {
    SetCueHere();
  } else if (transport_.IsPlaying()) {
    transport_.JumpTo(cue);
    store_.Wake();
  } else {
    cues.goToCue.store(true);
  }
}

void DeckCues::SetCueEntry(int index) {
  if (Busy() || index < 0 || index >= DeckCueTable::kEntries) return;
  SetEntry(index, static_cast<std::int32_t>(std::floor(transport_.GetExactPosition())));
}

std::int32_t DeckCues::GetCue(int index) const {
  const DeckCueTable& cues = marks_.cues;
  if (index == -1 || index == cues.cueIndex.load()) return cues.cuePosition.load();
  if (index < 0 || index >= DeckCueTable::kEntries) return 0;
  return cues.cueTable[index].load();
}

void DeckCues::ClearCue() {
  if (store_.IsLoadPending()) return;
  const int index = std::clamp(marks_.cues.cueIndex.load(), 0, DeckCueTable::kEntries - 1);
  SetEntry(index, index == DeckCueTable::kCueOut ? store_.TotalFrames() : 0);
}

std::int32_t DeckCues::GetStart() const {
  const std::int32_t start = marks_.cues.cueTable[DeckCueTable::kCueIn].load();
  if (marks_.cues.autoCue.load() && start < store_.TotalFrames() / 2) return start;
  return 0;
}

std::int32_t DeckCues::GetEnd() const {
  const std::int32_t total = store_.TotalFrames();
  const std::int32_t end = marks_.cues.cueTable[DeckCueTable::kCueOut].load();
  if (marks_.cues.autoCue.load() && end > total / 2) return std::min(end, total);
  return total;
}

void DeckCues::PlayFromCue() {
  if (Busy()) return;
  DeckCueTable& cues = marks_.cues;
  cues.mustSetCue.store(false);
  loops_.StopLoop(true);
  transport_.JumpTo(cues.cuePosition.load());
  store_.Wake();
  cues.goToCue.store(false);
  transport_.Play(1);
}

void DeckCues::StopToStart() {
  if (store_.IsLoadPending()) return;
  transport_.Play(0);
  loops_.StopLoop(true);
  transport_.JumpTo(0.0);
  store_.Wake();
  marks_.cues.goToCue.store(false);
  marks_.cues.cueHeld.store(false);
}

void DeckCues::HoldCue(int index, bool down) {
  if (index >= 0 && index < DeckCueTable::kEntries) cueHold_[index] = down ? 0 : kHoldIdle;
}

void DeckCues::HoldLoopSlot(int slot, bool down) {
  if (slot >= 0 && slot < DeckLoopWords::kSlots) loopHold_[slot] = down ? 0 : kHoldIdle;
}

void DeckCues::AgeHolds() {
  for (int& count : cueHold_) {
    if (count == kHoldIdle || ++count <= kHoldTicks) continue;
    count = kHoldIdle;
    ClearCue();
  }
  for (int slot = 0; slot < DeckLoopWords::kSlots; ++slot) {
    if (loopHold_[slot] == kHoldIdle || ++loopHold_[slot] <= kHoldTicks) continue;
    loopHold_[slot] = kHoldIdle;
    loops_.ClearLoopSlot(slot);
    marks_.cues.memoryChanged.store(true);
  }
}

void DeckCues::StoreIfChanged() {
  if (!marks_.cues.memoryChanged.load()) return;
  std::lock_guard<std::mutex> hold(marks_.memoryLock);
  StoreMarks(marks_, store_.SongRecord(), store_.TotalFrames());
}

// ---- memory -------------------------------------------------------------------

void RestoreMarks(DeckMarks& marks, const TZKSongRecord& record, std::int32_t totalFrames,
                  bool keepCue, int deck) {
  DeckCueTable& cues = marks.cues;
  std::uint32_t refusedCues = 0, refusedLoops = 0;
  for (int i = 0; i < DeckCueTable::kEntries; ++i) {
    std::int32_t value = i < kRecordCues ? record.cue[i] : 0;
    if (i == DeckCueTable::kCueIn) value = record.cue_in;
    if (i == DeckCueTable::kCueOut) value = record.cue_out > 0 ? record.cue_out : totalFrames;
    const std::int32_t fallback = i == DeckCueTable::kCueOut ? totalFrames : 0;
    const bool beyond = i == DeckCueTable::kCueOut ? value > totalFrames : value >= totalFrames;
    if (beyond) refusedCues |= 1u << i;
    cues.cueTable[i].store(beyond || value < 0 ? fallback : value);
  }
  DeckLoopWords& loops = marks.loops;
  for (int i = 0; i < DeckLoopWords::kSlots; ++i) {
    const std::int32_t in = record.loop_in[i], out = record.loop_out[i];
    const bool set = in >= 0 && out >= 0;
    const bool usable = set && out > in && out < totalFrames;
    if (set && !usable) refusedLoops |= 1u << i;
    loops.savedIn[i].store(usable ? in : -1);
    loops.savedOut[i].store(usable ? out : -1);
  }
  loops.Clear();
  loops.lastLoopLength.store(0);
  loops.loopChanged.store(true);
  marks.refusedCues.store(refusedCues);
  marks.refusedLoops.store(refusedLoops);
  const int index =
      record.currentcue >= 0 && record.currentcue < kRecordCues ? record.currentcue : 0;
  cues.cueIndex.store(index);
  cues.cuePosition.store(cues.cueTable[index].load());
  cues.cueHeld.store(false);
  cues.mustSetCue.store(false);
  cues.cuePressQueued.store(-1);
  cues.memoryChanged.store(false);
  cues.goToCue.store(false);
  if (keepCue && cues.autoCue.load()) {
    cues.cueIndex.store(DeckCueTable::kCueIn);
    cues.cuePosition.store(cues.cueTable[DeckCueTable::kCueIn].load());
    cues.goToCue.store(true);
  }
  if (refusedCues || refusedLoops)
    DebugLog(
        "deck %d: \"%s\" keeps %d cue points and %d saved loops that this file of %d "
        "frames cannot use",
        deck, record.name.c_str(), std::popcount(refusedCues), std::popcount(refusedLoops),
        totalFrames);
}

TZKSongRecord MarksToRecord(const DeckMarks& marks, TZKSongRecord live) {
  const DeckCueTable& cues = marks.cues;
  const std::uint32_t refusedCues = marks.refusedCues.load();
  const std::uint32_t refusedLoops = marks.refusedLoops.load();
  const int index = cues.cueIndex.load();
  for (int i = 0; i < DeckCueTable::kEntries; ++i) {
    if (refusedCues & (1u << i)) continue;
    const std::int32_t value = i == index ? cues.cuePosition.load() : cues.cueTable[i].load();
    if (i < kRecordCues) live.cue[i] = value;
    if (i == DeckCueTable::kCueIn) live.cue_in = value;
    if (i == DeckCueTable::kCueOut) live.cue_out = value;
  }
  live.currentcue = index >= 0 && index < kRecordCues ? index : 0;
  for (int i = 0; i < DeckLoopWords::kSlots; ++i) {
    if (refusedLoops & (1u << i)) continue;
    live.loop_in[i] = marks.loops.savedIn[i].load();
    live.loop_out[i] = marks.loops.savedOut[i].load();
  }
  return live;
}

void RestoreMarksForLoad(DeckMarks& marks, const TZKSongRecord& record, std::int32_t totalFrames,
                         bool keepCue, bool autoCue, int deck) {
  std::lock_guard<std::mutex> hold(marks.memoryLock);
  marks.cues.autoCue.store(autoCue);
  RestoreMarks(marks, record, totalFrames, keepCue, deck);
  marks.memoryLive = true;
}

void StoreMarksForUnload(DeckMarks& marks, const TZKSongRecord& live, std::int64_t totalFrames,
                         bool loaded) {
  std::lock_guard<std::mutex> hold(marks.memoryLock);
  if (loaded) StoreMarks(marks, live, totalFrames);
  marks.memoryLive = false;
  marks.loops.Clear();
}

void StoreMarks(DeckMarks& marks, const TZKSongRecord& live, std::int64_t totalFrames) {
  marks.cues.memoryChanged.store(false);
  const SongMemoryStore store = marks.memoryStore.load();
  if (!marks.memoryLive || !store || live.name.empty()) return;
  store(MarksToRecord(marks, live), totalFrames);
}

void FollowAudibleRange(DeckMarks& marks, const TZKSongRecord& live, std::int32_t totalFrames) {
  DeckCueTable& cues = marks.cues;
  const int index = cues.cueIndex.load();
  auto follow = [&](int entry, std::int32_t found) {
    cues.cueTable[entry].store(found);
    if (index == entry) cues.cuePosition.store(found);
  };
  if (cues.cueTable[DeckCueTable::kCueIn].load() < kUserCue && live.cue_in > 0 &&
      live.cue_in < totalFrames)
    follow(DeckCueTable::kCueIn, live.cue_in);
  if (cues.cueTable[DeckCueTable::kCueOut].load() >= totalFrames && live.cue_out > 0 &&
      live.cue_out <= totalFrames)
    follow(DeckCueTable::kCueOut, live.cue_out);
}

}  // namespace vantaro
