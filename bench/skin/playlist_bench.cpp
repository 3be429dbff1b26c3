// The track list with 100,000 rows: a full paint with the first row on
// screen at the top, the middle and the end (each must stay under 8 ms, so
// scrolling keeps 60 frames a second with room to spare; the three must
// cost the same, as a paint reads only the rows on screen), and one click
// on a header's sort of all the rows. Each paint ends when the X server has
// it. Run under an X server:
//   xvfb-run -a -s "-screen 0 1280x800x24" build/release/bench_playlist
//     --benchmark_repetitions=10
// (one command line).
#include <X11/Xlib.h>
#include <benchmark/benchmark.h>
#include <wx/app.h>
#include <wx/frame.h>
#include <wx/init.h>
#include <wx/utils.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

#include "bench/skin/framed_bench_main.h"
#include "control/control_action.h"
#include "library/abstract_list.h"
#include "skin/attribute_list.h"
#include "skin/playlist.h"

namespace vantaro {
namespace {

constexpr int kRows = 100000;
wxFrame* g_frame = nullptr;

std::unique_ptr<CZKAbstractList> BigList() {
  auto list = std::make_unique<CZKAbstractList>();
  for (int i = 0; i < kRows; ++i) {
    const int n = static_cast<int>((i * 7919LL) % kRows);
    char text[64];
    TZKListElement row;
    std::snprintf(text, sizeof text, "A rather long track title %06d", n);
    row.column[kColTitle] = text;
    std::snprintf(text, sizeof text, "Artist %d", kRows - n);
    row.column[kColArtist] = text;
    row.column[kColTempo] = "128.0";
    row.column[kColTime] = "03:45";
    row.column[kColGenre] = "House";
    row.column[kColPath] = std::string("/music/") + text + ".mp3";
    row.highlight = n % 11 - 2;
    row.duration_ms = 225000;
    list->InsertRow(row, -1);
  }
  return list;
}

CZKPlaylist* MakeView() {
  auto* view = new CZKPlaylist(g_frame, FindControlAction("playlist"), -1);
  ZKAttributeList attributes;
  for (const auto& [name, value] : {std::pair{"width", "900"},
                                    {"height", "400"},
                                    {"lineheight", "22"},
                                    {"infoheight", "20"},
                                    {"fontsize", "3"}})
    attributes.SetText(name, value);
  view->ApplySkinAttributes(attributes);
  return view;
}

void Paint(benchmark::State& state, int where) {
  std::unique_ptr<CZKAbstractList> list = BigList();
  CZKPlaylist* view = MakeView();
  view->ShowList(list.get());
  const int row = where == 0 ? 0 : where == 1 ? kRows / 2 : kRows - 1;
  list->SetMainCursor(row);
  list->SetNextCursor(std::min(row + 1, kRows - 1));
  view->ScrollToRow(row);
  for (auto _ : state) {
    view->Redraw();
    view->Update();
    XSync(wxGetX11Display(), False);
  }
  state.counters["top"] = view->Top();
  view->Destroy();
}

void SortClick(benchmark::State& state) {
  std::unique_ptr<CZKAbstractList> list = BigList();
  CZKPlaylist* view = MakeView();
  view->ShowList(list.get());
  for (auto _ : state) {
    view->SortByHeader(kColTitle);  // each click turns the order round
    view->Update();
  }
  view->Destroy();
}

double Least(const std::vector<double>& values) {
  return *std::min_element(values.begin(), values.end());
}

BENCHMARK_CAPTURE(Paint, top, 0)->Unit(benchmark::kMillisecond)->ComputeStatistics("min", Least);
BENCHMARK_CAPTURE(Paint, middle, 1)->Unit(benchmark::kMillisecond)->ComputeStatistics("min", Least);
BENCHMARK_CAPTURE(Paint, end, 2)->Unit(benchmark::kMillisecond)->ComputeStatistics("min", Least);
BENCHMARK(SortClick)->Unit(benchmark::kMillisecond)->ComputeStatistics("min", Least);

}  // namespace
}  // namespace vantaro

int main(int argc, char** argv) {
  return RunBenchmarksInFrame(argc, argv, "list", wxSize(920, 420), vantaro::g_frame);
}
