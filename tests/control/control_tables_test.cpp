// The action table, key names and binding counts at their edges.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "control/action_names.h"
#include "control/control_action.h"
#include "control/key_names.h"
#include "control/learn_state.h"

namespace vantaro {
namespace {

// Older skins' deck letters: one case per way of lettering, and names that
// look lettered but are not in the table.
TEST(ControlActions, LetteredNamesOfOlderSkinsGiveTheActionAndTheDeck) {
  const struct {
    const char* in;
    const char* out;
    int deck;
  } cases[] = {
      {"decka_play_pause", "deck_play_pause", 0},
      {"sd_decka", "sd_deck", 0},
      {"vm_deckb", "vm_deck", 1},
      {"label_decka", "label_deck", 0},
      {"fx_a_sel", "fx_sel", 0},
      {"zodrorkle_fx_on_b_4", "zodrorkle_fx_on_4", 1},
      {"dropdown_a_send_loop_to", "dropdown_send_loop_to", 0},
      {"label_loop_a", "label_loop", 0},
      {"zodrorkle_info_b", "zodrorkle_info", 1},
      {"deck_play_pause", "deck_play_pause", -1},
      {"deck_sync_to_a", "deck_sync_to_a", -1},  // a name of its own
      {"label_volume_a", "label_volume_a", -1},
      {"decka_match", "decka_match", -1},  // deck_match has no lettered form
      {"deckc_play_pause", "deckc_play_pause", -1},
      {"", "", -1},
  };
  for (const auto& c : cases) {
    std::string out = "junk";
    int deck = 7;
    NormaliseActionName(c.in, &out, &deck);
    EXPECT_EQ(out, c.out) << c.in;
    EXPECT_EQ(deck, c.deck) << c.in;
  }
}

TEST(ControlActions, NamesFindTheirRowsExactly) {
  std::set<std::string> seen;
  for (int id = kFirstAction; id < kLastAction; ++id) {
    const ControlAction& row = ControlActionRow(id);
    EXPECT_EQ(FindControlAction(row.name), id) << row.name;
    EXPECT_TRUE(seen.insert(row.name).second) << "twice: " << row.name;
  }
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
