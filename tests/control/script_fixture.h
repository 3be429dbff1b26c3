#pragma once
// What the script tests share: the one script engine of the process
// (started before the first test, ended after the last), a temporary
// folder for script files, the debug log in that folder, and a control
// table of recording controls that the named actions reach.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "base/debug_log.h"
#include "tests/control/fake_controls.h"
#include "tests/support/test_support.h"

namespace vantaro::test {

class ScriptTest : public testing::Test {
 protected:
  ScriptTest() {
    SetDebugLogEcho(false);
    SetDebugLogFolder(dir_.Path());
  }
  ~ScriptTest() override {
    SetDebugLogFolder("");
    SetDebugLogEcho(true);
  }

  // Writes `text` as `name` in the test folder (or `folder`); its path.
  std::string WriteScript(const std::string& name, const std::string& text,
                          const std::string& folder = "") {
    const std::string path = (folder.empty() ? dir_.Path() : folder) + "/" + name;
    WriteFile(path, text);
    return path;
  }
  std::string Log() const { return ReadFile(dir_.File("vantaro.log")); }
  int LogLinesWith(const std::string& text) const {
    const std::string log = Log();
    int count = 0;
    for (auto at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) ++count;
    return count;
  }

  // Events the built-in controls got since the last call, sorted, one
  // "= control deck status value" line each (status in hex).
  std::vector<std::string> ControlEvents() {
    std::vector<std::string> lines;
    char line[128];
    table_.ForEach([&](RecordingControl& control) {
      for (const ControlEvent& event : control.events) {
        std::snprintf(line, sizeof line, "= %s %d %02X %d", ControlActionRow(control.id).name,
                      control.deck, event.status, event.value);
        lines.push_back(line);
      }
    });
    table_.ClearEvents();
    std::sort(lines.begin(), lines.end());
    return lines;
  }

  TempDir dir_;
  RecordingTable table_;
};

// A script that loads: the identification functions and `body`.
inline std::string MinimalScript(const std::string& body, const std::string& inputName = "") {
  return "function getLanguageVersion() { return 1; }\n"
         "function getControllerType() { return 'MIDI'; }\n"
         "function getSupportedMidiDeviceNameForInput() { return '" +
         inputName + "'; }\n" + body + "\n";
}

}  // namespace vantaro::test
