// The value fields: editing in the native box, reading typed numbers,
// clamping, committing on Return, on focus loss and on a click elsewhere.
#include "editor_fixture.h"
#include "gui/param_display.h"

namespace korro::test {
namespace {

class ValueField : public EditorTest {
 protected:
  void SetUp() override {
    EditorTest::SetUp();
    open();
    hostCalls().clear();
  }
  void clickField(std::int32_t index) { press(fieldRect(index).left + 5, fieldRect(index).top + 5, kLeftButton); }
  // Clicks the field of parameter `index`, replaces its text and presses Return.
  void enter(std::int32_t index, const char* typed) {
    clickField(index);
    platform::EditBox* box = hl::focusedEditBox();
    ASSERT_NE(box, nullptr);
    hl::type(box, typed);
    hl::pressReturn(box);
    ASSERT_EQ(hl::focusedEditBox(), nullptr);
    idle();
  }
};

TEST_F(ValueField, ClickOpensAnEditBoxOverTheFieldAndReturnOnUnchangedTextSendsNothing) {
  press(fieldRect(kDecay).left, fieldRect(kDecay).top, kLeftButton);  // the corner belongs to the field
  platform::EditBox* box = hl::focusedEditBox();
  ASSERT_NE(box, nullptr);
  EXPECT_EQ(hl::editBoxText(box), "50%");
  EXPECT_TRUE(hl::editBoxAllSelected(box));
  const platform::Box area = hl::editBoxArea(box);
  EXPECT_EQ((std::vector<int>{area.x, area.y, area.w, area.h}), (std::vector<int>{40, 97, 57, 15}));
  // While editing the box shows the field's back colour.
  EXPECT_EQ(hl::pixel(window(), 41, 98), (platform::Rgb{237, 235, 213}));
  // Return on the unchanged text closes the box and sends nothing.
  hl::pressReturn(box);
  EXPECT_EQ(hl::focusedEditBox(), nullptr);
  // Retyping the same text is no change either.
  clickField(kDecay);
  hl::type(hl::focusedEditBox(), "50%");
  hl::pressReturn(hl::focusedEditBox());
  idle();
  EXPECT_TRUE(hostCalls().empty());
  EXPECT_TRUE(fieldShows(kDecay, "50%"));
}

TEST_F(ValueField, TypedNumbersAreClampedSentAndShownCanonically) {
  const struct {
    std::int32_t index;
    const char* typed;
    float value;
    const char* shown;
  } cases[] = {
      {kDecay, "150", 1.0f, "100%"}, {kMix, "-5", 0.0f, "0%"}, {kDamp, "33,5%", 0.335f, "34%"},
      {kDamp, "abc", 0.0f, "0%"},
      {kOutput, "-101", 0.0f, "-oo dB"}, {kOutput, "-100", 0.0015502f, "-oo dB"},
      {kOutput, "-oo", 0.5f, "0.00dB"},  // a minus and no digits: −0, not below −100
      {kOutput, "40", 1.0f, "12.00dB"}, {kOutput, "-12", 0.25f, "-12.00dB"},
  };
  for (const auto& c : cases) {
    hostCalls().clear();
    enter(c.index, c.typed);
    EXPECT_NEAR(fx->getParameter(c.index), c.value, 1e-7f) << c.typed;
    EXPECT_EQ(automated(c.index), std::vector<float>{fx->getParameter(c.index)}) << c.typed;
    EXPECT_TRUE(fieldShows(c.index, c.shown)) << c.typed;
  }
}

TEST_F(ValueField, FocusLossAndClicksElsewhereCommit) {
  clickField(kDecay);
  hl::type(hl::focusedEditBox(), "30");
  hl::moveFocusAway(hl::focusedEditBox());
  EXPECT_NEAR(fx->getParameter(kDecay), 0.3f, 1e-7f);

  // A click on another field first commits this one, then opens that one.
  clickField(kDecay);
  hl::type(hl::focusedEditBox(), "70");
  clickField(kDamp);
  EXPECT_NEAR(fx->getParameter(kDecay), 0.7f, 1e-7f);
  ASSERT_NE(hl::focusedEditBox(), nullptr);
  EXPECT_EQ(hl::editBoxText(hl::focusedEditBox()), "10%");

  // A click on the skin commits and opens nothing.
  hl::type(hl::focusedEditBox(), "15");
  press(5, 60, kLeftButton);
  EXPECT_EQ(hl::focusedEditBox(), nullptr);
  EXPECT_NEAR(fx->getParameter(kDamp), 0.15f, 1e-7f);
  idle();
  EXPECT_TRUE(fieldShows(kDecay, "70%"));
  EXPECT_TRUE(fieldShows(kDamp, "15%"));
}

}  // namespace
}  // namespace korro::test
