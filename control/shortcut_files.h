#pragma once
// The shortcut files in the Settings folder: shortcuts_kb.xml (keys) and
// shortcuts_midi.xml (one MIDI binding per control). Read at start-up after
// config.xml, written at close after it, each to a temporary file renamed
// over the old one.
//
// Form: the declaration and maker lines, root <settings version="101">,
// tab-indented, one element a line; controls in action-id order, deck 0
// before deck 1; `deck` present only on per-deck rows.
//   <shortcut_kb action="deck_play_pause" deck="0" keys="1">
//       <key code="88" shift="0" ch="88" />
//   <shortcut_midi action="crossfader" keys="1">
//       <midi channel="0" iskey="0" keyorcc="7" togglemode="0" />
//
// Nothing the user taught is lost: a missing key file gives the default map
// shipped with the program; a file that cannot be read (not XML, empty,
// another root, torn, too large) is logged, moved aside as
// "<name>.broken-<date>-<time>", and the defaults (keys) or an empty map
// (MIDI) apply until the close writes a good file. Elements with an unknown
// action, a code or channel out of range are skipped and counted in one
// log line.
//
// Threads: GUI thread (they fill the maps and the controls' bindings).

#include <string>
#include <string_view>

namespace vantaro {

inline constexpr const char* kKeyShortcutFile = "shortcuts_kb.xml";
inline constexpr const char* kMidiShortcutFile = "shortcuts_midi.xml";
inline constexpr const char* kDefaultKeyMapFile = "default_keyboard.xml";

enum class ShortcutFileStatus { kLoaded, kMissing, kBroken };

struct ShortcutLoad {
  ShortcutFileStatus status = ShortcutFileStatus::kMissing;
  int bound = 0;    // bindings entered
  int skipped = 0;  // elements left out
};

// Reads `text` (named `source` in the log) into the maps; the maps are not
// cleared first. kBroken when the text is not a usable file.
ShortcutLoad ReadKeyShortcuts(std::string_view text, const std::string& source);
ShortcutLoad ReadMidiShortcuts(std::string_view text, const std::string& source);

// The files' texts from the present bindings.
std::string FormatKeyShortcuts();
std::string FormatMidiShortcuts();

// Step 13: clears all bindings, reads both files from `settingsFolder`; a
// missing or broken key file gives the default map `defaultKeyMap` (a path;
// may be missing too, then no key is bound).
struct ShortcutStartup {
  ShortcutLoad keys, midi;
  bool defaultKeysUsed = false;
};
ShortcutStartup LoadShortcutFiles(const std::string& settingsFolder,
                                  const std::string& defaultKeyMap);

// Close step 2: writes both files; false when either could not be written
// (the old file then stays as it was; `error` says why).
bool SaveShortcutFiles(const std::string& settingsFolder, std::string* error = nullptr);

}  // namespace vantaro
