// A row built from a file meets the song database: tempo, time and key
// come from it, a key only the tags know is learnt; and the key texts.

#include "library/list_row.h"

#include <gtest/gtest.h>

#include "library/pitch_key_text.h"
#include "library/song_database.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

TEST(ListRowTest, DatabaseFillsTempoTimeAndKeyAndLearnsTagKeys) {
  if (!test::HaveProgram("ffmpeg")) GTEST_SKIP() << "ffmpeg missing";
  test::TempDir dir;
  ASSERT_TRUE(LoadSongDatabase(dir.File("db.vtx")) || SongCount() == 0);
  const auto make = [&](const std::string& name, const std::string& key) {
    return test::RunCommand(
               "ffmpeg -nostdin -loglevel error -f lavfi -i sine=d=1 -metadata "
               "title=T -metadata TKEY=" +
               key + " '" + dir.File(name) + "'") == 0;
  };
  ASSERT_TRUE(make("known.mp3", "Am") && make("fresh.mp3", "C") && make("slow.mp3", ""));
  TZKSongRecord known;
  known.name = "known.mp3", known.bpm = 128.04f, known.duration_ms = 65500, known.pitch_key = 0;
  TZKSongRecord slow;
  slow.name = "slow.mp3", slow.bpm = 99.5f, slow.pitch_key = 20;
  ASSERT_TRUE(StoreSong(known) && StoreSong(slow));

  CZKTagReader reader;
  TZKListElement row;
  ASSERT_TRUE(BuildRow(dir.File("known.mp3"), reader, row));
  EXPECT_EQ(row.column[kColTempo], "128.0");
  EXPECT_EQ(row.column[kColTime], "01:05");
  EXPECT_EQ(row.duration_ms, 65500);
  TZKSongRecord learnt;
  ASSERT_TRUE(FindSong("known.mp3", learnt));
  EXPECT_EQ(learnt.pitch_key, 8);  // the tag's key filled the unknown one

  ASSERT_TRUE(BuildRow(dir.File("slow.mp3"), reader, row));
  EXPECT_EQ(row.column[kColTempo], "099.5");  // sorts as text beside 100.0
  EXPECT_EQ(row.column[kColKey], "8B");       // from the database
  EXPECT_EQ(row.column[kColTime], "00:01");   // from the file's headers

  ASSERT_TRUE(BuildRow(dir.File("fresh.mp3"), reader, row));
  ASSERT_TRUE(FindSong("fresh.mp3", learnt));  // a new record with the key alone
  EXPECT_EQ(learnt.pitch_key, 20);
  EXPECT_FALSE(BuildRow(dir.File("gone.mp3"), reader, row));
  SaveSongDatabase(dir.File("db.vtx"));
}

TEST(ListRowTest, KeyTexts) {
  const struct {
    const char* text;
    int code;
  } cases[] = {{"8A", 8},     {"12b", 24}, {"Am", 8},  {"C", 20}, {"F#m", 11}, {"Bbmin", 3},
               {"Ebmaj", 17}, {" Dm ", 7}, {"13A", 0}, {"H", 0},  {"Cx", 0},   {"", 0}};
  for (const auto& c : cases) EXPECT_EQ(ParsePitchKey(c.text), c.code) << c.text;
  EXPECT_EQ(PitchKeyText(8), "8A");
  EXPECT_EQ(PitchKeyText(24), "12B");
  EXPECT_EQ(PitchKeyText(25), "");
}

}  // namespace
}  // namespace vantaro
