// The spring tank's per-sample network, written once for any vector width.
// Included by exactly one source file per instruction set, each of which
// defines KORRO_TANK_ISA (the namespace of its copy) and a lane type V:
//   D             a vector of V::W doubles
//   load(p)       V::W floats from p, widened
//   store(p, v)   v rounded to float, V::W floats to p
//   round(v)      v rounded to float and widened again
//   set1, add, sub, mul, div, sqrt, abs
//
// Every tank line is at least 58 samples long, so a group of up to V::W
// frames never reads what the same group writes. Only the one-pole states
// (tone, level envelope, damping, and the two optional input stages) depend
// on the previous frame; they run frame by frame in scalar code. Everything
// else runs across the frames of a group in vector lanes, each lane doing the
// scalar operations in the scalar order, so the output is the same bit for
// bit whatever the width.
#pragma once

#include <emmintrin.h>

#include "tank_state.h"

#ifndef KORRO_TANK_ISA
#error "define KORRO_TANK_ISA before including tank_kernel_impl.h"
#endif

namespace korro::tank_kernels::KORRO_TANK_ISA {
namespace {

inline double sqrtScalar(double x) { return _mm_cvtsd_f64(_mm_sqrt_sd(_mm_setzero_pd(), _mm_set_sd(x))); }
inline double absScalar(double x) { return __builtin_fabs(x); }
inline double roundScalar(double x) { return static_cast<double>(static_cast<float>(x)); }

// a > b ? ifGreater : otherwise, without a branch the signal could mislead.
inline double selectGreater(double a, double b, double ifGreater, double otherwise) {
  const __m128d mask = _mm_cmpgt_sd(_mm_set_sd(a), _mm_set_sd(b));
  return _mm_cvtsd_f64(_mm_or_pd(_mm_and_pd(mask, _mm_set_sd(ifGreater)), _mm_andnot_pd(mask, _mm_set_sd(otherwise))));
}

// Loop gain for a given level envelope: each fourth root as two square roots.
inline double feedbackGainScalar(double envelope, double decayGain) {
  const double q = sqrtScalar(sqrtScalar(1.0 / (1.0 + sqrtScalar(sqrtScalar(envelope)))));
  return (q + (0.95 - q) * 0.3) * decayGain;
}

struct Coeffs {
  double g, decayGain, dampCoeff, preLowpassCoeff, dcBlockCoeff, dcBlockGain, toneCoeff, toneMix, attack, release;
};

// Positions of one spring line's reads, relative to the start of a stretch.
struct LinePointers {
  const float* forwardRead;
  const float* returnRead;
  const float* allpass1Read;
  const float* allpass2Read;
  const float* allpass3Read;
  float* forwardWrite;
  float* returnWrite;
  float* allpass1Write;
  float* allpass2Write;
  float* allpass3Write;
};

template <class V>
class Network {
 public:
  using D = typename V::D;
  static constexpr int W = V::W;

  Network(TankState& s, const TankLines lines[2], bool feedInput) : s_(s), lines_(lines), feed_(feedInput) {
    const TankCoefficients& k = s.coeffs;
    c_.g = k.allpassGain;
    c_.decayGain = k.decayGain;
    c_.dampCoeff = k.dampCoeff;
    c_.preLowpassCoeff = k.preLowpassCoeff;
    c_.dcBlockCoeff = k.dcBlockCoeff;
    c_.dcBlockGain = (1.0 + k.dcBlockCoeff) * 0.5;
    c_.toneCoeff = k.toneCoeff;
    c_.toneMix = k.toneMix;
    c_.attack = k.envAttackCoeff;
    c_.release = k.envReleaseCoeff;
    preLowpass_ = s.preLowpassEnabled;
    dcBlock_ = s.dcBlockEnabled;
    for (int c = 0; c < 2; ++c) {
      const TankChannel& ch = s.channels[c];
      pre_[c] = ch.preLowpassState;
      dcPrevious_[c] = ch.dcBlockPrevious;
      dcState_[c] = ch.dcBlockState;
      tone_[c] = ch.toneState;
      envelope_[c] = ch.levelEnvelope;
      lastGain_[c] = ch.feedbackGain;
      for (int k = 0; k < kSpringLines; ++k) {
        damp_[c][k] = ch.lines[k].dampState;
        lastTap_[c][k] = ch.lines[k].tapValue;
        lastReturn_[c][k] = ch.lines[k].returnValue;
      }
    }
  }

  void run(const float* const in[2], float* const out[2], int frames) {
    int done = 0;
    while (done < frames) {
      // A stretch in which no position wraps, so every line is contiguous.
      int length = frames - done;
      const int w = s_.writePos & kTankRingMask;
      length = limit(length, w);
      for (int c = 0; c < 2; ++c) {
        for (const SpringLine& l : s_.channels[c].lines) {
          length = limit(length, l.delayRead & kTankRingMask);
          length = limit(length, l.allpass1Read & kTankRingMask);
          length = limit(length, l.allpass2Read & kTankRingMask);
          length = limit(length, l.allpass3Read & kTankRingMask);
        }
      }
      point(w);
      const float* inL = in[0] + done;
      const float* inR = in[1] + done;
      float* outL = out[0] + done;
      float* outR = out[1] + done;
      int i = 0;
      for (; i + W <= length; i += W) group(inL, inR, outL, outR, i, i + W == length && done + length == frames);
      for (; i < length; ++i) frame(inL, inR, outL, outR, i);
      advance(length);
      done += length;
    }
    storeState();
  }

 private:
  static int limit(int length, int position) {
    const int room = kTankRingSize - position;
    return room < length ? room : length;
  }

  void point(int w) {
    dry_[0] = lines_[0].dryHistory + w;
    dry_[1] = lines_[1].dryHistory + w;
    for (int c = 0; c < 2; ++c) {
      const TankLines& m = lines_[c];
      for (int k = 0; k < kSpringLines; ++k) {
        const SpringLine& l = s_.channels[c].lines[k];
        LinePointers& p = p_[c][k];
        const int d = l.delayRead & kTankRingMask;
        p.forwardRead = m.forwardDelay[k] + d;
        p.returnRead = m.returnDelay[k] + d;
        p.allpass1Read = m.allpass1[k] + (l.allpass1Read & kTankRingMask);
        p.allpass2Read = m.allpass2[k] + (l.allpass2Read & kTankRingMask);
        p.allpass3Read = m.allpass3[k] + (l.allpass3Read & kTankRingMask);
        p.forwardWrite = m.forwardDelay[k] + w;
        p.returnWrite = m.returnDelay[k] + w;
        p.allpass1Write = m.allpass1[k] + w;
        p.allpass2Write = m.allpass2[k] + w;
        p.allpass3Write = m.allpass3[k] + w;
      }
    }
  }

  void advance(int length) {
    s_.writePos = (s_.writePos + length) & kTankRingMask;
    for (TankChannel& ch : s_.channels) {
      for (SpringLine& l : ch.lines) {
        l.delayRead = (l.delayRead + length) & kTankRingMask;
        l.allpass1Read = (l.allpass1Read + length) & kTankRingMask;
        l.allpass2Read = (l.allpass2Read + length) & kTankRingMask;
        l.allpass3Read = (l.allpass3Read + length) & kTankRingMask;
      }
    }
  }

  // The offset that enters with the input of the next frame; the damping
  // states take its negation in the same frame.
  double nextOffset() {
    const double o = positive_ ? kTankAntiDenormal : -kTankAntiDenormal;
    positive_ = !positive_;
    return o;
  }

  // Input conditioning of one channel and one frame: the optional
  // pre-lowpass and DC block, then the tone stage.
  double condition(int c, double x) {
    if (preLowpass_) {
      pre_[c] = static_cast<float>((pre_[c] - x) * c_.preLowpassCoeff + x);
      x = pre_[c];
    }
    if (dcBlock_) {
      dcState_[c] = static_cast<float>((x - dcPrevious_[c]) * c_.dcBlockGain + c_.dcBlockCoeff * dcState_[c]);
      dcPrevious_[c] = static_cast<float>(x);
      x = dcState_[c];
    }
    tone_[c] = static_cast<float>((tone_[c] - x) * c_.toneCoeff + x);
    return tone_[c] + (x - tone_[c]) * c_.toneMix;
  }

  void follow(int c, double F0, double F1, double F2) {
    const double e = absScalar(F0 + F1 + F2);
    const double env = envelope_[c];
    envelope_[c] = static_cast<float>((env - e) * selectGreater(e, env, c_.attack, c_.release) + e);
  }

  void dampen(int c, int k, double F, double o) {
    damp_[c][k] = static_cast<float>(damp_[c][k] + (F - damp_[c][k]) * c_.dampCoeff + o);
  }

  // W frames from stretch position i.
  void group(const float* inL, const float* inR, float* outL, float* outR, int i, bool last) {
    alignas(64) double x[2][W];
    alignas(64) double env[2][W];
    alignas(64) double damp[2][kSpringLines][W];

    // The sequential part, frame by frame.
    for (int j = 0; j < W; ++j) {
      const double o = nextOffset();
      x[0][j] = condition(0, feed_ ? o + inL[i + j] : o);
      x[1][j] = condition(1, feed_ ? o + inR[i + j] : o);
      double F[2][kSpringLines];
      for (int c = 0; c < 2; ++c)
        for (int k = 0; k < kSpringLines; ++k) F[c][k] = p_[c][k].forwardRead[i + j];
      for (int c = 0; c < 2; ++c) {
        follow(c, F[c][0], F[c][1], F[c][2]);
        env[c][j] = envelope_[c];
      }
      for (int c = 0; c < 2; ++c) {
        for (int k = 0; k < kSpringLines; ++k) {
          dampen(c, k, F[c][k], -o);
          damp[c][k][j] = damp_[c][k];
        }
      }
    }

    // Everything else across the W frames at once.
    const D g = V::set1(c_.g);
    const D one = V::set1(1.0);
    for (int c = 0; c < 2; ++c) {
      const D xv = V::loadd(x[c]);
      V::store(dry_[c] + i, xv);

      const D e = V::loadd(env[c]);
      const D q = V::sqrt(V::sqrt(V::div(one, V::add(one, V::sqrt(V::sqrt(e))))));
      const D G = V::round(
          V::mul(V::add(q, V::mul(V::sub(V::set1(0.95), q), V::set1(0.3))), V::set1(c_.decayGain)));

      D taps[kSpringLines];
      for (int k = 0; k < kSpringLines; ++k) {
        const LinePointers& p = p_[c][k];
        D v = V::load(p.allpass1Read + i);
        D u = V::sub(V::mul(g, v), V::loadd(damp[c][k]));
        V::store(p.allpass1Write + i, u);
        const D tap = V::round(V::sub(v, V::mul(g, u)));
        taps[k] = tap;

        v = V::load(p.allpass2Read + i);
        u = V::add(V::mul(g, v), tap);
        V::store(p.allpass2Write + i, u);
        V::store(p.returnWrite + i, V::sub(v, V::mul(g, u)));

        const D returned = V::load(p.returnRead + i);
        v = V::load(p.allpass3Read + i);
        u = V::add(V::mul(g, v), returned);
        V::store(p.allpass3Write + i, u);
        const D z = V::sub(v, V::mul(g, u));
        V::store(p.forwardWrite + i, V::add(V::mul(z, G), xv));

        if (last) {
          alignas(64) double lane[W];
          V::stored(lane, tap);
          lastTap_[c][k] = static_cast<float>(lane[W - 1]);
          V::stored(lane, returned);
          lastReturn_[c][k] = static_cast<float>(lane[W - 1]);
        }
      }
      V::store((c == 0 ? outL : outR) + i,
               V::mul(V::add(V::add(taps[0], taps[1]), taps[2]), V::set1(kTankOutputScale)));
      if (last) {
        alignas(64) double lane[W];
        V::stored(lane, G);
        lastGain_[c] = static_cast<float>(lane[W - 1]);
      }
    }
  }

  // One frame from stretch position i, all in scalar code.
  void frame(const float* inL, const float* inR, float* outL, float* outR, int i) {
    const double o = nextOffset();
    double x[2];
    x[0] = condition(0, feed_ ? o + inL[i] : o);
    x[1] = condition(1, feed_ ? o + inR[i] : o);
    double F[2][kSpringLines];
    for (int c = 0; c < 2; ++c)
      for (int k = 0; k < kSpringLines; ++k) F[c][k] = p_[c][k].forwardRead[i];
    for (int c = 0; c < 2; ++c) follow(c, F[c][0], F[c][1], F[c][2]);
    for (int c = 0; c < 2; ++c) lastGain_[c] = static_cast<float>(feedbackGainScalar(envelope_[c], c_.decayGain));
    for (int c = 0; c < 2; ++c) dry_[c][i] = static_cast<float>(x[c]);
    for (int c = 0; c < 2; ++c) {
      for (int k = 0; k < kSpringLines; ++k) {
        dampen(c, k, F[c][k], -o);
        lastReturn_[c][k] = p_[c][k].returnRead[i];
      }
    }
    const double g = c_.g;
    for (int c = 0; c < 2; ++c) {
      const double G = lastGain_[c];
      for (int k = 0; k < kSpringLines; ++k) {
        const LinePointers& p = p_[c][k];
        double v = p.allpass1Read[i];
        double u = g * v - damp_[c][k];
        p.allpass1Write[i] = static_cast<float>(u);
        lastTap_[c][k] = static_cast<float>(v - g * u);

        v = p.allpass2Read[i];
        u = g * v + lastTap_[c][k];
        p.allpass2Write[i] = static_cast<float>(u);
        p.returnWrite[i] = static_cast<float>(v - g * u);

        v = p.allpass3Read[i];
        u = g * v + lastReturn_[c][k];
        p.allpass3Write[i] = static_cast<float>(u);
        const double z = v - g * u;
        p.forwardWrite[i] = static_cast<float>(z * G + x[c]);
      }
    }
    for (int c = 0; c < 2; ++c) {
      const float* t = lastTap_[c];
      (c == 0 ? outL : outR)[i] =
          static_cast<float>((static_cast<double>(t[0]) + t[1] + t[2]) * kTankOutputScale);
    }
  }

  void storeState() {
    for (int c = 0; c < 2; ++c) {
      TankChannel& ch = s_.channels[c];
      ch.preLowpassState = pre_[c];
      ch.dcBlockPrevious = dcPrevious_[c];
      ch.dcBlockState = dcState_[c];
      ch.toneState = tone_[c];
      ch.levelEnvelope = envelope_[c];
      ch.feedbackGain = lastGain_[c];
      for (int k = 0; k < kSpringLines; ++k) {
        ch.lines[k].dampState = damp_[c][k];
        ch.lines[k].tapValue = lastTap_[c][k];
        ch.lines[k].returnValue = lastReturn_[c][k];
      }
    }
  }

  TankState& s_;
  const TankLines* lines_;
  const bool feed_;
  bool preLowpass_ = false;
  bool dcBlock_ = false;
  bool positive_ = true;
  Coeffs c_{};

  float pre_[2], dcPrevious_[2], dcState_[2], tone_[2], envelope_[2], lastGain_[2];
  float damp_[2][kSpringLines], lastTap_[2][kSpringLines], lastReturn_[2][kSpringLines];

  float* dry_[2] = {};
  LinePointers p_[2][kSpringLines] = {};
};

template <class V>
void processWith(TankState& state, const TankLines lines[2], const float* const in[2], float* const out[2],
                 int frames, bool feedInput) {
  if (frames <= 0) return;
  Network<V> network(state, lines, feedInput);
  network.run(in, out, frames);
}

}  // namespace
}  // namespace korro::tank_kernels::KORRO_TANK_ISA
