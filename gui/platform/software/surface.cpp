#include "surface.h"

#include <algorithm>
#include <cstdlib>

namespace korro::software {

void Surface::resize(int w, int h) {
  width = std::max(w, 0);
  height = std::max(h, 0);
  rgb.assign(static_cast<std::size_t>(width) * height * 3, 0);
}

void Surface::blend(int x, int y, Rgb c, int coverage) {
  if (coverage <= 0) return;
  if (coverage >= 255) {
    set(x, y, c);
    return;
  }
  std::uint8_t* p = &rgb[(static_cast<std::size_t>(y) * width + x) * 3];
  const std::uint8_t src[3] = {c.r, c.g, c.b};
  for (int i = 0; i < 3; ++i) p[i] = static_cast<std::uint8_t>((p[i] * (255 - coverage) + src[i] * coverage + 127) / 255);
}

Box clipBox(const Surface& s, Box box, Box clip) {
  const int x0 = std::max({box.x, clip.x, 0});
  const int y0 = std::max({box.y, clip.y, 0});
  const int x1 = std::min({box.x + box.w, clip.x + clip.w, s.width});
  const int y1 = std::min({box.y + box.h, clip.y + clip.h, s.height});
  if (x1 <= x0 || y1 <= y0) return {x0, y0, 0, 0};
  return {x0, y0, x1 - x0, y1 - y0};
}

Box clipBox(const Surface& s, Box box) { return clipBox(s, box, {0, 0, s.width, s.height}); }

void copy(Surface& dst, const Surface& src, Box to, int srcX, int srcY, bool keyed) {
  // Keep only what both the source block and the destination can hold.
  Box from{srcX, srcY, to.w, to.h};
  const Box inSource = clipBox(src, from);
  if (inSource.w <= 0 || inSource.h <= 0) return;
  Box target{to.x + (inSource.x - srcX), to.y + (inSource.y - srcY), inSource.w, inSource.h};
  const Box visible = clipBox(dst, target);
  if (visible.w <= 0 || visible.h <= 0) return;
  const int sx = inSource.x + (visible.x - target.x);
  const int sy = inSource.y + (visible.y - target.y);
  for (int row = 0; row < visible.h; ++row) {
    const std::uint8_t* s = &src.rgb[(static_cast<std::size_t>(sy + row) * src.width + sx) * 3];
    std::uint8_t* d = &dst.rgb[(static_cast<std::size_t>(visible.y + row) * dst.width + visible.x) * 3];
    if (!keyed) {
      std::copy(s, s + visible.w * 3, d);
      continue;
    }
    for (int col = 0; col < visible.w; ++col, s += 3, d += 3) {
      if (s[0] == kKeyColour.r && s[1] == kKeyColour.g && s[2] == kKeyColour.b) continue;
      d[0] = s[0];
      d[1] = s[1];
      d[2] = s[2];
    }
  }
}

void fill(Surface& dst, Box box, Rgb c) {
  const Box b = clipBox(dst, box);
  for (int y = b.y; y < b.y + b.h; ++y)
    for (int x = b.x; x < b.x + b.w; ++x) dst.set(x, y, c);
}

void line(Surface& dst, int x0, int y0, int x1, int y1, Rgb c) {
  const int dx = std::abs(x1 - x0), sx = x0 < x1 ? 1 : -1;
  const int dy = -std::abs(y1 - y0), sy = y0 < y1 ? 1 : -1;
  int err = dx + dy;
  while (x0 != x1 || y0 != y1) {
    if (dst.contains(x0, y0)) dst.set(x0, y0, c);
    const int e2 = 2 * err;
    if (e2 >= dy) {
      err += dy;
      x0 += sx;
    }
    if (e2 <= dx) {
      err += dx;
      y0 += sy;
    }
  }
}

namespace {
std::uint32_t u32(const std::uint8_t* p) { return p[0] | p[1] << 8 | p[2] << 16 | static_cast<std::uint32_t>(p[3]) << 24; }
std::uint16_t u16(const std::uint8_t* p) { return static_cast<std::uint16_t>(p[0] | p[1] << 8); }
}  // namespace

bool decodeBmp(const std::uint8_t* data, std::size_t size, Surface& out) {
  if (!data || size < 54 || data[0] != 'B' || data[1] != 'M') return false;
  const std::uint32_t pixelOffset = u32(data + 10);
  const std::uint32_t headerSize = u32(data + 14);
  if (headerSize < 40 || 14 + static_cast<std::size_t>(headerSize) > size) return false;
  const std::int32_t width = static_cast<std::int32_t>(u32(data + 18));
  std::int32_t height = static_cast<std::int32_t>(u32(data + 22));
  const int bits = u16(data + 28);
  const std::uint32_t compression = u32(data + 30);
  std::uint32_t paletteCount = u32(data + 46);
  if (compression != 0 || (bits != 8 && bits != 24) || width <= 0 || height == 0) return false;
  if (width > 16384 || height > 65536 || height < -65536) return false;
  const bool topDown = height < 0;
  if (topDown) height = -height;
  const std::size_t stride = ((static_cast<std::size_t>(width) * bits + 31) / 32) * 4;
  if (pixelOffset > size || size - pixelOffset < stride * height) return false;

  Rgb palette[256];
  if (bits == 8) {
    if (paletteCount == 0 || paletteCount > 256) paletteCount = 256;
    const std::size_t paletteAt = 14 + headerSize;
    if (paletteAt + paletteCount * 4 > pixelOffset) return false;
    for (std::uint32_t i = 0; i < paletteCount; ++i) {
      const std::uint8_t* q = data + paletteAt + i * 4;  // blue, green, red, spare
      palette[i] = {q[2], q[1], q[0]};
    }
    for (std::uint32_t i = paletteCount; i < 256; ++i) palette[i] = {};
  }

  out.resize(width, height);
  for (int row = 0; row < height; ++row) {
    const std::uint8_t* src = data + pixelOffset + stride * (topDown ? row : height - 1 - row);
    for (int x = 0; x < width; ++x) {
      if (bits == 8)
        out.set(x, row, palette[src[x]]);
      else
        out.set(x, row, {src[x * 3 + 2], src[x * 3 + 1], src[x * 3]});
    }
  }
  return true;
}

}  // namespace korro::software
