#pragma once
// CBuiltinEffect: what the program's own effects share. Parameters are
// integers held to a range per id and kept in atomics: a control thread
// writes them, the audio thread reads them once per block (TakeParams in
// each class) and glides towards them. Parameter 0 is the preset; a new
// preset is only requested by SetParam and taken by Reset, which the audio
// thread calls once the effect has faded out (effect.h).
//
// Threads: SetParam/GetParam on control threads; Reset, Start, Process on
// the audio thread (or before audio runs).

#include <array>
#include <atomic>
#include <string>

#include "effects/effect.h"

namespace vantaro {

struct TEffectParamInfo {
  const char* name;
  const char* unit;
  int low, high, initial;
};

class CBuiltinEffect : public CEffect {
 public:
  static constexpr int kMaxParams = 8;

  void Prepare() override {}
  // Reset first, as the built-in effects do.
  void Start() override;
  // Takes a requested preset, then clears the state and snaps every glide
  // to its parameter's value (nothing of it is heard at that moment).
  void Reset() final;
  int GetParam(int id) override;
  // Held to the parameter's range; an unknown id is ignored.
  void SetParam(int id, int value) override;
  int GetParamCount() override { return paramCount_; }
  std::string GetParamName(int id) override;
  std::string GetParamUnit(int id) override;
  bool GetParamRange(int id, int* low, int* high) override;
  bool PresetPending() const override;
  std::string GetName() override;

  // The preset in force (audio-thread state; tests and benchmarks).
  int PresetInForce() const { return preset_; }

 protected:
  // `names` holds one name per preset, `params` the description of ids
  // 0..count-1 (id 0 the preset).
  CBuiltinEffect(const char* const* presetNames, const TEffectParamInfo* params, int count,
                 int preset);
  int Param(int id) const { return values_[id].load(std::memory_order_relaxed); }
  // Audio thread, from Reset: a preset's own values for the other ids.
  void StoreParam(int id, int value) { values_[id].store(value, std::memory_order_relaxed); }
  // Slider value 0..1000 of `id` as 0..1.
  float Unit(int id) const { return static_cast<float>(Param(id)) * 0.001f; }

  virtual void ApplyPreset(int /*preset*/) {}
  // Clears the signal state and snaps the glides (audio thread).
  virtual void ResetState() = 0;

 private:
  const char* const* presetNames_;
  const TEffectParamInfo* params_;
  int paramCount_;
  int preset_;
  std::array<std::atomic<int>, kMaxParams> values_;
};

}  // namespace vantaro
