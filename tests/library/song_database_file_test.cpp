// The db.vtx form: the written line, the reading rules of every attribute,
// and a large file byte for byte.
#include "library/song_database_file.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/library/song_db_test_support.h"

namespace vantaro {
namespace {

using test::DbFileWith;
using test::SongDatabaseTest;

TEST(SongDatabaseForm, AttributesInOrderWithTheWrittenWhenRules) {
  // Field order: name, duration_ms, pitch_key, bpm, pgain, pgain_valid, eql,
  // eqm, eqh, currentcue, cue, cue_in, cue_out, loop_in, loop_out.
  // clang-format off
  const TZKSongRecord record{"A & B \"C\" 'D' <E>.mp3", 245000, 5, 128, -3.25f, 1, 0.5f, 0, -1, 2,
                             {44100, 0, 0, 0, 88200, 0, 0, 0, 0, 1}, 100, 200,
                             {-1, 1000, -1, 0, -1}, {-1, 2000, -1, 500, -1}};
  // clang-format on
  TZKSongRecord bare;
  bare.name = "bare \xE9.wav";  // Latin-1: its exact bytes follow
  EXPECT_EQ(FormatSongDatabaseFile({record, bare}),
            "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?>\n"
            "<!-- Vantaro DJ - Copyright (c) 2026 the Vantaro DJ developers -->\n"
            "<songdatabase version=\"100\">\n"
            "<song name=\"A &amp; B &quot;C&quot; &#39;D&#39; &lt;E&gt;.mp3\" bpm=\"128.0000\" "
            "duration_ms=\"245000\" pgain=\"-3.2500\" eql=\"0.5000\" eqm=\"0.0000\" "
            "eqh=\"-1.0000\" currentcue=\"3\" cue1=\"44100\" cue5=\"88200\" cue10=\"1\" "
            "cue_in=\"100\" cue_out=\"200\" loop2_in=\"1000\" loop2_out=\"2000\" "
            "pitch_key=\"5\" />\n"
            "<song name=\"bare \xEF\xBF\xBD.wav\" name_bytes=\"6261726520e92e776176\" "
            "bpm=\"0.0000\" duration_ms=\"0\" eql=\"0.0000\" eqm=\"0.0000\" eqh=\"0.0000\" "
            "currentcue=\"1\" cue_in=\"0\" cue_out=\"0\" pitch_key=\"0\" />\n"
            "</songdatabase>\n");
}

// Each rule: the attributes of a <song> as read, and part of its line as
// written back after a load and a save.
TEST_F(SongDatabaseTest, EachAttributeFollowsItsReadAndWriteRules) {
  const std::pair<const char*, const char*> rules[] = {
      {"duration=\"245\"", " duration_ms=\"245000\" "},  // the older name, in seconds
      {"duration_ms=\"1500\" duration=\"9\"", " duration_ms=\"1500\" "},
      {"duration_ms=\"0\" duration=\"0\"", " duration_ms=\"0\" "},
      {"duration_ms=\"99999999999\" duration=\"3\"", " duration_ms=\"3000\" "},
      {"duration=\"3000000\"", " duration_ms=\"2147483647\" "},
      {"bpm=\" 128.5bpm\" eql=\"abc\" eqm=\"+2\" eqh=\"-1e1\"",
       " bpm=\"128.5000\" duration_ms=\"-1\" eql=\"0.0000\" eqm=\"2.0000\" eqh=\"-10.0000\" "},
      {"pgain=\"0.0000\"", " duration_ms=\"-1\" pgain=\"0.0000\" eql"},
      {"currentcue=\"0\" cue1=\"0\" cue2=\"-3\" cue3=\"300\" cue4=\"12 frames\" cue_in=\"-9\"",
       " currentcue=\"1\" cue3=\"300\" cue4=\"12\" cue_in=\"0\" cue_out=\"-1\" pitch_key=\"-1\" "},
      {"currentcue=\"20\" cue_out=\"5\" pitch_key=\"5\"",
       " currentcue=\"20\" cue_in=\"0\" cue_out=\"5\" pitch_key=\"5\" "},
      {"currentcue=\"21\"", " currentcue=\"1\" "},
      {"loop1_in=\"0\" loop1_out=\"900\" loop2_in=\"-4\" loop2_out=\"800\" loop3_in=\"100\" "
       "loop3_out=\"-1\"",
       " cue_out=\"-1\" loop3_in=\"100\" loop3_out=\"-1\" pitch_key"},
  };
  std::vector<std::string> lines = {"<song bpm=\"100.0000\" />",  // no name: dropped
                                    "<song name=\"twice\" bpm=\"1.0000\" />",
                                    "<other name=\"other\" />",
                                    "<song name=\"twice\" bpm=\"2.0000\" />"};
  for (const auto& [attributes, written] : rules)
    lines.push_back("<song name=\"r" + std::to_string(lines.size()) + "\" " + attributes + " />");
  test::WriteFile(path, DbFileWith(lines));
  ASSERT_TRUE(LoadSongDatabase(path));
  EXPECT_EQ(SongCount(), std::size(rules) + 1);
  EXPECT_EQ(Find("twice").bpm, 2) << "the last of one name wins";
  EXPECT_EQ(Find("r14").loop_out[0], 900) << "loops are read as they stand";
  ASSERT_TRUE(SaveSongDatabase(path));
  const std::string file = test::ReadFile(path);
  EXPECT_EQ(file.find(" duration="), std::string::npos) << "the older name is not written";
  for (std::size_t i = 0; i < std::size(rules); ++i) {
    const auto at = file.find("<song name=\"r" + std::to_string(i + 4) + "\"");
    const std::string line = file.substr(at, file.find('\n', at) - at);
    EXPECT_NE(line.find(rules[i].second), std::string::npos) << line;
  }
}

// A large library: records whose optional attributes vary from one to the
// next, with floats that four decimals give back exactly.
TEST_F(SongDatabaseTest, HundredThousandRecordsRoundTripByteForByte) {
  std::vector<TZKSongRecord> records(100000);
  for (int i = 0; i < 100000; ++i) {
    TZKSongRecord& r = records[i];
    r.name = "Artist " + std::to_string(i * 7919 % 5000) + " & \"Mix\" " + std::to_string(i);
    r.bpm = (i % 7) ? 60 + (i % 1200) / 8.0f : 0;
    r.duration_ms = (i % 11) ? 30000 + i : -1;
    r.pgain_valid = i % 4 != 0;
    r.pgain = r.pgain_valid ? -12 + (i % 97) / 4.0f : 0;
    r.cue[i % 10] = r.loop_in[i % 5] = 1 + i;
    r.loop_out[i % 5] = i % 2 ? i + 88200 : -1;
  }
  std::sort(records.begin(), records.end(),
            [](const TZKSongRecord& a, const TZKSongRecord& b) { return a.name < b.name; });
  const std::string original = FormatSongDatabaseFile(records);
  test::WriteFile(path, original);
  ASSERT_TRUE(LoadSongDatabase(path));
  ASSERT_EQ(SongCount(), 100000u);
  EXPECT_EQ(Find(records[4242].name), records[4242]);
  ASSERT_TRUE(SaveSongDatabase(path));
  EXPECT_TRUE(test::ReadFile(path) == original);
  EXPECT_TRUE(test::ReadFile(path + ".bak") == original) << "the previous file is kept";
}

}  // namespace
}  // namespace vantaro
