#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "app/data_folders.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

namespace fs = std::filesystem;

std::string Slurp(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

TEST(Install, PutsProgramDataAndLauncherInTheXdgPlacesAndTheProgramFindsItsData) {
  test::TempDir prefix, documents;
  const std::string install = std::string(VANTARO_CMAKE) + " --install " VANTARO_BINARY_DIR +
                              " --prefix " + prefix.Path() + " > /dev/null";
  ASSERT_EQ(std::system(install.c_str()), 0);
  const std::string data = prefix.File("share/vantaro/");
  for (const std::string& file :
       {prefix.File("bin/vantaro"), data + "skins/vantaro-1280x800.xml",
        data + "skins/vantaro-1280x800.png", data + "skins/vantaro-1024x600.png",
        data + "languages/english.xml", data + "samples/README.txt",
        prefix.File("share/icons/hicolor/scalable/apps/vantaro.svg")})
    EXPECT_TRUE(fs::is_regular_file(file)) << file;
  EXPECT_NE(fs::status(prefix.File("bin/vantaro")).permissions() & fs::perms::owner_exec,
            fs::perms::none);
  // Only what the build made: no sources, no build rules.
  EXPECT_FALSE(fs::exists(data + "skins/vantaro-1280x800.svg"));

  const std::string entry = prefix.File("share/applications/vantaro.desktop");
  EXPECT_EQ(std::system((std::string(VANTARO_DESKTOP_FILE_VALIDATE) + " " + entry).c_str()), 0);
  const std::string text = Slurp(entry);
  EXPECT_NE(text.find("\nExec=vantaro %F\n"), std::string::npos);
  EXPECT_NE(text.find("\nCategories=AudioVideo;Audio;Player;\n"), std::string::npos);
  EXPECT_NE(text.find("\nIcon=vantaro\n"), std::string::npos);

  // Installed, the data is under the prefix; in the build tree, beside the
  // program.
  PlatformFolders platform{prefix.File("bin"), documents.Path(), "/nowhere", "/tmp"};
  EXPECT_EQ(BuildDataFolders(platform, nullptr).executable, data);
  platform.executable = VANTARO_BINARY_DIR;
  EXPECT_EQ(BuildDataFolders(platform, nullptr).executable, VANTARO_BINARY_DIR "/");
}

}  // namespace
}  // namespace vantaro
