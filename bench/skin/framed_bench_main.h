#pragma once
// The main of a benchmark that draws controls in a plain frame: starts the
// toolkit, shows a frame of `size` titled `title` for the benchmarks to
// place their controls in (`frame` is set while they run), runs them and
// takes everything down again. Run under an X server.

#include <benchmark/benchmark.h>
#include <wx/app.h>
#include <wx/frame.h>
#include <wx/init.h>

inline int RunBenchmarksInFrame(int argc, char** argv, const char* title, wxSize size,
                                wxFrame*& frame) {
  wxApp::SetInstance(new wxApp());
  if (!wxEntryStart(argc, argv)) return 1;
  wxTheApp->CallOnInit();
  frame = new wxFrame(nullptr, wxID_ANY, title, wxPoint(0, 0), size);
  frame->Show();
  wxTheApp->Yield(true);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  frame->Destroy();
  frame = nullptr;
  wxTheApp->Yield(true);
  wxEntryCleanup();
  return 0;
}
