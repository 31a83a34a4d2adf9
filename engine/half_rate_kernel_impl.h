// The decimator and the output stage's interpolation and mix, written once
// for any vector width, lanes across frames. Included by the same source
// files as the tank's kernel, with the same lane types (V::W doubles), plus:
//   loaddu(p)       V::W doubles from p, any alignment
//   split(p, e, o)  2·V::W floats from p: the even-indexed ones widened to e,
//                   the odd-indexed ones to o
//   maxKeep(p, x)   x where x > p, else p (a NaN x leaves p)
// Every lane does the operations of the plain stages in their order, so the
// output is the same bit for bit whatever the width. Each filter's sum is a
// chain of dependent additions; two groups of lanes per channel and both
// channels run side by side so the chains overlap.
#pragma once

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
  static D round(D v) { return static_cast<float>(v); }
  static D set1(double x) { return x; }
  static D add(D a, D b) { return a + b; }
  static D sub(D a, D b) { return a - b; }
  static D mul(D a, D b) { return a * b; }
  static D abs(D a) { return __builtin_fabs(a); }
  static D maxKeep(D p, D x) { return x > p ? x : p; }
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
  for (int c = 0; c < 2; ++c) {
    for (int m = 0; m < kHistory + frames; m += 2 * V::W) {
      typename V::D even, odd;
      V::split(lin[c] + m, even, odd);
      V::stored(x.even[c] + m / 2, even);
      V::stored(x.odd[c] + m / 2, odd);
    }
  }
  int j = decimateLanes<V, 2>(x, core, first, 0, count);
  j = decimateLanes<V, 1>(x, core, first, j, count);
  decimateLanes<Scalar, 1>(x, core, first, j, count);
  return count;
}

// Host frames [from, to), G groups of lanes at a time; answers where it
// stopped. With interpolate, z holds each channel's zero-stuffed line widened.
template <class V, int G>
int outputLanes(const float* const wet[2], const double* const z[2], OutputMix& m, int from, int to,
                typename V::D peak[2]) {
  using D = typename V::D;
  int i = from;
  for (; i + G * V::W <= to; i += G * V::W) {
    D w[2][G];
    if (z[0]) {
      clear<V, G>(w);
#pragma GCC unroll 8
      for (int k = 0; k < 8; ++k) {
        const D h = V::set1(kInterpolatorTaps[k]);
#pragma GCC unroll 2
        for (int c = 0; c < 2; ++c) addPair<V, G>(w[c], h, z[c] + kHistory + i - 2 * k, z[c] + i + 2 * k);
      }
#pragma GCC unroll 2
      for (int c = 0; c < 2; ++c)
        for (int g = 0; g < G; ++g) w[c][g] = V::add(w[c][g], V::loaddu(z[c] + kHistory + i + g * V::W - 15));
    } else {
#pragma GCC unroll 2
      for (int c = 0; c < 2; ++c)
        for (int g = 0; g < G; ++g) w[c][g] = V::load(wet[c] + i + g * V::W);
    }
    for (int g = 0; g < G; ++g) {
      const int f = i + g * V::W;
      const D mix = V::load(m.mix + f);
      const D gain = V::load(m.gain + f);
      D o[2];
      for (int c = 0; c < 2; ++c) {
        const D d = V::load(m.dry[c] + f);
        o[c] = V::round(V::mul(V::add(V::mul(V::sub(w[c][g], d), mix), d), gain));
        peak[c] = V::maxKeep(peak[c], V::abs(o[c]));
      }
      if (m.out[1]) {
        for (int c = 0; c < 2; ++c) V::store(m.out[c] + f, m.adding ? V::add(V::load(m.out[c] + f), o[c]) : o[c]);
      } else {
        const D mono = V::round(V::mul(V::add(o[0], o[1]), V::set1(0.5)));
        V::store(m.out[0] + f, m.adding ? V::add(V::load(m.out[0] + f), mono) : mono);
      }
    }
  }
  return i;
}

template <class V>
void output(const float* const wet[2], bool interpolate, OutputMix& m, int frames) {
  // Rows a whole number of cache lines long, so every row starts aligned.
  alignas(64) double line[2][(kHistory + kMaxFrames + kPadding + 7) / 8 * 8];
  const double* z[2] = {};
  if (interpolate) {
    for (int c = 0; c < 2; ++c) {
      for (int k = 0; k < kHistory + frames; k += V::W) V::stored(line[c] + k, V::load(wet[c] + k));
      z[c] = line[c];
    }
  }
  typename V::D peak[2] = {V::set1(m.peak[0]), V::set1(m.peak[1])};
  int i = outputLanes<V, 2>(wet, z, m, 0, frames, peak);
  i = outputLanes<V, 1>(wet, z, m, i, frames, peak);
  double rest[2] = {m.peak[0], m.peak[1]};
  outputLanes<Scalar, 1>(wet, z, m, i, frames, rest);
  for (int c = 0; c < 2; ++c) {
    alignas(64) double lane[V::W];
    V::stored(lane, peak[c]);
    for (int k = 0; k < V::W; ++k) rest[c] = Scalar::maxKeep(rest[c], lane[k]);
    m.peak[c] = static_cast<float>(rest[c]);
  }
}

}  // namespace
}  // namespace korro::half_rate_kernels::KORRO_KERNEL_ISA
