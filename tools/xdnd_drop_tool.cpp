// xdnd_drop_tool: plays a file manager's part of an XDND drag on a real
// window, for tests that run the program under Xvfb.
//
//   xdnd_drop_tool X Y FILE...   drags FILE... (as a text/uri-list of
//                                percent-encoded file:// URIs) to the root
//                                point X,Y and drops them there
//
// The target is the top-level window under the point that carries
// XdndAware. The tool owns XdndSelection, sends XdndEnter, XdndPosition,
// waits for XdndStatus, sends XdndDrop, answers the target's selection
// request with the list and waits for XdndFinished.
// Exit status: 0 the target accepted and finished; 2 it refused the drag or
// the drop; 3 no XDND window under the point; 4 a time-out.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <poll.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr int kTimeoutMs = 15000;

std::string PercentEncode(const std::string& path) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : path) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                       c == '/' || c == '-' || c == '_' || c == '.' || c == '~';
    if (plain) {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 15];
    }
  }
  return out;
}

struct Atoms {
  Atom aware, enter, position, status, drop, finished, selection, copy, uriList;
  explicit Atoms(Display* d)
      : aware(XInternAtom(d, "XdndAware", False)),
        enter(XInternAtom(d, "XdndEnter", False)),
        position(XInternAtom(d, "XdndPosition", False)),
        status(XInternAtom(d, "XdndStatus", False)),
        drop(XInternAtom(d, "XdndDrop", False)),
        finished(XInternAtom(d, "XdndFinished", False)),
        selection(XInternAtom(d, "XdndSelection", False)),
        copy(XInternAtom(d, "XdndActionCopy", False)),
        uriList(XInternAtom(d, "text/uri-list", False)) {}
};

// The XDND version `window` declares; 0 when it is not a drop target.
long AwareVersion(Display* d, const Atoms& atoms, Window window) {
  Atom type;
  int format;
  unsigned long count, after;
  unsigned char* data = nullptr;
  long version = 0;
  if (XGetWindowProperty(d, window, atoms.aware, 0, 1, False, XA_ATOM, &type, &format, &count,
                         &after, &data) == Success &&
      data && count == 1)
    version = static_cast<long>(*reinterpret_cast<Atom*>(data));
  if (data) XFree(data);
  return version;
}

// Down the window tree under the root point to the deepest XdndAware window.
Window FindTarget(Display* d, const Atoms& atoms, int x, int y, long* version) {
  Window root = DefaultRootWindow(d), at = root, found = None;
  while (true) {
    Window child = None;
    int cx, cy;
    if (!XTranslateCoordinates(d, root, at, x, y, &cx, &cy, &child) || child == None) break;
    at = child;
    if (long v = AwareVersion(d, atoms, at)) {
      found = at;
      *version = v;
    }
  }
  return found;
}

void SendMessage(Display* d, Window target, Atom type, long l0, long l1, long l2, long l3,
                 long l4) {
  XEvent event{};
  event.xclient.type = ClientMessage;
  event.xclient.display = d;
  event.xclient.window = target;
  event.xclient.message_type = type;
  event.xclient.format = 32;
  long* l = event.xclient.data.l;
  l[0] = l0, l[1] = l1, l[2] = l2, l[3] = l3, l[4] = l4;
  XSendEvent(d, target, False, NoEventMask, &event);
  XFlush(d);
}

// Answers a request for the selection with the list.
void Answer(Display* d, const Atoms& atoms, const XSelectionRequestEvent& request,
            const std::string& list) {
  XEvent reply{};
  reply.xselection.type = SelectionNotify;
  reply.xselection.requestor = request.requestor;
  reply.xselection.selection = request.selection;
  reply.xselection.target = request.target;
  reply.xselection.time = request.time;
  reply.xselection.property = None;
  if (request.target == atoms.uriList) {
    const Atom property = request.property != None ? request.property : request.target;
    XChangeProperty(d, request.requestor, property, atoms.uriList, 8, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(list.data()),
                    static_cast<int>(list.size()));
    reply.xselection.property = property;
  }
  XSendEvent(d, request.requestor, False, NoEventMask, &reply);
  XFlush(d);
}

// Next event within the time left; false on a time-out.
bool NextEvent(Display* d, std::chrono::steady_clock::time_point deadline, XEvent* event) {
  while (!XPending(d)) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return false;
    pollfd fd{ConnectionNumber(d), POLLIN, 0};
    poll(&fd, 1, static_cast<int>(left.count()));
  }
  XNextEvent(d, event);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: xdnd_drop_tool X Y FILE...\n");
    return 1;
  }
  Display* d = XOpenDisplay(nullptr);
  if (!d) {
    std::fprintf(stderr, "xdnd_drop_tool: no display\n");
    return 1;
  }
  const Atoms atoms(d);
  const int x = std::atoi(argv[1]), y = std::atoi(argv[2]);
  std::string list;
  for (int i = 3; i < argc; ++i) list += "file://" + PercentEncode(argv[i]) + "\r\n";

  long version = 0;
  const Window target = FindTarget(d, atoms, x, y, &version);
  if (target == None) {
    std::fprintf(stderr, "xdnd_drop_tool: no XDND window at %d,%d\n", x, y);
    return 3;
  }
  const Window source = XCreateSimpleWindow(d, DefaultRootWindow(d), -10, -10, 1, 1, 0, 0, 0);
  XSetSelectionOwner(d, atoms.selection, source, CurrentTime);
  const long protocol = version < 5 ? version : 5;
  SendMessage(d, target, atoms.enter, static_cast<long>(source), protocol << 24,
              static_cast<long>(atoms.uriList), 0, 0);
  SendMessage(d, target, atoms.position, static_cast<long>(source), 0, (x << 16) | y, CurrentTime,
              static_cast<long>(atoms.copy));

  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kTimeoutMs);
  bool dropped = false;
  XEvent event;
  while (NextEvent(d, deadline, &event)) {
    if (event.type == SelectionRequest) {
      Answer(d, atoms, event.xselectionrequest, list);
    } else if (event.type == ClientMessage && event.xclient.message_type == atoms.status &&
               !dropped) {
      if (!(event.xclient.data.l[1] & 1)) {
        std::fprintf(stderr, "xdnd_drop_tool: the target refused the drag\n");
        SendMessage(d, target, XInternAtom(d, "XdndLeave", False), static_cast<long>(source), 0, 0,
                    0, 0);
        return 2;
      }
      SendMessage(d, target, atoms.drop, static_cast<long>(source), 0, CurrentTime, 0, 0);
      dropped = true;
    } else if (event.type == ClientMessage && event.xclient.message_type == atoms.finished) {
      // Version 5 says in bit 0 whether the drop was taken.
      const bool taken = protocol < 5 || (event.xclient.data.l[1] & 1);
      XCloseDisplay(d);
      if (!taken) std::fprintf(stderr, "xdnd_drop_tool: the target refused the drop\n");
      return taken ? 0 : 2;
    }
  }
  std::fprintf(stderr, "xdnd_drop_tool: no answer from the target (%s)\n",
               dropped ? "after the drop" : "to the position");
  return 4;
}
