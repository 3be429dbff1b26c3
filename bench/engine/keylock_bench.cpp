// The key lock's cost and latency, per deck, at speed 1.06 (pitch +600).
//  - cpu_pct: CPU time as % of the audio time it made (of one core).
//    Cheap path: the render alone. Stretch path: the stretch thread's
//    routine and the render's ring reads, on this thread. Rubber Band alone:
//    the same stretcher on the same audio in the same chunks, no rings.
//  - offset_*_ms: when a click is heard (reaches half its peak) on a
//    key-locked deck against the same click on an unlocked deck playing
//    from the same place (positive: later), over 18 s of clicks every 0.5 s.
//  - jump_*_ms: from a jump of the position (a cue or seek: the ring no
//    longer holds it) to the first sound, with the stretch thread running
//    and the render paced in real time, 441 frames a block; 20 jumps.
// Songs are made by sox in the temporary folder.
#include <benchmark/benchmark.h>
#include <rubberband/RubberBandStretcher.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "engine/engine_settings.h"
#include "engine/sound_source.h"

namespace {

using vantaro::CSoundSource;
constexpr int kBlock = 512;
constexpr double kSpeed = 1.06;

enum Path { kCheap = 0, kFaster = 2, kFiner = 3 };

// A sox-made song in the temporary folder, made once per name.
std::string Song(const std::string& name, const std::string& effects) {
  const char* base = std::getenv("TMPDIR");
  const std::string path = std::string(base && *base ? base : "/tmp") + "/vantaro_" + name + ".wav";
  const std::string command = "sox -D -n -r 44100 -c 2 -b 16 '" + path + "' " + effects;
  if (std::system(command.c_str()) != 0) return "";
  return path;
}

const std::string& Music() {
  static const std::string path = Song("keylock_music", "synth 60 sine 300 sine 450 vol 0.5");
  return path;
}

const std::string& Clicks(int channel) {
  static const std::string paths[2] = {
      Song("keylock_clicks0", "synth 0.005 sine 2000 vol 0.9 pad 0 0.495 repeat 59 remix 1 0"),
      Song("keylock_clicks1", "synth 0.005 sine 2000 vol 0.9 pad 0 0.495 repeat 59 remix 0 1")};
  return paths[channel];
}

std::unique_ptr<CSoundSource> Deck(int index, const std::string& song, Path path, bool locked) {
  vantaro::TheEngineSettings().highQualityFine = path == kFiner;
  auto deck = std::make_unique<CSoundSource>(index, "/tmp/");
  deck->LoadSong(song, false, nullptr, false);
  deck->StoreThreadRun();  // decodes the whole song
  deck->SetRepeat(true);
  deck->SetPitch(600);
  deck->SetKeyLock(locked);
  deck->SetHQ(locked && path != kCheap);
  deck->StretchThreadRun();
  deck->Play(1);
  return deck;
}

double ThreadCpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return now.tv_sec + now.tv_nsec * 1e-9;
}

// CPU time of this thread since `since` as a percentage of the audio made.
void CpuCounter(benchmark::State& state, double since, double audioFrames) {
  state.counters["cpu_pct"] = 100.0 * (ThreadCpuSeconds() - since) / (audioFrames / 44100.0);
}

void BM_KeyLockPath(benchmark::State& state) {
  const auto path = static_cast<Path>(state.range(0));
  auto deck = Deck(0, Music(), path, true);
  if (!deck->IsSongReady()) return state.SkipWithError("the song did not load");
  std::vector<float> out(kBlock * 2);
  const double since = ThreadCpuSeconds();
  for (auto _ : state) {
    if (path != kCheap) deck->StretchThreadRun();
    deck->Render(out.data(), kBlock);
    benchmark::DoNotOptimize(out.data());
  }
  if (path != kCheap && !deck->IsHighQualityActive()) state.SkipWithError("not on the stretcher");
  CpuCounter(state, since, double(kBlock) * state.iterations());
}
BENCHMARK(BM_KeyLockPath)->Arg(kCheap)->Arg(kFaster)->Arg(kFiner)->MinTime(3.0);

// Rubber Band by itself: the song in 22050-frame chunks of output, as the
// stretch thread makes them.
void BM_RubberBandAlone(benchmark::State& state) {
  using RubberBand::RubberBandStretcher;
  auto deck = Deck(0, Music(), kCheap, false);
  std::vector<float> song(60 * 44100 * 2);
  deck->ReadFrames(0, 60 * 44100, song.data());
  const auto engine = state.range(0) == kFiner ? RubberBandStretcher::OptionEngineFiner
                                               : RubberBandStretcher::OptionEngineFaster;
  RubberBandStretcher stretcher(44100, 2,
                                RubberBandStretcher::OptionProcessRealTime |
                                    RubberBandStretcher::OptionStretchPrecise |
                                    RubberBandStretcher::OptionThreadingNever | engine,
                                1.0 / kSpeed, 1.0);
  std::vector<float> left(16384), right(16384), outLeft(16384), outRight(16384);
  float* in[2] = {left.data(), right.data()};
  float* out[2] = {outLeft.data(), outRight.data()};
  long fed = 0, made = 0;
  const double since = ThreadCpuSeconds();
  for (auto _ : state) {
    for (long chunk = 0; chunk < 22050;) {
      const int required = std::min<int>(stretcher.getSamplesRequired(), 16384);
      for (int i = 0; i < required; ++i, ++fed) {
        left[i] = song[(fed % (60 * 44100)) * 2];
        right[i] = song[(fed % (60 * 44100)) * 2 + 1];
      }
      if (required > 0) stretcher.process(in, required, false);
      for (int available; (available = stretcher.available()) > 0;)
        chunk += stretcher.retrieve(out, std::min(available, 8192));
    }
    made += 22050;
  }
  CpuCounter(state, since, double(made));
}
BENCHMARK(BM_RubberBandAlone)->Arg(kFaster)->Arg(kFiner)->MinTime(3.0);

// Frames at which `channel` of `out` rises above half the clicks' peak
// (where a click is heard, not its stretched fringe) after 1000 quieter.
std::vector<long> Onsets(const std::vector<float>& out, int channel) {
  std::vector<long> onsets;
  long quiet = 0;
  for (std::size_t i = channel; i < out.size(); i += 2) {
    const bool loud = std::fabs(out[i]) > 0.45f;
    if (loud && quiet >= 1000) onsets.push_back(static_cast<long>(i / 2));
    quiet = loud ? 0 : quiet + 1;
  }
  return onsets;
}

void BM_HeardVersusPosition(benchmark::State& state) {
  const auto path = static_cast<Path>(state.range(0));
  double mean = 0, worst = 0;
  for (auto _ : state) {
    auto locked = Deck(0, Clicks(0), path, true);
    auto plain = Deck(1, Clicks(1), path, false);
    std::vector<float> out, a(441 * 2), b(441 * 2);
    // Past the start's speed ramp, then both from the same place.
    for (int block = 0; block < 100; ++block) {
      locked->StretchThreadRun();
      locked->Render(a.data(), 441);
      plain->Render(b.data(), 441);
    }
    for (CSoundSource* d : {locked.get(), plain.get()}) {
      d->SeekRequest(3 * 44100);
      d->StoreThreadRun();
    }
    for (int block = 0; block < 18 * 100; ++block) {
      locked->StretchThreadRun();
      locked->Render(a.data(), 441);
      plain->Render(b.data(), 441);
      for (int i = 0; i < 441; ++i) {
        out.push_back(a[i * 2]);
        out.push_back(b[i * 2 + 1]);
      }
    }
    const std::vector<long> heard = Onsets(out, 0), reference = Onsets(out, 1);
    int count = 0;
    for (long r : reference) {
      long nearest = 1 << 20;
      for (long h : heard)
        if (std::abs(h - r) < std::abs(nearest)) nearest = h - r;
      if (std::abs(nearest) > 4410) continue;  // not heard: the ring was restarting
      mean += nearest;
      worst = std::max(worst, std::fabs(double(nearest)));
      ++count;
    }
    mean = count ? mean / count : 0;
  }
  state.counters["offset_mean_ms"] = mean / 44.1;
  state.counters["offset_worst_ms"] = worst / 44.1;
}
BENCHMARK(BM_HeardVersusPosition)->Arg(kCheap)->Arg(kFaster)->Arg(kFiner)->Iterations(1);

void BM_JumpToSound(benchmark::State& state) {
  const auto path = static_cast<Path>(state.range(0));
  double total = 0, worst = 0;
  int jumps = 0;
  for (auto _ : state) {
    auto deck = Deck(0, Music(), path, true);
    deck->StartStoreThread();
    std::vector<float> out(441 * 2);
    auto due = std::chrono::steady_clock::now();
    auto block = [&] {
      due += std::chrono::microseconds(10000);
      std::this_thread::sleep_until(due);
      deck->Render(out.data(), 441);
    };
    for (int i = 0; i < 100; ++i) block();
    for (int jump = 0; jump < 20; ++jump) {
      deck->SkipFrames(static_cast<float>((jump % 2 ? -1 : 1) * (10 + jump) * 44100.0 / 2));
      long silent = 0;
      for (bool heard = false; !heard && silent < 44100;) {
        block();
        int i = 0;
        while (i < 441 && std::fabs(out[i * 2]) < 1e-3f) ++i;
        silent += i;
        heard = i < 441;
      }
      total += silent;
      worst = std::max(worst, double(silent));
      ++jumps;
      for (int i = 0; i < 50; ++i) block();
    }
    deck->StopStoreThread();
  }
  state.counters["jump_mean_ms"] = total / jumps / 44.1;
  state.counters["jump_worst_ms"] = worst / 44.1;
}
BENCHMARK(BM_JumpToSound)->Arg(kFaster)->Arg(kFiner)->Iterations(1)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
