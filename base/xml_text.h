#pragma once
// The one form of the program's hand-written XML files (config.xml, db.vtx,
// list files, effect chains): optional UTF-8 mark, the XML declaration line,
// a one-line comment naming the maker, a root element with version="100",
// one element a line, floats with four decimals, and one escape routine.
// Files are read back with libxml2 by their owners.
//
// Threads: any but the audio thread.

#include <string>
#include <string_view>

namespace vantaro {

inline constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
inline constexpr std::string_view kXmlDeclaration =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?>";
inline constexpr std::string_view kMakerComment =
    "<!-- Vantaro DJ - Copyright (c) 2026 the Vantaro DJ developers -->";

// Replaces bytes below 32 other than tab, line feed and carriage return by a
// blank, then escapes tab, LF, CR, ", &, ', < and >. Bytes above 127 pass
// untouched, so UTF-8 stays UTF-8.
std::string EscapeXmlText(std::string_view text);

// Fixed notation, four decimals, "." whatever the process locale:
// 128 -> "128.0000", -3.25 -> "-3.2500".
std::string FormatFloat4(double value);

// Writes `content` to a temporary file in the folder of `path`, flushes it
// to disk, and renames it over `path`, so that a crash or a full disk never
// leaves a half-written file. With `keepBackup`, an existing file is first
// linked as `path` + ".bak". Returns false (and leaves `path` as it was) on
// any failure; `error` then holds a one-line reason.
bool WriteFileAtomically(const std::string& path, std::string_view content, bool keepBackup = false,
                         std::string* error = nullptr);

// Test hook: when set, WriteFileAtomically calls it after the temporary file
// is complete and before the rename. Null in the program.
using AtomicWriteHook = void (*)(const std::string& temporaryPath);
void SetAtomicWriteHookForTests(AtomicWriteHook hook);

}  // namespace vantaro
