// The engine's kernels with two lanes of double precision: SSE2, present on
// every x86-64.
#include <emmintrin.h>

#define KORRO_KERNEL_ISA sse2
#include "half_rate_kernel_impl.h"
#include "kernel_entries.h"
#include "tank_kernel_impl.h"

namespace korro::tank_kernels {
namespace {

struct Sse2 {
  using D = __m128d;
  static constexpr int W = 2;
  static D load(const float* p) { return _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)))); }
  static void store(float* p, D v) { _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_castps_si128(_mm_cvtpd_ps(v))); }
  static D loadd(const double* p) { return _mm_load_pd(p); }
  static void stored(double* p, D v) { _mm_store_pd(p, v); }
  static void deinterleave(const double* p, int stride, D& lo, D& hi) {
    const D a = _mm_load_pd(p), b = _mm_load_pd(p + stride);
    lo = _mm_unpacklo_pd(a, b);
    hi = _mm_unpackhi_pd(a, b);
  }
  static D round(D v) { return _mm_cvtps_pd(_mm_cvtpd_ps(v)); }
  static D set1(double x) { return _mm_set1_pd(x); }
  static D add(D a, D b) { return _mm_add_pd(a, b); }
  static D sub(D a, D b) { return _mm_sub_pd(a, b); }
  static D mul(D a, D b) { return _mm_mul_pd(a, b); }
  static D div(D a, D b) { return _mm_div_pd(a, b); }
  static D sqrt(D a) { return _mm_sqrt_pd(a); }
  static D abs(D a) { return _mm_andnot_pd(_mm_set1_pd(-0.0), a); }
  static D loaddu(const double* p) { return _mm_loadu_pd(p); }
  static void split(const float* p, D& even, D& odd) {
    const __m128 v = _mm_loadu_ps(p);
    even = _mm_cvtps_pd(_mm_shuffle_ps(v, v, _MM_SHUFFLE(2, 0, 2, 0)));
    odd = _mm_cvtps_pd(_mm_shuffle_ps(v, v, _MM_SHUFFLE(3, 1, 3, 1)));
  }
  static D maxKeep(D p, D x) { return _mm_max_pd(x, p); }
  static void interleave(double* p, D a, D b) {
    _mm_storeu_pd(p, _mm_unpacklo_pd(a, b));
    _mm_storeu_pd(p + 2, _mm_unpackhi_pd(a, b));
  }
};

}  // namespace

}  // namespace korro::tank_kernels

KORRO_KERNEL_ENTRIES(Sse2, Sse2)
