// What one screen tick costs the GUI thread with the default skin at
// 1280x800, both decks playing and both waves scrolling: the tick's handler
// (texts, waves, meters, the controls' sync) and the paints it causes, up to
// the X server's round trip. Thread CPU time of the GUI thread only: the
// decks are rendered at real-time pace by a thread of their own, standing
// for the audio callback, and the ticks come 38 ms apart as in the program.
// Counters: the median and the 99th percentile of the ticks, in ms.
//   xvfb-run -a -s "-screen 0 1280x800x24" build/release/bench/skin/bench_tick
#include <X11/Xlib.h>
#include <benchmark/benchmark.h>
#include <time.h>
#include <wx/app.h>
#include <wx/image.h>
#include <wx/init.h>
#include <wx/utils.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <thread>
#include <vector>

#include "analysis/deck_analysis.h"
#include "app/program.h"
#include "app/program_controls.h"
#include "app/screen_tick.h"
#include "engine/deck_decoder.h"
#include "engine/mixer_setup.h"
#include "skin/main_window.h"
#include "skin/skin_loader.h"

namespace vantaro {
namespace {

constexpr const char* kDefaultSkin = VANTARO_BINARY_DIR "/skins/vantaro-1280x800.xml";

// Six minutes of a 128 BPM pulse over a low hum: beats for the stripes'
// marks and a wave with shape.
class PulseSong : public DeckDecoder {
 public:
  static constexpr std::int64_t kFrames = 6LL * 60 * 44100;
  bool Open(const std::string&, std::int64_t& totalFrames) override {
    totalFrames = kFrames;
    return true;
  }
  int Read(std::int16_t* out, int frames, std::int64_t start) override {
    const int got = static_cast<int>(std::clamp<std::int64_t>(kFrames - start, 0, frames));
    for (int i = 0; i < got; ++i) {
      const std::int64_t frame = start + i;
      const double beat = std::fmod(frame / 44100.0, 60.0 / 128.0);
      const double value = 0.2 * std::sin(frame * 0.01) + (beat < 0.05 ? 0.7 * (1 - beat * 20) : 0);
      out[2 * i] = out[2 * i + 1] = static_cast<std::int16_t>(value * 30000);
    }
    return got;
  }
  void Close() override {}
};

double ThreadCpuMs() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return now.tv_sec * 1e3 + now.tv_nsec / 1e6;
}

// The program as far as the tick reaches: window, controls, decks, mixer.
bool BuildProgram(ZKMainWindow* window, const std::string& stripes) {
  Program& program = TheProgram();
  program.mainWindow = window;
  for (int deck = 0; deck < 2; ++deck) {
    program.decks[deck] = std::make_unique<CSoundSource>(deck, "/tmp/");
    program.decks[deck]->UseDecoder(std::make_unique<PulseSong>());
    program.decks[deck]->SetAnalysisFeed(std::make_unique<DeckAnalysis>(stripes));
  }
  CAudioSignalSource* const decks[2] = {program.decks[0].get(), program.decks[1].get()};
  CreateMixerObjects(program.mixerRig, decks, nullptr);
  WireMixer(program.mixerRig, nullptr, nullptr, 0);
  BuildProgramControls(window);
  WireControls();
  ConnectControlsToEngine(program);
  if (!LoadSkin(kDefaultSkin, window).loaded) return false;
  ApplyControlSettings();
  for (int deck = 0; deck < 2; ++deck) {
    CSoundSource& source = *program.decks[deck];
    source.LoadSong("/generated/pulse " + std::to_string(deck) + ".wav", false, nullptr, false);
    // The whole song decoded up front: the store thread does not share the
    // machine with the ticks being measured.
    for (int run = 0; run < 4000 && source.GetDecodedPercent() < 100; ++run)
      source.StoreThreadRun();
    source.Play(1);
  }
  return true;
}

void ScreenTick(benchmark::State& state) {
  Program& program = TheProgram();
  std::atomic<bool> running{true};
  // Stands for the audio callback: each deck renders in real time.
  std::thread audio([&program, &running] {
    std::vector<float> block(2 * 441);
    auto next = std::chrono::steady_clock::now();
    while (running.load()) {
      for (auto& deck : program.decks) {
        std::fill(block.begin(), block.end(), 0.0f);
        deck->Render(block.data(), 441);
      }
      next += std::chrono::milliseconds(10);
      std::this_thread::sleep_until(next);
    }
  });
  std::vector<double> ticks;
  ticks.reserve(4096);
  for (auto _ : state) {
    state.PauseTiming();
    std::this_thread::sleep_for(std::chrono::milliseconds(kScreenTickMs));
    state.ResumeTiming();
    const double start = ThreadCpuMs();
    RunScreenTick();
    wxTheApp->Yield(true);  // the paints the tick asked for
    XSync(wxGetX11Display(), False);
    ticks.push_back(ThreadCpuMs() - start);
  }
  running.store(false);
  audio.join();
  std::sort(ticks.begin(), ticks.end());
  if (ticks.empty()) return;
  state.counters["median_ms"] = ticks[ticks.size() / 2];
  state.counters["p99_ms"] = ticks[std::min(ticks.size() - 1, ticks.size() * 99 / 100)];
  state.counters["playing"] = program.decks[0]->IsPlaying() + program.decks[1]->IsPlaying();
}

BENCHMARK(ScreenTick)->Unit(benchmark::kMillisecond)->Iterations(500);

}  // namespace
}  // namespace vantaro

int main(int argc, char** argv) {
  wxApp::SetInstance(new wxApp());
  if (!wxEntryStart(argc, argv)) return 1;
  wxTheApp->CallOnInit();
  wxInitAllImageHandlers();  // the default skin's picture is a PNG
  const std::string stripes =
      (std::filesystem::temp_directory_path() / "vantaro-tick-bench-stripes/").string();
  std::filesystem::create_directories(stripes);
  auto* window = new vantaro::ZKMainWindow(wxPoint(0, 0), wxSize(1280, 800), "bench", nullptr);
  window->Show();
  if (!vantaro::BuildProgram(window, stripes)) return 1;
  wxTheApp->Yield(true);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  vantaro::Program& program = vantaro::TheProgram();
  program.closing = true;
  vantaro::DisconnectControlsFromEngine();
  std::filesystem::remove_all(stripes);
  std::_Exit(0);  // the toolkit's teardown is not what is measured
}
