#include "bitmap.h"

#include "draw_context.h"
#include "platform/platform.h"

namespace platform = korro::platform;

CBitmap::CBitmap(std::int32_t id) : resourceId(id) {
  picture = platform::loadBitmap(id & 0xffff);
  if (picture) {
    width = platform::bitmapWidth(picture);
    height = platform::bitmapHeight(picture);
  }
}

CBitmap::~CBitmap() { platform::freeBitmap(picture); }

korro::platform::Rgb CBitmap::getPixel(std::int32_t x, std::int32_t y) const {
  return platform::bitmapPixel(picture, x, y);
}

void CBitmap::forget() {
  if (nbReference <= 0) return;
  if (--nbReference == 0) delete this;
}

void CBitmap::copy(CDrawContext* context, const CRect& rect, const CPoint& offset, bool keyed) {
  if (!picture || !context || !context->getWindow()) return;
  const CPoint o = context->offset;
  platform::copyBitmap(context->getWindow(), picture, {rect.left + o.h, rect.top + o.v, rect.width(), rect.height()},
                       offset.h, offset.v, keyed);
}

void CBitmap::draw(CDrawContext* context, const CRect& rect, const CPoint& offset) {
  copy(context, rect, offset, false);
}

void CBitmap::drawTransparent(CDrawContext* context, const CRect& rect, const CPoint& offset) {
  copy(context, rect, offset, true);
}
