#pragma once
// Case folding and collation of list texts (UTF-8).
//
// Search must find "ÉTÉ" by "été" whatever locale the program was started
// in (LANG=C too), so the fold is the program's own: ASCII, Latin-1
// Supplement, Latin Extended-A, Greek and Cyrillic capitals become small
// letters (final sigma becomes sigma); everything else, bytes that are not
// UTF-8 included, passes unchanged.
//
// Sorting follows the user's collation (LC_COLLATE of the C library, set by
// the program at start) on folded texts.
//
// Threads: any; the collation reads the process locale, which the program
// sets once at start-up.

#include <cstddef>
#include <string>
#include <string_view>

namespace vantaro {

// `text` with every capital of the scripts above as its small letter.
std::string FoldCase(std::string_view text);

// FoldCase into `out` (its storage reused, so a loop allocates nothing
// once `out` is large enough).
void FoldCaseInto(std::string_view text, std::string& out);

// A key whose byte order is the case-insensitive collation order of `text`
// (its first `maxCharacters` characters): strxfrm of the folded text.
std::string CollationKey(std::string_view text, std::size_t maxCharacters = 1000);

}  // namespace vantaro
