#pragma once
// The reference lists of docs/controllers.md, made from the program's own
// tables: every named action with the arguments call() takes and how it
// acts, and every readable value with its deck. The document holds them
// between two marker lines; a test compares them with what the tables make.
//
// Threads: any (the tables are constant).

#include <string>

namespace vantaro {

inline constexpr char kReferenceBegin[] = "<!-- generated: begin -->\n";
inline constexpr char kReferenceEnd[] = "<!-- generated: end -->";

// Markdown: an "### Actions" table and a "### Values" table.
std::string ScriptReferenceMarkdown();

// `document` with the text between the markers replaced by `lists`; empty
// when the markers are missing.
std::string WithScriptReference(const std::string& document, const std::string& lists);

}  // namespace vantaro
