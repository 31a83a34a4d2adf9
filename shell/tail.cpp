#include "tail.h"

#include <cmath>

#include "engine/spring_tank.h"

namespace korro {

namespace {

// The loudest the tank's output gets for a 0 dBFS input, with margin: the
// loop gain falls as the level rises, so a line settles near 5.5 even for a
// coherent full-scale input, and three taps scaled by 0.2968 stay near 5; this
// allows 100 (+40 dB).
constexpr double kTankPeak = 100.0;
constexpr double kSilence = 1e-6;  // −120 dBFS
// The half-rate stages and the block's own frames still carry what entered last.
constexpr double kSettleFrames = 64.0;

// The longest trip round a line: its forward and return delays, and the three
// all-passes at their longest group delay, which is at low frequencies:
// length × (1 + g) / (1 − g).
double longestRoundTrip() {
  const double g = 0.78;
  const double stretch = (1.0 + g) / (1.0 - g);
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

std::int32_t tailFrames(double hostRate, double decay, double /*damp*/, double output) {
  // Damping passes low frequencies unchanged, so it cannot shorten the worst case.
  if (!(hostRate >= 20000.0 && hostRate <= 200000.0)) hostRate = 44100.0;
  const double frameStep = hostRate > 50000.0 ? 2.0 : 1.0;  // host frames per engine frame
  const double gain = 4.0 * output * output;
  const double level = kTankPeak * gain;
  if (!(level > kSilence)) return static_cast<std::int32_t>(kSettleFrames);

  // The most a trip round a line keeps: the empty tank's loop gain, 0.985 of
  // the decay gain (it falls towards 0.285 of it as the level rises).
  const double loop = 0.985 * decayGainFor(static_cast<float>(decay));
  if (!(loop < 1.0)) return INT32_MAX;
  const double trips = std::ceil(std::log(level / kSilence) / -std::log(loop));
  const double frames = (trips + 1.0) * longestRoundTrip() * frameStep + kSettleFrames;
  return frames >= 2147483647.0 ? INT32_MAX : static_cast<std::int32_t>(std::ceil(frames));
}

}  // namespace korro
