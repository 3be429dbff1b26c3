#include "control/script_engine.h"

#include <js/ErrorReport.h>
#include <js/Exception.h>
#include <js/Initialization.h>
#include <js/Interrupt.h>
#include <js/MemoryCallbacks.h>
#include <js/Stack.h>
#include <jsapi.h>
#include <jsfriendapi.h>
#include <pthread.h>
#include <time.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "base/debug_log.h"

namespace vantaro {
namespace {

// Native stack a script may use on the GUI thread (whose stack is 8 MB):
// deep recursion ends here with a catchable "too much recursion".
constexpr std::size_t kNativeStackQuota = 1024 * 1024;
// How often the watchdog reads the GUI thread's clock while a call runs.
constexpr auto kWatchdogPeriod = std::chrono::milliseconds(2);

std::int64_t CpuNs(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

// Watches the GUI thread's CPU clock during calls. `serial` is odd while a
// call runs; the watchdog remembers the serial it fired on, so a stop can
// only ever end the call it was meant for.
class Watchdog {
 public:
  Watchdog(JSContext* cx, clockid_t guiClock) : cx_(cx), guiClock_(guiClock) {
    thread_ = std::thread([this] { Run(); });
  }
  ~Watchdog() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      quit_ = true;
    }
    wake_.notify_one();
    thread_.join();
  }

  void Begin(int budgetMs) {
    budgetNs_.store(static_cast<std::int64_t>(budgetMs) * 1000000);
    serial_.fetch_add(1);
    if (sleeping_.load()) {
      std::lock_guard<std::mutex> lock(mutex_);
      wake_.notify_one();
    }
  }
  void End() { serial_.fetch_add(1); }
  bool FiredOnCurrent() const {
    const std::uint64_t serial = serial_.load();
    return (serial & 1) && firedSerial_.load() == serial;
  }
  int BudgetMs() const { return static_cast<int>(budgetNs_.load() / 1000000); }

 private:
  void Run() {
    std::uint64_t watched = 0;
    std::int64_t startNs = 0;
    while (true) {
      const std::uint64_t serial = serial_.load();
      if (!(serial & 1)) {
        std::unique_lock<std::mutex> lock(mutex_);
        sleeping_.store(true);
        wake_.wait_for(lock, std::chrono::seconds(1),
                       [&] { return quit_ || (serial_.load() & 1); });
        sleeping_.store(false);
        if (quit_) return;
        continue;
      }
      if (serial != watched) {
        watched = serial;
        startNs = CpuNs(guiClock_);
      } else if (firedSerial_.load() != serial && CpuNs(guiClock_) - startNs >= budgetNs_.load()) {
        firedSerial_.store(serial);
        JS_RequestInterruptCallback(cx_);
      }
      std::this_thread::sleep_for(kWatchdogPeriod);
    }
  }

  JSContext* const cx_;
  const clockid_t guiClock_;
  std::atomic<std::uint64_t> serial_{0};
  std::atomic<std::uint64_t> firedSerial_{0};
  std::atomic<std::int64_t> budgetNs_{0};
  std::atomic<bool> sleeping_{false};
  std::mutex mutex_;
  std::condition_variable wake_;
  bool quit_ = false;
  std::thread thread_;
};

struct Engine {
  bool initialised = false;
  bool shutDown = false;
  JSContext* cx = nullptr;
  Watchdog* watchdog = nullptr;
  // Where the running script was when the watchdog or the heap limit
  // stopped it; the frame is gone by the time the call returns.
  bool timedOut = false;
  bool outOfMemory = false;
  std::string stopFile;
  int stopLine = 0;
};

Engine& TheEngine() {
  static Engine engine;
  return engine;
}

void NoteScriptedCaller(JSContext* cx) {
  Engine& engine = TheEngine();
  JS::AutoFilename file;
  unsigned line = 0;
  if (JS::DescribeScriptedCaller(cx, &file, &line) && file.get()) {
    engine.stopFile = file.get();
    engine.stopLine = static_cast<int>(line);
  }
}

// GUI thread, inside script code: false ends the script uncatchably.
bool OnInterrupt(JSContext* cx) {
  Engine& engine = TheEngine();
  if (!engine.watchdog || !engine.watchdog->FiredOnCurrent()) return true;
  engine.timedOut = true;
  NoteScriptedCaller(cx);
  return false;
}

void OnOutOfMemory(JSContext* cx, void*) {
  TheEngine().outOfMemory = true;
  NoteScriptedCaller(cx);
}

std::string ErrorText(JSContext* cx, JS::ExceptionStack& stack, std::string* file, int* line) {
  JS::ErrorReportBuilder builder(cx);
  if (!builder.init(cx, stack, JS::ErrorReportBuilder::NoSideEffects)) {
    JS_ClearPendingException(cx);
    return "an error that could not be read";
  }
  if (const JSErrorReport* report = builder.report(); report && report->filename) {
    *file = report->filename;
    *line = static_cast<int>(report->lineno);
  }
  return builder.toStringResult() ? builder.toStringResult().c_str() : "an error";
}

}  // namespace

bool StartScriptEngine() {
  Engine& engine = TheEngine();
  if (engine.cx) return true;
  if (engine.shutDown) {
    DebugLog("error - script engine: cannot start again after close");
    return false;
  }
  if (!engine.initialised && !JS_Init()) {
    DebugLog("error - script engine: JS_Init failed");
    return false;
  }
  engine.initialised = true;
  JSContext* cx = JS_NewContext(JS::DefaultHeapMaxBytes);
  // Promises need a job queue; the host runs it at the end of each call.
  if (!cx || !js::UseInternalJobQueues(cx) || !JS::InitSelfHostedCode(cx)) {
    DebugLog("error - script engine: no JavaScript context");
    if (cx) JS_DestroyContext(cx);
    return false;
  }
  JS_SetGCParameter(cx, JSGC_MAX_BYTES, kScriptHeapBytes);
  JS_SetNativeStackQuota(cx, kNativeStackQuota);
  JS_AddInterruptCallback(cx, OnInterrupt);
  JS::SetOutOfMemoryCallback(cx, OnOutOfMemory, nullptr);
  clockid_t guiClock = CLOCK_THREAD_CPUTIME_ID;
  pthread_getcpuclockid(pthread_self(), &guiClock);
  engine.cx = cx;
  engine.watchdog = new Watchdog(cx, guiClock);
  return true;
}

void StopScriptEngine() {
  Engine& engine = TheEngine();
  if (!engine.cx) return;
  delete engine.watchdog;
  engine.watchdog = nullptr;
  JS_DestroyContext(engine.cx);
  engine.cx = nullptr;
  JS_ShutDown();
  engine.shutDown = true;
}

JSContext* TheScriptContext() {
  return TheEngine().cx;
}

std::size_t ScriptHeapBytes() {
  JSContext* cx = TheEngine().cx;
  return cx ? JS_GetGCParameter(cx, JSGC_BYTES) : 0;
}

void SetScriptHeapLimit(std::size_t bytes) {
  if (JSContext* cx = TheEngine().cx)
    JS_SetGCParameter(cx, JSGC_MAX_BYTES, static_cast<std::uint32_t>(bytes));
}

ScriptCall::ScriptCall(int budgetMs) : budgetMs_(budgetMs) {
  Engine& engine = TheEngine();
  engine.timedOut = false;
  engine.outOfMemory = false;
  engine.stopFile.clear();
  engine.stopLine = 0;
  if (engine.watchdog) engine.watchdog->Begin(budgetMs);
}

ScriptCall::~ScriptCall() {
  if (Watchdog* watchdog = TheEngine().watchdog) watchdog->End();
}

bool ScriptCall::RunJobs() {
  Engine& engine = TheEngine();
  if (engine.cx) js::RunJobs(engine.cx);
  return !engine.timedOut;
}

ScriptFailure ScriptCall::Failure(const std::string& fallbackFile) {
  Engine& engine = TheEngine();
  ScriptFailure failure;
  failure.file = engine.stopFile.empty() ? fallbackFile : engine.stopFile;
  failure.line = engine.stopLine;
  if (engine.timedOut) {
    failure.reason = "ran past its budget of " + std::to_string(budgetMs_) + " ms";
  } else if (JS_IsExceptionPending(engine.cx)) {
    JS::ExceptionStack stack(engine.cx);
    if (JS::StealPendingExceptionStack(engine.cx, &stack)) {
      std::string file;
      int line = 0;
      failure.reason = ErrorText(engine.cx, stack, &file, &line);
      if (!file.empty()) {
        failure.file = file;
        failure.line = line;
      }
    }
    if (engine.outOfMemory) failure.reason = "out of memory (script heap limit)";
  } else {
    failure.reason = engine.outOfMemory ? "out of memory (script heap limit)" : "stopped";
  }
  return failure;
}

}  // namespace vantaro
