// The browser's tree without a window: disks from a mount table, folders
// read one level at a time (hidden, sorted, unreadable, looping), the
// user's lists and favourites through a restart, genre counts and the text
// block for controller displays.

#include "library/browser_tree.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "library/list_set.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::TempDir;

void MakeFolders(const TempDir& dir, std::initializer_list<const char*> names) {
  for (const char* name : names) ASSERT_EQ(mkdir(dir.File(name).c_str(), 0755), 0) << name;
}

TEST(MountTable, DisksAreTheRootsAndWhatIsMountedUnderMntAndMedia) {
  const char* table =
      "# a comment line\n"
      "/dev/sda1 / ext4 rw 0 0\n"
      "proc /proc proc rw 0 0\n"
      "tmpfs /media/ram tmpfs rw 0 0\n"               // pseudo even where disks go
      "overlay /mnt/layer overlay rw 0 0\n"           // pseudo
      "/dev/sdb1 /media/USB\\040STICK vfat rw 0 0\n"  // escaped blank
      "/dev/sdc1 /run/media/ann/CARD exfat rw 0 0\n"
      "/dev/sdd1 /mnt/archive ext4 rw 0 0\n"
      "/dev/sda2 /boot ext4 rw 0 0\n"        // not a place for music
      "/dev/sde1 /mnt/archive xfs rw 0 0\n"  // mounted over: counts once
      "short line\n"
      "/dev/sdf1 /media ext4 rw 0 0\n";  // the folder itself is no mount below it
  const std::vector<DiskEntry> want = {{"", "/home/ann", false},
                                       {"", "/", false},
                                       {"USB STICK", "/media/USB STICK", true},
                                       {"archive", "/mnt/archive", false},
                                       {"CARD", "/run/media/ann/CARD", true}};
  EXPECT_EQ(DisksOfMounts(ParseMountTable(table), "/home/ann/"), want);

  TempDir dir;
  test::WriteFile(dir.File("mounts"), table);
  EXPECT_EQ(ReadDisks(dir.File("mounts"), "/home/ann"), want);
  // A table that cannot be read still gives the fixed roots; a home of "/"
  // shows once.
  const std::vector<DiskEntry> roots = {{"", "/", false}};
  EXPECT_EQ(ReadDisks(dir.File("missing"), "/"), roots);
}

class BrowserTreeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(mkdir(dir.File("Database").c_str(), 0755), 0);
    ASSERT_EQ(mkdir(dir.File("Playlists").c_str(), 0755), 0);
    ASSERT_EQ(mkdir(dir.File("home").c_str(), 0755), 0);
    test::WriteFile(dir.File("mounts"), "/dev/sda1 / ext4 rw 0 0\n");
    set.Load();
  }
  BrowserTree& MakeTree() {
    owned = std::make_unique<BrowserTree>(set, BrowserLabels{}, [this] {
      std::vector<DiskEntry> disks = ReadDisks(dir.File("mounts"), dir.File("home"));
      disks.insert(disks.end(), extraDisks.begin(), extraDisks.end());
      return disks;
    });
    owned->BuildTree();
    return *owned;
  }
  // The id of the shown node labelled `name` under `parent` (0: anywhere).
  int Find(const BrowserTree& tree, const std::string& name, int parent = 0) {
    for (int id : tree.Shown())
      if (tree.Node(id)->name == name && (!parent || tree.Node(id)->parent == parent)) return id;
    return 0;
  }
  std::vector<std::string> ChildNames(const BrowserTree& tree, int id) {
    std::vector<std::string> names;
    for (int child : tree.Node(id)->children) names.push_back(tree.Node(child)->name);
    return names;
  }

  TempDir dir;
  CZKListSet set{dir.File("Database/"), dir.File("Playlists/")};
  std::vector<DiskEntry> extraDisks;
  std::unique_ptr<BrowserTree> owned;
};

// The main track list: shows what it is given.
struct Display : ListDisplay {
  CZKAbstractList* shown = nullptr;
  CZKAbstractList* Shown() const override { return shown; }
  void Show(CZKAbstractList* list) override { shown = list; }
};

TEST_F(BrowserTreeTest, ANewOrGoneMountChangesOnlyTheDisks) {
  BrowserTree& tree = MakeTree();
  const int computer = Find(tree, "Computer");
  const int home = Find(tree, "Home");
  EXPECT_EQ(tree.Node(home)->kind, kNodeDisk);
  EXPECT_EQ(ChildNames(tree, computer), (std::vector<std::string>{"Home", "/"}));
  ASSERT_TRUE(tree.ToggleNode(home));  // expanded state must survive a refresh
  EXPECT_FALSE(tree.RefreshDisks()) << "same table, no change";

  test::WriteFile(dir.File("mounts"),
                  "/dev/sda1 / ext4 rw 0 0\n/dev/sdb1 /media/STICK vfat rw 0 0\n");
  ASSERT_TRUE(tree.RefreshDisks());
  EXPECT_EQ(ChildNames(tree, computer), (std::vector<std::string>{"Home", "/", "STICK"}));
  const int stick = Find(tree, "STICK");
  EXPECT_EQ(tree.Node(stick)->kind, kNodeRemovable);
  EXPECT_EQ(Find(tree, "Home"), home) << "a disk that stays keeps its node";
  EXPECT_TRUE(tree.Node(home)->expanded);

  test::WriteFile(dir.File("mounts"), "/dev/sda1 / ext4 rw 0 0\n");
  ASSERT_TRUE(tree.RefreshDisks());
  EXPECT_EQ(tree.Node(stick), nullptr);
  EXPECT_EQ(tree.IndexOfShown(stick), -1);
  EXPECT_EQ(ChildNames(tree, computer), (std::vector<std::string>{"Home", "/"}));
}

TEST_F(BrowserTreeTest, FoldersExpandOneLevelSortedWithoutHiddenOnesAndLeavesStayShut) {
  MakeFolders(dir, {"home/beta", "home/Alpha", "home/.cache", "home/gamma", "home/gamma/inner",
                    "home/Alpha/x"});
  test::WriteFile(dir.File("home/a-file.mp3"), "");
  BrowserTree& tree = MakeTree();
  const int home = Find(tree, "Home");
  ASSERT_TRUE(tree.ToggleNode(home));
  EXPECT_EQ(ChildNames(tree, home), (std::vector<std::string>{"Alpha", "beta", "gamma"}));
  // Until probed every child may expand; then only those with subfolders.
  for (int child : tree.Node(home)->children)
    EXPECT_EQ(tree.Node(child)->kind, kNodeFolderUnprobed);
  while (tree.ProbeSubfolders(std::chrono::microseconds(0))) {
  }
  const int beta = Find(tree, "beta", home);
  EXPECT_EQ(tree.Node(Find(tree, "Alpha", home))->kind, kNodeFolder);
  EXPECT_EQ(tree.Node(beta)->kind, kNodeLeafFolder);
  EXPECT_FALSE(tree.ToggleNode(beta)) << "a leaf folder does not expand";
  EXPECT_FALSE(tree.Node(beta)->expanded);

  // The order shown is depth first; collapsing hides the branch, and a fixed
  // disk keeps what it read.
  // Read in the background, a folder opens only when its level is collected.
  const int gamma = Find(tree, "gamma", home);
  tree.SetBackgroundReads(true);
  ASSERT_TRUE(tree.ToggleNode(gamma));
  ASSERT_TRUE(tree.ReadingFolder(gamma));
  EXPECT_FALSE(tree.Node(gamma)->expanded);
  EXPECT_TRUE(tree.ToggleNode(gamma)) << "a second request waits for the same read";
  ASSERT_TRUE(tree.CollectReads(true));
  EXPECT_FALSE(tree.ReadingFolder(gamma));
  EXPECT_TRUE(tree.Node(gamma)->expanded);
  EXPECT_EQ(tree.IndexOfShown(Find(tree, "inner")), tree.IndexOfShown(gamma) + 1);
  ASSERT_TRUE(tree.ToggleNode(home));
  EXPECT_EQ(tree.IndexOfShown(gamma), -1);
  EXPECT_TRUE(tree.Node(home)->scanned);
  EXPECT_EQ(tree.Node(gamma)->children.size(), 1u);
}

TEST_F(BrowserTreeTest, ARemovableDiskIsReadAgainAfterCollapsing) {
  MakeFolders(dir, {"stick", "stick/one"});
  extraDisks = {{"stick", dir.File("stick"), true}};
  BrowserTree& tree = MakeTree();
  const int stick = Find(tree, "stick");
  ASSERT_TRUE(tree.ToggleNode(stick));
  const int one = tree.Node(stick)->children.at(0);
  MakeFolders(dir, {"stick/two"});  // another card put in
  ASSERT_TRUE(tree.ToggleNode(stick));
  EXPECT_TRUE(tree.Node(stick)->children.empty());
  EXPECT_EQ(tree.Node(one), nullptr);
  ASSERT_TRUE(tree.ToggleNode(stick));
  EXPECT_EQ(ChildNames(tree, stick), (std::vector<std::string>{"one", "two"}));
  EXPECT_NE(tree.Node(stick)->children[0], one) << "ids are never used twice";
}

TEST_F(BrowserTreeTest, AFolderThatCannotBeReadLeavesItsNodeAsItWas) {
  MakeFolders(dir, {"home/gone", "home/swapped", "home/keep"});
  BrowserTree& tree = MakeTree();
  const int home = Find(tree, "Home");
  ASSERT_TRUE(tree.ToggleNode(home));
  ASSERT_EQ(rmdir(dir.File("home/gone").c_str()), 0);
  ASSERT_EQ(rmdir(dir.File("home/swapped").c_str()), 0);
  test::WriteFile(dir.File("home/swapped"), "a file where the folder was");
  for (const char* name : {"gone", "swapped"}) {
    SCOPED_TRACE(name);
    const int id = Find(tree, name, home);
    const BrowserNode before = *tree.Node(id);
    EXPECT_FALSE(tree.ToggleNode(id));
    EXPECT_EQ(tree.Node(id)->kind, before.kind);
    EXPECT_FALSE(tree.Node(id)->expanded);
    EXPECT_FALSE(tree.Node(id)->scanned);
    EXPECT_NE(tree.IndexOfShown(id), -1);
  }
}

TEST_F(BrowserTreeTest, ALinkBackToAnAncestorIsNotDescended) {
  MakeFolders(dir, {"home/a", "home/a/b"});
  ASSERT_EQ(symlink(dir.File("home/a").c_str(), dir.File("home/a/b/up").c_str()), 0);
  ASSERT_EQ(symlink(dir.File("home/a/b/self").c_str(), dir.File("home/a/b/self").c_str()), 0);
  BrowserTree& tree = MakeTree();
  int node = Find(tree, "Home");
  for (const char* name : {"a", "b", "up"}) {
    ASSERT_TRUE(tree.ToggleNode(node)) << name;
    node = Find(tree, name, node);
    ASSERT_NE(node, 0) << name;
  }
  EXPECT_EQ(ChildNames(tree, tree.Node(node)->parent), (std::vector<std::string>{"up"}))
      << "a link to itself is no folder";
  EXPECT_FALSE(tree.ToggleNode(node));
  EXPECT_EQ(tree.Node(node)->kind, kNodeLeafFolder);
  EXPECT_TRUE(tree.Node(node)->children.empty());
}

TEST_F(BrowserTreeTest, TwoHundredListsAtMostAndNewOnesAreNumbered) {
  BrowserTree& tree = MakeTree();
  const int first = tree.AddList("");
  const int second = tree.AddList("New list");
  ASSERT_GT(first, 0);
  EXPECT_EQ(tree.Node(first)->name, "New list1");
  EXPECT_EQ(tree.Node(second)->name, "New list2");
  EXPECT_EQ(tree.Node(tree.AddList("Friday"))->name, "Friday");
  while (set.Count() < CZKListSet::kMaxLists) ASSERT_GT(tree.AddList(""), 0) << set.Count();
  EXPECT_TRUE(tree.TakeMessage().empty());
  const std::size_t shown = tree.Shown().size();
  EXPECT_EQ(tree.AddList("one too many"), -1);
  EXPECT_NE(tree.TakeMessage().find("200"), std::string::npos);
  EXPECT_EQ(set.Count(), CZKListSet::kMaxLists);
  EXPECT_EQ(tree.Shown().size(), shown);
  // Deleting one makes room, and every other node still names its own list.
  ASSERT_TRUE(tree.DeleteList(first));
  EXPECT_GT(tree.AddList("again"), 0);
  for (int id : tree.Shown()) {
    if (tree.Node(id)->listIndex < 0) continue;
    EXPECT_EQ(tree.ListOf(id)->name, tree.Node(id)->path) << tree.Node(id)->name;
  }
}

TEST_F(BrowserTreeTest, ListsAndFavouritesSurviveARestart) {
  MakeFolders(dir, {"home/music"});
  {
    BrowserTree& tree = MakeTree();
    const int keep = tree.AddList("Keep");
    const int renamed = tree.AddList("Old name");
    const int dropped = tree.AddList("Dropped");
    TZKListElement row;
    row.column[kColTitle] = "song";
    for (int id : {keep, renamed, dropped}) tree.ListOf(id)->InsertRow(row, -1);
    ASSERT_TRUE(set.Save(false));  // files of all three exist now
    ASSERT_TRUE(tree.RenameList(renamed, "New name"));
    EXPECT_FALSE(tree.RenameList(keep, "New name")) << "taken";
    EXPECT_FALSE(tree.RenameList(keep, "a/b"));
    ASSERT_TRUE(tree.DeleteList(dropped));
    EXPECT_TRUE(tree.AddFavourite("music", dir.File("home/music"), 0));
    EXPECT_FALSE(tree.AddFavourite("again", dir.File("home/music"), 0));
    ASSERT_TRUE(set.Save(false));
  }
  CZKListSet again(dir.File("Database/"), dir.File("Playlists/"));
  again.Load();
  BrowserTree tree(again, {}, [] { return std::vector<DiskEntry>{}; });
  tree.BuildTree();
  const int lists = Find(tree, "Lists");
  EXPECT_EQ(ChildNames(tree, lists), (std::vector<std::string>{"Keep", "New name"}));
  EXPECT_EQ(tree.ListOf(Find(tree, "New name"))->Count(), 1) << "rows followed the rename";
  const int favourites = Find(tree, "Favourites");
  ASSERT_TRUE(tree.ToggleNode(favourites));
  const int music = Find(tree, "music", favourites);
  ASSERT_NE(music, 0);
  EXPECT_EQ(tree.Node(music)->path, dir.File("home/music"));
  ASSERT_TRUE(tree.RemoveFavourite(music));
  EXPECT_TRUE(again.favourites.empty());
}

TEST_F(BrowserTreeTest, GenresCountTheFullDatabaseListAndFilterIt) {
  CZKAbstractList& database = set.Fixed(kListFirstFixed);
  const struct {
    const char* genre;
    int gnr1, gnr2, gnr3;
  } rows[] = {{"Rock", 17, -1, 17}, {"Rock", 17, 8, -1},    {"Jazz", 8, -1, -1},
              {"", -1, -1, -1},     {"my own", -1, -1, -1}, {"", -1, -1, 99}};
  for (const auto& r : rows) {
    TZKListElement row;
    row.column[kColGenre] = r.genre;
    row.gnr1 = r.gnr1, row.gnr2 = r.gnr2, row.gnr3 = r.gnr3;
    database.InsertRow(row, -1);
  }
  BrowserTree& tree = MakeTree();
  const int genres = Find(tree, "Genres");
  ASSERT_TRUE(tree.ToggleNode(genres));
  EXPECT_EQ(ChildNames(tree, genres),
            (std::vector<std::string>{"All Genres (6)", "#99 (1)", "Jazz (2)", "Rock (2)"}));
  Display display;
  ASSERT_TRUE(tree.ShowList(Find(tree, "Rock (2)"), display));
  EXPECT_EQ(display.shown, &database);
  EXPECT_EQ(database.Count(), 2);
  // Counting again while the filter holds still counts every row.
  ASSERT_TRUE(tree.ToggleNode(genres));
  ASSERT_TRUE(tree.ToggleNode(genres));
  EXPECT_EQ(tree.Node(tree.Node(genres)->children[0])->name, "All Genres (6)");
  ASSERT_TRUE(tree.ShowList(Find(tree, "Jazz (2)"), display));
  EXPECT_EQ(database.Count(), 2);
  ASSERT_TRUE(tree.ShowList(Find(tree, "Database"), display));
  EXPECT_EQ(database.Count(), 6) << "the list itself is shown whole";
}

TEST_F(BrowserTreeTest, ShowingAnotherListStopsTheSearchAndKeepsEachListsScroll) {
  BrowserTree& tree = MakeTree();
  Display display;
  const int a = tree.AddList("a"), b = tree.AddList("b");
  TZKListElement row;
  row.column[kColTitle] = "x";
  tree.ListOf(a)->InsertRow(row, -1);
  ASSERT_TRUE(tree.ShowList(a, display));
  tree.ListOf(a)->StartSearch("nothing matches");
  tree.ListOf(a)->sliderposvert = 7;
  ASSERT_TRUE(tree.ShowList(b, display));
  EXPECT_FALSE(tree.ListOf(a)->Searching());
  EXPECT_EQ(tree.ListOf(a)->Count(), 1);
  EXPECT_EQ(tree.ListOf(a)->sliderposvert, 7);
  EXPECT_FALSE(tree.ShowList(Find(tree, "Computer"), display)) << "a group has no list";
  EXPECT_EQ(display.shown, tree.ListOf(b));
}

TEST_F(BrowserTreeTest, ReportBranchListsPathChildrenAndRows) {
  MakeFolders(dir, {"home/b", "home/a"});
  BrowserTree& tree = MakeTree();
  const auto split = [](std::string block) {  // NULs as "|"
    std::replace(block.begin(), block.end(), '\0', '|');
    return block;
  };
  CZKAbstractList list;
  TZKListElement row;
  row.column[kColArtist] = "Ann";
  row.column[kColTitle] = "Song";
  list.InsertRow(row, -1);
  // A folder not yet expanded is read for the report.
  EXPECT_EQ(split(tree.ReportBranch(Find(tree, "Home"), true, &list)),
            dir.File("home") + "|<DIR>a|<DIR>b|Ann - Song|");
  EXPECT_EQ(split(tree.ReportBranch(Find(tree, "Computer"), false, &list)), "<DISK>Home|<DISK>/|");
  EXPECT_EQ(split(tree.ReportBranch(Find(tree, "Lists"), false, nullptr)), "");
  EXPECT_TRUE(tree.ReportBranch(-5, false, nullptr).empty());
}

}  // namespace
}  // namespace vantaro
