#include "control/key_names.h"

#include <cstdio>
#include <iterator>

namespace vantaro {
namespace {

// Named keys from code 300 on, in the toolkit's order.
const char* const kNamedKeys[] = {
    "Start",      "LeftButton", "RightButton", "Cancel",    "MiddleButton", "Clear",
    "Shift",      "Alt",        "Control",     "Menu",      "Pause",        "Capital",
    "End",        "Home",       "Left",        "Up",        "Right",        "Down",
    "Select",     "Print",      "Execute",     "Snapshot",  "Insert",       "Help",
    "N0",         "N1",         "N2",          "N3",        "N4",           "N5",
    "N6",         "N7",         "N8",          "N9",        "NMultiply",    "Add",
    "Separator",  "Substract",  "Decimal",     "Divide",    "F1",           "F2",
    "F3",         "F4",         "F5",          "F6",        "F7",           "F8",
    "F9",         "F10",        "F11",         "F12",       "F13",          "F14",
    "F15",        "F16",        "F17",         "F18",       "F19",          "F20",
    "F21",        "F22",        "F23",         "F24",       "NumLock",      "Scroll",
    "PageUp",     "PageDown",   "NSpace",      "NTab",      "NEnter",       "NF1",
    "NF2",        "NF3",        "NF4",         "NHome",     "NLeft",        "NUp",
    "NRight",     "NDown",      "NPageUp",     "NPageDown", "NEnd",         "NBegin",
    "NInsert",    "NDelete",    "NEqual",      "NMultiply", "NAdd",         "NSeparator",
    "NSubstract", "NDecimal",   "NDivide",     "WinLeft",   "WinRight",     "WinMenu",
    "WinCommand",
};
static_assert(kKeyNamedFirst + std::size(kNamedKeys) == kKeyWinCommand + 1);

constexpr int kSpecialCount = 20;

// Latin-1 code point as UTF-8.
std::string Character(int code) {
  std::string text;
  if (code < 0x80) {
    text += static_cast<char>(code);
  } else {
    text += static_cast<char>(0xC0 | (code >> 6));
    text += static_cast<char>(0x80 | (code & 0x3F));
  }
  return text;
}

std::string BareKeyName(int code) {
  switch (code) {
    case 8:
      return "Back";
    case 9:
      return "Tab";
    case 13:
      return "Enter";
    case 27:
      return "Escape";
    case 32:
      return "Space";
    case 127:
      return "Delete";
  }
  if (code >= 1 && code <= 26) return std::string(1, static_cast<char>('A' + code - 1));
  if ((code > 32 && code < 127) || (code >= 160 && code <= 255)) return Character(code);
  if (code >= kKeyNamedFirst && code <= kKeyWinCommand) return kNamedKeys[code - kKeyNamedFirst];
  if (code >= kKeySpecialFirst && code < kKeySpecialFirst + kSpecialCount) {
    char name[16];
    std::snprintf(name, sizeof name, "Special%02d", code - kKeySpecialFirst + 1);
    return name;
  }
  return "#" + std::to_string(code);
}

}  // namespace

int TranslateKeyCode(int rawCode, int character, bool upperCase) {
  int code = rawCode;
  if (code < 1 || character > kKeyWinCommand) code = character;
  if (upperCase && code >= 27 && code <= 255) {
    const bool asciiLower = code >= 'a' && code <= 'z';
    // Latin-1 lower-case letters sit 32 above their capitals (but not the
    // division sign, nor y with diaeresis, whose capital lies elsewhere).
    const bool latinLower = code >= 0xE0 && code <= 0xFE && code != 0xF7;
    if (asciiLower || latinLower) code -= 32;
  }
  return code;
}

std::string KeyName(int code, int modifiers) {
  std::string name;
  if (modifiers > 0) {
    if (modifiers & 1) name += "CTRL+";
    if (modifiers & 2) name += "ALT+";
    if (modifiers & 4) name += "SHIFT+";
    if (modifiers & 8) name += "CMD+";
  }
  return name + BareKeyName(code);
}

}  // namespace vantaro
