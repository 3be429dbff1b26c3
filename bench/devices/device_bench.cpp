// The output layer playing through a JACK dummy server: two decks play sine
// files through the program's mixer into the stream on the server's
// "system" ports, at 64, 128 and 256 frames a period, for 60 seconds each
// (VANTARO_BENCH_SECONDS overrides). Reported per period:
//   callbacks      stream callbacks counted in the run
//   expected       what the server's clock asks for in that time
//   xruns          over- and underruns the JACK server reported
//   p999_us        99.9th percentile of the time spent in the callback
//   p999_period    the same as a fraction of the period
//   x_realtime     seconds of audio per second spent in the callback
//
// A baseline case runs the same server and period with no stream of the
// program at all: the xruns it counts come from the machine (jackd runs
// without real-time scheduling), not from the program.
//
// One server is started with tools/jack-dummy-start on a private name and
// stopped by its process id at exit; each case sets the server's period
// (jack_set_buffer_size) before opening the stream. A JACK client library
// does not reliably reconnect to a second server in the same process.
#include <benchmark/benchmark.h>
#include <jack/jack.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

#include "devices/output_devices.h"
#include "engine/audio_render.h"
#include "engine/mixer.h"
#include "engine/mixer_channel.h"
#include "engine/mixer_setup.h"
#include "engine/sound_source.h"
#include "tests/support/test_support.h"

namespace {

using namespace vantaro;

int BenchSeconds() {
  const char* text = std::getenv("VANTARO_BENCH_SECONDS");
  const int seconds = text ? std::atoi(text) : 0;
  return seconds > 0 ? seconds : 60;
}

// A client that only listens for the server's xrun reports.
class XrunCounter {
 public:
  XrunCounter() {
    client_ = jack_client_open("vantaro-xruns", JackNoStartServer, nullptr);
    if (!client_) return;
    jack_set_xrun_callback(client_, &XrunCounter::OnXrun, this);
    jack_activate(client_);
  }
  ~XrunCounter() {
    if (client_) jack_client_close(client_);
  }
  bool Ok() const { return client_ != nullptr; }
  long Count() const { return xruns_.load(); }
  // Sets the server's period; true when it took effect.
  bool SetPeriod(int frames) {
    return client_ && jack_set_buffer_size(client_, static_cast<jack_nframes_t>(frames)) == 0 &&
           static_cast<int>(jack_get_buffer_size(client_)) == frames;
  }

 private:
  static int OnXrun(void* self) {
    static_cast<XrunCounter*>(self)->xruns_.fetch_add(1);
    return 0;
  }
  jack_client_t* client_ = nullptr;
  std::atomic<long> xruns_{0};
};

class JackDummyServer {
 public:
  explicit JackDummyServer(int period)
      : name_("vantaro-bench-" + std::to_string(getpid())), pidFile_(folder_.File("jackd.pid")) {
    const std::string tools = std::string(VANTARO_SOURCE_DIR) + "/tools/";
    ok_ = test::RunCommand(tools + "jack-dummy-start " + name_ + " " + pidFile_ + " " +
                           std::to_string(period) + " >/dev/null") == 0;
    if (ok_) setenv("JACK_DEFAULT_SERVER", name_.c_str(), 1);
  }
  ~JackDummyServer() {
    test::RunCommand(std::string(VANTARO_SOURCE_DIR) + "/tools/jack-dummy-stop " + pidFile_);
  }
  bool Ok() const { return ok_; }
  // The process's one server, started at the first call.
  static JackDummyServer& Get() {
    static JackDummyServer server(256);
    return server;
  }

 private:
  test::TempDir folder_;
  std::string name_, pidFile_;
  bool ok_ = false;
};

// Two decks playing long sine files through the mixer, their store threads
// decoding ahead as in the program.
class TwoDeckMix {
 public:
  explicit TwoDeckMix(int seconds) {
    const std::string folder = dir_.Path() + "/";
    for (int d = 0; d < 2; ++d) {
      const std::string path = dir_.File(d == 0 ? "a.wav" : "b.wav");
      const std::string command = "sox -D -n -r 44100 -c 2 -b 16 '" + path + "' synth " +
                                  std::to_string(seconds + 10) + " sine " +
                                  (d == 0 ? "440" : "1000") + " vol 0.5 2>/dev/null";
      if (test::RunCommand(command) != 0) return;
      decks_[d] = std::make_unique<CSoundSource>(d, folder);
      if (!decks_[d]->LoadSong(path, false, nullptr, false)) return;
      decks_[d]->StartStoreThread();
    }
    CAudioSignalSource* sources[2] = {decks_[0].get(), decks_[1].get()};
    if (!CreateMixerObjects(rig_, sources, nullptr) || !WireMixer(rig_, nullptr, nullptr, 0))
      return;
    rig_.mixer->SetFader(0, 127);
    rig_.mixer->SetFader(1, 127);
    rig_.mixer->SetCrossfader(64);
    // Wait for the first blocks to be decoded, then play.
    for (int i = 0; i < 200 && !(decks_[0]->IsSongReady() && decks_[1]->IsSongReady()); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    decks_[0]->Play(1);
    decks_[1]->Play(1);
    ok_ = decks_[0]->IsSongReady() && decks_[1]->IsSongReady();
  }
  ~TwoDeckMix() {
    for (auto& deck : decks_)
      if (deck) deck->StopStoreThread();
    DestroyMixerObjects(rig_);
  }
  bool Ok() const { return ok_; }
  MixRenderer* Mix() { return rig_.mixer.get(); }

 private:
  test::TempDir dir_;
  std::unique_ptr<CSoundSource> decks_[2];
  MixerRig rig_;
  bool ok_ = false;
};

void BM_JackDummyTwoDecks(benchmark::State& state) {
  const int period = static_cast<int>(state.range(0));
  const int seconds = BenchSeconds();
  for (auto _ : state) {
    if (!JackDummyServer::Get().Ok()) {
      state.SkipWithError("the JACK dummy server did not start");
      return;
    }
    TwoDeckMix mix(seconds);
    if (!mix.Ok()) {
      state.SkipWithError("the decks could not load their sox files");
      return;
    }
    auto renderer = std::make_unique<AudioRenderer>();
    renderer->mix = mix.Mix();
    XrunCounter xruns;
    if (!xruns.SetPeriod(period)) {
      state.SkipWithError("the JACK server refused the period");
      return;
    }
    TOutputSelection selection{-1, -1, 0, period * kBlockCount};
    EnumerateOutputs();
    selection.firstDevice = FindOutputDevice("JACK Audio Connection Kit: system");
    if (!xruns.Ok() || !OpenAudio(selection, 0, *renderer)) {
      state.SkipWithError("the stream did not open on the JACK server");
      return;
    }
    TDSoutput* output = GetOpenOutput(0);
    // Counting starts once the stream runs steadily.
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    const long callbacksBefore = output->Filler().callbacks.load();
    const long xrunsBefore = xruns.Count();
    output->Filler().timing.Reset();
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    const long callbacks = output->Filler().callbacks.load() - callbacksBefore;
    const long xrunCount = xruns.Count() - xrunsBefore;
    const CallbackTiming& timing = output->Filler().timing;
    const double periodMicros = period * 1e6 / 44100.0;
    const int p999 = timing.PercentileMicros(0.999);
    const double meanMicros = timing.Count() ? timing.TotalMicros() / timing.Count() : 0.0;
    CloseAudio(true);
    renderer->mix = nullptr;

    state.counters["callbacks"] = static_cast<double>(callbacks);
    state.counters["expected"] = seconds * 44100.0 / period;
    state.counters["xruns"] = static_cast<double>(xrunCount);
    state.counters["p999_us"] = p999;
    state.counters["p999_period"] = p999 / periodMicros;
    state.counters["x_realtime"] = meanMicros > 0 ? periodMicros / meanMicros : 0.0;
  }
}

void BM_JackDummyBaseline(benchmark::State& state) {
  const int period = static_cast<int>(state.range(0));
  const int seconds = BenchSeconds();
  for (auto _ : state) {
    const bool serverUp = JackDummyServer::Get().Ok();
    XrunCounter xruns;
    if (!serverUp || !xruns.SetPeriod(period)) {
      state.SkipWithError("the JACK dummy server did not run at the period");
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    const long xrunsBefore = xruns.Count();
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    state.counters["xruns"] = static_cast<double>(xruns.Count() - xrunsBefore);
  }
}

BENCHMARK(BM_JackDummyBaseline)
    ->Arg(64)
    ->Arg(128)
    ->Arg(256)
    ->Iterations(1)
    ->Unit(benchmark::kSecond)
    ->UseRealTime();

BENCHMARK(BM_JackDummyTwoDecks)
    ->Arg(64)
    ->Arg(128)
    ->Arg(256)
    ->Iterations(1)
    ->Unit(benchmark::kSecond)
    ->UseRealTime();

}  // namespace
