// config.xml: every key in its place, the reading rules, the rules applied
// after reading, and files that are broken, hostile, linked or unwritable.
#include "app/settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <tuple>

#include "base/xml_text.h"
#include "engine/audio_render.h"
#include "engine/engine_settings.h"
#include "tests/fuzz/hostile_files.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

namespace fs = std::filesystem;

std::string ConfigWith(const std::string& elements) {
  return std::string(kXmlDeclaration) + "\n" + std::string(kMakerComment) +
         "\n<settings version=\"100\">\n" + elements + "</settings>\n";
}

// The <setting> lines of a file, in the order the program writes them, in
// which no value equals its default or any other value. `opengl` keeps its
// default: it is written but never read back.
std::string DistinctElements() {
  const char* keys[] = {
      "skinf1", "langf1",   "audio0",   "audio1",    "audmod",   "nvideo", "naudio", "latncy",
      "ptchrg", "maxram",   "fltmod",   "cfcurv",    "bmatch",   "jscrat", "hqtime", "resetd",
      "rmbreq", "apgain",   "mixlst",   "histry",    "evideo",   "opengl", "vidhqm", "videof",
      "videox", "videoy",   "videow",   "videoh",    "remain",   "extmix", "dsblcf", "mixtim",
      "alimit", "random",   "keylk0",   "keylk1",    "mixaut",   "revmmo", "slowrt", "ptchjw",
      "usecup", "usedim",   "disacu",   "sampv1",    "sampp1",   "sampit", "tctype", "dhints",
      "hqfine", "midiin00", "midiin01", "midiscr00", "midiscr01"};
  std::string out;
  int next = 1000;
  for (const std::string key : keys) {
    const bool text = key == "skinf1" || key == "langf1" || key.rfind("audio", 0) == 0 ||
                      key.rfind("midi", 0) == 0;
    // Text of any bytes: a folder named in Latin-1, XML's special characters.
    const std::string value = text              ? "/" + key + "/caf\xE9 & \"b\" 'x' <y>"
                              : key == "opengl" ? std::to_string(Settings{}.opengl)
                              : key == "videox" ? "-40"  // a window left of the screen
                                                : std::to_string(next++);
    out += "<setting name=\"" + key + "\" ";
    AppendXmlTextAttribute(out, "value", value);
    out += std::string(" type=\"") + (text ? "1" : "0") + "\" />\n";
  }
  return out;
}

TEST(Settings, EveryKeyRoundTripsThroughTheFileInItsFixedPlace) {
  test::TempDir dir;
  const std::string file = ConfigWith(DistinctElements());
  test::WriteFile(dir.File("config.xml"), file);
  Settings read;
  ASSERT_EQ(ReadSettingsFile(dir.File("config.xml"), read), SettingsFileStatus::kLoaded);
  ASSERT_TRUE(SaveSettingsFile(read, dir.File("saved.xml"), nullptr));
  EXPECT_EQ(test::ReadFile(dir.File("saved.xml")), file);
}

// Whatever is wrong with config.xml, the defaults stand, the log says why,
// and the user's file is kept aside before the close writes a new one.
TEST(Settings, AFileThatCannotBeUsedLeavesTheDefaultsAndIsKept) {
  test::TempDir dir;
  const std::string path = dir.File("config.xml");
  const std::string audmod = "<setting name=\"audmod\" value=\"2\" type=\"0\" />\n";
  using Status = SettingsFileStatus;
  std::vector<std::tuple<test::HostileFile, Status, std::string>> cases = {
      {{"missing", "-"}, Status::kMissing, ""},
      {{"a bad value", ConfigWith(audmod + "<s a=\"&x;\"/>")}, Status::kNotParsed, "not parsed"},
      {{"blank", "\xEF\xBB\xBF\n  \n"}, Status::kEmpty, "XML is empty"},
      {{"other root", "<config>" + audmod + "</config>"}, Status::kWrongRoot, "NOT 'settings'"}};
  for (auto& hostile :
       test::HostileFiles("settings", "<setting name=\"skinf1\" value=\"&big;\" />"))
    cases.emplace_back(hostile, Status::kRefused, path + " refused");
  for (const auto& [file, status, logged] : cases) {
    SCOPED_TRACE(file.what);
    for (const auto& entry : fs::directory_iterator(dir.Path())) fs::remove(entry.path());
    ASSERT_TRUE(status == Status::kMissing || test::WriteHostileFile(path, file));
    const auto size = status == Status::kMissing ? 0 : fs::file_size(path);
    TheSettings().audmod = 1;  // LoadSettings starts from the defaults
    testing::internal::CaptureStderr();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(LoadSettings(dir.Path()), status);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(FormatSettingsFile(TheSettings()), FormatSettingsFile(Settings{}));
    EXPECT_TRUE(logged.empty() ? log.empty() : log.find(logged) != std::string::npos) << log;
    ASSERT_TRUE(SaveSettings(dir.Path(), nullptr));
    int kept = 0;
    for (const auto& entry : fs::directory_iterator(dir.Path()))
      kept += entry.path().filename() != "config.xml" && entry.file_size() == size;
    EXPECT_EQ(kept, status != Status::kMissing && status != Status::kEmpty) << "kept aside";
  }
  std::string message;
  EXPECT_FALSE(SaveSettings(dir.File("no-such-folder"), &message));
  EXPECT_EQ(message, "can not save settings to " + dir.File("no-such-folder/config.xml"));

  // A config.xml in a synced folder, reached by a link: the link stays.
  fs::create_directory(dir.File("synced"));
  fs::remove(path);
  fs::create_symlink("synced/config.xml", path);
  ASSERT_TRUE(SaveSettings(dir.Path() + "/", nullptr));
  EXPECT_TRUE(fs::is_symlink(path) && fs::exists(dir.File("synced/config.xml")));
}

// The type decides which form of a value is read; unknown keys and other
// elements are skipped. Then the rules after reading: three keys never
// survive a start, a missing skin is forgotten, the engine takes its words.
TEST(Settings, ReadingAndApplyingFollowTheirRules) {
  test::TempDir dir;
  test::WriteFile(
      dir.File("config.xml"),
      ConfigWith("<setting name=\"latncy\" value=\"4000\" type=\"1\" />"  // text form
                 "<setting name=\"cfcurv\" value=\"70\" />"               // no type: integer
                 "<setting name=\"ptchrg\" type=\"0\" />"                 // no value
                 "<setting name=\"mixtim\" value=\"55 tenths\" type=\"0\" />"
                 "<setting name=\"audio0\" value=\"Card\" type=\"0\" />"
                 "<setting name=\"skinf1\" value=\"/no/such.xml\" type=\"2\" />"
                 "<other name=\"sampit\" value=\"1\" /><setting value=\"3\" />"
                 "<setting name=\"midiin01\" value=\"Second\" type=\"1\" />"
                 "<setting name=\"midiin00\" value=\"First\" type=\"1\" />"
                 "<setting name=\"midiin03\" value=\"Fourth\" type=\"1\" />"
                 "<setting name=\"midiscr03\" value=\"pads.js\" type=\"1\" />"
                 "<setting name=\"midiscr9\" value=\"short.js\" type=\"1\" />"
                 "<setting name=\"hqtime\" value=\"1\" /><setting name=\"zzzzzz\" />"
                 "<setting name=\"extmix\" value=\"1\" /><setting name=\"dsblcf\" value=\"1\" />"
                 "<setting name=\"opengl\" value=\"1\" /><setting name=\"revmmo\" value=\"1\" />"
                 "<setting name=\"audmod\" value=\"2\" /><setting name=\"slowrt\" value=\"0\" />"));
  Settings s;
  ASSERT_EQ(ReadSettingsFile(dir.File("config.xml"), s), SettingsFileStatus::kLoaded);
  const int numbers[] = {s.latncy, s.cfcurv, s.ptchrg, s.mixtim, s.sampit, s.hqtime, s.opengl};
  EXPECT_THAT(numbers, testing::ElementsAre(-1, 70, -1, 55, 8, 1, 0)) << "opengl is not read";
  EXPECT_EQ(s.audio0 + s.skinf1, "/no/such.xml");
  EXPECT_EQ(s.midiInputs, (std::vector<std::string>{"First", "Second", "", "Fourth"}));
  const MidiBindings midi = ReadMidiBindings(s);
  EXPECT_EQ(midi.inputs, (std::map<int, std::string>{{0, "First"}, {1, "Second"}, {3, "Fourth"}}));
  EXPECT_EQ(midi.scripts, (std::map<int, std::string>{{3, "pads.js"}})) << "two digits at least";

  EngineSettings& engine = TheEngineSettings();
  engine.wsKB = 92160;  // maxram 1 takes the size measured at start
  ASSERT_EQ(LoadSettings(dir.Path()), SettingsFileStatus::kLoaded);
  const Settings& applied = TheSettings();
  EXPECT_EQ(applied.hqtime + applied.extmix + applied.dsblcf, 0);
  EXPECT_EQ(applied.skinf1, "") << "a skin whose file is gone is forgotten";
  EXPECT_FALSE(engine.highQualityTime || engine.disableCrossfaderExternal || engine.slowReset ||
               TheAudioRenderer().externalMixer);
  EXPECT_TRUE(TheAudioRenderer().reverseMasterMonitor.load());
  EXPECT_EQ(TheAudioRenderer().outputMode.load(), kOutputMultichannel);
  EXPECT_EQ(engine.crossfaderCurve.load() + engine.availKB.load(), 70 + 92160);
  ASSERT_TRUE(SaveSettings(dir.Path(), nullptr));
  EXPECT_EQ(test::ReadFile(dir.File("config.xml")).find("zzzzzz"), std::string::npos);

  test::WriteFile(dir.File("skin.xml"), "<skin/>");
  s.skinf1 = dir.File("skin.xml");
  s.maxram = 9;  // unknown: the size stays
  engine.availKB = 12345;
  ApplySettings(s);
  EXPECT_EQ(s.skinf1, dir.File("skin.xml"));
  EXPECT_EQ(engine.availKB.load(), 12345u);
  TheSettings() = Settings{};
  ApplySettings(TheSettings());
  engine.availKB = engine.wsKB = 310080;
}

TEST(Settings, DeviceNamesAreLookedUpInTheDeviceTable) {
  const std::vector<std::string> devices = {"ALSA: default", "JACK: system"};
  // An unknown main device plays on the first; names are exact.
  for (auto [name, main, index] : {std::tuple{"JACK: system", true, 1},
                                   {"ALSA: default", false, 0},
                                   {"USB card", true, 0},
                                   {"USB card", false, -1},
                                   {"", false, -1},
                                   {"alsa: default", false, -1}})
    EXPECT_EQ(OutputDeviceIndex(name, devices, main), index) << name << main;
}

}  // namespace
}  // namespace vantaro
