#pragma once
// The built-in controls: one row per action name, with its kind and two
// flags. The row number is the action id that shortcut files, messages and
// the control table use. Per-deck rows (`isGlobal` 0) have a control for
// each of the two decks; a global row has one.
//
// Threads: constant tables, any thread.

namespace vantaro {

// Kinds of control, by row; the tag names a skin-defined control of that
// kind, the label is the wording of the learn and filter lists.
enum ControlKind {
  kKindNone = 0,
  kKindButton = 1,
  kKindSlider = 2,
  kKindText = 3,
  kKindImage = 4,
  kKindDropZone = 5,
  kKindDropDown = 6,
  kKindBrowser = 7,
  kKindList = 8,
  kKindEditArea = 9,
  kKindVuMeter = 10,
  kKindSoundDisplay = 11,
  kKindPlayLive = 12,
  kKindWheel = 13,
  kKindBeatPos = 14,
  kKindVideo = 15,
  kKindFlow = 16,
  kKindWebBrowser = 17,
  kKindGroup = 18,
  kKindUnknown = 19,
  kKindCount = 20,
};

struct ControlKindRow {
  const char* tag;
  const char* label;
};

// Row `kind`; out of range gives the "unknown" row.
const ControlKindRow& ControlKindInfo(int kind);
// Kind of a skin tag; 0 for an unknown tag.
int ControlKindOfTag(const char* tag);

struct ControlAction {
  const char* name;
  int kind;
  int isLabel;   // 1: the text comes from the language file and never changes
  int isGlobal;  // 0: one control for each deck
};

// Row 0 is "action_none", the last row "action_lastaction"; valid ids lie
// between them.
inline constexpr int kFirstAction = 1;
inline constexpr int kLastAction = 364;  // "action_lastaction"
inline constexpr int kControlTableRows = kLastAction + 1;

// Row `id`; out of range gives row 0.
const ControlAction& ControlActionRow(int id);
// Id of `name` (exact, case-sensitive); 0 when unknown.
int FindControlAction(const char* name);
inline bool IsValidAction(int id) {
  return id >= kFirstAction && id < kLastAction;
}

// Ids of the rows the program's own code names.
struct ActionIds {
  int deckPlayPause, deckBrake, deckReverse, deckKillLow, deckKillMid, deckKillHigh;
  int deckMonitor, deckVolume, talkover, learn;
};
const ActionIds& Actions();

}  // namespace vantaro
