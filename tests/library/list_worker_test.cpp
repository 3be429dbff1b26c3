// The background fill: folders of hundreds of files, a full request ring,
// and Clear, save and destruction while the worker is busy. Also run under
// the thread sanitizer (label tsan).

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <set>
#include <string>
#include <thread>

#include "library/abstract_list.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::TempDir;

// A tree of short WAV files: `top` in the folder, `deep` in a subfolder,
// two in a hidden folder, and a link from the subfolder back to the top.
struct MusicTree {
  MusicTree(int top, int deep) {
    const std::string root = dir.Path();
    const std::string script =
        "cd '" + root + "' && sox -n -r 44100 -c 2 one.wav trim 0 0.05 && mkdir sub .hidden && " +
        "for i in $(seq 1 " + std::to_string(top) + "); do cp one.wav \"Artist - Top $i.wav\"; " +
        "done && for i in $(seq 1 " + std::to_string(deep) +
        "); do cp one.wav \"sub/Deep $i.wav\"; done && cp one.wav .hidden/a.wav && " +
        "cp one.wav .hidden/b.wav && ln -s .. sub/loop && echo text > notes.txt && rm one.wav";
    ok = test::RunCommand(script) == 0;
  }
  TempDir dir;
  bool ok = false;
};

void DrainUntilDone(CZKAbstractList& list) {
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::minutes(3);
  while (list.Filling() && std::chrono::steady_clock::now() < give_up) {
    list.DrainFinishedRows();
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  list.DrainFinishedRows();
}

class ListWorkerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!test::HaveProgram("sox")) GTEST_SKIP() << "sox missing";
  }
};

TEST_F(ListWorkerTest, FillsAFolderTreeOnceWithOneRedraw) {
  MusicTree tree(300, 40);
  ASSERT_TRUE(tree.ok);
  CZKAbstractList list;
  int changes = 0;
  list.SetCallbacks([&](int, int, int) { ++changes; }, nullptr, -1);
  list.AddFolder(tree.dir.Path() + "/", true, true);
  DrainUntilDone(list);
  // The link back up is not followed twice, the hidden folder not at all.
  ASSERT_EQ(list.Count(), 340);
  std::set<std::string> paths;
  for (int i = 0; i < list.Count(); ++i) paths.insert(list.GetRow(i)->column[kColPath]);
  EXPECT_EQ(paths.size(), 340u);
  // Subfolders first, then the folder's own files.
  EXPECT_EQ(list.GetRow(0)->column[kColTitle], "Deep 1");
  EXPECT_EQ(list.GetRow(339)->column[kColArtist], "Artist");
  EXPECT_EQ(changes, 1);

  CZKAbstractList flat;
  flat.AddFolder(tree.dir.Path(), false, false);  // at once, this folder only
  EXPECT_EQ(flat.Count(), 300);
}

// More requests than the ring holds: the list keeps the rest and none is
// lost. CD track paths need no file, so this is fast.
TEST_F(ListWorkerTest, AFullRequestRingLosesNothing) {
  CZKAbstractList list;
  const int requests = static_cast<int>(CZKListWorker::kRequestCapacity) + 700;
  for (int i = 0; i < requests; ++i)
    list.AddFile("/cd/DISC0001Track" + std::to_string(100000 + i) + ".cda$", true);
  DrainUntilDone(list);
  ASSERT_EQ(list.Count(), requests);
  EXPECT_EQ(list.GetRow(0)->column[kColTitle], "Track100000");
  EXPECT_EQ(list.GetRow(requests - 1)->column[kColTitle],
            "Track" + std::to_string(100000 + requests - 1));
}

TEST_F(ListWorkerTest, ClearSaveAndDestroyDuringAFill) {
  MusicTree tree(250, 0);
  ASSERT_TRUE(tree.ok);
  {
    CZKAbstractList list;
    list.AddFolder(tree.dir.Path(), false, true);
    list.DrainFinishedRows();
    list.Clear();
    EXPECT_EQ(list.Count(), 0);
    EXPECT_FALSE(list.Filling());
    list.AddFolder(tree.dir.Path(), false, true);
  }  // destroyed while the worker reads
  CZKAbstractList list;
  list.AddFolder(tree.dir.Path(), false, true);
  const std::string saved = tree.dir.File("saved.vtl");
  ASSERT_TRUE(list.SaveListContents(saved, false));
  EXPECT_EQ(ReadListFile(saved).rows.size(), 250u);
  EXPECT_EQ(list.Count(), 250);
}

}  // namespace
}  // namespace vantaro
