#include "control/script_host.h"

#include <js/CompilationAndEvaluation.h>
#include <js/Conversions.h>
#include <js/SourceText.h>
#include <jsapi.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstring>

#include "base/debug_log.h"
#include "control/script_api.h"
#include "control/script_files.h"

namespace vantaro {
namespace {

const JSClass kGlobalClass = {
    "global", JSCLASS_GLOBAL_FLAGS, &JS::DefaultGlobalClassOps, nullptr, nullptr, nullptr};

std::int64_t NowMs() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

std::string BaseName(const std::string& path) {
  const auto slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

int TypeOf(const std::string& text) {
  if (text == "midi" || text == "MIDI" || text == "Midi") return kScriptMidi;
  if (text == "hid" || text == "HID" || text == "Hid") return kScriptHid;
  return kScriptOther;
}

std::string Upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

}  // namespace

struct ScriptHost::Script {
  ScriptInfo info;
  std::unique_ptr<JS::PersistentRootedObject> global;
  std::int64_t lastLogMs = -1000000;
};

namespace {

// Calls `function` of the script's global; kMissing when it has none.
// The context must be in the script's realm.
ScriptHost::Result CallIn(JSContext* cx, JS::HandleObject global, const char* function,
                          const JS::HandleValueArray& args, JS::MutableHandleValue result) {
  JS::RootedValue callee(cx);
  if (!JS_GetProperty(cx, global, function, &callee)) return ScriptHost::Result::kStopped;
  if (!callee.isObject() || !JS::IsCallable(&callee.toObject()))
    return ScriptHost::Result::kMissing;
  return JS_CallFunctionValue(cx, global, callee, args, result) ? ScriptHost::Result::kOk
                                                                : ScriptHost::Result::kStopped;
}

// Loading: one identification query. A missing function keeps `result`
// undefined; false when the query threw or was stopped.
bool Query(JSContext* cx, JS::HandleObject global, const char* function,
           JS::MutableHandleValue result) {
  result.setUndefined();
  return CallIn(cx, global, function, JS::HandleValueArray::empty(), result) !=
         ScriptHost::Result::kStopped;
}

int QueryInt(JSContext* cx, JS::HandleObject global, const char* function, bool* ok) {
  JS::RootedValue value(cx);
  int32_t number = 0;
  if (!Query(cx, global, function, &value) || !JS::ToInt32(cx, value, &number)) *ok = false;
  return number;
}

std::string QueryText(JSContext* cx, JS::HandleObject global, const char* function,
                      const char* fallback, bool* ok) {
  JS::RootedValue value(cx);
  if (!Query(cx, global, function, &value)) *ok = false;
  return value.isNullOrUndefined() ? fallback : ScriptValueText(cx, value);
}

}  // namespace

ScriptHost::ScriptHost(ScriptOutput* output) : output_(output) {}

ScriptHost::~ScriptHost() {
  for (int index : Indexes()) Unload(index);
}

ScriptHost::Script* ScriptHost::At(int index) const {
  if (index < 0 || index >= static_cast<int>(scripts_.size())) return nullptr;
  return scripts_[index].get();
}

int ScriptHost::Find(const std::string& name) const {
  for (int index : Indexes())
    if (scripts_[index]->info.name == name) return index;
  return -1;
}

std::vector<int> ScriptHost::Indexes() const {
  std::vector<int> indexes;
  for (int i = 0; i < static_cast<int>(scripts_.size()); ++i)
    if (scripts_[i]) indexes.push_back(i);
  return indexes;
}

const ScriptInfo& ScriptHost::Info(int index) const {
  static const ScriptInfo none;
  const Script* script = At(index);
  return script ? script->info : none;
}

void ScriptHost::ReportFailure(Script& script, const char* where, const ScriptFailure& failure) {
  lastFailure_ = failure;
  const std::int64_t now = NowMs();
  if (now - script.lastLogMs < 1000) return;
  script.lastLogMs = now;
  DebugLog("script '%s' line %d stopped in %s: %s", BaseName(failure.file).c_str(), failure.line,
           where, failure.reason.c_str());
}

int ScriptHost::Load(const std::string& path) {
  auto free = std::find(scripts_.begin(), scripts_.end(), nullptr);
  if (free == scripts_.end()) {
    if (scripts_.size() >= static_cast<std::size_t>(kMaxScripts)) {
      DebugLog("script NOT loaded '%s': %d scripts already", path.c_str(), kMaxScripts);
      return -1;
    }
    free = scripts_.insert(scripts_.end(), nullptr);
  }
  *free = std::make_unique<Script>();
  Script& script = **free;
  script.info.name = BaseName(path);
  script.info.path = path;
  const int index = static_cast<int>(free - scripts_.begin());

  JSContext* cx = TheScriptContext();
  ScriptSource source;
  if (!cx) {
    script.info.status = "the script engine is not running";
  } else if (!ReadScriptFile(path, &source)) {
    script.info.status = "cannot be read";
  } else {
    JS::RealmOptions options;
    options.creationOptions().setNewCompartmentAndZone();
    JS::RootedObject global(
        cx, JS_NewGlobalObject(cx, &kGlobalClass, nullptr, JS::FireOnNewGlobalHook, options));
    if (global) {
      JSAutoRealm realm(cx, global);
      if (JS::InitRealmStandardClasses(cx) && InstallScriptApi(cx, global))
        script.global = std::make_unique<JS::PersistentRootedObject>(cx, global);
    }
    if (!script.global) {
      JS_ClearPendingException(cx);
      script.info.status = "no realm for it";
    } else {
      EvaluateAndQuery(script, source);
    }
  }
  script.info.loaded = script.info.status.empty();
  if (!script.info.loaded) script.global.reset();
  DebugLog(script.info.loaded ? "script ok '%s'" : "script NOT loaded '%s'", path.c_str());
  return index;
}

void ScriptHost::EvaluateAndQuery(Script& script, const ScriptSource& source) {
  JSContext* cx = TheScriptContext();
  JS::RootedObject global(cx, *script.global);
  JSAutoRealm realm(cx, global);
  SetScriptApiOutput(output_);
  ScriptCall call(kScriptLoadBudgetMs);
  JS::CompileOptions options(cx);
  options.setFileAndLine(script.info.name.c_str(), 1);
  JS::SourceText<mozilla::Utf8Unit> text;
  JS::RootedValue ignored(cx);
  if (!text.init(cx, source.text.data(), source.text.size(), JS::SourceOwnership::Borrowed) ||
      !JS::Evaluate(cx, options, text, &ignored)) {
    DebugLog("error - script was not evaluated ok BOM=%d '%s'", source.bom ? 1 : 0,
             script.info.path.c_str());
    const ScriptFailure failure = call.Failure(script.info.name);
    ReportFailure(script, "loading", failure);
    script.info.status =
        "error while loading, line " + std::to_string(failure.line) + ": " + failure.reason;
    return;
  }
  bool ok = call.RunJobs();
  ScriptInfo& info = script.info;
  const int languageVersion = QueryInt(cx, global, "getLanguageVersion", &ok);
  if (ok && languageVersion != 1) {
    DebugLog("error - js script getLanguageVersion: %d", languageVersion);
    info.status = "getLanguageVersion is not 1";
    return;
  }
  info.fileVersion = QueryInt(cx, global, "getFileVersion", &ok);
  info.friendlyName = QueryText(cx, global, "getControllerUserFriendlyName", "none", &ok);
  const std::string type = QueryText(cx, global, "getControllerType", "", &ok);
  info.type = TypeOf(type);
  info.sysexId = Upper(QueryText(cx, global, "getSupportedMidiSysExIdString", "", &ok));
  info.midiInput = QueryText(cx, global, "getSupportedMidiDeviceNameForInput", "", &ok);
  info.midiOutput = QueryText(cx, global, "getSupportedMidiDeviceNameForOutput", "", &ok);
  info.hidVid = QueryInt(cx, global, "getSupportedHidDeviceVID", &ok) & 0xFFFF;
  info.hidPid = QueryInt(cx, global, "getSupportedHidDevicePID", &ok) & 0xFFFF;
  info.hidName = QueryText(cx, global, "getSupportedHidDeviceName", "", &ok);
  if (!ok) {
    const ScriptFailure failure = call.Failure(script.info.name);
    ReportFailure(script, "loading", failure);
    info.status =
        "error while loading, line " + std::to_string(failure.line) + ": " + failure.reason;
    return;
  }
  info.detectionMethod = (info.sysexId.empty() ? 0 : kDetectSysexId) |
                         (info.midiInput.empty() ? 0 : kDetectDeviceName) |
                         (info.type == kScriptHid && info.hidVid ? kDetectHid : 0);
  DebugLog("getFileVersion '%d'", info.fileVersion);
  DebugLog("getControllerUserFriendlyName '%s'", info.friendlyName.c_str());
  DebugLog("getControllerType '%s' (%d)", type.c_str(), info.type);
  DebugLog("getSupportedMidiSysExIdString '%s'", info.sysexId.c_str());
  DebugLog("getSupportedMidiDeviceNameForInput '%s'", info.midiInput.c_str());
  DebugLog("getSupportedMidiDeviceNameForOutput '%s'", info.midiOutput.c_str());
  DebugLog("getSupportedHidDeviceVID '%04hx'", static_cast<unsigned short>(info.hidVid));
  DebugLog("getSupportedHidDevicePID '%04hx'", static_cast<unsigned short>(info.hidPid));
  DebugLog("detectionMethod '%d'", info.detectionMethod);
}

void ScriptHost::Unload(int index) {
  Script* script = At(index);
  if (!script) return;
  const bool hadRealm = script->global != nullptr;
  scripts_[index].reset();
  // The realm's zone is garbage now; collect it so a reload does not pile
  // up old realms against the heap limit.
  if (hadRealm && TheScriptContext()) JS_GC(TheScriptContext());
}

ScriptHost::Result ScriptHost::Enter(Script& script, const char* function,
                                     const JS::HandleValueArray& args) {
  JSContext* cx = TheScriptContext();
  JS::RootedObject global(cx, *script.global);
  SetScriptApiOutput(output_);
  ScriptCall call(kScriptCallBudgetMs);
  JS::RootedValue ignored(cx);
  Result result = CallIn(cx, global, function, args, &ignored);
  if (result == Result::kOk && !call.RunJobs()) result = Result::kStopped;
  if (result == Result::kStopped) ReportFailure(script, function, call.Failure(script.info.name));
  return result;
}

ScriptHost::Result ScriptHost::EnterWithInts(int index, const char* function,
                                             std::initializer_list<int> ints) {
  Script* script = At(index);
  if (!script || !script->global) return Result::kMissing;
  JSContext* cx = TheScriptContext();
  JSAutoRealm realm(cx, *script->global);
  JS::RootedValueArray<5> args(cx);
  std::size_t count = 0;
  for (int value : ints) args[count++].setInt32(value);
  return Enter(*script, function, JS::HandleValueArray::subarray(args, 0, count));
}

ScriptHost::Result ScriptHost::ControllerInit(int index, int uniqueId) {
  return EnterWithInts(index, "controllerInit", {uniqueId});
}

ScriptHost::Result ScriptHost::ControllerDeinit(int index, int uniqueId) {
  return EnterWithInts(index, "controllerDeinit", {uniqueId});
}

ScriptHost::Result ScriptHost::MessageReceived(int index, int uniqueId, int status, int channel,
                                               int data1, int data2) {
  return EnterWithInts(index, "messageReceived", {uniqueId, status, channel, data1, data2});
}

ScriptHost::Result ScriptHost::TimerTick(int index, int uniqueId) {
  return EnterWithInts(index, "timerTick", {uniqueId});
}

ScriptHost::Result ScriptHost::NotificationReceived(int index, int uniqueId, const char* name,
                                                    int deck, int intValue, double doubleValue,
                                                    const char* text) {
  Script* script = At(index);
  if (!script || !script->global) return Result::kMissing;
  JSContext* cx = TheScriptContext();
  JSAutoRealm realm(cx, *script->global);
  // Strings belong to a zone: made inside the script's realm.
  JS::RootedString nameString(cx, JS_NewStringCopyZ(cx, name ? name : ""));
  JS::RootedString textString(
      cx, JS_NewStringCopyUTF8Z(
              cx, JS::ConstUTF8CharsZ(text ? text : "", text ? std::strlen(text) : 0)));
  if (!nameString || !textString) {
    JS_ClearPendingException(cx);
    return Result::kMissing;
  }
  JS::RootedValueArray<6> args(cx);
  args[0].setInt32(uniqueId);
  args[1].setString(nameString);
  args[2].setInt32(deck);
  args[3].setInt32(intValue);
  args[4].setDouble(doubleValue);
  args[5].setString(textString);
  return Enter(*script, "notificationReceived", args);
}

std::string ScriptHost::Evaluate(int index, const std::string& expression) {
  Script* script = At(index);
  if (!script || !script->global) return "<not loaded>";
  JSContext* cx = TheScriptContext();
  JSAutoRealm realm(cx, *script->global);
  SetScriptApiOutput(output_);
  ScriptCall call(kScriptCallBudgetMs);
  JS::CompileOptions options(cx);
  options.setFileAndLine("evaluate", 1);
  JS::SourceText<mozilla::Utf8Unit> text;
  JS::RootedValue result(cx);
  if (!text.init(cx, expression.data(), expression.size(), JS::SourceOwnership::Borrowed) ||
      !JS::Evaluate(cx, options, text, &result)) {
    ReportFailure(*script, "evaluate", call.Failure(script->info.name));
    return "<stopped>";
  }
  if (!call.RunJobs()) {
    ReportFailure(*script, "evaluate", call.Failure(script->info.name));
    return "<stopped>";
  }
  return ScriptValueText(cx, result);
}

}  // namespace vantaro
