// The sampler as a DJ plays it: the real program under Xvfb, playing into a
// JACK client of this test on the private dummy server. A slot of the
// sampler file holds a looping tone; a click on its pad plays it at its
// level and the pad lights; a second click stops it. The screenshots stay
// in the build folder.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
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

constexpr double kToneDb = -12.0;  // peak of the sample, dB full scale
constexpr double kToneHz = 500.0;

double Db(double linear) {
  return linear > 0 ? 20.0 * std::log10(linear) : -400.0;
}

void Click(const std::string& display, const SkinPlace& place) {
  ASSERT_EQ(test::RunCommand("DISPLAY=" + display + " xdotool mousemove " +
                             std::to_string(place.CentreX()) + " " +
                             std::to_string(place.CentreY()) + " sleep 0.2 click 1"),
            0);
}

// The mean of red, green and blue just inside the top of `place`'s face.
int Brightness(const std::string& png, const SkinPlace& place) {
  std::string out;
  const std::string crop =
      "1x1+" + std::to_string(place.CentreX()) + "+" + std::to_string(place.y + 4);
  EXPECT_EQ(test::RunCommand(
                "convert '" + png + "' -crop " + crop + " -format '%[fx:int(255*(r+g+b)/3)]' info:",
                &out),
            0);
  return std::atoi(out.c_str());
}

TEST(SamplerPad, AClickPlaysTheSlotThroughJackAndASecondStopsIt) {
  test::JackSink sink("pads", 2);
  ASSERT_TRUE(sink.Ok()) << "no JACK server: the devices_jack fixture starts one";
  XvfbServer x(1280, 800);
  TempDir home;
  const std::string root = test::WriteProgramSettings(home.Path(), {{"audio0", sink.RowName()}});
  const std::string tone = home.File("horn.wav");
  ASSERT_EQ(test::RunCommand("sox -n -r 44100 -c 2 -b 16 '" + tone + "' synth 2 sine " +
                             std::to_string(kToneHz) + " vol " +
                             std::to_string(std::pow(10.0, kToneDb / 20.0))),
            0);
  test::WriteFile(root + "Settings/sampler.xml",
                  "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<sampler version=\"100\">\n"
                  "<sample index=\"0\" file=\"" +
                      tone +
                      "\" beats=\"0\" autosync=\"0\" loop=\"1\" pitch=\"0\" volume=\"127\" />\n"
                      "</sampler>\n");
  const std::string skin = test::DefaultSkin1280();
  const SkinPlace pad = test::FindSkinPlace(skin, "_sampler1", -1);
  ASSERT_TRUE(pad.Found());

  AppProcess app(x.Display(), home.Path(), home.File("out.txt"));
  ASSERT_TRUE(app.WaitForOutput("screen tick: first tick handled")) << app.Output();
  const std::string unlit = VANTARO_BINARY_DIR "/sampler-pads-1280x800-idle.png";
  const std::string lit = VANTARO_BINARY_DIR "/sampler-pads-1280x800.png";
  const std::string shot = "DISPLAY=" + x.Display() + " import -window root ";
  ASSERT_EQ(test::RunCommand(shot + "'" + unlit + "'"), 0);

  Click(x.Display(), pad);
  sleep(1);
  std::vector<float> heard = sink.Record(44100);
  ASSERT_EQ(heard.size(), 2u * 44100) << app.Output();
  for (int channel = 0; channel < 2; ++channel) {
    EXPECT_NEAR(test::ToneFrequency(heard, 2, channel), kToneHz, 5.0);
    EXPECT_NEAR(Db(test::Peak(heard, 2, channel)), kToneDb, 1.0) << "channel " << channel;
  }
  ASSERT_EQ(test::RunCommand(shot + "'" + lit + "'"), 0);
  EXPECT_GT(Brightness(lit, pad), Brightness(unlit, pad) + 60) << "the pad is not lit";

  Click(x.Display(), pad);
  sleep(1);
  heard = sink.Record(22050);
  for (int channel = 0; channel < 2; ++channel)
    EXPECT_LT(Db(test::Rms(heard, 2, channel)), -90.0) << "the second click did not stop it";

  app.Signal(SIGTERM);
  EXPECT_EQ(app.WaitForExit(), 0) << app.Output();
}

}  // namespace
}  // namespace vantaro
