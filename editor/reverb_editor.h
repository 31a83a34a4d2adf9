// The effect's own window: a 300 × 196 skin with four film-strip knobs, their
// value fields, the bypass switch, the clip LED with its peak readout and the
// about picture, at 1, 1.5 or 2 screen pixels per layout pixel. It listens to
// every control it places.
#pragma once

#include <random>

#include "gui/gui_editor.h"
#include "gui/view.h"

class CAnimKnob;
class CBitmap;
class COnOffButton;
class CPeakMeter;
class CSplashScreen;
class CTextEdit;

// Skin resources.
enum ReverbBitmap : std::int32_t {
  kBackgroundBitmap = 11200,
  kBypassBitmap = 11201,
  kClipLedBitmap = 11205,
  kDecayKnobBitmap = 11210,
  kDampKnobBitmap = 11211,
  kMixKnobBitmap = 11212,
  kOutputKnobBitmap = 11213,
  kAboutBitmap = 11215,
};

// Control tags: 0 to 4 are the parameter indices.
enum ReverbTag : std::int32_t {
  kBypassTag = 0,
  kDecayTag = 1,
  kDampTag = 2,
  kOutputTag = 3,
  kMixTag = 4,
  kAboutTag = 6,
  kMeterTag = 7,
  kDecayFieldTag = 8,
  kDampFieldTag = 9,
  kOutputFieldTag = 10,
  kMixFieldTag = 11,
};

class ReverbEditor : public AEffGUIEditor, public CControlListener {
 public:
  explicit ReverbEditor(EditController* controller);
  ~ReverbEditor() override;

  std::intptr_t getRect(ERect** rect) override;
  std::intptr_t open(void* parentWindow) override;
  void close() override;
  // Snapped to 1, 1.5 or 2; an open window is rebuilt at the new size.
  bool setScale(float scale) override;
  double getScale() const { return scale; }
  // Redraws, then feeds the meter from the effect's level meter (also while closed).
  void idle() override;
  void valueChanged(CDrawContext* context, CControl* control) override;

  bool isOpen() const { return frame != nullptr; }

  // The controls while open; null while closed.
  CAnimKnob* knob(std::int32_t index) const;
  CTextEdit* field(std::int32_t index) const;
  COnOffButton* getBypassButton() const { return bypassButton; }
  CPeakMeter* getMeter() const { return meter; }
  CSplashScreen* getAbout() const { return about; }

 protected:
  void refreshParameter(std::int32_t index) override;

 private:
  // The user's own change: the controller stores it and the controls show it at once.
  void automate(std::int32_t index, float value);
  // The host's scale, else the desktop's, else its toolkit's.
  double wantedScale(void* parent);
  // Loads the skin of this scale and sizes the rectangle the host reads.
  void useScale(double value);

  CBitmap* background = nullptr;
  // Feeds only the meter's redraw nudge; private, so the host's rand() is left alone.
  std::minstd_rand redrawNudge{32767};
  CPeakMeter* meter = nullptr;
  COnOffButton* bypassButton = nullptr;
  CAnimKnob* decayKnob = nullptr;
  CAnimKnob* dampKnob = nullptr;
  CAnimKnob* outputKnob = nullptr;
  CAnimKnob* mixKnob = nullptr;
  CTextEdit* decayField = nullptr;
  CTextEdit* dampField = nullptr;
  CTextEdit* outputField = nullptr;
  CTextEdit* mixField = nullptr;
  CSplashScreen* about = nullptr;
  double scale = 1.0;
  double hostScale = 0.0;     // 0 until the host names one
  bool desktopAsked = false;  // asked while closed; again at each open
};
