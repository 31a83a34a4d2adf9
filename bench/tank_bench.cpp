// The spring tank alone: the plain network and every instruction set of the
// vectorised one, at the engine rates of a 44.1 kHz and a 96 kHz
// host, fed the frames of host blocks of 64 and 512; and tanks alone in a
// session, taking 512-frame blocks in turn.
#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <vector>

#include "engine/engine_memory.h"
#include "engine/spring_tank.h"

namespace {

using korro::SpringTank;

enum Network { kPlain = 0, kSse2 = 1, kAvx2 = 2 };

// Arguments: network, host rate, host block.
void tank(benchmark::State& state) {
  const auto network = static_cast<Network>(state.range(0));
  const double hostRate = static_cast<double>(state.range(1));
  const int hostBlock = static_cast<int>(state.range(2));
  const bool half = hostRate > 50000.0;
  const double engineRate = half ? hostRate * 0.5 : hostRate;
  const int frames = half ? hostBlock / 2 : hostBlock;

  auto memory = std::make_unique<korro::DelayMemory>();
  memory->clearAll();
  SpringTank t(*memory);
  if (network == kAvx2 && !t.useIsa(SpringTank::Isa::Avx2)) {
    state.SkipWithError("no AVX2 on this processor");
    return;
  }
  if (network == kSse2) t.useIsa(SpringTank::Isa::Sse2);
  if (network == kPlain) t.useIsa(SpringTank::Isa::Plain);
  t.resetForResume();

  // A minute of noise, played in a loop.
  const int length = static_cast<int>(engineRate) * 60 / frames * frames;
  std::vector<float> left(length), right(length), outL(frames), outR(frames);
  std::mt19937 rng(1);
  std::uniform_real_distribution<float> u(-0.5f, 0.5f);
  for (int i = 0; i < length; ++i) left[i] = u(rng), right[i] = u(rng);

  int pos = 0;
  float* out[2] = {outL.data(), outR.data()};
  for (auto _ : state) {
    const float* in[2] = {left.data() + pos, right.data() + pos};
    t.update(0.6f, 0.3f, engineRate);
    t.process(in, out, frames, true);
    benchmark::DoNotOptimize(outL.data());
    benchmark::ClobberMemory();
    pos = (pos + frames) % length;
  }
  const double processed = static_cast<double>(state.iterations()) * frames;
  state.counters["time_per_frame"] = benchmark::Counter(processed, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.counters["audio_seconds"] = benchmark::Counter(processed / engineRate, benchmark::Counter::kIsRate);
  state.SetItemsProcessed(static_cast<std::int64_t>(processed));
}

void tankArguments(benchmark::internal::Benchmark* b) {
  b->ArgNames({"net", "rate", "block"});
  for (int network : {kSse2, kAvx2, kPlain})
    for (int rate : {44100, 96000})
      for (int block : {64, 512}) b->Args({network, rate, block});
}

BENCHMARK(tank)->Apply(tankArguments);

// Arguments: network, tanks. What the rings cost when many tanks take turns,
// without the stages around them; small enough to run under a cache simulator.
void tankSession(benchmark::State& state) {
  const auto network = static_cast<Network>(state.range(0));
  const int count = static_cast<int>(state.range(1));
  constexpr int frames = 512;
  constexpr SpringTank::Isa forms[] = {SpringTank::Isa::Plain, SpringTank::Isa::Sse2, SpringTank::Isa::Avx2};
  struct Instance {
    Instance() : memory(std::make_unique<korro::DelayMemory>()), tank(*memory), in(2 * frames), out(2 * frames) {}
    std::unique_ptr<korro::DelayMemory> memory;
    SpringTank tank;
    std::vector<float> in, out;
  };
  std::vector<std::unique_ptr<Instance>> tanks;
  std::mt19937 rng(1);
  std::uniform_real_distribution<float> u(-0.5f, 0.5f);
  for (int i = 0; i < count; ++i) {
    auto& t = *tanks.emplace_back(std::make_unique<Instance>());
    t.memory->clearAll();
    if (!t.tank.useIsa(forms[network])) {
      state.SkipWithError("the network is not available on this processor");
      return;
    }
    t.tank.resetForResume();
    for (float& x : t.in) x = u(rng);
  }
  for (auto _ : state) {
    for (auto& t : tanks) {
      const float* in[2] = {t->in.data(), t->in.data() + frames};
      float* out[2] = {t->out.data(), t->out.data() + frames};
      t->tank.update(0.6f, 0.3f, 44100.0);
      t->tank.process(in, out, frames, true);
    }
    benchmark::ClobberMemory();
  }
  const double processed = static_cast<double>(state.iterations()) * count * frames;
  state.counters["time_per_frame"] = benchmark::Counter(processed, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(tankSession)->ArgNames({"net", "n"})->ArgsProduct({{kAvx2, kPlain}, {1, 8, 16, 32, 64, 128}});

}  // namespace
