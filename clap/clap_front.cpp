// The reverb as a CLAP plug-in: the same effect object the VST 2 module
// exports, driven through its own record as a VST 2 host drives it. Events
// split a block at their time, so a render equals the VST 2 module fed the
// same pieces.
//
// Threads: the main thread activates and deactivates, loads states and
// presets (handed to the audio side, see shell/hosted_effect.h) and runs the
// editor; process, reset and flush (the audio thread's while active) are the
// only calls that change the effect.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "clap_abi.h"
#include "editor/editor_factory.h"
#include "korro/version.h"
#include "shell/editor_session.h"
#include "shell/hosted_effect.h"
#include "shell/parameter_table.h"
#include "shell/reverb_effect.h"

#if defined(_WIN32)
#define KORRO_CLAP_EXPORT __declspec(dllexport)
#else
#define KORRO_CLAP_EXPORT __attribute__((visibility("default")))
#endif

namespace korro::clap {
namespace {

constexpr const char* kPluginId = "org.example.korro-tarrow.tarrow";
#if defined(_WIN32)
constexpr const char* kGuiApi = "win32";
#else
constexpr const char* kGuiApi = "x11";
#endif
const char* const kFeatures[] = {"audio-effect", "reverb", "stereo", nullptr};

const PluginDescriptor kDescriptor = {
    .abi = kAbiVersion,
    .id = kPluginId,
    .name = "Korro Tarrow",
    .vendor = "Korro Tarrow",
    .url = kVendorUrl,
    .manualUrl = kVendorUrl,
    .supportUrl = kVendorUrl,
    .version = kProjectVersion,
    .description = "Stereo spring reverb",
    .features = kFeatures,
};

class ClapReverb final : public HostSide {
 public:
  explicit ClapReverb(const Host* host) : host_(host), effect_(0, &createReverbEditor, this) {
    plugin_.desc = &kDescriptor;
    plugin_.pluginData = this;
    plugin_.init = [](const Plugin* p) { return self(p)->init(); };
    plugin_.destroy = [](const Plugin* p) { delete self(p); };
    plugin_.activate = [](const Plugin* p, double rate, std::uint32_t minFrames, std::uint32_t maxFrames) {
      return self(p)->activate(rate, minFrames, maxFrames);
    };
    plugin_.deactivate = [](const Plugin* p) { self(p)->deactivate(); };
    plugin_.startProcessing = [](const Plugin* p) { return self(p)->setProcessing(true); };
    plugin_.stopProcessing = [](const Plugin* p) { self(p)->setProcessing(false); };
    plugin_.reset = [](const Plugin* p) { self(p)->reset(); };
    plugin_.process = [](const Plugin* p, const Process* process) { return self(p)->process(process); };
    plugin_.getExtension = [](const Plugin* p, const char* id) {
      // A build without editors offers neither the GUI nor the timer that idles it.
      const bool editorOnly = id && (std::strcmp(id, kGuiId) == 0 || std::strcmp(id, kTimerSupportId) == 0);
      return editorOnly && !(self(p)->effect_.record().flags & effFlagsHasEditor) ? nullptr : extension(id);
    };
    plugin_.onMainThread = [](const Plugin*) {};
  }
  ~ClapReverb() {
    if (guiCreated_) destroyGui();
    if (active_) deactivate();
  }
  ClapReverb(const ClapReverb&) = delete;
  ClapReverb& operator=(const ClapReverb&) = delete;

  const Plugin* plugin() const { return &plugin_; }
  static ClapReverb* self(const Plugin* p) { return static_cast<ClapReverb*>(p->pluginData); }

  // ------------------------------------------------------------ life cycle

  bool init() {
    hostParams_ = hostExtension<HostParams>(kParamsId);
    hostTail_ = hostExtension<HostTail>(kTailId);
    hostGui_ = hostExtension<HostGui>(kGuiId);
    hostTimers_ = hostExtension<HostTimerSupport>(kTimerSupportId);
    hostPresetLoad_ = hostExtension<HostPresetLoad>(kPresetLoadId);
    if (!hostPresetLoad_) hostPresetLoad_ = hostExtension<HostPresetLoad>(kPresetLoadDraftId);
    return true;
  }

  bool activate(double rate, std::uint32_t /*minFrames*/, std::uint32_t maxFrames) {
    if (active_.load(kRelaxed) || maxFrames == 0) return false;
    const auto frames = static_cast<std::int32_t>(std::min<std::uint32_t>(maxFrames, 1u << 20));
    if (!effect_.prepare(frames) || !effect_.activate(static_cast<float>(rate), frames)) return false;
    rate_.store(rate, kRelaxed);
    reportedTail_ = effect_.tail(rate);
    active_.store(true, kRelaxed);
    return true;
  }

  void deactivate() {
    if (!active_.load(kRelaxed)) return;
    effect_.deactivate();
    active_.store(false, kRelaxed);
  }

  bool setProcessing(bool on) { return !on || active_.load(kRelaxed); }

  // What follows is what a new instance would give. Nothing allocates.
  void reset() {
    if (active_.load(kRelaxed)) effect_.reset();
  }

  // ------------------------------------------------------------ audio

  std::int32_t process(const Process* p) {
    if (!active_.load(kRelaxed) || !p) return kProcessError;
    const std::int32_t frames = static_cast<std::int32_t>(std::min<std::uint32_t>(p->framesCount, INT32_MAX));

    effect_.beginBlock();
    deliverEdits(p->outEvents);
    const AudioBuffer* ib = p->audioInputsCount > 0 ? p->audioInputs : nullptr;
    const AudioBuffer* ob = p->audioOutputsCount > 0 ? p->audioOutputs : nullptr;
    effect_.buffers().bind(ib ? ib->data32 : nullptr, ib ? ib->channelCount : 0, ob ? ob->data32 : nullptr,
                           ob ? ob->channelCount : 0);

    const InputEvents* events = p->inEvents;
    const std::uint32_t count = events && events->size && events->get ? events->size(events) : 0;
    BlockSplitter block(effect_, frames);
    for (std::uint32_t e = 0; e < count; ++e) {
      // Events come sorted; what is no parameter change leaves the block whole.
      if (const ParamValueEvent* change = parameterChange(events->get(events, e)))
        block.change(change->header.time, static_cast<std::int32_t>(change->paramId), static_cast<float>(change->value));
    }
    block.finish();
    effect_.endBlock();
    reportTail();
    return kProcessTail;
  }

  // ------------------------------------------------------------ parameters

  bool paramInfo(std::uint32_t index, ParamInfo* info) const {
    const ParameterDescription* param = findParameter(static_cast<std::int32_t>(index));
    if (!param || !info) return false;
    std::memset(info, 0, sizeof *info);
    info->id = static_cast<Id>(param->index);
    // Bypass keeps feeding or starves the springs; it never passes the input
    // through, so it is not the host's bypass.
    info->flags = kParamIsAutomatable | (param->stepped ? kParamIsStepped : 0u);
    std::snprintf(info->name, sizeof info->name, "%s", param->name);
    info->minValue = param->minimum;
    info->maxValue = param->maximum;
    info->defaultValue = param->defaultValue;
    return true;
  }

  bool paramValue(Id id, double* value) {
    if (!findParameter(static_cast<std::int32_t>(id)) || !value) return false;
    *value = effect_.value(static_cast<std::int32_t>(id));
    return true;
  }

  // The audio thread's while active, the main thread's otherwise: never beside process.
  void flush(const InputEvents* in, const OutputEvents* out) {
    effect_.beginBlock();
    deliverEdits(out);
    const std::uint32_t count = in && in->size && in->get ? in->size(in) : 0;
    for (std::uint32_t e = 0; e < count; ++e)
      if (const ParamValueEvent* change = parameterChange(in->get(in, e))) apply(change);
    effect_.endBlock();
    if (active_.load(kRelaxed)) reportTail();
  }

  // ------------------------------------------------------------ state and presets

  bool save(const OutputStream* stream) {
    if (!stream || !stream->write) return false;
    struct Writer : StateWriter {
      const OutputStream* s;
      std::int64_t write(const void* data, std::int64_t size) override {
        return s->write(s, data, static_cast<std::uint64_t>(size));
      }
    } writer;
    writer.s = stream;
    return effect_.save(writer);
  }

  bool load(const InputStream* stream) {
    if (!stream || !stream->read) return false;
    struct Reader : StateReader {
      const InputStream* s;
      std::int64_t read(void* data, std::int64_t size) override {
        return s->read(s, data, static_cast<std::uint64_t>(size));
      }
    } reader;
    reader.s = stream;
    if (!effect_.load(reader)) return false;
    if (hostParams_ && hostParams_->rescan) hostParams_->rescan(host_, kRescanValues | kRescanText);
    return true;
  }

  bool loadPreset(std::uint32_t kind, const char* loadKey) {
    char* end = nullptr;
    const long program = loadKey ? std::strtol(loadKey, &end, 10) : -1;
    if (kind != kLocationPlugin || !loadKey || end == loadKey || *end || program < 0 ||
        program >= kProgramCount) {
      if (hostPresetLoad_ && hostPresetLoad_->onError)
        hostPresetLoad_->onError(host_, kind, nullptr, loadKey, 0, "no such factory program");
      return false;
    }
    // The engine restarts at the audio side's next block or activation.
    effect_.selectProgram(static_cast<std::int32_t>(program));
    if (hostParams_ && hostParams_->rescan) hostParams_->rescan(host_, kRescanValues | kRescanText);
    if (hostPresetLoad_ && hostPresetLoad_->loaded) hostPresetLoad_->loaded(host_, kind, nullptr, loadKey);
    return true;
  }

  std::uint32_t tail() const { return static_cast<std::uint32_t>(effect_.tail(rate_.load(kRelaxed))); }

  // ------------------------------------------------------------ editor

  bool createGui(const char* api, bool floating) {
    if (!apiSupported(api, floating) || guiCreated_) return false;
#if !defined(_WIN32)
    // Without the host's timer the editor would never idle: better none at all.
    if (!hostTimers_ || !hostTimers_->registerTimer ||
        !hostTimers_->registerTimer(host_, EditorSession::kIdleMs, &timer_))
      return false;
#endif
    guiCreated_ = true;
    return true;
  }

  void destroyGui() {
    if (!guiCreated_) return;
    editor_.close();
#if !defined(_WIN32)
    if (hostTimers_ && hostTimers_->unregisterTimer) hostTimers_->unregisterTimer(host_, timer_);
#endif
    timer_ = kInvalidId;
    guiCreated_ = false;
  }

  bool setScale(double scale) { return editor_.setScale(static_cast<float>(scale)); }

  // The editor's size in the host's units: a host whose toolkit scales multiplies it again.
  bool guiSize(std::uint32_t* width, std::uint32_t* height) {
    int w = 0, h = 0;
    if (!width || !height || !editor_.size(w, h)) return false;
    const HostSize size = hostEditorSize(std::max(0, w), std::max(0, h));
    *width = static_cast<std::uint32_t>(size.width);
    *height = static_cast<std::uint32_t>(size.height);
    return true;
  }

  bool setParent(const Window* window) {
    if (!guiCreated_ || !window) return false;
    editor_.close();
#if defined(_WIN32)
    return editor_.open(window->win32);
#else
    return editor_.open(reinterpret_cast<void*>(static_cast<std::uintptr_t>(window->x11)));
#endif
  }

  void idleEditor() { editor_.idle(); }

  static bool apiSupported(const char* api, bool floating) {
    return api && !floating && std::strcmp(api, kGuiApi) == 0;
  }

 private:
  template <typename T>
  const T* hostExtension(const char* id) const {
    return host_ && host_->getExtension ? static_cast<const T*>(host_->getExtension(host_, id)) : nullptr;
  }

  static const void* extension(const char* id);

  // The event as a change of one of the five parameters, or null.
  static const ParamValueEvent* parameterChange(const EventHeader* h) {
    if (!h || h->spaceId != kCoreEventSpace || h->type != kParamValueEvent || h->size < sizeof(ParamValueEvent))
      return nullptr;
    const auto* e = reinterpret_cast<const ParamValueEvent*>(h);
    return findParameter(static_cast<std::int32_t>(e->paramId)) ? e : nullptr;
  }

  void apply(const ParamValueEvent* e) {
    effect_.change(static_cast<std::int32_t>(e->paramId), static_cast<float>(e->value));
  }

  // ---- The editor's edits: each parameter's gestures, counted on the main
  // thread and delivered by the audio side, so none is lost and an end is
  // never dropped: gestures that meet in one block go out as one, values
  // coalesce to the latest, and what the host's list refuses waits.

  void beginEdit(std::int32_t index) override { edited(begun_[index]); }
  void edit(std::int32_t index, float value) override {
    edited_[index].store(value, kRelaxed);
    edited(edits_[index]);
  }
  void endEdit(std::int32_t index) override { edited(ended_[index]); }
  // In the host's units: a host whose toolkit scales multiplies the size again.
  bool resizeEditor(std::int32_t width, std::int32_t height) override {
    if (!hostGui_ || !hostGui_->requestResize) return false;
    const HostSize size = hostEditorSize(width, height);
    return hostGui_->requestResize(host_, static_cast<std::uint32_t>(size.width),
                                   static_cast<std::uint32_t>(size.height));
  }

  void edited(std::atomic<std::uint32_t>& count) {
    count.fetch_add(1, std::memory_order_release);
    // The host hears of it at its next process or flush, soon even with the transport stopped.
    if (hostParams_ && hostParams_->requestFlush) hostParams_->requestFlush(host_);
  }

  void deliverEdits(const OutputEvents* out) {
    constexpr auto acquire = std::memory_order_acquire;
    for (std::int32_t i = 0; i < kParameterCount; ++i) {
      // Ends before begins: an end read means its begin is there to read.
      const std::uint32_t ended = ended_[i].load(acquire), begun = begun_[i].load(acquire);
      const std::uint32_t edits = edits_[i].load(acquire);
      const float value = edited_[i].load(kRelaxed);
      if (edits != applied_[i]) {
        applied_[i] = edits;
        effect_.change(i, value);
      }
      Delivery& d = delivered_[i];
      if (!out || !out->tryPush) {  // nowhere to send them
        d = {false, begun, edits};
        continue;
      }
      const auto id = static_cast<std::uint32_t>(i);
      if (!d.open && begun != d.begun) {
        if (!push(out, kParamGestureBegin, id)) continue;
        d.open = true;
      }
      if (d.open && edits != d.edits) {
        ParamValueEvent e{{sizeof(ParamValueEvent), 0, kCoreEventSpace, kParamValueEvent, 0}, id, nullptr, -1, -1,
                          -1, -1, static_cast<double>(value)};
        if (!out->tryPush(out, &e.header)) continue;
        d.edits = edits;
      }
      if (d.open && ended == begun) {
        if (!push(out, kParamGestureEnd, id)) continue;
        d = {false, begun, d.edits};
      }
    }
  }

  static bool push(const OutputEvents* out, std::uint16_t type, std::uint32_t id) {
    ParamGestureEvent e{{sizeof(ParamGestureEvent), 0, kCoreEventSpace, type, 0}, id};
    return out->tryPush(out, &e.header);
  }

  // From the audio thread only, as the host expects.
  void reportTail() {
    const std::int32_t t = effect_.tail(rate_.load(kRelaxed));
    if (t == reportedTail_) return;
    reportedTail_ = t;
    if (hostTail_ && hostTail_->changed) hostTail_->changed(host_);
  }

  static constexpr auto kRelaxed = std::memory_order_relaxed;

  Plugin plugin_{};
  const Host* host_;
  HostedEffect effect_;

  const HostParams* hostParams_ = nullptr;
  const HostTail* hostTail_ = nullptr;
  const HostGui* hostGui_ = nullptr;
  const HostTimerSupport* hostTimers_ = nullptr;
  const HostPresetLoad* hostPresetLoad_ = nullptr;

  // The main thread's: the audio thread only reads it.
  std::atomic<bool> active_{false};
  std::atomic<double> rate_{44100.0};
  std::int32_t reportedTail_ = 0;

  // The editor's edits per parameter: counted on the main thread...
  std::atomic<std::uint32_t> begun_[kParameterCount] = {};
  std::atomic<std::uint32_t> ended_[kParameterCount] = {};
  std::atomic<std::uint32_t> edits_[kParameterCount] = {};
  std::atomic<float> edited_[kParameterCount] = {};
  // ...and what the audio side applied and told the host.
  struct Delivery {
    bool open;
    std::uint32_t begun, edits;
  };
  std::uint32_t applied_[kParameterCount] = {};
  Delivery delivered_[kParameterCount] = {};

  EditorSession editor_{effect_};
  bool guiCreated_ = false;
  Id timer_ = kInvalidId;
};

// ---------------------------------------------------------------- extension tables

const PluginAudioPorts kAudioPorts = {
    .count = [](const Plugin*, bool) -> std::uint32_t { return 1; },
    .get = [](const Plugin*, std::uint32_t index, bool isInput, AudioPortInfo* info) {
      if (index != 0 || !info) return false;
      std::memset(info, 0, sizeof *info);
      info->id = isInput ? 0 : 1;
      std::snprintf(info->name, sizeof info->name, "%s", isInput ? "Input" : "Output");
      info->flags = kPortIsMain;
      info->channelCount = 2;
      info->portType = "stereo";
      info->inPlacePair = isInput ? 1 : 0;
      return true;
    },
};

const PluginParams kParams = {
    .count = [](const Plugin*) -> std::uint32_t { return kParameterCount; },
    .getInfo = [](const Plugin* p, std::uint32_t index, ParamInfo* info) {
      return ClapReverb::self(p)->paramInfo(index, info);
    },
    .getValue = [](const Plugin* p, Id id, double* value) { return ClapReverb::self(p)->paramValue(id, value); },
    .valueToText = [](const Plugin*, Id id, double value, char* out, std::uint32_t capacity) {
      return parameterValueText(static_cast<std::int32_t>(id), value, out, capacity);
    },
    .textToValue = [](const Plugin*, Id id, const char* text, double* value) {
      double v = 0.0;
      if (!value || !parameterValueFromText(static_cast<std::int32_t>(id), text, v)) return false;
      *value = v;
      return true;
    },
    .flush = [](const Plugin* p, const InputEvents* in, const OutputEvents* out) {
      ClapReverb::self(p)->flush(in, out);
    },
};

const PluginState kState = {
    .save = [](const Plugin* p, const OutputStream* s) { return ClapReverb::self(p)->save(s); },
    .load = [](const Plugin* p, const InputStream* s) { return ClapReverb::self(p)->load(s); },
};

const PluginLatency kLatency = {.get = [](const Plugin*) -> std::uint32_t { return 0; }};
const PluginTail kTail = {.get = [](const Plugin* p) { return ClapReverb::self(p)->tail(); }};
const PluginTimerSupport kTimerSupport = {.onTimer = [](const Plugin* p, Id) { ClapReverb::self(p)->idleEditor(); }};
const PluginPresetLoad kPresetLoad = {
    .fromLocation = [](const Plugin* p, std::uint32_t kind, const char*, const char* key) {
      return ClapReverb::self(p)->loadPreset(kind, key);
    },
};

const PluginGui kGui = {
    // Asked with no host extensions at all by some scanners, which read the
    // answer as "has an editor": it depends on nothing the host offers.
    .isApiSupported = [](const Plugin*, const char* api, bool floating) {
      return ClapReverb::apiSupported(api, floating);
    },
    .getPreferredApi = [](const Plugin*, const char** api, bool* floating) {
      if (!api || !floating) return false;
      *api = kGuiApi;
      *floating = false;
      return true;
    },
    .create = [](const Plugin* p, const char* api, bool floating) {
      return ClapReverb::self(p)->createGui(api, floating);
    },
    .destroy = [](const Plugin* p) { ClapReverb::self(p)->destroyGui(); },
    .setScale = [](const Plugin* p, double scale) { return ClapReverb::self(p)->setScale(scale); },
    .getSize = [](const Plugin* p, std::uint32_t* w, std::uint32_t* h) { return ClapReverb::self(p)->guiSize(w, h); },
    .canResize = [](const Plugin*) { return false; },
    // Hosts size their frame from these: one fixed size, no aspect to keep.
    .getResizeHints = [](const Plugin*, GuiResizeHints* hints) {
      if (!hints) return false;
      *hints = GuiResizeHints{false, false, false, 0, 0};
      return true;
    },
    .adjustSize = [](const Plugin* p, std::uint32_t* w, std::uint32_t* h) {
      return ClapReverb::self(p)->guiSize(w, h);
    },
    .setSize = [](const Plugin* p, std::uint32_t w, std::uint32_t h) {
      std::uint32_t cw = 0, ch = 0;
      return ClapReverb::self(p)->guiSize(&cw, &ch) && cw == w && ch == h;
    },
    .setParent = [](const Plugin* p, const Window* window) { return ClapReverb::self(p)->setParent(window); },
    .setTransient = [](const Plugin*, const Window*) { return false; },
    .suggestTitle = [](const Plugin*, const char*) {},
    .show = [](const Plugin*) { return true; },
    .hide = [](const Plugin*) { return true; },
};

const void* ClapReverb::extension(const char* id) {
  if (!id) return nullptr;
  const struct {
    const char* id;
    const void* table;
  } offered[] = {
      {kAudioPortsId, &kAudioPorts}, {kParamsId, &kParams},       {kStateId, &kState},
      {kLatencyId, &kLatency},       {kTailId, &kTail},           {kGuiId, &kGui},
      {kTimerSupportId, &kTimerSupport}, {kPresetLoadId, &kPresetLoad}, {kPresetLoadDraftId, &kPresetLoad},
  };
  for (const auto& o : offered)
    if (std::strcmp(id, o.id) == 0) return o.table;
  return nullptr;
}

// ---------------------------------------------------------------- factories

const PluginFactory kPluginFactory = {
    .getPluginCount = [](const PluginFactory*) -> std::uint32_t { return 1; },
    .getPluginDescriptor = [](const PluginFactory*, std::uint32_t index) -> const PluginDescriptor* {
      return index == 0 ? &kDescriptor : nullptr;
    },
    .createPlugin = [](const PluginFactory*, const Host* host, const char* id) -> const Plugin* {
      if (!host || !id || std::strcmp(id, kPluginId) != 0 || host->abi.major < 1) return nullptr;
      try {
        return (new ClapReverb(host))->plugin();
      } catch (...) {
        return nullptr;  // out of memory: a host handles a null plug-in, not an exception
      }
    },
};

// The eight factory programs, built into the plug-in, in program order; the
// load key is the program's number.
const PresetProviderDescriptor kProviderDescriptor = {
    .abi = kAbiVersion,
    .id = "org.example.korro-tarrow.factory-programs",
    .name = "Korro Tarrow factory programs",
    .vendor = "Korro Tarrow",
};

const char* const kLoadKeys[kProgramCount] = {"0", "1", "2", "3", "4", "5", "6", "7"};

struct Provider {
  PresetProvider table{};
  const PresetIndexer* indexer = nullptr;
};

const PresetProvider* createProvider(const PresetIndexer* indexer) {
  auto* provider = new (std::nothrow) Provider;
  if (!provider) return nullptr;
  provider->indexer = indexer;
  PresetProvider& t = provider->table;
  t.desc = &kProviderDescriptor;
  t.providerData = provider;
  t.init = [](const PresetProvider* p) {
    const PresetIndexer* ix = static_cast<Provider*>(p->providerData)->indexer;
    const PresetLocation location{kPresetIsFactoryContent, "Factory programs", kLocationPlugin, nullptr};
    return ix && ix->declareLocation && ix->declareLocation(ix, &location);
  };
  t.destroy = [](const PresetProvider* p) { delete static_cast<Provider*>(p->providerData); };
  t.getMetadata = [](const PresetProvider*, std::uint32_t kind, const char*, const PresetMetadataReceiver* r) {
    if (kind != kLocationPlugin || !r || !r->beginPreset) return false;
    const UniversalPluginId id{"clap", kPluginId};
    for (int k = 0; k < kProgramCount; ++k) {
      if (!r->beginPreset(r, kFactoryPrograms[k].name, kLoadKeys[k])) return false;
      if (r->addPluginId) r->addPluginId(r, &id);
      if (r->setFlags) r->setFlags(r, kPresetIsFactoryContent);
    }
    return true;
  };
  t.getExtension = [](const PresetProvider*, const char*) -> const void* { return nullptr; };
  return &provider->table;
}

const PresetDiscoveryFactory kPresetFactory = {
    .count = [](const PresetDiscoveryFactory*) -> std::uint32_t { return 1; },
    .getDescriptor = [](const PresetDiscoveryFactory*, std::uint32_t index) -> const PresetProviderDescriptor* {
      return index == 0 ? &kProviderDescriptor : nullptr;
    },
    .create = [](const PresetDiscoveryFactory*, const PresetIndexer* indexer, const char* id) -> const PresetProvider* {
      if (!id || std::strcmp(id, kProviderDescriptor.id) != 0) return nullptr;
      return createProvider(indexer);
    },
};

std::atomic<int> initCount{0};

}  // namespace
}  // namespace korro::clap

extern "C" KORRO_CLAP_EXPORT const korro::clap::PluginEntry clap_entry = {
    .abi = korro::clap::kAbiVersion,
    // Hosts and wrappers may pair these loosely: count them.
    .init = [](const char*) {
      korro::clap::initCount.fetch_add(1);
      return true;
    },
    .deinit = [] { korro::clap::initCount.fetch_sub(1); },
    .getFactory = [](const char* id) -> const void* {
      using namespace korro::clap;
      if (!id) return nullptr;
      if (std::strcmp(id, kPluginFactoryId) == 0) return &kPluginFactory;
      if (std::strcmp(id, kPresetDiscoveryFactoryId) == 0 || std::strcmp(id, kPresetDiscoveryFactoryDraftId) == 0)
        return &kPresetFactory;
      return nullptr;
    },
};
