#include "skin/sound_display_feed.h"

#include <algorithm>
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
    window.first = span.from;
    window.values.clear();
    window.arraySize = 0;
    CSoundSource* deck = Deck();
    if (!deck || !deck->IsSongLoaded()) return;
    std::lock_guard lock(deck->StripeLock());
    const std::vector<float>& stripes = deck->Stripes(0);
    // The array holds one value past the track's stripes.
    const auto size = static_cast<std::int64_t>(std::min<std::size_t>(
        stripes.size(), static_cast<std::size_t>(std::max(deck->StripeCount(), 0))));
    window.arraySize = size;
    const std::int64_t from = std::clamp<std::int64_t>(span.from, 0, size);
    const std::int64_t to = std::clamp<std::int64_t>(span.to, from, size);
    window.first = from;
    window.values.assign(stripes.begin() + from, stripes.begin() + to);
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
