// The action table, key names and binding counts at their edges.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "control/control_action.h"
#include "control/key_names.h"
#include "control/learn_state.h"

namespace vantaro {
namespace {

TEST(ControlActions, NamesFindTheirRowsExactly) {
  std::set<std::string> seen;
  for (int id = kFirstAction; id < kLastAction; ++id) {
    const ControlAction& row = ControlActionRow(id);
    EXPECT_EQ(FindControlAction(row.name), id) << row.name;
    EXPECT_TRUE(seen.insert(row.name).second) << "twice: " << row.name;
  }
  const ControlAction& play = ControlActionRow(FindControlAction("deck_play_pause"));
  EXPECT_EQ(play.kind, kKindButton);
  EXPECT_EQ(play.isGlobal, 0);
  const ControlAction& label = ControlActionRow(FindControlAction("label_learn"));
  EXPECT_EQ(label.isLabel, 1);
  EXPECT_EQ(label.isGlobal, 1);
  for (const char* unknown : {"Deck_play_pause", "", "action_none", "action_lastaction"})
    EXPECT_EQ(FindControlAction(unknown), 0) << unknown;
  EXPECT_STREQ(ControlActionRow(kLastAction).name, "action_lastaction");
  EXPECT_STREQ(ControlActionRow(kLastAction + 1).name, "action_none");
  EXPECT_EQ(ControlKindOfTag("slider"), kKindSlider);
  EXPECT_EQ(ControlKindOfTag("Slider"), kKindNone);
}

TEST(KeyNames, CodesReadAsTheOverlayShowsThem) {
  const struct {
    int code, modifiers;
    const char* name;
  } cases[] = {
      {'A', 0, "A"},         {1, 0, "A"},
      {26, 0, "Z"},          {8, 0, "Back"},
      {13, 0, "Enter"},      {32, 0, "Space"},
      {0xE9, 0, "\xC3\xA9"}, {300, 0, "Start"},
      {337, 0, "Substract"}, {340, 0, "F1"},
      {363, 0, "F24"},       {396, 0, "WinCommand"},
      {397, 0, "Special01"}, {416, 0, "Special20"},
      {417, 0, "#417"},      {'A', 15, "CTRL+ALT+SHIFT+CMD+A"},
      {'A', 16, "A"},
  };
  for (const auto& c : cases) EXPECT_EQ(KeyName(c.code, c.modifiers), c.name) << c.code;
}

TEST(KeyNames, TranslationTakesTheCharacterWhereTheCodeSaysNothing) {
  const struct {
    int raw, character;
    bool upper;
    int code;
  } cases[] = {
      {0, 'a', true, 'A'},      {'a', 'a', false, 'a'},   {65, 0x4E00, false, 0x4E00},
      {0xE4, 0xE4, true, 0xC4}, {0xF7, 0xF7, true, 0xF7}, {26, 26, true, 26},
      {300, 0, true, 300},
  };
  for (const auto& c : cases)
    EXPECT_EQ(TranslateKeyCode(c.raw, c.character, c.upper), c.code) << c.raw << "/" << c.character;
}

TEST(ControlBindings, CountsAreHeldToWhatAControlCanKeep) {
  ControlBindings bindings;
  bindings.keyCode[3] = 'Q';
  bindings.SetMidiCount(5);
  bindings.SetKeyCount(-1);
  EXPECT_EQ(bindings.MidiCount(), 1);
  EXPECT_EQ(bindings.KeyCount(), 0);
  EXPECT_EQ(bindings.keyCode[3], 'Q') << "the key entries stay";
  bindings.SetMidiCount(0);
  EXPECT_FALSE(bindings.CanLearn());
  bindings.SetKeyCount(11);
  EXPECT_EQ(bindings.KeyCount(), ControlBindings::kMaxKeys);
}

}  // namespace
}  // namespace vantaro
