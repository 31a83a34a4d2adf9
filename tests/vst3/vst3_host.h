// The host's side of the VST3 interfaces, small enough to read: parameter
// change lists, a memory stream, a component handler and an editor frame with
// a run loop. Capacities fixed when made, so a block with changes allocates nothing.
// Used by the in-process tests and by the renderer that runs under Wine.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "support/gesture_log.h"
#include "vst3/vst3_abi.h"

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace korro::test::vst3host {

using namespace korro::vst3;

// The three slots of an object that is only ever on the stack: no counting.
#define KORRO_HOST_UNKNOWN                                                                      \
  [](void*, const Tuid*, void** out) -> Result {                                               \
    if (out) *out = nullptr;                                                                    \
    return kNoInterface;                                                                        \
  },                                                                                            \
      [](void*) -> std::uint32_t { return 1; }, [](void*) -> std::uint32_t { return 1; }

struct Queue {
  static constexpr std::int32_t kCapacity = 1024;
  const ParamValueQueueTable* table;
  ParamId id = 0;
  std::int32_t count = 0;
  std::vector<std::int32_t> offsets = std::vector<std::int32_t>(kCapacity);
  std::vector<double> values = std::vector<double>(kCapacity);

  static Queue* of(void* s) { return static_cast<Queue*>(s); }
  static const ParamValueQueueTable kTable;
  Queue() : table(&kTable) {}
};
inline const ParamValueQueueTable Queue::kTable = {
    KORRO_HOST_UNKNOWN,
    [](void* s) { return of(s)->id; },
    [](void* s) { return of(s)->count; },
    [](void* s, std::int32_t i, std::int32_t* offset, double* value) -> Result {
      Queue* q = of(s);
      if (i < 0 || i >= q->count || !offset || !value) return kInvalidArgument;
      *offset = q->offsets[i];
      *value = q->values[i];
      return kOk;
    },
    [](void* s, std::int32_t offset, double value, std::int32_t* index) -> Result {
      Queue* q = of(s);
      if (q->count == kCapacity) return kFalse;
      q->offsets[q->count] = offset;
      q->values[q->count] = value;
      if (index) *index = q->count;
      ++q->count;
      return kOk;
    },
};

// One queue per parameter, in the order they were first touched.
struct Changes {
  static constexpr std::int32_t kCapacity = 16;
  const ParameterChangesTable* table;
  Queue queues[kCapacity];
  std::int32_t count = 0;

  Changes() : table(&kTable) {}
  Queue* queueFor(ParamId id) {
    for (std::int32_t i = 0; i < count; ++i)
      if (queues[i].id == id) return &queues[i];
    if (count == kCapacity) return nullptr;
    Queue& q = queues[count++];
    q.id = id;
    q.count = 0;
    return &q;
  }
  Changes& add(ParamId id, std::int32_t offset, double value) {
    if (Queue* q = queueFor(id)) q->table->addPoint(q, offset, value, nullptr);
    return *this;
  }
  void clear() { count = 0; }
  // The last value given for a parameter; false if none.
  bool last(ParamId id, double& value) const {
    for (std::int32_t i = 0; i < count; ++i)
      if (queues[i].id == id && queues[i].count > 0) {
        value = queues[i].values[queues[i].count - 1];
        return true;
      }
    return false;
  }

  static Changes* of(void* s) { return static_cast<Changes*>(s); }
  static const ParameterChangesTable kTable;
};
inline const ParameterChangesTable Changes::kTable = {
    KORRO_HOST_UNKNOWN,
    [](void* s) { return of(s)->count; },
    [](void* s, std::int32_t i) -> ParamValueQueue* {
      Changes* c = of(s);
      return i >= 0 && i < c->count ? reinterpret_cast<ParamValueQueue*>(&c->queues[i]) : nullptr;
    },
    [](void* s, const ParamId* id, std::int32_t* index) -> ParamValueQueue* {
      Changes* c = of(s);
      if (!id) return nullptr;
      Queue* q = c->queueFor(*id);
      if (q && index) *index = static_cast<std::int32_t>(q - c->queues);
      return reinterpret_cast<ParamValueQueue*>(q);
    },
};

// Bytes in memory; `chunk` limits what one call moves, from `failAt` on calls fail.
struct Stream {
  const BStreamTable* table;
  std::vector<unsigned char> bytes;
  std::size_t pos = 0;
  std::size_t chunk = SIZE_MAX;
  std::size_t failAt = SIZE_MAX;

  Stream() : table(&kTable) {}
  explicit Stream(std::vector<unsigned char> b) : table(&kTable), bytes(std::move(b)) {}
  BStream* self() { return reinterpret_cast<BStream*>(this); }

  static Stream* of(void* s) { return static_cast<Stream*>(s); }
  static const BStreamTable kTable;
};
inline const BStreamTable Stream::kTable = {
    KORRO_HOST_UNKNOWN,
    [](void* s, void* data, std::int32_t size, std::int32_t* done) -> Result {
      Stream* m = of(s);
      if (done) *done = 0;
      if (m->pos >= m->failAt || size < 0 || !data) return kFalse;
      const std::size_t n = std::min<std::size_t>(
          {static_cast<std::size_t>(size), m->chunk, m->bytes.size() - std::min(m->pos, m->bytes.size()),
           m->failAt - m->pos});
      if (n) std::memcpy(data, m->bytes.data() + m->pos, n);
      m->pos += n;
      if (done) *done = static_cast<std::int32_t>(n);
      return kOk;
    },
    [](void* s, const void* data, std::int32_t size, std::int32_t* done) -> Result {
      Stream* m = of(s);
      if (done) *done = 0;
      if (m->bytes.size() >= m->failAt || size < 0 || !data) return kFalse;
      const std::size_t n =
          std::min<std::size_t>({static_cast<std::size_t>(size), m->chunk, m->failAt - m->bytes.size()});
      const auto* p = static_cast<const unsigned char*>(data);
      m->bytes.insert(m->bytes.end(), p, p + n);
      if (done) *done = static_cast<std::int32_t>(n);
      return kOk;
    },
    [](void* s, std::int64_t position, std::int32_t mode, std::int64_t* result) -> Result {
      Stream* m = of(s);
      const std::int64_t base = mode == 0 ? 0 : mode == 1 ? static_cast<std::int64_t>(m->pos)
                                                          : static_cast<std::int64_t>(m->bytes.size());
      if (base + position < 0) return kInvalidArgument;
      m->pos = static_cast<std::size_t>(base + position);
      if (result) *result = static_cast<std::int64_t>(m->pos);
      return kOk;
    },
    [](void* s, std::int64_t* position) -> Result {
      if (position) *position = static_cast<std::int64_t>(of(s)->pos);
      return kOk;
    },
};

// What the controller tells the host.
struct Handler {
  const ComponentHandlerTable* table;
  int begins = 0, performs = 0, ends = 0, restarts = 0, refs = 0;
  GestureLog gestures;
  std::int32_t lastRestartFlags = 0;
  ParamId lastId = 0;
  double lastValue = -1.0;

  Handler() : table(&kTable) {}
  ComponentHandler* self() { return reinterpret_cast<ComponentHandler*>(this); }

  static Handler* of(void* s) { return static_cast<Handler*>(s); }
  static const ComponentHandlerTable kTable;
};
inline const ComponentHandlerTable Handler::kTable = {
    [](void*, const Tuid*, void** out) -> Result {
      if (out) *out = nullptr;
      return kNoInterface;
    },
    [](void* s) -> std::uint32_t { return static_cast<std::uint32_t>(++of(s)->refs); },
    [](void* s) -> std::uint32_t { return static_cast<std::uint32_t>(--of(s)->refs); },
    [](void* s, ParamId id) -> Result {
      ++of(s)->begins;
      of(s)->lastId = id;
      of(s)->gestures.begin(id);
      return kOk;
    },
    [](void* s, ParamId id, double v) -> Result {
      ++of(s)->performs;
      of(s)->lastId = id;
      of(s)->lastValue = v;
      of(s)->gestures.value(id, v);
      return kOk;
    },
    [](void* s, ParamId id) -> Result {
      ++of(s)->ends;
      of(s)->lastId = id;
      of(s)->gestures.end(id);
      return kOk;
    },
    [](void* s, std::int32_t flags) -> Result {
      ++of(s)->restarts;
      of(s)->lastRestartFlags = flags;
      return kOk;
    },
};

// The editor's frame, which hands out the host's run loop when it has one.
struct Frame {
  struct Loop {
    const RunLoopTable* table;
    Frame* frame;
  };
  const PlugFrameTable* table;
  Loop loop;
  bool offerRunLoop = true;
  int loopRefs = 0, timersRegistered = 0, timersUnregistered = 0, resizes = 0;
  ViewRect asked{};  // the size of the last resize the view asked for
  void* timer = nullptr;  // the plug-in's timer handler while registered
  std::uint64_t interval = 0;

  Frame() : table(&kTable), loop{&kLoopTable, this} {}
  void* self() { return this; }
  // What the host's run loop does every interval.
  void tick() {
    if (timer) static_cast<Interface<TimerHandlerTable>*>(timer)->table->onTimer(timer);
  }

  static const PlugFrameTable kTable;
  static Frame* loopOf(void* s) { return static_cast<Loop*>(s)->frame; }
  static const RunLoopTable kLoopTable;
};
inline const RunLoopTable Frame::kLoopTable = {
    [](void*, const Tuid*, void** out) -> Result {
      if (out) *out = nullptr;
      return kNoInterface;
    },
    [](void* s) -> std::uint32_t { return static_cast<std::uint32_t>(++loopOf(s)->loopRefs); },
    [](void* s) -> std::uint32_t { return static_cast<std::uint32_t>(--loopOf(s)->loopRefs); },
    [](void*, void*, int) -> Result { return kNotImplemented; },
    [](void*, void*) -> Result { return kNotImplemented; },
    [](void* s, void* handler, std::uint64_t ms) -> Result {
      Frame* f = loopOf(s);
      ++f->timersRegistered;
      f->timer = handler;
      f->interval = ms;
      return kOk;
    },
    [](void* s, void* handler) -> Result {
      Frame* f = loopOf(s);
      ++f->timersUnregistered;
      if (handler == f->timer) f->timer = nullptr;
      return kOk;
    },
};
inline const PlugFrameTable Frame::kTable = {
    [](void* s, const Tuid* iid, void** out) -> Result {
      Frame* f = static_cast<Frame*>(s);
      if (!out) return kInvalidArgument;
      if (f->offerRunLoop && iid && std::memcmp(iid->bytes, kRunLoopId.bytes, 16) == 0) {
        ++f->loopRefs;
        *out = &f->loop;
        return kOk;
      }
      *out = nullptr;
      return kNoInterface;
    },
    [](void*) -> std::uint32_t { return 1; },
    [](void*) -> std::uint32_t { return 1; },
    [](void* s, void*, ViewRect* size) -> Result {
      ++static_cast<Frame*>(s)->resizes;
      if (size) static_cast<Frame*>(s)->asked = *size;
      return kOk;
    },
};

#undef KORRO_HOST_UNKNOWN

// The loaded module: its entry called, its factory held.
class Module {
 public:
  explicit Module(const std::string& path) {
#if defined(_WIN32)
    handle_ = LoadLibraryA(path.c_str());
    auto sym = [&](const char* name) { return reinterpret_cast<void*>(GetProcAddress(handle_, name)); };
    if (!handle_) return;
    auto init = reinterpret_cast<bool (*)()>(sym("InitDll"));
    exit_ = reinterpret_cast<bool (*)()>(sym("ExitDll"));
    if (!init || !exit_ || !init()) return;
#else
    handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle_) {
      error_ = dlerror();
      return;
    }
    auto sym = [&](const char* name) { return dlsym(handle_, name); };
    auto init = reinterpret_cast<bool (*)(void*)>(sym("ModuleEntry"));
    exit_ = reinterpret_cast<bool (*)()>(sym("ModuleExit"));
    if (!init || !exit_ || !init(handle_)) {
      error_ = "no ModuleEntry/ModuleExit, or the entry refused";
      return;
    }
#endif
    auto get = reinterpret_cast<void* (*)()>(sym("GetPluginFactory"));
    factory_ = get ? static_cast<Interface<FactoryTable>*>(get()) : nullptr;
    if (!factory_) error_ = "no factory";
  }
  ~Module() {
    if (factory_) factory_->table->release(factory_);
    if (exit_) exit_();
#if defined(_WIN32)
    if (handle_) FreeLibrary(handle_);
#else
    if (handle_) dlclose(handle_);
#endif
  }
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;

  Interface<FactoryTable>* factory() const { return factory_; }
  const std::string& error() const { return error_; }
  Tuid classId() const {
    ClassInfo info{};
    if (factory_) factory_->table->getClassInfo(factory_, 0, &info);
    return info.classId;
  }

 private:
#if defined(_WIN32)
  HMODULE handle_ = nullptr;
#else
  void* handle_ = nullptr;
#endif
  bool (*exit_)() = nullptr;
  Interface<FactoryTable>* factory_ = nullptr;
  std::string error_ = "not loaded";
};

using Component = Interface<ComponentTable>;
using Processor = Interface<AudioProcessorTable>;
using Controller = Interface<EditControllerTable>;
using Units = Interface<UnitInfoTable>;

// One plug-in instance as a host holds it: the component, the faces it
// queried from it, and the handler it gave the controller.
class Instance {
 public:
  explicit Instance(const Module& m) {
    auto* f = m.factory();
    if (!f) return;
    const Tuid id = m.classId();
    void* out = nullptr;
    if (f->table->createInstance(f, &id, &kComponentId, &out) != kOk || !out) return;
    component = static_cast<Component*>(out);
    component->table->initialize(component, nullptr);
    processor = query<Processor>(kAudioProcessorId);
    controller = query<Controller>(kEditControllerId);
    units = query<Units>(kUnitInfoId);
    if (controller) {
      controller->table->initialize(controller, nullptr);
      controller->table->setComponentHandler(controller, handler.self());
    }
  }
  ~Instance() {
    if (!component) return;
    stop();
    if (controller) {
      controller->table->setComponentHandler(controller, nullptr);
      controller->table->terminate(controller);
    }
    component->table->terminate(component);
    for (void* face : {static_cast<void*>(processor), static_cast<void*>(controller), static_cast<void*>(units)})
      if (face) static_cast<Unknown*>(face)->table->release(face);
    component->table->release(component);
  }
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;
  explicit operator bool() const { return component && processor && controller && units; }

  template <typename Face>
  Face* query(const Tuid& iid) {
    void* out = nullptr;
    return component->table->queryInterface(component, &iid, &out) == kOk ? static_cast<Face*>(out) : nullptr;
  }

  // The usual order: arrangements, setup, active, processing.
  bool start(double rate, std::int32_t maxBlock, std::uint64_t input = kSpeakerStereo) {
    std::uint64_t in = input, out = kSpeakerStereo;
    if (processor->table->setBusArrangements(processor, &in, 1, &out, 1) != kTrue) return false;
    ProcessSetup setup{0, 0, maxBlock, rate};
    if (processor->table->setupProcessing(processor, &setup) != kOk) return false;
    if (component->table->setActive(component, 1) != kOk) return false;
    processor->table->setProcessing(processor, 1);
    started_ = true;
    return true;
  }
  void stop() {
    if (!started_) return;
    processor->table->setProcessing(processor, 0);
    component->table->setActive(component, 0);
    started_ = false;
  }

  // One block: `inChannels` input channels, two outputs written in place of `out`.
  Result process(float* const* in, std::int32_t inChannels, float* const* out, std::int32_t frames,
                 Changes* changes = nullptr, Changes* outputs = nullptr, std::uint64_t* silence = nullptr) {
    AudioBusBuffers ib{inChannels, 0, const_cast<float**>(in)};
    AudioBusBuffers ob{2, 0, const_cast<float**>(out)};
    ProcessData d{};
    d.sampleCount = frames;
    d.inputCount = 1;
    d.outputCount = 1;
    d.inputs = &ib;
    d.outputs = &ob;
    d.inputChanges = reinterpret_cast<ParameterChanges*>(changes);
    d.outputChanges = reinterpret_cast<ParameterChanges*>(outputs);
    const Result r = processor->table->process(processor, &d);
    if (silence) *silence = ob.silenceFlags;
    return r;
  }

  double value(ParamId id) { return controller->table->getParamNormalized(controller, id); }

  std::vector<unsigned char> state(std::size_t chunk = SIZE_MAX) {
    Stream s;
    s.chunk = chunk;
    return component->table->getState(component, s.self()) == kOk ? s.bytes : std::vector<unsigned char>{};
  }

  Component* component = nullptr;
  Processor* processor = nullptr;
  Controller* controller = nullptr;
  Units* units = nullptr;
  Handler handler;

 private:
  bool started_ = false;
};

}  // namespace korro::test::vst3host
