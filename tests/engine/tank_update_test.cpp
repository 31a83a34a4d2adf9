// The per-block update: gains, coefficients and the thirty read positions.
#include <gtest/gtest.h>

#include <vector>

#include "engine_test_support.h"

namespace korro::test {
namespace {

struct Lengths {
  int delay, allpass1, allpass2, allpass3;
};
// Documented line lengths in samples, left 1..3 then right 1..3.
constexpr Lengths kLengths[2][kSpringLines] = {
    {{1279, 94, 58, 152}, {1500, 111, 68, 178}, {1676, 124, 77, 200}},
    {{1288, 95, 59, 154}, {1487, 108, 67, 175}, {1681, 125, 77, 202}},
};

int lengthOf(int writePos, int readPos) { return (writePos - readPos) & kTankPositionMask; }

void expectDocumentedLengths(const SpringTank& tank, const char* where) {
  for (int c = 0; c < 2; ++c) {
    for (int n = 0; n < kSpringLines; ++n) {
      const SpringLine& l = tank.channel(c).lines[n];
      const Lengths& want = kLengths[c][n];
      EXPECT_EQ(lengthOf(tank.writePos(), l.delayRead), want.delay) << where << " " << c << " " << n;
      EXPECT_EQ(lengthOf(tank.writePos(), l.allpass1Read), want.allpass1) << where << " " << c << " " << n;
      EXPECT_EQ(lengthOf(tank.writePos(), l.allpass2Read), want.allpass2) << where << " " << c << " " << n;
      EXPECT_EQ(lengthOf(tank.writePos(), l.allpass3Read), want.allpass3) << where << " " << c << " " << n;
    }
  }
}

// A ring shorter than its line would hand back what was written less than a
// line ago, and the plain and vectorised forms would agree on the wrong answer.
TEST(TankUpdate, EveryRingHoldsItsWholeLine) {
  for (int c = 0; c < 2; ++c) {
    for (int n = 0; n < kSpringLines; ++n) {
      const Lengths& l = kLengths[c][n];
      EXPECT_LE(l.delay, kDelayRingSize) << c << " " << n;
      EXPECT_LE(l.allpass1, kAllpassRingSize) << c << " " << n;
      EXPECT_LE(l.allpass2, kAllpassRingSize) << c << " " << n;
      EXPECT_LE(l.allpass3, kAllpassRingSize) << c << " " << n;
    }
  }
}

TEST(TankUpdate, RateDependentCoefficientsAtTheTwoCommonEngineRates) {
  struct Case {
    double rate;
    double preLowpass, dcBlock, tone, attack, release;
  } cases[] = {{44100.0, 0.38245, 0.97626, 0.78640, 0.88679, 0.99880},
               {48000.0, 0.41352, 0.97817, 0.80191, 0.89549, 0.99890}};
  for (const Case& c : cases) {
    auto memory = clearedMemory();
    SpringTank tank(*memory);
    tank.update(0.5f, 0.25f, c.rate);
    const TankCoefficients& k = tank.coefficients();
    EXPECT_NEAR(k.preLowpassCoeff, c.preLowpass, 6e-6) << c.rate;
    EXPECT_NEAR(k.dcBlockCoeff, c.dcBlock, 6e-6) << c.rate;
    EXPECT_NEAR(k.toneCoeff, c.tone, 6e-6) << c.rate;
    EXPECT_NEAR(k.envAttackCoeff, c.attack, 6e-6) << c.rate;
    EXPECT_NEAR(k.envReleaseCoeff, c.release, 6e-6) << c.rate;
    EXPECT_EQ(k.allpassGain, 0.78f);
    EXPECT_EQ(k.toneMix, 0.7f);
  }
}

TEST(TankUpdate, DecayAndDampMapToTheirGains) {
  auto memory = clearedMemory();
  SpringTank tank(*memory);
  const struct {
    float decay;
    double gain;
  } decays[] = {{0.0f, 0.6666}, {0.25f, 0.8164}, {0.5f, 0.88793}, {0.75f, 0.9470}, {1.0f, 0.9999}};
  for (const auto& d : decays) {
    tank.update(d.decay, 0.0f, 44100.0);
    EXPECT_NEAR(tank.coefficients().decayGain, d.gain, 6e-5) << d.decay;
  }
  tank.update(0.5f, 0.0f, 44100.0);
  EXPECT_EQ(tank.coefficients().dampCoeff, 1.0f) << "no damping at all";
  tank.update(0.5f, 1.0f, 44100.0);
  EXPECT_EQ(tank.coefficients().dampCoeff, 0.2f);
  tank.update(0.5f, 0.25f, 44100.0);
  EXPECT_EQ(tank.coefficients().dampCoeff, 0.8f);
}

TEST(TankUpdate, ReadPositionsGiveTheDocumentedLengthsAtEveryRateAndPosition) {
  auto memory = clearedMemory();
  SpringTank tank(*memory);
  tank.resetForResume();
  EXPECT_EQ(tank.writePos(), 16383);
  tank.update(0.5f, 0.25f, 44100.0);
  EXPECT_EQ(tank.writePos(), 16383);
  EXPECT_EQ(tank.channel(0).lines[0].delayRead, 15104);
  EXPECT_EQ(tank.channel(0).lines[0].allpass1Read, 16289);
  expectDocumentedLengths(tank, "after resume");

  tank.update(0.5f, 0.25f, 48000.0);
  expectDocumentedLengths(tank, "at 48000");

  // Lengths do not depend on where the write position stands, nor on the tank running.
  std::vector<float> in(700, 0.25f), out(700);
  const float* i[2] = {in.data(), in.data()};
  float* o[2] = {out.data(), out.data()};
  tank.process(i, o, 700, true);
  expectDocumentedLengths(tank, "after 700 frames");
  tank.update(0.5f, 0.25f, 44100.0);
  expectDocumentedLengths(tank, "updated after 700 frames");

  // An out-of-range write position is brought back into the ring first.
  tank.state().writePos = 16384 + 5;
  tank.update(0.5f, 0.25f, 44100.0);
  EXPECT_EQ(tank.writePos(), 5);
  expectDocumentedLengths(tank, "after masking");
}

TEST(TankUpdate, GivesWhatAFreshTankGivesWhateverCameBefore) {
  // Repeats, changes of one input at a time, and signed zeros in between.
  const struct {
    float decay, damp;
    double rate;
  } steps[] = {{0.3f, 0.6f, 48000.0}, {0.3f, 0.6f, 48000.0}, {0.3f, 0.1f, 48000.0}, {0.8f, 0.1f, 48000.0},
               {0.8f, 0.1f, 44100.0}, {0.0f, 0.1f, 44100.0}, {-0.0f, 0.1f, 44100.0}, {0.8f, 0.1f, 96000.0},
               {0.8f, 0.1f, 44100.0}, {0.3f, 0.6f, 48000.0}};
  auto memory = clearedMemory();
  SpringTank tank(*memory);
  tank.resetForResume();
  for (const auto& step : steps) {
    tank.update(step.decay, step.damp, step.rate);
    auto freshMemory = clearedMemory();
    SpringTank fresh(*freshMemory);
    fresh.resetForResume();
    fresh.state().writePos = tank.writePos();
    fresh.update(step.decay, step.damp, step.rate);
    const TankState& a = tank.state();
    const TankState& b = fresh.state();
    EXPECT_EQ(std::memcmp(&a.coeffs, &b.coeffs, sizeof a.coeffs), 0) << step.decay << " " << step.damp << " " << step.rate;
    for (int c = 0; c < 2; ++c) {
      for (int n = 0; n < kSpringLines; ++n) {
        EXPECT_EQ(a.channels[c].lines[n].delayRead, b.channels[c].lines[n].delayRead);
        EXPECT_EQ(a.channels[c].lines[n].allpass3Read, b.channels[c].lines[n].allpass3Read);
      }
    }
  }
}

}  // namespace
}  // namespace korro::test
