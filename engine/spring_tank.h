// The spring tank: per channel three recirculating spring lines (delay,
// damping low-pass, three all-passes, a return delay) whose loop gain falls as
// the level inside the channel rises.
#pragma once

#include "engine_memory.h"

namespace korro {

struct SpringLine {
  // forwardDelay and returnDelay share one read position.
  int delayRead = 0;
  int allpass1Read = 0;
  int allpass2Read = 0;
  int allpass3Read = 0;
  float dampState = 0.0f;
  float tapValue = 0.0f;
  float returnValue = 0.0f;
};

struct TankChannel {
  float preLowpassState = 0.0f;
  float dcBlockPrevious = 0.0f;
  float dcBlockState = 0.0f;
  float toneState = 0.0f;
  float levelEnvelope = 0.0f;
  float feedbackGain = 0.0f;
  SpringLine lines[kSpringLines];
};

// Derived once per block from Decay, Damp and the engine rate.
struct TankCoefficients {
  float allpassGain = 0.78f;
  float decayGain = 0.0f;
  float dampCoeff = 0.0f;
  float preLowpassCoeff = 0.0f;
  float dcBlockCoeff = 0.0f;
  float toneCoeff = 0.0f;
  float toneMix = 0.7f;
  float envAttackCoeff = 0.0f;
  float envReleaseCoeff = 0.0f;
};

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
inline constexpr double kTankOutputScale = 0.2968;
// The single-precision value nearest 1e-8; its sign alternates every frame.
inline constexpr double kTankAntiDenormal = static_cast<double>(1e-8f);

class SpringTank {
 public:
  explicit SpringTank(const DelayMemory& memory);

  // Gains, coefficients and every read position for the next block.
  void update(float decay, float damp, double engineRate);

  // frames engine-rate frames from in to out. With feedInput false the input
  // is not read: nothing new enters and the tail rings out.
  void process(const float* const in[2], float* const out[2], int frames, bool feedInput);

  void resetForSuspend();
  void resetForResume();

  const TankCoefficients& coefficients() const { return coeffs_; }
  const TankChannel& channel(int c) const { return channels_[c]; }
  int writePos() const { return writePos_; }

  // Never set in operation; the stages stay for completeness of the network.
  bool preLowpassEnabled = false;
  bool dcBlockEnabled = false;

 private:
  TankLines lines_[2];
  TankChannel channels_[2];
  TankCoefficients coeffs_;
  int writePos_ = kTankRingMask;
};

}  // namespace korro
