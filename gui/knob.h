// Rotary knobs. CKnob draws a handle line over its background; CAnimKnob
// shows one picture of a vertical film strip. Both follow drags, linear or
// circular, inside their own mouse call.
#pragma once

#include "view.h"

class CKnob : public CControl {
 public:
  CKnob(const CRect& size, CControlListener* listener, std::int32_t tag, CBitmap* background, CBitmap* handle,
        const CPoint& offset = CPoint(0, 0));

  void draw(CDrawContext* context) override;
  void mouse(CDrawContext* context, CPoint& where) override;
  bool onWheel(CDrawContext* context, const CPoint& where, float distance) override;

  virtual void drawHandle(CDrawContext* context);
  virtual void setStartAngle(float angle);
  virtual float getStartAngle() const { return startAngle; }
  virtual void setRangeAngle(float angle);
  virtual float getRangeAngle() const { return rangeAngle; }
  // The handle's tip for the current value, relative to the knob's top-left.
  virtual void valueToPoint(CPoint& point) const;
  // The value whose angle points at `point` (relative to the knob's top-left).
  virtual float valueFromPoint(CPoint& point) const;
  virtual void setInsetValue(std::int32_t value) { inset = value; }
  virtual void setColorShadowHandle(const CColor& colour);
  virtual void setColorHandle(const CColor& colour);
  virtual void setHandleBitmap(CBitmap* bitmap);
  virtual void setZoomFactor(float factor) { zoomFactor = factor; }
  virtual float getZoomFactor() const { return zoomFactor; }

 protected:
  ~CKnob() override;
  void compute();

  CPoint offset;
  CColor colorHandle{200, 200, 200, 0};
  CColor colorShadowHandle{64, 64, 64, 0};
  CBitmap* handleBitmap = nullptr;
  std::int32_t inset = 3;
  float startAngle = 0.0f;
  float rangeAngle = 0.0f;
  float halfAngle = 0.0f;
  float aCoef = 0.0f;
  float bCoef = 0.0f;
  float radius = 0.0f;
  float zoomFactor = 1.5f;
};

class CAnimKnob : public CKnob {
 public:
  CAnimKnob(const CRect& size, CControlListener* listener, std::int32_t tag, std::int32_t subPixmaps,
            std::int32_t heightOfOneImage, CBitmap* background, const CPoint& offset = CPoint(0, 0));

  void draw(CDrawContext* context) override;
  // The row of the strip shown for the current value.
  std::int32_t pictureOffset() const;

 protected:
  std::int32_t subPixmaps;
  std::int32_t heightOfOneImage;
};
