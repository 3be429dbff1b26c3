#include "skin/sound_display_feed.h"

#include <mutex>

#include "control/control_handlers.h"
#include "engine/sound_source.h"

namespace vantaro {
namespace {

class DeckWaveFeed : public WaveFeed {
 public:
  explicit DeckWaveFeed(int deck) : deck_(deck) {}

  WaveDeckState State() const override {
    WaveDeckState state;
    CSoundSource* deck = Deck();
    if (!deck || !deck->IsSongLoaded()) return state;
    state.loaded = true;
    state.position = deck->GetExactPosition();
    state.length = deck->GetLength();
    state.cue = deck->GetCuePoint();
    state.loopIn = deck->LoopIn();
    state.loopOut = deck->LoopOut();
    state.loopClosed = deck->IsLooping();
    state.loopOpen = !state.loopClosed && deck->IsLoopArmed();
    state.playing = deck->IsPlaying();
    CSoundSource* other = Other();
    if (other && other->IsSongLoaded() && deck->GetBPM() > 0 && other->GetBPM() > 0) {
      state.hasBeatDifference = true;
      state.beatDifference = deck->PhaseDifference(*other);
    }
    return state;
  }

  void CopyStripes(StripeSpan span, StripeWindow& window) override {
    CSoundSource* deck = Deck();
    if (!deck || !deck->IsSongLoaded()) {
      CopyStripeRange({}, 0, span, window);
      return;
    }
    std::lock_guard lock(deck->StripeLock());
    // The array holds one value past the track's stripes.
    CopyStripeRange(deck->Stripes(0), deck->StripeCount(), span, window);
  }

  void BeginScratch() override {
    if (CSoundSource* deck = Deck()) deck->BeginScratch(0, true);
  }
  void MoveScratch(int frames) override {
    if (CSoundSource* deck = Deck()) deck->MoveScratch(frames);
  }
  void EndScratch() override {
    if (CSoundSource* deck = Deck()) deck->EndScratch();
  }
  void Seek(double frame) override {
    if (CSoundSource* deck = Deck()) deck->SeekRequest(frame);
  }

 private:
  CSoundSource* Deck() const {
    return deck_ == 0 || deck_ == 1 ? TheControlEngine().decks[deck_] : nullptr;
  }
  CSoundSource* Other() const {
    return deck_ == 0 || deck_ == 1 ? TheControlEngine().decks[1 - deck_] : nullptr;
  }

  const int deck_;
};

}  // namespace

std::unique_ptr<WaveFeed> MakeDeckWaveFeed(int deck) {
  return std::make_unique<DeckWaveFeed>(deck);
}

}  // namespace vantaro
