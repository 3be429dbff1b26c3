#pragma once
// The disks the browser shows, from the kernel's mount table: the home
// folder and "/" always, then what is mounted under /mnt (fixed) and under
// /media or /run/media (removable: a stick or a card, read again on every
// expansion). Pseudo file systems (proc, sysfs, tmpfs, cgroup, overlay and
// the like) are never disks, wherever they are mounted.
//
// Threads: any; nothing here keeps state.

#include <string>
#include <string_view>
#include <vector>

namespace vantaro {

// One line of a mount table (the fstab form: device, mount point, type,
// options...). The mount point has its octal escapes ("\040") decoded.
struct MountEntry {
  std::string device, mountPoint, fsType;
};

struct DiskEntry {
  std::string label;  // last folder of the mount point; empty for the fixed roots
  std::string path;   // the mount point, no trailing "/" but for "/" itself
  bool removable = false;
  bool operator==(const DiskEntry&) const = default;
};

// Lines that are blank, comments or have fewer than three fields are passed
// over.
std::vector<MountEntry> ParseMountTable(std::string_view text);

// True for file systems that hold no user files (proc, tmpfs, overlay...).
bool IsPseudoFileSystem(std::string_view fsType);

// The disks of `mounts`: `home` and "/" first, then the mounts under /mnt,
// /media and /run/media sorted by path. A mount point mounted over twice
// counts once. `home` empty leaves it out.
std::vector<DiskEntry> DisksOfMounts(const std::vector<MountEntry>& mounts,
                                     const std::string& home);

// Reads `mountTable` (normally /proc/self/mounts) and returns its disks.
// A table that cannot be read logs one line and gives the fixed roots only.
std::vector<DiskEntry> ReadDisks(const std::string& mountTable, const std::string& home);

}  // namespace vantaro
