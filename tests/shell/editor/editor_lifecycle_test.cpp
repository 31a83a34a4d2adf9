// The host opening and closing the editor again and again, in odd orders,
// idling it while closed, and destroying the effect with its editor open.
#include "editor_fixture.h"
#include "gui/frame.h"

namespace korro::test {
namespace {

using EditorLifecycle = EditorTest;

TEST_F(EditorLifecycle, HundredOpensAndClosesAndOddHostOrdersLeaveNothingBehind) {
  close();  // never opened
  for (int i = 0; i < 100; ++i) {
    ERect* rect = nullptr;
    ASSERT_EQ(dispatch(effEditGetRect, 0, 0, &rect), 1);
    ASSERT_EQ(dispatch(effEditOpen, 0, 0, &parentWindow), 1);
    ASSERT_EQ(hl::liveWindows(), 1);
    idle();
    if (i % 10 == 0) press(67, 70, kLeftButton, {{kLeftButton, 67, 60}, {0, 67, 60}});
    close();
    ASSERT_EQ(hl::liveWindows(), 0);
    ASSERT_FALSE(editor()->isOpen());
    ASSERT_EQ(editor()->knob(kDecay), nullptr);
    idle();  // idles go on while closed
    fx->setParameter(kDecay, 0.5f);
  }
  close();  // closed already
  idle();
  // No parent: no window, yet every call is answered.
  EXPECT_EQ(dispatch(effEditOpen, 0, 0, nullptr), 1);
  EXPECT_EQ(hl::liveWindows(), 0);
  fx->setParameter(kDecay, 0.7f);
  idle();
  close();
  // A second open without a close starts afresh.
  open();
  ASSERT_EQ(dispatch(effEditOpen, 0, 0, &parentWindow), 1);
  EXPECT_EQ(hl::liveWindows(), 1);
  idle();
  // Closed in the middle of a field's edit, then once more.
  press(60, 104, kLeftButton);
  hl::type(hl::focusedEditBox(), "80");
  close();
  close();
  EXPECT_EQ(hl::focusedEditBox(), nullptr);
  EXPECT_EQ(hl::liveWindows(), 0);
}

TEST(EditorOwnership, EachEffectHasItsOwnWindowAndClosingTheEffectTakesItDown) {
  hl::resetInput();
  auto* a = new ReverbEffect(&recordingHost, &createReverbEditor);
  auto* b = new ReverbEffect(&recordingHost, &createReverbEditor);
  int pa = 0, pb = 0;
  a->getAeffect()->dispatcher(a->getAeffect(), effEditOpen, 0, 0, &pa, 0.0f);
  b->getAeffect()->dispatcher(b->getAeffect(), effEditOpen, 0, 0, &pb, 0.0f);
  EXPECT_EQ(hl::liveWindows(), 2);
  a->getAeffect()->dispatcher(a->getAeffect(), effEditIdle, 0, 0, nullptr, 0.0f);
  a->getAeffect()->dispatcher(a->getAeffect(), effClose, 0, 0, nullptr, 0.0f);  // its editor still open
  EXPECT_EQ(hl::liveWindows(), 1);
  EXPECT_EQ(hl::parentOf(hl::currentWindow()), &pb);
  b->getAeffect()->dispatcher(b->getAeffect(), effClose, 0, 0, nullptr, 0.0f);
  EXPECT_EQ(hl::liveWindows(), 0);
}

}  // namespace
}  // namespace korro::test
