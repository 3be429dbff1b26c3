// docs/controllers.md lists the actions and values scripts can use; the
// lists come from the program's tables, so a row added or renamed there and
// not in the document fails here. VANTARO_UPDATE_DOCS=1 rewrites the
// generated section instead.

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <string>

#include "control/script_actions.h"
#include "control/value_entries.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

const char kBegin[] = "<!-- generated: begin -->\n";
const char kEnd[] = "<!-- generated: end -->";

std::string Takes(const ScriptAction& row) {
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

std::string GeneratedLists() {
  std::string text = "### Actions\n\n| Action | Arguments | Kind |\n|---|---|---|\n";
  for (int index = 0; index < kScriptActionCount; ++index) {
    const ScriptAction& row = ScriptActionRow(index);
    text += "| `" + std::string(row.name) + "` | " + Takes(row) + " | " +
            Kind(ScriptActionPattern(index)) + " |\n";
  }
  text += "\n### Values\n\n| Value | Deck |\n|---|---|\n";
  std::set<std::string> seen;
  for (int index = 0; index < NamedValueEntryCount(); ++index) {
    const ValueEntry& row = ValueEntryRow(index);
    if (!seen.insert(row.name).second) continue;
    text += "| `" + std::string(row.name) + "` | " + (row.deck < 0 ? "none" : "0 or 1") + " |\n";
  }
  return text;
}

TEST(ScriptDocs, ControllersDocumentListsEveryActionAndValueOfTheTables) {
  const std::string path = std::string(VANTARO_SOURCE_DIR) + "/docs/controllers.md";
  const std::string doc = test::ReadFile(path);
  const auto begin = doc.find(kBegin);
  const auto end = doc.find(kEnd);
  ASSERT_NE(begin, std::string::npos);
  ASSERT_NE(end, std::string::npos);
  const std::string listed = doc.substr(begin + sizeof kBegin - 1, end - begin - sizeof kBegin + 1);
  const std::string expected = GeneratedLists();
  if (listed != expected && std::getenv("VANTARO_UPDATE_DOCS")) {
    test::WriteFile(path, doc.substr(0, begin + sizeof kBegin - 1) + expected + doc.substr(end));
    return;
  }
  EXPECT_EQ(listed, expected) << "docs/controllers.md is behind the tables: run this test with "
                                 "VANTARO_UPDATE_DOCS=1";
}

}  // namespace
}  // namespace vantaro
