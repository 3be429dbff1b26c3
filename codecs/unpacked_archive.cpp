#include "codecs/unpacked_archive.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>
#include <unzip.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <vector>

#include "base/debug_log.h"
#include "codecs/codec_paths.h"

namespace vantaro {
namespace {

constexpr char kFolderPrefix[] = "vantaro-unzip-";
// Room left on the disk beyond what an archive unpacks to.
constexpr int64_t kFreeSpaceReserve = int64_t{64} << 20;

enum class EntryKind { kFile, kFolder, kRefused };

struct TEntry {
  std::string name;
  uint64_t statedBytes = 0;
  EntryKind kind = EntryKind::kRefused;
};

// A plain name is unpacked under that name; a name ending in "/" is a folder
// and skipped; a name with a folder part, "." or "..", a NUL, or one too long
// to read whole is refused.
EntryKind KindOf(const std::string& name, bool whole) {
  if (whole && !name.empty() && name.back() == '/') return EntryKind::kFolder;
  if (!whole || name.empty() || name == "." || name == ".." ||
      name.find_first_of(std::string("/\\\0", 3)) != std::string::npos)
    return EntryKind::kRefused;
  return EntryKind::kFile;
}

bool ReadEntry(unzFile zip, TEntry& entry) {
  char stored[1024];
  unz_file_info64 info;
  if (unzGetCurrentFileInfo64(zip, &info, stored, sizeof(stored), nullptr, 0, nullptr, 0) != UNZ_OK)
    return false;
  const bool whole = info.size_filename < sizeof(stored);
  entry.name.assign(stored, whole ? info.size_filename : sizeof(stored));
  entry.statedBytes = info.uncompressed_size;
  entry.kind = KindOf(entry.name, whole);
  return true;
}

// Every entry of the archive, refused names logged. False when the central
// directory cannot be walked to its end.
bool ListEntries(unzFile zip, const std::string& archivePath, std::vector<TEntry>& entries) {
  int status = unzGoToFirstFile(zip);
  for (; status == UNZ_OK; status = unzGoToNextFile(zip)) {
    TEntry entry;
    if (!ReadEntry(zip, entry)) return false;
    if (entry.kind == EntryKind::kRefused)
      DebugLog("archive %s: entry \"%s\" is not unpacked: its name has a folder part",
               archivePath.c_str(), entry.name.c_str());
    entries.push_back(entry);
  }
  return status == UNZ_END_OF_LIST_OF_FILE;
}

bool WriteAll(int fd, const char* data, size_t bytes) {
  while (bytes > 0) {
    const ssize_t done = write(fd, data, bytes);
    if (done < 0 && errno == EINTR) continue;
    if (done <= 0) return false;
    data += done;
    bytes -= static_cast<size_t>(done);
  }
  return true;
}

// Copies the current entry into the new file `target`, adding its bytes to
// `written`. False on a read or write error, a CRC mismatch, an existing
// file or link at `target`, more bytes than the entry states, or `written`
// passing `limitBytes`.
bool ExtractEntry(unzFile zip, const std::string& target, uint64_t statedBytes, int64_t limitBytes,
                  int64_t& written) {
  if (unzOpenCurrentFile(zip) != UNZ_OK) return false;
  const int fd = open(target.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  bool ok = fd >= 0;
  uint64_t entryBytes = 0;
  std::vector<char> chunk(65536);
  while (ok) {
    const int got = unzReadCurrentFile(zip, chunk.data(), static_cast<unsigned>(chunk.size()));
    if (got <= 0) {
      ok = got == 0;
      break;
    }
    entryBytes += static_cast<uint64_t>(got);
    written += got;
    ok = entryBytes <= statedBytes && written <= limitBytes &&
         WriteAll(fd, chunk.data(), static_cast<size_t>(got));
  }
  if (unzCloseCurrentFile(zip) != UNZ_OK) ok = false;  // also a CRC mismatch
  if (fd >= 0 && close(fd) != 0) ok = false;
  return ok;
}

// Unpacks the files of `entries` (in archive order) into `folder`. Returns
// the path to open, "" on any failure.
std::string ExtractFiles(unzFile zip, const std::vector<TEntry>& entries, const std::string& folder,
                         int64_t limitBytes) {
  std::string chosen;
  int64_t written = 0;
  int status = unzGoToFirstFile(zip);
  for (const TEntry& entry : entries) {
    if (status != UNZ_OK) return "";
    if (entry.kind == EntryKind::kFile) {
      const std::string target = folder + "/" + entry.name;
      if (!ExtractEntry(zip, target, entry.statedBytes, limitBytes, written)) return "";
      const bool cdg = EndsWith(LowerCasePath(target), ".cdg");
      if (chosen.empty() || (cdg && !EndsWith(LowerCasePath(chosen), ".cdg"))) chosen = target;
    }
    status = unzGoToNextFile(zip);
  }
  return chosen;
}

std::string MakePrivateFolder(const std::string& temporaryFolder) {
  std::string pattern =
      temporaryFolder + kFolderPrefix + std::to_string(static_cast<long>(getpid())) + "-XXXXXX";
  return mkdtemp(pattern.data()) ? pattern : "";
}

int64_t FreeBytes(const std::string& folder) {
  struct statvfs disk;
  if (statvfs(folder.c_str(), &disk) != 0) return -1;
  return static_cast<int64_t>(disk.f_bavail) * static_cast<int64_t>(disk.f_frsize);
}

}  // namespace

std::string CUnpackedArchive::Unpack(const std::string& archivePath,
                                     const std::string& temporaryFolder, int64_t limitBytes) {
  Remove();
  unzFile zip = unzOpen64(archivePath.c_str());
  std::vector<TEntry> entries;
  if (!zip || !ListEntries(zip, archivePath, entries)) {
    if (zip) unzClose(zip);
    DebugLog("archive %s cannot be read", archivePath.c_str());
    return "";
  }
  uint64_t stated = 0;
  bool anyFile = false;
  for (const TEntry& entry : entries) {
    if (entry.kind != EntryKind::kFile) continue;
    anyFile = true;
    stated += std::min<uint64_t>(entry.statedBytes, uint64_t{1} << 62);
  }
  std::string chosen;
  if (!anyFile) {
    DebugLog("archive %s holds no file to unpack", archivePath.c_str());
  } else if (stated > static_cast<uint64_t>(limitBytes)) {
    DebugLog("archive %s would unpack to %llu bytes, more than the %lld allowed",
             archivePath.c_str(), static_cast<unsigned long long>(stated),
             static_cast<long long>(limitBytes));
  } else if ((folder_ = MakePrivateFolder(temporaryFolder)).empty()) {
    DebugLog("archive %s: cannot make a private folder in %s: %s", archivePath.c_str(),
             temporaryFolder.c_str(), std::strerror(errno));
  } else if (FreeBytes(folder_) < static_cast<int64_t>(stated) + kFreeSpaceReserve) {
    DebugLog("archive %s needs %llu bytes, too few are free in %s", archivePath.c_str(),
             static_cast<unsigned long long>(stated), temporaryFolder.c_str());
  } else if ((chosen = ExtractFiles(zip, entries, folder_, limitBytes)).empty()) {
    DebugLog("archive %s cannot be unpacked: damaged, larger than it states, or a name twice",
             archivePath.c_str());
  }
  unzClose(zip);
  if (chosen.empty()) Remove();
  return chosen;
}

void CUnpackedArchive::Remove() {
  if (folder_.empty()) return;
  std::error_code error;
  std::filesystem::remove_all(folder_, error);
  if (error) DebugLog("cannot remove %s: %s", folder_.c_str(), error.message().c_str());
  folder_.clear();
}

namespace {

// The process id in an unpack folder's name; 0 when the name is not one.
long ProcessOfFolder(const std::string& name) {
  const size_t prefix = sizeof(kFolderPrefix) - 1;
  if (name.compare(0, prefix, kFolderPrefix) != 0) return 0;
  const size_t dash = name.find('-', prefix);
  if (dash == std::string::npos || dash == prefix || dash - prefix > 9 || name.size() != dash + 7)
    return 0;
  long pid = 0;
  for (size_t i = prefix; i < dash; ++i) {
    if (name[i] < '0' || name[i] > '9') return 0;
    pid = pid * 10 + (name[i] - '0');
  }
  return pid;
}

bool ProcessIsAlive(long pid) {
  return kill(static_cast<pid_t>(pid), 0) == 0 || errno == EPERM;
}

}  // namespace

int SweepUnpackLeftovers(const std::string& temporaryFolder) {
  std::error_code error;
  int removed = 0;
  // Walked with error codes throughout: nothing here may throw at start-up.
  for (std::filesystem::directory_iterator item(temporaryFolder, error), end; !error && item != end;
       item.increment(error)) {
    const std::string name = item->path().filename().string();
    const long pid = ProcessOfFolder(name);
    if (pid <= 0 || ProcessIsAlive(pid)) continue;
    const std::string path = temporaryFolder + name;
    struct stat info;
    if (lstat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode) || info.st_uid != geteuid())
      continue;
    std::error_code removal;
    std::filesystem::remove_all(path, removal);
    if (!removal) ++removed;
  }
  if (removed > 0)
    DebugLog("removed %d unpack folders that earlier runs left in %s", removed,
             temporaryFolder.c_str());
  return removed;
}

}  // namespace vantaro
