#include "knob.h"

#include <cmath>

#include "bitmap.h"
#include "draw_context.h"
#include "frame.h"

namespace {
constexpr double kPi = 3.14159265358979323846;
constexpr float kTwoPi = static_cast<float>(2.0 * kPi);
constexpr int kLinearPixels = 200;  // a straight drag this long sweeps the whole range
}  // namespace

CKnob::CKnob(const CRect& r, CControlListener* l, std::int32_t t, CBitmap* bg, CBitmap* handle, const CPoint& o)
    : CControl(r, l, t, bg), offset(o), handleBitmap(handle) {
  if (handleBitmap) {
    handleBitmap->remember();
    inset = static_cast<std::int32_t>(handleBitmap->getWidth() * 0.5 + 2.5);
  }
  radius = static_cast<float>(size.width() * 0.5);
  rangeAngle = 1.0f;
  setStartAngle(3.9269908f);  // 5π/4: lower left
  setRangeAngle(-4.712389f);  // −3π/2: 270° clockwise to lower right
}

CKnob::~CKnob() {
  if (handleBitmap) handleBitmap->forget();
}

void CKnob::compute() {
  aCoef = (vmax - vmin) / rangeAngle;
  bCoef = vmin - aCoef * startAngle;
  halfAngle = (kTwoPi - std::fabs(rangeAngle)) * 0.5f;
  setDirty();
}

void CKnob::setStartAngle(float angle) {
  startAngle = angle;
  compute();
}

void CKnob::setRangeAngle(float angle) {
  rangeAngle = angle;
  compute();
}

void CKnob::setColorShadowHandle(const CColor& c) {
  colorShadowHandle = c;
  setDirty();
}

void CKnob::setColorHandle(const CColor& c) {
  colorHandle = c;
  setDirty();
}

void CKnob::setHandleBitmap(CBitmap* bitmap) {
  if (bitmap) bitmap->remember();
  if (handleBitmap) handleBitmap->forget();
  handleBitmap = bitmap;
  inset = handleBitmap ? static_cast<std::int32_t>(handleBitmap->getWidth() * 0.5 + 2.5) : 3;
  setDirty();
}

void CKnob::draw(CDrawContext* context) {
  drawBackground(context, offset);
  drawHandle(context);
  setDirty(false);
}

void CKnob::valueToPoint(CPoint& point) const {
  const double alpha = (value - bCoef) / aCoef;
  const double r = radius - inset;
  point.h = static_cast<std::int32_t>(radius + std::cos(alpha) * r + 0.5);
  point.v = static_cast<std::int32_t>(radius - std::sin(alpha) * r + 0.5);
}

void CKnob::drawHandle(CDrawContext* context) {
  CPoint tip;
  valueToPoint(tip);
  tip.offset(size.left, size.top);
  const CPoint centre(size.left + size.width() / 2, size.top + size.height() / 2);
  if (handleBitmap) {
    const std::int32_t w = handleBitmap->getWidth(), h = handleBitmap->getHeight();
    CRect r(tip.h - w / 2, tip.v - h / 2, tip.h - w / 2 + w, tip.v - h / 2 + h);
    handleBitmap->drawTransparent(context, r);
    return;
  }
  context->setFrameColor(colorShadowHandle);
  context->moveTo(CPoint(centre.h + 1, centre.v + 1));
  context->lineTo(CPoint(tip.h + 1, tip.v + 1));
  context->setFrameColor(colorHandle);
  context->moveTo(centre);
  context->lineTo(tip);
}

float CKnob::valueFromPoint(CPoint& point) const {
  float v;
  double alpha = std::atan2(radius - point.v, point.h - radius);
  if (alpha < 0.0) alpha += 2.0 * kPi;
  double alpha2 = alpha - startAngle;
  const double halfA = halfAngle, range = rangeAngle;
  if (rangeAngle < 0) {
    alpha2 -= range;
    double alpha3 = alpha2;
    while (alpha3 < 0.0) alpha3 += 2.0 * kPi;
    while (alpha3 > 2.0 * kPi) alpha3 -= 2.0 * kPi;
    if (alpha3 > halfA - range)
      v = vmax;
    else if (alpha3 > -range)
      v = vmin;
    else {
      while (alpha2 > halfA - range) alpha2 -= 2.0 * kPi;
      while (alpha2 <= -halfA) alpha2 += 2.0 * kPi;
      v = static_cast<float>(aCoef * alpha2 + vmax);
    }
  } else {
    double alpha3 = alpha2;
    while (alpha3 < 0.0) alpha3 += 2.0 * kPi;
    while (alpha3 > 2.0 * kPi) alpha3 -= 2.0 * kPi;
    if (alpha3 > range + halfA)
      v = vmin;
    else if (alpha3 > range)
      v = vmax;
    else {
      while (alpha2 > halfA + range) alpha2 -= 2.0 * kPi;
      while (alpha2 <= -halfA) alpha2 += 2.0 * kPi;
      v = static_cast<float>(aCoef * alpha2 + vmin);
    }
  }
  return v;
}

void CKnob::mouse(CDrawContext* context, CPoint& where) {
  if (!mouseEnabled || !context) return;
  std::int32_t buttons = context->getMouseButtons();
  if (!(buttons & kLButton)) return;

  // Exactly left + Ctrl: back to the default, no tracking.
  if (buttons == (kLButton | kControl)) {
    value = defaultValue;
    if (isDirty() && listener) listener->valueChanged(context, this);
    return;
  }

  const float range = vmax - vmin;
  const float middle = range * 0.5f;
  float old = oldValue;
  float entry = value;
  float coef = range * 0.005f;

  bool linear = parentFrame ? parentFrame->getKnobMode() == 2 : false;
  if (buttons & kAlt) linear = !linear;

  CPoint first;
  std::int32_t lastButtons = buttons;
  // The same hand movement at any scale: the pixels are layout pixels.
  const float basePixels = static_cast<float>(kLinearPixels * screenScale());
  float pixels = basePixels;
  if (linear) {
    if (buttons & kShift) pixels *= zoomFactor;
    coef = range / pixels;
    first = where;
  } else {
    CPoint p(where);
    p.offset(-size.left, -size.top);
    old = valueFromPoint(p);
  }

  if (parentFrame) parentFrame->beginEdit(tag);
  CPoint previous(-1, -1);
  do {
    buttons = context->getMouseButtons();
    if (where != previous) {
      previous = where;
      if (linear) {
        const std::int32_t diff = (first.v - where.v) + (where.h - first.h);
        if (buttons != lastButtons) {
          // Shift pressed or released: change the rate from here on, without a jump.
          lastButtons = buttons;
          pixels = basePixels;
          if (buttons & kShift) pixels *= zoomFactor;
          const float coef2 = range / pixels;
          entry += diff * (coef - coef2);
          coef = coef2;
        }
        value = entry + diff * coef;
        bounceValue();
      } else {
        where.offset(-size.left, -size.top);
        value = valueFromPoint(where);
        if (old - value > middle)
          value = vmax;
        else if (value - old > middle)
          value = vmin;
        else
          old = value;
      }
      if (isDirty() && listener) listener->valueChanged(context, this);
    }
    context->getMouseLocation(where);
    doIdleStuff();
  } while (buttons & kLButton);
  if (parentFrame) parentFrame->endEdit(tag);
}

bool CKnob::onWheel(CDrawContext* context, const CPoint&, float distance) {
  if (!mouseEnabled) return false;
  const std::int32_t buttons = context ? context->getMouseButtons() : 0;
  if (buttons & kShift)
    value += 0.1f * distance * wheelInc;
  else
    value += distance * wheelInc;
  bounceValue();
  if (isDirty() && listener) listener->valueChanged(context, this);
  return true;
}

CAnimKnob::CAnimKnob(const CRect& r, CControlListener* l, std::int32_t t, std::int32_t pictures,
                     std::int32_t pictureHeight, CBitmap* bg, const CPoint& o)
    : CKnob(r, l, t, bg, nullptr, o), subPixmaps(pictures), heightOfOneImage(pictureHeight) {
  inset = 0;
}

std::int32_t CAnimKnob::pictureOffset() const {
  std::int32_t y = 0;
  if (value > 0.0f) {
    const std::int32_t total = (subPixmaps - 1) * heightOfOneImage;
    y = static_cast<std::int32_t>(value * total);
    for (std::int32_t realY = 0; realY <= total && heightOfOneImage > 0; realY += heightOfOneImage) {
      if (y < realY) {
        y = realY - heightOfOneImage;
        break;
      }
    }
  }
  return y;
}

void CAnimKnob::draw(CDrawContext* context) {
  if (background) drawBackground(context, CPoint(0, pictureOffset()));
  setDirty(false);
}
