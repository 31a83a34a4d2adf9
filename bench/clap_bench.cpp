// The CLAP front against the VST 2 module it wraps, at 44.1 kHz and block
// 512: the front alone, the front with sixteen parameter events per block,
// and the floor those events set, the module fed the same 32-frame pieces.
#include <benchmark/benchmark.h>

#include <dlfcn.h>

#include <cstdlib>
#include <vector>

#include "built_module.h"
#include "clap/clap_abi.h"
#include "front_bench.h"

namespace {

using korro::bench::Noise;
using korro::bench::setTimePerFrame;

namespace clap = korro::clap;
constexpr int kBlock = 512;
constexpr float kRate = 44100.0f;

// KORRO_BENCH_CLAP names another build of the plug-in, as KORRO_BENCH_MODULE does the module's.
const clap::PluginEntry* clapEntry() {
  static const clap::PluginEntry* entry = [] {
    const char* other = std::getenv("KORRO_BENCH_CLAP");
    const char* path = other && *other ? other : KORRO_CLAP_PATH;
    void* m = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    auto* e = m ? static_cast<const clap::PluginEntry*>(dlsym(m, "clap_entry")) : nullptr;
    return e && e->init(path) ? e : nullptr;
  }();
  return entry;
}

// Argument: parameter events per block, evenly spread.
void clapBlock(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  const clap::PluginEntry* entry = clapEntry();
  if (!entry) {
    state.SkipWithError("the .clap did not load");
    return;
  }
  const auto* f = static_cast<const clap::PluginFactory*>(entry->getFactory(clap::kPluginFactoryId));
  clap::Host host{};
  host.abi = clap::kAbiVersion;
  host.name = host.vendor = host.url = host.version = "bench";
  host.getExtension = [](const clap::Host*, const char*) -> const void* { return nullptr; };
  host.requestRestart = host.requestProcess = host.requestCallback = [](const clap::Host*) {};
  const clap::Plugin* p = f->createPlugin(f, &host, f->getPluginDescriptor(f, 0)->id);
  p->init(p);
  p->activate(p, kRate, 1, kBlock);
  p->startProcessing(p);

  std::vector<clap::ParamValueEvent> events(static_cast<std::size_t>(count));
  for (int k = 0; k < count; ++k) {
    events[k].header = {sizeof(clap::ParamValueEvent), static_cast<std::uint32_t>(k * kBlock / count), 0,
                        clap::kParamValueEvent, 0};
    events[k].paramId = 4;  // Mix: every event changes a value the block uses
  }
  clap::InputEvents list{&events, [](const clap::InputEvents* l) {
                           return static_cast<std::uint32_t>(static_cast<decltype(events)*>(l->ctx)->size());
                         },
                         [](const clap::InputEvents* l, std::uint32_t i) -> const clap::EventHeader* {
                           return &(*static_cast<decltype(events)*>(l->ctx))[i].header;
                         }};
  const int length = static_cast<int>(kRate) * 20 / kBlock * kBlock;
  Noise in(length);
  std::vector<float> outL(kBlock), outR(kBlock);
  int pos = 0;
  std::uint32_t step = 0;
  for (auto _ : state) {
    for (auto& e : events) e.value = 0.3 + 0.4 * ((++step) & 1);
    float* ip[2] = {in.left.data() + pos, in.right.data() + pos};
    float* op[2] = {outL.data(), outR.data()};
    clap::AudioBuffer ib{ip, nullptr, 2, 0, 0}, ob{op, nullptr, 2, 0, 0};
    clap::Process pr{-1, kBlock, nullptr, &ib, &ob, 1, 1, &list, nullptr};
    p->process(p, &pr);
    benchmark::ClobberMemory();
    pos = (pos + kBlock) % length;
  }
  setTimePerFrame(state, kBlock);
  p->stopProcessing(p);
  p->deactivate(p);
  p->destroy(p);
}
BENCHMARK(clapBlock)->ArgName("events")->Arg(0)->Arg(16);

// Argument: piece length. The VST 2 module fed each 512-frame block in pieces.
void vstPieces(benchmark::State& state) {
  const int piece = static_cast<int>(state.range(0));
  korro::host::Host host;
  korro::host::Plugin vst(korro::bench::builtModule(), host);
  vst.start(kRate, kBlock);
  const int length = static_cast<int>(kRate) * 20 / kBlock * kBlock;
  Noise in(length);
  std::vector<float> outL(kBlock), outR(kBlock);
  int pos = 0;
  for (auto _ : state) {
    for (int at = 0; at < kBlock; at += piece) {
      float* ip[2] = {in.left.data() + pos + at, in.right.data() + pos + at};
      float* op[2] = {outL.data() + at, outR.data() + at};
      vst.processReplacing(ip, op, piece);
    }
    benchmark::ClobberMemory();
    pos = (pos + kBlock) % length;
  }
  setTimePerFrame(state, kBlock);
}
BENCHMARK(vstPieces)->ArgName("piece")->Arg(512)->Arg(32);

}  // namespace
