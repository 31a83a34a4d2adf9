// The value fields' texts and the reading of typed numbers, against the
// documented examples.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "editor/value_text.h"

namespace korro {
namespace {

std::string fixed(float v, int decimals) {
  char out[64] = "untouched";
  formatFixed(v, decimals, out);
  return out;
}

std::string percent(float p) {
  char out[64] = {};
  percentText(p, out);
  return out;
}

std::string decibels(float p) {
  char out[64] = {};
  decibelText(p, out);
  return out;
}

TEST(FormatFixed, RoundsHalfAwayFromZeroAndKeepsTheSign) {
  EXPECT_EQ(fixed(2.5f, 0), "3");
  EXPECT_EQ(fixed(-2.5f, 0), "-3");
  EXPECT_EQ(fixed(0.0f, 2), "0.00");
  EXPECT_EQ(fixed(50.0f, 0), "50");
  EXPECT_EQ(fixed(-8.84f, 2), "-8.84");
  EXPECT_EQ(fixed(12.0f, 2), "12.00");
  EXPECT_EQ(fixed(-0.0035f, 2), "-0.00");
}

TEST(FormatFixed, EightCharacterBudgetSharedByIntegerAndFraction) {
  // Six integer digits and the point leave one fraction digit.
  EXPECT_EQ(fixed(123456.0f, 3), "123456.0");
  // Seven integer digits fill the budget with the point: no fraction, the point stays.
  EXPECT_EQ(fixed(1234567.0f, 2), "1234567.");
  EXPECT_EQ(fixed(1234567.0f, 0), "1234567");
}

TEST(FormatFixed, TooLargeWritesNothing) {
  EXPECT_EQ(fixed(100000000.0f, 0), "untouched");
  EXPECT_EQ(fixed(-10000000.0f, 0), "untouched");
  // Within the limits, digits beyond the budget are dropped from the left.
  EXPECT_EQ(fixed(12345678.0f, 0), "2345678");
  EXPECT_EQ(fixed(-9999999.0f, 0), "-999999");
}

TEST(RoundForDisplay, ThresholdAbsorbsRepresentationError) {
  // 0.29 × 100 is 28.999999999999996: it still shows as 29.
  EXPECT_EQ(fixed(static_cast<float>(0.29 * 100.0), 0), "29");
  EXPECT_DOUBLE_EQ(roundForDisplay(0.29 * 100.0, 0), 28.999999999999996 + 1.0);
  // A dropped part below 0.49999 of a unit leaves the value as it is.
  EXPECT_EQ(roundForDisplay(2.4, 0), 2.4);
  EXPECT_EQ(roundForDisplay(-2.4, 0), -2.4);
  EXPECT_DOUBLE_EQ(roundForDisplay(2.5, 0), 3.5);
  EXPECT_DOUBLE_EQ(roundForDisplay(-2.5, 0), -3.5);
  EXPECT_NEAR(roundForDisplay(1.235, 2), 1.245, 1e-12);
  EXPECT_EQ(roundForDisplay(1.2349, 2), 1.2349);
}

TEST(PercentText, DocumentedValues) {
  EXPECT_EQ(percent(0.5f), "50%");
  EXPECT_EQ(percent(0.355f), "36%");
  EXPECT_EQ(percent(1.0f), "100%");
  EXPECT_EQ(percent(0.0f), "0%");
  EXPECT_EQ(percent(0.004f), "0%");
  EXPECT_EQ(percent(0.005f), "1%");
  EXPECT_EQ(percent(0.99999f), "100%");
}

TEST(DecibelText, SixDecibelsPerDoublingOfTheGain) {
  EXPECT_EQ(decibels(0.5f), "0.00dB");
  EXPECT_EQ(decibels(1.0f), "12.00dB");
  EXPECT_EQ(decibels(0.25f), "-12.00dB");
  EXPECT_EQ(decibels(0.3f), "-8.84dB");
  EXPECT_EQ(decibels(0.75f), "7.02dB");
  EXPECT_EQ(decibels(0.4999f), "-0.00dB");
}

TEST(DecibelText, BelowMinusHundredReadsMinusInfinity) {
  EXPECT_EQ(decibels(0.0f), "-oo dB");
  EXPECT_EQ(decibels(0.00155f), "-oo dB");
  EXPECT_EQ(decibels(0.0016f), "-99.45dB");
}

TEST(ParseDecimal, DocumentedExamples) {
  EXPECT_EQ(parseDecimal("50%"), 50.0);
  EXPECT_DOUBLE_EQ(parseDecimal("-3.52dB"), -3.52);
  EXPECT_DOUBLE_EQ(parseDecimal("1,05"), 1.05);
  EXPECT_DOUBLE_EQ(parseDecimal(".5"), 0.5);
  EXPECT_EQ(parseDecimal("+5"), 0.0);
  EXPECT_EQ(parseDecimal(" 7"), 0.0);
  EXPECT_EQ(parseDecimal("1e3"), 1.0);
  EXPECT_EQ(parseDecimal("12."), 12.0);
  EXPECT_DOUBLE_EQ(parseDecimal("12.500"), 12.5);
  EXPECT_EQ(parseDecimal("007"), 7.0);
  EXPECT_EQ(parseDecimal(nullptr), 0.0);
  EXPECT_EQ(parseDecimal(""), 0.0);
}

TEST(ParseDecimal, MinusWithoutDigitsIsNegativeZero) {
  const double v = parseDecimal("-oo dB");
  EXPECT_EQ(v, 0.0);
  EXPECT_TRUE(std::signbit(v));
}

TEST(ParseDecimal, ZerosAfterThePointShiftTheFraction) {
  EXPECT_DOUBLE_EQ(parseDecimal("12.05"), 12.05);
  EXPECT_DOUBLE_EQ(parseDecimal("0.007"), 0.007);
  int whole = -1, fraction = -1;
  EXPECT_DOUBLE_EQ(parseDecimal("-4.025x", &whole, &fraction), -4.025);
  EXPECT_EQ(whole, 4);
  EXPECT_EQ(fraction, 25);
}

TEST(DecibelsToParameter, InverseOfTheDecibelText) {
  EXPECT_EQ(parameterFromDecibels(-101.0), 0.0f);
  EXPECT_NEAR(parameterFromDecibels(0.0), 0.5f, 1e-7);
  EXPECT_NEAR(parameterFromDecibels(12.0), 1.0f, 1e-7);
  EXPECT_NEAR(parameterFromDecibels(-12.0), 0.25f, 1e-7);
  // −100 gives about 0.0015502, whose float lies just below the text's boundary.
  EXPECT_NEAR(parameterFromDecibels(-100.0), 0.0015502f, 1e-7);
  EXPECT_EQ(decibels(parameterFromDecibels(-100.0)), "-oo dB");
}

}  // namespace
}  // namespace korro
