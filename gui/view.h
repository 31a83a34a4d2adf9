// Views and controls: reference-counted rectangles of the frame that draw
// themselves and take clicks. A control carries a value and tells its
// listener about user gestures.
#pragma once

#include "geometry.h"

class CBitmap;
class CDrawContext;
class CFrame;

class CView {
 public:
  explicit CView(const CRect& size);
  CView(const CView&) = delete;
  CView& operator=(const CView&) = delete;

  virtual void draw(CDrawContext* /*context*/) {}
  virtual void mouse(CDrawContext* /*context*/, CPoint& /*where*/) {}
  // Draws when dirty, then is clean.
  virtual void update(CDrawContext* context);
  virtual bool onDrop(void** /*items*/, std::int32_t /*count*/, std::int32_t /*type*/, CPoint& /*where*/) {
    return false;
  }
  virtual bool onWheel(CDrawContext* /*context*/, const CPoint& /*where*/, float /*distance*/) { return false; }
  virtual void looseFocus(CDrawContext* /*context*/ = nullptr) {}
  virtual void takeFocus(CDrawContext* /*context*/ = nullptr) {}

  virtual bool isDirty() { return dirty; }
  virtual void setDirty(bool value = true) { dirty = value; }
  virtual void setMouseEnabled(bool value = true) { mouseEnabled = value; }
  virtual bool getMouseEnabled() { return mouseEnabled; }
  virtual void setMouseableArea(const CRect& rect) { mouseableArea = rect; }
  virtual CRect& getMouseableArea(CRect& rect) {
    rect = mouseableArea;
    return rect;
  }
  virtual void setTransparency(bool value) { transparencyEnabled = value; }
  virtual bool getTransparency() { return transparencyEnabled; }
  virtual void setViewSize(const CRect& rect);
  virtual void setParent(CFrame* frame) { parentFrame = frame; }
  virtual bool removed(CView* /*parent*/) { return true; }
  virtual bool attached(CView* parent);

  virtual void forget();
  virtual void remember() { ++nbReference; }
  virtual std::int32_t getNbReference() { return nbReference; }

  const CRect& getViewSize() const { return size; }
  CFrame* getParentFrame() const { return parentFrame; }
  // Screen pixels per layout pixel of the frame it sits in; 1 before it has one.
  double screenScale() const;

 protected:
  virtual ~CView() = default;

  std::int32_t nbReference = 1;
  CRect size;
  CRect mouseableArea;
  CFrame* parentFrame = nullptr;
  CView* parentView = nullptr;
  bool dirty = true;
  bool mouseEnabled = true;
  bool transparencyEnabled = false;
};

class CControl;

class CControlListener {
 public:
  virtual ~CControlListener() = default;
  virtual void valueChanged(CDrawContext* context, CControl* control) = 0;
};

class CControl : public CView {
 public:
  CControl(const CRect& size, CControlListener* listener = nullptr, std::int32_t tag = 0,
           CBitmap* background = nullptr);

  // A control is dirty while its value differs from the value it last drew.
  bool isDirty() override;
  void setDirty(bool value = true) override;

  // Keeps the host alive while a control tracks the mouse.
  virtual void doIdleStuff();
  virtual void setValue(float v) { value = v; }
  virtual float getValue() { return value; }
  virtual void setMin(float v) { vmin = v; }
  virtual float getMin() { return vmin; }
  virtual void setMax(float v) { vmax = v; }
  virtual float getMax() { return vmax; }
  virtual void setOldValue(float v) { oldValue = v; }
  virtual float getOldValue() { return oldValue; }
  virtual void setDefaultValue(float v) { defaultValue = v; }
  virtual float getDefaultValue() { return defaultValue; }
  virtual void setTag(std::int32_t t) { tag = t; }
  virtual std::int32_t getTag() { return tag; }
  virtual void setBackground(CBitmap* bitmap);
  virtual CBitmap* getBackground() { return background; }
  virtual void setWheelInc(float v) { wheelInc = v; }
  virtual float getWheelInc() { return wheelInc; }
  // Clamps the value into [min, max].
  virtual void bounceValue();

  CControlListener* getListener() const { return listener; }

 protected:
  ~CControl() override;

  // Copies the background picture from `offset` into the control, keyed when
  // transparency is enabled; nothing without a background.
  void drawBackground(CDrawContext* context, const CPoint& offset);

  CControlListener* listener;
  std::int32_t tag;
  float oldValue = 1.0f;
  float defaultValue = 0.5f;
  float value = 0.0f;
  float vmin = 0.0f;
  float vmax = 1.0f;
  float wheelInc = 0.1f;
  CBitmap* background = nullptr;
};
