// The value fields' texts and the reading of typed numbers, against the
// documented examples.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "editor/value_text.h"

namespace korro {
namespace {

TEST(ValueText, FormatFixedRoundsHalfAwayFromZeroWithinEightCharacters) {
  const struct {
    float value;
    int decimals;
    const char* text;
  } cases[] = {
      {2.5f, 0, "3"}, {-2.5f, 0, "-3"}, {0.0f, 2, "0.00"}, {-8.84f, 2, "-8.84"}, {-0.0035f, 2, "-0.00"},
      {static_cast<float>(0.29 * 100.0), 0, "29"},  // 28.999999999999996: the 0.49999 threshold absorbs it
      {123456.0f, 3, "123456.0"},                    // six integer digits and the point leave one decimal
      {1234567.0f, 2, "1234567."}, {1234567.0f, 0, "1234567"},
      {12345678.0f, 0, "2345678"}, {-9999999.0f, 0, "-999999"},  // digits past the budget drop from the left
      {100000000.0f, 0, "untouched"}, {-10000000.0f, 0, "untouched"},  // beyond the limits: nothing written
  };
  for (const auto& c : cases) {
    char out[64] = "untouched";
    formatFixed(c.value, c.decimals, out);
    EXPECT_STREQ(out, c.text) << c.value << " with " << c.decimals;
  }
}

TEST(ValueText, PercentAndDecibelTexts) {
  const struct {
    float p;
    const char* text;
  } percents[] = {{0.5f, "50%"},  {0.355f, "36%"}, {1.0f, "100%"},    {0.0f, "0%"},
                  {0.004f, "0%"}, {0.005f, "1%"},  {0.99999f, "100%"}},
    decibels[] = {{0.5f, "0.00dB"},    {1.0f, "12.00dB"},    {0.25f, "-12.00dB"}, {0.3f, "-8.84dB"},
                  {0.75f, "7.02dB"},   {0.4999f, "-0.00dB"}, {0.0f, "-oo dB"},    {0.00155f, "-oo dB"},
                  {0.0016f, "-99.45dB"}};
  char out[64];
  for (const auto& c : percents) {
    percentText(c.p, out);
    EXPECT_STREQ(out, c.text) << c.p;
  }
  for (const auto& c : decibels) {
    decibelText(c.p, out);
    EXPECT_STREQ(out, c.text) << c.p;
  }
}

TEST(ValueText, ParseDecimalReadsSignDigitsAndEitherSeparator) {
  const struct {
    const char* text;
    double value;
  } cases[] = {{"50%", 50.0}, {"-3.52dB", -3.52}, {"1,05", 1.05},  {".5", 0.5},     {"+5", 0.0},
               {" 7", 0.0},   {"1e3", 1.0},       {"12.", 12.0},   {"12.500", 12.5}, {"007", 7.0},
               {"12.05", 12.05}, {"0.007", 0.007}, {"", 0.0},      {nullptr, 0.0}};
  for (const auto& c : cases) EXPECT_DOUBLE_EQ(parseDecimal(c.text), c.value) << (c.text ? c.text : "null");
  const double minusNothing = parseDecimal("-oo dB");
  EXPECT_EQ(minusNothing, 0.0);
  EXPECT_TRUE(std::signbit(minusNothing));
  int whole = -1, fraction = -1;
  EXPECT_DOUBLE_EQ(parseDecimal("-4.025x", &whole, &fraction), -4.025);
  EXPECT_EQ(whole, 4);
  EXPECT_EQ(fraction, 25);
}

}  // namespace
}  // namespace korro
