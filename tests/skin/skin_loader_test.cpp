// Skin files through the loader into real windows: refusals that leave the
// running skin as it was, the deck letters of older skins, groups and the skin's own controls,
// templates, and reloads that keep every built-in control, its value and its callbacks.
#include "skin/skin_loader.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <memory>

#include "control/control_handlers.h"
#include "control/control_table.h"
#include "skin/builtin_controls.h"
#include "skin/button.h"
#include "skin/custom_panel.h"
#include "skin/main_window.h"
#include "skin/slider.h"
#include "tests/skin/skin_test_env.h"
#include "tests/skin/test_skin_files.h"
#include "tests/support/test_support.h"

#if defined(__SANITIZE_ADDRESS__)
// The address sanitizer's count of live heap bytes (its runtime's own
// interface; g++ ships no header for it).
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif

namespace vantaro {
namespace {

using test::SkinXml;

// Bytes the process holds: live heap under the address sanitizer (its
// quarantine keeps freed memory resident), else the resident set.
long MemoryInUse() {
#if defined(__SANITIZE_ADDRESS__)
  return static_cast<long>(__sanitizer_get_current_allocated_bytes());
#else
  long pages = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> pages >> resident;
  return resident * 4096;
#endif
}

class SkinLoading : public ::testing::Test {
 protected:
  void SetUp() override {
    window_ = new ZKMainWindow(wxPoint(0, 0), wxSize(400, 300), "skins", nullptr);
    BuildBuiltInControls(window_, TheControlTable());
  }
  void TearDown() override {
    window_->Destroy();
    test::Pump(50);
    TheControlTable().Clear();
  }
  SkinLoadResult Load(const std::string& xml, int width = 640, int height = 480) {
    path_ = test::WriteSkin(dir_.Path(), "skin" + std::to_string(++count_), xml, width, height);
    return LoadSkin(path_, window_);
  }
  static ZKCustomControl* Control(const char* action, int deck) {
    return dynamic_cast<ZKCustomControl*>(TheControlTable().Find(FindControlAction(action), deck));
  }
  static bool Shown(const char* action, int deck) {
    ZKCustomControl* control = Control(action, deck);
    return control && control->IsShown();
  }

  test::TempDir dir_;
  std::string path_;
  int count_ = 0;
  ZKMainWindow* window_ = nullptr;
};

constexpr const char* kPlay =
    "<button action=\"deck_play_pause\" deck=\"0\" posx=\"10\" posy=\"10\" width=\"50\" "
    "height=\"50\" graphics_mode=\"1\"/>\n";

TEST_F(SkinLoading, ABrokenSkinIsRefusedWithItsLineAndTheRunningSkinStays) {
  ASSERT_TRUE(Load(SkinXml(kPlay)).loaded);
  const std::string running = path_;
  const std::string negative = "<button action=\"deck_cue\" deck=\"0\" height=\"-5\"/>\n";
  const std::string huge = "<button action=\"deck_cue\" deck=\"0\" width=\"100000\"/>\n";
  const auto picture = [](const std::string& xml, const char* png) {
    const std::string stem = xml.substr(0, xml.size() - 3);
    std::remove((stem + "bmp").c_str());
    if (png) test::WriteFile(stem + "png", png);
  };
  // Bad XML is refused through a real start (tests/app/skin_start_test).
  const struct {
    const char* what;
    std::string xml;
    std::function<void(const std::string& xmlPath)> spoil;
    int line;
    const char* reason;
  } cases[] = {
      {"wrong root", "<skins skinname=\"B\"/>\n", nullptr, 1, "not 'skin'"},
      {"negative height", SkinXml(negative), nullptr, 4, "height=\"-5\""},
      {"huge control", SkinXml(huge), nullptr, 4, "width=\"100000\""},
      {"entity bomb",
       "<!DOCTYPE skin [<!ENTITY a \"aaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;\">]>\n"
       "<skin skinname=\"&b;\"><window action=\"main\"/></skin>\n",
       nullptr, 0, "document type"},
      {"missing picture", SkinXml(kPlay), [&](const std::string& xml) { picture(xml, nullptr); }, 0,
       "no picture"},
      {"text named .png", SkinXml(kPlay),
       [&](const std::string& xml) { picture(xml, "not a picture\n"); }, 0, "not a PNG or BMP"},
      {"picture over 8192", SkinXml(kPlay),
       [](const std::string& xml) {
         test::WriteBmp(xml.substr(0, xml.size() - 3) + "bmp", 9000, 2, 0x808080);
       },
       0, "9000x2"},
      {"torn picture", SkinXml(kPlay),
       [](const std::string& xml) {
         const std::string stem = xml.substr(0, xml.size() - 3);
         std::remove((stem + "bmp").c_str());
         test::WriteFile(stem + "png", std::string("\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR", 16) +
                                           std::string("\0\0\0\x0a\0\0\0\x0a", 8) + "torn");
       },
       0, "cannot be decoded"},
  };
  for (const auto& c : cases) {
    const std::string xmlPath = test::WriteSkin(dir_.Path(), "broken", c.xml);
    if (c.spoil) c.spoil(xmlPath);
    const SkinLoadResult result = LoadSkin(xmlPath, window_);
    EXPECT_FALSE(result.loaded) << c.what;
    EXPECT_EQ(result.line, c.line) << c.what;
    EXPECT_NE(result.reason.find(c.reason), std::string::npos) << c.what << ": " << result.reason;
    EXPECT_TRUE(Shown("deck_play_pause", 0)) << c.what << ": the running skin stays";
    EXPECT_EQ(Control("deck_play_pause", 0)->GetPosition(), wxPoint(10, 10)) << c.what;
    EXPECT_EQ(TheSkinTables().path, running) << c.what;
  }
}

TEST_F(SkinLoading, OlderSkinsNameTheDeckByLetterAndLookalikesStay) {
  const struct {
    int targetversion;
    const char* element;
    const char* action;
    int deck;  // the control shown; -2: none of the action's controls
  } cases[] = {
      {-1, "action=\"decka_play_pause\" deck=\"1\"", "deck_play_pause", 0},
      {-1, "action=\"label_volume_a\"", "label_volume_a", -1},
      {-1, "action=\"deck_play_pause\" deck=\"1\"", "deck_play_pause", -2},
      {2, "action=\"deck_play_pause\" deck=\"1\"", "deck_play_pause", 1},
      {2, "action=\"deck_play_pause\"", "deck_play_pause", -2},
      {2, "action=\"decka_play_pause\"", "deck_play_pause", -2},
  };
  for (const auto& c : cases) {
    const std::string element =
        std::string("<button ") + c.element + " width=\"30\" height=\"20\"/>\n";
    ASSERT_TRUE(Load(SkinXml(element, c.targetversion)).loaded) << c.element;
    for (int deck = -1; deck <= 1; ++deck)
      EXPECT_EQ(Shown(c.action, deck), deck == c.deck) << c.element << ", deck " << deck;
  }
}

TEST_F(SkinLoading, GroupsAndTheSkinsOwnControls) {
  ASSERT_TRUE(Load(SkinXml("<group action=\"_many\" width=\"100\" height=\"50\" panels=\"25\"/>\n"
                           "<group action=\"_tabs\" posx=\"300\" width=\"200\" height=\"100\" "
                           "panels=\"2\">\n"
                           "  <button action=\"_b\" panel=\"1\" width=\"20\" height=\"20\" "
                           "onmousedown=\"go()\"/>\n"
                           "  <button action=\"deck_cue\" deck=\"0\" panel=\"3\" width=\"20\" "
                           "height=\"20\"/>\n"
                           "</group>\n"
                           "<button action=\"_x\" width=\"20\" height=\"20\"/>\n"
                           "<slider action=\"_x\" width=\"20\" height=\"90\"/>\n"
                           "<gizmo action=\"_y\" width=\"20\" height=\"20\"/>\n"
                           "<group action=\"big_tab\" posx=\"0\" posy=\"200\" width=\"600\" "
                           "height=\"200\" panels=\"3\"/>\n"))
                  .loaded);
  const SkinTables& tables = TheSkinTables();
  ASSERT_GE(FindGroup("_many"), 0);
  EXPECT_EQ(tables.groups[FindGroup("_many")]->PanelCount(), 10);
  ZKCustomGroup& tabs = *tables.groups[FindGroup("_tabs")];
  EXPECT_EQ(tables.customControls[FindCustomControl("_b")]->GetParent(), tabs.GetPanel(1));
  EXPECT_EQ(Control("deck_cue", 0)->GetParent(), window_) << "no panel 3: the window";
  EXPECT_TRUE(tabs.GetPanel(0)->IsShown() && !tabs.GetPanel(1)->IsShown());
  EXPECT_TRUE(dynamic_cast<CZKButton*>(tables.customControls[FindCustomControl("_x")]))
      << "the first tag decides the kind";
  EXPECT_EQ(FindCustomControl("_y"), -1);
  EXPECT_NE(tables.script.find("function _b_onmousedown(clientX,clientY,button,value)\n{\n  go()"),
            std::string::npos);
  EXPECT_EQ(tables.bigTab->PanelCount(), 7) << "the tab group keeps its seven panels";
  EXPECT_EQ(tables.bigTab->GetPanel(0)->GetRect(), wxRect(0, 200, 600, 200));

  // The next skin takes the built-in control back and the groups away.
  Control("deck_cue", 0)->Reparent(tabs.GetPanel(1));
  ASSERT_TRUE(Load(SkinXml("")).loaded);
  EXPECT_EQ(Control("deck_cue", 0)->GetParent(), window_);
  EXPECT_EQ(FindGroup("_tabs"), -1);
  EXPECT_EQ(FindCustomControl("_b"), -1);
  EXPECT_TRUE(TheSkinTables().script.empty());
}

TEST_F(SkinLoading, TemplatesTakeTheSkinsLookOrTheDefaultsAndStayHidden) {
  ASSERT_TRUE(Load(SkinXml("", 2, "T", 0, 0)).loaded);
  const SkinTables& tables = TheSkinTables();
  EXPECT_EQ(tables.screenwidth, 800) << "screenwidth 0 counts as 800";
  EXPECT_EQ(tables.screenheight, 600);
  EXPECT_EQ(tables.templates[kButtonTemplate].GetText("backcolorsel"), "#FF583F");
  EXPECT_EQ(tables.templates[kSliderTemplate].GetText("cursorheight"), "10");
  EXPECT_EQ(tables.templates[kTextareaTemplate].GetText("fontname"), "small");
  ASSERT_TRUE(Load(SkinXml("<button action=\"button_template\" width=\"80\" height=\"20\" "
                           "backcolor=\"#123456\"/>\n"))
                  .loaded);
  EXPECT_EQ(tables.templates[kButtonTemplate].GetText("backcolor"), "#123456");
  EXPECT_EQ(tables.templates[kButtonTemplate].GetText("backcolorsel"), "")
      << "a skin's template is not mixed with the defaults";
  for (const char* holder : {"button_template", "slider_template", "textarea_template"})
    EXPECT_FALSE(Shown(holder, -1)) << holder;
}

int g_faderCalls = 0;

TEST_F(SkinLoading, AHundredReloadsKeepEveryBuiltInItsValueAndCallbacks) {
  auto* fader = dynamic_cast<CZKSlider*>(Control("deck_volume", 0));
  ASSERT_TRUE(fader);
  ControlCallbacks callbacks;
  callbacks.onLeftDown = [](int, int, int) { ++g_faderCalls; };
  fader->SetCallbacks(callbacks);
  fader->SetRange(0, 127);
  fader->SetValue(77, false);
  std::vector<ControlTarget*> before;
  TheControlTable().ForEach([&before](ControlTarget* control) { before.push_back(control); });
  const std::string xml = SkinXml(
      "<slider action=\"deck_volume\" deck=\"0\" posx=\"5\" width=\"30\" height=\"200\"/>\n"
      "<group action=\"_g\" width=\"200\" height=\"100\" panels=\"3\">\n"
      "  <button action=\"_own\" panel=\"2\" width=\"40\" height=\"40\" onmouseup=\"x()\"/>\n"
      "</group>\n");
  for (int warmUp = 0; warmUp < 5; ++warmUp) ASSERT_TRUE(Load(xml).loaded);
  test::Pump(20);
  const long start = MemoryInUse();
  for (int reload = 0; reload < 100; ++reload) ASSERT_TRUE(LoadSkin(path_, window_).loaded);
  test::Pump(20);
  EXPECT_LT(MemoryInUse() - start, 1 << 20) << "bytes grown over 100 reloads";
  std::vector<ControlTarget*> after;
  TheControlTable().ForEach([&after](ControlTarget* control) { after.push_back(control); });
  EXPECT_EQ(after, before) << "no built-in control was made again";
  EXPECT_EQ(fader->GetValue(), 77);
  EXPECT_TRUE(fader->IsShown());
  g_faderCalls = 0;
  PostControlEvent(fader, ControlEvent::Midi(kMidiControl, 10));
  EXPECT_EQ(g_faderCalls, 1) << "the callback survived";
}

}  // namespace
}  // namespace vantaro
