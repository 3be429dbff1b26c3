#pragma once
// CZKMixerChannel: a signal source that wraps another source (a deck, the
// microphone) and runs its effects: the cut-off filter, the fixed slots (slot
// 11 is the three-band equaliser), the spectrum feed, then the user chain.
// The master channel has no source and no fixed slots: it runs its chain over
// the master bus in place.
//
// Threads: Render, Render16 and SyncPhase on the audio thread; they never
// allocate, lock or block. SetSource and every setter on the GUI or
// controller threads: they write atomics that Render takes at the start of a
// block. Slots are filled before audio starts.

#include <array>
#include <atomic>
#include <memory>
#include <string_view>

#include "base/audio_signal_source.h"
#include "effects/effect_chain.h"
#include "effects/swept_filter.h"

namespace vantaro {

class CEffect;
class CEffectEqualizerIIR;

// Receives each rendered block of a deck channel (the waveform's spectrum
// feed). Audio thread; must not allocate or block.
class BlockAnalyser {
 public:
  virtual ~BlockAnalyser() = default;
  virtual void Feed(const float* buffer, int frames) = 0;
};

class CZKMixerChannel : public CAudioSignalSource {
 public:
  static constexpr int kSlotCount = 20;
  static constexpr int kEqualizerSlot = 11;
  static constexpr float kCutoffOff = -1.0f;
  static constexpr int kKillDb = -40;

  // A channel that is not the master gets its fixed effects: slot 0
  // tremolo, 1 auto-pan, 2 flanger preset 5, 3..7 flanger presets 0..4, 8
  // reverb, 9 echo, 10 phaser, 11 the equaliser. The master has none.
  CZKMixerChannel(CAudioSignalSource* source, bool isMaster);
  ~CZKMixerChannel() override;

  void Render(float* buffer, int frames) override;
  void Render16(std::int16_t* buffer, int frames) override;
  float GetBPM() override;
  std::int32_t GetPosition() override;
  std::int32_t GetLength() override;
  void SyncPhase(int phase) override;
  // Queues a new source; Render takes it over at the start of its next block,
  // never inside one. Null detaches the source.
  virtual void SetSource(CAudioSignalSource* source);
  // The source in use by the audio thread (may lag SetSource by a block).
  CAudioSignalSource* Source() const { return source_.load(std::memory_order_acquire); }

  bool IsMaster() const { return isMaster_; }
  // Puts `effect` in `slot` (0..19). Before audio starts only. Returns false
  // for a bad slot.
  bool SetSlot(int slot, std::unique_ptr<CEffect> effect);
  CEffect* Slot(int slot) const;
  CEffectEqualizerIIR* Equalizer() const;
  CEffectChain& Chain() { return chain_; }
  void SetAnalyser(BlockAnalyser* analyser) { analyser_.store(analyser); }

  // Equaliser bands 1 low, 2 mid, 3 high, in dB. A kill sets the band to
  // kKillDb (the equaliser takes that as fully out); releasing it restores
  // the band's last value, rounded. A band changed while killed is only
  // remembered. Touching a band switches the equaliser on (from the next
  // block).
  void SetKill(int band, bool on);
  bool GetKill(int band) const;
  void SetEqBand(int band, float db);
  float GetEqBand(int band) const;

  // Fixed-slot pass-throughs (GUI or controller threads); they only write
  // requests, which the audio thread takes at its next block (see effect.h).
  // `direct` switches by the dry/wet value (1 on, 0 off) and hands the
  // effect back to the dry/wet path; otherwise the effect is switched on or
  // off and stays so whatever its dry/wet, which still sets the mix.
  void SetEffectOn(int slot, bool on, bool direct);
  void SetEffectDryWet(int slot, float dryWet);
  void SetEffectParam(int slot, int index, int value);
  // 0 for an empty slot.
  int GetEffectParam(int slot, int index) const;

  // Cut-off filter: a low- or high-pass of two biquads per side (Q 0.7071) at
  // `hz`; kCutoffOff switches it off and clears its history. A new frequency
  // glides there; on, off and a change between low- and high-pass crossfade
  // over 110 frames (swept_filter.h).
  void SetCutoff(float hz, bool lowPass);
  float GetCutoffHz() const { return cutoffHz_.load(); }
  bool IsCutoffLowPass() const { return cutoffIsLowPass_.load(); }
  // The deck's filter knob: 0 off, below 0 low-pass, above 0 high-pass; the
  // value is first held to the range the filter mode allows (fltmod).
  void SetFilterKnob(int value, int filterMode);

 private:
  void RunCutoff(float* buffer, int frames);
  void EnsureEqualizerOn();
  void ApplyBand(int band, int db);

  const bool isMaster_;
  std::atomic<CAudioSignalSource*> source_{nullptr};
  std::atomic<CAudioSignalSource*> pendingSource_{nullptr};
  std::atomic<bool> sourcePending_{false};
  std::array<std::unique_ptr<CEffect>, kSlotCount> slots_;
  CEffectChain chain_;
  std::atomic<BlockAnalyser*> analyser_{nullptr};
  std::array<std::atomic<bool>, 3> eqKill_{};
  std::array<std::atomic<float>, 3> eqGain_{};
  // Cut-off filter: GUI writes the three words, the audio thread designs.
  std::atomic<float> cutoffHz_{kCutoffOff};
  std::atomic<bool> cutoffIsLowPass_{true};
  std::atomic<bool> cutoffDirty_{false};
  SweptFilter cutoff_;  // audio thread only
};

// The fixed slot a deck effect control drives ("fxPan" ... "fxBeatwaw"); its
// "DryWet" action sets the slot's dry/wet, "Param1" and "Param2" the
// effect's parameters 1 and 2. -1 for another name.
int DeckEffectSlot(std::string_view controlName);

// Range of the deck filter knob for filter mode `mode` (fltmod): 1 -64..0,
// 2 -64..63, 3 0..63; other modes as 2.
void FilterKnobRange(int mode, int* low, int* high);
// Cut-off frequency of a knob value (0 answers kCutoffOff): low-pass from
// 20 kHz at -1 down to 60 Hz at -64, high-pass from 20 Hz at 1 up to 12 kHz
// at 63, both exponential.
float FilterKnobHz(int value);

}  // namespace vantaro
