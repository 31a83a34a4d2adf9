// Sample history shared in shape by the 2:1 decimator and the 1:2
// interpolator: a 64-entry ring per channel whose newest entry moves downward,
// and a phase that picks the host frames that meet an engine-rate frame.
#pragma once

#include <algorithm>

#include "half_rate_kernels.h"

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

  // The vectorised kernels see the history as a line: the kHistory entries
  // before the next one, oldest first.
  void copyHistory(int c, float* line) const {
    for (int m = 0; m < half_rate_kernels::kHistory; ++m) line[m] = ring[c][(index + half_rate_kernels::kHistory - m) & kMask];
  }
  // Enters frames new entries per channel, as frames steps of the plain stage would.
  void push(const float* const line[2], int frames) {
    for (int c = 0; c < 2; ++c)
      for (int i = std::max(0, frames - kSize); i < frames; ++i) ring[c][(index - i) & kMask] = line[c][i];
    index = (index - frames) & kMask;
    phase ^= frames & 1;
  }
};

}  // namespace korro
