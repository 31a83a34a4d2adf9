#include "reverb_editor.h"

#include "gui/bitmap.h"
#include "gui/buttons.h"
#include "gui/frame.h"
#include "gui/knob.h"
#include "gui/param_display.h"
#include "peak_meter.h"
#include "shell/reverb_effect.h"
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

ReverbEditor::ReverbEditor(ReverbEffect* effect) : AEffGUIEditor(effect), reverb(effect) {
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
    k->setValue(reverb->getParameter(tag));
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
  decayField = makeField(fieldUnder(at, true), kDecayFieldTag, 0.0f, 100.0f, false, reverb->getParameter(kDecay));
  dampKnob = makeKnob(kDampKnobBitmap, 205, 43, kDampTag, 0.2f, at);
  dampField = makeField(fieldUnder(at, true), kDampFieldTag, 0.0f, 100.0f, false, reverb->getParameter(kDamp));
  mixKnob = makeKnob(kMixKnobBitmap, 105, 132, kMixTag, 0.5f, at);
  mixField = makeField(fieldUnder(at, false), kMixFieldTag, 0.0f, 100.0f, false, reverb->getParameter(kMix));
  outputKnob = makeKnob(kOutputKnobBitmap, 159, 132, kOutputTag, 0.5f, at);
  outputField =
      makeField(fieldUnder(at, false), kOutputFieldTag, -120.0f, 12.0f, true, reverb->getParameter(kOutput));
  // 10. Bypass switch.
  {
    auto* bitmap = new CBitmap(kBypassBitmap);
    bypassButton = new COnOffButton(CRect(55, 141, 79, 157), this, kBypassTag, bitmap);
    bypassButton->setValue(reverb->getParameter(kBypass));
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

  const float x = reverb->peakLeft;
  const float clip = x >= 1.0f ? 1.0f : 0.0f;
  if (static_cast<double>(x) >= reverb->heldPeak) {
    reverb->meterHoldCount = 0;
    reverb->heldPeak = x;
  } else {
    // Blocks pile up while the peak rises and are counted once it falls.
    reverb->meterHoldCount += reverb->blockCount;
    reverb->blockCount = 0;
    if (reverb->meterHoldCount >= reverb->meterHoldBlocks) {
      reverb->heldPeak = x;
      reverb->meterHoldCount = 0;
    }
  }
  if (meter) {
    meter->setClipAndPeak(clip, static_cast<float>(reverb->heldPeak));
    // A new tiny value every time, so the frame redraws the LED at each idle.
    meter->setValue(static_cast<float>(redrawNudge() % 32768) * 1e-15f);
  }
  reverb->peakLeft = 0.0f;
  reverb->peakRight = 0.0f;
}

void ReverbEditor::setParameter(std::int32_t index, float) {
  if (!frame) return;
  char text[256];
  switch (index) {
    case kBypass:
      if (bypassButton) bypassButton->setValue(reverb->getParameter(kBypass));
      break;
    case kDecay:
    case kDamp:
    case kMix: {
      if (CAnimKnob* k = knob(index)) k->setValue(reverb->getParameter(index));
      korro::percentText(reverb->getParameter(index), text);
      field(index)->setText(text);
      break;
    }
    case kOutput:
      if (outputKnob) outputKnob->setValue(reverb->getParameter(kOutput));
      korro::decibelText(reverb->getParameter(kOutput), text);
      outputField->setText(text);
      break;
    default:
      break;
  }
  postUpdate();
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
      reverb->setParameterAutomated(tag, control->getValue());
      if (context) control->update(context);
      break;
    case kMeterTag:
      if (meter && meter->isClipLatched()) meter->resetClip();
      reverb->heldPeak = 0.0;
      break;
    case kDecayFieldTag:
    case kDampFieldTag:
    case kMixFieldTag: {
      const std::int32_t index = tag == kDecayFieldTag ? kDecay : tag == kDampFieldTag ? kDamp : kMix;
      const double v = typedValue(control);
      reverb->setParameterAutomated(index, static_cast<float>(v * 0.01));
      if (context) control->update(context);
      break;
    }
    case kOutputFieldTag: {
      const double v = typedValue(control);
      reverb->setParameterAutomated(kOutput, korro::parameterFromDecibels(v));
      if (context) control->update(context);
      break;
    }
    default:
      break;
  }
}
