#include "tests/devices/recording_rig.h"

#include <sys/stat.h>

#include <cmath>
#include <cstdio>
#include <cstring>

#include "codecs/decoder_wav.h"
#include "engine/mixer.h"
#include "tests/support/test_support.h"

namespace vantaro::test {

std::string MakeTone(const std::string& dir, double seconds, double level) {
  const std::string path = dir + "/tone.wav";
  char command[512];
  std::snprintf(command, sizeof command,
                "sox -n -r 44100 -c 2 -b 16 '%s' synth %.3f sine 1000 vol %.4f 2>/dev/null",
                path.c_str(), seconds, level);
  return RunCommand(command) == 0 ? path : "";
}

RecordingRig::RecordingRig(const std::string& song, CRecorder* recorder, int blockFrames)
    : renderer_(std::make_unique<AudioRenderer>()),
      deck_(std::make_unique<CSoundSource>(0, "/tmp/")) {
  CAudioSignalSource* decks[2] = {deck_.get(), nullptr};
  const bool built =
      CreateMixerObjects(rig_, decks, nullptr) && WireMixer(rig_, nullptr, nullptr, 0);
  ready_ = built && deck_->LoadSong(song, false, nullptr, false);
  if (ready_) {
    deck_->StoreThreadRun();
    ready_ = deck_->IsSongReady();
    deck_->Play(1);
  }
  renderer_->mix = rig_.mixer.get();
  renderer_->limiter = rig_.limiter.get();
  renderer_->recorder = recorder;
  device_ = std::make_unique<OfflineDevice>(*renderer_, blockFrames, 2);
}

RecordingRig::~RecordingRig() {
  renderer_->recorder = nullptr;
  renderer_->mix = nullptr;
  renderer_->limiter = nullptr;
  DestroyMixerObjects(rig_);
}

void RecordingRig::Render(long frames, std::vector<float>* master) {
  device_->Run(frames, [master](const float* block, int n, int channels) {
    if (master) master->insert(master->end(), block, block + n * channels);
  });
}

RecordedWav ReadRecordedWav(const std::string& path) {
  RecordedWav result;
  CDecoderWAV reader(100);
  TCodecFormat format{};
  if (!reader.Open(path, format, kCodecRead)) return result;
  result.opened = format.channels == 2 && format.bitsPerSample == 16;
  result.frames = format.frames;
  struct stat info {};
  FILE* file = std::fopen(path.c_str(), "rb");
  unsigned char head[44] = {};
  if (file && std::fread(head, 1, 44, file) == 44 && stat(path.c_str(), &info) == 0) {
    const std::uint32_t data = head[40] | head[41] << 8 | head[42] << 16 | head[43] << 24;
    result.sizesMatchFile = static_cast<std::int64_t>(data) + 44 == info.st_size;
  }
  if (file) std::fclose(file);
  std::vector<std::int16_t> pcm(static_cast<std::size_t>(format.frames) * 2);
  const int got = reader.GetSamples(pcm.data(), format.frames, 0);
  for (int i = 0; i < got * 2; ++i) result.samples.push_back(pcm[i] / 32768.0f);
  return result;
}

std::vector<float> DecodeWithFfmpeg(const std::string& path) {
  const std::string raw = path + ".f32";
  const std::string command =
      "ffmpeg -v error -y -i '" + path + "' -f f32le -ac 2 -ar 44100 '" + raw + "'";
  std::vector<float> samples;
  if (RunCommand(command) != 0) return samples;
  const std::string bytes = ReadFile(raw);
  samples.resize(bytes.size() / sizeof(float));
  std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
  std::remove(raw.c_str());
  return samples;
}

double DbRatio(double a, double b) {
  return 20.0 * std::log10(a / b);
}

}  // namespace vantaro::test
