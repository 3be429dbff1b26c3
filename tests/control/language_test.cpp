// Language files: which are refused and why, what a load writes, which file
// the start-up chooses, and that the English file speaks for every control.
#include "control/language.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "base/xml_reader.h"
#include "control/control_action.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::TempDir;
using test::WriteFile;

const std::string kEnglishPath = std::string(VANTARO_SOURCE_DIR) + "/languages/english.xml";

std::string LanguageFileText(const std::string& attributes, const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<languagestrings " + attributes + ">\n" +
         body + "</languagestrings>\n";
}

std::string German(const std::string& body, int version = 250) {
  return LanguageFileText(
      "language=\"Deutsch\" english=\"German\" locale=\"de_DE\" targetversion=\"" +
          std::to_string(version) + "\"",
      body);
}

TEST(LanguageFiles, TheCheckRefusesWhatIsNotALanguageFileOfThisVersion) {
  const std::string versionLine =
      "lang: xml targetversion is not correct - _VT_VERSION_=250, "
      "_VT_OLDEST_COMPATIBLE_VERSION__LANGUAGE_=211";
  const struct {
    const char* name;
    std::string text;
    bool usable;
    std::string log;
  } cases[] = {
      {"Oldest", German("", 211), true, ""},
      {"Newest", German("", 250), true, ""},
      {"TooOld", German("", 210), false, versionLine},
      {"TooNew", German("", 251), false, versionLine},
      {"NoVersion", LanguageFileText("language=\"X\"", ""), false, versionLine},
      {"TornFile", German("").substr(0, 60), false, "lang: xml is bad formed"},
      {"OtherRoot", "<skin targetversion=\"250\"/>", false,
       "lang: xml root element is not languagestrings"},
  };
  TempDir dir;
  for (const auto& c : cases) {
    WriteFile(dir.File("file.xml"), c.text);
    LanguageFile info;
    testing::internal::CaptureStderr();
    EXPECT_EQ(CheckLanguageFile(dir.File("file.xml"), &info), c.usable) << c.name;
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find(c.log), std::string::npos) << c.name << ": " << log;
    if (c.usable) {
      EXPECT_EQ(info.locale, "de_DE") << c.name;
    }
  }
}

TEST(LanguageFiles, ALoadWritesKnownRowsWithValuesOnly) {
  TempDir dir;
  WriteFile(dir.File("de.xml"), German("<string action=\"txt_ok\" value=\"a\\nb\"/>\n"
                                       "<string action=\"txt_no_such_text\" value=\"x\"/>\n"
                                       "<string action=\"_txt_none\" value=\"x\"/>\n"
                                       "<string action=\"txt_cancel\"/>\n"
                                       "<label action=\"learn\" value=\"LERNEN\"/>\n"
                                       "<label action=\"no_such_control\" value=\"x\"/>\n"
                                       "<hint action=\"crossfader\" value=\"Überblenden\"/>\n"
                                       "<other action=\"txt_yes\" value=\"x\"/>\n"));
  LanguageTables tables;
  ASSERT_TRUE(LoadLanguageFile(dir.File("de.xml"), tables));
  EXPECT_EQ(tables.Text(txt_ok), "a\nb") << "backslash-n is a line break";
  EXPECT_EQ(tables.TextCount(), 1);
  EXPECT_EQ(tables.Label(FindControlAction("learn")), "LERNEN");
  EXPECT_EQ(tables.LabelCount(), 1);
  EXPECT_EQ(tables.Hint(FindControlAction("crossfader")), "Überblenden");
  EXPECT_EQ(tables.HintCount(), 1);
  EXPECT_EQ(tables.Text(kTextTableRows), "");
}

TEST(LanguageFiles, TheChoiceFollowsTheSettingThenTheLocaleThenEnglish) {
  TempDir dir;
  WriteFile(dir.File("english.xml"), test::ReadFile(kEnglishPath));
  WriteFile(dir.File("german.xml"), German("<string action=\"txt_cancel\" value=\"Abbrechen\"/>"));
  WriteFile(dir.File("broken.xml"), German("", 300));
  WriteFile(dir.File("elsewhere.xml"),
            LanguageFileText("language=\"Français\" english=\"French\" locale=\"fr\" "
                             "targetversion=\"250\"",
                             ""));
  const std::vector<LanguageFile> list = ScanLanguages(dir.Path());
  ASSERT_EQ(list.size(), 3u) << "the broken file is left out";
  const struct {
    std::string langf1, locale, chosen;
  } cases[] = {
      {dir.File("elsewhere.xml"), "de_DE.UTF-8", "Français"},
      {dir.File("broken.xml"), "de_DE.UTF-8@euro", "Deutsch"},
      {dir.File("missing.xml"), "de_AT.UTF-8", "Deutsch"},
      {"", "fr_CA", "Français"},
      {"", "pt_BR.UTF-8", "English"},
      {"", "C", "English"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(ChooseLanguage(list, c.langf1, c.locale).language, c.chosen) << c.langf1 << c.locale;
}

TEST(LanguageFiles, AnEntryTheChosenFileLacksReadsInEnglish) {
  TempDir dir;
  WriteFile(dir.File("english.xml"), test::ReadFile(kEnglishPath));
  WriteFile(dir.File("german.xml"), German("<string action=\"txt_cancel\" value=\"Abbrechen\"/>"));
  LanguageTables tables;
  const LanguageChoice choice = LoadLanguage(dir.Path(), "", "de_DE", tables);
  EXPECT_EQ(choice.language, "Deutsch");
  EXPECT_EQ(tables.Text(txt_cancel), "Abbrechen");
  EXPECT_EQ(tables.Text(txt_ok), "OK");
  EXPECT_EQ(tables.Label(FindControlAction("deck_play_pause")), "PLAY");
}

TEST(LanguageFiles, WithNoUsableFileTheCompiledInEnglishSpeaks) {
  EXPECT_EQ(BuiltInEnglish(), test::ReadFile(kEnglishPath)) << "compiled in at build time";
  TempDir dir;
  WriteFile(dir.File("broken.xml"), German("", 100));
  LanguageTables tables;
  testing::internal::CaptureStderr();
  const LanguageChoice choice = LoadLanguage(dir.Path(), "", "de_DE", tables);
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_TRUE(choice.builtIn);
  EXPECT_NE(log.find("the built-in English texts are used"), std::string::npos) << log;
  EXPECT_EQ(tables.Text(txt_app_already_started), "The program is already running.");
}

// Every element of the English file, by kind and action.
template <typename Visit>
void ForEachEntry(Visit visit) {
  const std::string text = test::ReadFile(kEnglishPath);
  XmlReader reader(text, kEnglishPath);
  while (reader.Next()) {
    if (reader.Depth() != 1) continue;
    const std::string* action = reader.Attribute("action");
    visit(std::string(reader.Name()), action ? *action : std::string());
  }
  EXPECT_EQ(reader.Damaged(), 0);
}

TEST(EnglishFile, SpeaksForEveryTextAndControlAndNamesNothingUnknown) {
  ForEachEntry([](const std::string& kind, const std::string& action) {
    if (kind == "string")
      EXPECT_GT(FindTextId(action.c_str()), 0) << action;
    else
      EXPECT_GT(FindControlAction(action.c_str()), 0) << kind << " " << action;
  });
  LanguageTables english;
  ASSERT_TRUE(LoadLanguageFile(kEnglishPath, english));
  for (int id = 1; id < kTextIdEnd; ++id) EXPECT_NE(english.Text(id), "") << TextIdName(id);
  for (int id = kFirstAction; id < kLastAction; ++id) {
    const ControlAction& row = ControlActionRow(id);
    const std::string name = row.name;
    if (name.find("_template") != std::string::npos) continue;  // never shown
    if (row.isLabel || row.kind == kKindButton) {
      EXPECT_NE(english.Label(id), "") << name;
    }
    const bool input = row.kind == kKindButton || row.kind == kKindSlider ||
                       (row.kind >= kKindDropZone && row.kind <= kKindEditArea) ||
                       (row.kind >= kKindSoundDisplay && row.kind <= kKindWebBrowser);
    if (input) {
      EXPECT_NE(english.Hint(id), "") << name;
    }
  }
}

}  // namespace
}  // namespace vantaro
