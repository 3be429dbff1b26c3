// Real-time factors (seconds of audio per second of CPU, counter
// "x_realtime") of the effects in 256-frame blocks on one core:
//   BM_Effect/<type>/0   each built-in type fully wet on music (two detuned
//                        sines and a little noise)
//   BM_Effect/<type>/1   the same effect on the silent tail after a burst
//   BM_Channel           a deck channel: three-band EQ on, cut-off filter,
//                        tremolo and flanger on, over music
//   BM_TwoDecksWithEffects  RenderDeviceBlock with both deck channels so
//                        (compare bench_mixer's BM_MixerInMemory)
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "devices/denormals.h"
#include "effects/effect.h"
#include "effects/effect_registry.h"
#include "engine/audio_render.h"
#include "engine/mixer.h"
#include "engine/mixer_channel.h"
#include "engine/mixer_setup.h"

namespace {

using namespace vantaro;

constexpr int kBlock = 256;

// Music stand-in: 110 Hz and 1237 Hz sines and noise at -40 dB, one second
// computed once and looped, so the benchmark times the effects only.
class MusicSource : public CAudioSignalSource {
 public:
  MusicSource() : loop_(44100 * 2) {
    unsigned seed = 1;
    for (int n = 0; n < 44100; ++n) {
      seed = seed * 1103515245u + 12345u;
      const float noise = static_cast<float>((seed >> 9) % 2001) * 1e-5f - 0.01f;
      loop_[n * 2] =
          static_cast<float>(0.3 * std::sin(n * 0.0156735) + 0.2 * std::sin(n * 0.176238)) + noise;
      loop_[n * 2 + 1] = loop_[n * 2] * 0.9f;
    }
  }
  // Copies in runs up to the loop's end: a frame-by-frame copy with a wrap
  // test cost as much as a light effect.
  void Render(float* buffer, int frames) override {
    for (int done = 0; done < frames;) {
      const int n = std::min(frames - done, 44100 - n_);
      std::memcpy(buffer + done * 2, &loop_[n_ * 2], sizeof(float) * 2 * n);
      done += n;
      n_ = n_ + n == 44100 ? 0 : n_ + n;
    }
  }
  void Render16(std::int16_t*, int) override {}
  float GetBPM() override { return 126.0f; }
  std::int32_t GetPosition() override { return 0; }
  std::int32_t GetLength() override { return 0; }
  void SyncPhase(int) override {}

 private:
  std::vector<float> loop_;
  int n_ = 0;
};

void SetRealtimeFactor(benchmark::State& state) {
  state.counters["x_realtime"] = benchmark::Counter(
      static_cast<double>(state.iterations()) * kBlock / 44100.0, benchmark::Counter::kIsRate);
}

void BM_Effect(benchmark::State& state) {
  FlushDenormalsScope flush;
  auto effect = CreateEffectOfType(static_cast<int>(state.range(0)));
  const bool tail = state.range(1) != 0;
  effect->RequestSwitch(kSwitchOn);
  MusicSource music;
  std::vector<float> block(kBlock * 2), input(kBlock * 2);
  // One second of music first, so the tail case runs on what a burst left.
  for (int i = 0; i < 44100 / kBlock; ++i) {
    music.Render(block.data(), kBlock);
    effect->ProcessBlock(block.data(), kBlock, 126.0f, EffectMix::kFullyWet, true);
  }
  for (auto _ : state) {
    if (tail)
      std::fill(block.begin(), block.end(), 0.0f);
    else
      music.Render(block.data(), kBlock);
    effect->ProcessBlock(block.data(), kBlock, 126.0f, EffectMix::kFullyWet, true);
    benchmark::DoNotOptimize(block.data());
  }
  SetRealtimeFactor(state);
  state.SetLabel(EffectTypeName(static_cast<int>(state.range(0))) + (tail ? " tail" : " music"));
}

void EffectArguments(benchmark::internal::Benchmark* bench) {
  int count;
  const int* types = BuiltInEffectTypes(&count);
  for (int t = 0; t < count; ++t)
    for (int tail = 0; tail < 2; ++tail) bench->Args({types[t], tail});
}
BENCHMARK(BM_Effect)->Apply(EffectArguments);

// A deck channel as a DJ runs it: EQ on with a band moving, cut-off filter
// at a sweep, tremolo and flanger on.
void SteerChannel(CZKMixerChannel& channel) {
  channel.SetEqBand(1, -3.0f);
  channel.SetFilterKnob(-20, 2);
  channel.SetEffectOn(0, true, true);
  channel.SetEffectOn(3, true, true);
}

void BM_Channel(benchmark::State& state) {
  FlushDenormalsScope flush;
  MusicSource music;
  CZKMixerChannel channel(&music, false);
  SteerChannel(channel);
  std::vector<float> block(kBlock * 2);
  long n = 0;
  for (auto _ : state) {
    if (++n % 64 == 0) channel.SetFilterKnob(-10 - static_cast<int>(n / 64 % 40), 2);
    channel.Render(block.data(), kBlock);
    benchmark::DoNotOptimize(block.data());
  }
  SetRealtimeFactor(state);
}
BENCHMARK(BM_Channel);

void BM_TwoDecksWithEffects(benchmark::State& state) {
  FlushDenormalsScope flush;
  MusicSource a, b;
  MixerRig rig;
  CAudioSignalSource* decks[2] = {&a, &b};
  CreateMixerObjects(rig, decks, nullptr);
  WireMixer(rig, nullptr, nullptr, 0);
  for (int d = 0; d < 2; ++d) {
    SteerChannel(*rig.deckChannel[d]);
    rig.mixer->SetFader(d, 127);
  }
  SetLimiterOn(rig, true);
  auto renderer = std::make_unique<AudioRenderer>();
  renderer->mix = rig.mixer.get();
  renderer->limiter = rig.limiter.get();
  std::vector<float> out(kBlock * 2);
  for (auto _ : state) {
    renderer->RenderDeviceBlock(out.data(), kBlock, 2);
    benchmark::DoNotOptimize(out.data());
  }
  SetRealtimeFactor(state);
}
BENCHMARK(BM_TwoDecksWithEffects);

}  // namespace
