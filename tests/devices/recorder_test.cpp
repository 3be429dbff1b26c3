// The recorder: the whole path from a deck through the mixer, limiter and
// audio callback to the file (WAV and MP3; offline, and played by the JACK
// dummy server in RecordingJack*), how a recording starts and refuses to,
// the faults of a disk (full, a size limit, a kill mid-write, a header
// behind its data) and a stalled writer (RecorderThreads*, also under the
// thread sanitizer).
#include "devices/recorder.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <thread>

#include "base/realtime.h"
#include "codecs/encoder_lame.h"
#include "devices/offline_device.h"
#include "devices/output_devices.h"
#include "devices/recording_wav.h"
#include "engine/mixer.h"
#include "engine/mixer_setup.h"
#include "engine/sound_source.h"
#include "tests/devices/jack_sink.h"
#include "tests/support/test_support.h"
#include "tests/support/wait_for.h"

namespace vantaro {
namespace {

using test::TempDir;
using test::WaitFor;
constexpr int kBlock = 256;
constexpr long kSecond = 44100;

// A deck playing `song` through the mixer as the program wires it, the
// callback of a renderer of its own, `recorder` on the hook.
struct Rig {
  Rig(const std::string& song, BlockRecorder* recorder) {
    CAudioSignalSource* decks[2] = {&deck, nullptr};
    ready = CreateMixerObjects(mixer, decks, nullptr) && WireMixer(mixer, nullptr, nullptr, 0) &&
            deck.LoadSong(song, false, nullptr, false);
    deck.StoreThreadRun();
    deck.Play(1);
    ready = ready && deck.IsSongReady();
    renderer.mix = mixer.mixer.get();
    renderer.limiter = mixer.limiter.get();
    renderer.recorder = recorder;
  }
  ~Rig() { renderer.recorder = nullptr; }
  void Render(long frames, std::vector<float>* master = nullptr) {
    device.Run(frames, [master](const float* b, int n, int c) {
      if (master) master->insert(master->end(), b, b + n * c);
    });
  }
  AudioRenderer renderer;
  CSoundSource deck{0, "/tmp/"};
  MixerRig mixer;
  OfflineDevice device{renderer, kBlock, 2};
  bool ready = false;
};

std::string Tone(const TempDir& dir, double seconds) {  // 1 kHz, peak 0.5, by sox
  const std::string path = dir.File("tone.wav");
  const bool made = test::RunCommand("sox -n -r 44100 -c 2 -b 16 '" + path + "' synth " +
                                     std::to_string(seconds) + " sine 1000 vol 0.5") == 0;
  return made ? path : "";
}

// A recorded WAV read byte by byte: its frames as floats (/32768), and
// whether the header's sizes agree with the file's length.
struct Wav {
  bool valid = false;
  long frames = 0;
  std::vector<float> samples;
};
Wav ReadWav(const std::string& path) {
  const std::string bytes = test::ReadFile(path);
  Wav wav;
  if (bytes.size() < 44 || bytes.compare(0, 4, "RIFF") || bytes.compare(36, 4, "data")) return wav;
  std::uint32_t riff = 0, data = 0;
  std::memcpy(&riff, bytes.data() + 4, 4);
  std::memcpy(&data, bytes.data() + 40, 4);
  wav.valid = data + 44 == bytes.size() && riff == data + 36;
  wav.frames = data / 4;
  for (std::size_t at = 44; at + 2 <= bytes.size(); at += 2) {
    std::int16_t v;
    std::memcpy(&v, bytes.data() + at, 2);
    wav.samples.push_back(v / 32768.0f);
  }
  return wav;
}

std::vector<float> Ffmpeg(const std::string& path) {
  const std::string raw = path + ".f32";
  std::vector<float> out;
  if (test::RunCommand("ffmpeg -v error -y -i '" + path + "' -f f32le -ac 2 '" + raw + "'") != 0)
    return out;
  const std::string bytes = test::ReadFile(raw);
  out.resize(bytes.size() / 4);
  std::memcpy(out.data(), bytes.data(), out.size() * 4);
  return out;
}

std::vector<float> Middle(const std::vector<float>& s) {  // the steady part: a second off each end
  return s.size() > 4 * kSecond ? std::vector<float>(s.begin() + 2 * kSecond, s.end() - 2 * kSecond)
                                : std::vector<float>();
}

// The file's level against what it should be, in dB, and its pitch.
void ExpectTone(const std::vector<float>& file, double wantedRms, double toleranceDb) {
  const double db = 20 * std::log10(test::Rms(Middle(file), 2, 0) / wantedRms);
  const double hz = test::ToneFrequency(Middle(file), 2, 0);
  EXPECT_NEAR(db, 0, toleranceDb);
  EXPECT_NEAR(hz, 1000, 1);  // 0.1 %
  std::printf("level %+.4f dB, frequency %.3f Hz, %zu frames\n", db, hz, file.size() / 2);
}

TEST(RecordingPath, TenSecondsOfToneReachWavAndMp3AtTheFileLevel) {
  TempDir dir;
  const std::string tone = Tone(dir, 10);
  ASSERT_FALSE(tone.empty());
  for (const char* name : {"set.wav", "set.mp3"}) {
    SCOPED_TRACE(name);
    const bool mp3 = std::string(name).ends_with("mp3");
    CRecorder recorder(std::make_unique<CEncoderLame>(), "");
    if (mp3 && !recorder.IsMp3Available()) GTEST_SKIP() << "libmp3lame.so.0 not loadable";
    Rig rig(tone, &recorder);
    ASSERT_TRUE(rig.ready && recorder.StartRecording(dir.File(name)));
    std::vector<float> master;
    for (int second = 0; second < 10; ++second) {  // the writer keeps up, as in real time
      rig.Render(kSecond, &master);
      ASSERT_TRUE(WaitFor([&] { return recorder.PendingFrames() < kSecond; }));
    }
    recorder.StopRecording();
    EXPECT_EQ(recorder.LostFrames(), 0);
    const std::vector<float> file = mp3 ? Ffmpeg(dir.File(name)) : ReadWav(dir.File(name)).samples;
    EXPECT_NEAR(file.size() / 2.0, 10.0 * kSecond, mp3 ? 2205 : kBlock);  // 50 ms, one block
    ExpectTone(file, test::Rms(Middle(master), 2, 0) * CRecorder::kFileScale / 32768,
               mp3 ? 0.5 : 0.1);
  }
}

// Counts the frames the renderer hands to the recorder.
struct CountingRecorder : BlockRecorder {
  explicit CountingRecorder(CRecorder& r) : inner(r) {}
  int WriteBlock(const float* buffer, int frames) override {
    rendered += frames;
    return inner.WriteBlock(buffer, frames);
  }
  CRecorder& inner;
  std::atomic<long> rendered{0};
};

TEST(RecordingJack, TenSecondsOfTonePlayedByTheSoundServer) {
  ASSERT_NE(std::getenv("JACK_DEFAULT_SERVER"), nullptr) << "run through ctest";
  TempDir dir;
  const std::string tone = Tone(dir, 14);
  CRecorder recorder(nullptr, "");
  CountingRecorder counting(recorder);
  Rig rig(tone, &counting);
  test::JackSink sink("vt-record", 2);
  ASSERT_TRUE(rig.ready && sink.Ok() && EnumerateOutputs() > 0);
  TOutputSelection selection{FindOutputDevice(sink.RowName()), -1, kOutputNormal, 2880};
  ASSERT_TRUE(recorder.StartRecording(dir.File("jack.wav")));
  ASSERT_TRUE(OpenAudio(selection, 0, rig.renderer));
  std::this_thread::sleep_for(std::chrono::seconds(4));
  const std::vector<float> heard = sink.Record(kSecond);  // at the device's 32000
  std::this_thread::sleep_for(std::chrono::seconds(5));
  CloseAudio(true);
  recorder.StopRecording();
  const Wav wav = ReadWav(dir.File("jack.wav"));
  EXPECT_TRUE(wav.valid);
  EXPECT_EQ(recorder.LostFrames(), 0);
  EXPECT_NEAR(wav.frames, counting.rendered.load(), kBlock);
  ExpectTone(wav.samples, test::Rms(heard, 2, 0) * CRecorder::kFileScale / 32000, 0.1);
}

TEST(RecorderStart, TheFileChosenAndThePathsThatAreRefused) {
  TempDir dir;
  test::WriteFile(dir.File("in-the-way"), "x");
  ASSERT_EQ(mkdir(dir.File("folder.wav").c_str(), 0755), 0);
  struct Case {
    std::string path;
    bool lame;
    std::string written;  // "" when nothing may start
  };
  const Case cases[] = {
      {"a.wav", true, "a.wav"},       {"b.aiff", true, "b.aiff"},   // any ending but mp3: WAV
      {"c.MP3", true, "c.MP3"},       {"d.mp3", false, "d.wav"},    // no LAME: WAV beside it
      {"missing/e.wav", true, ""},    {"folder.wav", true, ""},     // a folder in the way
      {"in-the-way/f.wav", true, ""}, {"missing/g.mp3", true, ""},  // a file in the way
  };
  std::vector<float> block(kBlock * 2, 0.25f);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.path);
    CRecorder recorder(c.lame ? std::make_unique<CEncoderLame>() : nullptr, "");
    if (c.lame && c.path.ends_with("3") && !recorder.IsMp3Available()) continue;
    ASSERT_EQ(recorder.StartRecording(dir.File(c.path)), !c.written.empty());
    if (c.written.empty()) continue;
    EXPECT_EQ(recorder.FilePath(), dir.File(c.written));
    EXPECT_FALSE(recorder.StartRecording(dir.File("second.wav"))) << "a second start";
    EXPECT_EQ(recorder.WriteBlock(block.data(), kBlock), kBlock);
    recorder.StopRecording();
    EXPECT_EQ(recorder.WriteBlock(block.data(), kBlock), 1) << "idle";
    const bool wav = !c.written.ends_with("3");
    const std::size_t frames = wav ? ReadWav(dir.File(c.written)).samples.size() / 2
                                   : Ffmpeg(dir.File(c.written)).size() / 2;
    EXPECT_EQ(frames, static_cast<std::size_t>(kBlock)) << "readable, and exact";
  }
  EXPECT_NE(test::RunCommand("test -e '" + dir.File("second.wav") + "'"), 0);
}

TEST(RecorderStart, SamplesAreScaledTo30000ClippedAndTruncated) {
  TempDir dir;
  CRecorder recorder(nullptr, "");
  ASSERT_TRUE(recorder.StartRecording(dir.File("s.wav")));
  const float in[] = {
      0, 1, -1, 0.5f, 1.5f, -1.5f, 2.9f / 30000, -2.9f / 30000, NAN, 32767.5f / 30000};
  const int want[] = {0, 30000, -30000, 15000, 32767, -32768, 2, -2, 0, 32767};
  {
    RealtimeScope audio;
    recorder.WriteBlock(in, 5);
  }
  recorder.StopRecording();
  const Wav wav = ReadWav(dir.File("s.wav"));
  ASSERT_EQ(wav.samples.size(), 10u);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(std::lround(wav.samples[i] * 32768), want[i]) << i;
}

// Runs `child` in a forked process; its exit status, -1 on a signal.
int InChild(const std::function<int()>& child) {
  const pid_t pid = fork();
  if (pid == 0) _exit(child());
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(RecorderFaults, AFullDiskFailsTheNextBlockAndLeavesAValidFile) {
  TempDir dir;
  const std::string tone = Tone(dir, 20);
  {  // /dev/full: the first write fails, the block after it says so
    CRecorder recorder(nullptr, "");
    Rig rig(tone, &recorder);
    ASSERT_EQ(symlink("/dev/full", dir.File("full.wav").c_str()), 0);
    ASSERT_TRUE(recorder.StartRecording(dir.File("full.wav")));
    rig.Render(kBlock);
    recorder.Drain();
    rig.Render(kBlock);
    EXPECT_TRUE(rig.renderer.recorderFailed.load());
  }
  // A 1 MB file-size limit (SIGXFSZ ignored) in a child: a disk filling up
  // mid-set. The child stops as the screen tick would.
  const std::string path = dir.File("limited.wav");
  ASSERT_EQ(InChild([&] {
              signal(SIGXFSZ, SIG_IGN);
              const rlimit limit{1 << 20, 1 << 20};
              setrlimit(RLIMIT_FSIZE, &limit);
              CRecorder recorder(nullptr, "");
              Rig rig(tone, &recorder);
              if (!rig.ready || !recorder.StartRecording(path)) return 2;
              for (int s = 0; s < 20 && !rig.renderer.recorderFailed; ++s) {
                rig.Render(kSecond);
                recorder.Drain();
                rig.Render(kBlock);
              }
              return rig.renderer.recorderFailed ? 0 : 3;
            }),
            0);
  const Wav wav = ReadWav(path);
  EXPECT_TRUE(wav.valid);
  EXPECT_GT(wav.frames, 5 * kSecond);  // what fitted stays
}

TEST(RecorderFaults, AKilledRecordingLeavesAValidWavMissingAtMostTheLastSecond) {
  TempDir dir;
  const std::string tone = Tone(dir, 30), path = dir.File("killed.wav");
  const std::string marker = dir.File("recording.open");
  // Frames the child's callback has rendered, shared with this process.
  auto* rendered = static_cast<std::atomic<long>*>(mmap(nullptr, sizeof(std::atomic<long>),
                                                        PROT_READ | PROT_WRITE,
                                                        MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(rendered, MAP_FAILED);
  const pid_t pid = fork();
  if (pid == 0) {
    CRecorder recorder(nullptr, marker);
    Rig rig(tone, &recorder);
    if (!rig.ready || !recorder.StartRecording(path)) _exit(2);
    for (auto next = std::chrono::steady_clock::now();;) {  // paced like a sound card
      rig.Render(kBlock);
      rendered->fetch_add(kBlock);
      std::this_thread::sleep_until(next += std::chrono::microseconds(kBlock * 1000000L / kSecond));
    }
  }
  ASSERT_TRUE(WaitFor([&] { return rendered->load() >= 3 * kSecond; }));
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
  const long atKill = rendered->load();
  munmap(rendered, sizeof(std::atomic<long>));
  const Wav wav = ReadWav(path);
  EXPECT_TRUE(wav.valid);
  EXPECT_GE(wav.frames, atKill - kSecond);
  EXPECT_LE(wav.frames, atKill);
  EXPECT_TRUE(RepairUnfinishedRecording(marker)) << "the marker names it";
  EXPECT_FALSE(RepairUnfinishedRecording(marker)) << "and is gone";
}

TEST(RecorderFaults, AHeaderBehindItsDataIsRepairedToTheWholeFrames) {
  TempDir dir;
  const std::string path = dir.File("torn.wav");
  CRecorder recorder(nullptr, "");
  ASSERT_TRUE(recorder.StartRecording(path));
  std::vector<float> block(1000 * 2, 0.1f);
  recorder.WriteBlock(block.data(), 1000);
  recorder.StopRecording();
  const std::string whole = test::ReadFile(path);
  std::string zeroSizes = whole;
  zeroSizes.replace(4, 4, 4, '\0').replace(40, 4, 4, '\0');
  struct Case {
    std::string bytes;
    WavRepair result;
    long frames;
  };
  const Case cases[] = {
      {whole, WavRepair::kNotNeeded, 1000},
      {zeroSizes, WavRepair::kRepaired, 1000},                        // sizes never written
      {whole + std::string(2000, '\1'), WavRepair::kRepaired, 1500},  // data after the header
      {whole + std::string(6, '\1'), WavRepair::kRepaired, 1001},     // a torn last frame
      {whole.substr(0, 44), WavRepair::kRepaired, 0},
      {"RIFX" + whole.substr(4), WavRepair::kNotAWav, -1},
      {whole.substr(0, 20), WavRepair::kNotAWav, -1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.bytes.size() << " bytes");
    test::WriteFile(path, c.bytes);
    std::int64_t frames = -1;
    EXPECT_EQ(RepairRecordedWav(path, &frames), c.result);
    EXPECT_EQ(frames, c.frames);
    if (c.frames >= 0) {
      EXPECT_EQ(ReadWav(path).frames, c.frames);
    }
  }
  EXPECT_EQ(RepairRecordedWav(dir.File("absent.wav")), WavRepair::kFailed);
}

TEST(RecorderThreads, AStalledWriterCostsCountedFramesNeverACallback) {
  TempDir dir;
  CRecorder recorder(nullptr, "");
  std::atomic<bool> stalled{false};
  recorder.SetDrainHook([&] {
    if (!stalled.exchange(true)) std::this_thread::sleep_for(std::chrono::seconds(3));
  });
  ASSERT_TRUE(recorder.StartRecording(dir.File("stall.wav")));
  std::vector<float> block(kBlock * 2, 0.1f);
  long rendered = 0;
  double slowestMs = 0;
  // Ten seconds as fast as the machine goes while the writer sleeps: the
  // four-second ring overflows.
  for (; rendered < 10 * kSecond || !stalled; rendered += kBlock) {
    const auto start = std::chrono::steady_clock::now();
    RealtimeScope audio;
    ASSERT_EQ(recorder.WriteBlock(block.data(), kBlock), kBlock);
    slowestMs =
        std::max(slowestMs,
                 std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                     .count());
  }
  recorder.StopRecording();
  EXPECT_LT(slowestMs, 500.0) << "a callback waiting for the writer would take 3 s";
  EXPECT_GT(recorder.LostFrames(), 0);
  EXPECT_EQ(ReadWav(dir.File("stall.wav")).frames + recorder.LostFrames(), rendered)
      << "every frame written or counted";
}

}  // namespace
}  // namespace vantaro
