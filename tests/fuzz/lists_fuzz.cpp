// libFuzzer target: the list files. The same bytes are read as a .vtl, as
// an M3U, and as lists.vtx and favs.vtx through a whole load of the list
// set. A .vtl that reads must come back unchanged through the writer; a
// list set saved after any load must load again with nothing to report.
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

#include "library/list_file.h"
#include "library/list_set.h"
#include "tests/fuzz/data_fuzz_entries.h"

namespace vantaro::fuzz {
namespace {

void CheckListFile(std::string_view text) {
  ListFileContents first = ReadListText(text, "fuzz.vtl");
  if (first.status != ListFileStatus::kLoaded) return;
  std::vector<TZKListElement*> rows;
  for (TZKListElement& row : first.rows) rows.push_back(&row);
  const std::string written = FormatListFile(first.header, rows, true);
  const ListFileContents second = ReadListText(written, "fuzz.vtl");
  if (second.status != ListFileStatus::kLoaded || second.damaged != 0) std::abort();
  if (second.rows.size() != first.rows.size()) std::abort();
  for (std::size_t i = 0; i < rows.size(); ++i)
    for (int c = 1; c < kListColumns; ++c)
      if (second.rows[i].column[c] != first.rows[i].column[c]) std::abort();
}

// A private data root, emptied for every input.
const std::string& Root() {
  static const std::string root = [] {
    std::string pattern = std::filesystem::temp_directory_path().string() + "/lists-fuzz-XXXXXX";
    if (!mkdtemp(pattern.data())) std::abort();
    return pattern;
  }();
  return root;
}

void CheckListSet(std::string_view text) {
  const std::string root = Root();
  std::filesystem::remove_all(root + "/Database");
  std::filesystem::remove_all(root + "/Playlists");
  std::filesystem::create_directories(root + "/Database");
  std::filesystem::create_directories(root + "/Playlists");
  for (const char* name : {"/Database/lists.vtx", "/Database/favs.vtx", "/Playlists/in.m3u"}) {
    FILE* file = std::fopen((root + name).c_str(), "wb");
    if (!file) std::abort();
    std::fwrite(text.data(), 1, text.size(), file);
    std::fclose(file);
  }
  CZKListSet first(root + "/Database/", root + "/Playlists/");
  first.Load();
  if (!first.Save(true)) std::abort();
  CZKListSet second(root + "/Database/", root + "/Playlists/");
  second.Load();
  if (!second.TakeMessage().empty() || second.Count() != first.Count()) std::abort();
}

}  // namespace

int ListFilesEntry(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  CheckListFile(text);
  for (const M3uEntry& entry : ParseM3u(text, "/lists", "fuzz.m3u"))
    if (entry.path.empty()) std::abort();
  CheckListSet(text);
  return 0;
}

}  // namespace vantaro::fuzz

#ifdef VANTARO_FUZZ_MAIN
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return vantaro::fuzz::ListFilesEntry(data, size);
}
#endif
