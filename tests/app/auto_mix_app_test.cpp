// Auto-mix end to end: the real program under Xvfb on the JACK dummy
// server, recording its master (--record), plays a three-track auto-mix
// list of distinct tones with a click at 120 BPM. Switched on through the
// remote socket with both decks empty, it fades track 1 in, mixes into
// track 2 over the fade time, and leaves track 3 waiting on the idle deck.
// The recording is judged by the level of each track's tone.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "engine/mixer_law.h"
#include "tests/app/app_process.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

namespace fs = std::filesystem;
using test::AppProcess;
using test::TempDir;
using test::XvfbServer;

constexpr int kRate = 44100;
constexpr double kFadeSeconds = 6.0;
constexpr int kCrossfaderSteps = 128, kCrossfaderCurve = 50;
constexpr int kBlock = kRate / 20;  // 50 ms
constexpr double kTwoPi = 6.283185307179586;

struct Track {
  const char* name;
  double frequency, seconds;
};
// 20 s at least: the tempo analysis needs that much to be sure of 120 BPM.
constexpr Track kTracks[] = {{"one.wav", 2200, 20}, {"two.wav", 3100, 24}, {"three.wav", 4300, 20}};

// A tone with a 170 Hz click of 60 ms (soft edges) on every beat at 120 BPM.
void MakeTrack(const std::string& path, const Track& track) {
  const std::string seconds = std::to_string(track.seconds);
  const std::string command =
      "sox -n -r 44100 -c 2 -b 16 '" + path + ".click.wav' synth 0.06 sine 170 fade h 0.01 0.06 " +
      "0.01 vol 0.5 pad 0 0.44 repeat " + std::to_string(static_cast<int>(track.seconds * 2)) +
      " && sox -n -r 44100 -c 2 -b 16 '" + path + ".tone.wav' synth " + seconds + " sine " +
      std::to_string(track.frequency) + " vol 0.25 && sox -m '" + path + ".click.wav' '" + path +
      ".tone.wav' '" + path + "' trim 0 " + seconds;
  ASSERT_EQ(test::RunCommand(command), 0) << command;
}

std::string AutomixListFile(const std::vector<std::string>& paths) {
  std::string text =
      "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?>\n"
      "<list version=\"100\" name=\"automix\">\n";
  for (std::size_t i = 0; i < paths.size(); ++i)
    text += "<song numb=\"" + std::to_string(i + 1) + "\" titl=\"" + kTracks[i].name +
            "\" fnam=\"" + paths[i] + "\" />\n";
  return text + "</list>\n";
}

// The left channel of a recording, as floats (sox converts).
std::vector<float> ReadLeft(const std::string& wav) {
  const std::string raw = wav + ".raw";
  EXPECT_EQ(test::RunCommand("sox '" + wav + "' -t f32 '" + raw + "' remix 1"), 0);
  const std::string bytes = test::ReadFile(raw);
  std::vector<float> left(bytes.size() / sizeof(float));
  std::memcpy(left.data(), bytes.data(), left.size() * sizeof(float));
  return left;
}

// Level of `frequency` in each 50 ms block, dB (Hann window, Goertzel).
std::vector<double> ToneLevels(const std::vector<float>& samples, double frequency) {
  std::vector<double> levels;
  const double coefficient = 2 * std::cos(kTwoPi * frequency / kRate);
  for (std::size_t start = 0; start + kBlock <= samples.size(); start += kBlock) {
    double s1 = 0, s2 = 0;
    for (int i = 0; i < kBlock; ++i) {
      const double window = 0.5 - 0.5 * std::cos(kTwoPi * i / (kBlock - 1));
      const double s0 = samples[start + i] * window + coefficient * s1 - s2;
      s2 = s1;
      s1 = s0;
    }
    const double power = s1 * s1 + s2 * s2 - coefficient * s1 * s2;
    levels.push_back(10 * std::log10(power + 1e-30));
  }
  return levels;
}

// Each level less the track's loudest block: 0 dB is the track alone at
// full gain.
std::vector<double> Relative(std::vector<double> levels) {
  const double top = *std::max_element(levels.begin(), levels.end());
  for (double& level : levels) level -= top;
  return levels;
}

// The crossfader position whose gain for one side (deck B when `deckB`)
// comes nearest `db`, by the mixer's own law.
double PositionForGain(double db, bool deckB) {
  const double base = CrossBase(kCrossfaderSteps, kCrossfaderCurve);
  int best = 0;
  double bestError = 1e9;
  for (int position = 0; position < kCrossfaderSteps; ++position) {
    const int k = deckB ? kCrossfaderSteps - 1 - position : position;
    const double gain =
        20 * std::log10(CrossLawLinear(k, kCrossfaderSteps, kCrossfaderCurve, base) + 1e-30);
    if (std::fabs(gain - db) < bestError) bestError = std::fabs(gain - db), best = position;
  }
  return best;
}

// The first block from `from` that starts three blocks in a row passing
// `test` (a lone transient block does not count); -1 when none.
int FirstBlock(const std::vector<double>& levels, int from, bool (*test)(double)) {
  for (int i = std::max(from, 0); i + 2 < static_cast<int>(levels.size()); ++i)
    if (test(levels[i]) && test(levels[i + 1]) && test(levels[i + 2])) return i;
  return -1;
}

using Clock = std::chrono::steady_clock;

// When the program's output first holds `text`, polled every 10 ms.
Clock::time_point WhenSeen(const AppProcess& app, const std::string& text, int seconds) {
  const Clock::time_point deadline = Clock::now() + std::chrono::seconds(seconds);
  while (app.Output().find(text) == std::string::npos && Clock::now() < deadline)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  return Clock::now();
}

double SecondsBetween(Clock::time_point from, Clock::time_point to) {
  return std::chrono::duration<double>(to - from).count();
}

TEST(AutoMixProgram, ThreeTracksPlayOneAloneThenASweepOfTheFadeTimeThenTwoAloneWithThreeReady) {
  XvfbServer x(1280, 800);
  TempDir home;
  const std::string root = home.Path() + "/Vantaro/";
  fs::create_directories(root + "Database");
  std::vector<std::string> paths;
  for (const Track& track : kTracks) {
    paths.push_back(home.File(track.name));
    MakeTrack(paths.back(), track);
  }
  test::WriteFile(root + "Database/automix.vtl", AutomixListFile(paths));
  // No automatic gain: each track keeps its level through the set.
  test::WriteProgramSettings(home.Path(),
                             {{"mixtim", "60", 0}, {"cfcurv", "50", 0}, {"apgain", "0", 0}});

  const std::string recording = home.File("set.wav");
  AppProcess app(x.Display(), home.Path(), home.File("run.log"), {"--record", recording});
  const Clock::time_point recordingStarted = WhenSeen(app, "recording: started", 120);
  ASSERT_TRUE(app.WaitForOutput("remote: listening", 120)) << app.Output();
  ASSERT_TRUE(app.WaitForOutput("auto-mix: ready", 10)) << app.Output();
  ASSERT_EQ(test::RunCommand("VANTARO_HOME='" + home.Path() +
                             "' " VANTARO_BINARY_DIR "/vantaro --call setAutoDj 1"),
            0);
  const Clock::time_point sweepStart = WhenSeen(app, "auto-mix: sweep towards deck B", 60);
  const Clock::time_point sweepEnd = WhenSeen(app, "auto-mix: sweep ended on deck B", 30);
  ASSERT_NE(app.Output().find("auto-mix: sweep ended on deck B"), std::string::npos)
      << app.Output();
  ASSERT_TRUE(app.WaitForOutput("deck A: loading " + paths[2], 10)) << app.Output();
  sleep(4);  // track 2 alone
  app.Signal(SIGTERM);
  const Clock::time_point audioClosed = WhenSeen(app, "close 4:", 60);
  ASSERT_EQ(app.WaitForExit(60), 0) << app.Output();
  // Taken rows leave the list, never the disk.
  EXPECT_EQ(test::ReadFile(root + "Database/automix.vtl").find("<song"), std::string::npos);
  for (const std::string& path : paths) EXPECT_TRUE(fs::exists(path)) << path;

  const double wallSweep = SecondsBetween(sweepStart, sweepEnd);
  EXPECT_NEAR(wallSweep, kFadeSeconds, kFadeSeconds * 0.1) << "by the program's clock";

  const std::vector<float> left = ReadLeft(recording);
  ASSERT_GT(left.size(), 20u * kRate);
  // A loaded dummy server may render slower than the wall clock: the rate
  // of the sound's own clock, from the recording's length against the time
  // audio was open.
  const double audioRate =
      left.size() / static_cast<double>(kRate) / SecondsBetween(recordingStarted, audioClosed);
  const std::vector<double> raw[3] = {ToneLevels(left, kTracks[0].frequency),
                                      ToneLevels(left, kTracks[1].frequency),
                                      ToneLevels(left, kTracks[2].frequency)};
  const std::vector<double> one = Relative(raw[0]), two = Relative(raw[1]);
  const double blockSeconds = static_cast<double>(kBlock) / kRate;

  const int oneFull = FirstBlock(one, 0, [](double db) { return db > -1.0; });
  const int twoIn = FirstBlock(two, oneFull, [](double db) { return db > -60.0; });
  const int twoFull = FirstBlock(two, twoIn, [](double db) { return db > -1.0; });
  const int oneOut = FirstBlock(one, twoFull, [](double db) { return db < -60.0; });
  ASSERT_TRUE(oneFull >= 0 && twoIn > oneFull && twoFull > twoIn && oneOut > twoFull)
      << oneFull << " " << twoIn << " " << twoFull << " " << oneOut;
  const int end = static_cast<int>(one.size()) - static_cast<int>(1.0 / blockSeconds);

  // Track 1 alone for seconds; then track 2 alone, with track 3 waiting
  // on the idle deck, unheard, until the close.
  EXPECT_GT((twoIn - oneFull) * blockSeconds, 2.0);
  EXPECT_GT((end - oneOut) * blockSeconds, 2.0);
  const double oneTop = *std::max_element(raw[0].begin(), raw[0].end());
  for (int i = oneOut; i < end; ++i) {
    EXPECT_GT(two[i], -1.0) << "track 2 alone at " << i * blockSeconds << " s";
    EXPECT_LT(one[i], -60.0) << "track 1 gone at " << i * blockSeconds << " s";
    EXPECT_LT(raw[2][i], oneTop - 40) << "track 3 silent at " << i * blockSeconds << " s";
  }
  // No gap: from track 1 at full level on, one of them is always within
  // 3 dB of its full level.
  for (int i = oneFull; i < end; ++i)
    EXPECT_GT(std::max(one[i], two[i]), -3.0) << "gap at " << i * blockSeconds << " s";

  // The sweep's speed, read back through the crossfader law from both
  // tracks' levels where they are neither full nor lost: the whole range
  // takes the fade time, on the sound's clock.
  double n = 0, st = 0, sp = 0, stt = 0, stp = 0;
  for (int i = twoIn; i < oneOut; ++i)
    for (bool deckB : {false, true}) {
      const double db = deckB ? two[i] : one[i];
      if (db > -40.0 && db < -0.5) {
        const double t = i * blockSeconds, p = PositionForGain(db, deckB);
        n += 1, st += t, sp += p, stt += t * t, stp += t * p;
      }
    }
  ASSERT_GT(n, 20);
  const double slope = (n * stp - st * sp) / (n * stt - st * st);  // positions a second
  const double heardSweep = (kCrossfaderSteps - 1) / slope;
  std::printf(
      "auto-mix: sweep of %.1f s: %.2f s by the program's clock, %.2f s in the recording, "
      "sound clock at %.3f of real time\n",
      kFadeSeconds, wallSweep, heardSweep, audioRate);
  EXPECT_NEAR(heardSweep, kFadeSeconds * audioRate, kFadeSeconds * audioRate * 0.1);
}

}  // namespace
}  // namespace vantaro
