// Lists of 100,000 rows: .vtl load and save (target: each under 1 s),
// search and filter (under 20 ms), sort by title (under 150 ms); and the
// tag-reading fill of AddFolder over 2,000 tagged MP3 files from the page
// cache (target: at least 500 files/s, "files_per_s").
// Run: build/release/bench_lists --benchmark_filter=<name>

#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <random>
#include <string>

#include "library/abstract_list.h"

namespace vantaro {
namespace {

constexpr int kRows = 100000;
constexpr int kTaggedFiles = 2000;

const char* const kWords[] = {"Deep", "Night", "Sun",    "Rise",   "Techno", "Énergie",
                              "Cœur", "Ночь",  "Δρόμος", "Tribal", "Echo",   "Vocal"};

TZKListElement RandomRow(std::mt19937& random, int i) {
  auto word = [&] { return std::string(kWords[random() % std::size(kWords)]); };
  TZKListElement row;
  row.column[kColTitle] = word() + " " + word() + " " + std::to_string(i);
  row.column[kColArtist] = word() + " " + word();
  row.column[kColAlbum] = word() + " Sessions";
  row.column[kColComment] = random() % 4 ? "" : "Warm-up " + word();
  row.column[kColTempo] = std::to_string(90 + random() % 60) + ".0";
  row.column[kColYear] = std::to_string(1980 + random() % 45);
  row.column[kColPath] =
      "/home/dj/Music/" + row.column[kColArtist] + "/" + row.column[kColTitle] + ".mp3";
  row.gnr1 = random() % 150;
  row.duration_ms = 180000 + random() % 300000;
  return row;
}

// A folder with a 100,000-row .vtl and 2,000 tagged MP3s, removed at exit.
struct BenchFolder {
  BenchFolder() {
    char pattern[] = "/tmp/vantaro-list-bench-XXXXXX";
    folder = mkdtemp(pattern);
    vtl = folder + "/big.vtl";
    std::mt19937 random(5);
    CZKAbstractList list;
    for (int i = 0; i < kRows; ++i) list.InsertRow(RandomRow(random, i), -1);
    list.SaveListContents(vtl, false);
    tagged = folder + "/tagged";
    const std::string script =
        "mkdir '" + tagged + "' && cd '" + tagged +
        "' && ffmpeg -nostdin -loglevel error -f lavfi -i sine=d=1 -metadata title=Tune "
        "-metadata artist=Band -metadata album=Record -metadata genre=Techno one.mp3 && "
        "for i in $(seq 1 " +
        std::to_string(kTaggedFiles - 1) + "); do cp one.mp3 \"t$i.mp3\"; done";
    taggedReady = std::system(script.c_str()) == 0;
  }
  ~BenchFolder() { std::system(("rm -rf '" + folder + "'").c_str()); }
  std::string folder, vtl, tagged;
  bool taggedReady = false;
};

BenchFolder& Folder() {
  static BenchFolder folder;
  return folder;
}

void BM_LoadList(benchmark::State& state) {
  const std::string path = Folder().vtl;  // the files are made before the clock runs
  CZKAbstractList list;
  for (auto _ : state) {
    list.LoadListContents(path, true);
    if (list.Count() != kRows) state.SkipWithError("load failed");
  }
}
BENCHMARK(BM_LoadList)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

void BM_SaveList(benchmark::State& state) {
  CZKAbstractList list;
  list.LoadListContents(Folder().vtl, true);
  const std::string path = Folder().folder + "/saved.vtl";
  for (auto _ : state)
    if (!list.SaveListContents(path, false)) state.SkipWithError("save failed");
}
BENCHMARK(BM_SaveList)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

void BM_Search(benchmark::State& state) {
  CZKAbstractList list;
  list.LoadListContents(Folder().vtl, true);
  for (auto _ : state) {
    list.StartSearch("énergie");
    benchmark::DoNotOptimize(list.Count());
    list.StopSearch();
  }
}
BENCHMARK(BM_Search)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Filter(benchmark::State& state) {
  CZKAbstractList list;
  list.LoadListContents(Folder().vtl, true);
  ListFilter filter;
  filter.yearFrom = 1995;
  filter.yearTo = 2010;
  filter.tempoFrom = 120;
  filter.genres = {1, 2, 3, 18, 52};
  for (auto _ : state) {
    list.StartFilter(filter);
    benchmark::DoNotOptimize(list.Count());
    list.StopFilter();
  }
}
BENCHMARK(BM_Filter)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_SortByTitle(benchmark::State& state) {
  std::setlocale(LC_COLLATE, "");
  CZKAbstractList list;
  list.LoadListContents(Folder().vtl, true);
  bool descending = false;
  for (auto _ : state) {
    list.SortByColumn(kColTitle, descending);
    descending = !descending;
  }
  state.SetLabel(std::setlocale(LC_COLLATE, nullptr));
}
BENCHMARK(BM_SortByTitle)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_AddFolderTags(benchmark::State& state) {
  if (!Folder().taggedReady) {
    state.SkipWithError("ffmpeg could not make the tagged files");
    return;
  }
  CZKAbstractList warm;  // the first pass brings the files into the page cache
  warm.AddFolder(Folder().tagged, false, true);
  warm.FinishPendingWork();
  for (auto _ : state) {
    CZKAbstractList list;
    list.AddFolder(Folder().tagged, false, true);
    list.FinishPendingWork();
    if (list.Count() != kTaggedFiles || list.GetRow(0)->column[kColArtist] != "Band")
      state.SkipWithError("fill failed");
  }
  state.counters["files_per_s"] = benchmark::Counter(
      static_cast<double>(state.iterations()) * kTaggedFiles, benchmark::Counter::kIsRate);
}
BENCHMARK(BM_AddFolderTags)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

}  // namespace
}  // namespace vantaro
