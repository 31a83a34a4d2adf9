#include "reference_tank.h"

#include <cmath>

namespace korro::test {

void referenceTankProcess(TankState& s, const TankLines lines[2], const float* const in[2], float* const out[2],
                          int frames, bool feedInput) {
  if (frames <= 0) return;
  const TankCoefficients& k = s.coeffs;
  const double g = k.allpassGain;
  const double decayGain = k.decayGain;
  const double dampCoeff = k.dampCoeff;
  const double toneCoeff = k.toneCoeff;
  const double toneMix = k.toneMix;
  double o = kTankAntiDenormal;

  for (int i = 0; i < frames; ++i) {
    const int w = s.writePos;
    double x[2];
    for (int c = 0; c < 2; ++c) x[c] = feedInput ? o + in[c][i] : o;
    o = -o;

    for (int c = 0; c < 2; ++c) {
      TankChannel& ch = s.channels[c];
      double v = x[c];
      if (s.preLowpassEnabled) {
        ch.preLowpassState = static_cast<float>((ch.preLowpassState - v) * k.preLowpassCoeff + v);
        v = ch.preLowpassState;
      }
      if (s.dcBlockEnabled) {
        const double gain = (1.0 + k.dcBlockCoeff) * 0.5;
        ch.dcBlockState = static_cast<float>((v - ch.dcBlockPrevious) * gain +
                                             static_cast<double>(k.dcBlockCoeff) * ch.dcBlockState);
        ch.dcBlockPrevious = static_cast<float>(v);
        v = ch.dcBlockState;
      }
      ch.toneState = static_cast<float>((ch.toneState - v) * toneCoeff + v);
      x[c] = ch.toneState + (v - ch.toneState) * toneMix;
    }

    double forward[2][kSpringLines];
    for (int c = 0; c < 2; ++c) {
      TankChannel& ch = s.channels[c];
      for (int n = 0; n < kSpringLines; ++n) forward[c][n] = lines[c].forwardDelay[n][ch.lines[n].delayRead & kDelayRingMask];
      const double e = std::fabs(forward[c][0] + forward[c][1] + forward[c][2]);
      const double env = ch.levelEnvelope;
      const double coeff = e > env ? k.envAttackCoeff : k.envReleaseCoeff;
      ch.levelEnvelope = static_cast<float>((env - e) * coeff + e);
    }
    for (int c = 0; c < 2; ++c) {
      TankChannel& ch = s.channels[c];
      const double q =
          std::sqrt(std::sqrt(1.0 / (1.0 + std::sqrt(std::sqrt(static_cast<double>(ch.levelEnvelope))))));
      ch.feedbackGain = static_cast<float>((q + (0.95 - q) * 0.3) * decayGain);
    }

    for (int c = 0; c < 2; ++c) {
      TankChannel& ch = s.channels[c];
      for (int n = 0; n < kSpringLines; ++n) {
        SpringLine& line = ch.lines[n];
        line.dampState = static_cast<float>(line.dampState + (forward[c][n] - line.dampState) * dampCoeff + o);
      }
      for (int n = 0; n < kSpringLines; ++n)
        ch.lines[n].returnValue = lines[c].returnDelay[n][ch.lines[n].delayRead & kDelayRingMask];
    }

    for (int c = 0; c < 2; ++c) {
      TankChannel& ch = s.channels[c];
      const TankLines& mem = lines[c];
      const double G = ch.feedbackGain;
      for (int n = 0; n < kSpringLines; ++n) {
        SpringLine& line = ch.lines[n];
        double v = mem.allpass1[n][line.allpass1Read & kAllpassRingMask];
        double u = g * v - line.dampState;
        mem.allpass1[n][w & kAllpassRingMask] = static_cast<float>(u);
        line.tapValue = static_cast<float>(v - g * u);

        v = mem.allpass2[n][line.allpass2Read & kAllpassRingMask];
        u = g * v + line.tapValue;
        mem.allpass2[n][w & kAllpassRingMask] = static_cast<float>(u);
        mem.returnDelay[n][w & kDelayRingMask] = static_cast<float>(v - g * u);

        v = mem.allpass3[n][line.allpass3Read & kAllpassRingMask];
        u = g * v + line.returnValue;
        mem.allpass3[n][w & kAllpassRingMask] = static_cast<float>(u);
        const double z = v - g * u;

        mem.forwardDelay[n][w & kDelayRingMask] = static_cast<float>(z * G + x[c]);
      }
    }

    for (int c = 0; c < 2; ++c) {
      const SpringLine* l = s.channels[c].lines;
      out[c][i] = static_cast<float>((static_cast<double>(l[0].tapValue) + l[1].tapValue + l[2].tapValue) *
                                     kTankOutputScale);
    }

    s.writePos = (w + 1) & kTankPositionMask;
    for (TankChannel& ch : s.channels) {
      for (SpringLine& line : ch.lines) {
        line.delayRead = (line.delayRead + 1) & kTankPositionMask;
        line.allpass1Read = (line.allpass1Read + 1) & kTankPositionMask;
        line.allpass2Read = (line.allpass2Read + 1) & kTankPositionMask;
        line.allpass3Read = (line.allpass3Read + 1) & kTankPositionMask;
      }
    }
  }
}

}  // namespace korro::test
