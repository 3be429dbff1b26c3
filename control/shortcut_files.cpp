#include "control/shortcut_files.h"

#include <cstdlib>
#include <optional>

#include "base/data_file.h"
#include "base/debug_log.h"
#include "base/xml_reader.h"
#include "base/xml_text.h"
#include "control/control_action.h"
#include "control/control_table.h"
#include "control/key_map.h"

namespace vantaro {
namespace {

constexpr const char* kVersion = "101";

bool OnlyBlanks(std::string_view text) {
  return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

// A whole decimal number, or nothing.
std::optional<int> Number(const XmlReader& reader, std::string_view name) {
  const std::string* value = reader.Attribute(name);
  if (!value || value->empty()) return std::nullopt;
  char* end = nullptr;
  const long number = std::strtol(value->c_str(), &end, 10);
  if (*end != '\0' || number < -1000000 || number > 1000000) return std::nullopt;
  return static_cast<int>(number);
}

bool InRange(std::optional<int> value, int low, int high) {
  return value && *value >= low && *value <= high;
}

struct Owner {
  int id = 0;  // 0: the element was skipped, and its children with it
  int deck = -1;
};

// The control an element names: a known action, and a deck that fits it
// (absent, -1, on a global row; 0 or 1 on a per-deck row).
Owner ReadOwner(const XmlReader& reader) {
  const std::string* action = reader.Attribute("action");
  Owner owner;
  const int id = action ? FindControlAction(action->c_str()) : 0;
  if (!IsValidAction(id)) return owner;
  const std::optional<int> deck = reader.Attribute("deck") ? Number(reader, "deck") : -1;
  const bool global = ControlActionRow(id).isGlobal != 0;
  if (!deck || (global ? *deck != -1 : (*deck != 0 && *deck != 1))) return owner;
  owner.id = id;
  owner.deck = *deck;
  return owner;
}

bool BindKeyElement(const XmlReader& reader, const Owner& owner) {
  const auto code = Number(reader, "code"), shift = Number(reader, "shift");
  const auto ch = Number(reader, "ch");
  if (!InRange(code, 1, ShortcutMaps::kKeyCodes - 1) ||
      !InRange(shift, 0, ShortcutMaps::kModifierSets - 1))
    return false;
  return BindKey(owner.id, owner.deck, *code, *shift, InRange(ch, 0, 0xFFFF) ? *ch : ' ');
}

bool BindMidiElement(const XmlReader& reader, const Owner& owner) {
  const auto channel = Number(reader, "channel"), isKey = Number(reader, "iskey");
  const auto number = Number(reader, "keyorcc"), toggle = Number(reader, "togglemode");
  if (!InRange(channel, 0, 15) || !InRange(isKey, 0, 1) || !InRange(number, 0, 127)) return false;
  return BindMidi(owner.id, owner.deck, *channel, *isKey == 1, *number,
                  InRange(toggle, 0, 1) ? *toggle : 0);
}

ShortcutLoad ReadShortcuts(std::string_view text, const std::string& source,
                           std::string_view element, std::string_view child,
                           bool (*bind)(const XmlReader&, const Owner&)) {
  ShortcutLoad load;
  load.status = ShortcutFileStatus::kBroken;
  if (OnlyBlanks(text)) {
    DebugLog("shortcuts: XML is empty (%s)", source.c_str());
    return load;
  }
  XmlReader reader(text, source);
  bool rootSeen = false;
  Owner owner;
  while (reader.Next()) {
    if (reader.IsRoot()) {
      if (reader.Name() != "settings") {
        DebugLog("shortcuts: XML root node is NOT 'settings' (%s)", source.c_str());
        return load;
      }
      rootSeen = true;
    } else if (reader.Depth() == 1) {
      owner = reader.Name() == element ? ReadOwner(reader) : Owner{};
      load.skipped += owner.id == 0;
    } else if (reader.Depth() == 2 && owner.id != 0 && reader.Name() == child) {
      if (bind(reader, owner))
        ++load.bound;
      else
        ++load.skipped;
    }
  }
  if (!rootSeen || reader.Refused() || reader.Damaged() > 0) {
    DebugLog("shortcuts: XML not parsed successfully (%s)", source.c_str());
    return load;
  }
  if (load.skipped > 0)
    DebugLog("shortcuts: %d elements of %s skipped (unknown action, code or channel out of range)",
             load.skipped, source.c_str());
  load.status = ShortcutFileStatus::kLoaded;
  return load;
}

ShortcutLoad ReadShortcutFile(const std::string& path, bool keys) {
  std::string text;
  switch (ReadXmlFile(path, XmlFileKind::kSettings, text)) {
    case XmlFileStatus::kMissing:
      return {};
    case XmlFileStatus::kRead:
      break;
    case XmlFileStatus::kUnreadable:
    case XmlFileStatus::kRefused:
      DebugLog("shortcuts: XML not parsed successfully (%s)", path.c_str());
      return {ShortcutFileStatus::kBroken, 0, 0};
  }
  return keys ? ReadKeyShortcuts(text, path) : ReadMidiShortcuts(text, path);
}

// ---- writing ----------------------------------------------------------------------

void Header(std::string& out) {
  out.append(kXmlDeclaration).append("\n");
  out.append(kMakerComment).append("\n");
  out.append("<settings version=\"").append(kVersion).append("\">\n");
}

void OpenElement(std::string& out, const char* element, int id, int deck, int count) {
  out.append("\t<").append(element).append(" action=\"").append(ControlActionRow(id).name);
  out.append("\"");
  if (deck >= 0) out.append(" deck=\"").append(std::to_string(deck)).append("\"");
  out.append(" keys=\"").append(std::to_string(count)).append("\">\n");
}

// Every control row in file order: action id, then deck 0 before deck 1.
template <typename Visit>
void ForEachRow(Visit visit) {
  for (int id = kFirstAction; id < kLastAction; ++id) {
    if (ControlActionRow(id).isGlobal) {
      visit(id, -1);
    } else {
      visit(id, 0);
      visit(id, 1);
    }
  }
}

struct KeyEntry {
  int code, shift, ch;
};

// A control's keys in its own order (a slider's first key steps down); for
// a row with no control (a kind not built yet) or one that keeps no keys
// (the learn button), its map cells.
std::vector<KeyEntry> KeysOf(int id, int deck, const std::vector<std::vector<KeyEntry>>& fromMap) {
  std::vector<KeyEntry> keys;
  if (const ControlBindings* bindings = BindingsOf(id, deck);
      bindings && bindings->KeyCount() > 0) {
    for (int i = 0; i < ControlBindings::kMaxKeys; ++i)
      if (bindings->keyCode[i] > 0)
        keys.push_back({bindings->keyCode[i], bindings->keyShift[i], bindings->keyChar[i]});
    return keys;
  }
  return fromMap[static_cast<std::size_t>(id * 2 + deck + 1)];
}

}  // namespace

ShortcutLoad ReadKeyShortcuts(std::string_view text, const std::string& source) {
  return ReadShortcuts(text, source, "shortcut_kb", "key", &BindKeyElement);
}

ShortcutLoad ReadMidiShortcuts(std::string_view text, const std::string& source) {
  return ReadShortcuts(text, source, "shortcut_midi", "midi", &BindMidiElement);
}

std::string FormatKeyShortcuts() {
  // Keys the maps hold for rows without a control, by row.
  std::vector<std::vector<KeyEntry>> fromMap(static_cast<std::size_t>(kControlTableRows * 2 + 2));
  ShortcutMaps& maps = TheShortcutMaps();
  for (int code = 1; code < ShortcutMaps::kKeyCodes; ++code)
    for (int shift = 0; shift < ShortcutMaps::kModifierSets; ++shift)
      if (const MapCell* cell = maps.Key(code, shift); !cell->Free())
        fromMap[static_cast<std::size_t>(cell->action * 2 + cell->deck + 1)].push_back(
            {code, shift, code < 0x10000 ? code : ' '});
  std::string out;
  Header(out);
  ForEachRow([&](int id, int deck) {
    const std::vector<KeyEntry> keys = KeysOf(id, deck, fromMap);
    if (keys.empty()) return;
    OpenElement(out, "shortcut_kb", id, deck, static_cast<int>(keys.size()));
    for (const KeyEntry& key : keys)
      out.append("\t\t<key code=\"" + std::to_string(key.code) + "\" shift=\"" +
                 std::to_string(key.shift) + "\" ch=\"" + std::to_string(key.ch) + "\" />\n");
    out.append("\t</shortcut_kb>\n");
  });
  out.append("</settings>\n");
  return out;
}

std::string FormatMidiShortcuts() {
  std::string out;
  Header(out);
  ShortcutMaps& maps = TheShortcutMaps();
  ForEachRow([&](int id, int deck) {
    // The maps are the truth: one control has one MIDI binding, found in
    // one cell of either map.
    for (int isKey = 1; isKey >= 0; --isKey) {
      for (int number = 0; number < ShortcutMaps::kMidiNumbers; ++number) {
        for (int channel = 0; channel < ShortcutMaps::kMidiChannels; ++channel) {
          const MidiCell* cell =
              isKey ? maps.Note(number, channel) : maps.ControlChange(number, channel);
          if (!cell->Is(id, deck)) continue;
          OpenElement(out, "shortcut_midi", id, deck, 1);
          out.append("\t\t<midi channel=\"" + std::to_string(channel) + "\" iskey=\"" +
                     std::to_string(isKey) + "\" keyorcc=\"" + std::to_string(number) +
                     "\" togglemode=\"" + std::to_string(cell->toggleMode) + "\" />\n");
          out.append("\t</shortcut_midi>\n");
          return;
        }
      }
    }
  });
  out.append("</settings>\n");
  return out;
}

ShortcutStartup LoadShortcutFiles(const std::string& settingsFolder,
                                  const std::string& defaultKeyMap) {
  const std::string folder = settingsFolder.empty() || settingsFolder.back() == '/'
                                 ? settingsFolder
                                 : settingsFolder + "/";
  ClearAllBindings();
  ShortcutStartup startup;
  const auto read = [&folder](const char* name, bool keys) {
    const std::string path = folder + name;
    const ShortcutLoad load = ReadShortcutFile(path, keys);
    if (load.status == ShortcutFileStatus::kBroken) {
      // What the file held until it broke goes with it; the user keeps
      // the file itself.
      keys ? ClearKeyBindings() : ClearMidiBindings();
      const std::string aside = MoveFileAside(path);
      if (!aside.empty()) DebugLog("shortcuts: %s kept as %s", path.c_str(), aside.c_str());
    }
    return load;
  };
  startup.keys = read(kKeyShortcutFile, true);
  if (startup.keys.status != ShortcutFileStatus::kLoaded) {
    const ShortcutLoad defaults = ReadShortcutFile(defaultKeyMap, true);
    startup.defaultKeysUsed = defaults.status == ShortcutFileStatus::kLoaded;
    if (!startup.defaultKeysUsed) ClearKeyBindings();
    DebugLog("shortcuts: default key map %s: %s, %d keys", defaultKeyMap.c_str(),
             startup.defaultKeysUsed ? "read" : "not usable", defaults.bound);
  }
  startup.midi = read(kMidiShortcutFile, false);
  return startup;
}

bool SaveShortcutFiles(const std::string& settingsFolder, std::string* error) {
  const std::string folder = settingsFolder.empty() || settingsFolder.back() == '/'
                                 ? settingsFolder
                                 : settingsFolder + "/";
  bool saved = true;
  std::string reason;
  if (!WriteFileAtomically(folder + kKeyShortcutFile, FormatKeyShortcuts(), false, &reason)) {
    saved = false;
    DebugLog("shortcuts: %s not saved: %s", kKeyShortcutFile, reason.c_str());
    if (error) *error = reason;
  }
  if (!WriteFileAtomically(folder + kMidiShortcutFile, FormatMidiShortcuts(), false, &reason)) {
    saved = false;
    DebugLog("shortcuts: %s not saved: %s", kMidiShortcutFile, reason.c_str());
    if (error) *error = reason;
  }
  return saved;
}

}  // namespace vantaro
