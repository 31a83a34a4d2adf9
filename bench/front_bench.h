// What the benchmarks of the plug-in fronts share: one input, and the time
// per host frame as a counter.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

namespace korro::bench {

// Deterministic noise at about −20 dBFS, the right channel the left inverted.
struct Noise {
  explicit Noise(int frames) : left(frames), right(frames) {
    std::uint32_t s = 7;
    for (int i = 0; i < frames; ++i) {
      s = s * 1664525u + 1013904223u;
      left[i] = static_cast<float>(static_cast<std::int32_t>(s)) * 2e-10f;
      right[i] = -left[i];
    }
  }
  std::vector<float> left, right;
};

inline void setTimePerFrame(benchmark::State& state, int framesPerIteration) {
  const double frames = static_cast<double>(state.iterations()) * framesPerIteration;
  state.counters["time_per_frame"] =
      benchmark::Counter(frames, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

}  // namespace korro::bench
