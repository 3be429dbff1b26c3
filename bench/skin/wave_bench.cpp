// What one waveform display costs a screen tick, on a 3-minute and on a
// 60-minute track: the two must cost the same, as a tick reads only the
// stripes of the visible columns. Two cases per length:
//  - Scroll: the deck moved 40 ms (one tick at speed 1): the picture is
//    shifted and the new columns drawn, marks and text laid over it.
//  - Redraw: the position jumped (a seek): every column is drawn again.
// Each ends when the X server has the paint. Run under an X server:
//   xvfb-run -a -s "-screen 0 1280x800x24" build/release/bench_wave
//     --benchmark_repetitions=20 --benchmark_enable_random_interleaving=true
// (one command line).
#include <X11/Xlib.h>
#include <benchmark/benchmark.h>
#include <wx/app.h>
#include <wx/frame.h>
#include <wx/init.h>
#include <wx/utils.h>

#include <algorithm>
#include <cmath>
#include <mutex>
#include <random>
#include <vector>

#include "bench/skin/framed_bench_main.h"
#include "skin/attribute_list.h"
#include "skin/sound_display.h"

namespace vantaro {
namespace {

wxFrame* g_frame = nullptr;

// A track's stripes with a beat every 206 stripes (128 BPM), read under a
// lock as the deck's are.
class BenchFeed : public WaveFeed {
 public:
  explicit BenchFeed(int minutes) : stripes_(static_cast<std::size_t>(minutes) * 60 * 441) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> level(-0.9f, 0.9f);
    for (std::size_t s = 0; s < stripes_.size(); ++s)
      stripes_[s] = s % 206 == 0 ? 55.0f + std::fabs(level(random)) * 0.5f : level(random);
    state.loaded = true;
    state.playing = true;
    state.length = static_cast<std::int64_t>(stripes_.size()) * kFramesPerStripe;
    state.cue = 44100;
    state.loopIn = 441000;
    state.loopOut = 463050;
    state.loopClosed = true;
    state.hasBeatDifference = true;
  }
  WaveDeckState State() const override { return state; }
  void CopyStripes(StripeSpan span, StripeWindow& window) override {
    std::lock_guard lock(lock_);
    CopyStripeRange(stripes_, static_cast<std::int64_t>(stripes_.size()), span, window);
  }
  void BeginScratch() override {}
  void MoveScratch(int) override {}
  void EndScratch() override {}
  void Seek(double) override {}

  WaveDeckState state;

 private:
  std::vector<float> stripes_;
  std::mutex lock_;
};

void Wave(benchmark::State& state, int minutes, bool jump) {
  auto* display = new CZKSoundDisplay(g_frame, 1, 0);
  auto* feed = new BenchFeed(minutes);
  display->UseFeed(std::unique_ptr<WaveFeed>(feed));
  ZKAttributeList attributes;
  for (const auto& [name, value] : {std::pair{"width", "600"},
                                    {"height", "90"},
                                    {"graphics_mode", "1"},
                                    {"beatdiffvisible", "yes"},
                                    {"beatdiffx", "200"},
                                    {"beatdiffy", "80"}})
    attributes.SetText(name, value);
  display->ApplySkinAttributes(attributes);
  const double middle = feed->state.length / 2.0, tick = 1764.0;
  feed->state.position = middle;
  long columns = 0, ticks = 0;
  for (auto _ : state) {
    // A jump moves by half a minute, further than the picture reaches.
    feed->state.position += jump ? (ticks++ % 2 ? -1 : 1) * 44100.0 * 30 : tick;
    columns += display->Tick();
    display->Update();
    XSync(wxGetX11Display(), False);
  }
  state.counters["columns"] = benchmark::Counter(columns, benchmark::Counter::kAvgIterations);
  display->Destroy();
}

// The machine is shared: besides the median, the least of the repetitions
// (--benchmark_repetitions) is the figure least disturbed by other work.
double Least(const std::vector<double>& values) {
  return *std::min_element(values.begin(), values.end());
}

BENCHMARK_CAPTURE(Wave, scroll_3min, 3, false)
    ->Unit(benchmark::kMicrosecond)
    ->ComputeStatistics("min", Least);
BENCHMARK_CAPTURE(Wave, scroll_60min, 60, false)
    ->Unit(benchmark::kMicrosecond)
    ->ComputeStatistics("min", Least);
BENCHMARK_CAPTURE(Wave, redraw_3min, 3, true)
    ->Unit(benchmark::kMicrosecond)
    ->ComputeStatistics("min", Least);
BENCHMARK_CAPTURE(Wave, redraw_60min, 60, true)
    ->Unit(benchmark::kMicrosecond)
    ->ComputeStatistics("min", Least);

}  // namespace
}  // namespace vantaro

int main(int argc, char** argv) {
  return RunBenchmarksInFrame(argc, argv, "wave", wxSize(640, 120), vantaro::g_frame);
}
