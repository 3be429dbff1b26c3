// The data files' building blocks: text of any bytes in attributes, the
// hardened reader, and writes that lose nothing.
#include "base/xml_text.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <clocale>
#include <filesystem>

#include "base/xml_reader.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

namespace fs = std::filesystem;

// The elements a reader delivers, as "name@depth{attribute=value ...}", then
// "!N" for N damaged places and "refused".
std::string ReadAll(std::string_view text) {
  XmlReader reader(text, "test");
  std::string out;
  while (reader.Next()) {
    out += std::string(reader.Name()) + "@" + std::to_string(reader.Depth()) + "{";
    for (int i = 0; i < reader.AttributeCount(); ++i)
      out += (i ? " " : "") + std::string(reader.AttributeName(i)) + "=" + reader.AttributeValue(i);
    out += "} ";
  }
  return out + "!" + std::to_string(reader.Damaged()) + (reader.Refused() ? " refused" : "");
}

TEST(XmlReader, ReadsTheProgramsFormAndSkipsWhatIsDamaged) {
  const std::pair<std::string, std::string> cases[] = {
      {"\xEF\xBB\xBF<?xml?>\n<!-- m -->\n<r v=\"1\">\n<e a='x' b = \"y\"/>\n</r>\n",
       "r@0{v=1} e@1{a=x b=y} !0"},
      {"<r a=\"&lt;&gt;&amp;&quot;&apos;&#233;&#x1F3B5;\" b=\"1\t2\r\n3\" c=\"caf\xE9\xC3\x28\"/>",
       "r@0{a=<>&\"'\xC3\xA9\xF0\x9F\x8E\xB5 b=1 2 3 c=caf\xE9\xC3\x28} !0"},  // raw bytes kept
      {"<r><x a=\"&nbsp;\" b=\"2\"/><x a=\"&#0;\" b=\"&#xD800;\"/></r>", "r@0{} x@1{b=2} x@1{} !2"},
      {"<r>\n<x a=1/>\n<x a=\"1\"b=\"2\"/>\n<x a=\"<y\"/>\n<y/>\n</r>", "r@0{} y@1{} !1"},
      {"<r><a><b/></r>", "r@0{} a@1{} b@2{} !1"},            // a left open
      {"<r/></a><!---->text<!----><s/>", "r@0{} s@0{} !3"},  // each stray thing counts
      {"<r>\n<e a=\"1\"/>\n<e a=\"2", "r@0{} e@1{a=1} !1"},  // a torn tail
      {"<r><![CDATA[ <x/> ]]><?pi <x/> ?></r><!-- torn", "r@0{} !1"},
      {"<!DOCTYPE r [<!ENTITY e \"x\">]><r a=\"&e;\"/>", "!0 refused"},
      {"<r><x/><!DOCTYPE r></r>", "r@0{} x@1{} !0 refused"},
  };
  for (const auto& [text, read] : cases) EXPECT_EQ(ReadAll(text), read) << text;
  std::string deep;
  for (int i = 0; i <= kMaxXmlDepth; ++i) deep += "<a>";
  EXPECT_NE(ReadAll(deep).find("a@63{} !0 refused"), std::string::npos);
}

// Every byte string a file system allows goes through an attribute and back
// (the program's test goes through a restart with more); only what XML
// cannot hold gets its exact bytes beside a readable form.
TEST(XmlBytes, AnyNameRoundTripsAndStaysReadable) {
  const std::pair<std::string, const char*> names[] = {
      {"tab\t lf\n cr\r & <\"'> \xC3\xB6 \xE2\x80\x93 \xF0\x9F\x8E\xB5 \xEF\xBF\xBD", nullptr},
      {"Caf\xE9 \xC3\x28\xC0\xAF", "Caf\xEF\xBF\xBD \xEF\xBF\xBD(\xEF\xBF\xBD\xEF\xBF\xBD"},
      {std::string("nul\0\x07\xEF\xBF\xBE\xF4\x90\x80\x80", 12), nullptr},  // > U+10FFFF
  };
  for (const auto& [name, readable] : names) {
    std::string element = "<e ";
    AppendXmlTextAttribute(element, "n", name);
    XmlReader reader(element += "/>", "test");
    ASSERT_TRUE(reader.Next()) << element;
    EXPECT_EQ(reader.Text("n"), name) << element;
    EXPECT_EQ(reader.Attribute("n_bytes") != nullptr, !XmlHoldsExactly(name)) << element;
    EXPECT_TRUE(XmlHoldsExactly(*reader.Attribute("n"))) << "the readable form is XML";
    EXPECT_TRUE(!readable || *reader.Attribute("n") == readable) << *reader.Attribute("n");
  }
  // The companion counts only while it matches: a name edited by hand wins,
  // and so does the attribute when the companion is not hex.
  XmlReader reader("<e n=\"Cafe\" n_bytes=\"436166e9\" m=\"x\" m_bytes=\"7g\"/>", "test");
  ASSERT_TRUE(reader.Next());
  EXPECT_EQ(reader.Text("n") + reader.Text("m"), "Cafex");
}

TEST(XmlText, FloatsHaveFourDecimalsWhateverTheLocale) {
  EXPECT_EQ(FormatFloat4(0.00004) + FormatFloat4(0.00005), "0.00000.0001");
  if (std::setlocale(LC_NUMERIC, "de_DE.UTF-8")) {
    EXPECT_EQ(FormatFloat4(1.5), "1.5000");
    std::setlocale(LC_NUMERIC, "C");
  }
}

// Only a plain file within its kind's limit is read; nothing blocks.
TEST(XmlFile, OnlyPlainFilesWithinTheLimitAreRead) {
  test::TempDir dir;
  const std::size_t limit = XmlFileLimit(XmlFileKind::kSettings);
  test::WriteFile(dir.File("limit"), std::string(limit, 'x'));
  test::WriteFile(dir.File("over"), std::string(limit + 1, 'x'));  // (2 GB: the readers' tests)
  ASSERT_EQ(mkfifo(dir.File("fifo").c_str(), 0600), 0);
  for (const std::string name : {"limit", "over", "fifo"}) {
    std::string text = "old";
    const XmlFileStatus status = ReadXmlFile(dir.File(name), XmlFileKind::kSettings, text);
    EXPECT_EQ(status == XmlFileStatus::kRead, name == "limit") << name;
    EXPECT_EQ(text.size(), name == "limit" ? limit : 0) << name;
  }
}

// A file system without hard links whose `failing` step fails for the file
// itself (not its backup).
FileStep failing;
int FailStep(FileStep step, const std::string&, const std::string& to) {
  if (step == FileStep::kLink) return EPERM;
  return step == failing && to.find(".bak") == std::string::npos ? EIO : 0;
}

TEST(DataFile, WritesReplaceWholeOrNotAtAllAndKeepTheOldFileReadable) {
  test::TempDir dir;
  const std::string path = dir.File("db.vtx");
  const mode_t umaskBefore = umask(027);
  ASSERT_TRUE(WriteFileAtomically(path, "first"));
  EXPECT_EQ(fs::status(path).permissions(), fs::perms(0640)) << "the user's umask";
  chmod(path.c_str(), 0604);
  ASSERT_TRUE(WriteFileAtomically(path, "second", /*keepBackup=*/true));
  umask(umaskBefore);
  EXPECT_EQ(fs::status(path).permissions(), fs::perms(0604)) << "the file's own mode is kept";
  EXPECT_EQ(test::ReadFile(path) + test::ReadFile(path + ".bak"), "secondfirst");

  // Without hard links the backup is a copy; whichever step fails, the old
  // file stays in place and no temporary file is left.
  SetFileStepHookForTests(FailStep);
  for (FileStep step : {FileStep::kTemporaryWritten, FileStep::kRename}) {
    failing = step;
    std::string error;
    EXPECT_FALSE(WriteFileAtomically(path, "third", true, &error));
    EXPECT_NE(error.find("Input/output error"), std::string::npos) << error;
    EXPECT_EQ(test::ReadFile(path), "second");
  }
  SetFileStepHookForTests(nullptr);
  EXPECT_EQ(test::ReadFile(path + ".bak"), "second") << "the copy was made before the rename";
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.Path()), {}), 2) << "no temporary file left";

  // A file that cannot be used is moved aside; a link stays and names it
  // again at the next write.
  fs::create_symlink("db.vtx", dir.File("link"));
  const std::string aside = MoveFileAside(dir.File("link"));
  EXPECT_EQ(aside.rfind(path + ".broken-", 0), 0u) << aside;
  EXPECT_EQ(test::ReadFile(aside), "second");
  ASSERT_TRUE(WriteFileAtomically(dir.File("link"), "fifth"));
  EXPECT_TRUE(fs::is_symlink(dir.File("link")));
  EXPECT_EQ(test::ReadFile(path), "fifth");
}

}  // namespace
}  // namespace vantaro
