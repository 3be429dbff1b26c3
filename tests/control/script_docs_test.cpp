// docs/controllers.md lists the actions and values scripts can use; a row
// added or renamed in the tables and not in the document fails here.
// VANTARO_UPDATE_DOCS=1 rewrites the document's lists instead.

#include <gtest/gtest.h>

#include <cstdlib>

#include "control/script_reference.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

TEST(ScriptDocs, ControllersDocumentListsEveryActionAndValueOfTheTables) {
  const std::string path = std::string(VANTARO_SOURCE_DIR) + "/docs/controllers.md";
  const std::string doc = test::ReadFile(path);
  const std::string expected = WithScriptReference(doc, ScriptReferenceMarkdown());
  ASSERT_FALSE(expected.empty()) << "the markers are missing";
  if (doc != expected && std::getenv("VANTARO_UPDATE_DOCS"))
    test::WriteFile(path, expected);
  else
    EXPECT_EQ(doc, expected) << "run with VANTARO_UPDATE_DOCS=1 to bring the lists up to date";
  for (const char* name : {"`deckPlayPause`", "`setCrossfader`", "`sampler8`", "`play`"})
    EXPECT_NE(expected.find(name), std::string::npos) << name;
}

}  // namespace
}  // namespace vantaro
