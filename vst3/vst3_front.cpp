// The reverb as a VST3 plug-in: one object that is the component, the audio
// processor, the edit controller and the unit info, over the same effect the
// VST 2 module exports, driven through its record as a VST 2 host drives it.
// Parameter changes split a block at their offsets, so a render equals the
// VST 2 module fed the same pieces.
//
// Threads: process, set_active and set_processing may come on the audio
// thread (Ardour toggles a route there), and only they change the effect:
// from the parameter queues, and from a state the UI thread handed over (see
// shell/hosted_effect.h). The controller's calls and the editor's edits change
// only the controller's view (what get_param_normalized answers, the editor
// shows and a saved state holds), which also follows the processor's values;
// a value or program only shown reaches the effect at the next activation.
// So the same queues render the same samples whatever the UI thread does.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>

#include "change_list.h"
#include "korro/version.h"
#include "shell/hosted_effect.h"
#include "shell/parameter_table.h"
#include "shell/reverb_effect.h"
#include "shell/tail.h"
#include "vst3_abi.h"
#include "vst3_trace.h"

#if defined(_WIN32)
#include <windows.h>
#define KORRO_VST3_EXPORT extern "C" __declspec(dllexport)
#else
#define KORRO_VST3_EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace korro::vst3 {
namespace {

// Fixed for ever: hosts store them in sessions.
constexpr Tuid kReverbClassId = makeTuid(0x4B725477, 0x6B6F7272, 0x6F546172, 0x726F7733);
constexpr ParamId kProgramParam = 1000;
constexpr std::int32_t kProgramListId = 1;
constexpr std::int32_t kProgramSteps = kProgramCount - 1;
constexpr const char* kVendor = "Korro Tarrow";
#if defined(_WIN32)
constexpr const char* kPlatformType = "HWND";
#else
constexpr const char* kPlatformType = "X11EmbedWindowID";
#endif
constexpr std::uint32_t kIdleMs = 30;

bool same(const Tuid* a, const Tuid& b) { return a && std::memcmp(a->bytes, b.bytes, 16) == 0; }

template <std::size_t N>
void copyText(char16 (&out)[N], const char* text) {
  std::size_t i = 0;
  for (; text && text[i] && i + 1 < N; ++i) out[i] = static_cast<unsigned char>(text[i]);
  out[i] = 0;
}
void copyText(char16* out, std::size_t n, const char* text) {
  std::size_t i = 0;
  for (; text && text[i] && i + 1 < n; ++i) out[i] = static_cast<unsigned char>(text[i]);
  out[i] = 0;
}
template <std::size_t N>
void copyText(char (&out)[N], const char* text) {
  std::snprintf(out, N, "%s", text);
}

// A face of an object: the table the host calls through, and its owner.
template <typename Table, typename Owner>
struct Face {
  const Table* table;
  Owner* owner;
  static Owner* of(void* self) { return static_cast<Face*>(self)->owner; }
};

class Reverb;

// ---------------------------------------------------------------- editor view

class View {
 public:
  explicit View(Reverb* owner);
  ~View();

  Result query(const Tuid* iid, void** out) {
    if (!out) return kInvalidArgument;
    if (same(iid, kFUnknownId) || same(iid, kPlugViewId))
      *out = &view_;
    else if (same(iid, kContentScaleSupportId))
      *out = &scale_;
    else if (same(iid, kTimerHandlerId))
      *out = &timer_;
    else {
      *out = nullptr;
      return kNoInterface;
    }
    addRef();
    return kOk;
  }
  std::uint32_t addRef() { return ++refs_; }
  std::uint32_t release() {
    const std::uint32_t left = --refs_;
    if (left == 0) delete this;
    return left;
  }

  Result attached(void* parent, const char* type);
  Result removed();
  Result size(ViewRect* out);
  Result setFrame(void* frame) {
    frame_ = static_cast<PlugFrame*>(frame);
    return kOk;
  }
  Result setScale(float factor);
  void idle();

  static const PlugViewTable kViewTable;
  static const ContentScaleTable kScaleTable;
  static const TimerHandlerTable kTimerTable;

 private:
  Face<PlugViewTable, View> view_{&kViewTable, this};
  Face<ContentScaleTable, View> scale_{&kScaleTable, this};
  Face<TimerHandlerTable, View> timer_{&kTimerTable, this};
  std::atomic<std::uint32_t> refs_{1};
  Reverb* owner_;
  PlugFrame* frame_ = nullptr;
  RunLoop* runLoop_ = nullptr;
  bool open_ = false;
#if defined(_WIN32)
  HWND timerWindow_ = nullptr;
  static void CALLBACK windowTimer(HWND, UINT, UINT_PTR id, DWORD) { reinterpret_cast<View*>(id)->idle(); }
#endif
};

// ---------------------------------------------------------------- the plug-in

class Reverb final : public HostSide {
 public:
  Reverb() : effect_(0, &createReverbEditor, this) {}
  ~Reverb() {
    if (handler_) handler_->table->release(handler_);
  }

  // One count for every face: a host may drop the component and keep the processor.
  Result query(const Tuid* iid, void** out) {
    if (!out) return kInvalidArgument;
    if (same(iid, kFUnknownId) || same(iid, kPluginBaseId) || same(iid, kComponentId))
      *out = &component_;
    else if (same(iid, kAudioProcessorId))
      *out = &processor_;
    else if (same(iid, kProcessContextRequirementsId))
      *out = &contextNeeds_;
    else if (same(iid, kEditControllerId))
      *out = &controller_;
    else if (same(iid, kUnitInfoId))
      *out = &units_;
    else {
      *out = nullptr;
      return kNoInterface;
    }
    addRef();
    return kOk;
  }
  std::uint32_t addRef() { return ++refs_; }
  std::uint32_t release() {
    const std::uint32_t left = --refs_;
    if (left == 0) delete this;
    return left;
  }

  std::intptr_t dispatch(std::int32_t opcode, std::int32_t index = 0, std::intptr_t value = 0, void* ptr = nullptr,
                         float opt = 0.0f) {
    return effect_.dispatch(opcode, index, value, ptr, opt);
  }

  // ------------------------------------------------------------ component

  std::int32_t busCount(std::int32_t media) const { return media == kAudio ? 1 : 0; }

  Result busInfo(std::int32_t media, std::int32_t direction, std::int32_t index, BusInfo* out) const {
    if (media != kAudio || index != 0 || !out || (direction != kInput && direction != kOutput))
      return kInvalidArgument;
    std::memset(out, 0, sizeof *out);
    out->mediaType = kAudio;
    out->direction = direction;
    out->channelCount = direction == kInput && monoInput_ ? 1 : 2;
    copyText(out->name, direction == kInput ? "Input" : "Output");
    out->busType = 0;  // main
    out->flags = 1;    // active by default
    return kOk;
  }

  // On the audio thread or the UI thread: allocates nothing unless the
  // maximum block grew after setup_processing prepared for it.
  Result setActive(bool on) {
    if (on == active_.load(kRelaxed)) return kOk;
    if (!on)
      effect_.deactivate();
    else if (!effect_.activate(static_cast<float>(rate_.load(kRelaxed)), maxBlock_.load(kRelaxed)))
      return kInvalidArgument;
    active_.store(on, kRelaxed);
    return kOk;
  }

  Result saveState(BStream* stream) {
    if (!stream) return kInvalidArgument;
    struct Writer : StateWriter {
      BStream* s;
      std::int64_t write(const void* data, std::int64_t size) override {
        std::int32_t done = 0;
        const auto n = static_cast<std::int32_t>(std::min<std::int64_t>(size, INT32_MAX));
        return s->table->write(s, data, n, &done) == kOk ? done : -1;
      }
    } writer;
    writer.s = stream;
    return effect_.save(writer) ? kOk : kFalse;
  }

  Result loadState(BStream* stream) {
    if (!stream) return kInvalidArgument;
    struct Reader : StateReader {
      BStream* s;
      std::int64_t read(void* data, std::int64_t size) override {
        std::int32_t done = 0;
        const auto n = static_cast<std::int32_t>(std::min<std::int64_t>(size, INT32_MAX));
        return s->table->read(s, data, n, &done) == kOk ? done : -1;
      }
    } reader;
    reader.s = stream;
    if (!effect_.load(reader)) return kFalse;
    if (handler_) handler_->table->restartComponent(handler_, kRestartParamValuesChanged);
    return kOk;
  }

  // ------------------------------------------------------------ processor

  Result setArrangements(const std::uint64_t* in, std::int32_t inCount, const std::uint64_t* out,
                         std::int32_t outCount) {
    if (inCount != 1 || outCount != 1 || !in || !out || out[0] != kSpeakerStereo) return kFalse;
    if (in[0] != kSpeakerStereo && in[0] != kSpeakerMono) return kFalse;
    monoInput_ = in[0] == kSpeakerMono;
    return kTrue;
  }

  Result arrangement(std::int32_t direction, std::int32_t index, std::uint64_t* out) const {
    if (index != 0 || !out || (direction != kInput && direction != kOutput)) return kInvalidArgument;
    *out = direction == kInput && monoInput_ ? kSpeakerMono : kSpeakerStereo;
    return kOk;
  }

  // Comes while inactive, so it may allocate: the next activation then need
  // not. Were a host to send it while active, it is kept for the next one.
  Result setup(const ProcessSetup* s) {
    if (!s || s->symbolicSampleSize != 0 || s->maxBlockSize <= 0) return kInvalidArgument;
    rate_.store(s->sampleRate, kRelaxed);
    maxBlock_.store(std::min(s->maxBlockSize, 1 << 20), kRelaxed);
    if (!active_.load(kRelaxed) && !effect_.prepare(maxBlock_.load(kRelaxed))) return kFalse;
    return kOk;
  }

  std::uint32_t tail() const {
    // ReverbParameter's Output: here kOutput alone names the bus direction.
    const std::int32_t t = tailFrames(rate_.load(kRelaxed), effect_.engineValue(kDecay), effect_.engineValue(kDamp),
                                      effect_.engineValue(ReverbParameter::kOutput), effect_.engineValue(kMix));
    return t == INT32_MAX ? 0xFFFFFFFFu : static_cast<std::uint32_t>(t);
  }

  Result process(ProcessData* d) {
    if (Trace::enabled()) traceProcess(d, "process");
    const Result r = processBlock(d);
    if (Trace::enabled()) traceProcess(d, "processed");
    return r;
  }

  Result processBlock(ProcessData* d) {
    if (!d) return kInvalidArgument;
    if (!active_.load(kRelaxed) || d->symbolicSampleSize != 0) return kInvalidArgument;
    effect_.beginBlock();
    changes_.read(d->inputChanges, kParameterCount, kProgramParam);
    // A program change first, at the block's start, and the five values it
    // brings told back to the host, even when the controller showed it
    // already: a host learns them from here, as it cannot be asked to re-read
    // them from inside its own call that set the program.
    if (double program = 0.0; changes_.program(program)) {
      // A value that names the current program again is an echo, not a new choice.
      if (programOf(program) != effect_.effectProgram()) effect_.changeProgram(programOf(program));
      reportValues(d->outputChanges);
    }
    const std::int32_t frames = std::max(0, d->sampleCount);

    const AudioBusBuffers* ib = d->inputCount > 0 ? d->inputs : nullptr;
    const AudioBusBuffers* ob = d->outputCount > 0 ? d->outputs : nullptr;
    effect_.buffers().bind(ib ? ib->channels : nullptr, ib ? ib->channelCount : 0, ob ? ob->channels : nullptr,
                           ob ? ob->channelCount : 0);
    std::int32_t done = 0;
    for (const ChangeList::Change& c : changes_) {
      const std::int32_t at = std::clamp(c.offset, 0, frames);
      if (at > done) {
        effect_.run(done, at - done);
        done = at;
      }
      effect_.change(static_cast<std::int32_t>(c.id), static_cast<float>(c.value));
    }
    if (frames > done) effect_.run(done, frames - done);
    effect_.endBlock();
    markSilence(d, frames);
    return kOk;
  }

  // What the host hands over: samples, buses and their silence flags, every
  // change point; after the call, the silence flags set.
  void traceProcess(const ProcessData* d, const char* what) {
    if (!d) {
      KORRO_VST3_TRACE(this, "processor", "%s (null)", what);
      return;
    }
    const auto flags = [](std::int32_t n, const AudioBusBuffers* b) {
      return n > 0 && b ? static_cast<unsigned long long>(b->silenceFlags) : 0ull;
    };
    const auto channels = [](std::int32_t n, const AudioBusBuffers* b) { return n > 0 && b ? b->channelCount : -1; };
    char changes[512] = "";
    std::size_t used = 0;
    if (ParameterChanges* c = d->inputChanges; c && std::strcmp(what, "process") == 0) {
      for (std::int32_t q = 0; q < c->table->getParameterCount(c) && used < sizeof changes - 64; ++q) {
        ParamValueQueue* queue = c->table->getParameterData(c, q);
        if (!queue) continue;
        for (std::int32_t p = 0; p < queue->table->getPointCount(queue) && used < sizeof changes - 64; ++p) {
          std::int32_t offset = 0;
          double value = 0.0;
          queue->table->getPoint(queue, p, &offset, &value);
          used += static_cast<std::size_t>(std::snprintf(changes + used, sizeof changes - used, " %u@%d=%.9g",
                                                         queue->table->getParameterId(queue), offset, value));
        }
      }
    }
    KORRO_VST3_TRACE(this, "processor",
                     "%s mode %d size %d samples %d in %d(ch %d silent %llx) out %d(ch %d silent %llx) changes %s%s "
                     "context %s",
                     what, d->processMode, d->symbolicSampleSize, d->sampleCount, d->inputCount,
                     channels(d->inputCount, d->inputs), flags(d->inputCount, d->inputs), d->outputCount,
                     channels(d->outputCount, d->outputs), flags(d->outputCount, d->outputs),
                     d->inputChanges ? "yes" : "null", changes, d->context ? "yes" : "null");
  }

  // ------------------------------------------------------------ controller

  Result parameterInfo(std::int32_t index, ParameterInfo* out) const {
    if (!out) return kInvalidArgument;
    std::memset(out, 0, sizeof *out);
    if (const ParameterDescription* param = findParameter(index)) {
      out->id = static_cast<ParamId>(param->index);
      copyText(out->title, param->name);
      copyText(out->shortTitle, param->name);
      copyText(out->units, param->unit);
      out->stepCount = param->stepped ? 1 : 0;
      out->defaultNormalizedValue = param->defaultValue;
      // Bypass feeds or starves the springs and never passes the input
      // through, so it is not the host's bypass.
      out->flags = kCanAutomate;
      return kOk;
    }
    if (index != kParameterCount) return kInvalidArgument;
    out->id = kProgramParam;
    copyText(out->title, "Program");
    copyText(out->shortTitle, "Program");
    out->stepCount = kProgramSteps;
    out->flags = kIsList | kIsProgramChange;
    return kOk;
  }

  Result valueText(ParamId id, double value, char16* out) {
    if (!out) return kInvalidArgument;
    char text[64] = {};
    if (id == kProgramParam) {
      if (!effect_.programName(programOf(value), text)) return kInvalidArgument;
    } else if (!parameterValueText(static_cast<std::int32_t>(id), value, text, sizeof text)) {
      return kInvalidArgument;
    }
    copyText(out, 128, text);
    return kOk;
  }

  Result valueOfText(ParamId id, const char16* text, double* out) {
    if (!text || !out) return kInvalidArgument;
    char ascii[128] = {};
    for (int i = 0; i < 127 && text[i]; ++i) ascii[i] = text[i] < 128 ? static_cast<char>(text[i]) : '?';
    if (id == kProgramParam) {
      for (std::int32_t k = 0; k < kProgramCount; ++k) {
        char name[kProgramNameSize + 8] = {};
        effect_.programName(k, name);
        if (std::strcmp(name, ascii) == 0) {
          *out = static_cast<double>(k) / kProgramSteps;
          return kOk;
        }
      }
      return kFalse;
    }
    double v = 0.0;
    if (!parameterValueFromText(static_cast<std::int32_t>(id), ascii, v)) return kFalse;
    *out = v;
    return kOk;
  }

  double normalized(ParamId id) {
    if (id == kProgramParam) return static_cast<double>(effect_.program()) / kProgramSteps;
    return findParameter(static_cast<std::int32_t>(id)) ? effect_.value(static_cast<std::int32_t>(id)) : 0.0;
  }

  // From the host's UI thread: the controller's view only. Hosts send the
  // same change to the processor through its queues.
  Result setNormalized(ParamId id, double value) {
    if (id == kProgramParam) {
      if (programOf(value) != effect_.program()) effect_.showProgram(programOf(value));
      return kOk;
    }
    if (!findParameter(static_cast<std::int32_t>(id))) return kInvalidArgument;
    effect_.showValue(static_cast<std::int32_t>(id), static_cast<float>(value));
    return kOk;
  }

  Result setHandler(ComponentHandler* handler) {
    if (handler) handler->table->addRef(handler);
    if (handler_) handler_->table->release(handler_);
    handler_ = handler;
    return kOk;
  }

  void* createView(const char* name) {
    if (name && std::strcmp(name, "editor") != 0) return nullptr;
    if (!(effect_.record().flags & effFlagsHasEditor)) return nullptr;  // a build without editors
    auto* view = new (std::nothrow) View(this);
    void* face = nullptr;
    if (view) {
      view->query(&kPlugViewId, &face);
      view->release();  // the query's count is the host's
    }
    return face;
  }

  // ------------------------------------------------------------ programs

  Result programName(std::int32_t list, std::int32_t index, char16* out) {
    char name[64] = {};
    if (list != kProgramListId || !out || !effect_.programName(index, name)) return kInvalidArgument;
    copyText(out, 128, name);
    return kOk;
  }

  static std::int32_t programOf(double value) {
    if (!(value >= 0.0)) return 0;  // NaN too
    return static_cast<std::int32_t>(std::min(1.0, value) * kProgramSteps + 0.5);
  }

 private:
  void reportValues(ParameterChanges* outputs) {
    if (!outputs) return;
    for (std::int32_t i = 0; i < kParameterCount; ++i) {
      const ParamId id = static_cast<ParamId>(i);
      std::int32_t index = 0;
      ParamValueQueue* q = outputs->table->addParameterData(outputs, &id, &index);
      if (q) q->table->addPoint(q, 0, effect_.getParameter(i), &index);
    }
  }

  // A channel whose every written sample is exactly zero is flagged silent.
  static void markSilence(ProcessData* d, std::int32_t frames) {
    if (d->outputCount <= 0 || !d->outputs) return;
    AudioBusBuffers& b = d->outputs[0];
    b.silenceFlags = 0;
    for (std::int32_t c = 0; c < std::min(b.channelCount, 2); ++c) {
      const float* x = b.channels ? b.channels[c] : nullptr;
      if (!x) continue;
      bool silent = true;
      for (std::int32_t i = 0; i < frames && silent; ++i) silent = x[i] == 0.0f;
      if (silent) b.silenceFlags |= std::uint64_t{1} << c;
    }
  }

  // The editor's edits, on the UI thread where the component handler is called.
  void beginEdit(std::int32_t index) override {
    if (handler_) handler_->table->beginEdit(handler_, static_cast<ParamId>(index));
  }
  void edit(std::int32_t index, float value) override {
    if (handler_) handler_->table->performEdit(handler_, static_cast<ParamId>(index), value);
  }
  void endEdit(std::int32_t index) override {
    if (handler_) handler_->table->endEdit(handler_, static_cast<ParamId>(index));
  }
  bool resizeEditor(std::int32_t width, std::int32_t height) override {
    return view_ && resizeView(width, height) != 0;
  }

 public:
  // The open view, for the editor's own resize requests.
  View* view_ = nullptr;
  PlugFrame* viewFrame_ = nullptr;
  void* viewFace_ = nullptr;
  std::intptr_t resizeView(std::int32_t width, std::int32_t height) {
    if (!viewFrame_) return 0;
    ViewRect r{0, 0, width, height};
    return viewFrame_->table->resizeView(viewFrame_, viewFace_, &r) == kOk ? 1 : 0;
  }

  static const ComponentTable kComponentTable;
  static const AudioProcessorTable kProcessorTable;
  static const ProcessContextRequirementsTable kContextNeedsTable;
  static const EditControllerTable kControllerTable;
  static const UnitInfoTable kUnitTable;

 private:
  Face<ComponentTable, Reverb> component_{&kComponentTable, this};
  Face<AudioProcessorTable, Reverb> processor_{&kProcessorTable, this};
  Face<ProcessContextRequirementsTable, Reverb> contextNeeds_{&kContextNeedsTable, this};
  Face<EditControllerTable, Reverb> controller_{&kControllerTable, this};
  Face<UnitInfoTable, Reverb> units_{&kUnitTable, this};
  std::atomic<std::uint32_t> refs_{1};

  static constexpr auto kRelaxed = std::memory_order_relaxed;

  HostedEffect effect_;
  ComponentHandler* handler_ = nullptr;
  // Set on whichever thread activates; read on the other.
  std::atomic<bool> active_{false};
  bool monoInput_ = false;
  // From setup_processing, for the next activation.
  std::atomic<double> rate_{44100.0};
  std::atomic<std::int32_t> maxBlock_{4096};
  ChangeList changes_;  // the audio side's
};

// ---------------------------------------------------------------- view bodies

View::View(Reverb* owner) : owner_(owner) { owner_->addRef(); }

View::~View() {
  removed();
  owner_->release();
}

Result View::attached(void* parent, const char* type) {
  // One editor per instance: a second view would take the first one's window.
  if (!parent || !type || std::strcmp(type, kPlatformType) != 0 || open_ || owner_->view_) return kFalse;
#if !defined(_WIN32)
  // The host's run loop idles the editor; without one it would never draw.
  void* loop = nullptr;
  if (!frame_ || frame_->table->queryInterface(frame_, &kRunLoopId, &loop) != kOk || !loop) return kFalse;
  runLoop_ = static_cast<RunLoop*>(loop);
#endif
  if (!owner_->dispatch(effEditOpen, 0, 0, parent)) {
#if !defined(_WIN32)
    runLoop_->table->release(runLoop_);
    runLoop_ = nullptr;
#endif
    return kFalse;
  }
  open_ = true;
  owner_->view_ = this;
  owner_->viewFrame_ = frame_;
  owner_->viewFace_ = &view_;
#if defined(_WIN32)
  timerWindow_ = static_cast<HWND>(parent);
  SetTimer(timerWindow_, reinterpret_cast<UINT_PTR>(this), kIdleMs, &View::windowTimer);
#else
  runLoop_->table->registerTimer(runLoop_, &timer_, kIdleMs);
#endif
  return kOk;
}

Result View::removed() {
  if (!open_) return kOk;
#if defined(_WIN32)
  if (timerWindow_) KillTimer(timerWindow_, reinterpret_cast<UINT_PTR>(this));
  timerWindow_ = nullptr;
#else
  if (runLoop_) {
    runLoop_->table->unregisterTimer(runLoop_, &timer_);
    runLoop_->table->release(runLoop_);
    runLoop_ = nullptr;
  }
#endif
  owner_->dispatch(effEditClose);
  owner_->view_ = nullptr;
  owner_->viewFrame_ = nullptr;
  open_ = false;
  return kOk;
}

Result View::size(ViewRect* out) {
  ERect* r = nullptr;
  if (!out || !owner_->dispatch(effEditGetRect, 0, 0, &r) || !r) return kInvalidArgument;
  *out = {0, 0, r->right - r->left, r->bottom - r->top};
  return kOk;
}

Result View::setScale(float factor) {
  return owner_->dispatch(effVendorSpecific, kContentScaleIndex, kContentScaleValue, nullptr, factor) ? kOk : kFalse;
}

void View::idle() {
  if (open_) owner_->dispatch(effEditIdle);
}

template <typename F>
using ViewFace = Face<F, View>;

const PlugViewTable View::kViewTable = {
    [](void* s, const Tuid* iid, void** out) { return ViewFace<PlugViewTable>::of(s)->query(iid, out); },
    [](void* s) { return ViewFace<PlugViewTable>::of(s)->addRef(); },
    [](void* s) { return ViewFace<PlugViewTable>::of(s)->release(); },
    [](void*, const char* type) { return type && std::strcmp(type, kPlatformType) == 0 ? kTrue : kFalse; },
    [](void* s, void* parent, const char* type) { return ViewFace<PlugViewTable>::of(s)->attached(parent, type); },
    [](void* s) { return ViewFace<PlugViewTable>::of(s)->removed(); },
    [](void*, float) { return kFalse; },
    [](void*, std::int16_t, std::int16_t, std::int16_t) { return kFalse; },  // keys stay the host's
    [](void*, std::int16_t, std::int16_t, std::int16_t) { return kFalse; },
    [](void* s, ViewRect* out) { return ViewFace<PlugViewTable>::of(s)->size(out); },
    [](void*, ViewRect*) { return kOk; },
    [](void*, std::uint8_t) { return kOk; },
    [](void* s, void* frame) { return ViewFace<PlugViewTable>::of(s)->setFrame(frame); },
    [](void*) { return kFalse; },
    [](void* s, ViewRect* rect) {
      ViewRect own{};
      if (!rect || ViewFace<PlugViewTable>::of(s)->size(&own) != kOk) return kInvalidArgument;
      *rect = own;  // not resizable: the editor's size is the only one
      return kTrue;
    },
};

const ContentScaleTable View::kScaleTable = {
    [](void* s, const Tuid* iid, void** out) { return ViewFace<ContentScaleTable>::of(s)->query(iid, out); },
    [](void* s) { return ViewFace<ContentScaleTable>::of(s)->addRef(); },
    [](void* s) { return ViewFace<ContentScaleTable>::of(s)->release(); },
    [](void* s, float factor) { return ViewFace<ContentScaleTable>::of(s)->setScale(factor); },
};

const TimerHandlerTable View::kTimerTable = {
    [](void* s, const Tuid* iid, void** out) { return ViewFace<TimerHandlerTable>::of(s)->query(iid, out); },
    [](void* s) { return ViewFace<TimerHandlerTable>::of(s)->addRef(); },
    [](void* s) { return ViewFace<TimerHandlerTable>::of(s)->release(); },
    [](void* s) { ViewFace<TimerHandlerTable>::of(s)->idle(); },
};

// ---------------------------------------------------------------- plug-in tables

template <typename F>
Reverb* of(void* s) {
  return Face<F, Reverb>::of(s);
}

#define KORRO_VST3_UNKNOWN(Table, face)                                                      \
  [](void* s, const Tuid* iid, void** out) {                                                 \
    const Result r = of<Table>(s)->query(iid, out);                                          \
    char hex[40];                                                                            \
    KORRO_VST3_TRACE(of<Table>(s), face, "query_interface %s -> %d", Trace::name(iid, hex), r); \
    return r;                                                                                \
  },                                                                                         \
      [](void* s) { return of<Table>(s)->addRef(); }, [](void* s) {                          \
        KORRO_VST3_TRACE(of<Table>(s), face, "release");                                     \
        return of<Table>(s)->release();                                                      \
      }

const ComponentTable Reverb::kComponentTable = {
    KORRO_VST3_UNKNOWN(ComponentTable, "component"),
    [](void* s, void* context) {
      KORRO_VST3_TRACE(of<ComponentTable>(s), "component", "initialize %p", context);
      return kOk;
    },
    [](void* s) {
      KORRO_VST3_TRACE(of<ComponentTable>(s), "component", "terminate");
      return kOk;
    },
    [](void* s, Tuid*) {
      KORRO_VST3_TRACE(of<ComponentTable>(s), "component", "get_controller_class_id");
      return kNotImplemented;  // no separate controller: this object is it
    },
    [](void* s, std::int32_t mode) {
      KORRO_VST3_TRACE(of<ComponentTable>(s), "component", "set_io_mode %d", mode);
      return kOk;
    },
    [](void* s, std::int32_t media, std::int32_t direction) {
      KORRO_VST3_TRACE(of<ComponentTable>(s), "component", "get_bus_count media %d dir %d", media, direction);
      return of<ComponentTable>(s)->busCount(media);
    },
    [](void* s, std::int32_t media, std::int32_t direction, std::int32_t index, BusInfo* out) {
      const Result r = of<ComponentTable>(s)->busInfo(media, direction, index, out);
      KORRO_VST3_TRACE(of<ComponentTable>(s), "component", "get_bus_info media %d dir %d index %d -> %d", media,
                       direction, index, r);
      return r;
    },
    [](void* s, RoutingInfo*, RoutingInfo*) {
      KORRO_VST3_TRACE(of<ComponentTable>(s), "component", "get_routing_info");
      return kNotImplemented;
    },
    [](void* s, std::int32_t media, std::int32_t direction, std::int32_t index, std::uint8_t on) {
      KORRO_VST3_TRACE(of<ComponentTable>(s), "component", "activate_bus media %d dir %d index %d state %d", media,
                       direction, index, on);
      return media == kAudio && index == 0 ? kOk : kInvalidArgument;
    },
    [](void* s, std::uint8_t on) {
      KORRO_VST3_TRACE(of<ComponentTable>(s), "component", "set_active %d", on);
      return of<ComponentTable>(s)->setActive(on != 0);
    },
    [](void* s, BStream* stream) {
      const Result r = of<ComponentTable>(s)->loadState(stream);
      KORRO_VST3_TRACE(of<ComponentTable>(s), "component", "set_state -> %d", r);
      return r;
    },
    [](void* s, BStream* stream) {
      const Result r = of<ComponentTable>(s)->saveState(stream);
      KORRO_VST3_TRACE(of<ComponentTable>(s), "component", "get_state -> %d", r);
      return r;
    },
};

const AudioProcessorTable Reverb::kProcessorTable = {
    KORRO_VST3_UNKNOWN(AudioProcessorTable, "processor"),
    [](void* s, std::uint64_t* in, std::int32_t inCount, std::uint64_t* out, std::int32_t outCount) {
      const Result r = of<AudioProcessorTable>(s)->setArrangements(in, inCount, out, outCount);
      KORRO_VST3_TRACE(of<AudioProcessorTable>(s), "processor", "set_bus_arrangements in %d:%llx out %d:%llx -> %d",
                       inCount, in && inCount > 0 ? static_cast<unsigned long long>(in[0]) : 0ull, outCount,
                       out && outCount > 0 ? static_cast<unsigned long long>(out[0]) : 0ull, r);
      return r;
    },
    [](void* s, std::int32_t direction, std::int32_t index, std::uint64_t* out) {
      KORRO_VST3_TRACE(of<AudioProcessorTable>(s), "processor", "get_bus_arrangement dir %d index %d", direction,
                       index);
      return of<AudioProcessorTable>(s)->arrangement(direction, index, out);
    },
    [](void* s, std::int32_t size) {
      KORRO_VST3_TRACE(of<AudioProcessorTable>(s), "processor", "can_process_sample_size %d", size);
      return size == 0 ? kTrue : kNotImplemented;
    },
    [](void* s) -> std::uint32_t {
      KORRO_VST3_TRACE(of<AudioProcessorTable>(s), "processor", "get_latency_samples");
      return 0;
    },
    [](void* s, ProcessSetup* setup) {
      KORRO_VST3_TRACE(of<AudioProcessorTable>(s), "processor", "setup_processing mode %d size %d max %d rate %g",
                       setup ? setup->processMode : -1, setup ? setup->symbolicSampleSize : -1,
                       setup ? setup->maxBlockSize : -1, setup ? setup->sampleRate : 0.0);
      return of<AudioProcessorTable>(s)->setup(setup);
    },
    [](void* s, std::uint8_t on) {
      KORRO_VST3_TRACE(of<AudioProcessorTable>(s), "processor", "set_processing %d", on);
      return kOk;
    },
    [](void* s, ProcessData* d) { return of<AudioProcessorTable>(s)->process(d); },
    [](void* s) {
      const std::uint32_t t = of<AudioProcessorTable>(s)->tail();
      KORRO_VST3_TRACE(of<AudioProcessorTable>(s), "processor", "get_tail_samples -> %u", t);
      return t;
    },
};

// No tempo, transport or time: a host that asks need not fill the context.
const ProcessContextRequirementsTable Reverb::kContextNeedsTable = {
    KORRO_VST3_UNKNOWN(ProcessContextRequirementsTable, "context"),
    [](void* s) -> std::uint32_t {
      KORRO_VST3_TRACE(of<ProcessContextRequirementsTable>(s), "context", "get_process_context_requirements");
      return 0;
    },
};

const EditControllerTable Reverb::kControllerTable = {
    KORRO_VST3_UNKNOWN(EditControllerTable, "controller"),
    [](void* s, void* context) {
      KORRO_VST3_TRACE(of<EditControllerTable>(s), "controller", "initialize %p", context);
      return kOk;
    },
    [](void* s) {
      KORRO_VST3_TRACE(of<EditControllerTable>(s), "controller", "terminate");
      return kOk;
    },
    [](void* s, BStream*) {
      KORRO_VST3_TRACE(of<EditControllerTable>(s), "controller", "set_component_state");
      return kOk;  // the component's state is this object's own
    },
    [](void* s, BStream*) {
      KORRO_VST3_TRACE(of<EditControllerTable>(s), "controller", "set_state");
      return kNotImplemented;
    },
    [](void* s, BStream*) {
      KORRO_VST3_TRACE(of<EditControllerTable>(s), "controller", "get_state");
      return kNotImplemented;
    },
    [](void* s) {
      KORRO_VST3_TRACE(of<EditControllerTable>(s), "controller", "get_parameter_count");
      return kParameterCount + 1;
    },
    [](void* s, std::int32_t index, ParameterInfo* out) {
      const Result r = of<EditControllerTable>(s)->parameterInfo(index, out);
      KORRO_VST3_TRACE(of<EditControllerTable>(s), "controller", "get_parameter_info %d -> %d", index, r);
      return r;
    },
    [](void* s, ParamId id, double value, char16* out) {
      KORRO_VST3_TRACE(of<EditControllerTable>(s), "controller", "get_param_string_by_value %u %.17g", id, value);
      return of<EditControllerTable>(s)->valueText(id, value, out);
    },
    [](void* s, ParamId id, const char16* text, double* out) {
      KORRO_VST3_TRACE(of<EditControllerTable>(s), "controller", "get_param_value_by_string %u", id);
      return of<EditControllerTable>(s)->valueOfText(id, text, out);
    },
    [](void* s, ParamId id, double v) {
      KORRO_VST3_TRACE(of<EditControllerTable>(s), "controller", "normalised_parameter_to_plain %u %.17g", id, v);
      return id == kProgramParam ? static_cast<double>(Reverb::programOf(v)) : v;
    },
    [](void* s, ParamId id, double v) {
      KORRO_VST3_TRACE(of<EditControllerTable>(s), "controller", "plain_parameter_to_normalised %u %.17g", id, v);
      return id == kProgramParam ? v / kProgramSteps : v;
    },
    [](void* s, ParamId id) {
      const double v = of<EditControllerTable>(s)->normalized(id);
      KORRO_VST3_TRACE(of<EditControllerTable>(s), "controller", "get_parameter_normalised %u -> %.17g", id, v);
      return v;
    },
    [](void* s, ParamId id, double v) {
      KORRO_VST3_TRACE(of<EditControllerTable>(s), "controller", "set_parameter_normalised %u %.17g", id, v);
      return of<EditControllerTable>(s)->setNormalized(id, v);
    },
    [](void* s, ComponentHandler* h) {
      KORRO_VST3_TRACE(of<EditControllerTable>(s), "controller", "set_component_handler %p", static_cast<void*>(h));
      return of<EditControllerTable>(s)->setHandler(h);
    },
    [](void* s, const char* name) {
      KORRO_VST3_TRACE(of<EditControllerTable>(s), "controller", "create_view %s", name ? name : "(null)");
      return of<EditControllerTable>(s)->createView(name);
    },
};

const UnitInfoTable Reverb::kUnitTable = {
    KORRO_VST3_UNKNOWN(UnitInfoTable, "units"),
    [](void* s) -> std::int32_t {
      KORRO_VST3_TRACE(of<UnitInfoTable>(s), "units", "get_unit_count");
      return 1;
    },
    [](void* s, std::int32_t index, UnitInfo* out) {
      KORRO_VST3_TRACE(of<UnitInfoTable>(s), "units", "get_unit_info %d", index);
      if (index != 0 || !out) return kInvalidArgument;
      *out = {};
      out->id = 0;
      out->parentUnitId = -1;
      copyText(out->name, "Root");
      out->programListId = kProgramListId;
      return kOk;
    },
    [](void* s) -> std::int32_t {
      KORRO_VST3_TRACE(of<UnitInfoTable>(s), "units", "get_program_list_count");
      return 1;
    },
    [](void* s, std::int32_t index, ProgramListInfo* out) {
      KORRO_VST3_TRACE(of<UnitInfoTable>(s), "units", "get_program_list_info %d", index);
      if (index != 0 || !out) return kInvalidArgument;
      *out = {};
      out->id = kProgramListId;
      copyText(out->name, "Factory programs");
      out->programCount = kProgramCount;
      return kOk;
    },
    [](void* s, std::int32_t list, std::int32_t index, char16* out) {
      const Result r = of<UnitInfoTable>(s)->programName(list, index, out);
      KORRO_VST3_TRACE(of<UnitInfoTable>(s), "units", "get_program_name list %d index %d -> %d", list, index, r);
      return r;
    },
    [](void* s, std::int32_t list, std::int32_t index, const char* attribute, char16*) {
      KORRO_VST3_TRACE(of<UnitInfoTable>(s), "units", "get_program_info list %d index %d %s", list, index,
                       attribute ? attribute : "(null)");
      return kFalse;
    },
    [](void* s, std::int32_t list, std::int32_t index) {
      KORRO_VST3_TRACE(of<UnitInfoTable>(s), "units", "has_program_pitch_names list %d index %d", list, index);
      return kFalse;
    },
    [](void* s, std::int32_t list, std::int32_t index, std::int16_t pitch, char16*) {
      KORRO_VST3_TRACE(of<UnitInfoTable>(s), "units", "get_program_pitch_name list %d index %d pitch %d", list, index,
                       pitch);
      return kFalse;
    },
    [](void* s) -> std::int32_t {
      KORRO_VST3_TRACE(of<UnitInfoTable>(s), "units", "get_selected_unit");
      return 0;
    },
    [](void* s, std::int32_t unit) {
      KORRO_VST3_TRACE(of<UnitInfoTable>(s), "units", "select_unit %d", unit);
      return kOk;
    },
    [](void* s, std::int32_t, std::int32_t, std::int32_t, std::int32_t, std::int32_t* unit) {
      KORRO_VST3_TRACE(of<UnitInfoTable>(s), "units", "get_unit_by_bus");
      if (unit) *unit = 0;
      return kOk;
    },
    [](void* s, std::int32_t list, std::int32_t index, BStream*) {
      KORRO_VST3_TRACE(of<UnitInfoTable>(s), "units", "set_unit_program_data list %d index %d", list, index);
      return kNotImplemented;
    },
};

// ---------------------------------------------------------------- factory

void fillClassInfo(ClassInfo& out) {
  std::memset(&out, 0, sizeof out);
  out.classId = kReverbClassId;
  out.cardinality = 0x7FFFFFFF;
  copyText(out.category, "Audio Module Class");
  copyText(out.name, "Korro Tarrow");
}

extern const FactoryTable kFactoryTable;
// Constant-initialised: hosts may ask for the factory on any thread.
constinit Interface<FactoryTable> factory{&kFactoryTable};

const FactoryTable kFactoryTable = {
    [](void*, const Tuid* iid, void** out) {
      char hex[40];
      KORRO_VST3_TRACE(&factory, "factory", "query_interface %s", Trace::name(iid, hex));
      if (!out) return kInvalidArgument;
      if (same(iid, kFUnknownId) || same(iid, kPluginFactoryId) || same(iid, kPluginFactory2Id) ||
          same(iid, kPluginFactory3Id)) {
        *out = &factory;
        return kOk;
      }
      *out = nullptr;
      return kNoInterface;
    },
    // One factory for the module's life.
    [](void*) -> std::uint32_t { return 1; },
    [](void*) -> std::uint32_t { return 1; },
    [](void*, FactoryInfo* out) {
      KORRO_VST3_TRACE(&factory, "factory", "get_factory_info");
      if (!out) return kInvalidArgument;
      std::memset(out, 0, sizeof *out);
      copyText(out->vendor, kVendor);
      copyText(out->url, kVendorUrl);
      out->flags = 0x10;  // texts are unicode where the format allows
      return kOk;
    },
    [](void*) -> std::int32_t {
      KORRO_VST3_TRACE(&factory, "factory", "count_classes");
      return 1;
    },
    [](void*, std::int32_t index, ClassInfo* out) {
      KORRO_VST3_TRACE(&factory, "factory", "get_class_info %d", index);
      if (index != 0 || !out) return kInvalidArgument;
      fillClassInfo(*out);
      return kOk;
    },
    [](void*, const Tuid* classId, const Tuid* iid, void** out) {
      char cls[40], hex[40];
      KORRO_VST3_TRACE(&factory, "factory", "create_instance class %s iid %s", Trace::name(classId, cls),
                       Trace::name(iid, hex));
      if (!out) return kInvalidArgument;
      *out = nullptr;
      if (!same(classId, kReverbClassId)) return kNoInterface;
      Reverb* r = nullptr;
      try {
        r = new Reverb;
      } catch (...) {
        return kNoInterface;  // out of memory: an exception must not reach the host
      }
      const Result result = r->query(iid, out);
      r->release();  // the query's count is the host's
      return result;
    },
    [](void*, std::int32_t index, ClassInfo2* out) {
      KORRO_VST3_TRACE(&factory, "factory", "get_class_info2 %d", index);
      if (index != 0 || !out) return kInvalidArgument;
      ClassInfo base;
      fillClassInfo(base);
      std::memset(out, 0, sizeof *out);
      out->classId = base.classId;
      out->cardinality = base.cardinality;
      std::memcpy(out->category, base.category, sizeof out->category);
      std::memcpy(out->name, base.name, sizeof out->name);
      copyText(out->subCategories, "Fx|Reverb");
      copyText(out->vendor, kVendor);
      copyText(out->version, kProjectVersion);
      copyText(out->sdkVersion, "VST 3.7");
      return kOk;
    },
    [](void*, std::int32_t index, ClassInfoW* out) {
      KORRO_VST3_TRACE(&factory, "factory", "get_class_info_unicode %d", index);
      if (index != 0 || !out) return kInvalidArgument;
      ClassInfo base;
      fillClassInfo(base);
      std::memset(out, 0, sizeof *out);
      out->classId = base.classId;
      out->cardinality = base.cardinality;
      std::memcpy(out->category, base.category, sizeof out->category);
      copyText(out->name, "Korro Tarrow");
      copyText(out->subCategories, "Fx|Reverb");
      copyText(out->vendor, kVendor);
      copyText(out->version, kProjectVersion);
      copyText(out->sdkVersion, "VST 3.7");
      return kOk;
    },
    [](void*, void* context) {
      KORRO_VST3_TRACE(&factory, "factory", "set_host_context %p", context);
      return kOk;
    },
};

}  // namespace
}  // namespace korro::vst3

KORRO_VST3_EXPORT void* GetPluginFactory() { return &korro::vst3::factory; }

#if defined(_WIN32)
KORRO_VST3_EXPORT bool InitDll() { return true; }
KORRO_VST3_EXPORT bool ExitDll() { return true; }
#else
KORRO_VST3_EXPORT bool ModuleEntry(void*) { return true; }
KORRO_VST3_EXPORT bool ModuleExit() { return true; }
#endif
