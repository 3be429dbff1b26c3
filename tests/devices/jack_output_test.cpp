// Sound through a real JACK server (the dummy back end started by the test
// fixture): the program's streams open on JACK rows, and test clients
// registered as sinks record what reaches their ports.
//
// Every test suite here is named Jack*: the test command runs them with the
// server fixture and JACK_DEFAULT_SERVER set.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>

#include "devices/output_devices.h"
#include "engine/audio_render.h"
#include "tests/devices/jack_sink.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

constexpr double kDeviceScale = 32000.0 / 32768.0;  // 16-bit device, JACK float back
constexpr double kMasterHz = 1000, kMasterPeak = 0.5, kMonitorHz = 440, kMonitorPeak = 0.25;

// A steady sine on each bus: the master at 1 kHz, the monitor at 440 Hz.
class ToneMix : public MixRenderer {
 public:
  void RenderMix(float* master, float* monitor, int frames) override {
    for (int i = 0; i < frames; ++i, ++frame_) {
      const double t = 2 * M_PI * frame_ / 44100;
      master[i * 2] = master[i * 2 + 1] = static_cast<float>(kMasterPeak * std::sin(kMasterHz * t));
      monitor[i * 2] = monitor[i * 2 + 1] =
          static_cast<float>(kMonitorPeak * std::sin(kMonitorHz * t));
    }
  }
  void RenderExternal(float*, float*, float*, float*, int) override {}

 private:
  long frame_ = 0;
};

class JackOutput : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(std::getenv("JACK_DEFAULT_SERVER"), nullptr)
        << "run through ctest, which starts the JACK dummy server";
    renderer_.mix = &tones_;
  }
  // The streams stop before the renderer they read goes.
  void TearDown() override { CloseAudio(true); }

  std::unique_ptr<test::JackSink> MakeSink(int ports, const std::string& prefix = "vt-sink") {
    auto sink = std::make_unique<test::JackSink>(prefix, ports);
    EXPECT_TRUE(sink->Ok()) << "no JACK server reachable";
    return sink;
  }
  // Enumerates and answers the row of `sink`, -1 when it is missing.
  int RowOf(const test::JackSink& sink) {
    EXPECT_GT(EnumerateOutputs(), 0);
    return FindOutputDevice(sink.RowName());
  }

  // Records 1.3 s from each sink and keeps the last second of each. On a
  // loaded machine the server may report an xrun, which glitches every
  // client alike; the recording is then repeated, up to four times, and
  // `clean_` says whether the last was free of them: only then can a click
  // be blamed on the program.
  std::vector<std::vector<float>> RecordSecond(std::vector<test::JackSink*> sinks) {
    std::vector<std::vector<float>> out(sinks.size());
    for (int attempt = 0; attempt < 4; ++attempt) {
      long xruns = 0;
      for (std::size_t s = 0; s < sinks.size(); ++s) {
        xruns -= sinks[s]->xruns.load();
        out[s] = sinks[s]->Record(57330);
        EXPECT_EQ(out[s].size(), 57330u * sinks[s]->ports) << "JACK delivered too few frames";
        const std::size_t keep = 44100u * sinks[s]->ports;
        if (out[s].size() > keep) out[s].erase(out[s].begin(), out[s].end() - keep);
        xruns += sinks[s]->xruns.load();
      }
      if ((clean_ = xruns == 0)) break;
    }
    return out;
  }

  // Each channel of `heard` carries what `codes` says: M the master tone, H
  // the monitor tone, both at the device's level, 0 silence. No dropped or
  // repeated block: no step larger than the sine's own.
  void ExpectChannels(const std::vector<float>& heard, const std::string& codes) {
    const int channels = static_cast<int>(codes.size());
    for (int c = 0; c < channels; ++c) {
      SCOPED_TRACE(testing::Message() << "channel " << c);
      if (codes[c] == '0') {
        EXPECT_EQ(test::Peak(heard, channels, c), 0.0);
        continue;
      }
      const double hz = codes[c] == 'M' ? kMasterHz : kMonitorHz;
      const double peak = (codes[c] == 'M' ? kMasterPeak : kMonitorPeak) * kDeviceScale;
      EXPECT_NEAR(20 * std::log10(test::Rms(heard, channels, c) / (peak / std::sqrt(2.0))), 0, 0.1);
      // A glitch of the server moves zero crossings: 1 % still tells a
      // wrong signal from the right one.
      EXPECT_NEAR(test::ToneFrequency(heard, channels, c), hz, clean_ ? 0.5 : hz / 100);
      if (clean_) {
        EXPECT_LT(test::LargestStep(heard, channels, c), peak * 2 * M_PI * hz / 44100 * 1.2);
      }
    }
  }

  ToneMix tones_;
  AudioRenderer renderer_;
  bool clean_ = true;
};

// Ports of the sink, mode asked, forced channels, a second sink for the
// headphones; the mode that plays, whether the user is told why, and what
// each sink hears.
struct Scenario {
  const char* name;
  int ports, mode, forced;
  bool headphones;
  int modeAfter;
  bool told;
  std::string heard, headphonesHeard;
};

void PrintTo(const Scenario& s, std::ostream* out) {
  *out << s.name;
}

class JackScenario : public JackOutput, public ::testing::WithParamInterface<Scenario> {};

TEST_P(JackScenario, OpensAndPlaysWhatTheRulesLeave) {
  const Scenario& s = GetParam();
  auto sink = MakeSink(s.ports, "vt-speakers");
  auto phones = s.headphones ? MakeSink(2, "vt-phones") : nullptr;
  TOutputSelection selection{RowOf(*sink), phones ? FindOutputDevice(phones->RowName()) : -1,
                             s.mode, 2880};
  ASSERT_GE(selection.firstDevice, 0) << sink->RowName() << " is not listed";
  ASSERT_TRUE(OpenAudio(selection, s.forced, renderer_));
  EXPECT_EQ(selection.outputMode, s.modeAfter);
  EXPECT_EQ(renderer_.outputMode.load(), s.modeAfter);
  EXPECT_EQ(selection.multichannelUnavailable, s.told);
  EXPECT_EQ(GetOpenOutput(0)->channels, static_cast<int>(s.heard.size()));
  EXPECT_EQ(renderer_.secondDeviceActive.load(), phones != nullptr);
  const auto heard = phones ? RecordSecond({sink.get(), phones.get()}) : RecordSecond({sink.get()});
  ExpectChannels(heard[0], s.heard);
  if (phones) ExpectChannels(heard[1], s.headphonesHeard);
  // Told once: the selection as the rules left it opens again without a word.
  ASSERT_TRUE(OpenAudio(selection, 0, renderer_));
  EXPECT_FALSE(selection.multichannelUnavailable);
}

const Scenario kScenarios[] = {
    // Multichannel on two channels would be silent: normal mode instead.
    {"MultichannelOnTwoChannels", 2, 2, 0, false, 0, true, "MM", ""},
    {"EightForced", 8, 0, 8, false, 2, false, "MMHHHHHH", ""},
    // A second device takes the monitor; the first plays in normal mode.
    {"Headphones", 2, 2, 0, true, 0, false, "MM", "HH"},
};
INSTANTIATE_TEST_SUITE_P(Jack, JackScenario, ::testing::ValuesIn(kScenarios),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(JackOutput, OpeningClosingAndReopeningLeaveNoStrayStream) {
  auto first = MakeSink(2, "vt-first");
  auto second = MakeSink(2, "vt-second");
  TOutputSelection selection{RowOf(*first), -1, 0, 2880};
  for (int i = 1; i < GetDeviceCount(); ++i)
    EXPECT_GE(TheOutputDeviceTable().Row(i)->hostApi, TheOutputDeviceTable().Row(i - 1)->hostApi)
        << "ALSA rows first, then JACK rows: " << GetDeviceName(i);
  // A device that fails to open is logged and leaves the program silent.
  TOutputDeviceRow gone;
  gone.name = "JACK Audio Connection Kit: gone";
  gone.hostApi = kHostJack;
  gone.portAudioIndex = 9999;
  ASSERT_TRUE(TheOutputDeviceTable().Add(gone));
  TOutputSelection failing{GetDeviceCount() - 1, -1, 0, 2880};
  ::testing::internal::CaptureStderr();
  EXPECT_FALSE(OpenAudio(failing, 0, renderer_));
  EXPECT_NE(::testing::internal::GetCapturedStderr().find(
                "can't open audio device 0, index=" + std::to_string(failing.firstDevice) +
                " FramesPerBuffer=360, Buffers=8"),
            std::string::npos);
  EXPECT_EQ(GetOpenOutputCount(), 0);
  {
    // A renderer may go once audio is closed; the next open must not touch it.
    AudioRenderer goneRenderer;
    ASSERT_TRUE(OpenAudio(selection, 0, goneRenderer));
    CloseAudio(true);
    EXPECT_EQ(GetDeviceCount(), 0);
  }
  selection.firstDevice = RowOf(*first);
  ASSERT_TRUE(OpenAudio(selection, 0, renderer_));
  EXPECT_EQ(EnumerateOutputs(), GetDeviceCount()) << "enumeration must not pull open streams";
  selection.firstDevice = FindOutputDevice(second->RowName());
  selection.latencyFrames = 4096;
  ASSERT_TRUE(OpenAudio(selection, 0, renderer_));
  EXPECT_EQ(GetOpenOutputCount(), 1);
  EXPECT_EQ(GetLatencyFrames(), 4096);
  const auto heard = RecordSecond({first.get(), second.get()});
  ExpectChannels(heard[0], "00");
  ExpectChannels(heard[1], "MM");
  CloseAudio(false);
  EXPECT_EQ(GetLatencyFrames(), 0);
  const long blocks = renderer_.BlocksRendered();
  EXPECT_EQ(test::Peak(second->Record(4410), 2, 0), 0.0);
  EXPECT_EQ(renderer_.BlocksRendered(), blocks) << "the callback ran after CloseAudio";
  selection.firstDevice = -1;
  EXPECT_FALSE(OpenAudio(selection, 0, renderer_)) << "no device chosen";
  // A server that does not run gives no JACK rows, and is not started.
  CloseAudio(true);
  const std::string server = std::getenv("JACK_DEFAULT_SERVER");
  setenv("JACK_DEFAULT_SERVER", "vantaro-no-such-server", 1);
  EnumerateOutputs();
  setenv("JACK_DEFAULT_SERVER", server.c_str(), 1);
  for (int i = 0; i < GetDeviceCount(); ++i)
    EXPECT_NE(TheOutputDeviceTable().Row(i)->hostApi, kHostJack) << GetDeviceName(i);
  EXPECT_EQ(test::RunCommand(
                "jack_wait -s vantaro-no-such-server -c 2>/dev/null | grep -q 'not running'"),
            0);
}

}  // namespace
}  // namespace vantaro
