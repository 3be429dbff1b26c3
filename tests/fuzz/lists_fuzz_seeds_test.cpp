// Writes the seed corpus of the list files' fuzz target and replays every
// seed through its entry, so the target's checks run on every build: a
// .vtl, a lists.vtx, a favs.vtx and an M3U as the program writes them, each
// torn, damaged and followed by garbage, and the hostile files. Folder:
// $VANTARO_FUZZ_SEEDS/lists, else <build>/fuzz_seeds/lists.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "library/list_file.h"
#include "library/list_set.h"
#include "tests/fuzz/data_fuzz_entries.h"
#include "tests/fuzz/hostile_files.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

void Seed(const std::string& name, const std::string& file) {
  const char* chosen = std::getenv("VANTARO_FUZZ_SEEDS");
  const std::string folder =
      (chosen && *chosen ? std::string(chosen) : std::string(VANTARO_BINARY_DIR) + "/fuzz_seeds") +
      "/lists";
  std::filesystem::create_directories(folder);
  const std::string forms[] = {
      file, file.substr(0, file.size() * 2 / 3),
      file.substr(0, file.size() / 2) + "=\"&x;<" + file.substr(file.size() / 2),
      file + "\x01garbage<<"};
  for (std::size_t i = 0; i < std::size(forms); ++i) {
    SCOPED_TRACE(name + std::to_string(i));
    test::WriteFile(folder + "/" + name + std::to_string(i), forms[i]);
    EXPECT_EQ(fuzz::ListFilesEntry(reinterpret_cast<const std::uint8_t*>(forms[i].data()),
                                   forms[i].size()),
              0);
  }
}

TEST(ListFuzzSeeds, EverySeedPassesTheTarget) {
  std::vector<TZKListElement> rows(3);
  const char* names[] = {"Caf\xE9.mp3", "torn \xC3\x28 \xF0\x9F\x8E", "A & B \"C\" <E>.flac"};
  std::vector<TZKListElement*> pointers;
  for (int i = 0; i < 3; ++i) {
    rows[i].column[kColTitle] = names[i];
    rows[i].column[kColPath] = std::string("/m/") + names[i];
    rows[i].auxstr = "tab\tbell\x07";
    pointers.push_back(&rows[i]);
  }
  Seed("list", FormatListFile({"Set", "img", 60, 1}, pointers, true));

  test::TempDir dir;
  std::filesystem::create_directories(dir.File("Database"));
  std::filesystem::create_directories(dir.File("Playlists"));
  CZKListSet set(dir.File("Database/"), dir.File("Playlists/"));
  set.Load();
  set.AddUserList(names[2])->list->InsertRow(rows[0], -1);
  set.favourites.push_back({names[0], "/music", 1});
  ASSERT_TRUE(set.Save(true));
  Seed("index", test::ReadFile(dir.File("Database/lists.vtx")));
  Seed("favs", test::ReadFile(dir.File("Database/favs.vtx")));
  Seed("m3u", "\xEF\xBB\xBF#EXTM3U\r\n#EXTINF:3,A - T\r\nrel.mp3\r\nfile:///a%20b.mp3\n/x$\n");
  for (const auto& hostile : test::HostileFiles("lists", "<list name=\"&big;\" type=\"0\"/>"))
    if (!hostile.text.empty()) Seed(hostile.what, hostile.text);
}

}  // namespace
}  // namespace vantaro
