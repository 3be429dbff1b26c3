#include "skin/sound_display_geometry.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>

namespace vantaro {
namespace {

constexpr float kBeatLow = 50.0f, kBeatHigh = 80.0f;
constexpr float kBandCentres[] = {55.0f, 65.0f, 75.0f};
constexpr int kSignBox = 9;  // pixels: the box around each zoom sign

// The first stripe whose middle lies at or after `stripes`: a column
// [a, b) in stripes holds the stripes s with a <= s + 0.5 < b, the same rule
// by which a frame falls in a column.
std::int64_t FirstStripeFrom(double stripes) {
  return static_cast<std::int64_t>(std::ceil(stripes - 0.5));
}

bool InSignBox(int along, int across, int from, int to, int line) {
  const int middle = (from + to) / 2;
  return std::abs(along - middle) <= kSignBox / 2 && std::abs(across - line) <= kSignBox / 2;
}

}  // namespace

WaveAxes AxesFor(int width, int height) {
  WaveAxes axes;
  axes.vertical = height > width;
  axes.length = axes.vertical ? height : width;
  axes.thickness = axes.vertical ? width : height;
  return axes;
}

WaveGrid::WaveGrid(double stripesPerColumn)
    : stripesPerColumn_(stripesPerColumn > 0 && std::isfinite(stripesPerColumn)
                            ? stripesPerColumn
                            : kWaveZoomSteps[kDefaultWaveZoom]) {}

std::int64_t WaveGrid::ColumnOfFrame(double frame) const {
  return static_cast<std::int64_t>(std::floor(frame / FramesPerColumn()));
}

double WaveGrid::Remainder(double frame) const {
  const double columns = frame / FramesPerColumn();
  return columns - std::floor(columns);
}

StripeSpan WaveGrid::Span(std::int64_t column) const {
  StripeSpan span{FirstStripeFrom(column * stripesPerColumn_),
                  FirstStripeFrom((column + 1) * stripesPerColumn_)};
  if (span.to <= span.from) {
    span.from = static_cast<std::int64_t>(std::floor((column + 0.5) * stripesPerColumn_));
    span.to = span.from + 1;
  }
  return span;
}

StripeReading ReadStripe(float value) {
  StripeReading reading;
  if (!std::isfinite(value)) return reading;
  float level = std::fabs(value);
  if (value > kBeatLow && value < kBeatHigh) {
    reading.beat = true;
    float nearest = kBandCentres[0];
    for (float centre : kBandCentres)
      if (std::fabs(value - centre) < std::fabs(value - nearest)) nearest = centre;
    level = std::fabs(value - nearest);
  } else if (level >= kBeatLow) {
    return reading;  // neither level nor mark
  }
  // The analysis band-passes the bass (132-215 Hz) through two filters
  // that each scale by 1/6, so a full-scale tone in the band gives 1/36.
  // Drawn as stored, real music would stand a pixel or two high: the level
  // is brought back to full scale and drawn on a square-root curve, so a
  // quiet bass line still shows while a loud one reaches the edges.
  reading.level = std::sqrt(std::min(level * kStripeFullScale, 1.0f));
  return reading;
}

void CopyStripeRange(const std::vector<float>& stripes, std::int64_t size, StripeSpan span,
                     StripeWindow& window) {
  size = std::clamp<std::int64_t>(size, 0, static_cast<std::int64_t>(stripes.size()));
  window.arraySize = size;
  window.first = std::clamp<std::int64_t>(span.from, 0, size);
  const std::int64_t to = std::clamp<std::int64_t>(span.to, window.first, size);
  // The audio thread may complete a beat mark meanwhile (deck_sync.h): every
  // value is read as a relaxed atomic, as the deck writes it.
  window.values.resize(static_cast<std::size_t>(to - window.first));
  for (std::int64_t s = window.first; s < to; ++s)
    window.values[s - window.first] =
        std::atomic_ref<float>(const_cast<float&>(stripes[s])).load(std::memory_order_relaxed);
}

StripeSpan NeededStripes(const WaveGrid& grid, std::int64_t origin, int count) {
  return {grid.Span(origin - 1).from, grid.Span(origin + std::max(count, 1) - 1).to};
}

void ComputeColumns(const WaveGrid& grid, const StripeWindow& window, std::int64_t origin,
                    int halfHeight, std::vector<WaveColumn>& out) {
  const std::int64_t windowEnd = window.first + static_cast<std::int64_t>(window.values.size());
  const std::int64_t last = std::min(window.arraySize, windowEnd);
  std::int64_t previousEnd = grid.Span(origin - 1).to;
  for (std::size_t i = 0; i < out.size(); ++i) {
    const StripeSpan span = grid.Span(origin + static_cast<std::int64_t>(i));
    WaveColumn column;
    if (span.from >= window.arraySize) {
      column.kind = WaveColumn::kPastEnd;
    } else if (span.to > 0) {
      float peak = 0;
      bool beat = false;
      const std::int64_t from = std::max({span.from, std::int64_t{0}, window.first});
      const std::int64_t to = std::min(span.to, last);
      for (std::int64_t s = from; s < to; ++s) {
        const StripeReading reading = ReadStripe(window.values[s - window.first]);
        peak = std::max(peak, reading.level);
        // A mark shared with the previous column (close zoom) is drawn there.
        beat = beat || (reading.beat && s >= previousEnd);
      }
      column.kind = beat ? WaveColumn::kBeat : WaveColumn::kLevel;
      column.peak = beat ? halfHeight : static_cast<int>(std::lround(peak * halfHeight));
    }
    out[i] = column;
    previousEnd = span.to;
  }
}

ZoomSign ZoomSignAt(const WaveAxes& axes, int along, int across) {
  const int line = axes.thickness - kSignLine;
  if (InSignBox(along, across, axes.length - kMinusFrom, axes.length - kMinusTo, line))
    return ZoomSign::kMinus;
  if (InSignBox(along, across, axes.length - kPlusFrom, axes.length - kPlusTo, line))
    return ZoomSign::kPlus;
  return ZoomSign::kNone;
}

int BeatDiffMark(float phaseDifference) {
  const int middle = kBeatDiffMarks / 2;
  if (!std::isfinite(phaseDifference)) return middle;
  const int mark = middle + static_cast<int>(std::lround(phaseDifference * 2 * middle));
  return std::clamp(mark, 0, kBeatDiffMarks - 1);
}

void FormatWaveTime(double frames, bool remaining, char* text, int size) {
  if (!std::isfinite(frames) || frames < 0) frames = 0;
  const long tenths = static_cast<long>(frames / 4410.0);
  std::snprintf(text, static_cast<std::size_t>(size), "%s%ld:%02ld.%ld", remaining ? "-" : "",
                tenths / 600, tenths / 10 % 60, tenths % 10);
}

}  // namespace vantaro
