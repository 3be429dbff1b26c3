#include "control/deck_mark_handlers.h"

#include <iterator>

#include "control/control_handlers.h"
#include "engine/deck_cue_words.h"
#include "engine/sound_source.h"

namespace vantaro {
namespace {

CSoundSource* Deck(int deck) {
  return deck == 0 || deck == 1 ? TheControlEngine().decks[deck] : nullptr;
}

CSoundSource* OtherDeck(int deck) {
  return deck == 0 || deck == 1 ? TheControlEngine().decks[1 - deck] : nullptr;
}

// ---- cues ------------------------------------------------------------------------

void CueDown(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) d->CueButtonDown();
}
void CueUp(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) d->CueRelease();
}
void SetCue(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) d->SetCueHere();
}
void CuePlay(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) d->PlayFromCue();
}
void BackToTop(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) d->StopToStart();
}
template <int kEntry>
void CueEntry(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) d->SetCueEntry(kEntry);
}
// A cue-point button goes to its cue (or sets it) and starts its hold.
template <int kIndex>
void CuePointDown(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) {
    d->CueButton(kIndex);
    d->HoldCue(kIndex, true);
  }
}
template <int kIndex>
void CuePointUp(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) d->HoldCue(kIndex, false);
}
template <int kIndex>
bool ReadCuePoint(int deck, int* value) {
  CSoundSource* d = Deck(deck);
  if (d) *value = d->GetCueIndex() == kIndex ? 1 : 0;
  return d;
}
void ClearCue(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) d->ClearCue();
}

// ---- loops -------------------------------------------------------------------------

constexpr int kBeatSize = 64;  // loop sizes are in 1/64 beats

void LoopInOut(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) d->LoopInOut();
}
void LoopExit(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) d->StopLoop(false);
}
void ReLoop(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) d->ReLoop();
}
bool ReadLooping(int deck, int* value) {
  CSoundSource* d = Deck(deck);
  if (d) *value = d->IsLooping() ? 1 : 0;
  return d;
}
// Moves the running loop by its own length.
template <int kDirection>
void LoopMove(int, int, int deck) {
  if (CSoundSource* d = Deck(deck); d && d->IsLooping())
    d->ShiftLoop(kDirection * (d->LoopOut() - d->LoopIn() + 1));
}
// Halves or doubles the running loop (down to 1/64, up to 32 beats).
template <bool kMore>
void LoopResize(int, int, int deck) {
  CSoundSource* d = Deck(deck);
  if (!d || !d->IsLooping()) return;
  const int size = d->GetLoopSize(d->LoopOut() - d->LoopIn() + 1);
  const int next = kMore ? size * 2 : size / 2;
  if (next >= 1 && next <= 32 * kBeatSize) d->LoopForward(next);
}
template <int kSize>
void LoopOfSize(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) d->LoopForward(kSize);
}
// A saved-loop button plays its loop (or saves the running one) and
// starts its hold.
template <int kSlot>
void LoopSlotDown(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) {
    d->LoopSlot(kSlot);
    d->HoldLoopSlot(kSlot, true);
  }
}
template <int kSlot>
void LoopSlotUp(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) d->HoldLoopSlot(kSlot, false);
}

// ---- beats -------------------------------------------------------------------------

template <int kBeats>
void Skip(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) {
    if (kBeats == 1 || kBeats == -1)
      d->SkipBeats(kBeats);
    else
      d->SkipBeats4(kBeats);
  }
}
void Sync(int, int, int deck) {
  CSoundSource* d = Deck(deck);
  CSoundSource* other = OtherDeck(deck);
  if (d && other) d->MatchDeck(*other);
}
void Match(int, int, int deck) {
  CSoundSource* d = Deck(deck);
  CSoundSource* other = OtherDeck(deck);
  if (d && other) d->MatchPitch(*other);
}

const DeckMarkBinding kBindings[] = {
    {"deck_cue", CueDown, CueUp},
    {"deck_setcue", SetCue, nullptr},
    {"deck_cue_play", CuePlay, nullptr},
    {"deck_back_to_top", BackToTop, nullptr},
    {"deck_cue_in", CueEntry<DeckCueTable::kCueIn>, nullptr},
    {"deck_cue_out", CueEntry<DeckCueTable::kCueOut>, nullptr},
    {"deck_cuepos_1", CuePointDown<0>, CuePointUp<0>, ReadCuePoint<0>},
    {"deck_cuepos_2", CuePointDown<1>, CuePointUp<1>, ReadCuePoint<1>},
    {"deck_cuepos_3", CuePointDown<2>, CuePointUp<2>, ReadCuePoint<2>},
    {"deck_cuepos_4", CuePointDown<3>, CuePointUp<3>, ReadCuePoint<3>},
    {"deck_cuepos_5", CuePointDown<4>, CuePointUp<4>, ReadCuePoint<4>},
    {"deck_cuepos_6", CuePointDown<5>, CuePointUp<5>, ReadCuePoint<5>},
    {"deck_cuepos_7", CuePointDown<6>, CuePointUp<6>, ReadCuePoint<6>},
    {"deck_cuepos_8", CuePointDown<7>, CuePointUp<7>, ReadCuePoint<7>},
    {"deck_cuepos_9", CuePointDown<8>, CuePointUp<8>, ReadCuePoint<8>},
    {"deck_cuepos_10", CuePointDown<9>, CuePointUp<9>, ReadCuePoint<9>},
    {"deck_cuepos_clear", ClearCue, nullptr},
    {"deck_loop_in_end", LoopInOut, nullptr, ReadLooping},
    {"deck_loop_out", LoopExit, nullptr},
    {"deck_loop_reloop", ReLoop, nullptr},
    {"deck_loop_prev", LoopMove<-1>, nullptr},
    {"deck_loop_next", LoopMove<1>, nullptr},
    {"deck_loop_less", LoopResize<false>, nullptr},
    {"deck_loop_more", LoopResize<true>, nullptr},
    {"deck_loop_sixteenth", LoopOfSize<kBeatSize / 16>, nullptr},
    {"deck_loop_eighth", LoopOfSize<kBeatSize / 8>, nullptr},
    {"deck_loop_quarter", LoopOfSize<kBeatSize / 4>, nullptr},
    {"deck_loop_half", LoopOfSize<kBeatSize / 2>, nullptr},
    {"deck_loop_1", LoopOfSize<kBeatSize>, nullptr},
    {"deck_loop_2", LoopOfSize<kBeatSize * 2>, nullptr},
    {"deck_loop_4", LoopOfSize<kBeatSize * 4>, nullptr},
    {"deck_loop_8", LoopOfSize<kBeatSize * 8>, nullptr},
    {"deck_loop_16", LoopOfSize<kBeatSize * 16>, nullptr},
    {"deck_loop_32", LoopOfSize<kBeatSize * 32>, nullptr},
    {"deck_loop1", LoopSlotDown<0>, LoopSlotUp<0>},
    {"deck_loop2", LoopSlotDown<1>, LoopSlotUp<1>},
    {"deck_loop3", LoopSlotDown<2>, LoopSlotUp<2>},
    {"deck_loop4", LoopSlotDown<3>, LoopSlotUp<3>},
    {"deck_loop5", LoopSlotDown<4>, LoopSlotUp<4>},
    {"deck_skip_beat_prev", Skip<-1>, nullptr},
    {"deck_skip_beat", Skip<1>, nullptr},
    {"deck_skip_bar_prev", Skip<-4>, nullptr},
    {"deck_skip_bar", Skip<4>, nullptr},
    {"deck_sync", Sync, nullptr},
    {"deck_match", Match, nullptr},
};

}  // namespace

const DeckMarkBinding* DeckMarkBindings(int& count) {
  count = static_cast<int>(std::size(kBindings));
  return kBindings;
}

}  // namespace vantaro
