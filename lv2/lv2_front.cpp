// The LV2 plug-in: the same effect object a VST 2 host gets, driven through
// the same calls, so it gives the same samples.
#include <lv2/atom/atom.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/core/lv2.h>
#include <lv2/options/options.h>
#include <lv2/urid/urid.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <iterator>

#include "shell/hosted_effect.h"
#include "peak_hold.h"
#include "ports.h"

namespace korro::lv2 {
namespace {

constexpr std::size_t kControlCount = std::size(kControlPorts);

struct Instance {
  Instance(double rate, std::int32_t maxBlock) : effect(maxBlock), sampleRate(rate), maxBlock(maxBlock) {
    std::fill(std::begin(applied), std::end(applied), NAN);
  }

  HostedEffect effect;
  double sampleRate;
  std::int32_t maxBlock;
  float* ports[kPortCount] = {};
  float applied[kControlCount];  // the port values last handed to the effect; NaN before the first
  PeakHold peak;
};

// bufsz:maxBlockLength from the host's options, if it gives one that fits.
std::int32_t maxBlockFrom(const LV2_Feature* const* features) {
  const LV2_URID_Map* map = nullptr;
  const LV2_Options_Option* options = nullptr;
  for (const LV2_Feature* const* f = features; f && *f; ++f) {
    if (!(*f)->URI) continue;
    if (std::strcmp((*f)->URI, LV2_URID__map) == 0) map = static_cast<const LV2_URID_Map*>((*f)->data);
    if (std::strcmp((*f)->URI, LV2_OPTIONS__options) == 0) options = static_cast<const LV2_Options_Option*>((*f)->data);
  }
  if (!map || !map->map || !options) return kDefaultMaxBlock;
  const LV2_URID key = map->map(map->handle, LV2_BUF_SIZE__maxBlockLength);
  const LV2_URID intType = map->map(map->handle, LV2_ATOM__Int);
  const LV2_URID longType = map->map(map->handle, LV2_ATOM__Long);
  for (const LV2_Options_Option* o = options; o->key; ++o) {
    if (o->key != key || !o->value) continue;
    long long frames = 0;
    if (o->type == intType && o->size == sizeof(std::int32_t))
      frames = *static_cast<const std::int32_t*>(o->value);
    else if (o->type == longType && o->size == sizeof(std::int64_t))
      frames = *static_cast<const std::int64_t*>(o->value);
    if (frames > 0 && frames <= INT32_MAX) return static_cast<std::int32_t>(frames);
  }
  return kDefaultMaxBlock;
}

LV2_Handle instantiate(const LV2_Descriptor*, double rate, const char*, const LV2_Feature* const* features) {
  try {
    return new Instance(rate, maxBlockFrom(features));
  } catch (...) {
    return nullptr;  // out of memory: the host is told the plug-in could not be made
  }
}

void connectPort(LV2_Handle handle, std::uint32_t port, void* data) {
  if (port < kPortCount) static_cast<Instance*>(handle)->ports[port] = static_cast<float*>(data);
}

void activate(LV2_Handle handle) {
  auto* self = static_cast<Instance*>(handle);
  // As the other fronts start: a restart sounds as a fresh instance does.
  self->effect.activate(static_cast<float>(self->sampleRate), self->maxBlock);
  self->peak.reset(self->sampleRate);
}

// Only a changed value reaches the effect, as from a host's automation.
void applyControls(Instance& self) {
  for (std::size_t i = 0; i < kControlCount; ++i) {
    const ControlPort& c = kControlPorts[i];
    const float* port = self.ports[c.port];
    if (!port || std::isnan(*port) || *port == self.applied[i]) continue;
    self.applied[i] = *port;
    self.effect.setParameter(c.parameter, parameterFromPort(c, *port));
  }
}

void run(LV2_Handle handle, std::uint32_t frames) {
  auto& self = *static_cast<Instance*>(handle);
  applyControls(self);
  // Unconnected audio ports go in as null channels: the effect treats them as a VST 2 host's would be.
  float* inputs[2] = {self.ports[kInputLeft], self.ports[kInputRight]};
  float* outputs[2] = {self.ports[kOutputLeft], self.ports[kOutputRight]};
  // Longer blocks than announced are the effect's to split; only the count's type is narrower.
  self.effect.processReplacing(inputs, outputs, static_cast<std::int32_t>(std::min<std::uint32_t>(frames, INT32_MAX)));

  const float shown = self.peak.add(self.effect.takeLeftPeak(), frames);
  if (float* p = self.ports[kPeakPort]) *p = shown;
  if (float* p = self.ports[kClipPort]) *p = shown >= 1.0f ? 1.0f : 0.0f;
}

void deactivate(LV2_Handle handle) { static_cast<Instance*>(handle)->effect.deactivate(); }

void cleanup(LV2_Handle handle) { delete static_cast<Instance*>(handle); }

const void* extensionData(const char*) { return nullptr; }

const LV2_Descriptor kDescriptor = {kPluginUri, instantiate, connectPort, activate,
                                    run,        deactivate,  cleanup,     extensionData};

}  // namespace
}  // namespace korro::lv2

extern "C" LV2_SYMBOL_EXPORT const LV2_Descriptor* lv2_descriptor(std::uint32_t index) {
  return index == 0 ? &korro::lv2::kDescriptor : nullptr;
}
