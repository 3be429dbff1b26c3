// Buttons and sliders as the events of mouse, MIDI and keys drive them: the
// callbacks they fire and the state they end in.
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "control/button_state.h"
#include "control/slider_state.h"

namespace vantaro {
namespace {

std::string g_calls;  // "<callback><value> " per call

void Record(const char* name, int value) {
  g_calls += name + std::to_string(value) + " ";
}

ControlWiring RecordingWiring() {
  ControlWiring wiring;
  wiring.callbacks.onLeftDown = [](int v, int, int) { Record("D", v); };
  wiring.callbacks.onLeftUp = [](int v, int, int) { Record("U", v); };
  wiring.callbacks.onRightDown = [](int v, int, int) { Record("RD", v); };
  wiring.callbacks.onRightUp = [](int v, int, int) { Record("RU", v); };
  wiring.callbacks.onDoubleClick = [](int v, int, int) { Record("DC", v); };
  return wiring;
}

// A script of events, one token each: L/l left press/release, R/r right
// press/release, 2 double-click, E enter, X leave, M<x>,<y> move, N<v> note
// on, F note off, C<v> control change, S/s step up/down, K a key,
// P<x>,<y> left press at a point, p its release, Q<x>,<y> right press there.
std::vector<ControlEvent> Script(const std::string& text) {
  const std::map<char, std::pair<int, int>> mouse = {{'L', {mt_DOWN, kButtonLeft}},
                                                     {'P', {mt_DOWN, kButtonLeft}},
                                                     {'l', {mt_UP, kButtonLeft}},
                                                     {'p', {mt_UP, kButtonLeft}},
                                                     {'R', {mt_DOWN, kButtonRight}},
                                                     {'Q', {mt_DOWN, kButtonRight}},
                                                     {'r', {mt_UP, kButtonRight}},
                                                     {'2', {mt_DBLCLICK, kButtonLeft}},
                                                     {'E', {mt_ENTER, -1}},
                                                     {'X', {mt_LEAVE, -1}},
                                                     {'M', {mt_MOVE, -1}}};
  const std::map<char, int> midi = {{'N', kMidiNoteOn}, {'F', kMidiNoteOff}, {'C', kMidiControl}};
  std::vector<ControlEvent> events;
  std::istringstream in(text);
  for (std::string token; in >> token;) {
    int x = 0, y = 0;
    std::sscanf(token.c_str() + 1, "%d,%d", &x, &y);
    const char c = token[0];
    if (mouse.count(c)) {
      events.push_back(ControlEvent::Mouse(mouse.at(c).first, x, y, mouse.at(c).second, 0));
    } else if (midi.count(c)) {
      events.push_back(ControlEvent::Midi(midi.at(c), x));
    } else if (c == 'S' || c == 's') {
      events.push_back(ControlEvent::Step(c == 'S'));
    } else if (c == 'K') {
      events.emplace_back().kind = mt_CHAR;
      events.back().code = 'A';
    }
  }
  return events;
}

TEST(ButtonState, EventsFireTheirCallbacksOnceAndFlipASwitchPerPress) {
  struct Case {
    const char* name;
    bool isSwitch;
    const char* script;
    const char* calls;
    bool switched;
  } cases[] = {
      {"PushClick", false, "L l", "D0 U0 ", false},
      {"SwitchTwoClicks", true, "L l L l", "D1 U1 D0 U0 ", false},
      {"SwitchDraggedOffFlipsOnceAndReleasesOnce", true, "L X l", "D1 U1 ", true},
      {"RightButton", false, "R r", "RD0 RU0 ", false},
      {"ReleaseWithoutPress", false, "l r X", "", false},
      {"NoteOnThenZeroVelocity", false, "N127 N0", "D0 U0 ", false},
      {"NoteOnThenNoteOff", true, "N100 F", "D1 U1 ", true},
      {"ControlChangeClicksWithoutFlipping", true, "C64", "D0 U0 ", false},
      {"StepFlipsAndClicks", true, "S", "D1 U1 ", true},
      {"DoubleClick", false, "2", "DC0 ", false},
      {"KeysAreNotButtonInput", false, "K", "", false},
  };
  for (const Case& c : cases) {
    const ControlWiring wiring = RecordingWiring();
    ButtonState button(wiring);
    button.SetSwitch(c.isSwitch);
    g_calls.clear();
    for (const ControlEvent& event : Script(c.script)) button.OnEvent(event);
    EXPECT_EQ(g_calls, c.calls) << c.name;
    EXPECT_EQ(button.Switched(), c.switched) << c.name;
    EXPECT_FALSE(button.Pressed()) << c.name;
  }
}

TEST(ButtonState, OverFollowsThePointerUnlessForced) {
  const ControlWiring wiring;
  ButtonState button(wiring);
  button.OnEvent(Script("E")[0]);
  EXPECT_TRUE(button.Over());
  button.OnEvent(Script("X")[0]);
  EXPECT_FALSE(button.Over());
  button.SetForcedOver(true);
  button.OnEvent(Script("X")[0]);
  EXPECT_TRUE(button.Over()) << "a forced look stays";
  button.SetSwitched(true, false);
  EXPECT_FALSE(button.Switched()) << "a push button before ready takes no state";
}

struct SliderCase {
  const char* name;
  SliderState::Shape shape;
  int low, high, start;
  const char* script;
  const char* calls;
  int value;
};

// Vertical fader: 110 pixels, cursor 10, so the track is 100 pixels long.
SliderState::Shape Fader(bool reversed = false) {
  SliderState::Shape shape;
  shape.width = 20;
  shape.height = 110;
  shape.cursorWidth = 20;
  shape.cursorHeight = 10;
  shape.reversed = reversed;
  return shape;
}

SliderState::Shape Knob(bool continuous) {
  SliderState::Shape shape;
  shape.width = shape.height = 40;
  shape.knob = true;
  shape.continuous = continuous;
  return shape;
}

TEST(SliderState, GesturesMidiAndKeysMoveTheValueAndReportIt) {
  SliderState::Shape wide = Fader();
  std::swap(wide.width, wide.height);
  std::swap(wide.cursorWidth, wide.cursorHeight);
  const SliderCase cases[] = {
      // Off the cursor the press centres it on the pointer: 50 px of 100.
      {"PressOffTheCursor", Fader(), 0, 100, 0, "P10,55 p", "D50 U50 ", 50},
      // On the cursor the grip is kept; the top is the maximum.
      {"DragToTheTopAndBeyond", Fader(), 0, 100, 0, "P10,105 M10,5 M10,-50 p", "D0 U0 D100 U100 ",
       100},
      {"HorizontalStartsLeft", wide, 0, 100, 60, "P5,10 p", "D0 U0 ", 0},
      {"RightDragIsMomentary", Fader(), 0, 100, 20, "Q10,55 M10,15 r", "D50 U50 D90 D20 U20 RD20 ",
       20},
      {"MidiCentreOfASymmetricRange", Fader(), -100, 100, 30, "C63", "D0 U0 ", 0},
      {"MidiOnAPlainRange", Fader(), 0, 100, 0, "C63", "D50 U50 ", 50},
      {"MidiTop", Fader(), -100, 100, 0, "C127", "D100 U100 ", 100},
      // Note-on jumps: nearest stop first, then end to end through 0.
      {"NotesCycleThroughTheCentre", Fader(), -100, 100, 30, "N127 N127 N127 N127 N127",
       "D0 U0 D100 U100 D0 U0 D-100 U-100 D0 U0 ", 0},
      {"NotesCycleEndToEnd", Fader(), 0, 100, 40, "N127 N127 N127", "D0 U0 D100 U100 D0 U0 ", 0},
      {"StepsAreATwentiethOfTheRange", Fader(), 0, 100, 98, "S S s", "D100 U100 D100 U100 D95 U95 ",
       95},
      {"AnEmptyRangeIgnoresEverything", Fader(), 5, 5, 5, "C127 S P10,55", "", 5},
      // A knob turns two degrees per pixel; 270 degrees span the range.
      {"KnobStopsAtTheEnd", Knob(false), 0, 100, 0, "P20,100 M20,-100 l", "D100 U100 ", 100},
      // A continuous knob turns one degree per pixel and wraps.
      {"ContinuousKnobWraps", Knob(true), 0, 100, 0, "P20,200 M20,0 M20,-100 l", "D74 D11 U11 ",
       11},
      {"KnobRightPressResets", Knob(false), -100, 100, 60, "Q20,20", "D0 U0 ", 0},
  };
  for (const SliderCase& c : cases) {
    const ControlWiring wiring = RecordingWiring();
    SliderState slider(wiring);
    slider.SetShape(c.shape);
    slider.SetRange(c.low, c.high);
    slider.ShowValue(c.start);
    g_calls.clear();
    for (const ControlEvent& event : Script(c.script)) slider.OnEvent(event);
    EXPECT_EQ(g_calls, c.calls) << c.name;
    EXPECT_EQ(slider.Value(), c.value) << c.name;
    EXPECT_FALSE(slider.Dragging()) << c.name;
  }
}

TEST(SliderState, AReversedSliderMirrorsWhatItShowsNotWhatItReports) {
  const ControlWiring wiring = RecordingWiring();
  SliderState slider(wiring);
  slider.SetShape(Fader(true));
  slider.SetRange(-50, 50);
  g_calls.clear();
  slider.SetValue(-50, true);
  EXPECT_EQ(slider.CursorPos(), 0) << "the minimum stands at the top";
  EXPECT_EQ(slider.Value(), -50);
  EXPECT_EQ(g_calls, "D-50 U-50 ");
}

TEST(SliderState, TheEngineCannotMoveASliderUnderTheHand) {
  const ControlWiring wiring;
  SliderState slider(wiring);
  slider.SetShape(Fader());
  slider.SetRange(0, 100);
  slider.OnEvent(Script("P10,55")[0]);
  EXPECT_FALSE(slider.ShowValue(90));
  slider.SetValue(90, true);
  EXPECT_EQ(slider.Value(), 50) << "dropped while dragging";
  slider.OnEvent(Script("p")[0]);
  EXPECT_TRUE(slider.ShowValue(90));
  EXPECT_EQ(slider.Value(), 90);

  SliderState knob(wiring);
  knob.SetShape(Knob(false));
  knob.SetRange(0, 100);
  knob.SetValue(120, true);
  EXPECT_EQ(knob.Value(), 0) << "a knob ignores a value outside its range";
}

}  // namespace
}  // namespace vantaro
