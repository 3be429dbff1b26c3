#pragma once
// Helpers of the song database tests: a folder with a db.vtx, written from
// song lines, and a fixture that always leaves the process without a table
// and without a running saver.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "library/song_database.h"
#include "library/song_database_file.h"
#include "tests/support/test_support.h"

namespace vantaro {

// What GoogleTest shows of a record that differs: the file line it makes.
inline void PrintTo(const TZKSongRecord& record, std::ostream* out) {
  std::string line;
  AppendSongLine(line, record);
  *out << testing::PrintToString(line);
}

}  // namespace vantaro

namespace vantaro::test {

inline std::string DbFileWith(const std::vector<std::string>& songLines) {
  std::string text =
      "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?>\n"
      "<!-- test -->\n<songdatabase version=\"100\">\n";
  for (const std::string& line : songLines) text += line + "\n";
  return text + "</songdatabase>\n";
}

inline TZKSongRecord Song(const std::string& name, float bpm) {
  return {name, 0, 0, bpm};
}

// Paths of the files in `folder` whose names start with `prefix`, sorted.
inline std::vector<std::string> FilesStartingWith(const std::string& folder,
                                                  const std::string& prefix) {
  std::vector<std::string> found;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    if (entry.path().filename().string().rfind(prefix, 0) == 0)
      found.push_back(entry.path().string());
  std::sort(found.begin(), found.end());
  return found;
}

class SongDatabaseTest : public testing::Test {
 protected:
  void TearDown() override {
    SaveSongDatabase(dir.File("teardown.vtx"));
    SetSongDatabaseSaveDelayMs(28000);
    TakeSongDatabaseMessage();
  }
  TZKSongRecord Find(const std::string& key) {
    TZKSongRecord record;
    record.name = "<not found>";
    FindSong(key, record);
    return record;
  }

  TempDir dir;
  std::string path = dir.File("db.vtx");
};

}  // namespace vantaro::test
