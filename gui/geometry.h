// Geometry and colour of the toolkit. Rectangles hold four edges; drawing
// uses width = right − left, hit tests include the right and bottom edges.
#pragma once

#include <cstdint>

struct CPoint {
  std::int32_t h = 0;
  std::int32_t v = 0;

  CPoint() = default;
  CPoint(std::int32_t h_, std::int32_t v_) : h(h_), v(v_) {}
  CPoint& offset(std::int32_t dh, std::int32_t dv) {
    h += dh;
    v += dv;
    return *this;
  }
  friend bool operator==(const CPoint& a, const CPoint& b) { return a.h == b.h && a.v == b.v; }
  friend bool operator!=(const CPoint& a, const CPoint& b) { return !(a == b); }
};

struct CRect {
  std::int32_t left = 0;
  std::int32_t top = 0;
  std::int32_t right = 0;
  std::int32_t bottom = 0;

  CRect() = default;
  CRect(std::int32_t l, std::int32_t t, std::int32_t r, std::int32_t b) : left(l), top(t), right(r), bottom(b) {}

  std::int32_t width() const { return right - left; }
  std::int32_t height() const { return bottom - top; }
  CRect& offset(std::int32_t dh, std::int32_t dv) {
    left += dh;
    right += dh;
    top += dv;
    bottom += dv;
    return *this;
  }
  bool pointInside(const CPoint& p) const { return p.h >= left && p.h <= right && p.v >= top && p.v <= bottom; }
  friend bool operator==(const CRect& a, const CRect& b) {
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
  }
  friend bool operator!=(const CRect& a, const CRect& b) { return !(a == b); }
};

struct CColor {
  std::uint8_t red = 0;
  std::uint8_t green = 0;
  std::uint8_t blue = 0;
  std::uint8_t unused = 0;  // carried, never compared or drawn

  friend bool operator==(const CColor& a, const CColor& b) {
    return a.red == b.red && a.green == b.green && a.blue == b.blue;
  }
  friend bool operator!=(const CColor& a, const CColor& b) { return !(a == b); }
};

// The font ids of the toolkit's fixed font table.
enum CFont : int {
  kSystemFont = 0,
  kNormalFontVeryBig,
  kNormalFontBig,
  kNormalFont,
  kNormalFontSmall,
  kNormalFontSmaller,
  kNormalFontVerySmall,
  kSymbolFont,
  kNumFonts,
};

// Text face bits.
enum CTxtFace : int { kNormalFace = 0, kBoldFace = 1, kItalicFace = 2, kUnderlineFace = 4 };

// Horizontal text alignment.
enum CHoriTxtAlign : int { kLeftText = 0, kCenterText = 1, kRightText = 2 };

// Mouse buttons and modifier keys as getMouseButtons reports them.
enum CButton : int { kLButton = 1, kMButton = 2, kRButton = 4, kShift = 8, kControl = 16, kAlt = 32 };
