// The shipped module's editor on a real X server: opened on a host's window,
// painted, clicked, dragged and typed into with real input events (XTest),
// sent as a person does between two of the host's idle calls. Runs under Xvfb.
#include <gtest/gtest.h>

#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb/stb_image_write.h>

#include <cstring>
#include <vector>

#include "editor/editor_layout.h"
#include "gui/platform/headless/headless.h"
#include "shell/reverb_effect.h"
// Last: Xlib's macros (None, Bool, Status) would clash with names above.
#include "x11_editor_fixture.h"

namespace korro::test {
namespace {

class X11Editor : public X11EditorHost {
 protected:
  void SetUp() override {
    X11EditorHost::SetUp();
    ASSERT_EQ(fx().dispatch(effEditOpen, 0, 0, host_.handle()), 1);
    idle(5);
    ASSERT_NE(host_.child(), 0u) << "the editor made no window on the host's";
  }
};

}  // namespace

std::intptr_t KORRO_CDECL quietHost(AEffect*, std::int32_t opcode, std::int32_t, std::intptr_t, void*, float) {
  return opcode == audioMasterVersion ? 2400 : 0;
}

// Pixels of `shown` (the editor captured whole at `scale`) that differ from the
// same editor drawn in memory; `png` keeps what was shown.
int differsFromSoftwareRendering(const std::vector<std::uint8_t>& shown, float scale, const char* png) {
  const int width = layout::scaled(kWidth, scale), height = layout::scaled(kHeight, scale);
  if (shown.size() != static_cast<std::size_t>(width) * height * 3) return width * height;
  stbi_write_png(png, width, height, 3, shown.data(), width * 3);
  ReverbEffect reference(&quietHost, &createReverbEditor);
  AEffect* e = reference.getAeffect();
  int parent = 0;
  e->dispatcher(e, effVendorSpecific, fourCharCode('P', 'r', 'e', 'S'), fourCharCode('A', 'e', 'C', 's'), nullptr,
                scale);
  e->dispatcher(e, effEditOpen, 0, 0, &parent, 0.0f);
  for (int i = 0; i < 5; ++i) e->dispatcher(e, effEditIdle, 0, 0, nullptr, 0.0f);
  const std::uint8_t* expected = headless::pixels(headless::currentWindow());
  int differing = 0;
  for (std::size_t i = 0; i < shown.size(); i += 3) differing += std::memcmp(&shown[i], expected + i, 3) != 0;
  e->dispatcher(e, effEditClose, 0, 0, nullptr, 0.0f);
  return differing;
}

namespace {

// Also when the host's window is 32 bits deep (or at least not of the default visual).
TEST_F(X11Editor, PaintsExactlyWhatTheSoftwareRendererDrawsOnAParentOfAnyVisual) {
  EXPECT_EQ(differsFromSoftwareRendering(host_.capture(host_.child()), 1.0f, "x11-editor.png"), 0)
      << "see x11-editor.png";
  fx().dispatch(effEditClose);
  XVisualInfo visual{};
  const int screen = DefaultScreen(host_.display);
  if (!XMatchVisualInfo(host_.display, screen, 32, TrueColor, &visual)) {
    XVisualInfo want{};
    want.screen = screen;
    int count = 0;
    XVisualInfo* all = XGetVisualInfo(host_.display, VisualScreenMask, &want, &count);
    for (int i = 0; i < count; ++i)
      if (all[i].visual != DefaultVisual(host_.display, screen)) visual = all[i];
    if (all) XFree(all);
  }
  ASSERT_NE(visual.visual, nullptr) << "the X server offers a single visual";
  HostWindow deep(&visual);
  ASSERT_EQ(fx().dispatch(effEditOpen, 0, 0, deep.handle()), 1);
  idle(5);
  ASSERT_NE(deep.child(), 0u) << "the editor made no window on the host's";
  EXPECT_EQ(differsFromSoftwareRendering(deep.capture(deep.child()), 1.0f, "x11-editor-deep-parent.png"), 0)
      << "see x11-editor-deep-parent.png";
  fx().dispatch(effEditClose);
}

TEST_F(X11Editor, ClicksOverBeforeTheNextIdleStillActAndDragsFollowThePointer) {
  host.clear();
  pointer_.click(67, 149);  // the switch
  idle(1);
  EXPECT_EQ(host.count(audioMasterAutomate), 1);
  EXPECT_EQ(fx().getParameter(0), 0.0f);

  fx().setParameter(1, 0.8f);
  idle(1);
  pointer_.hold(XK_Control_L, true);
  pointer_.click(67, 70);  // Ctrl+click on Decay: back to its default
  pointer_.hold(XK_Control_L, false);
  idle(1);
  EXPECT_EQ(fx().getParameter(1), 0.5f);

  host.clear();
  pointer_.drag(67, 70, 67, 20, [&] { idle(1); });  // 50 pixels up: a quarter of the range
  idle(2);
  EXPECT_EQ(fx().getParameter(1), 0.75f);
  EXPECT_EQ(host.count(audioMasterBeginEdit), 1);
  EXPECT_EQ(host.count(audioMasterEndEdit), 1);
  EXPECT_GE(host.count(audioMasterIdle), 1) << "the host is kept idle during the drag";
}

TEST_F(X11Editor, KeysBelongToTheHostExceptWhileAFieldIsEdited) {
  pointer_.moveTo(150, 30);  // over the editor, away from every field
  pointer_.key(XK_space);
  idle(1);
  EXPECT_TRUE(host_.receivedKey()) << "the host's shortcut never arrived";

  XSetInputFocus(host_.display, host_.window, RevertToParent, CurrentTime);
  XSync(host_.display, False);
  pointer_.click(67, 104);  // the Decay field
  idle(1);
  pointer_.key(XK_2);
  pointer_.key(XK_5);
  idle(1);
  EXPECT_EQ(fx().getParameter(1), 0.5f) << "nothing is committed before Return";
  EXPECT_FALSE(host_.receivedKey()) << "keys typed into a field are the editor's";
  pointer_.key(XK_Return);
  idle(1);
  EXPECT_EQ(fx().getParameter(1), 0.25f);
  EXPECT_EQ(host_.focus(), host_.window);
  pointer_.key(XK_space);
  EXPECT_TRUE(host_.receivedKey());

  // A second edit commits when the host takes the keyboard.
  pointer_.click(178, 174);  // the Output field
  idle(1);
  pointer_.key(XK_minus);
  pointer_.key(XK_1);
  pointer_.key(XK_2);
  idle(1);
  XSetInputFocus(host_.display, host_.window, RevertToParent, CurrentTime);
  XSync(host_.display, False);
  idle(1);
  EXPECT_EQ(fx().getParameter(3), 0.25f) << "-12 dB is a quarter of full scale";
}

int hostErrors = 0;
int countHostError(Display*, XErrorEvent*) {
  ++hostErrors;
  return 0;
}

// Xlib's error handler is one for the whole process: the host's errors stay
// the host's while the editor is open, and its handler is back after the close.
TEST_F(X11Editor, TheHostsOwnErrorsStillReachItsHandler) {
  fx().dispatch(effEditClose);
  const XErrorHandler before = XSetErrorHandler(&countHostError);
  hostErrors = 0;
  ASSERT_EQ(fx().dispatch(effEditOpen, 0, 0, host_.handle()), 1);
  idle(2);
  XMapWindow(host_.display, 0x7ffffe);  // no such window
  XSync(host_.display, False);
  EXPECT_EQ(hostErrors, 1);
  fx().dispatch(effEditClose);
  EXPECT_EQ(XSetErrorHandler(before), &countHostError);
}

// Under Xlib's default handler, which ends the process on any error the editor leaves unhandled.
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
