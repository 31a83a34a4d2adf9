// The value fields: editing in the native box, reading typed numbers,
// clamping, committing on Return, on focus loss and on a click elsewhere.
#include "editor_fixture.h"
#include "gui/param_display.h"

namespace korro::test {
namespace {

const CRect kDecayField(40, 97, 96, 111);
const CRect kDampField(205, 97, 261, 111);
const CRect kOutputField(155, 167, 199, 181);
const CRect kMixField(101, 167, 145, 181);
constexpr platform::Rgb kText{75, 75, 80};

class ValueField : public EditorTest {
 protected:
  void SetUp() override {
    EditorTest::SetUp();
    open();
    hostCalls().clear();
  }
  // Clicks the field, replaces its text and presses Return.
  void enter(const CRect& field, const char* typed) {
    press(field.left + 5, field.top + 5, kLeftButton);
    platform::EditBox* box = hl::focusedEditBox();
    ASSERT_NE(box, nullptr);
    hl::type(box, typed);
    hl::pressReturn(box);
    ASSERT_EQ(hl::focusedEditBox(), nullptr);
    idle();
  }
};

TEST_F(ValueField, ClickOpensAnEditBoxOverTheFieldWithAllTextSelected) {
  press(kDecayField.left, kDecayField.top, kLeftButton);  // the corner belongs to the field
  platform::EditBox* box = hl::focusedEditBox();
  ASSERT_NE(box, nullptr);
  EXPECT_EQ(hl::editBoxText(box), "50%");
  EXPECT_TRUE(hl::editBoxAllSelected(box));
  const platform::Box area = hl::editBoxArea(box);
  EXPECT_EQ(area.x, 40);
  EXPECT_EQ(area.y, 97);
  EXPECT_EQ(area.w, 57);
  EXPECT_EQ(area.h, 15);
  // While editing the box shows the field's back colour.
  EXPECT_EQ(hl::pixel(window(), 41, 98), (platform::Rgb{237, 235, 213}));
  hl::pressReturn(box);
}

TEST_F(ValueField, TypedPercentIsClampedSentAndShownCanonically) {
  enter(kDecayField, "150");
  EXPECT_EQ(fx->getParameter(kDecay), 1.0f);
  EXPECT_EQ(automated(kDecay), std::vector<float>{1.0f});
  EXPECT_STREQ(editor()->field(kDecay)->text(), "100%");
  EXPECT_EQ(textMismatches(window(), kDecayField, "100%", kText), 0);

  enter(kMixField, "-5");
  EXPECT_EQ(fx->getParameter(kMix), 0.0f);
  EXPECT_EQ(textMismatches(window(), kMixField, "0%", kText), 0);

  enter(kDampField, "33,5%");
  EXPECT_NEAR(fx->getParameter(kDamp), 0.335f, 1e-7f);
  EXPECT_EQ(textMismatches(window(), kDampField, "34%", kText), 0);

  enter(kDampField, "abc");
  EXPECT_EQ(fx->getParameter(kDamp), 0.0f);
  EXPECT_EQ(textMismatches(window(), kDampField, "0%", kText), 0);
}

TEST_F(ValueField, TypedDecibelsBecomeTheOutputParameter) {
  enter(kOutputField, "-101");
  EXPECT_EQ(fx->getParameter(kOutput), 0.0f);
  EXPECT_EQ(textMismatches(window(), kOutputField, "-oo dB", kText), 0);

  enter(kOutputField, "-100");
  EXPECT_NEAR(fx->getParameter(kOutput), 0.0015502f, 1e-7f);
  EXPECT_STREQ(editor()->field(kOutput)->text(), "-oo dB");

  enter(kOutputField, "-oo");  // a minus and no digits: −0, not below −100
  EXPECT_EQ(fx->getParameter(kOutput), 0.5f);
  EXPECT_EQ(textMismatches(window(), kOutputField, "0.00dB", kText), 0);

  enter(kOutputField, "40");
  EXPECT_NEAR(fx->getParameter(kOutput), 1.0f, 1e-7f);
  EXPECT_STREQ(editor()->field(kOutput)->text(), "12.00dB");

  enter(kOutputField, "-12");
  EXPECT_NEAR(fx->getParameter(kOutput), 0.25f, 1e-7f);
  EXPECT_STREQ(editor()->field(kOutput)->text(), "-12.00dB");
}

TEST_F(ValueField, ReturnOnUnchangedTextSendsNothing) {
  press(kDecayField.left + 5, kDecayField.top + 5, kLeftButton);
  platform::EditBox* box = hl::focusedEditBox();
  ASSERT_NE(box, nullptr);
  hl::pressReturn(box);
  EXPECT_EQ(hl::focusedEditBox(), nullptr);
  // Retyping the same text is no change either.
  press(kDecayField.left + 5, kDecayField.top + 5, kLeftButton);
  hl::type(hl::focusedEditBox(), "50%");
  hl::pressReturn(hl::focusedEditBox());
  idle();
  EXPECT_TRUE(hostCalls().empty());
  EXPECT_EQ(textMismatches(window(), kDecayField, "50%", kText), 0);
}

TEST_F(ValueField, FocusLossAndClicksElsewhereCommit) {
  press(kDecayField.left + 5, kDecayField.top + 5, kLeftButton);
  hl::type(hl::focusedEditBox(), "30");
  hl::moveFocusAway(hl::focusedEditBox());
  EXPECT_NEAR(fx->getParameter(kDecay), 0.3f, 1e-7f);

  // A click on another field first commits this one, then opens that one.
  press(kDecayField.left + 5, kDecayField.top + 5, kLeftButton);
  hl::type(hl::focusedEditBox(), "70");
  press(kDampField.left + 5, kDampField.top + 5, kLeftButton);
  EXPECT_NEAR(fx->getParameter(kDecay), 0.7f, 1e-7f);
  ASSERT_NE(hl::focusedEditBox(), nullptr);
  EXPECT_EQ(hl::editBoxText(hl::focusedEditBox()), "10%");

  // A click on the skin commits and opens nothing.
  hl::type(hl::focusedEditBox(), "15");
  press(5, 60, kLeftButton);
  EXPECT_EQ(hl::focusedEditBox(), nullptr);
  EXPECT_NEAR(fx->getParameter(kDamp), 0.15f, 1e-7f);
  idle();
  EXPECT_EQ(textMismatches(window(), kDecayField, "70%", kText), 0);
  EXPECT_EQ(textMismatches(window(), kDampField, "15%", kText), 0);
}

TEST_F(ValueField, ClosingTheEditorDuringAnEditIsClean) {
  press(kDecayField.left + 5, kDecayField.top + 5, kLeftButton);
  hl::type(hl::focusedEditBox(), "80");
  close();
  EXPECT_EQ(hl::focusedEditBox(), nullptr);
  EXPECT_EQ(hl::liveWindows(), 0);
}

}  // namespace
}  // namespace korro::test
