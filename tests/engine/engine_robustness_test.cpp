// The engine as a host drives it through the built module: hostile samples,
// any block length, any sample rate, long silence, and no allocation.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "support/alloc_counter.h"
#include "support/module_fixture.h"

namespace korro::test {
namespace {

using host::Host;
using host::Plugin;

bool subnormal(float v) { return std::fpclassify(v) == FP_SUBNORMAL; }

StereoBuffer noise(int frames, float level, unsigned seed = 3) {
  StereoBuffer b(frames);
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> u(-level, level);
  for (int i = 0; i < frames; ++i) b.left[i] = u(rng), b.right[i] = u(rng);
  return b;
}

// Renders in through a fresh effect in blocks of the given length.
StereoBuffer render(Host& host, StereoBuffer in, float rate, int block) {
  Plugin plugin(builtModule(), host);
  plugin.start(rate, block);
  plugin.setParameter(4, 0.8f);
  const int frames = static_cast<int>(in.left.size());
  StereoBuffer out(frames);
  for (int pos = 0; pos < frames; pos += block) {
    const int n = std::min(block, frames - pos);
    float* i[2] = {in.left.data() + pos, in.right.data() + pos};
    float* o[2] = {out.left.data() + pos, out.right.data() + pos};
    plugin.processReplacing(i, o, n);
  }
  return out;
}

TEST(EngineRobustness, NonFiniteSamplesStayInTheirChannel) {
  for (float rate : {44100.0f, 96000.0f}) {
    for (float bad : {NAN, INFINITY, -INFINITY}) {
      Host host;
      StereoBuffer in = noise(30000, 0.5f);
      in.left[1000] = bad;
      const StereoBuffer out = render(host, in, rate, 512);
      for (int i = 0; i < 30000; ++i) ASSERT_TRUE(std::isfinite(out.right[i])) << rate << " " << bad << " " << i;
      for (int i = 0; i < 900; ++i) ASSERT_TRUE(std::isfinite(out.left[i])) << rate << " " << bad << " " << i;
    }
  }
}

TEST(EngineRobustness, EveryBlockLengthUpToFourTimesTheAnnouncedOneIsProcessed) {
  for (float rate : {44100.0f, 96000.0f}) {
    Host host;
    Plugin plugin(builtModule(), host);
    plugin.start(rate, 256);
    plugin.setParameter(4, 1.0f);
    const StereoBuffer source = noise(1024, 0.5f, 7);
    for (int n = 0; n <= 1024; ++n) {
      // Buffers of exactly n frames, so that the sanitizer sees any access past them.
      std::vector<float> inL(source.left.begin(), source.left.begin() + n), inR(source.right.begin(), source.right.begin() + n);
      std::vector<float> outL(n, 0.0f), outR(n, 0.0f);
      float* i[2] = {inL.data(), inR.data()};
      float* o[2] = {outL.data(), outR.data()};
      if (n % 2)
        plugin.process(i, o, n);
      else
        plugin.processReplacing(i, o, n);
      for (int k = 0; k < n; ++k) ASSERT_TRUE(std::isfinite(outL[k]) && std::isfinite(outR[k])) << rate << " " << n;
    }
  }
}

TEST(EngineRobustness, HostRatesOutsideTheRangeRunAsAt44100) {
  Host host;
  const StereoBuffer in = noise(6000, 0.5f, 11);
  const StereoBuffer reference = render(host, in, 44100.0f, 300);
  const float outside[] = {1.0f, 100.0f, 16000.0f, 19999.0f, 200001.0f, 250000.0f, 1e7f,
                           0.0f, -44100.0f, NAN, INFINITY, -INFINITY};
  for (float rate : outside) {
    const StereoBuffer out = render(host, in, rate, 300);
    EXPECT_EQ(std::memcmp(out.left.data(), reference.left.data(), 6000 * sizeof(float)), 0) << rate;
    EXPECT_EQ(std::memcmp(out.right.data(), reference.right.data(), 6000 * sizeof(float)), 0) << rate;
  }
}

TEST(EngineRobustness, LongSilenceAfterALoudBurstStaysFreeOfSubnormalsAndNonFiniteValues) {
  for (float rate : {44100.0f, 96000.0f}) {
    Host host;
    Plugin plugin(builtModule(), host);
    plugin.start(rate, 512);
    plugin.setParameter(1, 1.0f);  // longest decay
    plugin.setParameter(3, 1.0f);  // gain 4
    StereoBuffer burst = noise(512, 20.0f), silence(512), out(512);
    for (int b = 0; b < 100; ++b) plugin.processReplacing(burst.channels(), out.channels(), 512);
    const int blocks = static_cast<int>(rate) * 60 / 512;  // a minute
    for (int b = 0; b < blocks; ++b) {
      plugin.processReplacing(silence.channels(), out.channels(), 512);
      for (int i = 0; i < 512; ++i) {
        ASSERT_TRUE(std::isfinite(out.left[i]) && std::isfinite(out.right[i])) << rate << " " << b;
        ASSERT_FALSE(subnormal(out.left[i]) || subnormal(out.right[i])) << rate << " " << b;
      }
    }
  }
}

TEST(EngineRobustness, HostileProcessingNeverAllocates) {
  // Beyond the plain mixed lengths: blocks longer than announced, the flush
  // block, pins coming and going, non-finite input and bypass flips.
  for (float rate : {44100.0f, 96000.0f}) {
    Host host;
    Plugin plugin(builtModule(), host);
    plugin.start(rate, 128);
    const int longest = 1000001;
    StereoBuffer in = noise(longest, 0.5f), out(longest);
    in.left[50] = NAN;
    in.right[70] = INFINITY;
    const int lengths[] = {128, 129, 1000, 4097, 7, 0, 255, 3000};
    const AllocationWatch watch;
    for (int b = 0; b < 2000; ++b) {
      host.inputConnected = b % 7 != 3;
      host.outputConnected = b % 5 != 2;
      if (b % 11 == 0) plugin.setParameter(0, b % 22 == 0 ? 0.0f : 1.0f);
      const int n = lengths[b % 8];
      if (b % 2)
        plugin.process(in.channels(), out.channels(), n);
      else
        plugin.processReplacing(in.channels(), out.channels(), n);
    }
    plugin.processReplacing(in.channels(), out.channels(), longest);
    EXPECT_EQ(watch.count(), 0) << rate;
  }
}

}  // namespace
}  // namespace korro::test
