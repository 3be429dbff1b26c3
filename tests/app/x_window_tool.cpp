// x_window_tool: what a window manager would do to a window, for tests that
// run the program under Xvfb with no window manager.
//
//   x_window_tool count <title>   prints how many top-level windows have
//                                 exactly this title
//   x_window_tool close <title>   sends WM_DELETE_WINDOW to each of them
//                                 (a close through the window manager);
//                                 exits 1 when none was found
//   x_window_tool close-dialog <class>
//                                 the same for viewable windows of this
//                                 WM_CLASS name that have no title (GTK
//                                 message boxes carry none)
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

std::string WindowTitle(Display* display, Window window) {
  Atom netName = XInternAtom(display, "_NET_WM_NAME", False);
  Atom utf8 = XInternAtom(display, "UTF8_STRING", False);
  Atom type;
  int format;
  unsigned long count, after;
  unsigned char* data = nullptr;
  std::string title;
  if (XGetWindowProperty(display, window, netName, 0, 1024, False, utf8, &type, &format, &count,
                         &after, &data) == Success &&
      data) {
    title.assign(reinterpret_cast<char*>(data), count);
    XFree(data);
    return title;
  }
  char* name = nullptr;
  if (XFetchName(display, window, &name) && name) {
    title = name;
    XFree(name);
  }
  return title;
}

// Viewable windows with the title, searched through the whole tree (GTK
// puts its frames directly below the root when no manager reparents them).
std::string ClassName(Display* display, Window window) {
  XClassHint hint{};
  std::string name;
  if (XGetClassHint(display, window, &hint)) {
    if (hint.res_name) name = hint.res_name;
    if (hint.res_name) XFree(hint.res_name);
    if (hint.res_class) XFree(hint.res_class);
  }
  return name;
}

// With `untitledOfClass` set, matches windows of that class with no title.
void FindWindows(Display* display, Window window, const std::string& title, bool untitledOfClass,
                 std::vector<Window>* found) {
  XWindowAttributes attributes;
  if (XGetWindowAttributes(display, window, &attributes) && attributes.map_state == IsViewable) {
    const std::string windowTitle = WindowTitle(display, window);
    const bool match = untitledOfClass ? windowTitle.empty() && attributes.width > 1 &&
                                             ClassName(display, window) == title
                                       : windowTitle == title;
    if (match) found->push_back(window);
  }
  Window root, parent, *children = nullptr;
  unsigned count = 0;
  if (!XQueryTree(display, window, &root, &parent, &children, &count)) return;
  for (unsigned i = 0; i < count; ++i)
    FindWindows(display, children[i], title, untitledOfClass, found);
  if (children) XFree(children);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: x_window_tool count|close <title> | close-dialog <class>\n");
    return 2;
  }
  Display* display = XOpenDisplay(nullptr);
  if (!display) {
    std::fprintf(stderr, "x_window_tool: cannot open the display\n");
    return 2;
  }
  std::vector<Window> windows;
  const bool dialogs = std::strcmp(argv[1], "close-dialog") == 0;
  FindWindows(display, DefaultRootWindow(display), argv[2], dialogs, &windows);
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
