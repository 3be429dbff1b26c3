// The recorder's costs:
//   BM_RecordWav       the audio thread's WriteBlock per 256-frame block
//                      plus the writer thread writing the WAV file, as the
//                      CPU share of one core while recording in real time
//                      (counter core_percent: process CPU seconds per
//                      second of audio, in percent)
//   BM_EncodeMp3       LAME encoding on the writer thread (x_realtime:
//                      seconds of audio per CPU second)
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cmath>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "codecs/encoder_lame.h"
#include "devices/recorder.h"

namespace {

constexpr int kBlock = 256;
constexpr int kSeconds = 60;

double ProcessCpuSeconds() {
  timespec t{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return t.tv_sec + t.tv_nsec * 1e-9;
}

std::string TempFile(const char* name) {
  return std::filesystem::temp_directory_path().string() + "/vantaro_rec_bench_" +
         std::to_string(getpid()) + name;
}

// Music-like: two tones and a little noise, so the encoder has work.
std::vector<float> Signal(int frames) {
  std::vector<float> out(static_cast<std::size_t>(frames) * 2);
  unsigned noise = 1;
  for (int i = 0; i < frames; ++i) {
    noise = noise * 1103515245u + 12345u;
    const float n = static_cast<float>(noise >> 16) / 65536.0f - 0.5f;
    out[i * 2] = 0.4f * std::sin(i * 0.0712f) + 0.2f * std::sin(i * 0.31f) + 0.05f * n;
    out[i * 2 + 1] = 0.4f * std::sin(i * 0.0655f) + 0.05f * n;
  }
  return out;
}

void BM_RecordWav(benchmark::State& state) {
  const std::vector<float> block = Signal(kBlock);
  const std::string path = TempFile(".wav");
  double cpu = 0, audio = 0;
  for (auto _ : state) {
    vantaro::CRecorder recorder(nullptr, "");
    if (!recorder.StartRecording(path)) return state.SkipWithError("no file");
    const double start = ProcessCpuSeconds();
    // A second of blocks at a time, then the writer's share of that second.
    for (int second = 0; second < kSeconds; ++second) {
      for (int f = 0; f < 44100; f += kBlock) recorder.WriteBlock(block.data(), kBlock);
      recorder.Drain();
    }
    recorder.StopRecording();
    cpu += ProcessCpuSeconds() - start;
    audio += kSeconds;
    if (recorder.LostFrames() != 0) state.SkipWithError("frames lost");
  }
  std::filesystem::remove(path);
  state.counters["core_percent"] = 100.0 * cpu / audio;
}
BENCHMARK(BM_RecordWav)->Iterations(3)->Unit(benchmark::kMillisecond);

void BM_EncodeMp3(benchmark::State& state) {
  vantaro::CEncoderLame lame;
  if (!lame.IsAvailable()) return state.SkipWithError("libmp3lame.so.0 not loadable");
  const std::vector<float> signal = Signal(44100 * 10);
  std::vector<std::int16_t> pcm(signal.size());
  for (std::size_t i = 0; i < pcm.size(); ++i)
    pcm[i] = static_cast<std::int16_t>(signal[i] * vantaro::CRecorder::kFileScale);
  const std::string path = TempFile(".mp3");
  double cpu = 0, audio = 0;
  for (auto _ : state) {
    vantaro::TCodecFormat format{44100, 2, 16, 16, 0, 0};
    if (!lame.Open(path, format, vantaro::kCodecWrite)) return state.SkipWithError("no file");
    const double start = ProcessCpuSeconds();
    // Quarter-second drains, as the writer thread hands them over.
    for (int at = 0; at < 44100 * 10; at += 11025) lame.PutSamples(pcm.data() + at * 2, 11025);
    lame.Close();
    cpu += ProcessCpuSeconds() - start;
    audio += 10;
  }
  std::filesystem::remove(path);
  state.counters["x_realtime"] = audio / cpu;
}
BENCHMARK(BM_EncodeMp3)->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace
