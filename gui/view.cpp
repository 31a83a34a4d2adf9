#include "view.h"

#include "bitmap.h"
#include "frame.h"

CView::CView(const CRect& r) : size(r), mouseableArea(r) {}

void CView::update(CDrawContext* context) {
  if (isDirty()) {
    draw(context);
    setDirty(false);
  }
}

void CView::setViewSize(const CRect& rect) {
  size = rect;
  setDirty();
}

bool CView::attached(CView* parent) {
  parentView = parent;
  return true;
}

void CView::forget() {
  if (nbReference <= 0) return;
  if (--nbReference == 0) delete this;
}

CControl::CControl(const CRect& r, CControlListener* l, std::int32_t t, CBitmap* bitmap)
    : CView(r), listener(l), tag(t), background(bitmap) {
  if (background) background->remember();
}

CControl::~CControl() {
  if (background) background->forget();
}

bool CControl::isDirty() {
  // Written so that a NaN value always counts as changed.
  return !(value == oldValue) || CView::isDirty();
}

void CControl::setDirty(bool v) {
  CView::setDirty(v);
  if (!v) oldValue = value;
}

void CControl::doIdleStuff() {
  if (parentFrame) parentFrame->doIdleStuff();
}

void CControl::drawBackground(CDrawContext* context, const CPoint& offset) {
  if (!background) return;
  if (transparencyEnabled)
    background->drawTransparent(context, size, offset);
  else
    background->draw(context, size, offset);
}

void CControl::setBackground(CBitmap* bitmap) {
  if (bitmap) bitmap->remember();
  if (background) background->forget();
  background = bitmap;
  setDirty();
}

void CControl::bounceValue() {
  if (value > vmax)
    value = vmax;
  else if (value < vmin)
    value = vmin;
}

double CView::screenScale() const { return parentFrame ? parentFrame->getScale() : 1.0; }
