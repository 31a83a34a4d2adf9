// Tank output back to the host: 1:2 half-band interpolation at half rate, the
// dry/wet mix and output gain, the mono fold-down and the peak meter feed.
#pragma once

#include "half_rate_ring.h"

namespace korro {

// Even taps g[0], g[2], ..., g[14] of the symmetric half-band filter; the
// odd taps are zero and the centre tap is 1.
inline constexpr double kInterpolatorTaps[8] = {-0.004, 0.0106, -0.0268, 0.0524, -0.0812, 0.1224, -0.2097, 0.6351};

struct OutputPeaks {
  float left = 0.0f;
  float right = 0.0f;
};

class OutputStage {
 public:
  enum class Store { Adding, Replacing };

  // outputs[1] is written only when stereo is true; mono output takes the
  // mean of both channels on outputs[0]. Peaks only grow.
  void process(float* const dry[2], float* const core[2], float** outputs, int frames, bool decimate, bool stereo,
               double mix, double gain, Store store, OutputPeaks& peaks);

  void resetForSuspend() { interpolator.resetForSuspend(); }
  void resetForResume() { interpolator.resetForResume(); }
  void clearHistory() { interpolator.clearRings(); }

  HalfRateRing interpolator;
};

}  // namespace korro
