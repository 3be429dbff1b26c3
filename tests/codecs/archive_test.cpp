// Karaoke archives as hostile input: entries that climb out or hide behind a
// link, two decks unpacking the same names, archives that unpack to more than
// the cap, and the start-up sweep of what dead runs left behind.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <string>

#include "codecs/codec_set.h"
#include "codecs/unpacked_archive.h"
#include "tests/codecs/codec_test_files.h"

namespace vantaro {
namespace {

namespace fs = std::filesystem;

// A mono 16-bit WAV of `frames` frames of a steady value.
std::string Wav(int frames) {
  return test::WavFile(1, 1, 44100, 16, frames * 2, std::string(frames * 2, '\x10'));
}

// Everything below `folder`, as paths relative to it.
std::set<std::string> Tree(const std::string& folder) {
  std::set<std::string> names;
  for (const auto& item : fs::recursive_directory_iterator(folder))
    names.insert(item.path().lexically_relative(folder).string());
  return names;
}

// Archives in `dir`; their files unpack below `temporary` (TMPDIR).
class ArchiveTest : public ::testing::Test {
 protected:
  std::string Zip(const std::string& name, const std::vector<test::ZipEntry>& entries) {
    EXPECT_TRUE(test::MakeZip(dir.File(name), entries));
    return dir.File(name);
  }
  // Opens `archive` through `set`; the frames opened, -1 when refused.
  int Open(CCodecSet& set, const std::string& archive) {
    TCodecFormat format{44100, 2, 32, 32, 0, 0};
    return set.Open(archive, format, kCodecRead, 1024) ? format.frames : -1;
  }
  // The folder the set unpacked into: private to it, mode 0700, in TMPDIR.
  void ExpectPrivateFolder(const CCodecSet& set) {
    const fs::path folder = fs::path(set.TempPath()).parent_path();
    EXPECT_EQ(folder.parent_path(), fs::path(temporary.Path()));
    EXPECT_TRUE(folder.filename().string().starts_with("vantaro-unzip-"));
    EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_all);
  }

  test::TempDir dir, temporary;
  test::LogCapture log;
  test::ScopedTmpDir tmp{temporary.Path()};
};

TEST_F(ArchiveTest, HostileNamesStayInsideThePrivateFolder) {
  test::WriteFile(dir.File("victim.wav"), "precious");
  fs::create_symlink(dir.File("victim.wav"), temporary.File("link.wav"));
  const struct {
    std::vector<test::ZipEntry> entries;
    int frames;
    const char* logged;
  } cases[] = {
      {{{"../x.wav", Wav(300)}, {"good.wav", Wav(500)}}, 500, "\"../x.wav\" is not unpacked"},
      {{{"sub/x.wav", Wav(300)}}, -1, "holds no file to unpack"},
      {{{"link.wav", Wav(400)}}, 400, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.entries[0].name);
    CCodecSet set(30);
    ASSERT_EQ(Open(set, Zip("a.zip", c.entries)), c.frames);
    if (c.frames > 0) ExpectPrivateFolder(set);
    if (c.logged) {
      EXPECT_NE(log.Text().find(c.logged), std::string::npos) << log.Text();
    }
    set.Close();
    EXPECT_EQ(Tree(temporary.Path()), std::set<std::string>{"link.wav"});
    EXPECT_EQ(Tree(dir.Path()), (std::set<std::string>{"a.zip", "victim.wav"}));
    EXPECT_EQ(test::ReadFile(dir.File("victim.wav")), "precious");
  }
}

TEST_F(ArchiveTest, TwoDecksUnpackingTheSameNamesKeepTheirOwnFiles) {
  CCodecSet deckA(30), deckB(30);
  ASSERT_EQ(Open(deckA, Zip("a.zip", {{"song.wav", Wav(300)}})), 300);
  ASSERT_EQ(Open(deckB, Zip("b.zip", {{"song.wav", Wav(700)}})), 700);
  EXPECT_NE(deckA.TempPath(), deckB.TempPath());
  deckA.Close();
  std::vector<float> buffer(1024 * 2);
  EXPECT_EQ(deckB.GetFloatSamples(buffer.data(), 1024, 0), 700) << "A's close took B's file";
  EXPECT_EQ(test::ReadFile(deckB.TempPath()), Wav(700));
  deckB.Close();
  EXPECT_TRUE(fs::is_empty(temporary.Path()));
}

// Zip bombs: stated sizes past the cap, alone or only together, are refused
// before anything is written; data longer than its stated size is refused
// while unpacking. Nothing stays behind.
TEST_F(ArchiveTest, ArchivesPastTheCapAreRefused) {
  const std::string big(100000, '\0');
  const struct {
    std::vector<test::ZipEntry> entries;
    int64_t limit;
    const char* logged;
  } cases[] = {
      {{{"bomb.wav", Wav(100), int64_t{1} << 30}},
       CUnpackedArchive::kDefaultLimitBytes,
       "more than the"},
      {{{"long.wav", Wav(100) + big, 1000}}, 1 << 20, "larger than it states"},
      {{{"a.wav", Wav(30000)}, {"b.wav", Wav(30000)}}, 100000, "more than the"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.entries[0].name);
    const std::string archive = Zip("bomb.zip", c.entries);
    CUnpackedArchive unpacked;
    EXPECT_EQ(unpacked.Unpack(archive, temporary.Path() + "/", c.limit), "");
    EXPECT_NE(log.Text().find(c.logged), std::string::npos) << log.Text();
    EXPECT_TRUE(fs::is_empty(temporary.Path()));
  }
  CCodecSet set(30);
  EXPECT_EQ(Open(set, Zip("bomb.zip", cases[0].entries)), -1) << "the cap of the codec set";
}

// A process id that no process has.
long DeadProcess() {
  const pid_t child = fork();
  if (child == 0) _exit(0);
  waitpid(child, nullptr, 0);
  return child;
}

TEST_F(ArchiveTest, SweepRemovesOnlyFoldersOfDeadRunsOwnedByThisUser) {
  const std::string dead = "vantaro-unzip-" + std::to_string(DeadProcess());
  const std::string live = "vantaro-unzip-" + std::to_string(getpid()) + "-abcdef";
  for (const std::string& name : {dead + "-abcdef", dead + "-other1", live, dead + "-abcdefg",
                                  std::string("other-") + dead + "-abcdef"}) {
    fs::create_directory(temporary.File(name));
    test::WriteFile(temporary.File(name + "/song.mp3"), "x");
  }
  fs::create_directory_symlink(dir.Path(), temporary.File(dead + "-link00"));
  // Another user's folder: only root can make one.
  if (geteuid() == 0) {
    ASSERT_EQ(chown(temporary.File(dead + "-other1").c_str(), 65534, 65534), 0);
  }
  test::WriteFile(dir.File("victim"), "precious");

  EXPECT_EQ(SweepUnpackLeftovers(temporary.Path() + "/"), geteuid() == 0 ? 1 : 2);
  EXPECT_FALSE(fs::exists(temporary.File(dead + "-abcdef")));
  EXPECT_EQ(fs::exists(temporary.File(dead + "-other1")), geteuid() == 0);
  for (const std::string& kept : {live, dead + "-abcdefg", "other-" + dead + "-abcdef"})
    EXPECT_TRUE(fs::exists(temporary.File(kept + "/song.mp3"))) << kept;
  EXPECT_TRUE(fs::is_symlink(temporary.File(dead + "-link00")));
  EXPECT_EQ(test::ReadFile(dir.File("victim")), "precious");
  EXPECT_NE(log.Text().find("unpack folders that earlier runs left"), std::string::npos);
}

}  // namespace
}  // namespace vantaro
