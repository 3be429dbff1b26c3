// The browser's GUI-thread stalls (target: each under 16 ms, one frame):
//   expand:  a folder of 10,000 subfolders expanded (read on its own
//            thread, opened by a tick: "expand_ms"), then its children
//            probed for subfolders on another thread, the answers applied
//            by a tick ("longest_stall_ms" is the longest GUI-side call:
//            the request, the opening or one tick's work);
//   fill:    a folder of 10,000 WAV files shown, its rows drained on a
//            38 ms tick as the list's worker builds them ("longest_stall_ms"
//            is the longest drain).
// Run: build/release/bench_browser

#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <string>
#include <thread>

#include "library/browser_tree.h"
#include "library/list_set.h"

namespace vantaro {
namespace {

constexpr int kEntries = 10000;
constexpr auto kTick = std::chrono::milliseconds(38);
constexpr std::chrono::microseconds kProbeBudget(3000);  // as the browser control's tick

using Clock = std::chrono::steady_clock;

double MillisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// This thread's CPU time, ms: a wall-clock stall much longer than it was
// the scheduler's (the machine shared with other work), not ours.
double ThreadCpuMs() {
  timespec now;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return now.tv_sec * 1e3 + now.tv_nsec / 1e6;
}

// The longest wall and CPU time of the calls timed with it.
struct StallMeter {
  double wall = 0, cpu = 0;
  template <typename Work>
  void Time(Work work) {
    const auto start = Clock::now();
    const double cpuStart = ThreadCpuMs();
    work();
    cpu = std::max(cpu, ThreadCpuMs() - cpuStart);
    wall = std::max(wall, MillisecondsSince(start));
  }
  void Report(benchmark::State& state) const {
    state.counters["longest_stall_ms"] = wall;
    state.counters["longest_cpu_ms"] = cpu;
  }
};

// A tenth of a second of silent 16-bit stereo.
std::string SilentWav() {
  const std::uint32_t data = 4410 * 4;
  std::string wav(44 + data, '\0');
  auto put32 = [&wav](int at, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) wav[at + i] = static_cast<char>(v >> (8 * i));
  };
  wav.replace(0, 4, "RIFF");
  put32(4, 36 + data);
  wav.replace(8, 8, "WAVEfmt ");
  put32(16, 16);
  put32(20, 0x00020001);
  put32(24, 44100);
  put32(28, 44100 * 4);
  put32(32, 0x00100004);
  wav.replace(36, 4, "data");
  put32(40, data);
  return wav;
}

struct BenchFolder {
  BenchFolder() {
    char pattern[] = "/tmp/vantaro-browser-bench-XXXXXX";
    root = mkdtemp(pattern);
    for (const char* sub : {"/Database", "/Playlists", "/home", "/home/many", "/home/files"})
      mkdir((root + sub).c_str(), 0755);
    for (int i = 0; i < kEntries; ++i) {
      const std::string folder = root + "/home/many/folder " + std::to_string(i);
      mkdir(folder.c_str(), 0755);
      if (i % 10 == 0) mkdir((folder + "/inner").c_str(), 0755);
    }
    const std::string wav = SilentWav();
    for (int i = 0; i < kEntries; ++i)
      std::ofstream(root + "/home/files/track " + std::to_string(i) + ".wav") << wav;
  }
  ~BenchFolder() { std::system(("rm -rf '" + root + "'").c_str()); }
  std::string root;
};

BenchFolder& Folder() {
  static BenchFolder folder;
  return folder;
}

struct Display : ListDisplay {
  CZKAbstractList* shown = nullptr;
  CZKAbstractList* Shown() const override { return shown; }
  void Show(CZKAbstractList* list) override { shown = list; }
};

int ChildNamed(BrowserTree& tree, int parent, const std::string& name) {
  for (int id : tree.Node(parent)->children)
    if (tree.Node(id)->name == name) return id;
  return 0;
}

void BM_ExpandTenThousandFolders(benchmark::State& state) {
  const std::string root = Folder().root;
  for (auto _ : state) {
    CZKListSet set(root + "/Database/", root + "/Playlists/");
    BrowserTree tree(set, {}, [&root] {
      return std::vector<DiskEntry>{{"", root + "/home", false}};
    });
    tree.BuildTree();
    const int home = tree.Node(tree.Shown()[0])->children[0];
    tree.ToggleNode(home);
    const int many = ChildNamed(tree, home, "many");
    tree.SetBackgroundReads(true);
    StallMeter stalls, opening;
    stalls.Time([&] { tree.ToggleNode(many); });
    // The level is read on its own thread; each tick opens what is ready.
    while (!tree.Node(many)->expanded) {
      std::this_thread::sleep_for(kTick);
      opening.Time([&] { tree.CollectReads(false); });
    }
    stalls.wall = std::max(stalls.wall, opening.wall);
    stalls.cpu = std::max(stalls.cpu, opening.cpu);
    int ticks = 0;
    while (tree.ProbesWaiting()) {
      stalls.Time([&] {
        tree.ProbeSubfolders(kProbeBudget);
        tree.CollectReads(false);
      });
      ++ticks;
      std::this_thread::sleep_for(kTick);
    }
    state.counters["expand_ms"] = opening.wall;
    stalls.Report(state);
    state.counters["probe_ticks"] = ticks;
    state.counters["rows"] = static_cast<double>(tree.Shown().size());
  }
}
BENCHMARK(BM_ExpandTenThousandFolders)->Iterations(3)->Unit(benchmark::kMillisecond);

void BM_FillListFromTenThousandFiles(benchmark::State& state) {
  const std::string root = Folder().root;
  for (auto _ : state) {
    CZKListSet set(root + "/Database/", root + "/Playlists/");
    BrowserTree tree(set, {}, [&root] {
      return std::vector<DiskEntry>{{"", root + "/home", false}};
    });
    tree.BuildTree();
    const int home = tree.Node(tree.Shown()[0])->children[0];
    tree.ToggleNode(home);
    Display display;
    const auto begin = Clock::now();
    StallMeter stalls;
    stalls.Time([&] { tree.ShowList(ChildNamed(tree, home, "files"), display); });
    CZKAbstractList& list = tree.FolderList();
    while (list.Filling() || list.Count() < kEntries) {
      std::this_thread::sleep_for(kTick);
      stalls.Time([&] { list.DrainFinishedRows(); });
      if (!list.Filling() && list.Count() < kEntries) break;  // some files refused
    }
    state.counters["fill_s"] = MillisecondsSince(begin) / 1000;
    stalls.Report(state);
    state.counters["rows"] = list.Count();
  }
}
BENCHMARK(BM_FillListFromTenThousandFiles)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace vantaro
