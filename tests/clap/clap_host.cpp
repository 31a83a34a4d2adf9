#include "clap_host.h"

#include <cstring>
#include <map>
#include <memory>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace korro::test {

namespace {

ClapHost* hostOf(const clap::Host* h) { return static_cast<ClapHost*>(h->hostData); }

const clap::HostTail kTail = {[](const clap::Host* h) { ++hostOf(h)->tailChanged; }};
const clap::HostParams kParams = {
    [](const clap::Host* h, std::uint32_t) { ++hostOf(h)->rescans; },
    [](const clap::Host*, clap::Id, std::uint32_t) {},
    [](const clap::Host*) {},
};
const clap::HostTimerSupport kTimers = {
    [](const clap::Host* h, std::uint32_t, clap::Id* id) {
      *id = static_cast<clap::Id>(++hostOf(h)->timersRegistered);
      return true;
    },
    [](const clap::Host*, clap::Id) { return true; },
};
const clap::HostGui kGui = {
    [](const clap::Host*) {},
    [](const clap::Host* h, std::uint32_t width, std::uint32_t height) {
      hostOf(h)->resizeRequests.emplace_back(width, height);
      return true;
    },
    [](const clap::Host*) { return true; },
    [](const clap::Host*) { return true; },
    [](const clap::Host*, bool) {},
};
const clap::HostPresetLoad kPresetLoad = {
    [](const clap::Host* h, std::uint32_t, const char*, const char* key, std::int32_t, const char*) {
      hostOf(h)->presetErrors.push_back(key ? key : "(null)");
    },
    [](const clap::Host* h, std::uint32_t, const char*, const char* key) { hostOf(h)->presetsLoaded.push_back(key); },
};

struct EventList {
  std::vector<clap::ParamValueEvent> events;
  clap::InputEvents in{};
  EventList() {
    in.ctx = this;
    in.size = [](const clap::InputEvents* l) {
      return static_cast<std::uint32_t>(static_cast<EventList*>(l->ctx)->events.size());
    };
    in.get = [](const clap::InputEvents* l, std::uint32_t i) -> const clap::EventHeader* {
      auto& e = static_cast<EventList*>(l->ctx)->events;
      return i < e.size() ? &e[i].header : nullptr;
    };
  }
};

}  // namespace

ClapModule::ClapModule(const std::string& path) {
#if defined(_WIN32)
  handle_ = LoadLibraryA(path.c_str());
  if (!handle_) {
    error_ = "cannot load " + path;
    return;
  }
  entry_ = reinterpret_cast<const clap::PluginEntry*>(GetProcAddress(static_cast<HMODULE>(handle_), "clap_entry"));
#else
  handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!handle_) {
    error_ = dlerror();
    return;
  }
  entry_ = static_cast<const clap::PluginEntry*>(dlsym(handle_, "clap_entry"));
#endif
  if (!entry_ || !entry_->init(path.c_str())) error_ = "no clap_entry, or it refused to start";
}

ClapModule::~ClapModule() {
  if (entry_) entry_->deinit();
#if defined(_WIN32)
  if (handle_) FreeLibrary(static_cast<HMODULE>(handle_));
#else
  if (handle_) dlclose(handle_);
#endif
}

const clap::PluginFactory* ClapModule::factory() const {
  return entry_ ? static_cast<const clap::PluginFactory*>(entry_->getFactory(clap::kPluginFactoryId)) : nullptr;
}

const ClapModule& ClapModule::at(const std::string& path) {
  static std::map<std::string, std::unique_ptr<ClapModule>> loaded;
  auto& m = loaded[path];
  if (!m) m = std::make_unique<ClapModule>(path);
  return *m;
}

ClapHost::ClapHost() {
  record.abi = clap::kAbiVersion;
  record.hostData = this;
  record.name = "korro test host";
  record.vendor = record.url = record.version = "";
  record.getExtension = [](const clap::Host* h, const char* id) -> const void* {
    ClapHost* self = hostOf(h);
    if (!self->offerExtensions) return nullptr;
    if (!std::strcmp(id, clap::kTailId)) return &kTail;
    if (!std::strcmp(id, clap::kParamsId)) return &kParams;
    if (!std::strcmp(id, clap::kTimerSupportId)) return &kTimers;
    if (!std::strcmp(id, clap::kPresetLoadId)) return &kPresetLoad;
    if (!std::strcmp(id, clap::kGuiId)) return &kGui;
    return nullptr;
  };
  record.requestRestart = record.requestProcess = record.requestCallback = [](const clap::Host*) {};
}

ClapInstance::ClapInstance(ClapHost& host, const ClapModule& module) {
  const clap::PluginFactory* f = module.factory();
  if (!f) return;
  plugin_ = f->createPlugin(f, &host.record, f->getPluginDescriptor(f, 0)->id);
  if (plugin_ && !plugin_->init(plugin_)) {
    plugin_->destroy(plugin_);
    plugin_ = nullptr;
  }
}

ClapInstance::~ClapInstance() {
  if (!plugin_) return;
  if (active_) {
    plugin_->stopProcessing(plugin_);
    plugin_->deactivate(plugin_);
  }
  plugin_->destroy(plugin_);
}

bool ClapInstance::activate(double rate, std::uint32_t maxFrames) {
  active_ = plugin_->activate(plugin_, rate, 1, maxFrames) && plugin_->startProcessing(plugin_);
  return active_;
}

std::int32_t ClapInstance::process(float* const in[2], float* const out[2], std::uint32_t frames,
                                   const std::vector<Change>& changes) {
  EventList list;
  for (const Change& c : changes) {
    clap::ParamValueEvent e{};
    e.header = {sizeof e, c.time, clap::kCoreEventSpace, clap::kParamValueEvent, 0};
    e.paramId = c.param;
    e.noteId = -1;
    e.portIndex = e.channel = e.key = -1;
    e.value = c.value;
    list.events.push_back(e);
  }
  clap::OutputEvents sink{nullptr, [](const clap::OutputEvents*, const clap::EventHeader*) { return true; }};
  clap::AudioBuffer input{const_cast<float**>(in), nullptr, 2, 0, 0};
  clap::AudioBuffer output{const_cast<float**>(out), nullptr, 2, 0, 0};
  clap::Process p{-1, frames, nullptr, &input, &output, 1, 1, &list.in, &sink};
  return plugin_->process(plugin_, &p);
}

double ClapInstance::value(clap::Id id) const {
  double v = -1.0;
  ext<clap::PluginParams>(clap::kParamsId)->getValue(plugin_, id, &v);
  return v;
}

}  // namespace korro::test
