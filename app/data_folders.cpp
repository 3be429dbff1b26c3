#include "app/data_folders.h"

#include <sys/stat.h>

#include <filesystem>

#include "base/debug_log.h"

namespace vantaro {
namespace {

namespace fs = std::filesystem;

std::string WithSlash(std::string path) {
  if (path.empty() || path.back() != '/') path += '/';
  return path;
}

std::string WithoutSlash(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

bool IsFolder(const std::string& path) {
  std::error_code error;
  return fs::is_directory(path, error);
}

// Creates `path` when absent. Returns true when this call created it.
bool CreateIfAbsent(const std::string& path) {
  if (IsFolder(path)) return false;
  return ::mkdir(path.c_str(), 0777) == 0;
}

void SeedSamples(const std::string& programSamples, const std::string& samples) {
  std::error_code error;
  if (!IsFolder(programSamples)) return;
  fs::copy(programSamples, samples, fs::copy_options::recursive | fs::copy_options::skip_existing,
           error);
  if (error)
    DebugLog("samples: copy from %s failed: %s", programSamples.c_str(), error.message().c_str());
}

}  // namespace

std::string ProgramDataFolder(const std::string& executableFolder) {
  const std::string beside = WithoutSlash(executableFolder);
  if (IsFolder(beside + "/languages")) return beside;
  const fs::path prefix = fs::path(beside).parent_path();
  const std::string installed = (prefix / "share" / "vantaro").string();
  return IsFolder(installed) ? installed : beside;
}

DataFolders BuildDataFolders(const PlatformFolders& platform, void (*onRootFailure)()) {
  DataFolders folders;
  folders.executable = ProgramDataFolder(platform.executable);
  folders.documentsRoot = WithSlash(platform.documents);
  folders.userData = WithSlash(platform.userData);
  folders.temporary = WithSlash(platform.temporary);
  folders.dataRoot = folders.documentsRoot + "Vantaro/";

  const std::string root = folders.dataRoot;
  folders.stripes = root + "Stripes";
  folders.database = root + "Database";
  folders.settings = root + "Settings";
  folders.playlists = root + "Playlists";
  folders.skins = root + "Skins";
  folders.samples = root + "Samples";
  folders.effects = root + "Effects";

  if (!IsFolder(root)) ::mkdir(WithoutSlash(root).c_str(), 0777);
  folders.dataRootUsable = IsFolder(root);
  if (!folders.dataRootUsable) {
    DebugLog("data root %s cannot be created", root.c_str());
    if (onRootFailure) onRootFailure();
  }

  for (const std::string* folder :
       {&folders.stripes, &folders.database, &folders.settings, &folders.playlists, &folders.skins})
    CreateIfAbsent(*folder);
  folders.samplesCreated = CreateIfAbsent(folders.samples);
  if (folders.samplesCreated) SeedSamples(folders.executable + "/samples", folders.samples);

  folders.executable = WithSlash(folders.executable);
  for (std::string* folder :
       {&folders.stripes, &folders.database, &folders.settings, &folders.playlists, &folders.skins,
        &folders.samples, &folders.effects})
    *folder = WithSlash(*folder);
  return folders;
}

}  // namespace vantaro
