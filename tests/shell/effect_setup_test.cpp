// Set-up of the engine as resume and suspend leave it, seen from inside the effect.
#include <gtest/gtest.h>


#include "shell/reverb_effect.h"

namespace {

std::intptr_t KORRO_CDECL quietHost(AEffect*, std::int32_t opcode, std::int32_t, std::intptr_t, void*, float) {
  return opcode == audioMasterVersion ? 2400 : 0;
}

struct Effect : ::testing::Test {
  ReverbEffect fx{&quietHost};
  void resumeWith(float rate, std::int32_t block) {
    fx.dispatcher(effSetSampleRate, 0, 0, nullptr, rate);
    fx.dispatcher(effSetBlockSize, 0, block, nullptr, 0.0f);
    fx.dispatcher(effMainsChanged, 0, 1, nullptr, 0.0f);
  }
};

TEST_F(Effect, NewEffectSitsSuspendedAt44100) {
  EXPECT_EQ(fx.getSampleRate(), 44100.0f);
  EXPECT_EQ(fx.getBlockSize(), 1024);
  EXPECT_EQ(fx.getScratchFrames(), 1024);
  EXPECT_EQ(fx.getEngineRate(), 44100.0);
  EXPECT_EQ(fx.getDecimation(), 0);
}

TEST_F(Effect, HostRateDecidesEngineRateAndDecimation) {
  struct Case {
    float host;
    double engine;
    int decimation;
  } cases[] = {
      {44100, 44100, 0},   {48000, 48000, 0},     {50000, 50000, 0},   {50001, 25000.5, 1},
      {88200, 44100, 1},   {96000, 48000, 1},     {176400, 88200, 1},  {192000, 96000, 1},
      {200000, 100000, 1}, {16000, 44100, 0},     {19999, 44100, 0},   {200001, 44100, 0},
      {250000, 44100, 0},  {1, 44100, 0},         {1e7f, 44100, 0},    {-48000, 44100, 0},
      {0, 44100, 0},       {__builtin_nanf(""), 44100, 0}, {__builtin_inff(), 44100, 0},
  };
  for (const Case& c : cases) {
    resumeWith(c.host, 512);
    EXPECT_EQ(fx.getEngineRate(), c.engine) << c.host;
    EXPECT_EQ(fx.getDecimation(), c.decimation) << c.host;
    fx.suspend();
    EXPECT_EQ(fx.getEngineRate(), 44100.0) << "suspend resets the rate";
    EXPECT_EQ(fx.getDecimation(), c.decimation) << "but keeps the decimation";
  }
}

TEST_F(Effect, HostValuesCountOnlyTheirLow32Bits) {
  // Through the entry function, as a 64-bit host calls it.
  AEffect* e = fx.getAeffect();
  auto dispatch = [e](std::int32_t opcode, std::int64_t value, float opt = 0.0f) {
    return e->dispatcher(e, opcode, 0, static_cast<std::intptr_t>(value), nullptr, opt);
  };
  constexpr std::int64_t high = std::int64_t{1} << 32;
  static_assert(sizeof(std::intptr_t) == 8, "the test needs a 64-bit value");

  dispatch(effSetBlockSizeAndSampleRate, high + 4096, 96000.0f);
  dispatch(effMainsChanged, 7);  // any non-zero value resumes
  EXPECT_EQ(fx.getScratchFrames(), 4096);
  EXPECT_EQ(fx.getEngineRate(), 48000.0);
  EXPECT_EQ(fx.getDecimation(), 1);

  dispatch(effMainsChanged, high);  // low half 0: suspend
  EXPECT_EQ(fx.getEngineRate(), 44100.0);
  dispatch(effSetBlockSize, high + 2048);
  dispatch(effMainsChanged, -1);
  EXPECT_EQ(fx.getScratchFrames(), 2048);
  EXPECT_EQ(fx.getEngineRate(), 48000.0);

  dispatch(effSetProgram, high + 2);
  EXPECT_EQ(fx.getProgram(), 2);
  dispatch(effSetProgram, high + 9);
  EXPECT_EQ(fx.getProgram(), 2) << "program 9 does not exist";
  dispatch(effSetProgram, -high + 3);
  EXPECT_EQ(fx.getProgram(), 3);
}

TEST_F(Effect, AtNinetySixKilohertzTheTankRunsOnFortyEightKilohertzCoefficients) {
  resumeWith(96000.0f, 64);
  float in[2][64] = {}, out[2][64] = {};
  float* i[2] = {in[0], in[1]};
  float* o[2] = {out[0], out[1]};
  fx.processReplacing(i, o, 64);
  const korro::TankCoefficients& k = fx.getTank().coefficients();
  EXPECT_NEAR(k.preLowpassCoeff, 0.41352, 5e-6);
  EXPECT_NEAR(k.dcBlockCoeff, 0.97817, 5e-6);
  EXPECT_NEAR(k.toneCoeff, 0.80191, 5e-6);
  EXPECT_NEAR(k.envAttackCoeff, 0.89549, 5e-6);
  EXPECT_NEAR(k.envReleaseCoeff, 0.99890, 5e-6);
}

TEST_F(Effect, BlockSizeSizesTheScratchBuffers) {
  struct Case {
    std::int32_t block;
    int frames;
  } cases[] = {{2048, 2048}, {32, 32},   {16, 65536},     {0, 65536},
               {-1, 65536},  {1 << 20, 1 << 20}, {(1 << 20) + 1, 65536}, {333, 333}};
  for (const Case& c : cases) {
    resumeWith(44100, c.block);
    EXPECT_EQ(fx.getScratchFrames(), c.frames) << c.block;
  }
}

TEST_F(Effect, MeterHoldCountsTheBlocksOfTwoSeconds) {
  struct Case {
    float rate;
    std::int32_t block;
    int hold;
  } cases[] = {{44100, 512, 172}, {96000, 512, 375}, {44100, 0, 344}, {44100, 5000, 344}, {48000, 4096, 23}};
  for (const Case& c : cases) {
    resumeWith(c.rate, c.block);
    EXPECT_EQ(fx.meter.meterHoldBlocks.load(), c.hold) << c.rate << " " << c.block;
  }
  fx.suspend();
  EXPECT_EQ(fx.meter.meterHoldBlocks.load(), 100);
}

TEST_F(Effect, SuspendClearsTheMeterResumeLeavesIt) {
  fx.meter.peakLeft = 0.5f;
  fx.meter.peakRight = 0.25f;
  fx.meter.blockCount = 9;
  fx.meter.heldPeak = 0.7;
  fx.meter.meterHoldCount = 3;
  resumeWith(44100, 512);
  EXPECT_EQ(fx.meter.peakLeft.load(), 0.5f);
  EXPECT_EQ(fx.meter.blockCount.load(), 9);
  EXPECT_EQ(fx.meter.heldPeak.load(), 0.7);
  fx.suspend();
  EXPECT_EQ(fx.meter.peakLeft.load(), 0.0f);
  EXPECT_EQ(fx.meter.peakRight.load(), 0.0f);
  EXPECT_EQ(fx.meter.blockCount.load(), 0);
  EXPECT_EQ(fx.meter.heldPeak.load(), 0.0);
  EXPECT_EQ(fx.meter.meterHoldCount.load(), 0);
}

TEST(Float2String, DigitsAreTruncatedWithinEightCharacters) {
  struct Case {
    float value;
    const char* text;
  } cases[] = {
      {50.0f, "50.00000"},         {100.0f, "100.0000"},       {0.0f, "0.000000"},     {0.0099999998f, "0.009999"},
      {-0.5f, "-0.50000"},         {-6.0206f, "-6.02059"},     {12345679.0f, "2345679."}, {9999999.0f, "9999999."},
      {1.5f, "1.500000"},          {-9999999.0f, "-999999."},
  };
  for (const Case& c : cases) {
    char text[32] = "untouched";
    AudioEffect::float2string(c.value, text);
    EXPECT_STREQ(text, c.text) << c.value;
  }
  for (float outside : {-10000000.0f, 100000000.0f, __builtin_nanf("")}) {
    char text[32] = "untouched";
    AudioEffect::float2string(outside, text);
    EXPECT_STREQ(text, "untouched") << outside;
  }
}

}  // namespace
