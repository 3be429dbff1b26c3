#pragma once
// The program's side of skins: the list scanned at start-up (step 15), the
// skin loaded at step 18 with its fall-backs, the reload_skin button, the
// preferences' choice of a skin, the full-screen switch, and the files named
// on the command line.
//
// A start never stops on a skin. The skin tried first is skinf1, then the
// default skin sized for the screen, then every other listed skin; the
// first that loads is shown, and when it is not the one tried first, or
// when it skipped elements, a notice (a window that does not wait for an
// answer) says why. With none, the window stays bare and says "error - NO
// SKIN WAS LOADED". A reload or a choice that fails keeps the running skin
// and says why in a box.
//
// Threads: GUI thread only.

#include <string>
#include <vector>

#include "skin/skin_list.h"

namespace vantaro {

class ZKMainWindow;

// The listed skins: the program's "skins" folder, then the user's Skins.
std::vector<SkinListEntry>& ProgramSkinList();

// Step 15: scans both folders.
void ScanProgramSkins();
// Step 18: loads the start-up skin. False when none could be loaded.
bool LoadStartupSkin(ZKMainWindow* mainWindow);

// reload_skin: loads skinf1 again (the running skin when skinf1 is empty).
void ReloadSkin();
// Wires the reload_skin button, and maximize and maximize2 as the
// full-screen switch (after the handlers are wired, step 8).
void WireSkinButtons();

// The preferences' choice: a skin larger than the display in either
// dimension is refused with a box, as is one that cannot be loaded; the
// running skin then stays. True when `path` now runs and is skinf1.
bool ChooseSkin(const std::string& path);

// The files given on the command line (the desktop entry passes dropped
// files) go to deck A, then deck B, through the deck's load. A file that
// cannot be loaded is logged and passed over; files past the second too.
void LoadCommandLineFiles(const std::vector<std::string>& files);

// The non-modal notice: logged ("notice: ..."), then shown in a window of
// its own over the main window once the event loop runs.
void ShowNotice(const std::string& text);

}  // namespace vantaro
