// The spring tank's per-sample network, written once for any vector width.
// Included by exactly one source file per instruction set, each of which
// defines KORRO_TANK_ISA (the namespace of its copy) and a lane type V:
//   D             a vector of V::W doubles
//   load(p)       V::W floats from p, widened
//   store(p, v)   v rounded to float, V::W floats to p
//   round(v)      v rounded to float and widened again
//   loadd, stored  V::W doubles from or to aligned memory
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

// The states that carry from frame to frame. Copied into a local around each
// group so that they stay in registers rather than in memory that a line
// store could alias.
struct Recurrent {
  float pre[2], dcPrevious[2], dcState[2], tone[2], envelope[2];
  float damp[2][kSpringLines];
  bool positive;
};

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
    r_.positive = true;
    preLowpass_ = s.preLowpassEnabled;
    dcBlock_ = s.dcBlockEnabled;
    for (int c = 0; c < 2; ++c) {
      const TankChannel& ch = s.channels[c];
      r_.pre[c] = ch.preLowpassState;
      r_.dcPrevious[c] = ch.dcBlockPrevious;
      r_.dcState[c] = ch.dcBlockState;
      r_.tone[c] = ch.toneState;
      r_.envelope[c] = ch.levelEnvelope;
      lastGain_[c] = ch.feedbackGain;
      for (int k = 0; k < kSpringLines; ++k) {
        r_.damp[c][k] = ch.lines[k].dampState;
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
      const int whole = length / W * W;
      while (i < whole) {
        const int len = whole - i < kRun ? whole - i : kRun;
        runFrames(inL, inR, outL, outR, i, len, i + len == length && done + length == frames);
        i += len;
      }
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
  static double nextOffset(Recurrent& r) {
    const double o = r.positive ? kTankAntiDenormal : -kTankAntiDenormal;
    r.positive = !r.positive;
    return o;
  }

  // Input conditioning of one channel and one frame: the optional
  // pre-lowpass and DC block, then the tone stage.
  double condition(Recurrent& r, int c, double x) const {
    if (preLowpass_) {
      r.pre[c] = static_cast<float>((r.pre[c] - x) * c_.preLowpassCoeff + x);
      x = r.pre[c];
    }
    if (dcBlock_) {
      r.dcState[c] = static_cast<float>((x - r.dcPrevious[c]) * c_.dcBlockGain + c_.dcBlockCoeff * r.dcState[c]);
      r.dcPrevious[c] = static_cast<float>(x);
      x = r.dcState[c];
    }
    r.tone[c] = static_cast<float>((r.tone[c] - x) * c_.toneCoeff + x);
    return r.tone[c] + (x - r.tone[c]) * c_.toneMix;
  }

  // e is the magnitude of the sum of the channel's forward delay outputs.
  void follow(Recurrent& r, int c, double e) const {
    const double env = r.envelope[c];
    r.envelope[c] = static_cast<float>((env - e) * selectGreater(e, env, c_.attack, c_.release) + e);
  }

  void dampen(Recurrent& r, int c, int k, double F, double o) const {
    r.damp[c][k] = static_cast<float>(r.damp[c][k] + (F - r.damp[c][k]) * c_.dampCoeff + o);
  }

  // len frames (a multiple of W, at most kRun) from stretch position i0, in
  // passes: the forward delay outputs; the sequential states frame by frame;
  // the loop gains; then each spring line across all frames. The passes never
  // meet a value written in the same run: the forward and return delays are
  // far longer than a run, and each line pass runs its frames in order.
  void runFrames(const float* inL, const float* inR, float* outL, float* outR, int i0, int len, bool last) {
    // Intrinsic stores may alias anything, so every pointer a loop needs is
    // held in a local first.
    for (int c = 0; c < 2; ++c) {
      const float* f0 = p_[c][0].forwardRead + i0;
      const float* f1 = p_[c][1].forwardRead + i0;
      const float* f2 = p_[c][2].forwardRead + i0;
      double* F0 = F_[c][0];
      double* F1 = F_[c][1];
      double* F2 = F_[c][2];
      double* e = e_[c];
      for (int j = 0; j < len; j += W) {
        const D a = V::load(f0 + j), b = V::load(f1 + j), d = V::load(f2 + j);
        V::stored(F0 + j, a);
        V::stored(F1 + j, b);
        V::stored(F2 + j, d);
        V::stored(e + j, V::abs(V::add(V::add(a, b), d)));
      }
    }

    Recurrent r = r_;
    const bool feed = feed_;
    for (int j = 0; j < len; ++j) {
      const double o = nextOffset(r);
      x_[0][j] = condition(r, 0, feed ? o + inL[i0 + j] : o);
      x_[1][j] = condition(r, 1, feed ? o + inR[i0 + j] : o);
#pragma GCC unroll 2
      for (int c = 0; c < 2; ++c) {
        follow(r, c, e_[c][j]);
        env_[c][j] = r.envelope[c];
      }
#pragma GCC unroll 2
      for (int c = 0; c < 2; ++c) {
#pragma GCC unroll 3
        for (int k = 0; k < kSpringLines; ++k) {
          dampen(r, c, k, F_[c][k][j], -o);
          damp_[c][k][j] = r.damp[c][k];
        }
      }
    }
    r_ = r;

    const D g = V::set1(c_.g);
    const D one = V::set1(1.0);
    const D decayGain = V::set1(c_.decayGain);
    const D share = V::set1(0.3);
    const D top = V::set1(0.95);
    for (int c = 0; c < 2; ++c) {
      float* dry = dry_[c] + i0;
      const double* x = x_[c];
      const double* env = env_[c];
      double* G = G_[c];
      for (int j = 0; j < len; j += W) {
        V::store(dry + j, V::loadd(x + j));
        const D q = V::sqrt(V::sqrt(V::div(one, V::add(one, V::sqrt(V::sqrt(V::loadd(env + j)))))));
        V::stored(G + j, V::round(V::mul(V::add(q, V::mul(V::sub(top, q), share)), decayGain)));
      }
    }

    for (int c = 0; c < 2; ++c) {
      const double* x = x_[c];
      const double* G = G_[c];
      for (int k = 0; k < kSpringLines; ++k) {
        const LinePointers& p = p_[c][k];
        const float* a1r = p.allpass1Read + i0;
        const float* a2r = p.allpass2Read + i0;
        const float* a3r = p.allpass3Read + i0;
        const float* rr = p.returnRead + i0;
        float* a1w = p.allpass1Write + i0;
        float* a2w = p.allpass2Write + i0;
        float* a3w = p.allpass3Write + i0;
        float* rw = p.returnWrite + i0;
        float* fw = p.forwardWrite + i0;
        const double* damp = damp_[c][k];
        double* taps = tap_[c][k];
        for (int j = 0; j < len; j += W) {
          D v = V::load(a1r + j);
          D u = V::sub(V::mul(g, v), V::loadd(damp + j));
          V::store(a1w + j, u);
          const D tap = V::round(V::sub(v, V::mul(g, u)));
          V::stored(taps + j, tap);

          v = V::load(a2r + j);
          u = V::add(V::mul(g, v), tap);
          V::store(a2w + j, u);
          V::store(rw + j, V::sub(v, V::mul(g, u)));

          v = V::load(a3r + j);
          u = V::add(V::mul(g, v), V::load(rr + j));
          V::store(a3w + j, u);
          const D z = V::sub(v, V::mul(g, u));
          V::store(fw + j, V::add(V::mul(z, V::loadd(G + j)), V::loadd(x + j)));
        }
      }
      float* out = (c == 0 ? outL : outR) + i0;
      const double* t0 = tap_[c][0];
      const double* t1 = tap_[c][1];
      const double* t2 = tap_[c][2];
      const D scale = V::set1(kTankOutputScale);
      for (int j = 0; j < len; j += W)
        V::store(out + j, V::mul(V::add(V::add(V::loadd(t0 + j), V::loadd(t1 + j)), V::loadd(t2 + j)), scale));
    }

    if (last) {
      const int j = len - 1;
      for (int c = 0; c < 2; ++c) {
        lastGain_[c] = static_cast<float>(G_[c][j]);
        for (int k = 0; k < kSpringLines; ++k) {
          lastTap_[c][k] = static_cast<float>(tap_[c][k][j]);
          lastReturn_[c][k] = p_[c][k].returnRead[i0 + j];
        }
      }
    }
  }

  // One frame from stretch position i, all in scalar code.
  void frame(const float* inL, const float* inR, float* outL, float* outR, int i) {
    Recurrent& r = r_;
    const double o = nextOffset(r);
    double x[2];
    x[0] = condition(r, 0, feed_ ? o + inL[i] : o);
    x[1] = condition(r, 1, feed_ ? o + inR[i] : o);
    double F[2][kSpringLines];
    for (int c = 0; c < 2; ++c)
      for (int k = 0; k < kSpringLines; ++k) F[c][k] = p_[c][k].forwardRead[i];
    for (int c = 0; c < 2; ++c) follow(r, c, absScalar(F[c][0] + F[c][1] + F[c][2]));
    for (int c = 0; c < 2; ++c) lastGain_[c] = static_cast<float>(feedbackGainScalar(r.envelope[c], c_.decayGain));
    for (int c = 0; c < 2; ++c) dry_[c][i] = static_cast<float>(x[c]);
    for (int c = 0; c < 2; ++c) {
      for (int k = 0; k < kSpringLines; ++k) {
        dampen(r, c, k, F[c][k], -o);
        lastReturn_[c][k] = p_[c][k].returnRead[i];
      }
    }
    const double g = c_.g;
    for (int c = 0; c < 2; ++c) {
      const double G = lastGain_[c];
      for (int k = 0; k < kSpringLines; ++k) {
        const LinePointers& p = p_[c][k];
        double v = p.allpass1Read[i];
        double u = g * v - r.damp[c][k];
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
      ch.preLowpassState = r_.pre[c];
      ch.dcBlockPrevious = r_.dcPrevious[c];
      ch.dcBlockState = r_.dcState[c];
      ch.toneState = r_.tone[c];
      ch.levelEnvelope = r_.envelope[c];
      ch.feedbackGain = lastGain_[c];
      for (int k = 0; k < kSpringLines; ++k) {
        ch.lines[k].dampState = r_.damp[c][k];
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
  Coeffs c_{};
  Recurrent r_{};

  // Frames per run of passes; a multiple of every W.
  static constexpr int kRun = 64;
  alignas(64) double F_[2][kSpringLines][kRun];
  alignas(64) double e_[2][kRun];
  alignas(64) double x_[2][kRun];
  alignas(64) double env_[2][kRun];
  alignas(64) double damp_[2][kSpringLines][kRun];
  alignas(64) double G_[2][kRun];
  alignas(64) double tap_[2][kSpringLines][kRun];

  float lastGain_[2];
  float lastTap_[2][kSpringLines], lastReturn_[2][kSpringLines];

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
