// The built-in controls as the program builds them: all exist, hidden and
// of size 0, in the chosen language. (Each one the default skin places is
// driven to its engine word in default_face_test.cpp.)
#include <gtest/gtest.h>

#include <algorithm>

#include "control/control_handlers.h"
#include "control/control_table.h"
#include "control/language.h"
#include "skin/builtin_controls.h"
#include "skin/button.h"
#include "skin/custom_panel.h"
#include "skin/main_window.h"
#include "skin/static_text.h"
#include "tests/skin/skin_test_env.h"

namespace vantaro {
namespace {

class BuiltInControls : public ::testing::Test {
 protected:
  void SetUp() override {
    window_ = new ZKMainWindow(wxPoint(0, 0), wxSize(400, 300), "built-in", nullptr);
    built_ = BuildBuiltInControls(window_, TheControlTable());
    WireControlHandlers(TheControlTable());
  }
  void TearDown() override {
    TheControlTable().Clear();
    window_->Destroy();
    test::Pump(50);
  }
  ZKMainWindow* window_ = nullptr;
  int built_ = 0;
};

TEST_F(BuiltInControls, AllExistHiddenAndSpeakTheLanguage) {
  int expected = 0;
  for (int id = kFirstAction; id < kLastAction; ++id) {
    const ControlAction& row = ControlActionRow(id);
    // The kinds the program has: every row of these is built, hidden.
    const int kinds[] = {kKindButton,       kKindSlider,   kKindText,     kKindImage,
                         kKindDropZone,     kKindDropDown, kKindEditArea, kKindVuMeter,
                         kKindSoundDisplay, kKindBrowser, kKindList};
    if (std::find(std::begin(kinds), std::end(kinds), row.kind) == std::end(kinds)) continue;
    expected += row.isGlobal ? 1 : 2;
    for (int deck = row.isGlobal ? -1 : 0; deck <= (row.isGlobal ? -1 : 1); ++deck) {
      auto* control = dynamic_cast<ZKCustomControl*>(TheControlTable().Find(id, deck));
      ASSERT_TRUE(control) << row.name << " " << deck;
      EXPECT_FALSE(control->IsShown()) << row.name;
      EXPECT_EQ(control->GetSize(), wxSize(0, 0)) << row.name;
    }
  }
  EXPECT_EQ(built_, expected);
  EXPECT_EQ(TheControlTable().Find(FindControlAction("webbrowser"), -1), nullptr)
      << "kinds not built yet keep their slots empty";

  LanguageTables language;
  ASSERT_TRUE(LoadLanguageText(BuiltInEnglish(), language));
  ApplyLanguageToControls(TheControlTable(), language);
  const int learn = FindControlAction("learn"), label = FindControlAction("label_loop");
  auto* button = dynamic_cast<CZKButton*>(TheControlTable().Find(learn, -1));
  EXPECT_EQ(button->GetLabel().utf8_string(), language.Label(learn));
  EXPECT_EQ(button->GetToolTipText().utf8_string(), language.Hint(learn));
  for (int deck : {0, 1})
    EXPECT_EQ(dynamic_cast<CZKStaticText*>(TheControlTable().Find(label, deck))->GetText(),
              wxString::FromUTF8(language.Label(label)))
        << "both decks take a per-deck label";
}

TEST(Groups, PanelsShowOneAtATimeAndIndexesOutOfRangeChangeNothing) {
  auto* window = new ZKMainWindow(wxPoint(0, 0), wxSize(400, 300), "groups", nullptr);
  ZKCustomGroup group(window, "tabs");
  group.ShowNextPanel();
  EXPECT_EQ(group.CurrentPanel(), -1) << "no panels: nothing";
  for (int i = 0; i < 11; ++i) group.AddPanel(new ZKCustomPanel(window, i));
  EXPECT_EQ(group.PanelCount(), 10) << "the eleventh is not taken";
  EXPECT_EQ(group.CurrentPanel(), 0) << "the first added shows at once";
  group.ShowPanel(10);
  EXPECT_EQ(group.CurrentPanel(), 0);
  group.ShowPrevPanel();
  EXPECT_EQ(group.CurrentPanel(), 9) << "wraps backwards";
  group.ShowNextPanel();
  EXPECT_EQ(group.CurrentPanel(), 0) << "and forwards";
  EXPECT_TRUE(group.GetPanel(0)->IsShown());
  EXPECT_FALSE(group.GetPanel(9)->IsShown());
  window->Destroy();
  test::Pump(50);
}

}  // namespace
}  // namespace vantaro
