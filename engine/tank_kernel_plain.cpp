// The spring tank's network in its plain form: one frame at a time, one line
// after another, in the order of the tank's steps. This is the place to learn
// what happens to a sample; the vectorised kernels are an optimisation of it
// and are tested to give the same bits.
//
// Arithmetic runs in double precision; everything stored (ring entries and
// states) is rounded to float at the store.
#include <cmath>

#include "tank_state.h"

namespace korro::tank_kernels {
namespace {

// One-pole low-pass toward x, in the form y <- (y - x)·c + x.
double settle(float& state, double x, double coeff) {
  state = static_cast<float>((state - x) * coeff + x);
  return state;
}

// A Schroeder all-pass on a ring: stores u = g·v + input, where v is the
// delayed value, and answers v - g·u.
double allpass(float* ring, int mask, std::int32_t readPos, std::int32_t writePos, double g, double input) {
  const double v = ring[readPos & mask];
  const double u = g * v + input;
  ring[writePos & mask] = static_cast<float>(u);
  return v - g * u;
}

// The optional pre-lowpass and DC block (nothing enables them in operation),
// then the tone stage, which takes the highest frequencies down towards 0.7.
double condition(TankChannel& ch, const TankState& s, double x) {
  const TankCoefficients& k = s.coeffs;
  if (s.preLowpassEnabled) x = settle(ch.preLowpassState, x, k.preLowpassCoeff);
  if (s.dcBlockEnabled) {
    const double gain = (1.0 + k.dcBlockCoeff) * 0.5;
    ch.dcBlockState =
        static_cast<float>((x - ch.dcBlockPrevious) * gain + static_cast<double>(k.dcBlockCoeff) * ch.dcBlockState);
    ch.dcBlockPrevious = static_cast<float>(x);
    x = ch.dcBlockState;
  }
  const double lp = settle(ch.toneState, x, k.toneCoeff);
  return lp + (x - lp) * k.toneMix;
}

// The louder the channel's tank, the lower its loop gain: from 0.985 of
// decayGain when empty towards 0.285. Each fourth root is two square roots.
float loopGain(float envelope, double decayGain) {
  const double q = std::sqrt(std::sqrt(1.0 / (1.0 + std::sqrt(std::sqrt(static_cast<double>(envelope))))));
  return static_cast<float>((q + (0.95 - q) * 0.3) * decayGain);
}

void advance(TankState& s) {
  s.writePos = (s.writePos + 1) & kTankPositionMask;
  for (TankChannel& ch : s.channels) {
    for (SpringLine& line : ch.lines) {
      line.delayRead = (line.delayRead + 1) & kTankPositionMask;
      line.allpass1Read = (line.allpass1Read + 1) & kTankPositionMask;
      line.allpass2Read = (line.allpass2Read + 1) & kTankPositionMask;
      line.allpass3Read = (line.allpass3Read + 1) & kTankPositionMask;
    }
  }
}

}  // namespace

void processPlain(TankState& s, const TankLines lines[2], const float* const in[2], float* const out[2], int frames,
                  bool feedInput) {
  const TankCoefficients& k = s.coeffs;
  const double g = k.allpassGain;
  // Keeps every state clear of subnormal numbers; its sign alternates each
  // frame and it restarts positive with every call.
  double offset = kTankAntiDenormal;

  for (int i = 0; i < frames; ++i) {
    const std::int32_t w = s.writePos;

    // Input. Unfed, the input is not read and the tank rings out.
    double x[2];
    for (int c = 0; c < 2; ++c) x[c] = feedInput ? offset + in[c][i] : offset;
    offset = -offset;
    for (int c = 0; c < 2; ++c) x[c] = condition(s.channels[c], s, x[c]);

    // Level envelope from what leaves the three forward delays (fast attack,
    // slow release), and the loop gain it sets.
    double forward[2][kSpringLines];
    for (int c = 0; c < 2; ++c) {
      TankChannel& ch = s.channels[c];
      for (int n = 0; n < kSpringLines; ++n) forward[c][n] = lines[c].forwardDelay[n][ch.lines[n].delayRead & kDelayRingMask];
      const double e = std::fabs(forward[c][0] + forward[c][1] + forward[c][2]);
      settle(ch.levelEnvelope, e, e > ch.levelEnvelope ? k.envAttackCoeff : k.envReleaseCoeff);
    }
    for (TankChannel& ch : s.channels) ch.feedbackGain = loopGain(ch.levelEnvelope, k.decayGain);

    // Damping low-pass after each forward delay, and the return delays' outputs,
    // all read before anything is written this frame.
    for (int c = 0; c < 2; ++c) {
      TankChannel& ch = s.channels[c];
      for (int n = 0; n < kSpringLines; ++n) {
        SpringLine& line = ch.lines[n];
        line.dampState = static_cast<float>(line.dampState + (forward[c][n] - line.dampState) * k.dampCoeff + offset);
      }
      for (int n = 0; n < kSpringLines; ++n)
        ch.lines[n].returnValue = lines[c].returnDelay[n][ch.lines[n].delayRead & kDelayRingMask];
    }

    // Each spring line: the damped signal enters allpass1 inverted, its output
    // is the line's tap; allpass2 feeds the return delay; allpass3 takes the
    // return delay's output and closes the loop into the forward delay.
    for (int c = 0; c < 2; ++c) {
      TankChannel& ch = s.channels[c];
      const TankLines& ring = lines[c];
      for (int n = 0; n < kSpringLines; ++n) {
        SpringLine& line = ch.lines[n];
        line.tapValue = static_cast<float>(
            allpass(ring.allpass1[n], kAllpassRingMask, line.allpass1Read, w, g, -static_cast<double>(line.dampState)));
        ring.returnDelay[n][w & kDelayRingMask] =
            static_cast<float>(allpass(ring.allpass2[n], kAllpassRingMask, line.allpass2Read, w, g, line.tapValue));
        const double z = allpass(ring.allpass3[n], kAllpassRingMask, line.allpass3Read, w, g, line.returnValue);
        ring.forwardDelay[n][w & kDelayRingMask] = static_cast<float>(z * ch.feedbackGain + x[c]);
      }
    }

    for (int c = 0; c < 2; ++c) {
      const SpringLine* l = s.channels[c].lines;
      out[c][i] = static_cast<float>((static_cast<double>(l[0].tapValue) + l[1].tapValue + l[2].tapValue) *
                                     kTankOutputScale);
    }
    advance(s);
  }
}

}  // namespace korro::tank_kernels
