#pragma once
// The whole recording path for tests: a real deck playing a sox-made tone
// through the mixer and limiter as the program wires them, the audio
// callback of its own renderer, the recorder on the renderer's hook, and
// the offline device pulling blocks. Helpers read back what was recorded.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "devices/offline_device.h"
#include "devices/recorder.h"
#include "engine/audio_render.h"
#include "engine/mixer_setup.h"
#include "engine/sound_source.h"

namespace vantaro::test {

// A stereo 1 kHz sine of `seconds`, peak `level`, made by sox; empty when
// sox fails.
std::string MakeTone(const std::string& dir, double seconds, double level);

class RecordingRig {
 public:
  // Loads `song` on deck A and plays it; `recorder` is hooked when given.
  RecordingRig(const std::string& song, CRecorder* recorder, int blockFrames = 256);
  ~RecordingRig();
  // Renders `frames`; the master as the device got it is appended to
  // `master` when given.
  void Render(long frames, std::vector<float>* master = nullptr);
  AudioRenderer& Renderer() { return *renderer_; }
  bool Ready() const { return ready_; }

 private:
  std::unique_ptr<AudioRenderer> renderer_;
  std::unique_ptr<CSoundSource> deck_;
  MixerRig rig_;
  std::unique_ptr<OfflineDevice> device_;
  bool ready_ = false;
};

// What a recorded WAV holds, read by the program's WAV reader.
struct RecordedWav {
  bool opened = false;
  bool sizesMatchFile = false;  // header data size == file size - 44
  std::int64_t frames = 0;
  std::vector<float> samples;  // interleaved stereo, sample / 32768
};
RecordedWav ReadRecordedWav(const std::string& path);

// Decodes any file with ffmpeg to 44.1 kHz stereo floats; empty on failure.
std::vector<float> DecodeWithFfmpeg(const std::string& path);

// Level in dB of `a` against `b`.
double DbRatio(double a, double b);

}  // namespace vantaro::test
