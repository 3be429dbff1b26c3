#pragma once
// Where the default skin puts a control, read from the built skin file the
// way a person would measure it on screen, for tests that click and drop on
// the real program. The default skin at the screen's size runs at 0,0, so
// its window pixels are the root window's.

#include <string>

namespace vantaro::test {

struct SkinPlace {
  int x = -1, y = -1, width = 0, height = 0;
  bool Found() const { return width > 0 && height > 0; }
  int CentreX() const { return x + width / 2; }
  int CentreY() const { return y + height / 2; }
};

// The first element of `skinXml` with this action (and deck; -1 for none).
SkinPlace FindSkinPlace(const std::string& skinXml, const std::string& action, int deck);
// The default skin built for 1280x800.
std::string DefaultSkin1280();

}  // namespace vantaro::test
