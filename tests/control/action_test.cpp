// The named actions and the readable values, on controls without a display:
// every row of the program's own table reaches the control it names, the
// way its pattern says, and nothing else.

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "control/control_handlers.h"
#include "control/script_actions.h"
#include "control/value_entries.h"
#include "engine/sound_source.h"
#include "tests/control/fake_controls.h"

namespace vantaro {
namespace {

using test::RecordingControl;
using test::RecordingTable;

TEST(ActionTable, RowsAreUniqueAndEveryControlExistsWithTheKindItsPatternNeeds) {
  std::set<std::string> names;
  for (int index = 0; index < kScriptActionCount; ++index) {
    const ScriptAction& row = ScriptActionRow(index);
    SCOPED_TRACE(row.name);
    EXPECT_TRUE(names.insert(row.name).second) << "duplicate";
    EXPECT_EQ(FindScriptAction(row.name), index);
    EXPECT_EQ(row.maxArgs, row.isGlobal ? 1 : 3);
    EXPECT_TRUE(row.minArgs == 1 || (!row.isGlobal && row.minArgs == 2));
    int fixedDeck = -1;
    const int control = ScriptActionControl(index, &fixedDeck);
    const ScriptPattern pattern = ScriptActionPattern(index);
    if (pattern == ScriptPattern::kDirect) continue;
    // Only rows of features with no control yet may point nowhere.
    if (control == 0) {
      EXPECT_EQ(pattern, ScriptPattern::kButton);
      continue;
    }
    EXPECT_EQ(ControlActionRow(control).kind,
              pattern == ScriptPattern::kSetter ? kKindSlider : kKindButton);
    // A deck action drives a per-deck control; a global one a global
    // control, or deck A's of a per-deck family.
    EXPECT_EQ(ControlActionRow(control).isGlobal == 0, !row.isGlobal || fixedDeck == 0);
  }
  EXPECT_EQ(FindScriptAction("deckplaypause"), -1) << "names are case-sensitive";
  EXPECT_EQ(FindScriptAction(nullptr), -1);
}

struct Expected {
  int status, value;
};

// What a pattern sends for a call value.
std::vector<Expected> Sent(ScriptPattern pattern, int value) {
  if (pattern == ScriptPattern::kSetter) return {{kMidiControl, value}};
  if (value == -1) return {{kMidiNoteOn, 127}, {kMidiNoteOff, 0}};
  return {{kMidiNoteOn, value}};
}

TEST(ActionCalls, EveryRowWithMinusOneZeroAnd127ReachesOnlyItsControl) {
  RecordingTable table;
  for (int index = 0; index < kScriptActionCount; ++index) {
    const ScriptAction& row = ScriptActionRow(index);
    int fixedDeck = -1;
    const int control = ScriptActionControl(index, &fixedDeck);
    const ScriptPattern pattern = ScriptActionPattern(index);
    for (int deck : row.isGlobal ? std::vector<int>{-1} : std::vector<int>{0, 1}) {
      for (int value : {-1, 0, 127}) {
        SCOPED_TRACE(std::string(row.name) + " deck " + std::to_string(deck) + " value " +
                     std::to_string(value));
        table.ClearEvents();
        row.handler(value, -1, deck);
        if (pattern == ScriptPattern::kDirect || control == 0) continue;
        const int controlDeck = row.isGlobal ? fixedDeck : deck;
        RecordingControl* target = table.At(control, controlDeck);
        ASSERT_NE(target, nullptr);
        const std::vector<Expected> expected = Sent(pattern, value);
        ASSERT_EQ(target->events.size(), expected.size());
        EXPECT_EQ(table.TotalEvents(), static_cast<int>(expected.size()))
            << "another control moved";
        for (std::size_t i = 0; i < expected.size(); ++i) {
          const ControlEvent& event = target->events[i];
          EXPECT_EQ(event.kind, mt_MIDI);
          EXPECT_EQ(event.status, expected[i].status);
          EXPECT_EQ(event.value, expected[i].value);
          EXPECT_EQ(event.deck, controlDeck);
          EXPECT_EQ(event.ch, ' ');
        }
      }
    }
  }
}

TEST(ActionCalls, DeckActionsOutsideTheDecksAndAnEmptyTableDoNothing) {
  {
    RecordingTable table;
    for (const char* name : {"deckPlayPause", "setDeckVolume", "moveDeckPitch", "deckSaveBpm"}) {
      for (int deck : {-1, 2, 99}) ScriptActionRow(FindScriptAction(name)).handler(127, -1, deck);
    }
    EXPECT_EQ(table.TotalEvents(), 0);
  }
  // No window, no controls: every row is still safe.
  for (int index = 0; index < kScriptActionCount; ++index)
    ScriptActionRow(index).handler(-1, -1, 0);
}

int g_toggled[8];
void CountToggle(int slot) {
  ++g_toggled[slot];
}

TEST(ActionDirect, SamplerPlayTakesOneToEightOnly) {
  TheScriptHooks().toggleSampler = &CountToggle;
  const ScriptHandler play = ScriptActionRow(FindScriptAction("samplerPlay")).handler;
  for (int value : {-1, 0, 1, 8, 9, 127}) play(value, -1, -1);
  TheScriptHooks().toggleSampler = nullptr;
  EXPECT_EQ(g_toggled[0], 1);
  EXPECT_EQ(g_toggled[7], 1);
  EXPECT_EQ(g_toggled[1] + g_toggled[2] + g_toggled[3] + g_toggled[4] + g_toggled[5] + g_toggled[6],
            0);
}

TEST(ActionDirect, ListCursorMovesTheActiveListBySignedRows) {
  RecordingTable table;
  const auto call = [](const char* name, int value) {
    ScriptActionRow(FindScriptAction(name)).handler(value, -1, -1);
  };
  call("lbBrowserSelect", -1);
  call("lbMoveCursor", 3);
  call("lbToggleSelect", -1);
  call("lbMoveCursor", -2);
  call("lbMoveCursor", 0);
  const auto& browser = table.At(FindControlAction("browser"), -1)->events;
  const auto& list = table.At(FindControlAction("playlist"), -1)->events;
  ASSERT_EQ(browser.size() + list.size(), 2u);
  EXPECT_EQ(browser.at(0).kind, mt_WHEEL);
  EXPECT_EQ(browser.at(0).status, -3) << "down the list is a negative rotation";
  EXPECT_EQ(list.at(0).status, 2);
  call("lbBrowserSelect", -1);
}

// A deck of the engine, bare (no audio, no store thread), joined to the
// handlers for one test.
class ActionEngineDeck : public ::testing::Test {
 protected:
  void SetUp() override {
    for (int deck = 0; deck < 2; ++deck) {
      decks_[deck] = std::make_unique<CSoundSource>(deck, ::testing::TempDir());
      TheControlEngine().decks[deck] = decks_[deck].get();
    }
  }
  void TearDown() override { TheControlEngine() = ControlEngine{}; }
  CSoundSource& Deck(int deck) { return *decks_[deck]; }

 private:
  std::unique_ptr<CSoundSource> decks_[2];
};

TEST_F(ActionEngineDeck, MoveDeckPitchStepsFiveUnitsAndStopsAtTheRange) {
  RecordingTable table;
  const ScriptHandler move = ScriptActionRow(FindScriptAction("moveDeckPitch")).handler;
  RecordingControl* slider = table.At(FindControlAction("deck_pitch"), 1);
  move(3, -1, 1);
  EXPECT_EQ(Deck(1).GetPitch(), 15);
  EXPECT_EQ(slider->shown, 15) << "the slider shows where the pitch went";
  EXPECT_EQ(Deck(0).GetPitch(), 0);
  move(-100000, -1, 1);
  EXPECT_EQ(Deck(1).GetPitch(), -CSoundSource::CurrentPitchRangeUnits());
}

TEST_F(ActionEngineDeck, GetValueAnswersEveryKindAndNothingForUnknownNamesOrDecks) {
  Deck(0).SetPitch(-250);
  Deck(1).SetDirection(-1);
  struct Case {
    const char* name;
    int deck;
    const char* printed;  // empty: kind none
  } const cases[] = {
      {"pitch", 0, "-2.5000"},
      {"pitchIs0", 0, "0"},
      {"pitchIs0", 1, "1"},
      {"reverse", 1, "1"},
      {"reverse", 0, "0"},
      {"play", 0, "0"},
      {"bpm", 1, "0.0000"},
      {"title", 0, ""},
      {"timeElapsed", 0, "0"},
      {"talkOver", 5, "0"},
      {"sampler8loaded", -1, "0"},
      {"sampler9loaded", -1, ""},
      {"sampler1", 1, "0"},
      {"play", -1, ""},
      {"play", 2, ""},
      {"nosuchname", 0, ""},
      {"Play", 0, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.name) + " " + std::to_string(c.deck));
    const Value value = GetValue(c.name, c.deck);
    EXPECT_EQ(FormatValue(value), c.printed);
    const bool none = *c.printed == 0 && std::string(c.name) != "title";
    EXPECT_EQ(value.kind == kValueNone, none);
  }
  EXPECT_EQ(GetValue("title", 0).kind, kValueText);
}

struct Report {
  std::vector<std::string> rows;
};
void Collect(const ValueEntry& entry, void* user) {
  static_cast<Report*>(user)->rows.push_back(std::string(entry.name) + "/" +
                                             std::to_string(entry.deck));
}

TEST_F(ActionEngineDeck, RefreshReportsEachChangeOnceToEveryListenerInOrder) {
  EXPECT_EQ(NamedValueEntryCount(), 135);
  std::set<std::string> keys;
  for (int i = 0; i < NamedValueEntryCount(); ++i)
    EXPECT_TRUE(keys.insert(std::string(ValueEntryRow(i).name) + "/" +
                            std::to_string(ValueEntryRow(i).deck))
                    .second);
  EXPECT_EQ(ValueEntryRow(kValueEntryRows - 1).name, nullptr) << "spare rows stay free";

  RefreshValueEntries();  // whatever earlier tests left
  Report first, second;
  AddValueListener(&Collect, &first);
  AddValueListener(&Collect, &second);
  EXPECT_EQ(RefreshValueEntries(), 0) << "nothing changed";
  Deck(1).SetPitch(40);
  Deck(0).SetDirection(-1);
  EXPECT_EQ(RefreshValueEntries(), 2);
  EXPECT_EQ(first.rows, (std::vector<std::string>{"reverse/0", "pitchIs0/1"}));
  EXPECT_EQ(second.rows, first.rows);
  Deck(1).SetPitch(80);  // pitchIs0 stays 0: no report
  EXPECT_EQ(RefreshValueEntries(), 0);
  RemoveValueListener(&Collect, &first);
  Deck(0).SetDirection(1);
  EXPECT_EQ(RefreshValueEntries(), 1);
  EXPECT_EQ(first.rows.size(), 2u);
  EXPECT_EQ(second.rows.size(), 3u);
  RemoveValueListener(&Collect, &second);
}

}  // namespace
}  // namespace vantaro
