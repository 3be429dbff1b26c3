// Real pointer input on real windows: the translation of the toolkit's
// mouse events, the double-click rules, the wheel's routing to the lists,
// and learn mode with its overlay.
#include <gtest/gtest.h>

#include <string>

#include "control/control_table.h"
#include "control/learn_state.h"
#include "skin/attribute_list.h"
#include "skin/button.h"
#include "skin/main_window.h"
#include "tests/skin/skin_test_env.h"

namespace vantaro {
namespace {

std::string g_events;

// Stands for a list of the program: it records the events that reach it.
class RecordingControl : public ZKCustomControl {
 public:
  using ZKCustomControl::ZKCustomControl;
  void OnControlEvent(const ControlEvent& event) override {
    if (event.kind != mt_WHEEL) return;
    g_events += "W" + std::to_string(controlId) + " ";
    lastEvent = event;
  }
  void DrawControl() override {
    Back().SetBackground(*wxGREY_BRUSH);
    Back().Clear();
  }
  ControlEvent lastEvent;
};

struct TestWindow {
  ZKMainWindow* window = new ZKMainWindow(wxPoint(0, 0), wxSize(600, 400), "skin test", nullptr);
  TestWindow() { window->Show(); }
  ~TestWindow() {
    TheControlTable().Clear();
    window->Destroy();
    test::Pump(50);
  }
};

ZKAttributeList Place(int x, int y, int w, int h) {
  ZKAttributeList attributes;
  attributes.SetInt("posx", x);
  attributes.SetInt("posy", y);
  attributes.SetInt("width", w);
  attributes.SetInt("height", h);
  attributes.SetInt("graphics_mode", 1);
  attributes.SetText("backcolor", "#202020");
  return attributes;
}

CZKButton* RecordingButton(wxWindow* parent, int x, int y) {
  auto* button = new CZKButton(parent, 1, -1);
  ControlCallbacks callbacks;
  callbacks.onLeftDown = [](int, int, int) { g_events += "D "; };
  callbacks.onLeftUp = [](int, int, int) { g_events += "U "; };
  callbacks.onDoubleClick = [](int, int, int) { g_events += "DC "; };
  button->SetCallbacks(callbacks);
  ZKAttributeList attributes = Place(x, y, 120, 48);
  button->ApplySkinAttributes(attributes);
  return button;
}

TEST(PointerInput, ClicksAndDoubleClicksArriveAsTheControlAsks) {
  TestWindow test;
  CZKButton* button = RecordingButton(test.window, 20, 20);
  test::Pump(200);
  const struct {
    int wantsDoubleClick, noDownBeforeDouble, clicks;
    const char* events;
  } cases[] = {
      {0, 0, 1, "D U "},
      {0, 0, 2, "D U D U "},  // without the wish a double-click is two clicks
      {1, 0, 2, "D U D DC U "},
      {1, 1, 2, "D U DC "},
  };
  for (const auto& c : cases) {
    button->wantsDoubleClick = c.wantsDoubleClick;
    button->noDownBeforeDouble = c.noDownBeforeDouble;
    g_events.clear();
    test::Click(button, 1, c.clicks);
    EXPECT_EQ(g_events, c.events) << c.wantsDoubleClick << c.noDownBeforeDouble << c.clicks;
    test::Pump(600);  // no double-click with the next case
  }
}

TEST(PointerInput, TheWheelScrollsTheSecondOrThirdListUnderThePointerElseTheFirst) {
  TestWindow test;
  RecordingControl* lists[3];
  for (int i = 0; i < 3; ++i) {
    lists[i] = new RecordingControl(test.window, 11 + i, -1);
    ZKAttributeList attributes = Place(20 + 130 * i, 100, 120, 100);
    lists[i]->ApplySkinAttributes(attributes);
    lists[i]->ready = 1;
  }
  test.window->SetWheelLists(lists[0], lists[1], lists[2]);
  CZKButton* button = RecordingButton(test.window, 20, 20);
  test::Pump(200);
  const struct {
    wxWindow* under;
    int button;
    const char* events;
  } cases[] = {
      {button, 5, "W11 "}, {lists[1], 4, "W12 "}, {lists[2], 5, "W13 "}, {lists[0], 4, "W11 "}};
  for (const auto& c : cases) {
    g_events.clear();
    test::Click(c.under, c.button);
    EXPECT_EQ(g_events, c.events) << c.button;
  }
  EXPECT_GT(lists[0]->lastEvent.status, 0) << "wheel up turns forwards";
  lists[1]->SetLearning(false);
  lists[0]->bindings.SetMidiCount(1);
  lists[0]->SetLearning(true);
  g_events.clear();
  test::Click(button, 5);
  EXPECT_EQ(g_events, "") << "a learning list takes no wheel";
}

TEST(LearnMode, AClickPicksTheTargetInsteadOfActingAndTheOverlayGoesWithTheMode) {
  TestWindow test;
  CZKButton* first = RecordingButton(test.window, 20, 20);
  auto* second = new CZKButton(test.window, 2, 0);
  ZKAttributeList attributes = Place(200, 20, 120, 48);
  second->ApplySkinAttributes(attributes);
  second->bindings.keyCode[0] = 'Q';
  TheControlTable().Set(1, -1, first);
  TheControlTable().Set(2, 0, second);
  test::Pump(200);
  const wxRect firstRect = first->GetScreenRect();
  EXPECT_EQ(test::CountBlue(test::Screenshot(), firstRect), 0);

  SetLearnMode(true);
  g_events.clear();
  test::Click(first);
  EXPECT_EQ(g_events, "") << "no action fires in learn mode";
  EXPECT_EQ(CurrentLearnTarget(), (LearnTarget{1, -1}));
  EXPECT_TRUE(first->HasFocus()) << "the control takes the focus";
  // The target has a solid frame, the others a dotted one.
  const wxImage learning = test::Screenshot("learn_mode.png");
  EXPECT_GE(test::CountBlue(learning, firstRect), 2 * (120 + 48));
  EXPECT_GT(test::CountBlue(learning, second->GetScreenRect()), 0);

  test::Click(second);
  EXPECT_EQ(CurrentLearnTarget(), (LearnTarget{2, 0})) << "the target moves with the focus";
  first->bindings.SetMidiCount(0);
  first->bindings.SetKeyCount(0);
  first->SetLearning(true);
  EXPECT_FALSE(first->IsLearning()) << "a control that can hold no binding never learns";

  SetLearnMode(false);
  EXPECT_EQ(CurrentLearnTarget(), LearnTarget{}) << "leaving clears the target";
  test::Pump(100);
  EXPECT_EQ(test::CountBlue(test::Screenshot(), second->GetScreenRect()), 0)
      << "the overlay is painted away";
}

}  // namespace
}  // namespace vantaro
