#include "buttons.h"

#include "bitmap.h"
#include "draw_context.h"
#include "frame.h"

COnOffButton::COnOffButton(const CRect& r, CControlListener* l, std::int32_t t, CBitmap* bg)
    : CControl(r, l, t, bg) {}

void COnOffButton::draw(CDrawContext* context) {
  if (background) drawBackground(context, CPoint(0, value == 0.0f ? 0 : background->getHeight() / 2));
  setDirty(false);
}

void COnOffButton::mouse(CDrawContext* context, CPoint&) {
  if (!mouseEnabled || !context) return;
  if (!(context->getMouseButtons() & kLButton)) return;
  value = static_cast<std::int32_t>(value) != 0 ? 0.0f : 1.0f;
  draw(context);
  if (listener) listener->valueChanged(context, this);
}

CSplashScreen::CSplashScreen(const CRect& r, CControlListener* l, std::int32_t t, CBitmap* bg, const CRect& shown,
                             const CPoint& o)
    : CControl(r, l, t, bg), toDisplay(shown), keepSize(r), offset(o) {}

void CSplashScreen::draw(CDrawContext* context) {
  // Hidden, the click area draws nothing of its own.
  if (value == 0.0f) return;
  if (background) background->draw(context, toDisplay, offset);
  setDirty(false);
}

void CSplashScreen::mouse(CDrawContext* context, CPoint&) {
  if (!mouseEnabled || !context) return;
  if (!(context->getMouseButtons() & kLButton)) return;
  value = value == 0.0f ? 1.0f : 0.0f;
  if (value != 0.0f) {
    if (parentFrame && parentFrame->setModalView(this)) {
      keepSize = size;
      size = toDisplay;
      draw(context);
      if (listener) listener->valueChanged(context, this);
    }
  } else {
    size = keepSize;
    if (parentFrame) {
      parentFrame->setModalView(nullptr);
      parentFrame->draw(context);
    }
    if (listener) listener->valueChanged(context, this);
  }
  setDirty();
}
