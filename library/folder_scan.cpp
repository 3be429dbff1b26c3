#include "library/folder_scan.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include "library/text_fold.h"

namespace vantaro {
namespace {

// d_type says most of the time; a link or a file system that does not fill
// it in is asked with a stat that follows links.
bool EntryIsFolder(DIR* dir, const dirent* entry) {
  if (entry->d_type == DT_DIR) return true;
  if (entry->d_type != DT_LNK && entry->d_type != DT_UNKNOWN) return false;
  struct stat info;
  return fstatat(dirfd(dir), entry->d_name, &info, 0) == 0 && S_ISDIR(info.st_mode);
}

bool Shown(const dirent* entry) {
  return entry->d_name[0] != '.';  // hidden, and "." and ".."
}

struct DirCloser {
  void operator()(DIR* dir) const { closedir(dir); }
};

}  // namespace

bool IdentifyFolder(const std::string& path, FolderIdentity* identity) {
  struct stat info;
  if (stat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) return false;
  identity->device = info.st_dev;
  identity->inode = info.st_ino;
  return true;
}

bool ReadSubfolders(const std::string& path, std::vector<std::string>* names, std::string* error) {
  names->clear();
  std::unique_ptr<DIR, DirCloser> dir(opendir(path.c_str()));
  if (!dir) {
    if (error) *error = std::strerror(errno);
    return false;
  }
  while (const dirent* entry = readdir(dir.get()))
    if (Shown(entry) && EntryIsFolder(dir.get(), entry)) names->emplace_back(entry->d_name);
  std::vector<std::pair<std::string, std::string>> keyed;
  keyed.reserve(names->size());
  for (std::string& name : *names) keyed.emplace_back(CollationKey(name), std::move(name));
  std::sort(keyed.begin(), keyed.end());
  for (std::size_t i = 0; i < keyed.size(); ++i) (*names)[i] = std::move(keyed[i].second);
  return true;
}

FolderLevel ReadFolderLevel(const std::string& path) {
  FolderLevel level;
  if (!IdentifyFolder(path, &level.identity)) {
    level.error = "not a folder, or gone";
    return level;
  }
  level.ok = ReadSubfolders(path, &level.names, &level.error);
  return level;
}

int HasSubfolder(const std::string& path) {
  std::unique_ptr<DIR, DirCloser> dir(opendir(path.c_str()));
  if (!dir) return -1;
  while (const dirent* entry = readdir(dir.get()))
    if (Shown(entry) && EntryIsFolder(dir.get(), entry)) return 1;
  return 0;
}

std::string JoinPath(const std::string& folder, const std::string& name) {
  if (!folder.empty() && folder.back() == '/') return folder + name;
  return folder + "/" + name;
}

}  // namespace vantaro
