// A picture from the module's resources, shared by reference count.
#pragma once

#include "geometry.h"
#include "platform/platform.h"

class CDrawContext;

class CBitmap {
 public:
  // Loads the picture with this resource number (low 16 bits); 0 × 0 when there is none.
  explicit CBitmap(std::int32_t resourceId);
  CBitmap(const CBitmap&) = delete;
  CBitmap& operator=(const CBitmap&) = delete;

  // Copies the rect-sized block at `offset` to `rect` of the context.
  void draw(CDrawContext* context, const CRect& rect, const CPoint& offset = CPoint(0, 0));
  // The same, leaving out pixels of the key colour (255, 0, 255).
  void drawTransparent(CDrawContext* context, const CRect& rect, const CPoint& offset = CPoint(0, 0));

  std::int32_t getWidth() const { return width; }
  std::int32_t getHeight() const { return height; }
  std::int32_t getResourceId() const { return resourceId; }
  korro::platform::Rgb getPixel(std::int32_t x, std::int32_t y) const;
  bool isLoaded() const { return picture != nullptr; }

  void remember() { ++nbReference; }
  void forget();
  std::int32_t getNbReference() const { return nbReference; }

 protected:
  virtual ~CBitmap();

 private:
  void copy(CDrawContext* context, const CRect& rect, const CPoint& offset, bool keyed);

  std::int32_t resourceId;
  std::int32_t nbReference = 1;
  std::int32_t width = 0;
  std::int32_t height = 0;
  korro::platform::Bitmap* picture = nullptr;
};
