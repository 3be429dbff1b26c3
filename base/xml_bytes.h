#pragma once
// Byte strings (file names, paths, device and plug-in names) in the
// attributes of the program's XML files.
//
// A Linux file name is bytes, not always UTF-8, while an XML file holds
// characters only, and not all of them (no control characters but tab, line
// feed and carriage return). So a text is written in one of two ways:
// - UTF-8 of characters XML can hold: as it is, escaped, in one attribute;
// - anything else: the attribute holds a readable form (each byte or
//   character XML cannot hold becomes U+FFFD), and a companion attribute
//   `<name>_bytes` right after it holds the exact bytes in lowercase hex.
// A reader takes the exact bytes when the companion is there, is valid hex,
// and its readable form still equals the attribute (a name edited by hand in
// the readable attribute wins over a stale companion). Files of older
// versions, which held raw bytes in the attribute, read back exactly through
// XmlReader, which keeps raw bytes. docs/DATA-FILES.md describes the form.
//
// Threads: any; no shared state.

#include <string>
#include <string_view>

namespace vantaro {

// "name" -> "name_bytes".
inline constexpr std::string_view kExactBytesSuffix = "_bytes";

// True when `text` is UTF-8 of characters an XML 1.0 document can hold: tab,
// line feed, carriage return, U+0020..U+D7FF, U+E000..U+FFFD and
// U+10000..U+10FFFF.
bool XmlHoldsExactly(std::string_view text);

// `text` with every byte that starts no valid UTF-8 character, and every
// character XML cannot hold, replaced by U+FFFD.
std::string ReadableXmlText(std::string_view text);

// The readable form escaped for an attribute between double quotes: tab, LF
// and CR as character references (so they survive the reader's attribute
// normalisation), ", &, ', < and > as entity references.
std::string EscapeXmlText(std::string_view text);

// Appends name="<escaped readable form>" and, when that form loses bytes,
// ` name_bytes="<hex>"`. No blank before or after.
void AppendXmlTextAttribute(std::string& out, std::string_view name, std::string_view text);

// The text of an attribute and its companion as read (either may be null):
// the companion's bytes when they qualify (see above), else the attribute,
// else empty.
std::string XmlTextFromAttributes(const std::string* readable, const std::string* exactHex);

}  // namespace vantaro
