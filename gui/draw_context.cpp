#include "draw_context.h"

#include <cmath>

#include "frame.h"
#include "platform/platform.h"

namespace platform = korro::platform;

namespace {
constexpr std::int32_t kFontSizes[kNumFonts] = {12, 18, 14, 12, 11, 10, 9, 13};
constexpr const char* kFontFaces[kNumFonts] = {"Arial", "Arial", "Arial", "Arial", "Arial", "Arial", "Arial", "Symbol"};

platform::Rgb rgb(const CColor& c) { return {c.red, c.green, c.blue}; }
}  // namespace

std::int32_t CDrawContext::scaledFontSize(std::int32_t size, double scale) {
  return static_cast<std::int32_t>(std::floor(size * scale + 0.5));
}

std::int32_t CDrawContext::fontSize(std::int32_t id) { return kFontSizes[id >= 0 && id < kNumFonts ? id : 0]; }
const char* CDrawContext::fontFace(std::int32_t id) { return kFontFaces[id >= 0 && id < kNumFonts ? id : 0]; }

CDrawContext::CDrawContext(CFrame* f, platform::Window* w) : frame(f), window(w) {}

CDrawContext::~CDrawContext() {
  if (window) platform::flush(window);
}

std::int32_t CDrawContext::getMouseButtons() { return platform::mouseButtons(); }

void CDrawContext::getMouseLocation(CPoint& where) {
  int x = 0, y = 0;
  if (window) platform::pointerPosition(window, x, y);
  where = CPoint(x, y);
}

void CDrawContext::setFont(std::int32_t id, std::int32_t size, std::int32_t face) {
  if (id < 0 || id >= kNumFonts) id = kSystemFont;
  fontId = id;
  fontPixels = scaledFontSize(size != 0 ? size : kFontSizes[id], frame ? frame->getScale() : 1.0);
  fontFaceBits = face;
  if (id == kSystemFont) fontFaceBits |= kBoldFace;  // the system font is always bold
}

void CDrawContext::drawString(const char* text, const CRect& rect, bool opaque, std::int32_t alignment) {
  if (!window || !text) return;
  platform::Font font;
  font.face = kFontFaces[fontId];
  font.pixelSize = fontPixels;
  font.bold = (fontFaceBits & kBoldFace) != 0;
  font.italic = (fontFaceBits & kItalicFace) != 0;
  font.underline = (fontFaceBits & kUnderlineFace) != 0;
  platform::Box box{rect.left + offset.h, rect.top + offset.v, rect.width(), rect.height()};
  platform::Align align = platform::Align::Centre;
  if (alignment == kLeftText) {
    align = platform::Align::Left;
    box.x += 1;
  } else if (alignment == kRightText) {
    align = platform::Align::Right;
  }
  platform::drawText(window, text, box, font, rgb(fontColor), align, opaque, rgb(fillColor));
}

void CDrawContext::fillRect(const CRect& rect) {
  if (window)
    platform::fillBox(window, {rect.left + offset.h, rect.top + offset.v, rect.width(), rect.height()}, rgb(fillColor));
}

void CDrawContext::drawRect(const CRect& rect) {
  moveTo(CPoint(rect.left, rect.top));
  lineTo(CPoint(rect.right, rect.top));
  lineTo(CPoint(rect.right, rect.bottom));
  lineTo(CPoint(rect.left, rect.bottom));
  lineTo(CPoint(rect.left, rect.top));
}

void CDrawContext::lineTo(const CPoint& p) {
  if (window)
    platform::drawLine(window, pen.h + offset.h, pen.v + offset.v, p.h + offset.h, p.v + offset.v, rgb(frameColor));
  pen = p;
}
