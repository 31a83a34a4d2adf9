// The platform calls every backend that draws into memory answers the same
// way: pictures come from the module's embedded table, decoded to surfaces.
#include "gui/platform/software/surface.h"
#include "gui/platform/software/pictures.h"

namespace korro::platform {

Bitmap* loadBitmap(int resourceId) {
  const resources::Resource* r = resources::find(resourceId);
  if (!r) return nullptr;
  auto* b = new Bitmap;
  if (!software::decodeBmp(r->data, r->size, b->surface)) {
    delete b;
    return nullptr;
  }
  return b;
}

void freeBitmap(Bitmap* bitmap) { delete bitmap; }
int bitmapWidth(const Bitmap* b) { return b ? b->surface.width : 0; }
int bitmapHeight(const Bitmap* b) { return b ? b->surface.height : 0; }

Rgb bitmapPixel(const Bitmap* b, int x, int y) {
  return b && b->surface.contains(x, y) ? b->surface.at(x, y) : Rgb{};
}

std::uintptr_t moduleInstance() {
  static const int anchor = 0;
  return reinterpret_cast<std::uintptr_t>(&anchor);
}

}  // namespace korro::platform
