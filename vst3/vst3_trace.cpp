// The logging tables of the tracing build (see vst3_trace.h): each entry
// makes the call through the plug-in's own table, then appends one line
// (thread, instance, face, call, arguments, result) to the file named by
// KORRO_VST3_TRACE.
#include "vst3_trace.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "plugin.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace korro::vst3 {
namespace {

class Log {
 public:
  static Log& get() {
    static Log log;
    return log;
  }
  bool on() const { return file_ != nullptr; }
  // One write per line, so lines from several threads do not interleave.
  void write(const char* text, std::size_t size) {
    std::fwrite(text, 1, size, file_);
    std::fflush(file_);
  }

 private:
  Log() {
    if (const char* path = std::getenv("KORRO_VST3_TRACE"); path && *path) file_ = std::fopen(path, "a");
  }
  ~Log() {
    if (file_) std::fclose(file_);
  }
  std::FILE* file_ = nullptr;
};

unsigned long threadId() {
#if defined(_WIN32)
  return GetCurrentThreadId();
#else
  return static_cast<unsigned long>(syscall(SYS_gettid));
#endif
}

class Line {
 public:
  Line(const void* instance, const char* face, const char* call) {
    add("t%lu %p %s.%s", threadId(), instance, face, call);
  }
  void add(const char* format, ...)
#if defined(__GNUC__)
      __attribute__((format(printf, 2, 3)))
#endif
  {
    if (used_ >= sizeof text_ - 2) return;
    va_list args;
    va_start(args, format);
    const int n = std::vsnprintf(text_ + used_, sizeof text_ - 1 - used_, format, args);
    va_end(args);
    if (n > 0) used_ = std::min(used_ + static_cast<std::size_t>(n), sizeof text_ - 2);
  }
  void end() {
    text_[used_] = '\n';
    Log::get().write(text_, used_ + 1);
  }

 private:
  char text_[1024];
  std::size_t used_ = 0;
};

// The interface a query names, or its sixteen bytes in memory order.
const char* name(const Tuid* iid, char (&buffer)[40]) {
  if (!iid) return "(null)";
  static const struct {
    Tuid id;
    const char* name;
  } known[] = {
      {kFUnknownId, "FUnknown"},
      {kPluginBaseId, "IPluginBase"},
      {kPluginFactoryId, "IPluginFactory"},
      {kPluginFactory2Id, "IPluginFactory2"},
      {kPluginFactory3Id, "IPluginFactory3"},
      {kComponentId, "IComponent"},
      {kAudioProcessorId, "IAudioProcessor"},
      {kProcessContextRequirementsId, "IProcessContextRequirements"},
      {kEditControllerId, "IEditController"},
      {kConnectionPointId, "IConnectionPoint"},
      {kUnitInfoId, "IUnitInfo"},
      {kPlugViewId, "IPlugView"},
      {kContentScaleSupportId, "IPlugViewContentScaleSupport"},
      {kTimerHandlerId, "ITimerHandler"},
      {makeTuid(0x7F4EFE59, 0xF3204967, 0xAC27A3AE, 0xAFB63038), "IEditController2"},
      {makeTuid(0x8683B01F, 0x7B354F70, 0xA2651DEC, 0x353AF4FF), "IProgramListData"},
      {makeTuid(0x561E65C9, 0x13A0496F, 0x813A2C35, 0x654D7983), "IEventHandler"},
  };
  for (const auto& k : known)
    if (std::memcmp(k.id.bytes, iid->bytes, 16) == 0) return k.name;
  for (int i = 0; i < 16; ++i) std::snprintf(buffer + 2 * i, 3, "%02X", iid->bytes[i]);
  return buffer;
}

// ---------------------------------------------------------------- arguments as the log shows them

void put(Line& l, std::int32_t v) { l.add(" %d", v); }
void put(Line& l, std::uint32_t v) { l.add(" %u", v); }
void put(Line& l, std::int16_t v) { l.add(" %d", v); }
void put(Line& l, std::uint8_t v) { l.add(" %u", v); }
void put(Line& l, double v) { l.add(" %.17g", v); }
void put(Line& l, float v) { l.add(" %g", static_cast<double>(v)); }
void put(Line& l, const char* v) { l.add(" %s", v ? v : "(null)"); }
void put(Line& l, const void* v) { l.add(" %p", v); }
void put(Line& l, const Tuid* v) {
  char hex[40];
  l.add(" %s", name(v, hex));
}
// A speaker arrangement: the first of the list, or what the call wrote.
void put(Line& l, const std::uint64_t* v) {
  if (v)
    l.add(" %llx", static_cast<unsigned long long>(*v));
  else
    l.add(" (null)");
}
void put(Line& l, const ViewRect* r) {
  if (r)
    l.add(" %d,%d-%d,%d", r->left, r->top, r->right, r->bottom);
  else
    l.add(" (null)");
}
void put(Line& l, const ProcessSetup* s) {
  if (s)
    l.add(" mode %d size %d max %d rate %g", s->processMode, s->symbolicSampleSize, s->maxBlockSize, s->sampleRate);
  else
    l.add(" (null)");
}
// Samples, buses and their silence flags, and every change point (id@offset=value).
void put(Line& l, const ProcessData* d) {
  if (!d) {
    l.add(" (null)");
    return;
  }
  const auto flags = [](std::int32_t n, const AudioBusBuffers* b) {
    return n > 0 && b ? static_cast<unsigned long long>(b->silenceFlags) : 0ull;
  };
  const auto channels = [](std::int32_t n, const AudioBusBuffers* b) { return n > 0 && b ? b->channelCount : -1; };
  l.add(" mode %d size %d samples %d in %d(ch %d silent %llx) out %d(ch %d silent %llx) changes %s", d->processMode,
        d->symbolicSampleSize, d->sampleCount, d->inputCount, channels(d->inputCount, d->inputs),
        flags(d->inputCount, d->inputs), d->outputCount, channels(d->outputCount, d->outputs),
        flags(d->outputCount, d->outputs), d->inputChanges ? "yes" : "null");
  if (ParameterChanges* c = d->inputChanges) {
    for (std::int32_t q = 0; q < c->table->getParameterCount(c); ++q) {
      ParamValueQueue* queue = c->table->getParameterData(c, q);
      if (!queue) continue;
      for (std::int32_t p = 0; p < queue->table->getPointCount(queue); ++p) {
        std::int32_t offset = 0;
        double value = 0.0;
        queue->table->getPoint(queue, p, &offset, &value);
        l.add(" %u@%d=%.9g", queue->table->getParameterId(queue), offset, value);
      }
    }
  }
  l.add(" context %s", d->context ? "yes" : "null");
}

// ---------------------------------------------------------------- the tables

// Each table's face name, the owner of its faces (none: the factory) and the plug-in's own table.
template <typename Table>
struct Traits;
template <>
struct Traits<FactoryTable> {
  using Owner = void;
  static constexpr const char* face = "factory";
  static const FactoryTable& plain() { return kFactoryTable; }
};
#define KORRO_TRACE_TRAITS(Table, OwnerType, faceName, table) \
  template <>                                                 \
  struct Traits<Table> {                                      \
    using Owner = OwnerType;                                  \
    static constexpr const char* face = faceName;             \
    static const Table& plain() { return table; }             \
  };
KORRO_TRACE_TRAITS(ComponentTable, Reverb, "component", Reverb::kComponentTable)
KORRO_TRACE_TRAITS(AudioProcessorTable, Reverb, "processor", Reverb::kProcessorTable)
KORRO_TRACE_TRAITS(ProcessContextRequirementsTable, Reverb, "context", Reverb::kContextNeedsTable)
KORRO_TRACE_TRAITS(EditControllerTable, Reverb, "controller", Reverb::kControllerTable)
KORRO_TRACE_TRAITS(UnitInfoTable, Reverb, "units", Reverb::kUnitTable)
KORRO_TRACE_TRAITS(PlugViewTable, View, "view", View::kViewTable)
KORRO_TRACE_TRAITS(ContentScaleTable, View, "scale", View::kScaleTable)
KORRO_TRACE_TRAITS(TimerHandlerTable, View, "timer", View::kTimerTable)
#undef KORRO_TRACE_TRAITS

template <typename Table>
const void* instanceOf(void* self) {
  using Owner = typename Traits<Table>::Owner;
  if constexpr (std::is_void_v<Owner>)
    return self;
  else
    return Face<Table, Owner>::of(self);
}

// The call through the plug-in's own table, logged when it returns; with
// `handedOver` also as the host makes it.
template <typename Table, auto Slot, bool handedOver = false, typename... Args>
auto logged(const char* call, void* self, Args... args) {
  const void* instance = instanceOf<Table>(self);  // before a release deletes the owner
  if constexpr (handedOver) {
    Line line(instance, Traits<Table>::face, call);
    (put(line, args), ...);
    line.end();
  }
  const auto make = [&] { return (Traits<Table>::plain().*Slot)(self, args...); };
  if constexpr (std::is_void_v<decltype(make())>) {
    make();
    Line line(instance, Traits<Table>::face, call);
    (put(line, args), ...);
    line.end();
  } else {
    const auto result = make();
    Line line(instance, Traits<Table>::face, call);
    (put(line, args), ...);
    line.add(" ->");
    put(line, result);
    line.end();
    return result;
  }
}

#define KORRO_LOGGED(Table, slot) \
  .slot = [](void* self, auto... args) { return logged<Table, &Table::slot>(#slot, self, args...); }
#define KORRO_LOGGED_UNKNOWN(Table) \
  KORRO_LOGGED(Table, queryInterface), KORRO_LOGGED(Table, addRef), KORRO_LOGGED(Table, release)

const FactoryTable kLoggedFactory = {
    KORRO_LOGGED_UNKNOWN(FactoryTable),
    KORRO_LOGGED(FactoryTable, getFactoryInfo),
    KORRO_LOGGED(FactoryTable, countClasses),
    KORRO_LOGGED(FactoryTable, getClassInfo),
    KORRO_LOGGED(FactoryTable, createInstance),
    KORRO_LOGGED(FactoryTable, getClassInfo2),
    KORRO_LOGGED(FactoryTable, getClassInfoUnicode),
    KORRO_LOGGED(FactoryTable, setHostContext),
};

const ComponentTable kLoggedComponent = {
    KORRO_LOGGED_UNKNOWN(ComponentTable),
    KORRO_LOGGED(ComponentTable, initialize),
    KORRO_LOGGED(ComponentTable, terminate),
    KORRO_LOGGED(ComponentTable, getControllerClassId),
    KORRO_LOGGED(ComponentTable, setIoMode),
    KORRO_LOGGED(ComponentTable, getBusCount),
    KORRO_LOGGED(ComponentTable, getBusInfo),
    KORRO_LOGGED(ComponentTable, getRoutingInfo),
    KORRO_LOGGED(ComponentTable, activateBus),
    KORRO_LOGGED(ComponentTable, setActive),
    KORRO_LOGGED(ComponentTable, setState),
    KORRO_LOGGED(ComponentTable, getState),
};

const AudioProcessorTable kLoggedProcessor = {
    KORRO_LOGGED_UNKNOWN(AudioProcessorTable),
    KORRO_LOGGED(AudioProcessorTable, setBusArrangements),
    KORRO_LOGGED(AudioProcessorTable, getBusArrangement),
    KORRO_LOGGED(AudioProcessorTable, canProcessSampleSize),
    KORRO_LOGGED(AudioProcessorTable, getLatencySamples),
    KORRO_LOGGED(AudioProcessorTable, setupProcessing),
    KORRO_LOGGED(AudioProcessorTable, setProcessing),
    .process = [](void* self, ProcessData* data) {
      return logged<AudioProcessorTable, &AudioProcessorTable::process, true>("process", self, data);
    },
    KORRO_LOGGED(AudioProcessorTable, getTailSamples),
};

const ProcessContextRequirementsTable kLoggedContext = {
    KORRO_LOGGED_UNKNOWN(ProcessContextRequirementsTable),
    KORRO_LOGGED(ProcessContextRequirementsTable, getProcessContextRequirements),
};

const EditControllerTable kLoggedController = {
    KORRO_LOGGED_UNKNOWN(EditControllerTable),
    KORRO_LOGGED(EditControllerTable, initialize),
    KORRO_LOGGED(EditControllerTable, terminate),
    KORRO_LOGGED(EditControllerTable, setComponentState),
    KORRO_LOGGED(EditControllerTable, setState),
    KORRO_LOGGED(EditControllerTable, getState),
    KORRO_LOGGED(EditControllerTable, getParameterCount),
    KORRO_LOGGED(EditControllerTable, getParameterInfo),
    KORRO_LOGGED(EditControllerTable, getParamStringByValue),
    KORRO_LOGGED(EditControllerTable, getParamValueByString),
    KORRO_LOGGED(EditControllerTable, normalizedToPlain),
    KORRO_LOGGED(EditControllerTable, plainToNormalized),
    KORRO_LOGGED(EditControllerTable, getParamNormalized),
    KORRO_LOGGED(EditControllerTable, setParamNormalized),
    KORRO_LOGGED(EditControllerTable, setComponentHandler),
    KORRO_LOGGED(EditControllerTable, createView),
};

const UnitInfoTable kLoggedUnits = {
    KORRO_LOGGED_UNKNOWN(UnitInfoTable),
    KORRO_LOGGED(UnitInfoTable, getUnitCount),
    KORRO_LOGGED(UnitInfoTable, getUnitInfo),
    KORRO_LOGGED(UnitInfoTable, getProgramListCount),
    KORRO_LOGGED(UnitInfoTable, getProgramListInfo),
    KORRO_LOGGED(UnitInfoTable, getProgramName),
    KORRO_LOGGED(UnitInfoTable, getProgramInfo),
    KORRO_LOGGED(UnitInfoTable, hasProgramPitchNames),
    KORRO_LOGGED(UnitInfoTable, getProgramPitchName),
    KORRO_LOGGED(UnitInfoTable, getSelectedUnit),
    KORRO_LOGGED(UnitInfoTable, selectUnit),
    KORRO_LOGGED(UnitInfoTable, getUnitByBus),
    KORRO_LOGGED(UnitInfoTable, setUnitProgramData),
};

const PlugViewTable kLoggedView = {
    KORRO_LOGGED_UNKNOWN(PlugViewTable),
    KORRO_LOGGED(PlugViewTable, isPlatformTypeSupported),
    KORRO_LOGGED(PlugViewTable, attached),
    KORRO_LOGGED(PlugViewTable, removed),
    KORRO_LOGGED(PlugViewTable, onWheel),
    KORRO_LOGGED(PlugViewTable, onKeyDown),
    KORRO_LOGGED(PlugViewTable, onKeyUp),
    KORRO_LOGGED(PlugViewTable, getSize),
    KORRO_LOGGED(PlugViewTable, onSize),
    KORRO_LOGGED(PlugViewTable, onFocus),
    KORRO_LOGGED(PlugViewTable, setFrame),
    KORRO_LOGGED(PlugViewTable, canResize),
    KORRO_LOGGED(PlugViewTable, checkSizeConstraint),
};

const ContentScaleTable kLoggedScale = {
    KORRO_LOGGED_UNKNOWN(ContentScaleTable),
    KORRO_LOGGED(ContentScaleTable, setContentScaleFactor),
};

const TimerHandlerTable kLoggedTimer = {
    KORRO_LOGGED_UNKNOWN(TimerHandlerTable),
    KORRO_LOGGED(TimerHandlerTable, onTimer),
};

#undef KORRO_LOGGED_UNKNOWN
#undef KORRO_LOGGED

template <typename Table>
const Table* choose(const Table* own, const Table& logging) {
  return Log::get().on() ? &logging : own;
}

// The factory with the logging table: a query hands out this same object.
constinit Interface<FactoryTable> loggedFactory{&kLoggedFactory};

}  // namespace

const ComponentTable* traced(const ComponentTable* t) { return choose(t, kLoggedComponent); }
const AudioProcessorTable* traced(const AudioProcessorTable* t) { return choose(t, kLoggedProcessor); }
const ProcessContextRequirementsTable* traced(const ProcessContextRequirementsTable* t) {
  return choose(t, kLoggedContext);
}
const EditControllerTable* traced(const EditControllerTable* t) { return choose(t, kLoggedController); }
const UnitInfoTable* traced(const UnitInfoTable* t) { return choose(t, kLoggedUnits); }
const PlugViewTable* traced(const PlugViewTable* t) { return choose(t, kLoggedView); }
const ContentScaleTable* traced(const ContentScaleTable* t) { return choose(t, kLoggedScale); }
const TimerHandlerTable* traced(const TimerHandlerTable* t) { return choose(t, kLoggedTimer); }

Interface<FactoryTable>* tracedFactory(Interface<FactoryTable>* factory) {
  return Log::get().on() ? &loggedFactory : factory;
}

}  // namespace korro::vst3
