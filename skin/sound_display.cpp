#include "skin/sound_display.h"

#include <wx/brush.h>
#include <wx/dcmemory.h>
#include <wx/image.h>
#include <wx/pen.h>

#include <algorithm>
#include <cmath>

#include "control/control_action.h"
#include "skin/attribute_list.h"
#include "skin/custom_panel.h"
#include "skin/playlist.h"
#include "skin/skin_image.h"
#include "skin/skin_style.h"

namespace vantaro {
namespace {

// Pixels the pointer must travel before a press becomes a scratch; below
// it the press is a click.
constexpr int kDragThreshold = 3;
constexpr int kTextAlong = 3, kTextAcross = 1;  // pixels from the start
constexpr int kSignHalf = 2;                    // a sign's arm: 5 pixels
constexpr int kBeatDiffMarkLength = 6, kBeatDiffMarkWidth = 2;

// Every display that exists, for the screen tick: built-in ones and those
// a skin defines alike.
std::vector<CZKSoundDisplay*>& Displays() {
  static std::vector<CZKSoundDisplay*> displays;
  return displays;
}

// The deck's state shows the same marks and bar in `a` as in `b`.
bool SameOverlay(const WaveDeckState& a, const WaveDeckState& b) {
  return a.loaded == b.loaded && a.cue == b.cue && a.loopIn == b.loopIn && a.loopOut == b.loopOut &&
         a.loopOpen == b.loopOpen && a.loopClosed == b.loopClosed &&
         a.hasBeatDifference == b.hasBeatDifference &&
         BeatDiffMark(a.beatDifference) == BeatDiffMark(b.beatDifference);
}

}  // namespace

CZKSoundDisplay::CZKSoundDisplay(wxWindow* parent, int controlId, int deck)
    : ZKCustomControl(parent, controlId, deck), feed_(MakeDeckWaveFeed(deck)) {
  Displays().push_back(this);
  // The second view shows the beat up close: one stripe a column.
  static const int secondView = FindControlAction("sd_deck_alt");
  if (controlId == secondView) {
    zoom_ = kCloseWaveZoom;
    grid_ = WaveGrid(kWaveZoomSteps[zoom_]);
  }
}

CZKSoundDisplay::~CZKSoundDisplay() {
  std::erase(Displays(), this);
}

void CZKSoundDisplay::ApplySkinAttributes(ZKAttributeList& attributes) {
  ZKCustomControl::ApplySkinAttributes(attributes);
  look_.data = SkinColour(attributes, "datacolor", wxColour(0x40, 0x90, 0xE0));
  look_.beat = SkinColour(attributes, "beatcolor", wxColour(0xF0, 0xF0, 0xF0));
  look_.loop = SkinColour(attributes, "loopcolor", wxColour(0x40, 0xD0, 0x40));
  look_.cue = SkinColour(attributes, "cuecolor", wxColour(0xE0, 0x40, 0x40));
  look_.cursor = SkinColour(attributes, "cursorcolor", wxColour(0xFF, 0xC0, 0x00));
  look_.font = SkinColour(attributes, "fontcolor", *wxWHITE);
  look_.back = SkinColour(attributes, "backcolor", *wxBLACK);
  look_.showCursor = !attributes.GetBool("dontshowcursor");
  look_.showText = !attributes.GetBool("dontshowtext");
  look_.showZoom = !attributes.GetBool("dontshowzoombuttons");
  look_.showBeatDiff = attributes.GetBool("beatdiffvisible");
  look_.cursorPos = attributes.Has("cursorpos") ? attributes.GetInt("cursorpos") : -1;
  look_.beatDiffX = attributes.GetInt("beatdiffx");
  look_.beatDiffY = attributes.GetInt("beatdiffy");
  // The base's default face ("small") is too small for a time read at a
  // glance: without a font of its own the text takes the standard one.
  if (!attributes.Has("fontname") && !attributes.Has("fontsize") && !attributes.Has("fontstyle"))
    font = MakeSkinFont(ResolveSkinFont("", kDefaultFontSizeIndex, ""));
  axes_ = AxesFor(width, height);
  BuildBackground();
  picture_.Reset(axes_, background_, {look_.data, look_.beat});
  columns_.assign(std::max(axes_.length, 0), WaveColumn{});
  composed_ = false;
  ready = 1;
  Tick();
}

void CZKSoundDisplay::BuildBackground() {
  background_ = wxNullBitmap;
  if (width < 1 || height < 1) return;
  background_.Create(width, height);
  wxMemoryDC dc(background_);
  wxDC* skin = SkinImage::Get().Source();
  wxPoint origin;
  if (!ColourMode() && skin && SkinOriginOf(this, &origin)) {
    dc.Blit(0, 0, width, height, skin, origin.x, origin.y);
  } else {
    dc.SetPen(*wxTRANSPARENT_PEN);
    dc.SetBrush(wxBrush(look_.back));
    dc.DrawRectangle(0, 0, width, height);
  }
}

void CZKSoundDisplay::UseFeed(std::unique_ptr<WaveFeed> feed) {
  feed_ = std::move(feed);
  picture_.Invalidate();
  composed_ = false;
}

void CZKSoundDisplay::SetShowRemaining(bool on) {
  showRemaining_ = on;
}

void CZKSoundDisplay::SetZoomIndex(int index) {
  index = std::clamp(index, 0, kWaveZoomCount - 1);
  if (index == zoom_) return;
  zoom_ = index;
  grid_ = WaveGrid(kWaveZoomSteps[zoom_]);
  // The old picture belongs to another grid: nothing of it can be shifted.
  picture_.Invalidate();
  composed_ = false;
  Tick();
}

int CZKSoundDisplay::CursorAlong() const {
  return look_.cursorPos >= 0 ? std::min(look_.cursorPos, axes_.length - 1) : axes_.length / 2;
}

std::int64_t CZKSoundDisplay::Origin() const {
  // A position that is no number (never from a sane deck) shows the start.
  const double position = std::isfinite(state_.position) ? state_.position : 0.0;
  return grid_.ColumnOfFrame(position) - CursorAlong();
}

int CZKSoundDisplay::Tick() {
  if (!ready || !HasBackBuffer() || !picture_.IsOk() || !feed_) return 0;
  state_ = feed_->State();
  int drawn = 0;
  std::int64_t origin = INT64_MIN;
  if (state_.loaded) {
    origin = Origin();
    feed_->CopyStripes(NeededStripes(grid_, origin, axes_.length), stripes_);
    ComputeColumns(grid_, stripes_, origin, axes_.HalfHeight(), columns_);
    drawn = picture_.Update(origin, columns_);
  } else {
    picture_.Invalidate();
  }
  char text[32] = "";
  if (state_.loaded && look_.showText)
    FormatWaveTime(showRemaining_ ? state_.length - state_.position : state_.position,
                   showRemaining_, text, sizeof text);
  // Marks, cursor and texts change only with the origin or the state; an
  // idle deck costs no repaint.
  if (composed_ && drawn == 0 && origin == shownOrigin_ && text == shownText_ &&
      SameOverlay(state_, shownState_))
    return drawn;
  shownOrigin_ = origin;
  shownText_ = text;
  shownState_ = state_;
  composed_ = true;
  DrawControl();
  Refresh(false);
  return drawn;
}

void CZKSoundDisplay::DrawControl() {
  if (!HasBackBuffer()) return;
  wxDC& dc = Back();
  if (state_.loaded && picture_.IsOk()) {
    dc.Blit(0, 0, width, height, &picture_.DC(), 0, 0);
    DrawMarks(dc);
  } else {
    DrawIdle(dc);
  }
  DrawCursor(dc);
  DrawTexts(dc);
  DrawZoomSigns(dc);
  DrawBeatDifference(dc);
}

void CZKSoundDisplay::DrawIdle(wxDC& dc) {
  if (background_.IsOk()) {
    wxMemoryDC source(background_);
    dc.Blit(0, 0, width, height, &source, 0, 0);
  }
  // A dotted line, two pixels on and two off, in whole pixels.
  for (int along = 0; along < axes_.length; along += 4)
    FillAlong(dc, along, axes_.Centre(), 2, 1, look_.data);
}

void CZKSoundDisplay::FillAlong(wxDC& dc, int along, int across, int alongExtent, int acrossExtent,
                                const wxColour& colour) {
  dc.SetPen(*wxTRANSPARENT_PEN);
  dc.SetBrush(wxBrush(colour));
  dc.DrawRectangle(axes_.X(along, across), axes_.Y(along, across),
                   axes_.X(alongExtent, acrossExtent), axes_.Y(alongExtent, acrossExtent));
}

void CZKSoundDisplay::DrawMark(wxDC& dc, double frame, const wxColour& colour, int footDirection) {
  const std::int64_t column = grid_.ColumnOfFrame(frame) - shownOrigin_;
  // Column 0 is the display's edge: a mark there is taken as off screen.
  if (column < 1 || column >= axes_.length) return;
  const int along = static_cast<int>(column);
  FillAlong(dc, along, 0, 1, axes_.thickness, colour);
  if (footDirection == 0) return;
  const int footStart = footDirection > 0 ? along + 1 : along - 2;
  FillAlong(dc, footStart, 0, 2, 1, colour);
  FillAlong(dc, footStart, axes_.thickness - 1, 2, 1, colour);
}

void CZKSoundDisplay::DrawMarks(wxDC& dc) {
  if (state_.cue >= 1) DrawMark(dc, state_.cue, look_.cue, 0);
  if (state_.loopOpen || state_.loopClosed) DrawMark(dc, state_.loopIn, look_.loop, +1);
  if (state_.loopClosed) DrawMark(dc, state_.loopOut, look_.loop, -1);
}

void CZKSoundDisplay::DrawCursor(wxDC& dc) {
  if (!look_.showCursor) return;
  FillAlong(dc, std::max(CursorAlong() - 1, 0), 0, 2, axes_.thickness, look_.cursor);
}

void CZKSoundDisplay::DrawTexts(wxDC& dc) {
  if (shownText_.empty()) return;
  dc.SetFont(font);
  dc.SetTextForeground(look_.font);
  dc.SetBackgroundMode(wxBRUSHSTYLE_TRANSPARENT);
  dc.DrawText(wxString::FromUTF8(shownText_), axes_.X(kTextAlong, kTextAcross),
              axes_.Y(kTextAlong, kTextAcross));
}

void CZKSoundDisplay::DrawZoomSigns(wxDC& dc) {
  if (!look_.showZoom) return;
  const int line = axes_.thickness - kSignLine;
  const int minus = axes_.length - (kMinusFrom + kMinusTo) / 2 - 1;
  const int plus = axes_.length - (kPlusFrom + kPlusTo) / 2 - 1;
  // The places swap with the direction, the glyphs stay upright: a minus
  // is level in both views.
  dc.SetPen(*wxTRANSPARENT_PEN);
  dc.SetBrush(wxBrush(look_.font));
  for (const int along : {minus, plus}) {
    const int x = axes_.X(along, line), y = axes_.Y(along, line);
    dc.DrawRectangle(x - kSignHalf, y, 2 * kSignHalf + 1, 1);
    if (along == plus) dc.DrawRectangle(x, y - kSignHalf, 1, 2 * kSignHalf + 1);
  }
}

void CZKSoundDisplay::DrawBeatDifference(wxDC& dc) {
  if (!look_.showBeatDiff || !state_.loaded) return;
  const int lit = state_.hasBeatDifference ? BeatDiffMark(state_.beatDifference) : -1;
  const int along = axes_.Along(look_.beatDiffX, look_.beatDiffY);
  const int across = axes_.Across(look_.beatDiffX, look_.beatDiffY);
  for (int mark = 0; mark < kBeatDiffMarks; ++mark)
    FillAlong(dc, along + mark * kBeatDiffStep, across, kBeatDiffMarkWidth, kBeatDiffMarkLength,
              mark == lit ? look_.cursor : look_.data);
}

void CZKSoundDisplay::OnControlEvent(const ControlEvent& event) {
  const int along = axes_.Along(event.x, event.y), across = axes_.Across(event.x, event.y);
  switch (event.kind) {
    case mt_DOWN:
    case mt_DBLCLICK: {
      if (event.button != kButtonLeft) return;
      const ZoomSign sign = look_.showZoom ? ZoomSignAt(axes_, along, across) : ZoomSign::kNone;
      if (sign != ZoomSign::kNone) {
        SetZoomIndex(zoom_ + (sign == ZoomSign::kMinus ? 1 : -1));
        return;
      }
      pressed_ = true;
      pressAlong_ = lastAlong_ = along;
      if (IsShown() && !HasCapture()) CaptureMouse();
      return;
    }
    case mt_MOVE:
      if (!pressed_ || !feed_) return;
      if (!scratching_ && std::abs(along - pressAlong_) >= kDragThreshold && state_.loaded) {
        feed_->BeginScratch();
        scratching_ = true;
      }
      if (scratching_) {
        // Dragging the wave forward pulls the track back under the cursor.
        feed_->MoveScratch(
            -static_cast<int>(std::lround((along - lastAlong_) * grid_.FramesPerColumn())));
        lastAlong_ = along;
      }
      return;
    case mt_UP:
      if (!pressed_ || event.button != kButtonLeft) return;
      if (!scratching_ && feed_ && state_.loaded && !state_.playing) {
        const double target = state_.position + (along - CursorAlong()) * grid_.FramesPerColumn();
        feed_->Seek(std::clamp(target, 0.0, std::max(0.0, state_.length - 1.0)));
      }
      EndDrag();
      return;
    default:
      return;
  }
}

void CZKSoundDisplay::EndDrag() {
  if (scratching_ && feed_) feed_->EndScratch();
  scratching_ = pressed_ = false;
  if (HasCapture()) ReleaseMouse();
}

void CZKSoundDisplay::OnCaptureLost() {
  EndDrag();
}

wxImage CZKSoundDisplay::Snapshot() {
  if (!HasBackBuffer()) return wxImage();
  wxBitmap copy(width, height);
  {
    wxMemoryDC dc(copy);
    dc.Blit(0, 0, width, height, &Back(), 0, 0);
  }
  return copy.ConvertToImage();
}

void RefreshSoundDisplays(int deck) {
  for (CZKSoundDisplay* display : Displays())
    if (display->deck == deck && display->IsShown()) display->Tick();
}

void ShowRemainingOnSoundDisplays(bool on) {
  for (CZKSoundDisplay* display : Displays()) display->SetShowRemaining(on);
}

bool CZKSoundDisplay::DropRows(CZKAbstractList& source, const std::vector<int>& rows, wxPoint) {
  return DeliverRowsToDeck(deck, source, rows);
}

}  // namespace vantaro
