#pragma once
// Path rules of the codec layer: lower-casing, ending tests, the temporary
// folder.
//
// Threads: any but the audio thread (file-system calls).

#include <string>

namespace vantaro {

// The path with ASCII letters in lower case (UTF-8 bytes above 127 untouched).
std::string LowerCasePath(const std::string& path);

// True when `text` ends in `ending`. Only the ending is compared, so
// "song.mywav" ends in "wav" too.
bool EndsWith(const std::string& text, const std::string& ending);

// True when a file or folder exists at `path`.
bool PathExists(const std::string& path);

// The temporary folder, always with a "/" at its end.
std::string TemporaryFolder();

}  // namespace vantaro
