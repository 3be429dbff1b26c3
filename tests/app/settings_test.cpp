#include "app/settings.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>
#include <vector>

#include "base/xml_text.h"
#include "engine/audio_render.h"
#include "engine/engine_settings.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

std::string ConfigWith(const std::string& elements) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?>\n"
         "<settings version=\"100\">\n" +
         elements + "</settings>\n";
}

// Two Settings are equal when they write the same file (every field is written).
bool SameSettings(const Settings& a, const Settings& b) {
  return FormatSettingsFile(a) == FormatSettingsFile(b);
}

// The <setting> lines of a file, in the order the program writes them, in
// which no value equals its default or any other value. `opengl` keeps its
// default: it is written but never read back.
std::string DistinctElements() {
  const char* keys[] = {"skinf1", "langf1", "audio0", "audio1", "audmod", "nvideo", "naudio",
                        "latncy", "ptchrg", "maxram", "fltmod", "cfcurv", "bmatch", "jscrat",
                        "hqtime", "resetd", "rmbreq", "apgain", "mixlst", "histry", "evideo",
                        "opengl", "vidhqm", "videof", "videox", "videoy", "videow", "videoh",
                        "remain", "extmix", "dsblcf", "mixtim", "alimit", "random", "keylk0",
                        "keylk1", "mixaut", "revmmo", "slowrt", "ptchjw", "usecup", "usedim",
                        "disacu", "sampv1", "sampp1", "sampit", "tctype", "dhints"};
  auto line = [](const std::string& key, const std::string& value, bool text) {
    return "<setting name=\"" + key + "\" value=\"" + EscapeXmlText(value) + "\" type=\"" +
           (text ? "1" : "0") + "\" />\n";
  };
  std::string out;
  int next = 1000;
  for (const std::string key : keys) {
    const bool text = key == "skinf1" || key == "langf1" || key.rfind("audio", 0) == 0;
    const std::string value = text              ? "/" + key + "/a & b \"quoted\" 'x' <y>"
                              : key == "opengl" ? std::to_string(Settings{}.opengl)
                              : key == "videox" ? "-40"  // a window left of the screen
                                                : std::to_string(next++);
    out += line(key, value, text);
  }
  return out + line("midiin00", "Controller One MIDI 1", true) +
         line("midiin01", "Pads & Knobs", true);
}

TEST(Settings, EveryKeyRoundTripsThroughTheFileInItsFixedPlace) {
  test::TempDir dir;
  const std::string elements = DistinctElements();
  test::WriteFile(dir.File("config.xml"), ConfigWith(elements));
  Settings read;
  ASSERT_EQ(ReadSettingsFile(dir.File("config.xml"), read), SettingsFileStatus::kLoaded);
  ASSERT_TRUE(SaveSettingsFile(read, dir.File("saved.xml"), nullptr));
  const std::vector<std::string> saved = Lines(test::ReadFile(dir.File("saved.xml")));
  const std::vector<std::string> expected = Lines(elements);
  ASSERT_EQ(saved.size(), expected.size() + 4);
  EXPECT_EQ(saved[0], "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?>");
  EXPECT_EQ(saved[1].rfind("<!-- ", 0), 0u);
  EXPECT_EQ(saved[2], "<settings version=\"100\">");
  EXPECT_EQ(saved.back(), "</settings>");
  for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(saved[3 + i], expected[i]);

  // Some defaults, as a new file writes them.
  const std::string defaults = FormatSettingsFile(Settings{});
  for (const char* line : {"<setting name=\"skinf1\" value=\"\" type=\"1\" />",
                           "<setting name=\"latncy\" value=\"2880\" type=\"0\" />",
                           "<setting name=\"videox\" value=\"16\" type=\"0\" />"})
    EXPECT_NE(defaults.find(line), std::string::npos) << line;
  EXPECT_EQ(defaults.find("midiin"), std::string::npos);
}

TEST(Settings, DefaultsStandWhenTheFileIsMissingBrokenEmptyOrForeign) {
  test::TempDir dir;
  const std::string path = dir.File("config.xml");
  const std::string changesAudmod = "<setting name=\"audmod\" value=\"2\" type=\"0\" />\n";
  struct Case {
    const char* what;
    std::string content;  // empty with `create` false: no file
    bool create;
    SettingsFileStatus status;
    const char* logLine;
  } cases[] = {
      {"missing", "", false, SettingsFileStatus::kMissing, nullptr},
      {"broken", ConfigWith(changesAudmod).substr(0, 90), true, SettingsFileStatus::kNotParsed,
       "XML not parsed successfully"},
      {"empty", "", true, SettingsFileStatus::kEmpty, "XML is empty"},
      {"blank", "\xEF\xBB\xBF\n  \n", true, SettingsFileStatus::kEmpty, "XML is empty"},
      {"other root", "<config>\n" + changesAudmod + "</config>\n", true,
       SettingsFileStatus::kWrongRoot, "XML root node is NOT 'settings'"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    unlink(path.c_str());
    if (c.create) test::WriteFile(path, c.content);
    TheSettings().audmod = 1;  // LoadSettings starts from the defaults
    testing::internal::CaptureStderr();
    EXPECT_EQ(LoadSettings(dir.Path()), c.status);
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(SameSettings(TheSettings(), Settings{}));
    if (c.logLine)
      EXPECT_NE(log.find(std::string("-- xvt: ") + "LoadSettings: " + c.logLine), std::string::npos)
          << log;
    else
      EXPECT_EQ(log, "") << "a missing file is silent";
  }
  // The same file, whole, does change audmod: the cases above are real.
  test::WriteFile(path, ConfigWith(changesAudmod));
  EXPECT_EQ(LoadSettings(dir.Path() + "/"), SettingsFileStatus::kLoaded);
  EXPECT_EQ(TheSettings().audmod, 2);
}

TEST(Settings, ThreeKeysNeverSurviveAStartAndUnknownKeysVanishOnSave) {
  test::TempDir dir;
  test::WriteFile(dir.File("config.xml"),
                  ConfigWith("<setting name=\"hqtime\" value=\"1\" type=\"0\" />\n"
                             "<setting name=\"extmix\" value=\"1\" type=\"0\" />\n"
                             "<setting name=\"dsblcf\" value=\"1\" type=\"0\" />\n"
                             "<setting name=\"opengl\" value=\"1\" type=\"0\" />\n"
                             "<setting name=\"revmmo\" value=\"1\" type=\"0\" />\n"
                             "<setting name=\"zzzzzz\" value=\"9\" type=\"0\" />\n"
                             "<setting name=\"cfcurv\" value=\"80\" type=\"0\" />\n"));
  ASSERT_EQ(LoadSettings(dir.Path()), SettingsFileStatus::kLoaded);
  EXPECT_EQ(TheSettings().hqtime, 0);
  EXPECT_EQ(TheSettings().extmix, 0);
  EXPECT_EQ(TheSettings().dsblcf, 0);
  EXPECT_EQ(TheSettings().opengl, 0) << "opengl is not read";
  EXPECT_EQ(TheSettings().revmmo, 1) << "a neighbouring key is read";
  EXPECT_EQ(TheSettings().cfcurv, 80);
  EXPECT_FALSE(TheEngineSettings().highQualityTime.load());
  EXPECT_FALSE(TheEngineSettings().disableCrossfaderExternal.load());
  EXPECT_FALSE(TheAudioRenderer().externalMixer.load());
  EXPECT_TRUE(TheAudioRenderer().reverseMasterMonitor.load());
  EXPECT_EQ(TheEngineSettings().crossfaderCurve.load(), 80);

  std::string message;
  ASSERT_TRUE(SaveSettings(dir.Path(), &message));
  EXPECT_EQ(message, "");
  const std::string saved = test::ReadFile(dir.File("config.xml"));
  EXPECT_EQ(saved.find("zzzzzz"), std::string::npos);
  EXPECT_NE(saved.find("<setting name=\"cfcurv\" value=\"80\" type=\"0\" />"), std::string::npos);
  TheSettings() = Settings{};
  ApplySettings(TheSettings());
}

TEST(Settings, TypeDecidesWhichFormOfTheValueIsRead) {
  test::TempDir dir;
  test::WriteFile(
      dir.File("config.xml"),
      ConfigWith("<setting name=\"latncy\" value=\"4000\" type=\"1\" />\n"  // text form
                 "<setting name=\"cfcurv\" value=\"70\" />\n"               // no type: integer
                 "<setting name=\"ptchrg\" type=\"0\" />\n"                 // no value
                 "<setting name=\"mixtim\" value=\"55 tenths\" type=\"0\" />\n"
                 "<setting name=\"audio0\" value=\"Card\" type=\"0\" />\n"  // text read as int
                 "<setting name=\"skinf1\" value=\"/no/such.xml\" type=\"2\" />\n"
                 "<other name=\"sampit\" value=\"1\" type=\"0\" />\n"
                 "<setting value=\"3\" type=\"0\" />\n"
                 "<setting name=\"midiin01\" value=\"Second\" type=\"1\" />\n"
                 "<setting name=\"midiin00\" value=\"First\" type=\"1\" />\n"));
  Settings s;
  ASSERT_EQ(ReadSettingsFile(dir.File("config.xml"), s), SettingsFileStatus::kLoaded);
  EXPECT_EQ(s.latncy, -1);
  EXPECT_EQ(s.cfcurv, 70);
  EXPECT_EQ(s.ptchrg, -1);
  EXPECT_EQ(s.mixtim, 55) << "trailing text is ignored";
  EXPECT_EQ(s.audio0, "");
  EXPECT_EQ(s.skinf1, "/no/such.xml");
  EXPECT_EQ(s.sampit, 8) << "other elements are skipped";
  EXPECT_EQ(s.midiInputs, (std::vector<std::string>{"First", "Second"}));
}

TEST(Settings, ApplyFollowsTheRulesAfterReading) {
  test::TempDir dir;
  EngineSettings& engine = TheEngineSettings();
  engine.wsKB = 92160;
  // maxram 1..5 pick a cache size; anything else leaves it alone.
  const std::pair<int, std::uint32_t> table[] = {{1, 92160},  {2, 103360}, {3, 206720},
                                                 {4, 310080}, {5, 0},      {9, 12345}};
  for (auto [maxram, kilobytes] : table) {
    Settings s;
    s.maxram = maxram;
    engine.availKB = 12345;
    ApplySettings(s);
    EXPECT_EQ(engine.availKB.load(), kilobytes) << "maxram " << maxram;
  }

  Settings s;
  s.skinf1 = dir.File("missing.xml");
  s.audmod = 2;
  s.ptchrg = 5;
  s.slowrt = 0;
  s.apgain = 0;
  s.rmbreq = 0;
  ApplySettings(s);
  EXPECT_EQ(s.skinf1, "") << "a skin whose file is gone is forgotten";
  EXPECT_EQ(TheAudioRenderer().outputMode.load(), kOutputMultichannel);
  EXPECT_EQ(engine.pitchRange.load(), 5);
  EXPECT_FALSE(engine.slowReset.load());
  EXPECT_FALSE(engine.autoGain.load());
  EXPECT_FALSE(engine.rememberSongEq.load());

  test::WriteFile(dir.File("skin.xml"), "<skin/>");
  s.skinf1 = dir.File("skin.xml");
  ApplySettings(s);
  EXPECT_EQ(s.skinf1, dir.File("skin.xml"));

  Settings defaults;
  ApplySettings(defaults);
  EXPECT_EQ(TheAudioRenderer().outputMode.load(), kOutputNormal);
  engine.availKB = 310080;
  engine.wsKB = 310080;
}

TEST(Settings, DeviceNamesAreLookedUpInTheDeviceTable) {
  const std::vector<std::string> devices = {"ALSA: default", "JACK Audio Connection Kit: system"};
  EXPECT_EQ(OutputDeviceIndex("JACK Audio Connection Kit: system", devices, true), 1);
  EXPECT_EQ(OutputDeviceIndex("ALSA: default", devices, false), 0);
  EXPECT_EQ(OutputDeviceIndex("USB card", devices, true), 0) << "unknown main device plays first";
  EXPECT_EQ(OutputDeviceIndex("USB card", devices, false), -1);
  EXPECT_EQ(OutputDeviceIndex("", devices, false), -1);
  EXPECT_EQ(OutputDeviceIndex("alsa: default", devices, false), -1) << "names are exact";
}

// Saving where the file cannot be written gives the message for the box and
// leaves the old file whole.
TEST(Settings, FailedSaveReportsAndKeepsTheOldFile) {
  test::TempDir dir;
  std::string message;
  const std::string missingFolder = dir.File("no-such-folder");
  EXPECT_FALSE(SaveSettings(missingFolder, &message));
  EXPECT_EQ(message, "can not save settings to " + missingFolder + "/config.xml");

  // A read-only folder. Root ignores permissions, so the save runs in a
  // child process that gives up root first.
  const std::string folder = dir.File("Settings");
  ASSERT_EQ(mkdir(folder.c_str(), 0755), 0);
  Settings old;
  old.cfcurv = 77;
  ASSERT_TRUE(SaveSettingsFile(old, folder + "/config.xml", nullptr));
  const std::string before = test::ReadFile(folder + "/config.xml");
  chmod(dir.Path().c_str(), 0755);
  chmod(folder.c_str(), 0555);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    if (getuid() == 0 && setuid(65534) != 0) _exit(3);
    if (access(folder.c_str(), W_OK) == 0) _exit(4);
    TheSettings().cfcurv = 10;
    std::string childMessage;
    const bool saved = SaveSettings(folder, &childMessage);
    _exit(!saved && childMessage == "can not save settings to " + folder + "/config.xml" ? 0 : 5);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  chmod(folder.c_str(), 0755);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(test::ReadFile(folder + "/config.xml"), before);
  Settings reread;
  ReadSettingsFile(folder + "/config.xml", reread);
  EXPECT_EQ(reread.cfcurv, 77);
}

}  // namespace
}  // namespace vantaro
