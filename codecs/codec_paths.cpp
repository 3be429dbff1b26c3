#include "codecs/codec_paths.h"

#include <unzip.h>

#include <cstdio>
#include <filesystem>
#include <system_error>

#include "base/debug_log.h"

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

namespace {

// Last component of a stored name; "" for folders and names that would climb
// out of the target folder.
std::string SafeEntryName(const std::string& stored) {
  const size_t slash = stored.find_last_of("/\\");
  std::string name = slash == std::string::npos ? stored : stored.substr(slash + 1);
  if (name == "." || name == "..") return "";
  return name;
}

// Copies the current entry of `zip` to `target`. False on any read or write
// error; a partial file is removed.
bool ExtractCurrentEntry(unzFile zip, const std::string& target) {
  if (unzOpenCurrentFile(zip) != UNZ_OK) return false;
  FILE* out = std::fopen(target.c_str(), "wb");
  bool ok = out != nullptr;
  char chunk[65536];
  while (ok) {
    const int got = unzReadCurrentFile(zip, chunk, sizeof(chunk));
    if (got < 0) ok = false;
    if (got <= 0) break;
    ok = std::fwrite(chunk, 1, static_cast<size_t>(got), out) == static_cast<size_t>(got);
  }
  if (unzCloseCurrentFile(zip) != UNZ_OK) ok = false;  // also reports a CRC mismatch
  if (out && std::fclose(out) != 0) ok = false;
  if (!ok && out) std::remove(target.c_str());
  return ok;
}

}  // namespace

std::string UnpackArchive(const std::string& archivePath, const std::string& folder,
                          std::vector<std::string>& unpacked) {
  unpacked.clear();
  unzFile zip = unzOpen64(archivePath.c_str());
  if (!zip) {
    DebugLog("cannot read archive %s", archivePath.c_str());
    return "";
  }
  std::string chosen;
  int status = unzGoToFirstFile(zip);
  bool failed = false;
  while (status == UNZ_OK) {
    char stored[1024];
    unz_file_info64 info;
    if (unzGetCurrentFileInfo64(zip, &info, stored, sizeof(stored), nullptr, 0, nullptr, 0) !=
        UNZ_OK) {
      failed = true;
      break;
    }
    const std::string name = SafeEntryName(stored);
    if (!name.empty()) {
      const std::string target = folder + name;
      if (!ExtractCurrentEntry(zip, target)) {
        failed = true;
        break;
      }
      unpacked.push_back(target);
      if (chosen.empty() ||
          (!EndsWith(LowerCasePath(chosen), ".cdg") && EndsWith(LowerCasePath(target), ".cdg"))) {
        chosen = target;
      }
    }
    status = unzGoToNextFile(zip);
  }
  unzClose(zip);
  if (failed || (status != UNZ_OK && status != UNZ_END_OF_LIST_OF_FILE)) {
    DebugLog("cannot unpack archive %s", archivePath.c_str());
    for (const std::string& path : unpacked) std::remove(path.c_str());
    unpacked.clear();
    return "";
  }
  if (chosen.empty()) DebugLog("archive %s holds no file", archivePath.c_str());
  return chosen;
}

}  // namespace vantaro
