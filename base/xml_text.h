#pragma once
// The one form of the program's hand-written XML files (config.xml, db.vtx,
// list files, effect chains): optional UTF-8 mark, the XML declaration line,
// a one-line comment naming the maker, a root element with version="100",
// one element a line, floats with four decimals, and one escape routine for
// text (base/xml_bytes.h). Files are read back through base/xml_reader.h and
// written through base/data_file.h.
//
// Threads: any but the audio thread.

#include <string>
#include <string_view>

#include "base/data_file.h"
#include "base/xml_bytes.h"

namespace vantaro {

inline constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
inline constexpr std::string_view kXmlDeclaration =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?>";
inline constexpr std::string_view kMakerComment =
    "<!-- Vantaro DJ - Copyright (c) 2026 the Vantaro DJ developers -->";

// Fixed notation, four decimals, "." whatever the process locale:
// 128 -> "128.0000", -3.25 -> "-3.2500".
std::string FormatFloat4(double value);

}  // namespace vantaro
