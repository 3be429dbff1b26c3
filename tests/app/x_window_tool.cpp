// x_window_tool: what a window manager would do to a window, for tests that
// run the program under Xvfb with no window manager.
//
//   x_window_tool count <title>   prints how many top-level windows have
//                                 exactly this title
//   x_window_tool close <title>   sends WM_DELETE_WINDOW to each of them
//                                 (a close through the window manager);
//                                 exits 1 when none was found
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

// The WM_NAME title (GTK writes the titles the tests look for, plain ASCII,
// there as well as in _NET_WM_NAME).
std::string WindowTitle(Display* display, Window window) {
  char* name = nullptr;
  std::string title;
  if (XFetchName(display, window, &name) && name) title = name;
  if (name) XFree(name);
  return title;
}

// Viewable windows with the title, searched through the whole tree (GTK
// puts its frames directly below the root when no manager reparents them).
void FindWindows(Display* display, Window window, const std::string& title,
                 std::vector<Window>* found) {
  XWindowAttributes attributes;
  if (XGetWindowAttributes(display, window, &attributes) && attributes.map_state == IsViewable &&
      WindowTitle(display, window) == title)
    found->push_back(window);
  Window root, parent, *children = nullptr;
  unsigned count = 0;
  if (!XQueryTree(display, window, &root, &parent, &children, &count)) return;
  for (unsigned i = 0; i < count; ++i) FindWindows(display, children[i], title, found);
  if (children) XFree(children);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: x_window_tool count|close <title>\n");
    return 2;
  }
  Display* display = XOpenDisplay(nullptr);
  if (!display) {
    std::fprintf(stderr, "x_window_tool: cannot open the display\n");
    return 2;
  }
  std::vector<Window> windows;
  FindWindows(display, DefaultRootWindow(display), argv[2], &windows);
  if (std::strcmp(argv[1], "count") == 0) {
    std::printf("%zu\n", windows.size());
    XCloseDisplay(display);
    return 0;
  }
  Atom protocols = XInternAtom(display, "WM_PROTOCOLS", False);
  Atom deleteWindow = XInternAtom(display, "WM_DELETE_WINDOW", False);
  for (Window window : windows) {
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = protocols;
    event.xclient.format = 32;
    event.xclient.data.l[0] = static_cast<long>(deleteWindow);
    event.xclient.data.l[1] = CurrentTime;
    XSendEvent(display, window, False, NoEventMask, &event);
  }
  XFlush(display);
  XCloseDisplay(display);
  return windows.empty() ? 1 : 0;
}
