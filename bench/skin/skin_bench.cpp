// What one change of a control costs on screen: DrawControl into the back
// buffer, then the paint that copies it to the window, until the X server
// has it. Buttons of 120 x 48 with a label and faders of 40 x 220, each
// drawn from colours and from the skin image. And what choosing the
// language costs at start: loading the English file and applying its
// labels and hints to every built-in control. And, on the default skin at
// 1280 x 800: LoadSkin, a repaint of the whole window, one control's change.
#include <X11/Xlib.h>
#include <benchmark/benchmark.h>
#include <wx/app.h>
#include <wx/dcmemory.h>
#include <wx/image.h>
#include <wx/init.h>
#include <wx/utils.h>

#include <initializer_list>
#include <string>
#include <utility>

#include "control/control_table.h"
#include "control/language.h"
#include "skin/attribute_list.h"
#include "skin/builtin_controls.h"
#include "skin/button.h"
#include "skin/main_window.h"
#include "skin/skin_image.h"
#include "skin/skin_loader.h"
#include "skin/slider.h"

namespace vantaro {
namespace {

ZKMainWindow* g_window = nullptr;

wxBitmap SkinPicture() {
  wxBitmap bitmap(400, 300);
  wxMemoryDC dc(bitmap);
  dc.SetBackground(wxBrush(wxColour(0x30, 0x30, 0x38)));
  dc.Clear();
  dc.SetBrush(wxBrush(wxColour(0xC0, 0x30, 0x30)));
  dc.DrawRectangle(0, 0, 120, 48);
  dc.DrawRectangle(0, 250, 120, 48);
  dc.SetBrush(wxBrush(wxColour(0xE0, 0xE0, 0x00)));
  dc.DrawRectangle(200, 250, 40, 10);
  return bitmap;
}

template <typename Control>
Control* Make(std::initializer_list<std::pair<const char*, const char*>> pairs) {
  auto* control = new Control(g_window, 1, -1);
  ZKAttributeList attributes;
  for (const auto& [name, value] : pairs) attributes.SetText(name, value);
  control->ApplySkinAttributes(attributes);
  return control;
}

// One change as the program makes it, then the screen: the paint's single
// blit, and the X server's round trip.
void ShowChange(ZKCustomControl* control) {
  control->Redraw();
  control->Update();
  XSync(wxGetX11Display(), False);
}

void Button(benchmark::State& state, bool colours) {
  auto* button = colours ? Make<CZKButton>({{"width", "120"},
                                            {"height", "48"},
                                            {"graphics_mode", "1"},
                                            {"showlabel", "yes"},
                                            {"backcolor", "#333333"},
                                            {"backcolorover", "#606060"},
                                            {"fontsize", "5"}})
                         : Make<CZKButton>({{"width", "120"},
                                            {"height", "48"},
                                            {"overx", "0"},
                                            {"overy", "250"},
                                            {"showlabel", "yes"},
                                            {"fontsize", "5"}});
  button->SetLabel("CUE PLAY");
  bool over = false;
  for (auto _ : state) {
    over = !over;
    button->SetForcedOver(over);  // a new look each time
    ShowChange(button);
  }
  button->Destroy();
}

void Fader(benchmark::State& state, bool colours) {
  auto* fader =
      colours ? Make<CZKSlider>(
                    {{"posx", "150"}, {"width", "40"}, {"height", "220"}, {"graphics_mode", "1"}})
              : Make<CZKSlider>({{"posx", "200"},
                                 {"width", "40"},
                                 {"height", "220"},
                                 {"cursorupx", "200"},
                                 {"cursorupy", "250"}});
  fader->SetRange(0, 127);
  int value = 0;
  for (auto _ : state) {
    value = (value + 13) % 128;
    fader->ShowEngineValue(value);
    ShowChange(fader);
  }
  fader->Destroy();
}

void LoadLanguageAndApply(benchmark::State& state) {
  ControlTable table;
  BuildBuiltInControls(g_window, table);
  LanguageTables tables;
  for (auto _ : state) {
    LoadLanguage(std::string(VANTARO_SOURCE_DIR) + "/languages", "", "en_GB.UTF-8", tables);
    ApplyLanguageToControls(table, tables);
  }
  table.ForEach([](ControlTarget* control) { dynamic_cast<wxWindow*>(control)->Destroy(); });
}

// The default skin at 1280 x 800 (run on a screen of that size). Every
// built-in control exists, as in the program; the load places the skin's.
const std::string kDefaultSkin = std::string(VANTARO_BINARY_DIR) + "/skins/vantaro-1280x800.xml";

ControlTable& SkinnedWindow() {
  static bool built = false;
  if (!built) {
    BuildBuiltInControls(g_window, TheControlTable());
    built = true;
  }
  return TheControlTable();
}

// A load of another skin (the sizes take turns, so every picture is
// decoded), or a reload of the running one (its picture is kept).
void LoadDefaultSkin(benchmark::State& state, bool reload) {
  SkinnedWindow();
  const std::string other = std::string(VANTARO_BINARY_DIR) + "/skins/vantaro-1024x600.xml";
  bool large = false;
  for (auto _ : state) {
    large = reload || !large;
    if (!LoadSkin(large ? kDefaultSkin : other, g_window).loaded)
      state.SkipWithError("the default skin does not load");
    wxTheApp->Yield(true);
  }
}

// Every visible control blitted again, with the window's own face between
// them, until the X server has it.
void RepaintWholeWindow(benchmark::State& state) {
  SkinnedWindow();
  if (!LoadSkin(kDefaultSkin, g_window).loaded)
    state.SkipWithError("the default skin does not load");
  wxTheApp->Yield(true);
  int visible = 0;
  for (auto _ : state) {
    g_window->Refresh(false);
    visible = 0;
    TheControlTable().ForEach([&visible](ControlTarget* target) {
      auto* control = dynamic_cast<ZKCustomControl*>(target);
      if (control && control->IsShown()) {
        control->Refresh(false);
        ++visible;
      }
    });
    g_window->Update();
    XSync(wxGetX11Display(), False);
  }
  state.counters["controls"] = visible;
}

// One control of the loaded skin changes: the deck's play button.
void RepaintOneSkinControl(benchmark::State& state) {
  SkinnedWindow();
  if (!LoadSkin(kDefaultSkin, g_window).loaded)
    state.SkipWithError("the default skin does not load");
  wxTheApp->Yield(true);
  auto* play =
      dynamic_cast<CZKButton*>(TheControlTable().Find(FindControlAction("deck_play_pause"), 0));
  bool on = false;
  for (auto _ : state) {
    on = !on;
    play->SetSwitched(on);  // DrawControl and Refresh, as every change
    play->Update();
    XSync(wxGetX11Display(), False);
  }
}

BENCHMARK_CAPTURE(Button, colours, true)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(Button, picture, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(Fader, colours, true)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(Fader, picture, false)->Unit(benchmark::kMicrosecond);
BENCHMARK(LoadLanguageAndApply)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(LoadDefaultSkin, another, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(LoadDefaultSkin, reload, true)->Unit(benchmark::kMillisecond);
BENCHMARK(RepaintWholeWindow)->Unit(benchmark::kMillisecond);
BENCHMARK(RepaintOneSkinControl)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace vantaro

int main(int argc, char** argv) {
  wxApp::SetInstance(new wxApp());
  if (!wxEntryStart(argc, argv)) return 1;
  wxTheApp->CallOnInit();
  wxInitAllImageHandlers();  // the default skin's picture is a PNG
  using vantaro::g_window;
  g_window = new vantaro::ZKMainWindow(wxPoint(0, 0), wxSize(400, 300), "bench", nullptr);
  g_window->Show();
  vantaro::SkinImage::Get().SetBitmap(vantaro::SkinPicture());
  wxTheApp->Yield(true);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  g_window->Destroy();
  wxTheApp->Yield(true);
  wxEntryCleanup();
  return 0;
}
