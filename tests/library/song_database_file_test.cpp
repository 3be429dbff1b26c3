#include "library/song_database_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>

#include "base/xml_text.h"
#include "library/song_database.h"
#include "tests/library/song_db_test_support.h"

namespace vantaro {
namespace {

using test::DbFileWith;
using test::Song;
using test::SongDatabaseTest;

// The one line of a record, from its line in the whole file.
std::string LineOf(const std::string& file, const std::string& name) {
  const auto start = file.find("<song name=\"" + name + "\"");
  if (start == std::string::npos) return "<missing>";
  return file.substr(start, file.find('\n', start) - start);
}

TEST(SongDatabaseForm, AttributesInOrderWithTheWrittenWhenRules) {
  TZKSongRecord record;
  record.name = "A & B \"C\" 'D' <E>.mp3";
  record.bpm = 128;
  record.duration_ms = 245000;
  record.pgain = -3.25f;
  record.pgain_valid = 1;
  record.eql = 0.5f;
  record.eqh = -1;
  record.currentcue = 2;
  record.cue[0] = 44100;
  record.cue[4] = 88200;
  record.cue[9] = 1;
  record.cue_in = 100;
  record.cue_out = 200;
  record.loop_in[1] = 1000;
  record.loop_out[1] = 2000;
  record.loop_in[3] = 0;  // not set: dropped with its out-point
  record.loop_out[3] = 500;
  record.pitch_key = 5;
  const std::string file = FormatSongDatabaseFile({record});
  EXPECT_EQ(file,
            "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?>\n"
            "<!-- Vantaro DJ - Copyright (c) 2026 the Vantaro DJ developers -->\n"
            "<songdatabase version=\"100\">\n"
            "<song name=\"A &amp; B &quot;C&quot; &#39;D&#39; &lt;E&gt;.mp3\" bpm=\"128.0000\" "
            "duration_ms=\"245000\" pgain=\"-3.2500\" eql=\"0.5000\" eqm=\"0.0000\" "
            "eqh=\"-1.0000\" currentcue=\"3\" cue1=\"44100\" cue5=\"88200\" cue10=\"1\" "
            "cue_in=\"100\" cue_out=\"200\" loop2_in=\"1000\" loop2_out=\"2000\" "
            "pitch_key=\"5\" />\n"
            "</songdatabase>\n");

  TZKSongRecord bare;
  bare.name = "bare.wav";
  EXPECT_EQ(FormatSongDatabaseFile({bare}).substr(file.find("<song name")),
            "<song name=\"bare.wav\" bpm=\"0.0000\" duration_ms=\"0\" eql=\"0.0000\" "
            "eqm=\"0.0000\" eqh=\"0.0000\" currentcue=\"1\" cue_in=\"0\" cue_out=\"0\" "
            "pitch_key=\"0\" />\n</songdatabase>\n");
}

// A record read from the attributes of one <song> element.
TZKSongRecord SongFrom(const std::map<std::string, std::string>& attributes) {
  return SongFromAttributes([&](const char* name) -> const char* {
    const auto found = attributes.find(name);
    return found == attributes.end() ? nullptr : found->second.c_str();
  });
}

TEST(SongDatabaseForm, ValuesAreReadByTheStandardConversions) {
  const TZKSongRecord record = SongFrom({{"name", "x.mp3"},
                                         {"bpm", " 128.5bpm"},
                                         {"eql", "abc"},
                                         {"eqm", "+2"},
                                         {"eqh", "-1e1"},
                                         {"cue1", "-5"},
                                         {"cue2", "12 frames"},
                                         {"cue_in", "-9"},
                                         {"loop1_in", "-7"},
                                         {"duration_ms", "99999999999"},
                                         {"duration", "3"}});
  EXPECT_EQ(record.name, "x.mp3");
  EXPECT_FLOAT_EQ(record.bpm, 128.5f) << "leading blanks and trailing text";
  EXPECT_EQ(record.eql, 0.0f) << "a bad value reads as 0";
  EXPECT_EQ(record.eqm, 2.0f);
  EXPECT_EQ(record.eqh, -10.0f);
  EXPECT_EQ(record.cue[0], 0) << "a negative cue is unset";
  EXPECT_EQ(record.cue[1], 12);
  EXPECT_EQ(record.cue_in, 0);
  EXPECT_EQ(record.cue_out, -1) << "missing cue_out";
  EXPECT_EQ(record.loop_in[0], -7) << "loops are kept as they stand";
  EXPECT_EQ(record.loop_out[0], -1);
  EXPECT_EQ(record.pitch_key, -1) << "missing pitch_key";
  EXPECT_EQ(record.duration_ms, 3000) << "an unreadable duration_ms falls back on duration";
  EXPECT_EQ(record.pgain_valid, 0);

  EXPECT_EQ(SongFrom({{"name", "y.mp3"}, {"duration", "3000000"}}).duration_ms, 2147483647)
      << "seconds too long for 32-bit milliseconds are clamped";
}

TEST_F(SongDatabaseTest, DurationGainAndCurrentCueFollowTheirOwnReadAndWriteRules) {
  ASSERT_TRUE(
      LoadLines({// The older duration attribute is in seconds; duration_ms wins.
                 "<song name=\"old.mp3\" duration=\"245\" />", "<song name=\"none.mp3\" />",
                 "<song name=\"both.mp3\" duration_ms=\"1500\" duration=\"9\" />",
                 "<song name=\"zero.mp3\" duration_ms=\"0\" duration=\"0\" currentcue=\"0\" />",
                 // A gain counts as measured when it is there, even at 0 dB.
                 "<song name=\"unmeasured.mp3\" bpm=\"120.0000\" />",
                 "<song name=\"silent-gain.mp3\" pgain=\"0.0000\" />",
                 "<song name=\"loud.mp3\" pgain=\"-6.5000\" />",
                 // The current cue is written from 1 and stored from 0; 1..20 are valid.
                 "<song name=\"one.mp3\" currentcue=\"1\" />",
                 "<song name=\"twenty.mp3\" currentcue=\"20\" />",
                 "<song name=\"twentyone.mp3\" currentcue=\"21\" />"}));
  const struct {
    const char* name;
    int durationMs, currentCue, gainValid;
  } read[] = {{"old.mp3", 245000, 0, 0},    {"none.mp3", -1, 0, 0},
              {"both.mp3", 1500, 0, 0},     {"zero.mp3", 0, 0, 0},
              {"unmeasured.mp3", -1, 0, 0}, {"silent-gain.mp3", -1, 0, 1},
              {"loud.mp3", -1, 0, 1},       {"one.mp3", -1, 0, 0},
              {"twenty.mp3", -1, 19, 0},    {"twentyone.mp3", -1, 0, 0}};
  for (const auto& r : read) {
    const TZKSongRecord record = Find(r.name);
    EXPECT_EQ(record.duration_ms, r.durationMs) << r.name;
    EXPECT_EQ(record.currentcue, r.currentCue) << r.name;
    EXPECT_EQ(record.pgain_valid, r.gainValid) << r.name;
  }
  EXPECT_EQ(Find("loud.mp3").pgain, -6.5f);

  const std::string file = SaveAndRead();
  EXPECT_EQ(file.find(" duration="), std::string::npos) << "the older name is not written";
  EXPECT_EQ(LineOf(file, "unmeasured.mp3").find("pgain"), std::string::npos);
  const std::pair<const char*, const char*> written[] = {{"old.mp3", " duration_ms=\"245000\" "},
                                                         {"silent-gain.mp3", " pgain=\"0.0000\" "},
                                                         {"one.mp3", " currentcue=\"1\" "},
                                                         {"twentyone.mp3", " currentcue=\"1\" "},
                                                         {"twenty.mp3", " currentcue=\"20\" "}};
  for (auto [name, attribute] : written)
    EXPECT_NE(LineOf(file, name).find(attribute), std::string::npos) << LineOf(file, name);

  ASSERT_TRUE(LoadSongDatabase(path));
  EXPECT_EQ(Find("unmeasured.mp3").pgain_valid, 0);
  EXPECT_EQ(Find("silent-gain.mp3").pgain_valid, 1);
}

TEST_F(SongDatabaseTest, UnsetCuesAndLoopsAreLeftOutAndReadBackUnset) {
  ASSERT_TRUE(
      LoadLines({"<song name=\"c.mp3\" cue1=\"0\" cue2=\"-3\" cue3=\"300\" "
                 "loop1_in=\"0\" loop1_out=\"900\" loop2_in=\"-4\" loop2_out=\"800\" "
                 "loop3_in=\"100\" loop3_out=\"-1\" loop5_in=\"5\" loop5_out=\"6\" />"}));
  const TZKSongRecord before = Find("c.mp3");
  EXPECT_EQ(before.cue[1], 0);
  EXPECT_EQ(before.loop_in[0], 0) << "read as it stands";
  EXPECT_EQ(before.loop_out[0], 900);
  const std::string line = LineOf(SaveAndRead(), "c.mp3");
  EXPECT_EQ(line.find("cue1="), std::string::npos);
  EXPECT_EQ(line.find("cue2="), std::string::npos);
  EXPECT_NE(line.find(" cue3=\"300\" "), std::string::npos);
  EXPECT_EQ(line.find("loop1_"), std::string::npos) << "in-point 0 drops the pair";
  EXPECT_EQ(line.find("loop2_"), std::string::npos) << "negative in-point drops the pair";
  EXPECT_NE(line.find(" loop3_in=\"100\" loop3_out=\"-1\" "), std::string::npos);
  EXPECT_NE(line.find(" loop5_in=\"5\" loop5_out=\"6\" "), std::string::npos);

  ASSERT_TRUE(LoadSongDatabase(path));
  const TZKSongRecord after = Find("c.mp3");
  EXPECT_EQ(after.cue[0], 0);
  EXPECT_EQ(after.cue[2], 300);
  EXPECT_EQ(after.loop_in[0], -1);
  EXPECT_EQ(after.loop_out[0], -1) << "the valid out-point went with its pair";
  EXPECT_EQ(after.loop_in[1], -1);
  EXPECT_EQ(after.loop_in[2], 100);
  EXPECT_EQ(after.loop_out[2], -1);
  EXPECT_EQ(after.loop_in[3], -1);
}

TEST_F(SongDatabaseTest, NamesSurviveEscapingAndControlBytesBecomeBlanks) {
  ASSERT_TRUE(LoadSongDatabase(path) == false);  // no file yet: empty table
  const std::string tricky = "Rock & Roll \"Live\" it's <1>.mp3";
  const std::string control = std::string(
      "Tab\there\x01"
      "bell\x07.mp3");
  const std::string utf8 = "Bj\xC3\xB6rk \xE2\x80\x93 J\xC3\xB3ga.flac";
  for (const std::string& name : {tricky, control, utf8}) ASSERT_TRUE(StoreSong(Song(name, 99)));
  SaveAndRead();
  ASSERT_TRUE(LoadSongDatabase(path));
  EXPECT_EQ(Find(tricky).bpm, 99);
  EXPECT_EQ(Find(utf8).bpm, 99);
  EXPECT_EQ(Find("Tab\there bell .mp3").bpm, 99) << "tab kept, control bytes blanked";
  EXPECT_EQ(SongCount(), 3u);
}

TEST_F(SongDatabaseTest, NamelessSongsAreDroppedAndTheLastOfOneNameWins) {
  ASSERT_TRUE(LoadLines({"<song bpm=\"100.0000\" />", "<song name=\"twice.mp3\" bpm=\"1.0000\" />",
                         "<other name=\"other.mp3\" />", "text between",
                         "<song name=\"twice.mp3\" bpm=\"2.0000\" />"}));
  EXPECT_EQ(SongCount(), 1u);
  EXPECT_EQ(Find("twice.mp3").bpm, 2.0f);
}

TEST_F(SongDatabaseTest, FilesThatAreNotASongDatabaseLeaveAnEmptyTable) {
  test::WriteFile(path,
                  "<?xml version=\"1.0\"?>\n<settings version=\"100\">\n"
                  "<song name=\"a.mp3\" bpm=\"120.0000\" />\n</settings>\n");
  EXPECT_FALSE(LoadSongDatabase(path));
  EXPECT_EQ(SongCount(), 0u);
  EXPECT_TRUE(StoreSong(Song("new.mp3", 0))) << "the table exists";

  // Broken half-way: nothing of the first half is kept.
  const std::string full = DbFileWith({"<song name=\"a.mp3\" />", "<song name=\"b.mp3\" />"});
  test::WriteFile(path, full.substr(0, full.find("<song name=\"b")) + "<song name=\"b");
  EXPECT_FALSE(LoadSongDatabase(path));
  EXPECT_EQ(SongCount(), 0u);
}

// Realistic records with every optional attribute in some and none in others.
// Floats are made exactly what four decimals give back, as a learnt value
// that has been through one save and load is.
std::vector<TZKSongRecord> ManyRecords(int count) {
  auto fourDecimals = [](float value) { return std::strtof(FormatFloat4(value).c_str(), nullptr); };
  std::mt19937 random(7);
  std::vector<TZKSongRecord> records(count);
  for (int i = 0; i < count; ++i) {
    TZKSongRecord& r = records[i];
    r.name = "Artist " + std::to_string(random() % 5000) + " - Title & \"Mix\" " +
             std::to_string(i) + (i % 3 ? ".mp3" : ".FLAC");
    r.bpm = (i % 7) ? 60 + (random() % 1200000) / 10000.0f : 0;
    r.duration_ms = (i % 11) ? 30000 + random() % 600000 : -1;
    r.pgain_valid = i % 4 != 0;
    r.pgain = r.pgain_valid ? -12 + (random() % 240000) / 10000.0f : 0;
    r.eql = -1 + (random() % 20) / 10.0f;
    r.currentcue = random() % 10;
    for (int c = 0; c < TZKSongRecord::kCueCount; ++c)
      r.cue[c] = (random() % 3 == 0) ? 1 + random() % 10000000 : 0;
    r.cue_in = random() % 2 ? random() % 100000 : 0;
    r.cue_out = random() % 2 ? 100000 + random() % 10000000 : -1;
    for (int l = 0; l < TZKSongRecord::kLoopCount; ++l) {
      if (random() % 4 == 0) {
        r.loop_in[l] = 1 + random() % 1000000;
        r.loop_out[l] = random() % 5 ? r.loop_in[l] + 88200 : -1;
      }
    }
    r.pitch_key = random() % 25;
    r.bpm = fourDecimals(r.bpm);
    r.pgain = fourDecimals(r.pgain);
    r.eql = fourDecimals(r.eql);
  }
  return records;
}

TEST_F(SongDatabaseTest, HundredThousandRecordsRoundTripByteForByte) {
  std::vector<TZKSongRecord> records = ManyRecords(100000);
  std::sort(records.begin(), records.end(),
            [](const TZKSongRecord& a, const TZKSongRecord& b) { return a.name < b.name; });
  const std::string original = FormatSongDatabaseFile(records);
  test::WriteFile(path, original);
  ASSERT_TRUE(LoadSongDatabase(path));
  ASSERT_EQ(SongCount(), 100000u);
  TZKSongRecord sample;
  ASSERT_TRUE(FindSong(records[4242].name, sample));
  EXPECT_EQ(sample, records[4242]);
  const std::string saved = SaveAndRead();
  ASSERT_EQ(saved.size(), original.size());
  EXPECT_TRUE(saved == original);
  EXPECT_EQ(test::ReadFile(path + ".bak"), original) << "the previous file is kept";
}

}  // namespace
}  // namespace vantaro
