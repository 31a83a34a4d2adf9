#include "frame.h"

#include <cstdio>
#include <new>

#include "bitmap.h"
#include "draw_context.h"
#include "gui_editor.h"

namespace platform = korro::platform;

CFrame::CFrame(const CRect& r, void* parent, AEffGUIEditor* e) : CView(r), editor(e), parentWindow(parent) {
  if (!parentWindow) return;
  char className[32];
  std::snprintf(className, sizeof className, "Plugin%08x", static_cast<unsigned>(platform::moduleInstance()));
  window = platform::createWindow(parentWindow, size.width(), size.height(), className, "Window", this);
}

CFrame::~CFrame() {
  if (editView) {
    CView* v = editView;
    v->looseFocus();
    editView = nullptr;
  }
  modalView = nullptr;
  for (std::int32_t i = 0; i < viewCount; ++i) {
    views[i]->removed(this);
    views[i]->forget();
  }
  delete[] views;
  views = nullptr;
  viewCount = viewCapacity = 0;
  if (background) background->forget();
  background = nullptr;
  if (window) platform::destroyWindow(window);
  window = nullptr;
  open = false;
  parentWindow = nullptr;
}

bool CFrame::addView(CView* view) {
  if (!view) return false;
  if (viewCount == viewCapacity) {
    CView** grown = new (std::nothrow) CView*[viewCapacity + 10];
    if (!grown) {
      viewCapacity = 0;
      return false;
    }
    for (std::int32_t i = 0; i < viewCount; ++i) grown[i] = views[i];
    delete[] views;
    views = grown;
    viewCapacity += 10;
  }
  views[viewCount++] = view;
  view->setParent(this);
  view->attached(this);
  return true;
}

bool CFrame::isChild(const CView* view) const {
  for (std::int32_t i = 0; i < viewCount; ++i)
    if (views[i] == view) return true;
  return false;
}

void CFrame::setBackground(CBitmap* bitmap) {
  if (bitmap) bitmap->remember();
  if (background) background->forget();
  background = bitmap;
  // A host may make the window larger than the picture: the rest takes the picture's frame colour.
  if (window && background) platform::setWindowBackground(window, background->getPixel(0, 0));
}

void CFrame::draw(CDrawContext* context) {
  firstDraw = false;
  if (!context) return;
  if (background) background->draw(context, CRect(0, 0, size.width(), size.height()), CPoint(0, 0));
  for (std::int32_t i = 0; i < viewCount; ++i) {
    const bool wasDirty = views[i]->isDirty();
    views[i]->draw(context);
    views[i]->setDirty(wasDirty);
  }
  if (modalView) modalView->draw(context);
}

void CFrame::drawArea(CDrawContext* context, const CRect& area) {
  if (!context) return;
  if (background) background->draw(context, area, CPoint(area.left, area.top));
  auto touches = [&](const CRect& r) {
    return r.left < area.right && area.left < r.right && r.top < area.bottom && area.top < r.bottom;
  };
  for (std::int32_t i = 0; i < viewCount; ++i) {
    if (!touches(views[i]->getViewSize())) continue;
    const bool wasDirty = views[i]->isDirty();
    views[i]->draw(context);
    views[i]->setDirty(wasDirty);
  }
  if (modalView && touches(modalView->getViewSize())) modalView->draw(context);
}

void CFrame::draw(CView* view) {
  if (!window || !open) return;
  CDrawContext context(this, window);
  if (view && isChild(view))
    view->draw(&context);
  else
    draw(&context);
}

void CFrame::update(CDrawContext* context) {
  if (!open) return;
  if (modalView) {
    modalView->update(context);
  } else if (isDirty()) {
    draw(context);
    setDirty(false);
  } else {
    for (std::int32_t i = 0; i < viewCount; ++i) views[i]->update(context);
  }
}

void CFrame::idle() {
  if (!open || firstDraw || !window) return;
  bool somethingDirty = modalView != nullptr || isDirty();
  for (std::int32_t i = 0; i < viewCount && !somethingDirty; ++i) somethingDirty = views[i]->isDirty();
  if (!somethingDirty) return;
  CDrawContext context(this, window);
  update(&context);
}

void CFrame::mouse(CDrawContext* context, CPoint& where) {
  if (editView) {
    CView* v = editView;
    v->looseFocus(context);
    editView = nullptr;
  }
  if (modalView) {
    if (modalView->getViewSize().pointInside(where)) modalView->mouse(context, where);
    return;
  }
  for (std::int32_t i = viewCount - 1; i >= 0; --i) {
    CView* v = views[i];
    if (v->getMouseEnabled() && v->getViewSize().pointInside(where)) {
      v->mouse(context, where);
      return;
    }
  }
}

bool CFrame::onWheel(CDrawContext* context, const CPoint& where, float distance) {
  for (std::int32_t i = viewCount - 1; i >= 0; --i) {
    CView* v = views[i];
    if (v->getMouseEnabled() && v->getViewSize().pointInside(where)) return v->onWheel(context, where, distance);
  }
  return false;
}

bool CFrame::setModalView(CView* view) {
  if (view && modalView) return false;
  if (modalView) modalView->removed(this);
  modalView = view;
  if (modalView) modalView->attached(this);
  return true;
}

std::int32_t CFrame::getKnobMode() const { return AEffGUIEditor::getKnobMode(); }

void CFrame::beginEdit(std::int32_t tag) {
  if (editor) editor->beginEdit(tag);
}

void CFrame::endEdit(std::int32_t tag) {
  if (editor) editor->endEdit(tag);
}

void CFrame::doIdleStuff() {
  if (editor) editor->doIdleStuff();
}

void CFrame::dispatchEvents() {
  // A click's tracking loop idles the editor; it must not take the next click.
  if (!window || dispatching) return;
  dispatching = true;
  platform::dispatchEvents(window);
  dispatching = false;
}

void CFrame::onPaint() {
  if (!window || !open) return;
  CDrawContext context(this, window);
  draw(&context);
}

void CFrame::onButtonDown(int x, int y, int /*buttons*/) {
  if (!window || !open) return;
  CDrawContext context(this, window);
  CPoint where(x, y);
  mouse(&context, where);
}

// The host destroyed its window and ours with it: stop painting. The
// platform window itself is released with the frame.
void CFrame::onDestroyed() {
  open = false;
  parentWindow = nullptr;
}

void* CFrame::getNativeWindow() const { return korro::platform::nativeWindow(window); }
