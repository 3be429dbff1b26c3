// The default skin as the build leaves it beside the program: every size's
// skin file read back with the program's XML reader, its rendered picture
// with wxImage. The checks use the skin's own values and pixels, so a
// change to the generator that breaks the face fails here.

#include <gtest/gtest.h>
#include <wx/image.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "base/xml_reader.h"
#include "control/control_action.h"
#include "control/control_handlers.h"
#include "control/language.h"
#include "control/program_shown.h"
#include "skin/attribute_list.h"
#include "skin/skin_style.h"

namespace vantaro {
namespace {

namespace fs = std::filesystem;

struct Element {
  std::string tag;
  ZKAttributeList a;
  int deck() const { return a.Has("deck") ? a.GetInt("deck") : -1; }
  wxRect Rect(const char* x, const char* y, const char* w = "width",
              const char* h = "height") const {
    return wxRect(a.GetInt(x), a.GetInt(y), a.GetInt(w), a.GetInt(h));
  }
  bool Input() const { return tag == "button" || tag == "slider"; }
};

struct Skin {
  std::string name;
  ZKAttributeList root, window;
  std::vector<Element> controls;
  wxImage picture;
  int Width() const { return root.GetInt("screenwidth"); }
  int Height() const { return root.GetInt("screenheight"); }
  // Screens 1280 wide and more are read at arm's length: larger hit areas
  // and words than on a netbook's 1024x600.
  bool Large() const { return Width() >= 1280; }
};

void Copy(const XmlReader& reader, ZKAttributeList& into) {
  for (int i = 0; i < reader.AttributeCount(); ++i)
    into.SetText(std::string(reader.AttributeName(i)), reader.AttributeValue(i));
}

std::vector<Skin> ReadBuiltSkins() {
  wxImage::AddHandler(new wxPNGHandler);
  std::vector<Skin> skins;
  for (const auto& entry : fs::directory_iterator(VANTARO_BINARY_DIR "/skins")) {
    if (entry.path().extension() != ".xml") continue;
    Skin skin;
    skin.name = entry.path().stem().string();
    std::string text;
    EXPECT_EQ(ReadXmlFile(entry.path().string(), XmlFileKind::kSkin, text), XmlFileStatus::kRead);
    XmlReader reader(text, skin.name);
    while (reader.Next()) {
      if (reader.Depth() == 0) Copy(reader, skin.root);
      if (reader.Depth() == 1) Copy(reader, skin.window);
      if (reader.Depth() != 2) continue;
      skin.controls.push_back({std::string(reader.Name()), {}});
      Copy(reader, skin.controls.back().a);
    }
    EXPECT_EQ(reader.Damaged(), 0) << skin.name;
    EXPECT_TRUE(
        skin.picture.LoadFile(VANTARO_BINARY_DIR "/skins/" + skin.name + ".png", wxBITMAP_TYPE_PNG))
        << skin.name;
    skins.push_back(std::move(skin));
  }
  return skins;
}

const std::vector<Skin>& Skins() {
  static const std::vector<Skin> skins = ReadBuiltSkins();
  return skins;
}

double Luminance(const wxColour& c) {
  const auto channel = [](unsigned char v) {
    const double s = v / 255.0;
    return s <= 0.04045 ? s / 12.92 : std::pow((s + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * channel(c.Red()) + 0.7152 * channel(c.Green()) + 0.0722 * channel(c.Blue());
}

double Contrast(const wxColour& a, const wxColour& b) {
  const double la = Luminance(a), lb = Luminance(b);
  return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

wxColour Pixel(const wxImage& image, int x, int y) {
  return wxColour(image.GetRed(x, y), image.GetGreen(x, y), image.GetBlue(x, y));
}

// The pictures a control copies, by look: (rectangle, look name).
std::vector<std::pair<wxRect, std::string>> Pictures(const Element& c) {
  static const std::string kLooks[][3] = {{"pos", "width", "height"},
                                          {"over", "width", "height"},
                                          {"down", "width", "height"},
                                          {"sel", "width", "height"},
                                          {"oversel", "width", "height"},
                                          {"downsel", "width", "height"},
                                          {"vu_up", "width", "height"},
                                          {"cursorup", "cursorwidth", "cursorheight"},
                                          {"cursorover", "cursorwidth", "cursorheight"}};
  std::vector<std::pair<wxRect, std::string>> out;
  for (const auto& [look, w, h] : kLooks)
    if (c.a.Has(look + "x"))
      out.push_back(
          {c.Rect((look + "x").c_str(), (look + "y").c_str(), w.c_str(), h.c_str()), look});
  return out;
}

bool SamePixels(const wxImage& image, const wxRect& a, const wxRect& b) {
  for (int y = 0; y < a.height; ++y)
    for (int x = 0; x < a.width; ++x)
      if (Pixel(image, a.x + x, a.y + y) != Pixel(image, b.x + x, b.y + y)) return false;
  return true;
}

TEST(DefaultSkin, EachFileNamesItsScreenAndItsPictureHoldsEveryLook) {
  std::set<std::string> names;
  for (const Skin& skin : Skins()) {
    SCOPED_TRACE(skin.name);
    names.insert(skin.name);
    EXPECT_EQ(skin.root.GetText("skinname"), "Vantaro");
    EXPECT_GE(skin.root.GetInt("targetversion"), 2);
    EXPECT_EQ(skin.name,
              "vantaro-" + std::to_string(skin.Width()) + "x" + std::to_string(skin.Height()));
    EXPECT_EQ(skin.window.GetText("action"), "main");
    const wxRect window(0, 0, skin.window.GetInt("width"), skin.window.GetInt("height"));
    EXPECT_EQ(window.GetSize(), wxSize(skin.Width(), skin.Height()));
    const wxRect picture(skin.picture.GetSize());
    ASSERT_TRUE(picture.Contains(window));
    std::vector<wxRect> placed;
    for (const Element& c : skin.controls) {
      SCOPED_TRACE(c.a.GetText("action") + " deck " + std::to_string(c.deck()));
      const wxRect rect = c.Rect("posx", "posy");
      EXPECT_TRUE(window.Contains(rect));
      for (const wxRect& other : placed) EXPECT_FALSE(rect.Intersects(other)) << other.x;
      placed.push_back(rect);
      for (const auto& [look, name] : Pictures(c)) EXPECT_TRUE(picture.Contains(look)) << name;
    }
  }
  EXPECT_TRUE(names.count("vantaro-1280x800") && names.count("vantaro-1024x600"));
}

TEST(DefaultSkin, ButtonLooksDifferSoEveryStateShows) {
  for (const Skin& skin : Skins())
    for (const Element& c : skin.controls) {
      if (c.tag != "button") continue;
      SCOPED_TRACE(skin.name + " " + c.a.GetText("action"));
      std::map<std::string, wxRect> looks;
      for (const auto& [rect, name] : Pictures(c)) looks[name] = rect;
      const bool isSwitch = c.a.GetBool("isswitch");
      ASSERT_EQ(looks.size(), isSwitch ? 6u : 3u);
      for (auto a = looks.begin(); a != looks.end(); ++a)
        for (auto b = std::next(a); b != looks.end(); ++b)
          EXPECT_FALSE(SamePixels(skin.picture, a->second, b->second))
              << a->first << " = " << b->first;
    }
}

TEST(DefaultSkin, TextReadsAtSevenToOneAndControlEdgesAtThreeToOne) {
  for (const Skin& skin : Skins())
    for (const Element& c : skin.controls) {
      SCOPED_TRACE(skin.name + " " + c.a.GetText("action"));
      const wxRect rect = c.Rect("posx", "posy");
      const wxPoint middle(rect.width / 2, rect.height / 2);
      const wxColour text = ParseSkinColour(c.a.GetText("fontcolor"));
      if (c.tag == "textarea") {  // a transparent caption stands on the picture
        EXPECT_GE(Contrast(text, Pixel(skin.picture, rect.x + 1, rect.y + 1)), 7.0);
      }
      for (const auto& [look, name] : Pictures(c)) {
        if (c.tag != "button") break;
        const char* font = name.find("sel") != std::string::npos ? "fontcolorswitched"
                           : name == "down"                      ? "fontcolorpressed"
                                                                 : "fontcolor";
        const wxPoint face = look.GetTopLeft() + middle;
        EXPECT_GE(Contrast(ParseSkinColour(c.a.GetText(font)), Pixel(skin.picture, face.x, face.y)),
                  7.0)
            << name;
      }
      if (!c.Input()) continue;
      // The outline against the panel just above it.
      const int x = rect.x + middle.x;
      EXPECT_GE(Contrast(Pixel(skin.picture, x, rect.y + 1), Pixel(skin.picture, x, rect.y - 3)),
                3.0);
      if (c.a.GetBool("isknob")) {  // the pointer against the knob's face
        EXPECT_GE(Contrast(ParseSkinColour(c.a.GetText("cursorcolor")),
                           Pixel(skin.picture, rect.x + middle.x, rect.y + middle.y)),
                  3.0);
      }
    }
}

TEST(DefaultSkin, HitAreasAndWordsAreLargeEnoughForTheScreen) {
  for (const Skin& skin : Skins()) {
    const int hit = skin.Large() ? 44 : 36, words = skin.Large() ? 14 : 12;
    for (const Element& c : skin.controls) {
      SCOPED_TRACE(skin.name + " " + c.a.GetText("action"));
      if (c.Input()) {
        EXPECT_GE(c.a.GetInt("width"), hit);
        EXPECT_GE(c.a.GetInt("height"), hit);
      }
      if (c.tag == "button") {
        EXPECT_GE(PixelsForPoints(SkinFontOf(c.a).points), words);
      }
    }
  }
}

// Cue, loop, skip and sync buttons go to each deck's pad area, planned and
// empty until the pads are laid out (they outnumber 44 px slots there).
bool InPadArea(const std::string& action) {
  for (const char* family : {"deck_cue", "deck_setcue", "deck_back_to_top", "deck_loop",
                             "deck_skip", "deck_sync", "deck_match"})
    if (action.rfind(family, 0) == 0) return true;
  return false;
}

// Every control the program gives behaviour is placed, for both decks;
// nothing placed is dead; every word on it comes from the language file.
TEST(DefaultSkin, PlacesEveryWiredControlAndOnlyThoseWithWords) {
  LanguageTables english;
  ASSERT_TRUE(LoadLanguageFile(VANTARO_SOURCE_DIR "/languages/english.xml", english));
  for (const Skin& skin : Skins()) {
    std::set<std::pair<int, int>> placed;
    for (const Element& c : skin.controls) {
      SCOPED_TRACE(skin.name + " " + c.a.GetText("action"));
      // The sampler's pads and volume are the skin's own controls, which
      // the program finds by name (app/sampler_face.h).
      if (c.a.GetText("action").rfind("_sampler", 0) == 0) continue;
      const int id = FindControlAction(c.a.GetText("action").c_str());
      ASSERT_NE(id, 0);
      const ControlAction& row = ControlActionRow(id);
      EXPECT_EQ(c.deck() == -1, row.isGlobal != 0);
      EXPECT_TRUE(placed.insert({id, c.deck()}).second) << "placed twice";
      EXPECT_EQ(c.Input(), FindControlBinding(id) != nullptr);
      EXPECT_TRUE(c.Input() || row.isLabel || ProgramFillsControl(id))
          << "a control the program never fills";
      if (c.tag == "button" || row.isLabel) {
        EXPECT_FALSE(english.Label(id).empty());
      }
    }
    for (int id = kFirstAction; id < kLastAction; ++id) {
      if (!FindControlBinding(id) || InPadArea(ControlActionRow(id).name)) continue;
      const bool global = ControlActionRow(id).isGlobal != 0;
      for (int deck : global ? std::vector<int>{-1} : std::vector<int>{0, 1})
        EXPECT_TRUE(placed.count({id, deck}))
            << skin.name << " lacks " << ControlActionRow(id).name << " deck " << deck;
    }
  }
}

}  // namespace
}  // namespace vantaro
