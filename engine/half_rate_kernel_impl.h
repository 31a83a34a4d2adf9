// The decimator and the output stage's interpolation and mix, written once
// for any vector width, lanes across frames. Included by the same source
// files as the tank's kernel, with the same lane types (V::W doubles), plus:
//   loadEven(p)     V::W floats from p, p + 2, ..., widened
//   maxKeep(p, x)   x where x > p, else p (a NaN x leaves p)
// Every lane does the operations of the plain stages in their order, so the
// output is the same bit for bit whatever the width.
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
  static D loadEven(const float* p) { return *p; }
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

// Outputs j in [from, to) of one channel; output j is taken at host frame
// first + 2j. Symmetric pairs are summed first, accumulated from the outside
// in, the centre tap last.
template <class V>
int decimateLanes(const float* lin, float* core, int first, int from, int to) {
  using D = typename V::D;
  int j = from;
  for (; j + V::W <= to; j += V::W) {
    const float* x = lin + kHistory + first + 2 * j;
    D acc = V::set1(0.0);
    for (int k = 0; k < 15; ++k)
      acc = V::add(acc, V::mul(V::set1(kDecimatorTaps[k]), V::add(V::loadEven(x - k), V::loadEven(x - 30 + k))));
    acc = V::add(acc, V::mul(V::set1(kDecimatorTaps[15]), V::loadEven(x - 15)));
    V::store(core + j, acc);
  }
  return j;
}

template <class V>
int decimate(const float* const lin[2], int frames, int first, float* const core[2]) {
  const int count = frames > first ? (frames - first + 1) / 2 : 0;
  for (int c = 0; c < 2; ++c) {
    const int j = decimateLanes<V>(lin[c], core[c], first, 0, count);
    decimateLanes<Scalar>(lin[c], core[c], first, j, count);
  }
  return count;
}

// Host frames [from, to); answers where it stopped.
template <class V>
int outputLanes(const float* const wet[2], bool interpolate, OutputMix& m, int from, int to,
                typename V::D peak[2]) {
  using D = typename V::D;
  int i = from;
  for (; i + V::W <= to; i += V::W) {
    const D mix = V::load(m.mix + i);
    const D gain = V::load(m.gain + i);
    D o[2];
    for (int c = 0; c < 2; ++c) {
      D w;
      if (interpolate) {
        const float* z = wet[c] + kHistory + i;
        D acc = V::set1(0.0);
        for (int k = 0; k < 8; ++k)
          acc = V::add(acc, V::mul(V::set1(kInterpolatorTaps[k]), V::add(V::load(z - 2 * k), V::load(z - 30 + 2 * k))));
        w = V::add(acc, V::load(z - 15));
      } else {
        w = V::load(wet[c] + i);
      }
      const D d = V::load(m.dry[c] + i);
      o[c] = V::round(V::mul(V::add(V::mul(V::sub(w, d), mix), d), gain));
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
void output(const float* const wet[2], bool interpolate, OutputMix& m, int frames) {
  typename V::D peak[2] = {V::set1(m.peak[0]), V::set1(m.peak[1])};
  const int i = outputLanes<V>(wet, interpolate, m, 0, frames, peak);
  double rest[2] = {m.peak[0], m.peak[1]};
  outputLanes<Scalar>(wet, interpolate, m, i, frames, rest);
  for (int c = 0; c < 2; ++c) {
    alignas(32) double lane[V::W];
    V::stored(lane, peak[c]);
    for (int k = 0; k < V::W; ++k) rest[c] = Scalar::maxKeep(rest[c], lane[k]);
    m.peak[c] = static_cast<float>(rest[c]);
  }
}

}  // namespace
}  // namespace korro::half_rate_kernels::KORRO_KERNEL_ISA
