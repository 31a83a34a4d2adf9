// The shipped module's editor on a real X server: opened on a host's window,
// painted, clicked, dragged and typed into with real input events (XTest).
// Runs under Xvfb.
#include <gtest/gtest.h>

#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb/stb_image_write.h>

#include <chrono>
#include <thread>
#include <vector>

#include "gui/platform/headless/headless.h"
#include "shell/reverb_effect.h"
#include "support/module_fixture.h"

// Last: Xlib's macros (None, Bool, Status) would clash with names above.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

namespace korro::test {
namespace {

constexpr int kWidth = 300;
constexpr int kHeight = 196;

void pause(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

// The host's side of the server: a connection of its own and a top-level window.
struct HostWindow {
  HostWindow() {
    display = XOpenDisplay(nullptr);
    if (!display) return;
    const int screen = DefaultScreen(display);
    window = XCreateSimpleWindow(display, RootWindow(display, screen), 0, 0, kWidth, kHeight, 0, 0,
                                 WhitePixel(display, screen));
    XMapWindow(display, window);
    XSync(display, False);
  }
  ~HostWindow() {
    if (!display) return;
    if (window) XDestroyWindow(display, window);
    XCloseDisplay(display);
  }
  void* handle() const { return reinterpret_cast<void*>(static_cast<std::uintptr_t>(window)); }

  // The plug-in's window: the one child of ours.
  ::Window child() const {
    ::Window root = 0, parent = 0, *children = nullptr;
    unsigned count = 0;
    XQueryTree(display, window, &root, &parent, &children, &count);
    const ::Window c = count ? children[0] : 0;
    if (children) XFree(children);
    return c;
  }

  std::vector<std::uint8_t> capture(::Window w) const {
    std::vector<std::uint8_t> rgb(static_cast<std::size_t>(kWidth) * kHeight * 3);
    XImage* img = XGetImage(display, w, 0, 0, kWidth, kHeight, AllPlanes, ZPixmap);
    if (!img) return {};
    for (int y = 0; y < kHeight; ++y)
      for (int x = 0; x < kWidth; ++x) {
        const unsigned long p = XGetPixel(img, x, y);
        std::uint8_t* out = &rgb[(static_cast<std::size_t>(y) * kWidth + x) * 3];
        out[0] = static_cast<std::uint8_t>((p & img->red_mask) >> 16);
        out[1] = static_cast<std::uint8_t>((p & img->green_mask) >> 8);
        out[2] = static_cast<std::uint8_t>(p & img->blue_mask);
      }
    XDestroyImage(img);
    return rgb;
  }

  Display* display = nullptr;
  ::Window window = 0;
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
    const KeyCode code = XKeysymToKeycode(display, sym);
    XTestFakeKeyEvent(display, code, True, CurrentTime);
    XTestFakeKeyEvent(display, code, False, CurrentTime);
    XSync(display, False);
  }
  Display* display;
};

class X11Editor : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    ASSERT_NE(host_.display, nullptr) << "no X server (DISPLAY=" << (getenv("DISPLAY") ? getenv("DISPLAY") : "") << ")";
    ASSERT_EQ(fx().dispatch(effEditOpen, 0, 0, host_.handle()), 1);
    idle(5);
    ASSERT_NE(host_.child(), 0u) << "the editor made no window on the host's";
  }
  void TearDown() override {
    fx().dispatch(effEditClose);
    ModuleTest::TearDown();
  }
  // Host idles, a little apart as a host's timer would call them.
  void idle(int times) {
    for (int i = 0; i < times; ++i) {
      fx().dispatch(effEditIdle);
      pause(10);
    }
  }

  HostWindow host_;
  Pointer pointer_;
};

std::intptr_t KORRO_CDECL quietHost(AEffect*, std::int32_t opcode, std::int32_t, std::intptr_t, void*, float) {
  return opcode == audioMasterVersion ? 2400 : 0;
}

TEST_F(X11Editor, PaintsExactlyWhatTheSoftwareRendererDraws) {
  const std::vector<std::uint8_t> screen = host_.capture(host_.child());
  ASSERT_EQ(screen.size(), static_cast<std::size_t>(kWidth) * kHeight * 3);
  stbi_write_png("x11-editor.png", kWidth, kHeight, 3, screen.data(), kWidth * 3);

  // The same editor opened in memory, with the same calls.
  ReverbEffect reference(&quietHost);
  AEffect* e = reference.getAeffect();
  int parent = 0;
  e->dispatcher(e, effEditOpen, 0, 0, &parent, 0.0f);
  for (int i = 0; i < 5; ++i) e->dispatcher(e, effEditIdle, 0, 0, nullptr, 0.0f);
  const std::uint8_t* expected = headless::pixels(headless::currentWindow());
  int differing = 0;
  for (std::size_t i = 0; i < screen.size(); ++i) differing += screen[i] != expected[i];
  e->dispatcher(e, effEditClose, 0, 0, nullptr, 0.0f);
  EXPECT_EQ(differing, 0) << "see x11-editor.png";
}

TEST_F(X11Editor, AClickOnTheSwitchAutomatesBypass) {
  host.clear();
  pointer_.moveTo(67, 149);
  pointer_.button(true);
  idle(2);
  pointer_.button(false);
  idle(2);
  EXPECT_EQ(host.count(audioMasterAutomate), 1);
  EXPECT_EQ(fx().getParameter(0), 0.0f);
}

TEST_F(X11Editor, DraggingAKnobFollowsThePointerAndBracketsTheGesture) {
  host.clear();
  pointer_.moveTo(67, 70);  // Decay, 0.5
  pointer_.button(true);
  std::thread hand([] {
    Pointer p;
    pause(150);
    p.moveTo(67, 20);  // 50 pixels up: a quarter of the range
    pause(150);
    p.button(false);
  });
  idle(1);  // the press arrives here, and the knob tracks the pointer until the release
  hand.join();
  idle(2);
  EXPECT_EQ(fx().getParameter(1), 0.75f);
  EXPECT_EQ(host.count(audioMasterBeginEdit), 1);
  EXPECT_EQ(host.count(audioMasterEndEdit), 1);
  EXPECT_GE(host.count(audioMasterIdle), 1) << "the host is kept idle during the drag";
}

TEST_F(X11Editor, TypingIntoAValueFieldSetsTheParameter) {
  pointer_.moveTo(67, 104);  // the Decay field
  pointer_.button(true);
  idle(2);
  pointer_.button(false);
  pointer_.key(XK_2);
  pointer_.key(XK_5);
  idle(2);
  EXPECT_EQ(fx().getParameter(1), 0.5f) << "nothing is committed before Return";
  pointer_.key(XK_Return);
  idle(2);
  EXPECT_EQ(fx().getParameter(1), 0.25f);
}

TEST_F(X11Editor, TheKeyboardGoingElsewhereCommitsTheEdit) {
  pointer_.moveTo(178, 174);  // the Output field
  pointer_.button(true);
  idle(2);
  pointer_.button(false);
  pointer_.key(XK_minus);
  pointer_.key(XK_1);
  pointer_.key(XK_2);
  idle(2);
  XSetInputFocus(host_.display, host_.window, RevertToParent, CurrentTime);  // the host takes the keyboard
  XSync(host_.display, False);
  idle(2);
  EXPECT_EQ(fx().getParameter(3), 0.25f) << "-12 dB is a quarter of full scale";
}

TEST_F(X11Editor, HostDestroyingItsWindowFirstIsSurvived) {
  XDestroyWindow(host_.display, host_.window);
  XSync(host_.display, False);
  host_.window = 0;
  idle(3);
  fx().setParameter(1, 0.3f);
  idle(2);
  fx().dispatch(effEditClose);
  EXPECT_EQ(fx().dispatch(effEditOpen, 0, 0, reinterpret_cast<void*>(std::uintptr_t{0x7fffff})), 1);
  idle(2);
}

}  // namespace
}  // namespace korro::test
