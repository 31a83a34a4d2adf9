// Whole blocks through the built module, loaded as a host loads it; and the
// cost of a block long after a loud burst against one right after it, which
// shows whether the tail sinks into slow subnormal arithmetic.
#include <benchmark/benchmark.h>

#include <time.h>

#include <random>
#include <vector>

#include "built_module.h"

namespace {

using korro::host::Host;
using korro::host::Plugin;

double threadSeconds() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

struct Stereo {
  Stereo(int frames, float level, unsigned seed) : left(frames), right(frames) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-level, level);
    for (int i = 0; i < frames; ++i) left[i] = u(rng), right[i] = u(rng);
  }
  float** at(int frame) {
    ptr[0] = left.data() + frame;
    ptr[1] = right.data() + frame;
    return ptr;
  }
  std::vector<float> left, right;
  float* ptr[2] = {};
};

// Arguments: host rate, block.
void moduleBlock(benchmark::State& state) {
  const float rate = static_cast<float>(state.range(0));
  const int block = static_cast<int>(state.range(1));
  if (!korro::bench::builtModule().loaded()) {
    state.SkipWithError("the module did not load");
    return;
  }
  Host host;
  Plugin plugin(korro::bench::builtModule(), host);
  plugin.start(rate, block);
  const int length = static_cast<int>(rate) * 20 / block * block;
  Stereo in(length, 0.5f, 1), out(block, 0.0f, 2);
  int pos = 0;
  for (auto _ : state) {
    plugin.processReplacing(in.at(pos), out.at(0), block);
    benchmark::ClobberMemory();
    pos = (pos + block) % length;
  }
  const double frames = static_cast<double>(state.iterations()) * block;
  state.counters["time_per_frame"] = benchmark::Counter(frames, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.counters["audio_seconds"] = benchmark::Counter(frames / rate, benchmark::Counter::kIsRate);
}
BENCHMARK(moduleBlock)->ArgNames({"rate", "block"})->ArgsProduct({{44100, 96000}, {64, 512}});

// Arguments: seconds of silence after the burst. Each iteration times 200
// blocks right after a second of loud noise and 200 blocks after the silence.
void silenceAfterBurst(benchmark::State& state) {
  const int silentSeconds = static_cast<int>(state.range(0));
  const float rate = 44100.0f;
  const int block = 512;
  const int timed = 200;
  if (!korro::bench::builtModule().loaded()) {
    state.SkipWithError("the module did not load");
    return;
  }
  Stereo burst(static_cast<int>(rate), 20.0f, 3), silence(block, 0.0f, 4), out(block, 0.0f, 5);
  double burstTime = 0.0, silenceTime = 0.0;
  for (auto _ : state) {
    Host host;
    Plugin plugin(korro::bench::builtModule(), host);
    plugin.start(rate, block);
    plugin.setParameter(1, 1.0f);  // longest decay
    for (int pos = 0; pos + block <= static_cast<int>(rate); pos += block)
      plugin.processReplacing(burst.at(pos), out.at(0), block);

    double t0 = threadSeconds();
    for (int b = 0; b < timed; ++b) plugin.processReplacing(silence.at(0), out.at(0), block);
    const double afterBurst = threadSeconds() - t0;

    const long silentBlocks = static_cast<long>(silentSeconds) * static_cast<long>(rate) / block;
    for (long b = 0; b < silentBlocks; ++b) plugin.processReplacing(silence.at(0), out.at(0), block);

    t0 = threadSeconds();
    for (int b = 0; b < timed; ++b) plugin.processReplacing(silence.at(0), out.at(0), block);
    const double afterSilence = threadSeconds() - t0;

    burstTime += afterBurst;
    silenceTime += afterSilence;
    state.SetIterationTime(afterBurst + afterSilence);
  }
  const double frames = static_cast<double>(state.iterations()) * timed * block;
  state.counters["burst_ns_per_frame"] = burstTime / frames * 1e9;
  state.counters["silence_ns_per_frame"] = silenceTime / frames * 1e9;
  state.counters["silence_over_burst"] = silenceTime / burstTime;
}
BENCHMARK(silenceAfterBurst)->ArgName("silent_s")->Arg(10)->UseManualTime()->Iterations(5);
BENCHMARK(silenceAfterBurst)->ArgName("silent_s")->Arg(3600)->UseManualTime()->Iterations(1);

}  // namespace
