#include "app/program_audio_extras.h"

#include <wx/app.h>
#include <wx/filedlg.h>

#include <cstring>
#include <memory>

#include "app/message_box.h"
#include "app/program.h"
#include "app/sampler_face.h"
#include "base/debug_log.h"
#include "codecs/encoder_lame.h"
#include "control/control_handlers.h"
#include "control/language.h"
#include "devices/recorder.h"
#include "engine/audio_render.h"
#include "engine/mixer.h"
#include "engine/mixer_setup.h"
#include "engine/preview_player.h"
#include "engine/sampler_set.h"
#include "library/song_database.h"
#include "skin/main_window.h"

namespace vantaro {
namespace {

// The deck-side players warn this long before their end (2 s).
constexpr int kDeckPreviewWarnFrames = 88200;

struct AudioExtras {
  std::unique_ptr<CRecorder> recorder;
  std::unique_ptr<CSamplerSet> samplers;
  std::unique_ptr<CZKPreviewPlayer> preview[3];
  std::string commandLineRecording;  // --record PATH
};

AudioExtras& Extras() {
  static AudioExtras extras;
  return extras;
}

std::string SamplerFilePath() {
  return TheProgram().folders.settings + kSamplerFileName;
}

// A sample's saved loop, from the song database (the first loop slot).
bool SavedLoop(const std::string& path, std::int32_t& in, std::int32_t& out) {
  TZKSongRecord record;
  if (!FindSong(MakeSongKey(path), record)) return false;
  in = record.loop_in[0];
  out = record.loop_out[0];
  return in > 0 && out > 0;
}

void TellRecordingFailed() {
  // Queued: at start-up the window is not up yet.
  wxTheApp->CallAfter([] { ShowMessage(wxString::FromUTF8(Text(txt_not_enough_disk_space_rec))); });
}

// The record button: stops a recording, or asks for a file and starts one.
void ToggleRecording() {
  CRecorder* recorder = Extras().recorder.get();
  if (!recorder) return;
  if (recorder->IsRecording()) {
    recorder->StopRecording();
    return;
  }
  const char* types = recorder->IsMp3Available()
                          ? "MPEG 1 Layer 3 (*.mp3)|*.mp3|Windows PCM (*.wav)|*.wav"
                          : "Windows PCM (*.wav)|*.wav";
  wxFileDialog dialog(TheProgram().mainWindow, wxString::FromUTF8(Text(txt_saverec_title)), "", "",
                      types, wxFD_SAVE | wxFD_OVERWRITE_PROMPT);
  if (dialog.ShowModal() != wxID_OK) return;
  if (!recorder->StartRecording(dialog.GetPath().utf8_string()))
    ShowMessage(wxString::FromUTF8(Text(txt_not_enough_disk_space_rec)));
}

bool IsRecording() {
  return Extras().recorder && Extras().recorder->IsRecording();
}

}  // namespace

void TakeRecordOption(int& argc, char** argv) {
  int kept = 1;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--record") == 0 && i + 1 < argc) {
      Extras().commandLineRecording = argv[++i];
      continue;
    }
    argv[kept++] = argv[i];
  }
  argc = kept;
  argv[argc] = nullptr;
}

void CreateAudioExtras() {
  AudioExtras& x = Extras();
  const std::string marker = TheProgram().folders.settings + kRecordingMarkerName;
  RepairUnfinishedRecording(marker);
  x.recorder = std::make_unique<CRecorder>(std::make_unique<CEncoderLame>(), marker);
  TheAudioRenderer().recorder = x.recorder.get();
  x.preview[0] = std::make_unique<CZKPreviewPlayer>(-1, false);
  for (int deck = 0; deck < 2; ++deck)
    x.preview[deck + 1] = std::make_unique<CZKPreviewPlayer>(deck, true, kDeckPreviewWarnFrames);
  x.samplers = std::make_unique<CSamplerSet>();
  TheControlEngine().toggleRecording = &ToggleRecording;
  TheControlEngine().isRecording = &IsRecording;
  DebugLog("init 9: recorder (mp3 %s), preview players and samplers created",
           x.recorder->IsMp3Available() ? "available" : "not available");
}

bool WireMixerWithExtras(MixerRig& rig) {
  AudioExtras& x = Extras();
  const bool wired =
      WireMixer(rig, x.preview[0].get(), x.samplers ? x.samplers->Sources() : nullptr,
                x.samplers ? kSamplerSlots : 0);
  if (!x.samplers || !rig.mixer) return wired;
  x.samplers->Load(SamplerFilePath(), &SavedLoop);  // logs what it could not read
  for (int slot = 0; slot < kSamplerSlots; ++slot) {
    const int input = SamplerSlotInput(*rig.mixer, slot);
    // Every slot's fader, not only the saved ones: a mixer input starts
    // closed, and a sample loaded into a fresh slot must be heard.
    if (input >= 0) rig.mixer->SetFader(input, x.samplers->Volume(slot));
  }
  return wired;
}

void StartCommandLineRecording() {
  AudioExtras& x = Extras();
  if (x.commandLineRecording.empty() || !x.recorder) return;
  if (!x.recorder->StartRecording(x.commandLineRecording)) TellRecordingFailed();
}

void RunAudioExtrasTick() {
  AudioExtras& x = Extras();
  if (TheAudioRenderer().recorderFailed.exchange(false)) {
    if (x.recorder) x.recorder->StopRecording();
    ShowMessage(wxString::FromUTF8(Text(txt_not_enough_disk_space_rec)));
  }
  // The mixer's preview closes its file at the end; the deck-side players'
  // bits are for their owner.
  if (x.preview[0] && (x.preview[0]->TakeEventBits() & CZKPreviewPlayer::kEventEnded)) {
    DebugLog("preview: %s ended", x.preview[0]->FilePath().c_str());
    x.preview[0]->Close();
  }
  RefreshSamplerFace();
}

void DeleteAudioExtras() {
  AudioExtras& x = Extras();
  // Audio is closed: no block can still see the hook or the inputs.
  TheAudioRenderer().recorder = nullptr;
  if (x.recorder) x.recorder->StopRecording();
  x.recorder.reset();
  if (x.samplers) {
    if (CMixer* mixer = TheProgram().mixerRig.mixer.get())
      for (int slot = 0; slot < kSamplerSlots; ++slot)
        if (const int input = SamplerSlotInput(*mixer, slot); input >= 0)
          x.samplers->SetVolume(slot, mixer->GetFader(input));
    x.samplers->Save(SamplerFilePath());
  }
  for (auto& player : x.preview) player.reset();
  x.samplers.reset();
}

bool LoadSamplerSlot(int slot, const std::string& path) {
  CSamplerSet* samplers = Extras().samplers.get();
  if (!samplers || slot < 0 || slot >= kSamplerSlots) return false;
  const bool loaded = samplers->LoadSlot(slot, path, &SavedLoop);
  DebugLog("sampler: slot %d %s %s", slot + 1, loaded ? "loaded" : "could not load", path.c_str());
  return loaded;
}

CRecorder* TheRecorder() {
  return Extras().recorder.get();
}

CSamplerSet* TheSamplers() {
  return Extras().samplers.get();
}

CZKPreviewPlayer* ThePreview(int which) {
  return which >= 0 && which < 3 ? Extras().preview[which].get() : nullptr;
}

}  // namespace vantaro
