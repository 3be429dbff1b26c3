// The waveform display's arithmetic without a window: stripe values from a
// torn file, the column grid at close, integral and non-integral zooms, and
// the small parts' places.
#include "skin/sound_display_geometry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace vantaro {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

TEST(WaveGeometry, StripeValuesOfEveryBandAndOfATornFile) {
  struct Case {
    float value;
    float level;
    bool beat;
  };
  const Case cases[] = {
      {0.0f, 0.0f, false},   {0.5f, 0.5f, false},   {-0.5f, 0.5f, false},  // signed levels
      {3.0f, 1.0f, false},   {-49.0f, 1.0f, false},                        // clipped
      {55.3f, 0.3f, true},   {64.8f, 0.2f, true},   {75.0f, 0.0f, true},   // the three beat bands
      {50.0f, 0.0f, false},  {80.0f, 0.0f, false},  {93.0f, 0.0f, false},  // out of band
      {-55.0f, 0.0f, false}, {kNaN, 0.0f, false},   {kInf, 0.0f, false},
      {-kInf, 0.0f, false},  {1e30f, 0.0f, false},
  };
  for (const Case& c : cases) {
    const StripeReading reading = ReadStripe(c.value);
    EXPECT_NEAR(reading.level, c.level, 1e-4) << c.value;
    EXPECT_EQ(reading.beat, c.beat) << c.value;
  }
}

TEST(WaveGeometry, EveryStripeHasOneColumnAndMarksFallOnTheirStripesColumn) {
  for (double ratio : kWaveZoomSteps) {
    const WaveGrid grid(ratio);
    // Wide zooms: the spans tile the stripes, each of floor or ceil(ratio).
    if (ratio >= 1) {
      for (std::int64_t column = -3; column < 400; ++column) {
        const StripeSpan span = grid.Span(column), next = grid.Span(column + 1);
        EXPECT_EQ(span.to, next.from) << ratio << " column " << column;
        EXPECT_GE(span.to - span.from, static_cast<std::int64_t>(std::floor(ratio))) << ratio;
        EXPECT_LE(span.to - span.from, static_cast<std::int64_t>(std::ceil(ratio))) << ratio;
      }
    }
    // A frame's column shows the stripe under it, at every zoom.
    for (int stripe = 0; stripe < 500; stripe += 7) {
      const StripeSpan span = grid.Span(grid.ColumnOfFrame(stripe * 100.0 + 50));
      EXPECT_TRUE(span.from <= stripe && stripe < span.to) << ratio << " stripe " << stripe;
    }
    EXPECT_EQ(grid.ColumnOfFrame(-1), -1) << ratio;  // before the track
  }
}

TEST(WaveGeometry, ColumnsBeforeInsideAndPastTheTrack) {
  const WaveGrid grid(0.5);  // two columns a stripe
  StripeWindow window;
  window.arraySize = 6;
  window.first = 0;
  window.values = {0.25f, 55.0f, kNaN, 7.0f, -0.5f, 0.0f};
  std::vector<WaveColumn> columns(18);
  ComputeColumns(grid, window, -2, 20, columns);
  // Columns -2, -1: before the track.
  EXPECT_EQ(columns[0].kind, WaveColumn::kEmpty);
  EXPECT_EQ(columns[1].kind, WaveColumn::kEmpty);
  EXPECT_EQ(columns[2], (WaveColumn{WaveColumn::kLevel, 5}));
  // The beat stripe spans two columns: its mark is drawn once, on the first.
  EXPECT_EQ(columns[4].kind, WaveColumn::kBeat);
  EXPECT_EQ(columns[4].peak, 20);
  EXPECT_EQ(columns[5], (WaveColumn{WaveColumn::kLevel, 0}));
  EXPECT_EQ(columns[6], (WaveColumn{WaveColumn::kLevel, 0}));   // NaN: flat
  EXPECT_EQ(columns[8], (WaveColumn{WaveColumn::kLevel, 20}));  // 7: clipped
  EXPECT_EQ(columns[10], (WaveColumn{WaveColumn::kLevel, 10}));
  for (int i = 14; i < 18; ++i) EXPECT_EQ(columns[i].kind, WaveColumn::kPastEnd) << i;

  // A window that stops short of the track's end (stripes not read) shows
  // empty levels there, not values from outside it.
  window.values.resize(2);
  ComputeColumns(grid, window, 0, 20, columns);
  EXPECT_EQ(columns[8], (WaveColumn{WaveColumn::kLevel, 0}));
}

TEST(WaveGeometry, ZoomSignsBeatBarAndTimeText) {
  const WaveAxes wide = AxesFor(300, 60), tall = AxesFor(60, 300);
  EXPECT_FALSE(wide.vertical);
  EXPECT_TRUE(tall.vertical);
  EXPECT_EQ(tall.length, 300);
  EXPECT_EQ(tall.thickness, 60);
  struct SignCase {
    int along, across;
    ZoomSign sign;
  };
  const SignCase signs[] = {
      {276, 51, ZoomSign::kMinus}, {272, 47, ZoomSign::kMinus}, {289, 51, ZoomSign::kPlus},
      {293, 55, ZoomSign::kPlus},  {283, 51, ZoomSign::kNone},  {276, 40, ZoomSign::kNone},
      {150, 51, ZoomSign::kNone},
  };
  for (const SignCase& c : signs) {
    EXPECT_EQ(ZoomSignAt(wide, c.along, c.across), c.sign) << c.along << "," << c.across;
    EXPECT_EQ(ZoomSignAt(tall, c.along, c.across), c.sign) << c.along << "," << c.across;
  }

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
