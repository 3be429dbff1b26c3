#pragma once
// A temporary data folder with a Stripes folder and a loaded song database,
// saved and closed at the end of each test.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "library/song_database.h"
#include "tests/support/test_support.h"

namespace vantaro::test {

class AnalysisFolder : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directory(Stripes());
    LoadSongDatabase(dir.File("db.vtx"));
  }
  void TearDown() override { SaveSongDatabase(dir.File("db.vtx")); }
  std::string Stripes() const { return dir.Path() + "/Stripes/"; }
  TempDir dir;
};

}  // namespace vantaro::test
