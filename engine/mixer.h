#pragma once
// CMixer: the mix object. Up to 16 inputs (deck channels, preview, samplers)
// are summed into the master and monitor buses with up-faders, crossfader,
// cue sends, meters and gain ramps; the microphone channel comes in as the
// auxiliary input with talkover, and the master channel runs over the master.
//
// Gains are kept as positions on step scales and as linear factors; every
// fader law is in mixer_law.h. A gain change is smoothed by a multiplicative
// ramp of `rampFrames` frames (100) held as gain + 1.0, so that it can reach
// silence.
//
// Inputs added with `onSubBus` (the sampler slots) are summed, each by its
// own fader, into one stereo sub-bus; the sub-bus chain runs once per block
// on that sum, which then joins the master (or the "others" pair of the
// external mix). So an effect on the sampler hears one signal however many
// slots play.
//
// Threads: AddInput, SetAux, SetMasterChain, SetSubBusChain before audio
// starts. The setters
// and the meter reads on the GUI or controller threads: they write or
// exchange atomics. RenderMix and RenderExternal on the audio thread: no
// allocation, no lock; the ramp state belongs to the audio thread alone
// (the target is taken from the setters' words once per block).

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

#include "base/audio_signal_source.h"
#include "engine/audio_render.h"

namespace vantaro {

class CEffectChain;
class CZKMixerChannel;
struct EngineSettings;

// What an input is to the external mixer, which sends each deck to a device
// pair of its own, the preview only to the monitor and the rest (samplers)
// to "others". Given at AddInput: the external mix never infers it from the
// input's index, which moves when an input (the preview) is absent.
enum MixerInputRole { kInputDeckA = 0, kInputDeckB = 1, kInputPreview = 2, kInputOther = 3 };

class CMixer : public MixRenderer {
 public:
  static constexpr int kMaxInputs = 16;
  static constexpr int kDefaultRampFrames = 100;
  static constexpr double kTalkoverFactor = 0.25118864315095796;  // 10 ^ -0.6, -12 dB

  // `capacity`: largest block in frames (at least 32); larger render calls
  // are served in pieces.
  explicit CMixer(int capacity);
  ~CMixer() override;
  CMixer(const CMixer&) = delete;
  CMixer& operator=(const CMixer&) = delete;

  // Returns the input index, or -1 when 16 are there or a buffer cannot be
  // allocated (logged). The first input `onSubBus` allocates the sub-bus.
  int AddInput(CAudioSignalSource* source, MixerInputRole role = kInputOther,
               bool onSubBus = false);
  bool IsOnSubBus(int input) const { return ValidInput(input) && inputs_[input].onSubBus; }
  // The chain run on the sub-bus (null: none). It must outlive the mixer's
  // renders; only the audio thread runs it.
  void SetSubBusChain(CEffectChain* chain) { subBusChain_.store(chain); }
  int InputCount() const { return inputCount_.load(); }
  // kInputOther for an input out of range.
  MixerInputRole GetInputRole(int input) const;
  bool SetAux(CAudioSignalSource* source);
  void SetMasterChain(CZKMixerChannel* channel) { masterChain_.store(channel); }
  void SetAuxOn(bool on) { auxOn_.store(on); }
  void SetAuxDuck(bool on) { auxDuck_.store(on); }
  bool GetAuxOn() const { return auxOn_.load(); }
  bool GetAuxDuck() const { return auxDuck_.load(); }

  // dB setters; getters answer kOffDb for an input out of range.
  void SetChannelGainDb(int input, double db);
  double GetChannelGainDb(int input) const;
  void SetMasterGainDb(double db);
  double GetMasterGainDb() const;
  void SetMonitorGainDb(double db);
  double GetMonitorGainDb() const;
  void SetAuxGainDb(double db);
  double GetAuxGainDb() const;

  // Step scales (at least 2). Changing one re-applies the positions.
  void SetFaderSteps(int steps);
  void SetCrossSteps(int steps);
  int GetFaderSteps() const { return faderStepCount_.load(); }
  int GetCrossSteps() const { return crossStepCount_.load(); }

  // Positions are held to the scale.
  void SetFader(int input, int position);
  int GetFader(int input) const;
  // A channel's cue send, full at the top of the scale, silent at 0.
  void SetCue(int input, int position);
  void SetCrossfader(int position);
  int GetCrossfader() const { return crossPosition_.load(); }
  // `side` 0 left, 1 right, -1 off the crossfader (the gain stays where it
  // was).
  void SetCrossSide(int side, int input);
  int GetCrossSide(int input) const;
  // Accepts -1 (hard switch) to steps - 3; other values are ignored.
  bool SetCrossCurve(int curve);
  int GetCrossCurve() const { return crossCurve_.load(); }
  void SetCueMix(int position);
  void SetCueFull(int input, bool full);
  void SetSplitCue(bool split) { splitCue_.store(split); }
  void SetUseFaderForExternal(bool use) { useFaderForExternal_.store(use); }
  // Takes cfcurv and dsblcf from the settings.
  void ApplySettings(const EngineSettings& settings);

  // Linear gains in force (for displays and tests).
  float FaderGain(int input) const;
  float CrossGain(int input) const;
  float CueGain(int input) const;
  float CueOffLevel() const { return cueOffLevel_.load(); }
  float MasterToCue() const { return masterToCue_.load(); }

  // Meters: left and right in dB since the last read, then reset. ReadInputVu
  // adds the dB of the channel gain. An input out of range reads kOffDb.
  void ReadMasterVu(float* left, float* right);
  void ReadMonitorVu(float* left, float* right);
  void ReadAuxVu(float* left, float* right);
  void ReadInputVu(int input, float* left, float* right);

  // MixRenderer, audio thread.
  void RenderMix(float* master, float* monitor, int frames) override;
  void RenderExternal(float* deckA, float* deckB, float* others, float* monitor,
                      int frames) override;

 private:
  struct Meter {
    std::atomic<double> left{0.0};
    std::atomic<double> right{0.0};
    std::atomic<std::int64_t> count{1};
  };
  struct Input {
    CAudioSignalSource* source = nullptr;
    MixerInputRole role = kInputOther;
    bool onSubBus = false;
    std::unique_ptr<float[]> buffer;
    std::atomic<float> channelGain{1.0f};
    std::atomic<float> faderGain{0.0f};
    std::atomic<float> crossGain{1.0f};
    std::atomic<float> cueGain{0.0f};
    std::atomic<int> faderPosition{0};
    std::atomic<int> cuePosition{0};
    std::atomic<int> crossSide{-1};
    std::atomic<bool> cueFull{false};
    Meter vu;
    // Ramp state, gain + 1.0; audio thread only.
    double gainNew = 1.0, gainTarget = 1.0, gainCurrent = 1.0, gainFactor = 1.0;
  };

  bool ValidInput(int input) const { return input >= 0 && input < inputCount_.load(); }
  void UpdateCrossGains();
  void UpdateCueMix();
  void RenderInputs(int frames);
  void StartRamp(Input& in);
  void AddWithRamp(Input& in, float* destination, int frames);
  // Adds the inputs off the sub-bus into `direct` (none when null), and the
  // sub-bus, after its chain, into `subBusTarget` (dropped when null).
  void AddInputsAndSubBus(float* direct, float* subBusTarget, int frames);
  void RenderAux(int frames);
  void AddAux(float* destination, int frames);
  void BuildMonitor(float* monitor, const float* master, int frames, bool withMaster);
  void RenderMixChunk(float* master, float* monitor, int frames);
  void RenderExternalChunk(float* deckA, float* deckB, float* others, float* monitor, int frames);
  static void ReadMeter(Meter& meter, float* left, float* right);

  const int capacity_;
  std::atomic<int> inputCount_{0};
  std::array<Input, kMaxInputs> inputs_;
  std::atomic<float> masterGain_{1.0f};
  std::atomic<float> monitorGain_{1.0f};
  std::atomic<int> faderStepCount_{128};
  std::atomic<double> faderBase_;
  std::atomic<int> crossStepCount_{128};
  std::atomic<int> crossPosition_{0};
  std::atomic<int> crossCurve_{50};
  std::atomic<double> crossBase_;
  std::atomic<bool> splitCue_{false};
  std::atomic<float> cueOffLevel_{1.0f};
  std::atomic<float> masterToCue_{0.0f};
  std::atomic<int> cueMixPosition_{0};
  std::atomic<bool> useFaderForExternal_{true};
  int rampFrames_ = kDefaultRampFrames;
  Meter vuMaster_, vuMonitor_, vuAux_;
  std::atomic<bool> auxOn_{false};
  std::atomic<bool> auxDuck_{false};
  CAudioSignalSource* aux_ = nullptr;
  std::unique_ptr<float[]> auxBuffer_;
  std::atomic<float> auxGain_{1.0f};
  std::atomic<CZKMixerChannel*> masterChain_{nullptr};
  std::unique_ptr<float[]> subBus_;  // capacity_ stereo frames; audio thread
  std::atomic<CEffectChain*> subBusChain_{nullptr};
};

// Automatic gain (apgain): the channel gain slider value, in tenths of a dB,
// for a track's perceived gain: (gain + 7.5 + offset) * 10, rounded.
int AutoGainSliderValue(float perceivedGainDb);
// The global offset of the automatic gain in dB (no setting of its own; 0).
extern std::atomic<float> g_autoGainOffsetDb;
// When apgain is on and the gain is valid, sets the input's channel gain to
// the slider value / 10 dB and returns true.
bool ApplyAutoGain(CMixer& mixer, int input, bool gainValid, float perceivedGainDb);

}  // namespace vantaro
