// The VST3 binary interface as this front uses it, declared in our own words:
// each interface is a pointer to a table of functions whose first argument is
// the interface pointer itself; slot order is what the ABI fixes.
#pragma once

#include <cstdint>

#if defined(_WIN32)
#define KORRO_VST3_CALL __stdcall
#else
#define KORRO_VST3_CALL
#endif

namespace korro::vst3 {

using Result = std::int32_t;
using ParamId = std::uint32_t;
using char16 = char16_t;
using String128 = char16[128];

#if defined(_WIN32)
inline constexpr Result kOk = 0;
inline constexpr Result kTrue = 0;
inline constexpr Result kFalse = 1;
inline constexpr Result kNoInterface = static_cast<Result>(0x80004002u);
inline constexpr Result kInvalidArgument = static_cast<Result>(0x80070057u);
inline constexpr Result kNotImplemented = static_cast<Result>(0x80004001u);
#else
inline constexpr Result kOk = 0;
inline constexpr Result kTrue = 0;
inline constexpr Result kFalse = 1;
inline constexpr Result kNoInterface = -1;
inline constexpr Result kInvalidArgument = 2;
inline constexpr Result kNotImplemented = 3;
#endif

// 16 bytes, compared raw. Written as four 32-bit words; Windows stores the
// first two in COM's little-endian GUID order, everything else is big-endian.
struct Tuid {
  unsigned char bytes[16];
};

enum class IdLayout { BigEndian, Com };
#if defined(_WIN32)
inline constexpr IdLayout kNativeIdLayout = IdLayout::Com;
#else
inline constexpr IdLayout kNativeIdLayout = IdLayout::BigEndian;
#endif

constexpr Tuid makeTuid(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d,
                        IdLayout layout = kNativeIdLayout) {
  Tuid t{};
  if (layout == IdLayout::Com) {
    t.bytes[0] = a & 0xff, t.bytes[1] = (a >> 8) & 0xff, t.bytes[2] = (a >> 16) & 0xff, t.bytes[3] = a >> 24;
    t.bytes[4] = (b >> 16) & 0xff, t.bytes[5] = b >> 24, t.bytes[6] = b & 0xff, t.bytes[7] = (b >> 8) & 0xff;
  } else {
    t.bytes[0] = a >> 24, t.bytes[1] = (a >> 16) & 0xff, t.bytes[2] = (a >> 8) & 0xff, t.bytes[3] = a & 0xff;
    t.bytes[4] = b >> 24, t.bytes[5] = (b >> 16) & 0xff, t.bytes[6] = (b >> 8) & 0xff, t.bytes[7] = b & 0xff;
  }
  t.bytes[8] = c >> 24, t.bytes[9] = (c >> 16) & 0xff, t.bytes[10] = (c >> 8) & 0xff, t.bytes[11] = c & 0xff;
  t.bytes[12] = d >> 24, t.bytes[13] = (d >> 16) & 0xff, t.bytes[14] = (d >> 8) & 0xff, t.bytes[15] = d & 0xff;
  return t;
}

inline constexpr Tuid kFUnknownId = makeTuid(0x00000000, 0x00000000, 0xC0000000, 0x00000046);
inline constexpr Tuid kPluginBaseId = makeTuid(0x22888DDB, 0x156E45AE, 0x8358B348, 0x08190625);
inline constexpr Tuid kPluginFactoryId = makeTuid(0x7A4D811C, 0x52114A1F, 0xAED9D2EE, 0x0B43BF9F);
inline constexpr Tuid kPluginFactory2Id = makeTuid(0x0007B650, 0xF24B4C0B, 0xA464EDB9, 0xF00B2ABB);
inline constexpr Tuid kPluginFactory3Id = makeTuid(0x4555A2AB, 0xC1234E57, 0x9B122910, 0x36878931);
inline constexpr Tuid kComponentId = makeTuid(0xE831FF31, 0xF2D54301, 0x928EBBEE, 0x25697802);
inline constexpr Tuid kAudioProcessorId = makeTuid(0x42043F99, 0xB7DA453C, 0xA569E79D, 0x9AAEC33D);
inline constexpr Tuid kProcessContextRequirementsId = makeTuid(0x2A654303, 0xEF764E3D, 0x95B5FE83, 0x730EF6D0);
inline constexpr Tuid kEditControllerId = makeTuid(0xDCD7BBE3, 0x7742448D, 0xA874AACC, 0x979C759E);
inline constexpr Tuid kComponentHandlerId = makeTuid(0x93A0BEA3, 0x0BD045DB, 0x8E890B0C, 0xC1E46AC6);
inline constexpr Tuid kConnectionPointId = makeTuid(0x70A4156F, 0x6E6E4026, 0x989148BF, 0xAA60D8D1);
inline constexpr Tuid kBStreamId = makeTuid(0xC3BF6EA2, 0x30994752, 0x9B6BF990, 0x1EE33E9B);
inline constexpr Tuid kUnitInfoId = makeTuid(0x3D4BD6B5, 0x913A4FD2, 0xA886E768, 0xA5EB92C1);
inline constexpr Tuid kParameterChangesId = makeTuid(0xA4779663, 0x0BB64A56, 0xB44384A8, 0x466FEB9D);
inline constexpr Tuid kParamValueQueueId = makeTuid(0x01263A18, 0xED074F6F, 0x98C9D356, 0x4686F9BA);
inline constexpr Tuid kPlugViewId = makeTuid(0x5BC32507, 0xD06049EA, 0xA6151B52, 0x2B755B29);
inline constexpr Tuid kPlugFrameId = makeTuid(0x367FAF01, 0xAFA94693, 0x8D4DA2A0, 0xED0882A3);
inline constexpr Tuid kContentScaleSupportId = makeTuid(0x65ED9690, 0x8AC44525, 0x8AADEF7A, 0x72EA703F);
inline constexpr Tuid kRunLoopId = makeTuid(0x18C35366, 0x97764F1A, 0x9C5B8385, 0x7A871389);
inline constexpr Tuid kTimerHandlerId = makeTuid(0x10BDD94F, 0x41424774, 0x821FAD8F, 0xECA72CA9);
inline constexpr Tuid kHostApplicationId = makeTuid(0x58E595CC, 0xDB2D4969, 0x8B6AAF8C, 0x36A664E5);

// ---------------------------------------------------------------- tables
// Every table starts with the three slots every interface shares.
#define KORRO_VST3_UNKNOWN_SLOTS                                           \
  Result(KORRO_VST3_CALL* queryInterface)(void* self, const Tuid* iid, void** out); \
  std::uint32_t(KORRO_VST3_CALL* addRef)(void* self);                     \
  std::uint32_t(KORRO_VST3_CALL* release)(void* self);

struct UnknownTable {
  KORRO_VST3_UNKNOWN_SLOTS
};
// An interface pointer: the address of a word holding its table's address.
template <typename Table>
struct Interface {
  const Table* table;
};
using Unknown = Interface<UnknownTable>;

struct FactoryInfo {
  char vendor[64];
  char url[256];
  char email[128];
  std::int32_t flags;
};
struct ClassInfo {
  Tuid classId;
  std::int32_t cardinality;
  char category[32];
  char name[64];
};
struct ClassInfo2 {
  Tuid classId;
  std::int32_t cardinality;
  char category[32];
  char name[64];
  std::uint32_t classFlags;
  char subCategories[128];
  char vendor[64];
  char version[64];
  char sdkVersion[64];
};
struct ClassInfoW {
  Tuid classId;
  std::int32_t cardinality;
  char category[32];
  char16 name[64];
  std::uint32_t classFlags;
  char subCategories[128];
  char16 vendor[64];
  char16 version[64];
  char16 sdkVersion[64];
};
static_assert(sizeof(FactoryInfo) == 452 && sizeof(ClassInfo) == 116 && sizeof(ClassInfo2) == 440 &&
              sizeof(ClassInfoW) == 696);

struct FactoryTable {
  KORRO_VST3_UNKNOWN_SLOTS
  Result(KORRO_VST3_CALL* getFactoryInfo)(void* self, FactoryInfo* out);
  std::int32_t(KORRO_VST3_CALL* countClasses)(void* self);
  Result(KORRO_VST3_CALL* getClassInfo)(void* self, std::int32_t index, ClassInfo* out);
  Result(KORRO_VST3_CALL* createInstance)(void* self, const Tuid* classId, const Tuid* iid, void** out);
  Result(KORRO_VST3_CALL* getClassInfo2)(void* self, std::int32_t index, ClassInfo2* out);
  Result(KORRO_VST3_CALL* getClassInfoUnicode)(void* self, std::int32_t index, ClassInfoW* out);
  Result(KORRO_VST3_CALL* setHostContext)(void* self, void* context);
};

struct BusInfo {
  std::int32_t mediaType;
  std::int32_t direction;
  std::int32_t channelCount;
  String128 name;
  std::int32_t busType;
  std::uint32_t flags;
};
struct RoutingInfo {
  std::int32_t mediaType, busIndex, channel;
};
static_assert(sizeof(BusInfo) == 276);

struct BStreamTable {
  KORRO_VST3_UNKNOWN_SLOTS
  Result(KORRO_VST3_CALL* read)(void* self, void* buffer, std::int32_t bytes, std::int32_t* done);
  Result(KORRO_VST3_CALL* write)(void* self, const void* buffer, std::int32_t bytes, std::int32_t* done);
  Result(KORRO_VST3_CALL* seek)(void* self, std::int64_t position, std::int32_t mode, std::int64_t* result);
  Result(KORRO_VST3_CALL* tell)(void* self, std::int64_t* position);
};
using BStream = Interface<BStreamTable>;

struct ComponentTable {
  KORRO_VST3_UNKNOWN_SLOTS
  Result(KORRO_VST3_CALL* initialize)(void* self, void* context);
  Result(KORRO_VST3_CALL* terminate)(void* self);
  Result(KORRO_VST3_CALL* getControllerClassId)(void* self, Tuid* out);
  Result(KORRO_VST3_CALL* setIoMode)(void* self, std::int32_t mode);
  std::int32_t(KORRO_VST3_CALL* getBusCount)(void* self, std::int32_t mediaType, std::int32_t direction);
  Result(KORRO_VST3_CALL* getBusInfo)(void* self, std::int32_t mediaType, std::int32_t direction,
                                      std::int32_t index, BusInfo* out);
  Result(KORRO_VST3_CALL* getRoutingInfo)(void* self, RoutingInfo* in, RoutingInfo* out);
  Result(KORRO_VST3_CALL* activateBus)(void* self, std::int32_t mediaType, std::int32_t direction,
                                       std::int32_t index, std::uint8_t state);
  Result(KORRO_VST3_CALL* setActive)(void* self, std::uint8_t state);
  Result(KORRO_VST3_CALL* setState)(void* self, BStream* stream);
  Result(KORRO_VST3_CALL* getState)(void* self, BStream* stream);
};

struct ProcessSetup {
  std::int32_t processMode;
  std::int32_t symbolicSampleSize;
  std::int32_t maxBlockSize;
  double sampleRate;
};
struct AudioBusBuffers {
  std::int32_t channelCount;
  std::uint64_t silenceFlags;
  float** channels;
};

struct ParamValueQueueTable {
  KORRO_VST3_UNKNOWN_SLOTS
  ParamId(KORRO_VST3_CALL* getParameterId)(void* self);
  std::int32_t(KORRO_VST3_CALL* getPointCount)(void* self);
  Result(KORRO_VST3_CALL* getPoint)(void* self, std::int32_t index, std::int32_t* offset, double* value);
  Result(KORRO_VST3_CALL* addPoint)(void* self, std::int32_t offset, double value, std::int32_t* index);
};
using ParamValueQueue = Interface<ParamValueQueueTable>;

struct ParameterChangesTable {
  KORRO_VST3_UNKNOWN_SLOTS
  std::int32_t(KORRO_VST3_CALL* getParameterCount)(void* self);
  ParamValueQueue*(KORRO_VST3_CALL* getParameterData)(void* self, std::int32_t index);
  ParamValueQueue*(KORRO_VST3_CALL* addParameterData)(void* self, const ParamId* id, std::int32_t* index);
};
using ParameterChanges = Interface<ParameterChangesTable>;

struct ProcessData {
  std::int32_t processMode;
  std::int32_t symbolicSampleSize;
  std::int32_t sampleCount;
  std::int32_t inputCount;
  std::int32_t outputCount;
  AudioBusBuffers* inputs;
  AudioBusBuffers* outputs;
  ParameterChanges* inputChanges;
  ParameterChanges* outputChanges;
  void* inputEvents;
  void* outputEvents;
  void* context;
};
static_assert(sizeof(ProcessSetup) == 24 && sizeof(AudioBusBuffers) == 24);
// Seven pointers after five int32: natural alignment on 64 and on 32 bits (ARMv7).
static_assert(sizeof(ProcessData) == (sizeof(void*) == 8 ? 80 : 48));

struct AudioProcessorTable {
  KORRO_VST3_UNKNOWN_SLOTS
  Result(KORRO_VST3_CALL* setBusArrangements)(void* self, std::uint64_t* inputs, std::int32_t inputCount,
                                              std::uint64_t* outputs, std::int32_t outputCount);
  Result(KORRO_VST3_CALL* getBusArrangement)(void* self, std::int32_t direction, std::int32_t index,
                                             std::uint64_t* out);
  Result(KORRO_VST3_CALL* canProcessSampleSize)(void* self, std::int32_t size);
  std::uint32_t(KORRO_VST3_CALL* getLatencySamples)(void* self);
  Result(KORRO_VST3_CALL* setupProcessing)(void* self, ProcessSetup* setup);
  Result(KORRO_VST3_CALL* setProcessing)(void* self, std::uint8_t state);
  Result(KORRO_VST3_CALL* process)(void* self, ProcessData* data);
  std::uint32_t(KORRO_VST3_CALL* getTailSamples)(void* self);
};

struct ProcessContextRequirementsTable {
  KORRO_VST3_UNKNOWN_SLOTS
  std::uint32_t(KORRO_VST3_CALL* getProcessContextRequirements)(void* self);
};

struct ParameterInfo {
  ParamId id;
  String128 title;
  String128 shortTitle;
  String128 units;
  std::int32_t stepCount;
  double defaultNormalizedValue;
  std::int32_t unitId;
  std::int32_t flags;
};
static_assert(sizeof(ParameterInfo) == 792);
enum ParameterFlags : std::int32_t { kCanAutomate = 1 << 0, kIsList = 1 << 3, kIsProgramChange = 1 << 15,
                                     kIsBypass = 1 << 16 };

struct ComponentHandlerTable {
  KORRO_VST3_UNKNOWN_SLOTS
  Result(KORRO_VST3_CALL* beginEdit)(void* self, ParamId id);
  Result(KORRO_VST3_CALL* performEdit)(void* self, ParamId id, double normalized);
  Result(KORRO_VST3_CALL* endEdit)(void* self, ParamId id);
  Result(KORRO_VST3_CALL* restartComponent)(void* self, std::int32_t flags);
};
using ComponentHandler = Interface<ComponentHandlerTable>;
inline constexpr std::int32_t kRestartParamValuesChanged = 1 << 2;

struct EditControllerTable {
  KORRO_VST3_UNKNOWN_SLOTS
  Result(KORRO_VST3_CALL* initialize)(void* self, void* context);
  Result(KORRO_VST3_CALL* terminate)(void* self);
  Result(KORRO_VST3_CALL* setComponentState)(void* self, BStream* stream);
  Result(KORRO_VST3_CALL* setState)(void* self, BStream* stream);
  Result(KORRO_VST3_CALL* getState)(void* self, BStream* stream);
  std::int32_t(KORRO_VST3_CALL* getParameterCount)(void* self);
  Result(KORRO_VST3_CALL* getParameterInfo)(void* self, std::int32_t index, ParameterInfo* out);
  Result(KORRO_VST3_CALL* getParamStringByValue)(void* self, ParamId id, double normalized, char16* out);
  Result(KORRO_VST3_CALL* getParamValueByString)(void* self, ParamId id, const char16* text, double* out);
  double(KORRO_VST3_CALL* normalizedToPlain)(void* self, ParamId id, double normalized);
  double(KORRO_VST3_CALL* plainToNormalized)(void* self, ParamId id, double plain);
  double(KORRO_VST3_CALL* getParamNormalized)(void* self, ParamId id);
  Result(KORRO_VST3_CALL* setParamNormalized)(void* self, ParamId id, double normalized);
  Result(KORRO_VST3_CALL* setComponentHandler)(void* self, ComponentHandler* handler);
  void*(KORRO_VST3_CALL* createView)(void* self, const char* name);
};

struct UnitInfo {
  std::int32_t id;
  std::int32_t parentUnitId;
  String128 name;
  std::int32_t programListId;
};
struct ProgramListInfo {
  std::int32_t id;
  String128 name;
  std::int32_t programCount;
};
static_assert(sizeof(UnitInfo) == 268 && sizeof(ProgramListInfo) == 264);

struct UnitInfoTable {
  KORRO_VST3_UNKNOWN_SLOTS
  std::int32_t(KORRO_VST3_CALL* getUnitCount)(void* self);
  Result(KORRO_VST3_CALL* getUnitInfo)(void* self, std::int32_t index, UnitInfo* out);
  std::int32_t(KORRO_VST3_CALL* getProgramListCount)(void* self);
  Result(KORRO_VST3_CALL* getProgramListInfo)(void* self, std::int32_t index, ProgramListInfo* out);
  Result(KORRO_VST3_CALL* getProgramName)(void* self, std::int32_t listId, std::int32_t index, char16* out);
  Result(KORRO_VST3_CALL* getProgramInfo)(void* self, std::int32_t listId, std::int32_t index, const char* attribute,
                                          char16* out);
  Result(KORRO_VST3_CALL* hasProgramPitchNames)(void* self, std::int32_t listId, std::int32_t index);
  Result(KORRO_VST3_CALL* getProgramPitchName)(void* self, std::int32_t listId, std::int32_t index, std::int16_t pitch,
                                               char16* out);
  std::int32_t(KORRO_VST3_CALL* getSelectedUnit)(void* self);
  Result(KORRO_VST3_CALL* selectUnit)(void* self, std::int32_t id);
  Result(KORRO_VST3_CALL* getUnitByBus)(void* self, std::int32_t mediaType, std::int32_t direction,
                                        std::int32_t bus, std::int32_t channel, std::int32_t* unit);
  Result(KORRO_VST3_CALL* setUnitProgramData)(void* self, std::int32_t listOrUnit, std::int32_t index, BStream* data);
};

struct ViewRect {
  std::int32_t left, top, right, bottom;
};
struct PlugViewTable {
  KORRO_VST3_UNKNOWN_SLOTS
  Result(KORRO_VST3_CALL* isPlatformTypeSupported)(void* self, const char* type);
  Result(KORRO_VST3_CALL* attached)(void* self, void* parent, const char* type);
  Result(KORRO_VST3_CALL* removed)(void* self);
  Result(KORRO_VST3_CALL* onWheel)(void* self, float distance);
  Result(KORRO_VST3_CALL* onKeyDown)(void* self, std::int16_t key, std::int16_t code, std::int16_t modifiers);
  Result(KORRO_VST3_CALL* onKeyUp)(void* self, std::int16_t key, std::int16_t code, std::int16_t modifiers);
  Result(KORRO_VST3_CALL* getSize)(void* self, ViewRect* out);
  Result(KORRO_VST3_CALL* onSize)(void* self, ViewRect* size);
  Result(KORRO_VST3_CALL* onFocus)(void* self, std::uint8_t state);
  Result(KORRO_VST3_CALL* setFrame)(void* self, void* frame);
  Result(KORRO_VST3_CALL* canResize)(void* self);
  Result(KORRO_VST3_CALL* checkSizeConstraint)(void* self, ViewRect* rect);
};
struct PlugFrameTable {
  KORRO_VST3_UNKNOWN_SLOTS
  Result(KORRO_VST3_CALL* resizeView)(void* self, void* view, ViewRect* size);
};
using PlugFrame = Interface<PlugFrameTable>;
struct ContentScaleTable {
  KORRO_VST3_UNKNOWN_SLOTS
  Result(KORRO_VST3_CALL* setContentScaleFactor)(void* self, float factor);
};
struct TimerHandlerTable {
  KORRO_VST3_UNKNOWN_SLOTS
  void(KORRO_VST3_CALL* onTimer)(void* self);
};
struct RunLoopTable {
  KORRO_VST3_UNKNOWN_SLOTS
  Result(KORRO_VST3_CALL* registerEventHandler)(void* self, void* handler, int fd);
  Result(KORRO_VST3_CALL* unregisterEventHandler)(void* self, void* handler);
  Result(KORRO_VST3_CALL* registerTimer)(void* self, void* handler, std::uint64_t intervalMs);
  Result(KORRO_VST3_CALL* unregisterTimer)(void* self, void* handler);
};
using RunLoop = Interface<RunLoopTable>;

inline constexpr std::uint64_t kSpeakerStereo = 0x3;
inline constexpr std::uint64_t kSpeakerMono = 0x80000;
enum MediaType : std::int32_t { kAudio = 0, kEvent = 1 };
enum BusDirection : std::int32_t { kInput = 0, kOutput = 1 };

}  // namespace korro::vst3
