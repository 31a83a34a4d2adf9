// The decimator and the output stage's interpolation and mix, written once
// for any vector width, lanes across frames. Included by the same source
// files as the tank's kernel, with the same lane types (V::W doubles), plus:
//   loaddu(p)       V::W doubles from p, any alignment
//   split(p, e, o)  2·V::W floats from p: the even-indexed ones widened to e,
//                   the odd-indexed ones to o
//   interleave(p, a, b)  a0, b0, a1, b1, ... to 2·V::W doubles at p
//   maxKeep(p, x)   x where x > p, else p (a NaN x leaves p)
// Every lane does the operations of the plain stages in their order, so the
// output is the same bit for bit whatever the width. Each filter's sum is a
// chain of dependent additions; two groups of lanes per channel and both
// channels run side by side so the chains overlap.
#pragma once

#include <emmintrin.h>

#include "half_rate_kernels.h"

#ifndef KORRO_KERNEL_ISA
#error "define KORRO_KERNEL_ISA before including half_rate_kernel_impl.h"
#endif

namespace korro::half_rate_kernels::KORRO_KERNEL_ISA {
namespace {

// One lane: the frames left over after the whole groups.
struct Scalar {
  using D = double;
  static constexpr int W = 1;
  static D load(const float* p) { return *p; }
  static D loaddu(const double* p) { return *p; }
  static void split(const float* p, D& even, D& odd) {
    even = p[0];
    odd = p[1];
  }
  static void store(float* p, D v) { *p = static_cast<float>(v); }
  static void stored(double* p, D v) { *p = v; }
  // Through the instructions, as the tank's roundScalar (docs/gcc-vector-rounding.md).
  static D round(D v) {
    const __m128d x = _mm_set_sd(v);
    return _mm_cvtsd_f64(_mm_cvtss_sd(x, _mm_cvtsd_ss(_mm_castpd_ps(x), x)));
  }
  static D set1(double x) { return x; }
  static D add(D a, D b) { return a + b; }
  static D sub(D a, D b) { return a - b; }
  static D mul(D a, D b) { return a * b; }
  static D abs(D a) { return __builtin_fabs(a); }
  static D maxKeep(D p, D x) { return x > p ? x : p; }
  static void interleave(double* p, D a, D b) {
    p[0] = a;
    p[1] = b;
  }
};

// A line of host frames widened to double, split by parity so the frames a
// decimator output needs are consecutive.
struct Phases {
  // Rows a whole number of cache lines long, so every row starts aligned.
  static constexpr int kRow = ((kHistory + kMaxFrames + kPadding) / 2 + 7) / 8 * 8;
  alignas(64) double even[2][kRow];
  alignas(64) double odd[2][kRow];
  // The frames of line m, where m counts from the line's start.
  const double* at(int c, int m) const { return (m & 1 ? odd[c] : even[c]) + (m >> 1); }

  // From length floats per channel (and up to kPadding more, ignored).
  template <class V>
  void fill(const float* const line[2], int length) {
    for (int c = 0; c < 2; ++c) {
      for (int m = 0; m < length; m += 2 * V::W) {
        typename V::D e, o;
        V::split(line[c] + m, e, o);
        V::stored(even[c] + m / 2, e);
        V::stored(odd[c] + m / 2, o);
      }
    }
  }
};

// Both channels' sums, G groups of lanes each, set to zero.
template <class V, int G>
void clear(typename V::D (&sums)[2][G]) {
#pragma GCC unroll 2
  for (int c = 0; c < 2; ++c)
    for (int g = 0; g < G; ++g) sums[c][g] = V::set1(0.0);
}

// One symmetric pair of taps for G groups of lanes: sum += h·(newer + older).
template <class V, int G>
void addPair(typename V::D (&sums)[G], typename V::D h, const double* newer, const double* older) {
  for (int g = 0; g < G; ++g)
    sums[g] = V::add(sums[g], V::mul(h, V::add(V::loaddu(newer + g * V::W), V::loaddu(older + g * V::W))));
}

// Outputs j in [from, to) of both channels, G groups of lanes at a time;
// output j is taken at host frame first + 2j. Symmetric pairs are summed
// first and accumulated from the outside in, the centre tap last.
template <class V, int G>
int decimateLanes(const Phases& x, float* const core[2], int first, int from, int to) {
  using D = typename V::D;
  int j = from;
  for (; j + G * V::W <= to; j += G * V::W) {
    D acc[2][G];
    clear<V, G>(acc);
#pragma GCC unroll 15
    for (int k = 0; k < 15; ++k) {
      const D h = V::set1(kDecimatorTaps[k]);
#pragma GCC unroll 2
      for (int c = 0; c < 2; ++c) addPair<V, G>(acc[c], h, x.at(c, kHistory + first - k) + j, x.at(c, first + k) + j);
    }
    const D centre = V::set1(kDecimatorTaps[15]);
#pragma GCC unroll 2
    for (int c = 0; c < 2; ++c) {
      const double* mid = x.at(c, kHistory + first - 15) + j;
      for (int g = 0; g < G; ++g) V::store(core[c] + j + g * V::W, V::add(acc[c][g], V::mul(centre, V::loaddu(mid + g * V::W))));
    }
  }
  return j;
}

template <class V>
int decimate(const float* const lin[2], int frames, int first, float* const core[2]) {
  const int count = frames > first ? (frames - first + 1) / 2 : 0;
  Phases x;
  x.fill<V>(lin, kHistory + frames);
  int j = decimateLanes<V, 2>(x, core, first, 0, count);
  j = decimateLanes<V, 1>(x, core, first, j, count);
  decimateLanes<Scalar, 1>(x, core, first, j, count);
  return count;
}

// The interpolator's output, widened, for the host frames of a chunk whose
// engine-rate frames are y[e] = the line's entry first + 2e (e from -15 on).
// A host frame that takes y[e] sums eight pairs of engine-rate frames and
// adds the centre entry, a stuffed zero; a frame between sums eight pairs of
// stuffed zeros, which is exactly +0, and adds the centre entry y[e - 7].
// Engine frames [from, to) of both channels, G groups of lanes at a time.
template <class V, int G>
int interpolateLanes(const Phases& x, int first, int from, int to, double* const w[2]) {
  using D = typename V::D;
  const D zero = V::set1(0.0);
  int e = from;
  for (; e + G * V::W <= to; e += G * V::W) {
    D acc[2][G];
    clear<V, G>(acc);
#pragma GCC unroll 8
    for (int k = 0; k < 8; ++k) {
      const D h = V::set1(kInterpolatorTaps[k]);
#pragma GCC unroll 2
      for (int c = 0; c < 2; ++c) {
        const double* y = x.at(c, kHistory + first) + e;
        addPair<V, G>(acc[c], h, y - k, y - 15 + k);
      }
    }
#pragma GCC unroll 2
    for (int c = 0; c < 2; ++c) {
      const double* y = x.at(c, kHistory + first) + e;
      for (int g = 0; g < G; ++g)
        V::interleave(w[c] + first + 2 * (e + g * V::W), V::add(acc[c][g], zero),
                      V::add(zero, V::loaddu(y + g * V::W - 7)));
    }
  }
  return e;
}

// Host frames [from, to) of the mix; answers where it stopped. The wet
// signal is w widened when given, else the host-rate wet floats.
template <class V>
int mixLanes(const float* const wet[2], const double* const w[2], OutputMix& m, int from, int to,
             typename V::D peak[2]) {
  using D = typename V::D;
  int i = from;
  for (; i + V::W <= to; i += V::W) {
    const D mix = V::load(m.mix + i);
    const D gain = V::load(m.gain + i);
    D o[2];
    for (int c = 0; c < 2; ++c) {
      const D d = V::load(m.dry[c] + i);
      const D wetNow = w[0] ? V::loaddu(w[c] + i) : V::load(wet[c] + i);
      o[c] = V::round(V::mul(V::add(V::mul(V::sub(wetNow, d), mix), d), gain));
      peak[c] = V::maxKeep(peak[c], V::abs(o[c]));
    }
    if (m.out[1]) {
      for (int c = 0; c < 2; ++c) V::store(m.out[c] + i, m.adding ? V::add(V::load(m.out[c] + i), o[c]) : o[c]);
    } else {
      const D mono = V::round(V::mul(V::add(o[0], o[1]), V::set1(0.5)));
      V::store(m.out[0] + i, m.adding ? V::add(V::load(m.out[0] + i), mono) : mono);
    }
  }
  return i;
}

template <class V>
void output(const float* const wet[2], int first, OutputMix& m, int frames) {
  alignas(64) double wide[2][kMaxFrames + 8];
  double* w[2] = {};
  if (first >= 0) {
    Phases x;
    x.fill<V>(wet, kHistory + frames);
    for (int c = 0; c < 2; ++c) {
      w[c] = wide[c];
      if (first == 1) w[c][0] = 0.0 + x.at(c, kHistory + first)[-8];
    }
    const int takes = frames > first ? (frames - first + 1) / 2 : 0;
    int e = interpolateLanes<V, 2>(x, first, 0, takes, w);
    e = interpolateLanes<V, 1>(x, first, e, takes, w);
    interpolateLanes<Scalar, 1>(x, first, e, takes, w);
  }
  typename V::D peak[2] = {V::set1(m.peak[0]), V::set1(m.peak[1])};
  const int i = mixLanes<V>(wet, w, m, 0, frames, peak);
  double rest[2] = {m.peak[0], m.peak[1]};
  mixLanes<Scalar>(wet, w, m, i, frames, rest);
  for (int c = 0; c < 2; ++c) {
    alignas(64) double lane[V::W];
    V::stored(lane, peak[c]);
    for (int k = 0; k < V::W; ++k) rest[c] = Scalar::maxKeep(rest[c], lane[k]);
    m.peak[c] = static_cast<float>(rest[c]);
  }
}

}  // namespace
}  // namespace korro::half_rate_kernels::KORRO_KERNEL_ISA
