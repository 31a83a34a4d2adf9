// Knob gestures on the opened editor: straight drags, the fine mode, the
// default on Ctrl+click, clamping, circular tracking, and what the host hears.
#include <cmath>

#include "editor_fixture.h"
#include "gui/knob.h"

namespace korro::test {
namespace {

// The Decay knob: (40, 43, 94, 97), its centre (67, 70).
constexpr int kX = 67, kY = 70;

class KnobDrag : public EditorTest {
 protected:
  void SetUp() override {
    EditorTest::SetUp();
    fx->setParameter(kDecay, 0.0f);
    open();
    hostCalls().clear();
  }
  // Straight up from the knob's centre, `pixels` long, in steps of 10.
  std::vector<std::pair<int, int>> up(int pixels) {
    std::vector<std::pair<int, int>> path;
    for (int d = 10; d <= pixels; d += 10) path.push_back({kX, kY - d});
    if (pixels % 10) path.push_back({kX, kY - pixels});
    return path;
  }
};

TEST_F(KnobDrag, TwoHundredPixelsUpSweepTheWholeRangeInsideOneGesture) {
  drag(kX, kY, kLeftButton, up(200));
  EXPECT_EQ(fx->getParameter(kDecay), 1.0f);
  const std::vector<float> sent = automated(kDecay);
  ASSERT_FALSE(sent.empty());
  EXPECT_EQ(sent.back(), 1.0f);
  // The host hears the gesture's start first and its end last.
  ASSERT_GE(hostCalls().size(), 3u);
  EXPECT_EQ(hostCalls().front().opcode, audioMasterBeginEdit);
  EXPECT_EQ(hostCalls().front().index, kDecay);
  EXPECT_EQ(hostCalls().back().opcode, audioMasterEndEdit);
  EXPECT_EQ(hostCalls().back().index, kDecay);
  EXPECT_EQ(count(audioMasterBeginEdit), 1);
  EXPECT_EQ(count(audioMasterEndEdit), 1);
  // Each 10-pixel step is 0.05 more.
  for (size_t i = 1; i < sent.size(); ++i) EXPECT_NEAR(sent[i] - sent[i - 1], 0.05f, 1e-6f) << i;
  // The loop's idle passes redrew the field; no host idle has come since the drag.
  EXPECT_TRUE(fieldShows(kDecay, "100%"));
  // They also idle the host, inside the gesture: the virtual clock moves only by the loop's
  // 4 ms sleeps, so about every 13th pass does.
  EXPECT_GE(count(audioMasterIdle), 1);
  EXPECT_EQ(hl::sleptMs() % 4, 0u);
  EXPECT_GT(hl::sleptMs(), 0u);
  // When 100 ms have passed already, the first pass idles the host without sleeping.
  hostCalls().clear();
  hl::resetInput();
  hl::advance(500);
  press(kX, kY, kLeftButton, {{0, kX, kY}});
  EXPECT_EQ(count(audioMasterIdle), 1);
  EXPECT_EQ(hl::sleptMs(), 0u);
}

TEST_F(KnobDrag, DragsToTheEndsSendExactlyZeroAndOneAndShowTheEndTexts) {
  const struct {
    std::int32_t index;
    int x, y;  // the knob's centre
    std::vector<std::pair<int, int>> path;
    float value;
    const char* text;
  } cases[] = {
      {kOutput, 176, 150, {{176, 250}, {176, 260}}, 0.0f, "-oo dB"},
      {kOutput, 176, 150, {{176, 100}, {176, -60}}, 1.0f, "12.00dB"},
      {kMix, 122, 150, {{122, 400}}, 0.0f, "0%"},
      {kDecay, kX, kY, {{kX + 50, kY}, {kX + 100, kY}, {kX + 100, kY - 50}, {kX + 100, kY - 100}}, 1.0f, "100%"},
      {kDecay, kX, kY, {{kX, kY + 100}, {kX - 100, kY + 100}}, 0.0f, "0%"},  // right counts as up, left as down
  };
  for (const auto& c : cases) {
    drag(c.x, c.y, kLeftButton, c.path);
    EXPECT_EQ(automated(c.index).back(), c.value) << c.text;
    idle();
    EXPECT_TRUE(fieldShows(c.index, c.text)) << c.text;
  }
}

TEST_F(KnobDrag, ShiftMakesTheDragOneAndAHalfTimesFinerAlsoFromMidDrag) {
  drag(kX, kY, kLeftButton | kShiftKey, up(200));
  EXPECT_NEAR(fx->getParameter(kDecay), 2.0f / 3.0f, 1e-6f);
  fx->setParameter(kDecay, 0.0f);
  idle();
  hostCalls().clear();
  std::vector<hl::Step> steps;
  for (int d = 10; d <= 100; d += 10) steps.push_back({kLeftButton, kX, kY - d});
  steps.push_back({kLeftButton | kShiftKey, kX, kY - 100});  // Shift goes down, the pointer rests
  for (int d = 110; d <= 160; d += 10) steps.push_back({kLeftButton | kShiftKey, kX, kY - d});
  steps.push_back({kShiftKey, kX, kY - 160});
  hl::script(steps);
  hl::postButtonDown(window(), kX, kY, kLeftButton);
  idle();
  const std::vector<float> sent = automated(kDecay);
  ASSERT_FALSE(sent.empty());
  // 100 pixels at 1/200, then 60 at 1/300.
  EXPECT_NEAR(fx->getParameter(kDecay), 0.5f + 60.0f / 300.0f, 1e-5f);
  for (size_t i = 1; i < sent.size(); ++i) {
    const float step = sent[i] - sent[i - 1];
    EXPECT_TRUE(std::fabs(step - 0.05f) < 1e-5f || std::fabs(step - 10.0f / 300.0f) < 1e-5f)
        << "a jump of " << step << " at " << i;
  }
}

TEST_F(KnobDrag, OvershootClampsWithoutMovingTheStartingPoint) {
  std::vector<std::pair<int, int>> path = up(250);
  path.push_back({kX, kY - 200});  // 50 back: still at the end
  path.push_back({kX, kY - 190});  // 10 more: leaves the end
  drag(kX, kY, kLeftButton, path);
  const std::vector<float> sent = automated(kDecay);
  ASSERT_GE(sent.size(), 2u);
  EXPECT_EQ(sent[sent.size() - 2], 1.0f);
  EXPECT_NEAR(sent.back(), 0.95f, 1e-6f);
  EXPECT_NEAR(fx->getParameter(kDecay), 0.95f, 1e-6f);
  // Resting at the end sends nothing more.
  EXPECT_EQ(std::count(sent.begin(), sent.end(), 1.0f), 1);
}

TEST_F(KnobDrag, CtrlClickAloneRestoresTheDefaultWithoutTracking) {
  fx->setParameter(kDecay, 0.8f);
  fx->setParameter(kDamp, 0.9f);
  idle();
  hostCalls().clear();
  press(kX, kY, kLeftButton | kControlKey);
  EXPECT_EQ(fx->getParameter(kDecay), 0.5f);
  EXPECT_EQ(automated(kDecay), std::vector<float>{0.5f});
  EXPECT_EQ(count(audioMasterBeginEdit), 0);
  press(232, 70, kLeftButton | kControlKey);  // Damp's default is 0.2
  EXPECT_EQ(fx->getParameter(kDamp), 0.2f);
  // At the default already: nothing to tell.
  hostCalls().clear();
  press(kX, kY, kLeftButton | kControlKey);
  EXPECT_EQ(count(audioMasterAutomate), 0);
  // Only exactly left + Ctrl resets: with Shift it is an ordinary fine drag.
  fx->setParameter(kDecay, 0.8f);
  idle();
  press(kX, kY, kLeftButton | kControlKey | kShiftKey, {{kControlKey | kShiftKey, kX, kY}});
  EXPECT_EQ(fx->getParameter(kDecay), 0.8f);
  EXPECT_EQ(count(audioMasterBeginEdit), 1);
  EXPECT_EQ(count(audioMasterEndEdit), 1);
  // With a right button held too, Ctrl does not reset either.
  press(kX, kY, kLeftButton | platform::kRightButton | kControlKey, {{0, kX, kY}});
  EXPECT_EQ(fx->getParameter(kDecay), 0.8f);
}

TEST_F(KnobDrag, AltOrTheHostsKnobModeSwitchToCircularTracking) {
  // Knob centre (27, 27) of 54; circular: the angle picks the value.
  fx->setParameter(kDecay, 0.5f);
  idle();
  drag(kX, kY - 20, kLeftButton | kAltKey, {{kX + 20, kY}});  // from 12 o'clock to 3 o'clock
  EXPECT_NEAR(fx->getParameter(kDecay), 5.0f / 6.0f, 1e-5f);
  drag(kX + 20, kY, kLeftButton | kAltKey, {{kX, kY - 20}, {kX - 20, kY}});  // back over 12 to 9 o'clock
  EXPECT_NEAR(fx->getParameter(kDecay), 1.0f / 6.0f, 1e-5f);
  // Across the gap at the bottom the value sticks to the nearer end.
  drag(kX - 20, kY, kLeftButton | kAltKey, {{kX - 20, kY + 20}, {kX + 20, kY + 21}});
  EXPECT_EQ(fx->getParameter(kDecay), 0.0f);
  drag(kX + 20, kY, kLeftButton | kAltKey, {{kX + 20, kY + 20}, {kX - 20, kY + 21}});
  EXPECT_EQ(fx->getParameter(kDecay), 1.0f);
  // The host's knob mode makes it circular without Alt, until the next open.
  ASSERT_EQ(dispatch(effSetEditKnobMode, 0, 0), 1);
  fx->setParameter(kDecay, 0.5f);
  idle();
  drag(kX + 20, kY, kLeftButton, {{kX + 20, kY}});  // a press at 3 o'clock jumps there
  EXPECT_NEAR(fx->getParameter(kDecay), 5.0f / 6.0f, 1e-5f);
  close();
  open();
  fx->setParameter(kDecay, 0.0f);
  idle();
  drag(kX + 20, kY, kLeftButton, {{kX + 20, kY}, {kX + 20, kY - 40}});
  EXPECT_NEAR(fx->getParameter(kDecay), 0.2f, 1e-6f);
}

}  // namespace
}  // namespace korro::test
