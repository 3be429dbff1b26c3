// The lists through a start and a SIGTERM close of the real program: a torn
// lists.vtx is kept byte for byte, an extended M3U in Playlists becomes a
// list saved as .vtl with its tracks' tags and exact paths, and the missing
// entry is named in the log.
#include <dirent.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <string>

#include "library/list_file.h"
#include "tests/app/app_process.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

std::string FileStartingWith(const std::string& folder, const std::string& prefix) {
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    if (name.rfind(prefix, 0) == 0) return entry.path().string();
  }
  return {};
}

TEST(ListsStart, TornIndexAndAnM3uSurviveAStartAndASigtermClose) {
  if (!test::HaveProgram("ffmpeg")) GTEST_SKIP() << "ffmpeg missing";
  test::TempDir home;
  const std::string root = home.Path() + "/Vantaro/";
  std::filesystem::create_directories(root + "Database");
  std::filesystem::create_directories(root + "Playlists");
  std::filesystem::create_directories(home.Path() + "/music");
  const std::string plain = home.Path() + "/music/plain.mp3";
  const std::string accented = home.Path() + "/music/Ærø Ünïcødé Śong.flac";
  for (const auto& [path, tags] :
       {std::pair{plain, "-metadata title=First -metadata artist=Alpha"},
        std::pair{accented, "-metadata title='Żółw' -metadata artist='Ёж'"}})
    ASSERT_EQ(test::RunCommand("ffmpeg -nostdin -loglevel error -y -f lavfi -i sine=d=1 " +
                               std::string(tags) + " '" + path + "'"),
              0);
  const std::string torn = "\xEF\xBB\xBF<?xml version=\"1.0\"?>\n<lists version=\"100\">\n<list na";
  test::WriteFile(root + "Database/lists.vtx", torn);
  test::WriteFile(root + "Playlists/Friday.m3u",
                  "#EXTM3U\n#EXTINF:1,Alpha - First\n../../music/plain.mp3\n"
                  "#EXTINF:1,Nobody - Gone\n/nowhere/missing.mp3\n" +
                      accented + "\n");

  test::XvfbServer x(1280, 800);
  test::AppProcess app(x.Display(), home.Path(), home.File("out.txt"));
  ASSERT_TRUE(app.WaitForOutput("screen tick: first tick handled")) << app.Output();
  app.Signal(SIGTERM);
  ASSERT_EQ(app.WaitForExit(), 0) << app.Output();
  EXPECT_NE(app.Output().find("missing entry /nowhere/missing.mp3"), std::string::npos)
      << app.Output();

  const std::string aside = FileStartingWith(root + "Database", "lists.vtx.broken-");
  ASSERT_FALSE(aside.empty());
  EXPECT_EQ(test::ReadFile(aside), torn);
  EXPECT_NE(test::ReadFile(root + "Database/lists.vtx").find("name=\"Friday\" type=\"0\""),
            std::string::npos);
  const ListFileContents list = ReadListFile(root + "Playlists/Friday.vtl");
  ASSERT_EQ(list.status, ListFileStatus::kLoaded);
  ASSERT_EQ(list.rows.size(), 2u);
  EXPECT_EQ(list.rows[0].column[kColPath], root + "Playlists/../../music/plain.mp3");
  EXPECT_EQ(list.rows[0].column[kColTitle], "First");
  EXPECT_EQ(list.rows[1].column[kColPath], accented);
  EXPECT_EQ(list.rows[1].column[kColTitle], "Żółw");
  EXPECT_EQ(list.rows[1].column[kColArtist], "Ёж");
}

}  // namespace
}  // namespace vantaro
