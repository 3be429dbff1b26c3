// The .vtl form and M3U reading, on texts: every field through a save and a
// load, what absent attributes mean, what hostile or torn files give.

#include "library/list_file.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vantaro {
namespace {

std::vector<TZKListElement*> Pointers(std::vector<TZKListElement>& rows) {
  std::vector<TZKListElement*> pointers;
  for (auto& row : rows) pointers.push_back(&row);
  return pointers;
}

TZKListElement FullRow(int n) {
  TZKListElement row;
  for (int c = 1; c < kListColumns; ++c)
    row.column[c] = std::string(kColumnKeys[c]) + " \"<&>' ü" + std::to_string(n);
  row.column[kColPath] = "/music/Caf\xE9\x01/track" + std::to_string(n) + ".mp3";  // not UTF-8
  row.gnr1 = 18, row.gnr2 = 3, row.gnr3 = -1;
  row.duration_ms = 201000 + n;
  row.highlight = 4;
  row.mediatype = kRowVideo;
  row.isnew = true;
  row.explicit_ = n % 2;
  row.auxstr = "aux\ttab";
  return row;
}

TEST(ListFileTest, EveryFieldSurvivesSaveAndLoad) {
  std::vector<TZKListElement> rows = {FullRow(1), FullRow(2)};
  ListFileHeader header{"Set \"A\"", "cover.png", 1800, 1};
  const std::string text = FormatListFile(header, Pointers(rows), true);
  const ListFileContents back = ReadListText(text, "t.vtl");
  ASSERT_EQ(back.status, ListFileStatus::kLoaded);
  EXPECT_EQ(back.damaged, 0);
  EXPECT_EQ(back.header.name, header.name);
  EXPECT_EQ(back.header.imgfile, "cover.png");
  EXPECT_EQ(back.header.overrideduration, 1800);
  EXPECT_EQ(back.header.shuffleonload, 1);
  ASSERT_EQ(back.rows.size(), 2u);
  for (int i = 0; i < 2; ++i) {
    const TZKListElement& got = back.rows[i];
    const TZKListElement& want = rows[i];
    EXPECT_EQ(got.column[kColNumber], std::to_string(i + 1));
    for (int c = 1; c < kListColumns; ++c) EXPECT_EQ(got.column[c], want.column[c]) << c;
    EXPECT_EQ(got.gnr1, 18);
    EXPECT_EQ(got.gnr2, 3);
    EXPECT_EQ(got.gnr3, -1);
    EXPECT_EQ(got.duration_ms, want.duration_ms);
    EXPECT_EQ(got.highlight, 4);
    EXPECT_EQ(got.mediatype, kRowVideo);
    EXPECT_EQ(got.isnew, true);
    EXPECT_EQ(got.explicit_, want.explicit_);
    EXPECT_EQ(got.auxstr, "aux\ttab");
  }
  // Without aux the schedule text stays out of the file.
  EXPECT_EQ(ReadListText(FormatListFile(header, Pointers(rows), false), "t").rows[0].auxstr, "");
}

TEST(ListFileTest, AbsentAttributesAndBooleans) {
  const ListFileContents file = ReadListText(
      "<list><song titl=\"Disco\" genr=\"Disco\" isnew=\"yes\" explicit=\"1\"/>"
      "<song isnew=\"ok\" explicit=\"True\" overrideduration=\"9\"/><song isnew=\"Y\"/></list>",
      "t");
  ASSERT_EQ(file.status, ListFileStatus::kLoaded);
  EXPECT_EQ(file.header.name, "list");
  EXPECT_EQ(file.header.imgfile, "img");
  EXPECT_EQ(file.header.overrideduration, 3600);
  ASSERT_EQ(file.rows.size(), 3u);
  const TZKListElement& row = file.rows[0];
  EXPECT_EQ(row.mediatype, 0);
  EXPECT_EQ(row.highlight, -1);
  EXPECT_EQ(row.gnr1, 4);  // derived from "Disco"
  EXPECT_EQ(row.gnr2, -1);
  EXPECT_TRUE(row.isnew);
  EXPECT_FALSE(row.explicit_);  // "1" is not a yes
  EXPECT_TRUE(file.rows[1].isnew && file.rows[1].explicit_);
  EXPECT_TRUE(file.rows[2].isnew);

  // An absent highlight stays absent when saved again; a negative
  // override duration reads as the default.
  std::vector<TZKListElement> rows = file.rows;
  EXPECT_EQ(FormatListFile({}, Pointers(rows), false).find("highlight"), std::string::npos);
  EXPECT_EQ(ReadListText("<list overrideduration=\"-5\"/>", "t").header.overrideduration, 3600);
}

TEST(ListFileTest, LongTextsAreCutInTheRowAtSave) {
  std::vector<TZKListElement> rows(1);
  rows[0].column[kColTitle] = std::string(kMaxCellCharacters - 1, 'a') + "éé";  // 4097 characters
  rows[0].column[kColComment] = std::string(kMaxCellCharacters, 'c');
  const std::string text = FormatListFile({}, Pointers(rows), false);
  EXPECT_EQ(rows[0].column[kColTitle], std::string(kMaxCellCharacters - 1, 'a') + "é");
  EXPECT_EQ(rows[0].column[kColComment].size(), kMaxCellCharacters);
  EXPECT_EQ(ReadListText(text, "t").rows[0].column[kColTitle], rows[0].column[kColTitle]);
}

// Hostile and damaged files: refused or read in part, never a crash, and a
// size that lies is never believed.
TEST(ListFileTest, BrokenForeignAndHostileFiles) {
  std::vector<TZKListElement> rows = {FullRow(1), FullRow(2), FullRow(3)};
  const std::string good = FormatListFile({}, Pointers(rows), false);
  const struct {
    const char* what;
    std::string text;
    ListFileStatus status;
    bool broken;
    std::size_t rows;
  } cases[] = {
      {"empty", "", ListFileStatus::kNotParsed, true, 0},
      {"foreign root", "<songdatabase><song titl=\"x\"/></songdatabase>",
       ListFileStatus::kWrongRoot, true, 0},
      {"torn in the last row", good.substr(0, good.rfind("fnam")), ListFileStatus::kLoaded, true,
       2},
      {"entity trick", "<!DOCTYPE l [<!ENTITY a \"aaaa\">]><list><song titl=\"&a;\"/></list>",
       ListFileStatus::kRefused, true, 0},
      {"lying count", "<list count=\"4000000000\"><song titl=\"x\"/></list>",
       ListFileStatus::kLoaded, false, 1},
      {"megabyte text", "<list><song titl=\"" + std::string(1 << 20, 'x') + "\"/></list>",
       ListFileStatus::kLoaded, false, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const ListFileContents file = ReadListText(c.text, "t.vtl");
    EXPECT_EQ(file.status, c.status);
    EXPECT_EQ(ListFileIsBroken(file), c.broken);
    ASSERT_EQ(file.rows.size(), c.rows);
    for (const auto& row : file.rows) EXPECT_LE(row.column[kColTitle].size(), kMaxCellCharacters);
  }
}

TEST(M3uTest, EveryLineKind) {
  const std::string longName(4000, 'n');
  const std::string text =
      "\xEF\xBB\xBF#EXTM3U\r\n"
      "#EXTINF:201,Some Artist - Some Title\r\n"
      "rel/one.mp3\r\n"
      "/abs/two.flac\n"
      "x\n"  // too short
      "# a comment\n"
      "file:///music/a%20b%C3%A9.mp3\n"
      "file://localhost/music/c.mp3\n"
      "file://server/share/d.mp3\n"    // another host: skipped
      "http://radio.example/stream\n"  // a URL: skipped
      "#EXTINF:-1,Only Title\n"
      "Caf\xE9.mp3\n"  // Latin-1
      "/" +
      longName + ".mp3\n" +  // long, read whole
      "/" + std::string(5000, 'z') +
      "\n"         // longer than a line may be
      "last.mp3";  // no line end
  const auto entries = ParseM3u(text, "/lists", "t.m3u");
  ASSERT_EQ(entries.size(), 7u);
  EXPECT_EQ(entries[0].path, "/lists/rel/one.mp3");
  EXPECT_EQ(entries[0].artist, "Some Artist");
  EXPECT_EQ(entries[0].title, "Some Title");
  EXPECT_EQ(entries[1].path, "/abs/two.flac");
  EXPECT_EQ(entries[1].title, "");  // an #EXTINF names only the next entry
  EXPECT_EQ(entries[2].path, "/music/a bé.mp3");
  EXPECT_EQ(entries[3].path, "/music/c.mp3");
  EXPECT_EQ(entries[4].path, "/lists/Café.mp3");
  EXPECT_EQ(entries[4].title, "Only Title");
  EXPECT_EQ(entries[4].artist, "");
  EXPECT_EQ(entries[5].path, "/" + longName + ".mp3");
  EXPECT_EQ(entries[6].path, "/lists/last.mp3");

  EXPECT_TRUE(IsM3uPath("/a/B.M3U8"));
  EXPECT_TRUE(IsM3uPath("x.m3u"));
  EXPECT_FALSE(IsM3uPath("x.vtl"));
}

}  // namespace
}  // namespace vantaro
