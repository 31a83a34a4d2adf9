// The CLAP plug-in ABI as this front uses it: plain C records and tables of
// functions, laid out the same on Linux and Windows x64. Declared here in our
// own words; field order is what the ABI fixes.
#pragma once

#include <cstdint>

namespace korro::clap {

using Id = std::uint32_t;
inline constexpr Id kInvalidId = UINT32_MAX;

struct Version {
  std::uint32_t major, minor, revision;
};
inline constexpr Version kAbiVersion{1, 2, 10};

struct Host;
struct Plugin;
struct Process;

struct PluginDescriptor {
  Version abi;
  const char* id;
  const char* name;
  const char* vendor;
  const char* url;
  const char* manualUrl;
  const char* supportUrl;
  const char* version;
  const char* description;
  const char* const* features;
};

struct Host {
  Version abi;
  void* hostData;
  const char* name;
  const char* vendor;
  const char* url;
  const char* version;
  const void* (*getExtension)(const Host*, const char* id);
  void (*requestRestart)(const Host*);
  void (*requestProcess)(const Host*);
  void (*requestCallback)(const Host*);
};

struct Plugin {
  const PluginDescriptor* desc;
  void* pluginData;
  bool (*init)(const Plugin*);
  void (*destroy)(const Plugin*);
  bool (*activate)(const Plugin*, double sampleRate, std::uint32_t minFrames, std::uint32_t maxFrames);
  void (*deactivate)(const Plugin*);
  bool (*startProcessing)(const Plugin*);
  void (*stopProcessing)(const Plugin*);
  void (*reset)(const Plugin*);
  std::int32_t (*process)(const Plugin*, const Process*);
  const void* (*getExtension)(const Plugin*, const char* id);
  void (*onMainThread)(const Plugin*);
};

struct PluginFactory {
  std::uint32_t (*getPluginCount)(const PluginFactory*);
  const PluginDescriptor* (*getPluginDescriptor)(const PluginFactory*, std::uint32_t index);
  const Plugin* (*createPlugin)(const PluginFactory*, const Host*, const char* pluginId);
};

struct PluginEntry {
  Version abi;
  bool (*init)(const char* pluginPath);
  void (*deinit)();
  const void* (*getFactory)(const char* factoryId);
};

// ---------------------------------------------------------------- processing

enum ProcessStatus : std::int32_t { kProcessError = 0, kProcessContinue = 1, kProcessContinueIfNotQuiet = 2,
                                    kProcessTail = 3, kProcessSleep = 4 };

struct EventHeader {
  std::uint32_t size;
  std::uint32_t time;
  std::uint16_t spaceId;
  std::uint16_t type;
  std::uint32_t flags;
};
inline constexpr std::uint16_t kCoreEventSpace = 0;
enum EventType : std::uint16_t { kParamValueEvent = 5, kParamModEvent = 6, kParamGestureBegin = 7,
                                 kParamGestureEnd = 8 };

struct ParamValueEvent {
  EventHeader header;
  Id paramId;
  void* cookie;
  std::int32_t noteId;
  std::int16_t portIndex;
  std::int16_t channel;
  std::int16_t key;
  double value;
};

struct ParamGestureEvent {
  EventHeader header;
  Id paramId;
};

struct InputEvents {
  void* ctx;
  std::uint32_t (*size)(const InputEvents*);
  const EventHeader* (*get)(const InputEvents*, std::uint32_t index);
};

struct OutputEvents {
  void* ctx;
  bool (*tryPush)(const OutputEvents*, const EventHeader*);
};

struct AudioBuffer {
  float** data32;
  double** data64;
  std::uint32_t channelCount;
  std::uint32_t latency;
  std::uint64_t constantMask;
};

struct Process {
  std::int64_t steadyTime;
  std::uint32_t framesCount;
  const void* transport;
  const AudioBuffer* audioInputs;
  AudioBuffer* audioOutputs;
  std::uint32_t audioInputsCount;
  std::uint32_t audioOutputsCount;
  const InputEvents* inEvents;
  const OutputEvents* outEvents;
};

// ---------------------------------------------------------------- extensions

inline constexpr const char* kPluginFactoryId = "clap.plugin-factory";
inline constexpr const char* kAudioPortsId = "clap.audio-ports";
inline constexpr const char* kParamsId = "clap.params";
inline constexpr const char* kStateId = "clap.state";
inline constexpr const char* kGuiId = "clap.gui";
inline constexpr const char* kLatencyId = "clap.latency";
inline constexpr const char* kTailId = "clap.tail";
inline constexpr const char* kTimerSupportId = "clap.timer-support";
inline constexpr const char* kPresetLoadId = "clap.preset-load/2";
inline constexpr const char* kPresetLoadDraftId = "clap.preset-load.draft/2";
inline constexpr const char* kPresetDiscoveryFactoryId = "clap.preset-discovery-factory/2";
inline constexpr const char* kPresetDiscoveryFactoryDraftId = "clap.preset-discovery-factory/draft-2";

inline constexpr std::uint32_t kNameSize = 256;
inline constexpr std::uint32_t kPathSize = 1024;

enum AudioPortFlags : std::uint32_t { kPortIsMain = 1 };
struct AudioPortInfo {
  Id id;
  char name[kNameSize];
  std::uint32_t flags;
  std::uint32_t channelCount;
  const char* portType;
  Id inPlacePair;
};
struct PluginAudioPorts {
  std::uint32_t (*count)(const Plugin*, bool isInput);
  bool (*get)(const Plugin*, std::uint32_t index, bool isInput, AudioPortInfo* info);
};

enum ParamFlags : std::uint32_t { kParamIsStepped = 1u << 0, kParamIsBypass = 1u << 4,
                                  kParamIsAutomatable = 1u << 5 };
struct ParamInfo {
  Id id;
  std::uint32_t flags;
  void* cookie;
  char name[kNameSize];
  char module[kPathSize];
  double minValue;
  double maxValue;
  double defaultValue;
};
struct PluginParams {
  std::uint32_t (*count)(const Plugin*);
  bool (*getInfo)(const Plugin*, std::uint32_t index, ParamInfo* info);
  bool (*getValue)(const Plugin*, Id id, double* value);
  bool (*valueToText)(const Plugin*, Id id, double value, char* out, std::uint32_t capacity);
  bool (*textToValue)(const Plugin*, Id id, const char* text, double* value);
  void (*flush)(const Plugin*, const InputEvents*, const OutputEvents*);
};
enum ParamRescan : std::uint32_t { kRescanValues = 1, kRescanText = 2, kRescanInfo = 4, kRescanAll = 8 };
struct HostParams {
  void (*rescan)(const Host*, std::uint32_t flags);
  void (*clear)(const Host*, Id id, std::uint32_t flags);
  void (*requestFlush)(const Host*);
};

struct InputStream {
  void* ctx;
  std::int64_t (*read)(const InputStream*, void* buffer, std::uint64_t size);
};
struct OutputStream {
  void* ctx;
  std::int64_t (*write)(const OutputStream*, const void* buffer, std::uint64_t size);
};
struct PluginState {
  bool (*save)(const Plugin*, const OutputStream*);
  bool (*load)(const Plugin*, const InputStream*);
};
struct HostState {
  void (*markDirty)(const Host*);
};

struct Window {
  const char* api;
  union {
    unsigned long x11;
    void* win32;
    void* ptr;
  };
};
struct GuiResizeHints {
  bool canResizeHorizontally;
  bool canResizeVertically;
  bool preserveAspectRatio;
  std::uint32_t aspectRatioWidth;
  std::uint32_t aspectRatioHeight;
};
struct PluginGui {
  bool (*isApiSupported)(const Plugin*, const char* api, bool isFloating);
  bool (*getPreferredApi)(const Plugin*, const char** api, bool* isFloating);
  bool (*create)(const Plugin*, const char* api, bool isFloating);
  void (*destroy)(const Plugin*);
  bool (*setScale)(const Plugin*, double scale);
  bool (*getSize)(const Plugin*, std::uint32_t* width, std::uint32_t* height);
  bool (*canResize)(const Plugin*);
  bool (*getResizeHints)(const Plugin*, GuiResizeHints* hints);
  bool (*adjustSize)(const Plugin*, std::uint32_t* width, std::uint32_t* height);
  bool (*setSize)(const Plugin*, std::uint32_t width, std::uint32_t height);
  bool (*setParent)(const Plugin*, const Window* window);
  bool (*setTransient)(const Plugin*, const Window* window);
  void (*suggestTitle)(const Plugin*, const char* title);
  bool (*show)(const Plugin*);
  bool (*hide)(const Plugin*);
};
struct HostGui {
  void (*resizeHintsChanged)(const Host*);
  bool (*requestResize)(const Host*, std::uint32_t width, std::uint32_t height);
  bool (*requestShow)(const Host*);
  bool (*requestHide)(const Host*);
  void (*closed)(const Host*, bool wasDestroyed);
};

struct PluginLatency {
  std::uint32_t (*get)(const Plugin*);
};
struct PluginTail {
  std::uint32_t (*get)(const Plugin*);
};
struct HostTail {
  void (*changed)(const Host*);
};

struct PluginTimerSupport {
  void (*onTimer)(const Plugin*, Id timerId);
};
struct HostTimerSupport {
  bool (*registerTimer)(const Host*, std::uint32_t periodMs, Id* timerId);
  bool (*unregisterTimer)(const Host*, Id timerId);
};

// ---------------------------------------------------------------- presets

enum PresetLocationKind : std::uint32_t { kLocationFile = 0, kLocationPlugin = 1 };
enum PresetFlags : std::uint32_t { kPresetIsFactoryContent = 1 };

struct PluginPresetLoad {
  bool (*fromLocation)(const Plugin*, std::uint32_t kind, const char* location, const char* loadKey);
};
struct HostPresetLoad {
  void (*onError)(const Host*, std::uint32_t kind, const char* location, const char* loadKey, std::int32_t osError,
                  const char* message);
  void (*loaded)(const Host*, std::uint32_t kind, const char* location, const char* loadKey);
};

struct UniversalPluginId {
  const char* abi;
  const char* id;
};
struct PresetProviderDescriptor {
  Version abi;
  const char* id;
  const char* name;
  const char* vendor;
};
struct PresetLocation {
  std::uint32_t flags;
  const char* name;
  std::uint32_t kind;
  const char* location;
};
struct PresetIndexer {
  Version abi;
  const char* name;
  const char* vendor;
  const char* url;
  const char* version;
  void* indexerData;
  bool (*declareFiletype)(const PresetIndexer*, const void* filetype);
  bool (*declareLocation)(const PresetIndexer*, const PresetLocation* location);
  bool (*declareSoundpack)(const PresetIndexer*, const void* soundpack);
  const void* (*getExtension)(const PresetIndexer*, const char* id);
};
struct PresetMetadataReceiver {
  void* receiverData;
  void (*onError)(const PresetMetadataReceiver*, std::int32_t osError, const char* message);
  bool (*beginPreset)(const PresetMetadataReceiver*, const char* name, const char* loadKey);
  void (*addPluginId)(const PresetMetadataReceiver*, const UniversalPluginId* id);
  void (*setSoundpackId)(const PresetMetadataReceiver*, const char* id);
  void (*setFlags)(const PresetMetadataReceiver*, std::uint32_t flags);
  void (*addCreator)(const PresetMetadataReceiver*, const char* creator);
  void (*setDescription)(const PresetMetadataReceiver*, const char* description);
  void (*setTimestamps)(const PresetMetadataReceiver*, std::uint64_t created, std::uint64_t modified);
  void (*addFeature)(const PresetMetadataReceiver*, const char* feature);
  void (*addExtraInfo)(const PresetMetadataReceiver*, const char* key, const char* value);
};
struct PresetProvider {
  const PresetProviderDescriptor* desc;
  void* providerData;
  bool (*init)(const PresetProvider*);
  void (*destroy)(const PresetProvider*);
  bool (*getMetadata)(const PresetProvider*, std::uint32_t kind, const char* location,
                      const PresetMetadataReceiver* receiver);
  const void* (*getExtension)(const PresetProvider*, const char* id);
};
struct PresetDiscoveryFactory {
  std::uint32_t (*count)(const PresetDiscoveryFactory*);
  const PresetProviderDescriptor* (*getDescriptor)(const PresetDiscoveryFactory*, std::uint32_t index);
  const PresetProvider* (*create)(const PresetDiscoveryFactory*, const PresetIndexer* indexer, const char* id);
};

}  // namespace korro::clap
