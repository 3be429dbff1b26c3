#include "control/script_reference.h"

#include <set>

#include "control/script_actions.h"
#include "control/value_entries.h"

namespace vantaro {
namespace {

std::string Arguments(const ScriptAction& row) {
  if (row.isGlobal) return "value[, aux]";
  return row.minArgs == 2 ? "deck, value[, aux]" : "deck[, value, aux]";
}

const char* Kind(ScriptPattern pattern) {
  switch (pattern) {
    case ScriptPattern::kSetter:
      return "fader, 0..127";
    case ScriptPattern::kButton:
      return "button: -1 click, above 0 press, 0 release";
    case ScriptPattern::kDirect:
      break;
  }
  return "direct";
}

}  // namespace

std::string ScriptReferenceMarkdown() {
  std::string text = "### Actions\n\n| Action | Arguments | Kind |\n|---|---|---|\n";
  for (int index = 0; index < kScriptActionCount; ++index) {
    const ScriptAction& row = ScriptActionRow(index);
    text += "| `" + std::string(row.name) + "` | " + Arguments(row) + " | " +
            Kind(ScriptActionPattern(index)) + " |\n";
  }
  text += "\n### Values\n\n| Value | Deck |\n|---|---|\n";
  std::set<std::string> listed;
  for (int index = 0; index < NamedValueEntryCount(); ++index) {
    const ValueEntry& row = ValueEntryRow(index);
    if (listed.insert(row.name).second)
      text += "| `" + std::string(row.name) + "` | " + (row.deck < 0 ? "none" : "0 or 1") + " |\n";
  }
  return text;
}

std::string WithScriptReference(const std::string& document, const std::string& lists) {
  const auto begin = document.find(kReferenceBegin);
  const auto end = document.find(kReferenceEnd);
  if (begin == std::string::npos || end == std::string::npos || end < begin) return "";
  const auto from = begin + sizeof kReferenceBegin - 1;
  return document.substr(0, from) + lists + document.substr(end);
}

}  // namespace vantaro
