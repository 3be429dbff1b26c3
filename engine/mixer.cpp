#include "engine/mixer.h"

#include <cmath>
#include <cstring>
#include <new>

#include "base/debug_log.h"
#include "effects/effect_chain.h"
#include "engine/engine_settings.h"
#include "engine/mixer_channel.h"
#include "engine/mixer_law.h"

namespace vantaro {
namespace {

constexpr float kInputGuard = 1e-18f;
constexpr float kBusGuard = 1e-25f;

int Clamp(int value, int low, int high) {
  return value < low ? low : value > high ? high : value;
}

// Denormal guard and energy of one block: each sample gets `guard` added and
// taken away again (flushing tiny values to zero), and the squares of the
// guarded samples go into the meter.
void GuardAndMeter(float* buffer, int frames, float guard, std::atomic<double>& left,
                   std::atomic<double>& right, std::atomic<std::int64_t>& count) {
  double sumLeft = 0.0, sumRight = 0.0;
  for (int i = 0; i < frames; ++i) {
    float l = buffer[i * 2] + guard;
    float r = buffer[i * 2 + 1] + guard;
    l -= guard;
    r -= guard;
    buffer[i * 2] = l;
    buffer[i * 2 + 1] = r;
    // Squares in floats: the residue of the guards underflows to zero, so
    // digital silence reads the meter floor.
    sumLeft += l * l;
    sumRight += r * r;
  }
  left.fetch_add(sumLeft, std::memory_order_relaxed);
  right.fetch_add(sumRight, std::memory_order_relaxed);
  count.fetch_add(frames, std::memory_order_relaxed);
}

void Scale(float* buffer, int frames, float gain) {
  for (int i = 0; i < frames * 2; ++i) buffer[i] *= gain;
}

void AddScaled(float* destination, const float* source, int frames, float gain) {
  for (int i = 0; i < frames * 2; ++i) destination[i] += source[i] * gain;
}

}  // namespace

std::atomic<float> g_autoGainOffsetDb{0.0f};

CMixer::CMixer(int capacity) : capacity_(capacity < 32 ? 32 : capacity) {
  faderBase_.store(FaderBase(128));
  crossBase_.store(CrossBase(128, 50));
  UpdateCueMix();
}

CMixer::~CMixer() = default;

int CMixer::AddInput(CAudioSignalSource* source, MixerInputRole role, bool onSubBus) {
  const int index = inputCount_.load();
  if (index >= kMaxInputs) {
    DebugLog("mixer: no room for a 17th input");
    return -1;
  }
  if (onSubBus && !subBus_) {
    subBus_.reset(new (std::nothrow) float[static_cast<std::size_t>(capacity_) * 2]());
    if (!subBus_) {
      DebugLog("mixer: cannot allocate the sub-bus");
      return -1;
    }
  }
  Input& in = inputs_[index];
  in.buffer.reset(new (std::nothrow) float[static_cast<std::size_t>(capacity_) * 2]());
  if (!in.buffer) {
    DebugLog("mixer: cannot allocate the buffer of input %d", index);
    return -1;
  }
  in.source = source;
  in.role = role;
  in.onSubBus = onSubBus;
  inputCount_.store(index + 1, std::memory_order_release);
  return index;
}

MixerInputRole CMixer::GetInputRole(int input) const {
  return ValidInput(input) ? inputs_[input].role : kInputOther;
}

bool CMixer::SetAux(CAudioSignalSource* source) {
  if (!auxBuffer_) {
    auxBuffer_.reset(new (std::nothrow) float[static_cast<std::size_t>(capacity_) * 2]());
    if (!auxBuffer_) {
      DebugLog("mixer: cannot allocate the auxiliary buffer");
      return false;
    }
  }
  aux_ = source;
  return true;
}

void CMixer::SetChannelGainDb(int input, double db) {
  if (ValidInput(input)) inputs_[input].channelGain.store(static_cast<float>(DbToLinear(db)));
}
double CMixer::GetChannelGainDb(int input) const {
  return ValidInput(input) ? LinearToDb(inputs_[input].channelGain.load()) : kOffDb;
}
void CMixer::SetMasterGainDb(double db) {
  masterGain_.store(static_cast<float>(DbToLinear(db)));
}
double CMixer::GetMasterGainDb() const {
  return LinearToDb(masterGain_.load());
}
void CMixer::SetMonitorGainDb(double db) {
  monitorGain_.store(static_cast<float>(DbToLinear(db)));
}
double CMixer::GetMonitorGainDb() const {
  return LinearToDb(monitorGain_.load());
}
void CMixer::SetAuxGainDb(double db) {
  auxGain_.store(static_cast<float>(DbToLinear(db)));
}
double CMixer::GetAuxGainDb() const {
  return LinearToDb(auxGain_.load());
}

void CMixer::SetFaderSteps(int steps) {
  if (steps < 2) return;
  faderStepCount_.store(steps);
  faderBase_.store(FaderBase(steps));
  for (int i = 0; i < inputCount_.load(); ++i) SetFader(i, inputs_[i].faderPosition.load());
}

void CMixer::SetCrossSteps(int steps) {
  if (steps < 2) return;
  crossStepCount_.store(steps);
  if (crossCurve_.load() > steps - 3) crossCurve_.store(steps - 3 < -1 ? -1 : steps - 3);
  if (crossCurve_.load() >= 0) crossBase_.store(CrossBase(steps, crossCurve_.load()));
  crossPosition_.store(Clamp(crossPosition_.load(), 0, steps - 1));
  UpdateCrossGains();
  UpdateCueMix();
  for (int i = 0; i < inputCount_.load(); ++i) SetCue(i, inputs_[i].cuePosition.load());
}

void CMixer::SetFader(int input, int position) {
  if (!ValidInput(input)) return;
  const int steps = faderStepCount_.load();
  position = Clamp(position, 0, steps - 1);
  inputs_[input].faderPosition.store(position);
  inputs_[input].faderGain.store(FaderLawLinear(position, steps, faderBase_.load()));
}

int CMixer::GetFader(int input) const {
  return ValidInput(input) ? inputs_[input].faderPosition.load() : 0;
}

void CMixer::SetCue(int input, int position) {
  if (!ValidInput(input)) return;
  const int steps = crossStepCount_.load();
  position = Clamp(position, 0, steps - 1);
  inputs_[input].cuePosition.store(position);
  inputs_[input].cueGain.store(
      CrossLawLinear(steps - position - 1, steps, crossCurve_.load(), crossBase_.load()));
}

void CMixer::SetCrossfader(int position) {
  crossPosition_.store(Clamp(position, 0, crossStepCount_.load() - 1));
  UpdateCrossGains();
}

void CMixer::SetCrossSide(int side, int input) {
  if (!ValidInput(input) || side < -1 || side > 1) return;
  inputs_[input].crossSide.store(side);
  UpdateCrossGains();
}

int CMixer::GetCrossSide(int input) const {
  return ValidInput(input) ? inputs_[input].crossSide.load() : -1;
}

bool CMixer::SetCrossCurve(int curve) {
  const int steps = crossStepCount_.load();
  if (curve < -1 || curve > steps - 3) return false;
  crossCurve_.store(curve);
  if (curve >= 0) crossBase_.store(CrossBase(steps, curve));
  UpdateCrossGains();
  UpdateCueMix();
  for (int i = 0; i < inputCount_.load(); ++i) SetCue(i, inputs_[i].cuePosition.load());
  return true;
}

void CMixer::SetCueMix(int position) {
  cueMixPosition_.store(Clamp(position, 0, crossStepCount_.load() - 1));
  UpdateCueMix();
}

void CMixer::SetCueFull(int input, bool full) {
  if (ValidInput(input)) inputs_[input].cueFull.store(full);
}

void CMixer::ApplySettings(const EngineSettings& settings) {
  SetCrossCurve(settings.crossfaderCurve.load());
  SetUseFaderForExternal(!settings.disableCrossfaderExternal.load());
}

void CMixer::UpdateCrossGains() {
  const int steps = crossStepCount_.load(), curve = crossCurve_.load();
  const int position = crossPosition_.load();
  const double base = crossBase_.load();
  for (int i = 0; i < inputCount_.load(); ++i) {
    const int side = inputs_[i].crossSide.load();
    if (side < 0) continue;
    const int k = side == 0 ? position : steps - position - 1;
    inputs_[i].crossGain.store(CrossLawLinear(k, steps, curve, base));
  }
}

void CMixer::UpdateCueMix() {
  const int steps = crossStepCount_.load(), curve = crossCurve_.load();
  const int position = cueMixPosition_.load();
  const double base = crossBase_.load();
  cueOffLevel_.store(CrossLawLinear(position, steps, curve, base));
  masterToCue_.store(CrossLawLinear(steps - position - 1, steps, curve, base));
}

float CMixer::FaderGain(int input) const {
  return ValidInput(input) ? inputs_[input].faderGain.load() : 0.0f;
}
float CMixer::CrossGain(int input) const {
  return ValidInput(input) ? inputs_[input].crossGain.load() : 0.0f;
}
float CMixer::CueGain(int input) const {
  return ValidInput(input) ? inputs_[input].cueGain.load() : 0.0f;
}

void CMixer::ReadMeter(Meter& meter, float* left, float* right) {
  const double count = static_cast<double>(meter.count.exchange(1));
  const double sums[2] = {meter.left.exchange(0.0), meter.right.exchange(0.0)};
  float* out[2] = {left, right};
  for (int side = 0; side < 2; ++side) {
    const double mean = sums[side] / count;
    const double db = mean > 0.0 ? 20.0 * FastLog10(static_cast<float>(mean)) * 0.5 : kMeterFloorDb;
    if (out[side]) *out[side] = static_cast<float>(db);
  }
}

void CMixer::ReadMasterVu(float* left, float* right) {
  ReadMeter(vuMaster_, left, right);
}
void CMixer::ReadMonitorVu(float* left, float* right) {
  ReadMeter(vuMonitor_, left, right);
}
void CMixer::ReadAuxVu(float* left, float* right) {
  ReadMeter(vuAux_, left, right);
}

void CMixer::ReadInputVu(int input, float* left, float* right) {
  if (!ValidInput(input)) {
    if (left) *left = static_cast<float>(kOffDb);
    if (right) *right = static_cast<float>(kOffDb);
    return;
  }
  float l, r;
  ReadMeter(inputs_[input].vu, &l, &r);
  const double gainDb = LinearToDb(inputs_[input].channelGain.load());
  if (left) *left = static_cast<float>(l + gainDb);
  if (right) *right = static_cast<float>(r + gainDb);
}

// ---- Audio thread ----

void CMixer::StartRamp(Input& in) {
  in.gainNew = static_cast<double>(in.faderGain.load(std::memory_order_relaxed)) *
                   in.channelGain.load(std::memory_order_relaxed) *
                   in.crossGain.load(std::memory_order_relaxed) +
               1.0;
  if (in.gainNew == in.gainTarget) return;
  in.gainTarget = in.gainNew;
  in.gainFactor = std::pow(in.gainNew / in.gainCurrent, 1.0 / rampFrames_);
}

void CMixer::AddWithRamp(Input& in, float* destination, int frames) {
  StartRamp(in);
  const float* source = in.buffer.get();
  int i = 0;
  while (i < frames && in.gainCurrent != in.gainTarget) {
    const double next = in.gainCurrent * in.gainFactor;
    const bool rising = in.gainFactor > 1.0;
    const bool passed =
        (rising ? next > in.gainTarget : next < in.gainTarget) || next == in.gainCurrent;
    in.gainCurrent = passed ? in.gainTarget : next;
    const float gain = static_cast<float>(in.gainCurrent - 1.0);
    destination[i * 2] += source[i * 2] * gain;
    destination[i * 2 + 1] += source[i * 2 + 1] * gain;
    ++i;
  }
  if (i < frames) {
    const float gain = static_cast<float>(in.gainCurrent - 1.0);
    if (gain != 0.0f) AddScaled(destination + i * 2, source + i * 2, frames - i, gain);
  }
}

void CMixer::RenderInputs(int frames) {
  const int count = inputCount_.load(std::memory_order_acquire);
  for (int phase = 0; phase < 3; ++phase)
    for (int i = 0; i < count; ++i)
      if (inputs_[i].source) inputs_[i].source->SyncPhase(phase);
  for (int i = 0; i < count; ++i) {
    Input& in = inputs_[i];
    float* buffer = in.buffer.get();
    if (in.source)
      in.source->Render(buffer, frames);
    else
      std::memset(buffer, 0, sizeof(float) * frames * 2);
    GuardAndMeter(buffer, frames, kInputGuard, in.vu.left, in.vu.right, in.vu.count);
  }
}

void CMixer::AddInputsAndSubBus(float* direct, float* subBusTarget, int frames) {
  float* subBus = subBus_.get();
  if (subBus) std::memset(subBus, 0, sizeof(float) * frames * 2);
  const int count = inputCount_.load(std::memory_order_relaxed);
  float bpm = 0.0f;
  for (int i = 0; i < count; ++i) {
    Input& in = inputs_[i];
    if (!in.onSubBus) {
      if (direct) AddWithRamp(in, direct, frames);
      continue;
    }
    AddWithRamp(in, subBus, frames);
    // Tempo-bound effects follow the first slot that has a tempo.
    if (bpm <= 0.0f && in.source) bpm = in.source->GetBPM();
  }
  if (!subBus) return;
  // Run even when no slot plays: an echo or a reverb rings out.
  if (CEffectChain* chain = subBusChain_.load(std::memory_order_acquire))
    chain->Process(subBus, frames, bpm);
  if (subBusTarget) AddScaled(subBusTarget, subBus, frames, 1.0f);
}

void CMixer::RenderAux(int frames) {
  if (!aux_ || !auxBuffer_) return;
  if (auxOn_.load(std::memory_order_relaxed))
    aux_->Render(auxBuffer_.get(), frames);
  else
    std::memset(auxBuffer_.get(), 0, sizeof(float) * frames * 2);
}

void CMixer::AddAux(float* destination, int frames) {
  if (!aux_ || !auxBuffer_ || !auxOn_.load(std::memory_order_relaxed)) return;
  const float gain = auxGain_.load(std::memory_order_relaxed);
  const float* source = auxBuffer_.get();
  double sumLeft = 0.0, sumRight = 0.0;
  for (int i = 0; i < frames; ++i) {
    const float l = source[i * 2] * gain, r = source[i * 2 + 1] * gain;
    destination[i * 2] += l;
    destination[i * 2 + 1] += r;
    sumLeft += static_cast<double>(l) * l;
    sumRight += static_cast<double>(r) * r;
  }
  vuAux_.left.fetch_add(sumLeft, std::memory_order_relaxed);
  vuAux_.right.fetch_add(sumRight, std::memory_order_relaxed);
  vuAux_.count.fetch_add(frames, std::memory_order_relaxed);
}

void CMixer::BuildMonitor(float* monitor, const float* master, int frames, bool withMaster) {
  const int count = inputCount_.load(std::memory_order_relaxed);
  const bool split = splitCue_.load(std::memory_order_relaxed);
  const float offLevel = cueOffLevel_.load(std::memory_order_relaxed);
  for (int i = 0; i < count; ++i) {
    Input& in = inputs_[i];
    const float* source = in.buffer.get();
    const float channelGain = in.channelGain.load(std::memory_order_relaxed);
    const int side = in.crossSide.load(std::memory_order_relaxed);
    if (split && side >= 0) {
      // Split headphones: the left deck's mono sum in one ear, the right's
      // in the other.
      for (int f = 0; f < frames; ++f)
        monitor[f * 2 + side] += (source[f * 2] + source[f * 2 + 1]) * 0.5f * channelGain;
      continue;
    }
    const float level = in.cueFull.load(std::memory_order_relaxed) ? 1.0f : offLevel;
    const float gain = in.cueGain.load(std::memory_order_relaxed) * channelGain * level;
    if (gain != 0.0f) AddScaled(monitor, source, frames, gain);
  }
  const float masterToCue = masterToCue_.load(std::memory_order_relaxed);
  if (withMaster && !split && masterToCue > 0.0f) AddScaled(monitor, master, frames, masterToCue);
  if (aux_ && auxBuffer_ && auxOn_.load(std::memory_order_relaxed))
    AddScaled(monitor, auxBuffer_.get(), frames, auxGain_.load(std::memory_order_relaxed));
  Scale(monitor, frames, monitorGain_.load(std::memory_order_relaxed));
  GuardAndMeter(monitor, frames, kBusGuard, vuMonitor_.left, vuMonitor_.right, vuMonitor_.count);
}

void CMixer::RenderMixChunk(float* master, float* monitor, int frames) {
  std::memset(master, 0, sizeof(float) * frames * 2);
  if (monitor) std::memset(monitor, 0, sizeof(float) * frames * 2);
  RenderInputs(frames);
  AddInputsAndSubBus(master, master, frames);
  RenderAux(frames);
  // Talkover ducks the music whether or not the microphone is open.
  if (aux_ && auxDuck_.load(std::memory_order_relaxed))
    Scale(master, frames, static_cast<float>(kTalkoverFactor));
  AddAux(master, frames);
  if (CZKMixerChannel* chain = masterChain_.load(std::memory_order_acquire))
    chain->Render(master, frames);
  Scale(master, frames, masterGain_.load(std::memory_order_relaxed));
  GuardAndMeter(master, frames, kBusGuard, vuMaster_.left, vuMaster_.right, vuMaster_.count);
  if (monitor) BuildMonitor(monitor, master, frames, true);
}

void CMixer::RenderExternalChunk(float* deckA, float* deckB, float* others, float* monitor,
                                 int frames) {
  for (float* bus : {deckA, deckB, others, monitor})
    if (bus) std::memset(bus, 0, sizeof(float) * frames * 2);
  RenderInputs(frames);
  // The sub-bus (the sampler slots and their chain) goes to "others".
  if (subBus_) AddInputsAndSubBus(nullptr, others, frames);
  const int count = inputCount_.load(std::memory_order_relaxed);
  const bool useFader = useFaderForExternal_.load(std::memory_order_relaxed);
  for (int i = 0; i < count; ++i) {
    Input& in = inputs_[i];
    // The preview reaches no pair: only the monitor (built below) hears it.
    if (in.role == kInputPreview || in.onSubBus) continue;
    if (in.role == kInputOther) {
      if (others) AddWithRamp(in, others, frames);
      continue;
    }
    float* destination = in.role == kInputDeckA ? deckA : deckB;
    if (!destination) continue;
    if (useFader)
      AddWithRamp(in, destination, frames);
    else
      AddScaled(destination, in.buffer.get(), frames,
                in.channelGain.load(std::memory_order_relaxed));
  }
  RenderAux(frames);
  if (others) AddAux(others, frames);
  if (monitor) BuildMonitor(monitor, nullptr, frames, false);
}

void CMixer::RenderMix(float* master, float* monitor, int frames) {
  for (int done = 0; done < frames;) {
    const int n = frames - done < capacity_ ? frames - done : capacity_;
    const std::size_t offset = static_cast<std::size_t>(done) * 2;
    RenderMixChunk(master + offset, monitor ? monitor + offset : nullptr, n);
    done += n;
  }
}

void CMixer::RenderExternal(float* deckA, float* deckB, float* others, float* monitor, int frames) {
  for (int done = 0; done < frames;) {
    const int n = frames - done < capacity_ ? frames - done : capacity_;
    const std::size_t offset = static_cast<std::size_t>(done) * 2;
    auto at = [offset](float* bus) { return bus ? bus + offset : nullptr; };
    RenderExternalChunk(at(deckA), at(deckB), at(others), at(monitor), n);
    done += n;
  }
}

int AutoGainSliderValue(float perceivedGainDb) {
  return static_cast<int>(std::lround((perceivedGainDb + 7.5 + g_autoGainOffsetDb.load()) * 10.0));
}

bool ApplyAutoGain(CMixer& mixer, int input, bool gainValid, float perceivedGainDb) {
  if (!TheEngineSettings().autoGain.load() || !gainValid) return false;
  mixer.SetChannelGainDb(input, AutoGainSliderValue(perceivedGainDb) / 10.0);
  return true;
}

}  // namespace vantaro
