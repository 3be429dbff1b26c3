#include "base/debug_log.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/test_support.h"

namespace vantaro {
namespace {

TEST(DebugLog, LinesGoToTheFileWithThePrefixAndRotateAtOneMegabyte) {
  test::TempDir dir;
  SetDebugLogFolder(dir.Path());
  DebugLog("value %d of %s", 7, "seven");
  EXPECT_EQ(test::ReadFile(DebugLogPath()), "-- xvt: value 7 of seven\n");

  // Grow the file past 1 MB: the next line starts a new file and the old one
  // becomes vantaro.log.1.
  test::WriteFile(dir.File("vantaro.log"), std::string(1024 * 1024 + 10, 'x'));
  DebugLog("after rotation");
  EXPECT_EQ(test::ReadFile(dir.File("vantaro.log")), "-- xvt: after rotation\n");
  EXPECT_EQ(std::filesystem::file_size(dir.File("vantaro.log.1")), 1024u * 1024 + 10);

  SetDebugLogFolder("");
  DebugLog("not in the file");
  EXPECT_EQ(test::ReadFile(dir.File("vantaro.log")), "-- xvt: after rotation\n");
}

}  // namespace
}  // namespace vantaro
