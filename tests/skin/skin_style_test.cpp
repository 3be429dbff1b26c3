// Attribute lists, colours and fonts of skin elements at their edges.
#include "skin/skin_style.h"

#include <gtest/gtest.h>

#include "skin/attribute_list.h"

namespace vantaro {
namespace {

TEST(ZKAttributeList, HoldsAHundredNamesAndReadsValuesAsTheSkinMeansThem) {
  ZKAttributeList list;
  for (int i = 0; i < 101; ++i) list.SetInt("a" + std::to_string(i), i);
  EXPECT_EQ(list.Count(), 100);
  EXPECT_FALSE(list.Has("a100")) << "the 101st name is dropped";
  list.SetText("a5", "Yes");
  EXPECT_EQ(list.Count(), 100) << "a second set overwrites";
  EXPECT_TRUE(list.GetBool("a5"));
  list.Clear();
  const struct {
    const char* value;
    bool asBool;
    int asInt;
  } values[] = {{"yes", true, 0}, {"TRUE", true, 0},   {"1", false, 1},
                {"ok", false, 0}, {"12px", false, 12}, {"", false, 0}};
  for (const auto& v : values) {
    list.SetText("v", v.value);
    EXPECT_EQ(list.GetBool("v"), v.asBool) << v.value;
    EXPECT_EQ(list.GetInt("v"), v.asInt) << v.value;
  }
  EXPECT_EQ(list.GetInt("V"), -1) << "names are case-sensitive; absent is -1";
  EXPECT_FALSE(list.GetBool("absent"));
  EXPECT_EQ(list.GetText("absent"), "");
  list.SetFloat("f", 0.5f);
  EXPECT_EQ(list.GetText("f"), "0.50000");
  list.SetBool("b", false);
  EXPECT_EQ(list.GetText("b"), "no");
  EXPECT_FLOAT_EQ(list.GetFloat("f"), 0.5f);
}

TEST(SkinColours, OnlyAHashAndSixCharactersMakeAColour) {
  const struct {
    const char* text;
    bool valid;
    unsigned char red, green, blue;
  } cases[] = {
      {"#AAAAAA", true, 0xAA, 0xAA, 0xAA}, {"#ff5830", true, 0xFF, 0x58, 0x30},
      {"#GG00Z1", true, 0, 0, 1},          {"#000000", true, 0, 0, 0},
      {"AAAAAA", false, 0, 0, 0},          {"#AAAAA", false, 0, 0, 0},
      {"#AAAAAAA", false, 0, 0, 0},        {"", false, 0, 0, 0},
      {"BLACK", false, 0, 0, 0},
  };
  for (const auto& c : cases) {
    const wxColour colour = ParseSkinColour(c.text);
    ASSERT_EQ(colour.IsOk(), c.valid) << c.text;
    if (!c.valid) continue;
    EXPECT_EQ(colour.Red(), c.red) << c.text;
    EXPECT_EQ(colour.Green(), c.green) << c.text;
    EXPECT_EQ(colour.Blue(), c.blue) << c.text;
    EXPECT_EQ(colour.Alpha(), wxALPHA_OPAQUE) << c.text;
  }
}

TEST(SkinFonts, RowsSizesAndStylesMapToFacesOfTheDesktop) {
  const struct {
    const char* name;
    int size;
    const char* style;
    const char* face;
    int points;
    bool bold, italic;
  } cases[] = {
      {"Times", 4, "", "Times New Roman", 12, false, false},
      {"small", 9, "italic", "Arial", 7, false, true},
      {"small", 0, "", "Arial", 4, false, false},
      {"anything", -1, "BOLD", "Arial", 11, true, false},
      {"t", 0, "", "Arial", 8, false, false},
      {"couriernew", 99, "normal", "Courier New", 40, false, false},
      {"symbol", 14, "", "Symbol", 40, false, false},
  };
  for (const auto& c : cases) {
    const SkinFontChoice plan = ResolveSkinFont(c.name, c.size, c.style);
    EXPECT_EQ(plan.face, c.face) << c.name;
    EXPECT_EQ(plan.points, c.points) << c.name << " " << c.size;
    EXPECT_EQ(plan.bold, c.bold) << c.style;
    EXPECT_EQ(plan.italic, c.italic) << c.style;
  }
  EXPECT_STREQ(LinuxFace("Times New Roman"), "Liberation Serif");
  EXPECT_STREQ(LinuxFace("Courier"), "Liberation Mono");
  EXPECT_STREQ(LinuxFace("Symbol"), "DejaVu Sans");
  // 12 points at 96 dpi are 16 pixels, whatever the server's resolution.
  const wxFont font = MakeSkinFont(ResolveSkinFont("arial", 4, ""));
  EXPECT_EQ(font.GetFaceName(), "Liberation Sans");
  EXPECT_EQ(font.GetPixelSize().y, 16);
  EXPECT_EQ(SkinTextAlign("center"), kAlignCenter);
  EXPECT_EQ(SkinTextAlign("RIGHT"), kAlignRight);
  EXPECT_EQ(SkinTextAlign("middle"), kAlignLeft);
}

}  // namespace
}  // namespace vantaro
