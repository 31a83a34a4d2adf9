// Where everything sits in the editor's 300 × 196 window, in logical pixels,
// and how a place maps onto the pixels of a denser screen. The editor places
// its controls here and the skin generator draws the panel around the same
// places, so the two cannot drift apart.
#pragma once

namespace korro::layout {

struct Point {
  int x, y;
};
struct Box {
  int left, top, right, bottom;
};

inline constexpr int kWidth = 300;
inline constexpr int kHeight = 196;
inline constexpr int kLargeKnob = 54;  // Decay and Damp: square pictures of this side
inline constexpr int kSmallKnob = 35;  // Mix and Output
inline constexpr int kFieldHeight = 14;

// Top left corners of the knobs.
inline constexpr Point kDecayKnob{40, 43};
inline constexpr Point kDampKnob{205, 43};
inline constexpr Point kMixKnob{105, 132};
inline constexpr Point kOutputKnob{159, 132};

// The value field directly under a knob: large knobs get one as wide plus 2,
// small ones 4 pixels more on each side (plus 1).
constexpr Box fieldUnder(Point knob, bool large) {
  const int side = large ? kLargeKnob : kSmallKnob;
  const int top = knob.y + side;
  if (large) return {knob.x, top, knob.x + side + 2, top + kFieldHeight};
  return {knob.x - 4, top, knob.x - 4 + side + 9, top + kFieldHeight};
}

inline constexpr Box kBypassSwitch{55, 141, 79, 157};
inline constexpr Box kClipLed{227, 144, 238, 155};
inline constexpr Box kPeakReadout{211, 162, 254, 176};
// A click here shows the about picture over most of the window.
inline constexpr Box kAboutHotspot{111, 2, 190, 112};
inline constexpr Box kAboutPicture{25, 21, 276, 183};

// The densities the pictures are drawn at.
inline constexpr double kScales[] = {1.0, 1.5, 2.0};

// A host's scale as one of kScales: the nearest, a tie going to the larger;
// anything below 1 (and NaN) is 1.
constexpr double snapScale(double s) {
  if (!(s >= 1.25)) return 1.0;
  return s < 1.75 ? 1.5 : 2.0;
}

// A logical edge on the screen, rounded half up: rectangles scaled edge by
// edge still touch their neighbours at 1.5.
constexpr int scaled(int v, double s) {
  const double x = v * s + 0.5;
  const int t = static_cast<int>(x);
  return t > x ? t - 1 : t;
}
constexpr Box scaled(const Box& b, double s) {
  return {scaled(b.left, s), scaled(b.top, s), scaled(b.right, s), scaled(b.bottom, s)};
}
constexpr Box knobBox(Point at, bool large) {
  const int side = large ? kLargeKnob : kSmallKnob;
  return {at.x, at.y, at.x + side, at.y + side};
}

// Picture resources of a scale: the 1x number plus 1000 for 1.5, 2000 for 2.
constexpr int pictureId(int id, double s) { return s >= 2.0 ? id + 2000 : s >= 1.5 ? id + 1000 : id; }

}  // namespace korro::layout
