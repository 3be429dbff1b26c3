#pragma once
// Keyboard codes as the controls and the shortcut maps see them, and the
// names the learn overlay shows for them. Codes are the toolkit's key codes
// (the numbers below 300 are characters, 300 and above named keys); the
// names are shown to users and stored by nothing.
//
// Threads: pure functions, any thread.

#include <string>

namespace vantaro {

inline constexpr int kKeyNamedFirst = 300;    // "Start"
inline constexpr int kKeyWinCommand = 396;    // the last named key before the specials
inline constexpr int kKeySpecialFirst = 397;  // "Special01" .. "Special20"

// The code a control or the shortcut map uses for a key event: the raw key
// code, or the character where the code is below 1 or the character lies
// above the named keys; codes 27..255 are upper-cased when `upperCase`.
int TranslateKeyCode(int rawCode, int character, bool upperCase);

// "CTRL+ALT+SHIFT+CMD+" prefixes for the modifier bits 1, 2, 4, 8, then the
// key: a printable character as itself, the control codes 1..26 as "A" to
// "Z" (but 8 "Back", 9 "Tab", 13 "Enter"), named keys by name, function keys
// "F1".."F24". An unknown code reads "#<code>".
std::string KeyName(int code, int modifiers);

}  // namespace vantaro
