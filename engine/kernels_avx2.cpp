// The engine's kernels with four lanes of double precision. This file alone is compiled
// for AVX2 (without FMA); it is only called after a processor check, and it
// includes no library code whose inline functions other files could share.
#include <immintrin.h>

#define KORRO_KERNEL_ISA avx2
#include "half_rate_kernel_impl.h"
#include "kernel_entries.h"
#include "tank_kernel_impl.h"

namespace korro::tank_kernels {
namespace {

struct Avx2 {
  using D = __m256d;
  static constexpr int W = 4;
  static D load(const float* p) { return _mm256_cvtps_pd(_mm_loadu_ps(p)); }
  static void store(float* p, D v) { _mm_storeu_ps(p, _mm256_cvtpd_ps(v)); }
  static D loadd(const double* p) { return _mm256_load_pd(p); }
  static void stored(double* p, D v) { _mm256_store_pd(p, v); }
  static void deinterleave(const double* p, int stride, D& lo, D& hi) {
    const D a = _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_load_pd(p)), _mm_load_pd(p + 2 * stride), 1);
    const D b = _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_load_pd(p + stride)), _mm_load_pd(p + 3 * stride), 1);
    lo = _mm256_unpacklo_pd(a, b);
    hi = _mm256_unpackhi_pd(a, b);
  }
  static D round(D v) { return _mm256_cvtps_pd(_mm256_cvtpd_ps(v)); }
  static D set1(double x) { return _mm256_set1_pd(x); }
  static D add(D a, D b) { return _mm256_add_pd(a, b); }
  static D sub(D a, D b) { return _mm256_sub_pd(a, b); }
  static D mul(D a, D b) { return _mm256_mul_pd(a, b); }
  static D div(D a, D b) { return _mm256_div_pd(a, b); }
  static D sqrt(D a) { return _mm256_sqrt_pd(a); }
  static D abs(D a) { return _mm256_andnot_pd(_mm256_set1_pd(-0.0), a); }
  static D loaddu(const double* p) { return _mm256_loadu_pd(p); }
  static void split(const float* p, D& even, D& odd) {
    const __m256 v = _mm256_permutevar8x32_ps(_mm256_loadu_ps(p), _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7));
    even = _mm256_cvtps_pd(_mm256_castps256_ps128(v));
    odd = _mm256_cvtps_pd(_mm256_extractf128_ps(v, 1));
  }
  static D maxKeep(D p, D x) { return _mm256_max_pd(x, p); }
  static void interleave(double* p, D a, D b) {
    const D lo = _mm256_unpacklo_pd(a, b), hi = _mm256_unpackhi_pd(a, b);
    _mm256_storeu_pd(p, _mm256_permute2f128_pd(lo, hi, 0x20));
    _mm256_storeu_pd(p + 4, _mm256_permute2f128_pd(lo, hi, 0x31));
  }
};

}  // namespace

}  // namespace korro::tank_kernels

KORRO_KERNEL_ENTRIES(Avx2, Avx2)
