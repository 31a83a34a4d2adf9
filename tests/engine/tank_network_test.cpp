// The spring tank's per-sample network: the vectorised network against the
// plain one, and the behaviour the design documents for the network itself.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>

#include "engine_test_support.h"

namespace korro::test {
namespace {

using Isa = SpringTank::Isa;

std::string isaName(const ::testing::TestParamInfo<Isa>& info) {
  return info.param == Isa::Avx2 ? "Avx2" : info.param == Isa::Sse2 ? "Sse2" : "Plain";
}

void expectSameState(const TankState& got, const TankState& want, const std::string& where) {
  ASSERT_EQ(got.writePos, want.writePos) << where;
  for (int c = 0; c < 2; ++c) {
    const TankChannel& g = got.channels[c];
    const TankChannel& w = want.channels[c];
    const std::string at = where + " channel " + std::to_string(c);
    ASSERT_TRUE(sameFloat(g.preLowpassState, w.preLowpassState)) << at;
    ASSERT_TRUE(sameFloat(g.dcBlockPrevious, w.dcBlockPrevious)) << at;
    ASSERT_TRUE(sameFloat(g.dcBlockState, w.dcBlockState)) << at;
    ASSERT_TRUE(sameFloat(g.toneState, w.toneState)) << at;
    ASSERT_TRUE(sameFloat(g.levelEnvelope, w.levelEnvelope)) << at;
    ASSERT_TRUE(sameFloat(g.feedbackGain, w.feedbackGain)) << at;
    for (int n = 0; n < kSpringLines; ++n) {
      const SpringLine& gl = g.lines[n];
      const SpringLine& wl = w.lines[n];
      const std::string line = at + " line " + std::to_string(n);
      ASSERT_EQ(gl.delayRead, wl.delayRead) << line;
      ASSERT_EQ(gl.allpass1Read, wl.allpass1Read) << line;
      ASSERT_EQ(gl.allpass2Read, wl.allpass2Read) << line;
      ASSERT_EQ(gl.allpass3Read, wl.allpass3Read) << line;
      ASSERT_TRUE(sameFloat(gl.dampState, wl.dampState)) << line;
      ASSERT_TRUE(sameFloat(gl.tapValue, wl.tapValue)) << line;
      ASSERT_TRUE(sameFloat(gl.returnValue, wl.returnValue)) << line;
    }
  }
}

// Fills a block with one of several kinds of material, from silence to very loud.
void fillBlock(StereoBuffer& s, int frames, std::mt19937& rng) {
  std::uniform_real_distribution<float> u(-1.0f, 1.0f);
  const int kind = static_cast<int>(rng() % 6);
  const float level = kind == 5 ? 40.0f : 1.0f;
  const double step = 0.01 + 0.3 * (rng() % 100) / 100.0;
  for (int i = 0; i < frames; ++i) {
    float l = 0.0f, r = 0.0f;
    switch (kind) {
      case 0:  // silence
        break;
      case 1:
      case 5:
        l = level * u(rng);
        r = level * u(rng);
        break;
      case 2:
        l = static_cast<float>(std::sin(step * i));
        r = static_cast<float>(0.5 * std::cos(step * 1.7 * i));
        break;
      case 3:
        l = i == 0 ? 1.0f : 0.0f;
        r = i == frames / 2 ? -1.0f : 0.0f;
        break;
      case 4:
        l = 0.25f;
        r = -0.75f;
        break;
    }
    s.left[i] = l;
    s.right[i] = r;
  }
}

class VectorisedTank : public ::testing::TestWithParam<Isa> {
 protected:
  void SetUp() override {
    if (!SpringTank::available(GetParam())) GTEST_SKIP() << "this processor lacks the instruction set";
  }
};

TEST_P(VectorisedTank, EqualsThePlainTankBitForBit) {
  struct Config {
    double engineRate;
    bool conditioning;  // the two optional input stages
    bool prefilled;     // start from arbitrary memory and state instead of silence
  } configs[] = {{44100.0, false, false}, {48000.0, false, false}, {44100.0, true, true}, {48000.0, false, true}};
  const int lengths[] = {0, 1, 57, 58, 59, 2, 3, 5, 7, 17, 63, 64, 65, 127, 333, 512, 1000, 4096, -3};

  for (const Config& cfg : configs) {
    const std::string where = std::to_string(cfg.engineRate) + (cfg.conditioning ? " conditioned" : "") +
                              (cfg.prefilled ? " prefilled" : "");
    auto fastMemory = clearedMemory();
    auto plainMemory = clearedMemory();
    SpringTank fast(*fastMemory);
    SpringTank plain(*plainMemory);
    ASSERT_TRUE(fast.useIsa(GetParam()));
    ASSERT_TRUE(plain.useIsa(Isa::Plain));
    std::mt19937 rng(cfg.prefilled ? 99 : 5);

    if (cfg.prefilled) {
      std::uniform_real_distribution<float> u(-0.5f, 0.5f);
      for (int c = 0; c < 2; ++c) {
        const std::vector<Ring> a = tankRings(fast.lines(c));
        const std::vector<Ring> b = tankRings(plain.lines(c));
        for (std::size_t r = 0; r < a.size(); ++r) {
          for (int i = 0; i < a[r].size; ++i) {
            const float v = u(rng);
            a[r].data[i] = v;
            b[r].data[i] = v;
          }
        }
        for (TankState* s : {&fast.state(), &plain.state()}) {
          std::mt19937 same(c + 11);
          std::uniform_real_distribution<float> v(0.0f, 0.3f);
          TankChannel& ch = s->channels[c];
          ch.preLowpassState = v(same);
          ch.dcBlockPrevious = v(same);
          ch.dcBlockState = v(same);
          ch.toneState = v(same);
          ch.levelEnvelope = v(same);
          for (SpringLine& l : ch.lines) l.dampState = v(same), l.returnValue = v(same);
        }
      }
      fast.state().writePos = plain.state().writePos = 16380;  // wraps within the first block
    }
    for (TankState* s : {&fast.state(), &plain.state()})
      s->preLowpassEnabled = s->dcBlockEnabled = cfg.conditioning;

    StereoBuffer in(4096), outFast(4096, 7.0f), outPlain(4096, 7.0f);
    float decay = 0.5f, damp = 0.25f;
    bool feed = true;
    long total = 0;
    for (int block = 0; block < 300; ++block) {
      const int n = lengths[rng() % (sizeof lengths / sizeof lengths[0])];
      if (rng() % 3 == 0) {
        std::uniform_real_distribution<float> p(0.0f, 1.0f);
        decay = p(rng);
        damp = p(rng);
      }
      if (rng() % 4 == 0) feed = !feed;
      fillBlock(in, n > 0 ? n : 0, rng);

      fast.update(decay, damp, cfg.engineRate);
      plain.update(decay, damp, cfg.engineRate);
      fast.process(in.in(), outFast.out(), n, feed);
      plain.process(in.in(), outPlain.out(), n, feed);

      const std::string at = where + " block " + std::to_string(block) + " of " + std::to_string(n);
      for (int i = 0; i < (n > 0 ? n : 0); ++i) {
        ASSERT_TRUE(sameFloat(outFast.left[i], outPlain.left[i])) << at << " frame " << i;
        ASSERT_TRUE(sameFloat(outFast.right[i], outPlain.right[i])) << at << " frame " << i;
      }
      expectSameState(fast.state(), plain.state(), at);
      if (HasFatalFailure()) return;
      total += n > 0 ? n : 0;
    }
    EXPECT_GT(total, 2 * kTankPositions) << "every position must have wrapped";

    for (int c = 0; c < 2; ++c) {
      const std::vector<Ring> a = tankRings(fast.lines(c));
      const std::vector<Ring> b = tankRings(plain.lines(c));
      for (std::size_t r = 0; r < a.size(); ++r)
        for (int i = 0; i < a[r].size; ++i)
          ASSERT_TRUE(sameFloat(a[r].data[i], b[r].data[i])) << where << " channel " << c << " ring " << r << " entry " << i;
    }
  }
}

// Every form of the network, for the cases that need no second tank to compare with.
class AnyTank : public VectorisedTank {};

TEST_P(AnyTank, NonPositiveFrameCountsTouchNothing) {
  auto memory = clearedMemory();
  SpringTank tank(*memory);
  ASSERT_TRUE(tank.useIsa(GetParam()));
  tank.update(0.5f, 0.25f, 44100.0);
  StereoBuffer in(64, 1.0f), out(64, 3.0f);
  tank.process(in.in(), out.out(), 64, true);  // something in the rings and states
  tank.update(0.5f, 0.25f, 44100.0);
  const TankState before = tank.state();
  std::vector<std::vector<float>> rings;
  for (int c = 0; c < 2; ++c)
    for (const Ring& r : tankRings(tank.lines(c))) rings.emplace_back(r.begin(), r.end());

  std::fill(out.left.begin(), out.left.end(), 3.0f);
  std::fill(out.right.begin(), out.right.end(), 3.0f);
  for (int n : {0, -1, -4096}) tank.process(in.in(), out.out(), n, true);

  expectSameState(tank.state(), before, "after non-positive counts");
  for (float v : out.left) EXPECT_EQ(v, 3.0f);
  for (float v : out.right) EXPECT_EQ(v, 3.0f);
  std::size_t k = 0;
  for (int c = 0; c < 2; ++c)
    for (const Ring& r : tankRings(tank.lines(c))) EXPECT_TRUE(std::equal(r.begin(), r.end(), rings[k++].begin()));
}

#if KORRO_X86_KERNELS
INSTANTIATE_TEST_SUITE_P(Isa, VectorisedTank, ::testing::Values(Isa::Sse2, Isa::Avx2), isaName);
INSTANTIATE_TEST_SUITE_P(Isa, AnyTank, ::testing::Values(Isa::Plain, Isa::Sse2, Isa::Avx2), isaName);
#else
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(VectorisedTank);
INSTANTIATE_TEST_SUITE_P(Isa, AnyTank, ::testing::Values(Isa::Plain), isaName);
#endif

// A tank as resume leaves it, with Decay and Damp set for the next block.
struct Tank {
  explicit Tank(double rate = 44100.0, float decay = 0.5f, float damp = 0.25f)
      : memory(clearedMemory()), tank(*memory), rate(rate), decay(decay), damp(damp) {
    tank.resetForResume();
  }
  void run(StereoBuffer& in, StereoBuffer& out, int frames, bool feed = true, int block = 512) {
    for (int done = 0; done < frames; done += block) {
      const int n = std::min(block, frames - done);
      const float* i[2] = {in.left.data() + done, in.right.data() + done};
      float* o[2] = {out.left.data() + done, out.right.data() + done};
      tank.update(decay, damp, rate);
      tank.process(i, o, n, feed);
    }
  }
  std::unique_ptr<DelayMemory> memory;
  SpringTank tank;
  double rate;
  float decay, damp;
};

TEST(TankNetwork, ImpulseIsFirstHeardOneForwardDelayLaterAndOnlyInItsChannel) {
  // Documented at 44,100 Hz, Decay 0.5, Damp 0.25: dampCoeff 0.8, toneCoeff 0.78640.
  const double expected = 0.2968 * 0.78 * 0.8 * (1.0 - 0.3 * 0.78640);
  for (int side = 0; side < 2; ++side) {
    Tank t;
    const int frames = 20000;
    StereoBuffer in(frames), out(frames);
    (side == 0 ? in.left : in.right)[0] = 1.0f;
    t.run(in, out, frames);
    const std::vector<float>& hit = side == 0 ? out.left : out.right;
    const std::vector<float>& other = side == 0 ? out.right : out.left;
    const int first = side == 0 ? 1279 : 1288;
    for (int i = 0; i < first; ++i) ASSERT_LT(std::fabs(hit[i]), 1e-7) << side << " frame " << i;
    EXPECT_NEAR(hit[first], expected, 2e-5) << side;
    for (int i = 0; i < frames; ++i) ASSERT_LT(std::fabs(other[i]), 1e-7) << side << " frame " << i;
    double later = 0.0;
    for (int i = first + 1; i < frames; ++i) later = std::max(later, static_cast<double>(std::fabs(hit[i])));
    EXPECT_GT(later, 1e-3) << "the spring keeps ringing after the first arrival";
  }
}

TEST(TankNetwork, UnfedTankReadsNoInputAndRingsOutUndisturbed) {
  const int frames = 6000;
  StereoBuffer burst(frames), poison(frames, std::nanf("")), silence(frames);
  std::mt19937 rng(3);
  std::uniform_real_distribution<float> u(-0.5f, 0.5f);
  for (int i = 0; i < 2000; ++i) burst.left[i] = u(rng), burst.right[i] = u(rng);

  Tank empty;
  StereoBuffer out(frames);
  empty.run(poison, out, frames, false);
  for (int i = 0; i < frames; ++i) {
    ASSERT_LT(std::fabs(out.left[i]), 1e-7) << i;
    ASSERT_LT(std::fabs(out.right[i]), 1e-7) << i;
  }

  // A ringing tank left unfed behaves as if fed silence, up to the offset.
  Tank a, b;
  StereoBuffer outA(frames), outB(frames);
  a.run(burst, outA, frames);
  b.run(burst, outB, frames);
  a.run(poison, outA, frames, false);
  b.run(silence, outB, frames, true);
  double peak = 0.0;
  for (int i = 0; i < frames; ++i) {
    ASSERT_TRUE(std::isfinite(outA.left[i]) && std::isfinite(outA.right[i])) << i;
    ASSERT_NEAR(outA.left[i], outB.left[i], 1e-6) << i;
    ASSERT_NEAR(outA.right[i], outB.right[i], 1e-6) << i;
    peak = std::max(peak, static_cast<double>(std::fabs(outA.left[i])));
  }
  EXPECT_GT(peak, 1e-3) << "the tail is still there";
}

TEST(TankNetwork, LoopGainFollowsTheLevelWithinItsRange) {
  for (float decay : {0.0f, 0.5f, 1.0f}) {
    Tank t(44100.0, decay, 0.0f);
    const double decayGain = std::pow(1.5, std::sqrt(static_cast<double>(decay))) * 0.6666;
    StereoBuffer in(1), out(1);
    // Empty tank: q = 1, so the gain is 0.985 decayGain.
    t.run(in, out, 1);
    EXPECT_NEAR(t.tank.channel(0).feedbackGain, 0.985 * decayGain, 1e-6) << decay;
    EXPECT_LT(0.985 * decayGain, 1.0) << "stable for every Decay";

    // An envelope of 1.0 gives about 0.874 decayGain.
    t.tank.state().channels[0].levelEnvelope = 1.0f;
    t.run(in, out, 1);
    EXPECT_NEAR(t.tank.channel(0).feedbackGain, 0.874 * decayGain, 2e-3) << decay;

    // Very loud material drives the gain towards, but never below, 0.285 decayGain.
    std::mt19937 rng(1);
    std::uniform_real_distribution<float> u(-1e6f, 1e6f);
    double low = 1.0, high = 0.0;
    for (int i = 0; i < 3000; ++i) {
      in.left[0] = u(rng);
      in.right[0] = u(rng);
      t.run(in, out, 1);
      for (int c = 0; c < 2; ++c) {
        const double g = t.tank.channel(c).feedbackGain;
        low = std::min(low, g);
        high = std::max(high, g);
      }
    }
    EXPECT_GE(low, 0.285 * decayGain * (1 - 1e-6)) << decay;
    EXPECT_LE(high, 0.985 * decayGain * (1 + 1e-6)) << decay;
    // An envelope near 1e6 gives q = (1 / (1 + 31.6))^(1/4) = 0.418, a gain of 0.578 decayGain.
    EXPECT_LT(low, 0.6 * decayGain) << decay << ": loud material must pull the gain down";
  }
}

TEST(TankNetwork, EnvelopeRisesWithinAMillisecondAndFallsWithinATenthOfASecond) {
  Tank t;
  // A constant 1.0 coming out of the left forward delay of spring line 1.
  std::fill_n(t.tank.lines(0).forwardDelay[0], kDelayRingSize, 1.0f);
  StereoBuffer in(4410), out(4410);
  t.run(in, out, 30, false, 1);
  EXPECT_LT(t.tank.channel(0).levelEnvelope, 0.99f);
  t.run(in, out, 15, false, 1);  // 45 frames: about 1 ms at 44,100 Hz
  EXPECT_GT(t.tank.channel(0).levelEnvelope, 0.99f);
  EXPECT_LT(t.tank.channel(1).levelEnvelope, 1e-6f) << "the right channel has its own envelope";

  // Silence everywhere in the channel; the envelope starts from where it is.
  for (const Ring& r : tankRings(t.tank.lines(0))) std::fill(r.begin(), r.end(), 0.0f);
  for (SpringLine& l : t.tank.state().channels[0].lines) l.dampState = l.returnValue = 0.0f;
  t.run(in, out, 3000, false);
  EXPECT_GT(t.tank.channel(0).levelEnvelope, 0.02f) << "release is slow";
  t.run(in, out, 1500, false);  // 4500 frames, just over 0.1 s
  EXPECT_LT(t.tank.channel(0).levelEnvelope, 0.01f);
}

TEST(TankNetwork, HighestDecayRingsOutInsteadOfBuildingUp) {
  Tank t(44100.0, 1.0f, 0.0f);
  const int second = 44100;
  StereoBuffer in(second), out(second);
  std::mt19937 rng(8);
  std::uniform_real_distribution<float> u(-1.0f, 1.0f);
  for (int i = 0; i < second / 10; ++i) in.left[i] = u(rng), in.right[i] = u(rng);
  t.run(in, out, second);
  double first = 0.0;
  for (float v : out.left) first = std::max(first, static_cast<double>(std::fabs(v)));
  StereoBuffer silence(second);
  for (int s = 0; s < 20; ++s) t.run(silence, out, second);
  double last = 0.0;
  for (float v : out.left) last = std::max(last, static_cast<double>(std::fabs(v)));
  EXPECT_GT(first, 0.05);
  EXPECT_LT(last, first * 1e-3) << "after 20 s the tail has decayed";
}

}  // namespace
}  // namespace korro::test
