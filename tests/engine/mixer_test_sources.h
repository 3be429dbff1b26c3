#pragma once
// Test sources for the mixer: deterministic signals whose every sample the
// test can compute, and the mixer built and wired as the program builds it.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include "base/audio_signal_source.h"
#include "base/realtime.h"
#include "effects/effect.h"
#include "engine/mixer.h"
#include "engine/mixer_channel.h"
#include "engine/mixer_setup.h"
#include "tests/support/test_support.h"

namespace vantaro::test {

// A sine (or, with hz 0, a constant `level`) that counts its frames, so that
// Sample() gives exactly what Render wrote at any frame. SyncPhase calls go
// to `syncLog` as id * 10 + phase, when one is given.
class SignalSource : public CAudioSignalSource {
 public:
  SignalSource(double hz, float level) : hz_(hz), level_(level) {}
  float Sample(long frame) const {
    if (hz_ == 0.0) return level_;
    return static_cast<float>(level_ * std::sin(2.0 * M_PI * hz_ * frame / 44100.0));
  }
  void Render(float* buffer, int frames) override {
    for (int i = 0; i < frames; ++i) buffer[i * 2] = buffer[i * 2 + 1] = Sample(position_ + i);
    position_ += frames;
  }
  void Render16(std::int16_t*, int) override {}
  float GetBPM() override { return 0.0f; }
  std::int32_t GetPosition() override { return static_cast<std::int32_t>(position_); }
  std::int32_t GetLength() override { return 0x7fffffff; }
  void SyncPhase(int phase) override {
    if (syncLog) syncLog->push_back(id * 10 + phase);
  }

  long position_ = 0;
  int id = 0;
  std::vector<int>* syncLog = nullptr;  // reserved by the test: no allocation

 private:
  double hz_;
  float level_;
};

// Multiplies by a fixed factor (a slot or chain effect for tests). Its
// block count is plain state that Process and Reset share, as a real
// effect's delay lines are: the thread sanitizer sees a Reset off the audio
// thread.
class ScaleEffect : public CEffect {
 public:
  explicit ScaleEffect(float factor) : factor_(factor) {}
  void Prepare() override {}
  void Reset() override { blocks_ = 0; }
  void Process(float* buffer, int frames, float) override {
    for (int i = 0; i < frames * 2; ++i) buffer[i] *= factor_;
    ++blocks_;
  }

 private:
  float factor_;
  long blocks_ = 0;
};

// A chain entry running `effect` fully wet.
inline std::shared_ptr<TEffectChainEntry> WetEntry(std::shared_ptr<CEffect> effect) {
  auto entry = std::make_shared<TEffectChainEntry>();
  entry->effect = std::move(effect);
  entry->effect->SetDryWet(1.0f);
  return entry;
}

constexpr int kRampDone = 1024;  // frames after which every fader ramp has ended

// The mixer as the program builds and wires it (MixerRig): decks A (left)
// and B (right) on a sine or a constant (hz 0), the mic at 0.125, the
// preview at 1/32 when asked, and `samplerCount` samplers, sampler i at
// 2^-(6 + i). With the constants, powers of two, every sum is exact.
struct MixerHarness {
  explicit MixerHarness(double hzA = 0.0, float levelA = 0.5f, double hzB = 0.0,
                        float levelB = 0.25f, bool withPreview = false, int samplerCount = 0)
      : deckA(hzA, levelA), deckB(hzB, levelB), mic(0.0, 0.125f), preview(0.0, 1.0f / 32) {
    CAudioSignalSource* decks[2] = {&deckA, &deckB};
    CAudioSignalSource* samplerPointers[8];
    for (int i = 0; i < samplerCount; ++i) {
      samplers.push_back(std::make_unique<SignalSource>(0.0, std::ldexp(1.0f, -6 - i)));
      samplerPointers[i] = samplers[i].get();
    }
    EXPECT_TRUE(CreateMixerObjects(rig, decks, &mic));
    EXPECT_TRUE(WireMixer(rig, withPreview ? &preview : nullptr, samplerPointers, samplerCount));
    // Heard as wired: both decks full, the rest silent (WireMixer's start).
    Render(kRampDone);
    wiredMaster = bus[0][2 * kRampDone - 1];
    // From here every level a test sees is one it set: faders down, the
    // crossfader hard left.
    for (int i = 0; i < rig.mixer->InputCount(); ++i) rig.mixer->SetFader(i, 0);
    rig.mixer->SetCrossfader(0);
    Render(kRampDone);
  }
  float wiredMaster = 0.0f;
  CMixer& mixer() { return *rig.mixer; }
  CZKMixerChannel& channelA() { return *rig.deckChannel[0]; }
  // Renders `frames` (at most kMaxFrames) of the normal mix into `master`
  // and `monitor`, or of the external one into the four stems.
  void Render(int frames) {
    RealtimeScope audio;
    rig.mixer->RenderMix(bus[0].data(), bus[1].data(), frames);
  }
  void RenderExternal(int frames) {
    RealtimeScope audio;
    rig.mixer->RenderExternal(bus[0].data(), bus[1].data(), bus[2].data(), bus[3].data(), frames);
  }

  static constexpr int kMaxFrames = 22050;
  SignalSource deckA, deckB, mic, preview;
  std::vector<std::unique_ptr<SignalSource>> samplers;
  MixerRig rig;
  // master and monitor, or deck A, deck B, others and monitor.
  std::vector<float> bus[4] = {
      std::vector<float>(kMaxFrames * 2), std::vector<float>(kMaxFrames * 2),
      std::vector<float>(kMaxFrames * 2), std::vector<float>(kMaxFrames * 2)};
};

}  // namespace vantaro::test
