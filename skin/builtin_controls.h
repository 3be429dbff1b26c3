#pragma once
// The built-in controls of the kinds the program has (buttons, sliders and
// knobs, texts and labels): every one exists from the moment the main window
// is built, hidden and of size 0, until the program ends. A skin sizes and
// shows those it names; the others still take actions, keys and MIDI.
//
// Threads: GUI thread only.

class wxWindow;

namespace vantaro {

class ControlTable;
class LanguageTables;

// Creates the controls as children of `parent` and enters them in `table`
// (one per deck for per-deck rows). A control that cannot be created is
// logged and leaves its slot empty. Returns the number created.
int BuildBuiltInControls(wxWindow* parent, ControlTable& table);

// Labels (button texts, the texts of `isLabel` rows) and hints (tooltips of
// every kind that shows one) from `language`; for a per-deck row both decks
// take them.
void ApplyLanguageToControls(const ControlTable& table, const LanguageTables& language);

// Tooltips on or off (the setting dhints).
void ShowHints(bool on);

}  // namespace vantaro
