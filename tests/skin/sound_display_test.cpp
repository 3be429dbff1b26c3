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

#include "control/control_handlers.h"
#include "skin/attribute_list.h"
#include "skin/sound_display_picture.h"
#include "tests/engine/marked_song.h"
#include "tests/skin/skin_test_env.h"

namespace vantaro {
namespace {

const wxColour kBack(0, 0, 0), kData(0x20, 0x40, 0xC0), kBeat(0xF0, 0xF0, 0x20),
    kCue(0xE0, 0x20, 0x20), kLoop(0x20, 0xE0, 0x20), kCursor(0xFF, 0xFF, 0xFF);
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
const std::pair<const char*, const char*> kLook[] = {
    {"graphics_mode", "1"},        {"backcolor", "#000000"}, {"datacolor", "#2040C0"},
    {"beatcolor", "#F0F020"},      {"cuecolor", "#E02020"},  {"loopcolor", "#20E020"},
    {"cursorcolor", "#FFFFFF"},    {"dontshowtext", "yes"},  {"dontshowcursor", "yes"},
    {"dontshowzoombuttons", "yes"}};

// A stored level that the display draws at `fraction` of its half height.
float Stored(float fraction) {
  return fraction * fraction / kStripeFullScale;
}

// A track of `count` stripes drawn at 0.3 with a beat every `beatEvery`.
class FakeFeed : public WaveFeed {
 public:
  std::vector<float> stripes;
  WaveDeckState state;
  int begins = 0, ends = 0, scratched = 0;
  double seekTo = -1;

  FakeFeed(int count, int beatEvery, double position) : stripes(count, Stored(0.3f)) {
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

// Every test has a window, and a deck 0 that loads stored songs of known
// beats (a record in the song database and a stripe file).
class SoundDisplayTest : public test::MarkedSongTest {
 protected:
  SoundDisplayTest() { frame_->Show(); }
  ~SoundDisplayTest() override {
    TheControlEngine().decks[0] = nullptr;
    frame_->Destroy();  // and the displays on it
  }

  // A display with the test's colours and no cursor, text or zoom signs
  // unless `extra` asks; `cursor` -1 leaves it in the middle. Without a
  // feed it reads deck 0 of the control handlers.
  CZKSoundDisplay* Make(WaveFeed* feed, int width, int height, int zoom, int cursor,
                        std::initializer_list<std::pair<const char*, const char*>> extra = {}) {
    auto* display = new CZKSoundDisplay(frame_, 1, 0);
    if (feed) display->UseFeed(std::unique_ptr<WaveFeed>(feed));
    ZKAttributeList attributes;
    attributes.SetInt("width", width);
    attributes.SetInt("height", height);
    if (cursor >= 0) attributes.SetInt("cursorpos", cursor);
    for (const auto& [name, value] : kLook) attributes.SetText(name, value);
    for (const auto& [name, value] : extra) attributes.SetText(name, value);
    display->ApplySkinAttributes(attributes);
    display->SetZoomIndex(zoom);
    return display;
  }

  wxFrame* frame_ = new wxFrame(nullptr, wxID_ANY, "waves", wxPoint(0, 0), wxSize(640, 480));
};

bool Is(const wxImage& image, int x, int y, const wxColour& colour) {
  return wxColour(image.GetRed(x, y), image.GetGreen(x, y), image.GetBlue(x, y)) == colour;
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
  EXPECT_FALSE(lines.empty());
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

// A deck loaded with a stored song of 120 BPM, its beat marks at every
// 22050 frames, read by the program's own feed.
TEST_F(SoundDisplayTest, BeatsAndCueOfADeckFallOnTheirColumnsInBothDirections) {
  ASSERT_TRUE(LoadOn(deck, Write({.bpm = 120, .seconds = 30}, "beats.wav")));
  const double position = 10 * 44100 + 1234.5, cue = position + 11025;  // between two beats
  At(position, false);
  deck.SetCuePoint(static_cast<std::int32_t>(cue));
  TheControlEngine().decks[0] = &deck;
  // Every zoom, each direction; at 0.5 stripes a column a mark spans two
  // columns and is drawn once.
  for (int zoom = 0; zoom < kWaveZoomCount; ++zoom) {
    const int width = zoom % 2 ? 60 : 400, height = zoom % 2 ? 300 : 60;
    const wxImage image = Make(nullptr, width, height, zoom, 100)->Snapshot();
    // A mark's place: the cursor's column plus the distance in columns.
    const double perColumn = kWaveZoomSteps[zoom] * kFramesPerStripe;
    std::vector<double> beats;
    for (int k = 0; k <= 60; ++k) beats.push_back(100 + (k * 22050.0 - position) / perColumn);
    const bool vertical = height > width;
    ExpectOneLineEach(Along(image, vertical, 3, kBeat), beats, std::max(width, height));
    ExpectOneLineEach(Along(image, vertical, 3, kCue), {100 + (cue - position) / perColumn},
                      std::max(width, height));
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
  // The beat-difference bar: nine marks 12 pixels apart; the other deck a
  // quarter beat ahead lights the seventh.
  auto* feed = new FakeFeed(5000, 0, 40000);
  feed->state.hasBeatDifference = true;
  feed->state.beatDifference = 0.25f;
  const wxImage image = Make(feed, 400, 50, 1, 0,
                             {{"beatdiffvisible", "yes"}, {"beatdiffx", "10"}, {"beatdiffy", "2"}})
                            ->Snapshot();
  EXPECT_EQ(Along(image, false, 4, kCursor), (std::vector<int>{82, 83}));
  EXPECT_EQ(Along(image, false, 4, kData).size(), 16u);
}

TEST_F(SoundDisplayTest, TrackEdgesATornStripeFileAndStripesArriving) {
  // At the track's start with the cursor at 150, the columns before it stay
  // empty; bad stripes draw flat, loud ones clipped, signed ones as levels.
  auto* feed = new FakeFeed(1000, 0, 0);
  const float torn[] = {kNaN, kInf, -kInf, 1e30f, 93.0f, -55.0f, 4.0f, -Stored(0.5f)};
  std::copy(std::begin(torn), std::end(torn), feed->stripes.begin() + 5);  // stripes 5..12
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
  feed->state = WaveDeckState{};  // no track: the idle line only
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
    for (std::size_t s = 0; s < feed->stripes.size(); ++s)  // a column unlike its neighbours
      if (feed->stripes[s] < 1) feed->stripes[s] = Stored(static_cast<float>(s % 7) / 7);
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
    // The picture after the last tick equals a fresh display's at `zoom`.
    const auto matchesFresh = [&](int zoom) {
      display->Tick();
      auto* fresh = new FakeFeed(40000, 37, 0);
      fresh->state = feed->state;
      fresh->stripes = feed->stripes;
      return same(display->Snapshot(), Make(fresh, width, height, zoom, -1)->Snapshot());
    };
    EXPECT_TRUE(matchesFresh(2)) << vertical;
    // Backwards (reverse play, a scratch back) the shift runs the other way.
    for (int tick = 0; tick < 10; ++tick, feed->state.position -= 1764.0 * 0.77) display->Tick();
    EXPECT_TRUE(matchesFresh(2)) << vertical;
    // A zoom change near the start, where the two grids' origins lie less
    // than a picture apart.
    feed->state.position = 30000.3;
    display->Tick();
    display->SetZoomIndex(3);
    EXPECT_TRUE(matchesFresh(3)) << vertical;
  }
}

TEST_F(SoundDisplayTest, MouseScratchesSeeksAndZooms) {
  // 400 x 60 at 2 stripes (200 frames) a column, the cursor at 200.
  // Playing, the path (event kind, x), then what follows: scratches begun
  // and ended, frames scratched, the seek's target (-1: none), the zoom.
  using Path = std::vector<std::pair<int, int>>;
  const std::tuple<bool, Path, int, int, double, int> cases[] = {
      {false, {{mt_DOWN, 250}, {mt_UP, 250}}, 0, 0, 100000 + 50 * 200, 3},  // a click seeks
      {true, {{mt_DOWN, 250}, {mt_UP, 250}}, 0, 0, -1, 3},                  // not while playing
      // A drag: the track follows the hand, from the press on.
      {true, {{mt_DOWN, 100}, {mt_MOVE, 102}, {mt_MOVE, 90}, {mt_UP, 90}}, 1, 10 * 200, -1, 3},
      {false, {{mt_DOWN, 100}, {mt_MOVE, 130}, {mt_UP, 130}}, 1, -30 * 200, -1, 3},
      {false, {{mt_DOWN, 400 - 23}}, 0, 0, -1, 4},  // minus: a wider view
      {false, {{mt_DOWN, 400 - 10}}, 0, 0, -1, 2},  // plus: closer
  };
  for (const auto& [playing, path, scratches, scratched, seekTo, zoom] : cases) {
    auto* feed = new FakeFeed(5000, 0, 100000);
    feed->state.playing = playing;
    CZKSoundDisplay* display = Make(feed, 400, 60, 3, -1, {{"dontshowzoombuttons", "no"}});
    for (const auto& [kind, x] : path)
      display->OnControlEvent(ControlEvent::Mouse(kind, x, x > 370 ? 51 : 20, kButtonLeft, 0));
    EXPECT_EQ(std::tuple(feed->begins, feed->ends, feed->scratched, display->ZoomIndex()),
              std::tuple(scratches, scratches, scratched, zoom));
    EXPECT_DOUBLE_EQ(feed->seekTo, seekTo);
  }
}

// A skin picture behind the wave that is not the same along it (here a
// frame's edge every 9 pixels): a shifted picture must not carry the edges
// along with the wave.
TEST(WavePictureShift, ABackgroundThatVariesAlongTheWaveIsNotSmeared) {
  for (bool vertical : {false, true}) {
    const WaveAxes axes{vertical, 120, 30};
    wxImage face(axes.X(120, 30), axes.Y(120, 30));
    for (int along = 0; along < 120; ++along)
      for (int across = 0; across < 30; ++across)
        face.SetRGB(axes.X(along, across), axes.Y(along, across), along % 9 ? 10 : 200, 20, 30);
    std::vector<WaveColumn> columns(120, WaveColumn{WaveColumn::kLevel, 5});
    WavePicture shifted, fresh;
    shifted.Reset(axes, wxBitmap(face), {kData, kBeat});
    fresh.Reset(axes, wxBitmap(face), {kData, kBeat});
    shifted.Update(0, columns);
    shifted.Update(4, columns);
    fresh.Update(4, columns);
    const wxImage a = shifted.DC().GetAsBitmap().ConvertToImage(),
                  b = fresh.DC().GetAsBitmap().ConvertToImage();
    EXPECT_EQ(std::memcmp(a.GetData(), b.GetData(), a.GetWidth() * a.GetHeight() * 3), 0)
        << vertical;
  }
}

TEST(WaveGeometry, BeatBarAndTimeText) {
  const std::pair<float, int> marks[] = {{-0.5f, 0}, {-0.13f, 3}, {3.0f, 8}, {kNaN, 4}};
  for (const auto& [difference, mark] : marks) EXPECT_EQ(BeatDiffMark(difference), mark);
  const std::tuple<double, bool, std::string> times[] = {
      {44100 * 61.56, false, "1:01.5"}, {44100 * 61.5, true, "-1:01.5"}, {kNaN, true, "-0:00.0"}};
  for (const auto& [frames, remaining, text] : times) {
    char out[32];
    FormatWaveTime(frames, remaining, out, sizeof out);
    EXPECT_EQ(out, text);
  }
}

}  // namespace
}  // namespace vantaro
