#include "tail.h"

#include <cmath>

#include "engine/spring_tank.h"

namespace korro {

namespace {

constexpr double kSilence = 1e-6;  // −120 dBFS
// The half-rate stages and the block's own frames still carry what entered last.
constexpr double kSettleFrames = 64.0;
constexpr double kAllpassGain = 0.78;
// The three taps and their output scale.
constexpr double kTapsGain = 3.0 * 0.2968;
// At half rate the input's low-pass peaks at +0.6 dB and the output's at +0.42 dB.
constexpr double kHalfRateGain = 1.0718 * 1.0495;

// The longest trip round a line: its forward and return delays, and the three
// all-passes at their longest group delay, which is at low frequencies:
// length × (1 + g) / (1 − g).
double longestRoundTrip() {
  const double stretch = (1.0 + kAllpassGain) / (1.0 - kAllpassGain);
  double longest = 0.0;
  for (const auto& channel : kTankLayout) {
    for (const SpringLineLayout& line : channel) {
      const double allpass = line.allpassFactor * kAllpassUnit * (1.0 + kAllpass2Ratio + kAllpass3Ratio);
      longest = std::fmax(longest, 2.0 * line.delayFactor * kLengthUnit + allpass * stretch);
    }
  }
  return longest;
}

}  // namespace

// The bound holds the loop gain at its largest, the empty tank's 0.985 of the
// decay gain: the level-dependent gain only ever lowers it. With the gain held
// at G, a line is a loop of filters that gain at most 1 at any frequency (the
// delays, the all-passes, the damping low-pass) closed through G, so its tap
// gains at most 1 / (1 − G) over a full-scale input (the tone stage's response
// is positive and sums to 1, so it keeps the input within full scale). Every
// trip round the longest line then keeps at most G.
std::int32_t tailFrames(double hostRate, double decay, double /*damp*/, double output, double mix) {
  // Damping leaves low frequencies, which ring longest, as they are.
  if (!(hostRate >= 20000.0 && hostRate <= 200000.0)) hostRate = 44100.0;
  const bool halfRate = hostRate > 50000.0;
  const double frameStep = halfRate ? 2.0 : 1.0;  // host frames per engine frame
  const double loop = 0.985 * decayGainFor(static_cast<float>(decay));
  if (!(loop < 1.0)) return INT32_MAX;

  // Once the input stops only the wet share sounds.
  const double wet = 4.0 * output * output * mix;
  if (!(wet > 0.0)) return static_cast<std::int32_t>(kSettleFrames);
  double peak = kTapsGain / (1.0 - loop) * (halfRate ? kHalfRateGain : 1.0);
  // Where the wet gain is below −80 dB, the fast early part of the ring-out
  // outlasts the bound above; this allowance was fitted to, and checked
  // against, the held-gain network's exact worst case on a grid of settings.
  if (wet < 1e-4) peak *= std::pow(1e-4 / wet, 0.4);
  const double level = peak * wet;
  if (!(level > kSilence)) return static_cast<std::int32_t>(kSettleFrames);

  const double trips = std::ceil(std::log(level / kSilence) / -std::log(loop));
  const double frames = (trips + 1.0) * longestRoundTrip() * frameStep + kSettleFrames;
  return frames >= 2147483647.0 ? INT32_MAX : static_cast<std::int32_t>(std::ceil(frames));
}

}  // namespace korro
