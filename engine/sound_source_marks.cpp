// CSoundSource's cue, loop and beat operations: each runs the part's
// operation, stores what the song record remembers, and reports a change of
// the play state. GUI thread.
#include "engine/sound_source.h"

namespace vantaro {

void CSoundSource::CueButtonDown() {
  cues_.CueButtonDown();
  cues_.StoreIfChanged();
  ReportPlayNews();
}

void CSoundSource::CuePress() {
  cues_.CuePress();
  cues_.StoreIfChanged();
  ReportPlayNews();
}

void CSoundSource::CueRelease() {
  cues_.CueRelease();
  cues_.StoreIfChanged();
  ReportPlayNews();
}

void CSoundSource::SetCueHere() {
  cues_.SetCueHere();
  cues_.StoreIfChanged();
}

void CSoundSource::SelectCue(int index) {
  cues_.SelectCue(index);
  cues_.StoreIfChanged();
}

void CSoundSource::CueButton(int index) {
  cues_.CueButton(index);
  cues_.StoreIfChanged();
}

void CSoundSource::SetCueEntry(int index) {
  cues_.SetCueEntry(index);
  cues_.StoreIfChanged();
}

void CSoundSource::ClearCue() {
  cues_.ClearCue();
  cues_.StoreIfChanged();
}

void CSoundSource::PlayFromCue() {
  cues_.PlayFromCue();
  ReportPlayNews();
}

void CSoundSource::StopToStart() {
  cues_.StopToStart();
  ReportPlayNews();
}

void CSoundSource::AgeHolds() {
  cues_.AgeHolds();
  cues_.StoreIfChanged();
}

int CSoundSource::LoopSlot(int index) {
  const bool saving = loops_.LoopSlotEmpty(index);
  const int done = loops_.LoopSlot(index);
  if (done && saving) transport_.Cues().memoryChanged.store(true);
  cues_.StoreIfChanged();
  ReportPlayNews();
  return done;
}

void CSoundSource::ClearLoopSlot(int index) {
  loops_.ClearLoopSlot(index);
  transport_.Cues().memoryChanged.store(true);
  cues_.StoreIfChanged();
}

int CSoundSource::MatchPitch(CSoundSource& other) {
  int pitch = 0;
  if (&other == this || store_.IsLoadPending() || store_.IsSeekPending() ||
      !sync_.MatchingPitch(other.sync_, pitch))
    return 0;
  if (pitch != GetPitch()) SetPitch(pitch);
  return 1;
}

int CSoundSource::MatchDeck(CSoundSource& other) {
  int pitch = 0;
  if (&other == this || store_.IsLoadPending() || store_.IsSeekPending() ||
      !sync_.MatchingPitch(other.sync_, pitch))
    return 0;
  if (!IsPlaying()) Play(1);
  if (pitch != GetPitch()) SetPitch(pitch);
  sync_.ArmLock(&other.sync_);
  return 1;
}

}  // namespace vantaro
