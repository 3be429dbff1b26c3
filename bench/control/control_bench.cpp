// The costs the action layer adds where they matter: a push into the MIDI
// ring from a sending thread (a driver callback; the audio thread pushes the
// same way), the refresh of every value row on a screen tick, and a key of
// the shortcut map to the engine word it writes, on the GUI thread.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "base/debug_log.h"
#include "control/control_handlers.h"
#include "control/control_table.h"
#include "control/gui_sync.h"
#include "control/key_map.h"
#include "control/slider_state.h"
#include "control/value_entries.h"
#include "engine/sound_source.h"

namespace vantaro {
namespace {

using Clock = std::chrono::steady_clock;

// Push latency, ns, at the 50th and 99th percentile, while the GUI side
// drains on another thread as the program does. The sender keeps a pace of
// one message every 2 us (a dense controller stream is one in 300 us), so
// that the ring is measured, not its overflow.
void BM_MidiPushFromSender(benchmark::State& state) {
  SetDebugLogEcho(false);
  std::atomic<bool> running{true};
  std::thread reader([&running] {
    // The GUI thread drains at its wake-up event, not in a spin.
    while (running.load(std::memory_order_relaxed)) {
      DrainMidi();
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
  });
  std::vector<double> samples;
  samples.reserve(1 << 20);
  int i = 0;
  for (auto _ : state) {
    const auto start = Clock::now();
    const bool sent = SendMidiMessage(0, 0, 0xB0, 0, 7, i & 127, i);
    const auto end = Clock::now();
    benchmark::DoNotOptimize(sent);
    if (samples.size() < samples.capacity())
      samples.push_back(std::chrono::duration<double, std::nano>(end - start).count());
    ++i;
    while (Clock::now() - end < std::chrono::microseconds(2)) {
    }
  }
  running = false;
  reader.join();
  DrainMidi();
  std::sort(samples.begin(), samples.end());
  state.counters["p50_ns"] = samples[samples.size() / 2];
  state.counters["p99_ns"] = samples[samples.size() * 99 / 100];
}
BENCHMARK(BM_MidiPushFromSender)->Iterations(200000)->UseRealTime();

// Two bare decks, as the value rows read them.
struct Decks {
  Decks() {
    for (int deck = 0; deck < 2; ++deck) {
      sources[deck] = std::make_unique<CSoundSource>(deck, "/tmp");
      TheControlEngine().decks[deck] = sources[deck].get();
    }
  }
  ~Decks() { TheControlEngine() = ControlEngine{}; }
  std::unique_ptr<CSoundSource> sources[2];
};

// One screen tick's refresh of all rows, with a row changing every tick.
void BM_ValueRefreshAllRows(benchmark::State& state) {
  Decks decks;
  int pitch = 0;
  for (auto _ : state) {
    decks.sources[0]->SetPitch(pitch = pitch ? 0 : 100);
    benchmark::DoNotOptimize(RefreshValueEntries());
  }
}
BENCHMARK(BM_ValueRefreshAllRows)->Unit(benchmark::kMicrosecond);

// A slider without a window: the program's slider behaviour and wiring.
class HeadlessSlider : public ControlTarget {
 public:
  HeadlessSlider() : state_(wiring_) {
    SliderState::Shape shape;
    shape.width = 40;
    shape.height = 200;
    state_.SetShape(shape);
    wiring_.deck = 0;
  }
  void OnControlEvent(const ControlEvent& event) override { state_.OnEvent(event); }
  bool IsLearning() const override { return false; }
  void SetLearning(bool) override {}
  void TakeLearnFocus() override {}
  void SetCallbacks(const ControlCallbacks& callbacks) override { wiring_.callbacks = callbacks; }
  void SetRange(int low, int high) override { state_.SetRange(low, high); }
  void ShowEngineValue(int value) override { state_.ShowValue(value); }
  int Deck() const override { return 0; }
  ControlBindings bindings;

 private:
  ControlWiring wiring_;
  SliderState state_;
};

ControlBindings* SliderBindings(ControlTarget* control) {
  return &static_cast<HeadlessSlider*>(control)->bindings;
}

// Pitch down and up on deck A's keys, through the key hook, the map, the
// slider and its handler, to the deck's pitch word.
void BM_KeyToEngineWord(benchmark::State& state) {
  Decks decks;
  HeadlessSlider slider;
  slider.bindings.SetKeyCount(2);
  const int pitch = FindControlAction("deck_pitch");
  TheControlTable().Set(pitch, 0, &slider);
  WireControlHandlers(TheControlTable());
  SetBindingsLookup(&SliderBindings);
  BindKey(pitch, 0, 'A', 0, 'A');
  BindKey(pitch, 0, 'S', 0, 'S');
  KeyPress press;
  press.rawCode = press.character = 'S';
  HandleKeyPress(press);
  if (decks.sources[0]->GetPitch() <= 0) state.SkipWithError("the key did not reach the deck");
  int i = 0;
  for (auto _ : state) {
    press.rawCode = press.character = (i++ & 1) ? 'A' : 'S';
    HandleKeyPress(press);
    benchmark::DoNotOptimize(decks.sources[0]->GetPitch());
  }
  ClearAllBindings();
  SetBindingsLookup(nullptr);
  TheControlTable().Clear();
}
BENCHMARK(BM_KeyToEngineWord)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace vantaro
