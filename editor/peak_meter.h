// The clip LED with its three-state latch, and the readout of the held output
// peak in decibels drawn into its own rectangle of the skin.
#pragma once

#include "gui/view.h"

class CPeakMeter : public CControl {
 public:
  // LED states as drawn: picture 0 clipping, 1 latched (the clip has ended), 2 off.
  enum Picture { kClipping = 0, kLatched = 1, kOff = 2 };

  CPeakMeter(const CRect& size, CControlListener* listener, std::int32_t tag, CBitmap* skin, CBitmap* led,
             const CRect& textRect);
  // An empty meter: no rectangles, no bitmaps.
  CPeakMeter();

  // The LED and the readout: what a paint of the whole window needs.
  void draw(CDrawContext* context) override;
  // At idle: the LED, and the readout only when the peak has changed.
  void update(CDrawContext* context) override;
  // A left click only tells the listener.
  void mouse(CDrawContext* context, CPoint& where) override;

  virtual bool isClipLatched() const { return clipState < -0.5f; }
  // Back to off, whatever happened before.
  virtual void resetClip();
  virtual void setClip(float clip);
  virtual void setPeak(float peak);
  // Feeds the latch and the readout; does not by itself cause a redraw.
  virtual void setClipAndPeak(float clip, float peak);

  Picture picture() const;
  const CRect& getTextRect() const { return textRect; }

 protected:
  ~CPeakMeter() override;

 private:
  void latch(float a, double threshold, float tiny);
  void drawLed(CDrawContext* context);
  void drawReadout(CDrawContext* context);

  CBitmap* ledBitmap = nullptr;
  CBitmap* skinBitmap = nullptr;
  CPoint ledOffsets[3];
  CRect textRect;
  double previousPeak;
  double peak;
  float clipState;
};
