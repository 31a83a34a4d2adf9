// The texts formats show for a value, and reading them back: the one inverse
// every front uses when a host or a user types a value.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "shell/parameter_table.h"

namespace korro {
namespace {

std::string textOf(int index, double value) {
  char text[64] = {};
  EXPECT_TRUE(parameterValueText(index, value, text, sizeof text));
  return text;
}

TEST(ParameterText, EveryTextReadsBackAsAValueWithTheSameText) {
  for (int index = 0; index < kParameterCount; ++index) {
    int checked = 0;
    // Every float step near the ends and the dB law's −100 edge, a fine grid between.
    for (double v = 0.0; v <= 1.0; v += 1.0 / 8192.0) {
      for (float x : {static_cast<float>(v), std::nextafter(static_cast<float>(v), 2.0f)}) {
        const std::string t = textOf(index, x);
        double back = -1.0;
        ASSERT_TRUE(parameterValueFromText(index, t.c_str(), back)) << t;
        if (t == "-0.00dB") {
          EXPECT_EQ(back, 0.5);
          continue;
        }
        EXPECT_EQ(textOf(index, back), t) << "parameter " << index << " value " << x;
        ++checked;
      }
    }
    EXPECT_GT(checked, 16000);
  }
}

TEST(ParameterText, TextsAtTheLawsEdges) {
  // Each parameter's law; the percent and decibel texts themselves: ValueText.
  EXPECT_EQ(textOf(0, 0.5), "on");
  EXPECT_EQ(textOf(0, std::nextafter(0.5f, 0.0f)), "off");
  EXPECT_EQ(textOf(1, 0.5), "50%");
  EXPECT_EQ(textOf(2, 0.0), "0%");
  EXPECT_EQ(textOf(4, 1.0), "100%");
  EXPECT_EQ(textOf(3, 0.0), "-oo dB");

  double v = -1.0;
  ASSERT_TRUE(parameterValueFromText(3, "-oo dB", v));
  EXPECT_EQ(v, 0.0);
  ASSERT_TRUE(parameterValueFromText(3, "-0.00dB", v));
  EXPECT_EQ(v, 0.5);
  // The plain inverse of −100 dB lands just below the edge and would print as silence.
  ASSERT_TRUE(parameterValueFromText(3, "-100.00dB", v));
  EXPECT_EQ(textOf(3, v), "-100.00dB");
  ASSERT_TRUE(parameterValueFromText(3, "-100.01dB", v));
  EXPECT_EQ(v, 0.0);
  ASSERT_TRUE(parameterValueFromText(3, "12.00dB", v));
  EXPECT_EQ(static_cast<float>(v), 1.0f);
  ASSERT_TRUE(parameterValueFromText(0, "on", v));
  EXPECT_EQ(v, 1.0);
  ASSERT_TRUE(parameterValueFromText(0, "off", v));
  EXPECT_EQ(v, 0.0);
  ASSERT_TRUE(parameterValueFromText(1, " 37 % ", v));
  EXPECT_EQ(textOf(1, v), "37%");
  ASSERT_TRUE(parameterValueFromText(2, "100", v));
  EXPECT_EQ(static_cast<float>(v), 1.0f);
  // Numbers beyond the range are held to it, as the editor holds typed ones.
  ASSERT_TRUE(parameterValueFromText(4, "100.6%", v));
  EXPECT_EQ(v, 1.0);
  ASSERT_TRUE(parameterValueFromText(1, "-0.4", v));
  EXPECT_EQ(textOf(1, v), "0%");
  ASSERT_TRUE(parameterValueFromText(3, "12.01dB", v));
  EXPECT_EQ(textOf(3, v), "12.00dB");
  EXPECT_LE(v, 1.0);
}

TEST(ParameterText, WhatIsNoValueIsRefusedAndLeavesEverythingAlone) {
  double v = 0.25;
  for (const char* bad : {"", "abc", "12x%", "on", "%", "nan", "inf", "5 dB x"})
    EXPECT_FALSE(parameterValueFromText(1, bad, v)) << bad;
  EXPECT_FALSE(parameterValueFromText(0, "50%", v));
  EXPECT_FALSE(parameterValueFromText(3, "3%", v));
  EXPECT_FALSE(parameterValueFromText(5, "50%", v));
  EXPECT_FALSE(parameterValueFromText(-1, "50%", v));
  EXPECT_FALSE(parameterValueFromText(1, nullptr, v));
  EXPECT_EQ(v, 0.25);

  char text[8];
  std::strcpy(text, "keep");
  EXPECT_FALSE(parameterValueText(3, 0.5, text, 6)) << "\"0.00dB\" needs seven bytes";
  EXPECT_STREQ(text, "keep");
  EXPECT_TRUE(parameterValueText(3, 0.5, text, 7));
  EXPECT_STREQ(text, "0.00dB");
  EXPECT_FALSE(parameterValueText(5, 0.5, text, sizeof text));
  EXPECT_FALSE(parameterValueText(0, 0.5, nullptr, 8));
  EXPECT_EQ(findParameter(5), nullptr);
  EXPECT_EQ(findParameter(-1), nullptr);
}

TEST(ParameterText, EngineCopiesAreHeldToTheRange) {
  EXPECT_EQ(clampForEngine(NAN, 0.3f), 0.3f);
  EXPECT_FALSE(std::signbit(clampForEngine(-0.0f, 0.3f)));
  EXPECT_EQ(clampForEngine(-INFINITY, 0.3f), 0.0f);
  EXPECT_EQ(clampForEngine(std::nextafter(1.0f, 2.0f), 0.3f), 1.0f);
  EXPECT_EQ(clampForEngine(1.0f, 0.3f), 1.0f);
  const float below = std::nextafter(1.0f, 0.0f);
  EXPECT_EQ(clampForEngine(below, 0.3f), below);
  EXPECT_EQ(clampForEngine(1e-45f, 0.3f), 1e-45f);
}

}  // namespace
}  // namespace korro
