// What the controls draw, read back from the screen: buttons, faders, knobs
// and texts, each from colours and from the skin image. The screen is kept
// as controls_gallery.png in the build tree for people to look at.
#include <gtest/gtest.h>
#include <wx/dcmemory.h>

#include <sstream>
#include <string>

#include "skin/attribute_list.h"
#include "skin/button.h"
#include "skin/main_window.h"
#include "skin/skin_image.h"
#include "skin/slider.h"
#include "skin/static_text.h"
#include "tests/skin/skin_test_env.h"

namespace vantaro {
namespace {

const wxColour kFace(0x18, 0x18, 0x18), kRed(0xC0, 0x30, 0x30), kGreen(0x30, 0xC0, 0x30),
    kDown(0x30, 0x30, 0xC0), kTrack(0x40, 0x40, 0x40), kYellow(0xE0, 0xE0, 0x00),
    kTeal(0x20, 0x80, 0x80);

// The skin picture: the window's face with the controls' normal looks in
// place, and their other looks below the window's part.
wxBitmap GalleryPicture() {
  wxBitmap bitmap(600, 400);
  wxMemoryDC dc(bitmap);
  const auto fill = [&dc](const wxColour& colour, int x, int y, int w, int h) {
    dc.SetPen(*wxTRANSPARENT_PEN);
    dc.SetBrush(wxBrush(colour));
    dc.DrawRectangle(x, y, w, h);
  };
  fill(kFace, 0, 0, 600, 400);
  fill(kRed, 160, 20, 120, 48);            // picture button, normal
  fill(kGreen, 160, 300, 120, 48);         // over
  fill(kDown, 300, 300, 120, 48);          // down
  fill(kTrack, 380, 20, 40, 220);          // picture fader's track
  fill(kYellow, 460, 300, 40, 10);         // its cursor
  for (int frame = 0; frame < 5; ++frame)  // knob frames, wrapping at the picture's edge
    fill(wxColour(0x50 + 0x20 * frame, 0x50, 0x50), 500 + 48 * (frame % 2), 20 + 48 * (frame / 2),
         48, 48);
  fill(kTeal, 20, 140, 120, 24);  // behind the transparent text
  dc.SelectObject(wxNullBitmap);
  return bitmap;
}

// A control built from skin attributes given as `posx=20 posy=20 ...`
// (values without spaces).
template <typename Control>
Control* Make(wxWindow* parent, const std::string& text) {
  auto* control = new Control(parent, 1, -1);
  ZKAttributeList attributes;
  std::istringstream in(text);
  for (std::string pair; in >> pair;) {
    const auto equals = pair.find('=');
    attributes.SetText(pair.substr(0, equals), pair.substr(equals + 1));
  }
  control->ApplySkinAttributes(attributes);
  return control;
}

wxRect Rows(const wxRect& rect, int from, int count) {
  return wxRect(rect.x, rect.y + from, rect.width, count);
}

TEST(Drawing, EveryKindInEveryModeShowsItsStateOnScreen) {
  auto* window = new ZKMainWindow(wxPoint(0, 0), wxSize(600, 400), "gallery", nullptr);
  window->Show();
  SkinImage::Get().SetBitmap(GalleryPicture());
  window->ApplyWindowSkin(600, 400, 0, 0, 0, 0, false, wxColour(), wxColour());
  auto* colourButton =
      Make<CZKButton>(window,
                      "posx=20 posy=20 width=120 height=48 graphics_mode=1 "
                      "backcolor=#333333 showlabel=yes fontsize=5 fontcolor=#FFFFFF");
  colourButton->SetLabel("PLAY");
  auto* pictureButton = Make<CZKButton>(window,
                                        "posx=160 posy=20 width=120 height=48 "
                                        "overx=160 overy=300 downx=300 downy=300");
  auto* switchButton = Make<CZKButton>(window,
                                       "posx=20 posy=180 width=120 height=48 graphics_mode=1 "
                                       "isswitch=yes backcolorsel=#FF583F");
  switchButton->SetSwitched(true);
  auto* colourFader =
      Make<CZKSlider>(window, "posx=320 posy=20 width=40 height=220 graphics_mode=1");
  auto* pictureFader =
      Make<CZKSlider>(window, "posx=380 posy=20 width=40 height=220 cursorupx=460 cursorupy=300");
  auto* colourKnob =
      Make<CZKSlider>(window, "posx=440 posy=20 size=48 graphics_mode=1 linewidth=3");
  auto* pictureKnob = Make<CZKSlider>(window, "posx=500 posy=20 size=48 positions=5");
  auto* colourText = Make<CZKStaticText>(window,
                                         "posx=20 posy=100 width=120 height=24 "
                                         "graphics_mode=1 backcolor=#101060 fontcolor=#FFFF00 "
                                         "fontname=arial fontsize=4 fontalign=center");
  colourText->SetText("DECK A");
  auto* clearText = Make<CZKStaticText>(window,
                                        "posx=20 posy=140 width=120 height=24 "
                                        "transparent=yes fontsize=4 fontcolor=#FFFFFF");
  clearText->SetText("12:45PM");
  for (CZKSlider* slider : {colourFader, pictureFader, colourKnob, pictureKnob})
    slider->SetRange(0, 100);
  colourFader->SetValue(100, true);
  colourKnob->SetValue(100, true);
  pictureKnob->SetValue(100, true);
  PostControlEvent(pictureButton, ControlEvent::Mouse(mt_DOWN, 5, 5, kButtonLeft, 0));
  test::Pump(300);

  const wxImage screen = test::Screenshot("controls_gallery.png");
  const auto on = [](wxWindow* control) { return control->GetScreenRect(); };
  const int button = 120 * 48;
  EXPECT_GT(test::CountColour(screen, on(colourButton), wxColour(0x33, 0x33, 0x33)), button / 2);
  EXPECT_GT(test::CountColour(screen, on(colourButton), *wxWHITE), 20) << "the label";
  EXPECT_EQ(test::CountColour(screen, on(pictureButton), kDown), button) << "held down";
  EXPECT_GT(test::CountColour(screen, on(switchButton), wxColour(0xFF, 0x58, 0x3F)), button / 2);
  const wxColour cursorGrey(0xAA, 0xAA, 0xAA);
  EXPECT_GT(test::CountColour(screen, Rows(on(colourFader), 0, 10), cursorGrey), 300)
      << "the maximum stands at the top";
  EXPECT_LT(test::CountColour(screen, Rows(on(colourFader), 200, 20), cursorGrey), 20)
      << "only the groove below";
  EXPECT_EQ(test::CountColour(screen, Rows(on(pictureFader), 210, 10), kYellow), 400);
  EXPECT_GT(test::CountColour(screen, Rows(on(pictureFader), 0, 200), kTrack), 7000);
  const wxRect knob = on(colourKnob);
  const wxRect lowerRight(knob.x + 26, knob.y + 26, 22, 22), lowerLeft(knob.x, knob.y + 26, 22, 22);
  EXPECT_GT(test::CountColour(screen, lowerRight, *wxWHITE), 10) << "the pointer at the maximum";
  EXPECT_EQ(test::CountColour(screen, lowerLeft, *wxWHITE), 0);
  EXPECT_EQ(test::CountColour(screen, on(pictureKnob), wxColour(0xD0, 0x50, 0x50)), 48 * 48)
      << "the last frame, from the next row";
  EXPECT_GT(test::CountColour(screen, on(colourText), wxColour(0x10, 0x10, 0x60)), 1000);
  EXPECT_GT(test::CountColour(screen, on(colourText), wxColour(0xFF, 0xFF, 0x00)), 20);
  EXPECT_GT(test::CountColour(screen, on(clearText), kTeal), 1000) << "the skin behind it";
  EXPECT_GT(test::CountColour(screen, on(clearText), *wxWHITE), 20);

  // The pointer over the released picture button shows its over look.
  PostControlEvent(pictureButton, ControlEvent::Mouse(mt_UP, 5, 5, kButtonLeft, 0));
  test::PointAt(pictureButton, 60, 24);
  EXPECT_EQ(test::CountColour(test::Screenshot(), on(pictureButton), kGreen), button);
  window->Destroy();
  test::Pump(50);
}

}  // namespace
}  // namespace vantaro
