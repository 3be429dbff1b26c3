#include "control/script_files.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>

#include "base/debug_log.h"

namespace vantaro {

bool ReadScriptFile(const std::string& path, ScriptSource* source) {
  FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) {
    DebugLog("error reading js script '%s'", path.c_str());
    return false;
  }
  // One byte past the limit tells a file that is too large.
  std::string text(kScriptMaxBytes + 1, '\0');
  const std::size_t got = std::fread(text.data(), 1, text.size(), file);
  const bool failed = std::ferror(file) != 0;
  std::fclose(file);
  if (failed) {
    DebugLog("error reading js script '%s'", path.c_str());
    return false;
  }
  if (got > kScriptMaxBytes) {
    DebugLog("error - js script '%s' is larger than %zu bytes", path.c_str(), kScriptMaxBytes);
    return false;
  }
  text.resize(got);
  source->bom = text.rfind("\xEF\xBB\xBF", 0) == 0;
  source->text = source->bom ? text.substr(3) : text;
  return true;
}

std::vector<ScriptFileStamp> ListScriptFiles(const std::vector<std::string>& folders) {
  namespace fs = std::filesystem;
  std::map<std::string, ScriptFileStamp> byName;
  for (const std::string& folder : folders) {
    std::error_code error;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
      const fs::path& path = it->path();
      if (path.extension() != ".js" || !it->is_regular_file(error)) continue;
      ScriptFileStamp stamp;
      stamp.name = path.filename().string();
      stamp.path = path.string();
      stamp.size = static_cast<std::int64_t>(it->file_size(error));
      const auto modified = it->last_write_time(error).time_since_epoch();
      stamp.modifiedNs = std::chrono::duration_cast<std::chrono::nanoseconds>(modified).count();
      byName[stamp.name] = stamp;
    }
  }
  std::vector<ScriptFileStamp> files;
  for (auto& [name, stamp] : byName) files.push_back(std::move(stamp));
  return files;
}

}  // namespace vantaro
