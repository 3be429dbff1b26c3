// The waveform display drawn by the real control in a window: stripe arrays
// with marks at known frames, read back from the control's picture. Beats,
// cue and loop marks where their frames fall, in both directions; the track's
// edges; the shifted picture against a fresh one; the mouse's hands.
#include "skin/sound_display.h"

#include <gtest/gtest.h>
#include <wx/frame.h>
#include <wx/image.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <mutex>
#include <utility>
#include <vector>

#include "skin/attribute_list.h"
#include "tests/skin/skin_test_env.h"

namespace vantaro {
namespace {

const wxColour kBack(0, 0, 0), kData(0x20, 0x40, 0xC0), kBeat(0xF0, 0xF0, 0x20),
    kCue(0xE0, 0x20, 0x20), kLoop(0x20, 0xE0, 0x20), kCursor(0xFF, 0xFF, 0xFF);

// Stripes of the tests: a quiet level with beats every `beatEvery` stripes.
class FakeFeed : public WaveFeed {
 public:
  std::vector<float> stripes;
  WaveDeckState state;
  int begins = 0, ends = 0, scratched = 0;
  double seekTo = -1;

  FakeFeed(int count, int beatEvery) : stripes(count, 0.3f) {
    for (int s = beatEvery; beatEvery > 0 && s < count; s += beatEvery) stripes[s] = 55.0f;
    state.loaded = true;
    state.length = static_cast<std::int64_t>(count) * kFramesPerStripe;
  }
  WaveDeckState State() const override { return state; }
  void CopyStripes(StripeSpan span, StripeWindow& window) override {
    const auto size = static_cast<std::int64_t>(stripes.size());
    window.arraySize = state.loaded ? size : 0;
    window.first = std::clamp<std::int64_t>(span.from, 0, window.arraySize);
    const std::int64_t to = std::clamp<std::int64_t>(span.to, window.first, window.arraySize);
    window.values.assign(stripes.begin() + window.first, stripes.begin() + to);
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
  void TearDown() override { frame_->Destroy(); }

  // A display `width` x `height` with colours of its own, no text, no zoom
  // signs and no cursor unless `extra` asks for them.
  CZKSoundDisplay* Make(FakeFeed* feed, int width, int height,
                        std::initializer_list<std::pair<const char*, const char*>> extra = {}) {
    auto* display = new CZKSoundDisplay(frame_, 1, 0);
    display->UseFeed(std::unique_ptr<WaveFeed>(feed));
    ZKAttributeList attributes;
    attributes.SetInt("width", width);
    attributes.SetInt("height", height);
    for (const auto& [name, value] : {std::pair{"graphics_mode", "1"},
                                      {"backcolor", "#000000"},
                                      {"datacolor", "#2040C0"},
                                      {"beatcolor", "#F0F020"},
                                      {"cuecolor", "#E02020"},
                                      {"loopcolor", "#20E020"},
                                      {"cursorcolor", "#FFFFFF"},
                                      {"dontshowtext", "yes"},
                                      {"dontshowzoombuttons", "yes"},
                                      {"dontshowcursor", "yes"}})
      attributes.SetText(name, value);
    for (const auto& [name, value] : extra) attributes.SetText(name, value);
    display->ApplySkinAttributes(attributes);
    return display;
  }

  wxFrame* frame_ = nullptr;
};

bool Is(const wxImage& image, int x, int y, const wxColour& colour) {
  return std::abs(image.GetRed(x, y) - colour.Red()) < 8 &&
         std::abs(image.GetGreen(x, y) - colour.Green()) < 8 &&
         std::abs(image.GetBlue(x, y) - colour.Blue()) < 8;
}

// Positions along the display where the line `across` has `colour`.
std::vector<int> Along(const wxImage& image, bool vertical, int across, const wxColour& colour) {
  std::vector<int> found;
  const int length = vertical ? image.GetHeight() : image.GetWidth();
  for (int along = 0; along < length; ++along)
    if (Is(image, vertical ? across : along, vertical ? along : across, colour))
      found.push_back(along);
  return found;
}

// Where a frame should show: the cursor's column plus the distance in
// columns (the test's own arithmetic; the display may round either way).
double ExpectedAlong(double frame, double position, int cursor, double stripesPerColumn) {
  return cursor + (frame - position) / (stripesPerColumn * kFramesPerStripe);
}

// One line within a column of each expected place, and no line elsewhere,
// away from the ends where a place may round off the display.
void ExpectOneLineEach(const std::vector<int>& lines, const std::vector<double>& expected,
                       int length) {
  int inside = 0;
  for (double place : expected) {
    if (place < 3 || place > length - 3) continue;
    ++inside;
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [place](int line) { return std::abs(line - place) <= 1.0; }),
              1)
        << "no single line at " << place;
  }
  for (int line : lines) {
    if (line < 3 || line > length - 3) continue;
    EXPECT_TRUE(std::any_of(expected.begin(), expected.end(),
                            [line](double place) { return std::abs(line - place) <= 1.0; }))
        << "a line at " << line << " stands for no mark";
  }
  EXPECT_GT(inside, 1);
}

TEST_F(SoundDisplayTest, BeatsAndCueFallOnTheirColumnsInBothDirections) {
  struct Case {
    int width, height, zoom;
  };
  // Zooms where beats 24 stripes apart are 2 pixels or more apart.
  const Case cases[] = {{400, 60, 0}, {400, 60, 2}, {400, 60, 4}, {400, 60, 8},
                        {60, 300, 1}, {60, 300, 2}, {60, 300, 6}};
  for (const Case& c : cases) {
    auto* feed = new FakeFeed(20000, 24);
    feed->state.position = 61234.5;
    feed->state.cue = 61200;  // between two beats
    CZKSoundDisplay* display = Make(feed, c.width, c.height, {{"cursorpos", "100"}});
    display->SetZoomIndex(c.zoom);
    display->Tick();
    const wxImage image = display->Snapshot();
    const bool vertical = c.height > c.width;
    const double ratio = kWaveZoomSteps[c.zoom];
    const int length = std::max(c.width, c.height);
    std::vector<double> expected;
    for (int s = 24; s < 20000; s += 24)
      expected.push_back(ExpectedAlong(s * 100.0, 61234.5, 100, ratio));
    ExpectOneLineEach(Along(image, vertical, 3, kBeat), expected, length);
    const std::vector<int> cue = Along(image, vertical, 3, kCue);
    ASSERT_EQ(cue.size(), 1u) << "zoom " << c.zoom;
    EXPECT_NEAR(cue[0], ExpectedAlong(61200, 61234.5, 100, ratio), 1);
    display->Destroy();
  }
}

TEST_F(SoundDisplayTest, MarksAtTheEdgesAndLoopFeet) {
  // Zoom 1 stripe a column: frame f stands at column (f - position) / 100 + cursor.
  struct Case {
    std::int32_t cue;
    bool shown;
  };
  const Case cues[] = {{40000, false},
                       {40100, true},
                       {40000 + 399 * 100, true},
                       {40000 + 400 * 100, false},
                       {0, false}};
  for (const Case& c : cues) {
    auto* feed = new FakeFeed(5000, 0);
    feed->state.position = 40000;  // column 0 at the cursor
    feed->state.cue = c.cue;
    CZKSoundDisplay* display = Make(feed, 400, 50, {{"cursorpos", "0"}});
    display->SetZoomIndex(1);
    display->Tick();
    EXPECT_EQ(Along(display->Snapshot(), false, 10, kCue).size(), c.shown ? 1u : 0u) << c.cue;
    display->Destroy();
  }

  struct LoopCase {
    bool open, closed;
    std::vector<int> marks;  // columns of the full lines
  };
  const LoopCase loops[] = {{false, false, {}}, {true, false, {50}}, {false, true, {50, 150}}};
  for (const LoopCase& c : loops) {
    auto* feed = new FakeFeed(5000, 0);
    feed->state.position = 40000;
    feed->state.loopIn = 45000;
    feed->state.loopOut = 55000;
    feed->state.loopOpen = c.open;
    feed->state.loopClosed = c.closed;
    CZKSoundDisplay* display = Make(feed, 400, 50, {{"cursorpos", "0"}});
    display->SetZoomIndex(1);
    display->Tick();
    const wxImage image = display->Snapshot();
    EXPECT_EQ(Along(image, false, 10, kLoop), c.marks);
    // The feet point into the loop, two pixels, at the top and the bottom.
    std::vector<int> feet;
    for (int mark : c.marks) {
      const int side = mark == 50 ? 1 : -1;
      feet.insert(feet.end(), {mark + side * 1, mark + side * 2});
    }
    std::sort(feet.begin(), feet.end());
    std::vector<int> marksAndFeet = feet;
    marksAndFeet.insert(marksAndFeet.end(), c.marks.begin(), c.marks.end());
    std::sort(marksAndFeet.begin(), marksAndFeet.end());
    EXPECT_EQ(Along(image, false, 0, kLoop), marksAndFeet);
    EXPECT_EQ(Along(image, false, 49, kLoop), marksAndFeet);
    display->Destroy();
  }
}

TEST_F(SoundDisplayTest, TrackEdgesAndATornStripeFile) {
  // At the track's start with the cursor in the middle, the columns before
  // it stay empty; past the end a flat line runs in the middle.
  auto* feed = new FakeFeed(1000, 0);
  feed->stripes[5] = std::numeric_limits<float>::quiet_NaN();
  feed->stripes[6] = std::numeric_limits<float>::infinity();
  feed->stripes[7] = -std::numeric_limits<float>::infinity();
  feed->stripes[8] = 1e30f;
  feed->stripes[9] = 93.0f;
  feed->stripes[10] = 4.0f;
  CZKSoundDisplay* display = Make(feed, 300, 41, {{"cursorpos", "150"}});
  display->SetZoomIndex(1);
  display->Tick();
  wxImage image = display->Snapshot();
  const int centre = 41 / 2, half = centre - 2;
  for (int x = 0; x < 300; ++x) {
    int lit = 0;
    for (int y = 0; y < 41; ++y) lit += Is(image, x, y, kData);
    const int stripe = x - 150;
    int expected = -1;
    if (stripe < 0) expected = 0;                  // before the start
    if (stripe >= 5 && stripe <= 9) expected = 1;  // torn: flat
    if (stripe == 10) expected = 2 * half + 1;     // clipped
    if (expected >= 0) {
      EXPECT_EQ(lit, expected) << "stripe " << stripe;
    }
    EXPECT_LE(lit, 2 * half + 1) << x;
  }
  EXPECT_TRUE(Is(image, 151, centre - half + 1, kBack)) << "a level of 0.3 is not full";
  EXPECT_TRUE(Is(image, 151, centre - 4, kData));

  feed->state.position = 1000 * 100 - 50 * 100;  // 50 stripes before the end
  display->Tick();
  image = display->Snapshot();
  for (int x = 205; x < 300; ++x) {
    EXPECT_TRUE(Is(image, x, centre, kData)) << x;
    EXPECT_TRUE(Is(image, x, centre - 1, kBack)) << x;
  }

  // No track: the idle line only, and a tick does no harm.
  feed->state = WaveDeckState{};
  display->Tick();
  image = display->Snapshot();
  EXPECT_EQ(Along(image, false, 3, kData).size(), 0u);
  EXPECT_GT(Along(image, false, centre, kData).size(), 50u);
  display->Destroy();
}

TEST_F(SoundDisplayTest, ShiftedPictureEqualsAFreshOneAndCostsOnlyNewColumns) {
  // 100 ticks of 40 ms at a non-integral zoom and a speed that is no whole
  // number of columns: the scrolled picture equals a fresh one at the end,
  // the columns drawn each tick are those that scrolled in, and no mark
  // ever moves backwards.
  for (bool vertical : {false, true}) {
    auto* feed = new FakeFeed(40000, 37);
    feed->state.cue = 300000;
    const int width = vertical ? 50 : 320, height = vertical ? 320 : 50, length = 320;
    CZKSoundDisplay* display = Make(feed, width, height);
    display->SetZoomIndex(2);  // 1.5 stripes a column
    double position = 250000;
    int lastCue = 1 << 30;
    std::vector<int> lastBeats;
    for (int tick = 0; tick < 100; ++tick) {
      feed->state.position = position;
      const int drawn = display->Tick();
      const double step = 1764.0 * 1.037 / 150.0;  // columns a tick
      if (tick > 0) {
        EXPECT_LE(drawn, static_cast<int>(std::ceil(step)) + 1) << tick;
      }
      const wxImage image = display->Snapshot();
      const std::vector<int> cue = Along(image, vertical, 3, kCue);
      const std::vector<int> beats = Along(image, vertical, 3, kBeat);
      if (!cue.empty()) {
        EXPECT_LE(cue[0], lastCue) << "tick " << tick;
        lastCue = cue[0];
      }
      // The beats move with the scroll, by its whole columns, towards the start.
      if (tick > 0) {
        bool movedTogether = false;
        for (int shift : {12, 13}) {
          bool all = true;
          for (int beat : beats)
            if (beat + shift < length &&
                !std::count(lastBeats.begin(), lastBeats.end(), beat + shift))
              all = false;
          movedTogether = movedTogether || all;
        }
        EXPECT_TRUE(movedTogether) << "tick " << tick;
      }
      lastBeats = beats;
      position += 1764.0 * 1.037;
    }
    auto* fresh = new FakeFeed(40000, 37);
    fresh->state = feed->state;
    CZKSoundDisplay* other = Make(fresh, width, height);
    other->SetZoomIndex(2);
    const wxImage a = display->Snapshot(), b = other->Snapshot();
    EXPECT_EQ(0, std::memcmp(a.GetData(), b.GetData(), width * height * 3)) << vertical;

    // A zoom change starts the picture over from the new grid: the same
    // as a display that had that zoom all along. Near the start, where the
    // two grids' origins lie less than a picture apart.
    feed->state.position = 30000.3;
    display->Tick();
    display->SetZoomIndex(3);
    auto* zoomed = new FakeFeed(40000, 37);
    zoomed->state = feed->state;
    CZKSoundDisplay* third = Make(zoomed, width, height);
    third->SetZoomIndex(3);
    const wxImage c = display->Snapshot(), d = third->Snapshot();
    EXPECT_EQ(0, std::memcmp(c.GetData(), d.GetData(), width * height * 3)) << vertical;
    for (CZKSoundDisplay* each : {display, other, third}) each->Destroy();
  }
}

TEST_F(SoundDisplayTest, TheWaveFillsInAsStripesArrive) {
  auto* feed = new FakeFeed(5000, 0);
  std::fill(feed->stripes.begin(), feed->stripes.end(), 0.0f);
  feed->state.position = 10000;
  CZKSoundDisplay* display = Make(feed, 200, 40, {{"cursorpos", "0"}});
  display->SetZoomIndex(1);
  EXPECT_EQ(display->Tick(), 0) << "nothing moved, nothing changed";
  for (int s = 150; s < 170; ++s) feed->stripes[s] = 0.8f;  // columns 50..69
  EXPECT_EQ(display->Tick(), 20);
  const wxImage image = display->Snapshot();
  EXPECT_TRUE(Is(image, 60, 8, kData));
  EXPECT_TRUE(Is(image, 80, 8, kBack));
  display->Destroy();
}

TEST_F(SoundDisplayTest, MouseScratchesSeeksAndZooms) {
  // 400 x 60, cursor at 200, 2 stripes (200 frames) a column.
  struct Case {
    bool playing;
    std::vector<std::pair<int, int>> path;  // kind, x; y is 20
    int begins, ends, scratched;
    double seekTo;
    int zoom;
  };
  const Case cases[] = {
      {false, {{mt_DOWN, 250}, {mt_UP, 250}}, 0, 0, 0, 100000 + 50 * 200, 3},  // click: seek
      {true, {{mt_DOWN, 250}, {mt_UP, 250}}, 0, 0, 0, -1, 3},                  // playing: no seek
      {false, {{mt_DOWN, 0}, {mt_UP, 0}}, 0, 0, 0, 100000 - 200 * 200, 3},
      {true,
       {{mt_DOWN, 100}, {mt_MOVE, 102}, {mt_MOVE, 110}, {mt_MOVE, 90}, {mt_UP, 90}},
       1,
       1,
       10 * 200,
       -1,
       3},  // drag: the track follows the hand
      {false, {{mt_DOWN, 100}, {mt_MOVE, 130}, {mt_UP, 130}}, 1, 1, -30 * 200, -1, 3},
      {false, {{mt_DOWN, 400 - 23}}, 0, 0, 0, -1, 4},  // minus: wider view
      {false, {{mt_DOWN, 400 - 10}}, 0, 0, 0, -1, 2},  // plus: closer
  };
  for (const Case& c : cases) {
    auto* feed = new FakeFeed(5000, 0);
    feed->state.position = 100000;
    feed->state.playing = c.playing;
    CZKSoundDisplay* display = Make(feed, 400, 60, {{"dontshowzoombuttons", "no"}});
    display->Tick();
    for (const auto& [kind, x] : c.path)
      display->OnControlEvent(
          ControlEvent::Mouse(kind, x, kind == mt_DOWN && x > 370 ? 51 : 20, kButtonLeft, 0));
    EXPECT_EQ(feed->begins, c.begins);
    EXPECT_EQ(feed->ends, c.ends);
    EXPECT_EQ(feed->scratched, c.scratched);
    EXPECT_DOUBLE_EQ(feed->seekTo, c.seekTo);
    EXPECT_EQ(display->ZoomIndex(), c.zoom);
    display->Destroy();
  }
}

}  // namespace
}  // namespace vantaro
