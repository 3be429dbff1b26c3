// The waveform display drawn by the real control in a window, from stripe
// arrays with marks at known frames, read back from the control's picture:
// beats, cue and loop marks where their frames fall, in both directions;
// the track's edges and a torn stripe file; the shifted picture against a
// fresh one; the mouse's hands. And the grid's arithmetic on its own.
#include "skin/sound_display.h"

#include <gtest/gtest.h>
#include <wx/frame.h>
#include <wx/image.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "skin/attribute_list.h"
#include "tests/skin/skin_test_env.h"

namespace vantaro {
namespace {

const wxColour kBack(0, 0, 0), kData(0x20, 0x40, 0xC0), kBeat(0xF0, 0xF0, 0x20),
    kCue(0xE0, 0x20, 0x20), kLoop(0x20, 0xE0, 0x20);
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
const std::pair<const char*, const char*> kLook[] = {
    {"graphics_mode", "1"},   {"backcolor", "#000000"},  {"datacolor", "#2040C0"},
    {"beatcolor", "#F0F020"}, {"cuecolor", "#E02020"},   {"loopcolor", "#20E020"},
    {"dontshowtext", "yes"},  {"dontshowcursor", "yes"}, {"dontshowzoombuttons", "yes"}};

// A track of `count` stripes at level 0.3 with a beat every `beatEvery`.
class FakeFeed : public WaveFeed {
 public:
  std::vector<float> stripes;
  WaveDeckState state;
  int begins = 0, ends = 0, scratched = 0;
  double seekTo = -1;

  FakeFeed(int count, int beatEvery, double position) : stripes(count, 0.3f) {
    for (int s = beatEvery; beatEvery > 0 && s < count; s += beatEvery) stripes[s] = 55.0f;
    state.loaded = true;
    state.length = static_cast<std::int64_t>(count) * kFramesPerStripe;
    state.position = position;
  }
  WaveDeckState State() const override { return state; }
  void CopyStripes(StripeSpan span, StripeWindow& window) override {
    CopyStripeRange(stripes, state.loaded ? stripes.size() : 0, span, window);
  }
  void BeginScratch() override { ++begins; }
  void MoveScratch(int frames) override { scratched += frames; }
  void EndScratch() override { ++ends; }
  void Seek(double frame) override { seekTo = frame; }
};

class SoundDisplayTest : public ::testing::Test {
 protected:
  void SetUp() override {
    frame_ = new wxFrame(nullptr, wxID_ANY, "waves", wxPoint(0, 0), wxSize(640, 480));
    frame_->Show();
  }
  void TearDown() override { frame_->Destroy(); }  // and the displays on it

  // A display with the test's colours and no cursor, text or zoom signs
  // unless `extra` asks; `cursor` -1 leaves it in the middle.
  CZKSoundDisplay* Make(FakeFeed* feed, int width, int height, int zoom, int cursor,
                        std::pair<const char*, const char*> extra = {"", ""}) {
    auto* display = new CZKSoundDisplay(frame_, 1, 0);
    display->UseFeed(std::unique_ptr<WaveFeed>(feed));
    ZKAttributeList attributes;
    attributes.SetInt("width", width);
    attributes.SetInt("height", height);
    if (cursor >= 0) attributes.SetInt("cursorpos", cursor);
    for (const auto& [name, value] : kLook) attributes.SetText(name, value);
    attributes.SetText(extra.first, extra.second);
    display->ApplySkinAttributes(attributes);
    display->SetZoomIndex(zoom);
    return display;
  }

  wxFrame* frame_ = nullptr;
};

bool Is(const wxImage& image, int x, int y, const wxColour& colour) {
  return std::abs(image.GetRed(x, y) - colour.Red()) < 8 &&
         std::abs(image.GetGreen(x, y) - colour.Green()) < 8 &&
         std::abs(image.GetBlue(x, y) - colour.Blue()) < 8;
}

// Places along the display where the line `across` has `colour`.
std::vector<int> Along(const wxImage& image, bool vertical, int across, const wxColour& colour) {
  std::vector<int> found;
  for (int along = 0; along < (vertical ? image.GetHeight() : image.GetWidth()); ++along)
    if (Is(image, vertical ? across : along, vertical ? along : across, colour))
      found.push_back(along);
  return found;
}

// One line within a column of each expected place and none elsewhere, away
// from the ends where a place may round off the display.
void ExpectOneLineEach(const std::vector<int>& lines, const std::vector<double>& places,
                       int length) {
  const auto near = [](double a, double b) { return std::abs(a - b) <= 1.0; };
  for (double place : places) {
    if (place < 3 || place > length - 3) continue;
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(), [&](int l) { return near(l, place); }), 1)
        << "at " << place;
  }
  for (int line : lines) {
    if (line < 3 || line > length - 3) continue;
    EXPECT_TRUE(std::any_of(places.begin(), places.end(), [&](double p) { return near(line, p); }))
        << "a line at " << line << " stands for no mark";
  }
}

TEST_F(SoundDisplayTest, BeatsAndCueFallOnTheirColumnsInBothDirections) {
  // Zooms where beats 24 stripes apart are 2 pixels or more apart.
  const std::tuple<int, int, int> cases[] = {{400, 60, 0}, {400, 60, 2}, {400, 60, 4},
                                             {400, 60, 8}, {60, 300, 1}, {60, 300, 6}};
  for (const auto& [width, height, zoom] : cases) {
    auto* feed = new FakeFeed(20000, 24, 61234.5);
    feed->state.cue = 61200;  // between two beats
    CZKSoundDisplay* display = Make(feed, width, height, zoom, 100);
    const wxImage image = display->Snapshot();
    // The cursor's column plus the distance in columns.
    const auto place = [zoom](double frame) {
      return 100 + (frame - 61234.5) / (kWaveZoomSteps[zoom] * kFramesPerStripe);
    };
    std::vector<double> beats;
    for (int s = 24; s < 20000; s += 24) beats.push_back(place(s * 100.0));
    const bool vertical = height > width;
    ExpectOneLineEach(Along(image, vertical, 3, kBeat), beats, std::max(width, height));
    ExpectOneLineEach(Along(image, vertical, 3, kCue), {place(61200)}, std::max(width, height));
  }
}

TEST_F(SoundDisplayTest, MarksAtTheEdgesAndLoopFeet) {
  // One stripe a column and the cursor at 0: frame f stands at column
  // (f - 40000) / 100. Column 0 is the edge: no cue there.
  const std::pair<std::int32_t, std::size_t> cues[] = {
      {40000, 0}, {40100, 1}, {40000 + 39900, 1}, {40000 + 40000, 0}, {0, 0}};
  for (const auto& [cue, lines] : cues) {
    auto* feed = new FakeFeed(5000, 0, 40000);
    feed->state.cue = cue;
    CZKSoundDisplay* display = Make(feed, 400, 50, 1, 0);
    EXPECT_EQ(Along(display->Snapshot(), false, 10, kCue).size(), lines) << cue;
  }
  // In at column 50, out at 150; the feet point into the loop at the top
  // and the bottom; an open loop shows its in point only.
  const std::tuple<bool, bool, std::vector<int>, std::vector<int>> loops[] = {
      {false, false, {}, {}},
      {true, false, {50}, {50, 51, 52}},
      {false, true, {50, 150}, {50, 51, 52, 148, 149, 150}}};
  for (const auto& [open, closed, lines, withFeet] : loops) {
    auto* feed = new FakeFeed(5000, 0, 40000);
    feed->state.loopIn = 45000;
    feed->state.loopOut = 55000;
    feed->state.loopOpen = open;
    feed->state.loopClosed = closed;
    CZKSoundDisplay* display = Make(feed, 400, 50, 1, 0);
    const wxImage image = display->Snapshot();
    EXPECT_EQ(Along(image, false, 10, kLoop), lines);
    EXPECT_EQ(Along(image, false, 0, kLoop), withFeet);
    EXPECT_EQ(Along(image, false, 49, kLoop), withFeet);
  }
}

TEST_F(SoundDisplayTest, TrackEdgesATornStripeFileAndStripesArriving) {
  // At the track's start with the cursor at 150, the columns before it stay
  // empty; bad stripes draw flat, loud ones clipped, signed ones as levels.
  auto* feed = new FakeFeed(1000, 0, 0);
  const float torn[] = {kNaN, kInf, -kInf, 1e30f, 93.0f, -55.0f};
  std::copy(std::begin(torn), std::end(torn), feed->stripes.begin() + 5);
  feed->stripes[11] = 4.0f;
  feed->stripes[12] = -0.5f;
  CZKSoundDisplay* display = Make(feed, 300, 41, 1, 150);
  wxImage image = display->Snapshot();
  const int centre = 20, half = 18;
  for (int x = 0; x < 300; ++x) {
    int lit = 0;
    for (int y = 0; y < 41; ++y) lit += Is(image, x, y, kData);
    const int stripe = x - 150;
    int expected = 2 * 5 + 1;  // 0.3 of 18 pixels up and down
    if (stripe < 0) expected = 0;
    if (stripe >= 5 && stripe <= 10) expected = 1;
    if (stripe == 11) expected = 2 * half + 1;
    if (stripe == 12) expected = 2 * 9 + 1;
    EXPECT_EQ(lit, expected) << "stripe " << stripe;
  }
  // Stripes that arrive (a track still decoding) fill their columns in,
  // and only those; a tick that finds nothing new draws nothing.
  EXPECT_EQ(display->Tick(), 0);
  for (int s = 100; s < 120; ++s) feed->stripes[s] = 0.0f;
  EXPECT_EQ(display->Tick(), 20);
  EXPECT_TRUE(Is(display->Snapshot(), 260, centre - 1, kBack));
  // 50 stripes before the end: a flat line past it.
  feed->state.position = (1000 - 50) * 100;
  display->Tick();
  image = display->Snapshot();
  for (int x = 205; x < 300; ++x)
    EXPECT_TRUE(Is(image, x, centre, kData) && Is(image, x, centre - 1, kBack)) << x;
  // No track: the idle line only.
  feed->state = WaveDeckState{};
  display->Tick();
  image = display->Snapshot();
  EXPECT_TRUE(Along(image, false, 3, kData).empty());
  EXPECT_GT(Along(image, false, centre, kData).size(), 50u);
}

TEST_F(SoundDisplayTest, ShiftedPictureEqualsAFreshOneAndCostsOnlyNewColumns) {
  // 100 ticks of 40 ms at 1.5 stripes a column and a speed of 1.037: 12.2
  // columns a tick. Each tick draws only the columns that scrolled in, the
  // marks move with the picture and never back, and at the end the picture
  // equals a fresh display's; so does it after a zoom change.
  const auto same = [](const wxImage& a, const wxImage& b) {
    return a.GetSize() == b.GetSize() &&
           std::memcmp(a.GetData(), b.GetData(), a.GetWidth() * a.GetHeight() * 3) == 0;
  };
  for (bool vertical : {false, true}) {
    const int width = vertical ? 50 : 320, height = vertical ? 320 : 50;
    auto* feed = new FakeFeed(40000, 37, 250000);
    feed->state.cue = 300000;
    CZKSoundDisplay* display = Make(feed, width, height, 2, -1);
    std::vector<int> lastBeats, lastCue;
    for (int tick = 0; tick < 100; ++tick, feed->state.position += 1764.0 * 1.037) {
      const int drawn = display->Tick();
      const wxImage image = display->Snapshot();
      const std::vector<int> beats = Along(image, vertical, 3, kBeat);
      const std::vector<int> cue = Along(image, vertical, 3, kCue);
      bool moved = tick == 0;
      for (int shift : {12, 13})
        moved = moved || std::all_of(beats.begin(), beats.end(), [&](int beat) {
                  return beat + shift >= 320 ||
                         std::count(lastBeats.begin(), lastBeats.end(), beat + shift) == 1;
                });
      EXPECT_TRUE(moved) << "tick " << tick;
      EXPECT_TRUE(tick == 0 || drawn <= 14) << tick;
      EXPECT_TRUE(cue.empty() || lastCue.empty() || cue[0] <= lastCue[0]) << tick;
      lastBeats = beats;
      lastCue = cue;
    }
    display->Tick();
    auto* fresh = new FakeFeed(40000, 37, 0);
    fresh->state = feed->state;
    CZKSoundDisplay* other = Make(fresh, width, height, 2, -1);
    EXPECT_TRUE(same(display->Snapshot(), other->Snapshot())) << vertical;
    // Near the start, where the two grids' origins lie less than a picture
    // apart.
    feed->state.position = fresh->state.position = 30000.3;
    display->Tick();
    display->SetZoomIndex(3);
    other->SetZoomIndex(3);
    EXPECT_TRUE(same(display->Snapshot(), other->Snapshot())) << vertical;
  }
}

TEST_F(SoundDisplayTest, MouseScratchesSeeksAndZooms) {
  // 400 x 60 at 2 stripes (200 frames) a column, the cursor at 200.
  struct Case {
    bool playing;
    std::vector<std::pair<int, int>> path;  // event kind, x
    int scratches, scratched;
    double seekTo;
    int zoom;
  };
  const Case cases[] = {
      {false, {{mt_DOWN, 250}, {mt_UP, 250}}, 0, 0, 100000 + 50 * 200, 3},  // a click seeks
      {true, {{mt_DOWN, 250}, {mt_UP, 250}}, 0, 0, -1, 3},                  // not while playing
      // A drag: the track follows the hand, from the press on.
      {true, {{mt_DOWN, 100}, {mt_MOVE, 102}, {mt_MOVE, 90}, {mt_UP, 90}}, 1, 10 * 200, -1, 3},
      {false, {{mt_DOWN, 100}, {mt_MOVE, 130}, {mt_UP, 130}}, 1, -30 * 200, -1, 3},
      {false, {{mt_DOWN, 400 - 23}}, 0, 0, -1, 4},  // minus: a wider view
      {false, {{mt_DOWN, 400 - 10}}, 0, 0, -1, 2},  // plus: closer
  };
  for (const Case& c : cases) {
    auto* feed = new FakeFeed(5000, 0, 100000);
    feed->state.playing = c.playing;
    CZKSoundDisplay* display = Make(feed, 400, 60, 3, -1, {"dontshowzoombuttons", "no"});
    for (const auto& [kind, x] : c.path)
      display->OnControlEvent(ControlEvent::Mouse(kind, x, x > 370 ? 51 : 20, kButtonLeft, 0));
    EXPECT_EQ(feed->begins, c.scratches);
    EXPECT_EQ(feed->ends, c.scratches);
    EXPECT_EQ(feed->scratched, c.scratched);
    EXPECT_DOUBLE_EQ(feed->seekTo, c.seekTo);
    EXPECT_EQ(display->ZoomIndex(), c.zoom);
  }
}

TEST(WaveGeometry, BeatBarAndTimeText) {
  const std::pair<float, int> marks[] = {{-0.5f, 0}, {-0.13f, 3}, {0.0f, 4},  {0.13f, 5},
                                         {0.5f, 8},  {3.0f, 8},   {-3.0f, 0}, {kNaN, 4}};
  for (const auto& [difference, mark] : marks) EXPECT_EQ(BeatDiffMark(difference), mark);
  const std::tuple<double, bool, std::string> times[] = {{0, false, "0:00.0"},
                                                         {-500, false, "0:00.0"},
                                                         {44100 * 61.56, false, "1:01.5"},
                                                         {44100 * 61.5, true, "-1:01.5"},
                                                         {kNaN, true, "-0:00.0"}};
  for (const auto& [frames, remaining, text] : times) {
    char out[32];
    FormatWaveTime(frames, remaining, out, sizeof out);
    EXPECT_EQ(out, text);
  }
}

}  // namespace
}  // namespace vantaro
