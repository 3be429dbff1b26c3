#pragma once
// The arithmetic of the waveform display, free of the toolkit: which stripes
// a pixel column shows, where a frame falls, what a stripe value means, and
// where the display's small parts sit.
//
// The columns form one grid anchored at the track's first frame: global
// column g covers frames [g * F, (g + 1) * F), F = 100 * stripes per column.
// The screen shows the columns from an origin column on; scrolling changes
// the origin by whole columns, so a column's picture never depends on where
// the scroll stands and a shifted picture equals a redrawn one. The part of
// the position below one column is the remainder: the picture waits for it
// to add up rather than jitter. Marks (cue, loop, beats) use the same grid,
// so a mark and the stripe it sits on never disagree by a column.
//
// Units: frames at 44100 Hz; a stripe is 100 frames (441 a second).
// Threads: pure functions and values, any thread.

#include <cstdint>
#include <vector>

namespace vantaro {

inline constexpr int kFramesPerStripe = 100;

// Zoom steps in stripes per pixel column, from the closest view to the
// widest. Non-integral steps are allowed: the grid keeps them steady.
inline constexpr double kWaveZoomSteps[] = {0.5, 1.0, 1.5, 2.0, 3.0, 4.0, 6.0, 8.0, 12.0, 16.0};
inline constexpr int kWaveZoomCount = sizeof(kWaveZoomSteps) / sizeof(kWaveZoomSteps[0]);
inline constexpr int kDefaultWaveZoom = 3;  // 2 stripes a column: about 8 s on 400 pixels
inline constexpr int kCloseWaveZoom = 1;    // 1 stripe a column: the second view's start

// The display's two directions. Horizontal: time runs to the right. Taller
// than wide: time runs down, so the stripes move up, and every x and y swap.
// `along` is the coordinate in the direction of time, `across` the other.
struct WaveAxes {
  bool vertical = false;
  int length = 0;     // pixels along time
  int thickness = 0;  // pixels across

  int X(int along, int across) const { return vertical ? across : along; }
  int Y(int along, int across) const { return vertical ? along : across; }
  int Along(int x, int y) const { return vertical ? y : x; }
  int Across(int x, int y) const { return vertical ? x : y; }
  // Half the height of a full stripe: the thickness less a margin of 2.
  int HalfHeight() const { return thickness / 2 - 2 > 0 ? thickness / 2 - 2 : 0; }
  int Centre() const { return thickness / 2; }
};
WaveAxes AxesFor(int width, int height);

struct StripeSpan {
  std::int64_t from = 0, to = 0;  // stripes [from, to)
};

class WaveGrid {
 public:
  explicit WaveGrid(double stripesPerColumn = kWaveZoomSteps[kDefaultWaveZoom]);
  double StripesPerColumn() const { return stripesPerColumn_; }
  double FramesPerColumn() const { return stripesPerColumn_ * kFramesPerStripe; }

  // The column holding `frame` (negative before the track).
  std::int64_t ColumnOfFrame(double frame) const;
  // The stripes drawn in `column`: those whose middle lies in it. A column
  // narrower than a stripe (close zoom) shows the stripe under its middle.
  StripeSpan Span(std::int64_t column) const;
  // How far into its column `frame` stands, 0 <= remainder < 1 column.
  double Remainder(double frame) const;

 private:
  double stripesPerColumn_;
};

// A stripe value as the display takes it. Below 50 in magnitude a level
// with a sign; 50 to 80 a beat mark carrying a level (less 55, 65 or 75).
// A torn or foreign stripe file gives anything: not a number, an infinity
// or a value outside both bands counts as silence, and a level is clipped
// to 1, so a bad file draws flat or full columns, never past the display.
// The level read is sqrt(min(1, |value| * kStripeFullScale)): the stored
// bass band is 1/36 of full scale.
inline constexpr float kStripeFullScale = 36.0f;  // 1 / (1/6 * 1/6)
struct StripeReading {
  float level = 0;  // 0..1
  bool beat = false;
};
StripeReading ReadStripe(float value);

// One pixel column of the picture, as it is drawn.
struct WaveColumn {
  enum Kind : std::uint8_t { kEmpty, kLevel, kBeat, kPastEnd };
  Kind kind = kEmpty;
  int peak = 0;  // pixels up and down from the centre (kLevel)

  bool operator==(const WaveColumn&) const = default;
};

// The stripes a run of screen columns needs, read under the stripe lock:
// `values[i]` is stripe `first + i`. The span starts one column early, so
// that a beat is drawn on the first column that shows it only.
struct StripeWindow {
  std::int64_t first = 0;
  std::vector<float> values;
  std::int64_t arraySize = 0;  // the track's stripe count; 0 with no track
};
// Copies the part of `span` that lies in the first `size` stripes of
// `stripes` into `window`. The caller holds the stripe lock; the values are
// read as relaxed atomics, as the deck's beat marks must be.
void CopyStripeRange(const std::vector<float>& stripes, std::int64_t size, StripeSpan span,
                     StripeWindow& window);
// Stripes needed by columns [origin, origin + count).
StripeSpan NeededStripes(const WaveGrid& grid, std::int64_t origin, int count);

// Columns [origin, origin + out.size()) from `window`: before the track
// empty, past its end a flat line, else the largest level (times
// `halfHeight`, rounded) or a beat mark.
void ComputeColumns(const WaveGrid& grid, const StripeWindow& window, std::int64_t origin,
                    int halfHeight, std::vector<WaveColumn>& out);

// The zoom signs near the end of the display: a press within a 9-pixel box
// around the minus (zoom out) or the plus (zoom in). Along: the minus runs
// from length - 26 to length - 21, the plus from length - 13 to length - 8;
// across: on the line thickness - 9.
enum class ZoomSign { kNone, kMinus, kPlus };
ZoomSign ZoomSignAt(const WaveAxes& axes, int along, int across);
inline constexpr int kMinusFrom = 26, kMinusTo = 21, kPlusFrom = 13, kPlusTo = 8, kSignLine = 9;

// The beat-difference bar: kBeatDiffMarks marks kBeatDiffStep pixels apart;
// the one lit for a phase difference of -0.5..0.5 beats (the middle mark:
// in phase). Out-of-range or non-finite differences light an end mark or
// the middle one.
inline constexpr int kBeatDiffMarks = 9, kBeatDiffStep = 12;
int BeatDiffMark(float phaseDifference);

// Time text of `frames`: "m:ss.t", with a minus for the remaining time.
void FormatWaveTime(double frames, bool remaining, char* text, int size);

}  // namespace vantaro
