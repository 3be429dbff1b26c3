// Keys and MIDI bound to controls: the key hook's rules, learn mode for
// keys and MIDI, and the two shortcut files with every way they can break.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <thread>

#include "base/debug_log.h"
#include "control/gui_sync.h"
#include "control/key_map.h"
#include "control/shortcut_files.h"
#include "control/shortcut_list.h"
#include "tests/control/fake_controls.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::RecordingControl;
using test::RecordingTable;

ControlBindings* Lookup(ControlTarget* control) {
  return &static_cast<RecordingControl*>(control)->bindings;
}

int Id(const char* action) {
  return FindControlAction(action);
}

// Every control of the table, with the capacities the program gives them:
// buttons and sliders two keys and one MIDI binding, others none.
class ShortcutTest : public ::testing::Test {
 protected:
  void SetUp() override {
    SetDebugLogEcho(false);
    SetDebugLogFolder(dir_.Path());
    SetBindingsLookup(&Lookup);
    table_.ForEach([](RecordingControl& control) {
      const int kind = ControlActionRow(control.id).kind;
      const bool bindable = kind == kKindButton || kind == kKindSlider;
      control.bindings.SetKeyCount(bindable ? 2 : 0);
      control.bindings.SetMidiCount(bindable ? 1 : 0);
    });
    SetLearnTargetHook(&ResetLearnCapture);
    ClearAllBindings();
  }
  void TearDown() override {
    SetLearnMode(false);
    ClearAllBindings();
    SetBindingsLookup(nullptr);
    SetLearnTargetHook(nullptr);
    SetDebugLogFolder("");
    SetDebugLogEcho(true);
  }
  RecordingControl& At(const char* action, int deck) { return *table_.At(Id(action), deck); }
  std::string Log() const { return test::ReadFile(dir_.File("vantaro.log")); }
  void Learn(const char* action, int deck) {
    SetLearnMode(true);
    At(action, deck).TakeLearnFocus();
  }

  test::TempDir dir_;
  RecordingTable table_;
};

// The same controls, for the learn rules.
class LearnTest : public ShortcutTest {};

KeyHookResult Press(int code, int modifiers = 0, bool textFocus = false, bool active = true) {
  KeyPress press;
  press.rawCode = code;
  press.character = code;
  press.modifiers = modifiers;
  press.textFocus = textFocus;
  press.appActive = active;
  return HandleKeyPress(press);
}

// Text box focus and an inactive program: key_hook_test.cpp, on real
// windows.
TEST_F(ShortcutTest, KeyHookRulesInTheirOrder) {
  BindKey(Id("deck_play_pause"), 0, 'X', 0, 'X');
  BindKey(Id("deck_pitch"), 1, ';', 0, ';');
  BindKey(Id("deck_pitch"), 1, 'L', 0, 'L');
  RecordingControl* moved[] = {nullptr, &At("deck_play_pause", 0), &At("deck_pitch", 1)};
  constexpr auto kIn = KeyHookResult::kHandled, kOn = KeyHookResult::kPass;
  // code, character, modifiers; result; control moved; its step code.
  const struct {
    int code, ch, modifiers;
    KeyHookResult result;
    int control, step;
  } cases[] = {
      {'X', 'X', 0, kIn, 1, 0},       {0, 'x', 0, kIn, 1, 0},    // upper-cased
      {'X', 'X', kModAlt, kOn, 0, 0}, {';', ';', 0, kIn, 2, 0},  // first key down
      {'L', 'L', 0, kIn, 2, 1},       {'Q', 'Q', 0, kOn, 0, 0},  // unbound
      {8000, 0, 0, kOn, 0, 0},        {'X', 'X', 32, kOn, 0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.code) + "/" + std::to_string(c.modifiers));
    table_.ClearEvents();
    EXPECT_EQ(HandleKeyPress({c.code, c.ch, c.modifiers, true, false}), c.result);
    ASSERT_EQ(table_.TotalEvents(), c.control ? 1 : 0);
    if (!c.control) continue;
    ASSERT_EQ(moved[c.control]->events.size(), 1u);
    EXPECT_EQ(moved[c.control]->events[0].kind, mt_STEP);
    EXPECT_EQ(moved[c.control]->events[0].code, c.step);
  }
  // A learning control is left alone by its keys.
  table_.ClearEvents();
  moved[1]->learning = true;
  EXPECT_EQ(Press('X'), KeyHookResult::kHandled);
  EXPECT_EQ(table_.TotalEvents(), 0);
}

TEST_F(ShortcutTest, MidiWithoutLearningDrivesTheBoundControl) {
  BindMidi(Id("crossfader"), -1, 2, false, 7, 0);
  BindMidi(Id("deck_cue"), 0, 0, true, 60, 0);
  BindMidi(Id("deck_play_pause"), 1, 0, true, 61, 1);
  RecordingControl& fader = At("crossfader", -1);
  RecordingControl& cue = At("deck_cue", 0);
  RecordingControl& play = At("deck_play_pause", 1);
  HandleSkinMidi(kMidiControl, 2, 7, 100, 55);
  HandleSkinMidi(kMidiControl, 3, 7, 100, 55);  // another channel: free
  HandleSkinMidi(kMidiNoteOn, 0, 60, 90, 0);
  HandleSkinMidi(kMidiNoteOff, 0, 60, 0, 0);
  HandleSkinMidi(kMidiNoteOn, 0, 61, 90, 0);
  HandleSkinMidi(kMidiNoteOff, 0, 61, 64, 0);
  HandleSkinMidi(kMidiNoteOn, 0, 62, 90, 0);  // free
  ASSERT_EQ(fader.events.size(), 1u);
  EXPECT_EQ(fader.events[0].status, kMidiControl);
  EXPECT_EQ(fader.events[0].value, 100);
  EXPECT_EQ(fader.events[0].channel, 2);
  EXPECT_EQ(fader.events[0].note, 7);
  EXPECT_EQ(fader.events[0].modifiers, 55) << "the time rides in the modifiers";
  ASSERT_EQ(cue.events.size(), 2u) << "a momentary key passes as it came";
  EXPECT_EQ(cue.events[0].status, kMidiNoteOn);
  EXPECT_EQ(cue.events[0].value, 90);
  EXPECT_EQ(cue.events[1].status, kMidiNoteOff);
  ASSERT_EQ(play.events.size(), 4u) << "a toggle note clicks on every message";
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(play.events[i].status, i % 2 ? kMidiNoteOff : kMidiNoteOn);
    EXPECT_EQ(play.events[i].value, i % 2 ? 0 : 127);
  }
  EXPECT_EQ(table_.TotalEvents(), 7);
}

TEST_F(LearnTest, LearnKeysRoundRobinAndTakeAKeyFromItsOldControl) {
  BindKey(Id("deck_cue"), 1, 'M', 0, 'M');
  Learn("deck_play_pause", 0);
  RecordingControl& play = At("deck_play_pause", 0);
  RecordingControl& cue = At("deck_cue", 1);
  EXPECT_EQ(Press('M'), KeyHookResult::kHandled);
  EXPECT_EQ(Press('N'), KeyHookResult::kHandled);
  EXPECT_EQ(Press('B'), KeyHookResult::kHandled);  // third key: slot 0 again
  EXPECT_EQ(play.bindings.keyCode[0], 'B');
  EXPECT_EQ(play.bindings.keyCode[1], 'N');
  EXPECT_EQ(cue.bindings.keyCode[0], 0) << "M left the cue button";
  EXPECT_EQ(cue.bindings.keyChar[0], u' ');
  EXPECT_TRUE(TheShortcutMaps().Key('M', 0)->Free()) << "and the slot's old key left the map";
  EXPECT_TRUE(TheShortcutMaps().Key('B', 0)->Is(Id("deck_play_pause"), 0));
  // Which keys may be bound.
  struct Case {
    int code, modifiers;
    bool binds;
  } const cases[] = {{27, kModShift, true}, {13, kModAlt, true},      {8, 0, true},
                     {5, 0, false},         {27, kModControl, false}, {30, kModControl, true}};
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.code) + "/" + std::to_string(c.modifiers));
    Press(c.code, c.modifiers);
    EXPECT_EQ(TheShortcutMaps().Key(c.code, c.modifiers)->Free(), !c.binds);
  }
  // A target that holds no key learns nothing.
  Learn("deck_songname", 0);
  Press('V');
  EXPECT_TRUE(TheShortcutMaps().Key('V', 0)->Free());
}

// The MIDI learn path as the program runs it: the message comes from a
// driver thread through the MIDI ring.
void FromRing(const MidiMessage& m) {
  HandleSkinMidi(m.status, m.channel, m.data1, m.data2, m.time);
}
void SendFromThread(std::initializer_list<MidiMessage> messages) {
  std::thread driver([messages] {
    for (const MidiMessage& m : messages)
      SendMidiMessage(0, 0, m.status, m.channel, m.data1, m.data2, 0);
  });
  driver.join();
  DrainMidi();
}

TEST_F(LearnTest, LearnMidiNotePairsGiveMomentaryAndSingleNotesToggle) {
  SetMidiHandlers(nullptr, &FromRing);
  Learn("deck_play_pause", 0);
  SendFromThread({{0, 0, kMidiNoteOn, 1, 36, 100, 0}, {0, 0, kMidiNoteOff, 1, 36, 0, 0}});
  const ControlBindings& play = At("deck_play_pause", 0).bindings;
  EXPECT_EQ(play.midiKeyOrCc, 36);
  EXPECT_EQ(play.midiIsKey, 1);
  EXPECT_EQ(play.midiChannel, 1);
  EXPECT_EQ(play.midiToggleMode, 0);
  EXPECT_EQ(TheShortcutMaps().Note(36, 1)->toggleMode, 0);

  Learn("deck_cue", 1);
  SendFromThread({{0, 0, kMidiNoteOn, 1, 37, 0, 0}});  // velocity 0: a release alone
  EXPECT_EQ(At("deck_cue", 1).bindings.midiToggleMode, 1);
  EXPECT_EQ(TheShortcutMaps().Note(37, 1)->toggleMode, 1);

  // The cue button learns the play button's note: play loses it, and the
  // cue's old note is freed (one control, one binding).
  SendFromThread({{0, 0, kMidiNoteOn, 1, 36, 100, 0}, {0, 0, kMidiNoteOff, 1, 36, 0, 0}});
  EXPECT_EQ(play.midiKeyOrCc, -1);
  EXPECT_TRUE(TheShortcutMaps().Note(36, 1)->Is(Id("deck_cue"), 1));
  EXPECT_TRUE(TheShortcutMaps().Note(37, 1)->Free());
  SetMidiHandlers(nullptr, nullptr);
}

TEST_F(LearnTest, NoteOverControlChangeAndTargetsThatCannotOrNoLongerLearn) {
  Learn("crossfader", -1);
  HandleSkinMidi(kMidiControl, 0, 20, 64, 0);
  EXPECT_EQ(At("crossfader", -1).bindings.midiKeyOrCc, 20);
  EXPECT_EQ(At("crossfader", -1).bindings.midiIsKey, 0);
  // A control-change cell of a row without a control stays.
  const int orphan = Id("browser");
  RecordingControl* browser = table_.At(orphan, -1);
  TheControlTable().Set(orphan, -1, nullptr);
  BindMidi(orphan, -1, 0, false, 21, 0);

  Learn("deck_sync", 0);
  for (int number : {20, 21}) {
    HandleSkinMidi(kMidiNoteOn, 0, number, 100, 0);
    HandleSkinMidi(kMidiNoteOff, 0, number, 0, 0);
  }
  EXPECT_TRUE(TheShortcutMaps().ControlChange(20, 0)->Free());
  EXPECT_EQ(At("crossfader", -1).bindings.midiKeyOrCc, -1);
  EXPECT_TRUE(TheShortcutMaps().ControlChange(21, 0)->Is(orphan, -1));
  EXPECT_TRUE(TheShortcutMaps().Note(21, 0)->Is(Id("deck_sync"), 0));
  EXPECT_TRUE(TheShortcutMaps().Note(20, 0)->Free()) << "the earlier note of the same control";
  TheControlTable().Set(orphan, -1, browser);

  Learn("deck_songname", 0);  // a text: no MIDI
  HandleSkinMidi(kMidiControl, 0, 5, 1, 0);
  EXPECT_TRUE(TheShortcutMaps().ControlChange(5, 0)->Free());
  // A press seen for one target does not make a momentary key of the next.
  Learn("deck_brake", 0);
  HandleSkinMidi(kMidiNoteOn, 0, 40, 100, 0);
  Learn("deck_reverse", 0);
  HandleSkinMidi(kMidiNoteOff, 0, 40, 0, 0);
  EXPECT_EQ(At("deck_reverse", 0).bindings.midiToggleMode, 1);
}

TEST_F(ShortcutTest, TheDialogListFiltersByKindAndRemovesOneBinding) {
  BindKey(Id("deck_play_pause"), 0, 'X', kModShift, 'X');
  BindKey(Id("crossfader"), -1, 'G', 0, 'G');
  BindMidi(Id("deck_play_pause"), 0, 1, true, 36, 1);
  const std::vector<BindingRow> all = ListBindings(kKindNone);
  ASSERT_EQ(all.size(), 3u);
  EXPECT_EQ(all[0].control, "deck_play_pause (A)");
  EXPECT_EQ(all[0].binding, "SHIFT+X");
  EXPECT_EQ(all[1].binding, "MIDI note 36, channel 2, toggle");
  const std::vector<BindingRow> sliders = ListBindings(kKindSlider);
  ASSERT_EQ(sliders.size(), 1u);
  EXPECT_EQ(sliders[0].control, "crossfader");
  EXPECT_TRUE(RemoveBinding(all[1]));
  EXPECT_FALSE(RemoveBinding(all[1])) << "gone already";
  EXPECT_EQ(At("deck_play_pause", 0).bindings.midiKeyOrCc, -1);
  EXPECT_TRUE(RemoveBinding(all[0]));
  EXPECT_EQ(At("deck_play_pause", 0).bindings.keyCode[0], 0);
  EXPECT_EQ(ListBindings(kKindNone).size(), 1u);
}

// ---- files ---------------------------------------------------------------------------

void BindSample() {
  BindKey(Id("deck_pitch"), 1, ';', 0, ';');
  BindKey(Id("deck_pitch"), 1, 'L', 0, 'L');
  BindKey(Id("deck_play_pause"), 0, 'X', kModShift | kModAlt, 'X');
  BindKey(Id("deck_play_pause"), 1, 322, 0, ' ');
  BindKey(Id("learn"), -1, '`', 0, '`');
  BindMidi(Id("crossfader"), -1, 15, false, 127, 0);
  BindMidi(Id("deck_cue"), 1, 0, true, 0, 1);
  BindMidi(Id("deck_cue"), 0, 3, true, 60, 0);
}

TEST_F(ShortcutTest, FilesRoundTripEveryFieldInTheirForm) {
  BindSample();
  const std::string keys = FormatKeyShortcuts(), midi = FormatMidiShortcuts();
  EXPECT_NE(keys.find("<settings version=\"101\">\n\t<shortcut_kb action=\"deck_play_pause\" "
                      "deck=\"0\" keys=\"1\">\n\t\t<key code=\"88\" shift=\"6\" ch=\"88\" />\n"),
            std::string::npos)
      << keys;
  EXPECT_LT(keys.find("action=\"deck_play_pause\" deck=\"1\""), keys.find("action=\"deck_pitch\""))
      << "action-id order, deck 0 before deck 1";
  EXPECT_NE(keys.find("<shortcut_kb action=\"learn\" keys=\"1\">"), std::string::npos)
      << "a global row has no deck";
  EXPECT_LT(keys.find("code=\"59\""), keys.find("code=\"76\"")) << "a slider's keys keep order";
  EXPECT_NE(midi.find("\t<shortcut_midi action=\"crossfader\" keys=\"1\">\n\t\t<midi "
                      "channel=\"15\" iskey=\"0\" keyorcc=\"127\" togglemode=\"0\" />"),
            std::string::npos)
      << midi;
  ClearAllBindings();
  EXPECT_EQ(ReadKeyShortcuts(keys, "keys").bound, 5);
  EXPECT_EQ(ReadMidiShortcuts(midi, "midi").bound, 3);
  EXPECT_EQ(FormatKeyShortcuts(), keys);
  EXPECT_EQ(FormatMidiShortcuts(), midi);
  EXPECT_EQ(At("deck_cue", 1).bindings.midiToggleMode, 1);
  EXPECT_EQ(At("deck_pitch", 1).bindings.keyCode[1], 'L');
}

TEST_F(ShortcutTest, ElementsOutOfRangeAreSkippedAndCountedInOneLine) {
  const ShortcutLoad load = ReadKeyShortcuts(R"(<settings version="101">
<shortcut_kb action="no_such_action" keys="1"><key code="65" shift="0" /></shortcut_kb>
<shortcut_kb action="deck_cue" deck="2" keys="1"><key code="66" shift="0" /></shortcut_kb>
<shortcut_kb action="learn" deck="0" keys="1"><key code="67" shift="0" /></shortcut_kb>
<shortcut_kb action="deck_cue" deck="0" keys="3"><key code="8000" shift="0" />
  <key code="68" shift="32" /><key code="x" shift="0" /><key code="69" shift="0" ch="69" />
</shortcut_kb></settings>)",
                                             "hand-edited");
  EXPECT_EQ(load.status, ShortcutFileStatus::kLoaded);
  EXPECT_EQ(load.bound, 1);
  EXPECT_EQ(load.skipped, 6);
  EXPECT_TRUE(TheShortcutMaps().Key(69, 0)->Is(Id("deck_cue"), 0));
  EXPECT_TRUE(TheShortcutMaps().Key(65, 0)->Free());
  EXPECT_EQ(ReadMidiShortcuts(R"(<settings version="101"><shortcut_midi action="crossfader">
<midi channel="16" iskey="0" keyorcc="1" /><midi channel="0" iskey="0" keyorcc="128" />
</shortcut_midi></settings>)",
                              "midi")
                .skipped,
            2);
  EXPECT_NE(Log().find("6 elements of hand-edited skipped"), std::string::npos);
}

struct BrokenFile {
  const char* what;
  std::string content;
};

std::vector<BrokenFile> BrokenFiles(const std::string& good) {
  std::string binary(4096, '\0');
  std::mt19937 random(7);
  for (char& byte : binary) byte = static_cast<char>(random());
  std::string huge = "<settings version=\"101\">\n";
  while (huge.size() < 10u * 1024 * 1024)
    huge += "\t<shortcut_kb action=\"deck_cue\" deck=\"0\" keys=\"1\"></shortcut_kb>\n";
  huge += "</settings>\n";
  return {{"not XML", "this is not a shortcut file"},
          {"empty", ""},
          {"other root", "<config version=\"101\"></config>"},
          {"truncated", good.substr(0, good.size() / 2)},
          {"binary", binary},
          {"10 MB", huge}};
}

TEST_F(ShortcutTest, EachBrokenFileIsMovedAsideAndTheDefaultsApply) {
  BindSample();
  const std::string goodKeys = FormatKeyShortcuts(), goodMidi = FormatMidiShortcuts();
  test::TempDir settings;
  const std::string defaults = settings.File("default.xml");
  test::WriteFile(defaults,
                  "<settings version=\"101\"><shortcut_kb action=\"deck_cue\" deck=\"0\" "
                  "keys=\"1\"><key code=\"90\" shift=\"0\" ch=\"90\" /></shortcut_kb></settings>");
  for (const BrokenFile& broken : BrokenFiles(goodKeys)) {
    SCOPED_TRACE(broken.what);
    for (const bool keyFile : {true, false}) {
      const std::string name = keyFile ? kKeyShortcutFile : kMidiShortcutFile;
      test::WriteFile(settings.File(kKeyShortcutFile), keyFile ? broken.content : goodKeys);
      test::WriteFile(settings.File(kMidiShortcutFile), keyFile ? goodMidi : broken.content);
      const ShortcutStartup startup = LoadShortcutFiles(settings.Path(), defaults);
      EXPECT_EQ((keyFile ? startup.keys : startup.midi).status, ShortcutFileStatus::kBroken);
      EXPECT_EQ(startup.defaultKeysUsed, keyFile);
      // Defaults for keys, nothing for MIDI; the other file as it was.
      EXPECT_EQ(TheShortcutMaps().Key('Z', 0)->Is(Id("deck_cue"), 0), keyFile);
      EXPECT_EQ(TheShortcutMaps().Key('X', 6)->Free(), keyFile);
      EXPECT_EQ(TheShortcutMaps().ControlChange(127, 15)->Free(), !keyFile);
      EXPECT_FALSE(std::filesystem::exists(settings.File(name)));
      int aside = 0;
      for (const auto& entry : std::filesystem::directory_iterator(settings.Path())) {
        const std::string file = entry.path().filename();
        if (file.rfind(name + ".broken-", 0) == 0) {
          ++aside;
          EXPECT_EQ(test::ReadFile(entry.path()), broken.content);
          std::filesystem::remove(entry.path());
        }
      }
      EXPECT_EQ(aside, 1);
      // The close writes a good file again.
      ASSERT_TRUE(SaveShortcutFiles(settings.Path()));
      EXPECT_EQ(LoadShortcutFiles(settings.Path(), defaults).keys.status,
                ShortcutFileStatus::kLoaded);
    }
  }
  EXPECT_NE(Log().find("XML is empty"), std::string::npos);
  EXPECT_NE(Log().find("XML root node is NOT 'settings'"), std::string::npos);
  EXPECT_NE(Log().find("XML not parsed successfully (" + settings.File(kKeyShortcutFile)),
            std::string::npos);
}

TEST_F(ShortcutTest, MissingFilesGiveTheDefaultKeysAndNoMidi) {
  test::TempDir settings;
  const ShortcutStartup startup = LoadShortcutFiles(
      settings.Path(), std::string(VANTARO_SOURCE_DIR) + "/controllers/" + kDefaultKeyMapFile);
  EXPECT_EQ(startup.keys.status, ShortcutFileStatus::kMissing);
  EXPECT_EQ(startup.midi.status, ShortcutFileStatus::kMissing);
  EXPECT_TRUE(startup.defaultKeysUsed);
  // The shipped map: both decks play and cue without modifiers.
  for (const char* action : {"deck_play_pause", "deck_cue"}) {
    for (int deck : {0, 1}) {
      SCOPED_TRACE(std::string(action) + " " + std::to_string(deck));
      const ControlBindings& bindings = At(action, deck).bindings;
      EXPECT_GT(bindings.keyCode[0], 0);
      EXPECT_EQ(bindings.keyShift[0], 0);
    }
  }
  EXPECT_TRUE(std::filesystem::is_empty(settings.Path())) << "nothing moved aside";
}

// Saving as a user who may not write the folder (the tests run as root,
// who may write anything).
TEST_F(ShortcutTest, ASaveIntoAReadOnlyFolderKeepsTheOldFile) {
  test::TempDir settings;
  chmod(settings.Path().c_str(), 0755);
  test::WriteFile(settings.File(kKeyShortcutFile), "old");
  chmod(settings.Path().c_str(), 0555);
  BindSample();
  const pid_t child = fork();
  if (child == 0) {
    if (geteuid() == 0 && setuid(65534) != 0) _exit(3);
    _exit(SaveShortcutFiles(settings.Path()) ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  chmod(settings.Path().c_str(), 0755);
  EXPECT_EQ(WEXITSTATUS(status), 1);
  EXPECT_EQ(test::ReadFile(settings.File(kKeyShortcutFile)), "old");
}

TEST_F(ShortcutTest, AKillDuringTheSaveLeavesTheOldOrTheNewFileNeverHalf) {
  test::TempDir settings;
  const std::string path = settings.File(kKeyShortcutFile);
  const std::string old = FormatKeyShortcuts();
  test::WriteFile(path, old);
  // A large map, so the write takes a while.
  for (int code = 33; code < 7000; ++code) BindKey(Id("deck_cue"), 0, code, 0, code);
  const std::string fresh = FormatKeyShortcuts();
  for (int round = 0; round < 12; ++round) {
    const pid_t child = fork();
    if (child == 0) {
      for (;;) SaveShortcutFiles(settings.Path());
    }
    usleep(static_cast<useconds_t>(2000 + round * 3000));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    const std::string now = test::ReadFile(path);
    ASSERT_TRUE(now == old || now == fresh) << "round " << round << ": " << now.size() << " bytes";
  }
}

}  // namespace
}  // namespace vantaro
