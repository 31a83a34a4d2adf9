// Drawing into the frame's window: bitmaps, fills, lines and one-line texts,
// plus the live mouse state that controls poll while they track a drag.
#pragma once

#include "geometry.h"

namespace korro::platform {
struct Window;
}

class CFrame;

class CDrawContext {
 public:
  CDrawContext(CFrame* frame, korro::platform::Window* window);
  // What was drawn through the context reaches the screen here, in one piece.
  ~CDrawContext();
  CDrawContext(const CDrawContext&) = delete;
  CDrawContext& operator=(const CDrawContext&) = delete;

  // Buttons and modifiers held at this moment (CButton bits).
  std::int32_t getMouseButtons();
  // The pointer in frame coordinates.
  void getMouseLocation(CPoint& where);

  // size 0 takes the table size of the font id; face is a set of CTxtFace bits.
  // Sizes are layout pixels, drawn at the frame's scale.
  void setFont(std::int32_t fontId, std::int32_t size = 0, std::int32_t face = 0);
  void setFontColor(const CColor& colour) { fontColor = colour; }
  CColor getFontColor() const { return fontColor; }
  void setFillColor(const CColor& colour) { fillColor = colour; }
  CColor getFillColor() const { return fillColor; }
  void setFrameColor(const CColor& colour) { frameColor = colour; }
  CColor getFrameColor() const { return frameColor; }

  // One line, vertically centred; alignment 0 left (one pixel in), 1 centre, 2 right.
  void drawString(const char* text, const CRect& rect, bool opaque = false, std::int32_t alignment = kCenterText);
  void fillRect(const CRect& rect);
  // The rectangle's outline in the frame colour.
  void drawRect(const CRect& rect);
  void moveTo(const CPoint& p) { pen = p; }
  void lineTo(const CPoint& p);

  CFrame* getFrame() const { return frame; }
  korro::platform::Window* getWindow() const { return window; }

  // Added to every drawing position (0 for the frame's own contexts).
  CPoint offset;

  // Table size and face of a font id; ids outside the table count as 0.
  static std::int32_t fontSize(std::int32_t fontId);
  static const char* fontFace(std::int32_t fontId);
  // A layout font size in screen pixels at `scale`, rounded half up.
  static std::int32_t scaledFontSize(std::int32_t size, double scale);

 private:
  CFrame* frame;
  korro::platform::Window* window;
  std::int32_t fontId = kSystemFont;
  std::int32_t fontPixels = 12;
  std::int32_t fontFaceBits = kBoldFace;
  CColor fontColor{0, 0, 0, 0};
  CColor fillColor{255, 255, 255, 0};
  CColor frameColor{0, 0, 0, 0};
  CPoint pen;
};
