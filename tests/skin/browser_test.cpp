// The browser control on a real window: rows drawn and chosen with the
// pointer, the keys walking the tree, the wheel and the bar, the node menu's
// commands, and rows and files dropped on a list node.
#include "skin/browser.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <wx/app.h>

#include <memory>
#include <string>
#include <vector>

#include "control/control_table.h"
#include "library/browser_tree.h"
#include "library/list_set.h"
#include "skin/attribute_list.h"
#include "skin/main_window.h"
#include "skin/message_helpers.h"
#include "tests/skin/skin_test_env.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

const wxColour kCursor(0x20, 0xA0, 0x40);

// The main track list: remembers what it was asked to show.
struct FakeView : ListView {
  CZKAbstractList* shown = nullptr;
  void ShowList(CZKAbstractList* list) override { shown = list; }
  CZKAbstractList* ShownList() const override { return shown; }
  void RefreshList() override {}
};

// A tenth of a second of silence: enough for a list to make a row of it.
void WriteWav(const std::string& path) {
  ASSERT_EQ(
      test::RunCommand("ffmpeg -v quiet -f lavfi -i anullsrc=r=44100 -t 0.1 -y '" + path + "'"), 0);
}

class BrowserControlTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* name : {"Database", "Playlists", "home", "music"})
      ASSERT_EQ(mkdir(dir.File(name).c_str(), 0755), 0);
    for (int i = 0; i < 60; ++i)
      ASSERT_EQ(mkdir(dir.File("home/folder" + std::to_string(100 + i)).c_str(), 0755), 0);
    set.Load();
    const std::string home = dir.File("home");
    tree = std::make_unique<BrowserTree>(set, BrowserLabels{}, [home] {
      return std::vector<DiskEntry>{{"", home, false}};
    });
    tree->BuildTree();
    RegisterListView(ListViewRole::kMain, &view);
    window->Show();
    browser = new CZKBrowser(window, 1, -1);
    ZKAttributeList attributes;
    for (const auto& [name, value] : {std::pair{"posx", "10"},
                                      {"posy", "10"},
                                      {"width", "300"},
                                      {"height", "360"},
                                      {"graphics_mode", "1"},
                                      {"cursorcolor", "#20A040"},
                                      {"cursorbordercolor", "#20A040"}})
      attributes.SetText(name, value);
    browser->ApplySkinAttributes(attributes);
    browser->SetTree(tree.get());
    browser->analyze = [this](const std::string& path) { analysed.push_back(path); };
    test::Pump(100);
  }
  void TearDown() override {
    RegisterListView(ListViewRole::kMain, nullptr);
    browser->SetTree(nullptr);
    TheControlTable().Clear();
    window->Destroy();
    test::Pump(50);
  }
  // The middle of node `id`'s row, in the control's pixels.
  wxPoint RowPoint(int id) {
    const int row = tree->IndexOfShown(id) - browser->TopRow();
    return {150, row * browser->RowHeight() + browser->RowHeight() / 2};
  }
  int Named(const std::string& name) {
    for (int id : tree->Shown())
      if (tree->Node(id)->name == name) return id;
    return 0;
  }
  void Key(int code) {
    ControlEvent key;
    key.kind = mt_CHAR;
    key.code = code;
    browser->OnControlEvent(key);
  }

  test::TempDir dir;
  CZKListSet set{dir.File("Database/"), dir.File("Playlists/")};
  std::unique_ptr<BrowserTree> tree;
  FakeView view;
  ZKMainWindow* window = new ZKMainWindow(wxPoint(0, 0), wxSize(400, 400), "browser", nullptr);
  CZKBrowser* browser = nullptr;
  std::vector<std::string> analysed;
};

TEST_F(BrowserControlTest, AClickedRowIsDrawnSelectedAndShowsItsList) {
  const int history = Named("History");
  const wxPoint at = RowPoint(history);
  test::ClickAt(browser, at.x, at.y);
  test::Pump(150);
  EXPECT_EQ(browser->SelectedNode(), history);
  EXPECT_EQ(view.shown, &set.Fixed(kListHistory));
  const wxImage screen = test::Screenshot("browser_selected.png");
  const wxRect box = browser->GetScreenRect();
  const int rowTop = box.y + at.y - browser->RowHeight() / 2;
  EXPECT_GT(test::CountColour(screen, wxRect(box.x, rowTop, 250, browser->RowHeight()), kCursor),
            1000);
  EXPECT_EQ(
      test::CountColour(screen, wxRect(box.x, rowTop + browser->RowHeight() + 1, 250, 60), kCursor),
      0)
      << "one row only";

  // A click on the sign expands without choosing; a folder fills the
  // folder list when chosen.
  const int home = Named("Home");
  test::ClickAt(browser, tree->Node(home)->depth * 14 + 4, RowPoint(home).y);
  test::Pump(100);
  EXPECT_TRUE(tree->Node(home)->expanded);
  EXPECT_EQ(browser->SelectedNode(), history);
  WriteWav(dir.File("home/folder100/a.wav"));
  const int folder = Named("folder100");
  test::ClickAt(browser, RowPoint(folder).x, RowPoint(folder).y);
  test::Pump(100);
  ASSERT_EQ(view.shown, &tree->FolderList());
  tree->FolderList().FinishPendingWork();
  EXPECT_EQ(tree->FolderList().Count(), 1);
}

TEST_F(BrowserControlTest, KeysWalkTheTreeAndTheViewFollowsTheSelection) {
  const int computer = Named("Computer"), home = Named("Home");
  ASSERT_TRUE(browser->SelectNode(computer));
  const struct {
    int key;
    const char* selected;
    bool homeExpanded;
  } steps[] = {
      {316, "Home", false},      // right on an open node: its first child
      {316, "Home", true},       // right on a shut one: open it
      {317, "folder100", true},  // down
      {315, "Home", true},       // up
      {314, "Home", false},      // left on an open node: shut it
      {314, "Computer", false},  // left on a shut one: its parent
      {312, "Genres", false},    // end
      {317, "Genres", false},    // down at the last row stays
      {313, "Computer", false},  // home
      {315, "Computer", false},  // up at the first row stays
  };
  for (const auto& step : steps) {
    Key(step.key);
    SCOPED_TRACE(step.key);
    EXPECT_EQ(tree->Node(browser->SelectedNode())->name, step.selected);
    EXPECT_EQ(tree->Node(home)->expanded, step.homeExpanded);
  }
  Key(13);  // enter: expands and shows
  EXPECT_FALSE(tree->Node(computer)->expanded);
  ControlEvent wheel;  // a controller's wheel: two rows down
  wheel.kind = mt_WHEEL;
  wheel.status = -2;
  browser->OnControlEvent(wheel);
  EXPECT_EQ(tree->Node(browser->SelectedNode())->name, "Database");
}

TEST_F(BrowserControlTest, TheWheelTheBarAndTheKeysReachTheLastRow) {
  ASSERT_TRUE(tree->ToggleNode(Named("Home")));
  browser->Redraw();
  const int rows = static_cast<int>(tree->Shown().size());
  ASSERT_GT(rows, browser->VisibleRows());
  const int last = rows - browser->VisibleRows();
  test::ClickAt(browser, 150, 150, 5);  // wheel down, one notch
  test::Pump(100);
  EXPECT_EQ(browser->TopRow(), 3);
  test::ClickAt(browser, 150, 150, 5, 40);
  test::Pump(150);
  EXPECT_EQ(browser->TopRow(), last) << "never past the end";
  test::ClickAt(browser, 295, 5);  // the bar above the thumb: a page up
  test::Pump(100);
  EXPECT_EQ(browser->TopRow(), last - browser->VisibleRows());
  ASSERT_TRUE(browser->SelectNode(tree->Shown().front()));
  EXPECT_EQ(browser->TopRow(), 0);
  Key(312);
  EXPECT_EQ(browser->TopRow(), last) << "the end key brings the last row in";
  // Collapsing under the scroll keeps the top in range.
  ASSERT_TRUE(tree->ToggleNode(Named("Home")));
  Key(315);
  EXPECT_EQ(browser->TopRow(), 0);
}

TEST_F(BrowserControlTest, TheMenuOffersWhatANodeTakesAndAnalyzeQueuesTheListsFiles) {
  const int user = tree->AddList("Mine");
  browser->Redraw();
  ASSERT_TRUE(tree->ToggleNode(Named("Home")));
  const int folder = Named("folder100");
  const struct {
    int id;
    std::vector<int> commands;
  } cases[] = {
      {Named("Computer"), {kBrowserNewList}},
      {user, {kBrowserNewList, kBrowserRenameList, kBrowserDeleteList, kBrowserAnalyze}},
      {Named("History"), {kBrowserNewList, kBrowserAnalyze}},
      {folder, {kBrowserNewList, kBrowserAddFavourite, kBrowserAnalyze}},
  };
  for (const auto& c : cases) EXPECT_EQ(browser->CommandsFor(c.id), c.commands) << c.id;
  EXPECT_FALSE(browser->RunCommand(kBrowserDeleteList, Named("History"))) << "a fixed list stays";

  ASSERT_TRUE(browser->RunCommand(kBrowserAddFavourite, folder));
  ASSERT_TRUE(tree->ToggleNode(Named("Favourites")));
  int favourite = 0;
  for (int id : tree->Node(Named("Favourites"))->children) favourite = id;
  EXPECT_EQ(browser->CommandsFor(favourite),
            (std::vector<int>{kBrowserNewList, kBrowserRemoveFavourite, kBrowserAnalyze}));

  for (const char* path : {"/music/a.mp3", "/music/b.mp3"}) {
    TZKListElement row;
    row.column[kColPath] = path;
    tree->ListOf(user)->InsertRow(row, -1);
  }
  ASSERT_TRUE(browser->RunCommand(kBrowserAnalyze, user));
  EXPECT_EQ(analysed, (std::vector<std::string>{"/music/a.mp3", "/music/b.mp3"}));

  // Deleting asks; closing the question keeps the list.
  wxTheApp->CallAfter([] { EndOpenMessageBox(); });
  EXPECT_FALSE(browser->RunCommand(kBrowserDeleteList, user));
  EXPECT_NE(tree->Node(user), nullptr);
}

TEST_F(BrowserControlTest, RowsAndFilesLetGoOnAListNodeAreTakenElsewhereNot) {
  CZKAbstractList& source = set.Fixed(kListFirstFixed);
  for (const char* title : {"one", "two", "three"}) {
    TZKListElement row;
    row.column[kColTitle] = title;
    row.selected = true;
    source.InsertRow(row, -1);
  }
  const int target = tree->AddList("Target");
  browser->Redraw();
  CZKAbstractList& list = *tree->ListOf(target);
  EXPECT_TRUE(browser->DropRows(source, {0, 2}, RowPoint(target)));
  ASSERT_EQ(list.Count(), 2);
  EXPECT_EQ(list.GetRow(1)->column[kColTitle], "three");
  EXPECT_FALSE(list.GetRow(0)->selected) << "a copy starts unselected";
  EXPECT_EQ(source.Count(), 3) << "copied, not moved";
  EXPECT_FALSE(browser->DropRows(source, {0}, RowPoint(Named("Computer")))) << "no list there";
  EXPECT_FALSE(browser->DropRows(source, {0}, RowPoint(Named("Database")))) << "onto itself";
  EXPECT_FALSE(browser->DropRows(source, {0}, {150, 1000})) << "below the rows";

  WriteWav(dir.File("music/x.wav"));
  WriteWav(dir.File("music/y.wav"));
  EXPECT_TRUE(browser->DropFiles({dir.File("music/x.wav"), dir.File("music")}, RowPoint(target)));
  list.FinishPendingWork();
  EXPECT_EQ(list.Count(), 2 + 1 + 2) << "a file, and a folder's two files";
  EXPECT_FALSE(browser->DropFiles({dir.File("music/x.wav")}, RowPoint(Named("Home"))));
}

}  // namespace
}  // namespace vantaro
