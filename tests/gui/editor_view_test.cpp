// What the opened editor shows: the skin, the film-strip pictures for the
// parameter values, the bypass switch and the about picture — read back as
// pixels of the window.
#include "editor_fixture.h"
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

TEST_F(EditorView, HostSeesAFixedRectangleBeforeAndAfterOpening) {
  ERect* rect = nullptr;
  ASSERT_EQ(dispatch(effEditGetRect, 0, 0, &rect), 1);
  ASSERT_NE(rect, nullptr);
  EXPECT_EQ(rect->top, 0);
  EXPECT_EQ(rect->left, 0);
  EXPECT_EQ(rect->bottom, 196);
  EXPECT_EQ(rect->right, 300);
  EXPECT_EQ(dispatch(effEditGetRect, 0, 0, nullptr), 0);
  EXPECT_EQ(effect->flags & effFlagsHasEditor, effFlagsHasEditor);
  open();
  ERect* again = nullptr;
  ASSERT_EQ(dispatch(effEditGetRect, 0, 0, &again), 1);
  EXPECT_EQ(again, rect);
  EXPECT_EQ(hl::parentOf(window()), &parentWindow);
  EXPECT_EQ(hl::width(window()), 300);
  EXPECT_EQ(hl::height(window()), 196);
  // Keys are left to the host.
  EXPECT_EQ(dispatch(effEditKeyDown, 'a', 0), -1);
  EXPECT_EQ(dispatch(effEditKeyUp, 'a', 0), -1);
}

TEST_F(EditorView, NothingIsPaintedBeforeTheWindowsFirstPaint) {
  ASSERT_EQ(dispatch(effEditOpen, 0, 0, &parentWindow), 1);
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
}

TEST_F(EditorView, FilmStripPictureFollowsTheValue) {
  open();
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
}

TEST_F(EditorView, HostAutomationMovesKnobAndText) {
  open();
  hostCalls().clear();
  fx->setParameter(kDamp, 0.75f);
  fx->setParameter(kOutput, 1.0f);
  idle();
  EXPECT_EQ(shownPicture(window(), kKnobs[1]), 37);
  EXPECT_EQ(textMismatches(window(), CRect(205, 97, 261, 111), "75%", {75, 75, 80}), 0);
  EXPECT_EQ(shownPicture(window(), kKnobs[3]), 50);
  EXPECT_EQ(textMismatches(window(), CRect(155, 167, 199, 181), "12.00dB", {75, 75, 80}), 0);
  // The editor's refresh tells the host nothing.
  EXPECT_EQ(count(audioMasterAutomate), 0);
}

TEST_F(EditorView, ChangesWhileClosedShowAtTheNextOpen) {
  open();
  close();
  fx->setParameter(kMix, 0.3f);
  fx->setParameter(kOutput, 0.0f);
  open();
  EXPECT_EQ(shownPicture(window(), kKnobs[2]), 15);
  EXPECT_EQ(textMismatches(window(), CRect(101, 167, 145, 181), "30%", {75, 75, 80}), 0);
  EXPECT_EQ(textMismatches(window(), CRect(155, 167, 199, 181), "-oo dB", {75, 75, 80}), 0);
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
}

TEST_F(EditorView, AboutPictureShowsOnClickAndIgnoresClicksOutsideIt) {
  open();
  const CRect shown(25, 21, 276, 183);
  press(150, 60, kLeftButton);
  EXPECT_EQ(mismatches(window(), shown, kAboutBitmap, 0, 0), 0);
  // Outside the picture: nothing at all, not even the bypass switch beneath the click.
  hostCalls().clear();
  press(10, 190, kLeftButton);
  press(290, 10, kLeftButton);
  press(24, 100, kLeftButton);
  EXPECT_TRUE(hostCalls().empty());
  EXPECT_EQ(mismatches(window(), shown, kAboutBitmap, 0, 0), 0);
  // Host automation meanwhile redraws only the picture.
  fx->setParameter(kDecay, 1.0f);
  idle();
  EXPECT_EQ(mismatches(window(), shown, kAboutBitmap, 0, 0), 0);
  // A click on the picture, even over a knob, hides it and moves nothing.
  press(67, 70, kLeftButton, {{0, 67, 70}});
  EXPECT_EQ(count(audioMasterAutomate), 0);
  EXPECT_EQ(mismatches(window(), CRect(0, 0, 40, 43), kBackgroundBitmap, 0, 0), 0);
  EXPECT_EQ(mismatches(window(), CRect(40, 43, 94, 97), kDecayKnobBitmap, 0, 50 * 54), 0);
  EXPECT_EQ(mismatches(window(), CRect(111, 2, 190, 40), kBackgroundBitmap, 111, 2), 0);
}

}  // namespace
}  // namespace korro::test
