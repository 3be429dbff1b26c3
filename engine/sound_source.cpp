#include "engine/sound_source.h"

#include <cmath>
#include <cstdlib>

#include "engine/engine_settings.h"

namespace vantaro {
namespace {

constexpr int kSlowResetStep = 10;  // 1/10000 per step of the slow pitch reset

}  // namespace

CSoundSource::CSoundSource(int deckIndex, std::string dataRoot)
    : dataRoot_(std::move(dataRoot)),
      transport_(store_),
      store_(deckIndex, transport_),
      stretcher_(deckIndex, store_, transport_),
      hands_(transport_, store_),
      sync_(transport_, store_, transport_.Marks().loops),
      loops_(transport_.Marks(), transport_, store_, sync_),
      cues_(transport_.Marks(), transport_, store_, loops_) {
  transport_.AttachStretcher(&stretcher_);
}

void CSoundSource::SetPlayStateCallback(PlayStateCallback callback, void* user) {
  playStateCallback_ = callback;
  playStateUser_ = user;
}

int CSoundSource::LoadSong(const std::string& path, bool autoPlay, const TZKSongRecord* record,
                           bool keepCue) {
  if (store_.IsLoadPending()) return 0;
  Play(0);
  // The record is copied here, on the thread that owns the database.
  return store_.LoadSong(path, autoPlay, record, keepCue);
}

void CSoundSource::Render(float* buffer, int frames) {
  if (transport_.Render(buffer, frames)) store_.Wake();
}

void CSoundSource::Render16(std::int16_t* buffer, int frames) {
  if (transport_.Render16(buffer, frames)) store_.Wake();
}

void CSoundSource::SyncPhase(int phase) {
  sync_.SyncPhase(phase);
}

void CSoundSource::Play(int value) {
  transport_.Play(value);
  ReportPlayNews();
}

void CSoundSource::ReportPlayNews() {
  bool state = false;
  const std::uint64_t changes = transport_.PlayNews(state);
  std::uint64_t unreported = changes - reportedChanges_;
  reportedChanges_ = changes;
  // Every change flips the state: the unreported ones alternate and end in
  // the present state.
  while (unreported > 0) {
    --unreported;
    const bool playing = state != ((unreported & 1) != 0);
    const int news = playing ? (transport_.TakeFirstStart() ? 2 : 1) : 0;
    if (playStateCallback_) playStateCallback_(DeckIndex(), news, playStateUser_);
  }
}

void CSoundSource::PeriodicUpdate() {
  hands_.ScreenTick();
  cues_.StoreIfChanged();  // a cue the render moved
  ReportPlayNews();
}

void CSoundSource::ResetPitch() {
  if (TheEngineSettings().slowReset.load() && !slowResetMark_.load()) {
    slowResetMark_.store(true);
    return;
  }
  transport_.SetPitch(0);
  slowResetMark_.store(false);
}

void CSoundSource::SlowPitchResetStep() {
  if (!slowResetMark_.load()) return;
  const int now = transport_.PitchSetting();
  if (std::abs(now) <= kSlowResetStep) {
    transport_.SetPitch(0);
    slowResetMark_.store(false);
    hands_.EndBends();
  } else {
    transport_.SetPitch(now - (now > 0 ? kSlowResetStep : -kSlowResetStep));
  }
}

int CSoundSource::GetShiftedKey() const {
  const int key = store_.SongRecord().pitch_key;
  if (key < 1 || key > 24) return 0;
  // Key numbers run round the wheel of fifths: a semitone up is seven
  // places on, within the group (A minor keys 1..12, B the others 13..24).
  const int semitones = static_cast<int>(std::lrint(stretcher_.KeyShift() / 100.0));
  const int group = (key - 1) / 12, place = (key - 1) % 12;
  return group * 12 + ((place + 7 * semitones) % 12 + 12) % 12 + 1;
}

int CSoundSource::PitchRangeUnits(int pitchRangeSetting) {
  switch (pitchRangeSetting) {
    case 1:
      return 400;
    case 2:
      return 800;
    case 4:
      return 2400;
    case 5:
      return 3200;
    case 6:
      return 5000;
    default:
      return 1600;
  }
}

int CSoundSource::CurrentPitchRangeUnits() {
  return PitchRangeUnits(TheEngineSettings().pitchRange.load());
}

}  // namespace vantaro
