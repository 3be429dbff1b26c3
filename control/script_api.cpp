#include "control/script_api.h"

#include <js/CallArgs.h>
#include <js/Conversions.h>
#include <jsapi.h>

#include "base/debug_log.h"
#include "control/midi_ports.h"
#include "control/script_actions.h"
#include "control/script_host.h"
#include "control/value_entries.h"

namespace vantaro {
namespace {

ScriptOutput* g_output = nullptr;

int IntArg(JSContext* cx, const JS::CallArgs& args, unsigned index, int fallback, bool* ok) {
  if (index >= args.length()) return fallback;
  int32_t value = fallback;
  if (!JS::ToInt32(cx, args[index], &value)) *ok = false;
  return value;
}

// call(name, value[, aux]) for a global action; call(name, deck[, value,
// aux]) for a deck action. Always true; a refused call only logs.
bool Call(JSContext* cx, unsigned argc, JS::Value* vp) {
  JS::CallArgs args = JS::CallArgsFromVp(argc, vp);
  args.rval().setBoolean(true);
  const std::string name = argc > 0 ? ScriptValueText(cx, args[0]) : std::string();
  const int index = FindScriptAction(name.c_str());
  const int others = argc > 0 ? static_cast<int>(argc) - 1 : 0;
  if (index < 0 || others < ScriptActionRow(index).minArgs) {
    DebugLog("js function '%s' (%d params) unknown or bad params", name.c_str(), others);
    return true;
  }
  const ScriptAction& row = ScriptActionRow(index);
  bool ok = true;
  int deck = -1;
  unsigned next = 1;
  if (!row.isGlobal) {
    deck = IntArg(cx, args, next++, 0, &ok);
    if (deck < 0 || deck > 1) deck = 0;
  }
  const int value = IntArg(cx, args, next, row.defaultValue, &ok);
  const int aux = IntArg(cx, args, next + 1, row.defaultValue, &ok);
  if (!ok) return false;  // a conversion threw: the script's own error
  row.handler(value, aux, deck);
  return true;
}

bool Debug(JSContext* cx, unsigned argc, JS::Value* vp) {
  JS::CallArgs args = JS::CallArgsFromVp(argc, vp);
  args.rval().setUndefined();
  if (argc == 1) {
    DebugLog("js debug '%s'", ScriptValueText(cx, args[0]).c_str());
    return true;
  }
  std::string line = "js debug (" + std::to_string(argc) + " params): ";
  for (unsigned i = 0; i < argc; ++i)
    line += "    p[" + std::to_string(i) + "]='" + ScriptValueText(cx, args[i]) + "' ";
  DebugLog("%s", line.c_str());
  return true;
}

bool SendMidi(JSContext* cx, unsigned argc, JS::Value* vp) {
  JS::CallArgs args = JS::CallArgsFromVp(argc, vp);
  args.rval().setBoolean(false);
  if (argc != 5) {
    DebugLog(
        "js sendMidi params error -- should be: "
        "sendMidi(uniqueId,status,channel,data1,data2);");
    return true;
  }
  bool ok = true;
  const int uniqueId = IntArg(cx, args, 0, -1, &ok);
  const int status = IntArg(cx, args, 1, 0, &ok);
  const int channel = IntArg(cx, args, 2, 0, &ok);
  const int data1 = IntArg(cx, args, 3, 0, &ok);
  const int data2 = IntArg(cx, args, 4, 0, &ok);
  if (!ok) return false;
  if (uniqueId < 0 || uniqueId >= kControllerSlots || !g_output) return true;
  g_output->SendShort(uniqueId, (status & 0xF0) | (channel & 0x0F), data1 & 0x7F, data2 & 0x7F);
  args.rval().setBoolean(true);
  return true;
}

bool SendHid(JSContext* cx, unsigned argc, JS::Value* vp) {
  JS::CallArgs args = JS::CallArgsFromVp(argc, vp);
  args.rval().setBoolean(false);
  if (argc != 3) {
    DebugLog("js sendHid params error -- should be: sendHid(uniqueId,data,size);");
    return true;
  }
  bool ok = true;
  const int uniqueId = IntArg(cx, args, 0, -1, &ok);
  const int size = IntArg(cx, args, 2, 0, &ok);
  if (!ok) return false;
  DebugLog("js sendHid (uniqueId=%d, size=%d)", uniqueId, size);
  return true;  // no HID controller is ever attached yet
}

bool GetValueNative(JSContext* cx, unsigned argc, JS::Value* vp) {
  JS::CallArgs args = JS::CallArgsFromVp(argc, vp);
  args.rval().setUndefined();
  if (argc < 1) return true;
  bool ok = true;
  const std::string name = ScriptValueText(cx, args[0]);
  const int deck = IntArg(cx, args, 1, -1, &ok);
  if (!ok) return false;
  const Value value = GetValue(name.c_str(), deck);
  switch (value.kind) {
    case kValueInt:
      args.rval().setInt32(value.i);
      break;
    case kValueDouble:
      args.rval().setDouble(value.d);
      break;
    case kValueText: {
      JSString* text =
          JS_NewStringCopyUTF8Z(cx, JS::ConstUTF8CharsZ(value.text.c_str(), value.text.size()));
      if (!text) return false;
      args.rval().setString(text);
      break;
    }
    case kValueNone:
      break;
  }
  return true;
}

bool GetHidData(JSContext*, unsigned argc, JS::Value* vp) {
  JS::CallArgs args = JS::CallArgsFromVp(argc, vp);
  args.rval().setInt32(-1);
  if (argc < 4)
    DebugLog(
        "js getHidData params error -- should be: "
        "getHidData(uniqueId,page,dataType,dataOffset[,dataSize,returnValueAnyway]);");
  return true;
}

bool SetHidData(JSContext* cx, unsigned argc, JS::Value* vp) {
  JS::CallArgs args = JS::CallArgsFromVp(argc, vp);
  args.rval().setBoolean(false);
  if (argc < 5) {
    DebugLog(
        "js setHidData params error -- should be: "
        "setHidData(uniqueId,page,dataType,dataOffset,data[,dataSize,sendNow]);");
    return true;
  }
  bool ok = true;
  const int uniqueId = IntArg(cx, args, 0, -1, &ok);
  if (!ok) return false;
  DebugLog("js setHidData (uniqueId=%d) ERROR - can not find owner", uniqueId);
  return true;
}

const JSFunctionSpec kApi[] = {
    JS_FN("call", Call, 2, 0),
    JS_FN("debug", Debug, 1, 0),
    JS_FN("sendMidi", SendMidi, 5, 0),
    JS_FN("sendHid", SendHid, 3, 0),
    JS_FN("getValue", GetValueNative, 1, 0),
    JS_FN("getHidData", GetHidData, 4, 0),
    JS_FN("setHidData", SetHidData, 5, 0),
    JS_FS_END,
};

}  // namespace

bool InstallScriptApi(JSContext* cx, JS::HandleObject global) {
  return JS_DefineFunctions(cx, global, kApi);
}

void SetScriptApiOutput(ScriptOutput* output) {
  g_output = output;
}

std::string ScriptValueText(JSContext* cx, JS::HandleValue value) {
  JS::RootedString text(cx, JS::ToString(cx, value));
  if (!text) {
    JS_ClearPendingException(cx);
    return {};
  }
  JS::UniqueChars bytes = JS_EncodeStringToUTF8(cx, text);
  return bytes ? std::string(bytes.get()) : std::string();
}

}  // namespace vantaro
