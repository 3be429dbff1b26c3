#include "engine/mixer_channel.h"

#include <cmath>

#include "effects/effect.h"
#include "effects/effect_amplitudes.h"
#include "effects/effect_flangers.h"
#include "effects/effect_phaser.h"
#include "effects/effect_reverbs.h"
#include "effects/equalizer_iir.h"

namespace vantaro {

CZKMixerChannel::CZKMixerChannel(CAudioSignalSource* source, bool isMaster) : isMaster_(isMaster) {
  source_.store(source);
  for (auto& gain : eqGain_) gain.store(0.0f);
  for (auto& kill : eqKill_) kill.store(false);
  if (isMaster_) return;
  slots_[0] = std::make_unique<CEffectAmplitudes>(CEffectAmplitudes::kTremolo);
  slots_[1] = std::make_unique<CEffectAmplitudes>(CEffectAmplitudes::kPan);
  slots_[2] = std::make_unique<CEffectFlangers>(5);
  for (int preset = 0; preset <= 4; ++preset)
    slots_[3 + preset] = std::make_unique<CEffectFlangers>(preset);
  slots_[8] = std::make_unique<CEffectReverbs>(0);
  slots_[9] = std::make_unique<CEffectReverbs>(1);
  slots_[10] = std::make_unique<CEffectPhaser>();
  slots_[kEqualizerSlot] = std::make_unique<CEffectEqualizerIIR>();
}

CZKMixerChannel::~CZKMixerChannel() = default;

void CZKMixerChannel::SetSource(CAudioSignalSource* source) {
  pendingSource_.store(source, std::memory_order_release);
  sourcePending_.store(true, std::memory_order_release);
}

void CZKMixerChannel::Render(float* buffer, int frames) {
  if (sourcePending_.exchange(false, std::memory_order_acq_rel))
    source_.store(pendingSource_.load(std::memory_order_acquire), std::memory_order_release);
  CAudioSignalSource* source = source_.load(std::memory_order_relaxed);
  if (source) source->Render(buffer, frames);
  const float bpm = source ? source->GetBPM() : 0.0f;
  // Keeps the effects' state out of the denormal range on silence.
  for (int i = 0; i < frames * 2; ++i) buffer[i] += 1e-25f;
  RunCutoff(buffer, frames);
  for (int slot = 0; slot < kSlotCount; ++slot) {
    CEffect* effect = slots_[slot].get();
    if (!effect) continue;
    // The equaliser has no dry/wet: it runs fully wet while switched on.
    if (slot == kEqualizerSlot)
      effect->ProcessBlock(buffer, frames, bpm, EffectMix::kFullyWet, true);
    else
      effect->ProcessMixed(buffer, frames, bpm);
  }
  if (BlockAnalyser* analyser = analyser_.load(std::memory_order_acquire))
    analyser->Feed(buffer, frames);
  chain_.Process(buffer, frames, bpm);
}

void CZKMixerChannel::Render16(std::int16_t* buffer, int frames) {
  if (CAudioSignalSource* source = source_.load()) source->Render16(buffer, frames);
}

float CZKMixerChannel::GetBPM() {
  CAudioSignalSource* source = source_.load();
  return source ? source->GetBPM() : 0.0f;
}

std::int32_t CZKMixerChannel::GetPosition() {
  CAudioSignalSource* source = source_.load();
  return source ? source->GetPosition() : 0;
}

std::int32_t CZKMixerChannel::GetLength() {
  CAudioSignalSource* source = source_.load();
  return source ? source->GetLength() : 0;
}

void CZKMixerChannel::SyncPhase(int phase) {
  if (CAudioSignalSource* source = source_.load()) source->SyncPhase(phase);
}

bool CZKMixerChannel::SetSlot(int slot, std::unique_ptr<CEffect> effect) {
  if (slot < 0 || slot >= kSlotCount) return false;
  slots_[slot] = std::move(effect);
  return true;
}

CEffect* CZKMixerChannel::Slot(int slot) const {
  return slot >= 0 && slot < kSlotCount ? slots_[slot].get() : nullptr;
}

CEffectEqualizerIIR* CZKMixerChannel::Equalizer() const {
  return dynamic_cast<CEffectEqualizerIIR*>(slots_[kEqualizerSlot].get());
}

void CZKMixerChannel::EnsureEqualizerOn() {
  if (CEffectEqualizerIIR* eq = Equalizer()) eq->RequestSwitch(kSwitchOn);
}

void CZKMixerChannel::ApplyBand(int band, int db) {
  EnsureEqualizerOn();
  if (CEffectEqualizerIIR* eq = Equalizer()) eq->SetParam(band, db);
}

void CZKMixerChannel::SetKill(int band, bool on) {
  if (band < 1 || band > 3) return;
  eqKill_[band - 1].store(on);
  if (on)
    ApplyBand(band, kKillDb);
  else
    ApplyBand(band, static_cast<int>(std::lround(eqGain_[band - 1].load())));
}

bool CZKMixerChannel::GetKill(int band) const {
  return band >= 1 && band <= 3 && eqKill_[band - 1].load();
}

void CZKMixerChannel::SetEqBand(int band, float db) {
  if (band < 1 || band > 3) return;
  eqGain_[band - 1].store(db);
  if (eqKill_[band - 1].load()) return;
  ApplyBand(band, static_cast<int>(std::lround(db)));
}

float CZKMixerChannel::GetEqBand(int band) const {
  return band >= 1 && band <= 3 ? eqGain_[band - 1].load() : 0.0f;
}

void CZKMixerChannel::SetEffectOn(int slot, bool on, bool direct) {
  CEffect* effect = Slot(slot);
  if (!effect) return;
  if (direct) {
    // Back to the dry/wet path, which the new value decides.
    effect->SetDryWet(on ? 1.0f : 0.0f);
    effect->RequestSwitch(kSwitchByDryWet);
  } else {
    effect->RequestSwitch(on ? kSwitchOn : kSwitchOff);
  }
}

void CZKMixerChannel::SetEffectDryWet(int slot, float dryWet) {
  if (CEffect* effect = Slot(slot)) effect->SetDryWet(dryWet);
}

void CZKMixerChannel::SetEffectParam(int slot, int index, int value) {
  if (CEffect* effect = Slot(slot)) effect->SetParam(index, value);
}

int CZKMixerChannel::GetEffectParam(int slot, int index) const {
  CEffect* effect = Slot(slot);
  return effect ? effect->GetParam(index) : 0;
}

void CZKMixerChannel::SetCutoff(float hz, bool lowPass) {
  // The filter type first: the audio thread designs when it sees the dirty
  // flag, after the frequency.
  cutoffIsLowPass_.store(lowPass);
  cutoffHz_.store(hz > 0.0f ? hz : kCutoffOff);
  cutoffDirty_.store(true, std::memory_order_release);
}

void CZKMixerChannel::SetFilterKnob(int value, int filterMode) {
  int low, high;
  FilterKnobRange(filterMode, &low, &high);
  value = value < low ? low : value > high ? high : value;
  SetCutoff(FilterKnobHz(value), value < 0);
}

void CZKMixerChannel::RunCutoff(float* buffer, int frames) {
  // The flag before the frequency: a set flag guarantees the new frequency.
  if (cutoffDirty_.exchange(false, std::memory_order_acq_rel)) {
    const float hz = cutoffHz_.load(std::memory_order_acquire);
    const int type = hz == kCutoffOff          ? 0
                     : cutoffIsLowPass_.load() ? kBiquadLowPass
                                               : kBiquadHighPass;
    cutoff_.Set(type, 2, hz, 0.70710677f, 0.0f);
  }
  cutoff_.Process(buffer, frames);
}

void FilterKnobRange(int mode, int* low, int* high) {
  *low = mode == 3 ? 0 : -64;
  *high = mode == 1 ? 0 : 63;
}

float FilterKnobHz(int value) {
  if (value == 0) return CZKMixerChannel::kCutoffOff;
  if (value < 0) {
    const double t = (-value - 1) / 63.0;
    return static_cast<float>(20000.0 * std::pow(60.0 / 20000.0, t));
  }
  const double t = (value - 1) / 62.0;
  return static_cast<float>(20.0 * std::pow(12000.0 / 20.0, t));
}

}  // namespace vantaro

namespace vantaro {

int DeckEffectSlot(std::string_view controlName) {
  struct Entry {
    std::string_view name;
    int slot;
  };
  static constexpr Entry kTable[] = {
      {"fxBeatwaw", 0}, {"fxPan", 1},  {"fxDelay", 2},   {"fxFlanger", 3},
      {"fxReverb", 8},  {"fxEcho", 9}, {"fxPhaser", 10},
  };
  for (const Entry& e : kTable)
    if (e.name == controlName) return e.slot;
  return -1;
}

}  // namespace vantaro
