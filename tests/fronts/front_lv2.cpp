// The LV2 plug-in as a front: its control ports read at the start of each
// run, so a host splits the block at each change, as the module's host does.
#include <dlfcn.h>
#include <lv2/atom/atom.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/core/lv2.h>
#include <lv2/options/options.h>
#include <lv2/urid/urid.h>

#include <string>

#include "fronts/front.h"
#include "lv2/ports.h"

namespace korro::test {
namespace {

using namespace korro::lv2;

LV2_URID mapUri(LV2_URID_Map_Handle, const char* uri) {
  static std::vector<std::string> uris;
  if (std::find(uris.begin(), uris.end(), uri) == uris.end()) uris.emplace_back(uri);
  return static_cast<LV2_URID>(std::find(uris.begin(), uris.end(), uri) - uris.begin() + 1);
}

class Lv2Front : public Front {
 public:
  Lv2Front(const char* binary, const char* bundle) : bundle_(bundle) {
    void* so = dlopen(binary, RTLD_NOW | RTLD_LOCAL);
    auto entry = so ? reinterpret_cast<const LV2_Descriptor* (*)(std::uint32_t)>(dlsym(so, "lv2_descriptor")) : nullptr;
    d_ = entry ? entry(0) : nullptr;
    changes_.clear();
    // What a host reads in the bundle as the defaults: the effect's own.
    for (const ControlPort& c : kControlPorts) control_[c.port] = static_cast<float>(portFromParameter(c, kParameters[c.parameter].defaultValue));
  }
  ~Lv2Front() override { stop(); }

  bool start(double rate, std::int32_t maxBlock, bool monoInput) override {
    stop();
    if (!d_) return false;
    maxBlock_ = maxBlock;
    mono_ = monoInput;
    const LV2_URID key = mapUri(nullptr, LV2_BUF_SIZE__maxBlockLength), type = mapUri(nullptr, LV2_ATOM__Int);
    options_[0] = {LV2_OPTIONS_INSTANCE, 0, key, sizeof maxBlock_, type, &maxBlock_};
    const LV2_Feature* features[] = {&mapFeature_, &optionsFeature_, nullptr};
    handle_ = d_->instantiate(d_, rate, bundle_.c_str(), features);
    if (!handle_) return false;
    for (std::uint32_t p = kBypassPort; p < kPortCount; ++p) d_->connect_port(handle_, p, &control_[p]);
    d_->activate(handle_);
    return true;
  }
  void reset() override {
    d_->deactivate(handle_);
    d_->activate(handle_);
  }
  bool process(float* const* in, float* const* out, std::int32_t frames, const std::vector<Point>& points) override {
    splitAtChanges(
        changes_, points, frames,
        [&](std::int32_t from, std::int32_t to) {
          for (std::uint32_t c = 0; c < 2; ++c) {
            d_->connect_port(handle_, kInputLeft + c, in[c] && !(mono_ && c) ? in[c] + from : nullptr);
            d_->connect_port(handle_, kOutputLeft + c, out[c] ? out[c] + from : nullptr);
          }
          d_->run(handle_, static_cast<std::uint32_t>(to - from));
        },
        [&](const Point& p) {
          const ControlPort& c = kControlPorts[p.id];
          control_[c.port] = static_cast<float>(portFromParameter(c, static_cast<float>(p.value)));
        });
    return true;
  }
  // A control port holds a float in the law's units.
  double expressed(std::uint32_t id, double value) override {
    if (id >= 5) return value;
    const ControlPort& c = kControlPorts[id];
    return parameterFromPort(c, static_cast<float>(portFromParameter(c, static_cast<float>(value))));
  }
  float& control(Port p) { return control_[p]; }

 private:
  void stop() {
    if (!handle_) return;
    d_->deactivate(handle_);
    d_->cleanup(handle_);
    handle_ = nullptr;
  }
  const LV2_Descriptor* d_ = nullptr;
  LV2_Handle handle_ = nullptr;
  std::string bundle_;
  std::int32_t maxBlock_ = 0;
  bool mono_ = false;
  float control_[kPortCount] = {};
  std::vector<Point> changes_ = std::vector<Point>(4096);
  LV2_URID_Map map_{nullptr, mapUri};
  LV2_Options_Option options_[2] = {};
  LV2_Feature mapFeature_{LV2_URID__map, &map_};
  LV2_Feature optionsFeature_{LV2_OPTIONS__options, options_};
};

}  // namespace

float& lv2Port(Front& lv2, std::uint32_t port) { return dynamic_cast<Lv2Front&>(lv2).control(static_cast<Port>(port)); }

std::unique_ptr<Front> makeLv2Front(const char* binary, const char* bundle) {
  return std::make_unique<Lv2Front>(binary, bundle);
}

}  // namespace korro::test
