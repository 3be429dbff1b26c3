#include "effects/effect_filter.h"

#include <cmath>
#include <cstdio>

namespace vantaro {
namespace {

// Index = type; 0 is never in force.
const char* const kTypeNames[] = {
    "",         "Low-pass", "High-pass", "Band-pass",  "Band-pass 0 dB",   "Notch",
    "All-pass", "Peaking",  "Low shelf", "High shelf", "Cut-off low-pass", "Cut-off high-pass",
};
const TEffectParamInfo kParams[] = {
    {"Type", "", 1, CEffectFilter::kCutoffHighPass, 1},
    {"Frequency", "Hz", 0, 1000, 500},
    {"Q", "", 0, 1000, 425},
    {"Gain", "dB", 0, 1000, 500},
};

}  // namespace

CEffectFilter::CEffectFilter(int type) : CBuiltinEffect(kTypeNames, kParams, 4, type) {
  Reset();
}

float CEffectFilter::FrequencyOf(int value) {
  return 20.0f * std::pow(1000.0f, static_cast<float>(value) * 0.001f);
}

float CEffectFilter::QOf(int value) {
  return 0.1f * std::pow(100.0f, static_cast<float>(value) * 0.001f);
}

float CEffectFilter::GainDbOf(int value) {
  return static_cast<float>(value - 500) * 0.048f;
}

std::string CEffectFilter::GetParamText(int id) {
  char text[32];
  const int v = GetParam(id);
  if (id == 1)
    std::snprintf(text, sizeof text, "%.0f", FrequencyOf(v));
  else if (id == 2)
    std::snprintf(text, sizeof text, "%.2f", QOf(v));
  else if (id == 3)
    std::snprintf(text, sizeof text, "%.1f", GainDbOf(v));
  else
    return kTypeNames[PresetInForce() > 0 ? PresetInForce() : 1];
  return text;
}

void CEffectFilter::SetFilter() {
  const int type = PresetInForce();
  const bool pair = type >= kCutoffLowPass;
  const int biquad = type == kCutoffLowPass    ? kBiquadLowPass
                     : type == kCutoffHighPass ? kBiquadHighPass
                                               : type;
  filter_.Set(biquad, pair ? 2 : 1, FrequencyOf(Param(1)), pair ? 0.70710677f : QOf(Param(2)),
              GainDbOf(Param(3)));
}

void CEffectFilter::ResetState() {
  SetFilter();
  filter_.Settle();
}

void CEffectFilter::Process(float* buffer, int frames, float /*bpm*/) {
  SetFilter();
  filter_.Process(buffer, frames);
}

}  // namespace vantaro
