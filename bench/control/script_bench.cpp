// What the controller script host adds to one MIDI message: the owned
// message handed to the manager, the shipped two-deck script's
// messageReceived, and the one call() it makes (a deck volume fader), on
// the GUI thread. Runs with the program's budgets and watchdog in place.
// Budget: under 20 us a message (the Time column is per message).

#include <benchmark/benchmark.h>

#include <cstdlib>

#include "base/debug_log.h"
#include "control/hardware_controller.h"
#include "control/script_engine.h"
#include "tests/control/fake_midi_ports.h"

namespace vantaro {
namespace {

void BM_ScriptMessageWithOneCall(benchmark::State& state) {
  SetDebugLogEcho(false);
  // The engine starts once per process; the benchmark library may call
  // this function more than once.
  static const bool started = StartScriptEngine() && std::atexit(StopScriptEngine) == 0;
  if (!started) {
    state.SkipWithError("no script engine");
    return;
  }
  test::FakeMidiPorts ports;
  ports.inputs = ports.outputs = {"Bench Device"};
  ControllerSetup setup;
  setup.scriptFolders = {VANTARO_SOURCE_DIR "/controllers"};
  setup.configuredInputs = {{0, "Bench Device"}};
  setup.boundScripts = {{0, "generic-2deck.js"}};
  {
    ControllerManager manager(ports, setup);
    manager.Start();
    if (manager.Controllers().empty() || !manager.Controllers()[0].running) {
      state.SkipWithError("generic-2deck.js did not start");
      return;
    }
    int value = 0;
    for (auto _ : state) {
      // Deck A's volume fader (CC 07 on channel 1) moving.
      manager.OnMidi({MidiOwnerOfSlot(0), 0, 0xB0, 0, 0x07, value, 0});
      value = (value + 1) & 127;
    }
  }
}
BENCHMARK(BM_ScriptMessageWithOneCall)->Unit(benchmark::kMicrosecond)->MinTime(2.0);

}  // namespace
}  // namespace vantaro
