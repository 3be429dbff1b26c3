#include "skin/skin_style.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>

#include "skin/attribute_list.h"

namespace vantaro {
namespace {

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return 0;
}

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

constexpr int kSizeCount = 15;
constexpr int kStandardPoints[kSizeCount] = {8,  9,  10, 11, 12, 14, 16, 18,
                                             20, 22, 24, 28, 32, 36, 40};
constexpr int kSmallPoints[kSizeCount] = {4, 4, 5, 6, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7};

struct FontRow {
  const char* name;  // fontname, lower-case
  const char* face;
  const int* points;
};

// The first row is the one for every other name.
constexpr FontRow kFontRows[] = {
    {"", "Arial", kStandardPoints},
    {"times", "Times New Roman", kStandardPoints},
    {"small", "Arial", kSmallPoints},
    {"courier", "Courier", kStandardPoints},
    {"couriernew", "Courier New", kStandardPoints},
    {"symbol", "Symbol", kStandardPoints},
};

}  // namespace

wxColour ParseSkinColour(const std::string& text) {
  if (text.size() != 7 || text[0] != '#') return wxColour();
  const auto byte = [&text](int at) {
    return static_cast<unsigned char>(HexDigit(text[at]) * 16 + HexDigit(text[at + 1]));
  };
  return wxColour(byte(1), byte(3), byte(5), wxALPHA_OPAQUE);
}

wxColour SkinColour(const ZKAttributeList& attributes, const char* name, const wxColour& fallback) {
  const wxColour colour = ParseSkinColour(attributes.GetText(name));
  return colour.IsOk() ? colour : fallback;
}

SkinFontChoice ResolveSkinFont(const std::string& fontname, int sizeIndex,
                             const std::string& fontstyle) {
  const std::string name = Lower(fontname);
  const FontRow* row = &kFontRows[0];
  if (name.size() >= 2)
    for (const FontRow& candidate : kFontRows)
      if (name == candidate.name) row = &candidate;
  if (sizeIndex < 0) sizeIndex = kDefaultFontSizeIndex;
  SkinFontChoice font;
  font.face = row->face;
  font.points = row->points[std::min(sizeIndex, kSizeCount - 1)];
  const std::string style = Lower(fontstyle);
  font.bold = style == "bold";
  font.italic = style == "italic";
  font.underline = style == "underline";
  return font;
}

SkinFontChoice SkinFontOf(const ZKAttributeList& attributes) {
  const int size = attributes.Has("fontsize") ? attributes.GetInt("fontsize") : -1;
  return ResolveSkinFont(attributes.GetText("fontname"), size, attributes.GetText("fontstyle"));
}

const char* LinuxFace(const std::string& skinFace) {
  if (skinFace == "Times New Roman") return "Liberation Serif";
  if (skinFace == "Courier" || skinFace == "Courier New") return "Liberation Mono";
  if (skinFace == "Symbol") return "DejaVu Sans";
  return "Liberation Sans";
}

int PixelsForPoints(int points) {
  return static_cast<int>(std::lround(points * 96.0 / 72.0));
}

wxFont MakeSkinFont(const SkinFontChoice& font) {
  wxFontInfo info(wxSize(0, PixelsForPoints(font.points)));
  info.FaceName(LinuxFace(font.face))
      .Bold(font.bold)
      .Italic(font.italic)
      .Underlined(font.underline);
  return wxFont(info);
}

int SkinTextAlign(const std::string& fontalign) {
  if (strcasecmp(fontalign.c_str(), "CENTER") == 0) return kAlignCenter;
  if (strcasecmp(fontalign.c_str(), "RIGHT") == 0) return kAlignRight;
  return kAlignLeft;
}

}  // namespace vantaro
