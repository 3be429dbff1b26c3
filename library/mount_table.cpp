#include "library/mount_table.h"

#include <algorithm>
#include <fstream>
#include <sstream>

#include "base/debug_log.h"

namespace vantaro {
namespace {

// "\040" is a blank, "\011" a tab, "\012" a line feed, "\134" a backslash.
std::string DecodeOctalEscapes(std::string_view field) {
  std::string out;
  out.reserve(field.size());
  for (std::size_t i = 0; i < field.size(); ++i) {
    const bool escape = field[i] == '\\' && i + 3 < field.size();
    if (escape && field[i + 1] >= '0' && field[i + 1] <= '3' && field[i + 2] >= '0' &&
        field[i + 2] <= '7' && field[i + 3] >= '0' && field[i + 3] <= '7') {
      out += static_cast<char>((field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 +
                               (field[i + 3] - '0'));
      i += 3;
    } else {
      out += field[i];
    }
  }
  return out;
}

bool StartsWithFolder(const std::string& path, std::string_view folder) {
  return path.size() > folder.size() && path.compare(0, folder.size(), folder) == 0 &&
         path[folder.size()] == '/';
}

std::string WithoutTrailingSlash(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

}  // namespace

std::vector<MountEntry> ParseMountTable(std::string_view text) {
  std::vector<MountEntry> mounts;
  std::istringstream lines{std::string(text)};
  std::string line;
  while (std::getline(lines, line)) {
    std::istringstream fields(line);
    std::string device, mountPoint, fsType;
    if (!(fields >> device >> mountPoint >> fsType) || device[0] == '#') continue;
    mounts.push_back({device, DecodeOctalEscapes(mountPoint), fsType});
  }
  return mounts;
}

bool IsPseudoFileSystem(std::string_view fsType) {
  static constexpr std::string_view kPseudo[] = {
      "proc",        "sysfs",           "tmpfs",      "devtmpfs", "devpts",  "cgroup",
      "cgroup2",     "overlay",         "securityfs", "debugfs",  "tracefs", "pstore",
      "bpf",         "mqueue",          "hugetlbfs",  "configfs", "fusectl", "autofs",
      "binfmt_misc", "efivarfs",        "ramfs",      "squashfs", "nsfs",    "rpc_pipefs",
      "selinuxfs",   "fuse.gvfsd-fuse", "fuse.portal"};
  return std::find(std::begin(kPseudo), std::end(kPseudo), fsType) != std::end(kPseudo);
}

std::vector<DiskEntry> DisksOfMounts(const std::vector<MountEntry>& mounts,
                                     const std::string& home) {
  std::vector<DiskEntry> disks;
  if (!home.empty()) disks.push_back({"", WithoutTrailingSlash(home), false});
  if (WithoutTrailingSlash(home) != "/") disks.push_back({"", "/", false});
  std::vector<DiskEntry> mounted;
  for (const MountEntry& mount : mounts) {
    if (IsPseudoFileSystem(mount.fsType)) continue;
    const std::string path = WithoutTrailingSlash(mount.mountPoint);
    const bool removable = StartsWithFolder(path, "/media") || StartsWithFolder(path, "/run/media");
    if (!removable && !StartsWithFolder(path, "/mnt")) continue;
    auto same = [&path](const DiskEntry& d) { return d.path == path; };
    mounted.erase(std::remove_if(mounted.begin(), mounted.end(), same), mounted.end());
    mounted.push_back({path.substr(path.rfind('/') + 1), path, removable});
  }
  std::sort(mounted.begin(), mounted.end(),
            [](const DiskEntry& a, const DiskEntry& b) { return a.path < b.path; });
  disks.insert(disks.end(), mounted.begin(), mounted.end());
  return disks;
}

std::vector<DiskEntry> ReadDisks(const std::string& mountTable, const std::string& home) {
  std::ifstream file(mountTable);
  if (!file) {
    DebugLog("browser: the mount table %s cannot be read; only the fixed roots show",
             mountTable.c_str());
    return DisksOfMounts({}, home);
  }
  std::ostringstream text;
  text << file.rdbuf();
  return DisksOfMounts(ParseMountTable(text.str()), home);
}

}  // namespace vantaro
