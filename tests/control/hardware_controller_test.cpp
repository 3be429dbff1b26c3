// The controller manager on the real script engine and a MIDI service
// without devices: matching, the timer, hot plug, disabling, and reloading
// script files as they change on disk. Scripts report what the manager did
// to them through debug(), read back from the log.

#include "control/hardware_controller.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "control/control_handlers.h"
#include "control/value_entries.h"
#include "engine/sound_source.h"
#include "tests/control/fake_midi_ports.h"
#include "tests/control/script_fixture.h"

namespace vantaro {
namespace {

using test::FakeMidiPorts;
using test::MinimalScript;

// Every entry point logs itself and its uniqueId.
std::string Traced(const std::string& extra = "", const std::string& inputName = "") {
  return MinimalScript(
      "function controllerInit(id) { debug('init ' + id); }\n"
      "function controllerDeinit(id) { debug('deinit ' + id); }\n"
      "function timerTick(id) { debug('tick ' + id); }\n"
      "function messageReceived(id, s, c, d1, d2) { debug('msg ' + [id, s, c, d1, d2]); }\n" +
          extra,
      inputName);
}

class ScriptControllerTest : public test::ScriptTest {
 protected:
  ScriptControllerTest() {
    std::filesystem::create_directories(shipped_);
    std::filesystem::create_directories(user_);
    setup_.scriptFolders = {shipped_, user_};
    setup_.clockMs = [this] { return now_; };
  }
  ~ScriptControllerTest() override { SetActiveControllerManager(nullptr); }

  ControllerManager& Start() {
    manager_ = std::make_unique<ControllerManager>(ports_, setup_);
    SetActiveControllerManager(manager_.get());
    manager_->Start();
    return *manager_;
  }
  void TickFor(std::int64_t ms) {
    for (const std::int64_t end = now_ + ms; now_ < end; now_ += 38) manager_->Tick();
  }
  std::string StatusOf(int slot) {
    for (const ControllerStatus& row : manager_->Controllers())
      if (row.uniqueId == slot) return row.status;
    return "<no controller>";
  }
  void Message(int slot, int status, int data1, int data2) {
    ControllerMidiHandler({MidiOwnerOfSlot(slot), 0, status, 0, data1, data2, 0});
  }

  const std::string shipped_ = dir_.File("controllers");
  const std::string user_ = dir_.File("Controllers");
  FakeMidiPorts ports_;
  ControllerSetup setup_;
  std::int64_t now_ = 5000;
  std::unique_ptr<ControllerManager> manager_;
};

struct MatchCase {
  const char* label;
  bool output;                      // the device has an output of its own name
  std::vector<std::uint8_t> reply;  // its identity reply, if any
  bool bound;                       // midiscr00 names by-name.js
  std::int64_t waitMs;              // ticks before looking
  const char* script;               // matched script, "" for none
  const char* how;
};

TEST_F(ScriptControllerTest, ScriptMatchingOrder) {
  const std::vector<std::uint8_t> ten = {0xF0, 0x7E, 0x10, 0x06, 0x02,
                                         0x00, 0x20, 0x2B, 0x0A, 0x01};
  std::vector<std::uint8_t> eleven = ten;
  eleven.push_back(0xF7);
  const std::vector<std::uint8_t> nine(ten.begin(), ten.begin() + 9);
  std::vector<std::uint8_t> other = eleven;
  other[9] = 0x02;
  const std::vector<MatchCase> cases = {
      {"ten-byte reply", true, ten, false, 100, "by-sysex.js", "sysex id"},
      {"whole reply", true, eleven, false, 100, "by-sysex.js", "sysex id"},
      {"nine-byte reply is no id", true, nine, false, 100, "", ""},
      {"nine-byte reply, then the name", true, nine, false, 1100, "by-name.js", "device name"},
      {"unknown id, then the name", true, other, false, 1100, "by-name.js", "device name"},
      {"no output: the name after a second", false, {}, false, 1100, "by-name.js", "device name"},
      {"not before the second", false, {}, false, 950, "", ""},
      {"midiscr binds at once", true, eleven, true, 38, "generic.js", "midiscr"},
  };
  WriteScript("by-sysex.js",
              Traced("function getSupportedMidiSysExIdString() { return '00202b0a01'; }"),
              shipped_);
  WriteScript("by-name.js", Traced("", "Pad Ten"), shipped_);
  WriteScript("generic.js", Traced(), shipped_);
  for (const MatchCase& c : cases) {
    SCOPED_TRACE(c.label);
    ports_ = FakeMidiPorts();
    ports_.inputs = {"Other", "Pad Ten"};
    if (c.output) ports_.outputs = {"Pad Ten"};
    setup_.configuredInputs = {{0, "Pad Ten"}};
    setup_.boundScripts.clear();
    if (c.bound) setup_.boundScripts[0] = "generic.js";
    Start();
    ASSERT_EQ(ports_.openInputs, (std::map<int, std::string>{{0, "Pad Ten"}}));
    EXPECT_EQ(ports_.sysex.size(), c.output ? 1u : 0u) << "identity request only with an output";
    if (c.output) {
      EXPECT_EQ(ports_.sysex[0], (std::vector<std::uint8_t>{0xF0, 0x7E, 0x7F, 0x06, 0x01, 0xF7}));
    }
    ports_.replies[0] = c.reply;
    TickFor(c.waitMs);
    const auto rows = manager_->Controllers();
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].script, c.script);
    EXPECT_EQ(rows[0].running, *c.script != 0);
    if (*c.script) {
      EXPECT_EQ(LogLinesWith(std::string("matched to script '") + c.script + "' [using " + c.how),
                1);
      EXPECT_EQ(LogLinesWith("js debug 'init 0'"), 1);
    }
    const std::string sysexLine = "SysEx (size:" + std::to_string(c.reply.size());
    EXPECT_EQ(LogLinesWith(sysexLine), c.reply.empty() ? 0 : 1);
    manager_.reset();
    EXPECT_EQ(LogLinesWith("js debug 'deinit 0'"), *c.script ? 1 : 0);
    std::filesystem::remove(dir_.File("vantaro.log"));
  }
}

// One device through its life: opened for the script that names it,
// messages and the timer, unplugged and plugged in again.
TEST_F(ScriptControllerTest, ScriptControllerMessagesTimerAndHotPlug) {
  WriteScript("pad.js", Traced("", "Pad"), shipped_);
  ports_.inputs = {"Keyboard", "Pad"};
  Start();
  EXPECT_EQ(ports_.openInputs, (std::map<int, std::string>{{0, "Pad"}}))
      << "a script's device name opens its input; no other input opens";
  TickFor(1100);
  const int ticks = LogLinesWith("js debug 'tick 0'");
  for (int i = 0; i < 16; ++i) manager_->Tick();
  EXPECT_EQ(LogLinesWith("js debug 'tick 0'") - ticks, 8) << "MIDI controllers on even counts";
  Message(0, 0x90, 48, 127);
  Message(5, 0x90, 1, 1);  // a slot with no controller
  EXPECT_EQ(LogLinesWith("js debug 'msg 0,144,0,48,127'"), 1);
  EXPECT_EQ(LogLinesWith("js debug 'msg"), 1);
  manager_->Host().Evaluate(0, "sendMidi(0, 0x90, 1, 48, 127)");
  EXPECT_TRUE(ports_.shorts.empty()) << "no output of that name";

  ports_.inputs = {"Keyboard"};
  TickFor(1100);
  EXPECT_EQ(LogLinesWith("js debug 'deinit 0'"), 1);
  EXPECT_EQ(LogLinesWith("input 'Pad' closed (input gone), slot freed"), 1);
  EXPECT_TRUE(manager_->Controllers().empty());
  EXPECT_TRUE(ports_.openInputs.empty());
  ports_.inputs = {"Pad"};
  TickFor(2200);
  EXPECT_EQ(LogLinesWith("js debug 'init 0'"), 2);
  EXPECT_TRUE(manager_->Controllers().at(0).running);

  // An input that will not open is tried once, and again only after a replug.
  for (int plug = 1; plug <= 2; ++plug) {
    ports_.inputs.clear();
    TickFor(1100);
    ports_.refused = "Pad";
    ports_.inputs = {"Pad"};
    const int attempts = ports_.openAttempts;
    TickFor(3300);
    EXPECT_EQ(ports_.openAttempts - attempts, 1) << "plug " << plug;
    EXPECT_TRUE(manager_->Controllers().empty());
  }
}

const char kThrowsOnNoteOne[] =
    "function messageReceived(id, s, c, d1, d2) {\n"
    "  if (d1 == 1) throw 'x';\n  debug('msg ' + [id, s, c, d1, d2]);\n}";

struct DisableCase {
  const char* label;
  const char* extra;  // functions added to the traced script
  int messages;       // note-ons sent, one every `spacingMs`
  std::int64_t spacingMs;
  bool running;
  const char* status;
};

TEST_F(ScriptControllerTest, ScriptControllerDisabledOnlyByRepeatedOrStartupFaults) {
  const std::vector<DisableCase> cases = {
      {"throw in init", "function controllerInit() { throw new Error('no init'); }", 0, 0, false,
       "disabled: error in controllerInit, line 8: Error: no init"},
      {"ten stops in ten seconds", kThrowsOnNoteOne, 10, 900, false,
       "disabled: 10 calls stopped within 10 s, last at line 9"},
      {"nine stops", kThrowsOnNoteOne, 9, 10, true, "running 'faulty.js'"},
      {"ten stops spread over more than ten seconds", kThrowsOnNoteOne, 10, 1200, true,
       "running 'faulty.js'"},
  };
  for (const DisableCase& c : cases) {
    SCOPED_TRACE(c.label);
    WriteScript("faulty.js", Traced(c.extra, "Pad"), shipped_);
    WriteScript("other.js", Traced("", "Other"), shipped_);
    ports_ = FakeMidiPorts();
    ports_.inputs = {"Pad", "Other"};
    Start();
    TickFor(1100);
    for (int i = 0; i < c.messages; ++i) {
      now_ += c.spacingMs;
      Message(0, 0x90, 1, 127);
    }
    EXPECT_EQ(StatusOf(0).rfind(c.status, 0), 0u) << StatusOf(0);
    EXPECT_EQ(manager_->Controllers().at(0).running, c.running);
    // A good note still reaches a running controller, never a disabled one;
    // the other controller goes on answering either way.
    Message(0, 0x90, 2, 127);
    Message(1, 0x90, 2, 127);
    EXPECT_EQ(LogLinesWith("js debug 'msg 0,144,0,2,127'"), c.running ? 1 : 0);
    EXPECT_EQ(LogLinesWith("js debug 'msg 1,144,0,2,127'"), 1);
    manager_.reset();
    std::filesystem::remove(dir_.File("vantaro.log"));
  }
}

TEST_F(ScriptControllerTest, ScriptHotReloadOfABoundScriptThenABrokenEditThenAFix) {
  const std::string shippedPad = WriteScript("pad.js", Traced("", "Pad"), shipped_);
  ports_.inputs = {"Pad"};
  Start();
  TickFor(1100);
  ASSERT_TRUE(manager_->Controllers().at(0).running);

  // The user's own copy overrides the shipped file.
  WriteScript("pad.js",
              Traced("function getFileVersion() { return 2; }\n"
                     "function timerTick() {}",
                     "Pad"),
              user_);
  TickFor(2000);
  EXPECT_EQ(LogLinesWith("js debug 'deinit 0'"), 1);
  EXPECT_EQ(LogLinesWith("js debug 'init 0'"), 2);
  EXPECT_EQ(LogLinesWith("getFileVersion '2'"), 1);
  EXPECT_TRUE(manager_->Controllers().at(0).running);

  // A broken edit: the controller loses its script until the file is fixed.
  WriteScript("pad.js", "function getLanguageVersion() { return 1; }\nfunction (", user_);
  TickFor(2000);
  EXPECT_EQ(LogLinesWith("js debug 'deinit 0'"), 2);
  EXPECT_FALSE(manager_->Controllers().at(0).running);
  EXPECT_EQ(LogLinesWith("script NOT loaded '" + user_ + "/pad.js'"), 1);
  Message(0, 0x90, 3, 127);
  EXPECT_EQ(LogLinesWith("js debug 'msg"), 0);

  // Removing the user's copy brings the shipped one back.
  std::filesystem::remove(user_ + "/pad.js");
  TickFor(2000);
  EXPECT_EQ(LogLinesWith("js debug 'init 0'"), 3);
  EXPECT_EQ(LogLinesWith("script ok '" + shippedPad + "'"), 2);
  Message(0, 0x90, 3, 127);
  EXPECT_EQ(LogLinesWith("js debug 'msg 0,144,0,3,127'"), 1);
}

TEST_F(ScriptControllerTest, ScriptBoundByMidiscrStaysDisabledWhileBrokenAndReturnsWhenFixed) {
  WriteScript("generic.js", "syntax error here", shipped_);
  ports_.inputs = {"Anything"};
  setup_.configuredInputs = {{3, "Anything"}};
  setup_.boundScripts = {{3, "generic.js"}};
  Start();
  EXPECT_EQ(StatusOf(0).rfind("disabled: script 'generic.js' NOT loaded", 0), 0u) << StatusOf(0);
  WriteScript("generic.js", Traced(), shipped_);
  TickFor(2000);
  EXPECT_EQ(StatusOf(0), "running 'generic.js'");
}

// Value changes reach notificationReceived of running controllers.
TEST_F(ScriptControllerTest, ScriptNotifiedOfChangedValues) {
  WriteScript("pad.js",
              Traced("function notificationReceived(id, name, deck, i, d, t) {\n"
                     "  debug('note ' + [id, name, deck, i, d, t].join('|'));\n}",
                     "Pad"),
              shipped_);
  ports_.inputs = {"Pad"};
  Start();
  TickFor(1100);
  std::unique_ptr<CSoundSource> decks[2];
  for (int deck = 0; deck < 2; ++deck) {
    decks[deck] = std::make_unique<CSoundSource>(deck, dir_.Path());
    TheControlEngine().decks[deck] = decks[deck].get();
  }
  RefreshValueEntries();
  decks[1]->SetPitch(40);
  RefreshValueEntries();
  TheControlEngine() = ControlEngine{};
  EXPECT_EQ(LogLinesWith("js debug 'note 0|pitchIs0|1|0|0|'"), 1);
}

// The identity request and the LEDs need the device's output: found by its
// own name on ALSA, by the bridge's twin or the device's own client on JACK,
// and never guessed among several.
TEST(ScriptControllerPairing, AnInputFindsTheOutputOfItsOwnDeviceOrNone) {
  const struct {
    const char* input;
    std::vector<std::string> outputs;
    int expected;
  } cases[] = {
      {"Pad Box:Pad Box MIDI 1", {"Other:Other MIDI 1", "Pad Box:Pad Box MIDI 1"}, 1},
      {"a2j:Pad Box (capture): Pad Box MIDI 1",
       {"a2j:Other (playback): Other MIDI 1", "a2j:Pad Box (playback): Pad Box MIDI 1"},
       1},
      {"padbox:in", {"system:playback_1", "padbox:out"}, 1},
      {"padbox:in", {"padbox:out", "padbox:leds"}, -1},
      {"padbox:in", {"padbox2:out"}, -1},
      {"Pad Box MIDI 1", {"Pad Box MIDI 2"}, -1},
      {"padbox:in", {}, -1},
  };
  for (const auto& c : cases)
    EXPECT_EQ(PairedMidiOutput(c.outputs, c.input), c.expected) << c.input;
}

}  // namespace
}  // namespace vantaro
