#pragma once
// Controller script files on disk: reading one (size limit, byte-order
// mark) and listing the folders they load from, with the stamps that tell
// the reload poll a file changed.
//
// Threads: GUI thread (file I/O; never the audio thread).

#include <cstdint>
#include <string>
#include <vector>

namespace vantaro {

// A script is read whole and refused past this size (bytes).
inline constexpr std::size_t kScriptMaxBytes = 65536;

struct ScriptSource {
  std::string text;  // without the byte-order mark
  bool bom = false;  // the file began with the UTF-8 mark EF BB BF
};

// False, with one log line, when the file cannot be read or is too large.
bool ReadScriptFile(const std::string& path, ScriptSource* source);

struct ScriptFileStamp {
  std::string name;  // file name, the script's identity across folders
  std::string path;
  std::int64_t modifiedNs = 0;
  std::int64_t size = 0;

  bool operator==(const ScriptFileStamp&) const = default;
};

// Every *.js in `folders`, sorted by name. A file in a later folder replaces
// one of the same name in an earlier folder (the user's own Controllers
// folder overrides the shipped scripts). A missing folder adds nothing.
std::vector<ScriptFileStamp> ListScriptFiles(const std::vector<std::string>& folders);

}  // namespace vantaro
