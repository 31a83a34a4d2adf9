// The VST3 front against the VST 2 module it wraps, at 44.1 kHz and block
// 512, both in one run so their ratio is read from the same machine state:
// the front alone and with sixteen parameter points per block.
#include <benchmark/benchmark.h>

#include <dlfcn.h>

#include <cstdlib>
#include <vector>

#include "built_module.h"
#include "front_bench.h"
#include "vst3/vst3_abi.h"

namespace {

using korro::bench::Noise;
using korro::bench::setTimePerFrame;

namespace vst3 = korro::vst3;
constexpr int kBlock = 512;
constexpr float kRate = 44100.0f;
constexpr vst3::ParamId kMix = 4;  // every point changes a value the block uses

// The host's change list: none or one queue, Mix's points.
struct Points {
  const vst3::ParamValueQueueTable* table;
  std::vector<std::int32_t> offsets;
  std::vector<double> values;
};
struct Changes {
  const vst3::ParameterChangesTable* table;
  Points* mix;
};

vst3::Result noInterface(void*, const vst3::Tuid*, void** out) {
  if (out) *out = nullptr;
  return vst3::kNoInterface;
}
std::uint32_t uncounted(void*) { return 1; }

const vst3::ParamValueQueueTable kPointsTable = {
    .queryInterface = noInterface,
    .addRef = uncounted,
    .release = uncounted,
    .getParameterId = [](void*) { return kMix; },
    .getPointCount = [](void* s) { return static_cast<std::int32_t>(static_cast<Points*>(s)->offsets.size()); },
    .getPoint = [](void* s, std::int32_t i, std::int32_t* offset, double* value) {
      const auto* p = static_cast<Points*>(s);
      *offset = p->offsets[i];
      *value = p->values[i];
      return vst3::kOk;
    },
    .addPoint = [](void*, std::int32_t, double, std::int32_t*) { return vst3::kFalse; },
};

const vst3::ParameterChangesTable kChangesTable = {
    .queryInterface = noInterface,
    .addRef = uncounted,
    .release = uncounted,
    .getParameterCount = [](void* s) { return static_cast<Changes*>(s)->mix ? 1 : 0; },
    .getParameterData = [](void* s, std::int32_t) {
      return reinterpret_cast<vst3::ParamValueQueue*>(static_cast<Changes*>(s)->mix);
    },
    .addParameterData = [](void*, const vst3::ParamId*, std::int32_t*) -> vst3::ParamValueQueue* { return nullptr; },
};

// KORRO_BENCH_VST3 names another build of the bundle's binary, as KORRO_BENCH_MODULE does the module's.
vst3::Interface<vst3::FactoryTable>* factory() {
  static vst3::Interface<vst3::FactoryTable>* f = [] {
    const char* other = std::getenv("KORRO_BENCH_VST3");
    void* m = dlopen(other && *other ? other : KORRO_VST3_PATH, RTLD_NOW | RTLD_LOCAL);
    auto entry = m ? reinterpret_cast<bool (*)(void*)>(dlsym(m, "ModuleEntry")) : nullptr;
    auto get = m ? reinterpret_cast<void* (*)()>(dlsym(m, "GetPluginFactory")) : nullptr;
    return entry && get && entry(m) ? static_cast<vst3::Interface<vst3::FactoryTable>*>(get()) : nullptr;
  }();
  return f;
}

// The bundle's class as hosts start it: stereo in and out, setup, active, processing.
class Instance {
 public:
  Instance() {
    auto* f = factory();
    vst3::ClassInfo info{};
    void* out = nullptr;
    if (!f || f->table->getClassInfo(f, 0, &info) != vst3::kOk ||
        f->table->createInstance(f, &info.classId, &vst3::kComponentId, &out) != vst3::kOk)
      return;
    component_ = static_cast<Component*>(out);
    component_->table->initialize(component_, nullptr);
    if (component_->table->queryInterface(component_, &vst3::kAudioProcessorId, &out) != vst3::kOk) return;
    processor_ = static_cast<Processor*>(out);
    std::uint64_t in = vst3::kSpeakerStereo, outs = vst3::kSpeakerStereo;
    vst3::ProcessSetup setup{0, 0, kBlock, kRate};
    started_ = processor_->table->setBusArrangements(processor_, &in, 1, &outs, 1) == vst3::kTrue &&
               processor_->table->setupProcessing(processor_, &setup) == vst3::kOk &&
               component_->table->setActive(component_, 1) == vst3::kOk;
    if (started_) processor_->table->setProcessing(processor_, 1);
  }
  ~Instance() {
    if (started_) {
      processor_->table->setProcessing(processor_, 0);
      component_->table->setActive(component_, 0);
    }
    if (processor_) processor_->table->release(processor_);
    if (component_) {
      component_->table->terminate(component_);
      component_->table->release(component_);
    }
  }
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;
  explicit operator bool() const { return started_; }

  void process(float** in, float** out, Changes* changes) {
    vst3::AudioBusBuffers ib{2, 0, in}, ob{2, 0, out};
    vst3::ProcessData d{};
    d.sampleCount = kBlock;
    d.inputCount = d.outputCount = 1;
    d.inputs = &ib;
    d.outputs = &ob;
    d.inputChanges = reinterpret_cast<vst3::ParameterChanges*>(changes);
    processor_->table->process(processor_, &d);
  }

 private:
  using Component = vst3::Interface<vst3::ComponentTable>;
  using Processor = vst3::Interface<vst3::AudioProcessorTable>;
  Component* component_ = nullptr;
  Processor* processor_ = nullptr;
  bool started_ = false;
};

const int kLength = static_cast<int>(kRate) * 20 / kBlock * kBlock;

// Argument: points per block, evenly spread; none is an empty change list,
// as hosts send when nothing is automated.
void vst3Block(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  Instance fx;
  if (!fx) {
    state.SkipWithError("the VST3 bundle did not load");
    return;
  }
  Noise in(kLength);
  std::vector<float> outL(kBlock), outR(kBlock);
  Points mix{&kPointsTable, std::vector<std::int32_t>(count), std::vector<double>(count)};
  for (int k = 0; k < count; ++k) mix.offsets[k] = k * kBlock / count;
  Changes changes{&kChangesTable, count ? &mix : nullptr};
  int pos = 0;
  std::uint32_t step = 0;
  for (auto _ : state) {
    for (double& v : mix.values) v = 0.3 + 0.4 * ((++step) & 1);
    float* ip[2] = {in.left.data() + pos, in.right.data() + pos};
    float* op[2] = {outL.data(), outR.data()};
    fx.process(ip, op, &changes);
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
