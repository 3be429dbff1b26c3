#pragma once
// Writing the program's data files so that nothing a user has is lost:
// whole or not at all, through symbolic links, with the user's permissions,
// and with the previous version kept on request.
//
// A data file may be a symbolic link (a user's synced folder): every
// operation here acts on the file the link finally names and leaves the
// link itself in place.
//
// Threads: any but the audio thread (file I/O).

#include <string>
#include <string_view>

namespace vantaro {

// The file `path` finally names after following symbolic links (relative
// links are taken from the link's folder); `path` itself when it is no link.
// The target need not exist. Gives up after 40 links (a loop) and answers
// the last name reached.
std::string ResolveLinks(const std::string& path);

// Writes `content` to a temporary file beside the target of `path`
// ("<target>.tmp-XXXXXX"), flushes it to disk and renames it over the
// target, so that a crash or a full disk never leaves a half-written file.
// The new file keeps the old one's permissions; a new file gets 0666 less
// the process umask.
// With `keepBackup`, the old file is first kept as "<target>.bak": a hard
// link, or, on a file system without hard links, a copy written the same
// way; the old file stays in place until the final rename, so a failure at
// any step leaves it readable. A backup that cannot be made is logged and
// the write goes on.
// Returns false (the target as it was) on any failure; `error` then holds a
// one-line reason.
bool WriteFileAtomically(const std::string& path, std::string_view content, bool keepBackup = false,
                         std::string* error = nullptr);

// Renames the file `path` names (the target of a link) to
// "<target>.broken-YYYYMMDD-HHMMSS", with "-2", "-3", ... when that is
// taken, so that a file the program cannot use is kept for the user before
// anything replaces it. Returns the new path; empty when the rename failed
// (logged).
std::string MoveFileAside(const std::string& path);

// Test hook for WriteFileAtomically: called before each step with the
// step's source and destination; a non-zero result makes that step fail
// with that errno value, as a file system would (EPERM for a link on a file
// system without hard links, EIO for a rename). Null in the program.
enum class FileStep { kTemporaryWritten, kLink, kRename };
using FileStepHook = int (*)(FileStep step, const std::string& from, const std::string& to);
void SetFileStepHookForTests(FileStepHook hook);

}  // namespace vantaro
