// The list set on disk: lists.vtx, favs.vtx and the list files through a
// save and a load, playlists no index names, and broken, foreign, hostile
// and half-written files.

#include "library/list_set.h"

#include <dirent.h>
#include <errno.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/data_file.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::TempDir;

// Files in `folder` whose names start with `prefix`.
std::vector<std::string> FilesStartingWith(const std::string& folder, const std::string& prefix) {
  std::vector<std::string> found;
  DIR* directory = opendir(folder.c_str());
  while (const dirent* entry = directory ? readdir(directory) : nullptr)
    if (std::string(entry->d_name).rfind(prefix, 0) == 0) found.push_back(entry->d_name);
  if (directory) closedir(directory);
  return found;
}

TZKListElement Row(const std::string& title) {
  TZKListElement row;
  row.column[kColTitle] = title;
  row.column[kColPath] = "/music/" + title + ".mp3";
  return row;
}

class ListSetTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(
        test::RunCommand("mkdir -p '" + dir.File("Database") + "' '" + dir.File("Playlists") + "'"),
        0);
  }
  CZKListSet MakeSet() { return CZKListSet(dir.File("Database/"), dir.File("Playlists/")); }
  std::string Db(const std::string& name) { return dir.File("Database/" + name); }
  std::string Pl(const std::string& name) { return dir.File("Playlists/" + name); }
  TempDir dir;
};

TEST_F(ListSetTest, EverythingComesBackAndHistoryFollowsTheOption) {
  {
    CZKListSet set = MakeSet();
    set.Load();
    EXPECT_EQ(set.Count(), 4);  // the fixed lists
    ListSlot* user = set.AddUserList("Friday Set");
    ASSERT_NE(user, nullptr);
    for (const char* title : {"c", "a", "b"}) user->list->InsertRow(Row(title), -1);
    user->list->SortByColumn(kColTitle, false);
    user->list->SetMainCursor(2);
    user->list->SetNextCursor(1);
    user->list->columns[kColGenre].width = 10;  // squeezed: comes back at its default
    user->list->columns[kColGenre].visible = 0;
    user->list->columns[kColAlbum].width = 180;
    user->list->columns[kColAlbum].visible = 0;
    user->columnsortblocked = 1;
    EXPECT_EQ(set.AddUserList("Friday Set")->name, "playlist1");  // taken: a new name
    set.Fixed(kListHistory).InsertRow(Row("played"), -1);
    set.Fixed(kListDeckAdds).InsertRow(Row("queued"), -1);
    set.favourites.push_back({"Crates", "/music/crates", 2});
    ASSERT_TRUE(set.Save(false));
  }
  CZKListSet set = MakeSet();
  set.Load();
  EXPECT_EQ(set.TakeMessage(), "");
  ASSERT_EQ(set.Count(), 6);
  const int index = set.Find("Friday Set", kListUser);
  ASSERT_GE(index, 0);
  ListSlot& user = set.Slot(index);
  CZKAbstractList& list = *user.list;
  ASSERT_EQ(list.Count(), 3);
  EXPECT_EQ(list.GetRow(0)->column[kColTitle], "a");
  EXPECT_EQ(list.MainCursor(), 2);
  EXPECT_EQ(list.NextCursor(), 1);
  EXPECT_EQ(list.SortColumn(), kColTitle);
  EXPECT_EQ(list.columns[kColTitle].sortMark, 1);
  EXPECT_EQ(list.columns[kColGenre].width, kDefaultColumnWidths[kColGenre]);
  EXPECT_EQ(list.columns[kColGenre].visible, 1);
  EXPECT_EQ(list.columns[kColAlbum].width, 180);
  EXPECT_EQ(list.columns[kColAlbum].visible, 0);
  EXPECT_EQ(user.columnsortblocked, 1);
  EXPECT_EQ(set.Fixed(kListHistory).Count(), 0);  // not remembered
  EXPECT_EQ(set.Fixed(kListDeckAdds).Count(), 1);
  ASSERT_EQ(set.favourites.size(), 1u);
  EXPECT_EQ(set.favourites[0].path, "/music/crates");
  EXPECT_EQ(set.favourites[0].type, 2);

  set.Fixed(kListHistory).InsertRow(Row("kept"), -1);
  ASSERT_TRUE(set.Save(true));
  CZKListSet again = MakeSet();
  again.Load();
  EXPECT_EQ(again.Fixed(kListHistory).Count(), 1);
}

// Every playlist file the index does not name becomes a list; an M3U is
// imported once, saved as .vtl, and never written.
TEST_F(ListSetTest, PlaylistsTheIndexDoesNotNameAreKept) {
  test::WriteFile(dir.File("x.cda$"), "");
  const std::string m3u = "#EXTM3U\n/cd/DISC0001One.cda$\n/cd/DISC0001Two.cda$\n";
  test::WriteFile(Pl("Imported.m3u"), m3u);
  test::WriteFile(Pl("Other.M3U8"), "/cd/DISC0001Three.cda$\n");
  {
    CZKListSet source = MakeSet();
    ListSlot* slot = source.AddUserList("Lost");
    slot->list->InsertRow(Row("survivor"), -1);
    ASSERT_TRUE(source.Save(true));
  }
  test::WriteFile(Pl("Lost.m3u"), "/cd/DISC0001Dup.cda$\n");  // a .vtl of that name wins
  ASSERT_EQ(unlink(Db("lists.vtx").c_str()), 0);

  for (int round = 0; round < 2; ++round) {
    SCOPED_TRACE(round);
    CZKListSet set = MakeSet();
    set.Load();
    ASSERT_EQ(set.Count(), 7);
    const int imported = set.Find("Imported", kListUser);
    ASSERT_GE(imported, 0);
    set.Slot(imported).list->FinishPendingWork();
    ASSERT_EQ(set.Slot(imported).list->Count(), 2);
    EXPECT_EQ(set.Slot(imported).list->GetRow(1)->column[kColTitle], "Two");
    ASSERT_GE(set.Find("Other", kListUser), 0);
    const int lost = set.Find("Lost", kListUser);
    ASSERT_GE(lost, 0);
    ASSERT_EQ(set.Slot(lost).list->Count(), 1);
    EXPECT_EQ(set.Slot(lost).list->GetRow(0)->column[kColTitle], "survivor");
    ASSERT_TRUE(set.Save(true));
  }
  EXPECT_EQ(test::ReadFile(Pl("Imported.m3u")), m3u);
  EXPECT_EQ(ReadListFile(Pl("Imported.vtl")).rows.size(), 2u);
}

// A file that cannot be used whole is kept byte for byte beside its place
// and named in the message; what could be read stays.
TEST_F(ListSetTest, BrokenForeignAndHostileFilesAreMovedAside) {
  {
    CZKListSet source = MakeSet();
    for (const char* name : {"One", "Two"}) {
      ListSlot* slot = source.AddUserList(name);
      slot->list->InsertRow(Row("first"), -1);
      slot->list->InsertRow(Row("second"), -1);
    }
    source.favourites.push_back({"F", "/f", 0});
    ASSERT_TRUE(source.Save(true));
  }
  const std::string index = test::ReadFile(Db("lists.vtx"));
  const std::string one = test::ReadFile(Pl("One.vtl"));
  const struct {
    const char* what;
    std::string file;  // relative to the data root
    std::string text;
    int listsKept;  // user lists after the load
    int rowsOfOne;
  } cases[] = {
      {"torn index", "Database/lists.vtx", index.substr(0, index.find("name=\"Two\"") + 8), 2, 2},
      {"foreign index", "Database/lists.vtx", "<songdatabase version=\"100\"/>", 2, 2},
      {"hostile index", "Database/lists.vtx",
       "<!DOCTYPE l [<!ENTITY x SYSTEM \"/etc/passwd\">]><lists><list name=\"&x;\"/></lists>", 2,
       2},
      {"torn list", "Playlists/One.vtl", one.substr(0, one.rfind("titl=")), 2, 1},
      {"foreign list", "Playlists/One.vtl", "<favs/>", 2, 0},
      {"torn favourites", "Database/favs.vtx", "<favs version=\"100\"><fav name=\"F\" pa", 2, 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const std::string path = dir.File(c.file);
    const std::string folder = path.substr(0, path.rfind('/'));
    const std::string name = path.substr(path.rfind('/') + 1);
    test::WriteFile(path, c.text);
    CZKListSet set = MakeSet();
    set.Load();
    const std::vector<std::string> aside = FilesStartingWith(folder, name + ".broken-");
    ASSERT_EQ(aside.size(), 1u);
    EXPECT_EQ(test::ReadFile(folder + "/" + aside[0]), c.text);
    EXPECT_NE(set.TakeMessage().find(path), std::string::npos);
    EXPECT_EQ(set.Count() - 4, c.listsKept);
    const int slot = set.Find("One", kListUser);
    ASSERT_GE(slot, 0);
    EXPECT_EQ(set.Slot(slot).list->Count(), c.rowsOfOne);
    // Put everything back for the next case.
    ASSERT_EQ(unlink((folder + "/" + aside[0]).c_str()), 0);
    set.Slot(slot).list->Clear();
    for (const char* title : {"first", "second"}) set.Slot(slot).list->InsertRow(Row(title), -1);
    if (set.favourites.empty()) set.favourites.push_back({"F", "/f", 0});
    ASSERT_TRUE(set.Save(true));
  }
}

// A save cut short by the file system leaves the old index as it was.
TEST_F(ListSetTest, AFailedWriteKeepsTheOldFile) {
  CZKListSet set = MakeSet();
  set.AddUserList("Kept");
  ASSERT_TRUE(set.Save(true));
  const std::string before = test::ReadFile(Db("lists.vtx"));
  set.AddUserList("New");
  SetFileStepHookForTests([](FileStep step, const std::string&, const std::string& to) {
    return step == FileStep::kRename && to.find("lists.vtx") != std::string::npos ? EIO : 0;
  });
  std::string error;
  EXPECT_FALSE(set.Save(true, &error));
  SetFileStepHookForTests(nullptr);
  EXPECT_NE(error.find("lists.vtx"), std::string::npos);
  EXPECT_EQ(test::ReadFile(Db("lists.vtx")), before);
  EXPECT_TRUE(FilesStartingWith(dir.File("Database"), "lists.vtx.tmp").empty());
}

}  // namespace
}  // namespace vantaro
