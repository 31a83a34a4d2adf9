// The shipped module's editor at scale 2 on a real X server: set by the
// host's content-scale call or by the desktop's Xft.dpi, driven with real
// input events; and the repaints that a real window passing over it and the
// end of an edit force on it.
#include <gtest/gtest.h>

#include <X11/Xatom.h>

#include <algorithm>
#include <string>
#include <vector>

#include "editor/editor_layout.h"
#include "support/host_toolkit.h"
// Last: Xlib's macros (None, Bool, Status) would clash with names above.
#include "x11_editor_fixture.h"

namespace korro::test {

// The same editor drawn in memory, in x11_editor_test.cpp.
int differsFromSoftwareRendering(const std::vector<std::uint8_t>& shown, float scale, const char* png);

namespace {

namespace layout = korro::layout;

constexpr std::int32_t kPreS = fourCharCode('P', 'r', 'e', 'S');
constexpr std::int32_t kAeCs = fourCharCode('A', 'e', 'C', 's');
constexpr int kWide = 600, kHigh = 392;

// The middle of a layout box at scale 2.
std::pair<int, int> middle(const layout::Box& b) {
  const layout::Box s = layout::scaled(b, 2.0);
  return {(s.left + s.right) / 2, (s.top + s.bottom) / 2};
}

class X11ScaledEditor : public X11EditorHost {
 protected:
  X11ScaledEditor() : X11EditorHost(kWide, kHigh) {}
  void openAtTwo() {
    ASSERT_EQ(fx().dispatch(effVendorSpecific, kPreS, kAeCs, nullptr, 2.0f), 1);
    ASSERT_EQ(fx().dispatch(effEditOpen, 0, 0, host_.handle()), 1);
    idle(5);
    ASSERT_NE(host_.child(), 0u);
  }
  // Pixels of the editor on screen that differ from its drawing in memory at 2; `png` keeps the screen.
  int differsFromDrawing(const char* png) {
    return differsFromSoftwareRendering(host_.capture(host_.child(), 0, 0, kWide, kHigh), 2.0f, png);
  }
  std::pair<int, int> rect() {
    ERect* r = nullptr;
    if (fx().dispatch(effEditGetRect, 0, 0, &r) != 1 || !r) return {0, 0};
    return {r->right - r->left, r->bottom - r->top};
  }
  // The size the editor's window tells toolkits that wrap it (WM_NORMAL_HINTS).
  std::pair<int, int> hintedSize() {
    XSizeHints hints{};
    long supplied = 0;
    if (!XGetWMNormalHints(host_.display, host_.child(), &hints, &supplied) || !(hints.flags & PMinSize)) return {0, 0};
    EXPECT_EQ(std::make_pair(hints.base_width, hints.base_height), std::make_pair(hints.min_width, hints.min_height));
    return {hints.min_width, hints.min_height};
  }
};

TEST_F(X11ScaledEditor, AtTwoTheWindowIs600By392AndDragsClicksAndTypingLandRight) {
  openAtTwo();
  EXPECT_EQ(host_.size(host_.child()), (std::pair<int, int>{kWide, kHigh}));
  EXPECT_EQ(differsFromDrawing("x11-editor-scale2.png"), 0) << "see x11-editor-scale2.png";

  // 100 screen pixels up from Decay's middle: a quarter of the range.
  const auto [kx, ky] = middle(layout::knobBox(layout::kDecayKnob, true));
  pointer_.drag(kx, ky, kx, ky - 100, [&] { idle(1); });
  idle(2);
  EXPECT_EQ(fx().getParameter(1), 0.75f);

  host.clear();
  const auto [bx, by] = middle(layout::kBypassSwitch);
  pointer_.click(bx, by);
  idle(1);
  EXPECT_EQ(host.count(audioMasterAutomate), 1);
  EXPECT_EQ(fx().getParameter(0), 0.0f);
  EXPECT_EQ(fx().getParameter(1), 0.75f);

  const auto [fx_, fy] = middle(layout::fieldUnder(layout::kDampKnob, true));
  pointer_.click(fx_, fy);
  idle(1);
  pointer_.key(XK_4);
  pointer_.key(XK_0);
  pointer_.key(XK_Return);
  idle(1);
  EXPECT_EQ(fx().getParameter(2), 0.4f);
  EXPECT_EQ(fx().getParameter(1), 0.75f);
}

TEST_F(X11ScaledEditor, TheCallWhileOpenResizesTheWindowAndAsksTheHost) {
  ASSERT_EQ(fx().dispatch(effEditOpen, 0, 0, host_.handle()), 1);
  idle(3);
  EXPECT_EQ(host_.size(host_.child()), (std::pair<int, int>{300, 196}));
  host.clear();
  EXPECT_EQ(fx().dispatch(effVendorSpecific, kPreS, kAeCs, nullptr, 2.0f), 1);
  idle(5);
  EXPECT_EQ(host_.size(host_.child()), (std::pair<int, int>{kWide, kHigh}));
  ASSERT_EQ(host.count(audioMasterSizeWindow), 1);
  for (const host::HostRequest& r : host.requests()) {
    if (r.opcode != audioMasterSizeWindow) continue;
    EXPECT_EQ((std::pair<int, int>{r.index, static_cast<int>(r.value)}), (std::pair<int, int>{kWide, kHigh}));
  }
  EXPECT_EQ(differsFromDrawing("x11-editor-rescaled.png"), 0) << "see x11-editor-rescaled.png";
}

// The desktop says 192 dots per inch, the host nothing.
TEST_F(X11ScaledEditor, XftDpiOf192WithoutAHostScaleGivesTwo) {
  const ::Window root = DefaultRootWindow(host_.display);
  const std::string resources = "Xft.antialias:\t1\nXft.dpi:\t192\n";
  XChangeProperty(host_.display, root, XA_RESOURCE_MANAGER, XA_STRING, 8, PropModeReplace,
                  reinterpret_cast<const unsigned char*>(resources.c_str()), static_cast<int>(resources.size()));
  XSync(host_.display, False);
  ERect* r = nullptr;
  ASSERT_EQ(fx().dispatch(effEditGetRect, 0, 0, &r), 1);
  ASSERT_NE(r, nullptr);
  EXPECT_EQ((std::pair<int, int>{r->right - r->left, r->bottom - r->top}), (std::pair<int, int>{kWide, kHigh}));
  ASSERT_EQ(fx().dispatch(effEditOpen, 0, 0, host_.handle()), 1);
  idle(3);
  XDeleteProperty(host_.display, root, XA_RESOURCE_MANAGER);
  XSync(host_.display, False);
  EXPECT_EQ(host_.size(host_.child()), (std::pair<int, int>{kWide, kHigh}));
  // 144 would be 1.5; with no Xft.dpi at all it is 1.
  fx().dispatch(effEditClose);
  ASSERT_EQ(fx().dispatch(effEditOpen, 0, 0, host_.handle()), 1);
  idle(3);
  EXPECT_EQ(host_.size(host_.child()), (std::pair<int, int>{300, 196}));
}

// GDK_SCALE counts only in a process with GTK 3 loaded (a GTK 2 host such as
// Ardour ignores it), QT_SCALE_FACTOR only in one with Qt. With no Xft.dpi it
// scales the picture, the window and the rectangle; the size hints a wrapping
// toolkit reads are in its own units; the host's call still sets the scale.
TEST_F(X11ScaledEditor, AToolkitsScaleCountsOnlyInAHostOfThatToolkit) {
  setenv("GDK_SCALE", "2", 1);
  if (!libraryLoaded(HostToolkit::kGtk3)) {
    EXPECT_EQ(rect(), (std::pair<int, int>{300, 196})) << "no GTK 3 here";
  }
  HostToolkit gtk({HostToolkit::kGtk3}, "GDK_SCALE", "2");
  ASSERT_TRUE(gtk.loaded) << "GTK 3 is not installed";
  ASSERT_EQ(fx().dispatch(effEditOpen, 0, 0, host_.handle()), 1);
  idle(3);
  EXPECT_EQ(host_.size(host_.child()), (std::pair<int, int>{kWide, kHigh}));
  EXPECT_EQ(rect(), (std::pair<int, int>{kWide, kHigh}));
  EXPECT_EQ(hintedSize(), (std::pair<int, int>{300, 196}));
  EXPECT_EQ(differsFromDrawing("x11-editor-gdk-scale.png"), 0) << "see x11-editor-gdk-scale.png";
  EXPECT_EQ(fx().dispatch(effVendorSpecific, kPreS, kAeCs, nullptr, 1.0f), 1);
  idle(3);
  EXPECT_EQ(host_.size(host_.child()), (std::pair<int, int>{300, 196}));
  EXPECT_EQ(hintedSize(), (std::pair<int, int>{150, 98}));
}

TEST_F(X11ScaledEditor, QtScaleFactorCountsInAQtHost) {
  unsetenv("GDK_SCALE");
  HostToolkit qt({"libQt5Gui.so.5", "libQt6Gui.so.6"}, "QT_SCALE_FACTOR", "1.5");
  ASSERT_TRUE(qt.loaded) << "neither Qt 5 nor Qt 6 is installed";
  EXPECT_EQ(rect(), (std::pair<int, int>{450, 294}));
  ASSERT_EQ(fx().dispatch(effEditOpen, 0, 0, host_.handle()), 1);
  idle(3);
  EXPECT_EQ(host_.size(host_.child()), (std::pair<int, int>{450, 294}));
  EXPECT_EQ(hintedSize(), (std::pair<int, int>{300, 196}));
}

// A host that makes the editor's window larger (Ardour fits it to its own
// window) has the rest shown in the picture's frame colour; one that makes it
// smaller than the picture (suil under GDK_SCALE) gets it back at the next idle.
TEST_F(X11ScaledEditor, BeyondThePictureTheWindowShowsTheFrameColourAndItNeverShrinksBelowIt) {
  ASSERT_EQ(fx().dispatch(effEditOpen, 0, 0, host_.handle()), 1);
  idle(3);
  const ::Window editor = host_.child();
  XResizeWindow(host_.display, editor, kWide, kHigh);
  XSync(host_.display, False);
  idle(1);
  EXPECT_EQ(differsFromSoftwareRendering(host_.capture(editor, 0, 0, 300, 196), 1.0f, "x11-editor-widened.png"), 0)
      << "see x11-editor-widened.png";
  const std::vector<std::uint8_t> frame = host_.capture(editor, 0, 0, 1, 1);
  int other = 0;
  for (const std::vector<std::uint8_t>& beyond :
       {host_.capture(editor, 300, 0, kWide - 300, kHigh), host_.capture(editor, 0, 196, 300, kHigh - 196)}) {
    ASSERT_FALSE(beyond.empty());
    for (std::size_t i = 0; i < beyond.size(); i += 3) other += !std::equal(frame.begin(), frame.end(), &beyond[i]);
  }
  EXPECT_EQ(other, 0);
  XResizeWindow(host_.display, editor, 150, 98);
  XSync(host_.display, False);
  idle(2);
  EXPECT_EQ(host_.size(editor), (std::pair<int, int>{300, 196}));
}

// A host's menu or dialog: another client's window mapped over the editor, then taken away.
TEST_F(X11ScaledEditor, AWindowPassingOverTheReadoutLeavesItShownAfterTheNextIdle) {
  openAtTwo();
  const layout::Box readout = layout::scaled(layout::kPeakReadout, 2.0);
  Display* other = XOpenDisplay(nullptr);
  ASSERT_NE(other, nullptr);
  XSetWindowAttributes a{};
  a.override_redirect = True;
  a.background_pixel = BlackPixel(other, DefaultScreen(other));
  const ::Window menu = XCreateWindow(other, DefaultRootWindow(other), readout.left - 40, readout.top - 30, 200, 120, 0,
                                      CopyFromParent, InputOutput, CopyFromParent, CWOverrideRedirect | CWBackPixel, &a);
  XMapRaised(other, menu);
  XSync(other, False);
  pause(50);
  idle(1);
  XUnmapWindow(other, menu);
  XSync(other, False);
  pause(50);
  idle(1);
  EXPECT_EQ(differsFromDrawing("x11-editor-uncovered.png"), 0) << "see x11-editor-uncovered.png";
  XDestroyWindow(other, menu);
  XCloseDisplay(other);
}

TEST_F(X11ScaledEditor, AfterReturnEndsAnEditThePixelsAroundTheFieldAreAFreshDraws) {
  for (const float scale : {1.0f, 2.0f}) {
    fx().dispatch(effEditClose);
    fx().dispatch(effVendorSpecific, kPreS, kAeCs, nullptr, scale);
    ASSERT_EQ(fx().dispatch(effEditOpen, 0, 0, host_.handle()), 1);
    idle(5);
    const layout::Box f = layout::scaled(layout::fieldUnder(layout::kDecayKnob, true), scale);
    pointer_.click((f.left + f.right) / 2, (f.top + f.bottom) / 2);
    idle(1);
    pointer_.key(XK_3);
    pointer_.key(XK_3);
    pointer_.key(XK_Return);
    idle(2);
    ASSERT_EQ(fx().getParameter(1), 0.33f) << scale;
    const int x = f.left - 4, y = f.top - 4, w = f.right - f.left + 8, h = f.bottom - f.top + 8;
    const std::vector<std::uint8_t> edited = host_.capture(host_.child(), x, y, w, h);
    fx().dispatch(effEditClose);
    ASSERT_EQ(fx().dispatch(effEditOpen, 0, 0, host_.handle()), 1);
    idle(5);
    const std::vector<std::uint8_t> fresh = host_.capture(host_.child(), x, y, w, h);
    ASSERT_EQ(edited.size(), fresh.size());
    int differing = 0;
    for (std::size_t i = 0; i < fresh.size(); ++i) differing += fresh[i] != edited[i];
    EXPECT_EQ(differing, 0) << scale;
  }
}

}  // namespace
}  // namespace korro::test
