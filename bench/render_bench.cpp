// Cost of one RenderDeviceBlock call of 512 frames with no inputs, on a
// stereo device, and the same block rendered with every hook of the normal
// path missing. Prints the real-time factor: seconds of audio per second of
// CPU.
#include <benchmark/benchmark.h>

#include <vector>

#include "engine/audio_render.h"

namespace {

void BM_RenderDeviceBlockNoInputs(benchmark::State& state) {
  auto renderer = std::make_unique<vantaro::AudioRenderer>();
  const int frames = static_cast<int>(state.range(0));
  const int channels = static_cast<int>(state.range(1));
  renderer->outputMode = channels >= 4 ? vantaro::kOutputMultichannel : vantaro::kOutputNormal;
  renderer->secondDeviceActive = true;
  std::vector<float> out(static_cast<size_t>(frames) * channels);
  std::vector<float> second(static_cast<size_t>(frames) * 2);
  for (auto _ : state) {
    renderer->RenderDeviceBlock(out.data(), frames, channels);
    renderer->RenderSecondDeviceBlock(second.data(), frames);
    benchmark::DoNotOptimize(out.data());
  }
  state.counters["x_realtime"] = benchmark::Counter(double(frames) / 44100.0 * state.iterations(),
                                                    benchmark::Counter::kIsRate);
}
BENCHMARK(BM_RenderDeviceBlockNoInputs)->Args({512, 2})->Args({512, 8});

}  // namespace
