// The engine inside the effect: what the block frame hands each stage, and
// what suspend, resume and the flush clear.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "engine/engine_test_support.h"
#include "engine/filter_section.h"
#include "shell/reverb_effect.h"

namespace korro::test {
namespace {

std::intptr_t KORRO_CDECL quietHost(AEffect*, std::int32_t opcode, std::int32_t, std::intptr_t, void*, float) {
  return opcode == audioMasterVersion ? 2400 : 0;
}

// The effect with its flushes counted.
class Spy : public ReverbEffect {
 public:
  Spy() : ReverbEffect(&quietHost) {}
  void flushDelayMemory() override {
    ++flushes;
    ReverbEffect::flushDelayMemory();
  }
  int flushes = 0;
};

struct Effect : ::testing::Test {
  std::unique_ptr<Spy> fx = std::make_unique<Spy>();
  void start(float rate, std::int32_t block) {
    fx->setSampleRate(rate);
    fx->setBlockSize(block);
    fx->resume();
  }
  // Runs frames of in through the effect, replacing, in blocks of at most block.
  void play(StereoBuffer& in, StereoBuffer& out, int frames, int block) {
    for (int done = 0; done < frames; done += block) {
      const int n = std::min(block, frames - done);
      float* i[2] = {in.left.data() + done, in.right.data() + done};
      float* o[2] = {out.left.data() + done, out.right.data() + done};
      fx->processReplacing(i, o, n);
    }
  }
  static StereoBuffer noise(int frames, float level = 0.5f) {
    StereoBuffer s(frames);
    std::mt19937 rng(9);
    std::uniform_real_distribution<float> u(-level, level);
    for (int i = 0; i < frames; ++i) s.left[i] = u(rng), s.right[i] = u(rng);
    return s;
  }
  static double peak(const std::vector<float>& v, int from = 0) {
    double p = 0.0;
    for (std::size_t i = from; i < v.size(); ++i) p = std::max(p, static_cast<double>(std::fabs(v[i])));
    return p;
  }
};

TEST_F(Effect, OnlyABlockOfMoreThanAMillionFramesFlushes) {
  start(44100.0f, 4096);
  const int n = 1000001;
  StereoBuffer in(n), out(n);
  // At full rate nothing but the clearing operations touches the decimator's history.
  float* marker = &const_cast<InputStage&>(fx->getInputStage()).decimator.ring[0][5];
  *marker = 5.0f;
  play(in, out, 1000000, 1000000);
  EXPECT_EQ(fx->flushes, 0);
  EXPECT_EQ(*marker, 5.0f);
  play(in, out, n, n);
  EXPECT_EQ(fx->flushes, 1);
  EXPECT_EQ(*marker, 0.0f);
  EXPECT_EQ(fx->getInputStage().flushCountdown, 0);
  EXPECT_EQ(fx->getInputStage().fadeGainFast, 1.0f) << "the fades have risen again within the block";
  for (int i = 0; i < n; i += 997) ASSERT_TRUE(std::isfinite(out.left[i]));
}

TEST_F(Effect, FlushClearsAllButThreeLinesPerChannelSoTheTankStillRings) {
  start(44100.0f, 512);
  fx->setParameter(kMix, 1.0f);
  StereoBuffer burst = noise(44100), out(44100);
  play(burst, out, 44100, 512);

  const TankState before = fx->getTank().state();
  fx->flushDelayMemory();
  const TankState& after = fx->getTank().state();
  EXPECT_EQ(after.writePos, before.writePos);
  for (int c = 0; c < 2; ++c) {
    for (int n = 0; n < kSpringLines; ++n) {
      EXPECT_EQ(after.channels[c].lines[n].delayRead, before.channels[c].lines[n].delayRead);
      EXPECT_EQ(after.channels[c].lines[n].allpass1Read, before.channels[c].lines[n].allpass1Read);
      EXPECT_EQ(after.channels[c].lines[n].dampState, before.channels[c].lines[n].dampState);
    }
    EXPECT_EQ(after.channels[c].levelEnvelope, before.channels[c].levelEnvelope);
  }
  EXPECT_EQ(fx->getInputStage().fadeGainFast, 0.0f);
  for (int c = 0; c < 2; ++c) {
    for (int k = 0; k < HalfRateRing::kSize; ++k) {
      EXPECT_EQ(fx->getInputStage().decimator.ring[c][k], 0.0f);
      EXPECT_EQ(fx->getOutputStage().interpolator.ring[c][k], 0.0f);
    }
  }

  StereoBuffer silence(22050), tail(22050);
  play(silence, tail, 22050, 512);
  EXPECT_GT(peak(tail.left), 1e-3) << "forward delays 2 and 3 and return delay 1 keep circulating";
  EXPECT_GT(peak(tail.right), 1e-3);

  // Resume, by contrast, empties the tank.
  fx->resume();
  play(silence, tail, 22050, 512);
  EXPECT_LT(peak(tail.left), 1e-6);
}

TEST(DelayMemory, PartialClearKeepsExactlyThreeTankLinesPerChannel) {
  DelayMemory memory;
  auto fillAll = [&] {
    for (int c = 0; c < 2; ++c)
      for (const Ring& r : tankRings(memory.channel(c))) std::fill(r.begin(), r.end(), 7.0f);
  };
  auto all = [](const Ring& r, float v) { return std::all_of(r.begin(), r.end(), [v](float x) { return x == v; }); };
  fillAll();
  memory.clearPartial();
  for (int c = 0; c < 2; ++c) {
    const TankLines& t = memory.channel(c);
    for (const Ring& r : tankRings(t)) {
      const bool kept = r.data == t.forwardDelay[1] || r.data == t.forwardDelay[2] || r.data == t.returnDelay[0];
      EXPECT_TRUE(all(r, kept ? 7.0f : 0.0f)) << c << (kept ? " kept" : " cleared");
    }
  }
  fillAll();
  memory.clearAll();
  for (int c = 0; c < 2; ++c)
    for (const Ring& r : tankRings(memory.channel(c))) EXPECT_TRUE(all(r, 0.0f)) << c;
}

TEST_F(Effect, SuspendAndResumeResetTheirOwnPartsOfTheTank) {
  start(44100.0f, 512);
  StereoBuffer burst = noise(5000), out(5000);
  play(burst, out, 5000, 512);

  TankState& s = fx->getTank().state();
  for (TankChannel& ch : s.channels) {
    ch.preLowpassState = ch.dcBlockPrevious = ch.dcBlockState = 0.5f;
    for (SpringLine& l : ch.lines) l.dampState = 0.25f, l.returnValue = -0.25f;
  }
  fx->resume();
  EXPECT_EQ(s.writePos, 16383);
  for (const TankChannel& ch : s.channels) {
    EXPECT_EQ(ch.levelEnvelope, 0.0f);
    EXPECT_EQ(ch.toneState, 0.0f);
    EXPECT_EQ(ch.preLowpassState, 0.5f) << "resume leaves the optional stages alone";
    for (const SpringLine& l : ch.lines) {
      EXPECT_EQ(l.dampState, 0.0f);
      EXPECT_EQ(l.returnValue, 0.0f);
    }
  }

  play(burst, out, 5000, 512);
  for (TankChannel& ch : s.channels)
    for (SpringLine& l : ch.lines) l.dampState = 0.25f, l.returnValue = -0.25f;
  fx->suspend();
  EXPECT_EQ(s.writePos, 16383);
  EXPECT_EQ(fx->getEngineRate(), 44100.0);
  for (const TankChannel& ch : s.channels) {
    EXPECT_EQ(ch.levelEnvelope, 0.0f);
    EXPECT_EQ(ch.toneState, 0.0f);
    EXPECT_EQ(ch.preLowpassState, 0.0f);
    EXPECT_EQ(ch.dcBlockPrevious, 0.0f);
    EXPECT_EQ(ch.dcBlockState, 0.0f);
    for (const SpringLine& l : ch.lines) {
      EXPECT_EQ(l.dampState, 0.25f) << "suspend leaves damping and return values";
      EXPECT_EQ(l.returnValue, -0.25f);
    }
  }
  EXPECT_EQ(fx->getInputStage().fadeGainFast, 0.0f);
  EXPECT_EQ(fx->getInputStage().fadeGainSlow, 0.0f);
}

TEST_F(Effect, BypassValueBelowOneStopsFeedingTheTank) {
  for (float bypass : {0.0f, 0.7f, 1.0f}) {
    fx = std::make_unique<Spy>();
    start(44100.0f, 512);
    fx->setParameter(kMix, 1.0f);
    fx->setParameter(kBypass, bypass);
    StereoBuffer in = noise(4000), out(4000);
    play(in, out, 4000, 512);
    if (bypass < 1.0f)
      EXPECT_LT(peak(out.left), 1e-6) << bypass << ": the input is not read and the tank stays empty";
    else
      EXPECT_GT(peak(out.left, 1279), 1e-2) << "fed, the tank answers after one forward delay";
  }
}

TEST_F(Effect, BlockCountGrowsOncePerBlockEvenWithoutFrames) {
  start(44100.0f, 512);
  StereoBuffer in(512, 0.5f), out(512);
  float* i[2] = {in.left.data(), in.right.data()};
  float* o[2] = {out.left.data(), out.right.data()};
  fx->meter.blockCount = 0;
  fx->processReplacing(i, o, 0);
  fx->process(i, o, 0);
  EXPECT_EQ(fx->meter.blockCount.load(), 2);
  fx->setParameter(kMix, 0.0f);
  fx->setParameter(kOutput, 1.0f);  // gain 4
  in.left[17] = -0.3f;
  fx->processReplacing(i, o, 512);
  EXPECT_EQ(fx->meter.blockCount.load(), 3);
  EXPECT_EQ(fx->meter.peakLeft.load(), 2.0f);
  EXPECT_EQ(fx->meter.peakRight.load(), 2.0f);
}

TEST_F(Effect, FirstOddBlockAtHalfRateAfterAResizeReadsNoStrayValues) {
  // The interpolator takes one engine frame more than the tank made: it must
  // not be whatever the newly allocated buffer happened to hold.
  for (std::int32_t block : {64, 100, 3000}) {
    fx = std::make_unique<Spy>();
    start(96000.0f, block);
    fx->setParameter(kMix, 1.0f);
    StereoBuffer in(5), out(5);
    play(in, out, 5, 5);
    EXPECT_LT(peak(out.left), 1e-6) << block;
    EXPECT_LT(peak(out.right), 1e-6) << block;
  }
}

TEST(DispersionBank, SuspendRedesignsInPlaceAndResumeMovesToTheEngineRate) {
  ReverbEffect fx(&quietHost);
  EXPECT_EQ(fx.getDispersionSection(-1), nullptr);
  EXPECT_EQ(fx.getDispersionSection(kDispersionSections), nullptr);
  for (int i = 0; i < kDispersionSections; ++i) {
    const FilterSection& s = *fx.getDispersionSection(i);
    EXPECT_EQ(s.type, AllPass);
    EXPECT_EQ(s.sampleRate, 44100.0);
    EXPECT_EQ(s.gainDb, 24.0);
  }

  fx.setSampleRate(96000.0f);
  fx.resume();
  for (int i = 0; i < kDispersionSections; ++i) {
    FilterSection& s = *fx.getDispersionSection(i);
    const FilterSection expected(48000.0, AllPass, kDispersionBank[i].frequency, kDispersionBank[i].q, 24.0);
    ASSERT_EQ(s.sampleRate, 48000.0) << i;
    for (auto [got, want] : {std::pair{s.a1, expected.a1}, {s.a2, expected.a2}, {s.b0, expected.b0}, {s.b2, expected.b2}})
      ASSERT_EQ(got, want) << i;
    s.processSample(0.5);
    s.processSample(-0.25);
  }

  fx.suspend();
  for (int i = 0; i < kDispersionSections; ++i) {
    const FilterSection& s = *fx.getDispersionSection(i);
    EXPECT_EQ(s.sampleRate, 48000.0) << "suspend keeps each section's rate";
    for (double v : {s.xIn, s.x1, s.x2, s.y, s.y1, s.y2}) EXPECT_EQ(v, 0.0) << i;
  }
}

}  // namespace
}  // namespace korro::test
