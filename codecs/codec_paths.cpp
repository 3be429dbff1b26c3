#include "codecs/codec_paths.h"

#include <filesystem>
#include <system_error>

namespace vantaro {

std::string LowerCasePath(const std::string& path) {
  std::string lower = path;
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

bool EndsWith(const std::string& text, const std::string& ending) {
  return text.size() >= ending.size() &&
         text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

bool PathExists(const std::string& path) {
  std::error_code error;
  return !path.empty() && std::filesystem::exists(path, error);
}

std::string TemporaryFolder() {
  std::error_code error;
  std::string folder = std::filesystem::temp_directory_path(error).string();
  if (error || folder.empty()) folder = "/tmp";
  if (folder.back() != '/') folder += '/';
  return folder;
}

}  // namespace vantaro
