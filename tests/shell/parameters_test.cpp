// Parameters as a host shows them: names, labels, display texts, and which
// values belong to one program or to all.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "support/module_fixture.h"

namespace korro::test {
namespace {

using host::Plugin;

class Parameters : public ModuleTest {
 protected:
  std::string display(int index) { return fx().text(effGetParamDisplay, index); }
  void processOneBlock() {
    StereoBuffer in(64), out(64);
    fx().processReplacing(in.channels(), out.channels(), 64);
  }
};

TEST_F(Parameters, NamesAndLabelsKeepTheirBlanks) {
  const char* names[] = {" Bypass ", " Decay ", " Damp ", " Output ", " Mix "};
  const char* labels[] = {"  ", "    %    ", "    %    ", "   dB   ", "    %    "};
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(fx().text(effGetParamName, i), names[i]);
    EXPECT_EQ(fx().text(effGetParamLabel, i), labels[i]);
  }
  for (int i : {5, 7, -1, 1 << 30}) {
    EXPECT_EQ(fx().text(effGetParamName, i), Plugin::kUntouched) << i;
    EXPECT_EQ(fx().text(effGetParamLabel, i), Plugin::kUntouched) << i;
    EXPECT_EQ(fx().text(effGetParamDisplay, i), Plugin::kUntouched) << i;
    EXPECT_EQ(fx().getParameter(i), 0.0f) << i;
  }
  fx().dispatch(effGetParamName, 0, 0, nullptr);  // ignored, not written through
}

TEST_F(Parameters, FactoryStateOfANewEffect) {
  EXPECT_EQ(fx().getParameter(0), 1.0f);
  EXPECT_EQ(fx().getParameter(1), 0.5f);
  EXPECT_EQ(fx().getParameter(2), 0.1f);
  EXPECT_EQ(fx().getParameter(3), 0.5f);
  EXPECT_EQ(fx().getParameter(4), 0.5f);
  EXPECT_EQ(display(0), " bypassed ");
  EXPECT_EQ(display(1), "50.00000");
  EXPECT_EQ(display(2), "10.00000");
  EXPECT_EQ(display(3), "-6.02059");
  EXPECT_EQ(display(4), "50.00000");
}

TEST_F(Parameters, DisplayTextsFollowTheValues) {
  struct Case {
    int index;
    float value;
    const char* text;
  } cases[] = {
      {1, 0.34f, "34.00000"}, {1, 1.0f, "100.0000"},  {1, 0.0f, "0.000000"}, {2, 0.0001f, "0.009999"},
      {4, 0.25f, "25.00000"}, {3, 1.0f, "0.000000"},  {3, 0.25f, "-12.0411"}, {3, 0.0f, "  -oo   "},
      {3, -0.5f, "  -oo   "}, {4, -0.25f, "-25.0000"}, {1, 2.0f, "200.0000"},
      // The product with 100 is rounded to float first; in double these would
      // truncate to ...99999.
      {1, 0.76f, "76.00000"}, {2, 0.41f, "41.00000"}, {1, 0.7f, "70.00000"},  {2, 0.35f, "35.00000"},
      {2, 0.19f, "19.00000"}, {2, 0.44f, "44.00000"},
  };
  for (const Case& c : cases) {
    fx().setParameter(c.index, c.value);
    EXPECT_EQ(display(c.index), c.text) << "index " << c.index << " value " << c.value;
    EXPECT_EQ(fx().getParameter(c.index), c.value) << "stored without clamping";
  }
}

TEST_F(Parameters, BypassRoundsWhenSetAndTruncatesOnceAudioRuns) {
  fx().start(44100.0f, 64);
  fx().setParameter(0, 0.5f);
  EXPECT_EQ(fx().getParameter(0), 1.0f);
  EXPECT_EQ(display(0), " bypassed ");
  processOneBlock();
  EXPECT_EQ(fx().getParameter(0), 0.0f);
  EXPECT_EQ(display(0), " process ");

  fx().setParameter(0, 0.7f);
  EXPECT_EQ(fx().getParameter(0), 1.0f);
  processOneBlock();
  EXPECT_EQ(fx().getParameter(0), 0.0f);

  fx().setParameter(0, 0.49999997f);  // the sum is formed wider than float: still below 1
  EXPECT_EQ(fx().getParameter(0), 0.0f);
  fx().setParameter(0, 1.0f);
  processOneBlock();
  EXPECT_EQ(fx().getParameter(0), 1.0f);
  EXPECT_EQ(display(0), " bypassed ");
  fx().setParameter(0, -1.4f);
  EXPECT_EQ(fx().getParameter(0), 0.0f);
}

TEST_F(Parameters, BypassOutputAndMixApplyToEveryProgram) {
  fx().dispatch(effSetProgram, 0, 3);
  fx().setParameter(0, 0.0f);
  fx().setParameter(3, 0.75f);
  fx().setParameter(4, 0.25f);
  for (int p = 0; p < 8; ++p) {
    fx().dispatch(effSetProgram, 0, p);
    EXPECT_EQ(fx().getParameter(0), 0.0f) << p;
    EXPECT_EQ(fx().getParameter(3), 0.75f) << p;
    EXPECT_EQ(fx().getParameter(4), 0.25f) << p;
  }
}

TEST_F(Parameters, DecayAndDampBelongToTheCurrentProgram) {
  fx().dispatch(effSetProgram, 0, 2);
  fx().setParameter(1, 0.9f);
  fx().setParameter(2, 0.6f);
  fx().dispatch(effSetProgram, 0, 5);
  EXPECT_EQ(fx().getParameter(1), 0.25f);
  EXPECT_EQ(fx().getParameter(2), 0.19f);
  fx().dispatch(effSetProgram, 0, 2);
  EXPECT_EQ(fx().getParameter(1), 0.9f);
  EXPECT_EQ(fx().getParameter(2), 0.6f);
}

TEST_F(Parameters, SettingAParameterDoesNotTalkToTheHost) {
  host.clear();
  for (int i = -1; i < 7; ++i) fx().setParameter(i, 0.3f);
  EXPECT_TRUE(host.requests().empty());
}

// Renders a burst through program 2 with `value` written to one parameter
// after two blocks (none for `set` false), and answers every sample.
std::vector<float> renderWith(int index, float value, bool set) {
  host::Host quiet;
  Plugin fx(builtModule(), quiet);
  fx.dispatch(effSetProgram, 0, 2);
  fx.start(44100.0f, 512);
  std::vector<float> samples;
  StereoBuffer in(512), out(512);
  for (int b = 0; b < 48; ++b) {
    for (int i = 0; i < 512; ++i) in.left[i] = in.right[i] = b < 6 ? (i % 97 < 48 ? 0.9f : -0.9f) : 0.0f;
    if (b == 2 && set) fx.setParameter(index, value);
    fx.processReplacing(in.channels(), out.channels(), 512);
    samples.insert(samples.end(), out.left.begin(), out.left.end());
    samples.insert(samples.end(), out.right.begin(), out.right.end());
  }
  return samples;
}

std::uint32_t bitsOf(float v) {
  std::uint32_t b;
  std::memcpy(&b, &v, sizeof b);
  return b;
}

TEST(ParameterValues, AnyValueIsStoredAsSentAndTheEngineHearsItHeldToTheRange) {
  const float inf = std::numeric_limits<float>::infinity();
  const float values[] = {-1e9f, -2.0f, -0.5f, -0.0f, 0.0f, 1.0f, std::nextafter(1.0f, 2.0f),
                          1.5f,  20.0f, 1e9f,  inf,   -inf, std::numeric_limits<float>::quiet_NaN()};
  for (int index = 0; index < 5; ++index) {
    for (float v : values) {
      SCOPED_TRACE(::testing::Message() << "parameter " << index << " value " << v);
      const bool nan = std::isnan(v);
      const float held = v > 1.0f ? 1.0f : v > 0.0f ? v : 0.0f;
      const std::vector<float> got = renderWith(index, v, true);
      const std::vector<float> want = renderWith(index, held, !nan);
      for (float x : got) ASSERT_TRUE(std::isfinite(x));
      ASSERT_EQ(std::mismatch(got.begin(), got.end(), want.begin()).first - got.begin(),
                static_cast<std::ptrdiff_t>(got.size()))
          << "first sample that differs from the render with the held value";

      host::Host quiet;
      Plugin fx(builtModule(), quiet);
      fx.dispatch(effSetProgram, 0, 2);
      fx.setParameter(index, v);
      if (index == 0)
        EXPECT_EQ(fx.getParameter(0), nan ? 1.0f : held >= 0.5f ? 1.0f : 0.0f) << "Bypass reads as its flag";
      else
        EXPECT_EQ(bitsOf(fx.getParameter(index)), bitsOf(v)) << "read back as sent";
    }
  }
}

}  // namespace
}  // namespace korro::test
