#pragma once
// CEffectEqualizerIIR: the mixer channel's three-band equaliser. Fixed
// crossover filters split the block into low (below ~343 Hz), mid and high
// (above ~8000 Hz) bands, and the bands are summed back with a gain each that
// moves by a multiplicative ramp of 220 steps per change, one step per float
// (so 110 frames): a band change never clicks.
//
// Band numbers: 1 low, 2 mid, 3 high (as SetParam takes them).
//
// Threads: SetParam/GetParam on the GUI thread; the request is handed to the
// audio thread through atomics and taken at the start of the next Process,
// so the ramp state is touched by the audio thread only. Process never
// allocates.

#include <array>
#include <atomic>
#include <memory>
#include <string>

#include "effects/biquad.h"
#include "effects/effect.h"

namespace vantaro {

// Gain in dB at `hz` of the crossovers summed with linear band gains
// `bandGain` (low, mid, high), from the cascades' transfer functions: the
// design response that a measurement of the equaliser is held against.
double EqualizerResponse(double hz, const double bandGain[3]);

class CEffectEqualizerIIR : public CEffect {
 public:
  static constexpr int kBandCount = 3;
  static constexpr int kMaxFrames = 4410;  // bandBuffer is 35280 bytes
  static constexpr int kRampSteps = 220;   // floats, so 110 frames
  // Values below this become kKilledDb: a kill takes the band out.
  static constexpr int kKillThresholdDb = -34;
  static constexpr int kKilledDb = -100;

  CEffectEqualizerIIR();
  ~CEffectEqualizerIIR() override;

  void Prepare() override {}
  void Start() override;  // Reset, then active
  void Reset() override;  // clears the shelf biquads' history
  void Process(float* buffer, int frames, float bpm) override;
  // `band` 1..3, `dB` signed. Other bands are ignored.
  void SetParam(int band, int dB) override;
  // Last value of `band` in dB (after the kill rule); 0 for other bands.
  int GetParam(int band) override;

  int GetParamCount() override { return kBandCount; }
  int GetParamId(int index) override { return index + 1; }
  std::string GetParamName(int id) override;
  std::string GetParamUnit(int id) override;
  std::string GetParamText(int id) override;
  std::string GetName() override { return "Equalizer"; }

  // The shelf or peaking biquad designed for a band (0..2), `which` 0 or 1.
  // Kept designed, never in the audio path.
  const TBiquad& Shelf(int bandIndex, int which) const { return shelf_[bandIndex * 2 + which]; }
  // Multiplier in force for a band (0..2), audio-thread state (tests).
  float GainValue(int bandIndex) const { return gainValue_[bandIndex]; }

  // One crossover band run over a block (0 low, 1 mid, 2 high), in place on
  // interleaved stereo, with its own state; used by Process and by tests.
  struct Crossover;

 protected:
  // Clears the crossovers as well: a NaN there would never leave.
  void RecoverFromNonFinite() override;

 private:
  void ApplyPendingBands();
  void RunCrossovers(const float* input, int frames);
  void MixBands(float* block, int frames);

  std::array<std::atomic<float>, kBandCount> bandDb_;
  std::array<std::atomic<bool>, kBandCount> bandPending_;
  std::unique_ptr<Crossover[]> crossover_;
  std::unique_ptr<float[]> bandBuffer_;  // kBandCount blocks of kMaxFrames frames
  double gainFactor_[kBandCount];
  double gainTarget_[kBandCount];
  double gainCurrent_[kBandCount];
  float gainValue_[kBandCount];
  TBiquad shelf_[kBandCount * 2];
};

}  // namespace vantaro
