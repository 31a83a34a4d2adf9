#include "edit_field.h"

#include <algorithm>
#include <cstring>

#include "text.h"

namespace korro::software {

void EditField::render(Surface& s) const {
  fill(s, area, style.back);
  const Box inner{area.x + 1, area.y, area.w - 2, area.h};
  if (allSelected && !text.empty()) {
    const int w = std::min(textWidth(text.c_str(), style.font), inner.w);
    int x = inner.x;
    if (style.align == platform::Align::Centre)
      x = inner.x + (inner.w - w) / 2;
    else if (style.align == platform::Align::Right)
      x = inner.x + inner.w - w;
    fill(s, clipBox(s, {x, area.y + 1, w, area.h - 2}, area), style.text);
    drawText(s, text.c_str(), inner, style.font, style.back, style.align, false, {});
  } else {
    drawText(s, text.c_str(), inner, style.font, style.text, style.align, false, {});
  }
}

void EditField::type(const std::string& typed) {
  if (allSelected) text.clear();
  allSelected = false;
  text += typed;
}

void EditField::erase() {
  if (allSelected)
    text.clear();
  else if (!text.empty())
    text.pop_back();
  allSelected = false;
}

void EditField::copyText(char* out, int size) const {
  if (!out || size <= 0) return;
  const std::size_t n = std::min(text.size(), static_cast<std::size_t>(size - 1));
  std::memcpy(out, text.data(), n);
  out[n] = 0;
}

}  // namespace korro::software
