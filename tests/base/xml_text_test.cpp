#include "base/xml_text.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <filesystem>

#include "tests/support/test_support.h"

namespace vantaro {
namespace {

TEST(XmlText, EscapesTheEightBytesAndBlanksOtherControlBytes) {
  EXPECT_EQ(EscapeXmlText("a&b\"c'd<e>f"), "a&amp;b&quot;c&#39;d&lt;e&gt;f");
  EXPECT_EQ(EscapeXmlText("\t\n\r"), "&#x09;&#x0A;&#x0D;");
  EXPECT_EQ(EscapeXmlText(std::string("x\x01y\x1fz", 5)), "x y z");
  EXPECT_EQ(EscapeXmlText("caf\xC3\xA9"), "caf\xC3\xA9") << "UTF-8 passes untouched";
  EXPECT_EQ(EscapeXmlText(""), "");
}

TEST(XmlText, FloatsHaveFourDecimalsWhateverTheLocale) {
  EXPECT_EQ(FormatFloat4(128.0), "128.0000");
  EXPECT_EQ(FormatFloat4(-3.25), "-3.2500");
  EXPECT_EQ(FormatFloat4(0.00004), "0.0000");
  EXPECT_EQ(FormatFloat4(0.00005), "0.0001");
  if (std::setlocale(LC_NUMERIC, "de_DE.UTF-8")) {
    EXPECT_EQ(FormatFloat4(1.5), "1.5000");
    std::setlocale(LC_NUMERIC, "C");
  }
}

TEST(XmlText, AtomicWriteReplacesWholeOrNotAtAll) {
  test::TempDir dir;
  const std::string path = dir.File("config.xml");
  ASSERT_TRUE(WriteFileAtomically(path, "first"));
  ASSERT_TRUE(WriteFileAtomically(path, "second", /*keepBackup=*/true));
  EXPECT_EQ(test::ReadFile(path), "second");
  EXPECT_EQ(test::ReadFile(path + ".bak"), "first");

  // A folder that cannot be written: the old file stays and the reason is
  // given. (Root ignores permissions, so only check when they bite.)
  chmod(dir.Path().c_str(), 0555);
  if (access(dir.Path().c_str(), W_OK) != 0) {
    std::string error;
    EXPECT_FALSE(WriteFileAtomically(path, "third", false, &error));
    EXPECT_NE(error.find("cannot create a temporary file"), std::string::npos) << error;
    EXPECT_EQ(test::ReadFile(path), "second");
  }
  chmod(dir.Path().c_str(), 0755);

  // No temporary files are left behind.
  int entries = 0;
  for (auto& entry : std::filesystem::directory_iterator(dir.Path())) {
    (void)entry;
    ++entries;
  }
  EXPECT_EQ(entries, 2);
}

}  // namespace
}  // namespace vantaro
