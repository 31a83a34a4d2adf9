// Draws the eight skin pictures of the editor and writes them as 8-bit
// palettised BMP files, at one of the editor's scales (1 when not given):
//
//   korro-skin <output folder> [1 | 1.5 | 2]
//
// Everything is drawn in the 1x layout's coordinates and sampled at the
// scale's density, so a denser picture is redrawn, never enlarged.
//
// Shapes are drawn with 4 × 4 supersampling, lettering with FreeType (Liberation
// Sans, found through fontconfig). Pictures that are copied opaquely over the
// panel (knob strips, bypass switch, LED) are drawn over the exact panel pixels
// under them, and their palettes start with those panel colours, so no seam
// shows around a control.
#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "editor/editor_layout.h"

namespace {

namespace layout = korro::layout;

constexpr double kPi = 3.14159265358979323846;

struct Colour {
  double r = 0, g = 0, b = 0;
};
Colour rgb(int r, int g, int b) { return {r / 255.0, g / 255.0, b / 255.0}; }
Colour mix(Colour a, Colour b, double t) { return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t}; }
Colour scale(Colour a, double k) { return {a.r * k, a.g * k, a.b * k}; }

// Pixels plus where they lie in layout coordinates: pixel p covers
// [p / s + ox, (p + 1) / s + ox).
struct Image {
  int w = 0, h = 0;
  std::vector<Colour> px;
  double s = 1.0, ox = 0.0, oy = 0.0;
  Image() = default;
  Image(int w_, int h_, Colour c = {}) : w(w_), h(h_), px(static_cast<size_t>(w_) * h_, c) {}
  Colour& at(int x, int y) { return px[static_cast<size_t>(y) * w + x]; }
  const Colour& at(int x, int y) const { return px[static_cast<size_t>(y) * w + x]; }
  void blend(int x, int y, Colour c, double a) {
    if (x < 0 || y < 0 || x >= w || y >= h || a <= 0) return;
    at(x, y) = mix(at(x, y), c, std::min(a, 1.0));
  }
  Image crop(int x0, int y0, int cw, int ch) const {
    Image out(cw, ch);
    out.s = s;
    for (int y = 0; y < ch; ++y)
      for (int x = 0; x < cw; ++x) out.at(x, y) = at(x0 + x, y0 + y);
    return out;
  }
  void paste(const Image& src, int x0, int y0) {
    for (int y = 0; y < src.h; ++y)
      for (int x = 0; x < src.w; ++x)
        if (x0 + x >= 0 && y0 + y >= 0 && x0 + x < w && y0 + y < h) at(x0 + x, y0 + y) = src.at(x, y);
  }
};

// A shader answers, for a point, whether it is inside and with which colour.
struct Sample {
  bool inside;
  Colour colour;
};
using Shader = std::function<Sample(double x, double y)>;

// Paints the shader (in layout coordinates) over the box with 4 × 4
// supersampling of each pixel; `opacity` scales coverage.
void paint(Image& img, double x0, double y0, double x1, double y1, const Shader& shader, double opacity = 1.0) {
  x0 = (x0 - img.ox) * img.s, x1 = (x1 - img.ox) * img.s;
  y0 = (y0 - img.oy) * img.s, y1 = (y1 - img.oy) * img.s;
  const int ix0 = std::max(0, static_cast<int>(std::floor(x0))), iy0 = std::max(0, static_cast<int>(std::floor(y0)));
  const int ix1 = std::min(img.w, static_cast<int>(std::ceil(x1))), iy1 = std::min(img.h, static_cast<int>(std::ceil(y1)));
  constexpr int n = 4;
  for (int y = iy0; y < iy1; ++y)
    for (int x = ix0; x < ix1; ++x) {
      Colour sum{};
      int hits = 0;
      for (int sy = 0; sy < n; ++sy)
        for (int sx = 0; sx < n; ++sx) {
          const Sample s = shader((x + (sx + 0.5) / n) / img.s + img.ox, (y + (sy + 0.5) / n) / img.s + img.oy);
          if (!s.inside) continue;
          ++hits;
          sum.r += s.colour.r;
          sum.g += s.colour.g;
          sum.b += s.colour.b;
        }
      if (!hits) continue;
      const Colour avg = scale(sum, 1.0 / hits);
      img.blend(x, y, avg, opacity * hits / double(n * n));
    }
}

double segmentDistance(double px, double py, double ax, double ay, double bx, double by) {
  const double dx = bx - ax, dy = by - ay;
  const double len2 = dx * dx + dy * dy;
  double t = len2 > 0 ? ((px - ax) * dx + (py - ay) * dy) / len2 : 0;
  t = std::clamp(t, 0.0, 1.0);
  const double ex = ax + t * dx - px, ey = ay + t * dy - py;
  return std::sqrt(ex * ex + ey * ey);
}

void disc(Image& img, double cx, double cy, double r, Colour c, double opacity = 1.0) {
  paint(img, cx - r - 1, cy - r - 1, cx + r + 1, cy + r + 1,
        [&](double x, double y) { return Sample{(x - cx) * (x - cx) + (y - cy) * (y - cy) <= r * r, c}; }, opacity);
}

void stroke(Image& img, double ax, double ay, double bx, double by, double width, Colour c, double opacity = 1.0) {
  const double m = width + 1;
  paint(img, std::min(ax, bx) - m, std::min(ay, by) - m, std::max(ax, bx) + m, std::max(ay, by) + m,
        [&](double x, double y) { return Sample{segmentDistance(x, y, ax, ay, bx, by) <= width / 2, c}; }, opacity);
}

bool inRoundRect(double x, double y, double x0, double y0, double x1, double y1, double r) {
  if (x < x0 || x > x1 || y < y0 || y > y1) return false;
  const double cx = std::clamp(x, x0 + r, x1 - r), cy = std::clamp(y, y0 + r, y1 - r);
  return (x - cx) * (x - cx) + (y - cy) * (y - cy) <= r * r;
}

void roundRect(Image& img, double x0, double y0, double x1, double y1, double r, const std::function<Colour(double, double)>& fill,
               double opacity = 1.0) {
  paint(img, x0 - 1, y0 - 1, x1 + 1, y1 + 1,
        [&](double x, double y) { return Sample{inRoundRect(x, y, x0, y0, x1, y1, r), fill(x, y)}; }, opacity);
}

// Soft shadow: stacked translucent round rects.
void softShadow(Image& img, double x0, double y0, double x1, double y1, double r, double spread, double strength) {
  for (int i = static_cast<int>(spread); i >= 1; --i)
    roundRect(img, x0 - i, y0 - i, x1 + i, y1 + i, r + i, [](double, double) { return rgb(0, 0, 0); },
              strength / (spread + 1));
}

// ------------------------------------------------------------------ lettering
class Lettering {
 public:
  Lettering() {
    FT_Init_FreeType(&lib_);
    FcInit();
  }
  ~Lettering() {
    for (auto& f : faces_) FT_Done_Face(f.second);
    FT_Done_FreeType(lib_);
  }

  FT_Face face(const std::string& pattern) {
    auto it = faces_.find(pattern);
    if (it != faces_.end()) return it->second;
    FcPattern* p = FcNameParse(reinterpret_cast<const FcChar8*>(pattern.c_str()));
    FcConfigSubstitute(nullptr, p, FcMatchPattern);
    FcDefaultSubstitute(p);
    FcResult result;
    FcPattern* m = FcFontMatch(nullptr, p, &result);
    FcChar8* file = nullptr;
    FT_Face f = nullptr;
    if (m && FcPatternGetString(m, FC_FILE, 0, &file) == FcResultMatch) {
      std::fprintf(stderr, "%s -> %s\n", pattern.c_str(), reinterpret_cast<const char*>(file));
      FT_New_Face(lib_, reinterpret_cast<const char*>(file), 0, &f);
    }
    if (m) FcPatternDestroy(m);
    FcPatternDestroy(p);
    faces_[pattern] = f;
    return f;
  }

  // Width in pixels at `size` with extra `tracking` between letters.
  double width(const std::string& fontName, double size, const std::string& text, double tracking = 0) {
    FT_Face f = face(fontName);
    if (!f) return 0;
    FT_Set_Char_Size(f, 0, static_cast<FT_F26Dot6>(size * 64 * 4), 72, 72);
    double w = 0;
    for (unsigned char c : text) {
      FT_Load_Char(f, c, FT_LOAD_NO_HINTING);
      w += f->glyph->advance.x / 64.0 / 4 + tracking;
    }
    return w - tracking;
  }

  // Draws text with its baseline at y (layout coordinates); align −1 left of x,
  // 0 centred on x, 1 right of x. Glyphs are rendered at the picture's density.
  void draw(Image& img, const std::string& fontName, double size, const std::string& text, double x, double y,
            Colour c, int align = 0, double tracking = 0, double opacity = 1.0) {
    drawPixels(img, fontName, size * img.s, text, (x - img.ox) * img.s, (y - img.oy) * img.s, c, align,
               tracking * img.s, opacity);
  }

 private:
  // The same in the picture's pixels, glyphs rendered at four times the size and filtered down.
  void drawPixels(Image& img, const std::string& fontName, double size, const std::string& text, double x, double y,
                  Colour c, int align, double tracking, double opacity) {
    FT_Face f = face(fontName);
    if (!f) return;
    const double w = width(fontName, size, text, tracking);
    double pen = align < 0 ? x : align == 0 ? x - w / 2 : x - w;
    constexpr int k = 4;
    FT_Set_Char_Size(f, 0, static_cast<FT_F26Dot6>(size * 64 * k), 72, 72);
    // Coverage accumulated on a k-times finer grid.
    const int gx0 = static_cast<int>(std::floor(pen)) - 2, gy0 = static_cast<int>(std::floor(y - size * 1.2)) - 2;
    const int gw = static_cast<int>(w + 6), gh = static_cast<int>(size * 1.6 + 6);
    std::vector<double> cover(static_cast<size_t>(gw) * gh, 0.0);
    for (unsigned char ch : text) {
      FT_Load_Char(f, ch, FT_LOAD_RENDER | FT_LOAD_NO_HINTING);
      const FT_GlyphSlot g = f->glyph;
      const double ox = (pen - gx0) * k + g->bitmap_left, oy = (y - gy0) * k - g->bitmap_top;
      for (unsigned row = 0; row < g->bitmap.rows; ++row)
        for (unsigned col = 0; col < g->bitmap.width; ++col) {
          const int fx = static_cast<int>(std::lround(ox)) + static_cast<int>(col);
          const int fy = static_cast<int>(std::lround(oy)) + static_cast<int>(row);
          const int cx = fx / k, cy = fy / k;
          if (fx < 0 || fy < 0 || cx >= gw || cy >= gh) continue;
          cover[static_cast<size_t>(cy) * gw + cx] += g->bitmap.buffer[row * g->bitmap.pitch + col] / 255.0 / (k * k);
        }
      pen += g->advance.x / 64.0 / k + tracking;
    }
    for (int yy = 0; yy < gh; ++yy)
      for (int xx = 0; xx < gw; ++xx) img.blend(gx0 + xx, gy0 + yy, c, opacity * std::min(1.0, cover[yy * gw + xx]));
  }

  FT_Library lib_ = nullptr;
  std::map<std::string, FT_Face> faces_;
};

const std::string kSans = "Liberation Sans";
const std::string kSansBold = "Liberation Sans:bold";

// ------------------------------------------------------------------ colours
const Colour kPanelTop = rgb(224, 220, 204);
const Colour kPanelBottom = rgb(204, 199, 181);
const Colour kInk = rgb(62, 60, 58);
const Colour kInkSoft = rgb(112, 108, 100);
const Colour kPlate = rgb(38, 36, 35);
const Colour kCream = rgb(236, 228, 200);
const Colour kBrass = rgb(201, 164, 92);

// Deterministic fine grain for the brushed faceplate.
double grain(int x, int y) {
  std::uint32_t h = static_cast<std::uint32_t>(y) * 2654435761u ^ static_cast<std::uint32_t>(x / 7) * 40503u;
  h ^= h >> 13;
  h *= 0x5bd1e995u;
  h ^= h >> 15;
  return ((h & 0xff) / 255.0 - 0.5);
}

// ------------------------------------------------------------------ panel
struct KnobPlace {
  int x, y, size;
};

// The pixels of a layout box at the picture's scale, in the box's own
// coordinates (its top left corner is 0, 0).
Image cropBox(const Image& img, const layout::Box& b) {
  const layout::Box p = layout::scaled(b, img.s);
  Image out = img.crop(p.left, p.top, p.right - p.left, p.bottom - p.top);
  out.ox = p.left / img.s - b.left;
  out.oy = p.top / img.s - b.top;
  return out;
}

// An empty picture of a layout box at scale s, in the box's own coordinates.
Image blankBox(const layout::Box& b, double s, int count = 1) {
  const layout::Box p = layout::scaled(b, s);
  Image out(p.right - p.left, (p.bottom - p.top) * count);
  out.s = s;
  out.ox = p.left / s - b.left;
  out.oy = p.top / s - b.top;
  return out;
}

// Blends a row of layout pixels x0 <= x < x1 at y, skipping the columns `skip` says.
void blendRow(Image& img, int x0, int x1, int y, Colour c, double a, const std::function<bool(int)>& skip = {}) {
  for (int py = 0; py < img.h; ++py) {
    if (static_cast<int>(std::floor(py / img.s + img.oy)) != y) continue;
    for (int px = 0; px < img.w; ++px) {
      const int x = static_cast<int>(std::floor(px / img.s + img.ox));
      if (x >= x0 && x < x1 && !(skip && skip(x))) img.blend(px, py, c, a);
    }
  }
}
void blendColumn(Image& img, int x, int y0, int y1, Colour c, double a) {
  for (int px = 0; px < img.w; ++px) {
    if (static_cast<int>(std::floor(px / img.s + img.ox)) != x) continue;
    for (int py = 0; py < img.h; ++py) {
      const int y = static_cast<int>(std::floor(py / img.s + img.oy));
      if (y >= y0 && y < y1) img.blend(px, py, c, a);
    }
  }
}
const KnobPlace kDecay{layout::kDecayKnob.x, layout::kDecayKnob.y, layout::kLargeKnob},
    kDamp{layout::kDampKnob.x, layout::kDampKnob.y, layout::kLargeKnob},
    kMix{layout::kMixKnob.x, layout::kMixKnob.y, layout::kSmallKnob},
    kOutput{layout::kOutputKnob.x, layout::kOutputKnob.y, layout::kSmallKnob};

void fieldSlot(Image& img, double x0, double y0, double x1, double y1) {
  // A shallow recessed window the value text sits in.
  roundRect(img, x0, y0, x1, y1, 3, [](double, double) { return rgb(150, 145, 130); });
  roundRect(img, x0 + 0.6, y0 + 0.8, x1 - 0.4, y1 - 0.2, 2.6, [&](double, double y) {
    return mix(rgb(214, 210, 192), rgb(232, 229, 214), (y - y0) / (y1 - y0));
  });
}

void screw(Image& img, double cx, double cy) {
  disc(img, cx + 0.5, cy + 0.8, 3.8, rgb(0, 0, 0), 0.25);
  paint(img, cx - 5, cy - 5, cx + 5, cy + 5, [&](double x, double y) {
    const double d = std::hypot(x - cx, y - cy);
    const double t = ((x - cx) * -0.6 + (y - cy) * -0.8) / 3.5;
    return Sample{d <= 3.5, mix(rgb(120, 118, 112), rgb(236, 234, 228), 0.5 + 0.5 * t)};
  });
  stroke(img, cx - 2.4, cy + 1.2, cx + 2.4, cy - 1.2, 0.9, rgb(70, 68, 64));
}

// Scale marks around a knob, drawn on the panel.
void knobScale(Image& img, const KnobPlace& k) {
  const double cx = k.x + k.size / 2.0, cy = k.y + k.size / 2.0;
  const bool large = k.size > 40;
  const double r0 = large ? 23.0 : 15.2, r1 = large ? 26.2 : 17.3;
  const int marks = large ? 11 : 11;
  for (int i = 0; i < marks; ++i) {
    const double a = 5 * kPi / 4 - i * (3 * kPi / 2) / (marks - 1);
    const bool end = i == 0 || i == marks - 1;
    const double inner = end ? r0 - 1.2 : r0 + (i % 5 == 0 ? -0.6 : 0.4);
    stroke(img, cx + std::cos(a) * inner, cy - std::sin(a) * inner, cx + std::cos(a) * r1, cy - std::sin(a) * r1,
           end || i % 5 == 0 ? 1.3 : 0.9, kInk, large ? 0.9 : 0.75);
  }
}

void label(Lettering& t, Image& img, const std::string& text, double cx, double baseline, double size = 7.6) {
  t.draw(img, kSansBold, size, text, cx, baseline + 0.6, rgb(255, 255, 250), 0, 1.1, 0.55);  // engraved light edge
  t.draw(img, kSansBold, size, text, cx, baseline, kInk, 0, 1.1);
}

// A coil spring seen from the side: the emblem on the name plate.
void springEmblem(Image& img, double x0, double x1, double cy, double radius, int turns, Colour front, Colour back) {
  auto pointAt = [&](double t) {
    const double a = t * turns * 2 * kPi;
    return std::array<double, 3>{x0 + (x1 - x0) * t + std::sin(a) * radius * 0.35, cy - std::cos(a) * radius,
                                 std::sin(a)};
  };
  const int steps = turns * 48;
  for (int pass = 0; pass < 2; ++pass)
    for (int i = 0; i < steps; ++i) {
      const auto p = pointAt(double(i) / steps), q = pointAt(double(i + 1) / steps);
      const bool isFront = p[2] >= 0;
      if ((pass == 0) == isFront) continue;  // back half first, front half over it
      stroke(img, p[0], p[1], q[0], q[1], isFront ? 1.7 : 1.3, isFront ? front : back);
    }
  stroke(img, x0 - 6, cy, x0 + 0.5, cy - radius * 0.2, 1.6, front);
  stroke(img, x1 - 0.5, cy + radius * 0.2, x1 + 6, cy, 1.6, front);
}

// Pixels of a one-pixel line of the 1x picture at scale s.
int lineWidth(double s) { return std::max(1, static_cast<int>(s)); }

Image makePanel(Lettering& t, double sc) {
  const int W = layout::kWidth, H = layout::kHeight;  // layout units
  const int PW = layout::scaled(W, sc), PH = layout::scaled(H, sc);
  Image img(PW, PH);
  img.s = sc;
  for (int y = 0; y < PH; ++y)
    for (int x = 0; x < PW; ++x) {
      Colour c = mix(kPanelTop, kPanelBottom, y / double(PH - 1));
      img.at(x, y) = scale(c, 1.0 + grain(static_cast<int>(x / sc), static_cast<int>(y / sc)) * 0.035);
    }
  // Bevelled edge.
  for (int i = 0; i < layout::scaled(3, sc); ++i) {
    const double k = 0.45 - static_cast<int>(i / sc) * 0.12;
    for (int x = i; x < PW - i; ++x) {
      img.blend(x, i, rgb(255, 255, 250), k);
      img.blend(x, PH - 1 - i, rgb(60, 56, 50), k);
    }
    for (int y = i; y < PH - i; ++y) {
      img.blend(i, y, rgb(255, 255, 250), k);
      img.blend(PW - 1 - i, y, rgb(60, 56, 50), k);
    }
  }
  for (int i = 0; i < lineWidth(sc); ++i) {
    for (int x = 0; x < PW; ++x) img.at(x, i) = img.at(x, PH - 1 - i) = rgb(70, 66, 60);
    for (int y = 0; y < PH; ++y) img.at(i, y) = img.at(PW - 1 - i, y) = rgb(70, 66, 60);
  }

  screw(img, 9.5, 9.5);
  screw(img, W - 9.5, 9.5);
  screw(img, 9.5, H - 9.5);
  screw(img, W - 9.5, H - 9.5);

  // Name plate (the click area of the about picture lies over it).
  softShadow(img, 114, 7, 187, 107, 5, 3, 0.35);
  roundRect(img, 114, 7, 187, 107, 5, [&](double, double y) { return mix(rgb(58, 55, 52), kPlate, (y - 7) / 100); });
  roundRect(img, 116, 9, 185, 105, 4, [&](double, double y) { return mix(rgb(46, 44, 42), rgb(30, 29, 28), (y - 9) / 96); });
  stroke(img, 118, 9.6, 183, 9.6, 0.6, rgb(110, 105, 98), 0.8);
  springEmblem(img, 128, 173, 31, 10.5, 7, kBrass, rgb(120, 96, 56));
  t.draw(img, kSansBold, 15.5, "KORRO", 150.5, 66, kCream, 0, 0.8);
  t.draw(img, kSansBold, 11.2, "TARROW", 150.5, 81, kBrass, 0, 1.6);
  stroke(img, 124, 88.5, 177, 88.5, 0.6, rgb(120, 112, 96), 0.9);
  t.draw(img, kSans, 6.3, "SPRING REVERB", 150.5, 98, rgb(196, 190, 172), 0, 0.9);

  // Engraved divider between the upper and the lower row.
  const auto plate = [](int x) { return x >= 112 && x <= 189; };
  blendRow(img, 14, W - 14, 117, rgb(120, 114, 102), 0.7, plate);
  blendRow(img, 14, W - 14, 118, rgb(255, 255, 250), 0.6, plate);

  // Knob scales and labels.
  for (const KnobPlace* k : {&kDecay, &kDamp, &kMix, &kOutput}) knobScale(img, *k);
  label(t, img, "DECAY", kDecay.x + 27, 36);
  label(t, img, "DAMP", kDamp.x + 27, 36);
  label(t, img, "MIX", kMix.x + 17.5, 129.5, 7.0);
  label(t, img, "OUTPUT", kOutput.x + 17.5, 129.5, 7.0);
  const layout::Box& sw = layout::kBypassSwitch;
  const layout::Box& led = layout::kClipLed;
  label(t, img, "BYPASS", (sw.left + sw.right) / 2.0, 135.5, 7.0);
  label(t, img, "CLIP", (led.left + led.right) / 2.0, 139.5, 7.0);

  // Value windows under the knobs and for the peak readout.
  // Each window sits inside its field, a little lower under the large knobs.
  for (const KnobPlace* k : {&kDecay, &kDamp, &kMix, &kOutput}) {
    const bool large = k->size == layout::kLargeKnob;
    const layout::Box f = layout::fieldUnder({k->x, k->y}, large);
    fieldSlot(img, f.left + 1, f.top + (large ? 1.5 : 0.5), f.right - 1, f.bottom - 0.5);
  }
  const layout::Box& r = layout::kPeakReadout;
  fieldSlot(img, r.left + 1, r.top + 0.5, r.right - 1, r.bottom - 0.5);

  // Bezel of the clip LED and the switch's slot.
  const double ledX = (led.left + led.right) / 2.0, ledY = (led.top + led.bottom) / 2.0;
  disc(img, ledX, ledY + 0.8, 7.4, rgb(0, 0, 0), 0.18);
  disc(img, ledX, ledY, 7.0, rgb(150, 146, 136));
  disc(img, ledX, ledY, 6.2, rgb(236, 233, 222));
  roundRect(img, sw.left - 2.5, sw.top - 1.5, sw.right + 2.5, sw.bottom + 1.5, 4,
            [](double, double) { return rgb(158, 152, 138); });

  // Small print.
  t.draw(img, kSans, 6.0, "STEREO", 24, 186, kInkSoft, -1, 0.8);
  t.draw(img, kSans, 6.0, "KT-1", 276, 186, kInkSoft, 1, 0.8);
  return img;
}

// ------------------------------------------------------------------ knobs
// Picture i of 51 points at 5π/4 − i · 3π/2 / 50 (clockwise from lower left).
Image knobPicture(const Image& under, int i, int size) {
  Image img = under;
  const bool large = size > 40;
  const double c = size / 2.0;
  const double R = large ? 19.5 : 12.6;     // skirt
  const double rc = large ? 13.8 : 8.9;     // cap
  const double a = 5 * kPi / 4 - i * (3 * kPi / 2) / 50;
  const double ux = std::cos(a), uy = -std::sin(a);

  // Shadow on the panel.
  for (int s = 3; s >= 1; --s) disc(img, c + 0.8, c + 1.6, R + s * 0.8, rgb(0, 0, 0), 0.12);
  // Skirt: dark, lit from the upper left, with fine knurling.
  paint(img, c - R - 1, c - R - 1, c + R + 1, c + R + 1, [&](double x, double y) {
    const double dx = x - c, dy = y - c, d = std::hypot(dx, dy);
    const double light = (-dx * 0.55 - dy * 0.83) / R;
    Colour col = mix(rgb(24, 23, 22), rgb(92, 89, 85), 0.5 + 0.5 * light);
    const double ang = std::atan2(dy, dx);
    if (d > rc + 1.5 && std::fmod(ang * (large ? 30 : 20) / kPi + 100, 2.0) < 0.8) col = scale(col, 0.72);
    if (d > R - 0.9) col = scale(col, 0.8);
    return Sample{d <= R, col};
  });
  // Pointer line on the skirt.
  stroke(img, c + ux * (rc + 1.2), c + uy * (rc + 1.2), c + ux * (R - 1.4), c + uy * (R - 1.4), large ? 2.3 : 1.8,
         rgb(246, 240, 222));
  // Cap: brushed aluminium dome.
  paint(img, c - rc - 1, c - rc - 1, c + rc + 1, c + rc + 1, [&](double x, double y) {
    const double dx = x - c, dy = y - c, d = std::hypot(dx, dy);
    const double light = (-dx * 0.55 - dy * 0.83) / rc;
    Colour col = mix(rgb(128, 128, 126), rgb(232, 232, 228), 0.5 + 0.45 * light);
    const double ring = std::sin(d * 3.1) * 0.025;
    col = scale(col, 1.0 + ring);
    if (d > rc - 0.8) col = rgb(60, 58, 56);
    return Sample{d <= rc, col};
  });
  // Indicator dot on the cap.
  disc(img, c + ux * rc * 0.62, c + uy * rc * 0.62, large ? 1.5 : 1.1, rgb(40, 38, 36));
  return img;
}

layout::Box boxOf(const KnobPlace& k) { return layout::knobBox({k.x, k.y}, k.size == layout::kLargeKnob); }

Image knobStrip(const Image& panel, const KnobPlace& k) {
  const Image under = cropBox(panel, boxOf(k));
  Image strip(under.w, under.h * 51);
  for (int i = 0; i < 51; ++i) strip.paste(knobPicture(under, i, k.size), 0, i * under.h);
  return strip;
}

// ------------------------------------------------------------------ switch, LED
Image bypassSwitch(const Image& panel) {
  const Image under = cropBox(panel, layout::kBypassSwitch);
  Image strip(under.w, under.h * 2);
  for (int state = 0; state < 2; ++state) {
    Image img = under;
    // Recessed track.
    roundRect(img, 1, 2.5, 23, 13.5, 5.5, [](double, double y) { return mix(rgb(40, 38, 36), rgb(70, 67, 62), (y - 2) / 12); });
    // The parameter reads 1 while the springs are fed: green then, red at 0.
    const Colour lamp = state ? rgb(80, 170, 90) : rgb(226, 62, 48);
    disc(img, state ? 6.5 : 17.5, 8, 2.0, lamp);
    disc(img, state ? 6.0 : 17.0, 7.4, 0.8, rgb(255, 255, 240), 0.6);
    // The slider.
    const double sx = state ? 17 : 7;
    roundRect(img, sx - 5.5, 3.5, sx + 5.5, 12.5, 4.5, [&](double x, double y) {
      const double light = (-(x - sx) * 0.4 - (y - 8) * 0.9) / 5;
      return mix(rgb(150, 148, 142), rgb(246, 244, 238), 0.5 + 0.5 * light);
    });
    for (int g = -1; g <= 1; ++g) stroke(img, sx + g * 2.2, 5.8, sx + g * 2.2, 10.2, 0.7, rgb(110, 106, 100));
    strip.paste(img, 0, state * under.h);
  }
  return strip;
}

// Pictures from the top: clipping, latched, off.
Image clipLed(const Image& panel) {
  const Image under = cropBox(panel, layout::kClipLed);
  Image strip(under.w, under.h * 3);
  const Colour body[3] = {rgb(255, 46, 32), rgb(196, 70, 40), rgb(96, 40, 36)};
  const Colour glow[3] = {rgb(255, 210, 190), rgb(236, 150, 110), rgb(150, 96, 90)};
  for (int p = 0; p < 3; ++p) {
    Image img = under;
    const double c = 5.5;
    disc(img, c, c, 5.0, rgb(70, 66, 60));
    paint(img, 0, 0, 11, 11, [&](double x, double y) {
      const double d = std::hypot(x - c, y - c) / 4.2;
      return Sample{d <= 1.0, mix(body[p], scale(body[p], 0.55), d * d)};
    });
    disc(img, c - 1.4, c - 1.6, 1.5, glow[p], p == 0 ? 0.95 : 0.6);
    strip.paste(img, 0, p * under.h);
  }
  return strip;
}

// ------------------------------------------------------------------ about
Image aboutPicture(Lettering& t, double sc) {
  const int W = 251, H = 162;  // layout units
  Image img = blankBox(layout::kAboutPicture, sc);
  const int PW = img.w, PH = img.h;
  for (int y = 0; y < PH; ++y)
    for (int x = 0; x < PW; ++x) img.at(x, y) = mix(rgb(44, 42, 40), rgb(26, 25, 24), y / double(PH - 1));
  for (int i = 0; i < lineWidth(sc); ++i) {
    for (int x = 0; x < PW; ++x) {
      img.at(x, i) = rgb(201, 164, 92);
      img.at(x, PH - 1 - i) = rgb(120, 96, 56);
    }
    for (int y = 0; y < PH; ++y) {
      img.at(i, y) = rgb(201, 164, 92);
      img.at(PW - 1 - i, y) = rgb(120, 96, 56);
    }
  }
  roundRect(img, 5, 5, W - 5, H - 5, 4, [](double, double) { return rgb(0, 0, 0); }, 0.0);
  blendRow(img, 4, W - 4, 4, kBrass, 0.35);
  blendRow(img, 4, W - 4, H - 5, kBrass, 0.35);
  blendColumn(img, 4, 4, H - 4, kBrass, 0.35);
  blendColumn(img, W - 5, 4, H - 4, kBrass, 0.35);

  springEmblem(img, 78, 173, 30, 11, 12, kBrass, rgb(120, 96, 56));
  t.draw(img, kSansBold, 22, "KORRO TARROW", W / 2.0, 71, kCream, 0, 1.2);
  t.draw(img, kSans, 8.5, "STEREO SPRING REVERB", W / 2.0, 86, kBrass, 0, 2.0);
  stroke(img, 60, 95.5, W - 60, 95.5, 0.6, rgb(120, 112, 96));
  t.draw(img, kSans, 8.5, "Version 1.0  \xB7  VST 2.2", W / 2.0, 110, rgb(214, 208, 190), 0);
  t.draw(img, kSans, 8.0, "Three spring lines per channel,", W / 2.0, 124, rgb(170, 164, 150), 0);
  t.draw(img, kSans, 8.0, "their loop gain easing as the tank fills.", W / 2.0, 135, rgb(170, 164, 150), 0);
  t.draw(img, kSans, 7.0, "click to close", W / 2.0, 151, rgb(120, 114, 102), 0, 0.6);
  return img;
}

// ------------------------------------------------------------------ 8-bit BMP
struct Rgb8 {
  std::uint8_t r, g, b;
  bool operator<(const Rgb8& o) const { return std::tie(r, g, b) < std::tie(o.r, o.g, o.b); }
  bool operator==(const Rgb8& o) const { return r == o.r && g == o.g && b == o.b; }
};

std::uint8_t to8(double v) { return static_cast<std::uint8_t>(std::clamp(std::lround(v * 255.0), 0L, 255L)); }

std::vector<Rgb8> to8bit(const Image& img) {
  std::vector<Rgb8> out(img.px.size());
  for (size_t i = 0; i < out.size(); ++i) out[i] = {to8(img.px[i].r), to8(img.px[i].g), to8(img.px[i].b)};
  return out;
}

// Median cut over the colours, each weighted by its count, to `count` entries.
std::vector<Rgb8> medianCut(const std::map<Rgb8, int>& histogram, size_t count) {
  struct Box {
    std::vector<std::pair<Rgb8, int>> colours;
  };
  std::vector<Box> boxes(1);
  for (const auto& e : histogram) boxes[0].colours.push_back(e);
  if (boxes[0].colours.empty()) return {};
  auto spread = [](const Box& b, int& channel) {
    int lo[3] = {255, 255, 255}, hi[3] = {0, 0, 0};
    for (const auto& c : b.colours) {
      const int v[3] = {c.first.r, c.first.g, c.first.b};
      for (int k = 0; k < 3; ++k) lo[k] = std::min(lo[k], v[k]), hi[k] = std::max(hi[k], v[k]);
    }
    int best = 0;
    channel = 0;
    for (int k = 0; k < 3; ++k)
      if (hi[k] - lo[k] > best) best = hi[k] - lo[k], channel = k;
    return best;
  };
  while (boxes.size() < count) {
    int pick = -1, pickChannel = 0, pickSpread = 0;
    for (size_t i = 0; i < boxes.size(); ++i) {
      int ch;
      const int s = spread(boxes[i], ch);
      if (boxes[i].colours.size() > 1 && s > pickSpread) pick = static_cast<int>(i), pickChannel = ch, pickSpread = s;
    }
    if (pick < 0) break;
    auto& cs = boxes[pick].colours;
    std::sort(cs.begin(), cs.end(), [&](const auto& a, const auto& b) {
      const int va[3] = {a.first.r, a.first.g, a.first.b}, vb[3] = {b.first.r, b.first.g, b.first.b};
      return va[pickChannel] < vb[pickChannel];
    });
    long total = 0;
    for (const auto& c : cs) total += c.second;
    long run = 0;
    size_t cut = 1;
    for (size_t i = 0; i < cs.size() - 1; ++i) {
      run += cs[i].second;
      cut = i + 1;
      if (run * 2 >= total) break;
    }
    Box other;
    other.colours.assign(cs.begin() + static_cast<long>(cut), cs.end());
    cs.resize(cut);
    boxes.push_back(std::move(other));
  }
  std::vector<Rgb8> palette;
  for (const Box& b : boxes) {
    double r = 0, g = 0, bl = 0, n = 0;
    for (const auto& c : b.colours) r += c.first.r * c.second, g += c.first.g * c.second, bl += c.first.b * c.second, n += c.second;
    palette.push_back({static_cast<std::uint8_t>(std::lround(r / n)), static_cast<std::uint8_t>(std::lround(g / n)),
                       static_cast<std::uint8_t>(std::lround(bl / n))});
  }
  return palette;
}

// Writes an 8-bit BMP. `fixed` colours are kept exactly (they come first in the palette).
void writeBmp(const std::string& path, const Image& img, const std::vector<Rgb8>& fixed = {}) {
  const std::vector<Rgb8> pixels = to8bit(img);
  std::vector<Rgb8> palette = fixed;
  std::map<Rgb8, int> histogram;
  for (const Rgb8& p : pixels)
    if (std::find(fixed.begin(), fixed.end(), p) == fixed.end()) ++histogram[p];
  if (palette.size() > 256) {
    std::fprintf(stderr, "%s: %zu fixed colours\n", path.c_str(), palette.size());
    palette.resize(256);
  }
  if (histogram.size() <= 256 - palette.size()) {
    for (const auto& e : histogram) palette.push_back(e.first);
  } else {
    const auto rest = medianCut(histogram, 256 - palette.size());
    palette.insert(palette.end(), rest.begin(), rest.end());
  }
  std::map<Rgb8, std::uint8_t> nearest;
  auto indexOf = [&](const Rgb8& c) {
    auto it = nearest.find(c);
    if (it != nearest.end()) return it->second;
    int best = 0;
    long bestD = 1L << 40;
    for (size_t i = 0; i < palette.size(); ++i) {
      const long dr = c.r - palette[i].r, dg = c.g - palette[i].g, db = c.b - palette[i].b;
      const long d = 3 * dr * dr + 4 * dg * dg + 2 * db * db;
      if (d < bestD) bestD = d, best = static_cast<int>(i);
    }
    nearest[c] = static_cast<std::uint8_t>(best);
    return static_cast<std::uint8_t>(best);
  };
  const int stride = (img.w + 3) & ~3;
  const std::uint32_t paletteBytes = 256 * 4, offset = 14 + 40 + paletteBytes;
  const std::uint32_t fileSize = offset + static_cast<std::uint32_t>(stride) * img.h;
  std::vector<std::uint8_t> out;
  auto u16 = [&](std::uint32_t v) { out.push_back(v & 0xff), out.push_back((v >> 8) & 0xff); };
  auto u32 = [&](std::uint32_t v) { u16(v & 0xffff), u16(v >> 16); };
  out.push_back('B'), out.push_back('M');
  u32(fileSize), u32(0), u32(offset);
  u32(40), u32(static_cast<std::uint32_t>(img.w)), u32(static_cast<std::uint32_t>(img.h)), u16(1), u16(8), u32(0);
  u32(static_cast<std::uint32_t>(stride) * img.h), u32(2835), u32(2835), u32(256), u32(0);
  for (size_t i = 0; i < 256; ++i) {
    const Rgb8 c = i < palette.size() ? palette[i] : Rgb8{0, 0, 0};
    out.push_back(c.b), out.push_back(c.g), out.push_back(c.r), out.push_back(0);
  }
  for (int y = img.h - 1; y >= 0; --y) {
    for (int x = 0; x < img.w; ++x) out.push_back(indexOf(pixels[static_cast<size_t>(y) * img.w + x]));
    for (int x = img.w; x < stride; ++x) out.push_back(0);
  }
  FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) {
    std::perror(path.c_str());
    return;
  }
  std::fwrite(out.data(), 1, out.size(), f);
  std::fclose(f);
  std::fprintf(stderr, "%s: %d x %d, %zu palette colours\n", path.c_str(), img.w, img.h, palette.size());
}

// Reads back the colours the panel file holds, so the controls match them exactly.
Image quantised(const Image& img, const std::string& path) {
  FILE* f = std::fopen(path.c_str(), "rb");
  if (!f) return img;
  std::vector<std::uint8_t> d;
  int ch;
  while ((ch = std::fgetc(f)) != EOF) d.push_back(static_cast<std::uint8_t>(ch));
  std::fclose(f);
  const std::uint32_t offset = d[10] | d[11] << 8 | d[12] << 16 | d[13] << 24;
  const int stride = (img.w + 3) & ~3;
  Image out(img.w, img.h);
  out.s = img.s, out.ox = img.ox, out.oy = img.oy;
  for (int y = 0; y < img.h; ++y)
    for (int x = 0; x < img.w; ++x) {
      const int idx = d[offset + static_cast<size_t>(img.h - 1 - y) * stride + x];
      const std::uint8_t* p = &d[54 + idx * 4];
      out.at(x, y) = rgb(p[2], p[1], p[0]);
    }
  return out;
}

std::vector<Rgb8> coloursOf(const Image& img) {
  std::vector<Rgb8> cs;
  for (const Rgb8& c : to8bit(img))
    if (std::find(cs.begin(), cs.end(), c) == cs.end()) cs.push_back(c);
  return cs;
}

}  // namespace

int main(int argc, char** argv) {
  const double sc = argc == 3 ? std::atof(argv[2]) : 1.0;
  if (argc < 2 || argc > 3 || layout::snapScale(sc) != sc) {
    std::fprintf(stderr, "usage: %s <output folder> [1 | 1.5 | 2]\n", argv[0]);
    return 2;
  }
  const std::string dir = std::string(argv[1]) + "/";
  Lettering t;

  writeBmp(dir + "background.bmp", makePanel(t, sc));
  const Image panel = quantised(makePanel(t, sc), dir + "background.bmp");

  auto strip = [&](const char* name, const KnobPlace& k) {
    writeBmp(dir + name, knobStrip(panel, k), coloursOf(cropBox(panel, boxOf(k))));
  };
  strip("knob_large_decay.bmp", kDecay);
  strip("knob_large_damp.bmp", kDamp);
  strip("knob_small_mix.bmp", kMix);
  strip("knob_small_output.bmp", kOutput);
  writeBmp(dir + "bypass_switch.bmp", bypassSwitch(panel), coloursOf(cropBox(panel, layout::kBypassSwitch)));
  writeBmp(dir + "clip_led.bmp", clipLed(panel), coloursOf(cropBox(panel, layout::kClipLed)));
  writeBmp(dir + "about.bmp", aboutPicture(t, sc));
  return 0;
}
