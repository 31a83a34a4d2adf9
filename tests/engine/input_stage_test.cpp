// The input stage: dry copy and the 2:1 decimator.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <vector>

#include "engine/input_stage.h"

namespace korro::test {
namespace {

constexpr double kPi = 3.141592653589793;
// Documented taps h[0..15]; h[30 - k] = h[k].
constexpr double kTaps[16] = {0.0018, 0.007,   -0.0025, -0.016, -0.0012, 0.029,  0.01,   -0.032,
                              -0.0242, 0.0372, 0.0478,  -0.0408, -0.0962, 0.0428, 0.314, 0.455};
double tap(int k) { return kTaps[k <= 15 ? k : 30 - k]; }

struct Buffers {
  explicit Buffers(int n, float fill = 0.0f)
      : inL(n), inR(n), coreL(n, fill), coreR(n, fill), dryL(n, fill), dryR(n, fill) {}
  int run(InputStage& st, int from, int n, bool decimate) {
    float* core[2] = {coreL.data() + written, coreR.data() + written};
    float* dry[2] = {dryL.data() + from, dryR.data() + from};
    const int made = st.process(inL.data() + from, inR.data() + from, core, dry, n, decimate);
    written += made;
    return made;
  }
  std::vector<float> inL, inR, coreL, coreR, dryL, dryR;
  int written = 0;
};

TEST(Decimator, ImpulseGivesTheEvenTapsAtEngineFrames) {
  InputStage st;
  st.resetForResume();
  Buffers b(64);
  b.inL[0] = 1.0f;
  EXPECT_EQ(b.run(st, 0, 64, true), 32);
  const double even[16] = {0.0018, -0.0025, -0.0012, 0.01,   -0.0242, 0.0478, -0.0962, 0.314,
                           0.314,  -0.0962, 0.0478,  -0.0242, 0.01,    -0.0012, -0.0025, 0.0018};
  for (int j = 0; j < 16; ++j) EXPECT_FLOAT_EQ(b.coreL[j], static_cast<float>(even[j])) << j;
  for (int j = 16; j < 32; ++j) EXPECT_EQ(b.coreL[j], 0.0f) << j;
  for (int j = 0; j < 32; ++j) EXPECT_EQ(b.coreR[j], 0.0f) << "channels are separate";
  for (int k = 0; k < 31; k += 2) EXPECT_FLOAT_EQ(b.coreL[k / 2], static_cast<float>(tap(k)));
}

TEST(Decimator, OddBlocksAlternateBetweenOneFrameMoreAndOneLess) {
  InputStage st;
  st.resetForResume();
  Buffers b(15 * 6, NAN);
  for (int block = 0; block < 6; ++block) EXPECT_EQ(b.run(st, block * 15, 15, true), block % 2 ? 7 : 8) << block;
  EXPECT_EQ(b.written, 45);
  for (int j = 0; j < 45; ++j) EXPECT_FALSE(std::isnan(b.coreL[j])) << j;
  for (int j = 45; j < 90; ++j) EXPECT_TRUE(std::isnan(b.coreL[j])) << "nothing written past the frames made";
}

TEST(Decimator, ResponseAcrossTheBand) {
  // Complex gain from a cosine and a sine run side by side: |H| in steady state.
  auto gainDb = [](double fraction) {
    const int n = 4096;
    InputStage a, b;
    a.resetForResume();
    b.resetForResume();
    Buffers ca(n), sb(n);
    for (int i = 0; i < n; ++i) {
      ca.inL[i] = static_cast<float>(std::cos(2 * kPi * fraction * i));
      sb.inL[i] = static_cast<float>(std::sin(2 * kPi * fraction * i));
    }
    ca.run(a, 0, n, true);
    sb.run(b, 0, n, true);
    double worst = 0.0, sum = 0.0;
    int count = 0;
    for (int j = 100; j < n / 2; ++j) {
      const double m = std::abs(std::complex<double>(ca.coreL[j], sb.coreL[j]));
      sum += m;
      worst = std::max(worst, std::fabs(m - sum / ++count));
    }
    EXPECT_LT(worst, 1e-4) << fraction << ": steady";
    return 20.0 * std::log10(sum / count);
  };
  EXPECT_NEAR(gainDb(0.25), -26.9, 0.15) << "a quarter of the host rate";
  for (double f : {0.01, 0.05, 0.1, 0.15, 0.2}) {
    const double g = gainDb(f);
    EXPECT_GE(g, -0.3) << f;
    EXPECT_LE(g, 0.6) << f;
  }
  EXPECT_NEAR(gainDb(0.22), -3.0, 0.5);
  EXPECT_LE(gainDb(0.3), -24.0);
  EXPECT_LE(gainDb(0.4), -38.0);
}

TEST(InputStage, FullRateCopiesBothPathsAndAnEmptyBlockLeavesTheDecimator) {
  InputStage st;
  st.resetForResume();
  Buffers b(100);
  for (int i = 0; i < 100; ++i) b.inL[i] = 0.01f * i - 0.3f, b.inR[i] = -0.02f * i;
  EXPECT_EQ(b.run(st, 0, 100, false), 100);
  EXPECT_EQ(b.coreL, b.inL);
  EXPECT_EQ(b.coreR, b.inR);
  EXPECT_EQ(b.dryL, b.inL);
  EXPECT_EQ(b.dryR, b.inR);

  const HalfRateRing before = st.decimator;
  EXPECT_EQ(b.run(st, 0, 0, true), 0);
  EXPECT_EQ(st.decimator.phase, before.phase);
  EXPECT_EQ(st.decimator.index, before.index);
}

}  // namespace
}  // namespace korro::test
