#pragma once
// The readable values: what scripts, controllers and `vantaro --get` may ask
// of the program by name. A fixed table of ValueEntry rows, filled from the
// engine by the screen tick; a row whose value changed since the last tick
// is reported to every listener (the console driver and the controller
// scripts join there). GetValue answers any name at any moment from the
// engine directly.
//
// Threads: GUI thread only.

#include <string>

namespace vantaro {

enum ValueKind { kValueNone = 0, kValueInt = 1, kValueDouble = 2, kValueText = 3 };

struct ValueEntry {
  static constexpr int kTextBytes = 512;

  const char* name = nullptr;  // null: a free row
  int deck = -1;               // -1 global; 0, 1 (the rows of 2 and 3 stay unused)
  int intValue = 0;
  double doubleValue = 0;
  char text[kTextBytes] = {};
  // The copy last reported; a difference in any member is a change.
  int lastInt = 0;
  double lastDouble = 0;
  char lastText[kTextBytes] = {};
};

inline constexpr int kValueEntryRows = 144;
// Rows with a name; the rest are free for values still to come.
int NamedValueEntryCount();
const ValueEntry& ValueEntryRow(int index);

// A changed row, after its copy was updated. Listeners are called in the
// order they were added.
using ValueListener = void (*)(const ValueEntry& entry, void* user);
void AddValueListener(ValueListener listener, void* user);
void RemoveValueListener(ValueListener listener, void* user);

// Fills every row from the engine and reports the changed ones. Returns the
// number reported. Screen tick.
int RefreshValueEntries();

struct Value {
  ValueKind kind = kValueNone;
  int i = 0;
  double d = 0;
  std::string text;
};

// `name` for `deck` (ignored for global names); kind kValueNone for an
// unknown name or a deck out of range.
Value GetValue(const char* name, int deck);
// One line as the command line prints it: the integer, the double with four
// decimals, or the text; empty for none.
std::string FormatValue(const Value& value);

}  // namespace vantaro
