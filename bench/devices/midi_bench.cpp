// MIDI to the engine: a control change from a JACK client playing the
// controller, through the program's JACK input, the MIDI ring, the drain,
// the controller manager, the script host, a controller script's call and
// the action's slider, to deck A's pitch word. Latency on JACK's clock to
// the moment the GUI side sees the word changed, p50, p99 and maximum in
// microseconds, idle and under a flood of messages the script reads and
// ignores; counted from the moment the device's process callback wrote the
// event (p50_us ...) and from the event's own frame, jack_frames_to_time
// (p50_us_frame ...). The dummy back end's frame clock drifts by tens of
// milliseconds against jack_get_time on a loaded machine, so the first
// figures are the program's.
//
// A JACK dummy server is started on a private name (tools/jack-dummy-start);
// the shipped controllers/generic-2deck.js is bound to the client's port.
//
//   build/release/bench/devices/bench_midi

#include <benchmark/benchmark.h>
#include <semaphore.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "base/debug_log.h"
#include "control/control_handlers.h"
#include "control/control_table.h"
#include "control/gui_sync.h"
#include "control/hardware_controller.h"
#include "control/script_engine.h"
#include "control/slider_state.h"
#include "devices/midi_service.h"
#include "engine/sound_source.h"
#include "tests/devices/jack_midi_peer.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

// The server's period, as the tests run it.
constexpr int kPeriodFrames = 256;

class JackDummyServer {
 public:
  JackDummyServer()
      : name_("vantaro-midibench-" + std::to_string(getpid())),
        pidFile_(folder_.File("jackd.pid")) {
    const std::string tools = std::string(VANTARO_SOURCE_DIR) + "/tools/";
    ok_ = test::RunCommand(tools + "jack-dummy-start " + name_ + " " + pidFile_ + " " +
                           std::to_string(kPeriodFrames) + " >/dev/null") == 0;
    if (ok_) setenv("JACK_DEFAULT_SERVER", name_.c_str(), 1);
  }
  ~JackDummyServer() {
    test::RunCommand(std::string(VANTARO_SOURCE_DIR) + "/tools/jack-dummy-stop " + pidFile_);
  }
  bool Ok() const { return ok_; }

 private:
  test::TempDir folder_;
  std::string name_, pidFile_;
  bool ok_ = false;
};

// The GUI thread's wake-up: the MIDI waker posts here instead of to a
// window.
sem_t g_wake;
void Wake(int) {
  sem_post(&g_wake);
}

// The pitch slider without a window (as in the control benchmark).
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

 private:
  ControlWiring wiring_;
  SliderState state_;
};

struct Rig {
  Rig() {
    SetDebugLogEcho(getenv("VANTARO_BENCH_LOG") != nullptr);
    sem_init(&g_wake, 0, 0);
    deck = std::make_unique<CSoundSource>(0, "/tmp");
    TheControlEngine().decks[0] = deck.get();
    TheControlTable().Set(FindControlAction("deck_pitch"), 0, &slider);
    WireControlHandlers(TheControlTable());
  }
  ~Rig() {
    if (manager) manager->Stop();
    SetActiveControllerManager(nullptr);
    manager.reset();
    ports.reset();
    TheControlTable().Clear();
    TheControlEngine() = ControlEngine{};
  }
  bool Start(const std::string& input) {
    if (!StartScriptEngine()) return false;
    ports = std::make_unique<RtMidiService>(MidiApi::kJack, &Wake, "vantaro-bench");
    ControllerSetup setup;
    setup.scriptFolders = {std::string(VANTARO_SOURCE_DIR) + "/controllers/"};
    setup.configuredInputs = {{0, input}};
    setup.boundScripts = {{0, "generic-2deck.js"}};
    manager = std::make_unique<ControllerManager>(*ports, setup);
    SetActiveControllerManager(manager.get());
    SetMidiHandlers(&ControllerMidiHandler, nullptr);
    manager->Start();
    for (int i = 0; i < 100; ++i) {
      manager->Tick();
      for (const ControllerStatus& row : manager->Controllers())
        if (row.running) return true;
      usleep(40000);
    }
    return false;
  }
  // The GUI thread: drains at each wake-up until the pitch word changed
  // (1 s at most); JACK's clock then, 0 on a time-out.
  jack_time_t WaitForPitchChange(int before) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    while (std::chrono::steady_clock::now() < end) {
      timespec until{};
      clock_gettime(CLOCK_REALTIME, &until);
      until.tv_nsec += 10 * 1000 * 1000;
      if (until.tv_nsec >= 1000000000) until.tv_sec += 1, until.tv_nsec -= 1000000000;
      sem_timedwait(&g_wake, &until);
      DrainMidi();
      if (deck->GetPitch() != before) return jack_get_time();
    }
    return 0;
  }

  std::unique_ptr<CSoundSource> deck;
  HeadlessSlider slider;
  std::unique_ptr<RtMidiService> ports;
  std::unique_ptr<ControllerManager> manager;
};

void BM_MidiToEngineWord(benchmark::State& state) {
  static JackDummyServer server;
  // The script engine starts once per process and ends at its exit.
  static struct EngineStop {
    ~EngineStop() { StopScriptEngine(); }
  } engineStop;
  if (!server.Ok()) return state.SkipWithError("the JACK dummy server did not start");
  test::JackMidiPeer device("benchctl" + std::to_string(getpid()));
  Rig rig;
  if (!device.Ok() || !rig.Start(device.OutName()))
    return state.SkipWithError("the controller did not start");
  device.Flood(static_cast<int>(state.range(0)));
  // From the event's frame, and from the moment its callback wrote it.
  std::vector<double> fromFrame, fromWrite;
  // A message the full ring dropped (a flood on a loaded machine) is
  // counted and sent again.
  int value = 127, lost = 0;
  for (auto _ : state) {
    const int before = rig.deck->GetPitch();
    jack_time_t changed = 0;
    while (!changed && lost < 50) {
      device.Send({{0xB0, 0x08, static_cast<std::uint8_t>(value)}});  // deck A's pitch
      changed = rig.WaitForPitchChange(before);
      lost += changed ? 0 : 1;
    }
    if (!changed) return state.SkipWithError("the pitch did not change");
    value = 127 - value;
    const auto since = [changed](jack_time_t then) {
      return static_cast<double>(static_cast<std::int64_t>(changed) -
                                 static_cast<std::int64_t>(then));
    };
    fromFrame.push_back(since(device.LastSentTime()));
    fromWrite.push_back(since(device.LastWrittenTime()));
    usleep(7000);  // apart from the next cycle's event
  }
  device.Flood(0);
  for (auto [samples, suffix] : {std::pair{&fromWrite, ""}, std::pair{&fromFrame, "_frame"}}) {
    std::sort(samples->begin(), samples->end());
    state.counters[std::string("p50_us") + suffix] = (*samples)[samples->size() / 2];
    state.counters[std::string("p99_us") + suffix] = (*samples)[samples->size() * 99 / 100];
    state.counters[std::string("max_us") + suffix] = samples->back();
  }
  state.counters["flood_per_s"] = static_cast<double>(state.range(0));
  state.counters["lost"] = lost;
}
BENCHMARK(BM_MidiToEngineWord)
    ->Arg(0)
    ->Arg(10000)
    ->Iterations(500)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace vantaro
