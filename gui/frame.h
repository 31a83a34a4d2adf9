// The frame: the editor's native child window and the views on it. It paints
// them in the order they were added, redraws the dirty ones at idle, and hands
// each click to the topmost view under it.
#pragma once

#include "platform/platform.h"
#include "view.h"

class AEffGUIEditor;

class CFrame : public CView, private korro::platform::WindowHandler {
 public:
  // Opens the native window on `parentWindow`; without a parent there is no window.
  CFrame(const CRect& size, void* parentWindow, AEffGUIEditor* editor);

  // False (and the view neither drawn nor released) when the array cannot grow.
  bool addView(CView* view);
  void setBackground(CBitmap* bitmap);
  CBitmap* getBackground() const { return background; }

  // Everything: background, each view in order, then the modal view.
  void draw(CDrawContext* context) override;
  // One view if it belongs to the frame, else everything, on a fresh context.
  void draw(CView* view = nullptr);
  // Redraws what is dirty.
  void update(CDrawContext* context) override;
  // Redraws what is dirty once the window has had its first paint.
  void idle();
  void mouse(CDrawContext* context, CPoint& where) override;
  bool onWheel(CDrawContext* context, const CPoint& where, float distance) override;

  // Refused while another modal view is shown.
  bool setModalView(CView* view);
  CView* getModalView() const { return modalView; }
  void setEditView(CView* view) { editView = view; }
  CView* getEditView() const { return editView; }
  std::int32_t getKnobMode() const;
  // Screen pixels per layout pixel: the views are placed in screen pixels, and
  // texts and drags follow this.
  void setScale(double value) { scale = value; }
  double getScale() const { return scale; }
  // Paints `area` again as the views show it: the background, then every view that touches it.
  void drawArea(CDrawContext* context, const CRect& area);

  // A control's gesture starts and ends: the host hears of it through the effect.
  void beginEdit(std::int32_t tag);
  void endEdit(std::int32_t tag);
  void doIdleStuff();

  AEffGUIEditor* getEditor() const { return editor; }
  korro::platform::Window* getWindow() const { return window; }
  // The native window for a host that embeds it; null without one.
  void* getNativeWindow() const;
  bool hasHadFirstDraw() const { return !firstDraw; }
  std::int32_t getNbViews() const { return viewCount; }
  CView* getView(std::int32_t index) const { return index >= 0 && index < viewCount ? views[index] : nullptr; }
  bool isChild(const CView* view) const;

  // Delivers the window's pending paint and clicks (the host's idle does this).
  void dispatchEvents();

 protected:
  ~CFrame() override;

 private:
  void onPaint() override;
  void onButtonDown(int x, int y, int buttons) override;
  void onDestroyed() override;

  AEffGUIEditor* editor;
  void* parentWindow;
  CBitmap* background = nullptr;
  std::int32_t viewCount = 0;
  std::int32_t viewCapacity = 0;
  CView** views = nullptr;
  CView* modalView = nullptr;
  CView* editView = nullptr;
  bool firstDraw = true;
  bool open = true;
  bool dropActive = false;
  bool dispatching = false;
  double scale = 1.0;
  korro::platform::Window* window = nullptr;
};
