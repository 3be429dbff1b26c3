// The deck's texts: times that stay within a tenth of a second of the deck,
// the tempo with the pitch applied, and the title counting a long load up
// while the deck already plays what it has.
#include "app/deck_texts.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <set>

#include "analysis/analysis_worker.h"
#include "analysis/deck_analysis.h"
#include "app/deck_load.h"
#include "control/language.h"
#include "tests/engine/deck_test_rig.h"

namespace vantaro {
namespace {

// Seconds of a "[-]m:ss.t" text; NaN when it is not one.
double SecondsOf(const std::string& text) {
  int minutes = 0, seconds = 0, tenths = 0;
  char extra = 0;
  const char* start = text.c_str() + (text.rfind('-', 0) == 0 ? 1 : 0);
  if (std::sscanf(start, "%d:%2d.%1d%c", &minutes, &seconds, &tenths, &extra) != 3 || seconds > 59)
    return NAN;
  return minutes * 60.0 + seconds + tenths / 10.0;
}

TEST(DeckTexts, TimesStayWithinATenthOfTheDeckAndNeverRunAhead) {
  const std::int64_t kHour = 3600LL * 44100;
  const std::int64_t lengths[] = {1, 4410, 44100 * 3 + 17, kHour + 1};
  for (const std::int64_t length : lengths) {
    for (std::int64_t position = 0; position <= length;
         position += std::max<std::int64_t>(length / 997, 1)) {
      std::string elapsed, remaining;
      FormatDeckTimes(position, length, &elapsed, &remaining);
      const double at = position / 44100.0, left = (length - position) / 44100.0;
      const double shownAt = SecondsOf(elapsed), shownLeft = SecondsOf(remaining);
      ASSERT_EQ(remaining.front(), '-') << remaining;
      ASSERT_TRUE(shownAt <= at + 1e-9 && at - shownAt < 0.1) << elapsed << " at " << at;
      ASSERT_TRUE(shownLeft >= left - 1e-9 && shownLeft - left < 0.1)
          << remaining << " of " << left;
    }
  }
  // The ends: the start, the last frame, past the end (a seek in flight).
  const struct {
    std::int64_t position, length;
    const char* elapsed;
    const char* remaining;
  } ends[] = {
      {0, 44100 * 61, "0:00.0", "-1:01.0"},
      {44100 * 61 - 1, 44100 * 61, "1:00.9", "-0:00.1"},
      {44100 * 61, 44100 * 61, "1:01.0", "-0:00.0"},
      {44100 * 62, 44100 * 61, "1:02.0", "-0:00.0"},
      {-500, 44100, "0:00.0", "-0:01.1"},
  };
  for (const auto& e : ends) {
    std::string elapsed, remaining;
    FormatDeckTimes(e.position, e.length, &elapsed, &remaining);
    EXPECT_EQ(elapsed, e.elapsed);
    EXPECT_EQ(remaining, e.remaining);
  }
}

TEST(DeckTexts, TempoCarriesThePitchAndIsBlankUntilKnown) {
  const struct {
    float bpm;
    int pitch;
    const char* tempo;
    const char* percent;
  } cases[] = {
      {128.0f, 0, "128.00", "0.00%"},
      {128.0f, 800, "138.24", "+8.00%"},
      {128.0f, -800, "117.76", "-8.00%"},
      {174.5f, 1, "174.52", "+0.01%"},
      {0.0f, 800, "", "+8.00%"},
      {-3.0f, 0, "", "0.00%"},
      {NAN, 0, "", "0.00%"},
      {INFINITY, 0, "", "0.00%"},
      {128.0f, -10000, "0.00", "-100.00%"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(FormatDeckTempo(c.bpm, c.pitch), c.tempo) << c.bpm << " at " << c.pitch;
    EXPECT_EQ(FormatPitchPercent(c.pitch), c.percent) << c.pitch;
  }
}

TEST(DeckTexts, LanguageTextsAreFilledNeverFormattedAndTitlesLoseTheirEnding) {
  const struct {
    const char* text;
    const char* filled;
  } texts[] = {
      {"Loading into memory: %d%%", "Loading into memory: 42%"},
      {"%d", "42"},
      {"%s %n %d", "%s %n 42"},  // a translator's slip stays text
      {"100%", "100%"},
      {"", ""},
  };
  for (const auto& t : texts) EXPECT_EQ(FillPercentText(t.text, 42), t.filled) << t.text;
  const struct {
    const char* path;
    const char* title;
  } titles[] = {
      {"Song.mp3", "Song"}, {"/m/a.b/Track 1.flac", "Track 1"},
      {"a.b.c", "a.b"},     {".hidden", ".hidden"},
      {"name.", "name"},    {"plain", "plain"},
  };
  for (const auto& t : titles) EXPECT_EQ(SongTitleOf(t.path), t.title) << t.path;
}

// A notice stands for its ticks, then gives way.
TEST(DeckTexts, ANoticeLastsItsTicksOnItsOwnDeck) {
  ShowDeckNotice(1, "x.mp3: not audio", 3);
  EXPECT_EQ(TakeDeckNoticeTick(0), "");
  for (int tick = 0; tick < 3; ++tick) EXPECT_EQ(TakeDeckNoticeTick(1), "x.mp3: not audio");
  EXPECT_EQ(TakeDeckNoticeTick(1), "");
}

// A 20-minute song: the title counts up at least three steps before the
// whole song is in memory, and the deck plays from the first blocks.
TEST(DeckTexts, ALongLoadCountsUpAndPlaysBeforeItEnds) {
  ASSERT_TRUE(LoadLanguageText(
      "<languagestrings><string action=\"txt_loading_progress_ram\" value=\"RAM %d%%\"/>"
      "<string action=\"txt_loading_progress_disk\" value=\"DISK %d%%\"/></languagestrings>",
      TheLanguage()));
  const std::int64_t frames = 20LL * 60 * 44100;
  test::AvailKBOverride memory(2u * 1024 * 1024);  // the whole song fits
  CSoundSource deck(0, "/nonexistent/");
  deck.UseDecoder(std::make_unique<test::GeneratedDecoder>(frames, 12000));
  ASSERT_TRUE(deck.StartStoreThread());
  ASSERT_EQ(deck.LoadSong("/generated/twenty minutes.wav", false, nullptr, false), 1);
  std::set<std::string> steps;
  bool played = false;
  std::vector<float> out(2 * 4410);
  ASSERT_TRUE(test::WaitFor(
      [&] {
        if (deck.GetDecodedPercent() >= 100) return true;
        const std::string title = DeckTitleText(deck, 0);
        if (title.rfind("RAM ", 0) == 0) steps.insert(title);
        if (deck.IsSongReady() && !played) {
          deck.Play(1);
          std::fill(out.begin(), out.end(), 0.0f);
          for (int block = 0; block < 20 && !played; ++block) {
            deck.Render(out.data(), 4410);
            played = test::LeftPeak(out) > 0.1;
          }
        }
        return false;
      },
      600000));
  EXPECT_GE(steps.size(), 3u);
  EXPECT_TRUE(played) << "no sound before the load was complete";
  EXPECT_EQ(DeckTitleText(deck, 0), "twenty minutes");
  deck.StopStoreThread();
}

// A sox click track at 128 BPM through the deck's own analysis: the text
// reads what a DJ counts, and the pitch moves it.
TEST(DeckTexts, ASoxClickTrackReads128AndTheClassicEightPercentMore) {
  test::TempDir dir;
  const std::string stripes = dir.Path() + "/Stripes/";
  std::filesystem::create_directory(stripes);
  const std::string path = dir.File("clicks 128.wav");
  // A 20 ms click every 60/128 s, 160 times (75 s).
  ASSERT_EQ(test::RunCommand("sox -n -r 44100 -c 2 -b 16 '" + path +
                             "' synth 0.02 sine 1000 pad 0 0.44875 repeat 159"),
            0);
  test::DeckRig rig(50);
  CSoundSource& deck = rig.AddDeck(0);
  AnalysisWorker worker{stripes, nullptr, nullptr};
  deck.SetAnalysisFeed(std::make_unique<DeckAnalysis>(
      stripes, [&worker](const std::string& file) { worker.QueueForAnalysis(file); }));
  ASSERT_TRUE(rig.Load(path));
  ASSERT_TRUE(test::WaitFor([&] { return deck.GetUiState() == kUiAllDone; }));
  rig.Render(50);  // the render publishes the tempo under the position
  EXPECT_EQ(FormatDeckTempo(deck.GetBPM(), 0), "128.00");
  EXPECT_EQ(FormatDeckTempo(deck.GetBPM(), 800), "138.24");
}

}  // namespace
}  // namespace vantaro
