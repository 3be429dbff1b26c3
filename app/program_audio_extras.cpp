#include "app/program_audio_extras.h"

#include <wx/app.h>

#include <cstring>
#include <memory>

#include "app/message_box.h"
#include "app/program.h"
#include "base/debug_log.h"
#include "codecs/encoder_lame.h"
#include "control/language.h"
#include "devices/recorder.h"
#include "engine/audio_render.h"

namespace vantaro {
namespace {

std::unique_ptr<CRecorder> recorder;
std::string commandLineRecording;  // --record PATH

void TellRecordingFailed() {
  // Queued: at start-up the window is not up yet.
  wxTheApp->CallAfter([] { ShowMessage(wxString::FromUTF8(Text(txt_not_enough_disk_space_rec))); });
}

}  // namespace

void TakeRecordOption(int& argc, char** argv) {
  int kept = 1;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--record") == 0 && i + 1 < argc) {
      commandLineRecording = argv[++i];
      continue;
    }
    argv[kept++] = argv[i];
  }
  argc = kept;
  argv[argc] = nullptr;
}

void CreateRecorder() {
  const std::string marker = TheProgram().folders.settings + kRecordingMarkerName;
  RepairUnfinishedRecording(marker);
  recorder = std::make_unique<CRecorder>(std::make_unique<CEncoderLame>(), marker);
  TheAudioRenderer().recorder = recorder.get();
  DebugLog("init 9: recorder ready, mp3 %s",
           recorder->IsMp3Available() ? "available" : "not available");
}

void StartCommandLineRecording() {
  if (commandLineRecording.empty() || !recorder) return;
  if (!recorder->StartRecording(commandLineRecording)) TellRecordingFailed();
}

void CheckRecorder() {
  if (!TheAudioRenderer().recorderFailed.exchange(false)) return;
  if (recorder) recorder->StopRecording();
  ShowMessage(wxString::FromUTF8(Text(txt_not_enough_disk_space_rec)));
}

void DeleteRecorder() {
  // Audio is closed: no block can still see the hook.
  TheAudioRenderer().recorder = nullptr;
  if (recorder) recorder->StopRecording();
  recorder.reset();
}

CRecorder* TheRecorder() {
  return recorder.get();
}

}  // namespace vantaro
