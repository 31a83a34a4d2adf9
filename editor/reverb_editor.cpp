#include "reverb_editor.h"

#include "gui/bitmap.h"
#include "gui/buttons.h"
#include "gui/frame.h"
#include "gui/knob.h"
#include "gui/param_display.h"
#include "engine/level_meter.h"
#include "peak_meter.h"
#include "shell/editor_factory.h"
#include "value_text.h"

namespace {

constexpr CColor kFieldText{75, 75, 80, 0};
constexpr CColor kFieldBack{237, 235, 213, 0};
constexpr std::int32_t kPictures = 51;  // film-strip pictures per knob

// A knob of the strip's picture size at (left, top).
CRect knobRect(const CBitmap* strip, std::int32_t left, std::int32_t top) {
  return CRect(left, top, left + strip->getWidth(), top + strip->getHeight() / kPictures);
}

// The value field directly under a knob: large knobs get one as wide plus 2,
// small ones 4 pixels more on each side (plus 1).
CRect fieldUnder(const CRect& knob, bool large) {
  if (large) return CRect(knob.left, knob.bottom, knob.left + knob.width() + 2, knob.bottom + 14);
  return CRect(knob.left - 4, knob.bottom, knob.left - 4 + knob.width() + 9, knob.bottom + 14);
}

}  // namespace

AEffEditor* createReverbEditor(EditController& controller) { return new ReverbEditor(&controller); }

ReverbEditor::ReverbEditor(EditController* c) : AEffGUIEditor(c) {
  background = new CBitmap(kBackgroundBitmap);
  rect.top = 0;
  rect.left = 0;
  rect.bottom = static_cast<std::int16_t>(background->getHeight());
  rect.right = static_cast<std::int16_t>(background->getWidth());
}

ReverbEditor::~ReverbEditor() {
  if (frame) close();
  if (background) background->forget();
  background = nullptr;
}

CAnimKnob* ReverbEditor::knob(std::int32_t index) const {
  switch (index) {
    case kDecayTag: return decayKnob;
    case kDampTag: return dampKnob;
    case kOutputTag: return outputKnob;
    case kMixTag: return mixKnob;
    default: return nullptr;
  }
}

CTextEdit* ReverbEditor::field(std::int32_t index) const {
  switch (index) {
    case kDecayTag: return decayField;
    case kDampTag: return dampField;
    case kOutputTag: return outputField;
    case kMixTag: return mixField;
    default: return nullptr;
  }
}

std::intptr_t ReverbEditor::open(void* parentWindow) {
  AEffGUIEditor::open(parentWindow);
  if (frame) close();  // a second open without a close starts afresh

  frame = new CFrame(CRect(0, 0, background->getWidth(), background->getHeight()), parentWindow, this);
  frame->setBackground(background);
  setKnobMode(2);

  char text[256];
  auto makeField = [&](const CRect& r, std::int32_t tag, float minimum, float maximum, bool decibels,
                       float parameter) {
    auto* f = new CTextEdit(r, this, tag, nullptr, background, 0);
    f->setBackColor(kFieldBack);
    f->setFrameColor(kFieldText);
    f->setFontColor(kFieldText);
    f->setBackOffset(CPoint(r.left, r.top));
    f->setHoriAlign(kCenterText);
    f->setFont(kNormalFontVerySmall);
    if (decibels)
      korro::decibelText(parameter, text);
    else
      korro::percentText(parameter, text);
    f->setText(text);
    f->setMin(minimum);
    f->setMax(maximum);
    frame->addView(f);
    return f;
  };
  auto makeKnob = [&](std::int32_t bitmapId, std::int32_t left, std::int32_t top, std::int32_t tag,
                      float defaultValue, CRect& placed) {
    auto* strip = new CBitmap(bitmapId);
    placed = knobRect(strip, left, top);
    auto* k = new CAnimKnob(placed, this, tag, kPictures, strip->getHeight() / kPictures, strip, CPoint(0, 0));
    k->setValue(controller->getParameter(tag));
    k->setDefaultValue(defaultValue);
    frame->addView(k);
    strip->forget();
    return k;
  };

  // 1. Clip LED and peak readout.
  {
    auto* led = new CBitmap(kClipLedBitmap);
    meter = new CPeakMeter(CRect(227, 144, 238, 155), this, kMeterTag, background, led, CRect(211, 162, 254, 176));
    meter->setClipAndPeak(1e-5f, 1e-5f);
    frame->addView(meter);
    led->forget();
  }
  CRect at;
  // 2–9. Knobs, each with its value field under it.
  decayKnob = makeKnob(kDecayKnobBitmap, 40, 43, kDecayTag, 0.5f, at);
  decayField = makeField(fieldUnder(at, true), kDecayFieldTag, 0.0f, 100.0f, false, controller->getParameter(kDecayTag));
  dampKnob = makeKnob(kDampKnobBitmap, 205, 43, kDampTag, 0.2f, at);
  dampField = makeField(fieldUnder(at, true), kDampFieldTag, 0.0f, 100.0f, false, controller->getParameter(kDampTag));
  mixKnob = makeKnob(kMixKnobBitmap, 105, 132, kMixTag, 0.5f, at);
  mixField = makeField(fieldUnder(at, false), kMixFieldTag, 0.0f, 100.0f, false, controller->getParameter(kMixTag));
  outputKnob = makeKnob(kOutputKnobBitmap, 159, 132, kOutputTag, 0.5f, at);
  outputField =
      makeField(fieldUnder(at, false), kOutputFieldTag, -120.0f, 12.0f, true, controller->getParameter(kOutputTag));
  // 10. Bypass switch.
  {
    auto* bitmap = new CBitmap(kBypassBitmap);
    bypassButton = new COnOffButton(CRect(55, 141, 79, 157), this, kBypassTag, bitmap);
    bypassButton->setValue(controller->getParameter(kBypassTag));
    frame->addView(bypassButton);
    bitmap->forget();
  }
  // 11. About picture, shown over most of the window on click.
  {
    auto* bitmap = new CBitmap(kAboutBitmap);
    about = new CSplashScreen(CRect(111, 2, 190, 112), this, kAboutTag, bitmap, CRect(25, 21, 276, 183),
                              CPoint(0, 0));
    frame->addView(about);
    bitmap->forget();
  }
  return 1;
}

void ReverbEditor::close() {
  meter = nullptr;
  bypassButton = nullptr;
  decayKnob = dampKnob = outputKnob = mixKnob = nullptr;
  decayField = dampField = outputField = mixField = nullptr;
  about = nullptr;
  CFrame* f = frame;
  frame = nullptr;
  if (f) f->forget();
}

void ReverbEditor::idle() {
  AEffGUIEditor::idle();
  korro::LevelMeter* level = controller ? controller->levelMeter() : nullptr;
  if (!level) return;
  const korro::LevelMeter::Reading reading = level->take();
  if (meter) {
    meter->setClipAndPeak(reading.peak >= 1.0f ? 1.0f : 0.0f, static_cast<float>(reading.held));
    // A new tiny value every time, so the frame redraws the LED at each idle.
    meter->setValue(static_cast<float>(redrawNudge() % 32768) * 1e-15f);
  }
}

void ReverbEditor::refreshParameter(std::int32_t index) {
  if (!frame) return;
  char text[256];
  const float value = controller->getParameter(index);
  switch (index) {
    case kBypassTag:
      if (bypassButton) bypassButton->setValue(value);
      break;
    case kDecayTag:
    case kDampTag:
    case kMixTag:
      if (CAnimKnob* k = knob(index)) k->setValue(value);
      korro::percentText(value, text);
      field(index)->setText(text);
      break;
    case kOutputTag:
      if (outputKnob) outputKnob->setValue(value);
      korro::decibelText(value, text);
      outputField->setText(text);
      break;
    default:
      break;
  }
}

void ReverbEditor::automate(std::int32_t index, float value) {
  if (!controller) return;
  controller->setParameterAutomated(index, value);
  applyParameterChanges();
}

void ReverbEditor::valueChanged(CDrawContext* context, CControl* control) {
  if (!control) return;
  const std::int32_t tag = control->getTag();
  char text[CTextEdit::kTextSize];
  // Typed numbers are held to the field's bounds; NaN passes through untouched.
  auto typedValue = [&](CControl* c) {
    static_cast<CTextEdit*>(c)->getText(text);
    double v = korro::parseDecimal(text);
    if (v < c->getMin())
      v = c->getMin();
    else if (v > c->getMax())
      v = c->getMax();
    return v;
  };
  switch (tag) {
    case kBypassTag:
    case kDecayTag:
    case kDampTag:
    case kOutputTag:
    case kMixTag:
      automate(tag, control->getValue());
      if (context) control->update(context);
      break;
    case kMeterTag:
      if (meter && meter->isClipLatched()) meter->resetClip();
      if (korro::LevelMeter* level = controller ? controller->levelMeter() : nullptr) level->clearHeld();
      break;
    case kDecayFieldTag:
    case kDampFieldTag:
    case kMixFieldTag: {
      const std::int32_t index = tag == kDecayFieldTag ? kDecayTag : tag == kDampFieldTag ? kDampTag : kMixTag;
      const double v = typedValue(control);
      automate(index, static_cast<float>(v * 0.01));
      if (context) control->update(context);
      break;
    }
    case kOutputFieldTag: {
      const double v = typedValue(control);
      automate(kOutputTag, korro::parameterFromDecibels(v));
      if (context) control->update(context);
      break;
    }
    default:
      break;
  }
}
