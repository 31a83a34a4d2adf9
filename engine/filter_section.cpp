#include "filter_section.h"

#include <cmath>

namespace korro {

namespace {
constexpr double kTwoPi = 6.283185307179586;
}

// Chains A and B interleaved, then ladders A and B (sixth-octave steps over two octaves).
const DispersionTuning kDispersionBank[kDispersionSections] = {
    {100, 0.3},
    {105, 0.3},
    {406, 0.6},
    {400, 0.6},
    {1600, 1.2},
    {1603, 1.2},
    {5204, 2.4},
    {5200, 2.4},
    {7127.189745122714, 0.5},
    {6381.352228912162, 0.5},
    {5656.85424949238, 0.5},
    {5064.88262057739, 0.5},
    {4489.8481932374925, 0.5},
    {4020, 0.5},
    {3563.594872561357, 0.5},
    {3190.676114456081, 0.5},
    {2828.42712474619, 0.5},
    {2532.441310288695, 0.5},
    {2244.9240966187463, 0.5},
    {2010, 0.5},
    {7162.825693848327, 0.5},
    {6349.604207872799, 0.5},
    {5685.1385207398425, 0.5},
    {5039.684199579493, 0.5},
    {4512.29743420368, 0.5},
    {4000, 0.5},
    {3581.4128469241637, 0.5},
    {3174.8021039363994, 0.5},
    {2842.5692603699213, 0.5},
    {2519.8420997897465, 0.5},
    {2256.14871710184, 0.5},
    {2000, 0.5},
};

FilterSection::FilterSection(double sampleRate_, int type_, double frequency_, double q_, double gainDb_)
    : sampleRate(sampleRate_), type(type_), frequency(frequency_), q(q_), gainDb(gainDb_) {
  clearState();
  design();
}

void FilterSection::clearState() { xIn = x1 = x2 = y = y1 = y2 = 0.0; }

void FilterSection::resetCoefficients() { a0 = a1 = a2 = b0 = b1 = b2 = 1.0; }

void FilterSection::setSampleRate(double fs) {
  sampleRate = fs;
  clearState();
  design();
}

void FilterSection::setType(int t) {
  xIn = 0.0;
  type = t;
  clearState();
  design();
}

void FilterSection::setFrequency(double f) {
  frequency = f;
  resetCoefficients();
  design();
}

void FilterSection::setQ(double newQ) {
  q = newQ;
  resetCoefficients();
  design();
}

void FilterSection::setGain(double dB) {
  gainDb = dB;
  resetCoefficients();
  design();
}

void FilterSection::design() {
  clearState();
  resetCoefficients();
  if (type < HighPass || type > AllPass) return;

  const double w = kTwoPi * frequency / sampleRate;
  const double cs = std::cos(w);
  const double sn = std::sin(w);
  const double alpha = sn / (2.0 * q);
  const double A = std::pow(10.0, gainDb * 0.025);
  const double S = std::sqrt(A) * sn / q;
  const double p = std::pow(0.005, frequency / sampleRate);

  // Raw coefficients; biquads are normalised by D below.
  double D = 1.0, n1 = 1.0, n2 = 1.0, m0 = 1.0, m1 = 1.0, m2 = 1.0;
  switch (type) {
    case HighPass:
      D = 1 + alpha, n1 = -2 * cs, n2 = 1 - alpha;
      m0 = (1 + cs) * 0.5, m1 = -(1 + cs), m2 = m0;
      break;
    case DcBlock:
      a0 = p;
      return;
    case LowShelf:
      D = (A + 1) + (A - 1) * cs + S;
      n1 = -2 * ((A - 1) + (A + 1) * cs);
      n2 = (A + 1) + (A - 1) * cs - S;
      m0 = A * ((A + 1) - (A - 1) * cs + S);
      m1 = 2 * A * ((A - 1) - (A + 1) * cs);
      m2 = A * ((A + 1) - (A - 1) * cs - S);
      break;
    case Peak:
      D = 1 + alpha / A, n1 = -2 * cs, n2 = 1 - alpha / A;
      m0 = 1 + alpha * A, m1 = n1, m2 = 1 - alpha * A;
      break;
    case BandPass:
      D = 1 + alpha, n1 = -2 * cs, n2 = 1 - alpha;
      m0 = alpha, m1 = 0, m2 = -alpha;
      break;
    case Notch:
      D = 1 + alpha, n1 = -2 * cs, n2 = 1 - alpha;
      m0 = 1, m1 = n1, m2 = 1;
      break;
    case HighShelf:
      D = (A + 1) - (A - 1) * cs + S;
      n1 = 2 * ((A - 1) - (A + 1) * cs);
      n2 = (A + 1) - (A - 1) * cs - S;
      m0 = A * ((A + 1) + (A - 1) * cs + S);
      m1 = -2 * A * ((A - 1) + (A + 1) * cs);
      m2 = A * ((A + 1) + (A - 1) * cs - S);
      break;
    case LowPass:
      antiDenormal = 1e-12;
      D = 1 + alpha, n1 = -2 * cs, n2 = 1 - alpha;
      m0 = (1 - cs) * 0.5, m1 = 1 - cs, m2 = m0;
      break;
    case OnePoleLowPass:
      a0 = p;
      a1 = (p + 1) * 0.5;  // kept as part of the state although the recursion ignores it
      return;
    case AllPass:
      D = 1 + alpha, n1 = -2 * cs, n2 = 1 - alpha;
      m0 = 1 - alpha, m1 = n1, m2 = D;
      break;
    default:
      return;
  }
  a0 = D;
  a1 = n1 / D;
  a2 = n2 / D;
  b0 = m0 / D;
  b1 = m1 / D;
  b2 = (type == AllPass) ? (1.0 / D) * D : m2 / D;
}

double FilterSection::processSample(double x) {
  antiDenormal = -antiDenormal;
  const double d = antiDenormal;
  xIn = x + d;
  switch (type) {
    case None:
      return x;
    case DcBlock:
      y = a1 * (xIn - x1) + a0 * y;
      x1 = xIn;
      return y;
    case OnePoleLowPass:
      y = xIn + a0 * (y - xIn);
      return y;
    default: {
      const double out = b0 * xIn + b1 * x1 + b2 * x2 - a1 * y1 - a2 * y2;
      y = out;
      y2 = y1;
      y1 = out + d;
      x2 = x1;
      x1 = xIn;
      return out;
    }
  }
}

double FilterSection::processBiquad(double x) {
  antiDenormal = -antiDenormal;
  const double d = antiDenormal;
  xIn = x + d;
  const double out = b2 * x2 + b0 * xIn + b1 * x1 - a1 * y1 - a2 * y2;
  y = out;
  y2 = y1;
  y1 = out + d;
  x2 = x1;
  x1 = xIn;
  return out;
}

}  // namespace korro
