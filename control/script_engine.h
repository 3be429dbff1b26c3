#pragma once
// The one JavaScript context of the program and the watchdog that keeps a
// script from holding the GUI thread.
//
// SpiderMonkey allows one context per thread: the GUI thread creates it once
// (StartScriptEngine, at start) and ends it once (StopScriptEngine, at
// close); the engine cannot be started again in the same process. Every
// script lives in its own realm, global and zone inside this context
// (script_host.h).
//
// Containment: each entry into a script runs inside a ScriptCall with a
// budget of GUI-thread CPU time (20 ms for a call, 500 ms for loading). A
// watchdog thread watches the GUI thread's CPU clock while a call runs and,
// past the budget, asks the context to interrupt; the interrupt callback
// then ends the script with an uncatchable stop. CPU time rather than wall
// time: a script cannot block (it has no I/O), so its CPU time is exactly the
// time it holds the GUI thread, and a machine loaded by other programs does
// not stop a well-behaved script. Deep recursion ends at the native stack
// quota, allocation at the scripts' shared GC heap limit of 64 MB.
//
// Threads: everything here on the GUI thread, except the watchdog's own.

#include <cstddef>
#include <string>

struct JSContext;

namespace vantaro {

inline constexpr int kScriptCallBudgetMs = 20;
inline constexpr int kScriptLoadBudgetMs = 500;
inline constexpr unsigned kScriptHeapBytes = 64u * 1024 * 1024;

// False (and one log line) when the engine cannot start, or was stopped
// before. Starting a started engine returns true.
bool StartScriptEngine();
// Ends the context and the watchdog; every realm must be gone before.
void StopScriptEngine();
// The context, null when the engine is not running.
JSContext* TheScriptContext();

// The GC heap all scripts share, in bytes: in use now, and its limit
// (kScriptHeapBytes unless changed; tests lower it to reach it quickly).
std::size_t ScriptHeapBytes();
void SetScriptHeapLimit(std::size_t bytes);

// Where and why a call ended early. `file` is the file name the script was
// compiled with, `line` 0 when no script frame was found.
struct ScriptFailure {
  std::string file;
  int line = 0;
  std::string reason;
};

// One entry into script code under a CPU budget (ms). Scopes nest only
// trivially: the engine is entered by one call at a time.
class ScriptCall {
 public:
  explicit ScriptCall(int budgetMs);
  ~ScriptCall();
  ScriptCall(const ScriptCall&) = delete;
  ScriptCall& operator=(const ScriptCall&) = delete;

  // Runs the promise jobs the call queued, inside the same budget. False
  // when the watchdog stopped one (Failure then says where).
  bool RunJobs();

  // After the script returned false: what stopped it. Takes (and clears)
  // the pending exception. `fallbackFile` names the script when the engine
  // knows no frame.
  ScriptFailure Failure(const std::string& fallbackFile);

 private:
  int budgetMs_;
};

}  // namespace vantaro
