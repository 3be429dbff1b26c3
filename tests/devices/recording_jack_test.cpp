// The whole recording path played by a real sound server: a deck's tone
// through the mixer and limiter, the renderer called by the JACK dummy
// server's clock, the recorder on its hook, the writer thread, the file.
// Suite RecordingJack*: run by ctest with the server fixture.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <thread>

#include "codecs/encoder_lame.h"
#include "devices/output_devices.h"
#include "devices/recorder.h"
#include "tests/devices/jack_sink.h"
#include "tests/devices/recording_rig.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

// Counts the frames the renderer hands to the recorder.
class CountingRecorder : public BlockRecorder {
 public:
  explicit CountingRecorder(CRecorder& inner) : inner_(inner) {}
  int WriteBlock(const float* buffer, int frames) override {
    frames_.fetch_add(frames);
    return inner_.WriteBlock(buffer, frames);
  }
  long Frames() const { return frames_.load(); }

 private:
  CRecorder& inner_;
  std::atomic<long> frames_{0};
};

TEST(RecordingJack, TenSecondsOfToneAtTheFileLevelAndLength) {
  ASSERT_NE(std::getenv("JACK_DEFAULT_SERVER"), nullptr) << "run through ctest";
  test::TempDir dir;
  const std::string tone = test::MakeTone(dir.Path(), 14.0, 0.5);
  ASSERT_FALSE(tone.empty());
  CRecorder recorder(nullptr, "");
  CountingRecorder counting(recorder);
  test::RecordingRig rig(tone, nullptr);
  ASSERT_TRUE(rig.Ready());
  rig.Renderer().recorder = &counting;
  test::JackSink sink("vt-record", 2);
  ASSERT_TRUE(sink.Ok());
  ASSERT_GT(EnumerateOutputs(), 0);
  TOutputSelection selection{FindOutputDevice(sink.RowName()), -1, kOutputNormal, 2880};
  ASSERT_GE(selection.firstDevice, 0);
  const std::string path = dir.File("jack.wav");
  ASSERT_TRUE(recorder.StartRecording(path));
  ASSERT_TRUE(OpenAudio(selection, 0, rig.Renderer()));
  // The master as the sound server got it (16-bit device scale, 32000),
  // mid-way through the ten seconds.
  std::this_thread::sleep_for(std::chrono::seconds(4));
  const std::vector<float> heard = sink.Record(44100);
  std::this_thread::sleep_for(std::chrono::seconds(5));
  CloseAudio(true);
  recorder.StopRecording();
  rig.Renderer().recorder = nullptr;

  const test::RecordedWav wav = test::ReadRecordedWav(path);
  ASSERT_TRUE(wav.opened && wav.sizesMatchFile);
  EXPECT_EQ(recorder.LostFrames(), 0);
  EXPECT_LE(std::abs(wav.frames - counting.Frames()), 256) << counting.Frames();
  // The steady middle: the first blocks hold the faders' start.
  const std::vector<float> middle(wav.samples.begin() + 2 * 44100, wav.samples.end() - 2 * 44100);
  const double wanted = test::Rms(heard, 2, 0) * CRecorder::kFileScale / 32000;
  const double level = test::DbRatio(test::Rms(middle, 2, 0), wanted);
  const double hz = test::ToneFrequency(middle, 2, 0);
  EXPECT_NEAR(level, 0.0, 0.1);
  EXPECT_NEAR(hz, 1000.0, 1.0);
  std::printf("jack: level %+.4f dB, frequency %.3f Hz, %ld frames rendered, %lld recorded\n",
              level, hz, counting.Frames(), static_cast<long long>(wav.frames));
}

}  // namespace
}  // namespace vantaro
