#include "effects/effect_registry.h"

#include <map>

#include "effects/equalizer_iir.h"

namespace vantaro {
namespace {

struct TypeRecord {
  std::string name;
  EffectCreator create;
};

std::unique_ptr<CEffect> CreateEqualizer() {
  return std::make_unique<CEffectEqualizerIIR>();
}

std::map<int, TypeRecord>& Registry() {
  static std::map<int, TypeRecord> registry = {
      {kEffectTypeEqualizerIIR, {"Equalizer", &CreateEqualizer}},
  };
  return registry;
}

}  // namespace

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
