#pragma once
// Path rules of the codec layer: lower-casing, ending tests, and unpacking a
// karaoke archive into the temporary folder.
//
// Threads: any but the audio thread (file-system calls).

#include <string>
#include <vector>

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

// Unpacks every file of the zip archive at `archivePath` into `folder` (which
// ends in "/"), each under the last component of its stored name. Fills
// `unpacked` with the paths written. Returns the path to open: the first
// ".cdg" file if the archive has one, else the first file; "" when the
// archive cannot be read or holds no file. Logs one line on failure.
std::string UnpackArchive(const std::string& archivePath, const std::string& folder,
                          std::vector<std::string>& unpacked);

}  // namespace vantaro
