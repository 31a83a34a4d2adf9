// The output stage: the 1:2 interpolator, mix and gain, mono fold-down and peaks.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "engine/input_stage.h"
#include "engine/output_stage.h"
#include "engine_test_support.h"

namespace korro::test {
namespace {

using Store = OutputStage::Store;

struct Buffers {
  explicit Buffers(int n) : dryL(n), dryR(n), coreL(n), coreR(n), outL(n), outR(n) {}
  void run(OutputStage& st, int n, bool decimate, bool stereo, double mix, double gain, Store store) {
    float* dry[2] = {dryL.data(), dryR.data()};
    float* core[2] = {coreL.data(), coreR.data()};
    float* out[2] = {outL.data(), outR.data()};
    const std::atomic<float> m{static_cast<float>(mix)}, g{static_cast<float>(gain)};
    st.process(dry, core, out, n, decimate, stereo, m, g, store, peaks);
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

// The engine in one form: input stage, tank and output stage as the block
// frame runs them.
struct Chain {
  explicit Chain(Isa isa) : memory(clearedMemory()), tank(*memory) {
    usable = input.useIsa(isa) && tank.useIsa(isa) && output.useIsa(isa);
    input.resetForResume();
    tank.resetForResume();
    output.resetForResume();
  }
  void block(StereoBuffer& host, StereoBuffer& result, int from, int n, double hostRate, bool stereo, Store store,
             float mix, float gain) {
    const bool half = hostRate > 50000.0;
    float* in[2] = {host.left.data() + from, host.right.data() + from};
    made = input.process(in[0], stereo ? in[1] : in[0], core.out(), dry.out(), n, half);
    tank.update(0.7f, 0.2f, half ? hostRate * 0.5 : hostRate);
    tank.process(core.in(), wet.out(), half ? n / 2 : n, true);
    const std::atomic<float> m{mix}, g{gain};
    float* out[2] = {result.left.data() + from, result.right.data() + from};
    output.process(dry.out(), wet.out(), out, n, half, stereo, m, g, store, peaks);
  }
  std::unique_ptr<DelayMemory> memory;
  SpringTank tank;
  InputStage input;
  OutputStage output;
  StereoBuffer core{1100}, wet{1100}, dry{1100};
  OutputPeaks peaks;
  int made = 0;
  bool usable = false;
};

void expectSameRing(const HalfRateRing& a, const HalfRateRing& b, const std::string& where) {
  EXPECT_EQ(a.index, b.index) << where;
  EXPECT_EQ(a.phase, b.phase) << where;
  for (int c = 0; c < 2; ++c)
    for (int k = 0; k < HalfRateRing::kSize; ++k) ASSERT_TRUE(sameFloat(a.ring[c][k], b.ring[c][k])) << where;
}

class VectorisedStages : public ::testing::TestWithParam<Isa> {};

TEST_P(VectorisedStages, EqualThePlainStagesBitForBitOverUnevenBlocks) {
  const int lengths[] = {0, 1, 2, 3, 5, 31, 64, 255, 256, 257, 511, 512, 513, 1000};
  for (double rate : {88200.0, 96000.0, 192000.0, 44100.0}) {
    Chain fast(GetParam()), plain(Isa::Plain);
    if (!fast.usable) GTEST_SKIP() << "this processor lacks the instruction set";
    const int total = 40000;
    StereoBuffer host(total), outFast(total), outPlain(total);
    std::mt19937 rng(static_cast<unsigned>(rate));
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (int i = 0; i < total; ++i) {
      host.left[i] = u(rng), host.right[i] = i % 3000 < 1500 ? u(rng) : 0.0f;
      outFast.left[i] = outPlain.left[i] = u(rng), outFast.right[i] = outPlain.right[i] = u(rng);
    }
    for (int from = 0, b = 0; from < total - 1000; ++b) {
      const int n = lengths[rng() % std::size(lengths)];
      const bool stereo = rng() % 3 != 0;
      const Store store = rng() % 2 ? Store::Adding : Store::Replacing;
      const float mix = u(rng) * 0.5f + 0.5f, gain = u(rng) * 2.0f + 2.0f;
      fast.block(host, outFast, from, n, rate, stereo, store, mix, gain);
      plain.block(host, outPlain, from, n, rate, stereo, store, mix, gain);
      const std::string where = std::to_string(rate) + " block " + std::to_string(b) + " of " + std::to_string(n);
      ASSERT_EQ(fast.made, plain.made) << where;
      for (int i = 0; i < fast.made; ++i) {
        ASSERT_TRUE(sameFloat(fast.core.left[i], plain.core.left[i])) << where << " engine frame " << i;
        ASSERT_TRUE(sameFloat(fast.core.right[i], plain.core.right[i])) << where << " engine frame " << i;
      }
      for (int i = from; i < from + n; ++i) {
        ASSERT_TRUE(sameFloat(outFast.left[i], outPlain.left[i])) << where << " frame " << i - from;
        ASSERT_TRUE(sameFloat(outFast.right[i], outPlain.right[i])) << where << " frame " << i - from;
      }
      ASSERT_TRUE(sameFloat(fast.peaks.left, plain.peaks.left) && sameFloat(fast.peaks.right, plain.peaks.right))
          << where;
      expectSameRing(fast.input.decimator, plain.input.decimator, where + " decimator");
      expectSameRing(fast.output.interpolator, plain.output.interpolator, where + " interpolator");
      if (HasFatalFailure()) return;
      if (b % 50 == 0) fast.peaks = plain.peaks = OutputPeaks{};  // as the meter clears them
      from += n;
    }
  }
}

#if KORRO_X86_KERNELS
INSTANTIATE_TEST_SUITE_P(Isa, VectorisedStages, ::testing::Values(Isa::Sse2, Isa::Avx2),
                         [](const ::testing::TestParamInfo<Isa>& info) { return info.param == Isa::Avx2 ? "Avx2" : "Sse2"; });
#else
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(VectorisedStages);
#endif

}  // namespace
}  // namespace korro::test
