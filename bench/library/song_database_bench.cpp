// db.vtx with 100,000 tracks: load and save times (target: each under 1 s),
// and the rate of FindSong as a list filling in the background calls it.
// Times are wall-clock seconds per operation ("seconds" counter).

#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <unistd.h>

#include <random>
#include <string>
#include <vector>

#include "base/xml_text.h"
#include "library/song_database.h"
#include "library/song_database_file.h"

namespace vantaro {
namespace {

constexpr int kTracks = 100000;

std::vector<TZKSongRecord> Tracks() {
  std::mt19937 random(11);
  std::vector<TZKSongRecord> records(kTracks);
  for (int i = 0; i < kTracks; ++i) {
    TZKSongRecord& r = records[i];
    r.name = "Artist " + std::to_string(random() % 5000) + " - Title " + std::to_string(i) +
             " (Extended Mix).mp3";
    r.bpm = 70 + (random() % 900000) / 10000.0f;
    r.duration_ms = 120000 + random() % 480000;
    r.pgain_valid = 1;
    r.pgain = -9 + (random() % 180000) / 10000.0f;
    r.currentcue = random() % 10;
    for (int c = 0; c < 4; ++c) r.cue[c] = 1 + random() % 10000000;
    r.cue_out = 5000000 + random() % 1000000;
    r.loop_in[0] = 1 + random() % 1000000;
    r.loop_out[0] = r.loop_in[0] + 88200;
    r.pitch_key = 1 + random() % 24;
  }
  return records;
}

// A folder with a 100,000-track db.vtx, removed at exit.
struct BenchFolder {
  BenchFolder() {
    char pattern[] = "/tmp/vantaro-bench-XXXXXX";
    folder = mkdtemp(pattern);
    path = folder + "/db.vtx";
    WriteFileAtomically(path, FormatSongDatabaseFile(Tracks()));
  }
  ~BenchFolder() {
    unlink(path.c_str());
    unlink((path + ".bak").c_str());
    rmdir(folder.c_str());
  }
  std::string folder, path;
};

BenchFolder& Folder() {
  static BenchFolder folder;
  return folder;
}

void BM_LoadSongDatabase(benchmark::State& state) {
  const std::string path = Folder().path;
  for (auto _ : state) {
    if (!LoadSongDatabase(path) || SongCount() != kTracks) state.SkipWithError("load failed");
    state.PauseTiming();
    SaveSongDatabase(path);
    state.ResumeTiming();
  }
  state.counters["tracks"] = kTracks;
}
BENCHMARK(BM_LoadSongDatabase)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

void BM_SaveSongDatabase(benchmark::State& state) {
  const std::string path = Folder().path;
  for (auto _ : state) {
    state.PauseTiming();
    LoadSongDatabase(path);
    state.ResumeTiming();
    if (!SaveSongDatabase(path)) state.SkipWithError("save failed");
  }
  state.counters["tracks"] = kTracks;
}
BENCHMARK(BM_SaveSongDatabase)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

void BM_FindSong(benchmark::State& state) {
  const std::string path = Folder().path;
  LoadSongDatabase(path);
  std::vector<std::string> keys;
  for (const TZKSongRecord& record : Tracks()) keys.push_back(record.name);
  TZKSongRecord out;
  std::size_t next = 0, found = 0;
  for (auto _ : state) {
    found += FindSong(keys[next], out);
    next = (next + 7919) % keys.size();
  }
  if (found != static_cast<std::size_t>(state.iterations())) state.SkipWithError("missed");
  state.counters["lookups_per_s"] =
      benchmark::Counter(state.iterations(), benchmark::Counter::kIsRate);
  SaveSongDatabase(path);
}
BENCHMARK(BM_FindSong);

}  // namespace
}  // namespace vantaro
