// The FFmpeg reader's speed: a five-minute MP3 decoded through the codec set
// into a deck, against the ffmpeg command decoding the same file to 16-bit
// PCM at 44100 Hz in the same run. Both are timed by the wall clock (the
// command runs in a child process); "ratio" is deck time over ffmpeg time.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <string>

#include "codecs/codec_set.h"
#include "engine/sound_source.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

constexpr int kSongSeconds = 300;

// The five-minute MP3, made once per run: pink noise on the left, a sweep on
// the right, so the encoder has music-like work at 192 kb/s.
const std::string& SongPath() {
  static test::TempDir folder;
  static std::string path;
  if (path.empty()) {
    path = folder.File("five_minutes.mp3");
    const std::string command =
        "sox -D -n -r 44100 -c 2 -b 16 -t wav - synth " + std::to_string(kSongSeconds) +
        " pinknoise sine 100-8000 vol 0.4 | ffmpeg -nostdin -hide_banner -loglevel error "
        "-y -i - -c:a libmp3lame -b:a 192k '" +
        path + "'";
    if (test::RunCommand(command) != 0) path.clear();
  }
  return path;
}

double Seconds(std::chrono::steady_clock::time_point since) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

// Loads the song on a deck and lets its store run decode every block.
// Returns the seconds taken, or -1 when the deck did not take the file.
double DecodeIntoDeck(const std::string& path, const std::string& dataRoot) {
  const auto start = std::chrono::steady_clock::now();
  CSoundSource deck(0, dataRoot);
  if (!deck.LoadSong(path, false, nullptr, false)) return -1;
  for (int run = 0; run < 50 && (run == 0 || deck.GetDecodedPercent() < 100); ++run)
    deck.StoreThreadRun();
  if (!deck.IsSongReady() || deck.GetDecodedPercent() < 100) return -1;
  return Seconds(start);
}

double DecodeWithCommand(const std::string& path) {
  const auto start = std::chrono::steady_clock::now();
  if (test::RunCommand("ffmpeg -nostdin -hide_banner -loglevel error -i '" + path +
                       "' -f s16le -ar 44100 - > /dev/null") != 0)
    return -1;
  return Seconds(start);
}

void BM_Mp3IntoDeckAgainstFfmpeg(benchmark::State& state) {
  const std::string& path = SongPath();
  if (path.empty()) {
    state.SkipWithError("could not make the MP3 (sox, ffmpeg)");
    return;
  }
  test::TempDir dataRoot;
  double deckTotal = 0, commandTotal = 0;
  int rounds = 0;
  for (auto _ : state) {
    const double deckSeconds = DecodeIntoDeck(path, dataRoot.Path() + "/");
    const double commandSeconds = DecodeWithCommand(path);
    if (deckSeconds < 0 || commandSeconds < 0) {
      state.SkipWithError("decoding failed");
      return;
    }
    state.SetIterationTime(deckSeconds);
    deckTotal += deckSeconds;
    commandTotal += commandSeconds;
    ++rounds;
  }
  state.counters["deck_s"] = deckTotal / rounds;
  state.counters["ffmpeg_s"] = commandTotal / rounds;
  state.counters["ratio"] = deckTotal / commandTotal;
  state.counters["x_realtime"] = kSongSeconds * rounds / deckTotal;
}
BENCHMARK(BM_Mp3IntoDeckAgainstFfmpeg)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);

// The reader alone through the codec set (no deck), float target as the
// analysis asks for it.
void BM_Mp3ThroughCodecSet(benchmark::State& state) {
  const std::string& path = SongPath();
  if (path.empty()) {
    state.SkipWithError("could not make the MP3 (sox, ffmpeg)");
    return;
  }
  std::vector<float> block(44100 * 2);
  double seconds = 0;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    CCodecSet set(30);
    TCodecFormat format{44100, 2, 32, 32, 0, 0};
    if (!set.Open(path, format, kCodecRead, 44100)) {
      state.SkipWithError("open failed");
      return;
    }
    int64_t frames = 0;
    while (true) {
      const int got = set.GetFloatSamples(block.data(), 44100, frames);
      frames += got;
      if (got < 44100) break;
    }
    benchmark::DoNotOptimize(frames);
    seconds += Seconds(start);
    state.SetIterationTime(Seconds(start));
  }
  state.counters["x_realtime"] = kSongSeconds * static_cast<double>(state.iterations()) / seconds;
}
BENCHMARK(BM_Mp3ThroughCodecSet)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

// Open alone: the packets of an MP3 are counted here for its exact length.
void BM_Mp3OpenWithPacketCount(benchmark::State& state) {
  const std::string& path = SongPath();
  if (path.empty()) {
    state.SkipWithError("could not make the MP3 (sox, ffmpeg)");
    return;
  }
  for (auto _ : state) {
    CCodecSet set(30);
    TCodecFormat format{44100, 2, 32, 32, 0, 0};
    if (!set.Open(path, format, kCodecRead, 44100)) {
      state.SkipWithError("open failed");
      return;
    }
    benchmark::DoNotOptimize(format.frames);
  }
}
BENCHMARK(BM_Mp3OpenWithPacketCount)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace vantaro
