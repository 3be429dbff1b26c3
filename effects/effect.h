#pragma once
// CEffect: a block effect on interleaved stereo 32-bit floats, processed in
// place. The virtual operations keep the program's fixed slot order; slots
// 1, 2, 14 and 15 are queries whose meaning belongs to hosted plug-ins, and
// the built-in effects leave them as they are.
//
// Threads: Process/ProcessMixed on the audio thread only; Prepare, the
// parameter setters and Reset before or between blocks (parameter writes are
// plain words that an effect reads once per block).

#include <atomic>
#include <memory>
#include <string>

namespace vantaro {

class CAudioSignalSource;

class CEffect {
 public:
  // Largest block (frames) any effect is asked to process; the scratch
  // buffer for ProcessMixed is sized for it once, at construction.
  static constexpr int kMaxBlockFrames = 22050;

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
  // Sets `active`. Built-in effects call Reset first.
  virtual void Start() { active_ = 1; }
  virtual void Stop() { active_ = 0; }
  virtual void Reset() = 0;
  virtual void SetDryWet(float value) { dryWet_ = value; }
  virtual float GetDryWet() { return dryWet_; }
  // Runs the effect mixed with the dry signal by `dryWet` (see effect.cpp).
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

  int IsActive() const { return active_.load(std::memory_order_relaxed); }
  // The source asked for the tempo; 120 BPM when null or unknown.
  void SetTempoSource(CAudioSignalSource* source) { tempoSource_ = source; }
  float SourceBpm() const;

 protected:
  // Written by the GUI thread (Start/Stop, SetDryWet), read per block by the
  // audio thread.
  std::atomic<int> active_{0};
  std::atomic<float> dryWet_{0.0f};
  std::unique_ptr<float[]> scratch_;  // kMaxBlockFrames stereo frames
  CAudioSignalSource* tempoSource_ = nullptr;
};

}  // namespace vantaro
