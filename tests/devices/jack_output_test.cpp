// Sound through a real JACK server (the dummy back end started by the test
// fixture): the program's streams open on JACK rows, and test clients
// registered as sinks record what reaches their ports.
//
// Every test suite here is named Jack*: the test command runs them with the
// server fixture and JACK_DEFAULT_SERVER set.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "base/realtime.h"
#include "devices/output_devices.h"
#include "engine/audio_render.h"
#include "engine/mixer.h"
#include "engine/mixer_setup.h"
#include "engine/sound_source.h"
#include "tests/devices/jack_sink.h"
#include "tests/devices/test_mix.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

constexpr double kDeviceScale = 32000.0 / 32768.0;  // 16-bit device, JACK float back

double Db(double ratio) {
  return 20.0 * std::log10(ratio);
}

// Last `frames` frames of an interleaved recording.
std::vector<float> Tail(const std::vector<float>& samples, int channels, long frames) {
  const std::size_t keep = static_cast<std::size_t>(frames) * channels;
  if (samples.size() <= keep) return samples;
  return std::vector<float>(samples.end() - static_cast<std::ptrdiff_t>(keep), samples.end());
}

// A deck playing a sox file through the program's mixer, heard on JACK. The
// file lasts 20 s, longer than any test plays it, retries included.
class DeckOnMixer {
 public:
  bool Load(double hz) {
    const std::string path = dir_.File("tone.wav");
    const std::string command = "sox -D -n -r 44100 -c 2 -b 16 '" + path + "' synth 20 sine " +
                                std::to_string(hz) + " vol 0.5 2>/dev/null";
    if (test::RunCommand(command) != 0) return false;
    for (auto* deck : {&deck_, &twin_}) {
      *deck = std::make_unique<CSoundSource>(0, dir_.Path() + "/");
      if (!(*deck)->LoadSong(path, false, nullptr, false)) return false;
      (*deck)->StoreThreadRun();
      if (!(*deck)->IsSongReady()) return false;
    }
    CAudioSignalSource* sources[2] = {deck_.get(), nullptr};
    if (!CreateMixerObjects(rig_, sources, nullptr) || !WireMixer(rig_, nullptr, nullptr, 0))
      return false;
    // Up-fader open, crossfader on the deck's side: the mixer passes the
    // deck unchanged.
    rig_.mixer->SetFader(0, 127);
    rig_.mixer->SetCrossfader(0);
    deck_->StartStoreThread();
    deck_->Play(1);
    return true;
  }
  // RMS of the deck's own float output over one second, rendered from a
  // twin deck in device blocks.
  double FloatRms() {
    twin_->Play(1);
    std::vector<float> out(44100 * 2);
    RealtimeScope audio;
    for (int done = 0; done < 44100; done += 441) {
      for (int phase = 0; phase < 3; ++phase) twin_->SyncPhase(phase);
      twin_->Render(out.data() + done * 2, 441);
    }
    return test::Rms(out, 2, 0);
  }
  MixRenderer* Mix() { return rig_.mixer.get(); }
  ~DeckOnMixer() {
    if (deck_) deck_->StopStoreThread();
    DestroyMixerObjects(rig_);
  }

 private:
  test::TempDir dir_;
  std::unique_ptr<CSoundSource> deck_, twin_;
  MixerRig rig_;
};

class JackOutput : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(std::getenv("JACK_DEFAULT_SERVER"), nullptr)
        << "run through ctest, which starts the JACK dummy server";
    renderer_ = std::make_unique<AudioRenderer>();
  }
  // The streams stop before the mix objects they read go.
  void TearDown() override {
    CloseAudio(true);
    if (renderer_) renderer_->mix = nullptr;
  }

  // The mix plays tones on the master and monitor buses (peak levels).
  void PlayTones(test::ToneMix::Tone master = {1000, 0.5f, 0.5f},
                 test::ToneMix::Tone monitor = {440, 0.25f, 0.25f}) {
    tones_ = std::make_unique<test::ToneMix>(master, monitor);
    renderer_->mix = tones_.get();
  }

  // Creates a sink of `ports` ports recording up to 3 s.
  std::unique_ptr<test::JackSink> MakeSink(int ports, const std::string& prefix = "vt-sink") {
    auto sink = std::make_unique<test::JackSink>(test::UniqueJackName(prefix), ports, 3 * 44100);
    EXPECT_TRUE(sink->Ok()) << "no JACK server reachable";
    return sink;
  }

  // Enumerates and answers the row of `sink`, -1 when it is missing.
  int RowOf(const test::JackSink& sink) {
    EXPECT_GT(EnumerateOutputs(), 0);
    return FindOutputDevice(sink.RowName());
  }

  // Opens `sink` alone in `mode` and answers the selection as the rules left it.
  TOutputSelection Open(const test::JackSink& sink, int mode, int forcedChannels = 0,
                        int latency = 2048) {
    TOutputSelection selection{RowOf(sink), -1, mode, latency};
    EXPECT_GE(selection.firstDevice, 0) << sink.RowName() << " is not listed";
    EXPECT_TRUE(OpenAudio(selection, forcedChannels, *renderer_));
    return selection;
  }

  // Records 1.3 s from each sink and answers the last second of each. On a
  // loaded machine the server may report an xrun (a client late for its
  // period), which glitches every client alike; the recording is then
  // repeated, up to four times. `clean_` says whether the last one was free
  // of xruns: only then can a click be blamed on the program.
  std::vector<std::vector<float>> RecordSecond(std::initializer_list<test::JackSink*> sinks) {
    std::vector<std::vector<float>> out;
    for (int attempt = 0; attempt < 4; ++attempt) {
      out.clear();
      long xruns = 0;
      for (auto* sink : sinks) xruns -= sink->Xruns();
      for (auto* sink : sinks) sink->StartRecording();
      for (auto* sink : sinks) {
        EXPECT_TRUE(sink->RecordFor(57330, 10.0)) << "JACK delivered too few frames";
        out.push_back(Tail(sink->Recording(), sink->Ports(), 44100));
      }
      for (auto* sink : sinks) xruns += sink->Xruns();
      clean_ = xruns == 0;
      if (clean_) return out;
    }
    std::printf("the JACK server reported xruns in every recording: clicks not checked\n");
    return out;
  }

  // A tone of `hz` at `peak` float level arrives at the device level.
  void ExpectTone(const std::vector<float>& heard, int channels, int channel, double hz,
                  double peak) {
    const double expectedRms = peak / std::sqrt(2.0) * kDeviceScale;
    const double rms = test::Rms(heard, channels, channel);
    ASSERT_GT(rms, 0.0) << "channel " << channel << " is silent";
    EXPECT_NEAR(Db(rms / expectedRms), 0.0, 0.1) << "channel " << channel;
    // A glitch of the server moves zero crossings: then 1 % still tells a
    // wrong signal from the right one.
    EXPECT_NEAR(test::ToneFrequency(heard, channels, channel), hz, clean_ ? 0.5 : hz / 100)
        << "channel " << channel;
    // No dropped or repeated block: no step larger than the sine's own.
    if (clean_) {
      EXPECT_LT(test::LargestStep(heard, channels, channel),
                peak * kDeviceScale * 2 * M_PI * hz / 44100 * 1.2)
          << "click on channel " << channel;
    }
  }

  std::unique_ptr<test::ToneMix> tones_;
  std::unique_ptr<DeckOnMixer> deck_;
  std::unique_ptr<AudioRenderer> renderer_;
  bool clean_ = true;
};

TEST_F(JackOutput, EnumerationListsJackClientsAfterAlsaRows) {
  auto sink = MakeSink(6);
  auto controller = MakeSink(2, "BCD2000");
  const int row = RowOf(*sink);
  ASSERT_GE(row, 0) << sink->RowName() << " is not listed";
  const TOutputDeviceRow* info = TheOutputDeviceTable().Row(row);
  EXPECT_EQ(info->hostApi, kHostJack);
  EXPECT_EQ(info->maxOutputChannels, 6);
  EXPECT_EQ(GetDeviceName(row), sink->RowName());
  EXPECT_EQ(FindOutputDevice(controller->RowName()), -1) << "excluded family listed";

  const int system = FindOutputDevice("JACK Audio Connection Kit: system");
  ASSERT_GE(system, 0);
  EXPECT_EQ(TheOutputDeviceTable().Row(system)->maxOutputChannels, 8);
  bool seenJack = false;
  for (int i = 0; i < GetDeviceCount(); ++i) {
    const bool jack = TheOutputDeviceTable().Row(i)->hostApi == kHostJack;
    EXPECT_FALSE(seenJack && !jack) << "ALSA row after a JACK row: " << GetDeviceName(i);
    seenJack = seenJack || jack;
  }
}

TEST_F(JackOutput, DeckPlayingAFileReachesThePortsAtDeviceLevel) {
  deck_ = std::make_unique<DeckOnMixer>();
  ASSERT_TRUE(deck_->Load(1000)) << "the deck could not play the sox file";
  const double floatRms = deck_->FloatRms();
  ASSERT_GT(floatRms, 0.1);
  renderer_->mix = deck_->Mix();

  auto sink = MakeSink(2);
  Open(*sink, 0, 0, 2880);
  EXPECT_EQ(GetOpenOutputCount(), 1);
  EXPECT_EQ(GetLatencyFrames(), 2880);
  const auto heard = RecordSecond({sink.get()});
  for (int channel = 0; channel < 2; ++channel)
    ExpectTone(heard[0], 2, channel, 1000, floatRms * std::sqrt(2.0));
  const TDSoutput* output = GetOpenOutput(0);
  ASSERT_NE(output, nullptr);
  EXPECT_EQ(output->blockFrames, 360);
  EXPECT_GT(output->Filler().callbacks.load(), 100);

  CloseAudio(false);
  EXPECT_EQ(GetOpenOutputCount(), 0);
  EXPECT_EQ(GetLatencyFrames(), 0);
  const long blocks = renderer_->BlocksRendered();
  sink->StartRecording();
  sink->RecordFor(4410, 5.0);
  EXPECT_EQ(renderer_->BlocksRendered(), blocks) << "the callback ran after CloseAudio";
  EXPECT_EQ(test::Peak(sink->Recording(), 2, 0), 0.0);
}

TEST_F(JackOutput, LoudSignalIsClippedNotWrapped) {
  PlayTones({500, 1.5f, 1.5f}, {});
  auto sink = MakeSink(2);
  Open(*sink, 0);
  const auto heard = RecordSecond({sink.get()});
  const auto [lowest, highest] = std::minmax_element(heard[0].begin(), heard[0].end());
  EXPECT_EQ(*highest, 32767.0f / 32768.0f);  // clipped at the 16-bit limits
  EXPECT_EQ(*lowest, -1.0f);
  // Wrapped samples would jump from full positive to full negative.
  if (clean_) {
    EXPECT_LT(test::LargestStep(heard[0], 2, 0), 0.5);
  }
}

TEST_F(JackOutput, SplitModeCarriesMasterLeftAndMonitorRight) {
  PlayTones({1000, 0.6f, 0.2f}, {440, 0.3f, 0.1f});
  auto sink = MakeSink(2);
  // Chosen as the second device too: one stream opens, and the split mode stays.
  const int row = RowOf(*sink);
  TOutputSelection selection{row, row, 1, 2048};
  ASSERT_TRUE(OpenAudio(selection, 0, *renderer_));
  EXPECT_EQ(GetOpenOutputCount(), 1);
  EXPECT_EQ(selection.secondDevice, -1);
  EXPECT_EQ(selection.outputMode, 1);
  EXPECT_FALSE(renderer_->secondDeviceActive.load());
  const auto heard = RecordSecond({sink.get()});
  ExpectTone(heard[0], 2, 0, 1000, 0.4);  // (0.6 + 0.2) / 2
  ExpectTone(heard[0], 2, 1, 440, 0.2);   // (0.3 + 0.1) / 2
}

// Ports of the sink, mode asked, forced channel count, channels opened.
struct MultichannelCase {
  int ports, mode, forced, channels;
};

class JackMultichannel : public JackOutput,
                         public ::testing::WithParamInterface<MultichannelCase> {};

TEST_P(JackMultichannel, MasterOnFrontPairMonitorOnTheOthersRestSilent) {
  const auto [ports, mode, forced, channels] = GetParam();
  PlayTones();
  auto sink = MakeSink(ports);
  EXPECT_EQ(Open(*sink, mode, forced).outputMode, 2);
  ASSERT_NE(GetOpenOutput(0), nullptr);
  EXPECT_EQ(GetOpenOutput(0)->channels, channels);
  EXPECT_TRUE(GetOpenOutput(0)->isMultichannel);
  const auto heard = RecordSecond({sink.get()});
  for (int channel = 0; channel < ports; ++channel) {
    if (channel < 2)
      ExpectTone(heard[0], ports, channel, 1000, 0.5);
    else if (channel < channels)
      ExpectTone(heard[0], ports, channel, 440, 0.25);
    else
      EXPECT_EQ(test::Peak(heard[0], ports, channel), 0.0) << "channel " << channel;
  }
}

// Forced 4, 6, 8 channels; multichannel from the settings uses 4 of 8 ports.
INSTANTIATE_TEST_SUITE_P(
    Ports, JackMultichannel,
    ::testing::Values(MultichannelCase{4, 0, 4, 4}, MultichannelCase{6, 0, 6, 6},
                      MultichannelCase{8, 0, 8, 8}, MultichannelCase{8, 2, 0, 4}),
    [](const auto& info) {
      return std::to_string(info.param.ports) + (info.param.forced ? "Forced" : "FromSettings");
    });

TEST_F(JackOutput, SecondDevicePlaysTheMonitorBus) {
  PlayTones();
  auto speakers = MakeSink(2, "vt-speakers");
  auto headphones = MakeSink(2, "vt-phones");
  EnumerateOutputs();
  TOutputSelection selection{FindOutputDevice(speakers->RowName()),
                             FindOutputDevice(headphones->RowName()), 2, 2048};
  ASSERT_GE(selection.firstDevice, 0);
  ASSERT_GE(selection.secondDevice, 0);
  ASSERT_TRUE(OpenAudio(selection, 0, *renderer_));
  EXPECT_EQ(selection.outputMode, 0) << "a second device forces the normal mode";
  EXPECT_EQ(renderer_->outputMode.load(), 0);
  EXPECT_EQ(GetOpenOutputCount(), 2);
  EXPECT_TRUE(renderer_->secondDeviceActive.load());
  const auto heard = RecordSecond({speakers.get(), headphones.get()});
  for (int channel = 0; channel < 2; ++channel) {
    ExpectTone(heard[0], 2, channel, 1000, 0.5);
    ExpectTone(heard[1], 2, channel, 440, 0.25);
  }
  // Running at the same rate, the ring stays short: at most two blocks of
  // 256 frames wait in it.
  EXPECT_LE(renderer_->MonitorRing().Available(), 2u * 256 * 2 * sizeof(float));

  CloseAudio(false);
  EXPECT_FALSE(renderer_->secondDeviceActive.load());
}

TEST_F(JackOutput, ReopeningReplacesTheStreamsAndForgetsAClosedRenderer) {
  auto first = MakeSink(2, "vt-first");
  auto second = MakeSink(2, "vt-second");
  {
    // A renderer may go once audio is closed (tests, the program's close);
    // the next open and close must not touch it.
    auto gone = std::make_unique<AudioRenderer>();
    TOutputSelection selection{RowOf(*first), -1, 0, 2048};
    ASSERT_TRUE(OpenAudio(selection, 0, *gone));
    CloseAudio(true);
    EXPECT_EQ(GetDeviceCount(), 0);
  }
  PlayTones();
  TOutputSelection selection = Open(*first, 0);
  EXPECT_EQ(EnumerateOutputs(), GetDeviceCount()) << "enumeration must not pull open streams";
  selection.firstDevice = FindOutputDevice(second->RowName());
  selection.latencyFrames = 4096;
  ASSERT_TRUE(OpenAudio(selection, 0, *renderer_));
  EXPECT_EQ(GetOpenOutputCount(), 1);
  EXPECT_EQ(GetLatencyFrames(), 4096);
  const auto heard = RecordSecond({first.get(), second.get()});
  EXPECT_EQ(test::Peak(heard[0], 2, 0), 0.0) << "the replaced stream still plays";
  ExpectTone(heard[1], 2, 0, 1000, 0.5);
  CloseAudio(true);
  EXPECT_EQ(GetDeviceCount(), 0);
  EXPECT_GT(EnumerateOutputs(), 0);
}

TEST_F(JackOutput, DeviceThatFailsToOpenLeavesTheProgramSilent) {
  auto sink = MakeSink(2);
  EnumerateOutputs();
  TOutputDeviceRow gone;
  gone.name = "JACK Audio Connection Kit: gone";
  gone.hostApi = kHostJack;
  gone.portAudioIndex = 9999;
  ASSERT_TRUE(TheOutputDeviceTable().Add(gone));
  TOutputSelection selection{GetDeviceCount() - 1, -1, 0, 2880};
  ::testing::internal::CaptureStderr();
  const bool opened = OpenAudio(selection, 0, *renderer_);
  const std::string log = ::testing::internal::GetCapturedStderr();
  EXPECT_FALSE(opened);
  EXPECT_EQ(GetOpenOutputCount(), 0);
  EXPECT_NE(log.find("can't open audio device 0, index=" + std::to_string(selection.firstDevice) +
                     " FramesPerBuffer=360, Buffers=8"),
            std::string::npos)
      << log;
  // The next choice still opens.
  selection.firstDevice = FindOutputDevice(sink->RowName());
  EXPECT_TRUE(OpenAudio(selection, 0, *renderer_));
}

TEST_F(JackOutput, NoDeviceChosenOrNoneListed) {
  TOutputSelection none{-1, -1, 0, 2880};
  EXPECT_FALSE(OpenAudio(none, 0, *renderer_));
  EXPECT_EQ(GetLatencyFrames(), 0);
  // A server that does not run gives no JACK rows, and is not started.
  const std::string server = std::getenv("JACK_DEFAULT_SERVER");
  setenv("JACK_DEFAULT_SERVER", "vantaro-no-such-server", 1);
  EnumerateOutputs();
  setenv("JACK_DEFAULT_SERVER", server.c_str(), 1);
  for (int i = 0; i < GetDeviceCount(); ++i)
    EXPECT_NE(TheOutputDeviceTable().Row(i)->hostApi, kHostJack) << GetDeviceName(i);
  EXPECT_EQ(test::RunCommand(
                "jack_wait -s vantaro-no-such-server -c 2>/dev/null | grep -q 'not running'"),
            0);
  TheOutputDeviceTable().Clear();
  TOutputSelection first{0, -1, 0, 2880};
  EXPECT_FALSE(OpenAudio(first, 0, *renderer_));
  EXPECT_EQ(GetOpenOutputCount(), 0);
}

}  // namespace
}  // namespace vantaro
