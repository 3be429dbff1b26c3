#pragma once
// Test sources for the mixer: deterministic signals whose every sample the
// test can compute, and a harness that renders through the audio callback
// and the offline device exactly as a sound card pulls it.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include "base/audio_signal_source.h"
#include "devices/offline_device.h"
#include "effects/effect.h"
#include "engine/audio_render.h"
#include "engine/mixer.h"
#include "engine/mixer_channel.h"
#include "tests/support/test_support.h"

namespace vantaro::test {

// A sine (or, with hz 0, a constant `level`) that counts its frames, so that
// Sample() gives exactly what Render wrote at any frame.
class SignalSource : public CAudioSignalSource {
 public:
  SignalSource(double hz, float level) : hz_(hz), level_(level) {}
  float Sample(long frame) const {
    if (hz_ == 0.0) return level_;
    return static_cast<float>(level_ * std::sin(2.0 * M_PI * hz_ * frame / 44100.0));
  }
  void Render(float* buffer, int frames) override {
    for (int i = 0; i < frames; ++i) {
      const float v = Sample(position_ + i);
      buffer[i * 2] = v;
      buffer[i * 2 + 1] = v;
    }
    position_ += frames;
  }
  void Render16(std::int16_t*, int) override {}
  float GetBPM() override { return 0.0f; }
  std::int32_t GetPosition() override { return static_cast<std::int32_t>(position_); }
  std::int32_t GetLength() override { return 0x7fffffff; }
  void SyncPhase(int phase) override {
    if (syncLog && *syncCount < 64) syncLog[(*syncCount)++] = id * 10 + phase;
  }

  long position_ = 0;
  int id = 0;
  int* syncLog = nullptr;  // shared fixed log: id * 10 + phase
  int* syncCount = nullptr;

 private:
  double hz_;
  float level_;
};

// Multiplies by a fixed factor (a master-chain or slot effect for tests).
class ScaleEffect : public CEffect {
 public:
  explicit ScaleEffect(float factor) : factor_(factor) {}
  void Prepare() override {}
  void Reset() override {}
  void Process(float* buffer, int frames, float) override {
    for (int i = 0; i < frames * 2; ++i) buffer[i] *= factor_;
  }

 private:
  float factor_;
};

// Two deck channels on test sources, wired as the program wires its mixer:
// capacity 22050, 128 steps, curve 50, deck 0 left and deck 1 right.
struct MixerHarness {
  explicit MixerHarness(double hzA = 440.0, float levelA = 0.5f, double hzB = 1000.0,
                        float levelB = 0.5f, int blockFrames = 256, int channels = 2)
      : sourceA(hzA, levelA),
        sourceB(hzB, levelB),
        channelA(&sourceA, false),
        channelB(&sourceB, false),
        mixer(22050),
        renderer(std::make_unique<AudioRenderer>()),
        device(*renderer, blockFrames, channels) {
    sourceA.id = 0;
    sourceB.id = 1;
    mixer.AddInput(&channelA);
    mixer.AddInput(&channelB);
    mixer.SetFaderSteps(128);
    mixer.SetCrossSteps(128);
    mixer.SetCrossCurve(50);
    mixer.SetCrossSide(0, 0);
    mixer.SetCrossSide(1, 1);
    renderer->mix = &mixer;
  }
  std::vector<float> Render(long frames) { return device.RenderToMemory(frames); }

  SignalSource sourceA, sourceB;
  CZKMixerChannel channelA, channelB;
  CMixer mixer;
  std::unique_ptr<AudioRenderer> renderer;
  OfflineDevice device;
};

inline double ToDb(double ratio) {
  return 20.0 * std::log10(ratio);
}

constexpr int kRampDone = 1024;  // frames after which every fader ramp has ended

// Level in dB at the master, against a sine of peak 0.5, of `frames`
// rendered after `settle` frames.
inline double MasterLevelDb(MixerHarness& h, long settle = kRampDone, long frames = 44100) {
  h.Render(settle);
  return ToDb(Rms(h.Render(frames), 2, 0) / (0.5 / std::sqrt(2.0)));
}

// A chain entry running `effect` fully wet.
inline std::shared_ptr<TEffectChainEntry> WetEntry(std::shared_ptr<CEffect> effect) {
  auto entry = std::make_shared<TEffectChainEntry>();
  entry->effect = std::move(effect);
  entry->effect->SetDryWet(1.0f);
  return entry;
}

// Lets the ramps end, then expects the next `frames` at the master to be
// `source` alone, bit for bit on both sides.
inline void ExpectMasterIs(MixerHarness& h, const SignalSource& source, int frames) {
  h.Render(kRampDone);
  const long first = source.position_;
  const std::vector<float> out = h.Render(frames);
  for (int i = 0; i < frames; ++i) {
    ASSERT_EQ(out[i * 2], source.Sample(first + i)) << "frame " << i;
    ASSERT_EQ(out[i * 2 + 1], source.Sample(first + i)) << "frame " << i;
  }
}

}  // namespace vantaro::test
