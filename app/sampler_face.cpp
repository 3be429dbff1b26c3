#include "app/sampler_face.h"

#include <wx/filedlg.h>

#include <array>

#include "app/message_box.h"
#include "app/program.h"
#include "app/program_audio_extras.h"
#include "control/language.h"
#include "control/script_actions.h"
#include "engine/mixer.h"
#include "engine/sampler_set.h"
#include "skin/button.h"
#include "skin/main_window.h"
#include "skin/skin_loader.h"
#include "skin/slider.h"

namespace vantaro {
namespace {

constexpr int kVolumeTop = 127;  // the slot faders' scale
const char* const kPadNames[kSamplerSlots] = {"_sampler1", "_sampler2", "_sampler3", "_sampler4",
                                              "_sampler5", "_sampler6", "_sampler7", "_sampler8"};
constexpr const char* kVolumeName = "_sampler_volume";

// The skin's own control called `name`, or null. `slot` caches where it was
// last found; a skin reload empties or reuses that slot, so it is checked.
ZKCustomControl* FindOwnControl(const char* name, int& slot) {
  ZKCustomControl* const* controls = TheSkinTables().customControls;
  if (slot < 0 || !controls[slot] || controls[slot]->name != name) slot = FindCustomControl(name);
  return slot >= 0 ? controls[slot] : nullptr;
}

CMixer* Mixer() {
  return TheProgram().mixerRig.mixer.get();
}

// The sampler slot of a pad, from the skin slot its callbacks get as user
// data; -1 for another control.
int PadSlot(int userData) {
  if (userData < 0 || userData >= SkinTables::kMaxCustomControls) return -1;
  const ZKCustomControl* control = TheSkinTables().customControls[userData];
  for (int slot = 0; control && slot < kSamplerSlots; ++slot)
    if (control->name == kPadNames[slot]) return slot;
  return -1;
}

void PadPressed(int, int userData, int) {
  CSamplerSet* samplers = TheSamplers();
  const int slot = PadSlot(userData);
  if (!samplers || slot < 0) return;
  CSoundSource* const decks[2] = {TheProgram().decks[0].get(), TheProgram().decks[1].get()};
  ToggleSamplerSlot(*samplers, Mixer(), decks, slot);
}

// A right click asks for a file and loads it into the pad's slot.
void PadRightPressed(int, int userData, int) {
  const int slot = PadSlot(userData);
  if (!TheSamplers() || slot < 0) return;
  wxFileDialog dialog(TheProgram().mainWindow, wxString::FromUTF8(Text(txt_load_sample_title)), "",
                      "", wxString::FromUTF8(Text(txt_all_supported_files)) + " (*.*)|*.*",
                      wxFD_OPEN | wxFD_FILE_MUST_EXIST);
  if (dialog.ShowModal() != wxID_OK) return;
  if (!LoadSamplerSlot(slot, dialog.GetPath().utf8_string()))
    ShowMessage(wxString::FromUTF8(Text(txt_file_not_loaded)));
}

void ScriptToggle(int slot) {
  if (CSamplerSet* samplers = TheSamplers()) {
    CSoundSource* const decks[2] = {TheProgram().decks[0].get(), TheProgram().decks[1].get()};
    ToggleSamplerSlot(*samplers, Mixer(), decks, slot);
  }
}

void VolumeMoved(int value, int, int) {
  CMixer* mixer = Mixer();
  if (!mixer) return;
  for (int slot = 0; slot < kSamplerSlots; ++slot)
    mixer->SetFader(SamplerSlotInput(*mixer, slot), value);
}

}  // namespace

std::string SamplerPadLabel(int slot, const std::string& file) {
  std::string label = std::to_string(slot + 1);
  const std::size_t slash = file.find_last_of('/');
  std::string name = slash == std::string::npos ? file : file.substr(slash + 1);
  const std::size_t dot = name.find_last_of('.');
  if (dot != std::string::npos && dot > 0) name.resize(dot);
  return name.empty() ? label : label + " " + name;
}

void ToggleSamplerSlot(CSamplerSet& samplers, CMixer* mixer, CSoundSource* const decks[2],
                       int slot) {
  if (slot < 0 || slot >= kSamplerSlots) return;
  const int crossfader = mixer ? mixer->GetCrossfader() : kVolumeTop / 2;
  samplers.Play(slot, samplers.Slot(slot).IsPlaying() ? 0 : 1, crossfader, decks);
}

int SamplerSlotInput(const CMixer& mixer, int slot) {
  for (int input = 0, seen = 0; input < mixer.InputCount(); ++input)
    if (mixer.IsOnSubBus(input) && seen++ == slot) return input;
  return -1;
}

void RefreshSamplerFace() {
  CSamplerSet* samplers = TheSamplers();
  if (!samplers) return;
  TheScriptHooks().toggleSampler = &ScriptToggle;
  static std::array<int, kSamplerSlots> padSlots = {-1, -1, -1, -1, -1, -1, -1, -1};
  for (int slot = 0; slot < kSamplerSlots; ++slot) {
    auto* pad = dynamic_cast<CZKButton*>(FindOwnControl(kPadNames[slot], padSlots[slot]));
    if (!pad) continue;
    if (pad->wiring.callbacks.onLeftDown != &PadPressed) {
      ControlCallbacks callbacks;
      callbacks.onLeftDown = &PadPressed;
      callbacks.onRightDown = &PadRightPressed;
      pad->SetCallbacks(callbacks);
    }
    CSamplerPlayer& player = samplers->Slot(slot);
    pad->ShowEngineValue(player.IsPlaying() ? 1 : 0);
    const wxString label = wxString::FromUTF8(SamplerPadLabel(slot, player.FilePath()));
    if (pad->GetLabel() != label) pad->SetLabel(label);
  }
  static int volumeSlot = -1;
  auto* volume = dynamic_cast<CZKSlider*>(FindOwnControl(kVolumeName, volumeSlot));
  CMixer* mixer = Mixer();
  if (!volume || !mixer) return;
  if (volume->wiring.callbacks.onLeftDown != &VolumeMoved) {
    ControlCallbacks callbacks;
    callbacks.onLeftDown = &VolumeMoved;
    volume->SetCallbacks(callbacks);
    volume->SetRange(0, kVolumeTop);
  }
  volume->ShowEngineValue(mixer->GetFader(SamplerSlotInput(*mixer, 0)));
}

}  // namespace vantaro
