#include "spring_tank.h"

#include <cmath>

namespace korro {

namespace {

// One-pole coefficient: the state covers 99.5 % of a step in 1/f seconds.
float onePole(double f, double r) { return static_cast<float>(std::pow(0.005, f * r)); }

int readPosition(int writePos, double length) {
  return static_cast<int>(writePos - length + kTankRingSize) & kTankRingMask;
}

}  // namespace

SpringTank::SpringTank(const DelayMemory& memory) {
  for (int c = 0; c < 2; ++c) lines_[c] = memory.channel(c);
}

void SpringTank::update(float decay, float damp, double engineRate) {
  writePos_ &= kTankRingMask;
  coeffs_.allpassGain = 0.78f;
  coeffs_.decayGain = static_cast<float>(std::pow(1.5, std::sqrt(static_cast<double>(decay))) * 0.6666);
  coeffs_.dampCoeff = static_cast<float>((1.0 - damp) * 0.8 + 0.2);
  const double r = 1.0 / engineRate;
  coeffs_.preLowpassCoeff = onePole(8000.0, r);
  coeffs_.dcBlockCoeff = onePole(200.0, r);
  coeffs_.toneCoeff = onePole(2000.0, r);
  coeffs_.toneMix = 0.7f;
  coeffs_.envAttackCoeff = onePole(1000.0, r);
  coeffs_.envReleaseCoeff = onePole(10.0, r);

  for (int c = 0; c < 2; ++c) {
    for (int k = 0; k < kSpringLines; ++k) {
      const SpringLineLayout& layout = kTankLayout[c][k];
      SpringLine& line = channels_[c].lines[k];
      line.delayRead = readPosition(writePos_, layout.delayFactor * kLengthUnit);
      line.allpass1Read = readPosition(writePos_, layout.allpassFactor * kAllpassUnit);
      line.allpass2Read = readPosition(writePos_, layout.allpassFactor * kAllpass2Ratio * kAllpassUnit);
      line.allpass3Read = readPosition(writePos_, layout.allpassFactor * kAllpass3Ratio * kAllpassUnit);
    }
  }
}

void SpringTank::resetForSuspend() {
  writePos_ = kTankRingMask;
  for (TankChannel& ch : channels_) {
    ch.levelEnvelope = 0.0f;
    ch.toneState = 0.0f;
    ch.preLowpassState = 0.0f;
    ch.dcBlockPrevious = 0.0f;
    ch.dcBlockState = 0.0f;
  }
}

void SpringTank::resetForResume() {
  writePos_ = kTankRingMask;
  for (TankChannel& ch : channels_) {
    ch.levelEnvelope = 0.0f;
    ch.toneState = 0.0f;
    for (SpringLine& line : ch.lines) {
      line.dampState = 0.0f;
      line.returnValue = 0.0f;
    }
  }
}

void SpringTank::process(const float* const in[2], float* const out[2], int frames, bool feedInput) {
  if (frames <= 0) return;
  const double g = coeffs_.allpassGain;
  const double decayGain = coeffs_.decayGain;
  const double dampCoeff = coeffs_.dampCoeff;
  const double toneCoeff = coeffs_.toneCoeff;
  const double toneMix = coeffs_.toneMix;
  double o = kTankAntiDenormal;

  for (int i = 0; i < frames; ++i) {
    const int w = writePos_;
    double x[2];
    for (int c = 0; c < 2; ++c) x[c] = feedInput ? o + in[c][i] : o;
    o = -o;

    for (int c = 0; c < 2; ++c) {
      TankChannel& ch = channels_[c];
      double v = x[c];
      if (preLowpassEnabled) {
        ch.preLowpassState = static_cast<float>((ch.preLowpassState - v) * coeffs_.preLowpassCoeff + v);
        v = ch.preLowpassState;
      }
      if (dcBlockEnabled) {
        const double k = (1.0 + coeffs_.dcBlockCoeff) * 0.5;
        ch.dcBlockState =
            static_cast<float>((v - ch.dcBlockPrevious) * k + static_cast<double>(coeffs_.dcBlockCoeff) * ch.dcBlockState);
        ch.dcBlockPrevious = static_cast<float>(v);
        v = ch.dcBlockState;
      }
      ch.toneState = static_cast<float>((ch.toneState - v) * toneCoeff + v);
      x[c] = ch.toneState + (v - ch.toneState) * toneMix;
    }

    double forward[2][kSpringLines];
    for (int c = 0; c < 2; ++c) {
      TankChannel& ch = channels_[c];
      for (int k = 0; k < kSpringLines; ++k) forward[c][k] = lines_[c].forwardDelay[k][ch.lines[k].delayRead];
      const double e = std::fabs(forward[c][0] + forward[c][1] + forward[c][2]);
      const double env = ch.levelEnvelope;
      const double coeff = e > env ? coeffs_.envAttackCoeff : coeffs_.envReleaseCoeff;
      ch.levelEnvelope = static_cast<float>((env - e) * coeff + e);
    }
    for (int c = 0; c < 2; ++c) {
      TankChannel& ch = channels_[c];
      const double q = std::sqrt(std::sqrt(1.0 / (1.0 + std::sqrt(std::sqrt(static_cast<double>(ch.levelEnvelope))))));
      ch.feedbackGain = static_cast<float>((q + (0.95 - q) * 0.3) * decayGain);
    }

    for (int c = 0; c < 2; ++c) lines_[c].dryHistory[w] = static_cast<float>(x[c]);

    for (int c = 0; c < 2; ++c) {
      TankChannel& ch = channels_[c];
      for (int k = 0; k < kSpringLines; ++k) {
        SpringLine& line = ch.lines[k];
        line.dampState = static_cast<float>(line.dampState + (forward[c][k] - line.dampState) * dampCoeff + o);
      }
      for (int k = 0; k < kSpringLines; ++k)
        ch.lines[k].returnValue = lines_[c].returnDelay[k][ch.lines[k].delayRead];
    }

    for (int c = 0; c < 2; ++c) {
      TankChannel& ch = channels_[c];
      const TankLines& mem = lines_[c];
      const double G = ch.feedbackGain;
      for (int k = 0; k < kSpringLines; ++k) {
        SpringLine& line = ch.lines[k];
        double v = mem.allpass1[k][line.allpass1Read];
        double u = g * v - line.dampState;
        mem.allpass1[k][w] = static_cast<float>(u);
        line.tapValue = static_cast<float>(v - g * u);

        v = mem.allpass2[k][line.allpass2Read];
        u = g * v + line.tapValue;
        mem.allpass2[k][w] = static_cast<float>(u);
        mem.returnDelay[k][w] = static_cast<float>(v - g * u);

        v = mem.allpass3[k][line.allpass3Read];
        u = g * v + line.returnValue;
        mem.allpass3[k][w] = static_cast<float>(u);
        const double z = v - g * u;

        mem.forwardDelay[k][w] = static_cast<float>(z * G + x[c]);
      }
    }

    for (int c = 0; c < 2; ++c) {
      const SpringLine* l = channels_[c].lines;
      out[c][i] = static_cast<float>((static_cast<double>(l[0].tapValue) + l[1].tapValue + l[2].tapValue) *
                                     kTankOutputScale);
    }

    writePos_ = (w + 1) & kTankRingMask;
    for (TankChannel& ch : channels_) {
      for (SpringLine& line : ch.lines) {
        line.delayRead = (line.delayRead + 1) & kTankRingMask;
        line.allpass1Read = (line.allpass1Read + 1) & kTankRingMask;
        line.allpass2Read = (line.allpass2Read + 1) & kTankRingMask;
        line.allpass3Read = (line.allpass3Read + 1) & kTankRingMask;
      }
    }
  }
}

}  // namespace korro
