#pragma once
// The controller scripts: each file is evaluated in a realm, global and
// zone of its own inside the one script context (script_engine.h), with the
// standard built-ins and the program's small API (script_api.h) and nothing
// else: no file, network or module access. The host asks each script who it
// serves (the identification functions) and calls its entry points for the
// controllers bound to it.
//
// Every entry into a script runs under a budget; a throw, a stop by the
// watchdog, deep recursion or the heap limit ends that call only, with one
// log line naming file, line and reason (at most one a second per script).
//
// Threads: GUI thread only.

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "control/script_engine.h"

namespace JS {
class HandleValueArray;
}

namespace vantaro {

inline constexpr int kMaxScripts = 128;

enum ScriptType { kScriptMidi = 0, kScriptHid = 1, kScriptOther = 2 };

// Bits of detectionMethod: what a script offers to be matched by.
enum ScriptDetection { kDetectSysexId = 1, kDetectDeviceName = 2, kDetectHid = 4 };

// What a script said of itself while loading.
struct ScriptInfo {
  std::string name;  // file name, e.g. "generic-2deck.js"
  std::string path;
  bool loaded = false;
  std::string status;  // why it did not load; empty when it did
  int fileVersion = 0;
  std::string friendlyName = "none";
  int type = kScriptOther;
  std::string sysexId;  // ten hexadecimal digits, upper case; empty for none
  std::string midiInput, midiOutput;
  int hidVid = 0, hidPid = 0;
  std::string hidName;
  int detectionMethod = 0;
};

// Where sendMidi goes: the output of controller slot `uniqueId` (0..15).
struct ScriptSource;

class ScriptOutput {
 public:
  virtual ~ScriptOutput() = default;
  virtual void SendShort(int uniqueId, int status, int data1, int data2) = 0;
};

class ScriptHost {
 public:
  // `output` may be null (sendMidi then sends nothing). The script engine
  // must be running from the first Load until the host is destroyed: a
  // realm cannot outlive the context.
  explicit ScriptHost(ScriptOutput* output);
  ~ScriptHost();
  ScriptHost(const ScriptHost&) = delete;
  ScriptHost& operator=(const ScriptHost&) = delete;

  // Evaluates `path` in a new realm and queries it; logs "script ok '%s'" or
  // "script NOT loaded '%s'". Returns the script's index, which stays valid
  // until Unload even when the file did not load (its status says why), or
  // -1 when all kMaxScripts places are taken.
  int Load(const std::string& path);
  void Unload(int index);
  // Index of the script with file name `name`, -1 for none.
  int Find(const std::string& name) const;
  // Indexes of every script held, loaded or not, in loading order.
  std::vector<int> Indexes() const;
  const ScriptInfo& Info(int index) const;

  enum class Result { kOk, kMissing, kStopped };
  // The entry points. kMissing: the script has no such function, or did
  // not load; kStopped: the call ended early (logged; LastFailure says why).
  Result ControllerInit(int index, int uniqueId);
  Result ControllerDeinit(int index, int uniqueId);
  Result MessageReceived(int index, int uniqueId, int status, int channel, int data1, int data2);
  Result TimerTick(int index, int uniqueId);
  Result NotificationReceived(int index, int uniqueId, const char* name, int deck, int intValue,
                              double doubleValue, const char* text);
  const ScriptFailure& LastFailure() const { return lastFailure_; }

  // Test access: the result of evaluating `expression` in a loaded script's
  // realm as text, under the call budget; "<stopped>" when it failed.
  std::string Evaluate(int index, const std::string& expression);

 private:
  struct Script;
  Script* At(int index) const;
  void ReportFailure(Script& script, const char* where, const ScriptFailure& failure);
  void EvaluateAndQuery(Script& script, const ScriptSource& source);
  // The context is in the script's realm; `args` belong to it.
  Result Enter(Script& script, const char* function, const JS::HandleValueArray& args);
  Result EnterWithInts(int index, const char* function, std::initializer_list<int> ints);

  ScriptOutput* output_;
  std::vector<std::unique_ptr<Script>> scripts_;
  ScriptFailure lastFailure_;
};

}  // namespace vantaro
