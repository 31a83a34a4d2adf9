// One line of text into a surface: the face comes from fontconfig (so a
// metric-compatible substitute stands in for a missing "Arial"), the glyphs
// from FreeType, blended with their grey coverage.
#pragma once

#include "surface.h"

namespace korro::software {

// Width in pixels of `text` in `font`; 0 when no face can be had.
int textWidth(const char* text, const platform::Font& font);

void drawText(Surface& dst, const char* text, Box box, const platform::Font& font, Rgb colour, platform::Align align,
              bool opaque, Rgb back);

}  // namespace korro::software
