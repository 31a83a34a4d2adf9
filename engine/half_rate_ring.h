// Sample history shared in shape by the 2:1 decimator and the 1:2
// interpolator: a 64-entry ring per channel whose newest entry moves downward,
// and a phase that picks the host frames that meet an engine-rate frame.
#pragma once

#include <algorithm>

namespace korro {

struct HalfRateRing {
  static constexpr int kSize = 64;
  static constexpr int kMask = kSize - 1;

  float ring[2][kSize] = {};
  int index = kMask;
  int phase = 0;

  void clearRings() {
    std::fill_n(ring[0], kSize, 0.0f);
    std::fill_n(ring[1], kSize, 0.0f);
  }
  void resetForSuspend() {
    clearRings();
    phase = 0;
  }
  void resetForResume() {
    clearRings();
    index = kMask;
    phase = 0;
  }
};

}  // namespace korro
