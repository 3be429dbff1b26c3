// Eight sampler slots playing at once, each following a 126 BPM deck with
// autosync (pitches from -5 % to +31 %, a beat lock re-armed every second),
// rendered in 256-frame blocks with SyncPhase(0..2) before each, as the
// mixer does. The deck is a stored song (a record and a stripe with a mark
// on every beat). Prints x_realtime: seconds of audio per second of CPU for
// the eight slots together (the deck's own render not counted).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "analysis/deck_analysis.h"
#include "bench/engine/stored_song.h"
#include "engine/sampler_set.h"
#include "engine/sound_source.h"

namespace {

constexpr int kBlock = 256;
constexpr int kSongSeconds = 30;

const std::string& Folder() {
  return vantaro::bench::StoredSongFolder("sampler", kSongSeconds);
}

void BM_EightSlotsAutosync(benchmark::State& state) {
  vantaro::CSoundSource deck(0, Folder());
  deck.SetAnalysisFeed(std::make_unique<vantaro::DeckAnalysis>(Folder() + "Stripes/"));
  deck.LoadSong(Folder() + "song.wav", false, nullptr, false);
  deck.StoreThreadRun();
  deck.SetRepeat(true);
  deck.Play(1);
  if (deck.GetBPM() <= 0) return state.SkipWithError("the deck has no tempo");
  vantaro::CSamplerSet set;
  for (int slot = 0; slot < vantaro::kSamplerSlots; ++slot) {
    // Four beats in 1.8 to 2.5 s: 133 to 96 BPM, -5 % to +31 % of pitch.
    const int frames = 88200 * (18 + slot) / 20;
    std::vector<std::int16_t> sample(static_cast<std::size_t>(frames) * 2);
    for (int i = 0; i < frames * 2; ++i)
      sample[i] = static_cast<std::int16_t>(9000 * std::sin(i * 0.01 * (slot + 1)));
    set.Slot(slot).TakeSample(std::move(sample), "");
    set.Slot(slot).SetBeats(4);
    set.Slot(slot).SetLoop(true);
    set.Slot(slot).SetAutosync(true);
    set.Slot(slot).Play(1, &deck);
    if (!set.Slot(slot).SyncDeck()) return state.SkipWithError("a slot did not follow");
  }
  std::vector<float> deckOut(kBlock * 2), out(kBlock * 2);
  long blocks = 0;
  for (auto _ : state) {
    state.PauseTiming();
    deck.SyncPhase(0);
    deck.Render(deckOut.data(), kBlock);
    if (++blocks % 172 == 0)
      for (int slot = 0; slot < vantaro::kSamplerSlots; ++slot) set.Slot(slot).SyncToDeck(&deck);
    state.ResumeTiming();
    for (int phase = 0; phase < 3; ++phase)
      for (int slot = 0; slot < vantaro::kSamplerSlots; ++slot) set.Slot(slot).SyncPhase(phase);
    for (int slot = 0; slot < vantaro::kSamplerSlots; ++slot) {
      set.Slot(slot).Render(out.data(), kBlock);
      benchmark::DoNotOptimize(out.data());
    }
  }
  state.counters["x_realtime"] = benchmark::Counter(double(kBlock) / 44100.0 * state.iterations(),
                                                    benchmark::Counter::kIsRate);
}
BENCHMARK(BM_EightSlotsAutosync);

}  // namespace
