#include "base/data_file.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <random>

#include "base/debug_log.h"

namespace vantaro {
namespace {

std::atomic<FileStepHook> g_stepHook{nullptr};

// errno value the test hook wants the step to fail with; 0 to go on.
int HookedFailure(FileStep step, const std::string& from, const std::string& to) {
  const FileStepHook hook = g_stepHook.load();
  return hook ? hook(step, from, to) : 0;
}

int Link(const std::string& from, const std::string& to) {
  if (const int failure = HookedFailure(FileStep::kLink, from, to)) return errno = failure, -1;
  return ::link(from.c_str(), to.c_str());
}

int Rename(const std::string& from, const std::string& to) {
  if (const int failure = HookedFailure(FileStep::kRename, from, to)) return errno = failure, -1;
  return std::rename(from.c_str(), to.c_str());
}

bool Fail(std::string* error, const std::string& what) {
  if (error) *error = what + ": " + std::strerror(errno);
  return false;
}

std::string FolderOf(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash == 0 ? 1 : slash);
}

// Creates "<target>.tmp-XXXXXX" exclusively. open() applies the umask to
// `mode`, which mkstemp's fixed 0600 would not.
int CreateTemporary(const std::string& target, mode_t mode, std::string& temporary) {
  static constexpr char kLetters[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  thread_local std::mt19937 random{std::random_device{}()};
  for (int attempt = 0; attempt < 100; ++attempt) {
    temporary = target + ".tmp-";
    for (int i = 0; i < 6; ++i) temporary += kLetters[random() % (sizeof kLetters - 1)];
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (fd >= 0 || errno != EEXIST) return fd;
  }
  return -1;
}

bool WriteAll(int fd, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t wrote = ::write(fd, data, size);
    if (wrote < 0 && errno == EINTR) continue;
    if (wrote <= 0) return false;
    data += wrote;
    size -= static_cast<std::size_t>(wrote);
  }
  return true;
}

bool CopyAll(int from, int to) {
  char buffer[64 * 1024];
  for (;;) {
    const ssize_t got = ::read(from, buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return got == 0;
    if (!WriteAll(to, buffer, static_cast<std::size_t>(got))) return false;
  }
}

bool Replace(const std::string& target, std::string_view content, int source, bool keepBackup,
             std::string* error);

// Keeps the file at `target` as "<target>.bak" without moving it.
bool KeepBackup(const std::string& target) {
  const std::string backup = target + ".bak";
  ::unlink(backup.c_str());
  if (Link(target, backup) == 0) return true;
  // A file system without hard links (FAT, some network shares): a copy.
  const int source = ::open(target.c_str(), O_RDONLY | O_CLOEXEC);
  if (source < 0) return false;
  const bool copied = Replace(backup, {}, source, false, nullptr);
  ::close(source);
  return copied;
}

// Writes `content`, or what `source` holds when it is an open file, over
// `target` (no link) by a temporary file and a rename.
bool Replace(const std::string& target, std::string_view content, int source, bool keepBackup,
             std::string* error) {
  struct stat old;
  const bool exists = ::stat(target.c_str(), &old) == 0;
  std::string temporary;
  const int fd = CreateTemporary(target, exists ? 0600 : 0666, temporary);
  if (fd < 0) return Fail(error, "cannot create a temporary file beside " + target);
  if (exists) (void)::fchmod(fd, old.st_mode & 07777);  // some file systems cannot; no harm
  const bool written =
      source >= 0 ? CopyAll(source, fd) : WriteAll(fd, content.data(), content.size());
  if (!written || ::fsync(fd) != 0) {
    Fail(error, "cannot write " + temporary);
    ::close(fd);
    ::unlink(temporary.c_str());
    return false;
  }
  if (::close(fd) != 0) {
    Fail(error, "cannot flush " + temporary);
    ::unlink(temporary.c_str());
    return false;
  }
  if (const int failure = HookedFailure(FileStep::kTemporaryWritten, temporary, target)) {
    errno = failure;
    Fail(error, "cannot write " + temporary);
    ::unlink(temporary.c_str());
    return false;
  }
  if (keepBackup && exists && !KeepBackup(target))
    DebugLog("%s: cannot keep the previous version as .bak: %s", target.c_str(),
             std::strerror(errno));
  if (Rename(temporary, target) != 0) {
    Fail(error, "cannot rename " + temporary + " to " + target);
    ::unlink(temporary.c_str());
    return false;
  }
  // Make the rename itself durable.
  const int folder = ::open(FolderOf(target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder >= 0) {
    ::fsync(folder);
    ::close(folder);
  }
  return true;
}

}  // namespace

std::string ResolveLinks(const std::string& path) {
  std::string current = path;
  for (int hop = 0; hop < 40; ++hop) {
    struct stat info;
    if (::lstat(current.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) return current;
    char target[PATH_MAX];
    const ssize_t length = ::readlink(current.c_str(), target, sizeof target);
    if (length <= 0 || static_cast<std::size_t>(length) >= sizeof target) return current;
    const std::string next(target, static_cast<std::size_t>(length));
    current = next[0] == '/' ? next : FolderOf(current) + "/" + next;
  }
  return current;
}

bool WriteFileAtomically(const std::string& path, std::string_view content, bool keepBackup,
                         std::string* error) {
  return Replace(ResolveLinks(path), content, -1, keepBackup, error);
}

std::string MoveFileAside(const std::string& path) {
  const std::string target = ResolveLinks(path);
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "%Y%m%d-%H%M%S", &local);
  std::string aside = target + ".broken-" + stamp;
  struct stat info;
  for (int extra = 2; ::lstat(aside.c_str(), &info) == 0 && extra < 100; ++extra)
    aside = target + ".broken-" + stamp + "-" + std::to_string(extra);
  if (std::rename(target.c_str(), aside.c_str()) != 0) {
    DebugLog("%s cannot be moved aside: %s", target.c_str(), std::strerror(errno));
    return {};
  }
  return aside;
}

void SetFileStepHookForTests(FileStepHook hook) {
  g_stepHook.store(hook);
}

}  // namespace vantaro
