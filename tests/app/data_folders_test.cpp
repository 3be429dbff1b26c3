#include "app/data_folders.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/test_support.h"

namespace vantaro {
namespace {

namespace fs = std::filesystem;

int g_rootFailures = 0;
void CountRootFailure() {
  ++g_rootFailures;
}

struct FolderRig {
  FolderRig() {
    fs::create_directories(program.File("samples/kits"));
    test::WriteFile(program.File("samples/horn.wav"), "horn");
    test::WriteFile(program.File("samples/kits/kick.wav"), "kick");
    platform.executable = program.Path() + "/";
    platform.documents = documents.Path();
    platform.userData = "/nowhere/user";
    platform.temporary = "/tmp";
  }
  test::TempDir program, documents;
  PlatformFolders platform;
};

TEST(DataFolders, FormsEveryFolderWithATrailingSlashAndCreatesAllButEffects) {
  FolderRig rig;
  g_rootFailures = 0;
  const DataFolders folders = BuildDataFolders(rig.platform, &CountRootFailure);
  const std::string root = rig.documents.Path() + "/Vantaro/";
  EXPECT_EQ(folders.dataRoot, root);
  EXPECT_EQ(folders.executable, rig.program.Path() + "/");
  EXPECT_EQ(folders.userData, "/nowhere/user/");
  EXPECT_EQ(folders.stripes, root + "Stripes/");
  EXPECT_EQ(folders.effects, root + "Effects/");
  for (const std::string* folder : {&folders.stripes, &folders.database, &folders.settings,
                                    &folders.playlists, &folders.skins, &folders.samples})
    EXPECT_TRUE(fs::is_directory(*folder)) << *folder;
  EXPECT_FALSE(fs::exists(folders.effects));
  EXPECT_TRUE(folders.dataRootUsable);
  EXPECT_EQ(g_rootFailures, 0);

  // Samples seeded recursively on creation.
  EXPECT_TRUE(folders.samplesCreated);
  EXPECT_EQ(test::ReadFile(folders.samples + "horn.wav"), "horn");
  EXPECT_EQ(test::ReadFile(folders.samples + "kits/kick.wav"), "kick");
}

TEST(DataFolders, ASecondStartNeverOverwritesTheUsersSamples) {
  FolderRig rig;
  DataFolders folders = BuildDataFolders(rig.platform, nullptr);
  test::WriteFile(folders.samples + "horn.wav", "my own horn");
  fs::remove(folders.samples + "kits/kick.wav");
  folders = BuildDataFolders(rig.platform, nullptr);
  EXPECT_FALSE(folders.samplesCreated);
  EXPECT_EQ(test::ReadFile(folders.samples + "horn.wav"), "my own horn");
  EXPECT_FALSE(fs::exists(folders.samples + "kits/kick.wav")) << "a deleted sample stays deleted";
}

// A root that cannot be made (here a file stands in its place) is reported
// once; the folders are still formed, so the later reads find nothing.
TEST(DataFolders, ARootThatCannotBeMadeIsReportedOnceAndStartUpGoesOn) {
  FolderRig rig;
  test::WriteFile(rig.documents.File("Vantaro"), "not a folder");
  g_rootFailures = 0;
  const DataFolders folders = BuildDataFolders(rig.platform, &CountRootFailure);
  EXPECT_EQ(g_rootFailures, 1);
  EXPECT_FALSE(folders.dataRootUsable);
  EXPECT_EQ(folders.settings, rig.documents.Path() + "/Vantaro/Settings/");
}

}  // namespace
}  // namespace vantaro
