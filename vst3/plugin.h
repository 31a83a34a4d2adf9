// The reverb as a VST3 plug-in: one object that is the component, the audio
// processor, the edit controller and the unit info, over the same effect the
// VST 2 module exports, driven through its record as a VST 2 host drives it.
// Parameter changes split a block at their offsets, so a render equals the
// VST 2 module fed the same pieces. Its editor is a View of its own.
//
// component.cpp   the object, its component and processor faces
// controller.cpp  its controller and unit faces
// view.cpp        the editor's view
// factory.cpp     the factory and the module's entry points
//
// Threads: process, set_active and set_processing may come on the audio
// thread (Ardour toggles a route there), and only they change the effect:
// from the parameter queues, and from a state the UI thread handed over (see
// shell/hosted_effect.h). The controller's calls and the editor's edits change
// only the controller's view (what get_param_normalized answers, the editor
// shows and a saved state holds), which also follows the processor's values;
// a value or program only shown reaches the effect at the next activation.
// So the same queues render the same samples whatever the UI thread does.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "change_list.h"
#include "shell/editor_session.h"
#include "shell/hosted_effect.h"
#include "shell/programs.h"
#include "vst3_abi.h"
#include "vst3_trace.h"

namespace korro::vst3 {

// Fixed for ever: hosts store them in sessions.
inline constexpr Tuid kReverbClassId = makeTuid(0x4B725477, 0x6B6F7272, 0x6F546172, 0x726F7733);
inline constexpr ParamId kProgramParam = 1000;
inline constexpr std::int32_t kProgramListId = 1;
inline constexpr std::int32_t kProgramSteps = kProgramCount - 1;
#if defined(_WIN32)
inline constexpr const char* kPlatformType = "HWND";
#else
inline constexpr const char* kPlatformType = "X11EmbedWindowID";
#endif

inline bool same(const Tuid* a, const Tuid& b) { return a && std::memcmp(a->bytes, b.bytes, 16) == 0; }

template <std::size_t N>
void copyText(char16 (&out)[N], const char* text) {
  std::size_t i = 0;
  for (; text && text[i] && i + 1 < N; ++i) out[i] = static_cast<unsigned char>(text[i]);
  out[i] = 0;
}
inline void copyText(char16* out, std::size_t n, const char* text) {
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

// The three slots every face of an owner shares.
template <typename Table, typename Owner>
Result KORRO_VST3_CALL queryFace(void* self, const Tuid* iid, void** out) {
  return Face<Table, Owner>::of(self)->query(iid, out);
}
template <typename Table, typename Owner>
std::uint32_t KORRO_VST3_CALL addRefFace(void* self) {
  return Face<Table, Owner>::of(self)->addRef();
}
template <typename Table, typename Owner>
std::uint32_t KORRO_VST3_CALL releaseFace(void* self) {
  return Face<Table, Owner>::of(self)->release();
}

class View;

// A host's reference count; the last release deletes the object.
template <typename Owner>
class Counted {
 public:
  std::uint32_t addRef() { return ++refs_; }
  std::uint32_t release() {
    const std::uint32_t left = --refs_;
    if (left == 0) delete static_cast<Owner*>(this);
    return left;
  }

 protected:
  Counted() = default;
  ~Counted() = default;

 private:
  std::atomic<std::uint32_t> refs_{1};
};

class Reverb final : public HostSide, public Counted<Reverb> {
 public:
  Reverb();
  ~Reverb();
  Reverb(const Reverb&) = delete;
  Reverb& operator=(const Reverb&) = delete;

  // One count for every face: a host may drop the component and keep the processor.
  Result query(const Tuid* iid, void** out);

  // ---- component (component.cpp)
  std::int32_t busCount(std::int32_t media) const { return media == kAudio ? 1 : 0; }
  Result busInfo(std::int32_t media, std::int32_t direction, std::int32_t index, BusInfo* out) const;
  Result setActive(bool on);
  Result saveState(BStream* stream);
  Result loadState(BStream* stream);

  // ---- processor (component.cpp)
  Result setArrangements(const std::uint64_t* in, std::int32_t inCount, const std::uint64_t* out,
                         std::int32_t outCount);
  Result arrangement(std::int32_t direction, std::int32_t index, std::uint64_t* out) const;
  Result setup(const ProcessSetup* s);
  std::uint32_t tail() const;
  Result process(ProcessData* d);

  // ---- controller and units (controller.cpp)
  Result parameterInfo(std::int32_t index, ParameterInfo* out) const;
  Result valueText(ParamId id, double value, char16* out);
  Result valueOfText(ParamId id, const char16* text, double* out);
  double normalized(ParamId id);
  Result setNormalized(ParamId id, double value);
  Result setHandler(ComponentHandler* handler);
  void* createView(const char* name);
  Result programName(std::int32_t list, std::int32_t index, char16* out);
  static std::int32_t programOf(double value);

  // ---- the editor (view.cpp): the one open view and its session.
  EditorSession& editor() { return editor_; }
  View* view_ = nullptr;
  PlugFrame* viewFrame_ = nullptr;
  void* viewFace_ = nullptr;

  static const ComponentTable kComponentTable;
  static const AudioProcessorTable kProcessorTable;
  static const ProcessContextRequirementsTable kContextNeedsTable;
  static const EditControllerTable kControllerTable;
  static const UnitInfoTable kUnitTable;

 private:
  // The editor's edits, on the UI thread where the component handler is called (controller.cpp).
  void beginEdit(std::int32_t index) override;
  void edit(std::int32_t index, float value) override;
  void endEdit(std::int32_t index) override;
  bool resizeEditor(std::int32_t width, std::int32_t height) override;

  // The values a program change brought, told back to the host.
  void reportValues(ParameterChanges* outputs);
  // A channel whose every written sample is exactly zero is flagged silent.
  static void markSilence(ProcessData* d, std::int32_t frames);

  static constexpr auto kRelaxed = std::memory_order_relaxed;

  Face<ComponentTable, Reverb> component_{traced(&kComponentTable), this};
  Face<AudioProcessorTable, Reverb> processor_{traced(&kProcessorTable), this};
  Face<ProcessContextRequirementsTable, Reverb> contextNeeds_{traced(&kContextNeedsTable), this};
  Face<EditControllerTable, Reverb> controller_{traced(&kControllerTable), this};
  Face<UnitInfoTable, Reverb> units_{traced(&kUnitTable), this};

  HostedEffect effect_;
  EditorSession editor_{effect_};
  ComponentHandler* handler_ = nullptr;
  // Set on whichever thread activates; read on the other.
  std::atomic<bool> active_{false};
  bool monoInput_ = false;
  // From setup_processing, for the next activation.
  std::atomic<double> rate_{44100.0};
  std::atomic<std::int32_t> maxBlock_{4096};
  ChangeList changes_;  // the audio side's
};

// The plug-in a face belongs to.
template <typename Table>
Reverb* of(void* self) {
  return Face<Table, Reverb>::of(self);
}

// The editor's view: on the host's window, idled by its run loop (Windows: a timer).
class View : public Counted<View> {
 public:
  explicit View(Reverb* owner);
  ~View();
  View(const View&) = delete;
  View& operator=(const View&) = delete;

  Result query(const Tuid* iid, void** out);

  Result attached(void* parent, const char* type);
  Result removed();
  Result size(ViewRect* out);
  Result setFrame(void* frame) {
    frame_ = static_cast<PlugFrame*>(frame);
    return kOk;
  }
  Result setScale(float factor) { return owner_->editor().setScale(factor) ? kOk : kFalse; }
  void idle() {
    if (open_) owner_->editor().idle();
  }

  static const PlugViewTable kViewTable;
  static const ContentScaleTable kScaleTable;
  static const TimerHandlerTable kTimerTable;

 private:
  Face<PlugViewTable, View> view_{traced(&kViewTable), this};
  Face<ContentScaleTable, View> scale_{traced(&kScaleTable), this};
  Face<TimerHandlerTable, View> timer_{traced(&kTimerTable), this};
  Reverb* owner_;
  PlugFrame* frame_ = nullptr;
  RunLoop* runLoop_ = nullptr;
  bool open_ = false;
};

// The module's one factory (factory.cpp).
extern const FactoryTable kFactoryTable;

}  // namespace korro::vst3
