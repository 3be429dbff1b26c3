// The skin list and the choice of the skin at start-up.
#include "skin/skin_list.h"

#include <gtest/gtest.h>

#include "tests/skin/test_skin_files.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::SkinXml;

TEST(SkinList, ListsNamedSkinsWithAPictureInNameOrder) {
  test::TempDir dir;
  test::WriteSkin(dir.Path(), "b", SkinXml("", 2, "Bee", 1024, 600));
  test::WriteSkin(dir.Path(), "a", SkinXml("", 2, "Ay", 0, 0));
  test::WriteSkin(dir.Path(), "nopicture", SkinXml("", 2, "N"), 64, 64, false);
  test::WriteSkin(dir.Path(), "noname", "<skin><window action=\"main\"/></skin>");
  test::WriteSkin(dir.Path(), "broken", "<skin skinname=\"X\"");
  std::vector<SkinListEntry> list;
  ScanSkins(dir.Path() + "/", &list);
  ScanSkins(dir.File("absent"), &list);
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(list[0].displayName, "Ay (800x600)") << "sizes below 10 count as 800 x 600";
  EXPECT_EQ(list[1].displayName, "Bee (1024x600)");
  EXPECT_EQ(list[1].path, dir.File("b.xml"));
}

TEST(SkinList, StartUpTakesTheLargestDefaultSizeThatFitsBothWays) {
  std::vector<SkinListEntry> list;
  for (auto [w, h] : {std::pair{1280, 800}, {1024, 600}, {1920, 1080}, {1366, 768}}) {
    const std::string size = std::to_string(w) + "x" + std::to_string(h);
    list.push_back({"/s/vantaro-" + size + ".xml", kDefaultSkinName, "", w, h});
  }
  list.push_back({"/s/other.xml", "Other", "", 800, 600});
  const struct {
    int width, height;
    const char* first;
  } screens[] = {
      {1280, 720, "/s/vantaro-1024x600.xml"},    // 1280 x 800 is too high
      {1280, 800, "/s/vantaro-1280x800.xml"},    //
      {1440, 900, "/s/vantaro-1366x768.xml"},    // no 1440 skin
      {2560, 1440, "/s/vantaro-1920x1080.xml"},  //
      {800, 480, "/s/vantaro-1024x600.xml"},     // nothing fits: the smallest
  };
  for (const auto& screen : screens) {
    const auto order = StartupSkinOrder(list, "", screen.width, screen.height);
    ASSERT_EQ(order.size(), list.size());
    EXPECT_EQ(order[0], screen.first) << screen.width << "x" << screen.height;
    EXPECT_EQ(order.back(), "/s/other.xml") << "other skins come last";
  }
  test::TempDir dir;
  const std::string chosen = test::WriteSkin(dir.Path(), "mine", SkinXml(""));
  EXPECT_EQ(StartupSkinOrder(list, chosen, 1280, 800)[0], chosen) << "skinf1 first";
  EXPECT_EQ(StartupSkinOrder(list, dir.File("gone.xml"), 1280, 800)[0], "/s/vantaro-1280x800.xml")
      << "a skinf1 that is gone is passed over";
}

}  // namespace
}  // namespace vantaro
