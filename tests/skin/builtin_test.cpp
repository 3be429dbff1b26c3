// The built-in controls as the program builds them: all exist, hidden and
// of size 0, in the chosen language; each wired one moves the engine word it
// owns when an event reaches it, as actions, keys and MIDI send them.
#include <gtest/gtest.h>

#include <functional>

#include "control/control_handlers.h"
#include "control/control_table.h"
#include "control/language.h"
#include "control/learn_state.h"
#include "engine/mixer.h"
#include "engine/mixer_channel.h"
#include "engine/mixer_setup.h"
#include "engine/sound_source.h"
#include "skin/builtin_controls.h"
#include "skin/button.h"
#include "skin/custom_panel.h"
#include "skin/main_window.h"
#include "skin/static_text.h"
#include "tests/skin/skin_test_env.h"

namespace vantaro {
namespace {

struct Engine {
  CSoundSource deckA{0, "/tmp/"}, deckB{1, "/tmp/"};
  MixerRig rig;
  Engine() {
    CAudioSignalSource* const decks[2] = {&deckA, &deckB};
    CreateMixerObjects(rig, decks, nullptr);
    WireMixer(rig, nullptr, nullptr, 0);
    TheControlEngine() = {
        {&deckA, &deckB}, rig.mixer.get(), {rig.deckChannel[0].get(), rig.deckChannel[1].get()}};
  }
  ~Engine() { TheControlEngine() = {}; }
};

class BuiltInControls : public ::testing::Test {
 protected:
  void SetUp() override {
    window_ = new ZKMainWindow(wxPoint(0, 0), wxSize(400, 300), "built-in", nullptr);
    built_ = BuildBuiltInControls(window_, TheControlTable());
    WireControlHandlers(TheControlTable());
  }
  void TearDown() override {
    TheControlTable().Clear();
    window_->Destroy();
    test::Pump(50);
  }
  ZKMainWindow* window_ = nullptr;
  int built_ = 0;
};

TEST_F(BuiltInControls, AllExistHiddenAndSpeakTheLanguage) {
  int expected = 0;
  for (int id = kFirstAction; id < kLastAction; ++id) {
    const ControlAction& row = ControlActionRow(id);
    if (row.kind < kKindButton || row.kind > kKindText) continue;
    expected += row.isGlobal ? 1 : 2;
    for (int deck = row.isGlobal ? -1 : 0; deck <= (row.isGlobal ? -1 : 1); ++deck) {
      auto* control = dynamic_cast<ZKCustomControl*>(TheControlTable().Find(id, deck));
      ASSERT_TRUE(control) << row.name << " " << deck;
      EXPECT_FALSE(control->IsShown()) << row.name;
      EXPECT_EQ(control->GetSize(), wxSize(0, 0)) << row.name;
    }
  }
  EXPECT_EQ(built_, expected);
  EXPECT_EQ(TheControlTable().Find(FindControlAction("playlist"), -1), nullptr)
      << "kinds not built yet keep their slots empty";

  LanguageTables language;
  ASSERT_TRUE(LoadLanguageText(BuiltInEnglish(), language));
  ApplyLanguageToControls(TheControlTable(), language);
  const int learn = FindControlAction("learn"), label = FindControlAction("label_loop");
  auto* button = dynamic_cast<CZKButton*>(TheControlTable().Find(learn, -1));
  EXPECT_EQ(button->GetLabel().utf8_string(), language.Label(learn));
  EXPECT_EQ(button->GetToolTipText().utf8_string(), language.Hint(learn));
  for (int deck : {0, 1})
    EXPECT_EQ(dynamic_cast<CZKStaticText*>(TheControlTable().Find(label, deck))->GetText(),
              wxString::FromUTF8(language.Label(label)))
        << "both decks take a per-deck label";
}

TEST_F(BuiltInControls, EachWiredControlMovesTheEngineWordItOwns) {
  Engine engine;
  CMixer& mixer = *engine.rig.mixer;
  CZKMixerChannel& channelA = *engine.rig.deckChannel[0];
  ApplyControlRanges(TheControlTable());
  const ControlEvent press = ControlEvent::Midi(kMidiNoteOn, 127);
  const ControlEvent release = ControlEvent::Midi(kMidiNoteOff, 0);
  const ControlEvent top = ControlEvent::Midi(kMidiControl, 127);
  const ControlEvent bottom = ControlEvent::Midi(kMidiControl, 0);
  const struct {
    const char* action;
    int deck;
    ControlEvent event;
    std::function<bool()> moved;
  } cases[] = {
      {"deck_play_pause", 0, press, [&] { return engine.deckA.IsPlaying(); }},
      {"deck_brake", 1, press, [&] { return engine.deckB.IsBraking(); }},
      {"deck_reverse", 0, press, [&] { return engine.deckA.GetDirection() == -1; }},
      // The screen tick starts a held bend, the next one moves the pitch;
      // the jog thread, played here by ScratchTick, applies both.
      {"deck_bend_up", 1, press,
       [&] {
         for (int tick = 0; tick < 2; ++tick) {
           engine.deckB.PeriodicUpdate();
           engine.deckB.ScratchTick(CSoundSource::kJogIdleLimit);
         }
         return engine.deckB.GetPitch() > 0;
       }},
      {"deck_pitch", 0, top,
       [&] { return engine.deckA.GetPitch() == CSoundSource::CurrentPitchRangeUnits(); }},
      {"deck_reset_pitch", 0, press, [&] { return engine.deckA.IsSlowResetRunning(); }},
      {"deck_volume", 0, top, [&] { return mixer.GetFader(0) == 127; }},
      {"deck_gain", 1, top, [&] { return mixer.GetChannelGainDb(1) > 11.9; }},
      {"deck_eq_low", 0, bottom, [&] { return channelA.GetEqBand(1) < -11.9f; }},
      {"deck_eq_mid", 0, top, [&] { return channelA.GetEqBand(2) > 11.9f; }},
      {"deck_eq_high", 0, bottom, [&] { return channelA.GetEqBand(3) < -11.9f; }},
      {"deck_kill_mid", 0, press, [&] { return channelA.GetKill(2); }},
      {"deck_cutoff_filter", 0, bottom,
       [&] { return channelA.GetCutoffHz() != CZKMixerChannel::kCutoffOff; }},
      {"deck_monitor", 1, press, [&] { return mixer.CueGain(1) > 0.99f; }},
      {"crossfader", -1, top, [&] { return mixer.GetCrossfader() == 127; }},
      {"master_gain", -1, bottom, [&] { return mixer.GetMasterGainDb() < -11.9; }},
      {"monitor_gain", -1, top, [&] { return mixer.GetMonitorGainDb() > 11.9; }},
      {"cue_pfl_mix", -1, top, [&] { return mixer.MasterToCue() > 0.99f; }},
      {"talkover", -1, press, [&] { return mixer.GetAuxDuck(); }},
      {"learn", -1, press, [&] { return LearnModeOn(); }},
  };
  for (const auto& c : cases) {
    ControlTarget* control = TheControlTable().Find(FindControlAction(c.action), c.deck);
    ASSERT_TRUE(control) << c.action;
    EXPECT_FALSE(c.moved()) << c.action << " before";
    PostControlEvent(control, c.event);
    EXPECT_TRUE(c.moved()) << c.action;
    PostControlEvent(control, release);
  }
  SetLearnMode(false);
  auto* play =
      dynamic_cast<CZKButton*>(TheControlTable().Find(FindControlAction("deck_play_pause"), 0));
  EXPECT_TRUE(play->State().Switched()) << "the button shows the deck's state";
  engine.deckA.Play(0);
  SyncControlsFromEngine(TheControlTable());
  EXPECT_FALSE(play->State().Switched()) << "and follows it on the tick";
}

TEST(Groups, PanelsShowOneAtATimeAndIndexesOutOfRangeChangeNothing) {
  auto* window = new ZKMainWindow(wxPoint(0, 0), wxSize(400, 300), "groups", nullptr);
  ZKCustomGroup group(window, "tabs");
  group.ShowNextPanel();
  EXPECT_EQ(group.CurrentPanel(), -1) << "no panels: nothing";
  for (int i = 0; i < 11; ++i) group.AddPanel(new ZKCustomPanel(window, i));
  EXPECT_EQ(group.PanelCount(), 10) << "the eleventh is not taken";
  EXPECT_EQ(group.CurrentPanel(), 0) << "the first added shows at once";
  group.ShowPanel(10);
  EXPECT_EQ(group.CurrentPanel(), 0);
  group.ShowPrevPanel();
  EXPECT_EQ(group.CurrentPanel(), 9) << "wraps backwards";
  group.ShowNextPanel();
  EXPECT_EQ(group.CurrentPanel(), 0) << "and forwards";
  EXPECT_TRUE(group.GetPanel(0)->IsShown());
  EXPECT_FALSE(group.GetPanel(9)->IsShown());
  window->Destroy();
  test::Pump(50);
}

}  // namespace
}  // namespace vantaro
