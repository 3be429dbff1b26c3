// Track analysis costs. AnalyseFile on one minute of 16-bit stereo WAV
// (decode included) must stay under 0.3 s of one core; the same minute
// without decoding, and as MP3; DetectBpm alone on stripes of 1 and 6
// minutes; and the correlation loop of the coarse search and refinement in
// ns per multiply-add.

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "analysis/analyse_file.h"
#include "analysis/bpm_detect.h"
#include "tests/analysis/test_tracks.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

test::TrackPlan Minutes(double minutes) {
  return {.bpm = 126, .seconds = 60 * minutes, .beat = test::Beat::kDrums};
}

// The one-minute files, made once in a folder that lives for the run.
const std::string& MinuteFile(bool mp3) {
  static test::TempDir dir;
  static const std::string wav = [] {
    const std::string path = dir.File("minute.wav");
    test::WriteWav(path, test::MakeTrack(Minutes(1)));
    return path;
  }();
  static const std::string compressed = [] {
    const std::string path = dir.File("minute.mp3");
    test::RunCommand("ffmpeg -v error -i '" + wav + "' -b:a 128k '" + path + "'");
    return path;
  }();
  return mp3 ? compressed : wav;
}

void AnalyseMinute(benchmark::State& state, bool mp3) {
  const std::string& path = MinuteFile(mp3);
  AnalysisSet set;
  AnalyseOptions options;
  options.store = false;
  for (auto _ : state) benchmark::DoNotOptimize(AnalyseFile(set, path, options).bpm);
  state.counters["x_realtime"] =
      benchmark::Counter(60.0 * state.iterations(), benchmark::Counter::kIsRate);
}
void BM_AnalyseFileWav(benchmark::State& state) {
  AnalyseMinute(state, false);
}
void BM_AnalyseFileMp3(benchmark::State& state) {
  AnalyseMinute(state, true);
}

// The chain and the detector on samples already in memory.
void BM_AnalyseWithoutDecode(benchmark::State& state) {
  const std::vector<float> mono = test::MakeTrack(Minutes(1));
  AnalysisChain chain;
  BeatTracker tracker;
  std::vector<float> second(kSecondFrames), stripe(60 * kStripePerSecond + 1), onset(stripe.size());
  for (auto _ : state) {
    chain.Start();
    for (int j = 0; j < 60; ++j) {
      std::copy(mono.begin() + j * kSecondFrames, mono.begin() + (j + 1) * kSecondFrames,
                second.begin());
      chain.FeedSecond(second.data(), kSecondFrames, stripe.data() + j * kStripePerSecond);
    }
    benchmark::DoNotOptimize(chain.TakeGain());
    benchmark::DoNotOptimize(
        DetectBpm(tracker, 60 * kStripePerSecond, stripe.data(), onset.data(), 60, 0));
  }
  state.counters["x_realtime"] =
      benchmark::Counter(60.0 * state.iterations(), benchmark::Counter::kIsRate);
}

void BM_DetectBpm(benchmark::State& state) {
  const int seconds = static_cast<int>(state.range(0)) * 60;
  const std::vector<float> original = test::StripeOf(test::MakeTrack(Minutes(state.range(0))));
  std::vector<float> stripe(original.size()), onset(original.size());
  BeatTracker tracker;
  for (auto _ : state) {
    std::copy(original.begin(), original.end(), stripe.begin());
    benchmark::DoNotOptimize(DetectBpm(tracker, static_cast<int>(stripe.size()), stripe.data(),
                                       onset.data(), seconds, 0));
  }
}

// One coarse-search block: 30 s of onset against itself at one lag.
void BM_Correlate(benchmark::State& state) {
  const int count = 30 * kStripePerSecond - 1;
  std::vector<float> onset(count + 4000);
  for (size_t i = 0; i < onset.size(); ++i) onset[i] = float(i % 221) / 221.0f;
  for (auto _ : state)
    benchmark::DoNotOptimize(Correlate(onset.data(), onset.data() + 3528, count));
  state.counters["ns_per_madd"] =
      benchmark::Counter(double(count) * state.iterations(),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

BENCHMARK(BM_AnalyseFileWav)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AnalyseWithoutDecode)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AnalyseFileMp3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DetectBpm)->Arg(1)->Arg(6)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Correlate);

}  // namespace
}  // namespace vantaro
