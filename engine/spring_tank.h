// The spring tank: per channel three recirculating spring lines (delay,
// damping low-pass, three all-passes, a return delay) whose loop gain falls as
// the level inside the channel rises.
#pragma once

#include <cmath>
#include <cstdint>

#include "engine_memory.h"
#include "isa.h"
#include "tank_state.h"

namespace korro {

// Line lengths in units: delays in lengthUnit (44.1 samples), allpass1 in
// allpassUnit (2.31 lengthUnits); allpass2 and allpass3 are 0.61774 and
// 1.61774 times allpass1.
struct SpringLineLayout {
  double delayFactor;
  double allpassFactor;
};
inline constexpr SpringLineLayout kTankLayout[2][kSpringLines] = {
    {{29.0, 0.92}, {34.0, 1.08}, {38.0, 1.21}},
    {{29.2, 0.93}, {33.7, 1.06}, {38.1, 1.22}},
};
inline constexpr double kLengthUnit = 44.1;
inline constexpr double kAllpassUnit = 2.31 * kLengthUnit;
inline constexpr double kAllpass2Ratio = 0.61774;
inline constexpr double kAllpass3Ratio = 1.61774;

// The loop's gain factor for a Decay value, as the tank stores it.
inline float decayGainFor(float decay) {
  return static_cast<float>(std::pow(1.5, std::sqrt(static_cast<double>(decay))) * 0.6666);
}

class SpringTank {
 public:
  using Isa = korro::Isa;
  static bool available(Isa isa) { return isaAvailable(isa); }
  static Isa best() { return bestIsa(); }

  explicit SpringTank(const DelayMemory& memory);

  // Gains, coefficients and every read position for the next block.
  void update(float decay, float damp, double engineRate);

  // frames engine-rate frames from in to out. With feedInput false the input
  // is not read: nothing new enters and the tail rings out.
  void process(const float* const in[2], float* const out[2], int frames, bool feedInput) {
    kernel_(state_, lines_, in, out, frames, feedInput);
  }

  void resetForSuspend();
  void resetForResume();

  // Picks the network's form; an unavailable one is refused.
  bool useIsa(Isa isa);
  Isa isa() const { return isa_; }

  const TankCoefficients& coefficients() const { return state_.coeffs; }
  const TankChannel& channel(int c) const { return state_.channels[c]; }
  int writePos() const { return state_.writePos; }
  const TankLines& lines(int c) const { return lines_[c]; }
  // The whole running state, open for tools and tests that set up odd states.
  TankState& state() { return state_; }
  const TankState& state() const { return state_; }

 private:
  // The update's powers as last derived, and the inputs they came from.
  struct Derived {
    bool valid = false;
    std::uint32_t decayBits = 0;
    std::uint64_t rateBits = 0;
    float decayGain = 0.0f;
    float preLowpassCoeff = 0.0f;
    float dcBlockCoeff = 0.0f;
    float toneCoeff = 0.0f;
    float envAttackCoeff = 0.0f;
    float envReleaseCoeff = 0.0f;
  };

  TankLines lines_[2];
  TankState state_;
  Derived derived_;
  TankKernel kernel_ = nullptr;
  Isa isa_ = Isa::Plain;
};

}  // namespace korro
