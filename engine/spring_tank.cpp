#include "spring_tank.h"

#include <bit>
#include <cmath>

namespace korro {

namespace {

// One-pole coefficient: the state covers 99.5 % of a step in 1/f seconds.
float onePole(double f, double r) { return static_cast<float>(std::pow(0.005, f * r)); }

int readPosition(int writePos, double length) {
  return static_cast<int>(writePos - length + kTankPositions) & kTankPositionMask;
}

}  // namespace

bool SpringTank::useIsa(Isa isa) {
  if (!available(isa)) return false;
  isa_ = isa;
#if KORRO_X86_KERNELS
  constexpr TankKernel kernels[] = {tank_kernels::processPlain, tank_kernels::processSse2, tank_kernels::processAvx2};
  kernel_ = kernels[static_cast<int>(isa)];
#else
  kernel_ = tank_kernels::processPlain;
#endif
  return true;
}

SpringTank::SpringTank(const DelayMemory& memory) {
  for (int c = 0; c < 2; ++c) lines_[c] = memory.channel(c);
  useIsa(best());
}

void SpringTank::update(float decay, float damp, double engineRate) {
  state_.writePos &= kTankPositionMask;
  // The powers are the costly part of a short block; each is derived again
  // only when its input changed, compared bit for bit, so the results are
  // those of deriving them every time.
  Derived& d = derived_;
  if (!d.valid || std::bit_cast<std::uint32_t>(decay) != d.decayBits) {
    d.decayGain = decayGainFor(decay);
    d.decayBits = std::bit_cast<std::uint32_t>(decay);
  }
  if (!d.valid || std::bit_cast<std::uint64_t>(engineRate) != d.rateBits) {
    const double r = 1.0 / engineRate;
    d.preLowpassCoeff = onePole(8000.0, r);
    d.dcBlockCoeff = onePole(200.0, r);
    d.toneCoeff = onePole(2000.0, r);
    d.envAttackCoeff = onePole(1000.0, r);
    d.envReleaseCoeff = onePole(10.0, r);
    d.rateBits = std::bit_cast<std::uint64_t>(engineRate);
  }
  d.valid = true;

  TankCoefficients& k = state_.coeffs;
  k.allpassGain = 0.78f;
  k.decayGain = d.decayGain;
  k.dampCoeff = static_cast<float>((1.0 - damp) * 0.8 + 0.2);
  k.preLowpassCoeff = d.preLowpassCoeff;
  k.dcBlockCoeff = d.dcBlockCoeff;
  k.toneCoeff = d.toneCoeff;
  k.toneMix = 0.7f;
  k.envAttackCoeff = d.envAttackCoeff;
  k.envReleaseCoeff = d.envReleaseCoeff;

  const int w = state_.writePos;
  for (int c = 0; c < 2; ++c) {
    for (int n = 0; n < kSpringLines; ++n) {
      const SpringLineLayout& layout = kTankLayout[c][n];
      SpringLine& line = state_.channels[c].lines[n];
      line.delayRead = readPosition(w, layout.delayFactor * kLengthUnit);
      line.allpass1Read = readPosition(w, layout.allpassFactor * kAllpassUnit);
      line.allpass2Read = readPosition(w, layout.allpassFactor * kAllpass2Ratio * kAllpassUnit);
      line.allpass3Read = readPosition(w, layout.allpassFactor * kAllpass3Ratio * kAllpassUnit);
    }
  }
}

void SpringTank::resetForSuspend() {
  state_.writePos = kTankPositionMask;
  for (TankChannel& ch : state_.channels) {
    ch.levelEnvelope = 0.0f;
    ch.toneState = 0.0f;
    ch.preLowpassState = 0.0f;
    ch.dcBlockPrevious = 0.0f;
    ch.dcBlockState = 0.0f;
  }
}

void SpringTank::resetForResume() {
  state_.writePos = kTankPositionMask;
  for (TankChannel& ch : state_.channels) {
    ch.levelEnvelope = 0.0f;
    ch.toneState = 0.0f;
    for (SpringLine& line : ch.lines) {
      line.dampState = 0.0f;
      line.returnValue = 0.0f;
    }
  }
}

}  // namespace korro
