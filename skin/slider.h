#pragma once
// CZKSlider: a fader or a knob, drawn from colours or copied from the skin
// image. A `size` above 0 (or `isknob`) makes a knob of that size. Its
// behaviour is a SliderState; this class draws it, holds the mouse capture
// during a drag, and can show a level bar (a channel meter) along the
// track and markers (cue points) across it.
//
// Threads: GUI thread only.

#include <wx/colour.h>

#include <string>
#include <vector>

#include "control/slider_state.h"
#include "skin/custom_control.h"
#include "skin/level_bar.h"

namespace vantaro {

class CZKSlider : public ZKCustomControl {
 public:
  // Marker types that are kept but not drawn.
  static constexpr int kHiddenMarkerTypes = 0x20 | 0x80;
  struct Marker {
    std::string text;
    wxColour colour;
    int penWidth = 1;
    double position = 0;  // 0..1 along the track
    int type = 0;
  };

  CZKSlider(wxWindow* parent, int controlId, int deck);

  void ApplySkinAttributes(ZKAttributeList& attributes) override;
  void OnControlEvent(const ControlEvent& event) override;
  void DrawControl() override;
  void OnCaptureLost() override;
  void SetRange(int minValue, int maxValue) override;
  void ShowEngineValue(int value) override;

  void SetValue(int value, bool notify);
  int GetValue() const { return state_.Value(); }
  const SliderState& State() const { return state_; }
  bool IsKnob() const { return state_.GetShape().knob; }

  void SetMarkers(std::vector<Marker> markers);
  // One frame of the level bar (screen tick), dB per channel; redraws only
  // when the bar moved. Ignored unless the skin enabled it.
  void FeedLevels(float leftDb, float rightDb);

 private:
  bool DrawFaderBackground(bool hot);
  void DrawFaderCursor(bool hot);
  wxRect CursorRect() const;
  void DrawKnob(bool hot);
  void DrawKnobPointer(const wxPoint& centre, bool hot);
  void DrawLevels();
  void DrawMarkers();
  bool KnobFrameOrigin(int frame, wxPoint* origin) const;

  SliderState state_;
  // Pictures in the skin image.
  wxPoint track_{0, 0}, trackOver_{0, 0}, cursor_{0, 0}, cursorOver_{0, 0};
  int cursorAlpha_ = 255;
  // Colour mode.
  wxColour back_, backOver_, slider_, sliderOver_, marker_;
  // Knob drawing.
  bool useLine_ = false, aliasing_ = false;
  int lineWidth_ = 1, radius_ = 0, cursorSize_ = 0;
  int positions_ = 1, spaceBetweenPositions_ = 0;
  wxColour cursorColour_, focusedCursorColour_;
  // Level bar.
  bool levelsOn_ = false;
  wxPoint levelPicture_{0, 0};
  int levelOffsetBegin_ = 0, levelOffsetEnd_ = 0;
  LevelBar levels_[2];
  std::vector<Marker> markers_;
};

}  // namespace vantaro
