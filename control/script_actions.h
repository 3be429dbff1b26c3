#pragma once
// The named actions: the one way in from outside (scripts, the command
// line, controllers). Every row ends at a built-in control through
// PostControlEvent, so a call moves the control on screen exactly as a
// hardware message would, and a control the skin left out (hidden) still
// reacts. Rows of features the program lacks so far act on their hidden
// control or, where none exists, do nothing.
//
// Handlers come in three patterns:
//   setter  the row's slider gets a control change (status 0xB0) with the
//           value, 0..127, exactly as a hardware fader;
//   button  -1 is a full click (0x90 127, then 0x80 0); any other value is
//           one note-on, above 0 a press, 0 a release;
//   direct  the jog wheel, pitch moves, samplers, panels, list cursor.
//
// Threads: GUI thread only. Other threads reach an action through the GUI
// sync ring (gui_sync.h).

namespace vantaro {

using ScriptHandler = void (*)(int value, int aux, int deck);

struct ScriptAction {
  const char* name;
  ScriptHandler handler;
  int isGlobal;      // 1: takes no deck argument
  int maxArgs;       // 1 for a global action, 3 for a deck action
  int minArgs;       // arguments a call needs behind the name: 1, or 2 for deck values
  int defaultValue;  // -1, or 100 for the two jog rows
};

inline constexpr int kScriptActionCount = 210;

// Row `index` (0..kScriptActionCount-1); out of range gives row 0.
const ScriptAction& ScriptActionRow(int index);
// Row of `name` (exact, case-sensitive); -1 when unknown.
int FindScriptAction(const char* name);

enum class ScriptPattern { kSetter, kButton, kDirect };
ScriptPattern ScriptActionPattern(int index);
// Action id of the control the row drives, and its deck for a global row
// that drives one deck's control (-1 otherwise); 0 for a row with no
// control.
int ScriptActionControl(int index, int* fixedDeck = nullptr);

// What direct rows reach outside the control table. The program fills it
// as the features land; an empty hook makes the row do nothing.
struct ScriptHooks {
  void (*toggleSampler)(int slot) = nullptr;  // slot 0..7
  // group 0..9 of the skin's groups; panel -1 for next (+1) / previous (-1).
  void (*showPanel)(int group, int panel) = nullptr;
  void (*stepPanel)(int group, int direction) = nullptr;
  bool (*bpmDialogOpen)() = nullptr;
  void (*confirmBpmDialog)() = nullptr;
};
ScriptHooks& TheScriptHooks();

// The list that lbMoveCursor moves: 0 the browser, 1 the play list.
int ActiveBrowseList();

}  // namespace vantaro
