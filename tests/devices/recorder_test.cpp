// The recorder: the whole path from a deck to the file (WAV and MP3), how a
// recording starts and refuses to, the faults of a disk (full, a size
// limit, a process killed mid-write, a header behind its data) and a writer
// that stalls while the audio thread goes on.

#include "devices/recorder.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <thread>

#include "base/realtime.h"
#include "codecs/encoder_lame.h"
#include "devices/recording_wav.h"
#include "tests/devices/recording_rig.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::RecordedWav;
using test::RecordingRig;
using test::TempDir;

constexpr int kBlock = 256;
constexpr long kSecond = 44100;

std::vector<float> Middle(const std::vector<float>& stereo, long skipFrames) {
  const long frames = static_cast<long>(stereo.size() / 2);
  if (frames <= 2 * skipFrames) return {};
  return {stereo.begin() + skipFrames * 2, stereo.end() - skipFrames * 2};
}

// Polls every millisecond; false after `limitMs` (generous, for loaded
// sanitizer builds; not a timing check).
bool WaitFor(const std::function<bool()>& condition, int limitMs = 60000) {
  for (int waited = 0; waited < limitMs; ++waited) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return condition();
}

bool FileExists(const std::string& path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0;
}

// ---- the whole path -------------------------------------------------------

TEST(RecordingPath, TenSecondsOfToneReachWavAndMp3AtTheFileLevel) {
  TempDir dir;
  const std::string tone = test::MakeTone(dir.Path(), 10.0, 0.5);
  ASSERT_FALSE(tone.empty()) << "sox";
  struct Case {
    const char* name;
    double levelDb, frequencyPercent, lengthFrames;
  };
  for (const Case& c : {Case{"set.wav", 0.1, 0.1, kBlock}, Case{"set.mp3", 0.5, 0.1, 2205}}) {
    SCOPED_TRACE(c.name);
    CRecorder recorder(std::make_unique<CEncoderLame>(), "");
    const bool mp3 = std::string(c.name).ends_with(".mp3");
    if (mp3 && !recorder.IsMp3Available()) GTEST_SKIP() << "libmp3lame.so.0 not loadable";
    RecordingRig rig(tone, &recorder, kBlock);
    ASSERT_TRUE(rig.Ready());
    ASSERT_TRUE(recorder.StartRecording(dir.File(c.name)));
    std::vector<float> master;
    // A second at a time, the writer keeping up as it does in real time
    // (this render runs far faster).
    for (int second = 0; second < 10; ++second) {
      rig.Render(kSecond, &master);
      ASSERT_TRUE(WaitFor([&] { return recorder.PendingFrames() < kSecond; }));
    }
    recorder.StopRecording();
    EXPECT_EQ(recorder.LostFrames(), 0);
    EXPECT_FALSE(rig.Renderer().recorderFailed.load());
    const std::vector<float> got = mp3 ? test::DecodeWithFfmpeg(dir.File(c.name))
                                       : test::ReadRecordedWav(dir.File(c.name)).samples;
    const long gotFrames = static_cast<long>(got.size() / 2);
    EXPECT_LE(std::abs(gotFrames - 10 * kSecond), c.lengthFrames) << gotFrames;
    // The encoder's delay shifts the MP3: levels and pitch are compared on
    // the steady middle, where both hold the tone.
    const double wanted = test::Rms(Middle(master, kSecond), 2, 0) * CRecorder::kFileScale / 32768;
    const double level = test::DbRatio(test::Rms(Middle(got, kSecond), 2, 0), wanted);
    const double hz = test::ToneFrequency(Middle(got, kSecond), 2, 0);
    EXPECT_NEAR(level, 0.0, c.levelDb);
    EXPECT_NEAR(hz, 1000.0, 1000.0 * c.frequencyPercent / 100);
    std::printf("%s: level %+.4f dB, frequency %.3f Hz, length %+ld frames\n", c.name, level, hz,
                gotFrames - 10 * kSecond);
  }
}

// ---- starting -------------------------------------------------------------

TEST(RecorderStart, TheFileChosenAndThePathsThatAreRefused) {
  TempDir dir;
  test::WriteFile(dir.File("in-the-way"), "x");
  ASSERT_EQ(mkdir(dir.File("folder.wav").c_str(), 0755), 0);
  struct Case {
    std::string path;
    bool withLame;
    bool starts;
    std::string written;  // the file that must exist afterwards; "" none
    const char* magic;    // its first bytes
  };
  const Case cases[] = {
      {dir.File("a.wav"), true, true, dir.File("a.wav"), "RIFF"},
      {dir.File("b.aiff"), true, true, dir.File("b.aiff"), "RIFF"},  // any ending but mp3: WAV
      {dir.File("c.MP3"), true, true, dir.File("c.MP3"), ""},
      {dir.File("d.mp3"), false, true, dir.File("d.wav"), "RIFF"},  // no LAME: WAV beside it
      {dir.File("missing/e.wav"), true, false, "", ""},
      {dir.File("folder.wav"), true, false, "", ""},        // a folder in the way
      {dir.File("in-the-way/f.wav"), true, false, "", ""},  // a file in the way
      {dir.File("missing/g.mp3"), true, false, "", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.path);
    auto lame = std::make_unique<CEncoderLame>();
    if (c.withLame && c.path.ends_with("3") && !lame->IsAvailable()) continue;
    CRecorder recorder(c.withLame ? std::move(lame) : nullptr, "");
    EXPECT_EQ(recorder.StartRecording(c.path), c.starts);
    EXPECT_EQ(recorder.IsRecording(), c.starts);
    if (!c.starts) continue;
    EXPECT_EQ(recorder.FilePath(), c.written);
    // A second start, to any path, changes nothing.
    EXPECT_FALSE(recorder.StartRecording(dir.File("second.wav")));
    EXPECT_FALSE(FileExists(dir.File("second.wav")));
    std::vector<float> block(kBlock * 2, 0.25f);
    EXPECT_EQ(recorder.WriteBlock(block.data(), kBlock), kBlock);
    recorder.StopRecording();
    EXPECT_EQ(recorder.WriteBlock(block.data(), kBlock), 1) << "idle";
    const std::string head = test::ReadFile(c.written).substr(0, 4);
    if (*c.magic) {
      EXPECT_EQ(head, c.magic);
    } else {
      EXPECT_FALSE(test::DecodeWithFfmpeg(c.written).empty()) << "ffmpeg reads the mp3";
    }
  }
}

TEST(RecorderStart, SamplesAreScaledTo30000ClippedAndTruncated) {
  TempDir dir;
  CRecorder recorder(nullptr, "");
  ASSERT_TRUE(recorder.StartRecording(dir.File("s.wav")));
  // Left / right pairs and the 16-bit values they must become.
  const float in[] = {0.0f,
                      1.0f,
                      -1.0f,
                      0.5f,
                      1.5f,
                      -1.5f,
                      1.0f / 30000 * 2.9f,
                      -1.0f / 30000 * 2.9f,
                      NAN,
                      32767.5f / 30000};
  const std::int16_t want[] = {0, 30000, -30000, 15000, 32767, -32768, 2, -2, 0, 32767};
  {
    RealtimeScope audio;
    recorder.WriteBlock(in, 5);
  }
  recorder.StopRecording();
  const RecordedWav wav = test::ReadRecordedWav(dir.File("s.wav"));
  ASSERT_EQ(wav.samples.size(), 10u);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(std::lround(wav.samples[i] * 32768), want[i]) << i;
}

// ---- faults ---------------------------------------------------------------

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
  const std::string tone = test::MakeTone(dir.Path(), 20.0, 0.5);
  ASSERT_FALSE(tone.empty());
  // /dev/full in this process; a 1 MB file-size limit (SIGXFSZ ignored)
  // in a child, as a disk filling up mid-set.
  {
    CRecorder recorder(nullptr, "");
    RecordingRig rig(tone, &recorder, kBlock);
    ASSERT_EQ(symlink("/dev/full", dir.File("full.wav").c_str()), 0);
    ASSERT_TRUE(recorder.StartRecording(dir.File("full.wav")));
    rig.Render(kBlock);
    recorder.Drain();
    EXPECT_TRUE(recorder.WriteFailed());
    rig.Render(kBlock);
    EXPECT_TRUE(rig.Renderer().recorderFailed.load()) << "the block after the failed write";
  }
  const std::string path = dir.File("limited.wav");
  const int status = InChild([&] {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{1 << 20, 1 << 20};
    setrlimit(RLIMIT_FSIZE, &limit);
    CRecorder recorder(nullptr, "");
    RecordingRig rig(tone, &recorder, kBlock);
    if (!rig.Ready() || !recorder.StartRecording(path)) return 2;
    // The screen tick's part: stop once the callback reported the failure.
    for (int second = 0; second < 20 && !rig.Renderer().recorderFailed; ++second) {
      rig.Render(kSecond);
      recorder.Drain();
      rig.Render(kBlock);
    }
    const bool failed = rig.Renderer().recorderFailed;
    recorder.StopRecording();
    return failed ? 0 : 3;
  });
  ASSERT_EQ(status, 0);
  const RecordedWav wav = test::ReadRecordedWav(path);
  EXPECT_TRUE(wav.opened && wav.sizesMatchFile);
  EXPECT_GT(wav.frames, 5 * kSecond);  // what fitted stays
  EXPECT_LE(wav.frames * 4 + 44, 1 << 20);
}

TEST(RecorderFaults, AKilledRecordingLeavesAValidWavMissingAtMostTheLastSecond) {
  TempDir dir;
  const std::string tone = test::MakeTone(dir.Path(), 30.0, 0.5);
  ASSERT_FALSE(tone.empty());
  const std::string path = dir.File("killed.wav");
  const std::string marker = dir.File("recording.open");
  // Frames the child's callback has rendered, shared with this process.
  auto* rendered = static_cast<std::atomic<long>*>(mmap(nullptr, sizeof(std::atomic<long>),
                                                        PROT_READ | PROT_WRITE,
                                                        MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(rendered, MAP_FAILED);
  new (rendered) std::atomic<long>(0);
  const pid_t pid = fork();
  if (pid == 0) {
    CRecorder recorder(nullptr, marker);
    RecordingRig rig(tone, &recorder, kBlock);
    if (!rig.Ready() || !recorder.StartRecording(path)) _exit(2);
    // Paced like a sound card: one block per 5.8 ms.
    for (auto next = std::chrono::steady_clock::now();;) {
      rig.Render(kBlock);
      rendered->fetch_add(kBlock);
      next += std::chrono::microseconds(kBlock * 1000000L / kSecond);
      std::this_thread::sleep_until(next);
    }
  }
  ASSERT_TRUE(WaitFor([&] { return rendered->load() >= 3 * kSecond; }));
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
  const long atKill = rendered->load();
  munmap(rendered, sizeof(std::atomic<long>));
  const RecordedWav wav = test::ReadRecordedWav(path);
  EXPECT_TRUE(wav.opened && wav.sizesMatchFile);
  EXPECT_GE(wav.frames, atKill - kSecond) << atKill;
  EXPECT_LE(wav.frames, atKill);
  // The marker names the unfinished file; the repair finds the header true.
  EXPECT_TRUE(RepairUnfinishedRecording(marker));
  EXPECT_FALSE(FileExists(marker));
  EXPECT_FALSE(RepairUnfinishedRecording(marker)) << "nothing left to repair";
}

TEST(RecorderFaults, AHeaderBehindItsDataIsRepairedToTheWholeFrames) {
  TempDir dir;
  const std::string path = dir.File("torn.wav");
  {
    CRecorder recorder(nullptr, "");
    ASSERT_TRUE(recorder.StartRecording(path));
    std::vector<float> block(1000 * 2, 0.1f);
    recorder.WriteBlock(block.data(), 1000);
    recorder.StopRecording();
  }
  const std::string whole = test::ReadFile(path);
  struct Case {
    const char* name;
    std::string bytes;
    WavRepair result;
    std::int64_t frames;
  };
  std::string zeroSizes = whole;
  zeroSizes.replace(4, 4, std::string(4, '\0')).replace(40, 4, std::string(4, '\0'));
  const Case cases[] = {
      {"complete", whole, WavRepair::kNotNeeded, 1000},
      {"sizes never written", zeroSizes, WavRepair::kRepaired, 1000},
      {"data after the header", whole + std::string(4 * 500, '\1'), WavRepair::kRepaired, 1500},
      {"a torn last frame", whole + std::string(6, '\1'), WavRepair::kRepaired, 1001},
      {"header only", whole.substr(0, 44), WavRepair::kRepaired, 0},
      {"not a wav", "RIFX" + whole.substr(4), WavRepair::kNotAWav, 0},
      {"shorter than a header", whole.substr(0, 20), WavRepair::kNotAWav, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    test::WriteFile(path, c.bytes);
    std::int64_t frames = -1;
    EXPECT_EQ(RepairRecordedWav(path, &frames), c.result);
    if (c.result == WavRepair::kNotAWav) continue;
    EXPECT_EQ(frames, c.frames);
    const RecordedWav wav = test::ReadRecordedWav(path);
    EXPECT_EQ(wav.frames, c.frames);
    EXPECT_EQ(wav.sizesMatchFile, c.bytes.size() % 4 == 0);
  }
  EXPECT_EQ(RepairRecordedWav(dir.File("absent.wav")), WavRepair::kFailed);
}

// ---- threads (also under the thread sanitizer) ----------------------------

TEST(RecorderThreads, AStalledWriterCostsCountedFramesNeverACallback) {
  TempDir dir;
  CRecorder recorder(nullptr, "");
  std::atomic<bool> stalled{false};
  recorder.SetDrainHook([&] {
    if (!stalled.exchange(true)) std::this_thread::sleep_for(std::chrono::seconds(3));
  });
  ASSERT_TRUE(recorder.StartRecording(dir.File("stall.wav")));
  std::vector<float> block(kBlock * 2);
  long rendered = 0;
  double slowestMs = 0;
  // Ten seconds of blocks, as fast as the machine goes, while the writer
  // sleeps: the ring of four seconds overflows.
  while (rendered < 10 * kSecond || !stalled) {
    for (int i = 0; i < kBlock * 2; ++i)
      block[i] = static_cast<float>((rendered + i / 2) % 100) / 200;
    const auto start = std::chrono::steady_clock::now();
    {
      RealtimeScope audio;
      ASSERT_EQ(recorder.WriteBlock(block.data(), kBlock), kBlock);
    }
    slowestMs =
        std::max(slowestMs,
                 std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                     .count());
    rendered += kBlock;
  }
  recorder.StopRecording();
  // Generous for a loaded machine: a callback waiting for the writer would
  // take the whole three seconds.
  EXPECT_LT(slowestMs, 500.0);
  const RecordedWav wav = test::ReadRecordedWav(dir.File("stall.wav"));
  EXPECT_GT(recorder.LostFrames(), 0);
  EXPECT_EQ(wav.frames + recorder.LostFrames(), rendered) << "every frame written or counted";
}

}  // namespace
}  // namespace vantaro
