// `vantaro --record PATH` as an unattended set runs: the real program under
// Xvfb playing into the JACK dummy server, recording the master from the
// moment audio opens until it closes, or until it is killed. The sampler
// file goes through the same starts and closes.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdint>
#include <thread>

#include "tests/app/app_process.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::AppProcess;
using test::TempDir;
using test::XvfbServer;

constexpr const char* kTicking = "screen tick: first tick handled";

std::int64_t FileBytes(const std::string& path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0 ? info.st_size : -1;
}

// The WAV header's data size against the file's real length.
bool WavSizesMatchFile(const std::string& path) {
  const std::string bytes = test::ReadFile(path);
  if (bytes.size() < 44 || bytes.compare(0, 4, "RIFF") != 0) return false;
  const auto* h = reinterpret_cast<const unsigned char*>(bytes.data());
  const std::uint32_t data = h[40] | h[41] << 8 | h[42] << 16 | h[43] << 24;
  return data + 44u == bytes.size();
}

// Seconds ffmpeg decodes from the file; -1 when it cannot.
double DecodedSeconds(const std::string& path) {
  std::string out;
  const std::string command =
      "ffmpeg -v error -i '" + path + "' -f s16le -ac 2 -ar 44100 - | wc -c";
  if (test::RunCommand(command, &out) != 0) return -1;
  const double bytes = std::stod(out);
  return bytes > 0 ? bytes / (4 * 44100.0) : -1;
}

TEST(RecordingProgram, RecordsTheSetUntilCloseOrKillAndRepairsAKilledFileAtTheNextStart) {
  XvfbServer x(1280, 800);
  TempDir home;
  // The sampler file rides along: read at start, written at close, a slot
  // whose sample is gone kept.
  const std::string settings = home.Path() + "/Vantaro/Settings/";
  ASSERT_EQ(test::RunCommand("mkdir -p '" + settings + "'"), 0);
  test::WriteFile(
      settings + "sampler.xml",
      "<sampler version=\"100\"><sample index=\"5\" file=\"/gone/horn.wav\" beats=\"4\" "
      "autosync=\"1\" loop=\"0\" pitch=\"-120\" volume=\"99\" /></sampler>\n");
  struct Run {
    const char* file;
    int signal;  // how the run ends
  };
  // In this order: the killed WAV is repaired (if it needs it) by the start
  // that follows.
  const Run runs[] = {{"killed.wav", SIGKILL}, {"set.mp3", SIGTERM}, {"set.wav", SIGTERM}};
  for (const Run& run : runs) {
    SCOPED_TRACE(run.file);
    const std::string path = home.File(run.file);
    AppProcess app(x.Display(), home.Path(), home.File(std::string(run.file) + ".txt"),
                   {"--record", path});
    ASSERT_TRUE(app.WaitForOutput("recording: started " + path)) << app.Output();
    ASSERT_TRUE(app.WaitForOutput(kTicking)) << app.Output();
    // Two seconds of the (silent) master, as the sound card's clock runs.
    std::this_thread::sleep_for(std::chrono::seconds(2));
    app.Signal(run.signal);
    const int status = app.WaitForExit();
    if (run.signal == SIGKILL) {
      EXPECT_TRUE(WavSizesMatchFile(path)) << FileBytes(path);
      EXPECT_GT(FileBytes(path), 44 + 4 * 44100) << "at most the last second is missing";
      continue;
    }
    EXPECT_EQ(status, 0) << app.Output();
    EXPECT_NE(app.Output().find("recording: stopped " + path), std::string::npos);
    EXPECT_GT(DecodedSeconds(path), 1.5);
    EXPECT_NE(test::ReadFile(settings + "sampler.xml")
                  .find("<sample index=\"5\" file=\"/gone/horn.wav\" beats=\"4\" autosync=\"1\" "
                        "loop=\"0\" pitch=\"-120\" volume=\"99\" />"),
              std::string::npos)
        << test::ReadFile(settings + "sampler.xml");
    if (std::string(run.file) == "set.mp3") {
      EXPECT_NE(app.Output().find("recording: unfinished recording " + home.File("killed.wav")),
                std::string::npos)
          << app.Output();
    }
  }
}

}  // namespace
}  // namespace vantaro
