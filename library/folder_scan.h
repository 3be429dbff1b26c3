#pragma once
// One level of a folder, as the browser shows it: the subfolders (symbolic
// links to folders too), hidden ones left out, sorted by name the way the
// user reads them (case folded, by the user's collation), not in the order
// the file system keeps them.
//
// Reading one level never descends, so a folder with thousands of
// subfolders costs one directory read; whether each subfolder has further
// subfolders is asked later, one at a time (HasSubfolder).
//
// Threads: any; nothing here keeps state.

#include <cstdint>
#include <string>
#include <vector>

namespace vantaro {

// Which folder a path is, whatever link led to it.
struct FolderIdentity {
  std::uint64_t device = 0, inode = 0;
  bool operator==(const FolderIdentity&) const = default;
};

// False when `path` is not a folder that exists.
bool IdentifyFolder(const std::string& path, FolderIdentity* identity);

// The names of the subfolders of `path`, sorted. False (and `error` holding
// the system's reason) when the folder cannot be read: gone, not a folder,
// or not permitted.
bool ReadSubfolders(const std::string& path, std::vector<std::string>* names, std::string* error);

// One level of a folder as ReadFolderLevel found it.
struct FolderLevel {
  bool ok = false;
  FolderIdentity identity;
  std::vector<std::string> names;  // sorted subfolder names
  std::string error;               // why not, when !ok
};

// IdentifyFolder and ReadSubfolders together: what expanding a folder needs,
// read on whichever thread can afford it.
FolderLevel ReadFolderLevel(const std::string& path);

// 1 when `path` holds a subfolder that is not hidden, 0 when none, -1 when
// it cannot be read. Stops at the first subfolder found.
int HasSubfolder(const std::string& path);

// `folder` + "/" + `name`, with no doubled slash after "/".
std::string JoinPath(const std::string& folder, const std::string& name);

}  // namespace vantaro
