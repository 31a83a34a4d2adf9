// The software renderer shared by the backends that draw into memory: an RGB
// pixel surface with clipped copies, fills and lines, and the 8-bit (and
// 24-bit) BMP decoder for the module's skin pictures.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "gui/platform/platform.h"

namespace korro::software {

using platform::Box;
using platform::Rgb;

struct Surface {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> rgb;  // rows top to bottom, three bytes a pixel

  void resize(int w, int h);
  bool contains(int x, int y) const { return x >= 0 && y >= 0 && x < width && y < height; }
  Rgb at(int x, int y) const {
    const std::uint8_t* p = &rgb[(static_cast<std::size_t>(y) * width + x) * 3];
    return {p[0], p[1], p[2]};
  }
  void set(int x, int y, Rgb c) {
    std::uint8_t* p = &rgb[(static_cast<std::size_t>(y) * width + x) * 3];
    p[0] = c.r;
    p[1] = c.g;
    p[2] = c.b;
  }
  // Mixes c over the pixel with coverage 0..255.
  void blend(int x, int y, Rgb c, int coverage);
};

// The part of `box` that lies inside both `clip` and the surface.
Box clipBox(const Surface& s, Box box, Box clip);
Box clipBox(const Surface& s, Box box);

constexpr Rgb kKeyColour{255, 0, 255};

void copy(Surface& dst, const Surface& src, Box to, int srcX, int srcY, bool keyed);
void fill(Surface& dst, Box box, Rgb c);
void line(Surface& dst, int x0, int y0, int x1, int y1, Rgb c);

// Decodes an uncompressed BMP of 8 (palettised) or 24 bits a pixel; false for anything else.
bool decodeBmp(const std::uint8_t* data, std::size_t size, Surface& out);

}  // namespace korro::software

// The backends' bitmap is a decoded surface.
struct korro::platform::Bitmap {
  software::Surface surface;
};
