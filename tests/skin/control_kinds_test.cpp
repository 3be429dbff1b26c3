// The kinds beside buttons, sliders and texts, on real windows: level
// meters, drop zones, text boxes, drop-down lists and pictures.
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

const wxColour kLow(0x30, 0xC0, 0x30), kHigh(0xC0, 0x30, 0x30), kDark(0x20, 0x20, 0x20);

// RMS level in dB of `seconds` of a full-scale 1 kHz sine followed by
// silence to make up one 38 ms tick: what the mixer's meter reads.
float TickLevelDb(double sineFraction) {
  std::vector<float> samples(1676, 0.0f);
  for (size_t i = 0; i < samples.size() * sineFraction; ++i)
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
    // The sine starts halfway through the first tick.
    bar.Feed(TickLevelDb(0.5));
    bar.Feed(TickLevelDb(1.0));
    EXPECT_EQ(bar.Lit(), bar.Top());
    EXPECT_EQ(bar.Lit() % std::min(b.step, b.length), 0);
    // Silence: the bar falls at once and steadily, the peak holds.
    int last = bar.Lit();
    for (int tick = 1; tick <= MeterBar::kPeakHoldTicks; ++tick) {
      bar.Feed(TickLevelDb(0.0));
      if (last > 0) {
        EXPECT_LT(bar.Lit(), last) << "tick " << tick;
      }
      last = bar.Lit();
      ASSERT_EQ(bar.Peak(), bar.Top()) << "held at tick " << tick;
    }
    EXPECT_EQ(bar.Lit(), 0);
    bar.Feed(TickLevelDb(0.0));
    EXPECT_LT(bar.Peak(), bar.Top()) << "falls after the hold";
    for (int tick = 0; tick < 200; ++tick) bar.Feed(-200.0f);
    EXPECT_EQ(bar.Peak(), 0);
  }
  // Readings that are not levels: NaN shows nothing, an overload the top.
  MeterBar bar;
  bar.Configure(100, 4);
  bar.Feed(NAN);
  EXPECT_EQ(bar.Lit(), 0);
  bar.Feed(INFINITY);
  EXPECT_EQ(bar.Lit(), bar.Top());
  MeterBar none;
  none.Configure(0, 4);
  EXPECT_FALSE(none.Feed(0.0f));
}

struct TestWindow {
  ZKMainWindow* window = new ZKMainWindow(wxPoint(0, 0), wxSize(600, 400), "kinds", nullptr);
  TestWindow() { window->Show(); }
  ~TestWindow() {
    TheControlTable().Clear();
    window->Destroy();
    test::Pump(50);
  }
};

template <typename Control>
Control* Make(wxWindow* parent, int deck,
              std::initializer_list<std::pair<const char*, const char*>> pairs) {
  auto* control = new Control(parent, 1, deck);
  ZKAttributeList attributes;
  attributes.SetInt("graphics_mode", 1);
  for (const auto& [name, value] : pairs) attributes.SetText(name, value);
  control->ApplySkinAttributes(attributes);
  return control;
}

TEST(VuMeter, LightsFromItsStartInTheZoneColoursAndGoesDarkAfterTheHold) {
  TestWindow w;
  const auto meter = [&w](const char* x, const char* width, const char* height) {
    return Make<CZKVUMeter>(w.window, -1,
                            {{"posx", x},
                             {"posy", "20"},
                             {"width", width},
                             {"height", height},
                             {"activestepsize", "4"},
                             {"colorlow", "#30C030"},
                             {"colormid", "#C0C030"},
                             {"colorhigh", "#C03030"},
                             {"backcolorlow", "#202020"}});
  };
  CZKVUMeter* tall = meter("20", "20", "200");
  CZKVUMeter* wide = meter("60", "200", "20");
  for (CZKVUMeter* m : {tall, wide}) {
    m->FeedLevel(TickLevelDb(1.0));
    m->FeedLevel(TickLevelDb(1.0));
  }
  test::Pump(200);
  wxImage screen = test::Screenshot("meters_full.png");
  const wxRect t = tall->GetScreenRect(), h = wide->GetScreenRect();
  // The loud end (top of the tall one, right of the wide one) is red, the
  // start green.
  EXPECT_GT(test::CountColour(screen, wxRect(t.x, t.y, t.width, 20), kHigh), 200);
  EXPECT_GT(test::CountColour(screen, wxRect(t.x, t.GetBottom() - 20, t.width, 20), kLow), 200);
  EXPECT_GT(test::CountColour(screen, wxRect(h.GetRight() - 20, h.y, 20, h.height), kHigh), 200);
  EXPECT_GT(test::CountColour(screen, wxRect(h.x, h.y, 20, h.height), kLow), 200);
  for (int tick = 0; tick < MeterBar::kPeakHoldTicks + 60; ++tick)
    for (CZKVUMeter* m : {tall, wide}) m->FeedLevel(-200.0f);
  test::Pump(200);
  screen = test::Screenshot();
  for (CZKVUMeter* m : {tall, wide}) {
    EXPECT_EQ(test::CountColour(screen, m->GetScreenRect(), kHigh), 0);
    EXPECT_EQ(test::CountColour(screen, m->GetScreenRect(), kLow), 0);
  }
}

std::vector<std::string> g_dropped;
int g_droppedDeck = -1;

TEST(DropZone, FilesReachTheHandlerForItsDeckAndTheHintShowsUntilSetEmpty) {
  TestWindow w;
  CZKDropZone* zone = Make<CZKDropZone>(w.window, 1,
                                        {{"posx", "20"},
                                         {"posy", "20"},
                                         {"width", "240"},
                                         {"height", "60"},
                                         {"backcolor", "#202020"},
                                         {"fontcolor", "#FFFFFF"},
                                         {"fontsize", "4"}});
  zone->SetHint("Drop here");
  test::Pump(200);
  EXPECT_GT(test::CountColour(test::Screenshot(), zone->GetScreenRect(), *wxWHITE), 20);
  zone->SetHint("");
  test::Pump(200);
  EXPECT_EQ(test::CountColour(test::Screenshot(), zone->GetScreenRect(), *wxWHITE), 0);

  SetFileDropHandler(nullptr);
  DeliverDroppedFiles(1, {"/a.wav"});  // nothing takes them yet: dropped
  SetFileDropHandler([](int deck, const std::vector<std::string>& files) {
    g_droppedDeck = deck;
    g_dropped = files;
  });
  const struct {
    int deck;
    std::vector<std::string> files;
    int expectDeck;
  } cases[] = {
      {1, {"/m/b.wav", "/m/c.wav"}, 1}, {0, {"/m/é.flac"}, 0}, {2, {"/m/x.wav"}, -1},
      {-1, {"/m/x.wav"}, -1},           {0, {}, -1},
  };
  for (const auto& c : cases) {
    g_droppedDeck = -1;
    g_dropped.clear();
    DeliverDroppedFiles(c.deck, c.files);
    EXPECT_EQ(g_droppedDeck, c.expectDeck) << "deck " << c.deck;
    if (c.expectDeck >= 0) {
      EXPECT_EQ(g_dropped, c.files);
    }
  }
  SetFileDropHandler(nullptr);
}

int g_calls = 0, g_lastIndex = -2;

TEST(DropDownList, ChoosingSelectsAndCallsAndOutOfRangeChangesNothing) {
  TestWindow w;
  CZKDropDownList* list = Make<CZKDropDownList>(w.window, -1,
                                                {{"posx", "20"},
                                                 {"posy", "20"},
                                                 {"width", "160"},
                                                 {"height", "24"},
                                                 {"items", "Deck A|Deck B||Sampler"}});
  ControlCallbacks callbacks;
  callbacks.onLeftUp = [](int value, int, int) {
    ++g_calls;
    g_lastIndex = value;
  };
  list->SetCallbacks(callbacks);
  EXPECT_EQ(list->Items().size(), 4u) << "an empty item stays one";
  EXPECT_EQ(list->Selection(), -1);
  const struct {
    int choose, selection, calls;
  } steps[] = {{1, 1, 1}, {4, 1, 1}, {-1, 1, 1}, {3, 3, 2}};
  for (const auto& s : steps) {
    list->Choose(s.choose);
    EXPECT_EQ(list->Selection(), s.selection) << "choose " << s.choose;
    EXPECT_EQ(g_calls, s.calls);
  }
  EXPECT_EQ(g_lastIndex, 3);
  list->SetItems({"one", "two"});  // the selection 3 is gone
  EXPECT_EQ(list->Selection(), -1);
  list->SetSelection(1);
  list->SetItems({"uno", "dos", "tres"});  // index 1 is still there
  EXPECT_EQ(list->Selection(), 1);
  EXPECT_EQ(g_calls, 2) << "setting from outside calls nothing";
}

TEST(EditText, ItsFocusStopsShortcutsUntilAnotherControlTakesIt) {
  TestWindow w;
  CZKEditText* edit = Make<CZKEditText>(
      w.window, -1, {{"posx", "20"}, {"posy", "20"}, {"width", "200"}, {"height", "28"}});
  CZKImage* image = Make<CZKImage>(w.window, -1,
                                   {{"posx", "20"},
                                    {"posy", "100"},
                                    {"width", "80"},
                                    {"height", "40"},
                                    {"backcolor", "#C03030"}});
  test::Pump(200);
  EXPECT_GT(test::CountColour(test::Screenshot(), image->GetScreenRect(), kHigh), 80 * 40 - 10);
  EXPECT_FALSE(ShortcutsBlocked());
  test::Click(edit);
  test::Pump(200);
  EXPECT_TRUE(ShortcutsBlocked());
  test::Click(image);
  test::Pump(200);
  EXPECT_FALSE(ShortcutsBlocked()) << "a press elsewhere gives the keys back";
  // A text set by the program is not the user's typing: no call for it.
  g_calls = 0;
  ControlCallbacks callbacks;
  callbacks.onLeftDown = [](int, int, int) { ++g_calls; };
  edit->SetCallbacks(callbacks);
  edit->ChangeValue("techno");
  EXPECT_EQ(g_calls, 0);
  edit->Entry()->SetValue("house");  // as typing would change it
  EXPECT_EQ(g_calls, 1);
  EXPECT_EQ(edit->GetValue(), "house");
  // Gone with the focus: no box, no block.
  test::Click(edit);
  test::Pump(100);
  edit->Destroy();
  test::Pump(100);
  EXPECT_FALSE(ShortcutsBlocked());
}

}  // namespace
}  // namespace vantaro
