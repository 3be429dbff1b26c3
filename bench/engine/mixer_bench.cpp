// Cost of the whole audio callback (RenderDeviceBlock, 256-frame blocks,
// stereo device) with two decks playing 16-bit sine files through their
// mixer channels, both equalisers switched on with a band moving, the
// up-faders and the crossfader moving every few blocks, the master channel
// in place. Prints the real-time factor: seconds of audio per second of CPU.
//
// A second case swaps the decks for in-memory sines, to show the mixer's
// own share.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "engine/audio_render.h"
#include "engine/mixer.h"
#include "engine/mixer_channel.h"
#include "engine/mixer_setup.h"
#include "engine/sound_source.h"

namespace {

using namespace vantaro;

constexpr int kBlock = 256;

class SineSource : public CAudioSignalSource {
 public:
  explicit SineSource(double hz) : step_(2.0 * M_PI * hz / 44100.0) {}
  void Render(float* buffer, int frames) override {
    for (int i = 0; i < frames; ++i) {
      const float v = static_cast<float>(0.5 * std::sin(phase_));
      phase_ += step_;
      buffer[i * 2] = buffer[i * 2 + 1] = v;
    }
  }
  void Render16(std::int16_t*, int) override {}
  float GetBPM() override { return 120.0f; }
  std::int32_t GetPosition() override { return 0; }
  std::int32_t GetLength() override { return 0; }
  void SyncPhase(int) override {}

 private:
  double step_;
  double phase_ = 0.0;
};

std::string MakeSineFile(const std::string& folder, const char* name, int hz) {
  const std::string path = folder + name;
  const std::string command = "sox -D -n -r 44100 -c 2 -b 16 '" + path + "' synth 20 sine " +
                              std::to_string(hz) + " vol 0.5 2>/dev/null";
  return std::system(command.c_str()) == 0 ? path : std::string();
}

// Two sources through the program's mixer, steered the way a DJ moves it.
void RunMix(benchmark::State& state, CAudioSignalSource* a, CAudioSignalSource* b) {
  MixerRig rig;
  CAudioSignalSource* decks[2] = {a, b};
  CreateMixerObjects(rig, decks, nullptr);
  WireMixer(rig, nullptr, nullptr, 0);
  for (int d = 0; d < 2; ++d) {
    rig.deckChannel[d]->SetEqBand(1, 0.0f);  // switches the equaliser on
    rig.mixer->SetFader(d, 127);
  }
  auto renderer = std::make_unique<AudioRenderer>();
  renderer->mix = rig.mixer.get();
  std::vector<float> out(kBlock * 2);
  long block = 0;
  for (auto _ : state) {
    if (block % 8 == 0) {
      const int step = static_cast<int>(block / 8);
      rig.mixer->SetCrossfader(step % 128);
      rig.mixer->SetFader(step & 1, 100 + step % 28);
      rig.deckChannel[step & 1]->SetEqBand(2, static_cast<float>(-(step % 12)));
    }
    renderer->RenderDeviceBlock(out.data(), kBlock, 2);
    benchmark::DoNotOptimize(out.data());
    ++block;
  }
  renderer->mix = nullptr;
  // The level that was mixed, so a silent deck cannot pass for a fast one.
  float left = 0.0f, right = 0.0f;
  rig.mixer->ReadMasterVu(&left, &right);
  state.counters["master_db"] = left;
  state.counters["x_realtime"] = benchmark::Counter(double(kBlock) / 44100.0 * state.iterations(),
                                                    benchmark::Counter::kIsRate);
}

void BM_MixerTwoDecksPlaying(benchmark::State& state) {
  char folderTemplate[] = "/tmp/vantaro-bench-XXXXXX";
  if (!mkdtemp(folderTemplate)) {
    state.SkipWithError("no temporary folder");
    return;
  }
  const std::string folder = std::string(folderTemplate) + "/";
  const std::string files[2] = {MakeSineFile(folder, "a.wav", 440),
                                MakeSineFile(folder, "b.wav", 1000)};
  std::unique_ptr<CSoundSource> decks[2];
  for (int d = 0; d < 2; ++d) {
    if (files[d].empty()) {
      state.SkipWithError("sox could not make the test files");
      return;
    }
    decks[d] = std::make_unique<CSoundSource>(d, folder);
    decks[d]->SetRepeat(true);
    if (!decks[d]->LoadSong(files[d], false, nullptr, false)) {
      state.SkipWithError("the deck refused the file");
      return;
    }
    // Decode the whole song ahead, so the timed loop is the render alone.
    for (int run = 0; run < 100 && decks[d]->GetDecodedPercent() < 100; ++run)
      decks[d]->StoreThreadRun();
    decks[d]->Play(1);
  }
  RunMix(state, decks[0].get(), decks[1].get());
  std::system(("rm -rf '" + folder + "'").c_str());
}
BENCHMARK(BM_MixerTwoDecksPlaying);

void BM_MixerTwoSines(benchmark::State& state) {
  SineSource a(440.0), b(1000.0);
  RunMix(state, &a, &b);
}
BENCHMARK(BM_MixerTwoSines);

}  // namespace
