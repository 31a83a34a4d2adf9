// Looks at Korro Tarrow's editors inside a real host's windows on an X server
// as a person would: what the screen shows, the windows' sizes, and a drag
// with real input (XTest). The editor windows are the ones named "Window".
//   korro-editor-probe ardour SCALE DIR
//       Ardour's two plug-in windows, VST3 and LV2. In each, every pixel of the
//       editor's window is the editor's own drawing at SCALE or, beyond the
//       drawing, the drawing's top-left colour; again after the plug-in window
//       is made larger. Screenshots of each window before and after that
//       (DIR/ardour-vst3.png, DIR/ardour-vst3-larger.png, the same for lv2),
//       then Decay dragged up by a quarter of its range in each, then Ctrl+S
//       over Ardour's main window.
//   korro-editor-probe jalv SCALE
//       jalv's editor: the frame it sits in is the editor window's size and
//       every pixel of it is painted as above.
#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb/stb_image_write.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "editor/editor_layout.h"
#include "gui/platform/headless/headless.h"
#include "shell/reverb_effect.h"
// Last: Xlib's macros (None, Bool, Status) would clash with names above.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

namespace {

namespace layout = korro::layout;
using Clock = std::chrono::steady_clock;

Display* display = nullptr;

void pause(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

// Windows come and go while the host runs: a failed request is an answer, not the end.
int ignoreErrors(Display*, XErrorEvent*) { return 0; }

std::intptr_t KORRO_CDECL quietHost(AEffect*, std::int32_t opcode, std::int32_t, std::intptr_t, void*, float) {
  return opcode == audioMasterVersion ? 2400 : 0;
}

// The editor at its default values drawn in memory at `scale`: RGB rows.
struct Picture {
  int width = 0, height = 0;
  std::vector<std::uint8_t> rgb;
  const std::uint8_t* at(int x, int y) const { return &rgb[(static_cast<std::size_t>(y) * width + x) * 3]; }
};

Picture drawing(float scale) {
  ReverbEffect effect(&quietHost, &createReverbEditor);
  AEffect* e = effect.getAeffect();
  int parent = 0;
  e->dispatcher(e, effVendorSpecific, fourCharCode('P', 'r', 'e', 'S'), fourCharCode('A', 'e', 'C', 's'), nullptr,
                scale);
  e->dispatcher(e, effEditOpen, 0, 0, &parent, 0.0f);
  for (int i = 0; i < 5; ++i) e->dispatcher(e, effEditIdle, 0, 0, nullptr, 0.0f);
  korro::platform::Window* w = korro::headless::currentWindow();
  Picture p;
  p.width = korro::headless::width(w);
  p.height = korro::headless::height(w);
  const std::uint8_t* pixels = korro::headless::pixels(w);
  p.rgb.assign(pixels, pixels + static_cast<std::size_t>(p.width) * p.height * 3);
  e->dispatcher(e, effEditClose, 0, 0, nullptr, 0.0f);
  return p;
}

std::string nameOf(::Window w) {
  char* name = nullptr;
  std::string s;
  if (XFetchName(display, w, &name) && name) s = name;
  if (name) XFree(name);
  return s;
}

std::vector<::Window> childrenOf(::Window w) {
  ::Window root = 0, parent = 0, *children = nullptr;
  unsigned count = 0;
  std::vector<::Window> list;
  if (XQueryTree(display, w, &root, &parent, &children, &count) && children) list.assign(children, children + count);
  if (children) XFree(children);
  return list;
}

::Window parentOf(::Window w) {
  ::Window root = 0, parent = 0, *children = nullptr;
  unsigned count = 0;
  if (!XQueryTree(display, w, &root, &parent, &children, &count)) return 0;
  if (children) XFree(children);
  return parent;
}

::Window topLevelOf(::Window w) {
  const ::Window root = DefaultRootWindow(display);
  for (::Window p = parentOf(w); p && p != root; p = parentOf(w)) w = p;
  return w;
}

struct Rect {
  int x = 0, y = 0, w = 0, h = 0;
  bool contains(const Rect& r) const { return r.x >= x && r.y >= y && r.x + r.w <= x + w && r.y + r.h <= y + h; }
};

// Where the window is on the screen; empty when it is gone or not shown.
Rect onScreen(::Window w) {
  XWindowAttributes a{};
  if (!XGetWindowAttributes(display, w, &a) || a.map_state != IsViewable) return {};
  int x = 0, y = 0;
  ::Window child = 0;
  XTranslateCoordinates(display, w, DefaultRootWindow(display), 0, 0, &x, &y, &child);
  return {x, y, a.width, a.height};
}

void collectEditors(::Window w, std::vector<::Window>& found) {
  for (::Window c : childrenOf(w)) {
    if (nameOf(c) == "Window" && onScreen(c).w > 0) found.push_back(c);
    collectEditors(c, found);
  }
}

// The editors on the screen once there are `count` of them, each in a window
// of its own, and the same on two looks in a row (a host may still be
// reparenting them); empty after `seconds`.
std::vector<::Window> waitForEditors(std::size_t count, int seconds) {
  const auto end = Clock::now() + std::chrono::seconds(seconds);
  std::vector<::Window> before;
  while (Clock::now() < end) {
    std::vector<::Window> found, tops;
    collectEditors(DefaultRootWindow(display), found);
    std::sort(found.begin(), found.end());
    for (::Window w : found) tops.push_back(topLevelOf(w));
    std::sort(tops.begin(), tops.end());
    const bool apart = std::adjacent_find(tops.begin(), tops.end()) == tops.end();
    if (found.size() == count && apart && found == before) return found;
    before = found;
    pause(300);
  }
  return {};
}

// The screen's pixels in r, as RGB rows.
std::vector<std::uint8_t> capture(const Rect& r) {
  std::vector<std::uint8_t> rgb;
  XImage* img = XGetImage(display, DefaultRootWindow(display), r.x, r.y, static_cast<unsigned>(r.w),
                          static_cast<unsigned>(r.h), AllPlanes, ZPixmap);
  if (!img) return rgb;
  rgb.resize(static_cast<std::size_t>(r.w) * r.h * 3);
  for (int y = 0; y < r.h; ++y)
    for (int x = 0; x < r.w; ++x) {
      const unsigned long p = XGetPixel(img, x, y);
      std::uint8_t* o = &rgb[(static_cast<std::size_t>(y) * r.w + x) * 3];
      o[0] = static_cast<std::uint8_t>((p & img->red_mask) >> 16);
      o[1] = static_cast<std::uint8_t>((p & img->green_mask) >> 8);
      o[2] = static_cast<std::uint8_t>(p & img->blue_mask);
    }
  XDestroyImage(img);
  return rgb;
}

bool screenshot(::Window w, const std::string& png) {
  const Rect r = onScreen(w);
  const std::vector<std::uint8_t> rgb = capture(r);
  return !rgb.empty() && stbi_write_png(png.c_str(), r.w, r.h, 3, rgb.data(), r.w * 3) != 0;
}

// Whether all of the window shows: inside every window around it and the screen.
bool wholeOnScreen(::Window w) {
  const Rect r = onScreen(w);
  const ::Window root = DefaultRootWindow(display);
  for (::Window p = parentOf(w); p && p != root; p = parentOf(p))
    if (!onScreen(p).contains(r)) return false;
  return Rect{0, 0, DisplayWidth(display, DefaultScreen(display)), DisplayHeight(display, DefaultScreen(display))}
      .contains(r);
}

// Pixels of the editor window that are neither the drawing (inside its size)
// nor the drawing's top-left colour (beyond it). A window smaller than the
// drawing, or not all of it shown, counts all of the drawing.
long unpainted(::Window editor, const Picture& picture, const char* keep = nullptr) {
  const Rect r = onScreen(editor);
  const long all = static_cast<long>(picture.width) * picture.height;
  if (r.w < picture.width || r.h < picture.height || !wholeOnScreen(editor)) return all;
  const std::vector<std::uint8_t> shown = capture(r);
  if (shown.empty()) return all;
  if (keep) stbi_write_png(keep, r.w, r.h, 3, shown.data(), r.w * 3);
  long differing = 0;
  for (int y = 0; y < r.h; ++y)
    for (int x = 0; x < r.w; ++x) {
      const bool inside = x < picture.width && y < picture.height;
      const std::uint8_t* want = inside ? picture.at(x, y) : picture.at(0, 0);
      differing += std::memcmp(&shown[(static_cast<std::size_t>(y) * r.w + x) * 3], want, 3) != 0;
    }
  return differing;
}

// Waits until the editor shows nothing but its drawing and background; prints what it saw.
bool paintedWithin(::Window editor, const Picture& picture, const std::string& what, int seconds) {
  const auto end = Clock::now() + std::chrono::seconds(seconds);
  long left = 0;
  do {
    XRaiseWindow(display, topLevelOf(editor));
    XSync(display, False);
    left = unpainted(editor, picture);
    if (left == 0) break;
    pause(200);
  } while (Clock::now() < end);
  const Rect r = onScreen(editor);
  std::printf("%s: editor window %dx%d, drawing %dx%d, %ld pixels neither\n", what.c_str(), r.w, r.h, picture.width,
              picture.height, left);
  if (left) {
    const std::string png = "unpainted-" + what + ".png";
    unpainted(editor, picture, png.c_str());
    std::printf("  what the screen showed: %s\n", png.c_str());
  }
  return left == 0;
}

// Decay's knob pressed, moved up by a quarter of its range in a few steps and
// released, at a person's pace: the host's idle delivers the press.
void dragDecay(::Window editor, double scale) {
  const Rect r = onScreen(editor);
  const layout::Box knob = layout::scaled(layout::knobBox(layout::kDecayKnob, true), scale);
  const int x = r.x + (knob.left + knob.right) / 2, y = r.y + (knob.top + knob.bottom) / 2;
  const int distance = layout::scaled(50, scale);
  auto up = [&](int pixels) {
    XTestFakeMotionEvent(display, -1, x, y - pixels, CurrentTime);
    XSync(display, False);
  };
  auto press = [&](bool down) {
    XTestFakeButtonEvent(display, 1, down, CurrentTime);
    XSync(display, False);
    pause(300);
  };
  up(0);
  press(true);
  for (int step = 1; step <= 4; ++step, pause(60)) up(distance * step / 4);
  press(false);
}

// Ctrl+S to Ardour's main window, given the keyboard.
bool saveArdourSession() {
  for (::Window w : childrenOf(DefaultRootWindow(display))) {
    const std::string name = nameOf(w);
    if (name.size() < 9 || name.compare(name.size() - 9, 9, " - Ardour") != 0) continue;
    XSetInputFocus(display, w, RevertToParent, CurrentTime);
    for (const bool down : {true, false})
      for (const KeySym key : {down ? XK_Control_L : XK_s, down ? XK_s : XK_Control_L})
        XTestFakeKeyEvent(display, XKeysymToKeycode(display, key), down, CurrentTime);
    XSync(display, False);
    std::printf("Ctrl+S to Ardour's main window \"%s\"\n", name.c_str());
    return true;
  }
  std::printf("Ardour's main window not found\n");
  return false;
}

int ardour(double scale, const std::string& dir) {
  const Picture picture = drawing(static_cast<float>(scale));
  const std::vector<::Window> editors = waitForEditors(2, 120);
  if (editors.empty()) {
    std::printf("Ardour showed no two editors\n");
    return 1;
  }
  bool ok = true;
  for (::Window editor : editors) {
    const ::Window top = topLevelOf(editor);
    const std::string title = nameOf(top);
    const std::string format = title.find("[VST3]") != std::string::npos  ? "vst3"
                               : title.find("[LV2]") != std::string::npos ? "lv2"
                                                                           : "";
    std::printf("\"%s\"\n", title.c_str());
    if (format.empty()) {
      ok = false;
      continue;
    }
    ok &= paintedWithin(editor, picture, "ardour-" + format, 30);
    const std::string shot = dir + "/ardour-" + format + ".png";
    if (screenshot(top, shot)) std::printf("  screenshot %s\n", shot.c_str());

    // Made larger by the user: Ardour stretches the editor's window with it.
    const Rect before = onScreen(top);
    const int editorWidth = onScreen(editor).w;
    XResizeWindow(display, top, static_cast<unsigned>(before.w + 200), static_cast<unsigned>(before.h + 100));
    XSync(display, False);
    const auto end = Clock::now() + std::chrono::seconds(10);
    while (onScreen(editor).w < editorWidth + 200 && Clock::now() < end) pause(100);
    if (onScreen(editor).w < editorWidth + 200) {
      std::printf("  the editor's window did not grow with Ardour's\n");
      ok = false;
    }
    ok &= paintedWithin(editor, picture, "ardour-" + format + "-larger", 30);
    if (screenshot(top, dir + "/ardour-" + format + "-larger.png"))
      std::printf("  screenshot %s/ardour-%s-larger.png\n", dir.c_str(), format.c_str());
    dragDecay(editor, scale);
  }
  return ok && saveArdourSession() ? 0 : 1;
}

int jalv(double scale) {
  const Picture picture = drawing(static_cast<float>(scale));
  const std::vector<::Window> editors = waitForEditors(1, 60);
  if (editors.empty()) {
    std::printf("jalv showed no editor\n");
    return 1;
  }
  const ::Window editor = editors[0], frame = parentOf(editor);
  bool ok = paintedWithin(editor, picture, "jalv", 30);
  const Rect e = onScreen(editor), f = onScreen(frame);
  std::printf("jalv's frame %dx%d at %d,%d; the editor's window %dx%d at %d,%d\n", f.w, f.h, f.x, f.y, e.w, e.h, e.x,
              e.y);
  ok &= e.x == f.x && e.y == f.y && e.w == f.w && e.h == f.h;
  return ok ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  display = XOpenDisplay(nullptr);
  if (!display) {
    std::fprintf(stderr, "no X server\n");
    return 1;
  }
  XSetErrorHandler(&ignoreErrors);
  int result = 2;
  if (mode == "ardour" && argc == 4)
    result = ardour(std::atof(argv[2]), argv[3]);
  else if (mode == "jalv" && argc == 3)
    result = jalv(std::atof(argv[2]));
  else
    std::fprintf(stderr, "usage: korro-editor-probe ardour SCALE DIR | jalv SCALE\n");
  std::fflush(stdout);
  XCloseDisplay(display);
  return result;
}
