// The tail the CLAP and VST3 fronts report, against renders through the
// effect: never shorter than a ring-out after a 0 dBFS input, and for every
// factory program within 2.95 times white noise's (the most is Lo-Fi Drums at
// 44.1 kHz, 2.86): the bound holds the loop gain at its largest, which real
// material lowers even at low levels.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include "shell/reverb_effect.h"
#include "shell/tail.h"

namespace {

std::intptr_t KORRO_CDECL quietHost(AEffect*, std::int32_t opcode, std::int32_t, std::intptr_t, void*, float) {
  return opcode == audioMasterVersion ? 2400 : 0;
}

using Input = std::function<float(std::int64_t frame)>;

struct Render {
  std::int32_t reported;
  std::int64_t last;  // the last frame at or above −120 dBFS after the input, −1 for none
};

// One second of `input` on both channels, then silence until a second past
// the reported tail. `choose` sets the effect's values once it runs.
Render ringOut(float rate, const std::function<void(ReverbEffect&)>& choose, const Input& input) {
  ReverbEffect fx(&quietHost);
  constexpr int kBlock = 512;
  fx.dispatcher(effSetSampleRate, 0, 0, nullptr, rate);
  fx.dispatcher(effSetBlockSize, 0, kBlock, nullptr, 0.0f);
  fx.dispatcher(effMainsChanged, 0, 1, nullptr, 0.0f);
  choose(fx);
  Render r{korro::tailFrames(rate, fx.engineValue(kDecay), fx.engineValue(kDamp), fx.engineValue(kOutput),
                             fx.engineValue(kMix)),
           -1};
  if (r.reported == INT32_MAX) return r;
  const auto length = static_cast<std::int64_t>(rate);
  std::vector<float> left(kBlock), right(kBlock), outLeft(kBlock), outRight(kBlock);
  float* in[2] = {left.data(), right.data()};
  float* out[2] = {outLeft.data(), outRight.data()};
  for (std::int64_t pos = 0; pos < length + r.reported + length; pos += kBlock) {
    for (int i = 0; i < kBlock; ++i) left[i] = right[i] = pos + i < length ? input(pos + i) : 0.0f;
    fx.processReplacing(in, out, kBlock);
    for (int i = 0; i < kBlock; ++i)
      if (pos + i >= length && (std::fabs(outLeft[i]) >= 1e-6f || std::fabs(outRight[i]) >= 1e-6f))
        r.last = pos + i - length;
  }
  return r;
}

Input whiteNoise() {
  auto rng = std::make_shared<std::mt19937>(30);
  return [rng](std::int64_t) { return std::uniform_real_distribution<float>(-1.0f, 1.0f)(*rng); };
}

// Full scale at 3 Hz: the slowest-ringing modes of the loops sit near 0 Hz,
// and this rings up to 1.4 times longer than noise.
Input slowSquare(float rate) {
  return [rate](std::int64_t i) { return std::fmod(i * 3.0 / rate, 1.0) < 0.5 ? 1.0f : -1.0f; };
}

TEST(Tail, EveryFactoryProgramRingsOutWithinItsTailAndNotFarShortOfIt) {
  for (float rate : {44100.0f, 96000.0f}) {
    for (int k = 0; k < korro::kProgramCount; ++k) {
      SCOPED_TRACE(::testing::Message() << rate << " Hz, " << korro::kFactoryPrograms[k].name);
      auto program = [k](ReverbEffect& fx) { fx.setProgram(k); };
      const Render noise = ringOut(rate, program, whiteNoise());
      EXPECT_LE(noise.last, noise.reported);
      EXPECT_LE(noise.reported, 2.95 * static_cast<double>(noise.last));
      const Render square = ringOut(rate, program, slowSquare(rate));
      EXPECT_LE(square.last, square.reported);
    }
  }
}

TEST(Tail, SettingsAtTheEndsOfTheirRangesNeverRingPastTheTail) {
  const struct {
    float rate, decay, damp, output, mix;
  } settings[] = {{44100, 1.0f, 0.0f, 1.0f, 1.0f},     {96000, 1.0f, 1.0f, 1.0f, 1.0f},
                  {44100, 0.0f, 0.0f, 1.0f, 1.0f},     {192000, 0.3f, 0.0f, 1.0f, 1.0f},
                  {48000, 0.76f, 1.0f, 0.5f, 1.0f},    {44100, 0.9f, 0.05f, 0.02f, 0.05f},
                  {88200, 0.6f, 0.0f, 0.001f, 1.0f},   {44100, 0.5f, 0.1f, 0.0f, 1.0f}};
  for (const auto& s : settings) {
    SCOPED_TRACE(::testing::Message() << s.rate << " Hz, decay " << s.decay << ", damp " << s.damp << ", output "
                                      << s.output << ", mix " << s.mix);
    auto values = [&s](ReverbEffect& fx) {
      fx.setParameter(kDecay, s.decay);
      fx.setParameter(kDamp, s.damp);
      fx.setParameter(kOutput, s.output);
      fx.setParameter(kMix, s.mix);
    };
    for (const Input& input : {whiteNoise(), slowSquare(s.rate)}) {
      const Render r = ringOut(s.rate, values, input);
      ASSERT_LT(r.reported, INT32_MAX);
      EXPECT_LE(r.last, r.reported);
      if (s.output > 0.01f) {
        EXPECT_GT(r.last, 0) << "the reverb rings at all";
      }
    }
  }
}

}  // namespace
