// The VST3 plug-in as a front: changes in the block's queues at their
// offsets, a program as its program-change parameter.
#include <map>
#include <string>

#include "fronts/front.h"
#include "vst3/vst3_host.h"

namespace korro::test {

// Loaded once for the process.
const vst3host::Module& vst3ModuleAt(const char* path) {
  static std::map<std::string, std::unique_ptr<vst3host::Module>> loaded;
  auto& m = loaded[path];
  if (!m) m = std::make_unique<vst3host::Module>(path);
  return *m;
}

namespace {

using namespace vst3host;

constexpr ParamId kProgram = 1000;

class Vst3Front : public Front {
 public:
  explicit Vst3Front(const char* path) : fx_(vst3ModuleAt(path)) {
    features.programs = features.values = features.state = features.tail = features.editor = true;
    features.maxPoints = 1024;
  }
  bool start(double rate, std::int32_t maxBlock, bool monoInput) override {
    fx_.stop();
    mono_ = monoInput;
    return fx_.start(rate, maxBlock, monoInput ? kSpeakerMono : kSpeakerStereo);
  }
  void reset() override {
    fx_.processor->table->setProcessing(fx_.processor, 0);
    fx_.component->table->setActive(fx_.component, 0);
    fx_.component->table->setActive(fx_.component, 1);
    fx_.processor->table->setProcessing(fx_.processor, 1);
  }
  bool process(float* const* in, float* const* out, std::int32_t frames, const std::vector<Point>& points) override {
    changes_.clear();
    for (const Point& p : points) changes_.add(p.id == kProgramPoint ? kProgram : p.id, p.offset, p.value);
    return fx_.process(in, mono_ ? 1 : 2, out, frames, &changes_) == kOk;
  }
  double value(std::uint32_t id) override { return fx_.value(id == kProgramPoint ? kProgram : id); }
  bool save(HostStream& h) override {
    Stream s;
    s.chunk = h.chunk;
    s.failAt = h.failAt;
    const bool ok = fx_.component->table->getState(fx_.component, s.self()) == kOk;
    h.bytes = s.bytes;
    return ok;
  }
  bool load(HostStream& h) override {
    Stream s(h.bytes);
    s.pos = h.pos;
    s.chunk = h.chunk;
    s.failAt = h.failAt;
    const bool ok = fx_.component->table->setState(fx_.component, s.self()) == kOk;
    h.pos = s.pos;
    return ok;
  }
  std::uint32_t tail() override { return fx_.processor->table->getTailSamples(fx_.processor); }
  std::pair<int, int> editorSize(double scale) override {
    auto* v = static_cast<Interface<PlugViewTable>*>(fx_.controller->table->createView(fx_.controller, "editor"));
    if (!v) return {0, 0};
    void* face = nullptr;
    if (v->table->queryInterface(v, &kContentScaleSupportId, &face) == kOk) {
      auto* s = static_cast<Interface<ContentScaleTable>*>(face);
      s->table->setContentScaleFactor(s, static_cast<float>(scale));
      s->table->release(s);
    }
    ViewRect r{};
    v->table->getSize(v, &r);
    v->table->release(v);
    return {r.right - r.left, r.bottom - r.top};
  }

 private:
  Instance fx_;
  Changes changes_;
  bool mono_ = false;
};

}  // namespace

std::unique_ptr<Front> makeVst3Front(const char* binary) { return std::make_unique<Vst3Front>(binary); }

}  // namespace korro::test
