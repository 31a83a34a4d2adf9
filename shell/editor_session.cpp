#include "editor_session.h"

#include "hosted_effect.h"

#if defined(_WIN32)
#include <windows.h>

namespace {
void CALLBACK idleOnTimer(HWND, UINT, UINT_PTR id, DWORD) { reinterpret_cast<korro::EditorSession*>(id)->idle(); }
}  // namespace
#endif

namespace korro {

bool EditorSession::open(void* parent) {
  if (!parent || !effect_.dispatch(effEditOpen, 0, 0, parent)) return false;
  open_ = true;
#if defined(_WIN32)
  timerWindow_ = parent;
  SetTimer(static_cast<HWND>(parent), reinterpret_cast<UINT_PTR>(this), kIdleMs, &idleOnTimer);
#endif
  return true;
}

void EditorSession::close() {
  if (!open_) return;
#if defined(_WIN32)
  if (timerWindow_) KillTimer(static_cast<HWND>(timerWindow_), reinterpret_cast<UINT_PTR>(this));
  timerWindow_ = nullptr;
#endif
  effect_.dispatch(effEditClose);
  open_ = false;
}

void EditorSession::idle() {
  if (open_) effect_.dispatch(effEditIdle);
}

bool EditorSession::size(int& width, int& height) {
  ERect* r = nullptr;
  if (!effect_.dispatch(effEditGetRect, 0, 0, &r) || !r) return false;
  width = r->right - r->left;
  height = r->bottom - r->top;
  return true;
}

bool EditorSession::setScale(float scale) {
  return effect_.dispatch(effVendorSpecific, kContentScaleIndex, kContentScaleValue, nullptr, scale) != 0;
}

}  // namespace korro
