#include "control/key_map.h"

#include "control/control_action.h"
#include "control/control_table.h"
#include "control/key_names.h"

namespace vantaro {
namespace {

constexpr int kBlank = ' ';
constexpr int kMidiTop = 127;

BindingsLookup g_lookup = nullptr;

// Learn state: the note cell whose note-on was seen (a momentary key), and
// the next key slot of the target.
int g_heldNote = -1;
int g_nextKeySlot = 0;

ControlTarget* ControlAt(const MapCell& cell) {
  return cell.Free() ? nullptr : TheControlTable().Find(cell.action, cell.deck);
}

void ForgetMidi(const MapCell& cell) {
  if (ControlBindings* bindings = cell.Free() ? nullptr : BindingsOf(cell.action, cell.deck)) {
    bindings->midiChannel = -1;
    bindings->midiIsKey = -1;
    bindings->midiKeyOrCc = -1;
    bindings->midiToggleMode = 0;
  }
}

// Clears every entry of (code, modifiers) in the control the cell names.
void ForgetKey(const MapCell& cell, int code, int modifiers) {
  ControlBindings* bindings = cell.Free() ? nullptr : BindingsOf(cell.action, cell.deck);
  if (!bindings) return;
  for (int i = 0; i < ControlBindings::kMaxKeys; ++i) {
    if (bindings->keyCode[i] == code && bindings->keyShift[i] == modifiers) {
      bindings->keyCode[i] = 0;
      bindings->keyShift[i] = 0;
      bindings->keyChar[i] = u' ';
    }
  }
}

// Shows the new bindings in the learn overlay.
void Redraw(int id, int deck) {
  if (ControlTarget* control = TheControlTable().Find(id, deck))
    control->SetLearning(control->IsLearning());
}

// ---- keys ---------------------------------------------------------------------

bool MayBindKey(int code, int modifiers) {
  if (code > 29) return true;
  return (code == 8 || code == 13 || code == 27) &&
         (modifiers == 0 || modifiers == kModAlt || modifiers == kModShift);
}

void LearnKey(int code, int modifiers, int character) {
  const LearnTarget target = CurrentLearnTarget();
  ControlBindings* bindings = BindingsOf(target.id, target.deck);
  if (!bindings || bindings->KeyCount() == 0 || !MayBindKey(code, modifiers)) return;
  ShortcutMaps& maps = TheShortcutMaps();
  MapCell* cell = maps.Key(code, modifiers);
  ForgetKey(*cell, code, modifiers);
  const int oldId = cell->action, oldDeck = cell->deck;
  *cell = MapCell{};
  if (oldId >= 0) Redraw(oldId, oldDeck);
  const int slot = g_nextKeySlot++ % bindings->KeyCount();
  if (bindings->keyCode[slot] > 0) {
    MapCell* old = maps.Key(bindings->keyCode[slot], bindings->keyShift[slot]);
    if (old && old->Is(target.id, target.deck)) *old = MapCell{};
  }
  bindings->keyCode[slot] = code;
  bindings->keyShift[slot] = modifiers;
  bindings->keyChar[slot] = static_cast<char16_t>(character);
  cell->action = static_cast<std::int16_t>(target.id);
  cell->deck = static_cast<std::int8_t>(target.deck);
  Redraw(target.id, target.deck);
}

void StepBoundControl(const MapCell& cell, int code, int modifiers) {
  ControlTarget* control = ControlAt(cell);
  ControlBindings* bindings = BindingsOf(cell.action, cell.deck);
  if (!control || !bindings || control->IsLearning()) return;
  for (int i = 0; i < bindings->KeyCount(); ++i) {
    if (bindings->keyCode[i] != code || bindings->keyShift[i] != modifiers) continue;
    ControlEvent event = ControlEvent::Step(i != 0);
    event.code = i;
    event.deck = cell.deck;
    PostControlEvent(control, event);
  }
}

// ---- MIDI -------------------------------------------------------------------------

ControlEvent MidiEvent(int status, int channel, int number, int value, int time, int deck) {
  ControlEvent event;
  event.kind = mt_MIDI;
  event.status = status;
  event.x = 0;
  event.y = 0;
  event.button = 0;
  event.modifiers = time;
  event.channel = channel;
  event.note = number;
  event.value = value;
  event.ch = kBlank;
  event.deck = deck;
  return event;
}

// Stores (target) in `cell`, taking it from any other control, and gives
// the control the assignment.
void Assign(MidiCell* cell, const LearnTarget& target, ControlBindings& bindings, int channel,
            bool isKey, int number, int toggleMode) {
  if (!cell->Free() && !cell->Is(target.id, target.deck)) {
    ForgetMidi(*cell);
    Redraw(cell->action, cell->deck);
  }
  cell->action = static_cast<std::int16_t>(target.id);
  cell->deck = static_cast<std::int8_t>(target.deck);
  cell->toggleMode = static_cast<std::int8_t>(toggleMode);
  cell->toggleState = 0;
  bindings.midiChannel = channel;
  bindings.midiIsKey = isKey ? 1 : 0;
  bindings.midiKeyOrCc = number;
  bindings.midiToggleMode = toggleMode;
  // One control, one MIDI binding.
  TheShortcutMaps().ClearMidiOf(target.id, target.deck, cell);
  Redraw(target.id, target.deck);
}

void LearnMidi(int status, int channel, int number, int value) {
  const LearnTarget target = CurrentLearnTarget();
  ControlBindings* bindings = BindingsOf(target.id, target.deck);
  if (!bindings || bindings->MidiCount() != 1) return;
  ShortcutMaps& maps = TheShortcutMaps();
  if (status == kMidiControl) {
    Assign(maps.ControlChange(number, channel), target, *bindings, channel, false, number, 0);
    return;
  }
  if (status != kMidiNoteOn && status != kMidiNoteOff) return;
  // The number stops being a control change of a control.
  MidiCell* controlChange = maps.ControlChange(number, channel);
  if (ControlAt(*controlChange)) {
    ForgetMidi(*controlChange);
    Redraw(controlChange->action, controlChange->deck);
    *controlChange = MidiCell{};
  }
  const int cellIndex = number * ShortcutMaps::kMidiChannels + channel;
  if (status == kMidiNoteOn && value > 0) {
    g_heldNote = cellIndex;
    return;
  }
  // A release decides: after a press it is a momentary key; alone, a
  // device that sends one message per press, which toggles.
  const int toggleMode = g_heldNote == cellIndex ? 0 : 1;
  g_heldNote = -1;
  Assign(maps.Note(number, channel), target, *bindings, channel, true, number, toggleMode);
}

void DeliverMidi(int status, int channel, int number, int value, int time) {
  ShortcutMaps& maps = TheShortcutMaps();
  if (status == kMidiControl) {
    const MidiCell* cell = maps.ControlChange(number, channel);
    if (ControlTarget* control = cell ? ControlAt(*cell) : nullptr)
      PostControlEvent(control, MidiEvent(kMidiControl, channel, number, value, time, cell->deck));
    return;
  }
  if (status != kMidiNoteOn && status != kMidiNoteOff) return;
  const MidiCell* cell = maps.Note(number, channel);
  ControlTarget* control = cell ? ControlAt(*cell) : nullptr;
  if (!control) return;
  if (cell->toggleMode) {
    PostControlEvent(control, MidiEvent(kMidiNoteOn, channel, number, kMidiTop, time, cell->deck));
    PostControlEvent(control, MidiEvent(kMidiNoteOff, channel, number, 0, time, cell->deck));
  } else {
    PostControlEvent(control, MidiEvent(status, channel, number, value, time, cell->deck));
  }
}

}  // namespace

// ---- maps -----------------------------------------------------------------------------

ShortcutMaps::ShortcutMaps()
    : keys_(kKeyCodes * kModifierSets),
      notes_(kMidiNumbers * kMidiChannels),
      controlChanges_(kMidiNumbers * kMidiChannels) {}

MapCell* ShortcutMaps::Key(int code, int modifiers) {
  if (code < 0 || code >= kKeyCodes || modifiers < 0 || modifiers >= kModifierSets) return nullptr;
  return &keys_[code * kModifierSets + modifiers];
}

MidiCell* ShortcutMaps::Note(int number, int channel) {
  if (number < 0 || number >= kMidiNumbers || channel < 0 || channel >= kMidiChannels)
    return nullptr;
  return &notes_[number * kMidiChannels + channel];
}

MidiCell* ShortcutMaps::ControlChange(int number, int channel) {
  if (number < 0 || number >= kMidiNumbers || channel < 0 || channel >= kMidiChannels)
    return nullptr;
  return &controlChanges_[number * kMidiChannels + channel];
}

void ShortcutMaps::Clear() {
  ClearKeys();
  ClearMidi();
}

void ShortcutMaps::ClearKeys() {
  for (MapCell& cell : keys_) cell = MapCell{};
}

void ShortcutMaps::ClearMidi() {
  for (MidiCell& cell : notes_) cell = MidiCell{};
  for (MidiCell& cell : controlChanges_) cell = MidiCell{};
}

void ShortcutMaps::ClearMidiOf(int id, int deck, const MidiCell* keep) {
  for (auto* map : {&notes_, &controlChanges_})
    for (MidiCell& cell : *map)
      if (&cell != keep && cell.Is(id, deck)) cell = MidiCell{};
}

ShortcutMaps& TheShortcutMaps() {
  static ShortcutMaps maps;
  return maps;
}

void SetBindingsLookup(BindingsLookup lookup) {
  g_lookup = lookup;
}

ControlBindings* BindingsOf(int id, int deck) {
  ControlTarget* control = TheControlTable().Find(id, deck);
  return control && g_lookup ? g_lookup(control) : nullptr;
}

bool BindKey(int id, int deck, int code, int modifiers, int character) {
  MapCell* cell = TheShortcutMaps().Key(code, modifiers);
  if (!cell || code <= 0 || !IsValidAction(id)) return false;
  cell->action = static_cast<std::int16_t>(id);
  cell->deck = static_cast<std::int8_t>(deck);
  ControlBindings* bindings = BindingsOf(id, deck);
  if (!bindings) return true;
  for (int i = 0; i < bindings->KeyCount(); ++i) {
    if (bindings->keyCode[i] > 0) continue;
    bindings->keyCode[i] = code;
    bindings->keyShift[i] = modifiers;
    bindings->keyChar[i] = static_cast<char16_t>(character);
    break;
  }
  return true;
}

bool BindMidi(int id, int deck, int channel, bool isKey, int number, int toggleMode) {
  ShortcutMaps& maps = TheShortcutMaps();
  MidiCell* cell = isKey ? maps.Note(number, channel) : maps.ControlChange(number, channel);
  if (!cell || !IsValidAction(id)) return false;
  cell->action = static_cast<std::int16_t>(id);
  cell->deck = static_cast<std::int8_t>(deck);
  cell->toggleMode = static_cast<std::int8_t>(toggleMode != 0);
  if (ControlBindings* bindings = BindingsOf(id, deck); bindings && bindings->MidiCount() > 0) {
    bindings->midiChannel = channel;
    bindings->midiIsKey = isKey ? 1 : 0;
    bindings->midiKeyOrCc = number;
    bindings->midiToggleMode = toggleMode != 0;
  }
  return true;
}

bool UnbindKey(int code, int modifiers) {
  MapCell* cell = TheShortcutMaps().Key(code, modifiers);
  if (!cell || cell->Free()) return false;
  ForgetKey(*cell, code, modifiers);
  Redraw(cell->action, cell->deck);
  *cell = MapCell{};
  return true;
}

bool UnbindMidi(bool isKey, int number, int channel) {
  ShortcutMaps& maps = TheShortcutMaps();
  MidiCell* cell = isKey ? maps.Note(number, channel) : maps.ControlChange(number, channel);
  if (!cell || cell->Free()) return false;
  ControlBindings* bindings = BindingsOf(cell->action, cell->deck);
  if (bindings && bindings->midiKeyOrCc == number && bindings->midiIsKey == (isKey ? 1 : 0))
    ForgetMidi(*cell);
  Redraw(cell->action, cell->deck);
  *cell = MidiCell{};
  return true;
}

void ClearAllBindings() {
  ClearKeyBindings();
  ClearMidiBindings();
}

void ClearKeyBindings() {
  TheShortcutMaps().ClearKeys();
  if (!g_lookup) return;
  TheControlTable().ForEach([](ControlTarget* control) {
    if (ControlBindings* bindings = g_lookup(control)) {
      for (int i = 0; i < ControlBindings::kMaxKeys; ++i) {
        bindings->keyCode[i] = 0;
        bindings->keyShift[i] = 0;
        bindings->keyChar[i] = u' ';
      }
    }
  });
}

void ClearMidiBindings() {
  TheShortcutMaps().ClearMidi();
  if (!g_lookup) return;
  TheControlTable().ForEach([](ControlTarget* control) {
    if (ControlBindings* bindings = g_lookup(control)) {
      bindings->midiChannel = -1;
      bindings->midiIsKey = -1;
      bindings->midiKeyOrCc = -1;
      bindings->midiToggleMode = 0;
    }
  });
}

KeyHookResult HandleKeyPress(const KeyPress& press) {
  if (!press.appActive) return KeyHookResult::kHandled;
  const bool learning = LearnModeOn();
  if (press.textFocus && !learning) return KeyHookResult::kPass;
  const int code = TranslateKeyCode(press.rawCode, press.character, true);
  if (code < 0 || code >= ShortcutMaps::kKeyCodes || press.modifiers < 0 ||
      press.modifiers >= ShortcutMaps::kModifierSets)
    return KeyHookResult::kPass;
  const MapCell& cell = *TheShortcutMaps().Key(code, press.modifiers);
  // The learn key switches learn mode whatever the mode: the keyboard alone
  // can enter it and leave it, and the learn button itself never learns.
  if (cell.action == Actions().learn) {
    SetLearnMode(!learning);
    return KeyHookResult::kHandled;
  }
  if (learning) {
    LearnKey(code, press.modifiers, press.character);
    return KeyHookResult::kHandled;
  }
  if (cell.action <= 0) return KeyHookResult::kPass;
  StepBoundControl(cell, code, press.modifiers);
  return KeyHookResult::kHandled;
}

void HandleSkinMidi(int status, int channel, int data1, int data2, int time) {
  if (channel < 0 || channel >= ShortcutMaps::kMidiChannels || data1 < 0 ||
      data1 >= ShortcutMaps::kMidiNumbers)
    return;
  if (LearnModeOn())
    LearnMidi(status, channel, data1, data2);
  else
    DeliverMidi(status, channel, data1, data2, time);
}

void ResetLearnCapture() {
  g_heldNote = -1;
  g_nextKeySlot = 0;
}

}  // namespace vantaro
