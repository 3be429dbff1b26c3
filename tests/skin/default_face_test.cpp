// The default skin on a screen of its size, loaded by the program's loader
// into the main window with every built-in control and wired to a real
// engine: the face is kept as a picture in the build tree for people to
// look at; every visible control lies inside the window and overlaps no
// other; and every input control the skin places moves the engine word it
// owns when an event reaches it, as clicks, keys and MIDI send them.
// The screen size comes from VANTARO_TEST_SCREEN (one CTest entry a size).
#include <gtest/gtest.h>
#include <wx/display.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <set>

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
#include "skin/main_window.h"
#include "skin/skin_loader.h"
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

class DefaultFace : public ::testing::Test {
 protected:
  void SetUp() override {
    const wxSize screen = wxDisplay(0u).GetGeometry().GetSize();
    size_ = std::to_string(screen.x) + "x" + std::to_string(screen.y);
    window_ = new ZKMainWindow(wxPoint(100, 100), wxSize(400, 400), "face", nullptr);
    // The words on the face are the English file's labels.
    LoadLanguageText(BuiltInEnglish(), TheLanguage());
    BuildBuiltInControls(window_, TheControlTable());
    WireControlHandlers(TheControlTable());
    const std::string skin = std::string(VANTARO_BINARY_DIR) + "/skins/vantaro-" + size_ + ".xml";
    ASSERT_TRUE(std::filesystem::exists(skin)) << "no default skin for " << size_;
    const SkinLoadResult result = LoadSkin(skin, window_);
    ASSERT_TRUE(result.loaded) << result.reason;
    EXPECT_EQ(result.skipped, 0);
    test::Pump(300);
  }
  void TearDown() override {
    window_->Destroy();
    test::Pump(50);
    TheControlTable().Clear();
  }
  // The controls a user sees: built-in and the skin's own.
  std::vector<ZKCustomControl*> Visible() const {
    std::vector<ZKCustomControl*> visible(std::begin(TheSkinTables().customControls),
                                          std::end(TheSkinTables().customControls));
    TheControlTable().ForEach([&visible](ControlTarget* target) {
      visible.push_back(dynamic_cast<ZKCustomControl*>(target));
    });
    std::erase_if(visible, [](ZKCustomControl* c) { return !c || !c->IsShownOnScreen(); });
    return visible;
  }
  static std::string Name(ZKCustomControl* control) {
    if (!control->name.empty()) return control->name;
    return ControlActionRow(control->controlId).name + (" deck " + std::to_string(control->deck));
  }

  std::string size_;
  ZKMainWindow* window_ = nullptr;
};

TEST_F(DefaultFace, FillsItsScreenWithEveryControlInsideAndNoneOverlapping) {
  const wxRect face(window_->ClientToScreen(wxPoint(0, 0)), window_->GetClientSize());
  // Without a window manager the toolkit's full screen may pass the edge by
  // a pixel; what counts is that the face covers the display.
  EXPECT_TRUE(face.Contains(wxDisplay(0u).GetGeometry()))
      << "a skin of the screen's size runs full screen";
  const std::vector<ZKCustomControl*> visible = Visible();
  EXPECT_GE(visible.size(), 40u);
  for (std::size_t i = 0; i < visible.size(); ++i) {
    const wxRect rect = visible[i]->GetScreenRect();
    EXPECT_TRUE(face.Contains(rect)) << Name(visible[i]) << " leaves the window";
    for (std::size_t j = i + 1; j < visible.size(); ++j)
      EXPECT_FALSE(rect.Intersects(visible[j]->GetScreenRect()))
          << Name(visible[i]) << " overlaps " << Name(visible[j]);
  }
  const std::string keep = "skin-screenshot-" + size_ + ".png";
  const wxImage shot = test::Screenshot(keep);
  std::printf("screenshot of the default skin at %s: %s/%s\n", size_.c_str(), VANTARO_BINARY_DIR,
              keep.c_str());
  ASSERT_TRUE(shot.IsOk());
  std::set<unsigned> colours;
  for (int y = 0; y < shot.GetHeight(); y += 3)
    for (int x = 0; x < shot.GetWidth(); x += 3)
      colours.insert(shot.GetRed(x, y) << 16 | shot.GetGreen(x, y) << 8 | shot.GetBlue(x, y));
  EXPECT_GT(colours.size(), 64u) << "the screen is nearly blank";
}

TEST_F(DefaultFace, EveryPlacedInputMovesTheEngineWordItOwns) {
  Engine engine;
  CMixer& mixer = *engine.rig.mixer;
  ApplyControlRanges(TheControlTable());
  const ControlEvent press = ControlEvent::Midi(kMidiNoteOn, 127);
  const ControlEvent top = ControlEvent::Midi(kMidiControl, 127);
  const ControlEvent bottom = ControlEvent::Midi(kMidiControl, 0);
  CSoundSource* decks[2] = {&engine.deckA, &engine.deckB};
  const auto channel = [&engine](int deck) -> CZKMixerChannel& {
    return *engine.rig.deckChannel[deck];
  };
  // A bend moves the pitch on the tick after the one that starts it; the
  // jog thread, played here by ScratchTick, applies both.
  const auto bent = [&](int d) {
    for (int tick = 0; tick < 2; ++tick) {
      decks[d]->PeriodicUpdate();
      decks[d]->ScratchTick(CSoundSource::kJogIdleLimit);
    }
    return decks[d]->GetPitch();
  };
  const auto eq = [&](int band) { return [&, band](int d) { return channel(d).GetEqBand(band); }; };
  const auto kill = [&](int band) { return [&, band](int d) { return channel(d).GetKill(band); }; };
  struct Word {
    ControlEvent event;
    std::function<double(int deck)> read;
    int direction;  // the sign of the change the event makes
  };
  // Each input the default skin may place, with the engine word it owns.
  const std::map<std::string, Word> words = {
      {"deck_play_pause", {press, [&](int d) { return decks[d]->IsPlaying(); }, 1}},
      {"deck_brake", {press, [&](int d) { return decks[d]->IsBraking(); }, 1}},
      {"deck_reverse", {press, [&](int d) { return decks[d]->GetDirection(); }, -1}},
      {"deck_bend_up", {press, bent, 1}},
      {"deck_bend_down", {press, bent, -1}},
      {"deck_pitch", {top, [&](int d) { return decks[d]->GetPitch(); }, 1}},
      {"deck_reset_pitch", {press, [&](int d) { return decks[d]->IsSlowResetRunning(); }, 1}},
      {"deck_volume", {bottom, [&](int d) { return mixer.GetFader(d); }, -1}},  // starts up
      {"deck_gain", {top, [&](int d) { return mixer.GetChannelGainDb(d); }, 1}},
      {"deck_eq_low", {bottom, eq(1), -1}},
      {"deck_eq_mid", {top, eq(2), 1}},
      {"deck_eq_high", {bottom, eq(3), -1}},
      {"deck_kill_low", {press, kill(1), 1}},
      {"deck_kill_mid", {press, kill(2), 1}},
      {"deck_kill_high", {press, kill(3), 1}},
      {"deck_cutoff_filter",
       {bottom, [&](int d) { return channel(d).GetCutoffHz() != CZKMixerChannel::kCutoffOff; }, 1}},
      {"deck_monitor", {press, [&](int d) { return mixer.CueGain(d); }, 1}},
      {"crossfader", {top, [&](int) { return mixer.GetCrossfader(); }, 1}},
      {"master_gain", {bottom, [&](int) { return mixer.GetMasterGainDb(); }, -1}},
      {"monitor_gain", {top, [&](int) { return mixer.GetMonitorGainDb(); }, 1}},
      {"cue_pfl_mix", {top, [&](int) { return mixer.MasterToCue(); }, 1}},
      {"talkover", {press, [&](int) { return mixer.GetAuxDuck(); }, 1}},
      {"learn", {press, [&](int) { return LearnModeOn(); }, 1}},
      {"deck_key_lock", {press, [&](int d) { return decks[d]->IsKeyLocked(); }, 1}},
      {"deck_pitch_key", {top, [&](int d) { return decks[d]->GetKeyShift(); }, 1}},
  };
  int inputs = 0;
  for (ZKCustomControl* control : Visible()) {
    const ControlAction& row = ControlActionRow(control->controlId);
    if (!control->name.empty() || (row.kind != kKindButton && row.kind != kKindSlider)) continue;
    ++inputs;
    // Cue, loop and beat buttons act only on a song under a standing deck;
    // the engine's cue, loop and sync tests own what they do.
    if (std::string(row.name).rfind("deck_", 0) == 0 &&
        std::set<std::string>{"deck_cue", "deck_sync", "deck_setcue", "deck_loop_in_end",
                              "deck_loop_out", "deck_skip_beat_prev", "deck_skip_beat",
                              "deck_back_to_top", "deck_loop_reloop"}
            .count(row.name))
      continue;
    // The record button asks for a file in a dialog that waits for a
    // person; the recording program tests own what recording does.
    if (std::string(row.name) == "recording") continue;
    // Auto-mix's buttons act on the program's auto-mix, which this test
    // has none of: AutoMix.* and AutoMixProgram own what they do.
    if (std::string(row.name).rfind("autodj", 0) == 0) continue;
    const auto found = words.find(row.name);
    if (found == words.end()) {
      ADD_FAILURE() << Name(control) << " is placed but this test does not know its engine word";
      continue;
    }
    const Word& word = found->second;
    const int deck = std::max(control->deck, 0);
    const double before = word.read(deck);
    PostControlEvent(control, word.event);
    EXPECT_GT((word.read(deck) - before) * word.direction, 0) << Name(control);
    PostControlEvent(control, ControlEvent::Midi(kMidiNoteOff, 0));
    SetLearnMode(false);
  }
  EXPECT_GE(inputs, 30);
  auto* play =
      dynamic_cast<CZKButton*>(TheControlTable().Find(FindControlAction("deck_play_pause"), 0));
  EXPECT_TRUE(play->State().Switched()) << "the button shows the deck's state";
  engine.deckA.Play(0);
  SyncControlsFromEngine(TheControlTable());
  EXPECT_FALSE(play->State().Switched()) << "and follows it on the tick";
}

}  // namespace
}  // namespace vantaro
