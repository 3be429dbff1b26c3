#include "effects/builtin_effect.h"

#include <algorithm>

namespace vantaro {

CBuiltinEffect::CBuiltinEffect(const char* const* presetNames, const TEffectParamInfo* params,
                               int count, int preset)
    : presetNames_(presetNames), params_(params), paramCount_(std::min(count, kMaxParams)) {
  for (int id = 0; id < kMaxParams; ++id)
    values_[id].store(id < paramCount_ ? params_[id].initial : 0);
  // The derived class calls Reset at the end of its constructor, which
  // applies this preset.
  preset_ = -1;
  values_[0].store(std::clamp(preset, params_[0].low, params_[0].high));
}

void CBuiltinEffect::Start() {
  Reset();
  CEffect::Start();
}

void CBuiltinEffect::Reset() {
  const int wanted = values_[0].load(std::memory_order_acquire);
  if (wanted != preset_) {
    preset_ = wanted;
    ApplyPreset(preset_);
  }
  ResetState();
}

int CBuiltinEffect::GetParam(int id) {
  return id >= 0 && id < paramCount_ ? Param(id) : 0;
}

void CBuiltinEffect::SetParam(int id, int value) {
  if (id < 0 || id >= paramCount_) return;
  values_[id].store(std::clamp(value, params_[id].low, params_[id].high),
                    std::memory_order_release);
}

std::string CBuiltinEffect::GetParamName(int id) {
  return id >= 0 && id < paramCount_ ? params_[id].name : "";
}

std::string CBuiltinEffect::GetParamUnit(int id) {
  return id >= 0 && id < paramCount_ ? params_[id].unit : "";
}

bool CBuiltinEffect::GetParamRange(int id, int* low, int* high) {
  if (id < 0 || id >= paramCount_) return false;
  *low = params_[id].low;
  *high = params_[id].high;
  return true;
}

bool CBuiltinEffect::PresetPending() const {
  return values_[0].load(std::memory_order_acquire) != preset_;
}

std::string CBuiltinEffect::GetName() {
  return presetNames_[std::clamp(Param(0), params_[0].low, params_[0].high)];
}

}  // namespace vantaro
