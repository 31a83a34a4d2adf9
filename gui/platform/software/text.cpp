#include "text.h"

#include <dlfcn.h>
#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <map>
#include <string>
#include <tuple>

namespace korro::software {

namespace {

// Faces stay loaded for the life of the module; the set is small (one per font
// id in use).
class FaceCache {
 public:
  ~FaceCache() {
    for (auto& entry : faces_)
      if (entry.second) FT_Done_Face(entry.second);
    if (library_) FT_Done_FreeType(library_);
  }

  FT_Face get(const platform::Font& font) {
    const Key key{font.face ? font.face : "", font.pixelSize, font.bold, font.italic};
    auto it = faces_.find(key);
    if (it != faces_.end()) return it->second;
    FT_Face face = open(font);
    faces_.emplace(key, face);
    return face;
  }

 private:
  using Key = std::tuple<std::string, int, bool, bool>;

  FT_Face open(const platform::Font& font) {
    if (!library_ && FT_Init_FreeType(&library_) != 0) {
      library_ = nullptr;
      return nullptr;
    }
    std::string path;
    int index = 0;
    if (!find(font, path, index)) return nullptr;
    FT_Face face = nullptr;
    if (FT_New_Face(library_, path.c_str(), index, &face) != 0) return nullptr;
    if (FT_Set_Pixel_Sizes(face, 0, static_cast<FT_UInt>(std::clamp(font.pixelSize, 1, 512))) != 0) {
      FT_Done_Face(face);
      return nullptr;
    }
    return face;
  }

  // fontconfig keeps process-wide caches; were it unloaded with this module,
  // they would be lost at every unload. Keep the library in the process.
  static void keepFontconfigLoaded() {
    static const bool kept = [] {
      Dl_info info{};
      if (!dladdr(reinterpret_cast<void*>(&FcInitLoadConfigAndFonts), &info) || !info.dli_fname) return false;
      return dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE) != nullptr;
    }();
    (void)kept;
  }

  static bool find(const platform::Font& font, std::string& path, int& index) {
    keepFontconfigLoaded();
    FcConfig* config = FcInitLoadConfigAndFonts();
    if (!config) return false;
    FcPattern* pattern = FcPatternCreate();
    bool found = false;
    if (pattern) {
      FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(font.face ? font.face : "Arial"));
      FcPatternAddDouble(pattern, FC_PIXEL_SIZE, font.pixelSize);
      FcPatternAddInteger(pattern, FC_WEIGHT, font.bold ? FC_WEIGHT_BOLD : FC_WEIGHT_REGULAR);
      FcPatternAddInteger(pattern, FC_SLANT, font.italic ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
      FcPatternAddBool(pattern, FC_SCALABLE, FcTrue);
      FcConfigSubstitute(config, pattern, FcMatchPattern);
      FcDefaultSubstitute(pattern);
      FcResult result = FcResultNoMatch;
      if (FcPattern* match = FcFontMatch(config, pattern, &result)) {
        FcChar8* file = nullptr;
        if (FcPatternGetString(match, FC_FILE, 0, &file) == FcResultMatch && file) {
          path = reinterpret_cast<const char*>(file);
          if (FcPatternGetInteger(match, FC_INDEX, 0, &index) != FcResultMatch) index = 0;
          found = true;
        }
        FcPatternDestroy(match);
      }
      FcPatternDestroy(pattern);
    }
    FcConfigDestroy(config);
    return found;
  }

  FT_Library library_ = nullptr;
  std::map<Key, FT_Face> faces_;
};

FaceCache& faces() {
  static FaceCache cache;
  return cache;
}

int advanceOf(FT_Face face, unsigned char c) {
  if (FT_Load_Char(face, c, FT_LOAD_DEFAULT) != 0) return 0;
  return static_cast<int>((face->glyph->advance.x + 32) >> 6);
}

int widthIn(FT_Face face, const char* text) {
  int w = 0;
  for (const char* p = text; *p; ++p) w += advanceOf(face, static_cast<unsigned char>(*p));
  return w;
}

}  // namespace

int textWidth(const char* text, const platform::Font& font) {
  FT_Face face = text ? faces().get(font) : nullptr;
  return face ? widthIn(face, text) : 0;
}

void drawText(Surface& dst, const char* text, Box box, const platform::Font& font, Rgb colour, platform::Align align,
              bool opaque, Rgb back) {
  if (!text) return;
  FT_Face face = faces().get(font);
  if (!face) return;
  const int ascent = static_cast<int>((face->size->metrics.ascender + 32) >> 6);
  const int descent = static_cast<int>((-face->size->metrics.descender + 32) >> 6);
  const int lineHeight = ascent + descent;
  const int width = widthIn(face, text);

  int x = box.x;
  if (align == platform::Align::Centre)
    x = box.x + (box.w - width) / 2;
  else if (align == platform::Align::Right)
    x = box.x + box.w - width;
  const int top = box.y + (box.h - lineHeight) / 2;
  const int baseline = top + ascent;

  if (opaque) fill(dst, clipBox(dst, {x, top, width, lineHeight}, box), back);
  const Box clip = clipBox(dst, box);

  for (const char* p = text; *p; ++p) {
    if (FT_Load_Char(face, static_cast<unsigned char>(*p), FT_LOAD_RENDER) != 0) continue;
    const FT_GlyphSlot g = face->glyph;
    const FT_Bitmap& bm = g->bitmap;
    if (bm.pixel_mode == FT_PIXEL_MODE_GRAY) {
      const int gx = x + g->bitmap_left;
      const int gy = baseline - g->bitmap_top;
      for (unsigned row = 0; row < bm.rows; ++row) {
        const int y = gy + static_cast<int>(row);
        if (y < clip.y || y >= clip.y + clip.h) continue;
        const unsigned char* src = bm.buffer + static_cast<long>(row) * bm.pitch;
        for (unsigned col = 0; col < bm.width; ++col) {
          const int px = gx + static_cast<int>(col);
          if (px < clip.x || px >= clip.x + clip.w) continue;
          dst.blend(px, y, colour, src[col]);
        }
      }
    }
    x += static_cast<int>((g->advance.x + 32) >> 6);
  }
  if (font.underline) {
    const int uy = baseline + 1;
    if (uy >= clip.y && uy < clip.y + clip.h) fill(dst, clipBox(dst, {x - width, uy, width, 1}, clip), colour);
  }
}

}  // namespace korro::software
