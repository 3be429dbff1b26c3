#include "base/debug_log.h"

#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <mutex>

#include "base/realtime.h"

namespace vantaro {
namespace {

constexpr long kRotateBytes = 1024 * 1024;

std::mutex& LogMutex() {
  static std::mutex mutex;
  return mutex;
}
bool& EchoToStandardError() {
  static bool echo = true;
  return echo;
}
std::string& LogPath() {
  static std::string path;
  return path;
}

void RotateIfLarge(const std::string& path) {
  std::error_code error;
  auto size = std::filesystem::file_size(path, error);
  if (error || size < static_cast<std::uintmax_t>(kRotateBytes)) return;
  std::filesystem::rename(path, path + ".1", error);
}

}  // namespace

void SetDebugLogFolder(const std::string& folder) {
  std::lock_guard<std::mutex> lock(LogMutex());
  if (folder.empty()) {
    LogPath().clear();
    return;
  }
  std::string path = folder;
  if (path.back() != '/') path += '/';
  LogPath() = path + "vantaro.log";
}

void SetDebugLogEcho(bool toStandardError) {
  std::lock_guard<std::mutex> lock(LogMutex());
  EchoToStandardError() = toStandardError;
}

std::string DebugLogPath() {
  std::lock_guard<std::mutex> lock(LogMutex());
  return LogPath();
}

void DebugLog(const char* format, ...) {
  AssertNotRealtime("DebugLog");
  char text[1024];
  va_list args;
  va_start(args, format);
  vsnprintf(text, sizeof text, format, args);
  va_end(args);

  std::lock_guard<std::mutex> lock(LogMutex());
  if (EchoToStandardError()) std::fprintf(stderr, "-- xvt: %s\n", text);
  if (LogPath().empty()) return;
  RotateIfLarge(LogPath());
  if (FILE* file = std::fopen(LogPath().c_str(), "a")) {
    std::fprintf(file, "-- xvt: %s\n", text);
    std::fclose(file);
  }
}

}  // namespace vantaro
