// Throughput of the codec set's float reads on a 5-minute 16-bit 44100 Hz
// stereo WAV in 1-second reads, next to a plain fread of the same bytes.
// "x_realtime" is seconds of audio per second of CPU.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "codecs/codec_set.h"

namespace {

constexpr int kRate = 44100;
constexpr int kSeconds = 300;

// The test file, written once per run through the WAV writer and removed at
// exit.
const std::string& BenchFile() {
  static const std::string path = [] {
    const char* tmp = std::getenv("TMPDIR");
    std::string p = std::string(tmp && *tmp ? tmp : "/tmp") + "/vantaro-bench-" +
                    std::to_string(getpid()) + ".wav";
    vantaro::CCodecSet writer(100);
    vantaro::TCodecFormat format{kRate, 2, 16, 16, 0, 0};
    if (!writer.Open(p, format, vantaro::kCodecWrite, kRate)) std::abort();
    std::vector<int16_t> second(kRate * 2);
    for (int s = 0; s < kSeconds; ++s) {
      for (int i = 0; i < kRate; ++i) {
        const double t = (static_cast<double>(s) * kRate + i) / kRate;
        second[i * 2] = static_cast<int16_t>(20000 * std::sin(2 * M_PI * 440 * t));
        second[i * 2 + 1] = static_cast<int16_t>(20000 * std::sin(2 * M_PI * 660 * t));
      }
      writer.PutSamples(second.data(), kRate);
    }
    writer.Close();
    std::atexit([] { std::remove(BenchFile().c_str()); });
    return p;
  }();
  return path;
}

void BM_CodecSetFloatReads(benchmark::State& state) {
  vantaro::CCodecSet set(30);
  vantaro::TCodecFormat format{kRate, 2, 32, 32, 0, 0};
  if (!set.Open(BenchFile(), format, vantaro::kCodecRead, kRate)) {
    state.SkipWithError("cannot open the bench file");
    return;
  }
  std::vector<float> buffer(kRate * 2);
  int64_t frames = 0;
  for (auto _ : state) {
    for (int64_t start = 0; start < format.frames; start += kRate) {
      frames += set.GetFloatSamples(buffer.data(), kRate, start);
    }
    benchmark::DoNotOptimize(buffer.data());
  }
  state.counters["x_realtime"] =
      benchmark::Counter(static_cast<double>(frames) / kRate, benchmark::Counter::kIsRate);
}

void BM_PlainFread(benchmark::State& state) {
  const std::string& path = BenchFile();
  std::vector<char> buffer(kRate * 4);
  int64_t bytes = 0;
  for (auto _ : state) {
    FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) {
      state.SkipWithError("cannot open the bench file");
      return;
    }
    std::fseek(file, 44, SEEK_SET);
    size_t got;
    while ((got = std::fread(buffer.data(), 1, buffer.size(), file)) > 0) bytes += got;
    std::fclose(file);
    benchmark::DoNotOptimize(buffer.data());
  }
  state.counters["x_realtime"] =
      benchmark::Counter(static_cast<double>(bytes) / (kRate * 4), benchmark::Counter::kIsRate);
}

BENCHMARK(BM_CodecSetFloatReads)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlainFread)->Unit(benchmark::kMillisecond);

}  // namespace
