// The VST3 front against the VST 2 module it wraps, at 44.1 kHz and block
// 512, both in one run so their ratio is read from the same machine state:
// the front alone and with sixteen parameter points per block.
#include <benchmark/benchmark.h>

#include <vector>

#include "built_module.h"
#include "front_bench.h"
#include "vst3/vst3_host.h"

namespace {

using korro::bench::Noise;
using korro::bench::setTimePerFrame;

using namespace korro::test::vst3host;
constexpr int kBlock = 512;
constexpr float kRate = 44100.0f;

const Module& vst3Module() {
  static const Module module(KORRO_VST3_PATH);
  return module;
}



const int kLength = static_cast<int>(kRate) * 20 / kBlock * kBlock;

// Argument: points per block, evenly spread; none is an empty change list,
// as hosts send when nothing is automated.
void vst3Block(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  Instance fx(vst3Module());
  if (!fx || !fx.start(kRate, kBlock)) {
    state.SkipWithError("the VST3 bundle did not load");
    return;
  }
  Noise in(kLength);
  std::vector<float> outL(kBlock), outR(kBlock);
  Changes changes;
  int pos = 0;
  std::uint32_t step = 0;
  for (auto _ : state) {
    changes.clear();
    // Mix: every point changes a value the block uses.
    for (int k = 0; k < count; ++k) changes.add(4, k * kBlock / count, 0.3 + 0.4 * ((++step) & 1));
    float* ip[2] = {in.left.data() + pos, in.right.data() + pos};
    float* op[2] = {outL.data(), outR.data()};
    fx.process(ip, 2, op, kBlock, &changes);
    benchmark::ClobberMemory();
    pos = (pos + kBlock) % kLength;
  }
  setTimePerFrame(state, kBlock);
}
BENCHMARK(vst3Block)->ArgName("events")->Arg(0)->Arg(16);

// The module alone, the same blocks.
void vst3ModuleBlock(benchmark::State& state) {
  korro::host::Host host;
  korro::host::Plugin vst(korro::bench::builtModule(), host);
  vst.start(kRate, kBlock);
  Noise in(kLength);
  std::vector<float> outL(kBlock), outR(kBlock);
  int pos = 0;
  for (auto _ : state) {
    float* ip[2] = {in.left.data() + pos, in.right.data() + pos};
    float* op[2] = {outL.data(), outR.data()};
    vst.processReplacing(ip, op, kBlock);
    benchmark::ClobberMemory();
    pos = (pos + kBlock) % kLength;
  }
  setTimePerFrame(state, kBlock);
}
BENCHMARK(vst3ModuleBlock);

}  // namespace
