#pragma once
// LoadSkin: gives the main window the face of one skin file. The built-in
// controls outlive every skin (with their callbacks and values); a load
// hides them all, and the skin sizes, places and shows those it names. The
// skin's own controls (actions starting with "_") and groups live in the
// tables below and die with the skin.
//
// A load first reads and checks the whole file and decodes its picture
// (skin/skin_file.h); a skin that fails there is refused, logged with its
// file, line and reason, and the running skin stays untouched. Elements the
// loader skips (unknown actions, kinds it cannot build) are logged with
// their lines and counted in the result.
//
// Threads: GUI thread only. The audio thread plays on; no engine state is
// touched.

#include <wx/gdicmn.h>

#include <memory>
#include <string>

#include "skin/attribute_list.h"

class wxWindow;

namespace vantaro {

class ZKCustomControl;
class ZKCustomGroup;
class ZKMainWindow;

// The templates: the look of controls the program makes at run time in
// dialogs and pop-ups. A skin element with that action sets one; otherwise
// it gets the defaults.
enum SkinTemplate { kButtonTemplate = 0, kSliderTemplate = 1, kTextareaTemplate = 2 };

struct SkinTables {
  static constexpr int kMaxCustomControls = 2000;
  static constexpr int kMaxGroups = 10;
  static constexpr std::size_t kScriptBufferBytes = 65536;

  // CustomControlTable: the skin's own controls, in order of creation (the
  // index is the control's slot). The windows own them.
  ZKCustomControl* customControls[kMaxCustomControls] = {};
  // GroupTable: the skin's own groups.
  std::unique_ptr<ZKCustomGroup> groups[kMaxGroups];
  // The built-in tab group: seven panels, made with the first skin.
  std::unique_ptr<ZKCustomGroup> bigTab;
  ZKAttributeList templates[3];
  // The skin's script functions (onmousedown, onmouseup of its own
  // controls), kept for the skin-script host; at most kScriptBufferBytes.
  std::string script;
  wxRect videoPreview{-1, -1, -1, -1};
  // The window the skin was loaded into; the skin's objects go with it.
  wxWindow* owner = nullptr;
  // Of the running skin: its file, and its picture's path, size and time.
  std::string path;
  std::string pictureStamp;
  int screenwidth = 0, screenheight = 0;
  bool dontuselabelsontimepitch = false;
  bool runsFullScreen = false;
};

// The program's one set.
SkinTables& TheSkinTables();

// Slot of the skin's own control or group of that name; -1 when none.
int FindCustomControl(const std::string& name);
int FindGroup(const std::string& name);

struct SkinLoadResult {
  bool loaded = false;
  // When refused: the line (0 for none) and the reason.
  int line = 0;
  std::string reason;
  int skipped = 0;  // elements skipped by a load that went through
};

// Loads the skin at `path` into `mainWindow` (its controls' parent).
SkinLoadResult LoadSkin(const std::string& path, ZKMainWindow* mainWindow);

// Destroys the skin's own controls and groups and the tab group, and
// forgets the running skin, when `window` holds them (its destruction).
void ReleaseSkinTables(wxWindow* window);

// One line for the user: "<file>, line N: <reason>".
std::string DescribeSkinFault(const std::string& path, const SkinLoadResult& result);

}  // namespace vantaro
