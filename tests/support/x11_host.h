// A host's side of a real X server, for editor tests under Xvfb: a window of
// its own connection that editors open on, and a hand that sends real pointer
// and keyboard events through XTest.
// Include last: Xlib's macros (None, Bool, Status) clash with other names.
#pragma once

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <chrono>
#include <cstdint>
#include <thread>
#include <utility>
#include <vector>

namespace korro::test {

constexpr int kWidth = 300;
constexpr int kHeight = 196;

inline void pause(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

// The host's side of the server: a connection of its own and a top-level window.
// Its window takes key events, as a host's does for its transport shortcuts.
struct HostWindow {
  // With `visual`, the window has that visual and depth instead of the screen's default.
  explicit HostWindow(const XVisualInfo* visual = nullptr, int width = kWidth, int height = kHeight) {
    display = XOpenDisplay(nullptr);
    if (!display) return;
    const int screen = DefaultScreen(display);
    const ::Window root = RootWindow(display, screen);
    if (visual) {
      XSetWindowAttributes a{};
      colormap = XCreateColormap(display, root, visual->visual, AllocNone);
      a.colormap = colormap;
      a.border_pixel = 0;
      a.background_pixel = 0;
      window = XCreateWindow(display, root, 0, 0, width, height, 0, visual->depth, InputOutput, visual->visual,
                             CWColormap | CWBorderPixel | CWBackPixel, &a);
    } else {
      window = XCreateSimpleWindow(display, root, 0, 0, width, height, 0, 0, WhitePixel(display, screen));
    }
    XSelectInput(display, window, KeyPressMask);
    XMapWindow(display, window);
    XSync(display, False);
  }
  ~HostWindow() {
    if (!display) return;
    if (window) XDestroyWindow(display, window);
    if (colormap) XFreeColormap(display, colormap);
    XCloseDisplay(display);
  }
  // Waits a little for a key to arrive at the host's window; drops other events.
  bool receivedKey() {
    for (int i = 0; i < 50; ++i) {
      XEvent event;
      if (XCheckTypedWindowEvent(display, window, KeyPress, &event)) return true;
      pause(10);
    }
    return false;
  }
  ::Window focus() const {
    ::Window f = 0;
    int revert = 0;
    XGetInputFocus(display, &f, &revert);
    return f;
  }
  void* handle() const { return reinterpret_cast<void*>(static_cast<std::uintptr_t>(window)); }

  // Width and height of window w; 0, 0 when it cannot be read.
  std::pair<int, int> size(::Window w) const {
    ::Window root = 0;
    int x = 0, y = 0;
    unsigned width = 0, height = 0, border = 0, depth = 0;
    if (!w || !XGetGeometry(display, w, &root, &x, &y, &width, &height, &border, &depth)) return {0, 0};
    return {static_cast<int>(width), static_cast<int>(height)};
  }

  // The plug-in's window: the one child of ours.
  ::Window child() const {
    ::Window root = 0, parent = 0, *children = nullptr;
    unsigned count = 0;
    XQueryTree(display, window, &root, &parent, &children, &count);
    const ::Window c = count ? children[0] : 0;
    if (children) XFree(children);
    return c;
  }

  std::vector<std::uint8_t> capture(::Window w) const { return capture(w, 0, 0, kWidth, kHeight); }
  // RGB rows of the rectangle (x, y, width, height) of window w; empty if it cannot be read.
  std::vector<std::uint8_t> capture(::Window w, int x0, int y0, int width, int height) const {
    std::vector<std::uint8_t> rgb(static_cast<std::size_t>(width) * height * 3);
    XImage* img = XGetImage(display, w, x0, y0, static_cast<unsigned>(width), static_cast<unsigned>(height),
                            AllPlanes, ZPixmap);
    if (!img) return {};
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x) {
        const unsigned long p = XGetPixel(img, x, y);
        std::uint8_t* out = &rgb[(static_cast<std::size_t>(y) * width + x) * 3];
        out[0] = static_cast<std::uint8_t>((p & img->red_mask) >> 16);
        out[1] = static_cast<std::uint8_t>((p & img->green_mask) >> 8);
        out[2] = static_cast<std::uint8_t>(p & img->blue_mask);
      }
    XDestroyImage(img);
    return rgb;
  }

  Display* display = nullptr;
  ::Window window = 0;
  Colormap colormap = 0;
};

// Real pointer and keyboard events through the XTest extension, on a connection of their own.
struct Pointer {
  Pointer() : display(XOpenDisplay(nullptr)) {}
  ~Pointer() {
    if (display) XCloseDisplay(display);
  }
  void moveTo(int x, int y) {
    XTestFakeMotionEvent(display, -1, x, y, CurrentTime);
    XSync(display, False);
  }
  void button(bool down) {
    XTestFakeButtonEvent(display, 1, down, CurrentTime);
    XSync(display, False);
  }
  void key(KeySym sym) {
    hold(sym, true);
    hold(sym, false);
  }
  void hold(KeySym sym, bool down) {
    XTestFakeKeyEvent(display, XKeysymToKeycode(display, sym), down, CurrentTime);
    XSync(display, False);
  }
  // Pressed and released before the editor's next idle.
  void click(int x, int y) {
    moveTo(x, y);
    button(true);
    button(false);
  }
  // Pressed at (x, y), then moved to (toX, toY) and released by another hand
  // while `idle` runs: the press arrives there, and a knob tracks the pointer
  // inside that one idle call until the release.
  template <class Idle>
  void drag(int x, int y, int toX, int toY, Idle idle) {
    moveTo(x, y);
    button(true);
    std::thread hand([=] {
      Pointer p;
      pause(150);
      p.moveTo(toX, toY);
      pause(150);
      p.button(false);
    });
    idle();
    hand.join();
  }
  Display* display;
};

// Every way the editor edits, `idle` after each: the switch clicked, Decay
// dragged 50 pixels up (to 0.75 from the start), reset with Ctrl+click (to
// 0.5), and 25 typed into its field (0.25).
template <class Idle>
void editEveryWay(Pointer& pointer, Idle idle) {
  pointer.click(67, 149);
  idle();
  pointer.drag(67, 70, 67, 20, idle);
  idle();
  pointer.hold(XK_Control_L, true);
  pointer.click(67, 70);
  pointer.hold(XK_Control_L, false);
  idle();
  pointer.click(67, 104);
  idle();
  pointer.key(XK_2);
  pointer.key(XK_5);
  pointer.key(XK_Return);
  idle();
}

}  // namespace korro::test
