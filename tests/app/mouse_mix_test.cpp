// End to end, as a DJ with a mouse: the real program under Xvfb, playing
// into a JACK client of this test on the private dummy server. A generated
// 1 kHz track dropped on deck A (over XDND) plays at its level once play is
// clicked where the skin file puts the button; the crossfader dragged to
// the B end silences it; the wave scrolls; SIGTERM closes cleanly.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/app/app_process.h"
#include "tests/app/skin_place.h"
#include "tests/devices/jack_sink.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

namespace fs = std::filesystem;
using test::AppProcess;
using test::SkinPlace;
using test::TempDir;
using test::XvfbServer;

constexpr const char* kTicking = "screen tick: first tick handled";
constexpr double kToneDb = -12.0;  // peak of the generated tone, dB full scale

double Db(double linear) {
  return linear > 0 ? 20.0 * std::log10(linear) : -400.0;
}

int Xdotool(const std::string& display, const std::string& args) {
  return test::RunCommand("DISPLAY=" + display + " xdotool " + args);
}

std::string At(int x, int y) {
  return std::to_string(x) + " " + std::to_string(y);
}

// The part of a screenshot inside `place`, as raw RGB bytes.
std::vector<unsigned char> Region(const std::string& png, const SkinPlace& place) {
  std::string out;
  const std::string crop = std::to_string(place.width) + "x" + std::to_string(place.height) + "+" +
                           std::to_string(place.x) + "+" + std::to_string(place.y);
  EXPECT_EQ(test::RunCommand("convert '" + png + "' -crop " + crop + " +repage rgb:- ", &out), 0);
  return std::vector<unsigned char>(out.begin(), out.end());
}

TEST(MouseMix, ADroppedTonePlaysAtItsLevelTheCrossfaderSilencesItAndTheWaveMoves) {
  test::JackSink sink("mix", 2);
  ASSERT_TRUE(sink.Ok()) << "no JACK server: the devices_jack fixture starts one";
  XvfbServer x(1280, 800);
  TempDir home;
  const std::string root = test::WriteProgramSettings(home.Path(), {{"audio0", sink.RowName()}});
  const std::string tone = home.File("tone 1 kHz.wav");
  ASSERT_EQ(test::RunCommand("sox -n -r 44100 -c 2 -b 16 '" + tone + "' synth 120 sine 1000 vol " +
                             std::to_string(std::pow(10.0, kToneDb / 20.0))),
            0);

  const std::string skin = test::DefaultSkin1280();
  const SkinPlace zone = test::FindSkinPlace(skin, "dz_deck", 0);
  const SkinPlace play = test::FindSkinPlace(skin, "deck_play_pause", 0);
  const SkinPlace fader = test::FindSkinPlace(skin, "crossfader", -1);
  const SkinPlace wave = test::FindSkinPlace(skin, "sd_deck", 0);
  ASSERT_TRUE(zone.Found() && play.Found() && fader.Found() && wave.Found());

  AppProcess app(x.Display(), home.Path(), home.File("out.txt"));
  ASSERT_TRUE(app.WaitForOutput(kTicking)) << app.Output();
  ASSERT_NE(app.Output().find("audio output open on \"" + sink.RowName()), std::string::npos)
      << app.Output();

  const std::string drop = "DISPLAY=" + x.Display() + " " VANTARO_BINARY_DIR "/xdnd_drop_tool " +
                           At(zone.CentreX(), zone.CentreY()) + " '" + tone + "'";
  ASSERT_EQ(test::RunCommand(drop), 0);
  ASSERT_TRUE(app.WaitForOutput("deck A: loading " + tone, 20)) << app.Output();
  sleep(2);  // the first blocks decode
  // The crossfader to the A end, then play.
  ASSERT_EQ(
      Xdotool(x.Display(), "mousemove " + At(fader.x + 2, fader.CentreY()) + " sleep 0.2 click 1"),
      0);
  ASSERT_EQ(Xdotool(x.Display(), "mousemove " + At(play.CentreX(), play.CentreY()) +
                                     " sleep 0.2 click 1 sleep 0.5"),
            0);
  sleep(1);
  std::vector<float> heard = sink.Record(44100);
  ASSERT_EQ(heard.size(), 2u * 44100) << app.Output();
  for (int channel = 0; channel < 2; ++channel) {
    EXPECT_NEAR(test::ToneFrequency(heard, 2, channel), 1000.0, 5.0);
    EXPECT_NEAR(Db(test::Peak(heard, 2, channel)), kToneDb, 1.0) << "channel " << channel;
  }

  // Two pictures half a second apart: the wave has moved.
  const std::string first = VANTARO_BINARY_DIR "/mouse-mix-1.png";
  const std::string second = VANTARO_BINARY_DIR "/mouse-mix-2.png";
  ASSERT_EQ(test::RunCommand("DISPLAY=" + x.Display() + " import -window root '" + first +
                             "' && sleep 0.5 && DISPLAY=" + x.Display() + " import -window root '" +
                             second + "'"),
            0);
  const std::vector<unsigned char> before = Region(first, wave), after = Region(second, wave);
  ASSERT_EQ(before.size(), after.size());
  long changed = 0;
  for (size_t i = 0; i < before.size(); ++i) changed += before[i] != after[i];
  EXPECT_GT(changed, 300) << "the wave did not scroll";

  // Dragged to the B end: deck A falls silent.
  ASSERT_EQ(Xdotool(x.Display(),
                    "mousemove " + At(fader.x + 2, fader.CentreY()) +
                        " mousedown 1 sleep 0.2 mousemove " +
                        At(fader.x + fader.width / 2, fader.CentreY()) + " sleep 0.1 mousemove " +
                        At(fader.x + fader.width + 30, fader.CentreY()) + " sleep 0.2 mouseup 1"),
            0);
  sleep(1);
  heard = sink.Record(44100);
  for (int channel = 0; channel < 2; ++channel)
    EXPECT_LT(Db(test::Rms(heard, 2, channel)), kToneDb - 3.0 - 60.0) << "channel " << channel;

  app.Signal(SIGTERM);
  EXPECT_EQ(app.WaitForExit(), 0) << app.Output();
}

}  // namespace
}  // namespace vantaro
