// Host input to the tank: dry copy at the host rate and the tank's input,
// decimated 2:1 through a 31-tap FIR when the tank runs at half rate.
#pragma once

#include <cstdint>

#include "half_rate_ring.h"

namespace korro {

// Symmetric taps h[0..15]; h[30 - k] = h[k].
inline constexpr double kDecimatorTaps[16] = {
    0.0018, 0.007,   -0.0025, -0.016,  -0.0012, 0.029,   0.01,   -0.032,
    -0.0242, 0.0372, 0.0478,  -0.0408, -0.0962, 0.0428,  0.314,  0.455,
};

class InputStage {
 public:
  // inR is the left input again for a mono source. Answers the number of
  // engine-rate frames written to core.
  int process(const float* inL, const float* inR, float* const core[2], float* const dry[2], int frames,
              bool decimate);

  void resetForSuspend();
  void resetForResume();
  // The flush: decimator history only.
  void clearHistory() { decimator.clearRings(); }

  HalfRateRing decimator;
  // Changeover ramps. Nothing arms the countdown in operation, so the fades
  // only rise to 1 after a suspend; they are kept as state.
  std::int32_t flushCountdown = 0;
  float fadeGainFast = 0.0f;
  float fadeGainSlow = 0.0f;

 private:
  void stepFades();
};

}  // namespace korro
