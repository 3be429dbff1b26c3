#include "tests/skin/skin_test_env.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>
#include <wx/app.h>
#include <wx/init.h>
#include <wx/window.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>

#include "tests/app/app_process.h"
#include "tests/support/test_support.h"

namespace vantaro::test {
namespace {

// The toolkit on a private X server, for the whole test program.
class ToolkitEnvironment : public ::testing::Environment {
 public:
  void SetUp() override {
    // VANTARO_TEST_SCREEN ("1280x800") sizes the screen; 1024 x 768 without.
    int width = 1024, height = 768;
    if (const char* size = std::getenv("VANTARO_TEST_SCREEN"))
      std::sscanf(size, "%dx%d", &width, &height);
    server_ = std::make_unique<XvfbServer>(width, height);
    setenv("DISPLAY", server_->Display().c_str(), 1);
    static char name[] = "skin_tests";
    static char* argv[] = {name, nullptr};
    int argc = 1;
    wxApp::SetInstance(new wxApp());
    ASSERT_TRUE(wxEntryStart(argc, argv)) << "the toolkit did not start on " << server_->Display();
    wxTheApp->CallOnInit();
    wxInitAllImageHandlers();
  }
  void TearDown() override {
    Pump(50);
    wxEntryCleanup();
    server_.reset();
  }

 private:
  std::unique_ptr<XvfbServer> server_;
};

const auto* const kEnvironment = ::testing::AddGlobalTestEnvironment(new ToolkitEnvironment);

}  // namespace

void Pump(int milliseconds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  do {
    wxTheApp->ProcessPendingEvents();
    wxTheApp->Yield(true);
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  } while (std::chrono::steady_clock::now() < end);
}

int RunWhilePumping(const std::string& command) {
  const pid_t child = fork();
  if (child == 0) {
    execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  int status = 0;
  while (waitpid(child, &status, WNOHANG) == 0) Pump(5);
  Pump(100);  // what the command caused
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void ClickAt(wxWindow* window, int x, int y, int button, int repeat) {
  const wxPoint at = window->ClientToScreen(wxPoint(x, y));
  // Not "mousemove --sync": it waits in vain when the pointer is there already.
  RunWhilePumping("xdotool mousemove " + std::to_string(at.x) + " " + std::to_string(at.y) +
                  " sleep 0.05 click --repeat " + std::to_string(repeat) + " --delay 60 " +
                  std::to_string(button));
}

void PointAt(wxWindow* window, int x, int y) {
  const wxPoint at = window->ClientToScreen(wxPoint(x, y));
  RunWhilePumping("xdotool mousemove " + std::to_string(at.x) + " " + std::to_string(at.y));
}

void Click(wxWindow* window, int button, int repeat) {
  const wxSize size = window->GetClientSize();
  ClickAt(window, size.x / 2, size.y / 2, button, repeat);
}

wxImage Screenshot(const std::string& keepAs) {
  TempDir dir;
  const std::string path =
      keepAs.empty() ? dir.File("screen.png") : std::string(VANTARO_BINARY_DIR) + "/" + keepAs;
  RunWhilePumping("import -window root png:" + path);
  return wxImage(path, wxBITMAP_TYPE_PNG);
}

namespace {

template <typename Match>
int CountPixels(const wxImage& image, const wxRect& rect, Match match) {
  int count = 0;
  const wxRect inside = rect.Intersect(wxRect(0, 0, image.GetWidth(), image.GetHeight()));
  if (!image.IsOk()) return 0;
  for (int y = inside.GetTop(); y <= inside.GetBottom(); ++y)
    for (int x = inside.GetLeft(); x <= inside.GetRight(); ++x)
      count += match(image.GetRed(x, y), image.GetGreen(x, y), image.GetBlue(x, y));
  return count;
}

}  // namespace

int CountColour(const wxImage& image, const wxRect& rect, const wxColour& colour) {
  const auto near = [](int a, int b) { return std::abs(a - b) <= 8; };
  return CountPixels(image, rect, [&](int r, int g, int b) {
    return near(r, colour.Red()) && near(g, colour.Green()) && near(b, colour.Blue());
  });
}

int CountBlue(const wxImage& image, const wxRect& rect) {
  return CountPixels(image, rect,
                     [](int r, int g, int b) { return b >= 128 && r + 64 < b && g + 64 < b; });
}

}  // namespace vantaro::test
