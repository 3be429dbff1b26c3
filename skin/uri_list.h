#pragma once
// The file names of a `text/uri-list` drop (what a file manager offers over
// XDND): one URI a line, lines ending in CRLF (LF taken too), lines starting
// with '#' are comments. Only local `file:` URIs give names; the host part
// must be empty or "localhost". Percent escapes are decoded byte-wise, so
// "%C3%A9" gives the two UTF-8 bytes of "é" and "%20" a blank.
//
// Threads: any (no state).

#include <string>
#include <vector>

namespace vantaro {

// The local file names of `text`, in order. A line that is not a local file
// URI, or that holds a broken escape or an escaped NUL, is left out.
std::vector<std::string> LocalFilesOfUriList(const std::string& text);

// One URI's local path; empty when it names no local file.
std::string LocalPathOfUri(const std::string& uri);

}  // namespace vantaro
