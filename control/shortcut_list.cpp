#include "control/shortcut_list.h"

#include <algorithm>

#include "control/control_action.h"
#include "control/key_map.h"
#include "control/key_names.h"

namespace vantaro {
namespace {

std::string ControlText(int id, int deck) {
  std::string text = ControlActionRow(id).name;
  if (deck >= 0) text += deck == 0 ? " (A)" : " (B)";
  return text;
}

bool Shown(int id, int kind) {
  return kind == kKindNone || ControlActionRow(id).kind == kind;
}

void AddMidiRows(std::vector<BindingRow>& rows, int kind, bool isKey) {
  ShortcutMaps& maps = TheShortcutMaps();
  for (int number = 0; number < ShortcutMaps::kMidiNumbers; ++number) {
    for (int channel = 0; channel < ShortcutMaps::kMidiChannels; ++channel) {
      const MidiCell* cell =
          isKey ? maps.Note(number, channel) : maps.ControlChange(number, channel);
      if (cell->Free() || !Shown(cell->action, kind)) continue;
      BindingRow row;
      row.id = cell->action;
      row.deck = cell->deck;
      row.midi = true;
      row.channel = channel;
      row.number = number;
      row.isKey = isKey;
      row.toggle = cell->toggleMode != 0;
      row.control = ControlText(row.id, row.deck);
      row.binding = std::string("MIDI ") + (isKey ? "note " : "control ") + std::to_string(number) +
                    ", channel " + std::to_string(channel + 1) + (row.toggle ? ", toggle" : "");
      rows.push_back(std::move(row));
    }
  }
}

}  // namespace

std::vector<BindingRow> ListBindings(int kind) {
  std::vector<BindingRow> rows;
  ShortcutMaps& maps = TheShortcutMaps();
  for (int code = 1; code < ShortcutMaps::kKeyCodes; ++code) {
    for (int modifiers = 0; modifiers < ShortcutMaps::kModifierSets; ++modifiers) {
      const MapCell* cell = maps.Key(code, modifiers);
      if (cell->Free() || !Shown(cell->action, kind)) continue;
      BindingRow row;
      row.id = cell->action;
      row.deck = cell->deck;
      row.code = code;
      row.modifiers = modifiers;
      row.control = ControlText(row.id, row.deck);
      row.binding = KeyName(code, modifiers);
      rows.push_back(std::move(row));
    }
  }
  AddMidiRows(rows, kind, true);
  AddMidiRows(rows, kind, false);
  std::stable_sort(rows.begin(), rows.end(), [](const BindingRow& a, const BindingRow& b) {
    return a.id != b.id ? a.id < b.id : a.deck < b.deck;
  });
  return rows;
}

bool RemoveBinding(const BindingRow& row) {
  return row.midi ? UnbindMidi(row.isKey, row.number, row.channel)
                  : UnbindKey(row.code, row.modifiers);
}

}  // namespace vantaro
