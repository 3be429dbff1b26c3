#pragma once
// Small effects with exactly known behaviour, for the framework tests.

#include <atomic>
#include <memory>
#include <string>

#include "effects/effect.h"
#include "effects/effect_registry.h"

namespace vantaro::test {

// Multiplies the block by parameter 0 in percent; counts Start/Reset calls
// and instances alive.
class GainEffect : public CEffect {
 public:
  static constexpr int kType = 900;
  static inline std::atomic<int> alive{0};
  GainEffect() { ++alive; }
  ~GainEffect() override { --alive; }
  void Prepare() override {}
  void Start() override {
    Reset();
    CEffect::Start();
    ++starts;
  }
  void Reset() override { ++resets; }
  void Process(float* buffer, int frames, float bpm) override {
    lastBpm = bpm;
    for (int i = 0; i < frames * 2; ++i) buffer[i] *= percent / 100.0f;
  }
  int GetParam(int id) override { return id == 0 ? percent : id == 1 ? other : 0; }
  void SetParam(int id, int value) override {
    if (id == 0) percent = value;
    if (id == 1) other = value;
  }
  int GetParamCount() override { return 2; }
  std::string GetParamName(int id) override { return id == 0 ? "Gain" : "Other <&>"; }
  std::string GetParamUnit(int id) override { return id == 0 ? "%" : ""; }
  std::string GetName() override { return "Test gain"; }
  void GetEditorPosition(int* x, int* y) override {
    *x = editorX;
    *y = editorY;
  }
  void SetEditorPosition(int x, int y) override {
    editorX = x;
    editorY = y;
  }

  int percent = 100;
  int other = 0;
  int starts = 0;
  int resets = 0;
  int editorX = 0, editorY = 0;
  float lastBpm = 0.0f;
};

inline void RegisterTestEffects() {
  RegisterEffectType(GainEffect::kType, "Test gain",
                     [] { return std::unique_ptr<CEffect>(new GainEffect); });
}

}  // namespace vantaro::test
