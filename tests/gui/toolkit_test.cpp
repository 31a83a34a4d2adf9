// The toolkit below the editor: hit testing, modal views, reference counts,
// missing pictures and the on/off button's rule, on a bare frame.
#include <gtest/gtest.h>

#include "editor_fixture.h"
#include "gui/bitmap.h"
#include "gui/buttons.h"
#include "gui/draw_context.h"
#include "gui/frame.h"
#include "gui/knob.h"

namespace korro::test {
namespace {

class ClickCounter : public CView {
 public:
  using CView::CView;
  void mouse(CDrawContext*, CPoint& where) override {
    ++clicks;
    last = where;
  }
  int clicks = 0;
  CPoint last;
};

class Listener : public CControlListener {
 public:
  void valueChanged(CDrawContext*, CControl* c) override {
    ++calls;
    lastValue = c->getValue();
  }
  int calls = 0;
  float lastValue = -1;
};

class Toolkit : public ::testing::Test {
 protected:
  void SetUp() override {
    hl::resetInput();
    frame = new CFrame(CRect(0, 0, 100, 60), &parent, nullptr);
    ASSERT_NE(frame->getWindow(), nullptr);
  }
  void TearDown() override {
    frame->forget();
    EXPECT_EQ(hl::liveWindows(), 0);
  }
  void click(int x, int y, int buttons = kLeftButton) {
    hl::postButtonDown(frame->getWindow(), x, y, buttons);
    frame->dispatchEvents();
  }
  int parent = 0;
  CFrame* frame = nullptr;
};

TEST_F(Toolkit, TouchingViewsShareTheEdgeAndTheLaterOneWins) {
  auto* a = new ClickCounter(CRect(0, 0, 50, 60));
  auto* b = new ClickCounter(CRect(50, 0, 100, 60));
  frame->addView(a);
  frame->addView(b);
  click(50, 30);
  EXPECT_EQ(a->clicks, 0);
  EXPECT_EQ(b->clicks, 1);
  click(49, 30);
  EXPECT_EQ(a->clicks, 1);
  click(100, 60);  // the far corner is inside too
  EXPECT_EQ(b->clicks, 2);
  EXPECT_EQ(b->last, CPoint(100, 60));
  // A view that takes no clicks lets them through to the one beneath.
  b->setMouseEnabled(false);
  click(50, 30);
  EXPECT_EQ(a->clicks, 2);
}

TEST_F(Toolkit, ModalViewTakesOnlyClicksInsideItAndNothingReachesBeneath) {
  auto* under = new ClickCounter(CRect(0, 0, 100, 60));
  auto* modal = new ClickCounter(CRect(20, 10, 60, 40));
  frame->addView(under);
  ASSERT_TRUE(frame->setModalView(modal));
  auto* other = new ClickCounter(CRect(0, 0, 1, 1));
  EXPECT_FALSE(frame->setModalView(other));  // one at a time
  click(5, 5);
  click(61, 41);
  EXPECT_EQ(under->clicks, 0);
  EXPECT_EQ(modal->clicks, 0);
  click(60, 40);
  EXPECT_EQ(modal->clicks, 1);
  EXPECT_TRUE(frame->setModalView(nullptr));
  click(5, 5);
  EXPECT_EQ(under->clicks, 1);
  modal->forget();
  other->forget();
}

TEST_F(Toolkit, ReferenceCountsDeleteAtZeroAndIgnoreExtraForgets) {
  auto* bitmap = new CBitmap(kBypassBitmap);
  ASSERT_TRUE(bitmap->isLoaded());
  EXPECT_EQ(bitmap->getWidth(), 24);
  EXPECT_EQ(bitmap->getHeight(), 32);
  auto* button = new COnOffButton(CRect(0, 0, 24, 16), nullptr, 0, bitmap);
  EXPECT_EQ(bitmap->getNbReference(), 2);
  bitmap->forget();
  EXPECT_EQ(bitmap->getNbReference(), 1);
  button->remember();
  EXPECT_EQ(button->getNbReference(), 2);
  button->forget();
  button->forget();  // deletes the button, which lets go of the bitmap (ASan sees any use after)
}

TEST_F(Toolkit, MissingPictureIsEmptyAndDrawsNothing) {
  auto* none = new CBitmap(4242);
  EXPECT_FALSE(none->isLoaded());
  EXPECT_EQ(none->getWidth(), 0);
  EXPECT_EQ(none->getHeight(), 0);
  CDrawContext context(frame, frame->getWindow());
  none->draw(&context, CRect(0, 0, 100, 60));
  EXPECT_EQ(hl::pixel(frame->getWindow(), 10, 10), (platform::Rgb{0, 0, 0}));
  none->forget();
  // The toolkit keeps only the low 16 bits of a resource number.
  auto* skin = new CBitmap(0x10000 + kBackgroundBitmap);
  EXPECT_EQ(skin->getWidth(), 300);
  EXPECT_EQ(skin->getHeight(), 196);
  skin->forget();
}

TEST_F(Toolkit, OnOffButtonShowsLowerHalfForAnyNonZeroValueAndTruncatesOnToggle) {
  auto* bitmap = new CBitmap(kBypassBitmap);
  Listener listener;
  auto* button = new COnOffButton(CRect(10, 10, 34, 26), &listener, 0, bitmap);
  bitmap->forget();
  frame->addView(button);
  button->setValue(0.5f);
  hl::invalidate(frame->getWindow());
  frame->dispatchEvents();
  EXPECT_EQ(mismatches(frame->getWindow(), CRect(10, 10, 34, 26), kBypassBitmap, 0, 16), 0);
  click(20, 20);  // trunc(0.5) is 0: the press makes it 1
  EXPECT_EQ(button->getValue(), 1.0f);
  EXPECT_EQ(listener.calls, 1);
  click(20, 20);
  EXPECT_EQ(button->getValue(), 0.0f);
  EXPECT_EQ(mismatches(frame->getWindow(), CRect(10, 10, 34, 26), kBypassBitmap, 0, 0), 0);
}

TEST_F(Toolkit, KnobAngleMapsTheSweepClockwiseFromLowerLeft) {
  auto* knob = new CKnob(CRect(0, 0, 54, 54), nullptr, 0, nullptr, nullptr);
  const struct {
    int x, y;
    float value;
  } points[] = {
      {27, 0, 0.5f},  // 12 o'clock
      {54, 27, 5.0f / 6.0f},
      {0, 27, 1.0f / 6.0f},
      {8, 46, 0.0f},   // 5π/4, nearly
      {46, 46, 1.0f},  // −π/4, nearly
  };
  for (const auto& p : points) {
    CPoint at(p.x, p.y);
    EXPECT_NEAR(knob->valueFromPoint(at), p.value, 0.01f) << p.x << "," << p.y;
  }
  // In the gap below the centre the nearer end wins.
  CPoint leftOfBottom(26, 54), rightOfBottom(28, 54);
  EXPECT_EQ(knob->valueFromPoint(leftOfBottom), 0.0f);
  EXPECT_EQ(knob->valueFromPoint(rightOfBottom), 1.0f);
  knob->forget();
}

TEST_F(Toolkit, FrameDrawsInAdditionOrderWithTheModalViewLast) {
  struct Filler : CView {
    Filler(const CRect& r, CColor c) : CView(r), colour(c) {}
    void draw(CDrawContext* context) override {
      context->setFillColor(colour);
      context->fillRect(size);
    }
    CColor colour;
  };
  frame->addView(new Filler(CRect(0, 0, 60, 60), {255, 0, 0, 0}));
  frame->addView(new Filler(CRect(40, 0, 100, 60), {0, 255, 0, 0}));
  auto* modal = new Filler(CRect(45, 0, 55, 10), {0, 0, 255, 0});
  frame->setModalView(modal);
  frame->dispatchEvents();  // the pending first paint
  EXPECT_EQ(hl::pixel(frame->getWindow(), 10, 30), (platform::Rgb{255, 0, 0}));
  EXPECT_EQ(hl::pixel(frame->getWindow(), 50, 30), (platform::Rgb{0, 255, 0}));
  EXPECT_EQ(hl::pixel(frame->getWindow(), 50, 5), (platform::Rgb{0, 0, 255}));
  frame->setModalView(nullptr);
  modal->forget();
}

}  // namespace
}  // namespace korro::test
