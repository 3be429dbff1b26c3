// Every shipped controller script runs in the real host, bound to a device
// of the fake MIDI service, on its recorded session
// (tests/control/recordings/<script>.txt): the actions at the built-in
// controls, the sampler toggles and the LED messages sent back must be
// exactly those the recording lists after each step.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "control/hardware_controller.h"
#include "control/script_actions.h"
#include "tests/control/fake_midi_ports.h"
#include "tests/control/script_fixture.h"

namespace vantaro {
namespace {

namespace fs = std::filesystem;

const std::string kScripts = std::string(VANTARO_SOURCE_DIR) + "/controllers";
const std::string kRecordings = std::string(VANTARO_SOURCE_DIR) + "/tests/control/recordings";

std::vector<std::string>* g_samplers = nullptr;

struct Step {
  int line = 0;
  std::string input;  // empty for controllerInit
  std::vector<std::string> expected;
};

std::vector<Step> ReadRecording(const std::string& path) {
  std::vector<Step> steps(1);
  std::ifstream file(path);
  std::string text;
  for (int line = 1; std::getline(file, text); ++line) {
    if (text.empty() || text[0] == '#') continue;
    if (text[0] == '>' || text[0] == '!' || text == "deinit") {
      steps.push_back({line, text, {}});
    } else {
      steps.back().expected.push_back(text);
    }
  }
  return steps;
}

class ScriptRecordingTest : public test::ScriptTest {
 protected:
  ScriptRecordingTest() {
    g_samplers = &samplers_;
    TheScriptHooks().toggleSampler = [](int slot) {
      g_samplers->push_back("s " + std::to_string(slot + 1));
    };
  }
  ~ScriptRecordingTest() override {
    TheScriptHooks().toggleSampler = nullptr;
    g_samplers = nullptr;
  }

  // Everything the script caused since the last call, one line each.
  std::vector<std::string> Caused() {
    std::vector<std::string> lines = ControlEvents();
    char line[32];
    for (const auto& sent : ports_.shorts) {
      std::snprintf(line, sizeof line, "< %02X %02X %02X", sent.status, sent.data1, sent.data2);
      lines.push_back(line);
    }
    ports_.shorts.clear();
    lines.insert(lines.end(), samplers_.begin(), samplers_.end());
    samplers_.clear();
    std::sort(lines.begin(), lines.end());
    return lines;
  }

  void Run(ControllerManager& manager, int script, const std::string& input) {
    std::istringstream fields(input.substr(1));
    if (input[0] == '>') {
      unsigned status = 0, data1 = 0, data2 = 0;
      fields >> std::hex >> status >> data1 >> data2;
      ASSERT_FALSE(fields.fail()) << input;
      ControllerMidiHandler({MidiOwnerOfSlot(0), 0, static_cast<int>(status & 0xF0),
                             static_cast<int>(status & 0x0F), static_cast<int>(data1),
                             static_cast<int>(data2), 0});
    } else if (input[0] == '!') {
      std::string name;
      int deck = 0, value = 0;
      fields >> name >> deck >> value;
      ASSERT_FALSE(fields.fail()) << input;
      manager.Host().NotificationReceived(script, 0, name.c_str(), deck, value, value, "");
    } else {
      manager.Stop();
    }
  }

  test::FakeMidiPorts ports_;
  std::vector<std::string> samplers_;
};

TEST_F(ScriptRecordingTest, ScriptShippedScriptsPlayTheirRecordings) {
  std::vector<std::string> scripts;
  for (const auto& entry : fs::directory_iterator(kScripts))
    if (entry.path().extension() == ".js") scripts.push_back(entry.path().stem().string());
  ASSERT_GE(scripts.size(), 2u);
  for (const auto& entry : fs::directory_iterator(kRecordings))
    EXPECT_TRUE(fs::exists(kScripts + "/" + entry.path().stem().string() + ".js"))
        << entry.path() << " records no shipped script";

  for (const std::string& name : scripts) {
    SCOPED_TRACE(name + ".js");
    const std::string recording = kRecordings + "/" + name + ".txt";
    if (!fs::exists(recording)) {
      ADD_FAILURE() << "no recording " << recording;
      continue;
    }
    const std::vector<Step> steps = ReadRecording(recording);
    EXPECT_GE(steps.size(), 10u) << "a recording plays the script's controls";
    ports_ = test::FakeMidiPorts();
    ports_.inputs = ports_.outputs = {"Recorded Device"};
    ControllerSetup setup;
    setup.scriptFolders = {kScripts};
    setup.configuredInputs = {{0, "Recorded Device"}};
    setup.boundScripts = {{0, name + ".js"}};
    ControllerManager manager(ports_, setup);
    SetActiveControllerManager(&manager);
    manager.Start();
    ASSERT_EQ(manager.Controllers().size(), 1u);
    ASSERT_TRUE(manager.Controllers()[0].running) << manager.Controllers()[0].status;
    const int script = manager.Host().Find(name + ".js");
    ports_.sysex.clear();
    for (const Step& step : steps) {
      SCOPED_TRACE("line " + std::to_string(step.line) + ": " + step.input);
      if (!step.input.empty()) Run(manager, script, step.input);
      std::vector<std::string> expected = step.expected;
      std::sort(expected.begin(), expected.end());
      EXPECT_EQ(Caused(), expected);
    }
    SetActiveControllerManager(nullptr);
    EXPECT_EQ(LogLinesWith("stopped in"), 0) << Log();
  }
}

}  // namespace
}  // namespace vantaro
