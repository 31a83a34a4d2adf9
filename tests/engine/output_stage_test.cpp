// The output stage: the 1:2 interpolator, mix and gain, mono fold-down and peaks.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "engine/output_stage.h"

namespace korro::test {
namespace {

using Store = OutputStage::Store;

struct Buffers {
  explicit Buffers(int n) : dryL(n), dryR(n), coreL(n), coreR(n), outL(n), outR(n) {}
  void run(OutputStage& st, int n, bool decimate, bool stereo, double mix, double gain, Store store) {
    float* dry[2] = {dryL.data(), dryR.data()};
    float* core[2] = {coreL.data(), coreR.data()};
    float* out[2] = {outL.data(), outR.data()};
    st.process(dry, core, out, n, decimate, stereo, mix, gain, store, peaks);
  }
  std::vector<float> dryL, dryR, coreL, coreR, outL, outR;
  OutputPeaks peaks;
};

TEST(Interpolator, EngineImpulseReadsTheTapsInOrder) {
  // Documented g[0..30]: even taps, zeros between, centre 1.0.
  const double g[31] = {-0.004, 0, 0.0106, 0, -0.0268, 0, 0.0524, 0, -0.0812, 0, 0.1224, 0, -0.2097, 0, 0.6351, 1.0,
                        0.6351, 0, -0.2097, 0, 0.1224, 0, -0.0812, 0, 0.0524, 0, -0.0268, 0, 0.0106, 0, -0.004};
  OutputStage st;
  st.resetForResume();
  Buffers b(64);
  b.coreL[0] = 1.0f;
  b.run(st, 64, true, true, 1.0, 1.0, Store::Replacing);
  for (int i = 0; i < 31; ++i) EXPECT_FLOAT_EQ(b.outL[i], static_cast<float>(g[i])) << i;
  for (int i = 31; i < 64; ++i) EXPECT_EQ(b.outL[i], 0.0f) << i;
  for (int i = 0; i < 64; ++i) EXPECT_EQ(b.outR[i], 0.0f) << i;
}

TEST(Interpolator, OddBlockTakesOneEngineFrameMoreThanTheTankMade) {
  // Phase 0 at the start of a 3-frame block: host frames 0 and 2 take engine frames 0 and 1.
  OutputStage st;
  st.resetForResume();
  Buffers b(8);
  b.coreL[1] = 1.0f;  // left over from an earlier block
  b.run(st, 3, true, true, 1.0, 1.0, Store::Replacing);
  EXPECT_FLOAT_EQ(b.outL[2], -0.004f);
  EXPECT_EQ(st.interpolator.phase, 1);
  b.coreL[0] = 0.0f;
  b.coreL[1] = 0.0f;
  b.run(st, 3, true, true, 1.0, 1.0, Store::Replacing);  // frames 1 of this block takes engine frame 0
  EXPECT_FLOAT_EQ(b.outL[0], 0.0f);
  EXPECT_FLOAT_EQ(b.outL[1], 0.0106f);
}

TEST(OutputStage, MixAndGainRules) {
  const int n = 200;
  Buffers b(n);
  std::mt19937 rng(1);
  std::uniform_real_distribution<float> u(-1.0f, 1.0f);
  for (int i = 0; i < n; ++i) b.dryL[i] = u(rng), b.dryR[i] = u(rng), b.coreL[i] = u(rng), b.coreR[i] = u(rng);
  OutputStage st;

  b.run(st, n, false, true, 0.5, 1.0, Store::Replacing);
  for (int i = 0; i < n; ++i) {
    EXPECT_FLOAT_EQ(b.outL[i], (b.dryL[i] + b.coreL[i]) * 0.5f) << i;
    EXPECT_FLOAT_EQ(b.outR[i], (b.dryR[i] + b.coreR[i]) * 0.5f) << i;
  }
  b.run(st, n, false, true, 0.0, 4.0, Store::Replacing);
  for (int i = 0; i < n; ++i) EXPECT_EQ(b.outL[i], b.dryL[i] * 4.0f) << "mix 0: dry times gain";
  b.run(st, n, false, true, 1.0, 0.25, Store::Replacing);
  for (int i = 0; i < n; ++i) EXPECT_FLOAT_EQ(b.outR[i], b.coreR[i] * 0.25f) << "mix 1: wet times gain";

  b.run(st, n, false, true, 0.3, 0.0, Store::Replacing);
  for (int i = 0; i < n; ++i) EXPECT_EQ(b.outL[i], 0.0f) << "output 0 is silence";
  std::vector<float> before = b.outR;
  std::fill(b.outL.begin(), b.outL.end(), 0.75f);
  b.run(st, n, false, true, 0.3, 0.0, Store::Adding);
  for (int i = 0; i < n; ++i) EXPECT_EQ(b.outL[i], 0.75f) << "output 0 leaves an adding buffer as it was";

  b.run(st, n, false, true, 1.0, 1.0, Store::Replacing);
  before = b.outL;
  b.run(st, n, false, true, 1.0, 1.0, Store::Adding);
  for (int i = 0; i < n; ++i) EXPECT_EQ(b.outL[i], before[i] + before[i]) << "adding adds";
}

TEST(OutputStage, MonoOutputFoldsBothChannelsAndLeavesTheRightAlone) {
  for (Store store : {Store::Replacing, Store::Adding}) {
    Buffers b(50);
    for (int i = 0; i < 50; ++i) b.dryL[i] = 0.5f, b.dryR[i] = -0.25f, b.coreL[i] = 0.125f * (i % 3), b.coreR[i] = 0.0f;
    std::fill(b.outL.begin(), b.outL.end(), 1.0f);
    std::fill(b.outR.begin(), b.outR.end(), 9.0f);
    OutputStage st;
    b.run(st, 50, false, false, 0.5, 1.0, store);
    for (int i = 0; i < 50; ++i) {
      const float oL = static_cast<float>((0.125 * (i % 3) - 0.5) * 0.5 + 0.5);
      const float oR = static_cast<float>((0.0 + 0.25) * 0.5 - 0.25);
      const float m = static_cast<float>((static_cast<double>(oL) + oR) * 0.5);
      EXPECT_EQ(b.outL[i], store == Store::Adding ? 1.0f + m : m) << i;
      EXPECT_EQ(b.outR[i], 9.0f) << i;
    }
  }
}

TEST(OutputStage, PeaksOnlyGrow) {
  Buffers b(4);
  b.dryL = {0.25f, -0.75f, 0.5f, 0.0f};
  b.dryR = {-0.125f, 0.0f, 0.0f, 0.0f};
  OutputStage st;
  b.run(st, 4, false, true, 0.0, 1.0, Store::Replacing);
  EXPECT_EQ(b.peaks.left, 0.75f);
  EXPECT_EQ(b.peaks.right, 0.125f);
  b.dryL = {0.5f, 0.5f, 0.5f, 0.5f};
  b.run(st, 4, false, true, 0.0, 1.0, Store::Replacing);
  EXPECT_EQ(b.peaks.left, 0.75f) << "a smaller block leaves the peak";
  b.run(st, 4, false, true, 0.0, 2.0, Store::Replacing);
  EXPECT_EQ(b.peaks.left, 1.0f);
}

}  // namespace
}  // namespace korro::test
