#pragma once
// Helpers of the song database tests: a folder with a db.vtx, written from
// song lines, and a fixture that always leaves the process without a table
// and without a running saver.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "library/song_database.h"
#include "tests/support/test_support.h"

namespace vantaro::test {

inline std::string DbFileWith(const std::vector<std::string>& songLines) {
  std::string text =
      "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?>\n"
      "<!-- test -->\n<songdatabase version=\"100\">\n";
  for (const std::string& line : songLines) text += line + "\n";
  return text + "</songdatabase>\n";
}

inline TZKSongRecord Song(const std::string& name, float bpm) {
  TZKSongRecord record;
  record.name = name;
  record.bpm = bpm;
  return record;
}

class SongDatabaseTest : public testing::Test {
 protected:
  void TearDown() override {
    SaveSongDatabase(dir.File("teardown.vtx"));
    SetSongDatabaseSaveDelayMs(28000);
    TakeSongDatabaseMessage();
  }
  // Writes `songLines` as db.vtx and loads it; returns LoadSongDatabase's result.
  bool LoadLines(const std::vector<std::string>& songLines) {
    WriteFile(path, DbFileWith(songLines));
    return LoadSongDatabase(path);
  }
  // Saves the table to db.vtx (destroying it) and returns the file.
  std::string SaveAndRead() {
    EXPECT_TRUE(SaveSongDatabase(path));
    return ReadFile(path);
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
