// A deck's render at speed 1.03 (pitch +3 %) with cubic interpolation and
// every block present: one deck, and two decks rendered one after the other
// as the mix does. Prints x_realtime, seconds of audio per second of CPU (for
// two decks, of the pair; x_realtime_per_deck counts each deck's audio).
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "engine/sound_source.h"

namespace {

constexpr int kSongSeconds = 60;
constexpr int kBlock = 512;

// A minute of a two-tone signal as a 16-bit stereo WAV in the temporary
// folder; removed at exit.
const std::string& SongPath() {
  static const std::string path = [] {
    const char* base = std::getenv("TMPDIR");
    std::string p = std::string(base && *base ? base : "/tmp") + "/vantaro_deck_bench.wav";
    std::FILE* file = std::fopen(p.c_str(), "wb");
    if (!file) return p;
    const std::uint32_t frames = kSongSeconds * 44100u, bytes = frames * 4;
    auto put32 = [&](std::uint32_t v) { std::fwrite(&v, 4, 1, file); };
    auto put16 = [&](std::uint16_t v) { std::fwrite(&v, 2, 1, file); };
    std::fwrite("RIFF", 1, 4, file);
    put32(36 + bytes);
    std::fwrite("WAVEfmt ", 1, 8, file);
    put32(16);
    put16(1);
    put16(2);
    put32(44100);
    put32(44100 * 4);
    put16(4);
    put16(16);
    std::fwrite("data", 1, 4, file);
    put32(bytes);
    std::vector<std::int16_t> samples(frames * 2);
    for (std::uint32_t i = 0; i < frames; ++i) {
      samples[i * 2] = static_cast<std::int16_t>(12000 * std::sin(i * 0.0627));
      samples[i * 2 + 1] = static_cast<std::int16_t>(12000 * std::sin(i * 0.0311));
    }
    std::fwrite(samples.data(), 2, samples.size(), file);
    std::fclose(file);
    std::atexit([] { std::remove(SongPath().c_str()); });
    return p;
  }();
  return path;
}

std::unique_ptr<vantaro::CSoundSource> PlayingDeck(int index) {
  auto deck = std::make_unique<vantaro::CSoundSource>(index, "/tmp/");
  deck->LoadSong(SongPath(), false, nullptr, false);
  deck->StoreThreadRun();  // decodes the whole song
  deck->SetRepeat(true);
  deck->SetPitch(300);
  deck->Play(1);
  return deck;
}

void BM_OneDeck(benchmark::State& state) {
  auto deck = PlayingDeck(0);
  if (!deck->IsSongReady() || deck->GetDecodedPercent() != 100) {
    state.SkipWithError("the song did not load");
    return;
  }
  std::vector<float> out(kBlock * 2);
  for (auto _ : state) {
    deck->Render(out.data(), kBlock);
    benchmark::DoNotOptimize(out.data());
  }
  state.counters["x_realtime"] = benchmark::Counter(double(kBlock) / 44100.0 * state.iterations(),
                                                    benchmark::Counter::kIsRate);
  state.counters["speed"] = deck->GetSpeed();
}
BENCHMARK(BM_OneDeck);

void BM_TwoDecks(benchmark::State& state) {
  auto a = PlayingDeck(0);
  auto b = PlayingDeck(1);
  if (a->GetDecodedPercent() != 100 || b->GetDecodedPercent() != 100) {
    state.SkipWithError("the songs did not load");
    return;
  }
  std::vector<float> outA(kBlock * 2), outB(kBlock * 2);
  for (auto _ : state) {
    a->Render(outA.data(), kBlock);
    b->Render(outB.data(), kBlock);
    benchmark::DoNotOptimize(outA.data());
    benchmark::DoNotOptimize(outB.data());
  }
  const double seconds = double(kBlock) / 44100.0 * state.iterations();
  state.counters["x_realtime"] = benchmark::Counter(seconds, benchmark::Counter::kIsRate);
  state.counters["x_realtime_per_deck"] =
      benchmark::Counter(2 * seconds, benchmark::Counter::kIsRate);
}
BENCHMARK(BM_TwoDecks);

}  // namespace
