// The whole program under Xvfb: it starts speaking English, and the file the
// setting langf1 names speaks from its very first message on.
#include <gtest/gtest.h>
#include <signal.h>

#include "tests/app/app_process.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::AppProcess;
using test::TempDir;

TEST(ProgramLanguage, EnglishByDefaultAndTheFileLangf1NamesOnceSet) {
  test::XvfbServer x(1280, 800);
  TempDir home;
  const std::string config = home.Path() + "/Vantaro/Settings/config.xml";
  {
    AppProcess app(x.Display(), home.Path(), home.File("english.txt"));
    ASSERT_TRUE(app.WaitForOutput("the learn button reads \"LEARN\"")) << app.Output();
    EXPECT_NE(app.Output().find("lang: English from "), std::string::npos) << app.Output();
    app.Signal(SIGTERM);
    ASSERT_EQ(app.WaitForExit(), 0) << app.Output();
  }
  const std::string german = home.File("deutsch.xml");
  test::WriteFile(
      german,
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<languagestrings language=\"Deutsch\" english=\"German\" locale=\"de\" "
      "targetversion=\"250\">\n"
      "<string action=\"txt_app_already_started\" value=\"Das Programm läuft schon.\"/>\n"
      "<label action=\"learn\" value=\"LERNEN\"/>\n"
      "</languagestrings>\n");
  std::string settings = test::ReadFile(config);
  const std::string empty = "name=\"langf1\" value=\"\" type=\"1\"";
  const size_t at = settings.find(empty);
  ASSERT_NE(at, std::string::npos) << "langf1 is written as a text\n" << settings;
  settings.replace(at, empty.size(), "name=\"langf1\" value=\"" + german + "\" type=\"1\"");
  test::WriteFile(config, settings);

  AppProcess first(x.Display(), home.Path(), home.File("first.txt"));
  ASSERT_TRUE(first.WaitForOutput("lang: Deutsch from " + german)) << first.Output();
  EXPECT_TRUE(first.WaitForOutput("the learn button reads \"LERNEN\"")) << first.Output();
  AppProcess second(x.Display(), home.Path(), home.File("second.txt"));
  EXPECT_TRUE(second.WaitForOutput("message: Das Programm läuft schon.")) << second.Output();
  second.Signal(SIGTERM);
  first.Signal(SIGTERM);
  EXPECT_EQ(second.WaitForExit(), 0);
  EXPECT_EQ(first.WaitForExit(), 0) << first.Output();
}

}  // namespace
}  // namespace vantaro
