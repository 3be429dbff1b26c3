#pragma once
// Skin files for tests: an XML text and a BMP picture beside it, written
// without the toolkit so that program tests can make them too.

#include <string>

namespace vantaro::test {

// Writes a 24-bit BMP of `width` x `height`: 8-pixel squares of `colour`
// (0xRRGGBB) and white, so that faces copied from it are not blank.
void WriteBmp(const std::string& path, int width, int height, unsigned colour);

// Writes `<folder>/<name>.xml` with `xml` and, unless `withPicture` is
// false, `<name>.bmp` of `width` x `height` beside it. Returns the XML path.
std::string WriteSkin(const std::string& folder, const std::string& name, const std::string& xml,
                      int width = 640, int height = 480, bool withPicture = true);

// A skin text: `<skin skinname=... screenwidth=... screenheight=...
// targetversion=...>` (a negative version leaves it out) with one main
// window of 600 x 400 holding `controls`.
std::string SkinXml(const std::string& controls, int targetversion = 2,
                    const std::string& skinname = "Test", int screenwidth = 800,
                    int screenheight = 600);

}  // namespace vantaro::test
