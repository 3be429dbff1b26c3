// The kinds beside buttons, sliders and texts: level meters, drop zones,
// text boxes, drop-down lists and pictures, on real windows.
#include <gtest/gtest.h>
#include <wx/textctrl.h>

#include <cmath>
#include <string>
#include <vector>

#include "control/control_table.h"
#include "skin/attribute_list.h"
#include "skin/drop_zone.h"
#include "skin/dropdown_list.h"
#include "skin/edit_text.h"
#include "skin/file_drop.h"
#include "skin/image_control.h"
#include "skin/main_window.h"
#include "skin/vu_meter.h"
#include "tests/skin/skin_test_env.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

const wxColour kLow(0x30, 0xC0, 0x30), kHigh(0xC0, 0x30, 0x30);

// The RMS level, in dB, of one 38 ms tick whose first `fraction` is a
// full-scale 1 kHz sine and the rest silence: what the mixer's meter reads.
float TickLevelDb(double fraction) {
  std::vector<float> samples(1676, 0.0f);
  for (size_t i = 0; i < samples.size() * fraction; ++i)
    samples[i] = static_cast<float>(std::sin(2 * M_PI * 1000.0 * i / 44100.0));
  const double rms = test::Rms(samples, 1, 0);
  return rms > 0 ? static_cast<float>(20.0 * std::log10(rms)) : -200.0f;
}

TEST(MeterBar, AFullScaleSineFillsItWithinTwoTicksAndItFallsAfterTheHold) {
  const struct { int length, step; } bars[] = {{144, 4}, {100, 1}, {7, 3}, {3, 4}, {400, 5}};
  for (const auto& b : bars) {
    SCOPED_TRACE(std::to_string(b.length) + " px in steps of " + std::to_string(b.step));
    MeterBar bar;
    bar.Configure(b.length, b.step);
    bar.Feed(TickLevelDb(0.5));  // the sine starts halfway through a tick
    bar.Feed(TickLevelDb(1.0));
    EXPECT_EQ(bar.Lit(), bar.Top());
    EXPECT_EQ(bar.Lit() % std::min(b.step, b.length), 0);
    int last = bar.Lit();
    for (int tick = 1; tick <= MeterBar::kPeakHoldTicks; ++tick) {
      bar.Feed(TickLevelDb(0.0));
      EXPECT_TRUE(bar.Lit() < last || last == 0) << "falls steadily, tick " << tick;
      last = bar.Lit();
      ASSERT_EQ(bar.Peak(), bar.Top()) << "held at tick " << tick;
    }
    bar.Feed(TickLevelDb(0.0));
    EXPECT_LT(bar.Peak(), bar.Top()) << "falls after the hold";
  }
  // Readings that are not levels: NaN shows nothing, an overload the top.
  MeterBar bar;
  bar.Configure(100, 4);
  bar.Feed(NAN);
  EXPECT_EQ(bar.Lit(), 0);
  bar.Feed(INFINITY);
  EXPECT_EQ(bar.Lit(), bar.Top());
}

struct TestWindow {
  ZKMainWindow* window = new ZKMainWindow(wxPoint(0, 0), wxSize(600, 400), "kinds", nullptr);
  TestWindow() { window->Show(); }
  ~TestWindow() {
    TheControlTable().Clear();
    window->Destroy();
    test::Pump(50);
  }
  template <typename Control>
  Control* Make(int x, int y, int w, int h,
                std::initializer_list<std::pair<const char*, const char*>> pairs = {}) {
    auto* control = new Control(window, 1, -1);
    ZKAttributeList attributes;
    for (const auto& [name, value] :
         {std::pair{"posx", x}, {"posy", y}, {"width", w}, {"height", h}, {"graphics_mode", 1}})
      attributes.SetInt(name, value);
    for (const auto& [name, value] : pairs) attributes.SetText(name, value);
    control->ApplySkinAttributes(attributes);
    return control;
  }
};

TEST(VuMeterAndDropZone, MetersLightFromTheirStartAndGoDarkTheHintShowsUntilCleared) {
  TestWindow w;
  const std::initializer_list<std::pair<const char*, const char*>> colours = {
      {"activestepsize", "4"}, {"colorlow", "#30C030"}, {"colorhigh", "#C03030"}};
  CZKVUMeter* tall = w.Make<CZKVUMeter>(20, 20, 20, 200, colours);
  CZKVUMeter* wide = w.Make<CZKVUMeter>(60, 20, 200, 20, colours);
  CZKDropZone* zone =
      w.Make<CZKDropZone>(60, 100, 240, 60, {{"fontcolor", "#FFFFFF"}, {"fontsize", "5"}});
  zone->SetHint("Drop here");
  for (CZKVUMeter* m : {tall, wide}) m->FeedLevel(TickLevelDb(1.0));
  test::Pump(200);
  wxImage screen = test::Screenshot("meters_full.png");
  const wxRect t = tall->GetScreenRect(), h = wide->GetScreenRect();
  // The loud end (the top, the right) red, the start green.
  EXPECT_GT(test::CountColour(screen, wxRect(t.x, t.y, t.width, 20), kHigh), 200);
  EXPECT_GT(test::CountColour(screen, wxRect(t.x, t.GetBottom() - 20, t.width, 20), kLow), 200);
  EXPECT_GT(test::CountColour(screen, wxRect(h.GetRight() - 20, h.y, 20, h.height), kHigh), 200);
  EXPECT_GT(test::CountColour(screen, wxRect(h.x, h.y, 20, h.height), kLow), 200);
  EXPECT_GT(test::CountColour(screen, zone->GetScreenRect(), *wxWHITE), 20) << "the hint";
  for (int tick = 0; tick < MeterBar::kPeakHoldTicks + 60; ++tick)
    for (CZKVUMeter* m : {tall, wide}) m->FeedLevel(-200.0f);
  zone->SetHint("");
  test::Pump(200);
  screen = test::Screenshot();
  for (wxWindow* c : {static_cast<wxWindow*>(tall), static_cast<wxWindow*>(wide)})
    EXPECT_EQ(test::CountColour(screen, c->GetScreenRect(), kHigh) +
                  test::CountColour(screen, c->GetScreenRect(), kLow),
              0);
  EXPECT_EQ(test::CountColour(screen, zone->GetScreenRect(), *wxWHITE), 0);
}

std::vector<std::string> g_dropped;
int g_droppedDeck = -1, g_calls = 0, g_last = -2;

TEST(FileDrop, FilesReachTheHandlerOnlyForADeckAndOnlyWhenThereAreAny) {
  SetFileDropHandler([](int deck, const std::vector<std::string>& files) {
    g_droppedDeck = deck;
    g_dropped = files;
  });
  const struct {
    int deck;
    std::vector<std::string> files;
    int expectDeck;
  } cases[] = {{1, {"/m/b.wav", "/m/c.wav"}, 1},
               {0, {"/m/é.flac"}, 0},
               {2, {"/m/x.wav"}, -1},
               {-1, {"/m/x.wav"}, -1},
               {0, {}, -1}};
  for (const auto& c : cases) {
    g_droppedDeck = -1;
    g_dropped.clear();
    DeliverDroppedFiles(c.deck, c.files);
    EXPECT_EQ(g_droppedDeck, c.expectDeck) << "deck " << c.deck;
    EXPECT_EQ(g_dropped, c.expectDeck >= 0 ? c.files : std::vector<std::string>{});
  }
  SetFileDropHandler(nullptr);
  DeliverDroppedFiles(0, {"/a.wav"});  // nothing takes them: dropped, no crash
}

TEST(DropDownList, ChoosingSelectsAndCallsAndOutOfRangeChangesNothing) {
  TestWindow w;
  auto* list = w.Make<CZKDropDownList>(20, 20, 160, 24, {{"items", "Deck A|Deck B||Sampler"}});
  ControlCallbacks callbacks;
  callbacks.onLeftUp = [](int value, int, int) { ++g_calls, g_last = value; };
  list->SetCallbacks(callbacks);
  EXPECT_EQ(list->Items().size(), 4u) << "an empty item stays one";
  const struct {
    int choose, selection, calls;
  } steps[] = {{1, 1, 1}, {4, 1, 1}, {-1, 1, 1}, {3, 3, 2}};
  for (const auto& s : steps) {
    list->Choose(s.choose);
    EXPECT_EQ(list->Selection(), s.selection) << "choose " << s.choose;
    EXPECT_EQ(g_calls, s.calls);
  }
  EXPECT_EQ(g_last, 3);
  list->SetItems({"one", "two"});  // the selection 3 is gone
  EXPECT_EQ(list->Selection(), -1);
  list->SetSelection(1);
  list->SetItems({"uno", "dos", "tres"});  // index 1 is still there
  EXPECT_EQ(list->Selection(), 1);
  EXPECT_EQ(g_calls, 2) << "setting from outside calls nothing";
}

TEST(EditText, ItsFocusStopsShortcutsUntilAPressElsewhere) {
  TestWindow w;
  auto* edit = w.Make<CZKEditText>(20, 20, 200, 28);
  auto* image = w.Make<CZKImage>(20, 100, 80, 40, {{"backcolor", "#C03030"}});
  test::Pump(200);
  EXPECT_GT(test::CountColour(test::Screenshot(), image->GetScreenRect(), kHigh), 80 * 40 - 10);
  EXPECT_FALSE(ShortcutsBlocked());
  test::Click(edit);
  test::Pump(200);
  EXPECT_TRUE(ShortcutsBlocked());
  test::Click(image);
  test::Pump(200);
  EXPECT_FALSE(ShortcutsBlocked()) << "a press elsewhere gives the keys back";
  // A text set by the program is not typing: no call for it.
  g_calls = 0;
  ControlCallbacks callbacks;
  callbacks.onLeftDown = [](int, int, int) { ++g_calls; };
  edit->SetCallbacks(callbacks);
  edit->ChangeValue("techno");
  EXPECT_EQ(g_calls, 0);
  edit->Entry()->SetValue("house");  // as typing changes it
  EXPECT_EQ(g_calls, 1);
  test::Click(edit);
  test::Pump(100);
  edit->Destroy();  // gone with the keys: no block left behind
  test::Pump(100);
  EXPECT_FALSE(ShortcutsBlocked());
}

}  // namespace
}  // namespace vantaro
