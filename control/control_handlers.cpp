#include "control/control_handlers.h"

#include <cmath>
#include <vector>

#include "control/auto_mix_handlers.h"
#include "control/control_action.h"
#include "control/control_table.h"
#include "control/deck_mark_handlers.h"
#include "control/learn_state.h"
#include "engine/engine_settings.h"
#include "engine/mixer.h"
#include "engine/mixer_channel.h"
#include "engine/sound_source.h"

namespace vantaro {
namespace {

constexpr int kMixerTop = 127;    // faders, crossfader, cue mix: 128 steps
constexpr int kGainTenths = 120;  // gain and equaliser sliders: +-12 dB
constexpr int kBandLow = 1, kBandMid = 2, kBandHigh = 3;

CSoundSource* Deck(int deck) {
  return deck == 0 || deck == 1 ? TheControlEngine().decks[deck] : nullptr;
}

CZKMixerChannel* Channel(int deck) {
  return deck == 0 || deck == 1 ? TheControlEngine().deckChannels[deck] : nullptr;
}

CMixer* Mixer() {
  return TheControlEngine().mixer;
}

// The mixer input of a deck, wherever wiring put it; -1 without one.
int DeckInput(int deck) {
  CMixer* mixer = Mixer();
  if (!mixer || deck < 0 || deck > 1) return -1;
  const MixerInputRole role = deck == 0 ? kInputDeckA : kInputDeckB;
  for (int input = 0; input < mixer->InputCount(); ++input)
    if (mixer->GetInputRole(input) == role) return input;
  return -1;
}

int Tenths(double db) {
  return static_cast<int>(std::lround(db * 10.0));
}

// After a handler flipped a state its button shows.
void Reflect(int id, int deck) {
  ControlTarget* control = TheControlTable().Find(id, deck);
  const ControlBinding* binding = FindControlBinding(id);
  int value = 0;
  if (control && binding && binding->read && binding->read(deck, &value))
    control->ShowEngineValue(value);
}

// ---- deck buttons ---------------------------------------------------------

void PlayPause(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) d->Play(-1);
  Reflect(Actions().deckPlayPause, deck);
}
bool ReadPlaying(int deck, int* value) {
  CSoundSource* d = Deck(deck);
  if (d) *value = d->IsPlaying() ? 1 : 0;
  return d;
}

void BendDownPress(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) d->BendDown(true);
}
void BendDownRelease(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) d->BendDown(false);
}
void BendUpPress(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) d->BendUp(true);
}
void BendUpRelease(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) d->BendUp(false);
}

void Brake(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) d->SetBrake(!d->IsBraking());
  Reflect(Actions().deckBrake, deck);
}
bool ReadBraking(int deck, int* value) {
  CSoundSource* d = Deck(deck);
  if (d) *value = d->IsBraking() ? 1 : 0;
  return d;
}

void Reverse(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) d->SetDirection(-d->GetDirection());
  Reflect(Actions().deckReverse, deck);
}
bool ReadReversed(int deck, int* value) {
  CSoundSource* d = Deck(deck);
  if (d) *value = d->GetDirection() < 0 ? 1 : 0;
  return d;
}

// Key lock keeps the pitch when the tempo changes; the key slider shifts
// the key, in cents (with high-quality time-stretch only).
void KeyLock(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) d->SetKeyLock(!d->IsKeyLocked());
  static const int id = FindControlAction("deck_key_lock");
  Reflect(id, deck);
}
bool ReadKeyLock(int deck, int* value) {
  CSoundSource* d = Deck(deck);
  if (d) *value = d->IsKeyLocked() ? 1 : 0;
  return d;
}
void KeyShiftRange(int* low, int* high) {
  *low = -1200;
  *high = 1200;
}
void KeyShift(int value, int, int deck) {
  if (CSoundSource* d = Deck(deck)) d->SetKeyShift(value);
}
bool ReadKeyShift(int deck, int* value) {
  CSoundSource* d = Deck(deck);
  if (d) *value = d->GetKeyShift();
  return d;
}

void ResetPitch(int, int, int deck) {
  if (CSoundSource* d = Deck(deck)) d->ResetPitch();
}

template <int kBand>
void Kill(int, int, int deck) {
  if (CZKMixerChannel* channel = Channel(deck)) channel->SetKill(kBand, !channel->GetKill(kBand));
  const ActionIds& ids = Actions();
  Reflect(kBand == kBandLow   ? ids.deckKillLow
          : kBand == kBandMid ? ids.deckKillMid
                              : ids.deckKillHigh,
          deck);
}
template <int kBand>
bool ReadKill(int deck, int* value) {
  CZKMixerChannel* channel = Channel(deck);
  if (channel) *value = channel->GetKill(kBand) ? 1 : 0;
  return channel;
}

// The headphone cue of a deck: its monitor send fully open or shut.
void Monitor(int, int, int deck) {
  CMixer* mixer = Mixer();
  const int input = DeckInput(deck);
  if (mixer && input >= 0)
    mixer->SetCue(input, mixer->CueGain(input) > 0.0f ? 0 : mixer->GetFaderSteps() - 1);
  Reflect(Actions().deckMonitor, deck);
}
bool ReadMonitor(int deck, int* value) {
  const int input = DeckInput(deck);
  if (input >= 0) *value = Mixer()->CueGain(input) > 0.0f ? 1 : 0;
  return input >= 0;
}

// ---- deck sliders -----------------------------------------------------------

void MixerRange(int* low, int* high) {
  *low = 0;
  *high = kMixerTop;
}
void GainRange(int* low, int* high) {
  *low = -kGainTenths;
  *high = kGainTenths;
}
void PitchRange(int* low, int* high) {
  *high = CSoundSource::CurrentPitchRangeUnits();
  *low = -*high;
}
void FilterRange(int* low, int* high) {
  FilterKnobRange(TheEngineSettings().filterMode.load(), low, high);
}

void Volume(int value, int, int deck) {
  const int input = DeckInput(deck);
  if (input >= 0) Mixer()->SetFader(input, value);
}
bool ReadVolume(int deck, int* value) {
  const int input = DeckInput(deck);
  if (input >= 0) *value = Mixer()->GetFader(input);
  return input >= 0;
}

void Pitch(int value, int, int deck) {
  if (CSoundSource* d = Deck(deck)) d->SetPitch(value);
}
bool ReadPitch(int deck, int* value) {
  CSoundSource* d = Deck(deck);
  if (d) *value = d->GetPitch();
  return d;
}

template <int kBand>
void EqBand(int value, int, int deck) {
  if (CZKMixerChannel* channel = Channel(deck)) channel->SetEqBand(kBand, value / 10.0f);
}
template <int kBand>
bool ReadEqBand(int deck, int* value) {
  CZKMixerChannel* channel = Channel(deck);
  if (channel) *value = Tenths(channel->GetEqBand(kBand));
  return channel;
}

void Cutoff(int value, int, int deck) {
  if (CZKMixerChannel* channel = Channel(deck))
    channel->SetFilterKnob(value, TheEngineSettings().filterMode.load());
}

void Gain(int value, int, int deck) {
  const int input = DeckInput(deck);
  if (input >= 0) Mixer()->SetChannelGainDb(input, value / 10.0);
}
bool ReadGain(int deck, int* value) {
  const int input = DeckInput(deck);
  if (input >= 0) *value = Tenths(Mixer()->GetChannelGainDb(input));
  return input >= 0;
}

// ---- mixer ----------------------------------------------------------------------

void Crossfader(int value, int, int) {
  if (CMixer* mixer = Mixer()) mixer->SetCrossfader(value);
}
bool ReadCrossfader(int, int* value) {
  if (CMixer* mixer = Mixer()) *value = mixer->GetCrossfader();
  return Mixer();
}

void MasterGain(int value, int, int) {
  if (CMixer* mixer = Mixer()) mixer->SetMasterGainDb(value / 10.0);
}
bool ReadMasterGain(int, int* value) {
  if (CMixer* mixer = Mixer()) *value = Tenths(mixer->GetMasterGainDb());
  return Mixer();
}

void MonitorGain(int value, int, int) {
  if (CMixer* mixer = Mixer()) mixer->SetMonitorGainDb(value / 10.0);
}
bool ReadMonitorGain(int, int* value) {
  if (CMixer* mixer = Mixer()) *value = Tenths(mixer->GetMonitorGainDb());
  return Mixer();
}

void CueMix(int value, int, int) {
  if (CMixer* mixer = Mixer()) mixer->SetCueMix(value);
}

// Talkover lowers the master under the microphone.
void Talkover(int, int, int) {
  if (CMixer* mixer = Mixer()) mixer->SetAuxDuck(!mixer->GetAuxDuck());
  Reflect(Actions().talkover, -1);
}
bool ReadTalkover(int, int* value) {
  if (CMixer* mixer = Mixer()) *value = mixer->GetAuxDuck() ? 1 : 0;
  return Mixer();
}

void Recording(int, int, int) {
  if (auto toggle = TheControlEngine().toggleRecording) toggle();
  Reflect(FindControlAction("recording"), -1);
}
bool ReadRecording(int, int* value) {
  auto recording = TheControlEngine().isRecording;
  if (recording) *value = recording() ? 1 : 0;
  return recording != nullptr;
}

void Learn(int, int, int) {
  SetLearnMode(!LearnModeOn());
  Reflect(Actions().learn, -1);
}
bool ReadLearn(int, int* value) {
  *value = LearnModeOn() ? 1 : 0;
  return true;
}

ControlBinding Press(ControlCallback press, bool (*read)(int, int*) = nullptr) {
  ControlBinding binding;
  binding.callbacks.onLeftDown = press;
  binding.read = read;
  return binding;
}

ControlBinding Hold(ControlCallback press, ControlCallback release) {
  ControlBinding binding;
  binding.callbacks.onLeftDown = press;
  binding.callbacks.onLeftUp = release;
  return binding;
}

ControlBinding Slide(ControlCallback change, void (*range)(int*, int*),
                     bool (*read)(int, int*) = nullptr) {
  ControlBinding binding;
  binding.callbacks.onLeftDown = change;
  binding.range = range;
  binding.read = read;
  return binding;
}

struct NamedBinding {
  const char* action;
  ControlBinding binding;
};

// Indexed by action id on first use.
const std::vector<const ControlBinding*>& BindingsById() {
  static const NamedBinding kBindings[] = {
      {"deck_play_pause", Press(PlayPause, ReadPlaying)},
      {"deck_bend_down", Hold(BendDownPress, BendDownRelease)},
      {"deck_bend_up", Hold(BendUpPress, BendUpRelease)},
      {"deck_brake", Press(Brake, ReadBraking)},
      {"deck_reverse", Press(Reverse, ReadReversed)},
      {"deck_reset_pitch", Press(ResetPitch)},
      {"deck_key_lock", Press(KeyLock, ReadKeyLock)},
      {"deck_pitch_key", Slide(KeyShift, KeyShiftRange, ReadKeyShift)},
      {"deck_kill_low", Press(Kill<kBandLow>, ReadKill<kBandLow>)},
      {"deck_kill_mid", Press(Kill<kBandMid>, ReadKill<kBandMid>)},
      {"deck_kill_high", Press(Kill<kBandHigh>, ReadKill<kBandHigh>)},
      {"deck_monitor", Press(Monitor, ReadMonitor)},
      {"deck_volume", Slide(Volume, MixerRange, ReadVolume)},
      {"deck_pitch", Slide(Pitch, PitchRange, ReadPitch)},
      {"deck_eq_low", Slide(EqBand<kBandLow>, GainRange, ReadEqBand<kBandLow>)},
      {"deck_eq_mid", Slide(EqBand<kBandMid>, GainRange, ReadEqBand<kBandMid>)},
      {"deck_eq_high", Slide(EqBand<kBandHigh>, GainRange, ReadEqBand<kBandHigh>)},
      {"deck_cutoff_filter", Slide(Cutoff, FilterRange)},
      {"deck_gain", Slide(Gain, GainRange, ReadGain)},
      {"crossfader", Slide(Crossfader, MixerRange, ReadCrossfader)},
      {"master_gain", Slide(MasterGain, GainRange, ReadMasterGain)},
      {"monitor_gain", Slide(MonitorGain, GainRange, ReadMonitorGain)},
      {"cue_pfl_mix", Slide(CueMix, MixerRange)},
      {"talkover", Press(Talkover, ReadTalkover)},
      {"learn", Press(Learn, ReadLearn)},
      {"recording", Press(Recording, ReadRecording)},
  };
  // The cue, loop and beat buttons (deck_mark_handlers.cpp) and the
  // auto-mix buttons (auto_mix_handlers.cpp).
  static const std::vector<NamedBinding> marks = [] {
    std::vector<NamedBinding> named;
    for (auto table : {&DeckMarkBindings, &AutoMixBindings}) {
      int count = 0;
      const DeckMarkBinding* bindings = table(count);
      for (int i = 0; i < count; ++i) {
        ControlBinding binding = bindings[i].release ? Hold(bindings[i].press, bindings[i].release)
                                                     : Press(bindings[i].press);
        binding.read = bindings[i].read;
        named.push_back({bindings[i].action, binding});
      }
    }
    return named;
  }();
  static const std::vector<const ControlBinding*> byId = [] {
    std::vector<const ControlBinding*> table(kControlTableRows, nullptr);
    for (const NamedBinding& named : kBindings)
      table[FindControlAction(named.action)] = &named.binding;
    for (const NamedBinding& named : marks) table[FindControlAction(named.action)] = &named.binding;
    table[0] = nullptr;  // a misspelt name above lands on row 0
    return table;
  }();
  return byId;
}

template <typename Visit>
void ForEachBoundControl(ControlTable& table, Visit visit) {
  const auto& byId = BindingsById();
  for (int id = kFirstAction; id < kLastAction; ++id) {
    if (!byId[id]) continue;
    const bool global = ControlActionRow(id).isGlobal != 0;
    for (int deck = global ? -1 : 0; deck <= (global ? -1 : 1); ++deck)
      if (ControlTarget* control = table.Find(id, deck)) visit(control, *byId[id], deck);
  }
}

}  // namespace

ControlEngine& TheControlEngine() {
  static ControlEngine engine;
  return engine;
}

const ControlBinding* FindControlBinding(int id) {
  return id >= 0 && id < kControlTableRows ? BindingsById()[id] : nullptr;
}

void WireControlHandlers(ControlTable& table) {
  ForEachBoundControl(table, [](ControlTarget* control, const ControlBinding& binding, int) {
    control->SetCallbacks(binding.callbacks);
  });
  ApplyControlRanges(table);
}

void ApplyControlRanges(ControlTable& table) {
  ForEachBoundControl(table, [](ControlTarget* control, const ControlBinding& binding, int) {
    if (!binding.range) return;
    int low = 0, high = 0;
    binding.range(&low, &high);
    control->SetRange(low, high);
  });
}

void SyncControlsFromEngine(ControlTable& table) {
  ForEachBoundControl(table, [](ControlTarget* control, const ControlBinding& binding, int deck) {
    int value = 0;
    if (binding.read && binding.read(deck, &value)) control->ShowEngineValue(value);
  });
}

int BoundActionCount() {
  int count = 0;
  for (const ControlBinding* binding : BindingsById()) count += binding != nullptr;
  return count;
}

}  // namespace vantaro
