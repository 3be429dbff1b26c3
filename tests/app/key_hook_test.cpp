// The main window's key hook on real windows: a focused text box keeps the
// keys the shortcut map would take, unless the program is learning; an
// inactive program takes them and moves nothing.

#include "app/key_hook.h"

#include <gtest/gtest.h>
#include <wx/app.h>
#include <wx/frame.h>
#include <wx/panel.h>
#include <wx/textctrl.h>

#include "control/key_map.h"
#include "tests/control/fake_controls.h"
#include "tests/skin/skin_test_env.h"

namespace vantaro {
namespace {

using test::RecordingControl;

ControlBindings* Lookup(ControlTarget* control) {
  return &static_cast<RecordingControl*>(control)->bindings;
}

TEST(ShortcutKeyHook, ATextBoxKeepsItsKeysUnlessLearningAndAnInactiveProgramMovesNothing) {
  test::RecordingTable table;
  SetBindingsLookup(&Lookup);
  const int play = FindControlAction("deck_play_pause");
  RecordingControl& button = *table.At(play, 0);
  button.bindings.SetKeyCount(2);
  button.bindings.SetMidiCount(1);
  BindKey(play, 0, 'X', 0, 'X');

  auto* frame = new wxFrame(nullptr, wxID_ANY, "key hook", wxPoint(0, 0), wxSize(300, 200));
  auto* panel = new wxPanel(frame, wxID_ANY, wxPoint(0, 0), wxSize(100, 100));
  auto* text = new wxTextCtrl(frame, wxID_ANY, "", wxPoint(0, 120), wxSize(200, 30));
  InstallKeyHook(frame);
  frame->Show();
  test::Pump(200);

  const auto press = [&](wxWindow* focus) {
    focus->SetFocus();
    test::Pump(100);
    table.ClearEvents();
    const bool consumed = DeliverKeyToHook(frame, 'X', 0);
    return std::make_pair(consumed, static_cast<int>(button.events.size()));
  };
  EXPECT_EQ(press(text), std::make_pair(false, 0)) << "typing into the text box";
  EXPECT_EQ(text->GetValue(), "") << "the hook itself types nothing";
  EXPECT_EQ(press(panel), std::make_pair(true, 1)) << "elsewhere the key clicks";

  RecordingControl& cue = *table.At(FindControlAction("deck_cue"), 1);
  cue.bindings.SetKeyCount(1);
  SetLearnMode(true);
  cue.TakeLearnFocus();
  EXPECT_EQ(press(text), std::make_pair(true, 0)) << "learning takes the key";
  EXPECT_EQ(cue.bindings.keyCode[0], 'X');
  SetLearnMode(false);
  BindKey(play, 0, 'X', 0, 'X');

  wxTheApp->SetActive(false, nullptr);
  EXPECT_EQ(press(panel), std::make_pair(true, 0)) << "an inactive program swallows keys";
  wxTheApp->SetActive(true, nullptr);

  frame->Destroy();
  test::Pump(50);
  ClearAllBindings();
  SetBindingsLookup(nullptr);
}

}  // namespace
}  // namespace vantaro
