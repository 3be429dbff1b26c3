// Loops and beat sync on the render path: two decks at speed 1.06 rendered
// in 256-frame blocks, plain, and again with deck 0 in a 1-beat loop and
// both decks running SyncPhase(0..2) before every block (deck 1 locking
// onto deck 0 every second), as the mixer does. And SyncPhase(0) alone. The
// songs are stored ones: a record at 126 BPM and a stripe with a mark on
// every beat, as a loaded song has. Prints x_realtime, seconds of audio per
// second of CPU for the pair.
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
#include "engine/sound_source.h"

namespace {

constexpr int kSeconds = 60;
constexpr int kBlock = 256;
constexpr double kBpm = vantaro::bench::kStoredSongBpm;

const std::string& Folder() {
  return vantaro::bench::StoredSongFolder("sync", kSeconds);
}

std::unique_ptr<vantaro::CSoundSource> PlayingDeck(int index, double startSeconds) {
  auto deck = std::make_unique<vantaro::CSoundSource>(index, Folder());
  deck->SetAnalysisFeed(std::make_unique<vantaro::DeckAnalysis>(Folder() + "Stripes/"));
  deck->LoadSong(Folder() + "song.wav", false, nullptr, false);
  deck->StoreThreadRun();  // decodes the whole song
  deck->SetRepeat(true);
  deck->SetPitch(600);
  deck->SeekRequest(startSeconds * 44100);
  deck->StoreThreadRun();
  deck->Play(1);
  return deck;
}

struct Pair {
  std::unique_ptr<vantaro::CSoundSource> a = PlayingDeck(0, 10), b = PlayingDeck(1, 13.3);
  std::vector<float> out = std::vector<float>(kBlock * 2);
  bool Ready() const { return a->GetDecodedPercent() == 100 && b->GetDecodedPercent() == 100; }
};

void Report(benchmark::State& state) {
  state.counters["x_realtime"] = benchmark::Counter(double(kBlock) / 44100.0 * state.iterations(),
                                                    benchmark::Counter::kIsRate);
}

void BM_PlainPair(benchmark::State& state) {
  Pair pair;
  if (!pair.Ready()) return state.SkipWithError("the songs did not load");
  for (auto _ : state) {
    pair.a->Render(pair.out.data(), kBlock);
    pair.b->Render(pair.out.data(), kBlock);
    benchmark::DoNotOptimize(pair.out.data());
  }
  Report(state);
}
BENCHMARK(BM_PlainPair);

void BM_LoopingSyncingPair(benchmark::State& state) {
  Pair pair;
  if (!pair.Ready()) return state.SkipWithError("the songs did not load");
  pair.a->Render(pair.out.data(), kBlock);
  if (!pair.a->LoopForward(64)) return state.SkipWithError("no loop");
  long blocks = 0;
  for (auto _ : state) {
    if (++blocks % 172 == 0) pair.b->MatchDeck(*pair.a);
    for (int phase = 0; phase < 3; ++phase) {
      pair.a->SyncPhase(phase);
      pair.b->SyncPhase(phase);
    }
    pair.a->Render(pair.out.data(), kBlock);
    pair.b->Render(pair.out.data(), kBlock);
    benchmark::DoNotOptimize(pair.out.data());
  }
  Report(state);
  state.counters["looping"] = pair.a->IsLooping();
}
BENCHMARK(BM_LoopingSyncingPair);

void BM_SyncPhase0(benchmark::State& state) {
  auto deck = PlayingDeck(0, 10);
  std::vector<float> out(kBlock * 2);
  long calls = 0;
  for (auto _ : state) {
    if (++calls % 64 == 0) deck->Render(out.data(), kBlock);  // the position moves on
    deck->SyncPhase(0);
    benchmark::DoNotOptimize(deck->GetBeatPhase());
  }
}
BENCHMARK(BM_SyncPhase0);

}  // namespace
