#pragma once
// A skin file read and checked before anything on screen changes. A skin is
// `<name>.xml` with `<name>.bmp` or `<name>.png` beside it; the XML places
// built-in controls, templates, groups and the skin's own controls in
// windows. ReadSkinFile turns it into a SkinDocument and refuses it whole
// (a SkinFault naming the line and the reason) when applying it could leave
// the window broken: XML that is not well formed, a root other than `skin`,
// a picture that is missing, is no PNG or BMP, or is over 8192 x 8192, a
// window or control over 8192 pixels or of negative size. Faults that a
// skin made for a later version may well have (unknown actions, attributes
// past 100, a control named twice) only skip the element; they are listed
// in `skipped` with their lines.
//
// No wxWidgets here: the picture is only checked by its header; decoding it
// is the loader's first step, still before anything changes.
//
// Threads: any but the audio thread.

#include <string>
#include <utility>
#include <vector>

namespace vantaro {

// Largest window, control or picture side, pixels.
inline constexpr int kMaxSkinPixels = 8192;
// Attributes an element keeps; later ones are dropped.
inline constexpr int kMaxSkinAttributes = 100;

struct SkinElement {
  std::string tag;
  int line = 0;
  std::vector<std::pair<std::string, std::string>> attributes;  // at most 100, in file order
  std::vector<SkinElement> children;

  // Empty when absent.
  const std::string* Find(const std::string& name) const;
  // atoi of the value; `absent` when absent.
  int Int(const std::string& name, int absent = -1) const;
};

struct SkinDocument {
  std::string path, picturePath;
  std::string skinname;                       // empty: the skin loads by path but is not listed
  int screenwidth = 800, screenheight = 600;  // below 10 counts as 800 x 600
  int targetversion = -1;                     // below 2: deck letters in names
  bool dontuselabelsontimepitch = false;
  int pictureWidth = 0, pictureHeight = 0;
  std::vector<SkinElement> windows;  // the `window` children of the root
  // Elements that will be skipped, one line each ("line 12: unknown action
  // 'deck_hyperloop'").
  std::vector<std::string> skipped;
};

struct SkinFault {
  int line = 0;  // 0 when the fault has no line (the picture)
  std::string reason;
};

// Reads and checks the skin at `path`. False (and `fault` set) when the
// skin must not be applied.
bool ReadSkinFile(const std::string& path, SkinDocument* document, SkinFault* fault);
// The same for the text of a skin file; the picture is looked for beside
// `path`.
bool ReadSkinText(const std::string& text, const std::string& path, SkinDocument* document,
                  SkinFault* fault);

// The picture beside a skin file: `.bmp` first, then `.png`; empty when
// neither is there.
std::string SkinPicturePath(const std::string& xmlPath);

// Boolean attributes of `skin` and `window`: "OK", "YES", "Y", "TRUE" in any
// case.
bool SkinRootBool(const std::string& value);

// The action an element addresses: with `targetversion` below 2 a
// lettered name ("decka_play_pause") gives the action and the deck, and the
// `deck` attribute is ignored; otherwise the name stands and `deck` is read.
void ResolveElementAction(const SkinElement& element, int targetversion, std::string* action,
                          int* deck);

}  // namespace vantaro
