#pragma once
// CEffect: a block effect on interleaved stereo 32-bit floats, processed in
// place. The virtual operations keep the program's fixed slot order; slots
// 1, 2, 14 and 15 are queries whose meaning belongs to hosted plug-ins, and
// the built-in effects leave them as they are.
//
// Switching while audio runs: control threads (GUI, controllers, scripts)
// only write requests, the dry/wet value (SetDryWet) and the switch
// (RequestSwitch). The audio thread alone calls Start, Stop, Reset and
// Process, in ProcessBlock at the start of a block. The wet share moves to a
// new dry/wet value over 10 ms (kGlideFrames), across blocks: an effect that
// comes on fades in from dry, one that goes off fades out and is stopped and
// reset only once the fade has reached dry. A preset change fades the wet
// signal out, takes the preset (Reset) and fades it back in. Nothing steps
// the signal.
//
// A NaN or infinity that reaches an effect does not stick: a block whose
// output is not finite resets the effect's state (RecoverFromNonFinite), so
// the next block of finite input comes out finite.
//
// Threads: ProcessBlock, ProcessMixed and Process on the audio thread only;
// Start, Stop and Reset there too, or before audio runs. Prepare and the
// parameter setters on control threads (parameter writes are words that an
// effect reads once per block). SetDryWet and RequestSwitch on any thread.

#include <atomic>
#include <memory>
#include <string>

#include "effects/glide.h"

namespace vantaro {

class CAudioSignalSource;

// The switch of an effect, as a control thread requests it.
enum EffectSwitch : int {
  // The dry/wet path: on while dry/wet is above CEffect::kStartDryWet. An
  // effect run fully wet (EffectMix::kFullyWet) stays as it is.
  kSwitchByDryWet = 0,
  kSwitchOn = 1,   // on whatever the dry/wet; the mix still follows dry/wet
  kSwitchOff = 2,  // off whatever the dry/wet
};

// How much of the effect's output a block takes while the effect is on.
enum class EffectMix {
  kByDryWet,  // dry/wet, fully wet above CEffect::kFullyWetDryWet
  kFullyWet,  // fixed slots that have no dry/wet of their own (the equaliser)
};

class CEffect {
 public:
  // Largest block (frames) any effect is asked to process; the scratch
  // buffer for ProcessMixed is sized for it once, at construction.
  static constexpr int kMaxBlockFrames = 22050;
  // The dry/wet path starts the effect above this value, stops and resets
  // it at or below.
  static constexpr float kStartDryWet = 0.025f;
  // Above this the effect runs fully wet, in place.
  static constexpr float kFullyWetDryWet = 0.975f;

  CEffect();
  virtual ~CEffect();
  CEffect(const CEffect&) = delete;
  CEffect& operator=(const CEffect&) = delete;

  virtual int QueryKind() { return 0; }   // slot 1: base answer
  virtual int QueryFlags() { return 0; }  // slot 2: base answer 0
  virtual int IsEditorVisible() { return 0; }
  virtual void GetEditorPosition(int* x, int* y) {
    *x = 0;
    *y = 0;
  }
  virtual void SetEditorPosition(int /*x*/, int /*y*/) {}
  virtual void Prepare() = 0;
  // Sets `active`. Built-in effects call Reset first. Audio thread (from
  // ProcessBlock) or before audio runs, like Stop and Reset.
  virtual void Start() { active_ = 1; }
  virtual void Stop() { active_ = 0; }
  virtual void Reset() = 0;
  virtual void SetDryWet(float value) { dryWet_ = value; }
  virtual float GetDryWet() { return dryWet_; }
  // The dry/wet path: ProcessBlock by dry/wet, enabled.
  virtual void ProcessMixed(float* buffer, int frames, float bpm);
  // Processes `frames` stereo frames in place; `bpm` is the source's tempo.
  virtual void Process(float* buffer, int frames, float bpm) = 0;
  virtual int QueryLatency() { return 0; }  // slot 14
  virtual int QueryTail() { return 0; }     // slot 15
  // Parameter `index`, integer value; sliders use 0..1000.
  virtual int GetParam(int /*index*/) { return 0; }
  virtual void SetParam(int /*index*/, int /*value*/) {}
  virtual void OpenEditor() {}
  virtual void CloseEditor() {}
  virtual void IdleEditor() {}

  // Description of the parameters for chain files and editors (not in the
  // fixed slot order above): `GetParamCount` parameters, the i-th with id
  // GetParamId(i) as GetParam/SetParam take it.
  virtual int GetParamCount() { return 0; }
  virtual int GetParamId(int index) { return index; }
  virtual std::string GetParamName(int /*id*/) { return ""; }
  virtual std::string GetParamUnit(int /*id*/) { return ""; }
  // Text form of the parameter's value, as an editor shows it.
  virtual std::string GetParamText(int id) { return std::to_string(GetParam(id)); }
  virtual std::string GetName() { return ""; }
  // Range of parameter `id`; false for an id the effect does not have.
  // Built-in effects hold every SetParam to its range.
  virtual bool GetParamRange(int /*id*/, int* /*low*/, int* /*high*/) { return false; }
  // True while a preset asked for by SetParam is not yet in force: the audio
  // thread fades the effect out, and its Reset takes the preset.
  virtual bool PresetPending() const { return false; }

  // Any thread; taken by the audio thread at its next block.
  void RequestSwitch(EffectSwitch request) { switch_.store(request, std::memory_order_release); }
  EffectSwitch SwitchRequest() const { return switch_.load(std::memory_order_acquire); }
  // Audio thread: one block through the effect as switched. An effect that
  // is off and stays off leaves the block untouched. One that comes on is
  // started (a built-in effect resets first) and faded in over 10 ms; one
  // that goes off is faded out over 10 ms, then stopped and reset.
  // `enabled` false (a chain entry switched off) counts as kSwitchOff.
  // Never allocates.
  void ProcessBlock(float* buffer, int frames, float bpm, EffectMix mix, bool enabled);

  // Whether the audio thread runs the effect (any thread may read it).
  int IsActive() const { return active_.load(std::memory_order_relaxed); }
  // The source asked for the tempo; 120 BPM when null or unknown.
  void SetTempoSource(CAudioSignalSource* source) { tempoSource_ = source; }
  float SourceBpm() const;

 protected:
  // Audio thread: the block just processed was not finite. Clears every
  // recursive state; the default is Reset.
  virtual void RecoverFromNonFinite() { Reset(); }

  // Written by the audio thread (Start/Stop), read by displays.
  std::atomic<int> active_{0};
  // Requests of the control threads, read once per block.
  std::atomic<float> dryWet_{0.0f};
  std::atomic<EffectSwitch> switch_{kSwitchByDryWet};
  CAudioSignalSource* tempoSource_ = nullptr;

 private:
  // Processes a copy of the block and mixes it in, the wet share taken
  // frame by frame from wetShare_.
  void ProcessCrossfaded(float* buffer, int frames, float bpm);

  std::unique_ptr<float[]> scratch_;  // kMaxBlockFrames stereo frames
  LinearGlide wetShare_;              // audio thread only
};

// True when every sample of the `frames` stereo frames is finite.
bool BlockIsFinite(const float* buffer, int frames);

}  // namespace vantaro
