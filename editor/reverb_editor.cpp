#include "reverb_editor.h"

#include "editor_factory.h"
#include "editor_layout.h"
#include "engine/level_meter.h"
#include "gui/bitmap.h"
#include "gui/buttons.h"
#include "gui/frame.h"
#include "gui/knob.h"
#include "gui/param_display.h"
#include "gui/platform/platform.h"
#include "peak_meter.h"
#include "value_text.h"

namespace {

constexpr CColor kFieldText{75, 75, 80, 0};
constexpr CColor kFieldBack{237, 235, 213, 0};
constexpr std::int32_t kPictures = 51;  // film-strip pictures per knob

namespace layout = korro::layout;

// A layout box on the screen at `scale`.
CRect rectOf(const layout::Box& b, double scale) {
  const layout::Box s = layout::scaled(b, scale);
  return CRect(s.left, s.top, s.right, s.bottom);
}

}  // namespace

AEffEditor* createReverbEditor(EditController& controller) { return new ReverbEditor(&controller); }

HostSize hostEditorSize(int width, int height) {
  const double toolkit = korro::platform::toolkitScale();
  return {korro::platform::toolkitEdge(width, toolkit), korro::platform::toolkitEdge(height, toolkit)};
}

ReverbEditor::ReverbEditor(EditController* c) : AEffGUIEditor(c) { useScale(1.0); }

void ReverbEditor::useScale(double value) {
  if (background && value == scale) return;
  scale = value;
  if (background) background->forget();
  background = new CBitmap(layout::pictureId(kBackgroundBitmap, scale));
  rect.top = 0;
  rect.left = 0;
  rect.bottom = static_cast<std::int16_t>(background->getHeight());
  rect.right = static_cast<std::int16_t>(background->getWidth());
}

double ReverbEditor::wantedScale(void* parent) {
  if (hostScale > 0.0) return hostScale;
  const double desktop = korro::platform::desktopScale(parent);
  return layout::snapScale(desktop > 0.0 ? desktop : korro::platform::toolkitScale());
}

std::intptr_t ReverbEditor::getRect(ERect** r) {
  // A host sizes its window before it opens ours: the desktop's scale must be known by then.
  if (!frame && !desktopAsked && hostScale == 0.0) {
    desktopAsked = true;
    useScale(wantedScale(nullptr));
  }
  return AEffGUIEditor::getRect(r);
}

bool ReverbEditor::setScale(float value) {
  hostScale = layout::snapScale(value);
  if (hostScale == scale) return false;
  useScale(hostScale);
  if (!frame) return false;
  void* parent = parentWindow;
  close();
  open(parent);
  return true;
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
  useScale(wantedScale(parentWindow));
  const double s = scale;
  auto picture = [s](std::int32_t id) { return new CBitmap(layout::pictureId(id, s)); };
  auto rectOf = [s](const layout::Box& b) { return ::rectOf(b, s); };

  frame = new CFrame(CRect(0, 0, background->getWidth(), background->getHeight()), parentWindow, this);
  frame->setScale(scale);
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
  auto makeKnob = [&](std::int32_t bitmapId, layout::Point at, bool large, std::int32_t tag, float defaultValue) {
    auto* strip = picture(bitmapId);
    const CRect placed = rectOf(layout::knobBox(at, large));
    auto* k = new CAnimKnob(placed, this, tag, kPictures, strip->getHeight() / kPictures, strip, CPoint(0, 0));
    k->setValue(controller->getParameter(tag));
    k->setDefaultValue(defaultValue);
    frame->addView(k);
    strip->forget();
    return k;
  };

  // 1. Clip LED and peak readout.
  {
    auto* led = picture(kClipLedBitmap);
    meter = new CPeakMeter(rectOf(layout::kClipLed), this, kMeterTag, background, led, rectOf(layout::kPeakReadout));
    meter->setClipAndPeak(1e-5f, 1e-5f);
    frame->addView(meter);
    led->forget();
  }
  // 2–9. Knobs, each with its value field under it.
  auto fieldRect = [&](layout::Point knob, bool large) { return rectOf(layout::fieldUnder(knob, large)); };
  decayKnob = makeKnob(kDecayKnobBitmap, layout::kDecayKnob, true, kDecayTag, 0.5f);
  decayField = makeField(fieldRect(layout::kDecayKnob, true), kDecayFieldTag, 0.0f, 100.0f, false,
                         controller->getParameter(kDecayTag));
  dampKnob = makeKnob(kDampKnobBitmap, layout::kDampKnob, true, kDampTag, 0.2f);
  dampField = makeField(fieldRect(layout::kDampKnob, true), kDampFieldTag, 0.0f, 100.0f, false,
                        controller->getParameter(kDampTag));
  mixKnob = makeKnob(kMixKnobBitmap, layout::kMixKnob, false, kMixTag, 0.5f);
  mixField = makeField(fieldRect(layout::kMixKnob, false), kMixFieldTag, 0.0f, 100.0f, false,
                       controller->getParameter(kMixTag));
  outputKnob = makeKnob(kOutputKnobBitmap, layout::kOutputKnob, false, kOutputTag, 0.5f);
  outputField = makeField(fieldRect(layout::kOutputKnob, false), kOutputFieldTag, -120.0f, 12.0f, true,
                          controller->getParameter(kOutputTag));
  // 10. Bypass switch.
  {
    auto* bitmap = picture(kBypassBitmap);
    bypassButton = new COnOffButton(rectOf(layout::kBypassSwitch), this, kBypassTag, bitmap);
    bypassButton->setValue(controller->getParameter(kBypassTag));
    frame->addView(bypassButton);
    bitmap->forget();
  }
  // 11. About picture, shown over most of the window on click.
  {
    auto* bitmap = picture(kAboutBitmap);
    about = new CSplashScreen(rectOf(layout::kAboutHotspot), this, kAboutTag, bitmap, rectOf(layout::kAboutPicture),
                              CPoint(0, 0));
    frame->addView(about);
    bitmap->forget();
  }
  return 1;
}

void ReverbEditor::close() {
  desktopAsked = false;
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
