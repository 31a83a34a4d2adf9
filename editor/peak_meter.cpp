#include "peak_meter.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

#include "gui/bitmap.h"
#include "gui/draw_context.h"

namespace {
constexpr CColor kReadoutColour{75, 75, 90, 0};
constexpr CColor kOverColour{200, 80, 80, 0};
}  // namespace

CPeakMeter::CPeakMeter(const CRect& r, CControlListener* l, std::int32_t t, CBitmap* skin, CBitmap* led,
                       const CRect& text)
    : CControl(r, l, t, nullptr),
      ledBitmap(led),
      skinBitmap(skin),
      textRect(text),
      // Unlike any peak, so the first paint shows the readout.
      previousPeak(std::numeric_limits<double>::quiet_NaN()),
      peak(0.0),
      clipState(1e-8f) {
  if (ledBitmap) ledBitmap->remember();
  if (skinBitmap) skinBitmap->remember();
  const std::int32_t h = ledBitmap ? ledBitmap->getHeight() : 0;
  ledOffsets[0] = CPoint(0, 0);
  ledOffsets[1] = CPoint(0, h / 3);
  ledOffsets[2] = CPoint(0, 2 * h / 3);
  value = 0.0f;
}

CPeakMeter::CPeakMeter() : CControl(CRect()), previousPeak(0.0), peak(0.0), clipState(0.0f) {}

CPeakMeter::~CPeakMeter() {
  if (ledBitmap) ledBitmap->forget();
  if (skinBitmap) skinBitmap->forget();
}

void CPeakMeter::latch(float a, double threshold, float tiny) {
  if (std::fabs(a) < threshold)
    a = tiny;
  else if (a < -4.0f)
    a = -4.0f;
  else if (a > 4.0f)
    a = 4.0f;
  if (clipState >= 0.5f && a < 0.5f)
    clipState = -1.0f;  // the clip is over: hold it
  else if (clipState > -0.5f)
    clipState = a;
  else if (a >= 0.5f)
    clipState = a;
  else
    clipState = -1.0f;
}

void CPeakMeter::setClipAndPeak(float clip, float newPeak) {
  latch(clip, 1e-6, 1e-8f);
  previousPeak = peak;
  peak = newPeak;
}

void CPeakMeter::setClip(float clip) {
  latch(clip, 1e-8, 1e-9f);
  value = value + clipState;
}

void CPeakMeter::setPeak(float newPeak) {
  previousPeak = peak;
  peak = newPeak;
  value = newPeak + clipState;
}

void CPeakMeter::resetClip() {
  clipState = 1e-7f;
  value = value + 1e-7f;
}

CPeakMeter::Picture CPeakMeter::picture() const {
  if (clipState >= 0.5f) return kClipping;
  if (clipState <= -0.5f) return kLatched;
  return kOff;
}

void CPeakMeter::drawLed(CDrawContext* context) {
  if (ledBitmap) ledBitmap->draw(context, size, ledOffsets[picture()]);
}

void CPeakMeter::drawReadout(CDrawContext* context) {
  if (!context) return;
  if (skinBitmap) skinBitmap->draw(context, textRect, CPoint(textRect.left, textRect.top));
  char text[64];
  if (peak > 1e-6)
    std::snprintf(text, sizeof text - 3, "%2.2f", 20.0 * std::log10(peak));
  else
    std::strcpy(text, "-oo");
  std::strcat(text, "dB");
  context->setFont(kNormalFontVerySmall);
  context->setFontColor(peak >= 1.0 ? kOverColour : kReadoutColour);
  context->drawString(text, textRect, false, kCenterText);
}

// A paint of the window has put the skin back under the readout: it is drawn
// whether or not the peak moved.
void CPeakMeter::draw(CDrawContext* context) {
  drawLed(context);
  drawReadout(context);
}

void CPeakMeter::update(CDrawContext* context) {
  if (!isDirty()) return;
  drawLed(context);
  if (!(peak == previousPeak)) drawReadout(context);
  setDirty(false);
}

void CPeakMeter::mouse(CDrawContext* context, CPoint&) {
  if (!mouseEnabled || !context) return;
  if ((context->getMouseButtons() & kLButton) && listener) listener->valueChanged(context, this);
}
