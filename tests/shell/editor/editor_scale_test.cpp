// The editor at 1.5 and 2 screen pixels per layout pixel: where the scale
// comes from, the window and the hit areas it gives, pictures at that
// density (compared with reference pictures checked by eye), and drags that
// keep their feel. Also the whole paint a host's windows force on the editor.
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#define STB_IMAGE_IMPLEMENTATION
#include <stb/stb_image.h>
#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb/stb_image_write.h>

#include "editor/editor_layout.h"
#include "editor_fixture.h"
#include "gui/knob.h"
#include "gui/param_display.h"
#include "gui/platform/x11/toolkit_scale.h"
#include "gui/platform/x11/xft_dpi.h"

namespace korro::test {
namespace {

namespace layout = korro::layout;

constexpr std::int32_t kPreS = fourCharCode('P', 'r', 'e', 'S');
constexpr std::int32_t kAeCs = fourCharCode('A', 'e', 'C', 's');

TEST(ScaleLaw, HostScalesSnapToTheNearestOfferedOneTiesGoingUp) {
  const double inf = std::numeric_limits<double>::infinity();
  const struct {
    double host, snapped;
  } cases[] = {{-inf, 1.0}, {0.0, 1.0}, {0.5, 1.0}, {1.0, 1.0}, {1.2499, 1.0}, {1.25, 1.5}, {1.5, 1.5},
               {1.7499, 1.5}, {1.75, 2.0}, {2.0, 2.0}, {3.0, 2.0}, {inf, 2.0},
               {std::numeric_limits<double>::quiet_NaN(), 1.0}};
  for (const auto& c : cases) EXPECT_EQ(layout::snapScale(c.host), c.snapped) << c.host;
}

TEST(ScaleLaw, EdgesRoundHalfUpSoNeighbouringBoxesStillTouch) {
  EXPECT_EQ(layout::scaled(105, 1.5), 158);  // 157.5
  EXPECT_EQ(layout::scaled(1, 1.5), 2);      // 1.5
  EXPECT_EQ(layout::scaled(2, 1.5), 3);
  EXPECT_EQ(layout::scaled(196, 1.5), 294);
  EXPECT_EQ(layout::scaled(300, 2.0), 600);
  EXPECT_EQ(layout::scaled(7, 1.0), 7);
  // The Mix knob's box at 1.5: 52 wide, 53 high, and its field starts where it ends.
  const layout::Box knob = layout::scaled(layout::knobBox(layout::kMixKnob, false), 1.5);
  EXPECT_EQ((std::vector<int>{knob.left, knob.top, knob.right, knob.bottom}), (std::vector<int>{158, 198, 210, 251}));
  EXPECT_EQ(layout::scaled(layout::fieldUnder(layout::kMixKnob, false), 1.5).top, knob.bottom);
  EXPECT_EQ(layout::pictureId(11200, 1.0), 11200);
  EXPECT_EQ(layout::pictureId(11200, 1.5), 12200);
  EXPECT_EQ(layout::pictureId(11200, 2.0), 13200);
}

// What xrdb leaves on the root window: the desktop's scale when the host gives none.
TEST(ScaleLaw, XftDpiIsReadFromTheResourceLinesAndSnapsToTheScales) {
  EXPECT_EQ(x11::xftDpi("Xft.antialias:\t1\nXft.dpi:\t192\nXft.hinting:\t1\n"), 192.0);
  EXPECT_EQ(x11::xftDpi("Xft.dpi:144"), 144.0);
  EXPECT_EQ(x11::xftDpi("  Xft.dpi :\t120.5\n"), 120.5);
  EXPECT_EQ(x11::xftDpi("Xft.dpi:\t96\nXft.dpi:\t192\n"), 192.0);  // the last one counts, as in xrdb
  for (const char* none : {"", "Xft.dpix:\t192\n", "Xft.dpi:\t\n", "Xft.dpi:\t-96\n", "Xft.dpi:\tabc\n",
                           "*dpi:\t192\n"})
    EXPECT_EQ(x11::xftDpi(none), 0.0) << none;
  EXPECT_EQ(x11::xftDpi(nullptr), 0.0);
  EXPECT_EQ(layout::snapScale(96 / 96.0), 1.0);
  EXPECT_EQ(layout::snapScale(144 / 96.0), 1.5);
  EXPECT_EQ(layout::snapScale(192 / 96.0), 2.0);
}

// GDK_SCALE and QT_SCALE_FACTOR as GTK 3 and Qt read them, and what a host of
// that toolkit is told of an edge: divided by the factor, rounded up.
TEST(ScaleLaw, ToolkitFactorsAreReadAsTheirToolkitsReadThem) {
  EXPECT_EQ(x11::gdkScale("2"), 2.0);
  EXPECT_EQ(x11::gdkScale("2.5"), 2.0);  // whole numbers only
  for (const char* one : {"", "0", "-2", "abc"}) EXPECT_EQ(x11::gdkScale(one), 1.0) << one;
  EXPECT_EQ(x11::gdkScale(nullptr), 1.0);
  EXPECT_EQ(x11::qtScaleFactor("1.5"), 1.5);
  EXPECT_EQ(x11::qtScaleFactor(" 2 "), 2.0);
  EXPECT_EQ(x11::qtScaleFactor(".5"), 0.5);
  for (const char* one : {"", ".", "0", "-2", "2x", "1,5", "inf", "nan"}) EXPECT_EQ(x11::qtScaleFactor(one), 1.0) << one;
  EXPECT_EQ(x11::qtScaleFactor(nullptr), 1.0);
  EXPECT_EQ(platform::toolkitEdge(600, 2.0), 300);
  EXPECT_EQ(platform::toolkitEdge(450, 1.5), 300);
  EXPECT_EQ(platform::toolkitEdge(392, 1.5), 262);  // 261.3
  EXPECT_EQ(platform::toolkitEdge(196, 0.0), 196);
}

// ---------------------------------------------------------------- pictures on file
struct Png {
  int width = 0, height = 0;
  std::vector<std::uint8_t> rgb;
};

std::string referencePath(const std::string& name) { return std::string(KORRO_REFERENCE_DIR) + "/" + name; }

Png crop(const platform::Window* w, const CRect& r) {
  Png out{r.width(), r.height(), {}};
  for (int y = r.top; y < r.bottom; ++y)
    for (int x = r.left; x < r.right; ++x) {
      const platform::Rgb c = hl::pixel(w, x, y);
      out.rgb.insert(out.rgb.end(), {c.r, c.g, c.b});
    }
  return out;
}

// Pixels that differ from the reference picture; every pixel when it cannot be read.
// KORRO_WRITE_REFERENCES=1 writes the references instead (then checked by eye).
int referenceMismatches(const Png& shown, const std::string& name) {
  const std::string path = referencePath(name);
  if (const char* write = std::getenv("KORRO_WRITE_REFERENCES"); write && std::string(write) == "1")
    stbi_write_png(path.c_str(), shown.width, shown.height, 3, shown.rgb.data(), shown.width * 3);
  int w = 0, h = 0, channels = 0;
  stbi_uc* data = stbi_load(path.c_str(), &w, &h, &channels, 3);
  if (!data || w != shown.width || h != shown.height) {
    stbi_image_free(data);
    ADD_FAILURE() << path << ": missing or " << w << " x " << h;
    return shown.width * shown.height;
  }
  int wrong = 0;
  for (std::size_t i = 0; i < shown.rgb.size(); i += 3)
    if (std::memcmp(&shown.rgb[i], data + i, 3) != 0) ++wrong;
  stbi_image_free(data);
  if (wrong) stbi_write_png((name + ".actual.png").c_str(), shown.width, shown.height, 3, shown.rgb.data(), shown.width * 3);
  return wrong;
}

// ---------------------------------------------------------------- the editor at a scale
class ScaledEditor : public EditorTest {
 protected:
  void TearDown() override {
    hl::setDesktopScale(0.0);
    hl::setToolkitScale(1.0);
    EditorTest::TearDown();
  }
  std::intptr_t scaleTo(float scale, std::int32_t index = kPreS, std::intptr_t value = kAeCs) {
    return dispatch(effVendorSpecific, index, value, nullptr, scale);
  }
  std::vector<int> rectSize() {
    ERect* r = nullptr;
    if (dispatch(effEditGetRect, 0, 0, &r) != 1 || !r) return {};
    return {r->left, r->top, r->right, r->bottom};
  }
  std::vector<int> windowSize() { return {hl::width(window()), hl::height(window())}; }
  std::vector<std::vector<int>> resizes() const {
    std::vector<std::vector<int>> out;
    for (const HostCall& c : hostCalls())
      if (c.opcode == audioMasterSizeWindow) out.push_back({c.index, static_cast<int>(c.value)});
    return out;
  }
  // The middle of a layout box on the screen at `scale`.
  static std::pair<int, int> middle(const layout::Box& b, double scale) {
    const layout::Box s = layout::scaled(b, scale);
    return {(s.left + s.right) / 2, (s.top + s.bottom) / 2};
  }
};

TEST_F(ScaledEditor, TheContentScaleCallIsAnsweredAndTheRectangleFollowsIt) {
  EXPECT_EQ(rectSize(), (std::vector<int>{0, 0, 300, 196}));
  const struct {
    float host;
    int width, height;
  } cases[] = {{2.0f, 600, 392}, {1.5f, 450, 294}, {1.0f, 300, 196}, {1.25f, 450, 294}, {1.75f, 600, 392},
               {0.5f, 300, 196}, {8.0f, 600, 392}, {std::numeric_limits<float>::quiet_NaN(), 300, 196}};
  for (const auto& c : cases) {
    EXPECT_EQ(scaleTo(c.host), 1) << c.host;
    EXPECT_EQ(rectSize(), (std::vector<int>{0, 0, c.width, c.height})) << c.host;
  }
  // Other vendor calls are not ours: answered 0 and nothing changes.
  scaleTo(2.0f);
  EXPECT_EQ(scaleTo(1.0f, kPreS, kAeCs + 1), 0);
  EXPECT_EQ(scaleTo(1.0f, kPreS + 1, kAeCs), 0);
  EXPECT_EQ(scaleTo(1.0f, kPreS, static_cast<std::intptr_t>(kAeCs) | (std::intptr_t{1} << 40)), 1);  // low half counts
  EXPECT_EQ(rectSize(), (std::vector<int>{0, 0, 300, 196}));
  // While closed there is no window for the host to resize.
  EXPECT_TRUE(resizes().empty());
  open();
  EXPECT_EQ(windowSize(), (std::vector<int>{300, 196}));
}

TEST_F(ScaledEditor, AScaleWhileOpenRebuildsTheWindowAndAsksTheHostToResize) {
  fx->setParameter(kDecay, 0.8f);
  open();
  hostCalls().clear();
  EXPECT_EQ(scaleTo(2.0f), 1);
  EXPECT_EQ(hl::liveWindows(), 1);
  EXPECT_EQ(windowSize(), (std::vector<int>{600, 392}));
  EXPECT_EQ(resizes(), (std::vector<std::vector<int>>{{600, 392}}));
  EXPECT_EQ(rectSize(), (std::vector<int>{0, 0, 600, 392}));
  EXPECT_EQ(editor()->knob(kDecay)->getValue(), 0.8f);
  // The same scale again (1.9 snaps to it) changes nothing.
  EXPECT_EQ(scaleTo(1.9f), 1);
  EXPECT_EQ(resizes().size(), 1u);
  EXPECT_EQ(scaleTo(1.5f), 1);
  EXPECT_EQ(windowSize(), (std::vector<int>{450, 294}));
  EXPECT_EQ(resizes().back(), (std::vector<int>{450, 294}));
  // Back at 1 the window is the 1x one, pixel for pixel.
  EXPECT_EQ(scaleTo(1.0f), 1);
  idle();
  EXPECT_EQ(windowSize(), (std::vector<int>{300, 196}));
  EXPECT_EQ(mismatches(window(), CRect(0, 0, 300, 40), kBackgroundBitmap, 0, 0), 0);
}

// The scale of a host toolkit that enlarges what it is told (GDK_SCALE in a
// GTK 3 host) counts only where the desktop names none: any Xft.dpi, 96 too, comes first.
TEST_F(ScaledEditor, WithoutXftDpiTheHostToolkitsScaleDecides) {
  hl::setToolkitScale(2.0);
  EXPECT_EQ(rectSize(), (std::vector<int>{0, 0, 600, 392}));
  open();
  EXPECT_EQ(windowSize(), (std::vector<int>{600, 392}));
  close();
  hl::setDesktopScale(1.0);
  open();
  EXPECT_EQ(windowSize(), (std::vector<int>{300, 196}));
  close();
  hl::setDesktopScale(0.0);
  hl::setToolkitScale(1.6);
  EXPECT_EQ(scaleTo(2.0f), 1);
  open();
  EXPECT_EQ(windowSize(), (std::vector<int>{600, 392})) << "the host's word comes before both";
}

TEST_F(ScaledEditor, WithoutAHostScaleTheDesktopDecidesAndAHostScaleOverrulesIt) {
  hl::setDesktopScale(2.0);  // Xft.dpi 192
  EXPECT_EQ(rectSize(), (std::vector<int>{0, 0, 600, 392}));
  open();
  EXPECT_EQ(windowSize(), (std::vector<int>{600, 392}));
  close();
  hl::setDesktopScale(1.5);  // 144
  open();
  EXPECT_EQ(windowSize(), (std::vector<int>{450, 294}));
  EXPECT_EQ(scaleTo(1.0f), 1);
  EXPECT_EQ(windowSize(), (std::vector<int>{300, 196}));
  close();
  open();  // the host's word stays
  EXPECT_EQ(windowSize(), (std::vector<int>{300, 196}));
}

TEST_F(ScaledEditor, AtTwoTheSkinKnobsAndTextsMatchTheReferencePictures) {
  scaleTo(2.0f);
  open();
  idle();
  EXPECT_EQ(referenceMismatches(crop(window(), CRect(0, 0, 600, 392)), "editor_scale2.png"), 0);
  // Another knob picture and another text: Decay at 80 %, set by the host.
  fx->setParameter(kDecay, 0.8f);
  idle();
  idle();
  EXPECT_EQ(referenceMismatches(crop(window(), CRect(80, 86, 194, 222)), "decay80_scale2.png"), 0);
}

TEST_F(ScaledEditor, AtOneAndAHalfTheWholeWindowMatchesItsReference) {
  scaleTo(1.5f);
  open();
  idle();
  EXPECT_EQ(referenceMismatches(crop(window(), CRect(0, 0, 450, 294)), "editor_scale1.5.png"), 0);
}

TEST_F(ScaledEditor, TwoHundredLayoutPixelsSweepTheWholeRangeAtEveryScale) {
  for (const float scale : {2.0f, 1.5f}) {
    scaleTo(scale);
    fx->setParameter(kDecay, 0.5f);
    open();
    hostCalls().clear();
    const auto [x, y] = middle(layout::knobBox(layout::kDecayKnob, true), scale);
    // A quarter of the range: 100 pixels at 2, 75 at 1.5; in steps, straight up.
    const int quarter = static_cast<int>(50 * scale);
    std::vector<std::pair<int, int>> path;
    for (int d = 5; d <= quarter; d += 5) path.push_back({x, y - d});
    drag(x, y, kLeftButton, path);
    ASSERT_FALSE(automated(kDecay).empty()) << scale;
    EXPECT_FLOAT_EQ(automated(kDecay).back(), 0.75f) << scale;
    close();
  }
}

TEST_F(ScaledEditor, ClicksAndTheEditBoxLandOnTheScaledControls) {
  scaleTo(2.0f);
  open();
  hostCalls().clear();
  // Where the bypass switch sits at 1x is bare panel at 2.
  press(67, 149, kLeftButton);
  EXPECT_TRUE(automated(kBypass).empty());
  const auto [bx, by] = middle(layout::kBypassSwitch, 2.0);
  press(bx, by, kLeftButton);
  EXPECT_EQ(automated(kBypass), (std::vector<float>{0.0f}));
  // The Output field: its edit box covers the scaled field plus a pixel, in the scaled font.
  const layout::Box field = layout::scaled(layout::fieldUnder(layout::kOutputKnob, false), 2.0);
  press(field.left + 2, field.bottom - 2, kLeftButton);
  platform::EditBox* box = hl::focusedEditBox();
  ASSERT_NE(box, nullptr);
  const platform::Box area = hl::editBoxArea(box);
  EXPECT_EQ((std::vector<int>{area.x, area.y, area.w, area.h}),
            (std::vector<int>{field.left, field.top, field.right - field.left + 1, field.bottom - field.top + 1}));
  hl::type(box, "-100");
  hl::pressReturn(box);
  idle();
  ASSERT_EQ(automated(kOutput).size(), 1u);
  EXPECT_NEAR(automated(kOutput)[0], 0.0015502f, 1e-6f);
  // The about picture covers the scaled area and a click closes it.
  const auto [ax, ay] = middle(layout::kAboutHotspot, 2.0);
  press(ax, ay, kLeftButton);
  EXPECT_EQ(mismatches(window(), CRect(50, 42, 552, 366), layout::pictureId(kAboutBitmap, 2.0), 0, 0), 0);
  press(ax, ay, kLeftButton);
  EXPECT_EQ(mismatches(window(), CRect(50, 42, 552, 60), layout::pictureId(kBackgroundBitmap, 2.0), 50, 42), 0);
}

// ---------------------------------------------------------------- repaints
TEST_F(ScaledEditor, AWholePaintShowsTheReadoutEvenWhenThePeakHasNotMoved) {
  open();
  idle();
  idle();
  const CRect readout(layout::kPeakReadout.left, layout::kPeakReadout.top, layout::kPeakReadout.right,
                      layout::kPeakReadout.bottom);
  ASSERT_EQ(textMismatches(window(), readout, "-oodB", {75, 75, 90}), 0);
  // Something covered the window and went away: the backend asks for all of it.
  hl::invalidate(window());
  idle();
  EXPECT_EQ(textMismatches(window(), readout, "-oodB", {75, 75, 90}), 0);
  // So does closing the about picture, which lay over the readout's row.
  press(150, 60, kLeftButton);
  press(150, 60, kLeftButton);
  EXPECT_EQ(textMismatches(window(), readout, "-oodB", {75, 75, 90}), 0);
}

}  // namespace
}  // namespace korro::test
