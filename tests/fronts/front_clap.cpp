// The CLAP plug-in as a front: events in the block at their frames, presets
// loaded by number before the block that chooses one.
#include <cmath>
#include <string>

#include "clap/clap_host.h"
#include "fronts/front.h"

namespace korro::test {
namespace {

class ClapFront : public Front {
 public:
  explicit ClapFront(const char* path) : fx_(host_, ClapModule::at(path)) {
    features.programs = features.values = features.state = features.tail = features.editor = true;
    events_.reserve(4096);
  }
  ~ClapFront() override { stop(); }

  bool start(double rate, std::int32_t maxBlock, bool monoInput) override {
    stop();
    const clap::Plugin* p = fx_.plugin();
    mono_ = monoInput;
    active_ = p->activate(p, rate, 1, static_cast<std::uint32_t>(maxBlock)) && p->startProcessing(p);
    return active_;
  }
  void reset() override { fx_.plugin()->reset(fx_.plugin()); }

  bool process(float* const* in, float* const* out, std::int32_t frames, const std::vector<Point>& points) override {
    const clap::Plugin* p = fx_.plugin();
    events_.clear();
    for (const Point& pt : points) {
      if (pt.id == kProgramPoint) {
        // A program is a choice when it differs: automation repeats its value.
        const long k = std::lround(pt.value * 7);
        if (k != program_) {
          program_ = k;
          const std::string key = std::to_string(k);
          fx_.ext<clap::PluginPresetLoad>(clap::kPresetLoadId)->fromLocation(p, clap::kLocationPlugin, nullptr,
                                                                             key.c_str());
        }
        continue;
      }
      clap::ParamValueEvent e{};
      e.header = {sizeof e, static_cast<std::uint32_t>(pt.offset), clap::kCoreEventSpace, clap::kParamValueEvent, 0};
      e.paramId = pt.id;
      e.noteId = e.portIndex = e.channel = e.key = -1;
      e.value = pt.value;
      events_.push_back(e);
    }
    clap::InputEvents list{this,
                           [](const clap::InputEvents* l) {
                             return static_cast<std::uint32_t>(static_cast<ClapFront*>(l->ctx)->events_.size());
                           },
                           [](const clap::InputEvents* l, std::uint32_t i) -> const clap::EventHeader* {
                             return &static_cast<ClapFront*>(l->ctx)->events_[i].header;
                           }};
    clap::OutputEvents sink{nullptr, [](const clap::OutputEvents*, const clap::EventHeader*) { return true; }};
    clap::AudioBuffer ib{const_cast<float**>(in), nullptr, mono_ ? 1u : 2u, 0, 0};
    clap::AudioBuffer ob{const_cast<float**>(out), nullptr, 2, 0, 0};
    clap::Process pr{-1, static_cast<std::uint32_t>(frames), nullptr, &ib, &ob, 1, 1, &list, &sink};
    return p->process(p, &pr) == clap::kProcessTail;
  }
  // The program is not a parameter: no value to read back.
  double value(std::uint32_t id) override { return id == kProgramPoint ? -1.0 : fx_.value(id); }

  bool save(HostStream& s) override {
    clap::OutputStream out{&s, [](const clap::OutputStream* o, const void* data, std::uint64_t size) {
                             return static_cast<HostStream*>(o->ctx)->write(data, static_cast<std::size_t>(size));
                           }};
    return fx_.ext<clap::PluginState>(clap::kStateId)->save(fx_.plugin(), &out);
  }
  bool load(HostStream& s) override {
    clap::InputStream in{&s, [](const clap::InputStream* i, void* data, std::uint64_t size) {
                           return static_cast<HostStream*>(i->ctx)->read(data, static_cast<std::size_t>(size));
                         }};
    return fx_.ext<clap::PluginState>(clap::kStateId)->load(fx_.plugin(), &in);
  }
  std::uint32_t tail() override { return fx_.ext<clap::PluginTail>(clap::kTailId)->get(fx_.plugin()); }
  int tailChangesTold() override { return host_.tailChanged; }

  std::pair<int, int> editorSize(double scale) override {
#if defined(_WIN32)
    const char* api = "win32";
#else
    const char* api = "x11";
#endif
    const auto* gui = fx_.ext<clap::PluginGui>(clap::kGuiId);
    std::uint32_t w = 0, h = 0;
    if (!gui->create(fx_.plugin(), api, false)) return {0, 0};
    gui->setScale(fx_.plugin(), scale);
    gui->getSize(fx_.plugin(), &w, &h);
    gui->destroy(fx_.plugin());
    return {static_cast<int>(w), static_cast<int>(h)};
  }

 private:
  void stop() {
    if (!active_) return;
    fx_.plugin()->stopProcessing(fx_.plugin());
    fx_.plugin()->deactivate(fx_.plugin());
    active_ = false;
  }
  ClapHost host_;
  ClapInstance fx_;
  std::vector<clap::ParamValueEvent> events_;
  bool active_ = false, mono_ = false;
  long program_ = 0;
};

}  // namespace

std::unique_ptr<Front> makeClapFront(const char* plugin) { return std::make_unique<ClapFront>(plugin); }

}  // namespace korro::test
