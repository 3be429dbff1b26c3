#pragma once
// CZKSoundDisplay: one deck's waveform scrolling past a fixed cursor, with
// its beat marks, the cue and loop marks, the position as text, two zoom
// signs and, when the skin asks, a bar of the beat difference between the
// decks. `sd_deck` is a deck's main view, `sd_deck_alt` a second one; both
// are this class. Taller than wide, the wave runs upward and x and y swap.
//
// The screen tick calls Tick() (RefreshSoundDisplays for a deck): it reads
// the deck's state and the stripes of the visible columns only, updates the
// stripe picture (see sound_display_picture.h: a shift plus the columns that
// changed), then lays the marks, cursor and texts over a copy of it. A tick
// that changes nothing does not repaint.
//
// Mouse: a press on a zoom sign zooms; a drag scratches the deck (the wave
// follows the hand: one pixel is one column of frames); a click without a
// drag on a paused deck seeks to the frame under the pointer.
//
// Threads: GUI thread only.

#include <wx/bitmap.h>
#include <wx/colour.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "skin/custom_control.h"
#include "skin/list_views.h"
#include "skin/sound_display_feed.h"
#include "skin/sound_display_picture.h"

class wxImage;

namespace vantaro {

class CZKSoundDisplay : public ZKCustomControl, public RowDropTarget {
 public:
  // As every built-in control: `controlId` is sd_deck or sd_deck_alt (or a
  // skin slot), `deck` 0 or 1. The feed is the deck's in the program.
  CZKSoundDisplay(wxWindow* parent, int controlId, int deck);
  ~CZKSoundDisplay() override;

  void ApplySkinAttributes(ZKAttributeList& attributes) override;
  void OnControlEvent(const ControlEvent& event) override;
  void DrawControl() override;
  void OnCaptureLost() override;
  // Rows dragged from a track list load on the display's deck.
  bool DropRows(CZKAbstractList& source, const std::vector<int>& rows, wxPoint at) override;

  // One screen tick (step 6). Returns the stripe columns drawn.
  int Tick();
  // Tests and benchmarks read their own stripes.
  void UseFeed(std::unique_ptr<WaveFeed> feed);
  // The setting `remain`: the text shows the time left instead of elapsed.
  void SetShowRemaining(bool on);
  int ZoomIndex() const { return zoom_; }
  void SetZoomIndex(int index);
  // The picture as it would go to the screen now.
  wxImage Snapshot();

 private:
  struct Look {
    wxColour data, beat, loop, cue, cursor, font, back;
    bool showCursor = true, showText = true, showZoom = true, showBeatDiff = false;
    int cursorPos = -1;  // pixels along; -1: the middle
    int beatDiffX = 0, beatDiffY = 0;
  };

  int CursorAlong() const;
  std::int64_t Origin() const;
  void BuildBackground();
  void DrawIdle(wxDC& dc);
  void DrawMarks(wxDC& dc);
  void DrawMark(wxDC& dc, double frame, const wxColour& colour, int footDirection);
  void DrawCursor(wxDC& dc);
  void DrawTexts(wxDC& dc);
  void DrawZoomSigns(wxDC& dc);
  void DrawBeatDifference(wxDC& dc);
  void FillAlong(wxDC& dc, int along, int across, int alongExtent, int acrossExtent,
                 const wxColour& colour);
  void EndDrag();

  std::unique_ptr<WaveFeed> feed_;
  Look look_;
  WaveAxes axes_;
  WaveGrid grid_;
  int zoom_ = kDefaultWaveZoom;
  bool showRemaining_ = false;
  WavePicture picture_;
  wxBitmap background_;
  StripeWindow stripes_;
  std::vector<WaveColumn> columns_;
  WaveDeckState state_;
  // What the last compose showed: a tick that changes none of it skips the
  // repaint.
  std::int64_t shownOrigin_ = INT64_MIN;
  std::string shownText_;
  WaveDeckState shownState_;
  bool composed_ = false;
  // Mouse: press position along, last drag position, whether it scratches.
  bool pressed_ = false, scratching_ = false;
  int pressAlong_ = 0, lastAlong_ = 0;
};

// Screen tick, step 6: the displays of `deck` (main and second view) that
// the control table holds.
void RefreshSoundDisplays(int deck);
// The setting `remain` for every display.
void ShowRemainingOnSoundDisplays(bool on);

}  // namespace vantaro
