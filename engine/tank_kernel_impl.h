// The spring tank's per-sample network, written once for any vector width.
// Included by exactly one source file per instruction set, each of which
// defines KORRO_KERNEL_ISA (the namespace of its copy) and a lane type V:
//   D             a vector of V::W doubles
//   load(p)       V::W floats from p, widened
//   store(p, v)   v rounded to float, V::W floats to p
//   round(v)      v rounded to float and widened again
//   loadd, stored  V::W doubles from or to aligned memory
//   deinterleave(p, stride, lo, hi)  from V::W aligned pairs of doubles,
//                  stride doubles apart, the first and the second of each
//   set1, add, sub, mul, div, sqrt, abs
//
// Every tank line is at least 58 samples long, so a group of up to V::W
// frames never reads what the same group writes. Only the one-pole states
// (tone, level envelope, damping, and the two optional input stages) depend
// on the previous frame; they run frame by frame, left and right channel side
// by side in two lanes. Everything else runs across the frames of a group in
// vector lanes. Every lane does the scalar operations in the scalar order, so
// the output is the same bit for bit whatever the width.
#pragma once

#include <emmintrin.h>

#include "tank_state.h"

#ifndef KORRO_KERNEL_ISA
#error "define KORRO_KERNEL_ISA before including tank_kernel_impl.h"
#endif

namespace korro::tank_kernels::KORRO_KERNEL_ISA {
namespace {

inline double sqrtScalar(double x) { return _mm_cvtsd_f64(_mm_sqrt_sd(_mm_setzero_pd(), _mm_set_sd(x))); }
inline double absScalar(double x) { return __builtin_fabs(x); }
// Through the instructions, as roundPair: GCC 12's vectoriser may pair two
// plain double-float-double casts and then fold the pair away
// (docs/gcc-vector-rounding.md).
inline double roundScalar(double x) {
  const __m128d v = _mm_set_sd(x);
  return _mm_cvtsd_f64(_mm_cvtss_sd(v, _mm_cvtsd_ss(_mm_castpd_ps(v), v)));
}

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

// The states that carry from frame to frame, each a float value held as a
// double, in pairs (left, right); the damping states of spring lines 1, 2, 3
// are three such pairs.
struct Recurrent {
  alignas(16) double damp[2 * kSpringLines];
  alignas(16) double envelope[2];
  alignas(16) double tone[2];
  float pre[2], dcPrevious[2], dcState[2];
  bool positive;
};

inline __m128d roundPair(__m128d v) { return _mm_cvtps_pd(_mm_cvtpd_ps(v)); }

struct Coeffs {
  double g, decayGain, dampCoeff, preLowpassCoeff, dcBlockCoeff, dcBlockGain, toneCoeff, toneMix, attack, release;
};

// One spring line's rings with the read positions at the start of a stretch,
// and its write pointers, contiguous through the stretch.
struct LinePointers {
  const float* forwardRing;
  const float* returnRing;
  const float* allpass1Ring;
  const float* allpass2Ring;
  const float* allpass3Ring;
  int delayRead;
  int allpass1Read;
  int allpass2Read;
  int allpass3Read;
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
    conditioned_ = preLowpass_ || dcBlock_;
    for (int c = 0; c < 2; ++c) {
      const TankChannel& ch = s.channels[c];
      r_.pre[c] = ch.preLowpassState;
      r_.dcPrevious[c] = ch.dcBlockPrevious;
      r_.dcState[c] = ch.dcBlockState;
      r_.tone[c] = ch.toneState;
      r_.envelope[c] = ch.levelEnvelope;
      lastGain_[c] = ch.feedbackGain;
      for (int k = 0; k < kSpringLines; ++k) {
        r_.damp[2 * k + c] = ch.lines[k].dampState;
        lastTap_[c][k] = ch.lines[k].tapValue;
        lastReturn_[c][k] = ch.lines[k].returnValue;
      }
    }
  }

  void run(const float* const in[2], float* const out[2], int frames) {
    int done = 0;
    while (done < frames) {
      // A stretch in which the write position does not wrap, so every write
      // is contiguous; reads find their entries by position, each group of
      // W frames gathered where it runs over a ring's end. All rings share
      // the write position, and a delay ring wraps only where an all-pass
      // ring does.
      const int w = s_.writePos;
      const int length = limit(frames - done, w, kAllpassRingSize);
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
  // The entry of a ring of Size entries at stretch position i.
  template <int Size>
  static float entry(const float* ring, int position, int i) {
    return ring[(position + i) & (Size - 1)];
  }

  // W entries from stretch position i on.
  template <int Size>
  static D entries(const float* ring, int position, int i) {
    const int at = (position + i) & (Size - 1);
    if (at <= Size - W) [[likely]]
      return V::load(ring + at);
    float wrapped[W];  // V::load takes any alignment
    for (int l = 0; l < W; ++l) wrapped[l] = ring[(at + l) & (Size - 1)];
    return V::load(wrapped);
  }

  static int limit(int length, int position, int ringSize) {
    const int room = ringSize - (position & (ringSize - 1));
    return room < length ? room : length;
  }

  void point(int w) {
    const int wd = w & kDelayRingMask;
    const int wa = w & kAllpassRingMask;
    for (int c = 0; c < 2; ++c) {
      const TankLines& m = lines_[c];
      for (int k = 0; k < kSpringLines; ++k) {
        const SpringLine& l = s_.channels[c].lines[k];
        LinePointers& p = p_[c][k];
        p.forwardRing = m.forwardDelay[k];
        p.returnRing = m.returnDelay[k];
        p.allpass1Ring = m.allpass1[k];
        p.allpass2Ring = m.allpass2[k];
        p.allpass3Ring = m.allpass3[k];
        p.delayRead = l.delayRead;
        p.allpass1Read = l.allpass1Read;
        p.allpass2Read = l.allpass2Read;
        p.allpass3Read = l.allpass3Read;
        p.forwardWrite = m.forwardDelay[k] + wd;
        p.returnWrite = m.returnDelay[k] + wd;
        p.allpass1Write = m.allpass1[k] + wa;
        p.allpass2Write = m.allpass2[k] + wa;
        p.allpass3Write = m.allpass3[k] + wa;
      }
    }
  }

  void advance(int length) {
    s_.writePos = (s_.writePos + length) & kTankPositionMask;
    for (TankChannel& ch : s_.channels) {
      for (SpringLine& l : ch.lines) {
        l.delayRead = (l.delayRead + length) & kTankPositionMask;
        l.allpass1Read = (l.allpass1Read + length) & kTankPositionMask;
        l.allpass2Read = (l.allpass2Read + length) & kTankPositionMask;
        l.allpass3Read = (l.allpass3Read + length) & kTankPositionMask;
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

  // The optional pre-lowpass and DC block of one channel and one frame.
  double precondition(Recurrent& r, int c, double x) const {
    if (preLowpass_) {
      r.pre[c] = static_cast<float>((r.pre[c] - x) * c_.preLowpassCoeff + x);
      x = r.pre[c];
    }
    if (dcBlock_) {
      r.dcState[c] = static_cast<float>((x - r.dcPrevious[c]) * c_.dcBlockGain + c_.dcBlockCoeff * r.dcState[c]);
      r.dcPrevious[c] = static_cast<float>(x);
      x = r.dcState[c];
    }
    return x;
  }

  // The whole input conditioning, ending in the tone stage.
  double condition(Recurrent& r, int c, double x) const {
    x = precondition(r, c, x);
    r.tone[c] = roundScalar((r.tone[c] - x) * c_.toneCoeff + x);
    return r.tone[c] + (x - r.tone[c]) * c_.toneMix;
  }

  // e is the magnitude of the sum of the channel's forward delay outputs.
  void follow(Recurrent& r, int c, double e) const {
    const double env = r.envelope[c];
    r.envelope[c] = roundScalar((env - e) * selectGreater(e, env, c_.attack, c_.release) + e);
  }

  void dampen(Recurrent& r, int lane, double F, double o) const {
    r.damp[lane] = roundScalar(r.damp[lane] + (F - r.damp[lane]) * c_.dampCoeff + o);
  }

  // len frames (a multiple of W, at most kRun) from stretch position i0, W
  // frames at a time in three stages: the sequential states of group n, the
  // loop gains of group n - 1 and the spring lines of group n - 2. The later
  // stages do not wait for the states being computed, so their arithmetic
  // fills the time the sequential arithmetic spends waiting on itself. No
  // stage meets a value written in the same run: the forward and return
  // delays are far longer than a run, and the lines run their frames in order.
  void runFrames(const float* inL, const float* inR, float* outL, float* outR, int i0, int len, bool last) {
    const int groups = len / W;
    for (int n = 0; n < groups + 2; ++n) {
      if (n < groups) states(inL + i0, inR + i0, i0, n * W);
      if (n >= 1 && n <= groups) gains((n - 1) * W);
      if (n >= 2) springs(outL + i0, outR + i0, i0, (n - 2) * W, last && n == groups + 1);
    }
    if (last) {
      const int j = len - 1;
      for (int c = 0; c < 2; ++c) {
        lastGain_[c] = static_cast<float>(G_[c][j]);
        for (int k = 0; k < kSpringLines; ++k) {
          const LinePointers& p = p_[c][k];
          lastReturn_[c][k] = entry<kDelayRingSize>(p.returnRing, p.delayRead, i0 + j);
        }
      }
    }
  }

  // Input conditioning, level envelopes and damping states of W frames from
  // run position j0, frame by frame. The states are pairs of lanes (left,
  // right): tone, envelope, and the damping of spring lines 1, 2 and 3. The
  // results go to frame-major buffers of such pairs.
  void states(const float* inL, const float* inR, int i0, int j0) {
    Recurrent& r = r_;
    __m128d tone = _mm_load_pd(r.tone);
    __m128d env = _mm_load_pd(r.envelope);
    __m128d d0 = _mm_load_pd(r.damp);
    __m128d d1 = _mm_load_pd(r.damp + 2);
    __m128d d2 = _mm_load_pd(r.damp + 4);
    const __m128d toneCoeff = _mm_set1_pd(c_.toneCoeff);
    const __m128d toneMix = _mm_set1_pd(c_.toneMix);
    const __m128d attack = _mm_set1_pd(c_.attack);
    const __m128d release = _mm_set1_pd(c_.release);
    const __m128d dampCoeff = _mm_set1_pd(c_.dampCoeff);
    const __m128d magnitude = _mm_castsi128_pd(_mm_set1_epi64x(0x7fffffffffffffffLL));
    // Intrinsic stores may alias anything, so pointers are held in locals.
    const float* fL0 = p_[0][0].forwardRing;
    const float* fL1 = p_[0][1].forwardRing;
    const float* fL2 = p_[0][2].forwardRing;
    const float* fR0 = p_[1][0].forwardRing;
    const float* fR1 = p_[1][1].forwardRing;
    const float* fR2 = p_[1][2].forwardRing;
    const int dL0 = p_[0][0].delayRead + i0, dL1 = p_[0][1].delayRead + i0, dL2 = p_[0][2].delayRead + i0;
    const int dR0 = p_[1][0].delayRead + i0, dR1 = p_[1][1].delayRead + i0, dR2 = p_[1][2].delayRead + i0;
    const bool feed = feed_;
    for (int j = j0; j < j0 + W; ++j) {
      const double o = nextOffset(r);
      __m128d x;
      if (conditioned_)
        x = _mm_set_pd(precondition(r, 1, feed ? o + inR[j] : o), precondition(r, 0, feed ? o + inL[j] : o));
      else if (feed)
        x = _mm_add_pd(_mm_set1_pd(o), _mm_cvtps_pd(_mm_unpacklo_ps(_mm_load_ss(inL + j), _mm_load_ss(inR + j))));
      else
        x = _mm_set1_pd(o);
      tone = roundPair(_mm_add_pd(_mm_mul_pd(_mm_sub_pd(tone, x), toneCoeff), x));
      _mm_store_pd(x_[j], _mm_add_pd(tone, _mm_mul_pd(_mm_sub_pd(x, tone), toneMix)));

      const __m128d F0 = _mm_cvtps_pd(_mm_unpacklo_ps(_mm_load_ss(fL0 + ((dL0 + j) & kDelayRingMask)),
                                                      _mm_load_ss(fR0 + ((dR0 + j) & kDelayRingMask))));
      const __m128d F1 = _mm_cvtps_pd(_mm_unpacklo_ps(_mm_load_ss(fL1 + ((dL1 + j) & kDelayRingMask)),
                                                      _mm_load_ss(fR1 + ((dR1 + j) & kDelayRingMask))));
      const __m128d F2 = _mm_cvtps_pd(_mm_unpacklo_ps(_mm_load_ss(fL2 + ((dL2 + j) & kDelayRingMask)),
                                                      _mm_load_ss(fR2 + ((dR2 + j) & kDelayRingMask))));
      const __m128d e = _mm_and_pd(_mm_add_pd(_mm_add_pd(F0, F1), F2), magnitude);
      const __m128d rising = _mm_cmpgt_pd(e, env);
      const __m128d coeff = _mm_or_pd(_mm_and_pd(rising, attack), _mm_andnot_pd(rising, release));
      env = roundPair(_mm_add_pd(_mm_mul_pd(_mm_sub_pd(env, e), coeff), e));
      _mm_store_pd(env_[j], env);

      const __m128d od = _mm_set1_pd(-o);
      d0 = roundPair(_mm_add_pd(_mm_add_pd(d0, _mm_mul_pd(_mm_sub_pd(F0, d0), dampCoeff)), od));
      d1 = roundPair(_mm_add_pd(_mm_add_pd(d1, _mm_mul_pd(_mm_sub_pd(F1, d1), dampCoeff)), od));
      d2 = roundPair(_mm_add_pd(_mm_add_pd(d2, _mm_mul_pd(_mm_sub_pd(F2, d2), dampCoeff)), od));
      _mm_store_pd(damp_[j][0], d0);
      _mm_store_pd(damp_[j][1], d1);
      _mm_store_pd(damp_[j][2], d2);
    }
    _mm_store_pd(r.tone, tone);
    _mm_store_pd(r.envelope, env);
    _mm_store_pd(r.damp, d0);
    _mm_store_pd(r.damp + 2, d1);
    _mm_store_pd(r.damp + 4, d2);
  }

  // Loop gains of W frames from run position j0.
  void gains(int j0) {
    const D one = V::set1(1.0);
    D env[2];
    V::deinterleave(env_[j0], 2, env[0], env[1]);
    for (int c = 0; c < 2; ++c) {
      const D q = V::sqrt(V::sqrt(V::div(one, V::add(one, V::sqrt(V::sqrt(env[c]))))));
      V::stored(G_[c] + j0, V::round(V::mul(V::add(q, V::mul(V::sub(V::set1(0.95), q), V::set1(0.3))),
                                             V::set1(c_.decayGain))));
    }
  }

  // The six spring lines and the outputs of W frames from run position j0.
  void springs(float* outL, float* outR, int i0, int j0, bool last) {
    const D g = V::set1(c_.g);
    const int i = i0 + j0;
    D x[2], damp[2][kSpringLines];
    V::deinterleave(x_[j0], 2, x[0], x[1]);
    for (int k = 0; k < kSpringLines; ++k) V::deinterleave(damp_[j0][k], 2 * kSpringLines, damp[0][k], damp[1][k]);
    for (int c = 0; c < 2; ++c) {
      const D G = V::loadd(G_[c] + j0);
      D taps[kSpringLines];
#pragma GCC unroll 3
      for (int k = 0; k < kSpringLines; ++k) {
        const LinePointers p = p_[c][k];
        D v = entries<kAllpassRingSize>(p.allpass1Ring, p.allpass1Read, i);
        D u = V::sub(V::mul(g, v), damp[c][k]);
        V::store(p.allpass1Write + i, u);
        const D tap = V::round(V::sub(v, V::mul(g, u)));
        taps[k] = tap;

        v = entries<kAllpassRingSize>(p.allpass2Ring, p.allpass2Read, i);
        u = V::add(V::mul(g, v), tap);
        V::store(p.allpass2Write + i, u);
        V::store(p.returnWrite + i, V::sub(v, V::mul(g, u)));

        v = entries<kAllpassRingSize>(p.allpass3Ring, p.allpass3Read, i);
        u = V::add(V::mul(g, v), entries<kDelayRingSize>(p.returnRing, p.delayRead, i));
        V::store(p.allpass3Write + i, u);
        const D z = V::sub(v, V::mul(g, u));
        V::store(p.forwardWrite + i, V::add(V::mul(z, G), x[c]));
      }
      V::store((c == 0 ? outL : outR) + j0,
               V::mul(V::add(V::add(taps[0], taps[1]), taps[2]), V::set1(kTankOutputScale)));
      if (last) {
        alignas(64) double lane[W];
        for (int k = 0; k < kSpringLines; ++k) {
          V::stored(lane, taps[k]);
          lastTap_[c][k] = static_cast<float>(lane[W - 1]);
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
      for (int k = 0; k < kSpringLines; ++k)
        F[c][k] = entry<kDelayRingSize>(p_[c][k].forwardRing, p_[c][k].delayRead, i);
    for (int c = 0; c < 2; ++c) follow(r, c, absScalar(F[c][0] + F[c][1] + F[c][2]));
    for (int c = 0; c < 2; ++c) lastGain_[c] = static_cast<float>(feedbackGainScalar(r.envelope[c], c_.decayGain));
    for (int c = 0; c < 2; ++c) {
      for (int k = 0; k < kSpringLines; ++k) {
        dampen(r, 2 * k + c, F[c][k], -o);
        lastReturn_[c][k] = entry<kDelayRingSize>(p_[c][k].returnRing, p_[c][k].delayRead, i);
      }
    }
    const double g = c_.g;
    for (int c = 0; c < 2; ++c) {
      const double G = lastGain_[c];
      for (int k = 0; k < kSpringLines; ++k) {
        const LinePointers& p = p_[c][k];
        double v = entry<kAllpassRingSize>(p.allpass1Ring, p.allpass1Read, i);
        double u = g * v - r.damp[2 * k + c];
        p.allpass1Write[i] = static_cast<float>(u);
        lastTap_[c][k] = static_cast<float>(v - g * u);

        v = entry<kAllpassRingSize>(p.allpass2Ring, p.allpass2Read, i);
        u = g * v + lastTap_[c][k];
        p.allpass2Write[i] = static_cast<float>(u);
        p.returnWrite[i] = static_cast<float>(v - g * u);

        v = entry<kAllpassRingSize>(p.allpass3Ring, p.allpass3Read, i);
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
      ch.toneState = static_cast<float>(r_.tone[c]);
      ch.levelEnvelope = static_cast<float>(r_.envelope[c]);
      ch.feedbackGain = lastGain_[c];
      for (int k = 0; k < kSpringLines; ++k) {
        ch.lines[k].dampState = static_cast<float>(r_.damp[2 * k + c]);
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
  bool conditioned_ = false;
  Coeffs c_{};
  Recurrent r_{};

  // Frames per run of passes; a multiple of every W.
  static constexpr int kRun = 64;
  // Frame-major pairs (left, right) from the states to the later stages.
  alignas(64) double x_[kRun][2];
  alignas(64) double env_[kRun][2];
  alignas(64) double damp_[kRun][kSpringLines][2];
  alignas(64) double G_[2][kRun];

  float lastGain_[2];
  float lastTap_[2][kSpringLines], lastReturn_[2][kSpringLines];

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
}  // namespace korro::tank_kernels::KORRO_KERNEL_ISA
