// Karaoke archives as hostile input: entries that climb out or hide behind a
// link, two decks unpacking the same names, archives that unpack to more than
// the cap, and the start-up sweep of what dead runs left behind.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <string>

#include "codecs/codec_set.h"
#include "tests/codecs/codec_test_files.h"

namespace vantaro {
namespace {

namespace fs = std::filesystem;

// A mono 16-bit WAV of `frames` frames.
std::string Wav(int frames) {
  return test::WavFile(1, 1, 44100, 16, frames * 2, std::string(frames * 2, '\x10'));
}

// Archives in `dir`; their files unpack below `temporary` (TMPDIR).
class ArchiveTest : public ::testing::Test {
 protected:
  void SetUp() override { setenv("TMPDIR", temporary.Path().c_str(), 1); }
  void TearDown() override { setenv("TMPDIR", oldTmp.c_str(), 1); }
  // Opens an archive of `entries` through `set`: the frames opened, -1 when
  // refused.
  int Open(CCodecSet& set, const std::vector<test::ZipEntry>& entries) {
    EXPECT_TRUE(test::MakeZip(dir.File("a.zip"), entries));
    TCodecFormat format{44100, 2, 32, 32, 0, 0};
    return set.Open(dir.File("a.zip"), format, kCodecRead, 1024) ? format.frames : -1;
  }
  // Everything below `folder`, as paths relative to it.
  static std::set<std::string> Tree(const test::TempDir& folder) {
    std::set<std::string> names;
    for (const auto& item : fs::recursive_directory_iterator(folder.Path()))
      names.insert(item.path().lexically_relative(folder.Path()).string());
    return names;
  }

  const std::string oldTmp = std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp";
  test::TempDir dir, temporary;
  test::LogCapture log;
};

// Each archive unpacks into a folder of its own in TMPDIR, mode 0700; a name
// with a folder part is refused with a log line, a name that is a link in
// TMPDIR does not reach the link's target, and nothing stays after Close.
TEST_F(ArchiveTest, HostileNamesStayInsideThePrivateFolder) {
  test::WriteFile(dir.File("victim.wav"), "precious");
  fs::create_symlink(dir.File("victim.wav"), temporary.File("link.wav"));
  const struct {
    std::vector<test::ZipEntry> entries;
    int frames;
    const char* logged;
  } cases[] = {{{{"../x.wav", Wav(300)}, {"good.wav", Wav(500)}}, 500, "\"../x.wav\" is not"},
               {{{"sub/x.wav", Wav(300)}}, -1, "holds no file to unpack"},
               {{{"link.wav", Wav(400)}}, 400, ""}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.entries[0].name);
    CCodecSet set(30);
    ASSERT_EQ(Open(set, c.entries), c.frames);
    const fs::path folder = fs::path(set.TempPath()).parent_path();
    EXPECT_TRUE(c.frames < 0 || (folder.parent_path() == temporary.Path() &&
                                 folder.filename().string().starts_with("vantaro-unzip-") &&
                                 fs::status(folder).permissions() == fs::perms::owner_all));
    EXPECT_NE(log.Text().find(c.logged), std::string::npos) << log.Text();
    set.Close();
    EXPECT_EQ(Tree(temporary), std::set<std::string>{"link.wav"});
    EXPECT_EQ(Tree(dir), (std::set<std::string>{"a.zip", "victim.wav"}));
    EXPECT_EQ(test::ReadFile(dir.File("victim.wav")), "precious");
  }
}

TEST_F(ArchiveTest, TwoDecksUnpackingTheSameNamesKeepTheirOwnFiles) {
  CCodecSet deckA(30), deckB(30);
  ASSERT_EQ(Open(deckA, {{"song.wav", Wav(300)}}), 300);
  ASSERT_EQ(Open(deckB, {{"song.wav", Wav(700)}}), 700);
  EXPECT_NE(deckA.TempPath(), deckB.TempPath());
  deckA.Close();
  std::vector<float> buffer(1024 * 2);
  EXPECT_EQ(deckB.GetFloatSamples(buffer.data(), 1024, 0), 700) << "A's close took B's file";
  deckB.Close();
  EXPECT_TRUE(fs::is_empty(temporary.Path()));
}

// Zip bombs: stated sizes past the cap, alone or only together, are refused
// before anything is written; data longer than its stated size (and than the
// cap) is refused while unpacking. Nothing stays behind.
TEST_F(ArchiveTest, ArchivesPastTheCapAreRefused) {
  const struct {
    std::vector<test::ZipEntry> entries;
    int64_t limit;
    const char* logged;
  } cases[] = {{{{"bomb.wav", Wav(100), int64_t{1} << 30}},
                CUnpackedArchive::kDefaultLimitBytes,
                "more than the"},
               {{{"long.wav", Wav(100) + std::string(100000, '\0'), 1000}}, 50000, "larger than"},
               {{{"a.wav", Wav(30000)}, {"b.wav", Wav(30000)}}, 100000, "more than the"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.entries[0].name);
    ASSERT_TRUE(test::MakeZip(dir.File("a.zip"), c.entries));
    CUnpackedArchive archive;
    EXPECT_EQ(archive.Unpack(dir.File("a.zip"), temporary.Path() + "/", c.limit), "");
    EXPECT_NE(log.Text().find(c.logged), std::string::npos) << log.Text();
    EXPECT_TRUE(fs::is_empty(temporary.Path()));
  }
  CCodecSet set(30);
  EXPECT_EQ(Open(set, cases[0].entries), -1) << "the codec set's own cap";
}

// Folders of dead runs owned by this user go; a living process's folder,
// names that only look alike, links, and (when root can make one) another
// user's folder stay.
TEST_F(ArchiveTest, SweepRemovesOnlyFoldersOfDeadRunsOwnedByThisUser) {
  const pid_t child = fork();
  if (child == 0) _exit(0);
  waitpid(child, nullptr, 0);
  const std::string dead = "vantaro-unzip-" + std::to_string(child);
  const std::string live = "vantaro-unzip-" + std::to_string(getpid()) + "-abcdef";
  for (const std::string& name :
       {dead + "-abcdef", dead + "-other1", live, dead + "-abcdefg", "other-" + dead + "-abcdef"}) {
    fs::create_directory(temporary.File(name));
    test::WriteFile(temporary.File(name + "/song.mp3"), "x");
  }
  fs::create_directory_symlink(dir.Path(), temporary.File(dead + "-link00"));
  test::WriteFile(dir.File("victim"), "precious");
  const bool root = geteuid() == 0;
  ASSERT_TRUE(!root || chown(temporary.File(dead + "-other1").c_str(), 65534, 65534) == 0);

  EXPECT_EQ(SweepUnpackLeftovers(temporary.Path() + "/"), root ? 1 : 2);
  EXPECT_EQ(Tree(temporary).count(dead + "-abcdef"), 0u);
  EXPECT_EQ(Tree(temporary).count(dead + "-other1"), root ? 1u : 0u);
  for (const std::string& kept : {live, dead + "-abcdefg", "other-" + dead + "-abcdef"})
    EXPECT_TRUE(fs::exists(temporary.File(kept + "/song.mp3"))) << kept;
  EXPECT_TRUE(fs::is_symlink(temporary.File(dead + "-link00")));
  EXPECT_EQ(test::ReadFile(dir.File("victim")), "precious");
  EXPECT_NE(log.Text().find("unpack folders that earlier runs left"), std::string::npos);
}

}  // namespace
}  // namespace vantaro
