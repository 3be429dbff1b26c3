// The script host on the real engine: loading rules, the API's argument
// rules as scripts meet them, the sandbox, and containment of scripts that
// throw, loop, recurse or allocate without end.

#include "control/script_host.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "control/script_files.h"
#include "tests/control/script_fixture.h"

namespace vantaro {
namespace {

using test::MinimalScript;

class ScriptHostTest : public test::ScriptTest, public ScriptOutput {
 protected:
  void SendShort(int uniqueId, int status, int data1, int data2) override {
    sent_.push_back({uniqueId, status, data1, data2});
  }
  int Load(const std::string& name, const std::string& text) {
    return host_.Load(WriteScript(name, text));
  }
  std::vector<std::vector<int>> sent_;
  ScriptHost host_{this};
};

struct LoadCase {
  const char* label;
  std::string text;
  bool loads;
  std::vector<std::string> logged;
};

TEST_F(ScriptHostTest, ScriptLoadingRulesAndTheLinesTheyLog) {
  const std::string good = MinimalScript(
      "function getFileVersion() { return 7; }\n"
      "function getSupportedMidiSysExIdString() { return '00202b0a01'; }");
  const std::string atLimit =
      good + "//" + std::string(kScriptMaxBytes - good.size() - 3, 'x') + "\n";
  const std::vector<LoadCase> cases = {
      {"plain",
       good,
       true,
       {"script ok", "getFileVersion '7'", "getControllerUserFriendlyName 'none'",
        "getControllerType 'MIDI' (0)", "getSupportedMidiSysExIdString '00202B0A01'",
        "getSupportedHidDeviceVID '0000'", "detectionMethod '1'"}},
      {"bom", "\xEF\xBB\xBF" + good, true, {"script ok"}},
      {"exactly 65536 bytes", atLimit, true, {"script ok"}},
      {"one byte more", atLimit + " ", false, {"larger than 65536 bytes", "script NOT loaded"}},
      {"language 2",
       "function getLanguageVersion() { return 2; }",
       false,
       {"error - js script getLanguageVersion: 2", "script NOT loaded"}},
      {"no language function", "var x = 1;", false, {"getLanguageVersion: 0"}},
      {"syntax error",
       "\n\nfunction (",
       false,
       {"error - script was not evaluated ok BOM=0", "line 3 stopped in loading: SyntaxError"}},
      {"bom and a throw",
       "\xEF\xBB\xBF\nthrow new Error('boom');",
       false,
       {"not evaluated ok BOM=1", "line 2 stopped in loading: Error: boom"}},
      {"a query throws",
       MinimalScript("function getFileVersion() {\n  throw 'no';\n}"),
       false,
       {"line 5 stopped in loading: uncaught exception: no"}},
      {"loops while loading",
       "\nwhile (true) {}",
       false,
       {"line 2 stopped in loading: ran past its budget of 500 ms"}},
  };
  for (const LoadCase& c : cases) {
    SCOPED_TRACE(c.label);
    std::vector<int> before;
    for (const std::string& line : c.logged) before.push_back(LogLinesWith(line));
    const int index = Load(std::string(c.label) + ".js", c.text);
    EXPECT_EQ(host_.Info(index).loaded, c.loads) << host_.Info(index).status;
    EXPECT_EQ(host_.Info(index).status.empty(), c.loads);
    for (std::size_t i = 0; i < c.logged.size(); ++i)
      EXPECT_EQ(LogLinesWith(c.logged[i]), before[i] + 1) << c.logged[i] << Log();
    host_.Unload(index);
  }
  EXPECT_FALSE(host_.Info(host_.Load(dir_.File("missing.js"))).loaded);
  EXPECT_EQ(LogLinesWith("error reading js script"), 1);
}

struct ApiCase {
  const char* code;
  const char* result;  // String() of the expression
  const char* logged;  // a line the call logs, or ""
  std::vector<std::string> events;
};

TEST_F(ScriptHostTest, ScriptApiArgumentRules) {
  const int index = Load("api.js", MinimalScript(""));
  const std::vector<ApiCase> cases = {
      {"call('deckPlayPause')", "true", "'deckPlayPause' (0 params) unknown or bad params", {}},
      {"call('deckPlayPause', 1)",
       "true",
       "",
       {"= deck_play_pause 1 80 0", "= deck_play_pause 1 90 127"}},
      {"call('deckPlayPause', 7, 0)", "true", "", {"= deck_play_pause 0 90 0"}},
      {"call('setDeckVolume', 1)", "true", "'setDeckVolume' (1 params) unknown", {}},
      {"call('setDeckVolume', 1, 100)", "true", "", {"= deck_volume 1 B0 100"}},
      {"call('setCrossfader', 64)", "true", "", {"= crossfader -1 B0 64"}},
      {"call('noSuchAction', 1)", "true", "'noSuchAction' (1 params) unknown", {}},
      {"sendMidi(3, 0x90, 2, 48, 127, 1)", "false", "js sendMidi params error", {}},
      {"sendMidi(16, 0x90, 2, 48, 127)", "false", "", {}},
      {"debug('hello')", "undefined", "js debug 'hello'", {}},
      {"debug('a', 2)", "undefined", "js debug (2 params):     p[0]='a'     p[1]='2' ", {}},
      {"typeof getValue('play', 0)", "number", "", {}},
      {"typeof getValue('title', 1)", "string", "", {}},
      {"getValue('noSuchValue', 0)", "undefined", "", {}},
      {"sendHid(1, [1, 2], 2)", "false", "js sendHid (uniqueId=1, size=2)", {}},
      {"getHidData(1, 0, 0)", "-1", "js getHidData params error", {}},
      {"setHidData(1, 0, 0, 0)", "false", "js setHidData params error", {}},
      {"setHidData(4, 0, 0, 0, 1)", "false", "(uniqueId=4) ERROR - can not find owner", {}},
  };
  for (const ApiCase& c : cases) {
    SCOPED_TRACE(c.code);
    const int logged = *c.logged ? LogLinesWith(c.logged) : 0;
    EXPECT_EQ(host_.Evaluate(index, c.code), c.result);
    if (*c.logged) {
      EXPECT_EQ(LogLinesWith(c.logged), logged + 1);
    }
    EXPECT_EQ(ControlEvents(), c.events);
  }
  EXPECT_EQ(host_.Evaluate(index, "sendMidi(3, 0x91, 2, 48, 255)"), "true");
  EXPECT_EQ(sent_, (std::vector<std::vector<int>>{{3, 0x92, 48, 127}}))
      << "only the well-formed sendMidi is sent";
}

TEST_F(ScriptHostTest, ScriptGlobalsReachNoFileNetworkOrModule) {
  const int index = Load("probe.js", MinimalScript("var secret = 1;"));
  const int other = Load("other.js", MinimalScript(""));
  for (const char* name : {"read", "load", "os", "require", "fetch", "XMLHttpRequest", "print",
                           "readline", "snarf", "evaluate", "quit", "process", "WebSocket"})
    EXPECT_EQ(host_.Evaluate(index, std::string("typeof ") + name), "undefined") << name;
  // Dynamic import has no loader behind it: it never yields a module.
  const std::string imported = host_.Evaluate(
      index,
      "var r = 'no module'; try { import('/etc/hostname').then(function (m) { r = m; }); }"
      " catch (e) { r = 'threw'; } String(r)");
  EXPECT_TRUE(imported == "no module" || imported == "threw") << imported;
  EXPECT_EQ(host_.Evaluate(other, "typeof secret"), "undefined") << "realms share no globals";
}

struct Fault {
  const char* label;
  const char* code;    // the body of the faulty entry point, on line 5
  const char* reason;  // in the log line
};

TEST_F(ScriptHostTest, ScriptFaultInEveryEntryPointStopsOnlyThatCall) {
  const Fault faults[] = {
      {"throw", "throw new Error('bad handler');", "Error: bad handler"},
      {"endless loop", "while (true) {}", "ran past its budget of 20 ms"},
      {"deep recursion", "(function f(n) { return f(n + 1) + 1; })(0);",
       "InternalError: too much recursion"},
      {"endless promise job", "Promise.resolve().then(function () { while (true) {} });",
       "ran past its budget of 20 ms"},
      {"endless allocation", "var a = []; while (true) a.push(new Array(100000).fill(1.5));", ""},
  };
  const char* const entries[] = {"controllerInit", "controllerDeinit", "messageReceived",
                                 "timerTick", "notificationReceived"};
  const int healthy =
      Load("healthy.js", MinimalScript("var n = 0;\nfunction messageReceived() { n++; }"));
  for (const Fault& fault : faults) {
    for (const std::string entry : entries) {
      SCOPED_TRACE(std::string(fault.label) + " in " + entry);
      const std::string name = entry + "-" + fault.label + ".js";
      const int index =
          Load(name, MinimalScript("function " + entry + "() {\n" + fault.code + "\n}"));
      using R = ScriptHost::Result;
      const R result = entry == "controllerInit"     ? host_.ControllerInit(index, 2)
                       : entry == "controllerDeinit" ? host_.ControllerDeinit(index, 2)
                       : entry == "messageReceived" ? host_.MessageReceived(index, 2, 0x90, 0, 1, 1)
                       : entry == "timerTick"
                           ? host_.TimerTick(index, 2)
                           : host_.NotificationReceived(index, 2, "play", 0, 1, 1.0, "");
      EXPECT_EQ(result, R::kStopped);
      EXPECT_EQ(
          LogLinesWith("script '" + name + "' line 5 stopped in " + entry + ": " + fault.reason), 1)
          << Log();
      // The script itself still answers, and so does every other.
      EXPECT_EQ(host_.Evaluate(index, "6 * 7"), "42");
      EXPECT_EQ(host_.MessageReceived(healthy, 1, 0x90, 0, 1, 1), R::kOk);
      host_.Unload(index);
    }
  }
  EXPECT_EQ(host_.Evaluate(healthy, "n"), "25");
}

TEST_F(ScriptHostTest, ScriptHeapLimitStopsAnAllocatingScriptAndFreesItsGarbage) {
  // The program's 64 MB takes longer to fill than a call's budget in a
  // sanitizer build: the limit is lowered to a few megabytes above what the
  // realms use now.
  SetScriptHeapLimit(ScriptHeapBytes() + 4 * 1024 * 1024);
  const int index =
      Load("hungry.js", MinimalScript("var a = [];\nwhile (true) a.push({ n: a.length });"));
  SetScriptHeapLimit(kScriptHeapBytes);
  EXPECT_FALSE(host_.Info(index).loaded);
  EXPECT_EQ(LogLinesWith("script 'hungry.js' line 5 stopped in loading: out of memory"), 1)
      << Log();
  host_.Unload(index);
  EXPECT_TRUE(
      host_.Info(Load("next.js", MinimalScript("var b = new Array(1000).fill({});"))).loaded);
}

TEST_F(ScriptHostTest, ScriptStopsAreLoggedAtMostOnceASecond) {
  const int index = Load("noisy.js", MinimalScript("function timerTick() { throw 1; }"));
  for (int i = 0; i < 5; ++i) EXPECT_EQ(host_.TimerTick(index, 0), ScriptHost::Result::kStopped);
  EXPECT_EQ(LogLinesWith("stopped in timerTick"), 1);
  EXPECT_EQ(host_.MessageReceived(index, 0, 0x90, 0, 1, 1), ScriptHost::Result::kMissing);
}

}  // namespace
}  // namespace vantaro
