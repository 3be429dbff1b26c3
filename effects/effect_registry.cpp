#include "effects/effect_registry.h"

#include <map>

#include "effects/effect_amplitudes.h"
#include "effects/effect_dynamics.h"
#include "effects/effect_filter.h"
#include "effects/effect_flangers.h"
#include "effects/effect_phaser.h"
#include "effects/effect_reverbs.h"
#include "effects/equalizer_iir.h"

namespace vantaro {
namespace {

struct TypeRecord {
  std::string name;
  EffectCreator create;
};

// A creator for `Class` with preset `kPreset`.
template <typename Class, int kPreset>
std::unique_ptr<CEffect> Create() {
  return std::make_unique<Class>(kPreset);
}

std::unique_ptr<CEffect> CreateEqualizer() {
  return std::make_unique<CEffectEqualizerIIR>();
}

std::map<int, TypeRecord>& Registry() {
  static std::map<int, TypeRecord> registry = {
      {kEffectTypeEqualizerIIR, {"Equalizer", &CreateEqualizer}},
      {kEffectTypeTremolo, {"Tremolo", &Create<CEffectAmplitudes, 0>}},
      {kEffectTypeAutoPan, {"Auto Pan", &Create<CEffectAmplitudes, 1>}},
      {kEffectTypeLeveller, {"Leveller", &Create<CEffectDynamics, 0>}},
      {kEffectTypeCompressor, {"Compressor", &Create<CEffectDynamics, 1>}},
      {kEffectTypePeakLimiter, {"Peak Limiter", &Create<CEffectDynamics, 2>}},
      {kEffectTypeFlanger + 0, {"Flanger", &Create<CEffectFlangers, 0>}},
      {kEffectTypeFlanger + 1, {"Flanger Deep", &Create<CEffectFlangers, 1>}},
      {kEffectTypeFlanger + 2, {"Flanger Jet", &Create<CEffectFlangers, 2>}},
      {kEffectTypeFlanger + 3, {"Vibrato", &Create<CEffectFlangers, 3>}},
      {kEffectTypeFlanger + 4, {"Sweep", &Create<CEffectFlangers, 4>}},
      {kEffectTypeFlanger + 5, {"Chorus Delay", &Create<CEffectFlangers, 5>}},
      {kEffectTypePhaser, {"Phaser", &Create<CEffectPhaser, 0>}},
      {kEffectTypeReverb + 0, {"Reverb", &Create<CEffectReverbs, 0>}},
      {kEffectTypeReverb + 1, {"Echo", &Create<CEffectReverbs, 1>}},
      {kEffectTypeFilter, {"Filter", &Create<CEffectFilter, 1>}},
  };
  return registry;
}

constexpr int kBuiltInTypes[] = {
    kEffectTypeEqualizerIIR,
    kEffectTypeTremolo,
    kEffectTypeAutoPan,
    kEffectTypeLeveller,
    kEffectTypeCompressor,
    kEffectTypePeakLimiter,
    40,
    41,
    42,
    43,
    44,
    45,
    kEffectTypePhaser,
    60,
    61,
    kEffectTypeFilter,
};

}  // namespace

const int* BuiltInEffectTypes(int* count) {
  *count = static_cast<int>(sizeof kBuiltInTypes / sizeof kBuiltInTypes[0]);
  return kBuiltInTypes;
}

bool RegisterEffectType(int type, const std::string& name, EffectCreator create) {
  if (type < 0 || !create) return false;
  Registry()[type] = TypeRecord{name, create};
  return true;
}

bool UnregisterEffectType(int type) {
  return Registry().erase(type) > 0;
}

std::unique_ptr<CEffect> CreateEffectOfType(int type) {
  auto it = Registry().find(type);
  return it == Registry().end() ? nullptr : it->second.create();
}

std::string EffectTypeName(int type) {
  auto it = Registry().find(type);
  return it == Registry().end() ? std::string() : it->second.name;
}

}  // namespace vantaro
