// The editor's view: the effect's editor on the host's window, idled by the
// host's run loop (on Windows by the editor session's timer).
#include "plugin.h"

namespace korro::vst3 {

View::View(Reverb* owner) : owner_(owner) { owner_->addRef(); }

View::~View() {
  removed();
  owner_->release();
}

Result View::query(const Tuid* iid, void** out) {
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

Result View::attached(void* parent, const char* type) {
  // One editor per instance: a second view would take the first one's window.
  if (!parent || !type || std::strcmp(type, kPlatformType) != 0 || open_ || owner_->view_) return kFalse;
#if !defined(_WIN32)
  // The host's run loop idles the editor; without one it would never draw.
  void* loop = nullptr;
  if (!frame_ || frame_->table->queryInterface(frame_, &kRunLoopId, &loop) != kOk || !loop) return kFalse;
  runLoop_ = static_cast<RunLoop*>(loop);
#endif
  if (!owner_->editor().open(parent)) {
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
#if !defined(_WIN32)
  runLoop_->table->registerTimer(runLoop_, &timer_, EditorSession::kIdleMs);
#endif
  return kOk;
}

Result View::removed() {
  if (!open_) return kOk;
#if !defined(_WIN32)
  if (runLoop_) {
    runLoop_->table->unregisterTimer(runLoop_, &timer_);
    runLoop_->table->release(runLoop_);
    runLoop_ = nullptr;
  }
#endif
  owner_->editor().close();
  owner_->view_ = nullptr;
  owner_->viewFrame_ = nullptr;
  open_ = false;
  return kOk;
}

Result View::size(ViewRect* out) {
  int width = 0, height = 0;
  if (!out || !owner_->editor().size(width, height)) return kInvalidArgument;
  *out = {0, 0, width, height};
  return kOk;
}

// ---------------------------------------------------------------- tables

namespace {
template <typename Table>
View* viewOf(void* self) {
  return Face<Table, View>::of(self);
}
}  // namespace

const PlugViewTable View::kViewTable = {
    .queryInterface = queryFace<PlugViewTable, View>,
    .addRef = addRefFace<PlugViewTable, View>,
    .release = releaseFace<PlugViewTable, View>,
    .isPlatformTypeSupported = [](void*, const char* type) {
      return type && std::strcmp(type, kPlatformType) == 0 ? kTrue : kFalse;
    },
    .attached = [](void* s, void* parent, const char* type) { return viewOf<PlugViewTable>(s)->attached(parent, type); },
    .removed = [](void* s) { return viewOf<PlugViewTable>(s)->removed(); },
    .onWheel = [](void*, float) { return kFalse; },
    .onKeyDown = [](void*, std::int16_t, std::int16_t, std::int16_t) { return kFalse; },  // keys stay the host's
    .onKeyUp = [](void*, std::int16_t, std::int16_t, std::int16_t) { return kFalse; },
    .getSize = [](void* s, ViewRect* out) { return viewOf<PlugViewTable>(s)->size(out); },
    .onSize = [](void*, ViewRect*) { return kOk; },
    .onFocus = [](void*, std::uint8_t) { return kOk; },
    .setFrame = [](void* s, void* frame) { return viewOf<PlugViewTable>(s)->setFrame(frame); },
    .canResize = [](void*) { return kFalse; },
    .checkSizeConstraint = [](void* s, ViewRect* rect) {
      ViewRect own{};
      if (!rect || viewOf<PlugViewTable>(s)->size(&own) != kOk) return kInvalidArgument;
      *rect = own;  // not resizable: the editor's size is the only one
      return kTrue;
    },
};

const ContentScaleTable View::kScaleTable = {
    .queryInterface = queryFace<ContentScaleTable, View>,
    .addRef = addRefFace<ContentScaleTable, View>,
    .release = releaseFace<ContentScaleTable, View>,
    .setContentScaleFactor = [](void* s, float factor) { return viewOf<ContentScaleTable>(s)->setScale(factor); },
};

const TimerHandlerTable View::kTimerTable = {
    .queryInterface = queryFace<TimerHandlerTable, View>,
    .addRef = addRefFace<TimerHandlerTable, View>,
    .release = releaseFace<TimerHandlerTable, View>,
    .onTimer = [](void* s) { viewOf<TimerHandlerTable>(s)->idle(); },
};

}  // namespace korro::vst3
