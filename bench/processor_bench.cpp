// The two kinds of work the spring tank is made of, timed alone and together:
// the loop gain's chain of square roots and a division, and the float/double
// conversions around every ring access. On a processor where the two overlap,
// "together" costs about as much as the dearer of the two; where the divide
// unit holds up the conversions, it costs their sum, and so does the tank.
#include <benchmark/benchmark.h>
#include <immintrin.h>

namespace {

constexpr int kLanes = 64;

struct Buffers {
  alignas(64) double levels[kLanes] = {};
  alignas(64) double gains[kLanes] = {};
  alignas(64) float in[kLanes] = {};
  alignas(64) float out[kLanes] = {};
  Buffers() {
    for (int i = 0; i < kLanes; ++i) levels[i] = 0.01 * (i + 1), in[i] = 0.5f / static_cast<float>(i + 1);
  }
};

// Two channels of four frames: 8 square roots and 2 divisions, as a block of
// four frames of the tank has.
[[gnu::target("avx2")]] void roots(Buffers& b, int at) {
  const __m256d one = _mm256_set1_pd(1.0);
  for (int c = 0; c < 2; ++c) {
    const __m256d env = _mm256_load_pd(b.levels + ((at + 4 * c) & (kLanes - 4)));
    const __m256d q =
        _mm256_sqrt_pd(_mm256_sqrt_pd(_mm256_div_pd(one, _mm256_add_pd(one, _mm256_sqrt_pd(_mm256_sqrt_pd(env))))));
    _mm256_store_pd(b.gains + ((at + 4 * c) & (kLanes - 4)), q);
  }
}

// Twenty four-lane reads widened to double and written back rounded to float:
// about what the tank's spring lines convert in four frames.
[[gnu::target("avx2")]] void conversions(Buffers& b) {
  const __m256d step = _mm256_set1_pd(1e-9);
  for (int k = 0; k < 20; ++k) {
    const int i = (4 * k) & (kLanes - 4);
    const __m256d v = _mm256_cvtps_pd(_mm_load_ps(b.in + i));
    _mm_store_ps(b.out + i, _mm256_cvtpd_ps(_mm256_add_pd(v, step)));
  }
}

bool hasAvx2() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2");
}

void rootsAlone(benchmark::State& state) {
  if (!hasAvx2()) return state.SkipWithError("no AVX2 on this processor");
  Buffers b;
  int at = 0;
  for (auto _ : state) {
    roots(b, at);
    at += 8;
    benchmark::ClobberMemory();
  }
}

void conversionsAlone(benchmark::State& state) {
  if (!hasAvx2()) return state.SkipWithError("no AVX2 on this processor");
  Buffers b;
  for (auto _ : state) {
    conversions(b);
    benchmark::ClobberMemory();
  }
}

void rootsAndConversions(benchmark::State& state) {
  if (!hasAvx2()) return state.SkipWithError("no AVX2 on this processor");
  Buffers b;
  int at = 0;
  for (auto _ : state) {
    roots(b, at);
    conversions(b);
    at += 8;
    benchmark::ClobberMemory();
  }
}

BENCHMARK(rootsAlone);
BENCHMARK(conversionsAlone);
BENCHMARK(rootsAndConversions);

}  // namespace
