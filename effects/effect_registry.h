#pragma once
// Effect types by number, as chain files name them. Each effect class
// registers a creator once at start-up; a chain file entry whose type has no
// creator is an unknown effect (see effect_chain_file.h).
//
// Threads: GUI thread only (registration before audio starts).

#include <memory>
#include <string>

namespace vantaro {

class CEffect;

// One number for each built-in class and preset; chain files store them, so
// they never change meaning.
enum EffectTypeNumber {
  kEffectTypeEqualizerIIR = 11,  // the channel equaliser (fixed slot 11)
  kEffectTypeTremolo = 20,       // CEffectAmplitudes preset 0
  kEffectTypeAutoPan = 21,       // CEffectAmplitudes preset 1
  kEffectTypeLeveller = 30,      // CEffectDynamics presets 0..2: 30..32
  kEffectTypeCompressor = 31,
  kEffectTypePeakLimiter = 32,
  kEffectTypeFlanger = 40,  // CEffectFlangers presets 0..5: 40..45
  kEffectTypePhaser = 50,   // CEffectPhaser
  kEffectTypeReverb = 60,   // CEffectReverbs presets 0..1: 60..61
  kEffectTypeFilter = 70,   // CEffectFilter
};

// Every built-in type number, in the order above (tests, benchmarks, the
// editor's list).
const int* BuiltInEffectTypes(int* count);

using EffectCreator = std::unique_ptr<CEffect> (*)();

// Adds or replaces the creator of `type`. Returns false for a null creator
// or a negative type.
bool RegisterEffectType(int type, const std::string& name, EffectCreator create);
// Removes a type (tests). Returns false when it was not registered.
bool UnregisterEffectType(int type);
// A new effect of `type`, or null when the type is unknown.
std::unique_ptr<CEffect> CreateEffectOfType(int type);
// Registered name of `type`, empty when unknown.
std::string EffectTypeName(int type);

}  // namespace vantaro
