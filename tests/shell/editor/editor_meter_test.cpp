// The clip LED's latch, the held-peak readout and the peak hold that the
// editor's idle runs on the effect's meter fields.
#include "editor/peak_meter.h"
#include "editor_fixture.h"

namespace korro::test {
namespace {

const CRect kLed(227, 144, 238, 155);
const CRect kReadout(211, 162, 254, 176);
constexpr platform::Rgb kQuiet{75, 75, 90};
constexpr platform::Rgb kOver{200, 80, 80};

class Meter : public EditorTest {
 protected:
  void SetUp() override {
    EditorTest::SetUp();
    open();
  }
  // The LED picture in the window: 0 clipping, 1 latched, 2 off; −1 for none.
  int led() {
    for (int p = 0; p < 3; ++p)
      if (mismatches(window(), kLed, kClipLedBitmap, 0, p * 11) == 0) return p;
    return -1;
  }
  // One host idle with this peak since the last.
  void idleWith(float peak) {
    fx->meter.peakLeft = peak;
    fx->meter.peakRight = peak;
    idle();
  }
};

TEST_F(Meter, LedLatchesAClipOfTheLeftChannelUntilAClickResetsIt) {
  // The first paint: the LED off, the readout at the editor's starting 1e-5, which is −100 dB.
  EXPECT_EQ(led(), 2);
  EXPECT_EQ(textMismatches(window(), kReadout, "-100.00dB", kQuiet), 0);
  // A click when nothing is latched only forgets the held peak, and tells the host nothing.
  idleWith(0.5f);
  ASSERT_EQ(fx->meter.heldPeak.load(), 0.5);
  hostCalls().clear();
  press(kLed.left, kLed.top, kLeftButton);
  EXPECT_EQ(fx->meter.heldPeak.load(), 0.0);
  EXPECT_TRUE(hostCalls().empty());
  // The frame draws at an idle what the idle before it fed. Only a full-scale left
  // peak clips; the right channel is collected and cleared but never shown.
  const float clips[] = {0, 1, 1, 0, 0, 1, 0};
  const int pictures[] = {2, 0, 0, 1, 1, 0, 1};
  for (int i = 0; i < 7; ++i) {
    fx->meter.peakLeft = clips[i] ? 1.0f : 0.999f;
    fx->meter.peakRight = 5.0f;
    idle();
    EXPECT_EQ(fx->meter.peakRight.load(), 0.0f);
    if (i > 0) {
      EXPECT_EQ(led(), pictures[i - 1]) << "after clip " << i - 1;
    }
  }
  idleWith(0);
  EXPECT_EQ(led(), pictures[6]);
  ASSERT_TRUE(editor()->getMeter()->isClipLatched());

  // A click while latched turns it off and forgets the held peak.
  press(232, 149, kLeftButton);
  EXPECT_EQ(fx->meter.heldPeak.load(), 0.0);
  idleWith(0);
  idleWith(0);
  EXPECT_EQ(led(), 2);
}

TEST_F(Meter, ReadoutTextAndColourFollowTheHeldPeakAndRedrawOnlyWhenItChanges) {
  const struct {
    float peak;
    const char* text;
    platform::Rgb colour;
  } cases[] = {{0.5f, "-6.02dB", kQuiet}, {1.0f, "0.00dB", kOver}, {2.0f, "6.02dB", kOver}};
  for (const auto& c : cases) {
    fx->meter.heldPeak = 0.0;
    idleWith(c.peak);
    idleWith(0);  // falls below the held peak: held for now
    EXPECT_EQ(textMismatches(window(), kReadout, c.text, c.colour), 0) << c.text;
  }
  for (double held : {0.0, 1e-6}) {
    fx->meter.heldPeak = held;
    fx->meter.meterHoldCount = 0;
    idleWith(static_cast<float>(held));
    idleWith(static_cast<float>(held));
    EXPECT_EQ(textMismatches(window(), kReadout, "-oodB", kQuiet), 0) << held;
  }
  // The same held peak again redraws the LED but leaves the readout alone.
  idleWith(0.5f);
  idle();  // draws "-6.02dB"; the held peak stays 0.5
  platform::fillBox(window(), {kReadout.left, kReadout.top, kReadout.width(), kReadout.height()}, {1, 2, 3});
  platform::fillBox(window(), {kLed.left, kLed.top, kLed.width(), kLed.height()}, {1, 2, 3});
  idleWith(0.5f);
  idle();
  EXPECT_EQ(led(), 1);  // latched by the full-scale peaks above
  EXPECT_EQ(hl::pixel(window(), kReadout.left + 1, kReadout.top + 1), (platform::Rgb{1, 2, 3}));
  // A new peak draws it again.
  idleWith(0.8f);
  idle();
  EXPECT_EQ(textMismatches(window(), kReadout, "-1.94dB", kQuiet), 0);
}

TEST_F(Meter, HeldPeakFallsAfterTheHoldBlocksAlsoWhileClosed) {
  fx->meter.meterHoldBlocks = 10;
  idleWith(0.5f);
  EXPECT_EQ(fx->meter.heldPeak.load(), 0.5);
  EXPECT_EQ(fx->meter.peakLeft.load(), 0.0f);
  // Blocks counted while the peak rises wait for the first idle where it falls.
  fx->meter.blockCount = 6;
  idleWith(0.6f);
  idleWith(0.1f);
  EXPECT_EQ(fx->meter.heldPeak.load(), static_cast<double>(0.6f));
  fx->meter.blockCount = 4;
  idleWith(0.1f);
  EXPECT_EQ(fx->meter.heldPeak.load(), static_cast<double>(0.1f));
  idleWith(0);
  idleWith(0);
  EXPECT_EQ(textMismatches(window(), kReadout, "-20.00dB", kQuiet), 0);
  // A silent host reads minus infinity once the hold is over.
  fx->meter.blockCount = 10;
  idleWith(0);
  EXPECT_EQ(fx->meter.heldPeak.load(), 0.0);
  idle();
  EXPECT_EQ(textMismatches(window(), kReadout, "-oodB", kQuiet), 0);
  // Idle while closed keeps the bookkeeping.
  close();
  fx->meter.peakLeft = 0.7f;
  fx->meter.peakRight = 0.9f;
  idle();
  EXPECT_EQ(fx->meter.heldPeak.load(), static_cast<double>(0.7f));
  EXPECT_EQ(fx->meter.peakLeft.load() + fx->meter.peakRight.load(), 0.0f);
}

}  // namespace
}  // namespace korro::test
