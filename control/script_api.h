#pragma once
// The functions the program gives every controller script: call, debug,
// sendMidi, sendHid, getValue, getHidData, setHidData. They reach the
// program only through the named actions (script_actions.h), the readable
// values (value_entries.h) and the controller outputs.
//
// The HID layer does not exist yet: sendHid, getHidData and setHidData
// check and log their arguments as a HID script expects, and then answer as
// for a controller that is not attached (false, -1).
//
// Threads: GUI thread only, inside a script call.

#include <js/TypeDecls.h>

#include <string>

namespace vantaro {

class ScriptOutput;

// Defines the functions on `global`, whose realm the context is in.
bool InstallScriptApi(JSContext* cx, JS::HandleObject global);
// Where sendMidi sends from now on; null sends nothing.
void SetScriptApiOutput(ScriptOutput* output);

// A value as UTF-8 text (String(value)); empty when it cannot be converted.
std::string ScriptValueText(JSContext* cx, JS::HandleValue value);

}  // namespace vantaro
