#include "base/xml_text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <system_error>

namespace vantaro {
namespace {
std::atomic<AtomicWriteHook> g_writeHook{nullptr};

bool Fail(std::string* error, const std::string& what) {
  if (error) *error = what + ": " + std::strerror(errno);
  return false;
}

std::string FolderOf(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash == 0 ? 1 : slash);
}
}  // namespace

std::string EscapeXmlText(std::string_view text) {
  std::string out;
  out.reserve(text.size() + 16);
  for (char raw : text) {
    unsigned char c = static_cast<unsigned char>(raw);
    if (c < 32 && c != '\t' && c != '\n' && c != '\r') c = ' ';
    switch (c) {
      case '\t':
        out += "&#x09;";
        break;
      case '\n':
        out += "&#x0A;";
        break;
      case '\r':
        out += "&#x0D;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '&':
        out += "&amp;";
        break;
      case '\'':
        out += "&#39;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      default:
        out += static_cast<char>(c);
    }
  }
  return out;
}

std::string FormatFloat4(double value) {
  char text[64];
  const auto result = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 4);
  return std::string(text, result.ptr);
}

void SetAtomicWriteHookForTests(AtomicWriteHook hook) {
  g_writeHook.store(hook);
}

bool WriteFileAtomically(const std::string& path, std::string_view content, bool keepBackup,
                         std::string* error) {
  std::string temporary = path + ".tmp-XXXXXX";
  const int fd = mkstemp(temporary.data());
  if (fd < 0) return Fail(error, "cannot create a temporary file beside " + path);
  fchmod(fd, 0644);
  const char* data = content.data();
  std::size_t left = content.size();
  while (left > 0) {
    const ssize_t wrote = ::write(fd, data, left);
    if (wrote < 0 && errno == EINTR) continue;
    if (wrote <= 0) {
      Fail(error, "cannot write " + temporary);
      ::close(fd);
      ::unlink(temporary.c_str());
      return false;
    }
    data += wrote;
    left -= static_cast<std::size_t>(wrote);
  }
  if (::fsync(fd) != 0 || ::close(fd) != 0) {
    Fail(error, "cannot flush " + temporary);
    ::unlink(temporary.c_str());
    return false;
  }
  if (AtomicWriteHook hook = g_writeHook.load()) hook(temporary);
  if (keepBackup && ::access(path.c_str(), F_OK) == 0) {
    const std::string backup = path + ".bak";
    ::unlink(backup.c_str());
    if (::link(path.c_str(), backup.c_str()) != 0) {
      // A file system without hard links: copy the old file's name over.
      std::rename(path.c_str(), backup.c_str());
    }
  }
  if (std::rename(temporary.c_str(), path.c_str()) != 0) {
    Fail(error, "cannot rename " + temporary + " to " + path);
    ::unlink(temporary.c_str());
    return false;
  }
  // Make the rename itself durable.
  const int dir = ::open(FolderOf(path).c_str(), O_RDONLY | O_DIRECTORY);
  if (dir >= 0) {
    ::fsync(dir);
    ::close(dir);
  }
  return true;
}

}  // namespace vantaro
