// Processing as a host drives it: both forms, pin connections, block lengths
// the host did not announce, and an audio path that never allocates.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "support/module_fixture.h"

namespace korro::test {
namespace {

using host::Host;
using host::Plugin;

// A deterministic test signal: noise bursts between silences, different per channel.
StereoBuffer testSignal(int frames, unsigned seed = 7) {
  StereoBuffer b(frames);
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> u(-0.5f, 0.5f);
  for (int i = 0; i < frames; ++i) {
    const bool on = (i / 700) % 3 == 0;
    b.left[i] = on ? u(rng) : 0.0f;
    b.right[i] = on ? u(rng) * 0.5f : 0.0f;
  }
  return b;
}

// Runs the signal through a fresh effect in blocks of the given lengths (cycled).
StereoBuffer render(Host& host, const StereoBuffer& in, float rate, int announced, std::vector<int> blocks,
                    bool adding = false, float prefill = 0.0f) {
  Plugin plugin(builtModule(), host);
  plugin.start(rate, announced);
  plugin.setParameter(4, 0.7f);
  const int frames = static_cast<int>(in.left.size());
  StereoBuffer out(frames, prefill);
  int pos = 0;
  for (std::size_t k = 0; pos < frames; ++k) {
    const int n = std::min(blocks[k % blocks.size()], frames - pos);
    float* i[2] = {const_cast<float*>(in.left.data()) + pos, const_cast<float*>(in.right.data()) + pos};
    float* o[2] = {out.left.data() + pos, out.right.data() + pos};
    if (adding)
      plugin.process(i, o, n);
    else
      plugin.processReplacing(i, o, n);
    pos += n;
  }
  return out;
}

TEST(BlockFrame, AddingAddsExactlyWhatReplacingWrites) {
  Host host;
  const StereoBuffer in = testSignal(6000);
  const StereoBuffer replaced = render(host, in, 44100.0f, 512, {512});
  const StereoBuffer added = render(host, in, 44100.0f, 512, {512}, true, 0.125f);
  for (int i = 0; i < 6000; ++i) {
    ASSERT_EQ(added.left[i], 0.125f + replaced.left[i]) << i;
    ASSERT_EQ(added.right[i], 0.125f + replaced.right[i]) << i;
  }
}

TEST(BlockFrame, ReplacingLeavesNoTraceOfThePreviousContents) {
  Host host;
  const StereoBuffer in = testSignal(3000);
  const StereoBuffer a = render(host, in, 44100.0f, 256, {256});
  const StereoBuffer b = render(host, in, 44100.0f, 256, {256}, false, 123.0f);
  EXPECT_EQ(a.left, b.left);
  EXPECT_EQ(a.right, b.right);
}

TEST(BlockFrame, InputsAreNeverWritten) {
  Host host;
  const StereoBuffer in = testSignal(3000);
  StereoBuffer copy = in;
  render(host, copy, 96000.0f, 300, {300});
  EXPECT_EQ(copy.left, in.left);
  EXPECT_EQ(copy.right, in.right);
}

TEST(BlockFrame, UnconnectedRightInputIsFedFromTheLeft) {
  Host stereo, mono;
  mono.inputConnected = false;
  StereoBuffer in = testSignal(5000);
  StereoBuffer dup = in;
  dup.right = dup.left;
  const StereoBuffer expected = render(stereo, dup, 44100.0f, 512, {512});
  const StereoBuffer got = render(mono, in, 44100.0f, 512, {512});
  EXPECT_EQ(got.left, expected.left);
  EXPECT_EQ(got.right, expected.right);
  EXPECT_GT(mono.count(audioMasterPinConnected), 0);
}

TEST(BlockFrame, UnconnectedRightOutputGetsTheMeanOnTheLeftAndIsNotTouched) {
  for (bool adding : {false, true}) {
    Host stereo, mono;
    mono.outputConnected = false;
    const StereoBuffer in = testSignal(5000);
    const StereoBuffer both = render(stereo, in, 44100.0f, 512, {512});
    const StereoBuffer got = render(mono, in, 44100.0f, 512, {512}, adding, 0.25f);
    for (int i = 0; i < 5000; ++i) {
      const float mean = static_cast<float>((static_cast<double>(both.left[i]) + both.right[i]) * 0.5);
      ASSERT_EQ(got.left[i], adding ? 0.25f + mean : mean) << i;
      ASSERT_EQ(got.right[i], 0.25f) << i;
    }
  }
}

TEST(BlockFrame, EachBlockAsksForBothPinsOnce) {
  // An odd announced length at half rate is one block too, not two pieces.
  for (auto [rate, block] : {std::pair{44100.0f, 128}, std::pair{96000.0f, 257}}) {
    Host host;
    Plugin plugin(builtModule(), host);
    plugin.start(rate, block);
    StereoBuffer in(block), out(block);
    host.clear();
    for (int b = 0; b < 10; ++b) plugin.processReplacing(in.channels(), out.channels(), b % 2 ? block : 0);
    int inputs = 0, outputs = 0;
    for (const auto& r : host.requests()) {
      ASSERT_EQ(r.opcode, audioMasterPinConnected);
      ASSERT_EQ(r.index, 1);
      (r.value == 0 ? inputs : outputs)++;
    }
    EXPECT_EQ(inputs, 10) << rate;
    EXPECT_EQ(outputs, 10) << rate;
  }
}

TEST(BlockFrame, BlocksLongerThanAnnouncedAreProcessedWhole) {
  // The splitting restarts the tank's anti-denormal offset, so pieces differ at the 1e-8 level only.
  for (float rate : {44100.0f, 96000.0f}) {
    Host host;
    const StereoBuffer in = testSignal(20000);
    const StereoBuffer reference = render(host, in, rate, 4096, {4096});
    const StereoBuffer longer = render(host, in, rate, 64, {4096});
    for (int i = 0; i < 20000; ++i) {
      ASSERT_NEAR(longer.left[i], reference.left[i], 1e-6) << rate << " " << i;
      ASSERT_NEAR(longer.right[i], reference.right[i], 1e-6) << rate << " " << i;
    }
  }
  // At full rate any mix of lengths gives the same signal (at half rate an odd block drops a frame by design).
  Host host;
  const StereoBuffer in = testSignal(20000);
  const StereoBuffer reference = render(host, in, 44100.0f, 4096, {4096});
  const StereoBuffer uneven = render(host, in, 44100.0f, 64, {1000, 3, 0, 77, 4096});
  for (int i = 0; i < 20000; ++i) {
    ASSERT_NEAR(uneven.left[i], reference.left[i], 1e-6) << i;
    ASSERT_NEAR(uneven.right[i], reference.right[i], 1e-6) << i;
  }
}

TEST(BlockFrame, EvenPiecesOfABlockGiveItsSamplesBitForBit) {
  // Even engine pieces keep the offset's alternation; lengths that are no
  // multiple of the vector width leave frames to the one-frame path.
  const struct {
    float rate;
    std::vector<int> pieces;  // adding up to 1024
  } runs[] = {{44100.0f, {2, 6, 10, 62, 250, 694}}, {96000.0f, {4, 12, 20, 60, 252, 676}}};
  for (const auto& run : runs) {
    Host host;
    const StereoBuffer in = testSignal(12000);
    const StereoBuffer whole = render(host, in, run.rate, 1024, {1024});
    const StereoBuffer pieces = render(host, in, run.rate, 1024, run.pieces);
    const auto first = [](const std::vector<float>& a, const std::vector<float>& b) {
      return std::mismatch(a.begin(), a.end(), b.begin()).first - a.begin();
    };
    EXPECT_EQ(first(whole.left, pieces.left), 12000) << run.rate << " Hz: first differing left sample";
    EXPECT_EQ(first(whole.right, pieces.right), 12000) << run.rate << " Hz: first differing right sample";
  }
}

TEST(BlockFrame, MissingBuffersAreSurvived) {
  Host host;
  Plugin plugin(builtModule(), host);
  plugin.start(44100.0f, 64);
  StereoBuffer in(64, 0.5f), out(64);
  plugin.processReplacing(nullptr, out.channels(), 64);
  plugin.processReplacing(in.channels(), nullptr, 64);
  float* noLeft[2] = {nullptr, out.right.data()};
  plugin.process(in.channels(), noLeft, 64);
  float* monoIn[2] = {in.left.data(), nullptr};
  float* monoOut[2] = {out.left.data(), nullptr};
  plugin.processReplacing(monoIn, monoOut, 64);
  plugin.processReplacing(in.channels(), out.channels(), -5);
  for (float v : out.left) EXPECT_TRUE(std::isfinite(v));

  // An empty block needs no buffers, yet it is a block: both pins are asked
  // and Bypass is refreshed from the program (0.7 truncates to 0).
  plugin.setParameter(0, 0.7f);
  ASSERT_EQ(plugin.getParameter(0), 1.0f);
  host.clear();
  plugin.processReplacing(nullptr, nullptr, 0);
  EXPECT_EQ(host.count(audioMasterPinConnected), 2);
  EXPECT_EQ(plugin.getParameter(0), 0.0f);
}

}  // namespace
}  // namespace korro::test
