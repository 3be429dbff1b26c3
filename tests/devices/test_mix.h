#pragma once
// Mix objects for the device tests: they stand where the program's mixer
// will be and produce signals whose properties the tests can check.
// All render on the audio thread without allocating.

#include <atomic>

#include "engine/audio_render.h"

namespace vantaro::test {

// The external mode of these mixes plays the master bus as deck A, with the
// other stems silent.
class TestMix : public MixRenderer {
 public:
  void RenderExternal(float* deckA, float* deckB, float* others, float* monitor,
                      int frames) override;
};

// A steady sine on each bus; left and right levels may differ.
class ToneMix : public TestMix {
 public:
  struct Tone {
    double hz = 0;
    float left = 0, right = 0;  // peak levels
  };
  ToneMix(Tone master, Tone monitor) : master_(master), monitor_(monitor) {}
  void RenderMix(float* master, float* monitor, int frames) override;

 private:
  Tone master_, monitor_;
  double masterPhase_ = 0, monitorPhase_ = 0;  // cycles
};

// Writes (block number % 128) / 256 as a constant into both buses, so that
// a device's output tells which block it is playing.
class BlockNumberMix : public TestMix {
 public:
  void RenderMix(float* master, float* monitor, int frames) override;
  long Blocks() const { return blocks_.load(); }
  static int Decode(float sample) { return static_cast<int>(sample * 256.0f + 0.5f); }

 private:
  std::atomic<long> blocks_{0};
};

}  // namespace vantaro::test
