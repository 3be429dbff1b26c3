#pragma once
// The skins the program can offer: every `<name>.xml` with a picture beside
// it and a `skin` root with `skinname`, from the program's `skins` folder
// and the user's `Skins` folder. And the choice of the skin at start-up.
//
// Threads: GUI thread (the list is the program's); the functions touch no
// window.

#include <string>
#include <vector>

namespace vantaro {

// The name every size of the program's own skin carries.
inline constexpr const char* kDefaultSkinName = "Vantaro";
inline constexpr int kMaxListedSkins = 100;

struct SkinListEntry {
  std::string path;  // of the xml
  std::string skinname;
  std::string displayName;  // "%s (%dx%d)": skinname, screenwidth, screenheight
  int screenwidth = 800, screenheight = 600;
};

// Appends the skins of `folder` (a trailing "/" is cut; a missing folder
// adds nothing) in name order, plain files only, no sub-folders. Files that
// cannot be parsed are passed over without a word. At most
// kMaxListedSkins entries in all.
void ScanSkins(const std::string& folder, std::vector<SkinListEntry>* list);

// The entries of the default skin, one per size, for the screen: the
// largest that fits in both dimensions first, then the smaller ones that
// fit, then those that do not fit, smallest first.
std::vector<const SkinListEntry*> DefaultSkinsForScreen(const std::vector<SkinListEntry>& list,
                                                        int screenWidth, int screenHeight);

// The skins to try at start-up, in order, without repeats: `skinf1` when
// it names an existing file, then the default skin for the screen, then
// every other listed skin.
std::vector<std::string> StartupSkinOrder(const std::vector<SkinListEntry>& list,
                                          const std::string& skinf1, int screenWidth,
                                          int screenHeight);

}  // namespace vantaro
