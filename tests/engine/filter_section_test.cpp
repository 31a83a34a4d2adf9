// Filter sections and the dispersion bank: the designs' documented responses
// and edge cases.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>

#include "engine/filter_section.h"

namespace korro::test {
namespace {

constexpr double kPi = 3.141592653589793;

// Magnitude of the section's biquad response at frequency f, from its coefficients.
double magnitude(const FilterSection& s, double f) {
  const std::complex<double> z1 = std::polar(1.0, -2.0 * kPi * f / s.sampleRate);
  const std::complex<double> z2 = z1 * z1;
  return std::abs((s.b0 + s.b1 * z1 + s.b2 * z2) / (1.0 + s.a1 * z1 + s.a2 * z2));
}

// Magnitude of the DFT of y[from, from + n) at a third of the rate.
double thirdOfRate(const std::vector<double>& y, int from, int n) {
  std::complex<double> acc = 0.0;
  for (int i = 0; i < n; ++i) acc += y[from + i] * std::polar(1.0, -2.0 * kPi * i / 3.0);
  return std::abs(acc) / n;
}

std::uint64_t bitsOf(double v) {
  std::uint64_t b;
  std::memcpy(&b, &v, sizeof b);
  return b;
}

TEST(FilterSection, UnknownTypeKeepsUnitCoefficientsAndRingsUndampedAtAThirdOfTheRate) {
  for (int type : {11, -1, 1000}) {
    FilterSection s(44100.0, type, 1000.0, 0.7, 6.0);
    for (double c : {s.a0, s.a1, s.a2, s.b0, s.b1, s.b2}) EXPECT_EQ(c, 1.0) << type;
    std::vector<double> y(40000);
    for (int i = 0; i < 40000; ++i) y[i] = s.processSample(i == 0 ? 1.0 : 0.0);
    EXPECT_NEAR(y[0], 1.0, 1e-12);
    const double early = thirdOfRate(y, 30, 3000);
    const double late = thirdOfRate(y, 36000, 3000);
    EXPECT_GT(early, 0.0) << type;
    EXPECT_GT(late, 0.5 * early) << type << ": the poles sit on the unit circle";
    EXPECT_LT(late, 2.0 * early) << type;
  }
  // A real design at the same place dies away.
  FilterSection allPass(44100.0, AllPass, 14700.0, 0.7, 0.0);
  std::vector<double> y(40000);
  for (int i = 0; i < 40000; ++i) y[i] = allPass.processSample(i == 0 ? 1.0 : 0.0);
  EXPECT_LT(thirdOfRate(y, 36000, 3000), 1e-6 * thirdOfRate(y, 0, 3000));
}

TEST(FilterSection, NoneReturnsTheInputBitForBitWhileOthersSeeTheOffset) {
  FilterSection none(44100.0, None, 1000.0, 0.7, 0.0);
  const double inputs[] = {0.1, -0.0, 1e-310, 1e300, -3.5, INFINITY, 12345.678};
  for (double x : inputs) EXPECT_EQ(bitsOf(none.processSample(x)), bitsOf(x)) << x;
  // xIn still follows the input plus the alternating offset.
  FilterSection fresh(44100.0, None, 1000.0, 0.7, 0.0);
  fresh.processSample(0.5);
  EXPECT_EQ(fresh.xIn, 0.5 - 1e-14);
  fresh.processSample(0.5);
  EXPECT_EQ(fresh.xIn, 0.5 + 1e-14);

  // Every other type sees the offset: a zero-frequency DC block passes its offset input.
  FilterSection dc(44100.0, DcBlock, 0.0, 0.7, 0.0);
  EXPECT_EQ(dc.processSample(0.0), -1e-14);
  EXPECT_EQ(dc.processSample(0.0), 1e-14);
}

TEST(FilterSection, AllPassKeepsTheMagnitudeAndBandPassIsUnityAtItsFrequency) {
  for (double rate : {44100.0, 48000.0, 96000.0}) {
    for (double f : {100.0, 1000.0, 5200.0, 15000.0}) {
      for (double q : {0.3, 0.5, 2.4}) {
        const FilterSection ap(rate, AllPass, f, q, 24.0);
        EXPECT_NEAR(ap.b2, 1.0, 1e-15);
        for (double probe : {20.0, f / 2, f, 2 * f, rate * 0.45}) EXPECT_NEAR(magnitude(ap, probe), 1.0, 1e-9);

        const FilterSection bp(rate, BandPass, f, q, 0.0);
        EXPECT_NEAR(magnitude(bp, f), 1.0, 1e-9) << rate << " " << f << " " << q;
        EXPECT_LT(magnitude(bp, f / 8), 0.9);
        EXPECT_EQ(bp.b1, 0.0);
      }
    }
  }
}

TEST(FilterSection, DcBlockHasUnitInputGainSoNyquistGainIsTwoOverOnePlusPole) {
  for (double f : {20.0, 200.0, 2000.0}) {
    FilterSection dc(44100.0, DcBlock, f, 0.7, 0.0);
    const double p = std::pow(0.005, f / 44100.0);
    EXPECT_EQ(dc.a1, 1.0);
    EXPECT_NEAR(dc.a0, p, 1e-15);
    double y = 0.0;
    for (int i = 0; i < 20000; ++i) y = dc.processSample(i % 2 ? -1.0 : 1.0);
    EXPECT_NEAR(std::fabs(y), 2.0 / (1.0 + p), 1e-9) << f;
  }
}

}  // namespace
}  // namespace korro::test
