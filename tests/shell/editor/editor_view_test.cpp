// What the opened editor shows: the skin, the film-strip pictures for the
// parameter values, the bypass switch and the about picture — read back as
// pixels of the window.
#include "editor_fixture.h"
#include "gui/bitmap.h"
#include "gui/buttons.h"
#include "gui/draw_context.h"
#include "gui/frame.h"

namespace korro::test {
namespace {

struct Knob {
  std::int32_t index;
  int bitmap;
  CRect rect;
  int picture;  // rows of one picture
};
const Knob kKnobs[] = {
    {kDecay, kDecayKnobBitmap, CRect(40, 43, 94, 97), 54},
    {kDamp, kDampKnobBitmap, CRect(205, 43, 259, 97), 54},
    {kMix, kMixKnobBitmap, CRect(105, 132, 140, 167), 35},
    {kOutput, kOutputKnobBitmap, CRect(159, 132, 194, 167), 35},
};

// Which of the 51 pictures the knob's rectangle shows, or −1.
int shownPicture(const platform::Window* w, const Knob& k) {
  for (int i = 0; i < 51; ++i)
    if (mismatches(w, k.rect, k.bitmap, 0, i * k.picture) == 0) return i;
  return -1;
}

using EditorView = EditorTest;

TEST_F(EditorView, HostSeesAFixedRectangleAndNothingIsPaintedBeforeTheFirstPaint) {
  ERect* rect = nullptr;
  ASSERT_EQ(dispatch(effEditGetRect, 0, 0, &rect), 1);
  ASSERT_NE(rect, nullptr);
  EXPECT_EQ((std::vector<int>{rect->top, rect->left, rect->bottom, rect->right}), (std::vector<int>{0, 0, 196, 300}));
  EXPECT_EQ(dispatch(effEditGetRect, 0, 0, nullptr), 0);
  EXPECT_EQ(effect->flags & effFlagsHasEditor, effFlagsHasEditor);
  ASSERT_EQ(dispatch(effEditOpen, 0, 0, &parentWindow), 1);
  ERect* again = nullptr;
  ASSERT_EQ(dispatch(effEditGetRect, 0, 0, &again), 1);
  EXPECT_EQ(again, rect);
  EXPECT_EQ(hl::parentOf(window()), &parentWindow);
  EXPECT_EQ(hl::width(window()) * 1000 + hl::height(window()), 300196);
  ASSERT_TRUE(hl::paintPending(window()));
  editor()->getFrame()->idle();  // the frame's own idle pass
  for (int y = 0; y < 196; y += 7)
    for (int x = 0; x < 300; x += 7) ASSERT_EQ(hl::pixel(window(), x, y), (platform::Rgb{0, 0, 0})) << x << "," << y;
  idle();
  EXPECT_FALSE(hl::paintPending(window()));
  // Away from every control the skin shows as it is.
  EXPECT_EQ(mismatches(window(), CRect(0, 0, 40, 43), kBackgroundBitmap, 0, 0), 0);
  EXPECT_EQ(mismatches(window(), CRect(260, 0, 300, 140), kBackgroundBitmap, 260, 0), 0);
  EXPECT_EQ(mismatches(window(), CRect(0, 182, 300, 196), kBackgroundBitmap, 0, 182), 0);
  // Keys are left to the host.
  EXPECT_EQ(dispatch(effEditKeyDown, 'a', 0), -1);
  EXPECT_EQ(dispatch(effEditKeyUp, 'a', 0), -1);
}

TEST_F(EditorView, ParameterChangesMoveThePictureAndTheTextAtIdleOrAtTheNextOpen) {
  open();
  hostCalls().clear();
  const struct {
    float value;
    int picture;
  } cases[] = {{0.0f, 0}, {-0.3f, 0}, {0.5f, 25}, {0.25f, 12}, {0.999f, 49}, {1.0f, 50}, {0.02f, 1}, {0.0199f, 0}};
  for (const Knob& k : kKnobs) {
    for (const auto& c : cases) {
      fx->setParameter(k.index, c.value);
      idle();
      EXPECT_EQ(shownPicture(window(), k), c.picture) << "parameter " << k.index << " at " << c.value;
    }
  }
  fx->setParameter(kDamp, 0.75f);
  fx->setParameter(kOutput, 1.0f);
  idle();
  EXPECT_TRUE(fieldShows(kDamp, "75%"));
  EXPECT_TRUE(fieldShows(kOutput, "12.00dB"));
  // The editor's refresh tells the host nothing.
  EXPECT_EQ(count(audioMasterAutomate), 0);
  // Changes while closed show at the next open.
  close();
  fx->setParameter(kMix, 0.3f);
  fx->setParameter(kOutput, 0.0f);
  open();
  EXPECT_EQ(shownPicture(window(), kKnobs[2]), 15);
  EXPECT_TRUE(fieldShows(kMix, "30%"));
  EXPECT_TRUE(fieldShows(kOutput, "-oo dB"));
}

TEST_F(EditorView, BypassSwitchTogglesOnPressAndAutomates) {
  open();
  const CRect at(55, 141, 79, 157);
  ASSERT_EQ(fx->getParameter(kBypass), 1.0f);
  EXPECT_EQ(mismatches(window(), at, kBypassBitmap, 0, 16), 0);  // lower half for a non-zero value
  hostCalls().clear();
  press(60, 150, kLeftButton);
  EXPECT_EQ(fx->getParameter(kBypass), 0.0f);
  EXPECT_EQ(automated(kBypass), std::vector<float>{0.0f});
  EXPECT_EQ(count(audioMasterBeginEdit), 0);
  EXPECT_EQ(mismatches(window(), at, kBypassBitmap, 0, 0), 0);
  // Edges belong to the switch too.
  press(79, 157, kLeftButton);
  EXPECT_EQ(fx->getParameter(kBypass), 1.0f);
  EXPECT_EQ(mismatches(window(), at, kBypassBitmap, 0, 16), 0);
  // Only the left button presses it.
  press(60, 150, platform::kRightButton);
  EXPECT_EQ(fx->getParameter(kBypass), 1.0f);
  // Any non-zero value shows the lower half; a press toggles trunc(value). The effect
  // only ever hands the switch 0 or 1, so the value is set on the switch itself.
  fx->setParameter(kBypass, 0.0f);
  idle();
  editor()->getBypassButton()->setValue(0.5f);
  idle();
  EXPECT_EQ(mismatches(window(), at, kBypassBitmap, 0, 16), 0);
  press(60, 150, kLeftButton);
  EXPECT_EQ(fx->getParameter(kBypass), 1.0f);
}

TEST_F(EditorView, AboutPictureShowsOnClickAndIgnoresClicksOutsideIt) {
  open();
  const CRect shown(25, 21, 276, 183);
  press(150, 60, kLeftButton);
  EXPECT_EQ(mismatches(window(), shown, kAboutBitmap, 0, 0), 0);
  // Outside the picture: nothing at all.
  hostCalls().clear();
  press(10, 190, kLeftButton);
  press(290, 10, kLeftButton);
  press(24, 100, kLeftButton);
  EXPECT_TRUE(hostCalls().empty());
  EXPECT_EQ(mismatches(window(), shown, kAboutBitmap, 0, 0), 0);
  // Host automation meanwhile redraws only the picture; a full repaint draws it last.
  fx->setParameter(kDecay, 1.0f);
  idle();
  EXPECT_EQ(mismatches(window(), shown, kAboutBitmap, 0, 0), 0);
  hl::invalidate(window());
  idle();
  EXPECT_EQ(mismatches(window(), shown, kAboutBitmap, 0, 0), 0);
  // A click on the picture, even over the switch, hides it and presses nothing.
  press(60, 150, kLeftButton, {{kLeftButton, 60, 150}, {0, 60, 150}});
  EXPECT_TRUE(hostCalls().empty());
  EXPECT_EQ(fx->getParameter(kBypass), 1.0f);
  EXPECT_EQ(mismatches(window(), CRect(0, 0, 40, 43), kBackgroundBitmap, 0, 0), 0);
  EXPECT_EQ(mismatches(window(), CRect(40, 43, 94, 97), kDecayKnobBitmap, 0, 50 * 54), 0);
  EXPECT_EQ(mismatches(window(), CRect(111, 2, 190, 40), kBackgroundBitmap, 111, 2), 0);
}

TEST_F(EditorView, MissingPictureIsEmptyAndDrawsNothing) {
  open();
  auto* none = new CBitmap(4242);
  EXPECT_EQ(none->getWidth() + none->getHeight(), 0);
  CDrawContext context(editor()->getFrame(), window());
  none->draw(&context, CRect(0, 0, 40, 43));
  EXPECT_EQ(mismatches(window(), CRect(0, 0, 40, 43), kBackgroundBitmap, 0, 0), 0);
  none->forget();
  // Only the low 16 bits of a resource number count.
  auto* skin = new CBitmap(0x10000 + kBackgroundBitmap);
  EXPECT_EQ(skin->getWidth(), 300);
  skin->forget();
}

}  // namespace
}  // namespace korro::test
