#pragma once
// Colours and fonts of skin elements.
//
// Colours are "#RRGGBB", exactly seven characters; anything else is an
// invalid colour, which a control takes as "not set" (never black). A
// character that is not a hexadecimal digit counts as 0.
//
// Fonts: `fontname` picks a row (a face and its sizes), `fontsize` an index
// 0..14 into the row, `fontstyle` bold, italic or underline. The faces are
// those a Windows skin names, mapped to faces every Debian desktop has, and
// point sizes are taken at 96 dpi as pixel sizes, so that a label fits its
// box whatever the X server's DPI.
//
// Threads: GUI thread (wxFont, wxColour); the pure resolvers any thread.

#include <wx/colour.h>
#include <wx/font.h>

#include <string>

namespace vantaro {

class ZKAttributeList;

// Invalid (IsOk() false) unless `text` is "#" and six characters.
wxColour ParseSkinColour(const std::string& text);
// The attribute `name` as a colour, or `fallback` when it is absent or
// invalid.
wxColour SkinColour(const ZKAttributeList& attributes, const char* name, const wxColour& fallback);

struct SkinFontChoice {
  std::string face;  // the face the skin means ("Arial", "Times New Roman", ...)
  int points = 0;
  bool bold = false, italic = false, underline = false;
};

inline constexpr int kDefaultFontSizeIndex = 3;

// The row of `fontname` (lower-cased; shorter than two characters is the
// first row), the size at `sizeIndex` (clamped to 0..14; -1 means absent and
// gives index 3), and `fontstyle`.
SkinFontChoice ResolveSkinFont(const std::string& fontname, int sizeIndex,
                             const std::string& fontstyle);
// The font of an element's `fontname`, `fontsize` and `fontstyle`.
SkinFontChoice SkinFontOf(const ZKAttributeList& attributes);

// The face installed on Linux for a skin's face: Arial -> Liberation Sans,
// Times New Roman -> Liberation Serif, Courier and Courier New ->
// Liberation Mono, Symbol -> DejaVu Sans.
const char* LinuxFace(const std::string& skinFace);
// Points at 96 dpi, as pixels.
int PixelsForPoints(int points);
wxFont MakeSkinFont(const SkinFontChoice& font);

// `fontalign`: "CENTER" 1, "RIGHT" 2, anything else 0 (left); any case.
enum TextAlign { kAlignLeft = 0, kAlignCenter = 1, kAlignRight = 2 };
int SkinTextAlign(const std::string& fontalign);

}  // namespace vantaro
